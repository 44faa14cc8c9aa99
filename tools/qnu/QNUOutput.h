#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "qnunicode/strings/UnicodeString.h"

namespace qnu {

// JSON objects keep their keys in the order they were written.
using Json = nlohmann::ordered_json;

// "U+" and at least four upper-case hexadecimal digits.
std::string codepointLabel(uint32_t codepoint);

// The character as shown beside its code in text output: the character itself for graphic
// characters and spaces, a combining mark on a dotted circle, and nothing for controls, format
// characters, separators, surrogates, private-use and unassigned codepoints, which a terminal
// would act on or cannot show.
std::string displayedCharacter(uint32_t codepoint, std::u16string_view generalCategory);

Json jsonText(std::u16string_view text);
// A string, or null for none.
Json jsonText(const std::optional<UnicodeString>& text);
Json jsonTextList(const std::vector<UnicodeString>& texts);

// The value as one line of JSON with its line end. Text that is not valid UTF-8 (which the
// library never hands out) is written with U+FFFD rather than failing.
std::string jsonLine(const Json& value);

// Standard output could not be written; what() names the reason ("No space left on device").
// main ends the command with kExitOutputFailed and one line on standard error.
class OutputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Writes to standard output; with flush set, the text leaves the process at once. Raises
// OutputError as soon as a write fails, so that a long stream stops at the first failure.
void writeOut(std::string_view text, bool flush = false);
// Raises OutputError when standard output has failed; with flush set, flushes it first.
void checkStandardOutput(bool flush);

// Label and value lines whose values start in one column, the labels padded to the widest.
// A value of several lines continues in the value column.
class TextTable {
 public:
  void add(std::string label, std::string value) {
    _rows.emplace_back(std::move(label), std::move(value));
  }
  std::string render(size_t indent) const;

 private:
  std::vector<std::pair<std::string, std::string>> _rows;
};

}  // namespace qnu
