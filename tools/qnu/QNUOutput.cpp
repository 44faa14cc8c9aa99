#include "QNUOutput.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/util/QNLog.h"

namespace qnu {

std::string codepointLabel(uint32_t codepoint) {
  return QNFormat("U+%04X", codepoint);
}

std::string displayedCharacter(uint32_t codepoint, std::u16string_view generalCategory) {
  if (generalCategory.empty()) return {};
  const std::string character = qnunicode::toUTF8(QNUnicode::stringWithCodepoint(codepoint));
  switch (generalCategory[0]) {
    case u'L':
    case u'N':
    case u'P':
    case u'S':
      return character;
    case u'M':
      return "\u25CC" + character;
    case u'Z':
      return generalCategory == u"Zs" ? character : std::string();
    default:
      return {};
  }
}

Json jsonText(std::u16string_view text) {
  return Json(qnunicode::toUTF8(text));
}

Json jsonText(const std::optional<UnicodeString>& text) {
  return text ? jsonText(std::u16string_view(*text)) : Json(nullptr);
}

Json jsonTextList(const std::vector<UnicodeString>& texts) {
  Json list = Json::array();
  for (const UnicodeString& text : texts) list.push_back(jsonText(std::u16string_view(text)));
  return list;
}

std::string jsonLine(const Json& value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

void writeOut(std::string_view text, bool flush) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) {
    throw OutputError(std::strerror(errno));
  }
  if (flush) checkStandardOutput(true);
}

void checkStandardOutput(bool flush) {
  if (flush && std::fflush(stdout) != 0) throw OutputError(std::strerror(errno));
  if (std::ferror(stdout)) throw OutputError("write error");
}

std::string TextTable::render(size_t indent) const {
  size_t width = 0;
  for (const auto& [label, value] : _rows) width = std::max(width, label.size());
  const std::string margin(indent, ' ');
  const std::string continuation(indent + width + 2, ' ');
  std::string text;
  for (const auto& [label, value] : _rows) {
    text += margin;
    text += label;
    text.append(width + 2 - label.size(), ' ');
    for (char c : value) {
      text += c;
      if (c == '\n') text += continuation;
    }
    text += '\n';
  }
  return text;
}

}  // namespace qnu
