#include "qnunicode/escapes/QNXHTMLDatabase.h"

#include <gtest/gtest.h>

#include <random>

#include "qnunicode/escapes/EscapeTestTexts_test.h"
#include "qnunicode/testing/QNTestSupport.h"

using qnunicode::testing::LogCapture;
using qnunicode::testing::randomText;
using qnunicode::testing::ScratchDirectory;
using qnunicode::testing::unitsText;
using qnunicode::testing::walkedText;

namespace {

// The entity directory the build prepared, which must hold the three entity sets.
const QNXHTMLDatabase& realEntities() {
  static const std::shared_ptr<QNXHTMLDatabase> database = [] {
    auto made = QNXHTMLDatabase::initWithDirectory(std::string(QNUNICODE_TEST_ENTITY_DIR));
    if (!made || !made->XHTMLEntities() || made->XHTMLEntities()->size() < 250) {
      ADD_FAILURE() << "no entity sets in " << QNUNICODE_TEST_ENTITY_DIR
                    << ": build the qnunicode_entity_data target";
      return std::make_shared<QNXHTMLDatabase>();
    }
    return made;
  }();
  return *database;
}

TEST(XHTMLEntityFiles, DeclarationsWithDecimalValuesAreReadAndEverythingElsePassedOver) {
  ScratchDirectory directory;
  const std::string path = directory.write("sample.ent", R"(<!-- a comment that mentions
     <!ENTITY % fake "&#1;"> and is passed over -->
<!entity amp     "&#38;#38;" ><!-- the markup characters' escaped form, ENTITY of any case -->
<!ENTITY lt "&#38;#60;">
<!ELEMENT p (#PCDATA)>
<!ENTITY hexy "&#x41;" ><!-- hexadecimal values are not read -->
<!ENTITY	tabbed	"&#233;">
<!ENTITY nbsp   "&#160;" >
<!ENTITY quoted "no value here" >
<!ENTITY last "&#8364;">)");
  const QNXHTMLDatabase::EntityMap entities = QNXHTMLDatabase::XHTMLEntitiesForPath(path);
  const QNXHTMLDatabase::EntityMap expected = {
      {38, u"&amp;"}, {60, u"&lt;"}, {233, u"&tabbed;"}, {160, u"&nbsp;"}, {8364, u"&last;"}};
  EXPECT_EQ(entities, expected);
  EXPECT_TRUE(QNXHTMLDatabase::XHTMLEntitiesForPath(directory.path() + "/missing.ent").empty());
}

TEST(XHTMLEntityFiles, TheBuildsDirectoryHoldsTheThreeSets) {
  const QNXHTMLDatabase& database = realEntities();
  // 96 Latin-1, 33 special and 124 symbol entities.
  EXPECT_EQ(database.XHTMLEntities()->size(), 253u);
  const std::pair<uint32_t, std::u16string_view> samples[] = {
      {160, u"&nbsp;"},  {38, u"&amp;"},     {60, u"&lt;"},     {39, u"&apos;"},
      {8364, u"&euro;"}, {233, u"&eacute;"}, {0x3C6, u"&phi;"}, {0x2665, u"&hearts;"}};
  for (const auto& [codepoint, entity] : samples) {
    EXPECT_EQ(database.XHTMLEntityForCodepoint(codepoint), UnicodeString(entity)) << codepoint;
    EXPECT_EQ(database.stringForXHTMLEntity(entity), QNUnicode::stringWithCodepoint(codepoint));
  }
  EXPECT_EQ(database.stringForXHTMLEntity(u"&Eacute;"), u"\u00c9") << "letter case matters";
  EXPECT_EQ(database.stringForXHTMLEntity(u"&EURO;"), std::nullopt);
  EXPECT_EQ(database.stringForXHTMLEntity(u"euro"), std::nullopt) << "delimiters are needed";
}

TEST(XHTMLEntityFiles, DirectoriesAreCheckedAndTheLaterFileWins) {
  ScratchDirectory directory;
  directory.write("a.ent", R"(<!ENTITY first "&#233;"> <!ENTITY dup "&#65;">)");
  directory.write("b.ent", R"(<!ENTITY second "&#233;"> <!ENTITY dup "&#66;">)");
  directory.write("sub/c.ent", R"(<!ENTITY third "&#233;">)");
  const auto database = QNXHTMLDatabase::initWithDirectory(directory.path());
  ASSERT_NE(database, nullptr);
  EXPECT_EQ(database->XHTMLEntityForCodepoint(233), u"&second;");
  {
    LogCapture log;
    const auto found = database->stringForXHTMLEntity(u"&dup;");
    EXPECT_EQ(found, u"A");
    EXPECT_EQ(log.lines(), std::vector<std::string>{
                               "2 codepoints found for entity &dup;. returning first entry."});
  }
  EXPECT_EQ(QNXHTMLDatabase::initWithDirectory(directory.path() + "/none"), nullptr);
  EXPECT_EQ(QNXHTMLDatabase::initWithDirectory(directory.path() + "/a.ent"), nullptr);
  // Without a directory: no entities, numeric references only.
  const auto bare = QNXHTMLDatabase::initWithDirectory(std::nullopt);
  ASSERT_NE(bare, nullptr);
  EXPECT_EQ(bare->XHTMLEntities(), std::nullopt);
  EXPECT_EQ(bare->XHTMLStringFromUnicode(u"\u00e9<", true), u"&#xe9;&#x3c;");
  EXPECT_EQ(bare->unicodeStringFromXHTML(u"&eacute;&#xe9;"), u"&eacute;\u00e9");
}

TEST(XHTMLEscaping, PreservedSetsAndReferenceForms) {
  const QNXHTMLDatabase& database = realEntities();
  struct Case {
    const char* why;
    UnicodeString text;
    bool lowASCII, preferNamed, decimal;
    UnicodeString expected;
    uint32_t count;
  };
  const Case cases[] = {
      {"markup escaped with lowASCII", u"a<\u00e9", true, true, false, u"a&lt;&eacute;", 2},
      {"markup kept without", u"a<\u00e9", false, true, false, u"a<&eacute;", 1},
      {"all five markup characters", u"\"&'<>", true, true, false, u"&quot;&amp;&apos;&lt;&gt;", 5},
      {"DEL is always escaped", u"\u007f", false, true, false, u"&#x7f;", 1},
      {"in decimal", u"\u007f", false, true, true, u"&#127;", 1},
      {"numeric when not preferring names", u"\u00e9", true, false, false, u"&#xe9;", 1},
      {"above the BMP", u"\U0001F600", true, true, true, u"&#128512;", 1},
      {"a lone surrogate", u"\xDC00", true, true, false, u"&#xdc00;", 1},
      {"the empty text", u"", true, true, false, u"", 0},
  };
  for (const Case& c : cases) {
    uint32_t count = 12345;
    EXPECT_EQ(database.XHTMLStringFromUnicode(c.text, c.lowASCII, c.preferNamed, c.decimal, &count),
              c.expected)
        << c.why;
    EXPECT_EQ(count, c.count) << c.why;
  }
  // No set escapes everything.
  EXPECT_EQ(database.XHTMLStringFromUnicode(u"A&", nullptr, true, false, nullptr), u"&#x41;&amp;");
}

TEST(XHTMLDecoding, ReferencesAndWhatStaysAsWritten) {
  const QNXHTMLDatabase& database = realEntities();
  struct Case {
    const char* why;
    UnicodeString text;
    bool lowASCII;
    UnicodeString expected;
    uint32_t count;
  };
  const Case cases[] = {
      {"a named entity", u"caf&eacute;", true, u"caf\u00e9", 1},
      {"decimal and hexadecimal of either case", u"&#233;&#xE9;&#XE9;", true, u"\u00e9\u00e9\u00e9",
       3},
      {"undefined names and other letter case stay", u"&bogus;&AMP;", true, u"&bogus;&AMP;", 0},
      {"an ampersand before a blank", u"a & b", true, u"a & b", 0},
      {"no entity named T", u"AT&T;", true, u"AT&T;", 0},
      {"ASCII references stay with lowASCII", u"&#65;&lt;", true, u"&#65;<", 1},
      {"and all of them without", u"&#65;&lt;&#x3C;", false, u"&#65;&lt;&#x3C;", 0},
      {"DEL is never preserved", u"&#127;", false, u"\u007f", 1},
      {"no semicolon", u"&#x41", true, u"&#x41", 0},
      {"no digits", u"&#x;&#;", true, u"&#x;&#;", 0},
      {"something after the digits", u"&#65x;", true, u"&#65x;", 0},
      {"an ampersand before a reference", u"&&amp;", true, u"&&", 1},
      {"an empty name", u"&;", true, u"&;", 0},
      {"the number scanner takes a 0x prefix", u"&#x0xe9;", true, u"\u00e9", 1},
      {"above the BMP", u"&#x1F600;&#128512;", true, u"\U0001F600\U0001F600", 2},
      {"a character outside the body stops the reference", u"&e\u00e9;", true, u"&e\u00e9;", 0},
  };
  for (const Case& c : cases) {
    uint32_t count = 12345;
    EXPECT_EQ(database.unicodeStringFromXHTML(c.text, c.lowASCII, &count), c.expected) << c.why;
    EXPECT_EQ(count, c.count) << c.why;
  }
}

TEST(XHTMLRoundTrips, EscapingThenDecodingGivesBackTheWalkedText) {
  const QNXHTMLDatabase& database = realEntities();
  std::mt19937 random(1701);
  for (int round = 0; round < 300; ++round) {
    const UnicodeString text = randomText(random, 1 + round % 50);
    for (int form = 0; form < 4; ++form) {
      const bool preferNamed = form & 1, decimal = form & 2;
      uint32_t escapedCount = 0, decodedCount = 0;
      const UnicodeString escaped =
          database.XHTMLStringFromUnicode(text, true, preferNamed, decimal, &escapedCount);
      EXPECT_EQ(database.unicodeStringFromXHTML(escaped, true, &decodedCount), walkedText(text))
          << unitsText(text) << " form " << form;
      EXPECT_EQ(decodedCount, escapedCount);
    }
  }
}

TEST(XHTMLBadInput, LongRunsAndRandomUnitsFinishInOnePass) {
  const QNXHTMLDatabase& database = realEntities();
  const size_t megabyte = 1 << 20;
  UnicodeString numeric, named;
  for (size_t i = 0; i < megabyte / 2; ++i) numeric += u"&#";
  for (size_t i = 0; i < megabyte / 2; ++i) named += u"&a";
  const UnicodeString texts[] = {UnicodeString(megabyte, u'&'), numeric, named,
                                 u"&" + UnicodeString(megabyte, u'a'),
                                 UnicodeString(megabyte, u'&') + u";"};
  for (const UnicodeString& text : texts) {
    uint32_t count = 12345;
    EXPECT_EQ(database.unicodeStringFromXHTML(text, &count), text);
    EXPECT_EQ(count, 0u);
  }
  std::mt19937 random(99);
  std::uniform_int_distribution<int> unit(0, 0xFFFF), small(0, 3);
  for (int round = 0; round < 20; ++round) {
    UnicodeString soup;
    for (int i = 0; i < 20000; ++i) {
      soup.push_back(small(random) ? u"&#;xX0129aAfFlt "[unit(random) % 16]
                                   : static_cast<char16_t>(unit(random)));
    }
    EXPECT_LE(database.unicodeStringFromXHTML(soup).size(), soup.size());
  }
}

}  // namespace
