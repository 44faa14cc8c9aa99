#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "qnunicode/records/QNUnicodeData.h"
#include "qnunicode/util/QNBlockArena.h"
#include "qnunicode/util/QNScanner.h"

namespace qnunicode::detail {
// Frees a record's buffer unless an arena holds it.
struct BufferRelease {
  bool owned = true;
  void operator()(std::byte* buffer) const {
    if (owned) delete[] buffer;
  }
};
}  // namespace qnunicode::detail

// The record of one UnicodeData line: fifteen fields separated by ";" and ended by a line feed.
class QNUnicodeConcreteData final : public QNUnicodeData {
 public:
  // From raw bytes, the loader's way: `bytes` is the line's first byte, `sentinel` the first
  // byte past the data (never read). Separator searches run across line ends and fail only at
  // the sentinel, which logs "no data" and answers none; otherwise *bytesRead is the line's
  // length including its line feed.
  static std::shared_ptr<QNUnicodeConcreteData> unicodeDataWithBytes(const char* bytes,
                                                                     const char* sentinel,
                                                                     size_t* bytesRead);
  // One line as text: none for the empty string, otherwise the scanner form.
  static std::shared_ptr<QNUnicodeConcreteData> unicodeDataWithString(std::u16string_view line);
  // From a scanner at the start of a line. An empty field takes the text of the field before it
  // in the chain name, general category, bidirectional category, decomposition, numeric value,
  // Unicode 1.0 name, comment, uppercase, lowercase, titlecase.
  static std::shared_ptr<QNUnicodeConcreteData> unicodeDataWithScanner(
      qnunicode::QNScanner& scanner);

  // The byte form without a heap allocation of its own, for the loader's record storage. With
  // an arena, the record's fields are laid out there and the arena must outlive the record.
  static std::optional<QNUnicodeConcreteData> parseBytes(
      const char* bytes, const char* sentinel, size_t* bytesRead,
      qnunicode::detail::BlockArena<std::byte>* arena = nullptr);

  // A concrete copy of any record kind (initWithUnicodeData:): every property is taken through
  // the source's accessors, so absent text fields of the source become empty ones.
  explicit QNUnicodeConcreteData(const QNUnicodeData& other);
  QNUnicodeConcreteData(const QNUnicodeConcreteData& other)
      : QNUnicodeConcreteData(static_cast<const QNUnicodeData&>(other)) {}
  QNUnicodeConcreteData(QNUnicodeConcreteData&& other) noexcept = default;
  QNUnicodeConcreteData& operator=(const QNUnicodeConcreteData&) = delete;
  QNUnicodeConcreteData& operator=(QNUnicodeConcreteData&&) noexcept = default;

  uint32_t codepoint() const override;
  UnicodeString characterName() const override;
  UnicodeString generalCategory() const override;
  uint32_t canonicalCombiningClass() const override;
  UnicodeString bidirectionalCategory() const override;
  UnicodeString characterDecompositionMapping() const override;
  std::optional<std::span<const uint32_t>> characterDecompositionMappingArray() const override;
  QNUnicodeNumericType numericType() const override;
  std::optional<QNUnicodeNumericValue> numericValue() const override;
  UnicodeString numericValueString() const override;
  bool mirrored() const override;
  UnicodeString unicode1Name() const override;
  UnicodeString commentField() const override;
  UnicodeString uppercaseMapping() const override;
  UnicodeString lowercaseMapping() const override;
  UnicodeString titlecaseMapping() const override;
  bool canonicalMapping() const override;
  bool compatibilityMapping() const override;

  std::shared_ptr<QNUnicodeData> copy() const override;
  // "CodeValue: %@, CharacterName: %@, ..." from the raw fields; an absent field prints "(null)".
  UnicodeString description() const override;

  // Sets the decomposition array and the two mapping flags from a decomposition field.
  void characterDecompositionMappingWithString(std::optional<std::u16string_view> text);

  // A text field as the record keeps it, without making a string: ASCII bytes, or UTF-16 units
  // when the line held other text (the other view is then empty). For readers that copy many
  // names at once.
  struct StoredText {
    std::string_view bytes;
    std::u16string_view units;
    size_t size() const { return bytes.size() + units.size(); }
  };
  StoredText storedCharacterName() const { return storedText(NameField); }
  StoredText storedUnicode1Name() const { return storedText(Unicode1NameField); }

  // True when the name field is present and ends with the suffix (the loader's First/Last test,
  // without making a string).
  bool characterNameHasSuffix(std::u16string_view suffix) const;

 private:
  QNUnicodeConcreteData() = default;

  // The text fields, in the order of the line. (The raw line itself is never kept.)
  enum TextField : uint8_t {
    NameField,
    GeneralCategoryField,
    BidirectionalCategoryField,
    DecompositionField,
    NumericValueStringField,
    Unicode1NameField,
    CommentField,
    UppercaseField,
    LowercaseField,
    TitlecaseField,
    TextFieldCount,
  };
  // One text field on its way into the record: absent, or ASCII bytes, or UTF-16 units. Only
  // the flags start set: the byte parse makes ten of these per line.
  struct TextInput {
    bool present = false;
    bool wide = false;
    const void* data;
    size_t size;  // in bytes or units

    void setNarrow(std::string_view text) { set(false, text.data(), text.size()); }
    void setUnits(std::u16string_view text) { set(true, text.data(), text.size()); }
    std::string_view narrow() const { return {static_cast<const char*>(data), size}; }
    std::u16string_view units() const { return {static_cast<const char16_t*>(data), size}; }

   private:
    void set(bool isWide, const void* start, size_t length) {
      present = true;
      wide = isWide;
      data = start;
      size = length;
    }
  };
  using TextInputs = std::array<TextInput, TextFieldCount>;

  enum Flag : uint8_t {
    MirroredFlag = 1,
    CanonicalMappingFlag = 2,
    CompatibilityMappingFlag = 4,
    HasDecompositionArrayFlag = 8,
    HasNumericValueFlag = 16,
    NumericValueIsFloatFlag = 32,
    WideTextFlag = 64,  // the text is stored as UTF-16 units, not as ASCII bytes
  };

  // Lays the decomposition codepoints and the texts out in one fresh buffer, taken from the
  // arena when there is one.
  void store(std::span<const uint32_t> decomposition, const TextInputs& texts,
             qnunicode::detail::BlockArena<std::byte>* arena = nullptr);
  TextInputs currentTexts() const;
  UnicodeString text(TextField field) const;
  StoredText storedText(TextField field) const;
  std::optional<UnicodeString> optionalText(TextField field) const;
  void setFlag(Flag flag, bool on) { _flags = on ? (_flags | flag) : (_flags & ~flag); }
  bool flag(Flag flag) const { return (_flags & flag) != 0; }
  void setNumericValue(std::optional<QNUnicodeNumericValue> value);
  // The numeric and titlecase rules shared by the three parse forms, once the fields are known.
  static std::optional<QNUnicodeNumericValue> numericValueForFields(
      QNUnicodeNumericType* type, std::u16string_view decimalDigit, std::u16string_view digit,
      bool numericFieldIsEmpty, std::optional<std::u16string_view> numericText);

  uint32_t _codepoint = 0;
  uint32_t _canonicalCombiningClass = 0;
  uint8_t _numericType = QNUnicodeNumericTypeNone;
  uint8_t _flags = 0;
  uint16_t _presentTexts = 0;  // one bit per TextField
  uint32_t _decompositionCount = 0;
  union {
    int64_t integer;
    float real;
  } _numericValue{0};
  // The decomposition codepoints, then every text field back to back (ASCII bytes, or UTF-16
  // units when some field is not ASCII).
  std::unique_ptr<std::byte[], qnunicode::detail::BufferRelease> _buffer;
  // Where each text field ends, in units from the start of the text.
  std::array<uint32_t, TextFieldCount> _textEnds{};
};

// The numeric field read as a 32-bit float: numerator and denominator checked for digits (with
// the described log lines), divided in double precision and narrowed.
float numberFromNumericValueString(std::optional<std::u16string_view> text);
