#include "qnunicode/names/QNUnicodeNamesList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <uninameslist.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "qnunicode/testing/QNTestSupport.h"

using qnunicode::testing::LogCapture;
using qnunicode::testing::ScratchDirectory;
using ::testing::ElementsAre;
using ::testing::MatchesRegex;
using Entry = QNUnicodeNamesList_CharEntry;
using Lines = std::vector<UnicodeString>;

namespace {

// The entries of a names list with these bytes.
std::shared_ptr<QNUnicodeNamesListEntries> readBytes(std::string_view bytes) {
  ScratchDirectory scratch;
  return Entry::readNamesListAtPath(scratch.write("NamesList.txt", bytes));
}

std::shared_ptr<const Entry> onlyEntry(std::string_view bytes) {
  auto entries = readBytes(bytes);
  EXPECT_TRUE(entries);
  if (!entries) return nullptr;
  EXPECT_EQ(entries->size(), 1u);
  return entries->empty() ? nullptr : entries->front();
}

// A list field's lines, or the marker "<none>" alone when the list was never created.
Lines lines(const Entry::Lines& field) {
  return field ? *field : Lines{u"<none>"};
}

std::vector<uint32_t> codepoints(const QNUnicodeNamesListEntries& entries) {
  std::vector<uint32_t> result;
  for (const auto& entry : entries) result.push_back(entry->codepoint());
  return result;
}

constexpr const char* kUTF8Header = "; charset=UTF-8\n";

}  // namespace

// ---- Annotation lines ------------------------------------------------------------------------

TEST(NamesListEntry, SortsEachMarkerIntoItsFieldAndPrintsItWithItsSymbol) {
  auto entry = onlyEntry(std::string(kUTF8Header) +
                         "0041\tLATIN CAPITAL LETTER A\n"
                         "\tx (latin small letter a - 0061)\n"
                         "\t* first letter\n"
                         "\t: 0041\n");
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->codepoint(), 0x41u);
  EXPECT_THAT(lines(entry->crossRefs()), ElementsAre(u"(latin small letter a - 0061)"));
  EXPECT_THAT(lines(entry->comments()), ElementsAre(u"* first letter"));
  EXPECT_THAT(lines(entry->decompositions()), ElementsAre(u" 0041"));  // the blank stays
  EXPECT_FALSE(entry->aliases());
  EXPECT_FALSE(entry->notices());
  EXPECT_EQ(entry->allLinesString(),
            u"\t\t\u2022 first letter\n"
            u"\t\t\u2192 (latin small letter a - 0061)\n"
            u"\t\tEQUIV  0041");
}

TEST(NamesListEntry, EveryKindOfLineKeepsFileOrderAndPrintsInFieldOrder) {
  auto entry = onlyEntry(
      "00E9\tLATIN SMALL LETTER E WITH ACUTE\n"
      "@+\t* a notice first\n"
      "\t# 0065 0301 approx\n"
      "\tX (upper-case marker)\n"
      "\t= second alias\n"
      "\t% FORMAL ALIAS\n"
      "\t~ 00E9 FE00 variation\n"
      "\t= third alias\n"
      "\t; an editorial note nobody sees\n"
      "\t:0065 0301\n"
      "@+\t\tplain notice\n"
      "\t*no blank after the asterisk\n"
      "\tx (lower-case marker)\n");
  ASSERT_TRUE(entry);
  EXPECT_THAT(lines(entry->aliases()), ElementsAre(u"second alias", u"third alias"));
  EXPECT_THAT(lines(entry->formalAliases()), ElementsAre(u"FORMAL ALIAS"));
  EXPECT_THAT(lines(entry->comments()),
              ElementsAre(u"~ 00E9 FE00 variation", u"*no blank after the asterisk"));
  EXPECT_THAT(lines(entry->crossRefs()),
              ElementsAre(u"(upper-case marker)", u"(lower-case marker)"));
  EXPECT_THAT(lines(entry->decompositions()), ElementsAre(u"0065 0301"));
  EXPECT_THAT(lines(entry->compatMappings()), ElementsAre(u"0065 0301 approx"));
  EXPECT_THAT(lines(entry->notices()), ElementsAre(u"* a notice first", u"\tplain notice"));
  EXPECT_EQ(entry->allLinesString(),
            u"\t\t= second alias\n"
            u"\t\t= third alias\n"
            u"\t\t\u225D FORMAL ALIAS\n"
            u"\t\t~ 00E9 FE00 variation\n"
            u"\t\t\u2022no blank after the asterisk\n"
            u"\t\t\u2192 (upper-case marker)\n"
            u"\t\t\u2192 (lower-case marker)\n"
            u"\t\tEQUIV 0065 0301\n"
            u"\t\tAPPROX 0065 0301 approx\n"
            u"\t\tnotice: \u2022 a notice first\n"
            u"\t\tnotice: \tplain notice");
}

TEST(NamesListEntry, MarkersNeedTheirBlankAndEmptyTextsAreKept) {
  auto entry = onlyEntry(
      "0020\tSPACE\n"
      "\t=no blank: a comment\n"
      "\tx\n"
      "\t= \n"
      "\t:\n"
      "\t\n"
      "@+\t\n");
  ASSERT_TRUE(entry);
  EXPECT_THAT(lines(entry->comments()), ElementsAre(u"=no blank: a comment", u"x", u""));
  EXPECT_THAT(lines(entry->aliases()), ElementsAre(u""));
  EXPECT_THAT(lines(entry->decompositions()), ElementsAre(u""));
  EXPECT_THAT(lines(entry->notices()), ElementsAre(u""));
  EXPECT_FALSE(entry->crossRefs());
  EXPECT_EQ(entry->allLinesString(),
            u"\t\t= \n\t\t=no blank: a comment\n\t\tx\n\t\t\n\t\tEQUIV \n\t\tnotice: ");
}

TEST(NamesListEntry, WithoutAnnotationsPrintsNothing) {
  auto entry = onlyEntry("1F600\tGRINNING FACE\n");
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->codepoint(), 0x1F600u);
  EXPECT_EQ(entry->allLinesString(), u"");
  for (const Entry::Lines* field :
       {&entry->aliases(), &entry->formalAliases(), &entry->comments(), &entry->crossRefs(),
        &entry->decompositions(), &entry->compatMappings(), &entry->notices()}) {
    EXPECT_FALSE(*field);
  }
}

TEST(NamesListEntry, AddLineCreatesTheListOnFirstUse) {
  Entry::Lines list;
  Entry::addLine(u"one", list);
  Entry::addLine(u"", list);
  Entry::addLine(u"three", list);
  EXPECT_THAT(lines(list), ElementsAre(u"one", u"", u"three"));
}

TEST(NamesListEntry, ScannerAtANonNumberGivesNoEntryAndStaysPut) {
  const UnicodeString text = u"@@\t0000\tBlock\t007F\n";
  qnunicode::QNScanner scanner(text, qnunicode::QNScanner::Skip::Nothing);
  scanner.setCaseSensitive(false);
  EXPECT_FALSE(Entry::charEntryWithScanner(scanner));
  EXPECT_EQ(scanner.scanLocation(), 0u);

  const UnicodeString heading = u"0x00C0\tWITH PREFIX\n\t= alias\nnext\n";
  qnunicode::QNScanner second(heading, qnunicode::QNScanner::Skip::Nothing);
  second.setCaseSensitive(false);
  auto entry = Entry::charEntryWithScanner(second);
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->codepoint(), 0xC0u);
  EXPECT_EQ(second.remainingText(), u"next\n");  // left at the start of the line that ended it
}

// ---- Entry boundaries ------------------------------------------------------------------------

TEST(NamesListReader, BlankLinesHeadersAndHeadingsEndEntries) {
  auto entries = readBytes(std::string(kUTF8Header) +
                           "@@@\tThe Title\n"
                           "\tfile header text, not an annotation\n"
                           "@@\t0000\tSome Block\t007F\n"
                           "@+\t* block notice outside any entry\n"
                           "0001\tONE\n"
                           "\t= one\n"
                           "\n"
                           "\t= after a blank line: belongs to nothing\n"
                           "0002\tTWO\n"
                           "\t= two\n"
                           "@\t\tSubheader\n"
                           "\t= after a subheader: belongs to nothing\n"
                           "0003\tTHREE\n"
                           "\t= three\n"
                           "0004\tFOUR\n"
                           "@~\t!\n"
                           "\t= after a header line: belongs to nothing\n");
  ASSERT_TRUE(entries);
  EXPECT_THAT(codepoints(*entries), ElementsAre(1u, 2u, 3u, 4u));
  EXPECT_THAT(lines((*entries)[0]->aliases()), ElementsAre(u"one"));
  EXPECT_THAT(lines((*entries)[1]->aliases()), ElementsAre(u"two"));
  EXPECT_THAT(lines((*entries)[2]->aliases()), ElementsAre(u"three"));
  EXPECT_FALSE((*entries)[3]->aliases());
  EXPECT_FALSE((*entries)[0]->notices());
}

TEST(NamesListReader, LastLineWithoutLineFeedIsKeptWhole) {
  auto entries = readBytes("0041\tA\n\t* last comment");
  ASSERT_TRUE(entries);
  ASSERT_EQ(entries->size(), 1u);
  EXPECT_THAT(lines((*entries)[0]->comments()), ElementsAre(u"* last comment"));

  auto headingOnly = readBytes("0041\tA\n0042\tB");
  ASSERT_TRUE(headingOnly);
  EXPECT_THAT(codepoints(*headingOnly), ElementsAre(0x41u, 0x42u));

  auto empty = readBytes("");
  ASSERT_TRUE(empty);
  EXPECT_TRUE(empty->empty());
}

TEST(NamesListReader, CarriageReturnsStayInTheTextAndBlankCRLFLinesEndEntries) {
  auto entries = readBytes(
      "; charset=UTF-8\r\n"
      "0041\tA\r\n"
      "\t= alias\r\n"
      "\t: 0061\r\n"
      "\r\n"
      "\t= orphan\r\n"
      "0042\tB\r\n");
  ASSERT_TRUE(entries);
  EXPECT_THAT(codepoints(*entries), ElementsAre(0x41u, 0x42u));
  EXPECT_THAT(lines((*entries)[0]->aliases()), ElementsAre(u"alias\r"));
  EXPECT_THAT(lines((*entries)[0]->decompositions()), ElementsAre(u" 0061\r"));
  EXPECT_FALSE((*entries)[1]->aliases());
}

// ---- Encodings -------------------------------------------------------------------------------

TEST(NamesListReader, FirstLineChoosesBetweenUTF8AndLatin1) {
  const std::string body = "00E9\tE ACUTE\n\t* caf\xC3\xA9\n";
  struct Case {
    std::string header;
    UnicodeString comment;
  } cases[] = {
      {"; charset=UTF-8\n", u"* caf\u00E9"},
      {";UTF-8 in any case: uTf-8\n", u"* caf\u00E9"},
      {"; charset=ISO-8859-1\n", u"* caf\u00C3\u00A9"},
      {"", u"* caf\u00C3\u00A9"},                     // no comment line at all
      {"@@@ charset=UTF-8\n", u"* caf\u00C3\u00A9"},  // not a ";" line
      {" ; charset=UTF-8\n", u"* caf\u00C3\u00A9"},   // ";" is not the first byte
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.header);
    auto entry = onlyEntry(c.header + body);
    ASSERT_TRUE(entry);
    EXPECT_THAT(lines(entry->comments()), ElementsAre(c.comment));
  }
}

TEST(NamesListReader, Latin1FileKeepsEveryByteAsItsCharacter) {
  auto entry = onlyEntry("; Latin-1 names list\n00E9\tE ACUTE\n\t= caf\xE9 \xA9\xFF\n");
  ASSERT_TRUE(entry);
  EXPECT_THAT(lines(entry->aliases()), ElementsAre(u"caf\u00E9 \u00A9\u00FF"));
}

TEST(NamesListReader, FileWithoutLineFeedIsLatin1EvenWhenItNamesUTF8) {
  // Bytes that are not UTF-8 at all: read as UTF-8 they would fail the whole file.
  LogCapture log;
  auto entries = readBytes("; charset=UTF-8 \xFF\xFE");
  ASSERT_TRUE(entries);
  EXPECT_TRUE(entries->empty());

  auto entry = onlyEntry("0041\tUTF-8 \xFF");
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->codepoint(), 0x41u);
  EXPECT_TRUE(log.lines().empty());
}

TEST(NamesListReader, InvalidUTF8IsLoggedAndGivesNoList) {
  const std::string invalidFirstLine = "; charset=\xFF\n0041\tA\n";  // cannot be read: UTF-8
  const std::string invalidBody = "; charset=UTF-8\n0041\tA\n\t= \xC3(\n";
  const std::string surrogate = "; utf-8\n0041\tA\n\t= \xED\xA0\x80\n";
  for (const std::string& bytes : {invalidFirstLine, invalidBody, surrogate}) {
    LogCapture log;
    EXPECT_FALSE(readBytes(bytes));
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_THAT(log.lines()[0], MatchesRegex("QNUnicodeNamesList\\.cpp:[0-9]+ could not interpret "
                                             "NamesList as Unicode \\(UTF-8\\) string"));
  }
}

TEST(NamesListReader, UnreadablePathsAreLoggedWithTheirName) {
  ScratchDirectory scratch;
  const std::string missing = scratch.path() + "/NoSuchNamesList.txt";
  struct Case {
    std::optional<std::string> path;
    std::string shown;
  } cases[] = {{missing, missing}, {scratch.path(), scratch.path()}, {std::nullopt, "<nil>"}};
  for (const Case& c : cases) {
    LogCapture log;
    EXPECT_FALSE(Entry::readNamesListAtPath(c.path));
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_THAT(
        log.lines()[0],
        MatchesRegex("QNUnicodeNamesList\\.cpp:[0-9]+ could not open path '" + c.shown + "'"));
  }
}

TEST(NamesListReader, RandomBytesNeverBreakTheReader) {
  // Bytes drawn mostly from the format's own markers, so that headings, markers and odd line
  // ends meet in every combination, with arbitrary bytes in between.
  const std::string alphabet = "\n\n\n\t\t\t\r @+;:#=%xX*~0123456789ABCDEFabcdef";
  std::mt19937 random(20240611);
  for (int round = 0; round < 200; ++round) {
    std::string bytes(1 + random() % 3000, '\0');
    for (char& b : bytes) {
      b = (random() % 4 == 0) ? static_cast<char>(random() % 256)
                              : alphabet[random() % alphabet.size()];
    }
    if (round % 3 == 0) bytes.insert(0, kUTF8Header);
    LogCapture log;
    auto entries = readBytes(bytes);
    if (!entries) {
      ASSERT_EQ(log.lines().size(), 1u) << "round " << round;
      EXPECT_THAT(log.lines()[0], ::testing::HasSubstr("could not interpret NamesList"));
      continue;
    }
    EXPECT_TRUE(log.lines().empty()) << "round " << round;
    size_t lineFeeds = std::count(bytes.begin(), bytes.end(), '\n');
    EXPECT_LE(entries->size(), lineFeeds + 1);
    for (const auto& entry : *entries) {
      for (const Entry::Lines* field :
           {&entry->aliases(), &entry->formalAliases(), &entry->comments(), &entry->crossRefs(),
            &entry->decompositions(), &entry->compatMappings(), &entry->notices()}) {
        if (!*field) continue;
        EXPECT_FALSE(field->value().empty());
        for (const UnicodeString& line : **field) {
          EXPECT_EQ(line.find(u'\n'), UnicodeString::npos) << "round " << round;
        }
      }
    }
  }
}

// ---- The database's names list ---------------------------------------------------------------

TEST(DatabaseNamesList, MissingFileIsRetriedAndLoggedOnEveryCall) {
  ScratchDirectory scratch;
  auto delegate = std::make_shared<qnunicode::testing::RecordingDelegate>();
  QNUnicodeDatabase database({scratch.path()}, {});
  database.setDelegate(delegate);
  LogCapture log;
  EXPECT_TRUE(database.readNamesList());  // reports success all the same
  EXPECT_FALSE(database.namesList());
  EXPECT_FALSE(database.namesListCharEntryForCodepoint(0x41));
  ASSERT_EQ(log.lines().size(), 3u);
  for (const std::string& line : log.lines()) {
    EXPECT_THAT(line, MatchesRegex("QNUnicodeNamesList\\.cpp:[0-9]+ could not open path '<nil>'"));
  }
  EXPECT_TRUE(delegate->prefixes.empty());  // this file is never reported as missing

  // Once the file is there, the next call reads it.
  scratch.write("NamesList.txt", "0041\tA\n\t= a\n");
  auto entry = database.namesListCharEntryForCodepoint(0x41);
  ASSERT_TRUE(entry);
  EXPECT_THAT(lines(entry->aliases()), ElementsAre(u"a"));
  EXPECT_EQ(log.lines().size(), 3u);
}

TEST(DatabaseNamesList, EntryLookupAnswersTheFirstEntryInFileOrder) {
  ScratchDirectory scratch;
  scratch.write("NamesList.txt",
                "0300\tCOMBINING GRAVE\n\t= first\n"
                "0041\tA\n\t= a\n"
                "0300\tCOMBINING GRAVE AGAIN\n\t= second\n"
                "10FFFF\tLAST\n"
                "0000\tNULL\n");
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

// ---- The real names list against libuninameslist --------------------------------------------

namespace {

// The library returns one character's annotation lines, each a tab and the line's text, in file
// order; a notice ("@+" and a tab) appears as a tab and the notice's text.
std::vector<UnicodeString> peerLines(uint32_t codepoint) {
  std::vector<UnicodeString> result;
  const char* annotation = uniNamesList_annot(codepoint);
  if (!annotation) return result;
  const std::optional<UnicodeString> text = qnunicode::decodeUTF8(annotation);
  EXPECT_TRUE(text) << std::hex << codepoint;
  if (!text) return result;
  for (std::u16string_view line : qnunicode::splitAt(*text, u'\n')) {
    EXPECT_TRUE(line.starts_with(u'\t')) << std::hex << codepoint;
    result.emplace_back(line.substr(1));
  }
  return result;
}

bool hasAnnotations(const Entry& entry) {
  return !entry.allLinesString().empty();
}

}  // namespace

TEST(RealNamesList, EveryAnnotationOfLibuninameslistIsInOurEntryInOrder) {
  auto database = qnunicode::testing::realDatabase();
  qnunicode::testing::ucdFile("NamesList.txt");
  ASSERT_TRUE(database->namesList());
  ASSERT_STREQ(uniNamesList_NamesListVersion(), "Nameslist-Version: 15.0");

  // How our reader treats each marker that the library keeps on its lines.
  enum Rule { kAlias, kFormalAlias, kCrossRef, kDecomposition, kCompat, kComment, kNotice };
  std::map<Rule, size_t> applied;
  size_t compared = 0;
  for (uint32_t codepoint = 0; codepoint <= 0x10FFFF; ++codepoint) {
    const std::vector<UnicodeString> peer = peerLines(codepoint);
    auto entry = database->namesListCharEntryForCodepoint(codepoint);
    const bool ours = entry && hasAnnotations(*entry);
    if (peer.empty() && !ours) continue;
    ASSERT_EQ(!peer.empty(), ours) << "annotated on one side only: " << std::hex << codepoint;
    ++compared;

    // The library's lines, turned into what our fields hold: the markers "= ", "% ", "x ", "# "
    // dropped; ":" dropped with the blank after it kept; comments keeping "* " or "~ ".
    Lines aliases, formal, crossRefs, decompositions, compat, commentsOrNotices;
    for (const UnicodeString& line : peer) {
      if (line.starts_with(u"= ")) {
        aliases.push_back(line.substr(2)), ++applied[kAlias];
      } else if (line.starts_with(u"% ")) {
        formal.push_back(line.substr(2)), ++applied[kFormalAlias];
      } else if (line.starts_with(u"x ")) {
        crossRefs.push_back(line.substr(2)), ++applied[kCrossRef];
      } else if (line.starts_with(u":")) {
        decompositions.push_back(line.substr(1)), ++applied[kDecomposition];
        EXPECT_TRUE(line.starts_with(u": ")) << std::hex << codepoint;
      } else if (line.starts_with(u"# ")) {
        compat.push_back(line.substr(2)), ++applied[kCompat];
      } else {
        commentsOrNotices.push_back(line);
      }
    }
    const auto field = [](const Entry::Lines& f) { return f ? *f : Lines{}; };
    EXPECT_EQ(field(entry->aliases()), aliases) << std::hex << codepoint;
    EXPECT_EQ(field(entry->formalAliases()), formal) << std::hex << codepoint;
    EXPECT_EQ(field(entry->crossRefs()), crossRefs) << std::hex << codepoint;
    EXPECT_EQ(field(entry->decompositions()), decompositions) << std::hex << codepoint;
    EXPECT_EQ(field(entry->compatMappings()), compat) << std::hex << codepoint;

    // Comments keep their marker; notices are kept apart, with the text after "@+" and its tab
    // (a second tab stays). Together, in file order, they are the library's remaining lines.
    const Lines comments = field(entry->comments()), notices = field(entry->notices());
    size_t c = 0, n = 0;
    for (const UnicodeString& line : commentsOrNotices) {
      if (c < comments.size() && comments[c] == line) {
        ++c, ++applied[kComment];
      } else if (n < notices.size() && notices[n] == line) {
        ++n, ++applied[kNotice];
      } else {
        ADD_FAILURE() << "line out of order or missing at " << std::hex << codepoint << ": "
                      << qnunicode::toUTF8(line);
        break;
      }
    }
    EXPECT_EQ(c, comments.size()) << std::hex << codepoint;
    EXPECT_EQ(n, notices.size()) << std::hex << codepoint;
  }
  EXPECT_GT(compared, 10000u);
  // Every rule met real data (the file's own figures: thousands of most kinds, a few dozen
  // formal aliases and notices).
  for (Rule rule : {kAlias, kFormalAlias, kCrossRef, kDecomposition, kCompat, kComment, kNotice}) {
    EXPECT_GT(applied[rule], 20u) << "rule " << rule;
  }
}

TEST(RealNamesList, KnownEntriesPrintAsTheHostShowsThem) {
  auto database = qnunicode::testing::realDatabase();
  auto ohm = database->namesListCharEntryForCodepoint(0x2126);
  ASSERT_TRUE(ohm);
  EXPECT_EQ(ohm->allLinesString(),
            u"\t\t\u2022 SI unit of resistance, named after G. S. Ohm, German physicist\n"
            u"\t\t\u2022 preferred representation is 03A9\n"
            u"\t\t\u2192 (ascending node - 260A)\n"
            u"\t\tEQUIV  03A9 greek capital letter omega");

  auto lWithMiddleDot = database->namesListCharEntryForCodepoint(0x140);
  ASSERT_TRUE(lWithMiddleDot);
  EXPECT_THAT(lines(lWithMiddleDot->notices()),
              ElementsAre(u"* Catalan legacy compatibility character for ISO/IEC 6937"));
  EXPECT_THAT(lines(lWithMiddleDot->comments()),
              ElementsAre(u"* preferred representation for Catalan: 006C 00B7"));

  auto zero = database->namesListCharEntryForCodepoint(0x30);
  ASSERT_TRUE(zero);
  EXPECT_THAT(lines(zero->comments()), ElementsAre(u"~ 0030 FE00 short diagonal stroke form"));

  EXPECT_FALSE(database->namesListCharEntryForCodepoint(0x378));   // unassigned, not listed
  EXPECT_FALSE(database->namesListCharEntryForCodepoint(0x4E01));  // inside a listed range
}
