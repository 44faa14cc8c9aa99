#include <gtest/gtest.h>
#include <unicode/uchar.h>

#include <map>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/properties/QNUnicodeLineBreak.h"
#include "qnunicode/testing/QNTestSupport.h"

using qnunicode::testing::LogCapture;
using qnunicode::testing::RecordingDelegate;
using qnunicode::testing::ScratchDirectory;

namespace {

using Aliases = std::vector<UnicodeString>;

std::string utf8(const std::optional<UnicodeString>& text) {
  return text ? qnunicode::toUTF8(*text) : "(none)";
}

Aliases aliasesOf(const QNUnicodePropertyValueMap* values, QNUnicodePropertyValueKey key) {
  const auto found = values->find(key);
  return found == values->end() ? Aliases{u"(none)"} : found->second;
}

// Twenty pieces when split at line feeds (the last one empty): every message names 20.
constexpr std::string_view kAliasesFile =
    "# PropertyValueAliases-15.0.0.txt\n\n"
    "gc ; Lu ; Uppercase_Letter\n"
    "gc ; L  ; Letter ; # Ll | Lm | Lo | Lt | Lu\n"
    "gc ; Cc ; Control ; cntrl\n"
    "gc ; LU ; Capital\n"
    "gc ; Zz\n"
    " \t ; Foo ; Bar\n"
    "xx ;  ; Lonely\n"
    "ccc; 230; A ; Above\n"
    "ccc; 5; FIVE\n"
    "ccc;   +7x; SEVEN; Seven; Also\n"
    "ccc; none; Q; Q_Name\n"
    "ccc; 0; NR; Not_Reordered\n"
    "bc ; L ; Left_To_Right\r\n"
    "\tJT\t;\tU\t;\xE3\x80\x80Non_Joining\xE3\x80\x80\n"
    "# comment ; with ; fields\n"
    "lb ; AL ; Alphabetic # trailing comment\n"
    "ccc# cut here ; 1 ; 2\n";

TEST(QNUnicodePropertyDescriptionsTest, AliasTableKeysLogLinesAndMissingFile) {
  ScratchDirectory scratch;
  QNUnicodeDatabase database({scratch.path()}, {});
  auto delegate = std::make_shared<RecordingDelegate>();
  database.setDelegate(delegate);
  LogCapture log;
  // A missing file is silent, and the empty table stays even after the file appears.
  EXPECT_TRUE(database.propertyValueAliases()->empty());
  EXPECT_EQ(database.generalCategories(), nullptr);
  scratch.write("PropertyValueAliases.txt", kAliasesFile);
  EXPECT_TRUE(database.propertyValueAliases()->empty());
  EXPECT_TRUE(delegate->prefixes.empty());
  EXPECT_TRUE(log.lines().empty());

  EXPECT_TRUE(database.readPropertyValueAliases());
  const std::string prefix = "QNUnicode::UnicodeDatabase -readPropertyValueAliases: ";
  EXPECT_EQ(log.lines(),
            (std::vector<std::string>{
                prefix + "Line 20 contains 2 fields (minimum is 3). Ignoring line.",
                prefix + "Could not find property in line 20. Ignoring line.",
                prefix + "Could not find property value in line 20. Ignoring line.",
                prefix + "ccc line 20 contains 3 fields (minimum is 4). Ignoring line.",
                prefix + "Line 20 contains 1 fields (minimum is 3). Ignoring line."}));
  EXPECT_EQ(database.propertyValueAliases()->size(), 6u);  // gc, xx, ccc, bc, jt, lb
  // The property's map is made before the rest of its line is rejected.
  EXPECT_TRUE(database.propertyValueAliasesForProperty(u"XX")->empty());
  EXPECT_EQ(database.propertyValueAliasesForProperty(u"foo"), nullptr);

  const QNUnicodePropertyValueMap* gc = database.propertyValueAliasesForProperty(u"GC");
  EXPECT_EQ(gc, database.generalCategories());
  EXPECT_EQ(gc->size(), 3u);
  // A repeated key appends; a line that ends in ";" appends an empty alias.
  EXPECT_EQ(aliasesOf(gc, UnicodeString(u"lu")), (Aliases{u"Uppercase_Letter", u"Capital"}));
  EXPECT_EQ(aliasesOf(gc, UnicodeString(u"l")), (Aliases{u"Letter", u""}));
  EXPECT_EQ(aliasesOf(gc, UnicodeString(u"cc")), (Aliases{u"Control", u"cntrl"}));

  // Combining classes are entered under the short name and under the class number.
  const QNUnicodePropertyValueMap* ccc = database.combiningClassDescriptions();
  EXPECT_EQ(ccc->size(), 7u);
  EXPECT_EQ(aliasesOf(ccc, UnicodeString(u"a")), Aliases{u"Above"});
  EXPECT_EQ(aliasesOf(ccc, int64_t{230}), Aliases{u"Above"});
  EXPECT_EQ(aliasesOf(ccc, int64_t{7}), (Aliases{u"Seven", u"Also"}));
  EXPECT_EQ(aliasesOf(ccc, int64_t{0}), (Aliases{u"Q_Name", u"Not_Reordered"}));
  EXPECT_EQ(aliasesOf(ccc, UnicodeString(u"q")), Aliases{u"Q_Name"});
  EXPECT_EQ(aliasesOf(ccc, UnicodeString(u"nr")), Aliases{u"Not_Reordered"});

  // Only blanks and tabs are trimmed: a CR stays, an ideographic space goes.
  EXPECT_EQ(aliasesOf(database.bidirectionalCategories(), UnicodeString(u"l")),
            Aliases{u"Left_To_Right\r"});
  EXPECT_EQ(aliasesOf(database.arabicShapingJoiningTypeDescriptions(), UnicodeString(u"u")),
            Aliases{u"Non_Joining"});
  EXPECT_EQ(aliasesOf(database.lineBreakDescriptions(), UnicodeString(u"al")),
            Aliases{u"Alphabetic"});

  scratch.write("PropertyValueAliases.txt", "gc ; Lu ; \xC0\n");
  EXPECT_FALSE(database.readPropertyValueAliases());
  EXPECT_TRUE(database.propertyValueAliases()->empty());
}

TEST(QNUnicodePropertyDescriptionsTest, DescriptionFilesAreStrictlyKeyTabDescription) {
  ScratchDirectory data, descriptions;
  const std::string path = descriptions.write("CompatMappingCategories.txt",
                                              "#<compat>\tcommented out\n"
                                              "<Font>\tFont variant\n"
                                              "<circle>\tfirst\n"
                                              "<circle>\tEncircled\r\n"
                                              "<sub> \tkey keeps its blank\n"
                                              "<super>\ttoo\tmany\n"
                                              "<wide> no tab\n"
                                              "\tempty key\n"
                                              "<\xC3\x84>\tnon-ASCII key\n");
  const QNUnicodeDescriptionTable expected = {{u"<font>", u"Font variant"},
                                              {u"<circle>", u"Encircled\r"},
                                              {u"<sub> ", u"key keeps its blank"},
                                              {u"", u"empty key"},
                                              {u"<\u00E4>", u"non-ASCII key"}};
  EXPECT_EQ(*QNUnicodeDatabase::readDescriptionFile(path), expected);
  EXPECT_FALSE(QNUnicodeDatabase::readDescriptionFile(data.path() + "/missing.txt"));
  EXPECT_FALSE(QNUnicodeDatabase::readDescriptionFile(data.write("bad.txt", "<a>\t\xFF\n")));

  // The tag descriptions are looked for again on each access until their file is there.
  descriptions.write("later/README", "");
  QNUnicodeDatabase database({data.path()}, {data.path(), descriptions.path() + "/later"});
  EXPECT_FALSE(database.compatibilityMappingTagDescriptions());
  descriptions.copy(path, "later/CompatMappingCategories-1.txt");
  ASSERT_TRUE(database.compatibilityMappingTagDescriptions());
  EXPECT_EQ(*database.compatibilityMappingTagDescriptions(), expected);
}

// ---- Descriptions of codepoints over the real data, against ICU --------------------------------

// ICU's names of a value from the long one on, joined by blanks as the file's aliases are; made
// once per value.
const std::optional<UnicodeString>& icuNames(UProperty property, int32_t value) {
  static std::map<std::pair<UProperty, int32_t>, std::optional<UnicodeString>> made;
  const auto [entry, isNew] = made.try_emplace({property, value});
  if (!isNew) return entry->second;
  std::string joined;
  for (int choice = U_LONG_PROPERTY_NAME;; ++choice) {
    const char* name =
        u_getPropertyValueName(property, value, static_cast<UPropertyNameChoice>(choice));
    if (!name) break;
    joined += (joined.empty() ? "" : " ") + std::string(name);
  }
  if (!joined.empty()) entry->second = qnunicode::fromUTF8(joined);
  return entry->second;
}

::testing::AssertionResult isICUsName(const std::optional<UnicodeString>& description,
                                      UProperty property, int32_t value) {
  if (description == icuNames(property, value)) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << utf8(description) << " is not " << utf8(icuNames(property, value));
}

TEST(QNUnicodePropertyDescriptionsRealDataTest, EveryCodepointIsDescribedByICUsNames) {
  auto database = qnunicode::testing::realDatabase();
  EXPECT_EQ(utf8(database->generalCategoryDescriptionForCodepoint(0x0)), "Control cntrl");
  size_t assigned = 0;
  LogCapture lineBreakClassesOutsideTheTable;  // the class lookup logs those
  for (UChar32 c = 0; c <= 0x10FFFF; ++c) {
    const int32_t category = u_charType(c);
    // Every assigned codepoint, and a sample of the unassigned ones.
    if (category == U_UNASSIGNED && c % 61 != 0) continue;
    ASSERT_TRUE(isICUsName(database->generalCategoryDescriptionForCodepoint(c),
                           UCHAR_GENERAL_CATEGORY, category))
        << std::hex << c;
    ASSERT_TRUE(isICUsName(database->combiningClassDescriptionForCodepoint(c),
                           UCHAR_CANONICAL_COMBINING_CLASS, u_getCombiningClass(c)))
        << std::hex << c;
    // Unlisted codepoints are T for Mn, Me and Cf and U otherwise, as ICU derives them.
    ASSERT_TRUE(isICUsName(database->arabicShapingJoiningTypeDescriptionForCodepoint(c),
                           UCHAR_JOINING_TYPE, u_getIntPropertyValue(c, UCHAR_JOINING_TYPE)))
        << std::hex << c;
    if (category == U_UNASSIGNED) continue;
    ++assigned;
    ASSERT_TRUE(isICUsName(database->bidirectionalCategoryDescriptionForCodepoint(c),
                           UCHAR_BIDI_CLASS, u_charDirection(c)))
        << std::hex << c;
    // The class itself is the line-break lookup's business; its description is ICU's names.
    const std::u16string_view name = QNUnicode_StringForLineBreakClass(
        database->lineBreakForCodepoint(static_cast<uint32_t>(c)));
    ASSERT_TRUE(
        isICUsName(database->lineBreakDescriptionForCodepoint(c), UCHAR_LINE_BREAK,
                   u_getPropertyValueEnum(UCHAR_LINE_BREAK, qnunicode::toUTF8(name).c_str())))
        << std::hex << c;
  }
  EXPECT_GT(assigned, 280000u);
}

TEST(QNUnicodePropertyDescriptionsRealDataTest, MappingDescriptionsFollowTheDecompositionType) {
  auto database = qnunicode::testing::realDatabase();
  const auto shipped = database->compatibilityMappingTagDescriptions();
  ASSERT_TRUE(shipped);
  EXPECT_EQ(shipped->size(), 16u);
  // The tags as UnicodeData writes them, by ICU's decomposition type.
  const std::map<int32_t, std::u16string> tags = {
      {U_DT_COMPAT, u"<compat>"},     {U_DT_CIRCLE, u"<circle>"},
      {U_DT_FINAL, u"<final>"},       {U_DT_FONT, u"<font>"},
      {U_DT_FRACTION, u"<fraction>"}, {U_DT_INITIAL, u"<initial>"},
      {U_DT_ISOLATED, u"<isolated>"}, {U_DT_MEDIAL, u"<medial>"},
      {U_DT_NARROW, u"<narrow>"},     {U_DT_NOBREAK, u"<noBreak>"},
      {U_DT_SMALL, u"<small>"},       {U_DT_SQUARE, u"<square>"},
      {U_DT_SUB, u"<sub>"},           {U_DT_SUPER, u"<super>"},
      {U_DT_VERTICAL, u"<vertical>"}, {U_DT_WIDE, u"<wide>"}};
  std::map<int32_t, size_t> counts;
  for (UChar32 c = 0; c <= 0x10FFFF; ++c) {
    const int32_t type = u_getIntPropertyValue(c, UCHAR_DECOMPOSITION_TYPE);
    ++counts[type];
    std::string expected = "(none)";  // also for Hangul syllables, decomposed by algorithm
    if (type == U_DT_CANONICAL && !(c >= 0xAC00 && c <= 0xD7A3)) {
      expected = "Canonical Mapping";
    } else if (type == U_DT_NOBREAK) {
      expected = "Compatibility Mapping";  // the tag's capital never meets the lower-cased keys
    } else if (type != U_DT_NONE && type != U_DT_CANONICAL) {
      ASSERT_TRUE(shipped->count(tags.at(type))) << type;
      expected = qnunicode::toUTF8(shipped->at(tags.at(type)));
    }
    ASSERT_EQ(utf8(database->mappingDescriptionForCodepoint(c)), expected) << std::hex << c;
  }
  EXPECT_EQ(counts[U_DT_NOBREAK], 5u);
}

}  // namespace
