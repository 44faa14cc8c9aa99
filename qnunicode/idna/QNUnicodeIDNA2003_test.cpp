#include <gtest/gtest.h>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/idna/QNUnicodeSharedNameprep.h"
#include "qnunicode/idna/QNUnicodeStringprepProcessor.h"
#include "qnunicode/testing/QNTestSupport.h"
#include "qnunicode/util/QNResourceDirectory.h"

namespace {

using qnunicode::testing::LogCapture;
using Result = std::optional<UnicodeString>;

// The real database with the repository's nameprep profile.
std::shared_ptr<QNUnicodeDatabase> database() {
  QNUnicodeSetResourceDirectory(qnunicode::testing::sourceDirectory() + "/resources");
  return qnunicode::testing::realDatabase();
}

struct Case {
  const char* what;
  UnicodeString domain;
  Result result;
  UnicodeString error;  // left empty on success
};

TEST(QNUnicodeIDNA2003Test, ToASCII) {
  const auto db = database();
  LogCapture log;  // nameprep's failures
  const std::vector<Case> cases = {
      {"nameprep folds the case", u"B\u00FCcher.a", u"xn--bcher-kva.a", u""},
      {"every separator becomes a full stop", u"a\u3002b\uFF0Ec\uFF61d", u"a.b.c.d", u""},
      {"empty labels survive", u"a..b", u"a..b", u""},
      {"leading and trailing separators", u".a.", u".a.", u""},
      {"white space in front of a label or a run is dropped", u" a \u3002 b", std::nullopt,
       u"ToASCII failed at step 3a. Offending codepoint value: U+0020 at position: 2"},
      {"white space only in front", u"\t a.\n b", u"a.b", u""},
      {"an empty domain", u"", u"", u""},
      {"step 3a, with the position after the codepoint", u"a_b", std::nullopt,
       u"ToASCII failed at step 3a. Offending codepoint value: U+005F at position: 2"},
      {"step 3a on the last codepoint gives the length", u"ab_", std::nullopt,
       u"ToASCII failed at step 3a. Offending codepoint value: U+005F at position: 3"},
      {"step 3a counts code units after a pair", u"\U0001D400_x", std::nullopt,
       u"ToASCII failed at step 3a. Offending codepoint value: U+005F at position: 2"},
      {"step 3a after nameprep (U+2100 becomes a/c)", u"\u2100", std::nullopt,
       u"ToASCII failed at step 3a. Offending codepoint value: U+002F at position: 2"},
      {"step 3b", u"-ab", std::nullopt, u"ToASCII failed at step 3b"},
      {"step 3b at the end", u"ab-.c", std::nullopt, u"ToASCII failed at step 3b"},
      {"step 8 on an ASCII label", UnicodeString(64, u'a'), std::nullopt,
       u"ToASCII failed at step 8. Invalid length: 64"},
      {"step 8 on a label nameprep empties", u"a.\u00AD", std::nullopt,
       u"ToASCII failed at step 8. Invalid length: 0"},
      {"step 8 after encoding", UnicodeString(60, u'a') + u"\u00E9", std::nullopt,
       u"ToASCII failed at step 8. Invalid length: 68"},
      {"step 5", u"xn--\u00FC", std::nullopt, u"ToASCII failed at step 5"},
      {"step 5 ignores case", u"XN--\u00FC", std::nullopt, u"ToASCII failed at step 5"},
      {"an ASCII label with the prefix passes", u"xn--abc", u"xn--abc", u""},
      {"step 2: a prohibited codepoint", u"a\uE000", std::nullopt, u"ToASCII failed at step 2"},
      {"step 2: the bidirectional check", u"\u05D0a", std::nullopt, u"ToASCII failed at step 2"},
      {"right to left", u"\u05D0\u05D1.com", u"xn--4dbc.com", u""},
      {"a failing label ends the domain", u"a.b_.\u00FC", std::nullopt,
       u"ToASCII failed at step 3a. Offending codepoint value: U+005F at position: 2"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    UnicodeString error;
    EXPECT_EQ(db->IDNAToASCII(0, c.domain, &error), c.result);
    EXPECT_EQ(error, c.error);
  }
}

TEST(QNUnicodeIDNA2003Test, ToUnicode) {
  const auto db = database();
  LogCapture log;
  const std::vector<Case> cases = {
      {"the separator is kept as it was", u"a\u3002xn--bcher-kva", u"a\u3002b\u00FCcher", u""},
      {"an upper-case prefix; basics keep their case", u"XN--BCHER-KVA", u"B\u00FCCHER", u""},
      {"no round trip: the label stays", u"xn--abc-", u"xn--abc-", u""},
      {"a bad digit: the label, and the message", u"xn--a-!", u"xn--a-!",
       u"Punycode decoding failed."},
      {"a non-ASCII label comes back nameprepped", u"B\u00DCCHER.\uFF21", u"b\u00FCcher.a", u""},
      // "a" decodes to U+0080, which ToASCII refuses: its message stays.
      {"deliberately nameprepped when the round trip fails", u"xn--\uFF21", u"xn--a",
       u"ToASCII failed at step 2"},
      {"nameprep fails: the label as given", u"\u05D0a.x", u"\u05D0a.x", u""},
      {"ASCII stays as it is", u"Example.COM", u"Example.COM", u""},
      {"empty labels", u"..", u"..", u""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    UnicodeString error;
    EXPECT_EQ(db->IDNAToUnicode(0, c.domain, &error), c.result);
    EXPECT_EQ(error, c.error);
  }
}

TEST(QNUnicodeIDNA2003Test, UnassignedCodepointsAreReportedNeverRefused) {
  const auto db = database();
  bool unassigned = false;
  // U+0370 was unassigned in Unicode 3.2.
  EXPECT_EQ(db->IDNA2003ToASCII(u"a.\u0371", &unassigned, nullptr), u"a.xn--sva");
  EXPECT_TRUE(unassigned);
  EXPECT_EQ(db->IDNA2003ToASCII(u"\u00FC", &unassigned, nullptr), u"xn--tda");
  EXPECT_FALSE(unassigned);
  // A failing label still reports.
  EXPECT_EQ(db->IDNA2003ToASCII(u"\u0371_", &unassigned, nullptr), std::nullopt);
  EXPECT_TRUE(unassigned);
  EXPECT_EQ(db->IDNA2003ToUnicode(u"xn--sva", &unassigned, nullptr), u"\u0371");
  EXPECT_TRUE(unassigned);
}

TEST(QNUnicodeIDNA2003Test, WithoutNameprepOnlyASCIILabelsConvert) {
  const auto db = database();
  UnicodeString error;
  EXPECT_EQ(db->IDNAToASCII(0, u"a.b", nullptr, nullptr, &error), u"a.b");
  EXPECT_EQ(db->IDNAToASCII(0, u"a.\u00FC", nullptr, nullptr, &error), std::nullopt);
  EXPECT_EQ(error, u"ToASCII failed at step 2");
  error.clear();
  EXPECT_EQ(db->IDNAToUnicode(0, u"\u00DC.xn--tda", nullptr, nullptr, &error), u"\u00DC.\u00FC");
  EXPECT_EQ(error, u"");
}

TEST(QNUnicodeIDNA2003Test, OtherTypesAndTheFormsThatLog) {
  const auto db = database();
  LogCapture log;
  UnicodeString error;
  // Type 1 is IDNA2008, whose failures are messages, not log lines; ToASCII turns every
  // separator into a full stop, ToUnicode keeps them.
  EXPECT_EQ(db->IDNAToASCII(1, u"b\u00FCcher\u3002de", &error), u"xn--bcher-kva.de");
  EXPECT_EQ(db->IDNAToUnicode(1, u"xn--bcher-kva\u3002de", &error), u"b\u00FCcher\u3002de");
  EXPECT_EQ(db->IDNAToASCII(1, u"a.B\u00FCcher", &error), std::nullopt);
  EXPECT_EQ(error, u"Invalid U-Label. 4.2.2. of RFC 5891: U+0042 is DISALLOWED");
  EXPECT_EQ(db->IDNAToASCII(1, u"..", &error), u"..");  // no label, nothing to convert
  EXPECT_TRUE(log.lines().empty());
  // An unknown type fails any domain with a label, with a log line and no message.
  error.clear();
  EXPECT_EQ(db->IDNAToASCII(2, u"a", &error), std::nullopt);
  EXPECT_EQ(db->IDNAToUnicode(7, u"a.b", &error), std::nullopt);
  EXPECT_EQ(error, u"");
  EXPECT_EQ(db->IDNAToASCII(2, u"", &error), u"");
  EXPECT_EQ(log.lines(), (std::vector<std::string>{"QNUnicodeDatabase unknown IDNA type",
                                                   "QNUnicodeDatabase unknown IDNA type"}));
  // The forms without a message out-parameter log it.
  log.clear();
  EXPECT_EQ(db->IDNAToASCII(0, u"a_b"), std::nullopt);
  EXPECT_EQ(db->IDNAToUnicode(0, u"xn--a-!"), u"xn--a-!");  // succeeds, and logs
  EXPECT_EQ(db->IDNAToASCII(0, u"ok"), u"ok");
  EXPECT_EQ(log.lines(),
            (std::vector<std::string>{
                "ToASCII failed at step 3a. Offending codepoint value: U+005F at position: 2",
                "Punycode decoding failed."}));
}

TEST(QNUnicodeIDNA2003Test, TheSharedNameprepProcessorGoesWithItsDatabase) {
  const auto db = database();
  const QNUnicodeStringprepProcessor* first = qnunicode::detail::sharedNameprepProcessor(*db);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(qnunicode::detail::sharedNameprepProcessor(*db), first);  // kept
  // Dropped with the database that made it, and made again over the next one that asks; another
  // database going away leaves it alone. (Run under the sanitizers, a processor reading through
  // a database that is gone would show.)
  qnunicode::detail::forgetSharedNameprepProcessorOfDatabase(db.get());
  {
    QNUnicodeDatabase other({qnunicode::testing::ucdDirectory()}, {});
    EXPECT_EQ(other.IDNA2003ToASCII(u"Bücher", nullptr, nullptr), u"xn--bcher-kva");
  }
  QNUnicodeDatabase unrelated({qnunicode::testing::ucdDirectory()}, {});
  const QNUnicodeStringprepProcessor* again = qnunicode::detail::sharedNameprepProcessor(*db);
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(again->database().get(), db.get());
  EXPECT_EQ(db->IDNA2003ToASCII(u"Bücher", nullptr, nullptr), u"xn--bcher-kva");
}

TEST(QNUnicodeIDNA2003Test, HostileInputEndsInLinearTime) {
  const auto db = database();
  QNSetLogSink([](std::string_view) {});
  UnicodeString error;
  // A megabyte label of non-ASCII: nameprep, encoding and the length check of step 8.
  UnicodeString big(1 << 20, u'\u00E9');
  EXPECT_EQ(db->IDNAToASCII(0, big, &error), std::nullopt);
  EXPECT_EQ(error.substr(0, 35), u"ToASCII failed at step 8. Invalid l");
  EXPECT_EQ(db->IDNAToUnicode(0, u"xn--" + UnicodeString(1 << 20, u'a'), &error),
            u"xn--" + UnicodeString(1 << 20, u'a'));
  // A megabyte of every separator, and of lone surrogates.
  UnicodeString separators;
  for (int k = 0; k < (1 << 18); ++k) separators += u".\u3002\uFF0E\uFF61";
  EXPECT_EQ(db->IDNAToASCII(0, separators, &error), UnicodeString(1 << 20, u'.'));
  EXPECT_EQ(db->IDNAToUnicode(0, separators, &error), separators);
  const UnicodeString surrogates(1 << 20, u'\xDC00');
  EXPECT_EQ(db->IDNAToASCII(0, surrogates, &error), std::nullopt);
  EXPECT_EQ(error, u"ToASCII failed at step 2");  // C.5 prohibits surrogates
  EXPECT_EQ(db->IDNAToUnicode(0, surrogates, &error), surrogates);
  QNSetLogSink({});
}

}  // namespace
