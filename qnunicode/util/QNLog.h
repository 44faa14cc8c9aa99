#pragma once

#include <functional>
#include <string>
#include <string_view>

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

namespace qnunicode {
// The UTF-8 form of a string for a "%s" placeholder standing for a "%@" of the original texts.
inline std::string logText(std::u16string_view text) {
  return toUTF8(text);
}
}  // namespace qnunicode
