#include <cstdio>

#include "QNUArguments.h"
#include "QNUCommands.h"
#include "QNUOutput.h"
#include "qnunicode/idna/QNUnicodePunycode.h"

namespace qnu {

int runPunycode(Host& host, const PunycodeOptions& options) {
  const std::vector<UnicodeString> labels = argumentsOrInputLines(options.labels);
  int code = kExitSuccess;
  for (const UnicodeString& label : labels) {
    UnicodeString error;
    const std::optional<UnicodeString> result =
        options.decode ? QNUnicode_IDNA::punycodeDecodedStringWithError(label, &error)
                       : QNUnicode_IDNA::punycodeEncodedStringWithError(label, &error);
    if (!result) code = kExitCheckFailed;
    if (host.json()) {
      Json line;
      line["input"] = jsonText(std::u16string_view(label));
      line["output"] = jsonText(result);
      line["error"] = result ? Json() : jsonText(std::u16string_view(error));
      writeOut(jsonLine(line));
    } else if (result) {
      writeOut(qnunicode::toUTF8(*result) + "\n");
    } else {
      // Flushed first, so that the message keeps its place among the results.
      writeOut("", true);
      std::fprintf(stderr, "qnu: %s: %s\n", qnunicode::toUTF8(label).c_str(),
                   qnunicode::toUTF8(error).c_str());
    }
  }
  return code;
}

}  // namespace qnu
