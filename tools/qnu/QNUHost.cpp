#include "QNUHost.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <system_error>

#include "qnunicode/util/QNLog.h"
#include "qnunicode/util/QNResourceDirectory.h"

namespace fs = std::filesystem;

namespace qnu {

namespace {

DefaultPaths installedPaths(const fs::path& resourceDirectory) {
  const fs::path base = resourceDirectory.lexically_normal();
  return {(base / "ucd").string(), (base / "descriptions").string(),
          (base / "QNUnicodeInfo.plist").string(), base.string()};
}

bool sameDirectory(const fs::path& a, const fs::path& b) {
  std::error_code error;
  const bool same = fs::equivalent(a, b, error);
  return !error && same;
}

// A directory the user named: it must exist and be readable and searchable, since the library
// silently drops any other.
std::string checkedDirectory(const std::string& path, const char* what) {
  std::error_code error;
  if (!fs::exists(path, error))
    throw UsageError(std::string(what) + " '" + path + "' does not exist");
  if (!fs::is_directory(path, error)) {
    throw UsageError(std::string(what) + " '" + path + "' is not a directory");
  }
  if (access(path.c_str(), R_OK | X_OK) != 0) {
    throw UsageError(std::string(what) + " '" + path + "' is not readable");
  }
  return path;
}

std::string joined(const std::vector<std::string>& items, const char* separator) {
  std::string text;
  for (const std::string& item : items) {
    if (!text.empty()) text += separator;
    text += item;
  }
  return text;
}

}  // namespace

DefaultPaths DefaultPaths::forExecutable(const std::string& executablePath) {
  const fs::path directory = fs::path(executablePath).parent_path();
  if (sameDirectory(directory, QNU_BUILD_DIRECTORY)) {
    const std::string resources = QNU_BUILD_RESOURCE_DIR;
    return {QNU_BUILD_UCD_DIR, resources + "/descriptions", resources + "/QNUnicodeInfo.plist",
            resources};
  }
  return installedPaths(directory / QNU_RELATIVE_RESOURCE_DIR);
}

DefaultPaths DefaultPaths::forThisProcess() {
  std::error_code error;
  const fs::path executable = fs::read_symlink("/proc/self/exe", error);
  if (error) return installedPaths(QNU_INSTALL_RESOURCE_DIR);
  return forExecutable(executable.string());
}

bool MissingFileDelegate::unicodeDatabase(QNUnicodeDatabase&,
                                          std::u16string_view couldNotFindFile) {
  const std::string prefix = qnunicode::toUTF8(couldNotFindFile);
  for (const std::string& known : _missingPrefixes) {
    if (known == prefix) return true;
  }
  _missingPrefixes.push_back(prefix);
  std::fprintf(stderr, "qnu: %s\n", messageForPrefix(prefix).c_str());
  std::fflush(stderr);
  return true;
}

std::string MissingFileDelegate::messageForPrefix(const std::string& prefix) const {
  return "missing data file '" + prefix + "' (no file with that prefix in " +
         (_searchedDirectories.empty() ? std::string("any data directory")
                                       : joined(_searchedDirectories, ", ")) +
         ")";
}

Host::Host(const CommonOptions& options, const DefaultPaths& defaults, bool withInformationFile)
    : _json(options.json) {
  if (options.dataDirectories.empty()) {
    if (!fs::is_directory(defaults.dataDirectory)) {
      throw UsageError("the default data directory '" + defaults.dataDirectory +
                       "' does not exist (run scripts/setup.sh, or name one with --data DIR)");
    }
    _dataDirectories.push_back(defaults.dataDirectory);
  } else {
    for (const std::string& path : options.dataDirectories) {
      _dataDirectories.push_back(checkedDirectory(path, "data directory"));
    }
  }
  if (options.descriptionDirectories.empty()) {
    // The descriptions are optional: without them the library answers its plain texts.
    if (fs::is_directory(defaults.descriptionDirectory)) {
      _descriptionDirectories.push_back(defaults.descriptionDirectory);
    }
  } else {
    for (const std::string& path : options.descriptionDirectories) {
      _descriptionDirectories.push_back(checkedDirectory(path, "description directory"));
    }
  }
  std::optional<std::string> infoFile;
  if (options.infoFile) {
    if (!fs::is_regular_file(*options.infoFile)) {
      throw UsageError("information file '" + *options.infoFile + "' does not exist");
    }
    infoFile = options.infoFile;
  } else if (fs::is_regular_file(defaults.infoFile)) {
    infoFile = defaults.infoFile;
  }
  if (!withInformationFile) infoFile.reset();

  _delegate = std::make_shared<MissingFileDelegate>(_dataDirectories);
  if (infoFile) {
    _infoFile = *infoFile;
    _database =
        std::make_shared<QNUnicodeDatabase>(_dataDirectories, _descriptionDirectories, *infoFile);
  } else {
    _database = std::make_shared<QNUnicodeDatabase>(_dataDirectories, _descriptionDirectories);
  }
  _database->setDelegate(_delegate);
  QNUnicodeDatabase::setSharedDatabase(_database);
  QNUnicodeSetResourceDirectory(defaults.resourceDirectory);
}

Host::~Host() {
  if (QNUnicodeDatabase::sharedDatabase() == _database)
    QNUnicodeDatabase::setSharedDatabase(nullptr);
}

void Host::requireUnicodeData() {
  if (!_database->unicodeDataForCodepoint(0)) throw ReportedFailure();
}

void installLogSink(bool visible) {
  if (!visible) {
    QNSetLogSink([](std::string_view) {});
    return;
  }
  QNSetLogSink([](std::string_view line) {
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fputc('\n', stderr);
    std::fflush(stderr);
  });
}

}  // namespace qnu
