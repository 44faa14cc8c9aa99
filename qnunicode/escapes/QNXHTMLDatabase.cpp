#include "qnunicode/escapes/QNXHTMLDatabase.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "qnunicode/escapes/QNEscapeSupport.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/util/QNLog.h"
#include "qnunicode/util/QNScanner.h"

namespace fs = std::filesystem;

namespace {

using qnunicode::QNScanner;

// An ASCII letter or digit.
bool isASCIILetterOrDigit(char16_t unit) {
  const char16_t lower = qnunicode::asciiLowercase(unit);
  return (unit >= u'0' && unit <= u'9') || (lower >= u'a' && lower <= u'z');
}

// Where an entity name may begin: a letter or digit. Names in entity files are ASCII; beyond
// ASCII every unit but white space counts, so that a name in another script is read whole.
bool beginsName(char16_t unit) {
  if (unit < 0x80) return isASCIILetterOrDigit(unit);
  return !qnunicode::isWhitespaceOrNewline(unit);
}

// The characters a reference may hold between its "&" and ";".
bool isBodyCharacter(char16_t unit) {
  return unit == u'#' || (unit < 0x80 && isASCIILetterOrDigit(unit));
}

// The value of one declaration, from after its name to its ">": the decimal number after the
// first "&#" that follows the opening double quote, with the markup characters' escaped form
// "&#38;#N;" read as N. False for a declaration without such a value.
bool entityValue(std::u16string_view declaration, int32_t* value) {
  const size_t quote = declaration.find(u'"');
  if (quote == std::u16string_view::npos) return false;
  QNScanner scanner(declaration.substr(quote + 1));
  scanner.setCaseSensitive(false);
  scanner.scanUpToString(u"&#");
  if (!scanner.scanString(u"&#") || !scanner.scanInt(value)) return false;
  if (*value == 38 && scanner.scanString(u";#")) {
    int32_t escaped;
    if (scanner.scanInt(&escaped)) *value = escaped;
  }
  return true;
}

QNXHTMLDatabase::EntityMap parseEntityFile(std::u16string_view text) {
  QNXHTMLDatabase::EntityMap entities;
  entities.reserve(200);
  QNScanner scanner(text);
  scanner.setCaseSensitive(false);
  while (!scanner.isAtEnd()) {
    scanner.scanUpToString(u"<!");
    if (scanner.scanString(u"<!--")) {
      scanner.scanUpToString(u"-->");
      scanner.scanString(u"-->");
      continue;
    }
    if (!scanner.scanString(u"<!ENTITY")) {
      // Any other declaration is passed over.
      if (!scanner.scanString(u"<!")) break;
      continue;
    }
    size_t position = scanner.scanLocation();
    while (position < text.size() && !beginsName(text[position])) ++position;
    const size_t nameStart = position;
    while (position < text.size() && text[position] != u' ' && text[position] != u'\t') ++position;
    const std::u16string_view name = text.substr(nameStart, position - nameStart);
    const size_t end = std::min(text.find(u'>', position), text.size());
    int32_t value;
    if (!name.empty() && entityValue(text.substr(position, end - position), &value)) {
      UnicodeString entity;
      entity.reserve(name.size() + 2);
      entity.append(u"&").append(name).append(u";");
      entities[value] = std::move(entity);
    }
    scanner.setScanLocation(end);
  }
  return entities;
}

// "&#%i;" or "&#x%x;".
void appendNumericReference(UnicodeString& out, uint32_t codepoint, bool decimal) {
  char16_t units[16];
  char16_t* end = units + 16;
  if (decimal) {
    // Written as a signed 32-bit number.
    const auto value = static_cast<int32_t>(codepoint);
    uint32_t magnitude = value < 0 ? 0u - codepoint : codepoint;
    do {
      *--end = static_cast<char16_t>(u'0' + magnitude % 10);
    } while ((magnitude /= 10) != 0);
    if (value < 0) *--end = u'-';
    out.append(u"&#");
  } else {
    uint32_t value = codepoint;
    do {
      *--end = qnunicode::detail::kLowerHexDigits[value & 0xF];
    } while ((value >>= 4) != 0);
    out.append(u"&#x");
  }
  out.append(end, static_cast<size_t>(units + 16 - end));
  out.push_back(u';');
}

}  // namespace

std::shared_ptr<QNXHTMLDatabase> QNXHTMLDatabase::initWithDirectory(
    const std::optional<std::string>& directory) {
  auto database = std::make_shared<QNXHTMLDatabase>();
  if (!directory) return database;
  std::error_code error;
  if (!fs::is_directory(*directory, error) || access(directory->c_str(), R_OK | X_OK) != 0) {
    return nullptr;
  }
  database->readXHTMLEntitiesFromDirectory(*directory);
  return database;
}

void QNXHTMLDatabase::readXHTMLEntitiesFromDirectory(const std::string& directory) {
  _XHTMLEntities.emplace();
  _XHTMLEntities->reserve(1000);
  _codepointsByEntity.clear();
  std::vector<std::string> paths;
  std::error_code error;
  for (fs::directory_iterator entry(directory, error), end; !error && entry != end;
       entry.increment(error)) {
    paths.push_back(entry->path().string());
  }
  std::sort(paths.begin(), paths.end());
  for (const std::string& path : paths) {
    for (auto& [codepoint, entity] : XHTMLEntitiesForPath(path)) {
      (*_XHTMLEntities)[codepoint] = std::move(entity);
    }
  }
  for (const auto& [codepoint, entity] : *_XHTMLEntities) {
    _codepointsByEntity[entity].push_back(static_cast<uint32_t>(codepoint));
  }
  // The first of several is the lowest codepoint, the same on every run.
  for (auto& [entity, codepoints] : _codepointsByEntity)
    std::sort(codepoints.begin(), codepoints.end());
}

QNXHTMLDatabase::EntityMap QNXHTMLDatabase::XHTMLEntitiesForPath(const std::string& path) {
  std::error_code error;
  if (!fs::is_regular_file(path, error)) return {};
  const std::optional<UnicodeString> text = QNUnicode::stringWithContentsOfUTF8File(path);
  return text ? parseEntityFile(*text) : EntityMap();
}

std::optional<UnicodeString> QNXHTMLDatabase::XHTMLEntityForCodepoint(uint32_t codepoint) const {
  if (!_XHTMLEntities) return std::nullopt;
  const auto found = _XHTMLEntities->find(static_cast<int32_t>(codepoint));
  if (found == _XHTMLEntities->end()) return std::nullopt;
  return found->second;
}

UnicodeString QNXHTMLDatabase::XHTMLEntityForCodepoint(uint32_t codepoint, bool preferNamed,
                                                       bool decimal) const {
  if (preferNamed) {
    if (std::optional<UnicodeString> entity = XHTMLEntityForCodepoint(codepoint)) return *entity;
  }
  UnicodeString reference;
  appendNumericReference(reference, codepoint, decimal);
  return reference;
}

std::optional<UnicodeString> QNXHTMLDatabase::stringForXHTMLEntity(
    std::u16string_view entity) const {
  const auto found = _codepointsByEntity.find(UnicodeString(entity));
  if (found == _codepointsByEntity.end()) return std::nullopt;
  const std::vector<uint32_t>& codepoints = found->second;
  if (codepoints.size() > 1) {
    QNLogFormat("%lu codepoints found for entity %s. returning first entry.",
                static_cast<unsigned long>(codepoints.size()), qnunicode::logText(entity).c_str());
  }
  return QNUnicode::stringWithCodepoint(codepoints.front());
}

CodepointSet QNXHTMLDatabase::lowASCIIPreservedSet(bool lowASCII) {
  CodepointSet set;
  set.addRange(0, 0x7E);
  if (lowASCII) {
    for (char16_t markup : std::u16string_view(u"\"&'<>")) set.remove(markup);
  }
  return set;
}

// ---- Decoding ----------------------------------------------------------------------------------

UnicodeString QNXHTMLDatabase::unicodeStringFromXHTML(std::u16string_view text) const {
  return unicodeStringFromXHTML(text, true, nullptr);
}

UnicodeString QNXHTMLDatabase::unicodeStringFromXHTML(std::u16string_view text,
                                                      uint32_t* numberOfReplacements) const {
  return unicodeStringFromXHTML(text, true, numberOfReplacements);
}

UnicodeString QNXHTMLDatabase::unicodeStringFromXHTML(std::u16string_view text, bool lowASCII,
                                                      uint32_t* numberOfReplacements) const {
  const CodepointSet preserved = lowASCIIPreservedSet(lowASCII);
  return unicodeStringFromXHTML(text, &preserved, numberOfReplacements);
}

UnicodeString QNXHTMLDatabase::unicodeStringFromXHTML(
    std::u16string_view text, const CodepointSet* preservingCharactersFromSet,
    uint32_t* numberOfReplacements) const {
  const qnunicode::detail::PreservedSet preserved(preservingCharactersFromSet);
  constexpr size_t npos = std::u16string_view::npos;
  UnicodeString out;
  out.reserve(text.size());
  UnicodeString entity;
  uint32_t replacements = 0;
  size_t semicolon = 0;  // the next ";" at or after the current "&", found once for many "&"
  bool semicolonKnown = false;
  size_t position = 0;
  while (position < text.size()) {
    const size_t ampersand = text.find(u'&', position);
    if (ampersand == npos) {
      out.append(text.substr(position));
      break;
    }
    out.append(text.substr(position, ampersand - position));
    if (!semicolonKnown || (semicolon != npos && semicolon < ampersand)) {
      semicolon = text.find(u';', ampersand);
      semicolonKnown = true;
    }
    // t: from the "&" up to the ";" or the end.
    const size_t end = semicolon == npos ? text.size() : semicolon;
    const std::u16string_view t = text.substr(ampersand, end - ampersand);
    size_t body = 1;
    while (body < t.size() && isBodyCharacter(t[body])) ++body;
    if (body < t.size()) {
      // Not a reference: the "&" and what follows stay, and scanning goes on at the odd one.
      out.append(t.substr(0, body));
      position = ampersand + body;
      continue;
    }
    position = end;  // unless a reference is decoded, t stays and the ";" is read as text
    uint32_t codepoint;
    bool isReference = false;
    if (t.size() > 1 && t[1] == u'#') {
      const bool hexadecimal = t.size() > 2 && (t[2] == u'x' || t[2] == u'X');
      QNScanner scanner(t.substr(hexadecimal ? 3 : 2), QNScanner::Skip::Nothing);
      int32_t decimalValue = 0;
      const bool read =
          hexadecimal ? scanner.scanHexInt(&codepoint) : scanner.scanInt(&decimalValue);
      if (!hexadecimal) codepoint = static_cast<uint32_t>(decimalValue);
      isReference = read && scanner.remainingText().empty() && semicolon != npos;
    } else if (t.size() > 1 && semicolon != npos) {
      entity.assign(t).push_back(u';');
      if (std::optional<UnicodeString> character = stringForXHTMLEntity(entity)) {
        codepoint = qnunicode::codepointAt(*character, 0).codepoint;
        isReference = true;
      }
    }
    if (isReference && !preserved.contains(codepoint)) {
      out.append(QNUnicode::stringWithCodepoint(codepoint));
      ++replacements;
      position = end + 1;
    } else {
      out.append(t);
    }
  }
  if (numberOfReplacements) *numberOfReplacements = replacements;
  return out;
}

// ---- Escaping ----------------------------------------------------------------------------------

UnicodeString QNXHTMLDatabase::XHTMLStringFromUnicode(std::u16string_view text,
                                                      bool lowASCII) const {
  return XHTMLStringFromUnicode(text, lowASCII, true, false, nullptr);
}

UnicodeString QNXHTMLDatabase::XHTMLStringFromUnicode(std::u16string_view text, bool lowASCII,
                                                      uint32_t* numberOfReplacements) const {
  return XHTMLStringFromUnicode(text, lowASCII, true, false, numberOfReplacements);
}

UnicodeString QNXHTMLDatabase::XHTMLStringFromUnicode(std::u16string_view text, bool lowASCII,
                                                      bool decimal,
                                                      uint32_t* numberOfReplacements) const {
  return XHTMLStringFromUnicode(text, lowASCII, true, decimal, numberOfReplacements);
}

UnicodeString QNXHTMLDatabase::XHTMLStringFromUnicode(std::u16string_view text, bool lowASCII,
                                                      bool preferNamed, bool decimal,
                                                      uint32_t* numberOfReplacements) const {
  const CodepointSet preserved = lowASCIIPreservedSet(lowASCII);
  return XHTMLStringFromUnicode(text, &preserved, preferNamed, decimal, numberOfReplacements);
}

UnicodeString QNXHTMLDatabase::XHTMLStringFromUnicode(
    std::u16string_view text, const CodepointSet* preservingCharactersFromSet, bool preferNamed,
    bool decimal, uint32_t* numberOfReplacements) const {
  const qnunicode::detail::PreservedSet preserved(preservingCharactersFromSet);
  UnicodeString out;
  out.reserve(text.size() + text.size() / 2);
  uint32_t replacements = 0;
  for (size_t position = 0; position < text.size();) {
    const qnunicode::detail::WalkStep step = qnunicode::detail::walkStep(text, position);
    if (preserved.contains(step.codepoint)) {
      out.append(text.substr(position, step.length));
    } else {
      if (preferNamed && _XHTMLEntities) {
        const auto found = _XHTMLEntities->find(static_cast<int32_t>(step.codepoint));
        if (found != _XHTMLEntities->end()) {
          out.append(found->second);
        } else {
          appendNumericReference(out, step.codepoint, decimal);
        }
      } else {
        appendNumericReference(out, step.codepoint, decimal);
      }
      ++replacements;
    }
    position = step.next;
  }
  if (numberOfReplacements) *numberOfReplacements = replacements;
  return out;
}
