#include "qnunicode/util/QNFileManager.h"

#include <dirent.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <system_error>

#include "qnunicode/util/QNLog.h"

namespace fs = std::filesystem;

namespace QNAdditions {

namespace {

// The path without its trailing slashes; the root (or a path of slashes only) stays "/".
std::string_view withoutTrailingSlashes(std::string_view path) {
  size_t end = path.size();
  while (end > 1 && path[end - 1] == '/') --end;
  return path.substr(0, end);
}

}  // namespace

std::string lastPathComponent(std::string_view path) {
  if (path.empty()) return {};
  const std::string_view trimmed = withoutTrailingSlashes(path);
  if (trimmed == "/") return "/";
  const size_t slash = trimmed.rfind('/');
  return std::string(slash == std::string_view::npos ? trimmed : trimmed.substr(slash + 1));
}

std::string stringByDeletingLastPathComponent(std::string_view path) {
  if (path.empty()) return {};
  const std::string_view trimmed = withoutTrailingSlashes(path);
  if (trimmed == "/") return "/";
  const size_t slash = trimmed.rfind('/');
  if (slash == std::string_view::npos) return {};
  if (slash == 0) return "/";
  return std::string(withoutTrailingSlashes(trimmed.substr(0, slash)));
}

std::string stringByAppendingPathComponent(std::string_view path, std::string_view component) {
  if (path.empty()) return std::string(component);
  std::string joined(path);
  if (joined.back() != '/') joined += '/';
  joined += component;
  return joined;
}

std::string pathExtension(std::string_view path) {
  const std::string last = lastPathComponent(path);
  const size_t dot = last.rfind('.');
  if (dot == std::string::npos) return {};
  return last.substr(dot + 1);
}

std::optional<std::vector<std::string>> filenamesPrefixedBy(const std::string& path) {
  const std::string prefix = lastPathComponent(path);
  if (prefix.empty() || prefix == "/") {
    QNLog("NSFileManager(QNAdditions) -filenamesPrefixedBy: Couldn't determine filename");
    return std::nullopt;
  }
  const std::string directory = stringByDeletingLastPathComponent(path);
  if (stringByAppendingPathComponent(directory, prefix) != path) {
    QNLog(
        "NSFileManager(QNAdditions) -filenamesPrefixedBy: Couldn't recreate filepathprefix from "
        "components");
    return std::nullopt;
  }

  // The listing's own order: nothing here sorts. Plain readdir, as a listing is asked for on
  // every file lookup.
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(directory.c_str()), closedir);
  if (!entries) return std::nullopt;
  std::vector<std::string> matches;
  matches.reserve(2);
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(entries.get());
    if (!entry) break;
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    if (name.starts_with(prefix))
      matches.push_back(stringByAppendingPathComponent(directory, name));
  }
  if (errno != 0) return std::nullopt;
  return matches;
}

std::string pathByResolvingAliasesInPath(const std::string& path) {
  const bool absolute = path.starts_with('/');
  std::string location(absolute ? 1 : 0, '/');
  size_t position = absolute ? 1 : 0;
  while (position < path.size()) {
    size_t slash = path.find('/', position);
    if (slash == std::string::npos) slash = path.size();
    if (slash > position) {
      if (!location.empty() && location.back() != '/') location += '/';
      location.append(path, position, slash - position);
      struct stat status {};
      if (lstat(location.c_str(), &status) == 0 && S_ISLNK(status.st_mode)) {
        // Every earlier component is resolved already, so the canonical form is the end of this
        // link's chain.
        std::error_code error;
        fs::path target = fs::canonical(location, error);
        if (!error) location = target.string();
      }
    }
    position = slash + 1;
  }
  return location;
}

std::optional<QNFileSystemAttributes> fileSystemAttributesAtPossiblePath(const std::string& path) {
  if (path.empty()) return std::nullopt;
  std::string candidate = path;
  for (;;) {
    struct statvfs volume {};
    if (statvfs(candidate.c_str(), &volume) == 0) {
      const uint64_t unit = volume.f_frsize != 0 ? volume.f_frsize : volume.f_bsize;
      return QNFileSystemAttributes{static_cast<uint64_t>(volume.f_blocks) * unit,
                                    static_cast<uint64_t>(volume.f_files)};
    }
    std::string parent = stringByDeletingLastPathComponent(candidate);
    if (parent == candidate || parent.empty()) return std::nullopt;
    candidate = std::move(parent);
  }
}

uint32_t minimumFileSizeForAttributes(const std::optional<QNFileSystemAttributes>& attributes) {
  if (!attributes) return QNFileSizeNoAttributes;
  if (!attributes->systemSize || !attributes->systemNodes) return QNFileSizeAttributeMissing;
  const auto size = static_cast<int64_t>(*attributes->systemSize);
  const auto nodes = static_cast<int64_t>(*attributes->systemNodes);
  if (size < 1 || nodes < 1) return QNFileSizeAttributeNotPositive;
  return static_cast<uint32_t>(size / nodes);
}

uint32_t minimumFileSizeAtPossiblePath(const std::string& path) {
  return minimumFileSizeForAttributes(fileSystemAttributesAtPossiblePath(path));
}

bool recursivelyCreateDirectoryAtPath(const std::string& path, std::optional<mode_t> permissions) {
  std::string resolved = pathByResolvingAliasesInPath(path);
  if (resolved.empty()) return false;
  struct stat status {};
  if (stat(resolved.c_str(), &status) == 0) return S_ISDIR(status.st_mode);

  // A relative path of one component has the current directory as its parent.
  const std::string parent = stringByDeletingLastPathComponent(path);
  if (!parent.empty() && parent != path && !recursivelyCreateDirectoryAtPath(parent, permissions)) {
    return false;
  }
  // The parent may have been made through a link: resolve again.
  resolved = pathByResolvingAliasesInPath(path);
  if (mkdir(resolved.c_str(), permissions.value_or(0777)) != 0) return false;
  // Explicit permissions are kept exactly, whatever the process's file-creation mask.
  if (permissions && chmod(resolved.c_str(), *permissions) != 0) return false;
  return true;
}

}  // namespace QNAdditions
