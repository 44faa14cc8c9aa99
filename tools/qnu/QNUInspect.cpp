#include <unistd.h>

#include <cstdio>

#include "QNUArguments.h"
#include "QNUCodepointReport.h"
#include "QNUCommands.h"

namespace qnu {

namespace {

constexpr const char* kWhiteSpace = " \t\r\n\f\v";

}  // namespace

int runInspect(Host& host, const InspectOptions& options) {
  // Every argument is checked before anything is written. Standard input holds text, or with
  // --codepoint codepoints and ranges apart by white space.
  std::vector<CodepointRange> runs;
  const std::vector<std::string> arguments = argumentsWithStandardInput(options.arguments);
  for (size_t i = 0; i < arguments.size(); ++i) {
    if (arguments[i] != kStandardInputArgument) {
      if (options.codepoints) {
        runs.push_back(parseCodepointArgument(arguments[i], i + 1));
      } else {
        appendCodepointsOfText(decodeArgument(arguments[i], i + 1), runs);
      }
    } else if (!options.codepoints) {
      appendCodepointsOfText(standardInputText(true), runs);
    } else {
      const std::string input = qnunicode::toUTF8(standardInputText(false));
      for (size_t start = input.find_first_not_of(kWhiteSpace); start != std::string::npos;) {
        const size_t end = input.find_first_of(kWhiteSpace, start);
        runs.push_back(parseCodepointArgument(input.substr(start, end - start), i + 1));
        start = input.find_first_not_of(kWhiteSpace, end);
      }
    }
  }
  host.requireUnicodeData();

  // Each codepoint is written as soon as it is known, so that a long range starts at once and
  // needs no memory for what is already written; a terminal sees every codepoint at once, a
  // pipe or file gets full buffers.
  const bool interactive = isatty(fileno(stdout));
  CodepointReporter reporter(host.database(), host.XHTMLDatabase(std::nullopt, false),
                             host.showsProgress());
  bool first = true;
  for (const CodepointRange& run : runs) {
    for (uint64_t codepoint = run.first; codepoint <= run.last; ++codepoint) {
      const auto value = static_cast<uint32_t>(codepoint);
      if (host.json()) {
        writeOut(reporter.jsonLine(value), interactive);
      } else {
        if (!first) writeOut("\n");
        writeOut(reporter.text(value), interactive);
      }
      first = false;
    }
  }
  return kExitSuccess;
}

}  // namespace qnu
