#include "QNUProgress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>

#include "qnunicode/unihan/QNUnicodeUnihan.h"
#include "qnunicode/util/QNLog.h"
#include "qnunicode/util/QNNotificationCenter.h"

namespace qnu {

namespace {

void writeError(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
    if (written <= 0) return;
    text.remove_prefix(static_cast<size_t>(written));
  }
}

// The terminal's width, 80 when it does not say.
size_t terminalColumns() {
  struct winsize size {};
  if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
  return 80;
}

}  // namespace

std::string progressBarFrame(std::string_view path, double progress, size_t width) {
  const size_t slash = path.rfind('/');
  const std::string_view name = slash == std::string_view::npos ? path : path.substr(slash + 1);
  const double clamped = std::clamp(std::isnan(progress) ? 0.0 : progress, 0.0, 1.0);
  const auto filled = static_cast<size_t>(clamped * static_cast<double>(width));
  std::string frame = "\rReading ";
  frame += name;
  frame += " [";
  frame.append(filled, '#');
  frame.append(width - filled, '.');
  frame += QNFormat("] %3d%%", static_cast<int>(clamped * 100));
  return frame;
}

void readUnihanWithProgress(QNUnicodeDatabase& database, bool showProgress) {
  if (!database.isUnihanAvailable() || database.isUnihanRead()) return;
  if (!showProgress) {
    database.readUnihan();
    return;
  }
  const size_t columns = terminalColumns();
  std::string lastFrame;
  bool drawn = false;
  {
    QNNotificationObservation observation(
        QNNotificationCenter::defaultCenter(),
        UnicodeString(QNUnicodeReadingUnihanNotificationName), &database,
        [&](const QNNotification& notification) {
          const auto& info = notification.userInfo;
          const auto filename = info.find(UnicodeString(QNUnicodeUnihanReadingFilenameKey));
          const auto progress = info.find(UnicodeString(QNUnicodeUnihanReadingProgressKey));
          if (filename == info.end() || !filename->second.string() || progress == info.end() ||
              !progress->second.real()) {
            return;
          }
          const std::string path = qnunicode::toUTF8(*filename->second.string());
          // "Reading ", the name, " [", "] 100%": the bar takes what is left, up to 40 cells.
          const size_t fixed = 16 + std::min<size_t>(path.size(), 40);
          const size_t width = columns > fixed + 10 ? std::min<size_t>(40, columns - fixed) : 10;
          std::string frame = progressBarFrame(path, *progress->second.real(), width);
          if (frame == lastFrame) return;
          writeError(frame);
          lastFrame = std::move(frame);
          drawn = true;
        });
    database.readUnihan();
  }
  if (drawn) writeError(kProgressBarClear);
}

}  // namespace qnu
