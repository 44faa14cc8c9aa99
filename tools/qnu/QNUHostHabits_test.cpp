// The built qnu run as a whole process, the way people use command-line tools: text from
// standard input, output to a full or closed descriptor, mistyped commands and numbers, help,
// the data directory from the environment, and damaged data files, which must never pass
// unnoticed.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <random>
#include <set>
#include <sstream>

#include "QNUTestProcess.h"
#include "qnunicode/testing/QNTestSupport.h"

extern char** environ;

namespace fs = std::filesystem;

namespace qnu {
namespace {

using Json = nlohmann::json;
using Lines = std::vector<std::string>;
using Result = testing::ProcessResult;
using qnunicode::testing::ScratchDirectory;
using qnunicode::testing::ucdDirectory;

Result qnu(const Lines& arguments, const std::string& input = "") {
  return testing::runProcess(QNU_EXECUTABLE, arguments, input);
}

bool contains(const std::string& text, const std::string& piece) {
  return text.find(piece) != std::string::npos;
}

Lines lines(const std::string& text) {
  Lines result;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) result.push_back(line);
  return result;
}

// Runs qnu with standard output on the file `output` (closed when empty); answers the exit code
// and standard error.
Result qnuWritingTo(const Lines& arguments, const std::string& output) {
  FILE* err = std::tmpfile();
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  if (output.empty()) {
    posix_spawn_file_actions_addclose(&actions, 1);
  } else {
    posix_spawn_file_actions_addopen(&actions, 1, output.c_str(), O_WRONLY, 0);
  }
  posix_spawn_file_actions_adddup2(&actions, fileno(err), 2);
  std::vector<char*> argv{const_cast<char*>(QNU_EXECUTABLE)};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  pid_t pid = -1;
  Result result;
  if (posix_spawn(&pid, QNU_EXECUTABLE, &actions, nullptr, argv.data(), environ) == 0) {
    int status = 0;
    waitpid(pid, &status, 0);
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  posix_spawn_file_actions_destroy(&actions);
  std::rewind(err);
  char buffer[4096];
  for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, err)) > 0;) result.err.append(buffer, n);
  std::fclose(err);
  return result;
}

// Sets an environment variable for the processes started while it lives.
class ScopedEnvironment {
 public:
  ScopedEnvironment(const char* name, const std::string& value) : _name(name) {
    setenv(name, value.c_str(), 1);
  }
  ~ScopedEnvironment() { unsetenv(_name); }

 private:
  const char* _name;
};

// A data directory of links to the real files, with the named files replaced.
void linkRealDataExcept(const ScratchDirectory& directory, const std::set<std::string>& except) {
  for (const auto& entry : fs::directory_iterator(ucdDirectory())) {
    if (!except.contains(entry.path().filename().string())) {
      fs::create_symlink(entry.path(), fs::path(directory.path()) / entry.path().filename());
    }
  }
}

std::string realFileWith(const std::string& name, const std::string& from, const std::string& to) {
  std::ifstream stream(qnunicode::testing::ucdFile(name), std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(stream), {}};
  const size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return text.replace(at, from.size(), to);
}

const std::string kFull = "No space left on device";

TEST(QnuStandardInput, TextCommandsReadItWhenGivenNoTextOrADash) {
  const Result argument = qnu({"inspect", "\u00E9"});
  ASSERT_EQ(argument.exitCode, 0);
  // No argument or "-": the input's text, one final line end (as echo writes it) left out.
  EXPECT_EQ(qnu({"inspect"}, "\u00E9"), argument);
  EXPECT_EQ(qnu({"inspect", "-"}, "\u00E9\n"), argument);
  EXPECT_EQ(qnu({"inspect"}, "\u00E9\r\n"), argument);
  EXPECT_EQ(qnu({"inspect", "--json", "-"}, "\u00E9\n\n").out,
            qnu({"inspect", "--json", "-c", "E9", "A"}).out);  // only one line end is dropped
  // "-" stands where it is among other arguments.
  EXPECT_EQ(qnu({"inspect", "a", "-", "c"}, "b\n").out, qnu({"inspect", "abc"}).out);
  // With --codepoint the input holds codepoints and ranges apart by any white space.
  EXPECT_EQ(qnu({"inspect", "-c"}, " U+41\t42..43\n\n0x44\n").out,
            qnu({"inspect", "-c", "41..44"}).out);
  EXPECT_EQ(qnu({"inspect"}, ""), (Result{0, "", ""}));
  EXPECT_EQ(qnu({"normalize", "-", "-f", "nfd"}, "\u00E9\n").out, "e\u0301\n");
  // A codepoint of standard input is checked like an argument's.
  const std::vector<std::pair<Lines, std::string>> bad = {
      {{"inspect", "-", "-"}, "standard input ('-') can be read only once"},
      {{"inspect"}, "standard input is not valid UTF-8"},
      {{"normalize", "-"}, "standard input is not valid UTF-8"},
  };
  for (const auto& [arguments, message] : bad) {
    EXPECT_EQ(qnu(arguments, "ok\xC3"), (Result{2, "", "qnu: " + message + "\n"}));
  }
  EXPECT_EQ(qnu({"inspect", "-c"}, "41 G"),
            (Result{2, "",
                    "qnu: 'G' is not a codepoint (write U+XXXX, 0xXXXX or XXXX, or a range "
                    "U+XXXX..U+YYYY)\n"}));
}

TEST(QnuOutputErrors, AFullOrClosedStandardOutputExitsWithOneAndSaysWhy) {
  const std::vector<std::pair<Lines, std::string>> cases = {
      {{"inspect", "\u00E9"}, "/dev/full"},
      {{"--json", "inspect", "\u00E9"}, "/dev/full"},
      {{"data"}, "/dev/full"},
      {{"search", "latin"}, "/dev/full"},
      {{"normalize", "a"}, "/dev/full"},
      {{"--help"}, "/dev/full"},
      {{"inspect", "--help"}, "/dev/full"},
      {{"inspect", "\u00E9"}, ""},
      {{"data", "--json"}, ""},
  };
  for (const auto& [arguments, output] : cases) {
    const std::string reason = output.empty() ? "Bad file descriptor" : kFull;
    EXPECT_EQ(qnuWritingTo(arguments, output),
              (Result{1, "", "qnu: could not write to standard output: " + reason + "\n"}))
        << arguments.back() << " > " << output;
  }
  // A stream of the whole codespace stops at the first failed write instead of running for
  // minutes.
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(qnuWritingTo({"inspect", "-c", "0..10FFFF"}, "/dev/full").exitCode, 1);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}

TEST(QnuCommandLine, MistypedCommandsAndNumbersAreNamedAndHelpShowsTheCommonOptions) {
  const std::string commands =
      " (the commands: inspect, normalize, data, normtest, search, escape, punycode, idna)";
  const std::vector<std::pair<Lines, std::string>> cases = {
      {{"frobnicate"}, "unknown command 'frobnicate'" + commands},
      {{"--data", "/nowhere", "--json", "frobnicate", "x"},
       "unknown command 'frobnicate'" + commands},
      {{"--data=/nowhere", "frobnicate"}, "unknown command 'frobnicate'" + commands},
      {{"--json", "--", "frobnicate"}, "unknown command 'frobnicate'" + commands},
      {{"--json"}, "no command given" + commands},
      {{}, "no command given" + commands},
  };
  for (const auto& [arguments, message] : cases) {
    EXPECT_EQ(qnu(arguments), (Result{2, "", "qnu: " + message + " (see qnu --help)\n"}));
  }
  // Counts: whole decimal numbers in range, or a message that gives the range.
  for (const std::string bad :
       {"0", "-1", "1.5", "1e3", "+2", " 2", "x", "1000000001", "99999999999999999999999999"}) {
    EXPECT_EQ(qnu({"search", "latin", "--limit", bad}),
              (Result{2, "",
                      "qnu: --limit: '" + bad +
                          "' is not a whole number from 1 to 1000000000 (see qnu --help)\n"}));
  }
  EXPECT_EQ(lines(qnu({"search", "latin", "-n", "1000000000"}).out).size(),
            lines(qnu({"search", "latin"}).out).size());
  // Every command's help lists the options every command takes.
  for (const std::string command : {"inspect", "normalize", "data", "normtest", "search"}) {
    const Result help = qnu({command, "--help"});
    EXPECT_EQ(help.exitCode, 0);
    for (const std::string option : {"\n  --data DIR  ", "\n  --json  ", "\n  --log  "}) {
      EXPECT_TRUE(contains(help.out, option)) << command << option << help.out;
    }
  }
}

TEST(QnuDataDirectory, TheOptionThenQnuDataThenThePreparedDirectory) {
  ScratchDirectory first;
  first.write("Blocks.txt", "0000..007F; First Latin\n");
  const std::string block = "  Block                      ";
  {
    ScopedEnvironment data("QNU_DATA", first.path() + "::" + ucdDirectory() + ":");
    EXPECT_TRUE(contains(qnu({"inspect", "A"}).out, block + "First Latin\n"));
    EXPECT_TRUE(
        contains(qnu({"--data", ucdDirectory(), "inspect", "A"}).out, block + "Basic Latin\n"));
  }
  {
    ScopedEnvironment data("QNU_DATA", first.path() + "/none");
    EXPECT_EQ(qnu({"inspect", "A"}), (Result{2, "",
                                             "qnu: data directory '" + first.path() +
                                                 "/none' (from QNU_DATA) does not exist\n"}));
  }
  ScopedEnvironment empty("QNU_DATA", "");
  EXPECT_TRUE(contains(qnu({"inspect", "A"}).out, block + "Basic Latin\n"));
}

TEST(QnuDamagedData, ReaderWarningsAreCountedOnStandardErrorAndTheAnswerStands) {
  // A mirrored field of "X" (read as no), a PropList line without its ";" and a CaseFolding
  // line without its closing ";": one warning each, though the last two log two lines each.
  ScratchDirectory data;
  linkRealDataExcept(data, {"UnicodeData.txt", "PropList.txt", "CaseFolding.txt"});
  data.write("UnicodeData.txt", realFileWith("UnicodeData.txt", ";N;LATIN SMALL LETTER E ACUTE;",
                                             ";X;LATIN SMALL LETTER E ACUTE;"));
  data.write("PropList.txt", realFileWith("PropList.txt", "\n0009..000D    ; White_Space",
                                          "\n0041 # no semicolon\n0009..000D    ; White_Space"));
  data.write("CaseFolding.txt", realFileWith("CaseFolding.txt", "0041; C; 0061; #",
                                             "0041; C; 0061 #\n0041; C; 0061; #"));
  const Result real = qnu({"inspect", "\u00E9"});
  const std::string warnings = "qnu: the data files gave 3 warnings (--log shows them)\n";
  EXPECT_EQ(qnu({"--data", data.path(), "inspect", "\u00E9"}), (Result{0, real.out, warnings}));
  const Result logged = qnu({"--data", data.path(), "--log", "inspect", "\u00E9"});
  for (const std::string line :
       {"Unexpected mirrored value in UnicodeData.txt (ignoring)\n", "0041 # no semicolon\n",
        "could not parse CaseFolding line: 0041; C; 0061 #\n"}) {
    EXPECT_TRUE(contains(logged.err, line)) << logged.err;
  }
  EXPECT_TRUE(logged.err.ends_with(warnings)) << logged.err;

  // Each file's line of the data report: found, its version, and how its lines parsed.
  const Result report = qnu({"--data", data.path(), "data"});
  EXPECT_EQ(report.exitCode, 0);
  EXPECT_EQ(report.err, warnings);
  const std::string dir = data.path() + "/";
  for (const std::string& line :
       {"  UnicodeData            found  (no version)  1 warnings               " + dir +
            "UnicodeData.txt\n",
        "  PropList               found  15.0.0        1 warnings               " + dir +
            "PropList.txt\n",
        std::string("  Blocks                 found  15.0.0        lines parsed             ")}) {
    EXPECT_TRUE(contains(report.out, line)) << line << report.out;
  }
  const Json json = Json::parse(qnu({"--data", data.path(), "--json", "data"}).out);
  for (const Json& file : json["files"]) {
    const std::string prefix = file["prefix"];
    const bool damaged = prefix == "UnicodeData" || prefix == "PropList" || prefix == "CaseFolding";
    EXPECT_EQ(file["warnings"], damaged ? 1 : 0) << prefix;
    EXPECT_EQ(file["status"], prefix == "Unihan" ? "not read" : "read") << prefix;
  }
}

TEST(QnuDamagedData, RandomBytesAndUnreadableFilesAreNeverSilent) {
  ScratchDirectory data;
  linkRealDataExcept(data, {"UnicodeData.txt", "Blocks.txt"});
  std::mt19937 random(21);
  std::string noise(20000, '\0');
  for (char& byte : noise) byte = static_cast<char>(random());
  data.write("UnicodeData.txt", noise);
  data.write("Blocks.txt", "0000..007F; Basic Latin\n\xFF\xFE\n");
  // Every record is missing: the answer is the unlisted codepoint's, with the count of warnings
  // and the file that could not be read.
  const Result result = qnu({"--data", data.path(), "inspect", "\u00E9"});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_TRUE(contains(result.out, "  General category           Cn (Unassigned)\n"));
  const Lines err = lines(result.err);
  ASSERT_EQ(err.size(), 2u) << result.err;
  EXPECT_EQ(err[0], "qnu: data file 'Blocks' could not be read (" + data.path() +
                        "/Blocks.txt is unreadable or not UTF-8 text)");
  EXPECT_TRUE(err[1].starts_with("qnu: the data files gave ")) << err[1];
  EXPECT_FALSE(err[1].starts_with("qnu: the data files gave 0 ")) << err[1];
  // The report finds Blocks and names it unreadable, and fails.
  const Result report = qnu({"--data", data.path(), "data"});
  EXPECT_EQ(report.exitCode, 1);
  EXPECT_TRUE(contains(report.out,
                       "  Blocks                 found  (no version)  unreadable or not "
                       "UTF-8  " +
                           data.path() + "/Blocks.txt\n"))
      << report.out;
  EXPECT_TRUE(
      contains(report.out, "\nMissing files         (none)\nUnreadable files      Blocks\n"));
}

TEST(QnuDamagedData, TheRealDataGivesNoWarningForAnyCodepoint) {
  // Every 97th codepoint of the codespace and every record kind; the notices the lookups write
  // by design (line-break classes beyond the fixed table) are not warnings.
  Lines arguments = {"--json", "inspect", "-c",   "E9",   "AC01",  "4E00",
                     "1F600",  "E000",    "D800", "FFFF", "10FFFF"};
  for (uint32_t codepoint = 0; codepoint <= 0x10FFFF; codepoint += 97) {
    char hex[16];
    std::snprintf(hex, sizeof hex, "%X", codepoint);
    arguments.push_back(hex);
  }
  const Result result = qnu(arguments);
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_TRUE(contains(qnu({"--log", "inspect", "\u00E9"}).err, "no line break class 'EB'"));
  EXPECT_EQ(qnu({"data"}).err, "");
}

TEST(QnuData, EmptyAndIncompleteDirectoriesListWhatIsMissingAndFail) {
  ScratchDirectory empty;
  const Result none = qnu({"--data", empty.path(), "data"});
  EXPECT_EQ(none.exitCode, 1);
  EXPECT_EQ(none.err, "");
  EXPECT_TRUE(contains(none.out, "  UnicodeData            missing\n")) << none.out;
  EXPECT_TRUE(contains(none.out,
                       "\nMissing files         UnicodeData, ArabicShaping, Blocks, CaseFolding, "
                       "CompositionExclusions, DerivedAge, DerivedCoreProperties, "
                       "HangulSyllableType, Index, Jamo, LineBreak, PropertyValueAliases, "
                       "PropList, Scripts, SpecialCasing, NamesList, Unihan\n"));
  ScratchDirectory some;
  some.copy(qnunicode::testing::ucdFile("UnicodeData.txt"), "UnicodeData.txt");
  const Json json = Json::parse(qnu({"--data", some.path(), "--json", "data"}).out);
  EXPECT_EQ(json["files"][0], Json::parse(R"({"prefix": "UnicodeData", "status": "read",
    "paths": [")" + some.path() + R"(/UnicodeData.txt"], "versions": ["15.0.0"], "warnings": 0})"));
  EXPECT_EQ(json["missingFiles"].size(), 16u);
  EXPECT_EQ(qnu({"--data", some.path(), "data"}).exitCode, 1);
}

}  // namespace
}  // namespace qnu
