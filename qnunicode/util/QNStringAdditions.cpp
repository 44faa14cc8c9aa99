#include "qnunicode/util/QNStringAdditions.h"

#include <cmath>
#include <locale>
#include <new>
#include <stdexcept>

#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/util/QNLog.h"

namespace qnunicode::detail {

namespace {

// The lower-case table of the C.UTF-8 locale, made once; none when this system lacks that
// locale (ASCII lower-casing serves then).
const std::ctype<wchar_t>* unicodeCtype() {
  static const std::ctype<wchar_t>* facet = []() -> const std::ctype<wchar_t>* {
    try {
      static const std::locale locale("C.UTF-8");
      return &std::use_facet<std::ctype<wchar_t>>(locale);
    } catch (const std::runtime_error&) {
      return nullptr;
    }
  }();
  return facet;
}

}  // namespace

uint32_t lowercaseCodepoint(uint32_t codepoint) {
  if (codepoint < 0x80) return qnunicode::asciiLowercase(codepoint);
  static_assert(sizeof(wchar_t) == 4, "wchar_t holds a whole codepoint");
  const std::ctype<wchar_t>* facet = unicodeCtype();
  if (!facet || codepoint > 0x10FFFF) return codepoint;
  return static_cast<uint32_t>(facet->tolower(static_cast<wchar_t>(codepoint)));
}

UnicodeString lowercasedString(std::u16string_view text) {
  UnicodeString result;
  result.reserve(text.size());
  for (size_t i = 0; i < text.size();) {
    const UTF16Codepoint read = codepointAt(text, i);
    appendUTF16(result, lowercaseCodepoint(read.codepoint));
    i += read.length;
  }
  return result;
}

}  // namespace qnunicode::detail

namespace QNAdditions {

namespace {

constexpr bool isDigit(char16_t u) {
  return u >= u'0' && u <= u'9';
}

// The lower-cased codepoint at position (a surrogate pair joined) and its unit count.
uint32_t lowercasedAt(std::u16string_view s, size_t position, size_t* units) {
  const qnunicode::UTF16Codepoint read = qnunicode::codepointAt(s, position);
  *units = read.length;
  return qnunicode::detail::lowercaseCodepoint(read.codepoint);
}

}  // namespace

std::weak_ordering caseInsensitiveNumericCompare(std::u16string_view s, std::u16string_view other) {
  size_t i = 0, j = 0;
  while (i < s.size() && j < other.size()) {
    if (isDigit(s[i]) && isDigit(other[j])) {
      // Two digit runs compare by value: leading zeros aside, the longer run is the larger
      // number, and runs of one length compare digit by digit.
      while (i + 1 < s.size() && s[i] == u'0' && isDigit(s[i + 1])) ++i;
      while (j + 1 < other.size() && other[j] == u'0' && isDigit(other[j + 1])) ++j;
      size_t endI = i, endJ = j;
      while (endI < s.size() && isDigit(s[endI])) ++endI;
      while (endJ < other.size() && isDigit(other[endJ])) ++endJ;
      if (endI - i != endJ - j) {
        return endI - i < endJ - j ? std::weak_ordering::less : std::weak_ordering::greater;
      }
      const auto digits = s.substr(i, endI - i).compare(other.substr(j, endJ - j));
      if (digits != 0) return digits < 0 ? std::weak_ordering::less : std::weak_ordering::greater;
      i = endI;
      j = endJ;
      continue;
    }
    size_t unitsI, unitsJ;
    const uint32_t a = lowercasedAt(s, i, &unitsI);
    const uint32_t b = lowercasedAt(other, j, &unitsJ);
    if (a != b) return a < b ? std::weak_ordering::less : std::weak_ordering::greater;
    i += unitsI;
    j += unitsJ;
  }
  const bool restI = i < s.size(), restJ = j < other.size();
  if (restI == restJ) return std::weak_ordering::equivalent;
  return restI ? std::weak_ordering::greater : std::weak_ordering::less;
}

std::optional<LevenshteinMatrix> levenshteinMatrixForString(std::u16string_view s,
                                                            std::u16string_view other) {
  const size_t m = s.size(), n = other.size();
  const size_t columns = n + 1;
  size_t cells = 0;
  LevenshteinMatrix matrix;
  try {
    if (__builtin_mul_overflow(m + 1, columns, &cells)) throw std::bad_alloc();
    matrix.assign(cells, 0);
  } catch (const std::bad_alloc&) {
    QNLog("NSString::levenshteinMatrixForString: could not allocate memory");
    return std::nullopt;
  } catch (const std::length_error&) {
    QNLog("NSString::levenshteinMatrixForString: could not allocate memory");
    return std::nullopt;
  }
  for (size_t j = 0; j <= n; ++j) matrix[j] = static_cast<uint32_t>(j);
  for (size_t i = 1; i <= m; ++i) {
    uint32_t* row = matrix.data() + i * columns;
    const uint32_t* above = row - columns;
    row[0] = static_cast<uint32_t>(i);
    const char16_t unit = s[i - 1];
    for (size_t j = 1; j <= n; ++j) {
      uint32_t best = above[j - 1] + (unit == other[j - 1] ? 0 : 1);
      if (above[j] + 1 < best) best = above[j] + 1;
      if (row[j - 1] + 1 < best) best = row[j - 1] + 1;
      row[j] = best;
    }
  }
  return matrix;
}

uint32_t levenshteinDistanceToString(std::u16string_view s, std::u16string_view other) {
  const auto matrix = levenshteinMatrixForString(s, other);
  return matrix ? levenshteinDistanceFromMatrix(*matrix) : 0xFFFFFFFF;
}

uint32_t levenshteinDistanceFromMatrix(const LevenshteinMatrix& matrix) {
  return matrix.empty() ? 0xFFFFFFFF : matrix.back();
}

std::optional<LevenshteinAlignment> levenshteinOneAlignmentWithString(std::u16string_view s,
                                                                      std::u16string_view other) {
  const auto matrix = levenshteinMatrixForString(s, other);
  if (!matrix) return std::nullopt;
  return levenshteinOneAlignmentWithString(s, other, *matrix);
}

std::optional<LevenshteinAlignment> levenshteinOneAlignmentWithString(
    std::u16string_view s, std::u16string_view other, const LevenshteinMatrix& levenshteinMatrix) {
  const size_t m = s.size(), n = other.size();
  const size_t columns = n + 1;
  size_t cells = 0;
  // Compared in bytes, as the matrix is a byte buffer of 32-bit cells.
  if (__builtin_mul_overflow(m + 1, columns, &cells) || cells > SIZE_MAX / 4 ||
      levenshteinMatrix.size() * 4 != cells * 4) {
    QNLog(
        "NSString::levenshteinOneAlignmentWithString:levenstheinMatrix: matrix dimensions and "
        "string lengths do not agree");
    return std::nullopt;
  }
  LevenshteinAlignment alignment;
  try {
    alignment.receiver.assign(m + n, LevenshteinGap);
    alignment.other.assign(m + n, LevenshteinGap);
  } catch (const std::bad_alloc&) {
    QNLog(
        "NSString::levenshteinOneAlignmentWithString:levenstheinMatrix: could not allocate memory");
    return std::nullopt;
  }
  const auto cell = [&](size_t i, size_t j) { return levenshteinMatrix[i * columns + j]; };
  size_t i = m, j = n, position = m + n;
  while (i > 0 && j > 0) {
    --position;
    const uint32_t here = cell(i, j);
    if (here == cell(i - 1, j - 1) + (s[i - 1] == other[j - 1] ? 0u : 1u)) {
      alignment.receiver[position] = static_cast<uint32_t>(--i);
      alignment.other[position] = static_cast<uint32_t>(--j);
    } else if (here == cell(i - 1, j) + 1) {
      alignment.receiver[position] = static_cast<uint32_t>(--i);
    } else {
      alignment.other[position] = static_cast<uint32_t>(--j);
    }
  }
  // What is left of either string stands against gaps; the entries in front stay gaps.
  while (i > 0) alignment.receiver[--position] = static_cast<uint32_t>(--i);
  while (j > 0) alignment.other[--position] = static_cast<uint32_t>(--j);
  return alignment;
}

LevenshteinAlignmentArrays levenshteinOneAlignmentArraysWithString(std::u16string_view s,
                                                                   std::u16string_view other) {
  const auto alignment = levenshteinOneAlignmentWithString(s, other);
  if (!alignment) return {};
  return levenshteinOneAlignmentArraysWithString(s, other, *alignment);
}

LevenshteinAlignmentArrays levenshteinOneAlignmentArraysWithString(
    std::u16string_view s, std::u16string_view other,
    const LevenshteinAlignment& levenshteinAlignment) {
  const size_t count = s.size() + other.size();
  const auto unitAt = [](std::u16string_view text, const std::vector<uint32_t>& indexes,
                         size_t position) {
    if (position >= indexes.size() || indexes[position] >= text.size()) return UnicodeString();
    return UnicodeString(1, text[indexes[position]]);
  };
  LevenshteinAlignmentArrays arrays;
  arrays.receiver.reserve(count);
  arrays.other.reserve(count);
  for (size_t position = 0; position < count; ++position) {
    arrays.receiver.push_back(unitAt(s, levenshteinAlignment.receiver, position));
    arrays.other.push_back(unitAt(other, levenshteinAlignment.other, position));
  }
  return arrays;
}

UnicodeString fileSizeStringForByteCount(double byteCount) {
  constexpr double perUnit = 0.0009765625;  // 1 / 1024
  std::string text;
  const double kilo = byteCount * perUnit;
  const double mega = kilo * perUnit;
  const double giga = mega * perUnit;
  // A whole number stands without a decimal unless its first decimal digit is not zero.
  const auto withFirstDecimal = [](double value, const char* unit) {
    const double firstDecimal = std::floor((value - std::floor(value)) * 10);
    return firstDecimal > 0 ? QNFormat("%.1f %s", value, unit) : QNFormat("%.f %s", value, unit);
  };
  if (byteCount < 1024) {
    text = QNFormat("%.f Byte", byteCount);
  } else if (kilo < 1024) {
    text = QNFormat("%.f KB", kilo);
  } else if (mega < 1024) {
    text = withFirstDecimal(mega, "MB");
  } else {
    text = withFirstDecimal(giga, "GB");
  }
  return qnunicode::fromUTF8(text);
}

}  // namespace QNAdditions
