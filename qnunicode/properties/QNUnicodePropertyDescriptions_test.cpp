#include <gtest/gtest.h>
#include <unicode/uchar.h>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/testing/QNTestSupport.h"

namespace {

using qnunicode::testing::LogCapture;
using qnunicode::testing::ScratchDirectory;
using Aliases = std::vector<UnicodeString>;

TEST(QNUnicodePropertyDescriptionsTest, AliasTableKeysLogLinesAndMissingFile) {
  ScratchDirectory scratch;
  QNUnicodeDatabase database({scratch.path()}, {});
  LogCapture log;
  // A missing file goes unreported, and the empty table stays even after the file appears.
  EXPECT_EQ(database.generalCategories(), nullptr);
  scratch.write("PropertyValueAliases.txt",
                "# PropertyValueAliases-15.0.0.txt\n\ngc ; Lu ; Uppercase_Letter\r\n"
                "gc ; L  ; Letter ; # Ll | Lm | Lo | Lt | Lu\ngc ; LU ; Capital\ngc ; Zz\n"
                " \t ; Foo ; Bar\nxx ;  ; Lonely\nccc; 5; FIVE\nccc;   +7x; SEVEN; Seven; Also\n"
                "ccc; none; Q; Q_Name\nccc; 0; NR; Not_Reordered\n# a ; comment ; line\n"
                "\tLB\t;\tAL\t;\u3000Alphabetic\u3000 # comment\nccc# cut ; 1 ; 2\n");
  EXPECT_TRUE(database.propertyValueAliases()->empty());
  EXPECT_TRUE(log.lines().empty());
  // Every message names the count of pieces between line feeds (16), not the line's number.
  EXPECT_TRUE(database.readPropertyValueAliases());
  const std::string prefix = "QNUnicode::UnicodeDatabase -readPropertyValueAliases: ";
  EXPECT_EQ(log.lines(),
            (std::vector<std::string>{
                prefix + "Line 16 contains 2 fields (minimum is 3). Ignoring line.",
                prefix + "Could not find property in line 16. Ignoring line.",
                prefix + "Could not find property value in line 16. Ignoring line.",
                prefix + "ccc line 16 contains 3 fields (minimum is 4). Ignoring line.",
                prefix + "Line 16 contains 1 fields (minimum is 3). Ignoring line."}));
  // Keys are lower-cased, a repeated key appends and a line that ends in ";" appends an empty
  // alias; combining classes go under the short name and under the number (read as a text's
  // integer value); only blanks and tabs are trimmed, so a CR stays; a property's map is made
  // before the rest of its line is rejected.
  const QNUnicodePropertyValueAliases expected{
      {u"gc",
       {{u"lu", Aliases{u"Uppercase_Letter\r", u"Capital"}}, {u"l", Aliases{u"Letter", u""}}}},
      {u"xx", {}},
      {u"ccc",
       {{u"seven", Aliases{u"Seven", u"Also"}},
        {int64_t{7}, Aliases{u"Seven", u"Also"}},
        {u"q", Aliases{u"Q_Name"}},
        {u"nr", Aliases{u"Not_Reordered"}},
        {int64_t{0}, Aliases{u"Q_Name", u"Not_Reordered"}}}},
      {u"lb", {{u"al", Aliases{u"Alphabetic"}}}}};
  EXPECT_EQ(*database.propertyValueAliases(), expected);
  EXPECT_EQ(database.propertyValueAliasesForProperty(u"GC"), database.generalCategories());
  EXPECT_EQ(database.propertyValueAliasesForProperty(u"foo"), nullptr);
  scratch.write("PropertyValueAliases.txt", "gc ; Lu ; \xC0\n");
  EXPECT_FALSE(database.readPropertyValueAliases());
  EXPECT_TRUE(database.propertyValueAliases()->empty());
}

TEST(QNUnicodePropertyDescriptionsTest, DescriptionFilesAreStrictlyKeyTabDescription) {
  ScratchDirectory data, descriptions;
  const std::string path = descriptions.write(
      "CompatMappingCategories.txt",
      "#<compat>\tcommented out\n<Font>\tFont variant\n<circle>\tfirst\n<circle>\tEncircled\r\n"
      "<sub> \tkey keeps its blank\n<super>\ttoo\tmany\n<wide> no tab\n\tempty key\n");
  const QNUnicodeDescriptionTable expected = {{u"<font>", u"Font variant"},
                                              {u"<circle>", u"Encircled\r"},
                                              {u"<sub> ", u"key keeps its blank"},
                                              {u"", u"empty key"}};
  EXPECT_EQ(*QNUnicodeDatabase::readDescriptionFile(path), expected);
  EXPECT_FALSE(QNUnicodeDatabase::readDescriptionFile(data.write("bad.txt", "<a>\t\xFF\n")));
  // The tag descriptions are looked for again on each access until their file is there.
  descriptions.write("later/README", "");
  QNUnicodeDatabase database({data.path()}, {data.path(), descriptions.path() + "/later"});
  EXPECT_FALSE(database.compatibilityMappingTagDescriptions());
  descriptions.copy(path, "later/CompatMappingCategories-1.txt");
  ASSERT_TRUE(database.compatibilityMappingTagDescriptions());
  EXPECT_EQ(*database.compatibilityMappingTagDescriptions(), expected);
}

// ICU's names of a value from the long one on, joined by blanks as the file's aliases are.
std::optional<UnicodeString> icuNames(UProperty property, int32_t value) {
  std::string joined;
  for (int choice = U_LONG_PROPERTY_NAME;; ++choice) {
    const char* name =
        u_getPropertyValueName(property, value, static_cast<UPropertyNameChoice>(choice));
    if (!name) break;
    joined += (joined.empty() ? "" : " ") + std::string(name);
  }
  if (joined.empty()) return std::nullopt;
  return qnunicode::fromUTF8(joined);
}

TEST(QNUnicodePropertyDescriptionsRealDataTest, EveryAssignedCodepointIsDescribedByICUsNames) {
  const auto database = qnunicode::testing::realDatabase();
  const auto tags = database->compatibilityMappingTagDescriptions();
  ASSERT_TRUE(tags);
  for (UChar32 c = 0; c <= 0x10FFFF; ++c) {
    if (u_charType(c) == U_UNASSIGNED) continue;
    ASSERT_EQ(database->generalCategoryDescriptionForCodepoint(c),
              icuNames(UCHAR_GENERAL_CATEGORY, u_charType(c)))
        << std::hex << c;
    ASSERT_EQ(database->bidirectionalCategoryDescriptionForCodepoint(c),
              icuNames(UCHAR_BIDI_CLASS, u_charDirection(c)))
        << std::hex << c;
    ASSERT_EQ(database->combiningClassDescriptionForCodepoint(c),
              icuNames(UCHAR_CANONICAL_COMBINING_CLASS, u_getCombiningClass(c)))
        << std::hex << c;
    // A tag's description comes from the description file, lower-cased as its keys are; the
    // capital of noBreak never meets them. Hangul syllables are decomposed by algorithm.
    const int32_t type = u_getIntPropertyValue(c, UCHAR_DECOMPOSITION_TYPE);
    std::optional<UnicodeString> mapping;
    if (type == U_DT_CANONICAL && !(c >= 0xAC00 && c <= 0xD7A3)) {
      mapping = u"Canonical Mapping";
    } else if (type == U_DT_NOBREAK) {
      mapping = u"Compatibility Mapping";
    } else if (type != U_DT_NONE && type != U_DT_CANONICAL) {
      std::string tag =
          u_getPropertyValueName(UCHAR_DECOMPOSITION_TYPE, type, U_LONG_PROPERTY_NAME);
      for (char& letter : tag) letter = static_cast<char>(std::tolower(letter));
      mapping = tags->at(qnunicode::fromUTF8("<" + tag + ">"));
    }
    ASSERT_EQ(database->mappingDescriptionForCodepoint(c), mapping) << std::hex << c;
  }
}

}  // namespace
