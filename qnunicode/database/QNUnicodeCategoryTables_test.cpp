#include <gtest/gtest.h>

#include <string>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/records/QNUnicodeData.h"
#include "qnunicode/testing/QNTestSupport.h"

namespace {

using namespace qnunicode::testing;

// The codepoints whose direct answers differ from their records' (none expected), as text.
std::string differences(QNUnicodeDatabase& database, uint32_t first, uint32_t last) {
  std::string found;
  for (uint64_t c = first; c <= last; ++c) {
    const auto record = database.unicodeDataForCodepoint(static_cast<uint32_t>(c));
    const auto codepoint = static_cast<uint32_t>(c);
    if (database.generalCategoryForCodepoint(codepoint) != record->generalCategory() ||
        database.bidirectionalCategoryForCodepoint(codepoint) != record->bidirectionalCategory() ||
        database.canonicalCombiningClassForCodepoint(codepoint) !=
            record->canonicalCombiningClass()) {
      if (found.size() < 200) found += std::to_string(c) + " ";
    }
  }
  return found;
}

// Every codepoint of the real data, with the database as the shared one (the default
// bidirectional categories come from its blocks), asked in the direct lookups first so that the
// table is made before any default record exists, then once more after the records are made.
TEST(CategoryTables, EveryCodepointAnswersAsItsRecord) {
  const auto database = realDatabase();
  QNUnicodeDatabase::setSharedDatabase(database);
  EXPECT_EQ(database->generalCategoryForCodepoint(0x10FFFD), u"Co");
  EXPECT_EQ(differences(*database, 0, 0x10FFFF), "");
  // Above 0x10FFFF the answers are those of the record made there.
  EXPECT_EQ(differences(*database, 0x110000, 0x110100), "");
  EXPECT_EQ(differences(*database, 0xFFFFFF00u, 0xFFFFFFFFu), "");
  // A few fixed answers: a letter, a mark, a default R, a default AL, a noncharacter, a CJK member.
  EXPECT_EQ(database->generalCategoryForCodepoint(0x41), u"Lu");
  EXPECT_EQ(database->canonicalCombiningClassForCodepoint(0x0301), 230u);
  EXPECT_EQ(database->bidirectionalCategoryForCodepoint(0x05FF), u"R");
  EXPECT_EQ(database->bidirectionalCategoryForCodepoint(0x07BF), u"AL");
  EXPECT_EQ(database->bidirectionalCategoryForCodepoint(0xFDD0), u"L");
  EXPECT_EQ(database->generalCategoryForCodepoint(0x4E01), u"Lo");
  QNUnicodeDatabase::setSharedDatabase(nullptr);
}

// Files with ranges of every kind: lazily filled, filled at load (out of order), from 0 (never
// used), past 0x10FFFF, a First without a Last, and a duplicate line.
TEST(CategoryTables, SyntheticRangesAnswerAsTheirRecords) {
  const struct {
    const char* comment;
    const char* data;
  } cases[] = {
      {"ranges in order, one left open",
       "0041;A;Lu;0;L;;;;;N;;;;;\n0300;GRAVE;Mn;230;NSM;;;;;N;;;;;\n"
       "3400;<X, First>;Lo;0;L;;;;;N;;;;;\n4DBF;<X, Last>;Lo;0;L;;;;;N;;;;;\n"
       "5000;<Open, First>;So;0;ON;;;;;N;;;;;\n6000;LATER;Sm;0;ON;;;;;N;;;;;\n"},
      {"a range out of order, one from 0, one past the last codepoint",
       "6080;<W, First>;Lo;0;L;;;;;N;;;;;\n7000;<W, Last>;Lo;0;L;;;;;N;;;;;\n"
       "0000;<Z, First>;Cc;0;BN;;;;;N;;;;;\n0100;<Z, Last>;Cc;0;BN;;;;;N;;;;;\n"
       "10FFF0;<P, First>;Co;0;L;;;;;N;;;;;\n110005;<P, Last>;Co;0;L;;;;;N;;;;;\n"
       "6090;IN W;Nd;7;EN;;;;;N;;;;;\n6090;IN W AGAIN;Pd;9;ES;;;;;N;;;;;\n"},
  };
  for (const auto& test : cases) {
    ScratchDirectory directory;
    directory.write("UnicodeData.txt", test.data);
    QNUnicodeDatabase database({directory.path()}, {});
    EXPECT_EQ(differences(database, 0, 0x10FFFF), "") << test.comment;
    EXPECT_EQ(differences(database, 0x110000, 0x110008), "") << test.comment;
  }
}

// Without UnicodeData there is no record and no answer.
TEST(CategoryTables, MissingFileAnswersNothing) {
  ScratchDirectory directory;
  QNUnicodeDatabase database({directory.path()}, {});
  LogCapture log;
  EXPECT_EQ(database.generalCategoryForCodepoint(0x41), u"");
  EXPECT_EQ(database.bidirectionalCategoryForCodepoint(0x41), u"");
  EXPECT_EQ(database.canonicalCombiningClassForCodepoint(0x300), 0u);
  EXPECT_EQ(log.lines().size(), 3u) << "each use looks for the file again";
}

}  // namespace
