// The range property files (Blocks, PropList, DerivedCoreProperties, Scripts, DerivedAge,
// HangulSyllableType) and LineBreak: their readers, the lazy accessors and the per-codepoint
// lookups of the database.
#include <optional>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/properties/QNUnicodeBlockTable.h"
#include "qnunicode/properties/QNUnicodeIntervalIndex.h"
#include "qnunicode/properties/QNUnicodeLineBreak.h"
#include "qnunicode/properties/QNUnicodePropertyTable.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/util/NotFound.h"
#include "qnunicode/util/QNLog.h"
#include "qnunicode/util/QNScanner.h"
#include "qnunicode/util/QNUnicodePrefixTree.h"

using qnunicode::QNScanner;

namespace {

constexpr uint32_t kLastCodepoint = 0x10FFFF;

// The line-break tree: eight children a node, keys up to the last codepoint, which makes the
// seven levels below the root consume the low 21 bits of a key and ignore the bits above.
constexpr unsigned kLineBreakTreeCountLog2 = 3;
constexpr uint64_t kLineBreakTreeKeySpan = uint64_t(1) << 21;

// The last component of a slash-separated path, trailing slashes aside ("/" stays "/").
std::u16string_view lastPathComponent(std::u16string_view path) {
  while (path.size() > 1 && path.back() == u'/') path.remove_suffix(1);
  if (path.size() <= 1) return path;
  const size_t slash = path.rfind(u'/');
  return slash == std::u16string_view::npos ? path : path.substr(slash + 1);
}

std::optional<UnicodeString> contentsOfDataFile(const std::optional<std::string>& path) {
  if (!path) return std::nullopt;
  return QNUnicode::stringWithContentsOfUTF8File(*path);
}

void logPropListLineFailure(const char* message, std::u16string_view line) {
  QNLog(message);
  QNLogFormat("%s", qnunicode::logText(line).c_str());
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
  if (!_lineBreaks) readLineBreaks();
  return _lineBreaks;
}

// ---- Readers ----------------------------------------------------------------------------------

void QNUnicodeDatabase::readBlocks() {
  // The table exists before the file is looked for: a missing file leaves it empty for good.
  _blocks = std::make_shared<QNUnicodeBlockTable>();
  const std::optional<UnicodeString> text =
      contentsOfDataFile(filenameWithPrefix(QNUnicodeFilePrefixBlocks));
  if (!text) {
    notifyDelegateOfMissingFile(QNUnicodeFilePrefixBlocks);
    return;
  }
  QNUnicodeBlockTable::Map entries;
  // A line without ".." or without a last codepoint keeps the last codepoint of the line before.
  uint32_t last = 0;
  for (std::u16string_view line : qnunicode::splitAt(*text, u'\n')) {
    QNScanner scanner(line, QNScanner::Skip::WhitespaceAndNewlines);
    uint32_t first;
    if (!scanner.scanHexInt(&first)) continue;
    scanner.scanString(u"..");
    scanner.scanHexInt(&last);
    if (!scanner.scanString(u"; ")) scanner.scanString(u";");
    // The name is the rest of the line as it stands: a CR of a CR LF line end stays in it.
    entries.insert_or_assign(QNUnicodeBlockTable::Range{first, last - first + 1},
                             UnicodeString(scanner.remainingText()));
  }
  _blocks = std::make_shared<QNUnicodeBlockTable>(std::move(entries));
}

std::shared_ptr<QNUnicodePropertyTable> QNUnicodeDatabase::readPropListOrScriptsFile(
    std::u16string_view prefix) {
  const std::optional<UnicodeString> text = contentsOfDataFile(filenameWithPrefix(prefix));
  if (!text) {
    notifyDelegateOfMissingFile(lastPathComponent(prefix));
    return nullptr;
  }
  QNUnicodePropertyTable::Map sets;
  for (std::u16string_view line : qnunicode::splitAt(*text, u'\n')) {
    QNScanner scanner(line, QNScanner::Skip::WhitespaceAndNewlines);
    uint32_t first, last;
    if (!scanner.scanHexInt(&first)) continue;
    if (!scanner.scanString(u"..") || !scanner.scanHexInt(&last)) last = first;
    scanner.scanUpToString(u";");
    if (!scanner.scanString(u";")) {
      logPropListLineFailure(
          "UnicodeDatabase -readPropListOrScriptsFile:: failed: ';' not scanned in line:", line);
      continue;
    }
    // Without a comment the name runs to the end of the line.
    UnicodeString name;
    if (!scanner.scanUpToString(u"#", &name)) {
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
    sets[QNUnicode::trimmedString(name)].addRange(first, last);
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

}  // namespace

void QNUnicodeDatabase::readLineBreaks() {
  // The tree exists before the file is looked for: a missing file leaves it empty for good.
  auto tree = std::make_shared<QNUnicodePrefixTree>(kLineBreakTreeCountLog2, kLastCodepoint);
  _lineBreaks = tree;
  const std::optional<UnicodeString> text =
      contentsOfDataFile(filenameWithPrefix(QNUnicodeFilePrefixLineBreak));
  if (!text) {
    notifyDelegateOfMissingFile(QNUnicodeFilePrefixLineBreak);
  } else {
    // One scanner over the whole text that skips nothing, so the searches for ";" and "#" run on
    // past the end of a line that lacks them.
    QNScanner scanner(*text, QNScanner::Skip::Nothing);
    while (!scanner.isAtEnd()) {
      uint32_t first, last;
      UnicodeString className;
      if (!scanner.scanHexInt(&first)) {
        // Comment or blank line.
      } else {
        if (!scanner.scanString(u"..") || !scanner.scanHexInt(&last)) last = first;
        scanner.scanUpToString(u";");
        if (!scanner.scanString(u";")) {
          QNLog("UnicodeDatabase -readLineBreaks:: failed: ';' not scanned in line:");
        } else if (!scanner.scanUpToString(u"#", &className)) {
          QNLog("UnicodeDatabase -readLineBreaks:: failed: '#' not found in line:");
        } else if (className.empty()) {
          QNLog("UnicodeDatabase -readLineBreaks:: failed: prop is empty string in line:");
        } else {
          const uint32_t lineBreakClass =
              QNUnicode_LineBreakClassForString(QNUnicode::trimmedString(className));
          setLineBreakRange(*tree, first, last, lineBreakClass);
        }
      }
      scanner.scanUpToString(u"\n");
      scanner.scanString(u"\n");
    }
  }

  // Read the tree back once into a flat interval table: lookups then answer exactly what the
  // tree answers without walking its levels.
  std::vector<uint32_t> starts, classes;
  for (uint32_t codepoint = 0; codepoint <= kLastCodepoint; ++codepoint) {
    const int64_t value = tree->valueForUnsignedIntegerKey(codepoint);
    const uint32_t lineBreakClass =
        value == NotFound ? missingLineBreak : static_cast<uint32_t>(value);
    if (classes.empty() || classes.back() != lineBreakClass) {
      starts.push_back(codepoint);
      classes.push_back(lineBreakClass);
    }
  }
  // Above the last codepoint lookups ask the tree itself.
  starts.push_back(kLastCodepoint + 1);
  classes.push_back(missingLineBreak);
  _lineBreakIndex = std::make_shared<const qnunicode::detail::IntervalIndex>(starts, classes);
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
  if (!_lineBreaks) readLineBreaks();
  if (codepoint <= kLastCodepoint) return _lineBreakIndex->payloadAt(codepoint);
  const int64_t value = _lineBreaks->valueForUnsignedIntegerKey(codepoint);
  return value == NotFound ? missingLineBreak : static_cast<uint32_t>(value);
}
