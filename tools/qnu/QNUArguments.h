#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "qnunicode/strings/UnicodeString.h"

namespace qnu {

// An inclusive run of codepoints; a single codepoint is a run of one.
struct CodepointRange {
  uint32_t first;
  uint32_t last;
  bool operator==(const CodepointRange&) const = default;
};

// The text of a command-line argument, strictly decoded. Raises UsageError naming the argument
// by its 1-based position when the bytes are not well-formed UTF-8.
UnicodeString decodeArgument(std::string_view argument, size_t position);

// A codepoint written U+XXXX, 0xXXXX or XXXX (hexadecimal digits of either case, "U+" of either
// case), or a range of two such codepoints joined by "..". Raises UsageError for anything else,
// for a value above U+10FFFF and for a range whose end lies before its start.
CodepointRange parseCodepointArgument(std::string_view argument, size_t position);

// Every codepoint of a text, in order, one run each.
void appendCodepointsOfText(const UnicodeString& text, std::vector<CodepointRange>& into);

// The whole of standard input as bytes.
std::string readStandardInput();

// Text commands read standard input where their text arguments say "-", and when they are given
// none at all: the arguments of a command with "-" put in place of each such argument, or
// {"-"} for none. Raises UsageError when "-" is given twice (there is one standard input).
std::vector<std::string> argumentsWithStandardInput(const std::vector<std::string>& arguments);
inline constexpr std::string_view kStandardInputArgument = "-";

// The text of standard input, strictly decoded; raises UsageError "standard input is not valid
// UTF-8". With dropFinalLineEnd, one final "\n" or "\r\n" (what echo and a terminal add) is
// left out.
UnicodeString standardInputText(bool dropFinalLineEnd);
// The items a command works through: its arguments, each decoded, or with none (or only "-") the
// lines of standard input (split at line feeds, a carriage return before one dropped, no item after
// a final line feed). Raises UsageError for bytes that are not UTF-8.
std::vector<UnicodeString> argumentsOrInputLines(const std::vector<std::string>& arguments);

}  // namespace qnu
