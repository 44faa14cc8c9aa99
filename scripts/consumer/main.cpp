// A program outside the project that uses the installed library: it reads the installed data
// directory named on its command line and prints what it learned of U+00E9.
#include <qnunicode/QNUnicode.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: consumer UCD_DIRECTORY DESCRIPTION_DIRECTORY\n");
    return 2;
  }
  auto database = std::make_shared<QNUnicodeDatabase>(std::vector<std::string>{argv[1]},
                                                      std::vector<std::string>{argv[2]});
  QNUnicodeDatabase::setSharedDatabase(database);
  const auto record = database->unicodeDataForCodepoint(0xE9);
  if (!record) return 1;
  const UnicodeString decomposed = database->normalizationFormDForString(u"\u00E9");
  std::printf("%s %s %s %zu\n", qnunicode::toUTF8(record->characterName()).c_str(),
              qnunicode::toUTF8(record->generalCategory()).c_str(),
              qnunicode::toUTF8(record->block().value_or(u"(none)")).c_str(), decomposed.size());
  return 0;
}
