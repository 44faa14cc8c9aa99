#include "qnunicode/util/QNResourceDirectory.h"

#include <filesystem>
#include <mutex>
#include <system_error>

namespace {

std::mutex& resourceMutex() {
  static std::mutex mutex;
  return mutex;
}

std::string& hostResourceDirectory() {
  static std::string directory;
  return directory;
}

}  // namespace

std::string QNUnicodeDefaultResourceDirectory() {
  std::error_code error;
  if (std::filesystem::is_directory(QNUNICODE_DEFAULT_RESOURCE_DIR "/nameprep", error)) {
    return QNUNICODE_DEFAULT_RESOURCE_DIR;
  }
  return QNUNICODE_BUILD_RESOURCE_DIR;
}

std::string QNUnicodeResourceDirectory() {
  {
    std::lock_guard<std::mutex> lock(resourceMutex());
    if (!hostResourceDirectory().empty()) return hostResourceDirectory();
  }
  return QNUnicodeDefaultResourceDirectory();
}

void QNUnicodeSetResourceDirectory(std::string directory) {
  std::lock_guard<std::mutex> lock(resourceMutex());
  hostResourceDirectory() = std::move(directory);
}
