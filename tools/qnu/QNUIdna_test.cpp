// qnu punycode and qnu idna run as whole processes: results on standard output, one line per
// failure on standard error, JSON lines, exit codes, and the nameprep profile of an installation.
#include <gtest/gtest.h>

#include <filesystem>

#include "QNUTestProcess.h"
#include "qnunicode/testing/QNTestSupport.h"

namespace fs = std::filesystem;

namespace qnu {
namespace {

using Lines = std::vector<std::string>;
using Result = testing::ProcessResult;

Result qnu(const Lines& arguments, const std::string& input = "") {
  return testing::runProcess(QNU_EXECUTABLE, arguments, input);
}

TEST(QnuPunycode, EncodesAndDecodesArgumentsOrLinesAndNamesEachFailure) {
  EXPECT_EQ(qnu({"punycode", "b\u00FCcher", "abc", ""}), (Result{0, "bcher-kva\nabc-\n\n", ""}));
  EXPECT_EQ(qnu({"punycode", "--decode"}, "bcher-kva\r\n-abc\nBCHER-KVA\n"),
            (Result{1, "b\u00FCcher\nB\u00FCCHER\n", "qnu: -abc: Punycode decoding failed.\n"}));
  EXPECT_EQ(qnu({"punycode", "--json", "-d", "bcher-kva", "a-!"}),
            (Result{1,
                    "{\"input\":\"bcher-kva\",\"output\":\"b\u00FCcher\",\"error\":null}\n"
                    "{\"input\":\"a-!\",\"output\":null,\"error\":\"Punycode decoding failed.\"}\n",
                    ""}));
  EXPECT_EQ(qnu({"punycode"}, ""), (Result{0, "", ""}));  // no lines, no answers
  EXPECT_EQ(qnu({"punycode", "-d"}, "ok\xC3"),
            (Result{2, "", "qnu: standard input is not valid UTF-8\n"}));
}

TEST(QnuIdna, AnswersEveryDomainAndExitsWithOneWhenAnyFailed) {
  EXPECT_EQ(qnu({"idna", "--2003"}, "B\u00FCcher.a\na_b\na\u3002b\nxn--\u00FC\n"),
            (Result{1, "xn--bcher-kva.a\na.b\n",
                    "qnu: a_b: ToASCII failed at step 3a. Offending codepoint value: U+005F at "
                    "position: 2\nqnu: xn--\u00FC: ToASCII failed at step 5\n"}));
  EXPECT_EQ(qnu({"idna", "--2003", "--to-unicode", "a\u3002xn--bcher-kva", "xn--a-!"}),
            (Result{0, "a\u3002b\u00FCcher\nxn--a-!\n", ""}));
  EXPECT_EQ(qnu({"--json", "idna", "--2003", "a.\u0371", "ab-"}),
            (Result{1,
                    "{\"input\":\"a.\u0371\",\"output\":\"a.xn--sva\",\"error\":null,"
                    "\"containsUnassignedCodepoints\":true}\n"
                    "{\"input\":\"ab-\",\"output\":null,\"error\":\"ToASCII failed at step 3b\","
                    "\"containsUnassignedCodepoints\":false}\n",
                    ""}));
  EXPECT_EQ(qnu({"idna", "--2003", "--2008", "a"}),
            (Result{2, "", "qnu: choose one conversion: --2003 or --2008\n"}));
}

TEST(QnuIdna, IDNA2008IsTheDefault) {
  // No case mapping: the capital is refused; the separators become full stops.
  const Result toASCII{1, "xn--bcher-kva.de\nABC\n",
                       "qnu: B\u00FCcher: Invalid U-Label. 4.2.2. of RFC 5891: U+0042 is "
                       "DISALLOWED\nqnu: a\u00B7b: Invalid U-Label. 4.2.3.3. (Contextual Rules) "
                       "of RFC 5891: Failed A.3. context rule (MIDDLE DOT)\n"};
  const std::string input = "b\u00FCcher\u3002de\nB\u00FCcher\nABC\na\u00B7b\n";
  EXPECT_EQ(qnu({"idna"}, input), toASCII);
  EXPECT_EQ(qnu({"idna", "--2008"}, input), toASCII);
  EXPECT_EQ(
      qnu({"idna", "--to-unicode", "xn--bcher-kva\u3002de", "b\u00FCcher"}),
      (Result{1, "b\u00FCcher\u3002de\n",
              "qnu: b\u00FCcher: Not an ASCII-Label. Contains non-ASCII codepoint U+00FC.\n"}));
  EXPECT_EQ(qnu({"--json", "idna", "XN--BCHER-KVA", "xn--bcher-kva"}),
            (Result{0,
                    "{\"input\":\"XN--BCHER-KVA\",\"output\":\"XN--BCHER-KVA\",\"error\":null}\n"
                    "{\"input\":\"xn--bcher-kva\",\"output\":\"xn--bcher-kva\",\"error\":null}\n",
                    ""}));
  EXPECT_EQ(qnu({"--json", "idna", "-u", "XN--BCHER-KVA"}),
            (Result{1,
                    "{\"input\":\"XN--BCHER-KVA\",\"output\":null,\"error\":\"Invalid A-Label. "
                    "Converting putative U-Label \u201CB\u00FCCHER\u201D back to A-Label failed: "
                    "Invalid U-Label. 4.2.2. of RFC 5891: U+0042 is DISALLOWED\"}\n",
                    ""}));
}

TEST(QnuIdna, AnInstallationWithoutTheNameprepProfileSaysSo) {
  qnunicode::testing::ScratchDirectory prefix;
  const fs::path bin = fs::path(prefix.path()) / "bin";
  const fs::path resources = (bin / QNU_RELATIVE_RESOURCE_DIR).lexically_normal();
  fs::create_directories(bin);
  fs::create_directories(resources);
  fs::copy_file(QNU_EXECUTABLE, bin / "qnu");
  fs::create_directory_symlink(qnunicode::testing::ucdDirectory(), resources / "ucd");
  const std::string installed = (bin / "qnu").string();
  EXPECT_EQ(testing::runProcess(installed, {"idna", "--2003", "a"}),
            (Result{2, "",
                    "qnu: the nameprep profile is missing at '" +
                        (resources / "nameprep").string() + "'\n"}));
  fs::create_directory_symlink(qnunicode::testing::sourceDirectory() + "/resources/nameprep",
                               resources / "nameprep");
  EXPECT_EQ(testing::runProcess(installed, {"idna", "--2003", "\u00FC"}),
            (Result{0, "xn--tda\n", ""}));
}

}  // namespace
}  // namespace qnu
