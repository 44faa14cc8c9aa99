#include "QNUEscape.h"

#include <cstdio>

#include "QNUArguments.h"
#include "QNUCommands.h"
#include "QNUOutput.h"
#include "qnunicode/escapes/QNUnicodeEscapes.h"
#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"

namespace qnu {

namespace {

constexpr uint32_t kUnknownCount = 0xFFFFFFFF;

// Options that only some method or direction takes are refused elsewhere: none may do nothing.
void checkOptions(const EscapeOptions& options, bool xhtml) {
  if (!xhtml && (options.numeric || options.decimal || options.entities || options.noLowASCII)) {
    throw UsageError("--numeric, --decimal, --entities and --no-low-ascii apply to --method XHTML");
  }
  if (options.decode && (options.numeric || options.decimal)) {
    throw UsageError("--numeric and --decimal apply to escaping, not to --decode");
  }
  if (options.decode && !xhtml && (options.preserve || options.noDefaultSet)) {
    throw UsageError("--preserve and --no-default-set apply to --decode with --method XHTML only");
  }
  if (options.noDefaultSet && options.noLowASCII) {
    throw UsageError("--no-low-ascii changes the default set, which --no-default-set leaves out");
  }
}

UnicodeString inputText(const EscapeOptions& options) {
  if (options.text) return decodeArgument(*options.text, 1);
  std::optional<UnicodeString> input = qnunicode::decodeUTF8(readStandardInput());
  if (!input) throw UsageError("standard input is not valid UTF-8");
  return std::move(*input);
}

// The codepoints of --preserve.
CodepointSet preservedCharacters(const std::string& characters) {
  const std::optional<UnicodeString> text = qnunicode::decodeUTF8(characters);
  if (!text) throw UsageError("--preserve is not valid UTF-8");
  CodepointSet set;
  for (size_t i = 0; i < text->size();) {
    const qnunicode::UTF16Codepoint c = qnunicode::codepointAt(*text, i);
    set.add(c.codepoint);
    i += c.length;
  }
  return set;
}

// The result, or none where percent decoding fails, and the count.
std::optional<UnicodeString> convert(Host& host, const EscapeOptions& options,
                                     std::u16string_view method, const UnicodeString& text,
                                     uint32_t* count) {
  std::optional<CodepointSet> extra;
  if (options.preserve) extra = preservedCharacters(*options.preserve);
  if (!method.empty()) {
    if (options.decode) return QNUnicode::stringByReplacingEscapes(text, method, count);
    return QNUnicode::stringByAddingEscapes(text, method, extra ? &*extra : nullptr,
                                            !options.noDefaultSet, count);
  }
  // Numeric references need no entity names.
  const auto entities = host.XHTMLDatabase(options.entities, !options.numeric);
  CodepointSet preserved;
  if (!options.noDefaultSet) preserved = QNXHTMLDatabase::lowASCIIPreservedSet(!options.noLowASCII);
  if (extra) {
    for (const auto& range : extra->ranges()) preserved.addRange(range.first, range.last);
  }
  if (options.decode) return entities->unicodeStringFromXHTML(text, &preserved, count);
  return entities->XHTMLStringFromUnicode(text, &preserved, !options.numeric, options.decimal,
                                          count);
}

}  // namespace

std::vector<std::pair<std::string, std::optional<UnicodeString>>> escapesOfCodepoint(
    uint32_t codepoint, const QNXHTMLDatabase& entities) {
  const UnicodeString character = QNUnicode::stringWithCodepoint(codepoint);
  std::vector<std::pair<std::string, std::optional<UnicodeString>>> escapes;
  for (const EscapeMethod& method : kEscapeMethods) {
    uint32_t count = 0;
    UnicodeString escaped =
        method.method.empty()
            ? entities.XHTMLStringFromUnicode(character, nullptr, true, false, &count)
            : QNUnicode::stringByAddingEscapes(character, method.method, nullptr, false, &count);
    escapes.emplace_back(method.name, count ? std::optional(std::move(escaped)) : std::nullopt);
  }
  return escapes;
}

int runEscape(Host& host, const EscapeOptions& options) {
  std::u16string_view method;
  for (const EscapeMethod& known : kEscapeMethods) {
    if (options.method == known.name) method = known.method;
  }
  const bool xhtml = method.empty();
  checkOptions(options, xhtml);
  const UnicodeString text = inputText(options);

  uint32_t count = 0;
  const std::optional<UnicodeString> result = convert(host, options, method, text, &count);
  const bool counted = count != kUnknownCount;
  if (host.json()) {
    Json report;
    report["input"] = jsonText(std::u16string_view(text));
    report["result"] = jsonText(result);
    report["count"] = counted ? Json(count) : Json(nullptr);
    writeOut(jsonLine(report));
  } else if (result) {
    // Text given as an argument gets a line end; standard input keeps its own.
    writeOut(qnunicode::toUTF8(*result) + (options.text ? "\n" : ""), true);
  }
  std::fflush(stdout);
  if (!result) {
    std::fprintf(stderr, "qnu: not valid percent-escaped UTF-8\n");
    return kExitCheckFailed;
  }
  if (options.count) {
    if (counted) {
      std::fprintf(stderr, "qnu: %u replacements\n", count);
    } else {
      std::fprintf(stderr, "qnu: replacements not counted\n");
    }
  }
  return kExitSuccess;
}

}  // namespace qnu
