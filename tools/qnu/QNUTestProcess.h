#pragma once

#include <string>
#include <vector>

namespace qnu::testing {

struct ProcessResult {
  int exitCode = -1;  // the exit status, or 128 + the signal that ended the process
  std::string out;
  std::string err;
  bool operator==(const ProcessResult&) const = default;
};

// Runs a program (no shell) on the given standard input and captures its two outputs apart. With
// lineLimit set, the program is killed as soon as its standard output holds that many lines.
ProcessResult runProcess(const std::string& program, const std::vector<std::string>& arguments,
                         const std::string& input = "", size_t lineLimit = 0);

}  // namespace qnu::testing
