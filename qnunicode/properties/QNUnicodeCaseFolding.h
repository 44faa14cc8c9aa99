#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "qnunicode/strings/UnicodeString.h"

// The CaseFolding table: for each status of the file ("C", "F", "S", "T" or whatever the file
// names) a map from codepoint to its folded text. Besides the maps it keeps flat two-stage
// lookups (a block index and blocks of entries pointing into one text pool) for the four usual
// statuses and for the status lists "C" "F" (full folding) and "C" "S" (simple folding), so that
// folding a string costs two loads per codepoint and no allocation beyond the result.
//
// The reader fills the table with setFolding() and then calls prepareLookups(); afterwards the
// table is only read and may be shared between threads.
class QNUnicodeCaseFoldingTable {
 public:
  using Mapping = std::unordered_map<uint32_t, UnicodeString>;
  using Mappings = std::map<UnicodeString, Mapping, std::less<>>;

  QNUnicodeCaseFoldingTable();
  ~QNUnicodeCaseFoldingTable();
  QNUnicodeCaseFoldingTable(const QNUnicodeCaseFoldingTable&) = delete;
  QNUnicodeCaseFoldingTable& operator=(const QNUnicodeCaseFoldingTable&) = delete;

  // Stores the folding of a codepoint under a status; a later call for the same status and
  // codepoint replaces the earlier text. The status's map is made on its first entry.
  void setFolding(const UnicodeString& status, uint32_t codepoint, UnicodeString folded);
  // Builds the flat lookups from the maps. Folding before this call uses the maps alone.
  void prepareLookups();

  // Every status with its map, in status order.
  const Mappings& mappings() const { return _mappings; }
  // The map of one status, or none when the file has no line of that status.
  const Mapping* mappingForStatus(std::u16string_view status) const;
  // The folded text of a codepoint under a status, or none.
  std::optional<std::u16string_view> foldingForCodepoint(uint32_t codepoint,
                                                         std::u16string_view status) const;
  bool empty() const { return _mappings.empty(); }

  // Walks the string codepoint by codepoint (an unpaired high surrogate takes the unit after it
  // along, as the library's codepoint walk does) and replaces each codepoint by the text of the
  // first status in the list whose map holds it; statuses the table lacks are passed over, and a
  // codepoint no status holds stays as it is.
  UnicodeString foldString(std::u16string_view string,
                           const std::vector<UnicodeString>& statuses) const;

  // A flat lookup: stage one maps codepoint >> kBlockShift to a block of stage two, whose entry
  // is 0 (no folding), kEntryInMaps (look in the maps: the text did not fit an entry) or
  // (offset into the pool << 8) | length in code units. Block 0 is all zeros.
  struct FlatLookup {
    static constexpr uint32_t kBlockShift = 7;
    static constexpr uint32_t kBlockSize = 1u << kBlockShift;
    static constexpr uint32_t kEntryInMaps = 0xFFFFFFFFu;
    std::vector<uint16_t> blocks;
    std::vector<uint32_t> entries;

    FlatLookup();
    uint32_t entry(uint32_t codepoint) const {
      return entries[(static_cast<uint32_t>(blocks[codepoint >> kBlockShift]) << kBlockShift) |
                     (codepoint & (kBlockSize - 1))];
    }
    void setEntry(uint32_t codepoint, uint32_t entry);
  };

 private:
  template <typename Find>
  UnicodeString foldWith(std::u16string_view string, const Find& find) const;
  std::u16string_view findInMaps(uint32_t codepoint,
                                 const std::vector<UnicodeString>& statuses) const;

  Mappings _mappings;
  UnicodeString _pool;
  // Per status ("C", "F", "S", "T" where present) and the two merged lists; none before
  // prepareLookups().
  std::map<UnicodeString, FlatLookup, std::less<>> _flatByStatus;
  std::unique_ptr<FlatLookup> _fullFolding;    // "C" then "F"
  std::unique_ptr<FlatLookup> _simpleFolding;  // "C" then "S"
};
