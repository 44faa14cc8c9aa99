#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "qnunicode/strings/UnicodeString.h"

namespace qnu {

// Tests whether a name key contains every one of a list of words, ignoring case. Keys and words
// are compared in their case-folded forms: ASCII text (all of UnicodeData and Index) is folded by
// a table, since full case folding maps ASCII only A-Z to a-z; any other text goes through the
// given folding, the library's full case folding.
class CaseBlindWordMatcher {
 public:
  using Folding = std::function<UnicodeString(const UnicodeString&)>;

  CaseBlindWordMatcher(const std::vector<UnicodeString>& words, Folding folding);
  // Reuses one buffer: no allocation per key once it has grown.
  bool matches(std::u16string_view key);

 private:
  void fold(std::u16string_view text, UnicodeString& into) const;

  Folding _folding;
  std::vector<UnicodeString> _words;
  // The folded words as bytes, when every one of them is ASCII.
  std::optional<std::vector<std::string>> _asciiWords;
  UnicodeString _foldedKey;
  std::string _foldedBytes;
};

}  // namespace qnu
