#include "qnunicode/properties/QNUnicodeCaseFolding.h"

#include <gtest/gtest.h>
#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <random>

#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/testing/QNTestSupport.h"

using qnunicode::testing::LogCapture;
using qnunicode::testing::RecordingDelegate;
using qnunicode::testing::ScratchDirectory;

namespace {

using Statuses = std::vector<UnicodeString>;
const Statuses kFull = {u"C", u"F"}, kSimple = {u"C", u"S"}, kTurkic = {u"T", u"C", u"S"};

UnicodeString cp(uint32_t codepoint) {
  return QNUnicode::stringWithCodepoint(codepoint);
}

// Installs a database as the shared one for the life of the guard.
struct SharedDatabaseScope {
  explicit SharedDatabaseScope(std::shared_ptr<QNUnicodeDatabase> database) {
    QNUnicodeDatabase::setSharedDatabase(std::move(database));
  }
  ~SharedDatabaseScope() { QNUnicodeDatabase::setSharedDatabase(previous); }
  std::shared_ptr<QNUnicodeDatabase> previous = QNUnicodeDatabase::sharedDatabase();
};

std::shared_ptr<QNUnicodeDatabase> databaseWithCaseFolding(const ScratchDirectory& scratch,
                                                           std::string_view bytes) {
  scratch.write("CaseFolding-15.0.0.txt", bytes);
  return std::make_shared<QNUnicodeDatabase>(std::vector<std::string>{scratch.path()},
                                             std::vector<std::string>{});
}

UnicodeString icuFullFolding(const UnicodeString& text) {
  std::vector<UChar> buffer(text.size() * 3 + 8);
  UErrorCode status = U_ZERO_ERROR;
  const int32_t length =
      u_strFoldCase(buffer.data(), static_cast<int32_t>(buffer.size()), text.data(),
                    static_cast<int32_t>(text.size()), U_FOLD_CASE_DEFAULT, &status);
  EXPECT_TRUE(U_SUCCESS(status)) << u_errorName(status);
  return UnicodeString(buffer.data(), static_cast<size_t>(length));
}

TEST(QNUnicodeCaseFoldingTableTest, FirstListedStatusWinsAndTheWalkDropsTheUnitAfterALoneHigh) {
  QNUnicodeCaseFoldingTable table;
  table.setFolding(u"C", 0x1E9E, u"\u00DF");
  table.setFolding(u"F", 0x1E9E, u"ss");
  table.setFolding(u"T", 0x49, u"\u0131");
  table.setFolding(u"C", 0x49, u"x");
  table.setFolding(u"C", 0x49, u"i");  // a later entry replaces the earlier
  table.setFolding(u"C", 0x10400, cp(0x10428));
  table.setFolding(u"C", 0xDC00, u"low");  // only a hostile file folds a surrogate
  table.setFolding(u"F", 0x5A, UnicodeString(40, u'z'));
  table.prepareLookups();
  // A short text whose result outgrows the first room.
  EXPECT_EQ(table.foldString(u"ZIZZ", kFull),
            UnicodeString(40, u'z') + u"i" + UnicodeString(80, u'z'));
  EXPECT_EQ(table.foldString(u"I\u1E9E", kFull), u"i\u00DF");
  EXPECT_EQ(table.foldString(u"I\u1E9E", {u"F", u"C"}), u"iss");
  EXPECT_EQ(table.foldString(u"I\u1E9E", kTurkic), u"\u0131\u00DF");
  EXPECT_EQ(table.foldString(u"I\u1E9E", {u"Nope", u"T"}), u"\u0131\u1E9E");
  EXPECT_EQ(table.foldString(u"I\u1E9E", {}), u"I\u1E9E");
  for (const Statuses& statuses : {kFull, kSimple, Statuses{u"C", u"T"}}) {
    EXPECT_EQ(table.foldString(cp(0x10400) + u"I\xD800II\xDC00I\xD800", statuses),
              cp(0x10428) + u"i\xD800ilowi\xD800");
  }
}

// The flat lookups must answer exactly what the maps alone answer (the table before
// prepareLookups), also for texts too long for an entry, codepoints beyond the code space, the
// surrogates and lists longer than the room kept on the stack.
TEST(QNUnicodeCaseFoldingTableTest, FlatLookupsAgreeWithTheMapsOnRandomTables) {
  std::mt19937 random(20230913);
  const Statuses names = {u"C", u"F", u"S", u"T", u"X", u"C "};
  const auto randomCodepoint = [&random]() -> uint32_t {
    const uint32_t limits[] = {0x80, 0x800, 0x110000};
    const uint32_t kind = random() % 4;
    return kind == 3 ? 0xD7F0 + random() % 0x20 : random() % limits[kind];
  };
  for (int round = 0; round < 20; ++round) {
    QNUnicodeCaseFoldingTable maps, flat;
    for (int entry = 0; entry < 400; ++entry) {
      const uint32_t codepoint = entry % 97 ? randomCodepoint() : 0x110000 + random() % 5;
      UnicodeString folded;
      for (size_t k = entry % 53 ? 1 + random() % 3 : 300; k > 0; --k)
        folded += cp(randomCodepoint());
      const UnicodeString& status = names[random() % names.size()];
      maps.setFolding(status, codepoint, folded);
      flat.setFolding(status, codepoint, folded);
    }
    flat.prepareLookups();
    UnicodeString text;
    for (int k = 0; k < 3000; ++k) text += cp(randomCodepoint());
    Statuses longList;
    for (int k = 0; k < 12; ++k) longList.push_back(names[random() % names.size()]);
    for (const Statuses& statuses : {kFull, kSimple, kTurkic, Statuses{u"X", u"C "}, longList}) {
      ASSERT_EQ(flat.foldString(text, statuses), maps.foldString(text, statuses)) << round;
    }
  }
}

TEST(QNUnicodeCaseFoldingTest, ReaderStoresGoodLinesAndLogsBadMappingsTwice) {
  ScratchDirectory scratch;
  auto database = databaseWithCaseFolding(scratch,
                                          "# 0042; C; 0062; comment lines are never data\n"
                                          "\n"
                                          "stray text\n"
                                          "0043 C 0063\n"
                                          "0044;; 0064;\n"
                                          "00DF; F; 0073 0073; # LATIN SMALL LETTER SHARP S\r\n"
                                          "0130; T; 0069;\n"
                                          "0130; F; 0069 0307;\n"
                                          "  0x0045 ;  C  ;  0065  ;\n"
                                          "0041; C; 0061\n"
                                          "0041; C; 0062 zz;\n"
                                          "0041; C; ;\n"
                                          "0041; C; 0065\r\n"
                                          "0041; C; 0078; 0079\n"
                                          "0042; C; 123456789;");
  SharedDatabaseScope shared(database);
  LogCapture log;
  const auto table = database->caseFolding();
  const std::string parse = "could not parse CaseFolding line: ";
  const std::string empty = "parsed empty CaseFolding mapping from line: ";
  EXPECT_EQ(log.lines(),
            (std::vector<std::string>{parse + "0041; C; 0061", empty + "0041; C; 0061",
                                      parse + "0041; C; 0062 zz;", empty + "0041; C; 0062 zz;",
                                      empty + "0041; C; ;", parse + "0041; C; 0065\r",
                                      empty + "0041; C; 0065\r"}));
  EXPECT_EQ(table->mappings().size(), 4u);  // C, F, T and "C  " with its blanks
  EXPECT_EQ(*table->foldingForCodepoint(0x45, u"C  "), u"e");
  EXPECT_EQ(table->mappingForStatus(u"C")->size(), 2u);
  EXPECT_EQ(*table->foldingForCodepoint(0x42, u"C"), cp(0xFFFFFFFF));  // saturated, then masked
  EXPECT_EQ(database->fullCaseFoldingForString(u"A\u00DF\u0130"), u"xss\u0069\u0307");
  EXPECT_EQ(database->caseFoldingForString(u"A\u00DF\u0130", kSimple), u"x\u00DF\u0130");
  EXPECT_EQ(database->caseFoldingForString(u"A\u00DF\u0130", kTurkic), u"x\u00DFi");
}

TEST(QNUnicodeCaseFoldingTest, FoldingUsesTheSharedDatabaseAndNothingWithoutData) {
  ScratchDirectory receiverFiles, sharedFiles;
  auto receiver = databaseWithCaseFolding(receiverFiles, "0041; C; 0072;\n");
  auto shared = databaseWithCaseFolding(sharedFiles, "0041; C; 0073;\n");
  {
    SharedDatabaseScope scope(shared);
    EXPECT_EQ(receiver->fullCaseFoldingForString(u"AA"), u"ss");
  }
  {
    SharedDatabaseScope scope(nullptr);
    EXPECT_EQ(receiver->fullCaseFoldingForString(u"A\xD800\x41"), u"A\xD800\x41");
  }
  EXPECT_EQ(*receiver->caseFolding()->foldingForCodepoint(0x41, u"C"), u"r");

  // A missing or ill-formed file is reported once and folds nothing.
  for (const std::string_view bytes :
       {std::string_view(), std::string_view("0041; C; 0061;\xC0\n")}) {
    ScratchDirectory scratch;
    if (!bytes.empty()) scratch.write("CaseFolding.txt", bytes);
    auto database = std::make_shared<QNUnicodeDatabase>(std::vector<std::string>{scratch.path()},
                                                        std::vector<std::string>{});
    auto delegate = std::make_shared<RecordingDelegate>();
    database->setDelegate(delegate);
    SharedDatabaseScope scope(database);
    EXPECT_EQ(database->fullCaseFoldingForString(u"AB\u00DF"), u"AB\u00DF");
    EXPECT_TRUE(database->caseFolding()->empty());
    EXPECT_EQ(delegate->prefixes, (std::vector<UnicodeString>{u"CaseFolding"}));
  }
}

TEST(QNUnicodeCaseFoldingRealDataTest, EveryCodepointFoldsAsICUDoes) {
  auto database = qnunicode::testing::realDatabase();
  LogCapture log;
  ASSERT_FALSE(database->caseFolding()->empty());
  std::vector<uint32_t> turkicDifferences;
  UnicodeString everything;
  for (uint32_t c = 0; c <= 0x10FFFF; ++c) {
    const UnicodeString text = cp(c);
    ASSERT_EQ(database->fullCaseFoldingForString(text), icuFullFolding(text)) << std::hex << c;
    const UnicodeString simple = database->caseFoldingForString(text, kSimple);
    ASSERT_EQ(simple, cp(u_foldCase(c, U_FOLD_CASE_DEFAULT))) << std::hex << c;
    const UnicodeString turkic = database->caseFoldingForString(text, kTurkic);
    ASSERT_EQ(turkic, cp(u_foldCase(c, U_FOLD_CASE_EXCLUDE_SPECIAL_I))) << std::hex << c;
    if (turkic != simple) turkicDifferences.push_back(c);
    if ((c & 0xFFFFF800) != 0xD800) everything += text;
  }
  EXPECT_EQ(turkicDifferences, (std::vector<uint32_t>{0x49, 0x130}));
  // One long text, whose result outgrows its first room many times.
  EXPECT_EQ(database->fullCaseFoldingForString(everything), icuFullFolding(everything));
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
