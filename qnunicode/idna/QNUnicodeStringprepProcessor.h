#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "qnunicode/strings/UnicodeString.h"
#include "qnunicode/util/CodepointSet.h"

class QNUnicodeDatabase;

// Prepares strings by a stringprep profile (RFC 3454): mapping, optional NFKC or NFC
// normalization, a prohibited-codepoint check, a report of unassigned codepoints and an optional
// bidirectional check. A profile is a directory of three tables in the layout of RFC 3454's
// appendix tables plus the three switches given at construction:
// - "mapping.txt": "XXXX; YYYY ZZZZ ..." maps the first codepoint to the others (none: to
//   nothing); anything after the last codepoint is ignored, and a later line replaces an earlier
//   one for the same codepoint.
// - "prohibited.txt" and "unassigned.txt": "XXXX" or "XXXX-YYYY", one codepoint or an inclusive
//   range; anything after it is ignored.
// Codepoints are hexadecimal with an optional "0x"; lines that do not begin that way (comments,
// headings, blank lines) are skipped silently. A constructed processor never changes and may be
// used from any thread as far as its database may be.
class QNUnicodeStringprepProcessor {
 public:
  // A start codepoint and a count of codepoints.
  struct Range {
    uint32_t start;
    uint32_t length;
    bool contains(uint32_t codepoint) const {
      return codepoint >= start && codepoint - start < length;
    }
    bool operator==(const Range&) const = default;
  };
  using RangeList = std::vector<Range>;

  // The processor over the profile in `directory`, or null when a table cannot be read (the log
  // says which) or the database is null. Reads the three files and nothing else.
  static std::shared_ptr<QNUnicodeStringprepProcessor> processorWithStringprepDataDirectory(
      const std::string& directory, std::shared_ptr<QNUnicodeDatabase> unicodeDatabase,
      bool normalization, bool compatibilityDecomposition, bool bidirectionality);

  // The prepared string, or none when it holds a prohibited codepoint or fails the bidirectional
  // check (each logged with its line). When given and the prohibited check passed,
  // *containsUnassignedCodepoints tells whether the prepared string holds an unassigned
  // codepoint; unassigned codepoints never make the preparation fail.
  std::optional<UnicodeString> stringprepString(std::u16string_view string,
                                                bool* containsUnassignedCodepoints = nullptr) const;
  // Each codepoint replaced by its mapping when it has one, once (the output is not mapped again).
  UnicodeString mapString(std::u16string_view string) const;
  bool containsProhibitedCodepoints(std::u16string_view string) const;
  bool containsUnassignedCodepoints(std::u16string_view string) const;
  // RFC 3454 section 6, with the bidirectional categories of the database's records: a string
  // with an R or AL codepoint must hold no L codepoint and must begin and end with R or AL.
  bool validateBidirectionality(std::u16string_view string) const;

  // Reads the three tables in order (replacing the ones held), stopping at the first that cannot
  // be read.
  bool readDataFromDirectory(const std::string& directory);
  // Appends the range of every data line of the file; false (logged) when it cannot be read or
  // is empty.
  static bool loadRangesFromFile(const std::string& path, RangeList& intoArray);
  // The linear scans of the range lists in list order.
  static bool codepoint(uint32_t codepoint, const RangeList& inRanges);
  static bool string(std::u16string_view string, const RangeList& hasCodepointInRanges);

  const std::shared_ptr<QNUnicodeDatabase>& database() const { return _database; }
  bool usingNormalization() const { return _usingNormalization; }
  bool compatibilityDecomposition() const { return _compatibilityDecomposition; }
  bool checkBidi() const { return _checkBidi; }
  // The mapping table, keyed by codepoint.
  const std::unordered_map<uint32_t, UnicodeString>& mappings() const { return _mappings; }
  const RangeList& prohibitedRanges() const { return _prohibitedRanges; }
  const RangeList& unassignedRanges() const { return _unassignedRanges; }

 private:
  QNUnicodeStringprepProcessor() = default;
  // Fills the lookups the hot paths use from the tables, once they are read.
  void prepareLookups();

  // Membership in a range list, answered as its linear scan would: a bit per codepoint of the
  // Basic Multilingual Plane, and the merged ranges above.
  class Membership {
   public:
    void assign(const RangeList& ranges);
    bool contains(uint32_t codepoint) const {
      if (codepoint < 0x10000) return (_bmp[codepoint >> 6] >> (codepoint & 63)) & 1;
      return _set.contains(codepoint);
    }

   private:
    std::array<uint64_t, 0x10000 / 64> _bmp{};
    CodepointSet _set;
  };

  std::shared_ptr<QNUnicodeDatabase> _database;
  bool _usingNormalization = false;
  bool _compatibilityDecomposition = false;
  bool _checkBidi = false;
  std::unordered_map<uint32_t, UnicodeString> _mappings;
  RangeList _prohibitedRanges;
  RangeList _unassignedRanges;
  // A bit per BMP codepoint that has a mapping, for the common answer "none".
  std::array<uint64_t, 0x10000 / 64> _mappedBMP{};
  Membership _prohibited;
  Membership _unassigned;
};
