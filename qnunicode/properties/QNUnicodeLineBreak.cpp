#include "qnunicode/properties/QNUnicodeLineBreak.h"

#include "qnunicode/util/QNLog.h"

namespace {

constexpr uint32_t kUnknownClass = 39;

// The table's names as library strings, so that names can be answered by reference.
const std::array<UnicodeString, QNUnicode_LineBreakClass_Strings.size()>& classNames() {
  static const auto names = [] {
    std::array<UnicodeString, QNUnicode_LineBreakClass_Strings.size()> made;
    for (size_t i = 0; i < made.size(); ++i) made[i] = QNUnicode_LineBreakClass_Strings[i];
    return made;
  }();
  return names;
}

}  // namespace

const UnicodeString& QNUnicode_StringForLineBreakClass(uint32_t lineBreakClass) {
  if (lineBreakClass >= QNUnicode_LineBreakClass_Strings.size()) {
    QNLogFormat("invalid line break class index '%u', returning XX", lineBreakClass);
    return classNames()[kUnknownClass];
  }
  return classNames()[lineBreakClass];
}

uint32_t QNUnicode_LineBreakClassForString(std::u16string_view name) {
  for (uint32_t i = 0; i < QNUnicode_LineBreakClass_Strings.size(); ++i) {
    if (QNUnicode_LineBreakClass_Strings[i] == name) return i;
  }
  QNLogFormat("no line break class '%s', returning XX", qnunicode::logText(name).c_str());
  return kUnknownClass;
}
