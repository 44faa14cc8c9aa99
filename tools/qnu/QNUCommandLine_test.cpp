// The built qnu run as a whole process: its output for a handful of codepoints against text
// written by hand from the UCD 15.0.0 files, its JSON against the same values, every command's
// exit codes, and one diagnostic line for each kind of bad input.
#include <gtest/gtest.h>
#include <strings.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "QNUTestProcess.h"
#include "qnunicode/testing/QNTestSupport.h"

namespace fs = std::filesystem;

namespace qnu {
namespace {

using Json = nlohmann::json;  // key order does not matter when comparing
using qnunicode::testing::ScratchDirectory;
using qnunicode::testing::ucdDirectory;

testing::ProcessResult qnu(const std::vector<std::string>& arguments,
                           const std::string& input = "") {
  return testing::runProcess(QNU_EXECUTABLE, arguments, input);
}

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> result;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) result.push_back(line);
  return result;
}

// The host's own diagnostics on standard error, without the library's log lines (such as the
// line-break classes of the data that the library's fixed class table does not have).
std::vector<std::string> hostDiagnostics(const std::string& err) {
  std::vector<std::string> result;
  for (const std::string& line : lines(err)) {
    if (line.rfind("qnu: ", 0) == 0) result.push_back(line);
  }
  return result;
}

std::vector<Json> jsonLines(const std::string& text) {
  std::vector<Json> result;
  for (const std::string& line : lines(text)) result.push_back(Json::parse(line));
  return result;
}

// A data directory that holds the real files, each linked, except the ones named.
std::string realDataWithout(const ScratchDirectory& scratch, const std::set<std::string>& left) {
  for (const auto& entry : fs::directory_iterator(ucdDirectory())) {
    const std::string name = entry.path().filename().string();
    if (!left.count(name)) fs::create_symlink(entry.path(), fs::path(scratch.path()) / name);
  }
  return scratch.path();
}

// U+00E9, a record of its own UnicodeData line.
constexpr std::string_view kSmallEWithAcute = R"(U+00E9 é
  UTF-8                    0xC3A9
  UTF-16                   0x00E9
  Name                     LATIN SMALL LETTER E WITH ACUTE
  General category         Ll (Lowercase_Letter)
  Codepoint type           Graphic
  Combining class          0 (Not_Reordered)
  Bidirectional category   L (Left_To_Right)
  Decomposition            0065 0301 (Canonical Mapping)
  Numeric type             None
  Numeric value            (none)
  Mirrored                 no
  Unicode 1.0 name         LATIN SMALL LETTER E ACUTE
  Comment                  (none)
  Uppercase mapping        00C9
  Lowercase mapping        (none)
  Titlecase mapping        00C9
  Special casing           (none)
  Case folding (full)      00E9
  Block                    Latin-1 Supplement
  Script                   Latin
  Age                      1.1
  Line break               AL (Alphabetic)
  Hangul syllable type     NA
  Jamo short name          (none)
  Joining type             U (Non_Joining)
  Joining group            (none)
  Properties               (none)
  Derived core properties  Alphabetic, Cased, Changes_When_Casemapped, Changes_When_Titlecased, Changes_When_Uppercased, Grapheme_Base, ID_Continue, ID_Start, Lowercase, XID_Continue, XID_Start
  Plane                    0
  Assigned code point      yes
  Names list               EQUIV  0065 0301
  Index names              E WITH ACUTE, LATIN SMALL LETTER
)";

// U+AC01, a member of the Hangul syllable range: the range label and the computed name.
constexpr std::string_view kHangulSyllableGag = R"(U+AC01 각
  UTF-8                    0xEAB081
  UTF-16                   0xAC01
  Name                     <Hangul Syllable>
  Hangul syllable name     HANGUL SYLLABLE GAG
  General category         Lo (Other_Letter)
  Codepoint type           Graphic
  Combining class          0 (Not_Reordered)
  Bidirectional category   L (Left_To_Right)
  Decomposition            (none)
  Numeric type             None
  Numeric value            (none)
  Mirrored                 no
  Unicode 1.0 name         (none)
  Comment                  (none)
  Uppercase mapping        (none)
  Lowercase mapping        (none)
  Titlecase mapping        (none)
  Special casing           (none)
  Case folding (full)      AC01
  Block                    Hangul Syllables
  Script                   Hangul
  Age                      2.0
  Line break               H3 (H3)
  Hangul syllable type     LVT
  Jamo short name          (none)
  Joining type             U (Non_Joining)
  Joining group            (none)
  Properties               (none)
  Derived core properties  Alphabetic, Grapheme_Base, ID_Continue, ID_Start, XID_Continue, XID_Start
  Plane                    0
  Assigned code point      yes
  Names list               (none)
  Index names              (none)
)";

// U+1F600, a supplementary character.
constexpr std::string_view kGrinningFace = R"(U+1F600 😀
  UTF-8                    0xF09F9880
  UTF-16                   0xD83DDE00
  Name                     GRINNING FACE
  General category         So (Other_Symbol)
  Codepoint type           Graphic
  Combining class          0 (Not_Reordered)
  Bidirectional category   ON (Other_Neutral)
  Decomposition            (none)
  Numeric type             None
  Numeric value            (none)
  Mirrored                 no
  Unicode 1.0 name         (none)
  Comment                  (none)
  Uppercase mapping        (none)
  Lowercase mapping        (none)
  Titlecase mapping        (none)
  Special casing           (none)
  Case folding (full)      1F600
  Block                    Emoticons
  Script                   Common
  Age                      6.1
  Line break               ID (Ideographic)
  Hangul syllable type     NA
  Jamo short name          (none)
  Joining type             U (Non_Joining)
  Joining group            (none)
  Properties               (none)
  Derived core properties  Grapheme_Base
  Plane                    1
  Assigned code point      yes
  Names list               (none)
  Index names              Emoticons
                           Faces
)";

// U+0378, a codepoint UnicodeData does not list: a default record.
constexpr std::string_view kUnassigned0378 = R"(U+0378
  UTF-8                    0xCDB8
  UTF-16                   0x0378
  Name                     <reserved>
  General category         Cn (Unassigned)
  Codepoint type           Reserved
  Combining class          0 (Not_Reordered)
  Bidirectional category   L (Left_To_Right)
  Decomposition            (none)
  Numeric type             None
  Numeric value            (none)
  Mirrored                 no
  Unicode 1.0 name         (none)
  Comment                  (none)
  Uppercase mapping        (none)
  Lowercase mapping        (none)
  Titlecase mapping        (none)
  Special casing           (none)
  Case folding (full)      0378
  Block                    Greek and Coptic
  Script                   Unknown
  Age                      (none)
  Line break               XX (Unknown)
  Hangul syllable type     NA
  Jamo short name          (none)
  Joining type             U (Non_Joining)
  Joining group            (none)
  Properties               (none)
  Derived core properties  (none)
  Plane                    0
  Assigned code point      no
  Names list               (none)
  Index names              (none)
)";

// U+FFFF, a noncharacter: unlisted too, but an assigned code point.
constexpr std::string_view kNoncharacterFFFF = R"(U+FFFF
  UTF-8                    0xEFBFBF
  UTF-16                   0xFFFF
  Name                     <reserved>
  General category         Cn (Unassigned)
  Codepoint type           Noncharacter
  Combining class          0 (Not_Reordered)
  Bidirectional category   L (Left_To_Right)
  Decomposition            (none)
  Numeric type             None
  Numeric value            (none)
  Mirrored                 no
  Unicode 1.0 name         (none)
  Comment                  (none)
  Uppercase mapping        (none)
  Lowercase mapping        (none)
  Titlecase mapping        (none)
  Special casing           (none)
  Case folding (full)      FFFF
  Block                    Specials
  Script                   Unknown
  Age                      1.1
  Line break               XX (Unknown)
  Hangul syllable type     NA
  Jamo short name          (none)
  Joining type             U (Non_Joining)
  Joining group            (none)
  Properties               Noncharacter_Code_Point
  Derived core properties  (none)
  Plane                    0
  Assigned code point      yes
  Names list               (none)
  Index names              (none)
)";

// ---- inspect ------------------------------------------------------------------------------------

TEST(QnuInspect, ShowsEveryPropertyOfEachCodepointOfTheText) {
  const auto result = qnu({"inspect", "\u00E9"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out, kSmallEWithAcute);
  EXPECT_EQ(hostDiagnostics(result.err), std::vector<std::string>());
}

TEST(QnuInspect, CodepointsOfEveryRecordKindInTheirThreeWritings) {
  const auto result = qnu({"inspect", "--codepoint", "U+AC01", "1F600", "0x0378", "u+ffff"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out, std::string(kHangulSyllableGag) + "\n" + std::string(kGrinningFace) + "\n" +
                            std::string(kUnassigned0378) + "\n" + std::string(kNoncharacterFFFF));
  EXPECT_EQ(hostDiagnostics(result.err), std::vector<std::string>());
}

TEST(QnuInspect, TextAndCodepointArgumentsAgreeAndCommonOptionsMayComeAnywhere) {
  const auto text = qnu({"inspect", "\u00C5\uD55C\U0001F600"});
  EXPECT_EQ(text.exitCode, 0);
  EXPECT_EQ(text.out, qnu({"inspect", "-c", "U+00C5", "U+D55C..U+D55C", "U+1F600"}).out);
  const size_t first = text.out.find("U+00C5 \u00C5\n"),
               second = text.out.find("\nU+D55C \uD55C\n"),
               third = text.out.find("\nU+1F600 \U0001F600\n");
  EXPECT_TRUE(first == 0 && first < second && second < third && third != std::string::npos);
  EXPECT_EQ(qnu({"--json", "inspect", "\u00E9"}).out, qnu({"inspect", "\u00E9", "--json"}).out);
  EXPECT_EQ(qnu({"--data", ucdDirectory(), "inspect", "\u00E9"}).out, kSmallEWithAcute);
  EXPECT_EQ(qnu({"inspect", "\u00E9", "--data", ucdDirectory()}).out, kSmallEWithAcute);
}

TEST(QnuInspect, RangesRunInOrderAndAHugeRangeStreams) {
  const auto result = qnu({"inspect", "--json", "-c", "U+0041..U+0043", "U+0030", "10FFFF"});
  std::vector<uint32_t> codepoints;
  for (const Json& object : jsonLines(result.out)) codepoints.push_back(object["codepoint"]);
  EXPECT_EQ(codepoints, (std::vector<uint32_t>{0x41, 0x42, 0x43, 0x30, 0x10FFFF}));

  // The whole codespace: the first codepoints arrive while the rest is still being computed
  // (the process then waits on the full pipe, so it cannot have finished).
  testing::RunningProcess whole(QNU_EXECUTABLE, {"inspect", "--json", "-c", "U+0000..U+10FFFF"});
  EXPECT_EQ(Json::parse(whole.readLine())["codepoint"], 0);
  EXPECT_EQ(Json::parse(whole.readLine())["codepoint"], 1);
  EXPECT_TRUE(whole.isRunning());
}

TEST(QnuInspect, JsonHoldsTheLibrarysValuesUnderItsOwnNames) {
  const auto result = qnu({"--json", "inspect", "-c", "U+00E9", "U+AC01", "U+0378", "U+FFFF"});
  ASSERT_EQ(result.exitCode, 0);
  const std::vector<Json> objects = jsonLines(result.out);
  ASSERT_EQ(objects.size(), 4u);
  EXPECT_EQ(objects[0], Json::parse(R"({
    "codepoint": 233, "UTF8Representation": "0xC3A9", "UTF16Representation": "0x00E9",
    "characterName": "LATIN SMALL LETTER E WITH ACUTE", "hangulName": null,
    "generalCategory": "Ll", "generalCategoryDescription": "Lowercase_Letter",
    "codepointType": "Graphic",
    "canonicalCombiningClass": 0, "canonicalCombiningClassDescription": "Not_Reordered",
    "bidirectionalCategory": "L", "bidirectionalCategoryDescription": "Left_To_Right",
    "characterDecompositionMapping": "0065 0301",
    "characterDecompositionMappingDescription": "Canonical Mapping",
    "numericType": "None", "numericValue": null, "numericValueString": "", "mirrored": false,
    "unicode1Name": "LATIN SMALL LETTER E ACUTE", "commentField": "",
    "uppercaseMapping": "00C9", "lowercaseMapping": "", "titlecaseMapping": "00C9",
    "specialCasings": [], "fullCaseFolding": "é",
    "block": "Latin-1 Supplement", "script": "Latin", "age": "1.1",
    "lineBreak": "AL", "lineBreakDescription": "Alphabetic",
    "hangulSyllableType": "NA", "jamoShortName": null,
    "joiningType": "U", "joiningTypeDescription": "Non_Joining", "joiningGroup": "",
    "extendedProperties": [],
    "derivedCoreProperties": ["Alphabetic", "Cased", "Changes_When_Casemapped",
      "Changes_When_Titlecased", "Changes_When_Uppercased", "Grapheme_Base", "ID_Continue",
      "ID_Start", "Lowercase", "XID_Continue", "XID_Start"],
    "plane": 0, "isAssignedCodePoint": true,
    "namesList": {"aliases": null, "formalAliases": null, "comments": null, "crossRefs": null,
      "decompositions": [" 0065 0301"], "compatMappings": null, "notices": null},
    "indexNames": ["E WITH ACUTE, LATIN SMALL LETTER"]})"));
  // The range member: the range's label and the computed syllable name.
  EXPECT_EQ(objects[1]["characterName"], "<Hangul Syllable>");
  EXPECT_EQ(objects[1]["hangulName"], "HANGUL SYLLABLE GAG");
  EXPECT_EQ(objects[1]["hangulSyllableType"], "LVT");
  EXPECT_EQ(objects[1]["characterDecompositionMappingDescription"], nullptr);
  EXPECT_EQ(objects[1]["namesList"], nullptr);
  // The default records: only what sets them apart.
  EXPECT_EQ(objects[2]["characterName"], "<reserved>");
  EXPECT_EQ(objects[2]["generalCategory"], "Cn");
  EXPECT_EQ(objects[2]["codepointType"], "Reserved");
  EXPECT_EQ(objects[2]["isAssignedCodePoint"], false);
  EXPECT_EQ(objects[2]["age"], nullptr);
  EXPECT_EQ(objects[2]["script"], "Unknown");
  EXPECT_EQ(objects[2]["lineBreak"], "XX");
  EXPECT_EQ(objects[3]["codepointType"], "Noncharacter");
  EXPECT_EQ(objects[3]["isAssignedCodePoint"], true);
  EXPECT_EQ(objects[3]["extendedProperties"], Json::parse(R"(["Noncharacter_Code_Point"])"));
  EXPECT_EQ(objects[3]["age"], "1.1");
  EXPECT_EQ(objects[3]["namesList"]["comments"], nullptr);  // an entry without annotations
}

TEST(QnuInspect, CasingNumbersShapingJamoAnnotationsAndTagDescriptions) {
  const auto result = qnu({"--json", "inspect", "\u00DF\u00BD\u0622\u1100\u00C5\u00A8\u0130"});
  ASSERT_EQ(result.exitCode, 0);
  const std::vector<Json> o = jsonLines(result.out);
  ASSERT_EQ(o.size(), 7u);
  // 00DF: one unconditional special casing; full folding to "ss".
  EXPECT_EQ(o[0]["specialCasings"], Json::parse(R"([{"lowercaseMapping": "00DF",
    "titlecaseMapping": "0053 0073", "uppercaseMapping": "0053 0053", "conditionList": null}])"));
  EXPECT_EQ(o[0]["fullCaseFolding"], "ss");
  // 00BD: a fraction, with its compatibility tag described by the description file.
  EXPECT_EQ(o[1]["numericType"], "Numeric");
  EXPECT_EQ(o[1]["numericValue"], 0.5);
  EXPECT_EQ(o[1]["numericValueString"], "1/2");
  EXPECT_EQ(o[1]["characterDecompositionMapping"], "<fraction> 0031 2044 0032");
  EXPECT_EQ(o[1]["characterDecompositionMappingDescription"],
            "Vulgar fraction form: a precomposed fraction written with a fraction slash");
  // 0622: listed in ArabicShaping.
  EXPECT_EQ(o[2]["joiningType"], "R");
  EXPECT_EQ(o[2]["joiningTypeDescription"], "Right_Joining");
  EXPECT_EQ(o[2]["joiningGroup"], "ALEF");
  EXPECT_EQ(o[2]["bidirectionalCategory"], "AL");
  // 1100: a leading jamo.
  EXPECT_EQ(o[3]["jamoShortName"], "G");
  EXPECT_EQ(o[3]["hangulSyllableType"], "L");
  // 00C5: a cross reference and a decomposition in the names list.
  EXPECT_EQ(o[4]["namesList"]["crossRefs"], Json::array({"(angstrom sign - 212B)"}));
  EXPECT_EQ(o[4]["namesList"]["decompositions"], Json::parse(R"([" 0041 030A"])"));
  // 00A8: the compat tag.
  EXPECT_EQ(o[5]["characterDecompositionMappingDescription"],
            "Other compatibility mapping: a variant kept for compatibility with older character "
            "sets");
  // 0130: three special casings in file order, the unconditional one first.
  ASSERT_EQ(o[6]["specialCasings"].size(), 3u);
  EXPECT_EQ(o[6]["specialCasings"][0]["lowercaseMapping"], "0069 0307");
  EXPECT_EQ(o[6]["specialCasings"][0]["conditionList"], nullptr);
  EXPECT_EQ(o[6]["specialCasings"][1]["lowercaseMapping"], "0069");
  EXPECT_EQ(o[6]["specialCasings"][1]["conditionList"], "tr");
  EXPECT_EQ(o[6]["specialCasings"][2]["conditionList"], "az");

  // The same in text: annotations one per line, casings with their condition.
  const std::string text = qnu({"inspect", "\u00C5\u0130A"}).out;
  EXPECT_NE(text.find("  Names list               \u2192 (angstrom sign - 212B)\n"
                      "                           EQUIV  0041 030A\n"),
            std::string::npos);
  EXPECT_NE(text.find("  Special casing           lower 0069 0307; title 0130; upper 0130\n"
                      "                           lower 0069; title 0130; upper 0130; when tr\n"
                      "                           lower 0069; title 0130; upper 0130; when az\n"),
            std::string::npos);
}

// ---- normalize ----------------------------------------------------------------------------------

TEST(QnuNormalize, ResultOnStandardOutputAndTheCountsOnStandardError) {
  auto result = qnu({"normalize", "--form", "nfd", "\u00C5"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out, "A\u030A\n");
  EXPECT_EQ(result.err,
            "nfd: 1 decomposition replacements, 0 reorderings, 0 composition replacements\n");

  result = qnu({"normalize", "\u00C5"});  // NFC unless told otherwise
  EXPECT_EQ(result.out, "\u00C5\n");
  EXPECT_EQ(result.err,
            "nfc: 1 decomposition replacements, 0 reorderings, 1 composition replacements\n");

  result = qnu({"normalize", "-f", "NFKD", "\uFB01"});
  EXPECT_EQ(result.out, "fi\n");
  EXPECT_EQ(result.err,
            "nfkd: 1 decomposition replacements, 0 reorderings, 0 composition replacements\n");
}

TEST(QnuNormalize, StandardInputKeepsItsLinesAndTheCountsCoverAllOfThem) {
  // Jamo that compose (2), marks that reorder (1) and then compose (2), and a mark that composes
  // across one of a lower class (1); the counts are those of the whole text.
  const std::string input = "\u1100\u1161\u11A8\ns\u0307\u0323\nA\u0316\u0301";
  auto result = qnu({"normalize", "--form", "nfc"}, input);
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out, "\uAC01\n\u1E69\n\u00C1\u0316");
  EXPECT_EQ(result.err,
            "nfc: 0 decomposition replacements, 1 reorderings, 5 composition replacements\n");

  result = qnu({"normalize", "--json", "--form", "nfd"}, input + "\n");
  ASSERT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(Json::parse(result.out), Json::parse(R"({"form": "nfd",
    "result": "\u1100\u1161\u11A8\ns\u0323\u0307\nA\u0316\u0301\n",
    "decompositionReplacementCount": 0, "decompositionReorderingCount": 1,
    "compositionReplacementCount": 0})"));
}

// ---- data ---------------------------------------------------------------------------------------

TEST(QnuData, TheRealDataIsConsistentAtUnicode15) {
  const auto result = qnu({"data", "--json"});
  ASSERT_EQ(result.exitCode, 0);
  const Json report = Json::parse(result.out);
  EXPECT_EQ(report["isConsistent"], true);
  EXPECT_EQ(report["unicodeDataVersion"], "15.0.0");
  EXPECT_EQ(report["unicodeDataVersions"], Json::parse(R"(["15.0.0"])"));
  EXPECT_EQ(report["missingFiles"], Json::array());
  EXPECT_TRUE(fs::equivalent(report["dataDirectories"][0].get<std::string>(), ucdDirectory()));
  size_t unihanFiles = 0;
  for (const Json& info : report["unicodeDataFileInfos"]) {
    EXPECT_EQ(info["versions"], Json::parse(R"(["15.0.0"])")) << info;
    if (info["prefix"] == "Unihan") ++unihanFiles;
    if (info["prefix"] == "Blocks") {
      EXPECT_EQ(info["paths"], Json::array({ucdDirectory() + "/Blocks.txt"}));
    }
  }
  EXPECT_EQ(unihanFiles, 8u);
  EXPECT_EQ(report["unicodeDataFileInfos"].size(), 16u + 8u);

  const std::string text = qnu({"data"}).out;
  EXPECT_NE(text.find("\nVersion               15.0.0\n"), std::string::npos) << text;
  EXPECT_NE(
      text.find("Consistency           consistent: every data file belongs to this version\n"),
      std::string::npos);
  EXPECT_NE(text.find("  Blocks                 15.0.0  " + ucdDirectory() + "/Blocks.txt\n"),
            std::string::npos);
}

TEST(QnuData, FilesOfAnotherVersionAndMissingFilesAreShown) {
  ScratchDirectory scratch;
  scratch.copy(qnunicode::testing::ucdFile("UnicodeData.txt"), "UnicodeData.txt");
  scratch.copy(qnunicode::testing::perlUnicoreDirectory() + "/Blocks.txt", "Blocks.txt");
  const auto result = qnu({"data", "--data", scratch.path()});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_NE(result.out.find("Consistency           inconsistent: the data files share no Unicode "
                            "version\n"),
            std::string::npos)
      << result.out;
  EXPECT_NE(result.out.find("  Blocks       14.0.0  " + scratch.path() + "/Blocks.txt\n"),
            std::string::npos);
  EXPECT_NE(
      result.out.find("Missing files         ArabicShaping, CaseFolding, CompositionExclusions, "
                      "DerivedAge, DerivedCoreProperties, HangulSyllableType, Index, Jamo, "
                      "LineBreak, PropertyValueAliases, PropList, Scripts, SpecialCasing, "
                      "NamesList, Unihan\n"),
      std::string::npos);
  const Json report = Json::parse(qnu({"data", "--data", scratch.path(), "--json"}).out);
  EXPECT_EQ(report["isConsistent"], false);
  EXPECT_EQ(report["unicodeDataVersion"], "15.0.0");  // the UnicodeData file's own, by its digest
  EXPECT_EQ(report["missingFiles"].size(), 15u);
}

// ---- normtest -----------------------------------------------------------------------------------

constexpr std::string_view kPassingTests =
    "# two tests, then the first part lists A: the codepoints before it have no decomposition\n"
    "@Part0\n"
    "1E0A;1E0A;0044 0307;1E0A;0044 0307;\n"
    "@Part1\n"
    "0041;0041;0041;0041;0041;\n";

TEST(QnuNormtest, ExitsWithZeroOnlyWhenEveryTestPassedAndShowsTheLibrarysProgress) {
  ScratchDirectory scratch;
  const std::string passing = scratch.write("pass.txt", kPassingTests);
  auto result = qnu({"normtest", passing});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out, "normalization conformance test of " + passing + ": passed\n");
  EXPECT_EQ(result.err,
            "Starting normalization test for codepoints not in @Part1\n"
            "All 2 normalization tests successfully passed\n");

  const std::string failing = scratch.write("fail.txt", "0041;0042;0041;0041;0041;\n\n");
  result = qnu({"normtest", failing, "--json"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(Json::parse(result.out), Json({{"file", failing}, {"passed", false}}));
  EXPECT_EQ(result.err,
            "NFKC test failed. expected string c4: A  returned: B for c2 (line: "
            "'0041;0042;0041;0041;0041;')\n");
}

TEST(QnuNormtest, TheRealConformanceFilePassesWithEveryLineCounted) {
  const auto result = qnu({"normtest"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out, "normalization conformance test of " + ucdDirectory() +
                            "/NormalizationTest.txt: passed\n");
  // 19074 test lines; every codepoint with a decomposition is listed in the first part.
  EXPECT_EQ(lines(result.err).back(), "All 19074 normalization tests successfully passed");
}

TEST(QnuNormtest, WithoutAFileTheDataDirectoriesTestFileRuns) {
  ScratchDirectory data;
  realDataWithout(data, {"NormalizationTest.txt"});
  data.write("NormalizationTest.txt", kPassingTests);
  const auto result = qnu({"--data", data.path(), "normtest"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out, "normalization conformance test of " + data.path() +
                            "/NormalizationTest.txt: passed\n");
}

// ---- search -------------------------------------------------------------------------------------

TEST(QnuSearch, FindsEveryKeyWithAllTheWordsInSortedKeyOrder) {
  const auto result = qnu({"search", "latin", "small letter e WITH"});
  ASSERT_EQ(result.exitCode, 0);
  const std::vector<std::string> found = lines(result.out);
  // 29 names of UnicodeData hold the words; no Unicode 1.0 name or Index entry does.
  ASSERT_EQ(found.size(), 29u);
  EXPECT_EQ(found[0], "U+00E9   \u00E9\tLATIN SMALL LETTER E WITH ACUTE [U+00E9]");
  EXPECT_EQ(found[1], "U+0115   \u0115\tLATIN SMALL LETTER E WITH BREVE [U+0115]");
  EXPECT_EQ(found[4], "U+1E1D   \u1E1D\tLATIN SMALL LETTER E WITH CEDILLA AND BREVE [U+1E1D]");
  EXPECT_TRUE(
      std::is_sorted(found.begin(), found.end(), [](const std::string& a, const std::string& b) {
        return strcasecmp(a.substr(a.find('\t')).c_str(), b.substr(b.find('\t')).c_str()) < 0;
      }));
  EXPECT_EQ(qnu({"search", "latin small letter e with", "--limit", "2"}).out,
            found[0] + "\n" + found[1] + "\n");
}

TEST(QnuSearch, JsonLinesRegularExpressionsAndIndexKeys) {
  auto result =
      qnu({"--json", "search", "--regex", "^latin small letter e with (acute|grave) \\["});
  ASSERT_EQ(result.exitCode, 0);
  EXPECT_EQ(jsonLines(result.out),
            (std::vector<Json>{
                {{"codepoint", 0xE9}, {"key", "LATIN SMALL LETTER E WITH ACUTE [U+00E9]"}},
                {{"codepoint", 0xE8}, {"key", "LATIN SMALL LETTER E WITH GRAVE [U+00E8]"}}}));
  // Index entries and Unicode 1.0 names are keys of their own.
  const std::string euro = qnu({"search", "euro"}).out;
  EXPECT_NE(euro.find("\teuro european currency [U+20AC]\n"), std::string::npos) << euro;
  EXPECT_NE(qnu({"search", "line feed"}).out.find("U+000A   \tLINE FEED (LF) [U+000A]\n"),
            std::string::npos);
  EXPECT_EQ(qnu({"search", "no character is named like this"}).out, "");
}

// ---- bad input ----------------------------------------------------------------------------------

TEST(QnuBadInput, EachCaseExitsWithTwoAndOneLineOnStandardErrorOnly) {
  ScratchDirectory onlyBlocks;
  onlyBlocks.write("Blocks.txt", "0000..007F; Basic Latin\n");
  const std::string malformedHint =
      " is not a codepoint (write U+XXXX, 0xXXXX or XXXX, or a range U+XXXX..U+YYYY)\n";
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"inspect", "ok", "\xC3"}, "qnu: argument 2 is not valid UTF-8\n"},
      {{"inspect", "-c", "U+110000"}, "qnu: 'U+110000' lies above U+10FFFF, the last codepoint\n"},
      {{"inspect", "-c", "U+12G4"}, "qnu: 'U+12G4'" + malformedHint},
      {{"inspect", "-c", "0x41", "U+0043..U+0041"},
       "qnu: the range 'U+0043..U+0041' ends before it starts\n"},
      {{"--data", "/nonexistent/qnu", "inspect", "A"},
       "qnu: data directory '/nonexistent/qnu' does not exist\n"},
      {{"--data", onlyBlocks.path(), "inspect", "A"},
       "qnu: missing data file 'UnicodeData' (no file with that prefix in " + onlyBlocks.path() +
           ")\n"},
      {{"--info", "/nonexistent/info.plist", "data"},
       "qnu: information file '/nonexistent/info.plist' does not exist\n"},
      {{"search", "\xFF"}, "qnu: argument 1 is not valid UTF-8\n"},
      {{"search", "--regex", "("}, ""},  // the message is the regular-expression library's
      {{"normalize", "\xED\xA0\x80"}, "qnu: argument 1 is not valid UTF-8\n"},
      {{"normtest", "/nonexistent/test.txt"},
       "qnu: test file '/nonexistent/test.txt' does not exist\n"},
      {{"normalize", "--form", "nfx", "a"}, ""},
      {{"search"}, ""},
      {{"search", "a", "--regex", "a"}, ""},
      {{"frobnicate"}, ""},
      {{}, ""},
  };
  for (const auto& [arguments, message] : cases) {
    const auto result = qnu(arguments);
    std::string shown;
    for (const std::string& argument : arguments) shown += argument + " ";
    EXPECT_EQ(result.exitCode, 2) << shown;
    EXPECT_EQ(result.out, "") << shown;
    EXPECT_EQ(lines(result.err).size(), 1u) << shown << result.err;
    EXPECT_EQ(result.err.rfind("qnu: ", 0), 0u) << shown << result.err;
    if (!message.empty()) {
      EXPECT_EQ(result.err, message) << shown;
    }
  }
  EXPECT_EQ(qnu({"normalize"}, "ok\xC3").err, "qnu: standard input is not valid UTF-8\n");
}

TEST(QnuBadInput, AMissingFileOtherThanUnicodeDataIsNamedAfterTheAnswers) {
  ScratchDirectory data;
  realDataWithout(data, {"Scripts.txt", "Blocks.txt"});
  const auto result = qnu({"--data", data.path(), "inspect", "A"});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_NE(result.out.find("  Script                   Unknown\n"), std::string::npos);
  EXPECT_NE(result.out.find("  Block                    No_Block\n"), std::string::npos);
  const std::vector<std::string> diagnostics = hostDiagnostics(result.err);
  EXPECT_EQ(
      diagnostics,
      (std::vector<std::string>{
          "qnu: missing data file 'Blocks' (no file with that prefix in " + data.path() + ")",
          "qnu: missing data file 'Scripts' (no file with that prefix in " + data.path() + ")"}));
}

// ---- help, version, installation ----------------------------------------------------------------

TEST(QnuHelp, HelpAndVersionExitWithZero) {
  const auto help = qnu({"--help"});
  EXPECT_EQ(help.exitCode, 0);
  for (const char* command : {"inspect", "normalize", "data", "normtest", "search", "--data",
                              "--descriptions", "--info", "--json"}) {
    EXPECT_NE(help.out.find(command), std::string::npos) << command;
  }
  EXPECT_EQ(qnu({"search", "--help"}).exitCode, 0);
  const auto version = qnu({"--version"});
  EXPECT_EQ(version.exitCode, 0);
  EXPECT_EQ(version.out, "qnu " QNU_TEST_VERSION "\n");
}

TEST(QnuInstalled, AnInstalledBinaryFindsItsDataBesideItself) {
  ScratchDirectory prefix;
  fs::create_directories(fs::path(prefix.path()) / "bin");
  const fs::path binary = fs::path(prefix.path()) / "bin" / "qnu";
  fs::copy_file(QNU_EXECUTABLE, binary);
  const fs::path resources =
      (fs::path(prefix.path()) / "bin" / QNU_RELATIVE_RESOURCE_DIR).lexically_normal();
  fs::create_directories(resources);
  fs::create_directory_symlink(ucdDirectory(), resources / "ucd");

  const auto data = testing::runProcess(binary.string(), {"data", "--json"});
  ASSERT_EQ(data.exitCode, 0) << data.err;
  const Json report = Json::parse(data.out);
  EXPECT_EQ(report["dataDirectories"], Json::array({(resources / "ucd").string()}));
  EXPECT_EQ(report["descriptionDirectories"], Json::array());  // none installed here
  EXPECT_EQ(report["infoFile"], nullptr);
  EXPECT_EQ(report["unicodeDataVersions"], Json::array());  // no digest list to know it by
  EXPECT_EQ(testing::runProcess(binary.string(), {"inspect", "\u00E9"}).out, kSmallEWithAcute);
}

}  // namespace
}  // namespace qnu
