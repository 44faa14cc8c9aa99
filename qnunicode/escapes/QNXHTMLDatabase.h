#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "qnunicode/strings/UnicodeString.h"
#include "qnunicode/util/CodepointSet.h"

// Converts between text and XHTML character references. The named entities come from the XHTML
// entity definition files of one directory (declarations of the form <!ENTITY name "&#N;">, the
// markup characters written "&#38;#N;"); numeric references are written in hexadecimal or
// decimal. Independent of QNUnicodeDatabase.
class QNXHTMLDatabase {
 public:
  // Codepoint -> the entity text with its delimiters ("&nbsp;" for 160).
  using EntityMap = std::unordered_map<int32_t, UnicodeString>;

  // A database without entities: named lookups answer none, escaping writes numeric references
  // and decoding leaves names as they are.
  QNXHTMLDatabase() = default;

  // A database over the entity files of the directory; with no directory one without entities.
  // Answers nullptr when a directory is given but is not an existing, readable directory.
  static std::shared_ptr<QNXHTMLDatabase> initWithDirectory(
      const std::optional<std::string>& directory);

  // Replaces the entities with those of every entry of the directory, read in sorted name order;
  // a later file's definition of a codepoint wins. Entries that cannot be read add nothing.
  void readXHTMLEntitiesFromDirectory(const std::string& directory);
  // The entities one file declares with a decimal value; empty when it cannot be read.
  static EntityMap XHTMLEntitiesForPath(const std::string& path);

  // None for a database made without a directory.
  const std::optional<EntityMap>& XHTMLEntities() const { return _XHTMLEntities; }

  // The named entity of a codepoint, or none.
  std::optional<UnicodeString> XHTMLEntityForCodepoint(uint32_t codepoint) const;
  // The named entity when preferNamed and there is one, else "&#%i;" with decimal or "&#x%x;"
  // (lower-case, no leading zeros).
  UnicodeString XHTMLEntityForCodepoint(uint32_t codepoint, bool preferNamed, bool decimal) const;
  // The one-codepoint string of an entity text written with its "&" and ";" (letter case
  // matters), or none. When several codepoints carry the text, logs "%lu codepoints found for
  // entity %@. returning first entry." and answers one of them.
  std::optional<UnicodeString> stringForXHTMLEntity(std::u16string_view entity) const;

  // Decoding: references to characters outside the preserved set become those characters, one
  // count each; everything else, malformed references and undefined names included, stays as
  // written. With lowASCII (the default) the preserved set is U+0000 to U+007E without the five
  // markup characters "&'<> and the double quote, so those are decoded and other ASCII
  // references (&#65;) stay; without it no ASCII reference is decoded.
  UnicodeString unicodeStringFromXHTML(std::u16string_view text) const;
  UnicodeString unicodeStringFromXHTML(std::u16string_view text,
                                       uint32_t* numberOfReplacements) const;
  UnicodeString unicodeStringFromXHTML(std::u16string_view text, bool lowASCII,
                                       uint32_t* numberOfReplacements) const;
  // The general form: no set preserves nothing.
  UnicodeString unicodeStringFromXHTML(std::u16string_view text,
                                       const CodepointSet* preservingCharactersFromSet,
                                       uint32_t* numberOfReplacements) const;

  // Escaping: every codepoint outside the preserved set becomes its reference
  // (XHTMLEntityForCodepoint), one count each. The preserved set is U+0000 to U+007E (DEL is
  // always escaped), without the five markup characters when lowASCII is set. The shorter forms
  // prefer named entities and write hexadecimal references.
  UnicodeString XHTMLStringFromUnicode(std::u16string_view text, bool lowASCII) const;
  UnicodeString XHTMLStringFromUnicode(std::u16string_view text, bool lowASCII,
                                       uint32_t* numberOfReplacements) const;
  UnicodeString XHTMLStringFromUnicode(std::u16string_view text, bool lowASCII, bool decimal,
                                       uint32_t* numberOfReplacements) const;
  UnicodeString XHTMLStringFromUnicode(std::u16string_view text, bool lowASCII, bool preferNamed,
                                       bool decimal, uint32_t* numberOfReplacements) const;
  // The general form: no set escapes every codepoint.
  UnicodeString XHTMLStringFromUnicode(std::u16string_view text,
                                       const CodepointSet* preservingCharactersFromSet,
                                       bool preferNamed, bool decimal,
                                       uint32_t* numberOfReplacements) const;

  // The preserved set of the lowASCII forms: U+0000 to U+007E, without "&'<> and the double
  // quote when lowASCII is set.
  static CodepointSet lowASCIIPreservedSet(bool lowASCII);

 private:
  std::optional<EntityMap> _XHTMLEntities;
  // Entity text -> every codepoint that carries it, for decoding.
  std::unordered_map<UnicodeString, std::vector<uint32_t>> _codepointsByEntity;
};
