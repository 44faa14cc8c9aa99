#include "qnunicode/database/QNUnicodeDatabase.h"

#include <unistd.h>

#include <filesystem>
#include <system_error>
#include <utility>

#include "qnunicode/idna/QNUnicodeSharedNameprep.h"
#include "qnunicode/names/QNUnicodeNameLookup.h"
#include "qnunicode/util/QNDataFile.h"
#include "qnunicode/util/QNFileManager.h"
#include "qnunicode/util/QNLog.h"

namespace fs = std::filesystem;

// ---- Construction ---------------------------------------------------------------------------

QNUnicodeDatabase::QNUnicodeDatabase(const std::vector<std::string>& unidataDirectoryPaths,
                                     const std::vector<std::string>& descriptionDirectoryPaths,
                                     std::optional<QNInfoDictionary> infoDictionary)
    : _dataDirectories(validAliasResolvedDirectories(unidataDirectoryPaths)),
      _descDirectories(validAliasResolvedDirectories(descriptionDirectoryPaths)),
      _infoDictionary(std::move(infoDictionary)) {
  // Construction opens no data file: it only looks whether any Unihan file is there.
  _isUnihanAvailable = !filenamesWithPrefix(QNUnicodeFilePrefixUnihan).empty();
  _nameLookupContainsDatabase = false;
  _nameLookupContainsIndex = false;
  _nameLookupContainsUnihan = false;
  _isDatabaseRead = false;
}

QNUnicodeDatabase::QNUnicodeDatabase(const std::vector<std::string>& unidataDirectoryPaths,
                                     const std::vector<std::string>& descriptionDirectoryPaths,
                                     const std::string& infoFile)
    : QNUnicodeDatabase(unidataDirectoryPaths, descriptionDirectoryPaths,
                        QNReadPropertyListFile(infoFile)) {}

// The index frees itself through its deleter; the records belong to the record storage. A
// Unihan read under way holds the reading lock until it no longer touches the database.
QNUnicodeDatabase::~QNUnicodeDatabase() {
  const std::lock_guard<std::mutex> waitForUnihanReader(_unihanReadingLock);
  // The shared nameprep processor reads through the database that made it.
  qnunicode::detail::forgetSharedNameprepProcessorOfDatabase(this);
}

// ---- The shared database and the delegate ---------------------------------------------------

namespace {

// The host sets the shared database (usually once); every query may read it. Setting takes a
// mutex and counts a new generation; each thread keeps its own reference to the database of the
// generation it saw last, so that reading is a load and a compare, takes no lock and writes no
// memory that another thread reads.
struct SharedDatabaseSlot {
  std::mutex mutex;
  std::shared_ptr<QNUnicodeDatabase> database;
  std::atomic<uint64_t> generation{1};
};

SharedDatabaseSlot& sharedDatabaseSlot() {
  static SharedDatabaseSlot slot;
  return slot;
}

struct ThreadSharedDatabase {
  uint64_t generation = 0;  // none seen yet
  std::shared_ptr<QNUnicodeDatabase> database;
  // The database seen before, kept until the next change, so that a query that began with it
  // keeps it alive when a call inside the query sees the host's new one.
  std::shared_ptr<QNUnicodeDatabase> previous;
};

thread_local ThreadSharedDatabase threadSharedDatabase;

const std::shared_ptr<QNUnicodeDatabase>& refreshThreadSharedDatabase(uint64_t generation) {
  ThreadSharedDatabase& mine = threadSharedDatabase;
  SharedDatabaseSlot& slot = sharedDatabaseSlot();
  std::shared_ptr<QNUnicodeDatabase> current;
  {
    std::lock_guard<std::mutex> lock(slot.mutex);
    current = slot.database;
    generation = slot.generation.load(std::memory_order_relaxed);
  }
  // The database kept before the previous one, if this was its last owner, goes here.
  mine.previous = std::exchange(mine.database, std::move(current));
  mine.generation = generation;
  return mine.database;
}

const std::shared_ptr<QNUnicodeDatabase>& threadSharedDatabaseReference() {
  const uint64_t generation = sharedDatabaseSlot().generation.load(std::memory_order_acquire);
  const ThreadSharedDatabase& mine = threadSharedDatabase;
  if (mine.generation == generation) [[likely]] {
    return mine.database;
  }
  return refreshThreadSharedDatabase(generation);
}

}  // namespace

std::shared_ptr<QNUnicodeDatabase> QNUnicodeDatabase::sharedDatabase() {
  return threadSharedDatabaseReference();
}

QNUnicodeDatabase* QNUnicodeDatabase::borrowedSharedDatabase() {
  return threadSharedDatabaseReference().get();
}

void QNUnicodeDatabase::setSharedDatabase(std::shared_ptr<QNUnicodeDatabase> database) {
  SharedDatabaseSlot& slot = sharedDatabaseSlot();
  std::shared_ptr<QNUnicodeDatabase> previous;
  {
    std::lock_guard<std::mutex> lock(slot.mutex);
    previous = std::exchange(slot.database, std::move(database));
    slot.generation.fetch_add(1, std::memory_order_release);
  }
  // The setting thread lets go of the old database at once; other threads do when they next ask.
  ThreadSharedDatabase& mine = threadSharedDatabase;
  mine.previous.reset();
  mine.database.reset();
  mine.generation = 0;
  // The previous database, if this was its last owner, is torn down outside the lock.
}

bool QNUnicodeDatabaseDelegate::unicodeDatabase(QNUnicodeDatabase&, std::u16string_view) {
  return false;  // not implemented: the database logs the missing file itself
}

void QNUnicodeDatabase::setDelegate(std::shared_ptr<QNUnicodeDatabaseDelegate> delegate) {
  _delegate = std::move(delegate);
}

std::shared_ptr<QNUnicodeDatabaseDelegate> QNUnicodeDatabase::delegate() const {
  return _delegate;
}

void QNUnicodeDatabase::notifyDelegateOfMissingFile(std::u16string_view prefix) {
  // Hold the delegate for the call, even if it replaces itself meanwhile.
  const std::shared_ptr<QNUnicodeDatabaseDelegate> delegate = _delegate;
  if (delegate && delegate->unicodeDatabase(*this, prefix)) return;
  QNLogFormat("QNUnicodeDatabase could not find file '%s'", qnunicode::logText(prefix).c_str());
}

qnunicode::detail::DataFile QNUnicodeDatabase::openDataFile(std::u16string_view prefix,
                                                            std::u16string_view notifiedName) {
  qnunicode::detail::DataFile file(filenameWithPrefix(prefix));
  if (!file.isReadable()) notifyDelegateOfMissingFile(notifiedName.empty() ? prefix : notifiedName);
  return file;
}

// ---- Data-file lookup -----------------------------------------------------------------------

std::vector<std::string> QNUnicodeDatabase::filenamesWithPrefix(
    std::u16string_view prefix, const std::vector<std::string>& directories) const {
  const std::string prefixName = qnunicode::toUTF8(prefix);
  std::vector<std::string> filenames;
  filenames.reserve(5);
  for (const std::string& directory : directories) {
    // The first directory that yields any file wins.
    if (!filenames.empty()) break;
    const std::optional<std::vector<std::string>> entries = QNAdditions::filenamesPrefixedBy(
        QNAdditions::stringByAppendingPathComponent(directory, prefixName));
    if (!entries) continue;
    for (const std::string& entry : *entries) {
      if (QNAdditions::pathExtension(entry) == "txt") {
        filenames.push_back(pathByResolvingAliasesInPath(entry));
        continue;
      }
      std::error_code error;
      if (!fs::is_directory(entry, error)) continue;
      // A folder matching the prefix (such as one of Unihan files) contributes its ".txt" files,
      // whatever their names; the search goes no deeper.
      fs::directory_iterator contents(entry, error);
      if (error) continue;
      for (; contents != fs::directory_iterator(); contents.increment(error)) {
        if (error) break;
        const std::string name = contents->path().filename().string();
        if (QNAdditions::pathExtension(name) == "txt") {
          filenames.push_back(pathByResolvingAliasesInPath(
              QNAdditions::stringByAppendingPathComponent(entry, name)));
        }
      }
    }
  }
  return filenames;
}

std::optional<std::string> QNUnicodeDatabase::filenameWithPrefix(
    std::u16string_view prefix, const std::vector<std::string>& directories) const {
  std::vector<std::string> filenames = filenamesWithPrefix(prefix, directories);
  if (filenames.empty()) return std::nullopt;
  // Listings are not sorted, so with several files this is whichever the directory listed last.
  if (filenames.size() >= 2) {
    QNLogFormat(
        "Warning: Multiple files with prefix '%s' found. Returning last file with extension "
        "'txt': %s",
        qnunicode::logText(prefix).c_str(), filenames.back().c_str());
  }
  return std::move(filenames.back());
}

std::vector<std::string> QNUnicodeDatabase::filenamesWithPrefix(std::u16string_view prefix) const {
  return filenamesWithPrefix(prefix, _dataDirectories);
}

std::optional<std::string> QNUnicodeDatabase::filenameWithPrefix(std::u16string_view prefix) const {
  return filenameWithPrefix(prefix, _dataDirectories);
}

std::optional<std::string> QNUnicodeDatabase::descriptionFilenameWithPrefix(
    std::u16string_view prefix) const {
  return filenameWithPrefix(prefix, _descDirectories);
}

std::string QNUnicodeDatabase::pathByResolvingAliasesInPath(const std::string& path) {
  return QNAdditions::pathByResolvingAliasesInPath(path);
}

std::vector<std::string> QNUnicodeDatabase::validAliasResolvedDirectories(
    const std::vector<std::string>& paths) {
  std::vector<std::string> directories;
  directories.reserve(paths.size());
  for (const std::string& path : paths) {
    std::string resolved = pathByResolvingAliasesInPath(path);
    if (resolved.empty()) continue;
    std::error_code error;
    if (!fs::is_directory(resolved, error)) continue;
    if (access(resolved.c_str(), R_OK | X_OK) != 0) continue;
    directories.push_back(std::move(resolved));
  }
  return directories;
}

// ---- Data-file info dictionaries ------------------------------------------------------------

QNInfoValue QNUnicodeDataFileInfo::infoValue() const {
  QNInfoValue::List pathList;
  pathList.reserve(paths.size());
  for (const std::string& path : paths) pathList.emplace_back(qnunicode::fromUTF8(path));
  QNInfoValue::List versionList(versions.begin(), versions.end());
  QNInfoValue::Map map;
  map.emplace(UnicodeString(QNUnicodeFilePrefixKey), QNInfoValue(prefix));
  map.emplace(UnicodeString(QNUnicodeFilePathsKey), QNInfoValue(std::move(pathList)));
  map.emplace(UnicodeString(QNUnicodeFileVersionsKey), QNInfoValue(std::move(versionList)));
  return QNInfoValue(std::move(map));
}
