#include "qnunicode/records/QNUnicodeDefaultData.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <typeinfo>

#include "qnunicode/testing/QNTestSupport.h"

namespace {
TEST(DefaultRecord, BidirectionalCategoryByRangeAndBlock) {
  auto isUnlisted = [](uint32_t codepoint) {
    const auto record = qnunicode::testing::realDatabase()->unicodeDataForCodepoint(codepoint);
    return typeid(*record) == typeid(QNUnicodeDefaultData);
  };
  std::u16string categories, withoutADatabase;
  for (const uint32_t c :
       {0x05FFu, 0x086Bu, 0x10806u, 0x10A04u, 0xFDC8u, 0xFDD0u, 0x0378u, 0x10FFFFu, 0x110000u}) {
    EXPECT_TRUE(isUnlisted(c)) << c;  // which makes the real database the shared one
    categories += QNUnicodeDefaultData(c).bidirectionalCategory() + u" ";
    QNUnicodeDatabase::setSharedDatabase(nullptr);
    withoutADatabase += QNUnicodeDefaultData(c).bidirectionalCategory() + u" ";
  }
  // Ranges and blocks (Cypriot Syllabary, Kharoshthi) right-to-left, Arabic but noncharacters.
  EXPECT_EQ(categories, u"R R R R AL L L L L ");
  EXPECT_EQ(withoutADatabase, u"R R L L AL AL L L L ");
  std::u16string fixedRange;  // the fixed range wins over any block
  for (uint32_t c = 0x07C0; c <= 0x08FF; ++c) {
    if (isUnlisted(c)) fixedRange += QNUnicodeDefaultData(c).bidirectionalCategory();
  }
  EXPECT_EQ(fixedRange, std::u16string(std::max<size_t>(fixedRange.size(), 10), u'R'));
}
}  // namespace
