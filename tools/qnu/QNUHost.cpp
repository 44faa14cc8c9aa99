#include "QNUHost.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <mutex>
#include <system_error>

#include "QNUDataWarnings.h"
#include "QNUOutput.h"
#include "qnunicode/util/QNLog.h"
#include "qnunicode/util/QNResourceDirectory.h"

namespace fs = std::filesystem;

namespace qnu {

namespace {

DefaultPaths installedPaths(const fs::path& resourceDirectory) {
  const fs::path base = resourceDirectory.lexically_normal();
  return {(base / "ucd").string(),
          (base / "descriptions").string(),
          (base / "QNUnicodeInfo.plist").string(),
          (base / "entities").string(),
          {},
          base.string()};
}

bool sameDirectory(const fs::path& a, const fs::path& b) {
  std::error_code error;
  const bool same = fs::equivalent(a, b, error);
  return !error && same;
}

// A directory the user named: it must exist and be readable and searchable, since the library
// silently drops any other. `origin` tells where the name came from when not from an option.
std::string checkedDirectory(const std::string& path, const char* what, const char* origin = "") {
  const std::string named = std::string(what) + " '" + path + "'" + origin;
  std::error_code error;
  if (!fs::exists(path, error)) throw UsageError(named + " does not exist");
  if (!fs::is_directory(path, error)) throw UsageError(named + " is not a directory");
  if (access(path.c_str(), R_OK | X_OK) != 0) throw UsageError(named + " is not readable");
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
    return {QNU_BUILD_UCD_DIR,
            resources + "/descriptions",
            resources + "/QNUnicodeInfo.plist",
            QNU_BUILD_ENTITY_DIR,
            {},
            resources};
  }
  return installedPaths(directory / QNU_RELATIVE_RESOURCE_DIR);
}

DefaultPaths DefaultPaths::forThisProcess() {
  std::error_code error;
  const fs::path executable = fs::read_symlink("/proc/self/exe", error);
  DefaultPaths paths =
      error ? installedPaths(QNU_INSTALL_RESOURCE_DIR) : forExecutable(executable.string());
  if (const char* value = std::getenv("QNU_DATA")) {
    paths.environmentDataDirectories = searchPathDirectories(value);
  }
  return paths;
}

std::vector<std::string> searchPathDirectories(std::string_view value) {
  std::vector<std::string> directories;
  while (!value.empty()) {
    const size_t colon = value.find(':');
    const std::string_view piece = value.substr(0, colon);
    if (!piece.empty()) directories.emplace_back(piece);
    value.remove_prefix(colon == std::string_view::npos ? value.size() : colon + 1);
  }
  return directories;
}

bool MissingFileDelegate::unicodeDatabase(QNUnicodeDatabase& database,
                                          std::u16string_view couldNotFindFile) {
  const std::string prefix = qnunicode::toUTF8(couldNotFindFile);
  for (const std::string& known : _missingPrefixes) {
    if (known == prefix) return true;
  }
  _missingPrefixes.push_back(prefix);
  // A reader also reports a file it found but could not read: tell the two apart.
  _foundFiles.push_back(database.filenameWithPrefix(couldNotFindFile));
  if (!_quiet) {
    std::fprintf(stderr, "qnu: %s\n", messageForPrefix(prefix).c_str());
    std::fflush(stderr);
  }
  return true;
}

std::optional<std::string> MissingFileDelegate::unreadableFile(const std::string& prefix) const {
  for (size_t i = 0; i < _missingPrefixes.size(); ++i) {
    if (_missingPrefixes[i] == prefix) return _foundFiles[i];
  }
  return std::nullopt;
}

std::string MissingFileDelegate::messageForPrefix(const std::string& prefix) const {
  if (const std::optional<std::string> file = unreadableFile(prefix)) {
    return "data file '" + prefix + "' could not be read (" + *file +
           " is unreadable or not UTF-8 text)";
  }
  return "missing data file '" + prefix + "' (no file with that prefix in " +
         (_searchedDirectories.empty() ? std::string("any data directory")
                                       : joined(_searchedDirectories, ", ")) +
         ")";
}

Host::Host(const CommonOptions& options, const DefaultPaths& defaults, bool withInformationFile,
           bool withDefaultData)
    : _entityDirectory(defaults.entityDirectory),
      _json(options.json),
      _showsProgress(!options.noProgress && isatty(STDERR_FILENO)) {
  if (options.dataDirectories.empty() && !defaults.environmentDataDirectories.empty()) {
    for (const std::string& path : defaults.environmentDataDirectories) {
      _dataDirectories.push_back(checkedDirectory(path, "data directory", " (from QNU_DATA)"));
    }
  } else if (options.dataDirectories.empty()) {
    // A command that needs no data (escape) runs without the default directory.
    if (fs::is_directory(defaults.dataDirectory)) {
      _dataDirectories.push_back(defaults.dataDirectory);
    } else if (withDefaultData) {
      throw UsageError("the default data directory '" + defaults.dataDirectory +
                       "' does not exist (run scripts/setup.sh, or name one with --data DIR)");
    }
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

std::shared_ptr<QNXHTMLDatabase> Host::XHTMLDatabase(const std::optional<std::string>& directory,
                                                     bool required) {
  if (directory) {
    auto database =
        QNXHTMLDatabase::initWithDirectory(checkedDirectory(*directory, "entity directory"));
    if (!database) throw UsageError("entity directory '" + *directory + "' cannot be read");
    return database;
  }
  if (_XHTMLDatabase) return _XHTMLDatabase;
  _XHTMLDatabase = QNXHTMLDatabase::initWithDirectory(_entityDirectory);
  if (!_XHTMLDatabase) {
    if (required) {
      throw UsageError("the default entity directory '" + _entityDirectory +
                       "' does not exist (run scripts/setup.sh, or name one with --entities DIR)");
    }
    _XHTMLDatabase = QNXHTMLDatabase::initWithDirectory(std::nullopt);
  }
  return _XHTMLDatabase;
}

void Host::requireUnicodeData() {
  if (!_database->unicodeDataForCodepoint(0)) throw ReportedFailure();
}

int Host::finish(int code) {
  checkStandardOutput(true);
  // A reader that found no file has written its line already; the answers were incomplete.
  if (hasMissingFiles() && !_missingFilesInOutput) code = std::max(code, kExitBadInput);
  return code;
}

namespace {

// The log may be written from the Unihan reader's thread too.
std::mutex logMutex;
DataWarningCounter dataWarnings;

}  // namespace

void installLogSink(bool visible) {
  QNSetLogSink([visible](std::string_view line) {
    const std::lock_guard lock(logMutex);
    dataWarnings.take(line);
    if (!visible) return;
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fputc('\n', stderr);
    std::fflush(stderr);
  });
}

size_t dataWarningCount() {
  const std::lock_guard lock(logMutex);
  return dataWarnings.count();
}

void writeDataWarningsLine() {
  if (const size_t count = dataWarningCount()) {
    std::fprintf(stderr, "qnu: the data files gave %zu warnings (--log shows them)\n", count);
  }
}

int finishStandardOutput(int code) {
  errno = 0;
  std::cout.flush();  // the parser's help; it shares standard output's buffer
  const int coutError = errno;
  try {
    if (!std::cout) throw OutputError(coutError ? std::strerror(coutError) : "write error");
    checkStandardOutput(true);
  } catch (const OutputError& error) {
    std::fprintf(stderr, "qnu: could not write to standard output: %s\n", error.what());
    return kExitOutputFailed;
  }
  return code;
}

int runCommand(const CommonOptions& options, bool withInformationFile, bool withDefaultData,
               const std::function<int(Host&)>& command) {
  int code = kExitBadInput;
  try {
    // The host and its database stay until the process ends, reachable from here: the system
    // takes their memory back at once, where freeing some 300000 records one by one would cost
    // a short command a quarter of its time.
    static Host* host = nullptr;
    host = new Host(options, DefaultPaths::forThisProcess(), withInformationFile, withDefaultData);
    code = host->finish(command(*host));
  } catch (const OutputError& error) {
    std::fprintf(stderr, "qnu: could not write to standard output: %s\n", error.what());
    code = kExitOutputFailed;
  } catch (const UsageError& error) {
    finishStandardOutput(kExitBadInput);
    std::fprintf(stderr, "qnu: %s\n", error.what());
  } catch (const ReportedFailure&) {
    finishStandardOutput(kExitBadInput);
  }
  writeDataWarningsLine();
  return code;
}

}  // namespace qnu
