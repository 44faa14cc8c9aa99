#pragma once

// Internal to the database: the general category, bidirectional category and combining class of
// every codepoint in one compact table, for the direct property lookups.

#include <cstdint>
#include <string_view>
#include <vector>

#include "qnunicode/normalization/QNUnicodeCodepointTrie.h"
#include "qnunicode/strings/UnicodeString.h"

namespace qnunicode::detail {

// One 32-bit entry per codepoint up to 0x10FFFF in a two-stage table: the numbers of the
// codepoint's general category and bidirectional category among the distinct values seen, and
// its combining class.
class CategoryTables {
 public:
  // The values of codepoint c are generalCategories[g], bidirectionalCategories[b] and
  // combiningClasses[k] for the numbers g, b and k given in entries[c].
  CategoryTables(std::vector<UnicodeString> generalCategories,
                 std::vector<UnicodeString> bidirectionalCategories,
                 std::vector<uint32_t> combiningClasses, const std::vector<uint32_t>& entries);

  // Entries are packed as general category number | bidirectional category number << 8 |
  // combining class number << 16.
  static uint32_t entry(uint32_t generalCategory, uint32_t bidirectionalCategory,
                        uint32_t combiningClass) {
    return generalCategory | bidirectionalCategory << 8 | combiningClass << 16;
  }

  // c <= 0x10FFFF.
  std::u16string_view generalCategory(uint32_t c) const {
    return _generalCategories[_entries.getBelowLimit(c) & 0xFF];
  }
  std::u16string_view bidirectionalCategory(uint32_t c) const {
    return _bidirectionalCategories[(_entries.getBelowLimit(c) >> 8) & 0xFF];
  }
  uint32_t canonicalCombiningClass(uint32_t c) const {
    return _combiningClasses[_entries.getBelowLimit(c) >> 16];
  }

  size_t memorySize() const { return _entries.memorySize(); }

 private:
  std::vector<UnicodeString> _generalCategories;
  std::vector<UnicodeString> _bidirectionalCategories;
  std::vector<uint32_t> _combiningClasses;
  CodepointTrie _entries;
};

}  // namespace qnunicode::detail
