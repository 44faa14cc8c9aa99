#include "qnunicode/records/QNUnicodeConcreteData.h"

#include <bit>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/util/QNLog.h"

using qnunicode::QNScanner;

namespace {

constexpr std::u16string_view kSemicolon = u";";

bool isASCII(std::string_view bytes) {
  // Eight bytes at a time, then the rest.
  size_t i = 0;
  uint64_t seen = 0;
  for (; i + 8 <= bytes.size(); i += 8) {
    uint64_t word;
    std::memcpy(&word, bytes.data() + i, sizeof word);
    seen |= word;
  }
  for (; i < bytes.size(); ++i) seen |= static_cast<unsigned char>(bytes[i]);
  return (seen & 0x8080808080808080ull) == 0;
}

const char* findByte(const char* from, const char* sentinel, char byte) {
  if (from >= sentinel) return nullptr;
  return static_cast<const char*>(std::memchr(from, byte, static_cast<size_t>(sentinel - from)));
}

// The first separators.size() semicolons from `bytes` on, across line ends, up to the sentinel;
// answers how many there were. Eight bytes are looked at a time.
size_t findSeparators(const char* bytes, const char* sentinel,
                      std::array<const char*, 14>& separators) {
  constexpr uint64_t kOnes = 0x0101010101010101ull;
  constexpr uint64_t kHighBits = 0x8080808080808080ull;
  size_t count = 0;
  const char* p = bytes;
  for (; sentinel - p >= 8; p += 8) {
    uint64_t word;
    std::memcpy(&word, p, sizeof word);
    const uint64_t x = word ^ (kOnes * ';');
    // The high bit of each byte of x that is zero, and of no other: adding 0x7F to the low seven
    // bits sets the high bit of every nonzero byte without carrying into the next.
    uint64_t found = ~(((x & ~kHighBits) + ~kHighBits) | x | ~kHighBits);
    while (found) {
      separators[count++] = p + (std::countr_zero(found) >> 3);
      if (count == separators.size()) return count;
      found &= found - 1;
    }
  }
  for (; p < sentinel; ++p) {
    if (*p != ';') continue;
    separators[count++] = p;
    if (count == separators.size()) return count;
  }
  return count;
}

bool isASCII(std::u16string_view units) {
  for (const char16_t unit : units) {
    if (unit >= 0x80) return false;
  }
  return true;
}

// A text held on the stack while it is short: the parse forms widen ASCII fields into it so that
// the scanner can read them without a heap allocation.
class WideText {
 public:
  explicit WideText(std::string_view bytes) {
    if (bytes.size() <= _inline.size()) {
      for (size_t i = 0; i < bytes.size(); ++i) _inline[i] = widened(bytes[i]);
      _view = std::u16string_view(_inline.data(), bytes.size());
    } else {
      _heap.reserve(bytes.size());
      for (const char byte : bytes) _heap.push_back(widened(byte));
      _view = _heap;
    }
  }
  WideText(const WideText&) = delete;
  WideText& operator=(const WideText&) = delete;
  std::u16string_view view() const { return _view; }

 private:
  // Bytes above ASCII are never white space or digits here.
  static char16_t widened(char byte) {
    const auto value = static_cast<unsigned char>(byte);
    return value < 0x80 ? static_cast<char16_t>(value) : u'\uFFFD';
  }
  std::array<char16_t, 64> _inline;  // only the first _view.size() units are written
  UnicodeString _heap;
  std::u16string_view _view;
};

// Fields 0 and 3 go through a buffer of eight bytes with a terminating zero: at most seven
// characters are read, and a longer field is cut to its first seven.
std::string_view boundedField(std::string_view field) {
  return field.substr(0, 7);
}

// The usual fields hold only digits: their value needs no scanner. Seven digits never overflow.
std::optional<uint32_t> plainDigitsValue(std::string_view field, uint32_t base) {
  if (field.empty()) return std::nullopt;
  uint32_t value = 0;
  for (const char byte : field) {
    const int digit = qnunicode::hexDigitValue(static_cast<uint8_t>(byte));
    if (digit < 0 || static_cast<uint32_t>(digit) >= base) return std::nullopt;
    value = value * base + static_cast<uint32_t>(digit);
  }
  return value;
}

uint32_t hexadecimalValue(std::string_view field) {
  if (const std::optional<uint32_t> value = plainDigitsValue(boundedField(field), 16)) {
    return *value;
  }
  const WideText text(boundedField(field));
  QNScanner scanner(text.view());
  uint32_t value = 0;
  scanner.scanHexInt(&value);
  return value;
}

uint32_t unsignedDecimalValue(std::string_view field) {
  if (const std::optional<uint32_t> value = plainDigitsValue(boundedField(field), 10)) {
    return *value;
  }
  const WideText text(boundedField(field));
  QNScanner scanner(text.view());
  int32_t value = 0;
  scanner.scanInt(&value);
  return static_cast<uint32_t>(value);
}

// Leading white space, an optional sign and the decimal digits that follow, saturating at the
// 64-bit limits; 0 when there is no digit.
int64_t integerValue(std::u16string_view text) {
  size_t i = 0;
  while (i < text.size() && qnunicode::isWhitespaceOrNewline(text[i])) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == u'-' || text[i] == u'+')) {
    negative = text[i] == u'-';
    ++i;
  }
  uint64_t magnitude = 0;
  constexpr uint64_t limit = static_cast<uint64_t>(std::numeric_limits<int64_t>::max()) + 1;
  for (; i < text.size() && text[i] >= u'0' && text[i] <= u'9'; ++i) {
    magnitude = magnitude > limit / 10 ? limit : magnitude * 10 + (text[i] - u'0');
    if (magnitude > limit) magnitude = limit;
  }
  if (negative) {
    return magnitude == limit ? std::numeric_limits<int64_t>::min()
                              : -static_cast<int64_t>(magnitude);
  }
  return magnitude >= limit ? std::numeric_limits<int64_t>::max() : static_cast<int64_t>(magnitude);
}

bool isDecimalDigits(std::u16string_view text) {
  for (const char16_t unit : text) {
    if (unit < u'0' || unit > u'9') return false;
  }
  return true;
}

float floatValue(std::u16string_view digits) {
  // Only digits and a leading "-" get here.
  const std::string ascii(digits.begin(), digits.end());
  return std::strtof(ascii.c_str(), nullptr);
}

// The codepoints of a decomposition field, kept inline for the usual short mappings.
class CodepointList {
 public:
  void push_back(uint32_t codepoint) {
    if (_size < _inline.size()) {
      _inline[_size] = codepoint;
    } else {
      if (_overflow.empty()) _overflow.assign(_inline.begin(), _inline.end());
      _overflow.push_back(codepoint);
    }
    ++_size;
  }
  std::span<const uint32_t> span() const {
    return _size <= _inline.size() ? std::span<const uint32_t>(_inline.data(), _size)
                                   : std::span<const uint32_t>(_overflow);
  }

 private:
  std::array<uint32_t, 20> _inline;  // only the first _size are written
  std::vector<uint32_t> _overflow;
  size_t _size = 0;
};

// The decomposition rules: a leading "<" marks a tagged compatibility mapping whose tag is
// stepped over; then hexadecimal codepoints up to the end, stopping at the first token that is
// not one. Answers whether the mapping is a compatibility one.
bool parseDecomposition(std::u16string_view text, CodepointList& codepoints) {
  QNScanner scanner(text);
  bool compatibility = false;
  if (!text.empty() && text.front() == u'<') {
    scanner.scanUpToString(u">");
    scanner.scanString(u">");
    compatibility = true;
  }
  while (!scanner.isAtEnd()) {
    uint32_t codepoint = 0;
    if (!scanner.scanHexInt(&codepoint)) break;
    codepoints.push_back(codepoint);
  }
  return compatibility;
}

void appendDecimal(UnicodeString& text, uint64_t value) {
  const std::string digits = std::to_string(value);
  text.append(digits.begin(), digits.end());
}

void logTitlecaseFallback(uint32_t codepoint) {
  QNLogFormat(
      "Info: Simple_Titlecase_Mapping is empty but Simple_Uppercase_Mapping is not for U+%04lx",
      static_cast<unsigned long>(codepoint));
}

}  // namespace

// ---- Numeric value text -------------------------------------------------------------------------

float numberFromNumericValueString(std::optional<std::u16string_view> text) {
  if (!text) {
    QNLog("no fractional components in '(null)'");
    return 0.0f;
  }
  const std::string logged = qnunicode::logText(*text);
  const std::vector<std::u16string_view> parts = qnunicode::splitAt(*text, u'/');
  float numerator = 0.0f;
  float denominator = 1.0f;

  std::u16string_view numeratorDigits = parts[0];
  if (!numeratorDigits.empty() && numeratorDigits.front() == u'-') numeratorDigits.remove_prefix(1);
  if (isDecimalDigits(numeratorDigits)) {
    numerator = floatValue(parts[0]);
  } else {
    QNLogFormat("nominator of '%s' contained non-digit", logged.c_str());
  }
  if (parts.size() > 1) {
    if (isDecimalDigits(parts[1])) {
      denominator = floatValue(parts[1]);
    } else {
      QNLogFormat("denominator of '%s' contained non-digit", logged.c_str());
    }
  }
  if (parts.size() > 2) {
    QNLogFormat("more than two fractional components in '%s'", logged.c_str());
  }
  return static_cast<float>(static_cast<double>(numerator) / static_cast<double>(denominator));
}

std::optional<QNUnicodeNumericValue> QNUnicodeConcreteData::numericValueForFields(
    QNUnicodeNumericType* type, std::u16string_view decimalDigit, std::u16string_view digit,
    bool numericFieldIsEmpty, std::optional<std::u16string_view> numericText) {
  if (numericFieldIsEmpty) {
    *type = QNUnicodeNumericTypeNone;
    return std::nullopt;
  }
  if (digit.empty()) {
    *type = QNUnicodeNumericTypeNumeric;
    return numberFromNumericValueString(numericText);
  }
  if (!decimalDigit.empty()) {
    *type = QNUnicodeNumericTypeDecimal;
    return integerValue(decimalDigit);
  }
  *type = QNUnicodeNumericTypeDigit;
  return integerValue(digit);
}

// ---- The byte form ------------------------------------------------------------------------------

std::optional<QNUnicodeConcreteData> QNUnicodeConcreteData::parseBytes(
    const char* bytes, const char* sentinel, size_t* bytesRead,
    qnunicode::detail::BlockArena<std::byte>* arena) {
  QNUnicodeConcreteData record;
  // Separator searches run across line ends and fail only at the sentinel.
  // The separators of the fourteen first fields, found in one pass; the fields are then taken
  // in order, so that a missing separator is noticed (and logged) where its field is reached.
  std::array<const char*, 14> separators;
  const size_t separatorCount = findSeparators(bytes, sentinel, separators);
  auto reached = [separatorCount](size_t field) {
    if (field < separatorCount) return true;
    QNLog("no data");
    return false;
  };
  // Field 14 runs to the line feed: set below, once the other fields are there.
  std::string_view titlecaseField;
  auto field = [&](size_t number) {
    if (number == 14) return titlecaseField;
    const char* begin = number == 0 ? bytes : separators[number - 1] + 1;
    return std::string_view(begin, static_cast<size_t>(separators[number] - begin));
  };

  if (!reached(0)) return std::nullopt;
  record._codepoint = hexadecimalValue(field(0));
  if (!reached(3)) return std::nullopt;
  record._canonicalCombiningClass = unsignedDecimalValue(field(3));
  if (!reached(8)) return std::nullopt;
  const char* cursor = separators[8] + 1;

  // Text fields are UTF-8; one that does not decode is absent. Only a line with bytes above
  // ASCII needs the decoded copies.
  bool lineIsASCII = isASCII(std::string_view(bytes, static_cast<size_t>(cursor - bytes)));
  std::unique_ptr<std::array<std::optional<UnicodeString>, 15>> decoded;
  TextInputs texts;
  // Fills texts[slot] (absent until then) from the bytes of a field.
  auto takeText = [&](TextField slot, size_t number, bool keepEmpty) {
    TextInput& input = texts[slot];
    const std::string_view bytesOfField = field(number);
    if (bytesOfField.empty() && !keepEmpty) return;
    if (lineIsASCII || isASCII(bytesOfField)) {
      input.setNarrow(bytesOfField);
      return;
    }
    if (!decoded) decoded = std::make_unique<std::array<std::optional<UnicodeString>, 15>>();
    std::optional<UnicodeString>& text = (*decoded)[number];
    if ((text = qnunicode::decodeUTF8(bytesOfField))) input.setUnits(*text);
  };
  takeText(NumericValueStringField, 8, false);

  if (!field(8).empty()) {
    const WideText decimalDigit(field(6));
    const WideText digit(field(7));
    std::optional<std::u16string_view> numericText;
    std::optional<WideText> numericASCII;
    const TextInput& numeric = texts[NumericValueStringField];
    if (numeric.present && numeric.wide) {
      numericText = numeric.units();
    } else if (numeric.present) {
      numericASCII.emplace(numeric.narrow());
      numericText = numericASCII->view();
    }
    QNUnicodeNumericType type = QNUnicodeNumericTypeNone;
    record.setNumericValue(
        numericValueForFields(&type, decimalDigit.view(), digit.view(), false, numericText));
    record._numericType = type;
  }

  if (!reached(9)) return std::nullopt;
  const char mirrored = field(9).empty() ? ';' : field(9).front();
  if (mirrored == 'Y') {
    record.setFlag(MirroredFlag, true);
  } else if (mirrored != 'N') {
    QNLog("Unexpected mirrored value in UnicodeData.txt (ignoring)");
  }
  if (!reached(13)) return std::nullopt;
  cursor = separators[13] + 1;

  // Field 14 runs to the line feed or the sentinel. Its length is taken as the distance to the
  // byte after the terminator minus one, so data that ends without a line feed loses its last
  // byte: every line of the file must end in a line feed. A carriage return stays in the field.
  const char* lineFeed = findByte(cursor, sentinel, '\n');
  const char* next = lineFeed ? lineFeed + 1 : sentinel;
  const size_t titlecaseLength = cursor < next ? static_cast<size_t>(next - cursor) - 1 : 0;
  titlecaseField = std::string_view(cursor, titlecaseLength);
  lineIsASCII =
      isASCII(std::string_view(bytes, static_cast<size_t>(cursor - bytes) + titlecaseLength));

  takeText(NameField, 1, true);
  takeText(GeneralCategoryField, 2, true);
  takeText(BidirectionalCategoryField, 4, true);
  takeText(DecompositionField, 5, false);
  takeText(Unicode1NameField, 10, true);
  takeText(CommentField, 11, false);
  takeText(UppercaseField, 12, false);
  takeText(LowercaseField, 13, false);
  takeText(TitlecaseField, 14, false);
  if (titlecaseField.empty() && texts[UppercaseField].present) {
    logTitlecaseFallback(record._codepoint);
    texts[TitlecaseField] = texts[UppercaseField];
  }

  CodepointList decomposition;
  const TextInput& mapping = texts[DecompositionField];
  if (mapping.present) {
    const bool compatibility =
        mapping.wide ? parseDecomposition(mapping.units(), decomposition)
                     : parseDecomposition(WideText(mapping.narrow()).view(), decomposition);
    record.setFlag(HasDecompositionArrayFlag, true);
    record.setFlag(CompatibilityMappingFlag, compatibility);
    record.setFlag(CanonicalMappingFlag, !compatibility);
  }
  record.store(decomposition.span(), texts, arena);

  if (bytesRead) *bytesRead = static_cast<size_t>(next - bytes);
  return record;
}

std::shared_ptr<QNUnicodeConcreteData> QNUnicodeConcreteData::unicodeDataWithBytes(
    const char* bytes, const char* sentinel, size_t* bytesRead) {
  std::optional<QNUnicodeConcreteData> record = parseBytes(bytes, sentinel, bytesRead);
  if (!record) return nullptr;
  return std::make_shared<QNUnicodeConcreteData>(std::move(*record));
}

// ---- The text and scanner forms -----------------------------------------------------------------

std::shared_ptr<QNUnicodeConcreteData> QNUnicodeConcreteData::unicodeDataWithString(
    std::u16string_view line) {
  if (line.empty()) return nullptr;
  QNScanner scanner(line);
  return unicodeDataWithScanner(scanner);
}

std::shared_ptr<QNUnicodeConcreteData> QNUnicodeConcreteData::unicodeDataWithScanner(
    QNScanner& scanner) {
  std::shared_ptr<QNUnicodeConcreteData> record(new QNUnicodeConcreteData());

  uint32_t codepoint = 0;
  scanner.scanHexInt(&codepoint);
  scanner.skipCharacter();
  record->_codepoint = codepoint;

  // The text fields share one running variable: a field the scan finds empty keeps the text of
  // the field before it in the chain.
  std::optional<UnicodeString> running;
  auto scanChained = [&](std::u16string_view upTo) {
    UnicodeString value;
    if (scanner.scanUpToString(upTo, &value)) running = std::move(value);
    scanner.skipCharacter();
    return running;
  };
  auto scanOwn = [&]() {
    std::optional<UnicodeString> own;
    UnicodeString value;
    if (scanner.scanUpToString(kSemicolon, &value)) own = std::move(value);
    scanner.skipCharacter();
    return own;
  };

  const std::optional<UnicodeString> name = scanChained(kSemicolon);
  const std::optional<UnicodeString> generalCategory = scanChained(kSemicolon);
  int32_t combiningClass = 0;
  scanner.scanInt(&combiningClass);
  scanner.skipCharacter();
  record->_canonicalCombiningClass = static_cast<uint32_t>(combiningClass);
  const std::optional<UnicodeString> bidirectionalCategory = scanChained(kSemicolon);
  const std::optional<UnicodeString> decomposition = scanChained(kSemicolon);
  const std::optional<UnicodeString> decimalDigit = scanOwn();
  const std::optional<UnicodeString> digit = scanOwn();
  const std::optional<UnicodeString> numeric = scanChained(kSemicolon);

  QNUnicodeNumericType type = QNUnicodeNumericTypeNone;
  record->setNumericValue(numericValueForFields(
      &type, decimalDigit ? std::u16string_view(*decimalDigit) : std::u16string_view(),
      digit ? std::u16string_view(*digit) : std::u16string_view(), !numeric || numeric->empty(),
      numeric ? std::optional<std::u16string_view>(*numeric) : std::nullopt));
  record->_numericType = type;

  const std::optional<UnicodeString> mirrored = scanOwn();
  if (mirrored == u"Y") {
    record->setFlag(MirroredFlag, true);
  } else if (mirrored != u"N") {
    QNLogFormat("Unexpected mirrored value in UnicodeData.txt (ignoring): %s",
                mirrored ? qnunicode::logText(*mirrored).c_str() : "(null)");
  }

  const std::optional<UnicodeString> unicode1Name = scanChained(kSemicolon);
  const std::optional<UnicodeString> comment = scanChained(kSemicolon);
  const std::optional<UnicodeString> uppercase = scanChained(kSemicolon);
  const std::optional<UnicodeString> lowercase = scanChained(kSemicolon);
  std::optional<UnicodeString> titlecase = scanChained(u"\n");
  if ((!titlecase || titlecase->empty()) && uppercase && !uppercase->empty()) {
    logTitlecaseFallback(codepoint);
    titlecase = uppercase;
  }

  TextInputs texts;
  auto input = [](const std::optional<UnicodeString>& text) {
    TextInput in;
    if (text) in.setUnits(*text);
    return in;
  };
  texts[NameField] = input(name);
  texts[GeneralCategoryField] = input(generalCategory);
  texts[BidirectionalCategoryField] = input(bidirectionalCategory);
  texts[DecompositionField] = input(decomposition);
  texts[NumericValueStringField] = input(numeric);
  texts[Unicode1NameField] = input(unicode1Name);
  texts[CommentField] = input(comment);
  texts[UppercaseField] = input(uppercase);
  texts[LowercaseField] = input(lowercase);
  texts[TitlecaseField] = input(titlecase);
  CodepointList codepoints;
  if (decomposition && !decomposition->empty()) {
    const bool compatibility = parseDecomposition(*decomposition, codepoints);
    record->setFlag(HasDecompositionArrayFlag, true);
    record->setFlag(CompatibilityMappingFlag, compatibility);
    record->setFlag(CanonicalMappingFlag, !compatibility);
  }
  record->store(codepoints.span(), texts);
  return record;
}

// ---- Copying ------------------------------------------------------------------------------------

QNUnicodeConcreteData::QNUnicodeConcreteData(const QNUnicodeData& other) {
  _codepoint = other.codepoint();
  const std::array<UnicodeString, TextFieldCount> values = {
      other.characterName(),         other.generalCategory(),
      other.bidirectionalCategory(), other.characterDecompositionMapping(),
      other.numericValueString(),    other.unicode1Name(),
      other.commentField(),          other.uppercaseMapping(),
      other.lowercaseMapping(),      other.titlecaseMapping(),
  };
  _canonicalCombiningClass = other.canonicalCombiningClass();
  const std::optional<std::span<const uint32_t>> array = other.characterDecompositionMappingArray();
  _numericType = other.numericType();
  setNumericValue(other.numericValue());
  setFlag(MirroredFlag, other.mirrored());

  TextInputs texts;
  for (size_t field = 0; field < TextFieldCount; ++field) {
    texts[field].setUnits(values[field]);
  }
  store(array ? *array : std::span<const uint32_t>(), texts);
  setFlag(HasDecompositionArrayFlag, array.has_value());
  if (other.compatibilityMapping()) {
    setFlag(CanonicalMappingFlag, false);
    setFlag(CompatibilityMappingFlag, true);
  } else {
    setFlag(CanonicalMappingFlag, array && !array->empty());
    setFlag(CompatibilityMappingFlag, false);
  }
}

std::shared_ptr<QNUnicodeData> QNUnicodeConcreteData::copy() const {
  return std::make_shared<QNUnicodeConcreteData>(*this);
}

// ---- Storage ------------------------------------------------------------------------------------

void QNUnicodeConcreteData::store(std::span<const uint32_t> decomposition, const TextInputs& texts,
                                  qnunicode::detail::BlockArena<std::byte>* arena) {
  bool wide = false;
  uint64_t total = 0;
  for (const TextInput& text : texts) {
    if (!text.present) continue;
    if (text.wide) {
      total += text.size;
      if (!isASCII(text.units())) wide = true;
    } else {
      total += text.size;
    }
  }
  // The field ends are 32-bit: a line of four billion units would not fit, and is cut.
  constexpr uint64_t maximumUnits = std::numeric_limits<uint32_t>::max();
  if (total > maximumUnits) total = maximumUnits;

  const size_t unitSize = wide ? sizeof(char16_t) : 1;
  const size_t arrayBytes = decomposition.size() * sizeof(uint32_t);
  const size_t byteCount = arrayBytes + static_cast<size_t>(total) * unitSize;
  std::unique_ptr<std::byte[], qnunicode::detail::BufferRelease> buffer;
  if (byteCount > 0 && arena) {
    // Whole words, so that the next buffer's codepoints are aligned too.
    buffer = {arena->allocate((byteCount + 3) & ~size_t{3}),
              qnunicode::detail::BufferRelease{false}};
  } else if (byteCount > 0) {
    buffer.reset(new std::byte[byteCount]);
  }
  if (arrayBytes > 0) std::memcpy(buffer.get(), decomposition.data(), arrayBytes);

  std::byte* textStart = buffer.get() + arrayBytes;
  uint64_t position = 0;
  uint16_t present = 0;
  std::array<uint32_t, TextFieldCount> ends{};
  for (size_t field = 0; field < TextFieldCount; ++field) {
    const TextInput& text = texts[field];
    if (text.present) {
      present |= static_cast<uint16_t>(1u << field);
      const size_t length = static_cast<size_t>(std::min<uint64_t>(text.size, total - position));
      if (wide) {
        auto* out = reinterpret_cast<char16_t*>(textStart) + position;
        if (text.wide) {
          std::memcpy(out, text.data, length * sizeof(char16_t));
        } else {
          const std::string_view narrow = text.narrow();
          for (size_t i = 0; i < length; ++i) out[i] = static_cast<unsigned char>(narrow[i]);
        }
      } else {
        auto* out = reinterpret_cast<char*>(textStart) + position;
        if (text.wide) {
          const std::u16string_view units = text.units();
          for (size_t i = 0; i < length; ++i) out[i] = static_cast<char>(units[i]);
        } else if (length > 0) {
          std::memcpy(out, text.data, length);
        }
      }
      position += length;
    }
    ends[field] = static_cast<uint32_t>(position);
  }

  _buffer = std::move(buffer);
  _decompositionCount = static_cast<uint32_t>(decomposition.size());
  _textEnds = ends;
  _presentTexts = present;
  setFlag(WideTextFlag, wide);
}

QNUnicodeConcreteData::TextInputs QNUnicodeConcreteData::currentTexts() const {
  TextInputs texts;
  const std::byte* textStart = _buffer.get() + _decompositionCount * sizeof(uint32_t);
  for (size_t field = 0; field < TextFieldCount; ++field) {
    if (!(_presentTexts & (1u << field))) continue;
    const uint32_t begin = field == 0 ? 0 : _textEnds[field - 1];
    const uint32_t length = _textEnds[field] - begin;
    if (length == 0) {
      texts[field].setNarrow({});
    } else if (flag(WideTextFlag)) {
      texts[field].setUnits(
          std::u16string_view(reinterpret_cast<const char16_t*>(textStart) + begin, length));
    } else {
      texts[field].setNarrow(
          std::string_view(reinterpret_cast<const char*>(textStart) + begin, length));
    }
  }
  return texts;
}

UnicodeString QNUnicodeConcreteData::text(TextField field) const {
  const StoredText stored = storedText(field);
  if (!stored.units.empty()) return UnicodeString(stored.units);
  const auto* bytes = reinterpret_cast<const unsigned char*>(stored.bytes.data());
  return UnicodeString(bytes, bytes + stored.bytes.size());
}

QNUnicodeConcreteData::StoredText QNUnicodeConcreteData::storedText(TextField field) const {
  const uint32_t begin = field == 0 ? 0 : _textEnds[field - 1];
  const uint32_t end = _textEnds[field];
  if (begin == end) return {};
  const std::byte* textStart = _buffer.get() + _decompositionCount * sizeof(uint32_t);
  if (flag(WideTextFlag)) {
    return {{}, {reinterpret_cast<const char16_t*>(textStart) + begin, end - begin}};
  }
  return {{reinterpret_cast<const char*>(textStart) + begin, end - begin}, {}};
}

std::optional<UnicodeString> QNUnicodeConcreteData::optionalText(TextField field) const {
  if (!(_presentTexts & (1u << field))) return std::nullopt;
  return text(field);
}

void QNUnicodeConcreteData::setNumericValue(std::optional<QNUnicodeNumericValue> value) {
  setFlag(HasNumericValueFlag, value.has_value());
  setFlag(NumericValueIsFloatFlag, value && std::holds_alternative<float>(*value));
  _numericValue.integer = 0;
  if (!value) return;
  if (const float* real = std::get_if<float>(&*value)) {
    _numericValue.real = *real;
  } else {
    _numericValue.integer = std::get<int64_t>(*value);
  }
}

void QNUnicodeConcreteData::characterDecompositionMappingWithString(
    std::optional<std::u16string_view> text) {
  CodepointList codepoints;
  if (!text || text->empty()) {
    setFlag(HasDecompositionArrayFlag, false);
    setFlag(CanonicalMappingFlag, false);
    setFlag(CompatibilityMappingFlag, false);
  } else {
    const bool compatibility = parseDecomposition(*text, codepoints);
    setFlag(HasDecompositionArrayFlag, true);
    setFlag(CompatibilityMappingFlag, compatibility);
    setFlag(CanonicalMappingFlag, !compatibility);
  }
  // The texts are copied into the new buffer before the old one goes.
  store(codepoints.span(), currentTexts());
}

bool QNUnicodeConcreteData::characterNameHasSuffix(std::u16string_view suffix) const {
  if (!(_presentTexts & (1u << NameField))) return false;
  const uint32_t length = _textEnds[NameField];
  if (length < suffix.size()) return false;
  const std::byte* textStart = _buffer.get() + _decompositionCount * sizeof(uint32_t);
  const size_t from = length - suffix.size();
  if (flag(WideTextFlag)) {
    return std::u16string_view(reinterpret_cast<const char16_t*>(textStart) + from,
                               suffix.size()) == suffix;
  }
  const auto* bytes = reinterpret_cast<const unsigned char*>(textStart) + from;
  for (size_t i = 0; i < suffix.size(); ++i) {
    if (bytes[i] != suffix[i]) return false;
  }
  return true;
}

// ---- Accessors ----------------------------------------------------------------------------------

uint32_t QNUnicodeConcreteData::codepoint() const {
  return _codepoint;
}
UnicodeString QNUnicodeConcreteData::characterName() const {
  return text(NameField);
}
UnicodeString QNUnicodeConcreteData::generalCategory() const {
  return text(GeneralCategoryField);
}
uint32_t QNUnicodeConcreteData::canonicalCombiningClass() const {
  return _canonicalCombiningClass;
}
UnicodeString QNUnicodeConcreteData::bidirectionalCategory() const {
  return text(BidirectionalCategoryField);
}
UnicodeString QNUnicodeConcreteData::characterDecompositionMapping() const {
  return text(DecompositionField);
}
std::optional<std::span<const uint32_t>> QNUnicodeConcreteData::characterDecompositionMappingArray()
    const {
  if (!flag(HasDecompositionArrayFlag)) return std::nullopt;
  if (_decompositionCount == 0) return std::span<const uint32_t>();
  return std::span<const uint32_t>(reinterpret_cast<const uint32_t*>(_buffer.get()),
                                   _decompositionCount);
}
QNUnicodeNumericType QNUnicodeConcreteData::numericType() const {
  return static_cast<QNUnicodeNumericType>(_numericType);
}
std::optional<QNUnicodeNumericValue> QNUnicodeConcreteData::numericValue() const {
  if (!flag(HasNumericValueFlag)) return std::nullopt;
  if (flag(NumericValueIsFloatFlag)) return QNUnicodeNumericValue(_numericValue.real);
  return QNUnicodeNumericValue(_numericValue.integer);
}
UnicodeString QNUnicodeConcreteData::numericValueString() const {
  return text(NumericValueStringField);
}
bool QNUnicodeConcreteData::mirrored() const {
  return flag(MirroredFlag);
}
UnicodeString QNUnicodeConcreteData::unicode1Name() const {
  return text(Unicode1NameField);
}
UnicodeString QNUnicodeConcreteData::commentField() const {
  return text(CommentField);
}
UnicodeString QNUnicodeConcreteData::uppercaseMapping() const {
  return text(UppercaseField);
}
UnicodeString QNUnicodeConcreteData::lowercaseMapping() const {
  return text(LowercaseField);
}
UnicodeString QNUnicodeConcreteData::titlecaseMapping() const {
  return text(TitlecaseField);
}
bool QNUnicodeConcreteData::canonicalMapping() const {
  return flag(CanonicalMappingFlag);
}
bool QNUnicodeConcreteData::compatibilityMapping() const {
  return flag(CompatibilityMappingFlag);
}

UnicodeString QNUnicodeConcreteData::description() const {
  UnicodeString text;
  text.reserve(256);
  auto field = [&](std::u16string_view label, TextField which) {
    text += label;
    const std::optional<UnicodeString> value = optionalText(which);
    text += value ? std::u16string_view(*value) : std::u16string_view(u"(null)");
  };
  text += u"CodeValue: ";
  appendDecimal(text, _codepoint);
  field(u", CharacterName: ", NameField);
  field(u", GeneralCategory: ", GeneralCategoryField);
  text += u", CanonicalCombiningClass: ";
  appendDecimal(text, _canonicalCombiningClass);
  field(u", BidirectionalCategory: ", BidirectionalCategoryField);
  field(u", CharacterDecompositionMapping: ", DecompositionField);
  field(u", NumericValue: ", NumericValueStringField);
  text += u", Mirrored: ";
  text += mirrored() ? u"yes" : u"no";
  field(u", Unicode1Name: ", Unicode1NameField);
  field(u", CommentField: ", CommentField);
  field(u", UppercaseMapping: ", UppercaseField);
  field(u", LowercaseMapping: ", LowercaseField);
  field(u", TitlecaseMapping: ", TitlecaseField);
  return text;
}
