// Adding and replacing C99, Java and URL escapes over corpora A and B, against plain reference
// loops that do the same work (ICU's hexadecimal transliterators, filtered to the same preserved
// sets, take seconds a corpus, too long for a run: they serve as a check of the reference loops on
// a slice of each corpus). The replacing routines are also set against a copy of the same escaped
// text.
#include <unicode/translit.h>
#include <unicode/unistr.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <array>
#include <memory>

#include "QNUnicodeBenchmarkSupport.h"
#include "qnunicode/escapes/QNUnicodeEscapes.h"
#include "qnunicode/strings/QNTextPrimitives.h"

namespace qnunicode::bench {

namespace {

using Corpus = const UnicodeString& (*)();

// ---- The peers ---------------------------------------------------------------------------------

std::shared_ptr<icu::Transliterator> transliterator(const char* id) {
  UErrorCode status = U_ZERO_ERROR;
  std::shared_ptr<icu::Transliterator> made(
      icu::Transliterator::createInstance(icu::UnicodeString(id), UTRANS_FORWARD, status));
  return U_SUCCESS(status) ? made : nullptr;
}

UnicodeString transliterate(const icu::Transliterator& t, const UnicodeString& text) {
  icu::UnicodeString buffer(text.data(), static_cast<int32_t>(text.size()));
  t.transliterate(buffer);
  return UnicodeString(buffer.getBuffer(), static_cast<size_t>(buffer.length()));
}

// Percent escapes the plain way: each codepoint outside the URL set through its UTF-8 bytes.
UnicodeString referencePercentEncode(const UnicodeString& text, const std::array<bool, 128>& safe) {
  static constexpr char16_t digits[] = u"0123456789ABCDEF";
  UnicodeString out;
  out.reserve(text.size() * 2);
  const int32_t length = static_cast<int32_t>(text.size());
  for (int32_t i = 0; i < length;) {
    UChar32 c;
    U16_NEXT(text.data(), i, length, c);
    if (c < 128 && safe[c]) {
      out.push_back(static_cast<char16_t>(c));
      continue;
    }
    uint8_t bytes[4];
    int32_t count = 0;
    U8_APPEND_UNSAFE(bytes, count, c);
    for (int32_t k = 0; k < count; ++k) {
      out.push_back(u'%');
      out.push_back(digits[bytes[k] >> 4]);
      out.push_back(digits[bytes[k] & 0xF]);
    }
  }
  return out;
}

// Percent decoding the plain way: the bytes of the whole text, then strict UTF-8 decoding.
std::optional<UnicodeString> referencePercentDecode(const UnicodeString& text) {
  std::string bytes;
  bytes.reserve(text.size());
  const int32_t length = static_cast<int32_t>(text.size());
  for (int32_t i = 0; i < length;) {
    UChar32 c;
    U16_NEXT(text.data(), i, length, c);
    if (c == '%') {
      if (length - i < 2) return std::nullopt;
      const int high = hexDigitValue(text[i]), low = hexDigitValue(text[i + 1]);
      if ((high | low) < 0) return std::nullopt;
      bytes.push_back(static_cast<char>((high << 4) | low));
      i += 2;
      continue;
    }
    uint8_t encoded[4];
    int32_t count = 0;
    U8_APPEND_UNSAFE(encoded, count, c);
    bytes.append(reinterpret_cast<const char*>(encoded), static_cast<size_t>(count));
  }
  UnicodeString out(bytes.size(), u'\0');
  int32_t written = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8(out.data(), static_cast<int32_t>(out.size()), &written, bytes.data(),
                static_cast<int32_t>(bytes.size()), &status);
  if (U_FAILURE(status)) return std::nullopt;
  out.resize(static_cast<size_t>(written));
  return out;
}

// "\u" and 4 or (C99 only) "\U" and 8 lower-case digits, or Java's "\u" per UTF-16 unit, for
// every codepoint above the set's bound.
UnicodeString referenceHexEncode(const UnicodeString& text, bool java) {
  static constexpr char16_t digits[] = u"0123456789abcdef";
  const UChar32 bound = java ? 0x7E : 0x9E;
  UnicodeString out;
  out.reserve(text.size() * 2);
  const auto appendHex = [&](uint32_t value, int count) {
    for (int shift = 4 * (count - 1); shift >= 0; shift -= 4)
      out.push_back(digits[(value >> shift) & 0xF]);
  };
  const int32_t length = static_cast<int32_t>(text.size());
  for (int32_t i = 0; i < length;) {
    const int32_t start = i;
    UChar32 c;
    U16_NEXT(text.data(), i, length, c);
    if (c <= bound) {
      out.push_back(static_cast<char16_t>(c));
    } else if (java || c < 0x10000) {
      for (int32_t k = start; k < i; ++k) {
        out.append(u"\\u");
        appendHex(text[k], 4);
      }
    } else {
      out.append(u"\\U");
      appendHex(static_cast<uint32_t>(c), 8);
    }
  }
  return out;
}

// The escapes above decoded, everything else copied.
UnicodeString referenceHexDecode(const UnicodeString& text, bool java) {
  UnicodeString out;
  out.reserve(text.size());
  const size_t length = text.size();
  const auto hexAt = [&](size_t at, int count, uint32_t* value) {
    if (length - at < static_cast<size_t>(count)) return false;
    *value = 0;
    for (int k = 0; k < count; ++k) {
      const int digit = hexDigitValue(text[at + k]);
      if (digit < 0) return false;
      *value = *value * 16 + static_cast<uint32_t>(digit);
    }
    return true;
  };
  for (size_t i = 0; i < length;) {
    if (text[i] != u'\\' || i + 1 == length) {
      out.push_back(text[i++]);
      continue;
    }
    if (text[i + 1] == u'\\') {
      out.append(u"\\\\");
      i += 2;
      continue;
    }
    size_t at = i + 1;
    uint32_t value;
    int digits = text[at] == u'u' ? 4 : (!java && text[at] == u'U') ? 8 : 0;
    if (digits) ++at;
    while (java && digits && at < length && text[at] == u'u') ++at;
    if (digits && hexAt(at, digits, &value)) {
      appendUTF16(out, value);
      i = at + static_cast<size_t>(digits);
    } else {
      out.push_back(text[i++]);
    }
  }
  return out;
}

UnicodeString asciiLowercased(UnicodeString text) {
  for (char16_t& unit : text) unit = asciiLowercase(unit);
  return text;
}

void setThroughput(benchmark::State& s, const UnicodeString& text) {
  s.SetBytesProcessed(static_cast<int64_t>(s.iterations() * text.size() * 2));
}

// ---- The figures -------------------------------------------------------------------------------

struct Method {
  const char* name;
  std::u16string_view method;
  const char* escapeId;    // the ICU transliterator that adds the same escapes
  const char* unescapeId;  // and the one that replaces them
};
constexpr Method kMethods[] = {
    {"C99", u"C99 ", "[^\\u0000-\\u009E] Any-Hex/C", "Hex-Any/C"},
    {"Java", u"Java", "[^\\u0000-\\u007E] Any-Hex/Java", "Hex-Any/Java"},
    {"URL", u"URL ", nullptr, nullptr},
};

UnicodeString referenceEncode(const Method& m, const UnicodeString& text) {
  if (m.method == u"URL ") {
    static const auto safe = [] {
      std::array<bool, 128> table{};
      const CodepointSet set = QNUnicode::preserveSetForStringEscapingMethod(u"URL ");
      for (const auto& range : set.ranges()) {
        for (uint32_t c = range.first; c <= range.last && c < 128; ++c) table[c] = true;
      }
      return table;
    }();
    return referencePercentEncode(text, safe);
  }
  return referenceHexEncode(text, m.method == u"Java");
}
std::optional<UnicodeString> referenceDecode(const Method& m, const UnicodeString& text) {
  if (m.method == u"URL ") return referencePercentDecode(text);
  return referenceHexDecode(text, m.method == u"Java");
}

// The first units of a corpus, cut at a codepoint boundary.
UnicodeString slice(const UnicodeString& text) {
  size_t end = std::min<size_t>(text.size(), 4000);
  if (end > 0 && isHighSurrogate(text[end - 1])) --end;
  return text.substr(0, end);
}

// False, with the benchmark skipped, unless ours, the reference loop and (on a slice) ICU agree.
bool sidesAgree(benchmark::State& s, const Method& m, const UnicodeString& text) {
  const UnicodeString escaped = QNUnicode::stringByAddingEscapes(text, m.method);
  if (referenceEncode(m, text) != escaped ||
      QNUnicode::stringByReplacingEscapes(escaped, m.method) != text ||
      referenceDecode(m, escaped) != text) {
    s.SkipWithError("the reference loop's result differs");
    return false;
  }
  if (m.escapeId) {
    const UnicodeString part = slice(text),
                        escapedPart = QNUnicode::stringByAddingEscapes(part, m.method);
    const auto escape = transliterator(m.escapeId), unescape = transliterator(m.unescapeId);
    // ICU writes upper-case digits.
    if (!escape || !unescape ||
        asciiLowercased(transliterate(*escape, part)) != asciiLowercased(escapedPart) ||
        transliterate(*unescape, escapedPart) != part) {
      s.SkipWithError("ICU's transliterators give another result");
      return false;
    }
  }
  return true;
}

void registerMethod(const Method& m, const char* corpusName, Corpus corpus) {
  const std::string suffix = std::string(" corpus ") + corpusName;
  registerPair(
      std::string(m.name) + " adding" + suffix,
      [m, corpus](benchmark::State& s) {
        const UnicodeString& text = corpus();
        if (!sidesAgree(s, m, text)) return;
        for (auto _ : s) benchmark::DoNotOptimize(QNUnicode::stringByAddingEscapes(text, m.method));
        setThroughput(s, text);
      },
      [m, corpus](benchmark::State& s) {
        const UnicodeString& text = corpus();
        for (auto _ : s) benchmark::DoNotOptimize(referenceEncode(m, text));
        setThroughput(s, text);
      });
  // Replacing, measured over the escaped corpus and reported per byte of it.
  const auto replacing = [m, corpus](benchmark::State& s) {
    const UnicodeString escaped = QNUnicode::stringByAddingEscapes(corpus(), m.method);
    uint32_t count;
    for (auto _ : s) {
      benchmark::DoNotOptimize(QNUnicode::stringByReplacingEscapes(escaped, m.method, &count));
    }
    setThroughput(s, escaped);
  };
  registerPair(std::string(m.name) + " replacing" + suffix, replacing,
               [m, corpus](benchmark::State& s) {
                 const UnicodeString escaped = QNUnicode::stringByAddingEscapes(corpus(), m.method);
                 for (auto _ : s) benchmark::DoNotOptimize(referenceDecode(m, escaped));
                 setThroughput(s, escaped);
               });
  // The same replacing against a plain copy of the escaped text.
  registerPair(std::string(m.name) + " replacing vs copy" + suffix, replacing,
               [m, corpus](benchmark::State& s) {
                 const UnicodeString escaped = QNUnicode::stringByAddingEscapes(corpus(), m.method);
                 // A new string of the same units: one allocation and one memcpy.
                 for (auto _ : s) benchmark::DoNotOptimize(UnicodeString(escaped));
                 setThroughput(s, escaped);
               });
}

}  // namespace

void registerEscapeBenchmarks() {
  for (const Method& m : kMethods) {
    registerMethod(m, "A", corpusA);
    registerMethod(m, "B", corpusB);
  }
}

}  // namespace qnunicode::bench
