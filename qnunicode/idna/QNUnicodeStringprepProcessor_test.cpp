#include "qnunicode/idna/QNUnicodeStringprepProcessor.h"

#include <gtest/gtest.h>
#include <stringprep.h>

#include <map>
#include <sstream>

#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/testing/QNTestSupport.h"

namespace {

using qnunicode::testing::LogCapture;
using qnunicode::testing::ScratchDirectory;
using Processor = QNUnicodeStringprepProcessor;
using Ranges = Processor::RangeList;

std::string nameprepDirectory() {
  return qnunicode::testing::sourceDirectory() + "/resources/nameprep";
}

// A profile of the given tables in a scratch directory (a null text leaves the file out).
struct ScratchProfile {
  ScratchProfile(const char* mapping, const char* prohibited, const char* unassigned) {
    if (mapping) directory.write("mapping.txt", mapping);
    if (prohibited) directory.write("prohibited.txt", prohibited);
    if (unassigned) directory.write("unassigned.txt", unassigned);
  }
  std::shared_ptr<Processor> make(bool normalization = true, bool bidi = true) const {
    return Processor::processorWithStringprepDataDirectory(
        directory.path(), qnunicode::testing::realDatabase(), normalization, true, bidi);
  }
  ScratchDirectory directory;
};

TEST(QNUnicodeStringprepProcessorTest, TablesInTheAppendixLayout) {
  const ScratchProfile profile(
      "# B.1 comment lines are skipped\n"
      "00AD; ; Map to nothing\n"
      "0041; 0061; Case map\n"
      "00DF; 0073 0073; Case map\r\n"
      "  0x0042 ;0062 ; a prefix and blanks\n"
      "0043 0063; no semicolon: skipped\n"
      "0044; 0078\n"
      "0044; 0064; a later line replaces an earlier one\n"
      "0045; 1D400 zz; a supplementary value, then text\n",
      "C.1 a heading that begins with a hexadecimal number is data\n"
      "0221\n"
      "0234-024F; [RANGE]\n"
      "0300- ; a dash without a second codepoint\n"
      "0400-03FF; a range that ends before it starts wraps around\n",
      "0378-0379\n\nnot data\n");
  const auto processor = profile.make();
  ASSERT_TRUE(processor);
  const std::unordered_map<uint32_t, UnicodeString> mappings = {
      {0xAD, u""}, {0x41, u"a"}, {0xDF, u"ss"}, {0x42, u"b"}, {0x44, u"d"}, {0x45, u"\U0001D400"}};
  EXPECT_EQ(processor->mappings(), mappings);
  EXPECT_EQ(processor->prohibitedRanges(),
            (Ranges{{0xC, 1}, {0x221, 1}, {0x234, 0x1C}, {0x300, 1}, {0x400, 0}}));
  EXPECT_EQ(processor->unassignedRanges(), (Ranges{{0x378, 2}}));
  // Mapping is done once, not on its own output.
  EXPECT_EQ(processor->mapString(u"A\u00ADB\u00DFC"), u"abssC");
  EXPECT_EQ(processor->mapString(u"\u00C4"), u"\u00C4");

  // Both ends of a range are in it; the scans stop at the first range that holds a codepoint.
  for (uint32_t c : {0x234u, 0x24Fu, 0x221u, 0xCu, 0x300u})
    EXPECT_TRUE(Processor::codepoint(c, processor->prohibitedRanges())) << c;
  for (uint32_t c : {0x233u, 0x250u, 0x222u, 0x301u, 0x400u}) {
    EXPECT_FALSE(Processor::codepoint(c, processor->prohibitedRanges())) << c;
    EXPECT_FALSE(processor->containsProhibitedCodepoints(QNUnicode::stringWithCodepoint(c))) << c;
  }
  EXPECT_TRUE(processor->containsProhibitedCodepoints(u"ab\u024F"));
  EXPECT_FALSE(Processor::string(u"", processor->unassignedRanges()));
  EXPECT_TRUE(Processor::string(u"a\u0379", processor->unassignedRanges()));
}

TEST(QNUnicodeStringprepProcessorTest, UnreadableTablesAreLoggedAndMakeNoProcessor) {
  struct Case {
    const char* what;
    const char* mapping;
    const char* prohibited;
    const char* unassigned;
    std::vector<std::string> log;
  };
  const std::string open = "StringprepProcessor could not open data file ";
  const std::vector<Case> cases = {
      {"no mapping", nullptr, "0221\n", "0378\n", {open + "'mapping.txt'"}},
      {"an empty mapping is unreadable", "", "0221\n", "0378\n", {open + "'mapping.txt'"}},
      {"no prohibited: unassigned is not tried",
       "00AD; ;\n",
       nullptr,
       nullptr,
       {open + "'prohibited.txt'"}},
      {"an empty unassigned", "00AD; ;\n", "0221\n", "", {open + "'unassigned.txt'"}},
      {"bytes that are not UTF-8", "00AD; ; \xFF\n", "0221\n", "0378\n", {open + "'mapping.txt'"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const ScratchProfile profile(c.mapping, c.prohibited, c.unassigned);
    LogCapture log;
    EXPECT_EQ(profile.make(), nullptr);
    EXPECT_EQ(log.lines(), c.log);
  }
  // Without a database the tables are still read, and nothing is made.
  LogCapture log;
  EXPECT_EQ(Processor::processorWithStringprepDataDirectory(nameprepDirectory(), nullptr, true,
                                                            true, true),
            nullptr);
  EXPECT_TRUE(log.lines().empty());
}

TEST(QNUnicodeStringprepProcessorTest, PreparationStepsInTheirOrder) {
  // U+00AA maps to the prohibited U+0221; U+0222 is prohibited but mapped to nothing; U+00BA
  // maps to an unassigned codepoint; U+FB01 normalizes (NFKC) to "fi".
  const ScratchProfile profile("0222; ;\n00AA; 0221\n00BA; 0378\n0049; 0069\n", "0221\n0066\n",
                               "0378\n");
  const auto processor = profile.make();
  ASSERT_TRUE(processor);
  LogCapture log;
  const std::string prohibited =
      "Stringprep failed: At least one codepoint was in one of the prohibited ranges";
  const std::string bidi = "Stringprep failed: Bidirectionality is invalid";
  struct Case {
    const char* what;
    UnicodeString input;
    std::optional<UnicodeString> prepared;
    bool unassigned;  // the report, or (for failures) left as it was
    std::vector<std::string> log;
  };
  const std::vector<Case> cases = {
      {"empty", u"", u"", false, {}},
      {"mapped, then checked", u"\u00AA", std::nullopt, true, {prohibited}},
      {"a prohibited codepoint mapped away", u"a\u0222b", u"ab", false, {}},
      {"normalized, then checked", u"\uFB01", std::nullopt, true, {prohibited}},
      {"unassigned is only reported", u"I\u00BA", u"i\u0378", true, {}},
      {"Hebrew with a European digit at the end",
       u"\u05D0\u05D1"
       "1",
       std::nullopt,
       false,
       {bidi}},
      {"Hebrew with a Latin letter inside", u"\u05D0a\u05D1", std::nullopt, false, {bidi}},
      {"Hebrew with a digit in the middle",
       u"\u05D0"
       "1\u05D1",
       u"\u05D0"
       "1\u05D1",
       false,
       {}},
      {"Arabic letters", u"\u0627\u0644", u"\u0627\u0644", false, {}},
      {"a string without R or AL", u"1-a", u"1-a", false, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    log.clear();
    bool unassigned = true;  // a failure leaves it as it was
    EXPECT_EQ(processor->stringprepString(c.input, &unassigned), c.prepared);
    EXPECT_EQ(unassigned, c.unassigned);
    EXPECT_EQ(log.lines(), c.log);
  }
  // With the switches off: only mapped, and no bidirectional check.
  const auto plain = profile.make(false, false);
  EXPECT_EQ(plain->stringprepString(u"\uFB01\u05D0a"), u"\uFB01\u05D0a");
  EXPECT_TRUE(plain->validateBidirectionality(u""));
  EXPECT_FALSE(plain->validateBidirectionality(u"\u05D0a"));
}

// ---- The nameprep profile against the peer ---------------------------------------------------

// Codepoints whose decomposition Unicode changed after 3.2 (Corrigendum #4): the loaded UCD 15.0.0
// normalizes them to another ideograph than the peer's Unicode 3.2 tables do.
const std::vector<uint32_t> kCorrigendum4 = {0x2F868, 0x2F874, 0x2F91F, 0x2F95F, 0x2F9BF};

TEST(QNUnicodeNameprepPeerTest, EveryCodepointIsPreparedAsThePeerDoes) {
  const auto nameprep = Processor::processorWithStringprepDataDirectory(
      nameprepDirectory(), qnunicode::testing::realDatabase(), true, true, true);
  ASSERT_TRUE(nameprep);
  QNSetLogSink([](std::string_view) {});
  size_t same = 0;
  std::vector<uint32_t> laterNormalization, corrigendum, unexplained;
  for (uint32_t c = 0; c <= 0x10FFFF; ++c) {
    uint32_t peer[32] = {c};
    size_t length = 1;
    const bool peerAccepts = stringprep_4i(peer, &length, 32, Stringprep_profile_flags(0),
                                           stringprep_nameprep) == STRINGPREP_OK;
    const UnicodeString input = QNUnicode::stringWithCodepoint(c);
    const std::optional<UnicodeString> ours = nameprep->stringprepString(input);
    std::vector<uint32_t> oursCodepoints;
    if (ours) {
      for (int32_t offset = ours->empty() ? -1 : 0; offset >= 0;) {
        oursCodepoints.push_back(QNUnicode::codepointAtIndex(*ours, 0, offset, &offset));
      }
    }
    if (peerAccepts == bool(ours) &&
        (!ours || oursCodepoints == std::vector<uint32_t>(peer, peer + length))) {
      ++same;
    } else if (c == 0 && peerAccepts && length == 0 && ours == input) {
      // The peer's strings end at a zero: U+0000 comes back empty.
      ++same;
    } else if (std::find(kCorrigendum4.begin(), kCorrigendum4.end(), c) != kCorrigendum4.end()) {
      corrigendum.push_back(c);
    } else if (nameprep->containsUnassignedCodepoints(input) &&
               nameprep->database()->normalizationFormKCForString(input) != input) {
      // Unassigned in Unicode 3.2 (table A.1), with a compatibility decomposition now: the peer
      // keeps it as it is, the loaded normalization maps it.
      laterNormalization.push_back(c);
    } else {
      unexplained.push_back(c);
    }
  }
  QNSetLogSink({});
  std::ostringstream list;
  for (uint32_t c : unexplained) list << std::hex << c << " ";
  EXPECT_TRUE(unexplained.empty()) << unexplained.size() << " codepoints differ: " << list.str();
  EXPECT_EQ(corrigendum, kCorrigendum4);
  EXPECT_GT(same, 1100000u);
  // Recorded for the notes: how many newer codepoints the two normalizations treat apart.
  RecordProperty("laterNormalization", static_cast<int>(laterNormalization.size()));
  std::printf(
      "nameprep: %zu codepoints alike, %zu differ by newer decompositions, %zu by "
      "Corrigendum #4\n",
      same, laterNormalization.size(), corrigendum.size());
}

}  // namespace
