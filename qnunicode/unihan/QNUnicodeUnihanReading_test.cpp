// The Unihan reader's threads, lock and notifications.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/testing/QNTestSupport.h"
#include "qnunicode/unihan/QNUnicodeUnihan.h"
#include "qnunicode/util/QNMainThread.h"
#include "qnunicode/util/QNNotificationCenter.h"

using namespace std::chrono_literals;
using qnunicode::testing::ScratchDirectory;

namespace {

// Installs a dispatcher for the test's life and restores the previous one.
class DispatcherInstalled {
 public:
  explicit DispatcherInstalled(std::shared_ptr<QNMainThreadDispatcher> dispatcher)
      : _previous(QNSetMainThreadDispatcher(std::move(dispatcher))) {}
  ~DispatcherInstalled() { QNSetMainThreadDispatcher(_previous); }

 private:
  std::shared_ptr<QNMainThreadDispatcher> _previous;
};

// What observers of one database saw, in order.
struct Observed {
  std::vector<QNInfoValue::Map> progress;
  std::vector<std::thread::id> threads;
  bool didRead = false;
  bool readingWhenDidRead = true;
  size_t progressBeforeDidRead = 0;
};

// Observes both notifications of the database while it lives. Every observer call is checked
// to come after the previous ones, whatever thread it runs on.
class Observer {
 public:
  // Progress handed to a main thread that reads synchronously arrives on its next turn, after
  // the end: only then may progress follow the end.
  explicit Observer(QNUnicodeDatabase& database, bool progressMayFollowEnd = false)
      : _progressMayFollowEnd(progressMayFollowEnd),
        _progress(QNNotificationCenter::defaultCenter(),
                  UnicodeString(QNUnicodeReadingUnihanNotificationName), &database,
                  [this](const QNNotification& notification) {
                    std::lock_guard<std::mutex> lock(_mutex);
                    if (!_progressMayFollowEnd) {
                      EXPECT_FALSE(_observed.didRead) << "progress after the end";
                    }
                    _observed.progress.push_back(notification.userInfo);
                    _observed.threads.push_back(std::this_thread::get_id());
                  }),
        _didRead(QNNotificationCenter::defaultCenter(),
                 UnicodeString(QNUnicodeDidReadUnihanNotificationName), &database,
                 [this, &database](const QNNotification& notification) {
                   std::lock_guard<std::mutex> lock(_mutex);
                   EXPECT_TRUE(notification.userInfo.empty());
                   EXPECT_FALSE(_observed.didRead) << "two ends";
                   _observed.didRead = true;
                   _observed.readingWhenDidRead = database.isReadingUnihan();
                   _observed.progressBeforeDidRead = _observed.progress.size();
                   _observed.threads.push_back(std::this_thread::get_id());
                   _signal.notify_all();
                 }) {}

  Observed observed() {
    std::lock_guard<std::mutex> lock(_mutex);
    return _observed;
  }
  bool didRead() { return observed().didRead; }
  bool waitForDidRead(std::chrono::seconds timeout) {
    std::unique_lock<std::mutex> lock(_mutex);
    return _signal.wait_for(lock, timeout, [this] { return _observed.didRead; });
  }

 private:
  const bool _progressMayFollowEnd;
  std::mutex _mutex;
  std::condition_variable _signal;
  Observed _observed;
  QNNotificationObservation _progress;
  QNNotificationObservation _didRead;
};

double real(const QNInfoValue::Map& map, std::u16string_view key) {
  const auto found = map.find(UnicodeString(key));
  return found != map.end() && found->second.real() ? *found->second.real() : -1;
}
int64_t integer(const QNInfoValue::Map& map, std::u16string_view key) {
  const auto found = map.find(UnicodeString(key));
  return found != map.end() && found->second.integer() ? *found->second.integer() : -1;
}

// Each progress notification's user info is complete and moves forward from the previous one.
void expectProgressInOrder(const std::vector<QNInfoValue::Map>& progress, int64_t fileCount) {
  double lastProgress = 0;
  std::pair<int64_t, double> lastFile{0, 0};
  for (const QNInfoValue::Map& info : progress) {
    EXPECT_EQ(info.size(), 5u);
    const auto filename = info.find(UnicodeString(QNUnicodeUnihanReadingFilenameKey));
    ASSERT_NE(filename, info.end());
    ASSERT_TRUE(filename->second.string());
    EXPECT_TRUE(filename->second.string()->ends_with(u".txt"));
    EXPECT_EQ(integer(info, QNUnicodeUnihanReadingFileCountKey), fileCount);
    const std::pair<int64_t, double> file{integer(info, QNUnicodeUnihanReadingFileIndexKey),
                                          real(info, QNUnicodeUnihanReadingFileProgressKey)};
    const double progressed = real(info, QNUnicodeUnihanReadingProgressKey);
    EXPECT_GE(file.first, 0);
    EXPECT_LT(file.first, fileCount);
    EXPECT_GT(file.second, 0.0);
    EXPECT_LE(file.second, 1.0);
    EXPECT_GT(progressed, 0.0);
    EXPECT_LE(progressed, 1.0);
    EXPECT_GE(file, lastFile);
    EXPECT_GE(progressed, lastProgress);
    lastFile = file;
    lastProgress = progressed;
  }
}

// One Unihan file of `lines` data lines, each of one entry.
std::string unihanLines(size_t lines) {
  std::string text = "# generated\n";
  for (size_t i = 0; i < lines; ++i) {
    text += QNFormat("U+%04zX\tkDefinition\tentry %zu\n", 0x4E00 + i / 2, i);
    text += "# between\n";
  }
  return text;
}

}  // namespace

// A background read over the published files: accessors called at once wait for its end and
// see everything; the flag stays set until the main thread runs the clearing; observers on the
// main thread see the progress in order and then the end, with the flag already cleared.
TEST(UnihanReading, BackgroundReadOnTheMainThreadQueue) {
  const std::vector<std::string> directories{qnunicode::testing::ucdDirectory()};
  std::set<UnicodeString> expectedKeys;
  {
    QNUnicodeDatabase synchronous(directories, {});
    expectedKeys = *synchronous.unihanKeys();
  }
  const auto queue = std::make_shared<QNMainThreadQueue>();
  DispatcherInstalled installed(queue);
  QNUnicodeDatabase database(directories, {});
  Observer observer(database);
  EXPECT_FALSE(database.isUnihanRead()) << "no read made yet";

  database.readUnihanAsynchronously();
  EXPECT_TRUE(database.isReadingUnihan());
  EXPECT_FALSE(database.isUnihanRead());
  const auto keys = database.unihanKeys();
  ASSERT_TRUE(keys);
  EXPECT_EQ(*keys, expectedKeys);
  EXPECT_GE(keys->size(), 91u);
  EXPECT_EQ(database.unihan()->size(), 98060u);
  // The read is over, but the main thread has not yet run the clearing of the flag.
  EXPECT_FALSE(database.isUnihanRead());
  EXPECT_FALSE(observer.didRead());

  ASSERT_TRUE(queue->runUntil([&] { return observer.didRead(); }, 120s));
  const Observed observed = observer.observed();
  EXPECT_FALSE(observed.readingWhenDidRead);
  EXPECT_TRUE(database.isUnihanRead());
  EXPECT_FALSE(database.isReadingUnihan());
  ASSERT_GE(observed.progress.size(), 1u);
  expectProgressInOrder(observed.progress, 8);
  for (const std::thread::id thread : observed.threads) {
    EXPECT_EQ(thread, std::this_thread::get_id());
  }
}

// A synchronous read on the main thread: the end is posted at once, while the clearing of the
// flag and the progress wait for the main thread's next turn.
TEST(UnihanReading, SynchronousReadOnTheMainThread) {
  ScratchDirectory directory;
  directory.write("Unihan/Unihan_Generated.txt", unihanLines(25000));
  const auto queue = std::make_shared<QNMainThreadQueue>();
  DispatcherInstalled installed(queue);
  QNUnicodeDatabase database({directory.path()}, {});
  Observer observer(database, true);

  database.readUnihan();
  Observed observed = observer.observed();
  EXPECT_TRUE(observed.didRead);
  EXPECT_TRUE(observed.readingWhenDidRead);
  EXPECT_TRUE(observed.progress.empty());
  EXPECT_FALSE(database.isUnihanRead());
  EXPECT_GE(queue->runPending(), 2u);
  observed = observer.observed();
  EXPECT_GE(observed.progress.size(), 1u);
  expectProgressInOrder(observed.progress, 1);
  EXPECT_FALSE(database.isReadingUnihan());
  EXPECT_TRUE(database.isUnihanRead());
  EXPECT_EQ(database.unihan()->size(), 12500u);
}

// Without a dispatcher, the work meant for the main thread runs on the reader's thread, in the
// same order.
TEST(UnihanReading, BackgroundReadWithoutDispatcher) {
  ScratchDirectory directory;
  directory.write("Unihan/Unihan_Generated.txt", unihanLines(25000));
  directory.write("Unihan/Unihan_Other.txt", "U+4E00\tkMandarin\tyi1\n");
  DispatcherInstalled installed(nullptr);
  QNUnicodeDatabase database({directory.path()}, {});
  Observer observer(database);

  database.readUnihanAsynchronously();
  const auto entry = database.unihanDataForCodepoint(0x4E00);
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->textForKey(QNUnicodeUnihanKey_kMandarin), u"yi1");
  EXPECT_EQ(entry->textForKey(QNUnicodeUnihanKey_kDefinition), u"entry 1");
  ASSERT_TRUE(observer.waitForDidRead(120s));
  const Observed observed = observer.observed();
  EXPECT_FALSE(observed.readingWhenDidRead);
  EXPECT_TRUE(database.isUnihanRead());
  expectProgressInOrder(observed.progress, 2);
  ASSERT_GE(observed.progress.size(), 1u);
  for (const std::thread::id thread : observed.threads) {
    EXPECT_NE(thread, std::this_thread::get_id());
  }
}

// The progress notifications come at entry counts that are multiples of 10000, the first one
// always, and tell how far the read is.
TEST(UnihanReading, ProgressFigures) {
  const std::string text = unihanLines(25000);
  ScratchDirectory directory;
  directory.write("Unihan/Unihan_Generated.txt", text);
  DispatcherInstalled installed(nullptr);
  QNUnicodeDatabase database({directory.path()}, {});
  Observer observer(database);
  database.readUnihan();

  // The byte offsets after the 10000th and the 20000th data line.
  std::vector<size_t> stops;
  size_t lines = 0;
  for (size_t start = 0; start < text.size();) {
    const size_t next = text.find('\n', start) + 1;
    if (text[start] == 'U' && ++lines % 10000 == 0) stops.push_back(next);
    start = next;
  }
  const Observed observed = observer.observed();
  ASSERT_GE(observed.progress.size(), 1u);
  ASSERT_LE(observed.progress.size(), 2u);
  for (size_t i = 0; i < observed.progress.size(); ++i) {
    const QNInfoValue::Map& info = observed.progress[i];
    const double expected = static_cast<double>(stops[i]) / static_cast<double>(text.size());
    EXPECT_DOUBLE_EQ(real(info, QNUnicodeUnihanReadingFileProgressKey), expected);
    EXPECT_DOUBLE_EQ(real(info, QNUnicodeUnihanReadingProgressKey), expected);
    EXPECT_EQ(integer(info, QNUnicodeUnihanReadingFileIndexKey), 0);
    EXPECT_EQ(integer(info, QNUnicodeUnihanReadingFileCountKey), 1);
  }
}

// A database let go while its background read runs waits for the reader; the reader's last
// work for the main thread still arrives, naming the database only by its address.
TEST(UnihanReading, DatabaseGoneDuringBackgroundRead) {
  ScratchDirectory directory;
  directory.write("Unihan/Unihan_Generated.txt", unihanLines(25000));
  const auto queue = std::make_shared<QNMainThreadQueue>();
  DispatcherInstalled installed(queue);
  auto database = std::make_unique<QNUnicodeDatabase>(std::vector{directory.path()},
                                                      std::vector<std::string>{});
  std::atomic<bool> didRead = false;
  QNNotificationObservation observation(
      QNNotificationCenter::defaultCenter(), UnicodeString(QNUnicodeDidReadUnihanNotificationName),
      database.get(), [&](const QNNotification&) { didRead = true; });
  database->readUnihanAsynchronously();
  database.reset();
  EXPECT_TRUE(queue->runUntil([&] { return didRead.load(); }, 120s));
}
