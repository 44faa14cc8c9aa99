#include "qnunicode/names/QNUnicodeNamesList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <uninameslist.h>

#include <array>
#include <fstream>
#include <iterator>
#include <map>
#include <random>

#include "qnunicode/testing/QNTestSupport.h"

using qnunicode::testing::LogCapture;
using qnunicode::testing::ScratchDirectory;
using ::testing::ElementsAre;
using ::testing::MatchesRegex;
using Entry = QNUnicodeNamesList_CharEntry;

namespace {

std::shared_ptr<QNUnicodeNamesListEntries> readBytes(std::string_view bytes) {
  ScratchDirectory scratch;
  return Entry::readNamesListAtPath(scratch.write("NamesList.txt", bytes));
}

UnicodeString describe(const Entry& entry) {
  return qnunicode::fromUTF8(QNFormat("[%X]", entry.codepoint())) + entry.allLinesString();
}

// Each entry as its code in hex in brackets and its display text; "none" without a list.
UnicodeString describe(const std::shared_ptr<const QNUnicodeNamesListEntries>& entries) {
  if (!entries) return u"none";
  UnicodeString text;
  for (const Entry& entry : *entries) text += describe(entry);
  return text;
}

std::vector<UnicodeString> strings(const Entry::Lines& lines) {
  return lines ? lines->strings() : std::vector<UnicodeString>();
}

// The reader as first written, kept as the reference: the whole file decoded, then scanned line
// by line with the library's scanner (nothing skipped, markers matched without regard to case),
// each entry's lines collected per kind and displayed like allLinesString.
UnicodeString describeAsReference(std::string_view bytes) {
  bool isUTF8 = false;
  if (bytes.starts_with(';') && bytes.find('\n') != std::string_view::npos) {
    const auto firstLine = qnunicode::decodeUTF8(bytes.substr(0, bytes.find('\n')));
    UnicodeString lower = firstLine.value_or(u"utf-8");
    for (char16_t& u : lower) u = (u >= u'A' && u <= u'Z') ? u + 32 : u;
    isUTF8 = lower.find(u"utf-8") != UnicodeString::npos;
  }
  const std::optional<UnicodeString> text =
      isUTF8 ? qnunicode::decodeUTF8(bytes) : qnunicode::decodeLatin1(bytes);
  if (!text) return u"none";
  qnunicode::QNScanner scanner(*text, qnunicode::QNScanner::Skip::Nothing);
  scanner.setCaseSensitive(false);
  const auto restOfLine = [&scanner] {
    const std::u16string_view rest = scanner.remainingText();
    const std::u16string_view line = rest.substr(0, rest.find(u'\n'));
    scanner.setScanLocation(scanner.scanLocation() + line.size() + 1);
    return UnicodeString(line);
  };
  const std::pair<std::u16string_view, std::u16string_view> markers[] = {
      {u"= ", u"= "},    {u"% ", u"\u225D "}, {u"X ", u"\u2192 "},
      {u":", u"EQUIV "}, {u"# ", u"APPROX "}, {u";", u""}};
  const std::u16string_view order[] = {u"= ",     u"\u225D ", u"",        u"\u2192 ",
                                       u"EQUIV ", u"APPROX ", u"notice: "};
  UnicodeString described;
  uint32_t codepoint;
  while (!scanner.isAtEnd()) {
    if (!scanner.scanHexInt(&codepoint)) {
      restOfLine();
      continue;
    }
    restOfLine();
    std::map<std::u16string_view, std::vector<UnicodeString>> lines;
    while (!scanner.isAtEnd()) {
      std::u16string_view shown = u"notice: ";
      if (scanner.scanString(u"\t")) {
        shown = u"";
        for (const auto& [marker, symbol] : markers) {
          if (scanner.scanString(marker)) {
            shown = symbol.empty() ? u"dropped" : symbol;
            break;
          }
        }
      } else if (!scanner.scanString(u"@+\t")) {
        break;
      }
      UnicodeString line = restOfLine();
      if ((shown.empty() || shown == u"notice: ") && line.starts_with(u'*')) line[0] = u'\u2022';
      lines[shown].push_back(std::move(line));
    }
    UnicodeString all;
    for (std::u16string_view symbol : order) {
      for (const UnicodeString& line : lines[symbol])
        all += u"\t\t" + UnicodeString(symbol) + line + u"\n";
    }
    if (!all.empty()) all.pop_back();
    described += qnunicode::fromUTF8(QNFormat("[%X]", codepoint)) + all;
  }
  return described;
}

}  // namespace

TEST(NamesListReader, MarkersLineEndsAndCharsetsGiveTheseEntriesWithoutLogging) {
  const std::string cafe = "00E9\tE\n\t* caf\xC3\xA9 \xF0\x9F\x98\x80!\n";
  const UnicodeString utf8 = u"[E9]\t\t\u2022 caf\u00E9 \U0001F600!",
                      latin1 = u"[E9]\t\t\u2022 caf\u00C3\u00A9 \u00F0\u009F\u0098\u0080!";
  const std::pair<std::string, UnicodeString> cases[] = {
      // Fields in display order with their symbols, lines in file order, "\t; " dropped.
      {"00E9\tE\n@+\t* n1\n\t# c\n\tX r1\n\t= a1\n\t% f\n\t~ v\n\t* m\n\t; e\n\t: d\n"
       "@+\t\tn2\n\tx r2\n\t= a2\n",
       u"[E9]\t\t= a1\n\t\t= a2\n\t\t\u225D f\n\t\t~ v\n\t\t\u2022 m\n\t\t\u2192 r1\n"
       u"\t\t\u2192 r2\n\t\tEQUIV  d\n\t\tAPPROX c\n\t\tnotice: \u2022 n1\n\t\tnotice: \tn2"},
      // A marker needs its blank to count; empty texts are kept.
      {"0020\tSPACE\n\t=no blank\n\tx\n\t= \n\t:\n\t\n@+\t\n",
       u"[20]\t\t= \n\t\t=no blank\n\t\tx\n\t\t\n\t\tEQUIV \n\t\tnotice: "},
      {"; utf-8\n@@@\tT\n\theader\n@@\t0000\tB\t007F\n@+\tblock notice\n0001\tA\n\t= a\n\n\t= b\n"
       "0002\tB\n\t= c\n@\t\tSubheader\n\t= d\n0003\tC\n\t= e\n0x0004\tD\n@~\t!\n\t= f\n",
       u"[1]\t\t= a[2]\t\t= c[3]\t\t= e[4]"},
      {"0041\tA\n\t* last comment", u"[41]\t\t\u2022 last comment"},
      {"0041\tA\n0042\tB", u"[41][42]"},
      // With CR LF each text keeps its CR and a CR LF line is blank.
      {"; utf-8\r\n0041\tA\r\n\t= alias\r\n\t: 0061\r\n\r\n\t= orphan\r\n0042\tB\r\n",
       u"[41]\t\t= alias\r\n\t\tEQUIV  0061\r[42]"},
      // UTF-8 only where the file starts with a comment line naming it, in any case.
      {"; charset=UTF-8\n" + cafe, utf8},
      {";any case: uTf-8\n" + cafe, utf8},
      {"; charset=ISO-8859-1\n" + cafe, latin1},
      {" ; utf-8\n" + cafe, latin1},
      {"; charset=UTF-8 \xFF\xFE", u""}};  // no line feed: Latin-1 whatever it says
  for (const auto& [bytes, entries] : cases) {
    SCOPED_TRACE(bytes);
    LogCapture log;
    EXPECT_EQ(describe(readBytes(bytes)), entries);
    EXPECT_THAT(log.lines(), ElementsAre());
  }
}

TEST(NamesListReader, UndecodableUnreadableOrRandomFilesAreLogged) {
  ScratchDirectory scratch;
  const std::string undecodable = "could not interpret NamesList as Unicode \\(UTF-8\\) string";
  const std::pair<std::optional<std::string>, std::string> cases[] = {
      {scratch.write("1", "; charset=\xFF\n0041\tA\n"), undecodable},             // read as UTF-8
      {scratch.write("2", "; utf-8\n0041\tA\n\t= \xED\xA0\x80\n"), undecodable},  // lone surrogate
      {scratch.path() + "/None.txt", "could not open path '" + scratch.path() + "/None.txt'"},
      {scratch.path(), "could not open path '" + scratch.path() + "'"}};
  for (const auto& [path, message] : cases) {
    LogCapture log;
    EXPECT_FALSE(Entry::readNamesListAtPath(path));
    EXPECT_THAT(log.lines(),
                ElementsAre(MatchesRegex("QNUnicodeNamesList\\.cpp:[0-9]+ " + message)));
  }
  // Random bytes, mostly the format's markers, give the reference reader's entries, or one
  // decoding failure where it finds no text. Some rounds hold well-formed UTF-8 beyond ASCII.
  const std::string alphabet = "\n\n\n\t\t\t\r @+;:#=%xX*~0123456789ABCDEFabcdef";
  const std::string wide[] = {"\xC3\xA9", "\xE2\x80\xA2", "\xF0\x9F\x98\x80", "\xC2\x85"};
  std::mt19937 random(20240611);
  for (int round = 0; round < 300; ++round) {
    std::string bytes = round % 3 == 0 ? "; charset=UTF-8\n" : "";
    for (size_t n = 1 + random() % 3000; n > 0; --n) {
      const uint32_t pick = random() % 8;
      bytes += pick == 0                ? std::string(1, static_cast<char>(random()))
               : pick == 1 && round % 2 ? wide[random() % 4]
                                        : std::string(1, alphabet[random() % alphabet.size()]);
    }
    LogCapture log;
    auto entries = readBytes(bytes);
    EXPECT_EQ(log.lines().size(), entries ? 0u : 1u) << round;
    EXPECT_THAT(log.lines(), testing::Each(testing::HasSubstr("could not interpret NamesList")));
    EXPECT_EQ(describe(entries), describeAsReference(bytes)) << round;
  }
}

TEST(NamesListReader, AnEntryFromAScannerLeavesItAtTheNextLineOfTheFile) {
  const UnicodeString text = u"header\n0041\tA\n\t= a\n\t* b\n@+\t\u00E9\n0042\tB\n\t\tc";
  qnunicode::QNScanner scanner(text, qnunicode::QNScanner::Skip::Nothing);
  scanner.setCaseSensitive(false);
  EXPECT_FALSE(Entry::charEntryWithScanner(scanner));  // no number at "header"
  EXPECT_EQ(scanner.scanLocation(), 0u);
  scanner.setScanLocation(7);
  std::shared_ptr<const Entry> first = Entry::charEntryWithScanner(scanner);
  ASSERT_TRUE(first);
  EXPECT_EQ(text.substr(scanner.scanLocation()), u"0042\tB\n\t\tc");
  const auto second = Entry::charEntryWithScanner(scanner);
  EXPECT_TRUE(second && scanner.isAtEnd());
  EXPECT_EQ(describe(*first) + describe(*second),
            u"[41]\t\t= a\n\t\t\u2022 b\n\t\tnotice: \u00E9[42]\t\t\tc");
  EXPECT_THAT(strings(first->notices()), ElementsAre(u"\u00E9"));
  EXPECT_FALSE(first->crossRefs() || second->aliases());
}

TEST(DatabaseNamesList, MissingFileIsReadAgainOnEveryCallAndACodepointGetsItsFirstEntry) {
  ScratchDirectory scratch;
  QNUnicodeDatabase database({scratch.path()}, {});
  LogCapture log;
  EXPECT_TRUE(database.readNamesList());  // reports success all the same
  EXPECT_FALSE(database.namesList() || database.namesListCharEntryForCodepoint(0x41));
  const auto nil = MatchesRegex("QNUnicodeNamesList\\.cpp:[0-9]+ could not open path '<nil>'");
  EXPECT_THAT(log.lines(), ElementsAre(nil, nil, nil));  // and no missing-file report
  scratch.write("NamesList.txt", "0300\tGRAVE\n0041\tA\n0300\tAGAIN\n");
  auto list = database.namesList();
  ASSERT_TRUE(list && list->size() == 3);
  EXPECT_EQ(database.namesListCharEntryForCodepoint(0x300), &(*list)[0]);
  for (auto c : {0x110000u, 0xFFFFFFFFu}) EXPECT_FALSE(database.namesListCharEntryForCodepoint(c));
  EXPECT_EQ(database.namesList(), list);  // read once
}

// The library gives each annotation line as a tab and its text (a notice's "@+" dropped); our
// fields lack the markers, but for comments and notices, which it gives merged in file order.
TEST(RealNamesList, EveryAnnotationOfLibuninameslistIsInOurEntryInOrder) {
  auto database = qnunicode::testing::realDatabase();
  ASSERT_TRUE(database->namesList());
  ASSERT_STREQ(uniNamesList_NamesListVersion(), "Nameslist-Version: 15.0");
  const std::pair<std::u16string_view, size_t> markers[] = {{u"= ", 0}, {u"% ", 1}, {u"x ", 3},
                                                            {u":", 4},  {u"# ", 5}, {u"", 2}};
  std::array<size_t, 7> met{};
  for (uint32_t codepoint = 0; codepoint <= 0x10FFFF; ++codepoint) {
    auto entry = database->namesListCharEntryForCodepoint(codepoint);
    const char* annotation = uniNamesList_annot(codepoint);
    ASSERT_EQ(annotation != nullptr, entry && !entry->allLinesString().empty())
        << "annotated on one side only: " << std::hex << codepoint;
    if (!annotation) continue;
    const std::array ours = {strings(entry->aliases()),        strings(entry->formalAliases()),
                             strings(entry->comments()),       strings(entry->crossRefs()),
                             strings(entry->decompositions()), strings(entry->compatMappings()),
                             strings(entry->notices())};
    std::array<size_t, 7> next{};
    const UnicodeString text = qnunicode::fromUTF8(annotation);
    for (std::u16string_view line : qnunicode::splitAt(text, u'\n')) {
      ASSERT_TRUE(line.starts_with(u'\t')) << std::hex << codepoint;
      auto marker = std::begin(markers);
      while (!line.substr(1).starts_with(marker->first)) ++marker;
      line.remove_prefix(1 + marker->first.size());
      size_t f = marker->second;  // an unmarked line is the next comment, or else the next notice
      if (f == 2 && !(next[2] < ours[2].size() && ours[2][next[2]] == line)) f = 6;
      ASSERT_TRUE(next[f] < ours[f].size() && ours[f][next[f]] == line)
          << std::hex << codepoint << " lacks " << qnunicode::toUTF8(line);
      ++next[f], ++met[f];
    }
    for (size_t f = 0; f < 7; ++f) EXPECT_EQ(next[f], ours[f].size()) << std::hex << codepoint;
  }
  for (size_t f = 0; f < 7; ++f) EXPECT_GT(met[f], 20u) << "field " << f << " never met real data";
}

TEST(RealNamesList, ReadsLikeTheReferenceAndEachCodepointFindsItsFirstEntry) {
  std::ifstream file(qnunicode::testing::ucdFile("NamesList.txt"), std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(file)), {});
  auto database = qnunicode::testing::realDatabase();
  const auto list = database->namesList();
  ASSERT_TRUE(list && list->size() > 30000);
  EXPECT_EQ(describe(list), describeAsReference(bytes));
  std::map<uint32_t, const Entry*> first;
  for (const Entry& entry : *list) first.try_emplace(entry.codepoint(), &entry);
  for (uint32_t codepoint = 0; codepoint <= 0x110000; ++codepoint) {
    const auto found = first.find(codepoint);
    ASSERT_EQ(database->namesListCharEntryForCodepoint(codepoint),
              found == first.end() ? nullptr : found->second)
        << std::hex << codepoint;
  }
}
