#include "qnunicode/records/QNUnicodeData.h"

#include <gtest/gtest.h>

#include <atomic>
#include <regex>
#include <thread>

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

template <typename Call>
void expectNotImplemented(Call call, const char* what) {
  try {
    call();
    ADD_FAILURE() << what << " did not raise";
  } catch (const QNInternalInconsistencyException& exception) {
    EXPECT_STREQ(exception.what(), "method not implemented in abstract class QNUnicodeData")
        << what;
    EXPECT_STREQ(exception.name(), "NSInternalInconsistencyException");
  }
}

TEST(AbstractRecord, EveryAccessorOfThePlainBaseRaises) {
  const BareRecord bare;
  expectNotImplemented([&] { bare.codepoint(); }, "codepoint");
  expectNotImplemented([&] { bare.codeValue(); }, "codeValue");
  expectNotImplemented([&] { bare.characterName(); }, "characterName");
  expectNotImplemented([&] { bare.generalCategory(); }, "generalCategory");
  expectNotImplemented([&] { bare.canonicalCombiningClass(); }, "canonicalCombiningClass");
  expectNotImplemented([&] { bare.bidirectionalCategory(); }, "bidirectionalCategory");
  expectNotImplemented([&] { bare.characterDecompositionMapping(); }, "decomposition");
  expectNotImplemented([&] { bare.characterDecompositionMappingArray(); }, "decomposition array");
  expectNotImplemented([&] { bare.numericType(); }, "numericType");
  expectNotImplemented([&] { bare.numericValue(); }, "numericValue");
  expectNotImplemented([&] { bare.numericValueString(); }, "numericValueString");
  expectNotImplemented([&] { bare.mirrored(); }, "mirrored");
  expectNotImplemented([&] { bare.unicode1Name(); }, "unicode1Name");
  expectNotImplemented([&] { bare.commentField(); }, "commentField");
  expectNotImplemented([&] { bare.uppercaseMapping(); }, "uppercaseMapping");
  expectNotImplemented([&] { bare.lowercaseMapping(); }, "lowercaseMapping");
  expectNotImplemented([&] { bare.titlecaseMapping(); }, "titlecaseMapping");
  expectNotImplemented([&] { bare.canonicalMapping(); }, "canonicalMapping");
  expectNotImplemented([&] { bare.compatibilityMapping(); }, "compatibilityMapping");
  expectNotImplemented([&] { bare.copy(); }, "copy");
  expectNotImplemented([&] { bare.valueForKey("mirrored"); }, "valueForKey");
  expectNotImplemented([&] { bare.codepointType(); }, "codepointType");

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
  EXPECT_EQ(record->valueForKey("canonicalMapping"), QNInfoValue(false));
  EXPECT_EQ(record->valueForKey("commentField"), QNInfoValue(u""));
  EXPECT_EQ(
      record->valueForKey("characterDecompositionMappingArray"),
      QNInfoValue(QNInfoValue::List{QNInfoValue(0x31), QNInfoValue(0x2044), QNInfoValue(0x32)}));
  EXPECT_EQ(record->valueForKey("plane"), QNInfoValue(0));
  EXPECT_EQ(record->valueForKey("description"), QNInfoValue(record->description()));
  EXPECT_FALSE(record->valueForKey("CharacterName")) << "names are matched exactly";
  EXPECT_FALSE(record->valueForKey(""));

  const QNUnicodeDefaultData unlisted(0x0378);
  EXPECT_FALSE(unlisted.valueForKey("numericValue")) << "a none value answers none";
  EXPECT_FALSE(unlisted.valueForKey("characterDecompositionMappingArray"));
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
      {"Lo", QNUnicodeCodepointTypeGraphic, true, true},
      {"Mn", QNUnicodeCodepointTypeGraphic, true, true},
      {"Nd", QNUnicodeCodepointTypeGraphic, true, true},
      {"Pc", QNUnicodeCodepointTypeGraphic, true, true},
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

TEST(DerivedProperties, ScriptsFromManyThreadsAtOnce) {
  const auto database = realDatabase();
  const SharedDatabaseScope real(database);
  std::vector<std::shared_ptr<const QNUnicodeData>> records;
  for (uint32_t codepoint = 0; codepoint < 0x3400; codepoint += 3) {
    records.push_back(database->unicodeDataForCodepoint(codepoint));
  }
  std::vector<UnicodeString> expected;
  for (const auto& record : records)
    expected.push_back(database->scriptForCodepoint(record->codepoint()));

  std::atomic<size_t> mismatches{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int pass = 0; pass < 2; ++pass) {
        for (size_t i = 0; i < records.size(); ++i) {
          if (records[i]->script() != expected[i]) ++mismatches;
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(mismatches.load(), 0u);
}

}  // namespace
