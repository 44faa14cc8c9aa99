#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "qnunicode/strings/UnicodeString.h"

// General string utilities offered to the host: natural ordering of names, Levenshtein edit
// distance with one optimal alignment, and readable file sizes. Characters are UTF-16 code
// units here: a surrogate pair counts as two characters.
namespace QNAdditions {

// The edit-distance matrix of a receiver of m units against another string of n units:
// (m + 1) x (n + 1) cells in rows, the cell of row i and column j at i x (n + 1) + j. Its size in
// bytes is 4 x size(); an alignment accepts only a matrix of exactly the strings' dimensions.
using LevenshteinMatrix = std::vector<uint32_t>;

// An alignment entry that stands for a gap.
inline constexpr uint32_t LevenshteinGap = 0xFFFFFFFF;

// One optimal alignment: m + n entries for each string, each a unit index into its string or
// LevenshteinGap. The entries are filled from the end; the unused ones in front are gaps in both.
struct LevenshteinAlignment {
  std::vector<uint32_t> receiver;
  std::vector<uint32_t> other;
  bool operator==(const LevenshteinAlignment&) const = default;
};

// The alignment as one-unit strings, the empty string standing for a gap (and the padding).
struct LevenshteinAlignmentArrays {
  std::vector<UnicodeString> receiver;
  std::vector<UnicodeString> other;
  bool operator==(const LevenshteinAlignmentArrays&) const = default;
};

// Ignores case and compares runs of ASCII digits by their numeric value ("file9" before
// "file10"); everything else by the lower-cased codepoints.
std::weak_ordering caseInsensitiveNumericCompare(std::u16string_view s, std::u16string_view other);

// None (after a log line) when the matrix cannot be allocated.
std::optional<LevenshteinMatrix> levenshteinMatrixForString(std::u16string_view s,
                                                            std::u16string_view other);
// 0xFFFFFFFF when the matrix cannot be allocated.
uint32_t levenshteinDistanceToString(std::u16string_view s, std::u16string_view other);
// The matrix's last cell; 0xFFFFFFFF for a buffer without cells.
uint32_t levenshteinDistanceFromMatrix(const LevenshteinMatrix& matrix);

// Traces one optimal alignment back from the last cell, preferring a diagonal step, then a step
// up (a receiver unit against a gap), then a step left. None (after a log line) when the matrix
// does not match the strings or memory runs out.
std::optional<LevenshteinAlignment> levenshteinOneAlignmentWithString(std::u16string_view s,
                                                                      std::u16string_view other);
std::optional<LevenshteinAlignment> levenshteinOneAlignmentWithString(
    std::u16string_view s, std::u16string_view other, const LevenshteinMatrix& levenshteinMatrix);

// Both arrays have m + n entries. An index outside its string reads as a gap. The short form
// answers two empty arrays when no alignment could be made.
LevenshteinAlignmentArrays levenshteinOneAlignmentArraysWithString(std::u16string_view s,
                                                                   std::u16string_view other);
LevenshteinAlignmentArrays levenshteinOneAlignmentArraysWithString(
    std::u16string_view s, std::u16string_view other,
    const LevenshteinAlignment& levenshteinAlignment);

// "1023 Byte", "1 KB", "1.5 MB", "3072 GB": binary units, GB the largest.
UnicodeString fileSizeStringForByteCount(double byteCount);

}  // namespace QNAdditions

namespace qnunicode::detail {
// The simple Unicode lower-case mapping of one codepoint, the same whatever the user's locale.
uint32_t lowercaseCodepoint(uint32_t codepoint);
// The text with every codepoint replaced by its lowercaseCodepoint, a surrogate pair taken as one.
UnicodeString lowercasedString(std::u16string_view text);
}  // namespace qnunicode::detail
