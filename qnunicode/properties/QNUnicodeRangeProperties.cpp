// The range property files (Blocks, PropList, DerivedCoreProperties, Scripts, DerivedAge,
// HangulSyllableType) and LineBreak: their readers, the lazy accessors and the per-codepoint
// lookups of the database.
#include <algorithm>
#include <array>
#include <optional>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/properties/QNUnicodeBlockTable.h"
#include "qnunicode/properties/QNUnicodeIntervalIndex.h"
#include "qnunicode/properties/QNUnicodeLineBreak.h"
#include "qnunicode/properties/QNUnicodePropertyTable.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/util/NotFound.h"
#include "qnunicode/util/QNDataFile.h"
#include "qnunicode/util/QNLog.h"
#include "qnunicode/util/QNScanner.h"
#include "qnunicode/util/QNUnicodePrefixTree.h"

using qnunicode::QNUTF8Scanner;
using qnunicode::detail::DataFile;
using qnunicode::detail::LineCursor;

namespace {

// The line-break tree: eight children a node, keys up to the last codepoint, which makes the
// seven levels below the root consume the low 21 bits of a key and ignore the bits above.
constexpr unsigned kLineBreakTreeCountLog2 = 3;
constexpr uint32_t kLastCodepoint = 0x10FFFF;
constexpr uint64_t kLineBreakTreeKeySpan = uint64_t(1) << 21;
constexpr uint32_t kLineBreakKeyMask = static_cast<uint32_t>(kLineBreakTreeKeySpan - 1);
// The payload of the line-break index for a key that the tree answers NotFound for.
constexpr uint32_t kUnsetLineBreak = QNUnicodeDatabase::missingLineBreak + 1;

// The last component of a slash-separated path, trailing slashes aside ("/" stays "/").
std::u16string_view lastPathComponent(std::u16string_view path) {
  while (path.size() > 1 && path.back() == u'/') path.remove_suffix(1);
  if (path.size() <= 1) return path;
  const size_t slash = path.rfind(u'/');
  return slash == std::u16string_view::npos ? path : path.substr(slash + 1);
}

// The line is logged as the file has it (bytes up to a NUL, as for any "%s").
void logPropListLineFailure(const char* message, std::string_view line) {
  QNLog(message);
  QNLogFormat("%s", std::string(line).c_str());
}

}  // namespace

// ---- Accessors --------------------------------------------------------------------------------

std::shared_ptr<const QNUnicodeBlockTable> QNUnicodeDatabase::blocks() {
  if (!_blocks) readBlocks();
  return _blocks;
}

std::shared_ptr<const QNUnicodePropertyTable> QNUnicodeDatabase::extendedProperties() {
  if (!_extendedProperties) readExtendedProperties();
  return _extendedProperties;
}

std::shared_ptr<const QNUnicodePropertyTable> QNUnicodeDatabase::derivedCoreProperties() {
  if (!_derivedCoreProperties) readDerivedCoreProperties();
  return _derivedCoreProperties;
}

std::shared_ptr<const QNUnicodePropertyTable> QNUnicodeDatabase::scripts() {
  if (!_scripts) readScripts();
  return _scripts;
}

std::shared_ptr<const QNUnicodePropertyTable> QNUnicodeDatabase::versionDesignated() {
  if (!_versionDesignated) readDerivedAges();
  return _versionDesignated;
}

std::shared_ptr<const QNUnicodePropertyTable> QNUnicodeDatabase::hangulSyllableTypes() {
  if (!_hangulSyllableTypes) readHangulSyllableTypes();
  return _hangulSyllableTypes;
}

std::shared_ptr<const QNUnicodePrefixTree> QNUnicodeDatabase::lineBreaks() {
  if (!_lineBreakIndex) readLineBreaks();
  if (!_lineBreaks) {
    // The file set its keys once each, in ascending order: setting the same keys to the same
    // classes in that order, run by run, makes the tree that reading it key by key would have.
    auto tree = std::make_shared<QNUnicodePrefixTree>(kLineBreakTreeCountLog2, kLastCodepoint);
    const qnunicode::detail::IntervalIndex& index = *_lineBreakIndex;
    for (size_t i = 0; i < index.intervalCount(); ++i) {
      const uint64_t start = index.intervalStart(i);
      if (start >= kLineBreakTreeKeySpan) break;
      if (index.intervalPayload(i) == kUnsetLineBreak) continue;
      const uint64_t end =
          i + 1 < index.intervalCount()
              ? std::min<uint64_t>(index.intervalStart(i + 1), kLineBreakTreeKeySpan)
              : kLineBreakTreeKeySpan;
      for (uint64_t key = start; key < end; ++key) tree->setValue(index.intervalPayload(i), key);
    }
    _lineBreaks = tree;
  }
  return _lineBreaks;
}

// ---- Readers ----------------------------------------------------------------------------------

void QNUnicodeDatabase::readBlocks() {
  // The table exists before the file is looked for: a missing file leaves it empty for good.
  _blocks = std::make_shared<QNUnicodeBlockTable>();
  const qnunicode::detail::DataFile file = openDataFile(QNUnicodeFilePrefixBlocks);
  if (!file.isReadable()) return;
  QNUnicodeBlockTable::Map entries;
  // A line without ".." or without a last codepoint keeps the last codepoint of the line before.
  uint32_t last = 0;
  LineCursor lines(file.bytes());
  for (std::string_view line; lines.next(&line);) {
    QNUTF8Scanner scanner(line);
    uint32_t first;
    if (!scanner.scanHexInt(&first)) continue;
    scanner.scanString("..");
    scanner.scanHexInt(&last);
    if (!scanner.scanString("; ")) scanner.scanString(";");
    // The name is the rest of the line as it stands: a CR of a CR LF line end stays in it.
    entries.insert_or_assign(QNUnicodeBlockTable::Range{first, last - first + 1},
                             qnunicode::utf16FromUTF8(scanner.remainingText()));
  }
  _blocks = std::make_shared<QNUnicodeBlockTable>(std::move(entries));
}

std::shared_ptr<QNUnicodePropertyTable> QNUnicodeDatabase::readPropListOrScriptsFile(
    std::u16string_view prefix) {
  const qnunicode::detail::DataFile file = openDataFile(prefix, lastPathComponent(prefix));
  if (!file.isReadable()) return nullptr;
  QNUnicodePropertyTable::Map sets;
  // Lines of one name come in runs, so the set of the line before is kept at hand.
  std::string_view previousName;
  CodepointSet* previousSet = nullptr;
  LineCursor lines(file.bytes());
  for (std::string_view line; lines.next(&line);) {
    QNUTF8Scanner scanner(line);
    uint32_t first, last;
    if (!scanner.scanHexInt(&first)) continue;
    if (!scanner.scanString("..") || !scanner.scanHexInt(&last)) last = first;
    scanner.scanUpToString(";");
    if (!scanner.scanString(";")) {
      logPropListLineFailure(
          "UnicodeDatabase -readPropListOrScriptsFile:: failed: ';' not scanned in line:", line);
      continue;
    }
    // Without a comment the name runs to the end of the line.
    std::string_view name;
    if (!scanner.scanUpToString("#", &name)) {
      logPropListLineFailure(
          "UnicodeDatabase -readPropListOrScriptsFile:: failed: '#' not found in line:", line);
      continue;
    }
    if (name.empty()) {
      logPropListLineFailure(
          "UnicodeDatabase -readPropListOrScriptsFile:: failed: prop is empty string in line:",
          line);
      continue;
    }
    // A name seen before adds to its set, wherever the earlier lines were.
    name = qnunicode::trimmedUTF8(name);
    if (!previousSet || name != previousName) {
      previousSet = &sets[qnunicode::utf16FromUTF8(name)];
      previousName = name;
    }
    previousSet->addRange(first, last);
  }
  return std::make_shared<QNUnicodePropertyTable>(std::move(sets));
}

void QNUnicodeDatabase::readExtendedProperties() {
  _extendedProperties = readPropListOrScriptsFile(QNUnicodeFilePrefixPropList);
}

void QNUnicodeDatabase::readDerivedCoreProperties() {
  _derivedCoreProperties = readPropListOrScriptsFile(QNUnicodeFilePrefixDerivedCoreProperties);
}

void QNUnicodeDatabase::readScripts() {
  _scripts = readPropListOrScriptsFile(QNUnicodeFilePrefixScripts);
}

void QNUnicodeDatabase::readDerivedAges() {
  _versionDesignated = readPropListOrScriptsFile(QNUnicodeFilePrefixDerivedAge);
}

void QNUnicodeDatabase::readHangulSyllableTypes() {
  _hangulSyllableTypes = readPropListOrScriptsFile(QNUnicodeFilePrefixHangulSyllableType);
}

namespace {

// Sets every key from first to last inclusive, in ascending order, to the class. The tree looks
// at the low 21 bits of a key only, so a range past the last codepoint goes round the key space
// again. Setting all 2^21 keys of an aligned block in ascending order to one value (a sweep)
// leaves the tree in a state that a second sweep with that value does not change: every node
// holds the value afterwards, and a sweep refills and re-collapses exactly what the one before
// left. So of several whole blocks in one range only the first is set, with the range's head
// before it and its tail after the last whole block; a range up to 0xFFFFFFFF costs at most
// three blocks instead of four billion steps, and ends in the state the full walk would reach.
void setLineBreakRange(QNUnicodePrefixTree& tree, uint32_t first, uint32_t last,
                       uint32_t lineBreakClass) {
  const uint64_t begin = first, end = uint64_t(last) + 1;
  const auto setKeys = [&](uint64_t from, uint64_t to) {
    for (uint64_t key = from; key < to; ++key) tree.setValue(lineBreakClass, key);
  };
  const uint64_t firstBlock =
      (begin + kLineBreakTreeKeySpan - 1) / kLineBreakTreeKeySpan * kLineBreakTreeKeySpan;
  const uint64_t wholeBlocks = end > firstBlock ? (end - firstBlock) / kLineBreakTreeKeySpan : 0;
  if (wholeBlocks < 2) {
    setKeys(begin, end);
    return;
  }
  setKeys(begin, firstBlock + kLineBreakTreeKeySpan);
  setKeys(firstBlock + wholeBlocks * kLineBreakTreeKeySpan, end);
}

// One data line of LineBreak: keys first to last inclusive get the class.
struct LineBreakRange {
  uint32_t first;
  uint32_t last;
  uint32_t lineBreakClass;
};

// The class number of a class text as the file has it: trimmed, then looked up exactly. A name
// outside the table goes through QNUnicode_LineBreakClassForString, which logs it.
uint32_t lineBreakClassForUTF8(std::string_view text) {
  // Every name of the table has two letters: a name is found by its two bytes as one number.
  static constexpr auto kPairs = [] {
    std::array<uint16_t, QNUnicode_LineBreakClass_Strings.size()> pairs{};
    for (size_t i = 0; i < pairs.size(); ++i) {
      const std::u16string_view name = QNUnicode_LineBreakClass_Strings[i];
      pairs[i] = name.size() == 2 ? static_cast<uint16_t>(name[0] << 8 | name[1]) : 0;
    }
    return pairs;
  }();
  const std::string_view name = qnunicode::trimmedUTF8(text);
  if (name.size() == 2) {
    const auto pair =
        static_cast<uint16_t>(static_cast<uint8_t>(name[0]) << 8 | static_cast<uint8_t>(name[1]));
    for (uint32_t i = 0; i < kPairs.size(); ++i) {
      if (kPairs[i] == pair) return i;
    }
  }
  return QNUnicode_LineBreakClassForString(qnunicode::utf16FromUTF8(name));
}

// True when the ranges set every key at most once and in ascending order as the tree sees the
// keys (their low 21 bits). Such a tree never sets a key below a collapsed node, so it answers
// each key's class, or NotFound for a key that no range holds.
bool setsKeysInAscendingOrder(const std::vector<LineBreakRange>& ranges) {
  uint64_t smallestNextKey = 0;
  for (const LineBreakRange& range : ranges) {
    if (range.last < range.first) continue;                       // sets nothing
    if ((range.first >> 21) != (range.last >> 21)) return false;  // goes round the key space
    if ((range.first & kLineBreakKeyMask) < smallestNextKey) return false;
    smallestNextKey = uint64_t(range.last & kLineBreakKeyMask) + 1;
  }
  return true;
}

// The index of what the tree answers for every key: the class, or kUnsetLineBreak for NotFound.
qnunicode::detail::IntervalIndex lineBreakIndexOfAscendingRanges(
    const std::vector<LineBreakRange>& ranges) {
  std::vector<uint32_t> starts{0}, payloads{kUnsetLineBreak};
  const auto startInterval = [&](uint32_t start, uint32_t payload) {
    if (starts.back() == start) {
      payloads.back() = payload;
    } else {
      starts.push_back(start);
      payloads.push_back(payload);
    }
  };
  for (const LineBreakRange& range : ranges) {
    if (range.last < range.first) continue;
    startInterval(range.first & kLineBreakKeyMask, range.lineBreakClass);
    startInterval((range.last & kLineBreakKeyMask) + 1, kUnsetLineBreak);
  }
  return qnunicode::detail::IntervalIndex(starts, payloads);
}

// The index of what a tree answers, read back key by key (for files the ascending form does not
// cover).
qnunicode::detail::IntervalIndex lineBreakIndexOfTree(const QNUnicodePrefixTree& tree) {
  std::vector<uint32_t> starts, payloads;
  for (uint32_t key = 0; key < kLineBreakTreeKeySpan; ++key) {
    const int64_t value = tree.valueForUnsignedIntegerKey(key);
    const uint32_t payload = value == NotFound ? kUnsetLineBreak : static_cast<uint32_t>(value);
    if (payloads.empty() || payloads.back() != payload) {
      starts.push_back(key);
      payloads.push_back(payload);
    }
  }
  return qnunicode::detail::IntervalIndex(starts, payloads);
}

}  // namespace

void QNUnicodeDatabase::readLineBreaks() {
  // The classes exist before the file is looked for: a missing file leaves every key without
  // one for good. The tree itself is made when something asks for it (lineBreaks()), unless the
  // file sets keys out of order; lookups go through the index either way.
  _lineBreaks.reset();
  _lineBreakIndex = std::make_shared<const qnunicode::detail::IntervalIndex>(
      std::vector<uint32_t>{0}, std::vector<uint32_t>{kUnsetLineBreak});
  const qnunicode::detail::DataFile file = openDataFile(QNUnicodeFilePrefixLineBreak);
  if (!file.isReadable()) return;
  // One scanner over the whole text that skips nothing, so the searches for ";" and "#" run on
  // past the end of a line that lacks them.
  std::vector<LineBreakRange> ranges;
  QNUTF8Scanner scanner(file.bytes(), QNUTF8Scanner::Skip::Nothing);
  while (!scanner.isAtEnd()) {
    uint32_t first, last;
    std::string_view className;
    if (!scanner.scanHexInt(&first)) {
      // Comment or blank line.
    } else {
      if (!scanner.scanString("..") || !scanner.scanHexInt(&last)) last = first;
      scanner.scanUpToString(";");
      if (!scanner.scanString(";")) {
        QNLog("UnicodeDatabase -readLineBreaks:: failed: ';' not scanned in line:");
      } else if (!scanner.scanUpToString("#", &className)) {
        QNLog("UnicodeDatabase -readLineBreaks:: failed: '#' not found in line:");
      } else if (className.empty()) {
        QNLog("UnicodeDatabase -readLineBreaks:: failed: prop is empty string in line:");
      } else {
        ranges.push_back({first, last, lineBreakClassForUTF8(className)});
      }
    }
    scanner.scanUpToString("\n");
    scanner.scanString("\n");
  }

  if (setsKeysInAscendingOrder(ranges)) {
    _lineBreakIndex = std::make_shared<const qnunicode::detail::IntervalIndex>(
        lineBreakIndexOfAscendingRanges(ranges));
    return;
  }
  // Keys set again or out of order meet the tree's collapsing: build it now, range by range in
  // file order, and answer what it answers.
  auto tree = std::make_shared<QNUnicodePrefixTree>(kLineBreakTreeCountLog2, kLastCodepoint);
  for (const LineBreakRange& range : ranges) {
    setLineBreakRange(*tree, range.first, range.last, range.lineBreakClass);
  }
  _lineBreaks = tree;
  _lineBreakIndex =
      std::make_shared<const qnunicode::detail::IntervalIndex>(lineBreakIndexOfTree(*tree));
}

// ---- Lookups ----------------------------------------------------------------------------------

const UnicodeString& QNUnicodeDatabase::missingBlock() {
  static const UnicodeString name = u"No_Block";
  return name;
}

const UnicodeString& QNUnicodeDatabase::missingScript() {
  static const UnicodeString name = u"Unknown";
  return name;
}

const UnicodeString& QNUnicodeDatabase::missingHangulSyllableType() {
  static const UnicodeString name = u"NA";
  return name;
}

std::vector<UnicodeString> QNUnicodeDatabase::propertyOfCodepoint(
    uint32_t codepoint, const QNUnicodePropertyTable* inPropertyDictionary) {
  if (!inPropertyDictionary) return {};
  return inPropertyDictionary->namesForCodepoint(codepoint);
}

const UnicodeString& QNUnicodeDatabase::blockForCodepoint(uint32_t codepoint) {
  if (!_blocks) readBlocks();
  const UnicodeString* name = _blocks->blockForCodepoint(codepoint);
  return name ? *name : missingBlock();
}

const UnicodeString& QNUnicodeDatabase::scriptForCodepoint(uint32_t codepoint) {
  if (!_scripts) readScripts();
  if (!_scripts) return missingScript();
  const QNUnicodePropertyTable::Matches matches = _scripts->matchesForCodepoint(codepoint);
  if (matches.count == 0) return missingScript();
  if (matches.count >= 2) {
    QNLogFormat("WARNING: got %lu scripts for codepoint U+%04lx",
                static_cast<unsigned long>(matches.count), static_cast<unsigned long>(codepoint));
  }
  return *matches.first;
}

const UnicodeString& QNUnicodeDatabase::hangulSyllableTypeForCodepoint(uint32_t codepoint) {
  if (!_hangulSyllableTypes) readHangulSyllableTypes();
  if (!_hangulSyllableTypes) return missingHangulSyllableType();
  const QNUnicodePropertyTable::Matches matches =
      _hangulSyllableTypes->matchesForCodepoint(codepoint);
  if (matches.count == 0) return missingHangulSyllableType();
  if (matches.count >= 2) {
    QNLogFormat("WARNING: got %lu hangul syllable types for codepoint U+%04lx",
                static_cast<unsigned long>(matches.count), static_cast<unsigned long>(codepoint));
  }
  return *matches.first;
}

std::optional<UnicodeString> QNUnicodeDatabase::versionCodepointWasDesignated(uint32_t codepoint) {
  if (!_versionDesignated) readDerivedAges();
  if (!_versionDesignated) return std::nullopt;
  const QNUnicodePropertyTable::Matches matches =
      _versionDesignated->matchesForCodepoint(codepoint);
  if (matches.count == 0) return std::nullopt;
  if (matches.count >= 2) {
    // The last in the map's order, which need not be the highest version.
    QNLog("Codepoint designated in more than one version - using last version");
    return *matches.last;
  }
  return *matches.first;
}

std::vector<UnicodeString> QNUnicodeDatabase::extendedPropertiesForCodepoint(uint32_t codepoint) {
  if (!_extendedProperties) readExtendedProperties();
  return propertyOfCodepoint(codepoint, _extendedProperties.get());
}

std::vector<UnicodeString> QNUnicodeDatabase::derivedCorePropertiesForCodepoint(
    uint32_t codepoint) {
  if (!_derivedCoreProperties) readDerivedCoreProperties();
  return propertyOfCodepoint(codepoint, _derivedCoreProperties.get());
}

bool QNUnicodeDatabase::codepointHasExtendedProperty(uint32_t codepoint,
                                                     std::u16string_view property) {
  if (!_extendedProperties) readExtendedProperties();
  return _extendedProperties && _extendedProperties->codepointHasProperty(codepoint, property);
}

uint32_t QNUnicodeDatabase::lineBreakForCodepoint(uint32_t codepoint) {
  if (!_lineBreakIndex) readLineBreaks();
  // The tree reads the low 21 bits of a key; a key it has no value for answers XX.
  return std::min(_lineBreakIndex->payloadAt(codepoint & kLineBreakKeyMask), missingLineBreak);
}
