#include "qnunicode/records/QNUnicodeData.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "qnunicode/records/QNUnicodeConcreteData.h"
#include "qnunicode/testing/QNTestSupport.h"
#include "qnunicode/util/QNExceptions.h"

namespace {
using qnunicode::testing::realDatabase;

auto recordWithCategory(uint32_t codepoint, const char* category) {
  const std::string line = QNFormat("%04X;NAME;%s;0;L;;;;;N;;;;;\n", codepoint, category);
  return QNUnicodeConcreteData::unicodeDataWithBytes(line.data(), line.data() + line.size(),
                                                     nullptr);
}

// "Cn Noncharacter assigned, " and the like: the type and the two "assigned" tests, in turn.
std::string types(uint32_t codepoint, const char* category) {
  const auto record = recordWithCategory(codepoint, category);
  std::string text = std::string(category) + " ";
  text += qnunicode::toUTF8(QNUnicode_StringForCodepointType(record->codepointType()));
  if (record->isAssignedToAbstractCharacter()) text += " abstract";
  if (record->isAssignedCodePoint()) text += " assigned";
  return text + ", ";
}

TEST(AbstractRecord, ThePlainBaseRaises) {
  const class BareRecord : public QNUnicodeData {
  } bare;
  EXPECT_THROW(bare.copy(), QNInternalInconsistencyException);
  EXPECT_THAT([&] { bare.generalCategory(); },
              testing::ThrowsMessage<QNInternalInconsistencyException>(
                  testing::StrEq("method not implemented in abstract class QNUnicodeData")));
  EXPECT_FALSE(bare.valueForKey("noSuchProperty")) << "an unknown name answers none";
  EXPECT_THROW(QNUnicode_StringForNumericType(QNUnicodeNumericType(4)), QNInvalidArgumentException);
  EXPECT_THROW(QNUnicode_StringForCodepointType(QNUnicodeCodepointType(7)),
               QNInvalidArgumentException);
}

TEST(DerivedProperties, TypesByGeneralCategory) {
  realDatabase();
  qnunicode::testing::LogCapture log;
  std::string answers;
  for (const char* category : {"Lu", "Mn", "Sk", "Zs", "Zl", "Zp", "Cc", "Cf", "Co", "Cs", "Cn"}) {
    answers += types(0x0378, category);
  }
  answers += types(0xFDD0, "Cn") + types(0x10FFFE, "Cn");  // noncharacters
  EXPECT_EQ(answers,
            "Lu Graphic abstract assigned, Mn Graphic abstract assigned, Sk Graphic abstract "
            "assigned, Zs Graphic abstract assigned, Zl Format abstract assigned, Zp Format "
            "abstract assigned, Cc Control abstract assigned, Cf Format abstract assigned, Co "
            "Private-use abstract assigned, Cs Surrogate assigned, Cn Reserved, Cn Noncharacter "
            "assigned, Cn Noncharacter assigned, ");
  EXPECT_TRUE(log.lines().empty());
  // Malformed categories are logged (the doubled "u" of the first line is part of its text).
  answers = types(0x41, "L");
  const std::string line =
      "QNUnicode::UnicodeData generalCategory 'L' for codepoint U+0041 of "
      "length 1";
  std::vector<std::string> expected = {line + "u instead of 2", line + " instead of 2",
                                       line + " instead of 2"};
  for (const char* unknown : {"Xx", "Zx", "Cx", "lu"}) {
    answers += types(0x1F600, unknown);
    expected.push_back(
        QNFormat("QNUnicode::UnicodeData unknown codepointType for codepoint "
                 "U+1f600 (generalCategory '%s')",
                 unknown));
    expected.push_back(QNFormat(
        "QNUnicode::UnicodeData unknown generalCategory '%s' for codepoint U+1f600", unknown));
  }
  EXPECT_EQ(answers,
            "L Graphic, Xx Reserved assigned, Zx Reserved assigned, Cx Reserved "
            "assigned, lu Reserved assigned, ");
  EXPECT_EQ(log.lines(), expected);
}

TEST(DerivedProperties, ShortcutsToTheSharedDatabaseAndTheScriptCache) {
  const auto letter = recordWithCategory(0x41, "Lu"), greek = recordWithCategory(0x03B1, "Ll");
  QNUnicodeDatabase::setSharedDatabase(nullptr);
  EXPECT_EQ(types(0xFDD0, "Cn"), "Cn Reserved, ");
  EXPECT_FALSE(letter->age() || letter->block() || letter->script() || letter->lineBreak());
  realDatabase();  // shared from here on
  EXPECT_EQ(letter->age().value_or(u"") + u" " + letter->block().value_or(u""), u"1.1 Basic Latin");
  EXPECT_EQ(letter->script(), u"Latin") << "a none answer is not cached";
  EXPECT_EQ(greek->script(), u"Greek");
  QNUnicodeDatabase::setSharedDatabase(nullptr);
  EXPECT_EQ(greek->script(), u"Greek");
  EXPECT_FALSE(greek->copy()->script()) << "a copy is a new record, with nothing cached yet";
  realDatabase();
}
}  // namespace
