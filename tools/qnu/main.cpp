// qnu: the command-line host of the library. It parses the command line, sets the database up
// and runs the chosen command; every diagnostic goes to standard error, results to standard
// output.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <functional>

#include "QNUCommands.h"
#include "QNUHost.h"

namespace {

using qnu::Host;

// An option that takes exactly one value per occurrence, so that it never swallows the text or
// codepoint arguments that follow it.
template <typename T>
CLI::Option* addSingleValueOption(CLI::App& app, const std::string& name, T& into,
                                  const std::string& description, const char* typeName) {
  return app.add_option(name, into, description)->type_name(typeName)->allow_extra_args(false);
}

void addInspect(CLI::App& qnu, qnu::InspectOptions& options, std::function<int(Host&)>& selected) {
  CLI::App* command = qnu.add_subcommand(
      "inspect",
      "Show every property of each codepoint of the TEXT arguments, or with --codepoint of "
      "codepoints written U+XXXX, 0xXXXX or XXXX and ranges U+XXXX..U+YYYY");
  command->add_option("ARG", options.arguments, "Text, or codepoints and ranges")->required();
  command->add_flag("-c,--codepoint", options.codepoints,
                    "Read the arguments as codepoints and ranges instead of text");
  command->callback([&] { selected = [&](Host& host) { return qnu::runInspect(host, options); }; });
}

void addNormalize(CLI::App& qnu, qnu::NormalizeOptions& options,
                  std::function<int(Host&)>& selected) {
  CLI::App* command = qnu.add_subcommand(
      "normalize",
      "Normalize TEXT (or standard input) and report the decomposition replacements, "
      "reorderings and composition replacements on standard error");
  addSingleValueOption(*command, "-f,--form", options.form, "Normalization form (default nfc)",
                       "nfc|nfd|nfkc|nfkd")
      ->transform(CLI::IsMember({"nfc", "nfd", "nfkc", "nfkd"}, CLI::ignore_case));
  command->add_option("TEXT", options.text, "The text; standard input when absent");
  command->callback(
      [&] { selected = [&](Host& host) { return qnu::runNormalize(host, options); }; });
}

void addData(CLI::App& qnu, std::function<int(Host&)>& selected, bool& showsVersions) {
  CLI::App* command = qnu.add_subcommand(
      "data",
      "List the data files found with their paths and Unicode versions, whether they agree on "
      "one version, and the files that are missing");
  command->callback([&] {
    showsVersions = true;
    selected = [](Host& host) { return qnu::runData(host); };
  });
}

void addNormtest(CLI::App& qnu, qnu::NormtestOptions& options,
                 std::function<int(Host&)>& selected) {
  CLI::App* command = qnu.add_subcommand(
      "normtest",
      "Run the normalization conformance test of FILE (default: NormalizationTest.txt of the "
      "data directories); exits with 1 when a test fails");
  command->add_option("FILE", options.file, "A NormalizationTest.txt file");
  command->callback(
      [&] { selected = [&](Host& host) { return qnu::runNormtest(host, options); }; });
}

void addSearch(CLI::App& qnu, qnu::SearchOptions& options, std::function<int(Host&)>& selected) {
  CLI::App* command = qnu.add_subcommand(
      "search",
      "Find the characters whose name key contains every WORD, ignoring case (or matches "
      "--regex), in sorted-key order");
  CLI::Option* words = command->add_option("WORD", options.words, "Words the key must contain");
  CLI::Option* regex = addSingleValueOption(
      *command, "-r,--regex", options.regex,
      "A regular expression (ICU syntax, case-insensitive) instead of words", "PATTERN");
  words->excludes(regex);
  addSingleValueOption(*command, "-n,--limit", options.limit, "Show at most N matches", "N")
      ->check(CLI::PositiveNumber);
  command->add_flag("--unihan", options.unihan,
                    "Search the Unihan definitions too (reads the Unihan files first)");
  command->callback([&, words, regex] {
    if (words->count() == 0 && regex->count() == 0) {
      throw CLI::ValidationError("search", "give at least one WORD or --regex PATTERN");
    }
    selected = [&](Host& host) { return qnu::runSearch(host, options); };
  });
}

void addPunycode(CLI::App& qnu, qnu::PunycodeOptions& options,
                 std::function<int(Host&)>& selected) {
  CLI::App* command = qnu.add_subcommand(
      "punycode",
      "Encode each LABEL (or line of standard input) to Punycode, or decode it with --decode; "
      "exits with 1 when any fails");
  command->add_option("LABEL", options.labels, "Labels, without the xn-- prefix");
  command->add_flag("-d,--decode", options.decode, "Decode from Punycode instead");
  command->callback(
      [&] { selected = [&](Host& host) { return qnu::runPunycode(host, options); }; });
}

void addIdna(CLI::App& qnu, qnu::IdnaOptions& options, std::function<int(Host&)>& selected) {
  CLI::App* command = qnu.add_subcommand(
      "idna",
      "Convert each DOMAIN (or line of standard input) to its ASCII form by IDNA2003, or back "
      "with --to-unicode; exits with 1 when any fails");
  command->add_option("DOMAIN", options.domains, "Domain names");
  command->add_flag("--2003", options.idna2003, "IDNA2003 (RFC 3490, nameprep)");
  command->add_flag("--2008", options.idna2008, "IDNA2008 (not available yet)");
  command->add_flag("-u,--to-unicode", options.toUnicode, "ToUnicode instead of ToASCII");
  command->callback([&] { selected = [&](Host& host) { return qnu::runIdna(host, options); }; });
}

}  // namespace

int main(int argc, char** argv) {
  qnu::installLogSink(true);
  // Results that go to a pipe or a file leave in large blocks.
  if (!isatty(fileno(stdout))) std::setvbuf(stdout, nullptr, _IOFBF, 1 << 16);

  CLI::App app{
      "qnu: inspect characters, names, normalization and domain names straight from the files of "
      "the Unicode Character Database",
      "qnu"};
  app.set_version_flag("--version", "qnu " QNU_VERSION);
  app.require_subcommand(1);
  app.fallthrough();  // the common options may also follow the command's name

  qnu::CommonOptions common;
  addSingleValueOption(app, "--data", common.dataDirectories,
                       "A directory of UCD files (repeatable; the first that has a file wins)",
                       "DIR");
  addSingleValueOption(app, "--descriptions", common.descriptionDirectories,
                       "A directory of property-value descriptions (repeatable)", "DIR");
  addSingleValueOption(app, "--info", common.infoFile,
                       "An information property list: known digests and versions of the "
                       "data files (read by data, the one command that shows versions)",
                       "FILE");
  app.add_flag("--json", common.json,
               "Write JSON (JSON Lines for inspect, search, punycode and idna)");
  bool showLog = false;
  app.add_flag("--log", showLog,
               "Show the library's log lines (notes on the data files) on standard error; "
               "normtest always shows them, since they are its progress");

  std::function<int(Host&)> selected;
  bool showsVersions = false;  // only data shows versions, which need the information file
  qnu::InspectOptions inspect;
  qnu::NormalizeOptions normalize;
  qnu::NormtestOptions normtest;
  qnu::SearchOptions search;
  qnu::PunycodeOptions punycode;
  qnu::IdnaOptions idna;
  addInspect(app, inspect, selected);
  addNormalize(app, normalize, selected);
  addData(app, selected, showsVersions);
  addNormtest(app, normtest, selected);
  addSearch(app, search, selected);
  addPunycode(app, punycode, selected);
  addIdna(app, idna, selected);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) return app.exit(error);
    std::fprintf(stderr, "qnu: %s (see qnu --help)\n", error.what());
    return qnu::kExitBadInput;
  }

  qnu::installLogSink(showLog || app.got_subcommand("normtest"));
  try {
    // The host and its database stay until the process ends, reachable from here: the system
    // takes their memory back at once, where freeing some 300000 records one by one would cost
    // a short command a quarter of its time.
    static Host* host = nullptr;
    host = new Host(common, qnu::DefaultPaths::forThisProcess(), showsVersions);
    int code = selected(*host);
    std::fflush(stdout);
    // A reader that found no file has written its line already; the answers were incomplete.
    if (host->hasMissingFiles()) code = std::max(code, qnu::kExitBadInput);
    return code;
  } catch (const qnu::UsageError& error) {
    std::fflush(stdout);
    std::fprintf(stderr, "qnu: %s\n", error.what());
  } catch (const qnu::ReportedFailure&) {
    std::fflush(stdout);
  }
  return qnu::kExitBadInput;
}
