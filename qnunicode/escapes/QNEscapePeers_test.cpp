// The escapes against peers nobody here wrote: Python's urllib.parse, its "unicode_escape" codec
// and its html module, run once per test over a file of cases.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <random>
#include <sstream>

#include "qnunicode/escapes/EscapeTestTexts_test.h"
#include "qnunicode/escapes/QNUnicodeEscapes.h"
#include "qnunicode/escapes/QNXHTMLDatabase.h"
#include "qnunicode/testing/QNTestSupport.h"

using namespace QNUnicode;
using qnunicode::testing::randomText;
using qnunicode::testing::ScratchDirectory;
using qnunicode::testing::unitsText;

namespace {

// Each input line is an operation and a text as UTF-16BE hexadecimal; each output line the
// answer in the same form, NONE where Python refuses the text, SKIP where the html module
// answers differently by design (the Windows-1252 remapping of U+0080 to U+009F, U+FFFD for
// surrogates and U+0000, nothing for other controls and noncharacters).
constexpr const char* kPeerScript = R"PY(
import codecs, html, html.entities, re, sys, urllib.parse
SAFE = "!$&'()*+,/:;=?@"  # with the letters, digits and "_.-~" quote never escapes
def text(h): return bytes.fromhex(h).decode('utf-16-be', 'surrogatepass')
def units(s): return s.encode('utf-16-be', 'surrogatepass').hex()
def answer(op, s):
    if op == 'quote': return units(urllib.parse.quote(s, safe=SAFE))
    if op == 'unquote':
        try: return units(urllib.parse.unquote(s, errors='strict'))
        except UnicodeDecodeError: return 'NONE'
    if op == 'unicode_escape': return units(codecs.decode(s.encode('ascii'), 'unicode_escape'))
    if op == 'charref':
        m = re.fullmatch(r'&#([xX]?)([0-9a-fA-F]+);', s)
        n = int(m.group(2), 16 if m.group(1) else 10)
        if n in html._invalid_charrefs or 0xD800 <= n <= 0xDFFF or n > 0x10FFFF or n in html._invalid_codepoints:
            return 'SKIP'
        return units(html.unescape(s))
    if op == 'entity':
        # The HTML 4 table, which the XHTML 1.0 sets repeat (HTML5 moved lang and rang); apos is
        # only in HTML5's.
        name = s[1:-1]
        if name in html.entities.name2codepoint: return units(chr(html.entities.name2codepoint[name]))
        return units(html.unescape(s))
    raise SystemExit('unknown operation ' + op)
with open(sys.argv[1]) as cases, open(sys.argv[2], 'w') as out:
    for line in cases:
        op, _, h = line.rstrip('\n').partition('\t')
        out.write(answer(op, text(h)) + '\n')
)PY";

struct PeerAnswer {
  enum Kind { Text, None, Skip } kind;
  UnicodeString text;
};

std::string hexOf(std::u16string_view text) {
  std::string out;
  for (char16_t unit : text) {
    char digits[5];
    std::snprintf(digits, sizeof digits, "%04x", static_cast<unsigned>(unit));
    out += digits;
  }
  return out;
}

// Runs the peer over (operation, text) cases; fails the test loudly when Python cannot run.
std::vector<PeerAnswer> askPython(const std::vector<std::pair<std::string, UnicodeString>>& cases) {
  ScratchDirectory directory;
  std::string input;
  for (const auto& [operation, text] : cases) input += operation + "\t" + hexOf(text) + "\n";
  const std::string script = directory.write("peer.py", kPeerScript);
  const std::string in = directory.write("cases.txt", input);
  const std::string out = directory.path() + "/answers.txt";
  const std::string command = "python3 '" + script + "' '" + in + "' '" + out + "'";
  const int status = std::system(command.c_str());
  std::vector<PeerAnswer> answers;
  if (status != 0) {
    ADD_FAILURE() << "the Python peer failed (" << status << "): " << command;
    return answers;
  }
  std::ifstream file(out);
  for (std::string line; std::getline(file, line);) {
    if (line == "NONE" || line == "SKIP") {
      answers.push_back({line == "NONE" ? PeerAnswer::None : PeerAnswer::Skip, {}});
      continue;
    }
    UnicodeString text;
    for (size_t i = 0; i + 4 <= line.size(); i += 4) {
      text.push_back(static_cast<char16_t>(std::stoul(line.substr(i, 4), nullptr, 16)));
    }
    answers.push_back({PeerAnswer::Text, text});
  }
  EXPECT_EQ(answers.size(), cases.size()) << "the peer answered fewer cases";
  return answers;
}

TEST(PythonPeers, PercentEscapesAgreeWithUrllib) {
  std::mt19937 random(8);
  std::vector<std::pair<std::string, UnicodeString>> cases;
  std::vector<std::optional<UnicodeString>> ours;
  const CodepointSet urlSet = preserveSetForStringEscapingMethod(u"URL ");
  for (int round = 0; round < 300; ++round) {
    const UnicodeString text = randomText(random, 1 + round % 60, {.loneSurrogates = false});
    cases.emplace_back("quote", text);
    ours.emplace_back(stringByAddingEscapes(text, u"URL "));
    // Some non-ASCII characters kept literally, which decoding leaves alone.
    CodepointSet kept = urlSet;
    for (char16_t unit : text) {
      if (unit >= 0x80 && !qnunicode::isSurrogate(unit) && random() % 2) kept.add(unit);
    }
    const UnicodeString escaped = stringByAddingEscapes(text, u"URL ", &kept, false);
    cases.emplace_back("unquote", escaped);
    ours.emplace_back(stringByReplacingEscapes(escaped, u"URL "));
    EXPECT_EQ(ours.back(), text);
  }
  // Runs of random bytes, well-formed UTF-8 or not.
  for (int round = 0; round < 500; ++round) {
    UnicodeString text;
    const int bytes = 1 + round % 7;
    for (int i = 0; i < bytes; ++i) {
      const unsigned byte = round % 3 ? 0x80 + random() % 0x80 : random() % 0x100;
      char escape[4];
      std::snprintf(escape, sizeof escape, "%%%02X", byte);
      text += qnunicode::decodeLatin1(escape);
      if (random() % 8 == 0) text += u'x';
    }
    cases.emplace_back("unquote", text);
    ours.emplace_back(stringByReplacingEscapes(text, u"URL "));
  }
  const std::vector<PeerAnswer> answers = askPython(cases);
  size_t failures = 0;
  for (size_t i = 0; i < answers.size() && i < cases.size(); ++i) {
    const std::optional<UnicodeString> peer =
        answers[i].kind == PeerAnswer::None ? std::nullopt : std::optional(answers[i].text);
    EXPECT_EQ(ours[i], peer) << cases[i].first << " " << qnunicode::toUTF8(cases[i].second);
    failures += ours[i] != peer;
  }
  EXPECT_EQ(failures, 0u);
}

TEST(PythonPeers, C99AndJavaReplacingAgreesWithUnicodeEscape) {
  // The escaped texts hold no backslash but those of escapes: printable ASCII without the
  // backslash is kept, everything else escaped.
  CodepointSet printable;
  printable.addRange(0x20, 0x7E);
  printable.remove(u'\\');
  std::mt19937 random(99);
  std::vector<std::pair<std::string, UnicodeString>> cases;
  std::vector<UnicodeString> ours;
  for (int round = 0; round < 400; ++round) {
    const UnicodeString text = randomText(random, 1 + round % 40);
    const bool java = round % 2;
    UnicodeString escaped =
        java ? stringByAddingJavaOrCSSEscapes(text, QNUnicodeEscapeLevelJava, u"\\u", printable)
             : stringByAddingC99EscapesPreservingOnlyCharactersFromSet(text, printable);
    // Hexadecimal digits of either case.
    for (size_t i = 1; i < escaped.size(); ++i) {
      if (escaped[i] >= u'a' && escaped[i] <= u'f' && escaped[i - 1] != u'\\' && random() % 2) {
        escaped[i] = qnunicode::asciiUppercase(escaped[i]);
      }
    }
    cases.emplace_back("unicode_escape", escaped);
    ours.push_back(stringByReplacingC99EscapesEatingJavaUs(escaped, java));
  }
  const std::vector<PeerAnswer> answers = askPython(cases);
  for (size_t i = 0; i < answers.size() && i < cases.size(); ++i) {
    EXPECT_EQ(unitsText(ours[i]), unitsText(answers[i].text)) << qnunicode::toUTF8(cases[i].second);
  }
}

TEST(PythonPeers, XHTMLReferencesAgreeWithTheHtmlModule) {
  const auto database = QNXHTMLDatabase::initWithDirectory(std::string(QNUNICODE_TEST_ENTITY_DIR));
  ASSERT_NE(database, nullptr) << "no entity directory " << QNUNICODE_TEST_ENTITY_DIR;
  ASSERT_EQ(database->XHTMLEntities()->size(), 253u);
  std::vector<std::pair<std::string, UnicodeString>> cases;
  for (const auto& [codepoint, entity] : *database->XHTMLEntities()) {
    cases.emplace_back("entity", entity);
  }
  std::mt19937 random(3);
  for (int round = 0; round < 3000; ++round) {
    const uint32_t codepoint = round % 3 == 0   ? random() % 0x10000
                               : round % 3 == 1 ? 0x10000 + random() % 0x100000
                                                : random() % 0x800;
    const UnicodeString reference =
        database->XHTMLEntityForCodepoint(codepoint, false, round % 2 == 0);
    // Some hexadecimal references with an upper-case X.
    cases.emplace_back("charref", round % 4 == 1
                                      ? reference.substr(0, 2) + u"X" + reference.substr(3)
                                      : reference);
  }
  const std::vector<PeerAnswer> answers = askPython(cases);
  size_t compared = 0;
  for (size_t i = 0; i < answers.size() && i < cases.size(); ++i) {
    if (answers[i].kind == PeerAnswer::Skip) continue;
    ++compared;
    uint32_t count = 0;
    EXPECT_EQ(unitsText(database->unicodeStringFromXHTML(cases[i].second, nullptr, &count)),
              unitsText(answers[i].text))
        << qnunicode::toUTF8(cases[i].second);
    EXPECT_EQ(count, 1u);
  }
  EXPECT_GT(compared, 2500u) << "the peer skipped too many references to compare";
}

}  // namespace
