// The Unihan reader of the database: reading the Unihan files on the calling thread or on a
// thread of its own, the reading lock that the accessors wait on, and the notifications handed
// to the host's main thread.
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <system_error>
#include <thread>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/records/QNUnicodeData.h"
#include "qnunicode/unihan/QNUnicodeUnihan.h"
#include "qnunicode/util/QNDataFile.h"
#include "qnunicode/util/QNLog.h"
#include "qnunicode/util/QNMainThread.h"
#include "qnunicode/util/QNNotificationCenter.h"

// A lock with an integer condition: taken at once, or only once the condition has a value.
struct QNUnicodeDatabase::UnihanStartCondition {
  explicit UnihanStartCondition(int condition) : _condition(condition) {}

  void lock() {
    std::unique_lock<std::mutex> guard(_mutex);
    _changed.wait(guard, [this] { return !_held; });
    _held = true;
  }
  void lockWhenCondition(int condition) {
    std::unique_lock<std::mutex> guard(_mutex);
    _changed.wait(guard, [&] { return !_held && _condition == condition; });
    _held = true;
  }
  void unlockWithCondition(int condition) {
    // Signalled under the mutex: a waiter may destroy the lock as soon as it can take it.
    std::lock_guard<std::mutex> guard(_mutex);
    _held = false;
    _condition = condition;
    _changed.notify_all();
  }
  void unlock() {
    std::lock_guard<std::mutex> guard(_mutex);
    _held = false;
    _changed.notify_all();
  }

 private:
  std::mutex _mutex;
  std::condition_variable _changed;
  bool _held = false;
  int _condition;
};

namespace {

void postNotification(std::u16string_view name, const void* object, QNInfoValue::Map userInfo) {
  QNNotificationCenter::defaultCenter().postNotification(
      {UnicodeString(name), object, std::move(userInfo)});
}

// The file's size with links followed; 0 when it cannot be had.
uint64_t fileSize(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return 0;
  return static_cast<uint64_t>(status.st_size);
}

double fraction(uint64_t part, uint64_t whole) {
  return whole == 0 ? 0.0 : static_cast<double>(part) / static_cast<double>(whole);
}

// Mapped bytes are read once, front to back.
void adviseSequential(std::string_view bytes) {
  if (bytes.empty()) return;
  const auto page = static_cast<uintptr_t>(::sysconf(_SC_PAGESIZE));
  const auto start = reinterpret_cast<uintptr_t>(bytes.data()) & ~(page - 1);
  ::madvise(reinterpret_cast<void*>(start),
            reinterpret_cast<uintptr_t>(bytes.data()) + bytes.size() - start,
            MADV_SEQUENTIAL | MADV_WILLNEED);
}

}  // namespace

// ---- Flags ------------------------------------------------------------------------------------

bool QNUnicodeDatabase::isReadingUnihan() const {
  return _isReadingUnihan->load(std::memory_order_acquire);
}

void QNUnicodeDatabase::setIsReadingUnihan(bool isReadingUnihan) {
  _isReadingUnihan->store(isReadingUnihan, std::memory_order_release);
}

void QNUnicodeDatabase::setIsReadingUnihanWithNumber(bool number) {
  setIsReadingUnihan(number);
}

bool QNUnicodeDatabase::isUnihanRead() const {
  return !isReadingUnihan() && _hasUnihan.load(std::memory_order_acquire);
}

const std::set<UnicodeString>& QNUnicodeDatabase::unihanPotentialNumericKeys() {
  static const std::set<UnicodeString> keys{UnicodeString(QNUnicodeUnihanKey_kAccountingNumeric),
                                            UnicodeString(QNUnicodeUnihanKey_kFrequency),
                                            UnicodeString(QNUnicodeUnihanKey_kGradeLevel),
                                            UnicodeString(QNUnicodeUnihanKey_kLau),
                                            UnicodeString(QNUnicodeUnihanKey_kOtherNumeric),
                                            UnicodeString(QNUnicodeUnihanKey_kPrimaryNumeric),
                                            UnicodeString(QNUnicodeUnihanKey_kTotalStrokes)};
  return keys;
}

// ---- Reading ----------------------------------------------------------------------------------

void QNUnicodeDatabase::readUnihanAsynchronously() {
  UnihanStartCondition started(0);
  setIsReadingUnihan(true);
  try {
    std::thread([this, &started] { _readUnihan(&started); }).detach();
  } catch (const std::system_error&) {
    // No thread to be had: the read happens here instead, with the same outcome.
    _readUnihan(nullptr);
    return;
  }
  // Once the reader holds the reading lock, every accessor waits for the read's end.
  started.lockWhenCondition(1);
  started.unlock();
}

void QNUnicodeDatabase::readUnihan() {
  setIsReadingUnihan(true);
  _readUnihan(nullptr);
}

void QNUnicodeDatabase::_readUnihan(UnihanStartCondition* started) {
  std::unique_lock<std::mutex> reading(_unihanReadingLock, std::defer_lock);
  if (started) {
    // A background read runs at the lowest priority the system gives a thread.
    ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), 19);
    started->lock();
    reading.lock();
    started->unlockWithCondition(1);
  } else {
    reading.lock();
  }

  const std::vector<std::string> files = filenamesWithPrefix(QNUnicodeFilePrefixUnihan);
  std::vector<uint64_t> sizes;
  uint64_t total = 0;
  for (const std::string& path : files) total += sizes.emplace_back(fileSize(path));

  QNUnicodeUnihanTableBuilder builder(static_cast<size_t>(total));
  using Clock = std::chrono::steady_clock;
  std::optional<Clock::time_point> lastProgress;
  uint64_t before = 0;  // the sizes of the files before this one
  for (size_t i = 0; i < files.size(); before += sizes[i], ++i) {
    const std::string& path = files[i];
    qnunicode::detail::DataFile file(path, qnunicode::detail::DataFile::Check::None);
    if (!file.isReadable()) {
      QNLogFormat("could not read file '%s'", path.c_str());
      continue;
    }
    const std::string_view bytes = file.bytes();
    adviseSequential(bytes);
    qnunicode::detail::readUnihanBytes(bytes, builder, [&](size_t consumed) {
      const Clock::time_point now = Clock::now();
      if (lastProgress && now - *lastProgress <= std::chrono::milliseconds(50)) return;
      lastProgress = now;
      QNInfoValue::Map userInfo;
      userInfo.emplace(QNUnicodeUnihanReadingFilenameKey, qnunicode::fromUTF8(path));
      userInfo.emplace(QNUnicodeUnihanReadingFileIndexKey, static_cast<int64_t>(i));
      userInfo.emplace(QNUnicodeUnihanReadingFileCountKey, static_cast<int64_t>(files.size()));
      userInfo.emplace(QNUnicodeUnihanReadingFileProgressKey, fraction(consumed, bytes.size()));
      userInfo.emplace(QNUnicodeUnihanReadingProgressKey, fraction(before + consumed, total));
      const void* object = this;
      QNPerformOnMainThread(
          [object, userInfo = std::move(userInfo)]() mutable {
            postNotification(QNUnicodeReadingUnihanNotificationName, object, std::move(userInfo));
          },
          false);
    });
  }

  QNUnicodeUnihanTableBuilder::Result result = builder.finish();
  _unihan = std::move(result.table);
  _unihanKeys = std::move(result.keys);
  _unihanNumericKeys = std::move(result.numericKeys);
  _hasUnihan.store(true, std::memory_order_release);

  // From here on the database may go at any moment (its destructor waits only for the lock):
  // the work handed over holds the flag and the database's address, nothing of the database.
  const std::shared_ptr<std::atomic<bool>> flag = _isReadingUnihan;
  const void* object = this;
  reading.unlock();
  QNPerformOnMainThread([flag] { flag->store(false, std::memory_order_release); }, false);
  // Observers of the end of a background read see the flag cleared: the main thread runs the
  // work handed to it in order.
  QNPerformOnMainThread(
      [object] { postNotification(QNUnicodeDidReadUnihanNotificationName, object, {}); }, true);
}

void QNUnicodeDatabase::postReadingUnihanNotificationWithUserInfo(QNInfoValue::Map userInfo) {
  postNotification(QNUnicodeReadingUnihanNotificationName, this, std::move(userInfo));
}

void QNUnicodeDatabase::postDidReadUnihanNotificationFromThread(std::thread::id) {
  postNotification(QNUnicodeDidReadUnihanNotificationName, this, {});
}

// ---- Accessors --------------------------------------------------------------------------------

std::shared_ptr<const QNUnicodeUnihanTable> QNUnicodeDatabase::unihan() {
  if (!_isUnihanAvailable) return nullptr;
  // Taking the lock waits for a read under way.
  {
    std::lock_guard<std::mutex> wait(_unihanReadingLock);
    if (_unihan) return _unihan;
  }
  readUnihan();
  std::lock_guard<std::mutex> wait(_unihanReadingLock);
  return _unihan;
}

std::shared_ptr<const std::set<UnicodeString>> QNUnicodeDatabase::unihanKeys() {
  if (!unihan()) return nullptr;
  std::lock_guard<std::mutex> wait(_unihanReadingLock);
  return _unihanKeys;
}

std::shared_ptr<const std::set<UnicodeString>> QNUnicodeDatabase::unihanNumericKeys() {
  if (!unihan()) return nullptr;
  std::lock_guard<std::mutex> wait(_unihanReadingLock);
  return _unihanNumericKeys;
}

std::optional<QNUnicodeUnihanEntry> QNUnicodeDatabase::unihanDataForCodepoint(uint32_t codepoint) {
  const std::shared_ptr<const QNUnicodeUnihanTable> table = unihan();
  if (!table) return std::nullopt;
  return table->entryForCodepoint(codepoint);
}

std::optional<QNUnicodeUnihanEntry> QNUnicodeData::unihanData() const {
  const auto database = QNUnicodeDatabase::sharedDatabase();
  if (!database) return std::nullopt;
  return database->unihanDataForCodepoint(codepoint());
}
