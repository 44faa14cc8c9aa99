#include "qnunicode/names/QNUnicodeNamesList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <uninameslist.h>

#include <algorithm>
#include <map>
#include <random>

#include "qnunicode/testing/QNTestSupport.h"

using qnunicode::testing::LogCapture;
using qnunicode::testing::ScratchDirectory;
using ::testing::ElementsAre;
using ::testing::MatchesRegex;
using Entry = QNUnicodeNamesList_CharEntry;
using Lines = std::vector<UnicodeString>;

namespace {

std::shared_ptr<QNUnicodeNamesListEntries> readBytes(std::string_view bytes) {
  ScratchDirectory scratch;
  return Entry::readNamesListAtPath(scratch.write("NamesList.txt", bytes));
}

std::shared_ptr<const Entry> onlyEntry(std::string_view bytes) {
  auto entries = readBytes(bytes);
  EXPECT_TRUE(entries && entries->size() == 1);
  return entries && entries->size() == 1 ? entries->front() : nullptr;
}

// A field's lines, or "<none>" alone for a list that was never created.
Lines lines(const Entry::Lines& field) {
  return field ? *field : Lines{u"<none>"};
}

std::vector<uint32_t> codepoints(const QNUnicodeNamesListEntries& entries) {
  std::vector<uint32_t> result;
  for (const auto& entry : entries) result.push_back(entry->codepoint());
  return result;
}

}  // namespace

TEST(NamesListEntry, EveryMarkerFillsItsFieldInFileOrderAndPrintsWithItsSymbol) {
  auto entry = onlyEntry(
      "00E9\tLATIN SMALL LETTER E WITH ACUTE\n"
      "@+\t* a notice first\n"
      "\t# 0065 0301 approx\n"
      "\tX (upper-case marker)\n"
      "\t= alias\n"
      "\t% FORMAL ALIAS\n"
      "\t~ 00E9 FE00 variation\n"
      "\t* comment\n"
      "\t; an editorial note, dropped\n"
      "\t: 0065 0301\n"
      "@+\t\tplain notice\n"
      "\tx (lower-case marker)\n"
      "\t= second alias\n");
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->codepoint(), 0xE9u);
  EXPECT_THAT(lines(entry->aliases()), ElementsAre(u"alias", u"second alias"));
  EXPECT_THAT(lines(entry->formalAliases()), ElementsAre(u"FORMAL ALIAS"));
  EXPECT_THAT(lines(entry->comments()), ElementsAre(u"~ 00E9 FE00 variation", u"* comment"));
  EXPECT_THAT(lines(entry->crossRefs()),
              ElementsAre(u"(upper-case marker)", u"(lower-case marker)"));
  EXPECT_THAT(lines(entry->decompositions()), ElementsAre(u" 0065 0301"));  // blank kept
  EXPECT_THAT(lines(entry->compatMappings()), ElementsAre(u"0065 0301 approx"));
  EXPECT_THAT(lines(entry->notices()), ElementsAre(u"* a notice first", u"\tplain notice"));
  EXPECT_EQ(entry->allLinesString(),
            u"\t\t= alias\n\t\t= second alias\n"
            u"\t\t\u225D FORMAL ALIAS\n"
            u"\t\t~ 00E9 FE00 variation\n\t\t\u2022 comment\n"
            u"\t\t\u2192 (upper-case marker)\n\t\t\u2192 (lower-case marker)\n"
            u"\t\tEQUIV  0065 0301\n"
            u"\t\tAPPROX 0065 0301 approx\n"
            u"\t\tnotice: \u2022 a notice first\n\t\tnotice: \tplain notice");
}

TEST(NamesListEntry, MarkersNeedTheirBlankAndEmptyTextsAreKept) {
  auto entry = onlyEntry("0020\tSPACE\n\t=no blank\n\tx\n\t= \n\t:\n\t\n@+\t\n");
  ASSERT_TRUE(entry);
  EXPECT_THAT(lines(entry->comments()), ElementsAre(u"=no blank", u"x", u""));
  EXPECT_THAT(lines(entry->aliases()), ElementsAre(u""));
  EXPECT_THAT(lines(entry->decompositions()), ElementsAre(u""));
  EXPECT_THAT(lines(entry->notices()), ElementsAre(u""));
  EXPECT_FALSE(entry->crossRefs());
  EXPECT_EQ(entry->allLinesString(),
            u"\t\t= \n\t\t=no blank\n\t\tx\n\t\t\n\t\tEQUIV \n\t\tnotice: ");

  auto bare = onlyEntry("1F600\tGRINNING FACE\n");
  ASSERT_TRUE(bare);
  EXPECT_EQ(bare->allLinesString(), u"");
  EXPECT_FALSE(bare->aliases() || bare->comments() || bare->notices());
}

TEST(NamesListReader, BlankLinesHeadersAndHeadingsEndEntries) {
  auto entries = readBytes(
      "; charset=UTF-8\n@@@\tThe Title\n\tfile header text\n@@\t0000\tSome Block\t007F\n"
      "@+\t* block notice\n"
      "0001\tONE\n\t= one\n\n\t= after a blank line\n"
      "0002\tTWO\n\t= two\n@\t\tSubheader\n\t= after a subheader\n"
      "0003\tTHREE\n\t= three\n"
      "0x0004\tFOUR\n@~\t!\n\t= after a header line\n");
  ASSERT_TRUE(entries);
  EXPECT_THAT(codepoints(*entries), ElementsAre(1u, 2u, 3u, 4u));
  EXPECT_THAT(lines((*entries)[0]->aliases()), ElementsAre(u"one"));
  EXPECT_THAT(lines((*entries)[1]->aliases()), ElementsAre(u"two"));
  EXPECT_THAT(lines((*entries)[2]->aliases()), ElementsAre(u"three"));
  EXPECT_FALSE((*entries)[3]->aliases());
  EXPECT_FALSE((*entries)[0]->notices());
}

TEST(NamesListReader, LineEndsWithoutAFinalLineFeedAndWithCarriageReturns) {
  auto unended = readBytes("0041\tA\n\t* last comment");
  ASSERT_TRUE(unended && unended->size() == 1);
  EXPECT_THAT(lines(unended->front()->comments()), ElementsAre(u"* last comment"));
  auto headings = readBytes("0041\tA\n0042\tB");
  ASSERT_TRUE(headings);
  EXPECT_THAT(codepoints(*headings), ElementsAre(0x41u, 0x42u));
  auto empty = readBytes("");
  ASSERT_TRUE(empty);
  EXPECT_TRUE(empty->empty());

  // With CR LF line ends the CR stays in each text, and a CR LF line is a blank line.
  auto crlf =
      readBytes("; utf-8\r\n0041\tA\r\n\t= alias\r\n\t: 0061\r\n\r\n\t= orphan\r\n0042\tB\r\n");
  ASSERT_TRUE(crlf);
  EXPECT_THAT(codepoints(*crlf), ElementsAre(0x41u, 0x42u));
  EXPECT_THAT(lines((*crlf)[0]->aliases()), ElementsAre(u"alias\r"));
  EXPECT_THAT(lines((*crlf)[0]->decompositions()), ElementsAre(u" 0061\r"));
  EXPECT_FALSE((*crlf)[1]->aliases());
}

TEST(NamesListReader, FirstLineChoosesBetweenUTF8AndLatin1) {
  const std::string body = "00E9\tE\n\t* caf\xC3\xA9 \xF0\x9F\x98\x80!\n";
  const UnicodeString asUTF8 = u"* caf\u00E9 \U0001F600!";
  const UnicodeString asLatin1 = u"* caf\u00C3\u00A9 \u00F0\u009F\u0098\u0080!";
  const std::pair<std::string, UnicodeString> cases[] = {
      {"; charset=UTF-8\n", asUTF8},        {";any case: uTf-8\n", asUTF8},
      {"; charset=ISO-8859-1\n", asLatin1}, {"", asLatin1},
      {"@@@ charset=UTF-8\n", asLatin1},    {" ; charset=UTF-8\n", asLatin1}};
  for (const auto& [header, comment] : cases) {
    auto entry = onlyEntry(header + body);
    ASSERT_TRUE(entry) << header;
    EXPECT_THAT(lines(entry->comments()), ElementsAre(comment)) << header;
  }
  auto latin1 = onlyEntry("; plain\n00E9\tE\n\t= caf\xE9 \xA9\xFF\n");
  ASSERT_TRUE(latin1);
  EXPECT_THAT(lines(latin1->aliases()), ElementsAre(u"caf\u00E9 \u00A9\u00FF"));
  // A file without a line feed is Latin-1 whatever it says: bytes that are no UTF-8 read fine.
  LogCapture log;
  EXPECT_TRUE(readBytes("; charset=UTF-8 \xFF\xFE"));
  EXPECT_TRUE(log.lines().empty());
}

TEST(NamesListReader, UndecodableOrUnreadableFilesAreLoggedAndGiveNoList) {
  for (const std::string bytes : {"; charset=\xFF\n0041\tA\n",  // unreadable first line: UTF-8
                                  "; charset=UTF-8\n0041\tA\n\t= \xC3(\n",
                                  "; utf-8\n0041\tA\n\t= \xED\xA0\x80\n"}) {  // a surrogate
    LogCapture log;
    EXPECT_FALSE(readBytes(bytes));
    EXPECT_THAT(log.lines(), ElementsAre(MatchesRegex("QNUnicodeNamesList\\.cpp:[0-9]+ could not "
                                                      "interpret NamesList as Unicode \\(UTF-8\\) "
                                                      "string")));
  }
  ScratchDirectory scratch;
  const std::string missing = scratch.path() + "/NoSuchFile.txt";
  const std::pair<std::optional<std::string>, std::string> paths[] = {
      {missing, missing}, {scratch.path(), scratch.path()}, {std::nullopt, "<nil>"}};
  for (const auto& [path, shown] : paths) {
    LogCapture log;
    EXPECT_FALSE(Entry::readNamesListAtPath(path));
    EXPECT_THAT(log.lines(),
                ElementsAre(MatchesRegex("QNUnicodeNamesList\\.cpp:[0-9]+ could not open path '" +
                                         shown + "'")));
  }
}

TEST(NamesListReader, RandomBytesNeverBreakTheReader) {
  // Mostly the format's own markers, so that headings, markers and line ends meet in every
  // combination, with arbitrary bytes in between.
  const std::string alphabet = "\n\n\n\t\t\t\r @+;:#=%xX*~0123456789ABCDEFabcdef";
  std::mt19937 random(20240611);
  for (int round = 0; round < 200; ++round) {
    std::string bytes(1 + random() % 3000, '\0');
    for (char& b : bytes) {
      b = random() % 4 == 0 ? static_cast<char>(random()) : alphabet[random() % alphabet.size()];
    }
    if (round % 3 == 0) bytes.insert(0, "; charset=UTF-8\n");
    LogCapture log;
    auto entries = readBytes(bytes);
    if (!entries) {
      EXPECT_THAT(log.lines(), ElementsAre(::testing::HasSubstr("could not interpret")));
      continue;
    }
    EXPECT_TRUE(log.lines().empty()) << round;
    EXPECT_LE(entries->size(),
              static_cast<size_t>(std::count(bytes.begin(), bytes.end(), '\n')) + 1);
    for (const auto& entry : *entries) {
      for (const Entry::Lines* field :
           {&entry->aliases(), &entry->formalAliases(), &entry->comments(), &entry->crossRefs(),
            &entry->decompositions(), &entry->compatMappings(), &entry->notices()}) {
        for (const UnicodeString& line : field->value_or(Lines{})) {
          EXPECT_EQ(line.find(u'\n'), UnicodeString::npos) << round;
        }
      }
    }
  }
}

TEST(DatabaseNamesList, MissingFileIsRetriedAndLoggedOnEveryCall) {
  ScratchDirectory scratch;
  auto delegate = std::make_shared<qnunicode::testing::RecordingDelegate>();
  QNUnicodeDatabase database({scratch.path()}, {});
  database.setDelegate(delegate);
  LogCapture log;
  EXPECT_TRUE(database.readNamesList());  // reports success all the same
  EXPECT_FALSE(database.namesList());
  EXPECT_FALSE(database.namesListCharEntryForCodepoint(0x41));
  const auto nil = MatchesRegex("QNUnicodeNamesList\\.cpp:[0-9]+ could not open path '<nil>'");
  EXPECT_THAT(log.lines(), ElementsAre(nil, nil, nil));
  EXPECT_TRUE(delegate->prefixes.empty());  // never reported as a missing file

  scratch.write("NamesList.txt", "0041\tA\n\t= a\n");
  auto entry = database.namesListCharEntryForCodepoint(0x41);
  ASSERT_TRUE(entry);
  EXPECT_THAT(lines(entry->aliases()), ElementsAre(u"a"));
}

TEST(DatabaseNamesList, EntryLookupAnswersTheFirstEntryInFileOrder) {
  ScratchDirectory scratch;
  scratch.write("NamesList.txt",
                "0300\tGRAVE\n\t= first\n0041\tA\n0300\tGRAVE AGAIN\n10FFFF\tLAST\n0000\tNULL\n");
  QNUnicodeDatabase database({scratch.path()}, {});
  auto list = database.namesList();
  ASSERT_TRUE(list);
  EXPECT_THAT(codepoints(*list), ElementsAre(0x300u, 0x41u, 0x300u, 0x10FFFFu, 0u));
  EXPECT_EQ(database.namesListCharEntryForCodepoint(0x300), (*list)[0]);
  EXPECT_EQ(database.namesListCharEntryForCodepoint(0x41), (*list)[1]);
  EXPECT_EQ(database.namesListCharEntryForCodepoint(0x10FFFF), (*list)[3]);
  EXPECT_EQ(database.namesListCharEntryForCodepoint(0), (*list)[4]);
  for (uint32_t absent : {1u, 0x40u, 0x42u, 0x2FFu, 0x301u, 0x10FFFEu, 0x110000u, 0xFFFFFFFFu}) {
    EXPECT_FALSE(database.namesListCharEntryForCodepoint(absent)) << std::hex << absent;
  }
  EXPECT_EQ(database.namesList(), list);  // read once
}

// The library gives a character's annotation lines in file order, each a tab and its text, with
// a notice ("@+" and a tab) turned into a tab and the notice's text.
TEST(RealNamesList, EveryAnnotationOfLibuninameslistIsInOurEntryInOrder) {
  qnunicode::testing::ucdFile("NamesList.txt");
  auto database = qnunicode::testing::realDatabase();
  ASSERT_TRUE(database->namesList());
  ASSERT_STREQ(uniNamesList_NamesListVersion(), "Nameslist-Version: 15.0");

  // Our rules against the library's lines: "= ", "% ", "x ", "# " dropped; ":" dropped with the
  // blank after it kept; "* " and "~ " kept on comments; notices kept apart.
  enum Rule { kAlias, kFormal, kCrossRef, kDecomposition, kCompat, kComment, kNotice };
  const std::pair<std::u16string_view, Rule> markers[] = {{u"= ", kAlias},
                                                          {u"% ", kFormal},
                                                          {u"x ", kCrossRef},
                                                          {u":", kDecomposition},
                                                          {u"# ", kCompat}};
  std::map<Rule, size_t> applied;
  for (uint32_t codepoint = 0; codepoint <= 0x10FFFF; ++codepoint) {
    auto entry = database->namesListCharEntryForCodepoint(codepoint);
    const char* annotation = uniNamesList_annot(codepoint);
    const bool ours = entry && !entry->allLinesString().empty();
    ASSERT_EQ(annotation != nullptr, ours)
        << "annotated on one side only: " << std::hex << codepoint;
    if (!ours) continue;

    std::map<Rule, Lines> expected;
    const UnicodeString text = qnunicode::fromUTF8(annotation);
    for (std::u16string_view line : qnunicode::splitAt(text, u'\n')) {
      ASSERT_TRUE(line.starts_with(u'\t')) << std::hex << codepoint;
      line.remove_prefix(1);
      const auto marker = std::find_if(std::begin(markers), std::end(markers),
                                       [&](const auto& m) { return line.starts_with(m.first); });
      if (marker == std::end(markers)) {
        expected[kComment].emplace_back(line);
      } else {
        expected[marker->second].emplace_back(line.substr(marker->first.size()));
        ++applied[marker->second];
      }
    }
    const auto field = [](const Entry::Lines& f) { return f.value_or(Lines{}); };
    EXPECT_EQ(field(entry->aliases()), expected[kAlias]) << std::hex << codepoint;
    EXPECT_EQ(field(entry->formalAliases()), expected[kFormal]) << std::hex << codepoint;
    EXPECT_EQ(field(entry->crossRefs()), expected[kCrossRef]) << std::hex << codepoint;
    EXPECT_EQ(field(entry->decompositions()), expected[kDecomposition]) << std::hex << codepoint;
    EXPECT_EQ(field(entry->compatMappings()), expected[kCompat]) << std::hex << codepoint;

    // The library's remaining lines are our comments and notices merged in file order.
    const Lines comments = field(entry->comments()), notices = field(entry->notices());
    size_t c = 0, n = 0;
    for (const UnicodeString& line : expected[kComment]) {
      if (c < comments.size() && comments[c] == line) {
        ++c, ++applied[kComment];
      } else if (n < notices.size() && notices[n] == line) {
        ++n, ++applied[kNotice];
      } else {
        ADD_FAILURE() << std::hex << codepoint << " lacks " << qnunicode::toUTF8(line);
        break;
      }
    }
    EXPECT_TRUE(c == comments.size() && n == notices.size()) << std::hex << codepoint;
  }
  for (Rule rule : {kAlias, kFormal, kCrossRef, kDecomposition, kCompat, kComment, kNotice}) {
    EXPECT_GT(applied[rule], 20u) << "rule " << rule << " never met real data";
  }
  EXPECT_THAT(lines(database->namesListCharEntryForCodepoint(0x2126)->decompositions()),
              ElementsAre(u" 03A9 greek capital letter omega"));
}
