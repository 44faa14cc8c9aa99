// The replacing routines. Each works in one pass over a flat copy of the text's units and writes
// its output into the same buffer behind the read position: no escape is shorter than what it
// stands for, so the output never overtakes the input. Plain text between escapes is moved in
// blocks; the state machines look only at backslashes and what follows them.
#include <cstring>
#include <string>

#include "qnunicode/escapes/QNEscapeSupport.h"
#include "qnunicode/escapes/QNUnicodeEscapes.h"
#include "qnunicode/util/QNExceptions.h"
#include "qnunicode/util/QNLog.h"

namespace QNUnicode {

namespace {

using qnunicode::writeUTF16;
using qnunicode::detail::hexValue;

constexpr size_t kNoPosition = static_cast<size_t>(-1);

// The decoding buffer: the working copy, a read and a write position.
struct InPlace {
  UnicodeString buffer;
  char16_t* text;
  size_t size;
  size_t read = 0;
  size_t write = 0;

  explicit InPlace(std::u16string_view s)
      : buffer(qnunicode::detail::workingCopy(s)), text(buffer.data()), size(buffer.size()) {}

  // Moves the plain text up to the next `mark` (or the end) to the write position and stops
  // there; answers false at the end.
  bool copyUpTo(char16_t mark) {
    if (read < size && text[read] == mark) return true;
    const size_t end = qnunicode::detail::findUnit(text, read, size, mark);
    if (end != read) move(read, end);
    read = end;
    return end < size;
  }
  // Moves the units [from, to) to the write position.
  void move(size_t from, size_t to) {
    if (write != from) {
      // Short pieces (a blank between two escapes) are not worth a call.
      if (to - from <= 8) {
        for (size_t i = from; i < to; ++i) text[write + i - from] = text[i];
      } else {
        std::memmove(text + write, text + from, (to - from) * sizeof(char16_t));
      }
    }
    write += to - from;
  }
  void put(char16_t unit) { text[write++] = unit; }
  void putCodepoint(uint32_t value) {
    write = static_cast<size_t>(writeUTF16(text + write, value) - text);
  }
  UnicodeString finish() {
    buffer.resize(write);
    return std::move(buffer);
  }
};

// The value of four hexadecimal digits at text, or -1 when one of them is not a digit.
inline int32_t fourHexDigits(const char16_t* text) {
  const int a = hexValue(text[0]), b = hexValue(text[1]);
  const int c = hexValue(text[2]), d = hexValue(text[3]);
  if ((a | b | c | d) < 0) return -1;
  return (a << 12) | (b << 8) | (c << 4) | d;
}

// ---- C octal -----------------------------------------------------------------------------------

// Up to three octal digits from `position` as one value; false when there is none.
bool readOctalByte(const InPlace& io, size_t* position, uint32_t* value) {
  size_t p = *position;
  uint32_t result = 0;
  const size_t end = std::min(io.size, p + 3);
  while (p < end && io.text[p] >= u'0' && io.text[p] <= u'7')
    result = result * 8 + (io.text[p++] - u'0');
  if (p == *position) return false;
  *position = p;
  *value = result;
  return true;
}

// One run of octal escapes that spells one UTF-8 character, read from the backslash at
// `runStart`. On success `value` is the character and `end` the position after the run. On
// failure `end` is where plain reading goes on: the backslash of the latest continuation escape
// that had begun, or else the position where the run broke off.
struct OctalRun {
  bool complete;
  uint32_t value;
  size_t end;
};
OctalRun readOctalRun(const InPlace& io, size_t runStart) {
  size_t position = runStart + 1;
  size_t remembered = kNoPosition;
  const auto fail = [&] {
    return OctalRun{false, 0, remembered != kNoPosition ? remembered : position};
  };
  uint32_t byte;
  if (!readOctalByte(io, &position, &byte)) return fail();
  // The bytes still needed, and the bounds of the next one (the second may be narrower).
  int needed;
  uint32_t low = 0x80, high = 0xBF, value;
  if (byte <= 0x7F) {
    return {true, byte, position};
  } else if (byte >= 0xC2 && byte <= 0xDF) {
    needed = 1, value = byte & 0x1F;
  } else if (byte >= 0xE0 && byte <= 0xEF) {
    needed = 2, value = byte & 0x0F;
    if (byte == 0xE0) low = 0xA0;
  } else if (byte >= 0xF0 && byte <= 0xF4) {
    needed = 3, value = byte & 0x07;
    if (byte == 0xF0) low = 0x90;
    if (byte == 0xF4) high = 0x8F;
  } else {
    return fail();
  }
  for (; needed > 0; --needed, low = 0x80, high = 0xBF) {
    if (position >= io.size || io.text[position] != u'\\') return fail();
    remembered = position++;
    if (!readOctalByte(io, &position, &byte) || byte < low || byte > high) return fail();
    value = (value << 6) | (byte & 0x3F);
  }
  return {true, value, position};
}

}  // namespace

std::optional<UnicodeString> stringByReplacingPercentEscapesCountingReplacements(
    std::u16string_view s, uint32_t* countingReplacements) {
  if (countingReplacements) *countingReplacements = 0xFFFFFFFF;
  InPlace io(s);
  // Room for the bytes of the longest possible run, taken once.
  std::string bytes(s.size() / 3, '\0');
  while (io.copyUpTo(u'%')) {
    // A run of escapes, decoded as one piece of UTF-8.
    char* byte = bytes.data();
    int allBits = 0;
    while (io.read < io.size && io.text[io.read] == u'%') {
      if (io.size - io.read < 3) return std::nullopt;
      const int high = hexValue(io.text[io.read + 1]), low = hexValue(io.text[io.read + 2]);
      if ((high | low) < 0) return std::nullopt;
      *byte++ = static_cast<char>((high << 4) | low);
      allBits |= high;
      io.read += 3;
    }
    if (allBits < 8) {
      // ASCII bytes (a blank, a slash) are their own characters.
      for (const char* ascii = bytes.data(); ascii != byte; ++ascii)
        io.put(static_cast<char16_t>(*ascii));
      continue;
    }
    const std::optional<UnicodeString> decoded = qnunicode::decodeUTF8(
        std::string_view(bytes.data(), static_cast<size_t>(byte - bytes.data())));
    if (!decoded) return std::nullopt;
    std::memcpy(io.text + io.write, decoded->data(), decoded->size() * sizeof(char16_t));
    io.write += decoded->size();
  }
  return io.finish();
}

UnicodeString stringByReplacingC99EscapesEatingJavaUs(std::u16string_view s, bool eatingJavaUs,
                                                      uint32_t* countingReplacements) {
  enum State { Text, Backslash, EatUs, Digits };
  InPlace io(s);
  uint32_t replacements = 0;
  State state = Text;
  size_t saved = kNoPosition;  // the unit after the backslash of the current escape
  uint32_t value = 0;
  int expected = 0;  // digits still expected
  // The backslash stands literally and what followed it is read again as text.
  const auto fail = [&] {
    io.put(u'\\');
    io.read = saved;
    saved = kNoPosition;
    state = Text;
  };
  for (;;) {
    if (io.read >= io.size) {
      if (state == Text || saved == kNoPosition) break;
      fail();
      continue;
    }
    const char16_t unit = io.text[io.read];
    switch (state) {
      case Text:
        if (!io.copyUpTo(u'\\')) break;
        // The usual complete "\uXXXX" escapes, one after another, without the states.
        for (int32_t quick; io.size - io.read >= 6 && io.text[io.read + 1] == u'u' &&
                            (quick = fourHexDigits(io.text + io.read + 2)) >= 0;) {
          io.put(static_cast<char16_t>(quick));
          ++replacements;
          io.read += 6;
          if (!io.copyUpTo(u'\\')) break;
        }
        if (io.read >= io.size) break;
        saved = ++io.read;
        state = Backslash;
        break;
      case Backslash:
        if (unit == u'u') {
          ++io.read;
          expected = 4, value = 0;
          state = eatingJavaUs ? EatUs : Digits;
        } else if (unit == u'U' && !eatingJavaUs) {
          ++io.read;
          expected = 8, value = 0;
          state = Digits;
        } else if (unit == u'\\') {
          // An escaped backslash is kept as it is.
          io.put(u'\\');
          io.put(u'\\');
          ++io.read;
          saved = kNoPosition;
          state = Text;
        } else {
          fail();
        }
        break;
      case EatUs:
        if (unit == u'u') {
          ++io.read;
        } else {
          state = Digits;
        }
        break;
      case Digits: {
        const int digit = hexValue(unit);
        if (digit < 0) {
          fail();
          break;
        }
        value += static_cast<uint32_t>(digit) << (4 * (expected - 1));
        ++io.read;
        if (--expected == 0) {
          io.putCodepoint(value);
          ++replacements;
          saved = kNoPosition;
          state = Text;
        }
        break;
      }
      default:
        throw QNInternalInconsistencyException(
            QNFormat("Unhandled state in C99 Unicode escapes parser: %i", static_cast<int>(state)));
    }
  }
  if (countingReplacements) *countingReplacements = replacements;
  return io.finish();
}

UnicodeString stringByReplacingCSSEscapes(std::u16string_view s, uint32_t level,
                                          uint32_t* countingReplacements) {
  enum State { Text, Backslash, Hex, Finish };
  InPlace io(s);
  const int limit = level < QNUnicodeEscapeLevelCSS2 ? 4 : 6;
  uint32_t replacements = 0;
  State state = Text;
  uint32_t value = 0;
  int digits = 0;
  // Writes the escape's character (or, without digits, the backslash); with `eat`, one white
  // space after it goes too.
  const auto finish = [&](bool eat) {
    state = Text;
    if (digits == 0) {
      io.put(u'\\');
      return;
    }
    io.putCodepoint(value);
    ++replacements;
    if (!eat || level < QNUnicodeEscapeLevelCSS2 || io.read >= io.size) return;
    const char16_t next = io.text[io.read];
    if (next == u' ' || next == u'\t' || next == u'\n' || next == u'\f') {
      ++io.read;
    } else if (next == u'\r') {
      ++io.read;
      // From level 2.1 on, CR LF is one white space.
      if (level >= QNUnicodeEscapeLevelCSS21 && io.read < io.size && io.text[io.read] == u'\n')
        ++io.read;
    }
  };
  for (;;) {
    if (io.read >= io.size) {
      if (state == Hex || state == Finish) finish(false);
      if (state == Backslash) io.put(u'\\');
      break;
    }
    const char16_t unit = io.text[io.read];
    switch (state) {
      case Text:
        if (!io.copyUpTo(u'\\')) break;
        ++io.read;
        state = Backslash;
        break;
      case Backslash:
        if (unit == u'\\') {
          io.put(u'\\');
          io.put(u'\\');
          ++io.read;
          state = Text;
        } else {
          value = 0, digits = 0;
          state = Hex;
        }
        break;
      case Hex: {
        const int digit = hexValue(unit);
        if (digit < 0) {
          state = Finish;
          break;
        }
        ++io.read;
        value = value * 16 + static_cast<uint32_t>(digit);
        if (++digits == limit) state = Finish;
        break;
      }
      case Finish:
        finish(true);
        break;
      default:
        throw QNInternalInconsistencyException(
            QNFormat("Unhandled state in CSS Unicode escapes parser: %i", static_cast<int>(state)));
    }
  }
  if (countingReplacements) *countingReplacements = replacements;
  return io.finish();
}

UnicodeString stringByReplacingCOctEscapesCountingReplacements(std::u16string_view s,
                                                               uint32_t* countingReplacements) {
  enum State { Text, Backslash, Run };
  InPlace io(s);
  uint32_t replacements = 0;
  State state = Text;
  size_t runStart = 0;
  while (io.read < io.size) {
    switch (state) {
      case Text:
        if (!io.copyUpTo(u'\\')) break;
        runStart = io.read++;
        state = Backslash;
        break;
      case Backslash:
        if (io.text[io.read] == u'\\') {
          io.put(u'\\');
          io.put(u'\\');
          ++io.read;
          state = Text;
        } else {
          state = Run;
        }
        break;
      case Run: {
        const OctalRun run = readOctalRun(io, runStart);
        if (run.complete) {
          io.putCodepoint(run.value);
          ++replacements;
        } else {
          // The run up to where reading goes on stands as it is written.
          io.move(runStart, run.end);
        }
        io.read = run.end;
        state = Text;
        break;
      }
      default:
        // The message is the CSS parser's, as it has always been.
        throw QNInternalInconsistencyException(
            QNFormat("Unhandled state in CSS Unicode escapes parser: %i", static_cast<int>(state)));
    }
  }
  // A lone trailing backslash.
  if (state == Backslash) io.put(u'\\');
  if (countingReplacements) *countingReplacements = replacements;
  return io.finish();
}

}  // namespace QNUnicode
