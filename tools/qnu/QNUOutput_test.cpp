#include "QNUOutput.h"

#include <gtest/gtest.h>

namespace qnu {
namespace {

TEST(TextTable, AlignsValuesAfterTheWidestLabelAndContinuesLinesInTheValueColumn) {
  TextTable table;
  table.add("Name", "LATIN SMALL LETTER A");
  table.add("Names list", "first line\nsecond line");
  table.add("Age", "1.1");
  EXPECT_EQ(table.render(2),
            "  Name        LATIN SMALL LETTER A\n"
            "  Names list  first line\n"
            "              second line\n"
            "  Age         1.1\n");
  EXPECT_EQ(TextTable().render(4), "");
}

TEST(DisplayedCharacter, ShowsOnlyWhatATerminalDrawsHarmlessly) {
  EXPECT_EQ(displayedCharacter(0xE9, u"Ll"), "é");
  EXPECT_EQ(displayedCharacter(0x1F600, u"So"), "\U0001F600");
  EXPECT_EQ(displayedCharacter(0x20, u"Zs"), " ");
  EXPECT_EQ(displayedCharacter(0x301, u"Mn"), "\u25CC\u0301");  // on a dotted circle
  EXPECT_EQ(displayedCharacter(0x1B, u"Cc"), "");               // escape: would drive the terminal
  EXPECT_EQ(displayedCharacter(0x200E, u"Cf"), "");
  EXPECT_EQ(displayedCharacter(0x2028, u"Zl"), "");
  EXPECT_EQ(displayedCharacter(0xD800, u"Cs"), "");
  EXPECT_EQ(displayedCharacter(0xE000, u"Co"), "");
  EXPECT_EQ(displayedCharacter(0x378, u"Cn"), "");
  EXPECT_EQ(displayedCharacter(0x41, u""), "");
}

TEST(JsonLine, OneLineEvenForTextWithLineEndsAndInvalidBytes) {
  Json object;
  object["text"] = "two\nlines";
  object["bytes"] = std::string("a\xFF", 2);
  EXPECT_EQ(jsonLine(object), "{\"text\":\"two\\nlines\",\"bytes\":\"a\xEF\xBF\xBD\"}\n");
  EXPECT_EQ(jsonText(std::optional<UnicodeString>()), Json(nullptr));
  EXPECT_EQ(jsonText(std::u16string_view(u"\U0001F600")), Json("\U0001F600"));
  EXPECT_EQ(jsonTextList({u"a", u""}), Json::parse(R"(["a",""])"));
}

}  // namespace
}  // namespace qnu
