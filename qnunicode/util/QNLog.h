#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "qnunicode/strings/UnicodeString.h"

// Every log line of the library goes through QNLog: one line of plain text per event, without a
// level. By default it is written to standard error; hosts and tests redirect it to a sink.

using QNLogSink = std::function<void(std::string_view line)>;

void QNLog(std::string_view line);

// Installs a sink (an empty function restores standard error) and answers the previous one.
QNLogSink QNSetLogSink(QNLogSink sink);

// printf-style formatting for log lines and the library's fixed texts.
std::string QNFormat(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Formats and logs in one step.
void QNLogFormat(const char* format, ...) __attribute__((format(printf, 1, 2)));

// While one lives, the log lines of the thread that made it are appended to `lines` instead of
// going to the sink, so that work done on another thread or ahead of time can give its lines
// back in order. Holds nest: the newest one takes the lines.
class QNLogHold {
 public:
  explicit QNLogHold(std::vector<std::string>& lines);
  ~QNLogHold();
  QNLogHold(const QNLogHold&) = delete;
  QNLogHold& operator=(const QNLogHold&) = delete;

 private:
  std::vector<std::string>* _previous;
};

namespace qnunicode {
// The UTF-8 form of a string for a "%s" placeholder standing for a "%@" of the original texts.
inline std::string logText(std::u16string_view text) {
  return toUTF8(text);
}
}  // namespace qnunicode
