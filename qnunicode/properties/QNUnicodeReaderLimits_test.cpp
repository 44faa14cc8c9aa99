// Hostile input for the readers of data files: a file of a megabyte reads in linear or n log n
// time, compared with a file of a tenth of it (linear work takes about ten times as long,
// quadratic work a hundred times). The files hold one data line per codepoint, in ascending
// order and then in descending order, and lines that do not parse.
#include <gtest/gtest.h>

#include <string>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/testing/QNTestSupport.h"
#include "qnunicode/util/QNLog.h"

namespace {

using qnunicode::testing::scalingRatio;
using qnunicode::testing::ScratchDirectory;

constexpr size_t kSmall = 100'000;
constexpr size_t kLarge = 1'000'000;
constexpr double kBound = 40;

// Lines of `size` bytes or a little more, made by `line` for codepoints from 0x10000 up (or,
// descending, from 0x10FFFF down).
template <typename Line>
std::string lines(size_t size, bool descending, Line line) {
  std::string text;
  for (uint32_t k = 0; text.size() < size; ++k)
    text += line(descending ? 0x10FFFF - k : 0x10000 + k);
  return text;
}

TEST(ReaderLimits, RangePropertyFilesOfAMegabyte) {
  const QNLogSink previous = QNSetLogSink([](std::string_view) {});
  const struct {
    const char* file;
    std::string (*line)(uint32_t);
    void (*read)(QNUnicodeDatabase&);
  } readers[] = {
      {"Blocks.txt", [](uint32_t c) { return QNFormat("%04X..%04X; Block %u\n", c, c, c % 7); },
       [](QNUnicodeDatabase& db) { db.blockForCodepoint(0x10000); }},
      {"PropList.txt",
       [](uint32_t c) { return QNFormat("%04X ; Prop_%u # x\n%04X..\n", c, c % 50, c); },
       [](QNUnicodeDatabase& db) { db.extendedPropertiesForCodepoint(0x10000); }},
      {"LineBreak.txt", [](uint32_t c) { return QNFormat("%04X;AL # x\n%04X;??\n", c, c); },
       [](QNUnicodeDatabase& db) { db.lineBreakForCodepoint(0x10000); }},
      {"UnicodeData.txt",
       [](uint32_t c) { return QNFormat("%04X;N %u;Lo;0;L;;;;;N;;;;;\n", c, c); },
       [](QNUnicodeDatabase& db) { db.readDatabase(); }},
  };
  for (const auto& reader : readers) {
    for (bool descending : {false, true}) {
      const ScratchDirectory small, large;
      small.write(reader.file, lines(kSmall, descending, reader.line));
      large.write(reader.file, lines(kLarge, descending, reader.line));
      const double ratio = scalingRatio(
          [&](size_t size) {
            QNUnicodeDatabase database({(size == kLarge ? large : small).path()}, {});
            reader.read(database);
          },
          kSmall, kLarge);
      EXPECT_LT(ratio, kBound) << reader.file << (descending ? ", descending" : "");
    }
  }
  QNSetLogSink(previous);
}

}  // namespace
