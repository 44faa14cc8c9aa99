// Hostile input for normalization: a megabyte of combining marks after one starter, in an order
// that canonical ordering must undo, is normalized in every form in linear or n log n time. The
// tests compare a megabyte with a tenth of it: linear work takes about ten times as long,
// quadratic work a hundred times.
#include <gtest/gtest.h>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/testing/QNTestSupport.h"

namespace {

using qnunicode::testing::realDatabase;
using qnunicode::testing::scalingRatio;

constexpr size_t kSmall = 100'000;
constexpr size_t kLarge = 1'000'000;
constexpr double kBound = 40;

UnicodeString marks(std::u16string_view cycle, size_t size) {
  UnicodeString text = u"a";
  text.reserve(size + cycle.size());
  while (text.size() < size) text += cycle;
  return text;
}

TEST(NormalizationLimits, CombiningMarksInEveryForm) {
  QNUnicodeDatabase& database = *realDatabase();
  database.readDatabase();
  // Descending classes (each mark passes the ones before it), an acute that composes with the
  // starter, a mark with a compatibility mapping and an unpaired surrogate among them.
  for (std::u16string_view cycle : {u"\u0345\u035D\u0315\u0301\u0316\u031B", u"\u0301\u0316",
                                    u"\u0301", u"\u0344\u0F73\xDC00"}) {
    const UnicodeString texts[] = {marks(cycle, kSmall), marks(cycle, kLarge)};
    for (int form = 0; form < 4; ++form) {
      const double ratio = scalingRatio(
          [&](size_t size) {
            uint32_t replaced = 0, reordered = 0, composed = 0;
            database.normalizationFormK(form & 1, form & 2, texts[size == kLarge], &replaced,
                                        &reordered, &composed);
          },
          kSmall, kLarge);
      EXPECT_LT(ratio, kBound) << "form " << form << ", cycle of " << cycle.size() << " units";
    }
  }
}

}  // namespace
