#include "QNUArguments.h"

#include <algorithm>
#include <cstdio>

#include "QNUHost.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/util/QNScanner.h"

namespace qnu {

namespace {

constexpr uint32_t kLastCodepoint = 0x10FFFF;

// One codepoint at the scanner: "U+" and digits, or the scanner's own hexadecimal form (an
// optional "0x" and digits). "U+0x41" is not a codepoint.
bool scanCodepoint(qnunicode::QNScanner& scanner, uint32_t* value) {
  if (scanner.scanString(u"U+")) {
    const std::u16string_view rest = scanner.remainingText();
    if (rest.size() >= 2 && rest[0] == u'0' && (rest[1] == u'x' || rest[1] == u'X')) return false;
  }
  return scanner.scanHexInt(value);
}

}  // namespace

UnicodeString decodeArgument(std::string_view argument, size_t position) {
  std::optional<UnicodeString> text = qnunicode::decodeUTF8(argument);
  if (!text) throw UsageError("argument " + std::to_string(position) + " is not valid UTF-8");
  return std::move(*text);
}

CodepointRange parseCodepointArgument(std::string_view argument, size_t position) {
  const UnicodeString text = decodeArgument(argument, position);
  // Appended piece by piece: g++ 12 warns wrongly (-Wrestrict) about "'" + string in release.
  std::string quoted(1, '\'');
  quoted.append(argument).push_back('\'');
  qnunicode::QNScanner scanner(text, qnunicode::QNScanner::Skip::Nothing);
  scanner.setCaseSensitive(false);
  CodepointRange range{};
  bool wellFormed = scanCodepoint(scanner, &range.first);
  range.last = range.first;
  if (wellFormed && scanner.scanString(u"..")) wellFormed = scanCodepoint(scanner, &range.last);
  if (!wellFormed || !scanner.isAtEnd()) {
    throw UsageError(quoted +
                     " is not a codepoint (write U+XXXX, 0xXXXX or XXXX, or a range "
                     "U+XXXX..U+YYYY)");
  }
  if (range.first > kLastCodepoint || range.last > kLastCodepoint) {
    throw UsageError(quoted + " lies above U+10FFFF, the last codepoint");
  }
  if (range.last < range.first) throw UsageError("the range " + quoted + " ends before it starts");
  return range;
}

void appendCodepointsOfText(const UnicodeString& text, std::vector<CodepointRange>& into) {
  if (text.empty()) return;
  int32_t offset = 0;
  while (offset >= 0) {
    const uint32_t codepoint = QNUnicode::codepointAtIndex(text, 0, offset, &offset);
    into.push_back({codepoint, codepoint});
  }
}

std::string readStandardInput() {
  std::string bytes;
  char buffer[1 << 16];
  size_t count;
  while ((count = std::fread(buffer, 1, sizeof buffer, stdin)) > 0) bytes.append(buffer, count);
  if (std::ferror(stdin)) throw UsageError("could not read standard input");
  return bytes;
}

std::vector<std::string> argumentsWithStandardInput(const std::vector<std::string>& arguments) {
  if (arguments.empty()) return {std::string(kStandardInputArgument)};
  if (std::ranges::count(arguments, kStandardInputArgument) > 1) {
    throw UsageError("standard input ('-') can be read only once");
  }
  return arguments;
}

UnicodeString standardInputText(bool dropFinalLineEnd) {
  std::string bytes = readStandardInput();
  if (dropFinalLineEnd && bytes.ends_with('\n')) {
    bytes.pop_back();
    if (bytes.ends_with('\r')) bytes.pop_back();
  }
  std::optional<UnicodeString> text = qnunicode::decodeUTF8(bytes);
  if (!text) throw UsageError("standard input is not valid UTF-8");
  return std::move(*text);
}

std::vector<UnicodeString> argumentsOrInputLines(const std::vector<std::string>& arguments) {
  std::vector<UnicodeString> items;
  if (!arguments.empty() &&
      arguments != std::vector<std::string>{std::string(kStandardInputArgument)}) {
    for (size_t k = 0; k < arguments.size(); ++k)
      items.push_back(decodeArgument(arguments[k], k + 1));
    return items;
  }
  std::optional<UnicodeString> input = qnunicode::decodeUTF8(readStandardInput());
  if (!input) throw UsageError("standard input is not valid UTF-8");
  for (std::u16string_view line : qnunicode::splitAt(*input, u'\n')) {
    if (!line.empty() && line.back() == u'\r') line.remove_suffix(1);
    items.emplace_back(line);
  }
  // The piece after a final line feed (or of empty input) is no line.
  if (!items.empty() && items.back().empty() && (input->empty() || input->back() == u'\n')) {
    items.pop_back();
  }
  return items;
}

}  // namespace qnu
