#include "QNUSearch.h"

#include <unicode/regex.h>

#include <algorithm>
#include <memory>

#include "QNUArguments.h"
#include "QNUCommands.h"
#include "QNUOutput.h"
#include "qnunicode/names/QNUnicodeNameLookup.h"
#include "qnunicode/records/QNUnicodeData.h"
#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/util/QNLog.h"

namespace qnu {

CaseBlindWordMatcher::CaseBlindWordMatcher(const std::vector<UnicodeString>& words, Folding folding)
    : _folding(std::move(folding)) {
  _asciiWords.emplace();
  for (const UnicodeString& word : words) {
    UnicodeString folded;
    fold(word, folded);
    if (_asciiWords &&
        std::all_of(folded.begin(), folded.end(), [](char16_t u) { return u < 0x80; })) {
      _asciiWords->emplace_back(folded.begin(), folded.end());
    } else {
      _asciiWords.reset();
    }
    _words.push_back(std::move(folded));
  }
}

void CaseBlindWordMatcher::fold(std::u16string_view text, UnicodeString& into) const {
  into.resize(text.size());
  char16_t* out = into.data();
  for (char16_t unit : text) {
    if (unit >= 0x80) {
      into = _folding(UnicodeString(text));
      return;
    }
    *out++ = qnunicode::asciiLowercase(unit);
  }
}

bool CaseBlindWordMatcher::matches(std::u16string_view key) {
  // An ASCII key is folded to bytes and searched for the words as bytes; it cannot hold a word
  // whose folded form goes beyond ASCII.
  _foldedBytes.resize(key.size());
  if (qnunicode::writeASCIILowercase(key, _foldedBytes.data())) {
    if (!_asciiWords) return false;
    const std::string_view folded = _foldedBytes;
    return std::all_of(_asciiWords->begin(), _asciiWords->end(), [folded](const std::string& word) {
      return folded.find(word) != std::string_view::npos;
    });
  }
  fold(key, _foldedKey);
  for (const UnicodeString& word : _words) {
    if (_foldedKey.find(word) == UnicodeString::npos) return false;
  }
  return true;
}

namespace {

// The test a key must pass: the pattern, or every word. Bad input is refused here, before any
// data is read.
std::function<bool(std::u16string_view)> keyTest(QNUnicodeDatabase& database,
                                                 const SearchOptions& options) {
  if (options.regex) {
    const UnicodeString pattern = decodeArgument(*options.regex, 1);
    UErrorCode status = U_ZERO_ERROR;
    UParseError where{};
    // The matcher refers to its pattern, so the pattern goes last.
    struct Compiled {
      std::unique_ptr<icu::RegexPattern> pattern;
      std::unique_ptr<icu::RegexMatcher> matcher;
    };
    auto compiled = std::make_shared<Compiled>();
    compiled->pattern.reset(icu::RegexPattern::compile(
        icu::UnicodeString(false, pattern.data(), static_cast<int32_t>(pattern.size())),
        UREGEX_CASE_INSENSITIVE, where, status));
    if (U_SUCCESS(status)) compiled->matcher.reset(compiled->pattern->matcher(status));
    if (U_FAILURE(status)) {
      throw UsageError("'" + *options.regex + "' is not a regular expression (" +
                       u_errorName(status) + " at offset " + std::to_string(where.offset) + ")");
    }
    return [compiled](std::u16string_view key) {
      const icu::UnicodeString text(false, key.data(), static_cast<int32_t>(key.size()));
      UErrorCode searchStatus = U_ZERO_ERROR;
      compiled->matcher->reset(text);
      return compiled->matcher->find(0, searchStatus) && U_SUCCESS(searchStatus);
    };
  }
  std::vector<UnicodeString> words;
  for (size_t i = 0; i < options.words.size(); ++i) {
    words.push_back(decodeArgument(options.words[i], i + 1));
  }
  auto matcher = std::make_shared<CaseBlindWordMatcher>(
      words,
      [&database](const UnicodeString& text) { return database.fullCaseFoldingForString(text); });
  return [matcher](std::u16string_view key) { return matcher->matches(key); };
}

}  // namespace

int runSearch(Host& host, const SearchOptions& options) {
  QNUnicodeDatabase& database = host.database();
  const auto selects = keyTest(database, options);
  host.requireUnicodeData();

  // Without --unihan the lookup leaves the Unihan definitions out and so never reads the Unihan
  // files; both are the same lookup when there are none. Only the keys that match are sorted,
  // each with the codepoint the lookup maps it to.
  const auto keys = database.sortedNameLookupKeysPassingTest(selects, options.unihan);
  if (!keys) return kExitSuccess;

  std::string out;
  size_t count = 0;
  for (size_t i = 0; i < keys->size(); ++i) {
    const std::u16string_view key = (*keys)[i];
    const uint32_t codepoint = keys->entry(i).codepoint();
    if (host.json()) {
      Json match;
      match["codepoint"] = codepoint;
      match["key"] = jsonText(std::u16string_view(key));
      out += jsonLine(match);
    } else {
      const auto record = database.unicodeDataForCodepoint(codepoint);
      const std::string character =
          record ? displayedCharacter(codepoint, record->generalCategory()) : std::string();
      out += QNFormat("%-8s %s\t%s\n", codepointLabel(codepoint).c_str(), character.c_str(),
                      qnunicode::toUTF8(key).c_str());
    }
    if (out.size() >= (1 << 16)) {
      writeOut(out);
      out.clear();
    }
    if (options.limit && ++count >= *options.limit) break;
  }
  writeOut(out);
  return kExitSuccess;
}

}  // namespace qnu
