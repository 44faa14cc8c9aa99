// The main-thread dispatcher and the notification centre.
#include "qnunicode/util/QNMainThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "qnunicode/util/QNNotificationCenter.h"

using namespace std::chrono_literals;

TEST(MainThreadQueue, TasksRunOnTheMainThreadInOrder) {
  QNMainThreadQueue queue;
  std::vector<std::string> ran;
  std::atomic<bool> syncReturned = false;
  std::thread other([&] {
    queue.dispatchAsync([&] { ran.push_back("async from other"); });
    queue.dispatchSync([&] { ran.push_back("sync from other"); });
    syncReturned = true;  // only once the main thread ran the task
  });
  // Nothing runs until the main thread runs the queue.
  EXPECT_TRUE(queue.runUntil([&] { return ran.size() == 2; }, 60s));
  other.join();
  EXPECT_TRUE(syncReturned);
  EXPECT_EQ(ran, (std::vector<std::string>{"async from other", "sync from other"}));

  // On the main thread a synchronous task runs at once, ahead of the queued ones.
  ran.clear();
  queue.dispatchAsync([&] { ran.push_back("queued"); });
  queue.dispatchSync([&] { ran.push_back("at once"); });
  EXPECT_EQ(ran, std::vector<std::string>{"at once"});
  EXPECT_EQ(queue.runPending(), 1u);
  EXPECT_EQ(ran, (std::vector<std::string>{"at once", "queued"}));
  EXPECT_EQ(queue.runPending(), 0u);
  EXPECT_FALSE(queue.runUntil([] { return false; }, 10ms));
}

TEST(MainThreadDispatcher, WithoutOneWorkRunsAtOnce) {
  const auto previous = QNSetMainThreadDispatcher(nullptr);
  int ran = 0;
  QNPerformOnMainThread([&] { ++ran; }, false);
  QNPerformOnMainThread([&] { ++ran; }, true);
  EXPECT_EQ(ran, 2);
  const auto queue = std::make_shared<QNMainThreadQueue>();
  QNSetMainThreadDispatcher(queue);
  QNPerformOnMainThread([&] { ++ran; }, false);
  EXPECT_EQ(ran, 2);
  EXPECT_EQ(queue->runPending(), 1u);
  EXPECT_EQ(ran, 3);
  QNSetMainThreadDispatcher(previous);
}

TEST(NotificationCenter, ObserversByNameAndObjectInTheOrderAdded) {
  QNNotificationCenter center;
  std::vector<std::string> heard;
  int poster = 0, other = 0;
  const auto token = center.addObserver(u"a", &poster, [&](const QNNotification& notification) {
    heard.push_back("a from poster " + std::to_string(notification.userInfo.size()));
  });
  center.addObserver(std::nullopt, nullptr, [&](const QNNotification& notification) {
    heard.push_back("any: " + std::string(notification.name.begin(), notification.name.end()));
  });
  center.addObserver(u"b", nullptr, [&](const QNNotification&) { heard.push_back("b"); });
  center.postNotification({u"a", &poster, {{u"key", QNInfoValue(int64_t{1})}}});
  center.postNotification({u"a", &other, {}});
  center.postNotification({u"b", &other, {}});
  center.removeObserver(token);
  center.postNotification({u"a", &poster, {}});
  EXPECT_EQ(heard, (std::vector<std::string>{"a from poster 1", "any: a", "any: a", "any: b", "b",
                                             "any: a"}));
}

// An observer may remove itself and post again while it is called.
TEST(NotificationCenter, ObserversMayChangeTheCentreWhileCalled) {
  QNNotificationCenter center;
  int calls = 0;
  QNNotificationCenter::Token token = 0;
  token = center.addObserver(u"once", nullptr, [&](const QNNotification&) {
    ++calls;
    center.removeObserver(token);
    center.postNotification({u"once", nullptr, {}});
  });
  center.postNotification({u"once", nullptr, {}});
  EXPECT_EQ(calls, 1);
}
