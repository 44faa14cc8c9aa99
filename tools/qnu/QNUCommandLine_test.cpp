// The built qnu run as a whole process: its output for a handful of codepoints against text
// written by hand from the UCD 15.0.0 files, its JSON against the same values, every command's
// exit codes, and one diagnostic line for each kind of bad input.
#include <gtest/gtest.h>
#include <strings.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "QNUTestProcess.h"
#include "qnunicode/testing/QNTestSupport.h"

namespace fs = std::filesystem;

namespace qnu::testing {
void PrintTo(const ProcessResult& r, std::ostream* out) {
  *out << "exit " << r.exitCode << ", out \"" << r.out << "\", err \"" << r.err << '"';
}
}  // namespace qnu::testing

namespace qnu {
namespace {

using Json = nlohmann::json;  // key order does not matter when comparing
using Lines = std::vector<std::string>;
using Result = testing::ProcessResult;
using qnunicode::testing::ScratchDirectory;
using qnunicode::testing::ucdDirectory;

Result qnu(const Lines& arguments, const std::string& input = "") {
  return testing::runProcess(QNU_EXECUTABLE, arguments, input);
}

Lines lines(const std::string& text) {
  Lines result;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) result.push_back(line);
  return result;
}

bool contains(const std::string& text, const std::string& piece) {
  return text.find(piece) != std::string::npos;
}

// Checks the value at each JSON pointer that the expected object names.
void expectFields(const Json& actual, const Json& expected) {
  for (const auto& [pointer, value] : expected.items()) {
    EXPECT_EQ(actual.value(Json::json_pointer(pointer), Json("(absent)")), value) << pointer;
  }
}

// U+00E9, a record of its own UnicodeData line.
constexpr std::string_view kSmallEWithAcute = R"(U+00E9 é
  UTF-8                      0xC3A9
  UTF-16                     0x00E9
  Name                       LATIN SMALL LETTER E WITH ACUTE
  General category           Ll (Lowercase_Letter)
  Codepoint type             Graphic
  Combining class            0 (Not_Reordered)
  Bidirectional category     L (Left_To_Right)
  Decomposition              0065 0301 (Canonical Mapping)
  Numeric type               None
  Numeric value              (none)
  Mirrored                   no
  Unicode 1.0 name           LATIN SMALL LETTER E ACUTE
  Comment                    (none)
  Uppercase mapping          00C9
  Lowercase mapping          (none)
  Titlecase mapping          00C9
  Special casing             (none)
  Case folding (full)        00E9
  Block                      Latin-1 Supplement
  Script                     Latin
  Age                        1.1
  Line break                 AL (Alphabetic)
  Hangul syllable type       NA
  Jamo short name            (none)
  Joining type               U (Non_Joining)
  Joining group              (none)
  Properties                 (none)
  Derived core properties    Alphabetic, Cased, Changes_When_Casemapped, Changes_When_Titlecased, Changes_When_Uppercased, Grapheme_Base, ID_Continue, ID_Start, Lowercase, XID_Continue, XID_Start
  IDNA2008 categories        LetterDigits (A)
  IDNA2008 derived property  PVALID
  Plane                      0
  Assigned code point        yes
  Names list                 EQUIV  0065 0301
  Index names                E WITH ACUTE, LATIN SMALL LETTER
  Escapes                    URL   %C3%A9
                             C99   \u00e9
                             Java  \u00e9
                             COct  \303\251
                             CS1   \00e9
                             CS2   \0000e9 
                             CS21  \0000e9 
                             XHTML &eacute;
)";

TEST(QnuInspect, TextOfEachRecordKindForCodepointsInAnyWritingWithOptionsAnywhere) {
  const auto result = qnu({"inspect", "\u00E9", "--data", ucdDirectory()});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.out, kSmallEWithAcute);
  EXPECT_FALSE(contains(result.err, "qnu: ")) << result.err;
  EXPECT_EQ(qnu({"--json", "inspect", "\u00E9"}).out, qnu({"inspect", "\u00E9", "--json"}).out);
  // A range member, a supplementary character (both also as text), an unlisted codepoint, a
  // noncharacter, annotations; beside the code a character a terminal draws harmlessly.
  const std::string out = qnu({"inspect", "-c", "U+AC01", "1F600..1F600", "0x0378", "0XfFfF",
                               "u+00c5", "130", "301", "20", "1B", "2028", "D800"})
                              .out;
  EXPECT_EQ(out.substr(0, out.find("\nU+0378\n")), qnu({"inspect", "\uAC01\U0001F600"}).out);
  Lines headers = lines(out);
  std::erase_if(headers, [](const std::string& line) { return !line.starts_with("U+"); });
  EXPECT_EQ(headers, (Lines{"U+AC01 각", "U+1F600 😀", "U+0378", "U+FFFF", "U+00C5 Å", "U+0130 İ",
                            "U+0301 \u25CC\u0301", "U+0020  ", "U+001B", "U+2028", "U+D800"}));
  EXPECT_TRUE(contains(out, R"(
  Name                       <Hangul Syllable>
  Hangul syllable name       HANGUL SYLLABLE GAG
)"));
  EXPECT_TRUE(contains(out, R"(
  Index names                Emoticons
                             Faces
)"));
  EXPECT_TRUE(contains(out, R"(
  Names list                 → (angstrom sign - 212B)
                             EQUIV  0041 030A
)"));
  EXPECT_TRUE(contains(out, R"(
  Special casing             lower 0069 0307; title 0130; upper 0130
                             lower 0069; title 0130; upper 0130; when tr
                             lower 0069; title 0130; upper 0130; when az
)"));
}

TEST(QnuInspect, JsonHoldsTheSameValuesUnderTheLibrarysOwnNamesInTheOrderAsked) {
  // Of U+00E9 the values whose JSON differs from their text; of the others what sets each apart.
  const Json expected = Json::parse(R"json({"00E9": {"/UTF8Representation": "0xC3A9",
    "/characterName": "LATIN SMALL LETTER E WITH ACUTE", "/hangulName": null,
    "/generalCategory": "Ll", "/generalCategoryDescription": "Lowercase_Letter",
    "/canonicalCombiningClass": 0, "/characterDecompositionMapping": "0065 0301",
    "/characterDecompositionMappingDescription": "Canonical Mapping", "/numericValue": null,
    "/numericValueString": "", "/mirrored": false, "/lowercaseMapping": "", "/specialCasings": [],
    "/fullCaseFolding": "é", "/jamoShortName": null, "/joiningType": "U", "/joiningGroup": "",
    "/extendedProperties": [], "/derivedCoreProperties/10": "XID_Start", "/plane": 0,
    "/isAssignedCodePoint": true, "/indexNames": ["E WITH ACUTE, LATIN SMALL LETTER"],
    "/namesList": {"aliases": null, "formalAliases": null, "comments": null, "crossRefs": null,
      "decompositions": [" 0065 0301"], "compatMappings": null, "notices": null}},
  "AC01": {"/characterName": "<Hangul Syllable>", "/hangulName": "HANGUL SYLLABLE GAG",
    "/characterDecompositionMappingDescription": null, "/namesList": null},
  "1F600": {"/UTF16Representation": "0xD83DDE00", "/plane": 1},
  "0378": {"/generalCategory": "Cn", "/codepointType": "Reserved", "/age": null,
    "/isAssignedCodePoint": false},
  "FFFF": {"/codepointType": "Noncharacter", "/isAssignedCodePoint": true,
    "/extendedProperties": ["Noncharacter_Code_Point"], "/namesList/comments": null},
  "00DF": {"/fullCaseFolding": "ss", "/specialCasings": [{"lowercaseMapping": "00DF",
    "titlecaseMapping": "0053 0073", "uppercaseMapping": "0053 0053", "conditionList": null}]},
  "0130": {"/specialCasings/1/conditionList": "tr"},
  "00BD": {"/numericValue": 0.5, "/characterDecompositionMappingDescription":
    "Vulgar fraction form: a precomposed fraction written with a fraction slash"},
  "0622": {"/joiningType": "R", "/joiningTypeDescription": "Right_Joining",
    "/joiningGroup": "ALEF"},
  "1100": {"/jamoShortName": "G"},
  "00C5": {"/namesList/crossRefs": ["(angstrom sign - 212B)"]},
  "D800": {"/escapes": {"URL": null, "C99": "\\ud800", "Java": "\\ud800", "COct": null,
    "CS1": "\\d800", "CS2": "\\00d800 ", "CS21": "\\00d800 ", "XHTML": "&#xd800;"}},
  "0026": {"/escapes/URL": "%26", "/escapes/XHTML": "&amp;", "/escapes/COct": "\\046"}})json");
  Lines arguments = {"--json", "inspect", "-c"};
  for (const auto& [codepoint, fields] : expected.items()) arguments.push_back(codepoint);
  arguments.insert(arguments.end(), {"U+0041..43", "10FFFF"});
  const Lines answers = lines(qnu(arguments).out);
  ASSERT_EQ(answers.size(), expected.size() + 4);
  size_t i = 0;
  for (const auto& [codepoint, fields] : expected.items()) {
    const Json object = Json::parse(answers[i++]);
    EXPECT_EQ(object["codepoint"], std::stoul(codepoint, nullptr, 16));
    expectFields(object, fields);
  }
  for (uint32_t codepoint : {0x41, 0x42, 0x43, 0x10FFFF}) {
    EXPECT_EQ(Json::parse(answers[i++])["codepoint"], codepoint);
  }
}

TEST(QnuInspect, TheFirstCodepointsOfAHugeRangeComeLongBeforeTheRestIsDone) {
  // The whole codespace takes minutes; streamed, its first codepoints come in a second or two.
  const auto start = std::chrono::steady_clock::now();
  const Lines first = lines(
      testing::runProcess(QNU_EXECUTABLE, {"inspect", "--json", "-c", "0..10FFFF"}, "", 2).out);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
  ASSERT_GE(first.size(), 2u);
  EXPECT_EQ(Json::parse(first[0])["codepoint"], 0);
  EXPECT_EQ(Json::parse(first[1])["codepoint"], 1);
}

TEST(QnuNormalize, ResultOnStandardOutputAndTheCountsOfTheWholeTextOnStandardError) {
  EXPECT_EQ(qnu({"normalize", "-f", "NFKD", "\uFB01\u00C5"}),
            (Result{0, "fiA\u030A\n",
                    "nfkd: 2 decomposition replacements, 0 reorderings, 0 "
                    "composition replacements\n"}));
  // Jamo that compose (2), a letter that decomposes and recomposes (1, 1), marks that reorder (1)
  // and compose (2), a mark composing across a lower class (1); NFC by default, lines kept.
  const std::string input = "\u1100\u1161\u11A8\u00C5\ns\u0307\u0323\nA\u0316\u0301";
  EXPECT_EQ(qnu({"normalize"}, input), (Result{0, "\uAC01\u00C5\n\u1E69\n\u00C1\u0316",
                                               "nfc: 1 decomposition replacements, 1 "
                                               "reorderings, 6 composition replacements\n"}));
  const auto json = qnu({"normalize", "--json", "--form", "nfd"}, input + "\n");
  EXPECT_EQ(json.err, "");
  EXPECT_EQ(Json::parse(json.out), Json::parse(R"({"form": "nfd", "decompositionReorderingCount": 1,
    "result": "\u1100\u1161\u11A8A\u030A\ns\u0323\u0307\nA\u0316\u0301\n",
    "decompositionReplacementCount": 1, "compositionReplacementCount": 0})"));
}

TEST(QnuData, VersionsPathsAndMissingFilesOfTheRealDataAndOfAMixedDirectory) {
  const Json report = Json::parse(qnu({"data", "--json"}).out);
  EXPECT_TRUE(fs::equivalent(report["dataDirectories"][0].get<std::string>(), ucdDirectory()));
  const std::string resources = qnunicode::testing::sourceDirectory() + "/resources";
  EXPECT_EQ(report["descriptionDirectories"], Json::array({resources + "/descriptions"}));
  EXPECT_EQ(report["infoFile"], resources + "/QNUnicodeInfo.plist");
  expectFields(report, Json::parse(R"({"/isConsistent": true, "/unicodeDataVersion": "15.0.0",
    "/unicodeDataVersions": ["15.0.0"], "/missingFiles": []})"));
  EXPECT_EQ(report["unicodeDataFileInfos"].size(), 16u + 8u);  // the eight Unihan files apart
  for (const Json& info : report["unicodeDataFileInfos"]) {
    EXPECT_EQ(info["versions"], Json::array({"15.0.0"})) << info;
  }

  ScratchDirectory mixed;
  mixed.copy(qnunicode::testing::ucdFile("UnicodeData.txt"), "UnicodeData.txt");
  mixed.copy(qnunicode::testing::perlUnicoreDirectory() + "/Blocks.txt", "Blocks.txt");
  const auto result = qnu({"data", "--data", mixed.path()});
  EXPECT_EQ(result.exitCode, 1);  // files are missing
  EXPECT_TRUE(contains(result.out,
                       "  Blocks                 found  14.0.0        lines parsed  "
                       "           " +
                           mixed.path() + "/Blocks.txt\n"))
      << result.out;
  // The version is the UnicodeData file's own, known by its digest.
  EXPECT_TRUE(contains(result.out, R"(
UnicodeData versions  15.0.0
Version               15.0.0
Consistency           inconsistent: the data files share no Unicode version
Missing files         ArabicShaping, CaseFolding, CompositionExclusions, DerivedAge, DerivedCoreProperties, HangulSyllableType, Index, Jamo, LineBreak, PropertyValueAliases, PropList, Scripts, SpecialCasing, NamesList, Unihan
)")) << result.out;
}

TEST(QnuNormtest, ExitsWithZeroOnlyWhenEveryTestPassedAndShowsTheLibrarysProgress) {
  // The first data directory's test file and data: two tests, then @Part1 lists A, so that the
  // codepoints before it must have no decomposition.
  ScratchDirectory scratch;
  scratch.write("Blocks.txt", "0000..007F; First Latin\n");
  const std::string passing = scratch.write(
      "NormalizationTest.txt",
      "@Part0\n1E0A;1E0A;0044 0307;1E0A;0044 0307;\n@Part1\n0041;0041;0041;0041;0041;\n");
  EXPECT_EQ(qnu({"--data", scratch.path(), "--data", ucdDirectory(), "normtest"}),
            (Result{0, "normalization conformance test of " + passing + ": passed\n",
                    "Starting normalization test for codepoints not in @Part1\n"
                    "All 2 normalization tests successfully passed\n"}));
  EXPECT_TRUE(
      contains(qnu({"--data", scratch.path(), "--data", ucdDirectory(), "inspect", "A"}).out,
               "  Block                      First Latin\n"));
  // A file name that is not UTF-8 is written to JSON with U+FFFD in its place.
  const std::string failing = scratch.write("fail\xFF", "0041;0042;0041;0041;0041;\n\n");
  EXPECT_EQ(qnu({"normtest", failing, "--json"}),
            (Result{1, "{\"file\":\"" + scratch.path() + "/fail\uFFFD\",\"passed\":false}\n",
                    "NFKC test failed. expected string c4: A  returned: B for c2 (line: "
                    "'0041;0042;0041;0041;0041;')\n"}));
  // The real file: 19074 test lines; every codepoint with a decomposition is listed in @Part1.
  const auto real = qnu({"normtest"});
  EXPECT_EQ(real.out, "normalization conformance test of " + ucdDirectory() +
                          "/NormalizationTest.txt: passed\n");
  EXPECT_EQ(real.exitCode, 0);
  EXPECT_TRUE(contains(real.err, "All 19074 normalization tests successfully passed\n"));
}

TEST(QnuSearch, FindsEveryKeyWithAllTheWordsInSortedKeyOrderOrMatchingAPattern) {
  const Lines found = lines(qnu({"search", "latin", "small letter e WITH"}).out);
  // 29 names of UnicodeData hold the words; no Unicode 1.0 name or Index entry does.
  ASSERT_EQ(found.size(), 29u);
  EXPECT_EQ(found[0], "U+00E9   \u00E9\tLATIN SMALL LETTER E WITH ACUTE [U+00E9]");
  EXPECT_TRUE(std::is_sorted(found.begin(), found.end(), [](const auto& a, const auto& b) {
    return strcasecmp(a.substr(a.find('\t')).c_str(), b.substr(b.find('\t')).c_str()) < 0;
  }));
  EXPECT_EQ(qnu({"search", "latin small letter e with", "--limit", "2"}).out,
            found[0] + "\n" + found[1] + "\n");
  EXPECT_EQ(
      qnu({"--json", "search", "--regex", "^latin small letter e with (acute|grave) \\["}).out,
      R"({"codepoint":233,"key":"LATIN SMALL LETTER E WITH ACUTE [U+00E9]"}
{"codepoint":232,"key":"LATIN SMALL LETTER E WITH GRAVE [U+00E8]"}
)");
  // Index entries and Unicode 1.0 names are keys of their own.
  EXPECT_TRUE(contains(qnu({"search", "euro"}).out, "\teuro european currency [U+20AC]\n"));
  EXPECT_TRUE(contains(qnu({"search", "line feed"}).out, "U+000A   \tLINE FEED (LF) [U+000A]\n"));
  // Words are folded in full: U+00DF to "ss", U+212A KELVIN SIGN to "k"; U+00E9 is not "e".
  EXPECT_EQ(qnu({"search", "cro\u00DF mark", "-n", "1"}).out,
            "U+274C   \u274C\tCROSS MARK [U+274C]\n");
  EXPECT_EQ(qnu({"search", "\u212Aelvin sign"}).out, "U+212A   \u212A\tKELVIN SIGN [U+212A]\n");
  EXPECT_EQ(qnu({"search", "\u00E9"}).out, "");
}

TEST(QnuBadInput, EachCaseExitsWithTwoAndOneLineOnStandardErrorOnly) {
  ScratchDirectory scratch;
  const std::string a = scratch.path(), b = a + "/b", file = a + "/b/Blocks.txt";
  scratch.write("b/Blocks.txt", "0000..007F; Basic Latin\n");
  // Where no message is given, it is the argument parser's or the regular-expression library's.
  std::vector<std::pair<Lines, std::string>> cases = {
      {{"search", "\xFF"}, "argument 1 is not valid UTF-8"},
      {{"normalize", "\xED\xA0\x80"}, "argument 1 is not valid UTF-8"},
      {{"inspect", "-c", "0x41", "41..40"}, "the range '41..40' ends before it starts"},
      {{"--data", a + "/none", "inspect", "A"}, "data directory '" + a + "/none' does not exist"},
      {{"--data", file, "data"}, "data directory '" + file + "' is not a directory"},
      {{"--descriptions", a, "--descriptions", a + "/none", "data"},
       "description directory '" + a + "/none' does not exist"},
      {{"--info", a + "/none", "data"}, "information file '" + a + "/none' does not exist"},
      {{"--data", a, "--data", b, "inspect", "A"},
       "missing data file 'UnicodeData' (no file with that prefix in " + a + ", " + b + ")"},
      {{"normtest", a + "/none"}, "test file '" + a + "/none' does not exist"},
      {{"search", "--regex", "("}, ""},
      {{"normalize", "-f", "x", "a"}, ""},
      {{"search"}, ""},
      {{"search", "a", "--regex", "a"}, ""},
      {{"frobnicate"}, ""},
      {{}, ""}};
  const std::string malformed =
      "' is not a codepoint (write U+XXXX, 0xXXXX or XXXX, or a range U+XXXX..U+YYYY)";
  for (const std::string bad : {"", "U+", "0x", "U+0x41", "G", "U+12G4", " 41", "41 ", "41..",
                                "..41", "41...43", "41..43..45", "U+41-U+43", "+41", "-1", "é"}) {
    cases.push_back({{"inspect", "-c", "--", bad}, "'" + bad + malformed});
  }
  for (const std::string huge : {"U+110000", "FFFFFFFFFF", "41..110000"}) {
    cases.push_back(
        {{"inspect", "-c", huge}, "'" + huge + "' lies above U+10FFFF, the last codepoint"});
  }
  // Truncated, stray, encoded surrogate, overlong, above U+10FFFF; in codepoints too.
  for (const std::string bad :
       {"\xC3", "\xFF", "a\x80", "\xED\xA0\x80", "\xC0\xAF", "\xF4\x90\x80\x80"}) {
    cases.push_back({{"inspect", "ok", bad}, "argument 2 is not valid UTF-8"});
  }
  cases.push_back({{"inspect", "-c", "\xC3"}, "argument 1 is not valid UTF-8"});
  for (const auto& [arguments, message] : cases) {
    const auto result = qnu(arguments);
    const std::string err = message.empty() ? result.err : "qnu: " + message + "\n";
    EXPECT_EQ(result, (Result{2, "", err})) << (arguments.empty() ? "" : arguments.back());
    EXPECT_TRUE(err.starts_with("qnu: ") && lines(err).size() == 1) << err;
  }
  EXPECT_EQ(qnu({"normalize"}, "ok\xC3"),
            (Result{2, "", "qnu: standard input is not valid UTF-8\n"}));
}

TEST(QnuBadInput, EachMissingFileOtherThanUnicodeDataIsNamedOnceAfterTheAnswers) {
  ScratchDirectory data;
  for (const auto& entry : fs::directory_iterator(ucdDirectory())) {
    const fs::path name = entry.path().filename();
    if (name != "Scripts.txt" && name != "Blocks.txt")
      fs::create_symlink(entry, data.path() / name);
  }
  const auto result = qnu({"--data", data.path(), "inspect", "AB"});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_TRUE(contains(result.out, "  Script                     Unknown\n"));
  Lines diagnostics = lines(result.err);  // without the library's own log lines
  std::erase_if(diagnostics, [](const std::string& line) { return !line.starts_with("qnu: "); });
  const std::string in = "' (no file with that prefix in " + data.path() + ")";
  EXPECT_EQ(diagnostics,
            (Lines{"qnu: missing data file 'Blocks" + in, "qnu: missing data file 'Scripts" + in}));
}

TEST(QnuEscape, ResultOnStandardOutputCountOnRequestAndJSON) {
  EXPECT_EQ(qnu({"escape", "-m", "C99", "a\u00e9\U0001F600"}),
            (Result{0, "a\\u00e9\\U0001f600\n", ""}));
  // From standard input the result gets no line end of its own.
  EXPECT_EQ(qnu({"escape", "--method", "java", "--decode", "--count"}, "\\uuu00e9\\ud83d\\ude00\n"),
            (Result{0, "\u00e9\U0001F600\n", "qnu: 3 replacements\n"}));
  EXPECT_EQ(qnu({"escape", "-m", "URL", "a b/", "--preserve", " ", "--no-default-set"}).out,
            "%61 %62%2F\n");
  EXPECT_EQ(qnu({"escape", "-m", "CS21", "-d", "-n", "\\41\r\nB"}),
            (Result{0, "AB\n", "qnu: 1 replacements\n"}));
  EXPECT_EQ(Json::parse(qnu({"--json", "escape", "-m", "COct", "\u00e9"}).out),
            Json::parse(R"({"input": "\u00e9", "result": "\\303\\251", "count": 1})"));
  // Percent decoding keeps no count, and a text it cannot decode has no result.
  EXPECT_EQ(qnu({"escape", "-m", "URL", "-d", "-n", "%C3%A9"}),
            (Result{0, "\u00e9\n", "qnu: replacements not counted\n"}));
  EXPECT_EQ(qnu({"escape", "-m", "URL", "-d", "%C3"}),
            (Result{1, "", "qnu: not valid percent-escaped UTF-8\n"}));
  const Result failed = qnu({"escape", "-m", "URL", "-d", "--json", "100%"});
  EXPECT_EQ(failed.exitCode, 1);
  EXPECT_EQ(Json::parse(failed.out),
            Json::parse(R"({"input": "100%", "result": null, "count": null})"));
}

TEST(QnuEscape, XHTMLOptions) {
  const std::string text = "a<\u00e9";
  EXPECT_EQ(qnu({"escape", "-m", "XHTML", text}).out, "a&lt;&eacute;\n");
  EXPECT_EQ(qnu({"escape", "-m", "XHTML", "--no-low-ascii", text}).out, "a<&eacute;\n");
  EXPECT_EQ(qnu({"escape", "-m", "XHTML", "--numeric", text}).out, "a&#x3c;&#xe9;\n");
  EXPECT_EQ(qnu({"escape", "-m", "XHTML", "--numeric", "--decimal", text}).out, "a&#60;&#233;\n");
  EXPECT_EQ(qnu({"escape", "-m", "XHTML", "--preserve", "\u00e9", text}).out, "a&lt;\u00e9\n");
  EXPECT_EQ(qnu({"escape", "-m", "XHTML", "-d", "-n", "&lt;&#65;&eacute;AT&T;"}),
            (Result{0, "<&#65;\u00e9AT&T;\n", "qnu: 2 replacements\n"}));
  EXPECT_EQ(qnu({"escape", "-m", "XHTML", "-d", "--no-low-ascii", "&lt;&eacute;"}).out,
            "&lt;\u00e9\n");
  // Another entity directory: one name of its own, and none for "<".
  ScratchDirectory entities;
  entities.write("mine.ent", R"(<!ENTITY eee "&#233;">)");
  EXPECT_EQ(qnu({"escape", "-m", "XHTML", "--entities", entities.path(), text}).out,
            "a&#x3c;&eee;\n");
}

TEST(QnuEscape, OptionsThatWouldDoNothingAreRefused) {
  const std::pair<Lines, std::string> cases[] = {
      {{"escape", "-m", "C99", "--numeric", "x"},
       "qnu: --numeric, --decimal, --entities and --no-low-ascii apply to --method XHTML\n"},
      {{"escape", "-m", "XHTML", "-d", "--decimal", "x"},
       "qnu: --numeric and --decimal apply to escaping, not to --decode\n"},
      {{"escape", "-m", "Java", "-d", "--preserve", "a", "x"},
       "qnu: --preserve and --no-default-set apply to --decode with --method XHTML only\n"},
      {{"escape", "-m", "XHTML", "--no-default-set", "--no-low-ascii", "x"},
       "qnu: --no-low-ascii changes the default set, which --no-default-set leaves out\n"},
      {{"escape", "-m", "XHTML", "--entities", "/nonexistent", "x"},
       "qnu: entity directory '/nonexistent' does not exist\n"},
  };
  for (const auto& [arguments, message] : cases) {
    EXPECT_EQ(qnu(arguments), (Result{2, "", message}));
  }
  EXPECT_EQ(qnu({"escape", "-m", "C99"}, "\xff").err, "qnu: standard input is not valid UTF-8\n");
  EXPECT_EQ(qnu({"escape", "-m", "rot13", "x"}).exitCode, 2);
}

TEST(QnuInstalled, HelpVersionAndAnInstalledBinaryThatFindsItsDataBesideItself) {
  EXPECT_EQ(qnu({"--help"}).exitCode, 0);
  EXPECT_EQ(qnu({"--version"}), (Result{0, "qnu " QNU_TEST_VERSION "\n", ""}));

  ScratchDirectory prefix;
  const fs::path bin = fs::path(prefix.path()) / "bin";
  const fs::path resources = (bin / QNU_RELATIVE_RESOURCE_DIR).lexically_normal();
  EXPECT_EQ(resources.string().rfind(prefix.path() + "/", 0), 0u) << resources;
  fs::create_directories(bin);
  fs::copy_file(QNU_EXECUTABLE, bin / "qnu");
  const std::string installed = (bin / "qnu").string();
  EXPECT_EQ(testing::runProcess(installed, {"data"}).err,
            "qnu: the default data directory '" + (resources / "ucd").string() +
                "' does not exist (run scripts/setup.sh, or name one with --data DIR)\n");
  // Escapes need no data directory, XHTML references no more than the entity sets.
  EXPECT_EQ(testing::runProcess(installed, {"escape", "-m", "XHTML", "--numeric", "\u00E9"}),
            (Result{0, "&#xe9;\n", ""}));
  EXPECT_EQ(testing::runProcess(installed, {"escape", "-m", "XHTML", "\u00E9"}),
            (Result{2, "",
                    "qnu: the default entity directory '" + (resources / "entities").string() +
                        "' does not exist (run scripts/setup.sh, or name one with --entities "
                        "DIR)\n"}));
  // Neither descriptions nor an information file are installed here: both are optional.
  fs::create_directories(resources);
  fs::create_directory_symlink(ucdDirectory(), resources / "ucd");
  fs::create_directory_symlink(QNU_TEST_ENTITY_DIR, resources / "entities");
  EXPECT_EQ(testing::runProcess(installed, {"inspect", "\u00E9"}),
            (Result{0, std::string(kSmallEWithAcute), ""}));
}

}  // namespace
}  // namespace qnu
