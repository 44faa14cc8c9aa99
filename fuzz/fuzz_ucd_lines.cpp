// The UnicodeData line parser. The first byte picks the form, the rest is the input:
//   0  the loader's byte form, line after line to the end of the data (without an arena)
//   1  the byte form with an arena, as the loader lays out its records
//   2  the text form, each line of the input as UTF-8
//   3  the text form over arbitrary UTF-16 (two bytes a unit)
// Every record made answers every accessor.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "fuzz/QNFuzzSupport.h"
#include "qnunicode/records/QNUnicodeConcreteData.h"
#include "qnunicode/strings/UnicodeString.h"
#include "qnunicode/util/QNBlockArena.h"

namespace {

// Asks every accessor; the sum keeps the calls from being dropped.
size_t touch(const QNUnicodeData& record) {
  size_t sum = record.codepoint() + record.canonicalCombiningClass();
  sum += record.characterName().size() + record.generalCategory().size();
  sum += record.bidirectionalCategory().size() + record.characterDecompositionMapping().size();
  if (auto mapping = record.characterDecompositionMappingArray()) sum += mapping->size();
  sum += static_cast<size_t>(record.numericType()) + record.numericValueString().size();
  if (record.numericValue()) ++sum;
  sum += record.mirrored() + record.canonicalMapping() + record.compatibilityMapping();
  sum += record.unicode1Name().size() + record.commentField().size();
  sum += record.uppercaseMapping().size() + record.lowercaseMapping().size();
  sum += record.titlecaseMapping().size() + record.description().size();
  sum += record.copy()->characterName().size();
  return sum;
}

void parseBytes(const char* bytes, size_t size, bool withArena) {
  const char* cursor = bytes;
  const char* sentinel = bytes + size;
  qnunicode::detail::BlockArena<std::byte> arena(4096);
  while (cursor < sentinel) {
    size_t consumed = 0;
    if (withArena) {
      auto record = QNUnicodeConcreteData::parseBytes(cursor, sentinel, &consumed, &arena);
      if (!record) return;
      touch(*record);
    } else {
      auto record = QNUnicodeConcreteData::unicodeDataWithBytes(cursor, sentinel, &consumed);
      if (!record) return;
      touch(*record);
    }
    if (consumed == 0 || consumed > static_cast<size_t>(sentinel - cursor)) __builtin_trap();
    cursor += consumed;
  }
}

void parseText(std::u16string_view text) {
  while (true) {
    const size_t end = text.find(u'\n');
    if (auto record = QNUnicodeConcreteData::unicodeDataWithString(text.substr(0, end)))
      touch(*record);
    if (end == std::u16string_view::npos) return;
    text.remove_prefix(end + 1);
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  qnunicode::fuzz::silenceLog();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const uint8_t form = data[0] % 4;
  const char* bytes = reinterpret_cast<const char*>(data + 1);
  const size_t length = size - 1;
  switch (form) {
    case 0:
    case 1:
      parseBytes(bytes, length, form == 1);
      break;
    case 2:
      if (auto text = qnunicode::decodeUTF8(std::string_view(bytes, length))) parseText(*text);
      break;
    default:
      parseText(qnunicode::fuzz::unitsFromBytes(data + 1, length));
      break;
  }
  return 0;
}
