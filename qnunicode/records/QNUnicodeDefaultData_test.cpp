#include "qnunicode/records/QNUnicodeDefaultData.h"

#include <gtest/gtest.h>

#include <typeinfo>

#include "qnunicode/testing/QNTestSupport.h"

namespace {

using qnunicode::testing::realDatabase;

class SharedDatabaseScope {
 public:
  explicit SharedDatabaseScope(std::shared_ptr<QNUnicodeDatabase> database)
      : _previous(QNUnicodeDatabase::sharedDatabase()) {
    QNUnicodeDatabase::setSharedDatabase(std::move(database));
  }
  ~SharedDatabaseScope() { QNUnicodeDatabase::setSharedDatabase(_previous); }

 private:
  std::shared_ptr<QNUnicodeDatabase> _previous;
};

bool isUnlisted(QNUnicodeDatabase& database, uint32_t codepoint) {
  const auto record = database.unicodeDataForCodepoint(codepoint);
  if (!record) throw std::runtime_error("the real UnicodeData could not be read");
  return typeid(*record) == typeid(QNUnicodeDefaultData);
}

TEST(DefaultRecord, AnswersOfAReservedCodepoint) {
  const QNUnicodeDefaultData record(0x0378);
  EXPECT_EQ(record.codepoint(), 0x378u);
  EXPECT_EQ(record.characterName(), u"<reserved>");
  EXPECT_EQ(record.generalCategory(), u"Cn");
  EXPECT_EQ(record.canonicalCombiningClass(), 0u);
  EXPECT_EQ(record.characterDecompositionMapping(), u"");
  EXPECT_FALSE(record.characterDecompositionMappingArray());
  EXPECT_EQ(record.numericType(), QNUnicodeNumericTypeNone);
  EXPECT_FALSE(record.numericValue());
  for (const UnicodeString& text :
       {record.numericValueString(), record.unicode1Name(), record.commentField(),
        record.uppercaseMapping(), record.lowercaseMapping(), record.titlecaseMapping()}) {
    EXPECT_EQ(text, u"");
  }
  EXPECT_FALSE(record.mirrored());
  EXPECT_FALSE(record.canonicalMapping());
  EXPECT_FALSE(record.compatibilityMapping());

  const std::shared_ptr<QNUnicodeData> copied = record.copy();
  EXPECT_EQ(typeid(*copied), typeid(QNUnicodeDefaultData));
  EXPECT_EQ(copied->codepoint(), 0x378u);
  EXPECT_NE(copied.get(), &record);
}

TEST(DefaultRecord, TypesWithTheRealDatabase) {
  const SharedDatabaseScope real(realDatabase());
  EXPECT_EQ(QNUnicodeDefaultData(0x0378).codepointType(), QNUnicodeCodepointTypeReserved);
  EXPECT_FALSE(QNUnicodeDefaultData(0x0378).isAssignedCodePoint());
  EXPECT_FALSE(QNUnicodeDefaultData(0x0378).isAssignedToAbstractCharacter());
  EXPECT_EQ(QNUnicodeDefaultData(0xFFFF).codepointType(), QNUnicodeCodepointTypeNoncharacter);
  EXPECT_TRUE(QNUnicodeDefaultData(0xFFFF).isAssignedCodePoint());
  EXPECT_FALSE(QNUnicodeDefaultData(0xFFFF).isAssignedToAbstractCharacter());
}

TEST(DefaultRecord, BidirectionalCategoryByRangeAndBlock) {
  const auto database = realDatabase();
  const SharedDatabaseScope real(database);
  struct Case {
    uint32_t codepoint;
    const char16_t* category;
  };
  for (const Case& c : std::vector<Case>{
           {0x05FF, u"R"},   // Hebrew, by range
           {0x07FB, u"R"},   // NKo
           {0x086B, u"R"},   // Syriac Supplement: the fixed range decides, not the block
           {0x10806, u"R"},  // Cypriot Syllabary, by block name ("Cypriot Syllabary" in the file)
           {0x10A04, u"R"},  // Kharoshthi, by block name
           {0xFDC8, u"AL"},  // Arabic Presentation Forms-A
           {0xFDD0, u"L"},   // ... but a noncharacter
           {0xFDEF, u"L"},
           {0x0378, u"L"},    // Greek and Coptic
           {0xE0080, u"L"},   // Tags
           {0x10FFFF, u"L"},  // no block at all
           {0x110000, u"L"},  // nor any codepoint
       }) {
    EXPECT_TRUE(c.codepoint > 0x10FFFF || isUnlisted(*database, c.codepoint))
        << std::hex << c.codepoint << " must be a codepoint UnicodeData leaves out";
    EXPECT_EQ(QNUnicodeDefaultData(c.codepoint).bidirectionalCategory(), c.category)
        << std::hex << c.codepoint;
  }

  // Every unlisted codepoint of 0x07C0 to 0x08FF is right-to-left, whatever its block.
  size_t unlisted = 0;
  for (uint32_t codepoint = 0x07C0; codepoint <= 0x08FF; ++codepoint) {
    if (!isUnlisted(*database, codepoint)) continue;
    ++unlisted;
    EXPECT_EQ(QNUnicodeDefaultData(codepoint).bidirectionalCategory(), u"R")
        << std::hex << codepoint;
  }
  EXPECT_GT(unlisted, 10u);
}

TEST(DefaultRecord, BidirectionalCategoryWithoutASharedDatabase) {
  const SharedDatabaseScope none(nullptr);
  EXPECT_EQ(QNUnicodeDefaultData(0x05FF).bidirectionalCategory(), u"R");
  EXPECT_EQ(QNUnicodeDefaultData(0xFDD0).bidirectionalCategory(), u"AL");
  EXPECT_EQ(QNUnicodeDefaultData(0x10806).bidirectionalCategory(), u"L");
  EXPECT_EQ(QNUnicodeDefaultData(0x0378).bidirectionalCategory(), u"L");
}

}  // namespace
