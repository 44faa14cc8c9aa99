// qnu and the Unihan data: the inspect block and JSON object, search --unihan, and the progress
// bar on a terminal.
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "QNUProgress.h"
#include "QNUTestProcess.h"
#include "qnunicode/testing/QNTestSupport.h"

namespace {

using qnu::testing::ProcessResult;

ProcessResult qnuRun(const std::vector<std::string>& arguments) {
  return qnu::testing::runProcess(QNU_EXECUTABLE, arguments);
}

// Runs qnu with all three standard streams on a pseudo-terminal and answers everything it wrote
// there (the terminal turns each line feed into CR LF) and its exit code.
std::pair<std::string, int> qnuOnTerminal(const std::vector<std::string>& arguments) {
  int master = -1;
  const pid_t child = forkpty(&master, nullptr, nullptr, nullptr);
  if (child < 0) return {"forkpty failed", -1};
  if (child == 0) {
    std::vector<char*> argv{const_cast<char*>(QNU_EXECUTABLE)};
    for (const std::string& argument : arguments)
      argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    ::execv(QNU_EXECUTABLE, argv.data());
    ::_exit(127);
  }
  std::string output;
  for (;;) {
    pollfd ready{master, POLLIN, 0};
    if (::poll(&ready, 1, 60000) <= 0) break;  // a minute without output: give up
    char buffer[4096];
    const ssize_t count = ::read(master, buffer, sizeof buffer);
    if (count <= 0) break;  // EIO once the child has closed its side
    output.append(buffer, static_cast<size_t>(count));
  }
  ::close(master);
  int status = 0;
  ::waitpid(child, &status, 0);
  return {output, WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status)};
}

bool contains(const std::string& text, std::string_view part) {
  return text.find(part) != std::string::npos;
}

}  // namespace

TEST(QnuProgress, FramesOfTheBar) {
  struct Case {
    const char* path;
    double progress;
    const char* frame;
  };
  const Case cases[] = {
      {"/d/Unihan/Unihan_Readings.txt", 0.42, "\rReading Unihan_Readings.txt [####......]  42%"},
      {"Unihan.txt", 0.0, "\rReading Unihan.txt [..........]   0%"},
      {"/Unihan.txt", 1.0, "\rReading Unihan.txt [##########] 100%"},
      {"a", 1.5, "\rReading a [##########] 100%"},  // clamped
      {"a", -1, "\rReading a [..........]   0%"},
      {"a", std::nan(""), "\rReading a [..........]   0%"},
  };
  for (const Case& test : cases) {
    EXPECT_EQ(qnu::progressBarFrame(test.path, test.progress, 10), test.frame) << test.progress;
  }
}

// On a terminal, reading Unihan draws the bar on standard error and clears it; --no-progress
// and a standard error that is not a terminal draw nothing.
TEST(QnuProgress, BarOnATerminalOnly) {
  const auto [terminal, code] = qnuOnTerminal({"inspect", "\u4E18"});
  EXPECT_EQ(code, 0) << terminal;
  EXPECT_TRUE(contains(terminal, "\rReading Unihan_")) << terminal;
  EXPECT_TRUE(contains(terminal, "%")) << terminal;
  EXPECT_TRUE(contains(terminal, qnu::kProgressBarClear)) << terminal;
  // The bar is gone before the report starts.
  EXPECT_LT(terminal.rfind(qnu::kProgressBarClear), terminal.find("U+4E18"));
  EXPECT_TRUE(contains(terminal, "kDefinition            hill; elder; empty; a name"));

  const auto [quiet, quietCode] = qnuOnTerminal({"--no-progress", "inspect", "\u4E18"});
  EXPECT_EQ(quietCode, 0);
  EXPECT_FALSE(contains(quiet, "Reading")) << quiet;
  EXPECT_TRUE(contains(quiet, "kDefinition            hill; elder; empty; a name"));

  const ProcessResult piped = qnuRun({"inspect", "\u4E18"});
  EXPECT_EQ(piped.exitCode, 0);
  EXPECT_EQ(piped.err, "");
  EXPECT_TRUE(contains(piped.out, "\n  Unihan                     kBigFive               A543\n"));
}

TEST(QnuUnihan, InspectJsonHasTheEntryOfIdeographsOnly) {
  const ProcessResult result = qnuRun({"inspect", "--json", "\u4E18\u00E9\uF900"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  std::vector<nlohmann::json> objects;
  for (size_t start = 0, end; (end = result.out.find('\n', start)) != std::string::npos;
       start = end + 1) {
    objects.push_back(nlohmann::json::parse(result.out.substr(start, end - start)));
  }
  ASSERT_EQ(objects.size(), 3u);
  const nlohmann::json& hill = objects[0]["unihanData"];
  EXPECT_EQ(hill["kDefinition"], "hill; elder; empty; a name");
  EXPECT_EQ(hill["kTotalStrokes"], 5);  // a JSON number
  EXPECT_EQ(hill["kFrequency"], 5);
  EXPECT_EQ(hill["kRSUnicode"], "1.4");
  EXPECT_FALSE(objects[1].contains("unihanData"));
  EXPECT_EQ(objects[2]["unihanData"]["kCompatibilityVariant"], "U+8C48");
}

// The Unihan files are read for ideographs only: a file that logs when read says so.
TEST(QnuUnihan, ReadOnlyForCodepointsThatCanHaveAnEntry) {
  qnunicode::testing::ScratchDirectory scratch;
  scratch.write("Unihan/Unihan_Logging.txt", "U+110000\tkDefinition\tbeyond\nU+4E18\tkX\ty\n");
  const std::vector<std::string> data{"--log", "--data", scratch.path(), "--data",
                                      qnunicode::testing::ucdDirectory()};
  auto with = [&data](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), data.begin(), data.end());
    return qnuRun(arguments);
  };
  const ProcessResult latin = with({"inspect", "\u00E9"});
  EXPECT_FALSE(contains(latin.err, "Codepoint out of range")) << latin.err;
  const ProcessResult ideograph = with({"inspect", "\u4E18"});
  EXPECT_TRUE(contains(ideograph.err, "Codepoint out of range: 1114112")) << ideograph.err;
  EXPECT_TRUE(contains(ideograph.out, "\n  Unihan                     kX  y\n")) << ideograph.out;
}

TEST(QnuUnihan, SearchMatchesDefinitionsWithTheUnihanFlagOnly) {
  const ProcessResult withUnihan = qnuRun({"search", "--unihan", "lotion"});
  EXPECT_EQ(withUnihan.exitCode, 0);
  EXPECT_EQ(withUnihan.out,
            "U+1F9F4  \U0001F9F4\tLOTION BOTTLE [U+1F9F4]\n"
            "U+6C34   \u6C34\twater, liquid, lotion, juice [U+6C34]\n");
  EXPECT_EQ(withUnihan.err, "");
  const ProcessResult without = qnuRun({"search", "lotion"});
  EXPECT_EQ(without.out, "U+1F9F4  \U0001F9F4\tLOTION BOTTLE [U+1F9F4]\n");
  // The same word rules as plain search: every word, in any case, anywhere in the key.
  const ProcessResult words = qnuRun({"search", "--unihan", "--json", "LIQUID", "Water"});
  EXPECT_TRUE(contains(words.out,
                       "{\"codepoint\":27700,\"key\":\"water, liquid, lotion, juice "
                       "[U+6C34]\"}"))
      << words.out;
}
