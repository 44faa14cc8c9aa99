#include "qnunicode/records/QNUnicodeData.h"

#include <gtest/gtest.h>

#include <functional>
#include <regex>

#include "qnunicode/records/QNUnicodeConcreteData.h"
#include "qnunicode/records/QNUnicodeDefaultData.h"
#include "qnunicode/testing/QNTestSupport.h"
#include "qnunicode/util/QNExceptions.h"

namespace {

using qnunicode::testing::LogCapture;
using qnunicode::testing::realDatabase;

// A kind that answers none of the accessors itself.
class BareRecord : public QNUnicodeData {};

// Sets the shared database for one test and puts the previous one back.
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

std::shared_ptr<QNUnicodeConcreteData> recordWithCategory(uint32_t codepoint,
                                                          const std::string& category) {
  const std::string line = QNFormat("%04X;NAME;%s;0;L;;;;;N;;;;;\n", codepoint, category.c_str());
  size_t bytesRead = 0;
  auto record = QNUnicodeConcreteData::unicodeDataWithBytes(line.data(), line.data() + line.size(),
                                                            &bytesRead);
  if (!record) throw std::runtime_error("unparsable test line " + line);
  return record;
}

TEST(AbstractRecord, EveryAccessorOfThePlainBaseRaises) {
  const BareRecord bare;
  const std::vector<std::function<void()>> calls = {
      [&] { bare.codepoint(); },
      [&] { bare.codeValue(); },
      [&] { bare.characterName(); },
      [&] { bare.generalCategory(); },
      [&] { bare.canonicalCombiningClass(); },
      [&] { bare.bidirectionalCategory(); },
      [&] { bare.characterDecompositionMapping(); },
      [&] { bare.characterDecompositionMappingArray(); },
      [&] { bare.numericType(); },
      [&] { bare.numericValue(); },
      [&] { bare.numericValueString(); },
      [&] { bare.mirrored(); },
      [&] { bare.unicode1Name(); },
      [&] { bare.commentField(); },
      [&] { bare.uppercaseMapping(); },
      [&] { bare.lowercaseMapping(); },
      [&] { bare.titlecaseMapping(); },
      [&] { bare.canonicalMapping(); },
      [&] { bare.compatibilityMapping(); },
      [&] { bare.copy(); },
      [&] { bare.valueForKey("mirrored"); },
      [&] { bare.codepointType(); },
  };
  for (size_t i = 0; i < calls.size(); ++i) {
    try {
      calls[i]();
      ADD_FAILURE() << "call " << i << " did not raise";
    } catch (const QNInternalInconsistencyException& exception) {
      EXPECT_STREQ(exception.what(), "method not implemented in abstract class QNUnicodeData");
      EXPECT_STREQ(exception.name(), "NSInternalInconsistencyException");
    }
  }
  // The description and unknown keys need no accessor.
  const std::string description = qnunicode::toUTF8(bare.description());
  EXPECT_TRUE(std::regex_match(description, std::regex("<.*BareRecord: 0x[0-9a-f]+>")))
      << description;
  EXPECT_FALSE(bare.valueForKey("noSuchProperty"));
}

TEST(AbstractRecord, PropertiesByName) {
  const std::string line =
      "00BD;VULGAR FRACTION ONE HALF;No;0;ON;<fraction> 0031 2044 0032;;;1/2;Y;;;;;\n";
  const auto record =
      QNUnicodeConcreteData::unicodeDataWithBytes(line.data(), line.data() + line.size(), nullptr);
  ASSERT_TRUE(record);
  EXPECT_EQ(record->valueForKey("characterName"), QNInfoValue(u"VULGAR FRACTION ONE HALF"));
  EXPECT_EQ(record->valueForKey("codeValue"), QNInfoValue(0xBD));
  EXPECT_EQ(record->valueForKey("numericType"), QNInfoValue(3));
  EXPECT_EQ(record->valueForKey("numericValue"), QNInfoValue(0.5));
  EXPECT_EQ(record->valueForKey("mirrored"), QNInfoValue(true));
  EXPECT_EQ(record->valueForKey("commentField"), QNInfoValue(u""));
  EXPECT_EQ(
      record->valueForKey("characterDecompositionMappingArray"),
      QNInfoValue(QNInfoValue::List{QNInfoValue(0x31), QNInfoValue(0x2044), QNInfoValue(0x32)}));
  EXPECT_EQ(record->valueForKey("description"), QNInfoValue(record->description()));
  EXPECT_FALSE(record->valueForKey("CharacterName")) << "names are matched exactly";

  const QNUnicodeDefaultData unlisted(0x0378);
  EXPECT_FALSE(unlisted.valueForKey("numericValue")) << "a none value answers none";
  EXPECT_EQ(unlisted.valueForKey("characterName"), QNInfoValue(u"<reserved>"));
}

TEST(AbstractRecord, TypeNames) {
  EXPECT_EQ(QNUnicode_StringForNumericType(QNUnicodeNumericTypeNone), u"None");
  EXPECT_EQ(QNUnicode_StringForNumericType(QNUnicodeNumericTypeDecimal), u"Decimal");
  EXPECT_EQ(QNUnicode_StringForNumericType(QNUnicodeNumericTypeDigit), u"Digit");
  EXPECT_EQ(QNUnicode_StringForNumericType(QNUnicodeNumericTypeNumeric), u"Numeric");
  const std::vector<std::u16string_view> typeNames = {u"Graphic",     u"Format",    u"Control",
                                                      u"Private-use", u"Surrogate", u"Noncharacter",
                                                      u"Reserved"};
  for (uint32_t type = 0; type < typeNames.size(); ++type) {
    EXPECT_EQ(QNUnicode_StringForCodepointType(static_cast<QNUnicodeCodepointType>(type)),
              typeNames[type]);
  }
  EXPECT_THROW(QNUnicode_StringForNumericType(static_cast<QNUnicodeNumericType>(4)),
               QNInvalidArgumentException);
  EXPECT_THROW(QNUnicode_StringForCodepointType(static_cast<QNUnicodeCodepointType>(7)),
               QNInvalidArgumentException);
}

// ---- Codepoint types and the two "assigned" tests ------------------------------------------

struct CategoryCase {
  const char* category;
  QNUnicodeCodepointType type;
  bool abstractCharacter;
  bool assignedCodePoint;
};

TEST(DerivedProperties, TypesByGeneralCategory) {
  realDatabase();
  LogCapture log;
  const std::vector<CategoryCase> cases = {
      {"Lu", QNUnicodeCodepointTypeGraphic, true, true},
      {"Mn", QNUnicodeCodepointTypeGraphic, true, true},
      {"Sk", QNUnicodeCodepointTypeGraphic, true, true},
      {"Zs", QNUnicodeCodepointTypeGraphic, true, true},
      {"Zl", QNUnicodeCodepointTypeFormat, true, true},
      {"Zp", QNUnicodeCodepointTypeFormat, true, true},
      {"Cc", QNUnicodeCodepointTypeControl, true, true},
      {"Cf", QNUnicodeCodepointTypeFormat, true, true},
      {"Co", QNUnicodeCodepointTypePrivateUse, true, true},
      {"Cs", QNUnicodeCodepointTypeSurrogate, false, true},
      {"Cn", QNUnicodeCodepointTypeReserved, false, false},
  };
  for (const CategoryCase& c : cases) {
    const auto record = recordWithCategory(0x0378, c.category);
    EXPECT_EQ(record->codepointType(), c.type) << c.category;
    EXPECT_EQ(record->isAssignedToAbstractCharacter(), c.abstractCharacter) << c.category;
    EXPECT_EQ(record->isAssignedCodePoint(), c.assignedCodePoint) << c.category;
  }
  EXPECT_TRUE(log.lines().empty());

  // Noncharacters are assigned code points, but not to abstract characters.
  for (const uint32_t noncharacter : {0xFDD0u, 0xFFFFu, 0x10FFFEu}) {
    const auto record = recordWithCategory(noncharacter, "Cn");
    EXPECT_EQ(record->codepointType(), QNUnicodeCodepointTypeNoncharacter);
    EXPECT_TRUE(record->isAssignedCodePoint());
    EXPECT_FALSE(record->isAssignedToAbstractCharacter());
  }
}

TEST(DerivedProperties, MalformedCategoriesAreLogged) {
  realDatabase();
  LogCapture log;
  const auto single = recordWithCategory(0x1F600, "L");
  EXPECT_EQ(single->codepointType(), QNUnicodeCodepointTypeGraphic);
  EXPECT_FALSE(single->isAssignedToAbstractCharacter());
  EXPECT_FALSE(single->isAssignedCodePoint());
  EXPECT_EQ(log.lines(),
            (std::vector<std::string>{
                "QNUnicode::UnicodeData generalCategory 'L' for codepoint U+1f600 of length 1u "
                "instead of 2",
                "QNUnicode::UnicodeData generalCategory 'L' for codepoint U+1f600 of length 1 "
                "instead of 2",
                "QNUnicode::UnicodeData generalCategory 'L' for codepoint U+1f600 of length 1 "
                "instead of 2",
            }));

  log.clear();
  const auto empty = recordWithCategory(0x41, "");
  EXPECT_EQ(empty->codepointType(), QNUnicodeCodepointTypeGraphic);
  EXPECT_EQ(log.lines(), std::vector<std::string>{"QNUnicode::UnicodeData generalCategory '' for "
                                                  "codepoint U+0041 of length 0u instead of 2"});

  for (const char* unknown : {"Xx", "Zx", "Cx", "lu"}) {
    log.clear();
    const auto record = recordWithCategory(0xE000, unknown);
    EXPECT_EQ(record->codepointType(), QNUnicodeCodepointTypeReserved) << unknown;
    EXPECT_FALSE(record->isAssignedToAbstractCharacter()) << unknown;
    EXPECT_TRUE(record->isAssignedCodePoint()) << unknown;
    EXPECT_EQ(log.lines(),
              (std::vector<std::string>{
                  QNFormat("QNUnicode::UnicodeData unknown codepointType for codepoint U+e000 "
                           "(generalCategory '%s')",
                           unknown),
                  QNFormat("QNUnicode::UnicodeData unknown generalCategory '%s' for codepoint "
                           "U+e000",
                           unknown),
              }));
  }
}

TEST(DerivedProperties, WithoutASharedDatabase) {
  const SharedDatabaseScope none(nullptr);
  const auto noncharacter = recordWithCategory(0xFDD0, "Cn");
  EXPECT_EQ(noncharacter->codepointType(), QNUnicodeCodepointTypeReserved);
  EXPECT_FALSE(noncharacter->isAssignedCodePoint());
  const auto letter = recordWithCategory(0x41, "Lu");
  EXPECT_FALSE(letter->age());
  EXPECT_FALSE(letter->block());
  EXPECT_EQ(letter->lineBreak(), 0u);
  EXPECT_FALSE(letter->script());
  EXPECT_EQ(letter->plane(), 0u);
}

TEST(DerivedProperties, ShortcutsToTheSharedDatabase) {
  const SharedDatabaseScope real(realDatabase());
  const auto letter = recordWithCategory(0x41, "Lu");
  EXPECT_EQ(letter->age(), u"1.1");
  EXPECT_EQ(letter->block(), u"Basic Latin");
  EXPECT_EQ(letter->lineBreak(), 28u);  // AL
  EXPECT_EQ(letter->script(), u"Latin");
  EXPECT_EQ(recordWithCategory(0x1F600, "So")->plane(), 1u);
  EXPECT_EQ(recordWithCategory(0x10FFFF, "Cn")->plane(), 16u);
  EXPECT_EQ(QNUnicodeDefaultData(0xFFFFFFFF).plane(), 0xFFFFu);
  EXPECT_EQ(recordWithCategory(0x0378, "Cn")->script(), u"Unknown");
  EXPECT_EQ(recordWithCategory(0x0378, "Cn")->age(), std::nullopt);
  EXPECT_EQ(recordWithCategory(0x0378, "Cn")->block(), u"Greek and Coptic");
}

TEST(DerivedProperties, TheScriptIsCachedOnceFound) {
  const auto greek = recordWithCategory(0x03B1, "Ll");
  const auto arabic = recordWithCategory(0x0627, "Lo");
  {
    const SharedDatabaseScope none(nullptr);
    EXPECT_FALSE(arabic->script()) << "a none answer is not cached";
  }
  {
    const SharedDatabaseScope real(realDatabase());
    EXPECT_EQ(greek->script(), u"Greek");
    EXPECT_EQ(arabic->script(), u"Arabic");
  }
  const SharedDatabaseScope none(nullptr);
  EXPECT_EQ(greek->script(), u"Greek");
  EXPECT_EQ(arabic->script(), u"Arabic");
  // A copy is a new record, with nothing cached yet.
  EXPECT_FALSE(greek->copy()->script());
}

}  // namespace
