#include <cstdio>

#include "QNUArguments.h"
#include "QNUCommands.h"
#include "QNUOutput.h"
#include "qnunicode/util/QNScanner.h"

namespace qnu {

int runNormalize(Host& host, const NormalizeOptions& options) {
  const bool compatibility = options.form.find('k') != std::string::npos;
  const bool compose = options.form.back() == 'c';

  // Standard input keeps its line ends: the result is the whole input normalized.
  const bool fromArgument = options.text && *options.text != kStandardInputArgument;
  const UnicodeString text =
      fromArgument ? decodeArgument(*options.text, 1) : standardInputText(false);
  host.requireUnicodeData();

  // Line by line: a line feed is a starter that neither reorders nor composes with anything, so
  // the pieces normalize exactly as the whole text does and their counts add up to the whole
  // text's, while each normalization stays short.
  uint32_t replacements = 0, reorderings = 0, compositions = 0;
  UnicodeString result;
  result.reserve(text.size());
  bool first = true;
  for (std::u16string_view line : qnunicode::splitAt(text, u'\n')) {
    if (!first) result += u'\n';
    first = false;
    uint32_t lineReplacements = 0, lineReorderings = 0, lineCompositions = 0;
    result +=
        host.database().normalizationFormK(compatibility, compose, UnicodeString(line),
                                           &lineReplacements, &lineReorderings, &lineCompositions);
    replacements += lineReplacements;
    reorderings += lineReorderings;
    compositions += lineCompositions;
  }

  if (host.json()) {
    Json report;
    report["form"] = options.form;
    report["result"] = jsonText(std::u16string_view(result));
    report["decompositionReplacementCount"] = replacements;
    report["decompositionReorderingCount"] = reorderings;
    report["compositionReplacementCount"] = compositions;
    writeOut(jsonLine(report));
  } else {
    // Text given as an argument gets a line end; standard input keeps its own.
    writeOut(qnunicode::toUTF8(result) + (fromArgument ? "\n" : ""), true);
    std::fprintf(stderr,
                 "%s: %u decomposition replacements, %u reorderings, %u composition "
                 "replacements\n",
                 options.form.c_str(), replacements, reorderings, compositions);
  }
  return kExitSuccess;
}

}  // namespace qnu
