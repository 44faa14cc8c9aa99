#include "qnunicode/util/QNLog.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace {

std::mutex& sinkMutex() {
  static std::mutex mutex;
  return mutex;
}

thread_local std::vector<std::string>* heldLines = nullptr;

QNLogSink& currentSink() {
  static QNLogSink sink;
  return sink;
}

std::string formatV(const char* format, va_list arguments) {
  va_list copy;
  va_copy(copy, arguments);
  char buffer[512];
  const int length = std::vsnprintf(buffer, sizeof buffer, format, copy);
  va_end(copy);
  if (length < 0) return {};
  if (static_cast<size_t>(length) < sizeof buffer) return std::string(buffer, length);
  std::string text(static_cast<size_t>(length) + 1, '\0');
  std::vsnprintf(text.data(), text.size(), format, arguments);
  text.resize(static_cast<size_t>(length));
  return text;
}

}  // namespace

void QNLog(std::string_view line) {
  if (heldLines) {
    heldLines->emplace_back(line);
    return;
  }
  std::lock_guard lock(sinkMutex());
  if (currentSink()) {
    currentSink()(line);
    return;
  }
  std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
}

QNLogSink QNSetLogSink(QNLogSink sink) {
  std::lock_guard lock(sinkMutex());
  QNLogSink previous = std::move(currentSink());
  currentSink() = std::move(sink);
  return previous;
}

QNLogHold::QNLogHold(std::vector<std::string>& lines) : _previous(heldLines) {
  heldLines = &lines;
}

QNLogHold::~QNLogHold() {
  heldLines = _previous;
}

std::string QNFormat(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::string text = formatV(format, arguments);
  va_end(arguments);
  return text;
}

void QNLogFormat(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const std::string text = formatV(format, arguments);
  va_end(arguments);
  QNLog(text);
}
