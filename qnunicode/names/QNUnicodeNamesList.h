#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/strings/UnicodeString.h"
#include "qnunicode/util/QNScanner.h"

// One character's annotations from the names list: the lines under its heading line. The
// heading's character name is not kept (names come from UnicodeData). Each list is none until
// its first line arrives; lines keep file order. Entries never change once read.
class QNUnicodeNamesList_CharEntry {
 public:
  using Lines = std::optional<std::vector<UnicodeString>>;

  // Reads a names-list file into its entries in file order. None when the file cannot be read
  // or decoded; each failure logs one line naming this source file and line.
  static std::shared_ptr<QNUnicodeNamesListEntries> readNamesListAtPath(
      const std::optional<std::string>& path);

  // Builds one entry from a scanner at the start of a heading line and leaves the scanner at the
  // start of the first line that does not belong to the entry. None (the scanner unmoved) when
  // no hexadecimal number stands there. The scanner is expected to skip nothing and to match
  // literals without regard to case, as the file reader sets it up.
  static std::shared_ptr<QNUnicodeNamesList_CharEntry> charEntryWithScanner(
      qnunicode::QNScanner& scanner);

  // Appends a line to a list, creating the list (with room for one line) when it is none.
  static void addLine(std::u16string_view line, Lines& toArray);

  // The annotations as display text, one line per stored text in the order aliases, formal
  // aliases, comments, cross references, decompositions, compatibility mappings, notices, with
  // their display symbols; no line feed after the last line, "" without annotations.
  UnicodeString allLinesString() const;

  uint32_t codepoint() const { return _codepoint; }
  const Lines& aliases() const { return _aliases; }
  const Lines& formalAliases() const { return _formalAliases; }
  const Lines& comments() const { return _comments; }
  const Lines& crossRefs() const { return _crossRefs; }
  const Lines& decompositions() const { return _decompositions; }
  const Lines& compatMappings() const { return _compatMappings; }
  const Lines& notices() const { return _notices; }

 private:
  explicit QNUnicodeNamesList_CharEntry(uint32_t codepoint) : _codepoint(codepoint) {}

  uint32_t _codepoint;
  Lines _aliases;         // "\t= "
  Lines _formalAliases;   // "\t% "
  Lines _comments;        // "\t" and any other text, its own marker kept
  Lines _crossRefs;       // "\tX " or "\tx "
  Lines _decompositions;  // "\t:", the blank after the colon kept
  Lines _compatMappings;  // "\t# "
  Lines _notices;         // "@+\t"
};
