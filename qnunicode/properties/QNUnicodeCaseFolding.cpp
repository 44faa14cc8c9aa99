#include "qnunicode/properties/QNUnicodeCaseFolding.h"

#include <algorithm>
#include <array>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/util/QNDataFile.h"
#include "qnunicode/util/QNLog.h"
#include "qnunicode/util/QNScanner.h"

namespace {

using FlatLookup = QNUnicodeCaseFoldingTable::FlatLookup;

constexpr uint32_t kLastCodepoint = 0x10FFFF;
constexpr size_t kLongestPooledText = 0xFF;
constexpr size_t kPoolLimit = 0xFFFFFF;

// The statuses that get a flat lookup of their own.
constexpr std::array<std::u16string_view, 4> kFlatStatuses = {u"C", u"F", u"S", u"T"};

bool isList(const std::vector<UnicodeString>& statuses, std::u16string_view first,
            std::u16string_view second) {
  return statuses.size() == 2 && statuses[0] == first && statuses[1] == second;
}

}  // namespace

// ---- The table ------------------------------------------------------------------------------

QNUnicodeCaseFoldingTable::FlatLookup::FlatLookup()
    : blocks((kLastCodepoint + 1) >> kBlockShift, 0), entries(kBlockSize, 0) {}

void QNUnicodeCaseFoldingTable::FlatLookup::setEntry(uint32_t codepoint, uint32_t entry) {
  uint16_t& block = blocks[codepoint >> kBlockShift];
  if (block == 0) {
    block = static_cast<uint16_t>(entries.size() >> kBlockShift);
    entries.resize(entries.size() + kBlockSize, 0);
  }
  entries[(static_cast<uint32_t>(block) << kBlockShift) | (codepoint & (kBlockSize - 1))] = entry;
}

QNUnicodeCaseFoldingTable::QNUnicodeCaseFoldingTable() = default;
QNUnicodeCaseFoldingTable::~QNUnicodeCaseFoldingTable() = default;

void QNUnicodeCaseFoldingTable::setFolding(const UnicodeString& status, uint32_t codepoint,
                                           UnicodeString folded) {
  // No room is set aside per status: a hostile file may name thousands of them.
  auto mapping = _mappings.find(status);
  if (mapping == _mappings.end()) mapping = _mappings.emplace(status, Mapping()).first;
  mapping->second.insert_or_assign(codepoint, std::move(folded));
}

void QNUnicodeCaseFoldingTable::prepareLookups() {
  _pool.clear();
  _flatByStatus.clear();
  _fullFolding.reset();
  _simpleFolding.reset();

  for (std::u16string_view status : kFlatStatuses) {
    const auto mapping = _mappings.find(status);
    if (mapping == _mappings.end()) continue;
    FlatLookup flat;
    for (const auto& [codepoint, folded] : mapping->second) {
      // A walk never meets codepoints above the last one; the maps still answer for them.
      if (codepoint > kLastCodepoint) continue;
      uint32_t entry = FlatLookup::kEntryInMaps;
      if (folded.size() <= kLongestPooledText && _pool.size() + folded.size() <= kPoolLimit) {
        entry = static_cast<uint32_t>(_pool.size() << 8 | folded.size());
        _pool += folded;
      }
      flat.setEntry(codepoint, entry);
    }
    _flatByStatus.emplace(UnicodeString(status), std::move(flat));
  }

  // A merged lookup answers the first status of the pair that holds the codepoint.
  const auto merge = [this](std::u16string_view first,
                            std::u16string_view second) -> std::unique_ptr<FlatLookup> {
    auto merged = std::make_unique<FlatLookup>();
    bool any = false;
    for (std::u16string_view status : {first, second}) {
      const auto flat = _flatByStatus.find(status);
      if (flat == _flatByStatus.end()) continue;
      any = true;
      for (const auto& entry : _mappings.find(status)->second) {
        const uint32_t codepoint = entry.first;
        if (codepoint > kLastCodepoint || merged->entry(codepoint) != 0) continue;
        merged->setEntry(codepoint, flat->second.entry(codepoint));
      }
    }
    return any ? std::move(merged) : nullptr;
  };
  _fullFolding = merge(u"C", u"F");
  _simpleFolding = merge(u"C", u"S");
}

const QNUnicodeCaseFoldingTable::Mapping* QNUnicodeCaseFoldingTable::mappingForStatus(
    std::u16string_view status) const {
  const auto mapping = _mappings.find(status);
  return mapping == _mappings.end() ? nullptr : &mapping->second;
}

std::optional<std::u16string_view> QNUnicodeCaseFoldingTable::foldingForCodepoint(
    uint32_t codepoint, std::u16string_view status) const {
  const Mapping* mapping = mappingForStatus(status);
  if (!mapping) return std::nullopt;
  const auto folded = mapping->find(codepoint);
  if (folded == mapping->end()) return std::nullopt;
  return std::u16string_view(folded->second);
}

std::u16string_view QNUnicodeCaseFoldingTable::findInMaps(
    uint32_t codepoint, const std::vector<UnicodeString>& statuses) const {
  for (const UnicodeString& status : statuses) {
    const Mapping* mapping = mappingForStatus(status);
    if (!mapping) continue;
    const auto folded = mapping->find(codepoint);
    if (folded != mapping->end()) return folded->second;
  }
  return {};
}

// The walk of the fold. It reads the string as the library's codepoint walk does: a high
// surrogate followed by any unit moves on by two units, so the unit after an unpaired high
// surrogate is never seen. `find` answers the folded text, empty when the codepoint stays.
//
// The result always has room for one unit per unit still to read, so a codepoint that stays
// (the common case) is copied without a check; only a folding looks at the room left.
template <typename Find>
UnicodeString QNUnicodeCaseFoldingTable::foldWith(std::u16string_view string,
                                                  const Find& find) const {
  const size_t length = string.size();
  const char16_t* in = string.data();
  // Short texts are folded on the stack, so that folding one codepoint allocates no more than
  // its result needs; longer ones, and short ones that outgrow the room, go to the heap.
  constexpr size_t kLocalRoom = 64;
  char16_t local[kLocalRoom];
  UnicodeString out;
  char16_t* target = local;
  size_t capacity = kLocalRoom;
  if (length + 16 > kLocalRoom) {
    out.resize(length + 16);
    target = out.data();
    capacity = out.size();
  }
  size_t written = 0;
  const auto makeRoom = [&](size_t needed) {
    if (needed <= capacity) return;
    capacity = std::max(capacity * 2, needed);
    if (target == local) {
      out.assign(local, written);
    }
    out.resize(capacity);
    target = out.data();
  };
  for (size_t i = 0; i < length;) {
    const char16_t unit = in[i];
    if (!qnunicode::isSurrogate(unit)) {
      const std::u16string_view folded = find(unit);
      if (folded.empty()) {
        target[written++] = unit;
        ++i;
        continue;
      }
      makeRoom(written + folded.size() + (length - i - 1));
      for (char16_t foldedUnit : folded) target[written++] = foldedUnit;
      ++i;
      continue;
    }
    // A surrogate: a pair is one codepoint; a high surrogate takes the unit after it along.
    const qnunicode::UTF16Codepoint walked = qnunicode::codepointWalkStep(in, length, i);
    const uint32_t codepoint = walked.codepoint;
    const size_t step = walked.length;
    const std::u16string_view folded = find(codepoint);
    if (folded.empty()) {
      target[written++] = unit;
      if (codepoint > 0xFFFF) target[written++] = in[i + 1];
      i += step;
      continue;
    }
    makeRoom(written + folded.size() + (length - i - step));
    for (char16_t foldedUnit : folded) target[written++] = foldedUnit;
    i += step;
  }
  if (target == local) return UnicodeString(local, written);
  out.resize(written);
  return out;
}

UnicodeString QNUnicodeCaseFoldingTable::foldString(
    std::u16string_view string, const std::vector<UnicodeString>& statuses) const {
  if (string.empty()) return UnicodeString();
  const char16_t* pool = _pool.data();

  const FlatLookup* merged = nullptr;
  if (isList(statuses, u"C", u"F")) merged = _fullFolding.get();
  if (isList(statuses, u"C", u"S")) merged = _simpleFolding.get();
  if (merged) {
    return foldWith(string, [&](uint32_t codepoint) -> std::u16string_view {
      const uint32_t entry = merged->entry(codepoint);
      if (entry == 0) return {};
      if (entry == FlatLookup::kEntryInMaps) return findInMaps(codepoint, statuses);
      return {pool + (entry >> 8), entry & 0xFF};
    });
  }

  // Any other list: the statuses the table has, each by its flat lookup where there is one.
  struct Resolved {
    const FlatLookup* flat;
    const Mapping* mapping;
  };
  // Short lists stay on the stack; only a list of more than eight known statuses allocates.
  std::array<Resolved, 8> inlineResolved;
  std::vector<Resolved> longList;
  size_t count = 0;
  for (const UnicodeString& status : statuses) {
    const auto mapping = _mappings.find(status);
    if (mapping == _mappings.end()) continue;
    const auto flat = _flatByStatus.find(status);
    const Resolved entry{flat == _flatByStatus.end() ? nullptr : &flat->second, &mapping->second};
    if (count < inlineResolved.size()) {
      inlineResolved[count] = entry;
    } else {
      if (longList.empty()) longList.assign(inlineResolved.begin(), inlineResolved.end());
      longList.push_back(entry);
    }
    ++count;
  }
  const Resolved* first = longList.empty() ? inlineResolved.data() : longList.data();
  const Resolved* last = first + count;
  return foldWith(string, [&](uint32_t codepoint) -> std::u16string_view {
    for (const Resolved* status = first; status != last; ++status) {
      if (status->flat) {
        const uint32_t entry = status->flat->entry(codepoint);
        if (entry == 0) continue;
        if (entry != FlatLookup::kEntryInMaps) return {pool + (entry >> 8), entry & 0xFF};
      }
      const auto folded = status->mapping->find(codepoint);
      if (folded != status->mapping->end()) return folded->second;
    }
    return {};
  });
}

// ---- The database's case folding -----------------------------------------------------------

std::shared_ptr<const QNUnicodeCaseFoldingTable> QNUnicodeDatabase::caseFolding() {
  if (!_caseFolding) readCaseFolding();
  return _caseFolding;
}

void QNUnicodeDatabase::readCaseFolding() {
  auto table = std::make_shared<QNUnicodeCaseFoldingTable>();
  _caseFolding = table;
  const qnunicode::detail::DataFile file = openDataFile(QNUnicodeFilePrefixCaseFolding);
  if (!file.isReadable()) {
    // The empty table stays: the file is not looked for again.
    table->prepareLookups();
    return;
  }

  // Only a line feed ends a line; the scanner passes over the rest of the white space, CR too.
  // Lines of one status mostly follow each other, so the status text of the line before is kept.
  std::string_view previousStatus;
  UnicodeString status;
  qnunicode::detail::LineCursor lines(file.bytes());
  for (std::string_view line; lines.next(&line);) {
    if (!line.empty() && line[0] == '#') continue;
    qnunicode::QNUTF8Scanner scanner(line);
    uint32_t code = 0;
    std::string_view statusText;
    if (!scanner.scanHexInt(&code) || !scanner.scanString(";") ||
        !scanner.scanUpToString(";", &statusText) || !scanner.scanString(";")) {
      continue;  // blank lines and stray text
    }
    if (statusText != previousStatus || status.empty()) {
      status = qnunicode::utf16FromUTF8(statusText);
      previousStatus = statusText;
    }
    UnicodeString mapping;
    while (!scanner.scanString(";")) {
      uint32_t codepoint = 0;
      if (!scanner.scanHexInt(&codepoint)) {
        QNLogFormat("could not parse CaseFolding line: %s", std::string(line).c_str());
        mapping.clear();
        break;
      }
      mapping += QNUnicode::stringWithCodepoint(codepoint);
    }
    if (mapping.empty()) {
      QNLogFormat("parsed empty CaseFolding mapping from line: %s", std::string(line).c_str());
      continue;
    }
    table->setFolding(status, code, std::move(mapping));
  }
  table->prepareLookups();
}

UnicodeString QNUnicodeDatabase::caseFoldingForString(const UnicodeString& string,
                                                      const std::vector<UnicodeString>& withTypes) {
  if (string.empty()) return UnicodeString();
  // The shared database's table, not this object's: a fold means the host's database.
  QNUnicodeDatabase* const shared = borrowedSharedDatabase();
  if (!shared) return string;
  if (!shared->_caseFolding) shared->readCaseFolding();
  return shared->_caseFolding->foldString(string, withTypes);
}

UnicodeString QNUnicodeDatabase::fullCaseFoldingForString(const UnicodeString& string) {
  static const std::vector<UnicodeString> fullFolding = {u"C", u"F"};
  return caseFoldingForString(string, fullFolding);
}
