#include "qnunicode/util/QNLog.h"

#include <gtest/gtest.h>

#include <thread>

#include "qnunicode/testing/QNTestSupport.h"

namespace {

// Installs a sink for the life of the object, restoring the one before it afterwards.
class SinkScope {
 public:
  explicit SinkScope(QNLogSink sink) : _previous(QNSetLogSink(std::move(sink))) {}
  ~SinkScope() { QNSetLogSink(std::move(_previous)); }

 private:
  QNLogSink _previous;
};

}  // namespace

TEST(Log, SinkReceivesEachLineExactlyAndIsRestored) {
  std::vector<std::string> outer, inner;
  {
    SinkScope outerScope([&](std::string_view line) { outer.emplace_back(line); });
    QNLog("first");
    {
      SinkScope innerScope([&](std::string_view line) { inner.emplace_back(line); });
      QNLog("second line");
      QNLogFormat("U+%04X %s %d%%", 0x1F600u, qnunicode::logText(u"\u00E9\xD800").c_str(), 5);
      QNLog("");
    }
    QNLog("third");
  }
  EXPECT_EQ(outer, (std::vector<std::string>{"first", "third"}));
  // A lone surrogate has no UTF-8 form and is written as U+FFFD.
  EXPECT_EQ(inner,
            (std::vector<std::string>{"second line", "U+1F600 \xC3\xA9\xEF\xBF\xBD 5%", ""}));

  // With no sink the line and a line end go to standard error.
  SinkScope none{QNLogSink()};
  ::testing::internal::CaptureStderr();
  QNLog("to standard error");
  QNLogFormat("%s", "formatted");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "to standard error\nformatted\n");
}

TEST(Log, FormattingOfAnyLength) {
  // Around the formatter's first buffer and far beyond it.
  for (size_t length : {0u, 1u, 510u, 511u, 512u, 513u, 4096u, 100000u}) {
    const std::string text(length, 'x');
    EXPECT_EQ(QNFormat("%s", text.c_str()), text) << length;
    EXPECT_EQ(QNFormat("<%s>%u", text.c_str(), 7u), "<" + text + ">7") << length;
  }
  EXPECT_EQ(QNFormat("%04X|%2lu: |%.1f|%i", 0x41u, 3ul, 1.96, -3), "0041| 3: |2.0|-3");
  qnunicode::testing::LogCapture log;
  const std::string longLine(3000, 'y');
  QNLogFormat("%s!", longLine.c_str());
  EXPECT_EQ(log.lines(), std::vector<std::string>{longLine + "!"});
}

TEST(Log, LinesFromManyThreadsArriveWhole) {
  std::vector<std::string> lines;
  {
    SinkScope scope([&](std::string_view line) { lines.emplace_back(line); });
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([t] {
        for (int i = 0; i < 500; ++i) QNLogFormat("thread %d line %d %s", t, i, "payload");
      });
    }
    for (auto& thread : threads) thread.join();
  }
  ASSERT_EQ(lines.size(), 2000u);
  std::vector<int> next(4, 0);
  for (const std::string& line : lines) {
    int t = -1, i = -1;
    ASSERT_EQ(std::sscanf(line.c_str(), "thread %d line %d", &t, &i), 2) << line;
    ASSERT_TRUE(t >= 0 && t < 4);
    // Each thread's lines keep their order.
    EXPECT_EQ(i, next[t]++);
    EXPECT_EQ(line, QNFormat("thread %d line %d payload", t, i));
  }
}
