#include <unistd.h>

#include <cstdio>

#include "QNUArguments.h"
#include "QNUCodepointReport.h"
#include "QNUCommands.h"

namespace qnu {

int runInspect(Host& host, const InspectOptions& options) {
  // Every argument is checked before anything is written.
  std::vector<CodepointRange> runs;
  for (size_t i = 0; i < options.arguments.size(); ++i) {
    if (options.codepoints) {
      runs.push_back(parseCodepointArgument(options.arguments[i], i + 1));
    } else {
      appendCodepointsOfText(decodeArgument(options.arguments[i], i + 1), runs);
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
