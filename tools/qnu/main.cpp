// qnu: the command-line host of the library. It parses the command line, sets the database up
// and runs the chosen command; every diagnostic goes to standard error, results to standard
// output.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

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

// A whole number from `minimum` to `maximum` (written in decimal digits only), with a message
// that says so.
CLI::Validator countFrom(uint64_t minimum, uint64_t maximum) {
  const std::string range = std::to_string(minimum) + " to " + std::to_string(maximum);
  return CLI::Validator(
      [=](std::string& text) -> std::string {
        uint64_t value = 0;
        const char* end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, value);
        if (error == std::errc() && stop == end && value >= minimum && value <= maximum) return {};
        return "'" + text + "' is not a whole number from " + range;
      },
      "N");
}

// Each command's help ends with the options that every command takes.
void addCommonOptionsToCommandHelp(CLI::App& qnu) {
  std::vector<std::pair<std::string, std::string>> rows;
  size_t width = 0;
  for (const CLI::Option* option : qnu.get_options()) {
    std::string name = option->get_name();
    if (name == "--help" || name == "--version") continue;
    if (option->get_items_expected_min() > 0) name += " " + option->get_type_name();
    width = std::max(width, name.size());
    rows.emplace_back(std::move(name), option->get_description());
  }
  std::string text = "Options of every command (before or after its name):\n";
  for (const auto& [name, description] : rows) {
    text += "  " + name + std::string(width + 2 - name.size(), ' ') + description + "\n";
  }
  for (CLI::App* command : qnu.get_subcommands([](CLI::App*) { return true; })) {
    command->footer(text);
  }
}

// The diagnostic for a command line whose command is none of qnu's: the first argument that is
// neither an option nor an option's value is the word the user meant as the command.
std::string unknownCommandMessage(CLI::App& qnu, int argc, char** argv) {
  std::string commands;
  for (CLI::App* command : qnu.get_subcommands([](CLI::App*) { return true; })) {
    commands += (commands.empty() ? "" : ", ") + command->get_name();
  }
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument.size() > 1 && argument[0] == '-') {
      const CLI::Option* option =
          argument.find('=') == std::string::npos ? qnu.get_option_no_throw(argument) : nullptr;
      if (option && option->get_items_expected_min() > 0) ++i;  // its value follows
      continue;
    }
    return "unknown command '" + argument + "' (the commands: " + commands + ")";
  }
  return "no command given (the commands: " + commands + ")";
}

void addInspect(CLI::App& qnu, qnu::InspectOptions& options, std::function<int(Host&)>& selected) {
  CLI::App* command = qnu.add_subcommand(
      "inspect",
      "Show every property of each codepoint of the TEXT arguments, or with --codepoint of "
      "codepoints written U+XXXX, 0xXXXX or XXXX and ranges U+XXXX..U+YYYY");
  command->add_option("ARG", options.arguments,
                      "Text, or codepoints and ranges; \"-\" or none reads standard input "
                      "(without its final line end)");
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
  command->add_option("TEXT", options.text, "The text; standard input when absent or \"-\"");
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
      ->check(countFrom(1, 1'000'000'000));
  command->add_flag("--unihan", options.unihan,
                    "Search the Unihan definitions too (reads the Unihan files first)");
  command->callback([&, words, regex] {
    if (words->count() == 0 && regex->count() == 0) {
      throw CLI::ValidationError("search", "give at least one WORD or --regex PATTERN");
    }
    selected = [&](Host& host) { return qnu::runSearch(host, options); };
  });
}

void addEscape(CLI::App& qnu, qnu::EscapeOptions& options, std::function<int(Host&)>& selected) {
  CLI::App* command = qnu.add_subcommand(
      "escape",
      "Write TEXT (or standard input) with escapes added, or with --decode replaced; with "
      "--count the number of replacements goes to standard error");
  addSingleValueOption(*command, "-m,--method", options.method, "The notation",
                       "URL|C99|Java|COct|CS1|CS2|CS21|XHTML")
      ->required()
      ->transform(CLI::IsMember({"URL", "C99", "Java", "COct", "CS1", "CS2", "CS21", "XHTML"},
                                CLI::ignore_case));
  command->add_flag("-d,--decode", options.decode, "Replace escapes instead of adding them");
  addSingleValueOption(*command, "--preserve", options.preserve,
                       "Characters kept as they are, beside the method's default set", "CHARS");
  command->add_flag("--no-default-set", options.noDefaultSet,
                    "Escape the method's default set of characters too");
  command->add_flag("--numeric", options.numeric,
                    "XHTML: numeric references even where an entity name exists");
  command->add_flag("--decimal", options.decimal,
                    "XHTML: decimal instead of hexadecimal references");
  addSingleValueOption(*command, "--entities", options.entities,
                       "XHTML: the directory of entity sets (default: the installed one)", "DIR");
  command->add_flag("--no-low-ascii", options.noLowASCII,
                    "XHTML: leave the markup characters \"&'<> as they are");
  command->add_flag("-n,--count", options.count,
                    "Write the number of replacements on standard error");
  command->add_option("TEXT", options.text, "The text; standard input when absent");
  command->callback([&] { selected = [&](Host& host) { return qnu::runEscape(host, options); }; });
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
      "Convert each DOMAIN (or line of standard input) to its ASCII form by IDNA2008 (or "
      "IDNA2003 with --2003), or back with --to-unicode; exits with 1 when any fails");
  command->add_option("DOMAIN", options.domains, "Domain names");
  command->add_flag("--2003", options.idna2003, "IDNA2003 (RFC 3490, nameprep)");
  command->add_flag("--2008", options.idna2008, "IDNA2008 (RFC 5891, no mapping; the default)");
  command->add_flag("-u,--to-unicode", options.toUnicode, "ToUnicode instead of ToASCII");
  command->callback([&] { selected = [&](Host& host) { return qnu::runIdna(host, options); }; });
}

}  // namespace

int main(int argc, char** argv) {
  qnu::installLogSink(true);
  // Results that go to a pipe or a file leave in large blocks.
  if (!isatty(fileno(stdout))) std::setvbuf(stdout, nullptr, _IOFBF, 1 << 16);

  CLI::App app{
      "qnu: inspect characters, names, normalization, escapes and domain names straight from the "
      "files of the Unicode Character Database",
      "qnu"};
  app.set_version_flag("--version", "qnu " QNU_VERSION);
  app.require_subcommand(1);
  app.fallthrough();  // the common options may also follow the command's name

  qnu::CommonOptions common;
  addSingleValueOption(app, "--data", common.dataDirectories,
                       "A directory of UCD files (repeatable; the first that has a file wins); "
                       "without it the directories of QNU_DATA (separated by \":\"), else the "
                       "prepared data directory",
                       "DIR");
  addSingleValueOption(app, "--descriptions", common.descriptionDirectories,
                       "A directory of property-value descriptions (repeatable)", "DIR");
  addSingleValueOption(app, "--info", common.infoFile,
                       "An information property list: known digests and versions of the "
                       "data files (read by data, the one command that shows versions)",
                       "FILE");
  app.add_flag("--json", common.json,
               "Write JSON (JSON Lines for inspect, search, punycode and idna)");
  app.add_flag("--no-progress", common.noProgress,
               "Draw no progress bar on standard error while the Unihan files are read (it is "
               "drawn only when standard error is a terminal)");
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
  qnu::EscapeOptions escape;
  qnu::PunycodeOptions punycode;
  qnu::IdnaOptions idna;
  addInspect(app, inspect, selected);
  addNormalize(app, normalize, selected);
  addData(app, selected, showsVersions);
  addNormtest(app, normtest, selected);
  addSearch(app, search, selected);
  addEscape(app, escape, selected);
  addPunycode(app, punycode, selected);
  addIdna(app, idna, selected);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
      addCommonOptionsToCommandHelp(app);  // help was asked for
      return qnu::finishStandardOutput(app.exit(error));
    }
    if (app.get_subcommands().empty()) {
      std::fprintf(stderr, "qnu: %s (see qnu --help)\n",
                   unknownCommandMessage(app, argc, argv).c_str());
    } else {
      std::fprintf(stderr, "qnu: %s (see qnu --help)\n", error.what());
    }
    return qnu::kExitBadInput;
  }

  qnu::installLogSink(showLog || app.got_subcommand("normtest"));
  return qnu::runCommand(common, showsVersions, !app.got_subcommand("escape"), selected);
}
