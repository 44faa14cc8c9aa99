#include "qnunicode/idna/QNUnicodePunycode.h"

#include <algorithm>
#include <array>
#include <new>
#include <utility>
#include <vector>

#include "qnunicode/idna/QNUnicodeCodepointWalk.h"
#include "qnunicode/idna/QNUnicodeDomainLabels.h"
#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/util/QNLog.h"

namespace qnunicode {

namespace {

constexpr uint32_t kBase = 36;
constexpr uint32_t kTMin = 1;
constexpr uint32_t kTMax = 26;
constexpr uint32_t kSkew = 38;
constexpr uint32_t kDamp = 700;
constexpr uint32_t kInitialBias = 72;
constexpr uint32_t kInitialN = 0x80;
constexpr char kDelimiter = '-';
constexpr uint32_t kMaxInt = 0xFFFFFFFFu;

// Inputs up to this many bytes, or codepoints times non-basic codepoints, take the plain loops of
// RFC 3492, whose cost grows with the square of the length; longer ones take the same steps with
// their counting and inserting done through a binary indexed tree, so that a hostile megabyte
// costs n log n.
constexpr uint32_t kPlainLoopLimit = 256;
constexpr uint64_t kPlainLoopWork = uint64_t{kPlainLoopLimit} * kPlainLoopLimit;

constexpr std::array<char, kBase> kLowerDigits = {
    'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i', 'j', 'k', 'l', 'm', 'n', 'o', 'p', 'q', 'r',
    's', 't', 'u', 'v', 'w', 'x', 'y', 'z', '0', '1', '2', '3', '4', '5', '6', '7', '8', '9'};

// The value of each byte as a digit: "a"-"z" and "A"-"Z" are 0-25, "0"-"9" 26-35, others kBase.
constexpr std::array<uint8_t, 256> kDigitValues = [] {
  std::array<uint8_t, 256> values{};
  for (int byte = 0; byte < 256; ++byte) {
    const int lower = asciiLowercase(byte);
    values[byte] = static_cast<uint8_t>(lower >= 'a' && lower <= 'z' ? lower - 'a'
                                        : byte >= '0' && byte <= '9' ? byte - '0' + 26
                                                                     : kBase);
  }
  return values;
}();

constexpr bool isUppercaseLetter(uint8_t byte) {
  return asciiLowercase(byte) != byte;
}

// The digit d, upper-case when flagged and a letter.
char encodeDigit(uint32_t d, bool flag) {
  const char digit = kLowerDigits[d];
  return flag ? asciiUppercase(digit) : digit;
}

// True when value + amount does not fit 32 bits: the RFC's overflow tests, such as
// "digit > (maxint - i) / w", asked without their divisions (for integers, a > floor(x / w)
// exactly when a * w > x).
constexpr bool overflows(uint32_t value, uint64_t amount) {
  return amount > kMaxInt - value;
}

// Division by the small divisors the codec meets (digit bases 10 to 35, point counts, the bias
// formula's delta + 38) as a multiplication: with m = floor((2^64 - 1) / d) + 1, the high 64 bits
// of x * m are floor(x / d) for every 32-bit x (m * d exceeds 2^64 by less than d, and x times
// that excess stays far below 2^64).
constexpr uint32_t kSmallDivisors = 512;
constexpr std::array<uint64_t, kSmallDivisors> kInverses = [] {
  std::array<uint64_t, kSmallDivisors> inverses{};
  for (uint32_t d = 1; d < kSmallDivisors; ++d) inverses[d] = UINT64_MAX / d + 1;
  return inverses;
}();

inline uint32_t divide(uint32_t x, uint32_t d) {
  if (d >= kSmallDivisors || d == 1) return d == 1 ? x : x / d;
  return static_cast<uint32_t>((static_cast<unsigned __int128>(x) * kInverses[d]) >> 64);
}

uint32_t threshold(uint32_t k, uint32_t bias) {
  // k - bias clamped to [tmin, tmax], branch-free.
  const int32_t t = static_cast<int32_t>(k) - static_cast<int32_t>(bias);
  return static_cast<uint32_t>(std::clamp<int32_t>(t, kTMin, kTMax));
}

[[gnu::always_inline]] inline uint32_t adapt(uint32_t delta, uint32_t numpoints, bool firstTime) {
  delta = firstTime ? delta / kDamp : delta >> 1;
  delta += divide(delta, numpoints);
  uint32_t k = 0;
  while (delta > ((kBase - kTMin) * kTMax) / 2) {
    delta /= kBase - kTMin;
    k += kBase;
  }
  return k + divide((kBase - kTMin + 1) * delta, delta + kSkew);
}

// Writes delta as a generalized variable-length integer; false when the capacity runs out.
[[gnu::always_inline]] inline bool writeDelta(uint32_t delta, uint32_t bias, bool flag,
                                              char* output, uint32_t& out, uint32_t maxOut) {
  uint32_t q = delta;
  for (uint32_t k = kBase;; k += kBase) {
    if (out >= maxOut) return false;
    const uint32_t t = threshold(k, bias);
    if (q < t) break;
    const uint32_t rest = q - t, base = kBase - t;
    const uint32_t quotient = divide(rest, base);
    output[out++] = encodeDigit(t + (rest - quotient * base), false);
    q = quotient;
  }
  output[out++] = encodeDigit(q, flag);
  return true;
}

// Counts of marked positions, with prefix sums and the search for the k-th unmarked slot.
class BinaryIndexedTree {
 public:
  explicit BinaryIndexedTree(uint32_t size) : _tree(size + 1, 0) {}
  // Every position starts with 1.
  void fillWithOnes() {
    for (size_t i = 1; i < _tree.size(); ++i) _tree[i] = static_cast<uint32_t>(i & (~i + 1));
  }
  void add(uint32_t position, int32_t amount) {
    for (size_t i = position + 1; i < _tree.size(); i += i & (~i + 1)) {
      _tree[i] += static_cast<uint32_t>(amount);
    }
  }
  // The sum over positions [0, end).
  uint32_t prefix(uint32_t end) const {
    uint32_t sum = 0;
    for (size_t i = end; i > 0; i &= i - 1) sum += _tree[i];
    return sum;
  }
  // The position at which the prefix sum first exceeds k (the k-th set position, from 0).
  uint32_t find(uint32_t k) const {
    size_t position = 0;
    size_t step = 1;
    while (step * 2 < _tree.size()) step *= 2;
    for (; step > 0; step /= 2) {
      if (position + step < _tree.size() && _tree[position + step] <= k) {
        position += step;
        k -= _tree[position];
      }
    }
    return static_cast<uint32_t>(position);
  }

 private:
  std::vector<uint32_t> _tree;
};

// The deltas of the non-basic codepoints, after the basic ones and the delimiter are written:
// the plain loop of RFC 3492.
uint32_t encodeDeltasPlain(uint32_t length, const uint32_t* input, const unsigned char* caseFlags,
                           uint32_t b, uint32_t& out, uint32_t maxOut, char* output) {
  // The values of the non-basic codepoints in ascending order give each pass its m (the
  // smallest codepoint not below n) without a search; the plain path has at most
  // kPlainLoopLimit of them.
  std::array<uint32_t, kPlainLoopLimit> values;
  uint32_t count = 0;
  for (uint32_t j = 0; j < length; ++j) {
    if (input[j] < kInitialN) continue;
    uint32_t k = count++;
    for (; k > 0 && values[k - 1] > input[j]; --k) values[k] = values[k - 1];
    values[k] = input[j];
  }
  uint32_t n = kInitialN, delta = 0, bias = kInitialBias, h = b;
  for (uint32_t next = 0; h < length;) {
    const uint32_t m = values[next];
    while (next < count && values[next] == m) ++next;
    if (overflows(delta, uint64_t{m - n} * (h + 1))) return QNPunycodeOverflow;
    delta += (m - n) * (h + 1);
    n = m;
    // Counted in 64 bits without a branch per smaller codepoint: delta passes 32 bits (the
    // RFC's wrap to 0) before an occurrence of n exactly when the count there exceeds maxint.
    uint64_t count64 = delta;
    for (uint32_t j = 0; j < length; ++j) {
      const uint32_t c = input[j];
      count64 += c < n;
      if (c == n) [[unlikely]] {
        if (count64 > kMaxInt) return QNPunycodeOverflow;
        const auto delta32 = static_cast<uint32_t>(count64);
        if (!writeDelta(delta32, bias, caseFlags && caseFlags[j], output, out, maxOut)) {
          return QNPunycodeBigOutput;
        }
        bias = adapt(delta32, h + 1, h == b);
        count64 = 0;
        ++h;
      }
    }
    if (count64 > kMaxInt) return QNPunycodeOverflow;
    delta = static_cast<uint32_t>(count64) + 1;  // unchecked, as in the RFC
    ++n;
  }
  return QNPunycodeSuccess;
}

// The same steps for long inputs: the codepoints are taken in ascending order of value and
// position, and the number of smaller codepoints between two positions (each one an increment of
// delta) comes from the tree of positions already handled.
uint32_t encodeDeltasCounted(uint32_t length, const uint32_t* input, const unsigned char* caseFlags,
                             uint32_t b, uint32_t& out, uint32_t maxOut, char* output) {
  std::vector<std::pair<uint32_t, uint32_t>> order;  // (value, position) of non-basic codepoints
  order.reserve(length - b);
  BinaryIndexedTree handled(length);
  for (uint32_t j = 0; j < length; ++j) {
    if (input[j] < kInitialN) {
      handled.add(j, 1);
    } else {
      order.emplace_back(input[j], j);
    }
  }
  std::sort(order.begin(), order.end());
  uint32_t n = kInitialN, delta = 0, bias = kInitialBias, h = b;
  // Adds the smaller codepoints in [from, to) to delta; false on overflow.
  const auto count = [&](uint32_t from, uint32_t to) {
    const uint32_t smaller = handled.prefix(to) - handled.prefix(from);
    if (smaller > kMaxInt - delta) return false;
    delta += smaller;
    return true;
  };
  for (size_t first = 0; first < order.size();) {
    const uint32_t m = order[first].first;
    if (overflows(delta, uint64_t{m - n} * (h + 1))) return QNPunycodeOverflow;
    delta += (m - n) * (h + 1);
    n = m;
    size_t last = first;
    uint32_t from = 0;
    for (; last < order.size() && order[last].first == m; ++last) {
      const uint32_t position = order[last].second;
      if (!count(from, position)) return QNPunycodeOverflow;
      if (!writeDelta(delta, bias, caseFlags && caseFlags[position], output, out, maxOut)) {
        return QNPunycodeBigOutput;
      }
      bias = adapt(delta, h + 1, h == b);
      delta = 0;
      ++h;
      from = position + 1;
    }
    if (!count(from, length)) return QNPunycodeOverflow;
    for (; first < last; ++first) handled.add(order[first].second, 1);
    ++delta;
    ++n;
  }
  return QNPunycodeSuccess;
}

// One decoded codepoint: its value and where it is inserted among those before it.
struct Insertion {
  uint32_t value;
  uint32_t position;
  bool flag;
};

// Places insertions made one after another at their positions into `output`, last first: each
// lands in the free slot whose rank is its position.
void placeInsertions(const std::vector<Insertion>& insertions, uint32_t* output,
                     unsigned char* caseFlags) {
  const auto size = static_cast<uint32_t>(insertions.size());
  BinaryIndexedTree free(size);
  free.fillWithOnes();
  for (uint32_t k = size; k-- > 0;) {
    const uint32_t slot = free.find(insertions[k].position);
    free.add(slot, -1);
    output[slot] = insertions[k].value;
    if (caseFlags) caseFlags[slot] = insertions[k].flag;
  }
}

// Short inputs insert each decoded codepoint in place, moving the few after it.
template <bool kWithFlags>
struct InsertInPlace {
  uint32_t* output;
  unsigned char* flags;
  void insert(uint32_t value, uint32_t position, uint32_t count, bool flag) {
    for (uint32_t j = count; j > position; --j) output[j] = output[j - 1];
    output[position] = value;
    if constexpr (kWithFlags) {
      for (uint32_t j = count; j > position; --j) flags[j] = flags[j - 1];
      flags[position] = flag;
    }
  }
  void finish() {}
};

// Long ones note the insertions and place them all at the end.
struct InsertLater {
  uint32_t* output;
  unsigned char* flags;
  std::vector<Insertion> insertions;
  void insert(uint32_t value, uint32_t position, uint32_t, bool flag) {
    insertions.push_back({value, position, flag});
  }
  void finish() { placeInsertions(insertions, output, flags); }
};

// The decoding of RFC 3492 section 6.2 after the last delimiter was found at b.
template <typename Inserter>
uint32_t decodeInto(uint32_t length, const char* input, uint32_t b, uint32_t maxOut,
                    Inserter& inserter, uint32_t* outputLength) {
  uint32_t out = 0;
  for (; out < b; ++out) {
    const auto byte = static_cast<uint8_t>(input[out]);
    if (byte >= 0x80) return QNPunycodeBadInput;
    inserter.insert(byte, out, out, isUppercaseLetter(byte));
  }
  uint32_t n = kInitialN, i = 0, bias = kInitialBias;
  for (uint32_t in = b > 0 ? b + 1 : 0; in < length; ++out) {
    const uint32_t oldi = i;
    uint32_t w = 1;
    uint8_t byte = 0;
    for (uint32_t k = kBase;; k += kBase) {
      if (in >= length) return QNPunycodeBadInput;
      byte = static_cast<uint8_t>(input[in++]);
      const uint32_t digit = kDigitValues[byte];
      if (digit >= kBase) return QNPunycodeBadInput;
      if (overflows(i, uint64_t{digit} * w)) return QNPunycodeOverflow;
      i += digit * w;
      const uint32_t t = threshold(k, bias);
      if (digit < t) break;
      if (uint64_t{w} * (kBase - t) > kMaxInt) return QNPunycodeOverflow;
      w *= kBase - t;
    }
    bias = adapt(i - oldi, out + 1, oldi == 0);
    const uint32_t step = divide(i, out + 1);
    if (overflows(n, step)) return QNPunycodeOverflow;
    n += step;
    i -= step * (out + 1);
    if (out >= maxOut) return QNPunycodeBigOutput;
    inserter.insert(n, i, out, isUppercaseLetter(byte));
    ++i;
  }
  inserter.finish();
  *outputLength = out;
  return QNPunycodeSuccess;
}

}  // namespace

uint32_t punycode_encode(uint32_t input_length, const uint32_t* input,
                         const unsigned char* case_flags, uint32_t* output_length, char* output) {
  const uint32_t maxOut = *output_length;
  uint32_t out = 0;
  for (uint32_t j = 0; j < input_length; ++j) {
    if (input[j] < kInitialN) {
      if (maxOut - out < 2) return QNPunycodeBigOutput;
      const char basic = static_cast<char>(input[j]);
      output[out++] = !case_flags     ? basic
                      : case_flags[j] ? asciiUppercase(basic)
                                      : asciiLowercase(basic);
    }
  }
  const uint32_t b = out;
  if (b > 0) output[out++] = kDelimiter;
  const uint32_t status =
      uint64_t{input_length} * (input_length - b) <= kPlainLoopWork
          ? encodeDeltasPlain(input_length, input, case_flags, b, out, maxOut, output)
          : encodeDeltasCounted(input_length, input, case_flags, b, out, maxOut, output);
  if (status == QNPunycodeSuccess) *output_length = out;
  return status;
}

uint32_t punycode_decode(uint32_t input_length, const char* input, uint32_t* output_length,
                         uint32_t* output, unsigned char* case_flags) {
  const uint32_t maxOut = *output_length;
  uint32_t b = 0;
  for (uint32_t j = 0; j < input_length; ++j) {
    if (input[j] == kDelimiter) b = j;
  }
  if (b > maxOut) return QNPunycodeBigOutput;
  if (input_length > kPlainLoopLimit) {
    InsertLater later{output, case_flags, {}};
    later.insertions.reserve(input_length);
    return decodeInto(input_length, input, b, maxOut, later, output_length);
  }
  if (case_flags) {
    InsertInPlace<true> inPlace{output, case_flags};
    return decodeInto(input_length, input, b, maxOut, inPlace, output_length);
  }
  InsertInPlace<false> inPlace{output, nullptr};
  return decodeInto(input_length, input, b, maxOut, inPlace, output_length);
}

}  // namespace qnunicode

namespace QNUnicode_IDNA {

namespace {

constexpr uint32_t kStackCodepoints = 128;

// Room for `count` items: on the stack when few, else on the heap; false when the heap has none.
template <typename T>
class Buffer {
 public:
  bool reserve(size_t count) {
    if (count <= kStackCodepoints) {
      _data = _stack.data();
      return true;
    }
    try {
      _heap.resize(count);
    } catch (const std::bad_alloc&) {
      return false;
    }
    _data = _heap.data();
    return true;
  }
  T* data() { return _data; }

 private:
  std::array<T, kStackCodepoints> _stack;
  std::vector<T> _heap;
  T* _data = nullptr;
};

std::nullopt_t fail(UnicodeString* error, const char* message, bool log) {
  if (log) QNLog(message);
  if (error) *error = qnunicode::fromUTF8(message);
  return std::nullopt;
}

// Walks the codepoints as the string type does, handing each to `take` with its number;
// answers how many there were.
template <typename Take>
uint32_t takeCodepoints(std::u16string_view string, Take take) {
  uint32_t count = 0;
  qnunicode::detail::walkCodepoints(string, [&](uint32_t codepoint) {
    take(count++, codepoint);
    return true;
  });
  return count;
}

}  // namespace

std::optional<UnicodeString> punycodeEncodedStringWithError(std::u16string_view string,
                                                            UnicodeString* error) {
  const auto n = static_cast<uint32_t>(QNUnicode::UTF32Length(string));
  // Room for any label: the longest ACE label's Punycode part, or four bytes a codepoint; the
  // 63-codepoint limit is the callers' to enforce.
  const uint64_t room = std::max<uint64_t>(63 - QNUnicodeACELabel.size(), 4 * uint64_t{n});
  Buffer<uint32_t> codepoints;
  Buffer<char> bytes;
  if (room > 0xFFFFFFFFu || !codepoints.reserve(n) || !bytes.reserve(room)) {
    return fail(error, "Punycode encoding could not allocate memory.", true);
  }
  uint32_t* input = codepoints.data();
  const uint32_t count = takeCodepoints(string, [&](uint32_t k, uint32_t c) { input[k] = c; });
  auto length = static_cast<uint32_t>(room);
  uint32_t status;
  try {
    status = qnunicode::punycode_encode(count, input, nullptr, &length, bytes.data());
  } catch (const std::bad_alloc&) {
    return fail(error, "Punycode encoding could not allocate memory.", true);
  }
  if (status != qnunicode::QNPunycodeSuccess) {
    return fail(error, "Punycode encoding failed.", false);
  }
  return UnicodeString(bytes.data(), bytes.data() + length);
}

std::optional<UnicodeString> punycodeDecodedStringWithError(std::u16string_view string,
                                                            UnicodeString* error) {
  const auto n = static_cast<uint32_t>(QNUnicode::UTF32Length(string));
  Buffer<char> bytes;
  Buffer<uint32_t> codepoints;
  if (!bytes.reserve(n) || !codepoints.reserve(n)) {
    return fail(error, "Punycode decoding could not allocate memory.", true);
  }
  char* input = bytes.data();
  // Deliberately the low byte of each codepoint, whatever its value.
  const uint32_t count = takeCodepoints(
      string, [&](uint32_t k, uint32_t c) { input[k] = static_cast<char>(c & 0xFF); });
  uint32_t length = n;
  uint32_t status;
  try {
    status = qnunicode::punycode_decode(count, input, &length, codepoints.data(), nullptr);
  } catch (const std::bad_alloc&) {
    return fail(error, "Punycode decoding could not allocate memory.", true);
  }
  if (status != qnunicode::QNPunycodeSuccess) {
    return fail(error, "Punycode decoding failed.", false);
  }
  UnicodeString result;
  result.reserve(length);
  for (uint32_t k = 0; k < length; ++k) qnunicode::appendUTF16(result, codepoints.data()[k]);
  return result;
}

}  // namespace QNUnicode_IDNA
