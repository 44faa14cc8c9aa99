#include "qnunicode/util/QNLog.h"

#include <gtest/gtest.h>

#include <thread>

#include "qnunicode/testing/QNTestSupport.h"

TEST(Log, SinksReceiveEachLineExactlyAndAreRestored) {
  std::vector<std::string> outer;
  const QNLogSink before = QNSetLogSink([&](std::string_view line) { outer.emplace_back(line); });
  QNLog("first");
  {
    qnunicode::testing::LogCapture inner;
    QNLog("");
    // A lone surrogate has no UTF-8 form and is written as U+FFFD.
    QNLogFormat("U+%04X %s %d%%", 0x1F600u, qnunicode::logText(u"\u00E9\xD800").c_str(), 5);
    EXPECT_EQ(inner.lines(), (std::vector<std::string>{"", "U+1F600 \xC3\xA9\xEF\xBF\xBD 5%"}));
  }
  QNLog("third");
  EXPECT_EQ(outer, (std::vector<std::string>{"first", "third"}));
  // With no sink the line and a line end go to standard error.
  EXPECT_TRUE(QNSetLogSink(QNLogSink()));
  ::testing::internal::CaptureStderr();
  QNLog("to standard error");
  QNLogFormat("%s", "formatted");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "to standard error\nformatted\n");
  QNSetLogSink(before);
}

TEST(Log, TextsOfAnyLengthAndLinesFromManyThreadsArriveWhole) {
  // Around the formatter's first buffer and far beyond it.
  for (size_t length : {0u, 510u, 511u, 512u, 100000u}) {
    const std::string text(length, 'x');
    EXPECT_EQ(QNFormat("%s%u", text.c_str(), 7u), text + "7") << length;
  }
  qnunicode::testing::LogCapture log;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 500; ++i) QNLogFormat("thread %d line %d %s", t, i, "payload");
    });
  }
  for (auto& thread : threads) thread.join();
  ASSERT_EQ(log.lines().size(), 2000u);
  std::vector<int> next(4, 0);
  for (const std::string& line : log.lines()) {
    const int t = line.size() > 7 ? line[7] - '0' : -1;
    ASSERT_TRUE(t >= 0 && t < 4) << line;
    EXPECT_EQ(line, QNFormat("thread %d line %d payload", t, next[t]++));
  }
}

TEST(Log, HoldsKeepTheLinesOfTheirOwnThread) {
  qnunicode::testing::LogCapture log;
  std::vector<std::string> held, nested;
  {
    const QNLogHold hold(held);
    QNLog("held");
    {
      const QNLogHold inner(nested);
      QNLogFormat("nested %d", 1);
    }
    std::thread([] { QNLog("another thread"); }).join();
    QNLog("held again");
  }
  QNLog("after");
  EXPECT_EQ(held, (std::vector<std::string>{"held", "held again"}));
  EXPECT_EQ(nested, (std::vector<std::string>{"nested 1"}));
  EXPECT_EQ(log.lines(), (std::vector<std::string>{"another thread", "after"}));
}
