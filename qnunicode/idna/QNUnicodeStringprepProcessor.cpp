#include "qnunicode/idna/QNUnicodeStringprepProcessor.h"

#include <algorithm>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/idna/QNUnicodeCodepointWalk.h"
#include "qnunicode/records/QNUnicodeData.h"
#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/util/QNDataFile.h"
#include "qnunicode/util/QNFileManager.h"
#include "qnunicode/util/QNLog.h"
#include "qnunicode/util/QNScanner.h"

namespace {

using qnunicode::detail::DataFile;
using qnunicode::detail::LineCursor;
using qnunicode::detail::walkCodepoints;
using Range = QNUnicodeStringprepProcessor::Range;

// The file's text when it can be read as UTF-8 and is not empty; otherwise the log line.
std::optional<DataFile> readTable(const std::string& path) {
  DataFile file(path);
  if (!file.isReadable() || file.bytes().empty()) {
    QNLogFormat("StringprepProcessor could not open data file '%s'",
                QNAdditions::lastPathComponent(path).c_str());
    return std::nullopt;
  }
  return file;
}

// The key under which a table value is found: the codepoint its one-codepoint string holds (a
// value above 0x10FFFF becomes what its surrogate pair reads back as).
uint32_t keyForValue(uint32_t value) {
  char16_t units[2];
  const char16_t* end = qnunicode::writeUTF16(units, value);
  return qnunicode::codepointAt(units, static_cast<size_t>(end - units), 0).codepoint;
}

constexpr void setBit(std::array<uint64_t, 1024>& bits, uint32_t codepoint) {
  bits[codepoint >> 6] |= uint64_t{1} << (codepoint & 63);
}

// The bidirectional classes of RFC 3454 section 6 by the record's category.
enum class BidiClass { RandAL, L, Other };

BidiClass bidiClass(QNUnicodeDatabase& database, uint32_t codepoint) {
  const std::shared_ptr<const QNUnicodeData> record = database.unicodeDataForCodepoint(codepoint);
  if (!record) return BidiClass::Other;
  const UnicodeString category = record->bidirectionalCategory();
  if (category == u"R" || category == u"AL") return BidiClass::RandAL;
  return category == u"L" ? BidiClass::L : BidiClass::Other;
}

}  // namespace

std::shared_ptr<QNUnicodeStringprepProcessor>
QNUnicodeStringprepProcessor::processorWithStringprepDataDirectory(
    const std::string& directory, std::shared_ptr<QNUnicodeDatabase> unicodeDatabase,
    bool normalization, bool compatibilityDecomposition, bool bidirectionality) {
  std::shared_ptr<QNUnicodeStringprepProcessor> processor(new QNUnicodeStringprepProcessor());
  if (!processor->readDataFromDirectory(directory) || !unicodeDatabase) return nullptr;
  processor->_database = std::move(unicodeDatabase);
  processor->_usingNormalization = normalization;
  processor->_compatibilityDecomposition = compatibilityDecomposition;
  processor->_checkBidi = bidirectionality;
  return processor;
}

bool QNUnicodeStringprepProcessor::readDataFromDirectory(const std::string& directory) {
  const std::optional<DataFile> mappingFile =
      readTable(QNAdditions::stringByAppendingPathComponent(directory, "mapping.txt"));
  if (!mappingFile) return false;
  _mappings.clear();
  _mappings.reserve(500);
  LineCursor lines(mappingFile->bytes());
  for (std::string_view line; lines.next(&line);) {
    qnunicode::QNUTF8Scanner scanner(line);
    uint32_t key;
    if (!scanner.scanHexInt(&key) || !scanner.scanString(";")) continue;
    UnicodeString value;
    for (uint32_t codepoint; scanner.scanHexInt(&codepoint);) {
      qnunicode::appendUTF16(value, codepoint);
    }
    _mappings[keyForValue(key)] = std::move(value);
  }
  _prohibitedRanges.clear();
  _prohibitedRanges.reserve(50);
  if (!loadRangesFromFile(QNAdditions::stringByAppendingPathComponent(directory, "prohibited.txt"),
                          _prohibitedRanges)) {
    return false;
  }
  _unassignedRanges.clear();
  _unassignedRanges.reserve(400);
  if (!loadRangesFromFile(QNAdditions::stringByAppendingPathComponent(directory, "unassigned.txt"),
                          _unassignedRanges)) {
    return false;
  }
  prepareLookups();
  return true;
}

bool QNUnicodeStringprepProcessor::loadRangesFromFile(const std::string& path,
                                                      RangeList& intoArray) {
  const std::optional<DataFile> file = readTable(path);
  if (!file) return false;
  LineCursor lines(file->bytes());
  for (std::string_view line; lines.next(&line);) {
    qnunicode::QNUTF8Scanner scanner(line);
    uint32_t first, last;
    if (!scanner.scanHexInt(&first)) continue;
    // Without a second codepoint the range is the one codepoint; with one whose value lies
    // below the first, the count wraps around as the 32-bit arithmetic gives it.
    const bool hasLast = scanner.scanString("-") && scanner.scanHexInt(&last);
    intoArray.push_back({first, hasLast ? last - first + 1 : 1});
  }
  return true;
}

void QNUnicodeStringprepProcessor::Membership::assign(const RangeList& ranges) {
  _bmp.fill(0);
  _set = CodepointSet();
  for (const Range& range : ranges) {
    if (range.length == 0) continue;
    // The codepoints c with c - start < length: up to start + length - 1 or the top of 32 bits.
    const uint64_t last = std::min<uint64_t>(uint64_t{range.start} + range.length - 1, 0xFFFFFFFF);
    _set.addRange(range.start, static_cast<uint32_t>(last));
    for (uint64_t c = range.start; c <= std::min<uint64_t>(last, 0xFFFF); ++c) {
      setBit(_bmp, static_cast<uint32_t>(c));
    }
  }
}

void QNUnicodeStringprepProcessor::prepareLookups() {
  _mappedBMP.fill(0);
  for (const auto& [key, value] : _mappings) {
    if (key < 0x10000) setBit(_mappedBMP, key);
  }
  _prohibited.assign(_prohibitedRanges);
  _unassigned.assign(_unassignedRanges);
}

bool QNUnicodeStringprepProcessor::codepoint(uint32_t codepoint, const RangeList& inRanges) {
  for (const Range& range : inRanges) {
    if (range.contains(codepoint)) return true;
  }
  return false;
}

bool QNUnicodeStringprepProcessor::string(std::u16string_view string,
                                          const RangeList& hasCodepointInRanges) {
  return !walkCodepoints(string, [&](uint32_t c) { return !codepoint(c, hasCodepointInRanges); });
}

UnicodeString QNUnicodeStringprepProcessor::mapString(std::u16string_view string) const {
  UnicodeString mapped;
  mapped.reserve(string.size());
  walkCodepoints(string, [&](uint32_t c) {
    const bool mayBeMapped = c >= 0x10000 || ((_mappedBMP[c >> 6] >> (c & 63)) & 1);
    const auto found = mayBeMapped ? _mappings.find(c) : _mappings.end();
    if (found != _mappings.end()) {
      mapped += found->second;
    } else {
      qnunicode::appendUTF16(mapped, c);
    }
    return true;
  });
  return mapped;
}

bool QNUnicodeStringprepProcessor::containsProhibitedCodepoints(std::u16string_view string) const {
  return !walkCodepoints(string, [&](uint32_t c) { return !_prohibited.contains(c); });
}

bool QNUnicodeStringprepProcessor::containsUnassignedCodepoints(std::u16string_view string) const {
  return !walkCodepoints(string, [&](uint32_t c) { return !_unassigned.contains(c); });
}

bool QNUnicodeStringprepProcessor::validateBidirectionality(std::u16string_view string) const {
  if (string.empty()) return true;
  bool anyRandAL = false, anyL = false, firstRandAL = false, lastRandAL = false, first = true;
  walkCodepoints(string, [&](uint32_t c) {
    const BidiClass bidi = bidiClass(*_database, c);
    const bool isRandAL = bidi == BidiClass::RandAL;
    if (first) firstRandAL = isRandAL;
    first = false;
    anyRandAL |= isRandAL;
    anyL |= bidi == BidiClass::L;
    lastRandAL = isRandAL;
    return true;
  });
  if (!anyRandAL) return true;
  if (anyL) return false;
  return firstRandAL && lastRandAL;
}

std::optional<UnicodeString> QNUnicodeStringprepProcessor::stringprepString(
    std::u16string_view string, bool* containsUnassigned) const {
  UnicodeString prepared = mapString(string);
  if (_usingNormalization) {
    prepared = _database->normalizationFormK(_compatibilityDecomposition, true, prepared);
  }
  if (containsProhibitedCodepoints(prepared)) {
    QNLog("Stringprep failed: At least one codepoint was in one of the prohibited ranges");
    return std::nullopt;
  }
  if (containsUnassigned) *containsUnassigned = containsUnassignedCodepoints(prepared);
  if (_checkBidi && !validateBidirectionality(prepared)) {
    QNLog("Stringprep failed: Bidirectionality is invalid");
    return std::nullopt;
  }
  return prepared;
}
