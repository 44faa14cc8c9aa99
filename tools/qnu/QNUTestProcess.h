#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

// Runs a program as a whole process for the command-line tests: arguments as given (no shell),
// optional standard input, and standard output and standard error captured apart.
namespace qnu::testing {

struct ProcessResult {
  int exitCode = -1;  // the exit status, or 128 + the signal that ended the process
  std::string out;
  std::string err;
};

// Runs the program to its end. Standard input and standard error are temporary files, so that
// neither can block the program whatever their size.
ProcessResult runProcess(const std::string& program, const std::vector<std::string>& arguments,
                         const std::string& input = "");

// A process whose standard output is read as it comes.
class RunningProcess {
 public:
  RunningProcess(const std::string& program, const std::vector<std::string>& arguments);
  ~RunningProcess();
  RunningProcess(const RunningProcess&) = delete;
  RunningProcess& operator=(const RunningProcess&) = delete;

  // Reads standard output up to and including the next line end ("" at the end of output).
  std::string readLine();
  // True while the process has not exited.
  bool isRunning();

 private:
  pid_t _pid = -1;
  int _out = -1;
  std::string _buffered;
  bool _exited = false;
};

}  // namespace qnu::testing
