#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

// Which of the library's log lines are warnings about the data files. The readers log a line
// for each data line they skip and for files they cannot use; the lookups write notices by
// design (a line-break class outside the fixed table answers XX), the conformance run writes
// its progress and result, and a few lines concern memory or misuse rather than data. The host
// counts the warnings so that damaged data never passes unnoticed, however quiet the log is.
//
// A command that makes the library write a new kind of notice adds its text to the table in
// QNUDataWarnings.cpp.
namespace qnu {

class DataWarningCounter {
 public:
  // Takes the next log line and answers whether it begins a data-file warning. A line that
  // only continues the one before (a reader that logs its message, then the offending line on
  // a line of its own) is part of that warning and does not count again.
  bool take(std::string_view line);
  size_t count() const { return _count; }

 private:
  size_t _count = 0;
  bool _nextLineContinues = false;
  std::optional<std::string>
      _unparsedCaseFolding;  // the line of the last warning, if CaseFolding's
};

}  // namespace qnu
