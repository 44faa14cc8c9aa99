#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "QNUOutput.h"
#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/escapes/QNXHTMLDatabase.h"

namespace qnu {

// One property of a codepoint as inspect shows it. The JSON key is the library's own accessor
// or lookup name; a described property also carries its description, written in JSON under the
// key with "Description" appended and in text after the value in parentheses.
struct ReportField {
  enum class Shown { Always, InJSONOnly, InTextWhenPresent };

  std::string key;
  std::string label;
  Json value;
  std::optional<Json> description;
  std::optional<std::string> text;  // the text form, when it is not the value's own
  Shown shown = Shown::Always;
};

// Everything the library knows of one codepoint, as an ordered list of fields, rendered as an
// aligned text block or as one JSON line. Needs a database whose UnicodeData can be read.
class CodepointReporter {
 public:
  // The escapes field writes XHTML references with the given entities, numeric ones without.
  // With showProgress, a read of the Unihan files that a codepoint sets off draws a progress bar.
  explicit CodepointReporter(QNUnicodeDatabase& database,
                             std::shared_ptr<const QNXHTMLDatabase> entities = nullptr,
                             bool showProgress = false)
      : _database(database),
        _entities(entities ? std::move(entities) : std::make_shared<QNXHTMLDatabase>()),
        _showProgress(showProgress) {}

  // True when the codepoint lies in a block of ideographs, which alone have Unihan entries: the
  // Unihan files are read for no other codepoint.
  bool mayHaveUnihanData(uint32_t codepoint);

  std::vector<ReportField> fields(uint32_t codepoint);
  // "U+XXXX" and the character, then the properties, one per line, values aligned.
  std::string text(uint32_t codepoint);
  // One JSON object with its line end.
  std::string jsonLine(uint32_t codepoint);

  // The text form of a value: "(none)" for null, an empty text or an empty list; lists joined
  // by ", "; yes or no.
  static std::string textOfValue(const Json& value);

 private:
  const QNUnicodeNamesList_CharEntry* namesListEntry(uint32_t codepoint);

  // The codepoint's Unihan entry as a JSON object (numbers for the numeric keys) and as text
  // lines "key  value" sorted by key; none without an entry.
  std::optional<std::pair<Json, std::string>> unihanEntry(uint32_t codepoint);

  QNUnicodeDatabase& _database;
  std::shared_ptr<const QNXHTMLDatabase> _entities;
  bool _showProgress;
  // Whether the names list was asked for, and whether it could be read then.
  bool _namesListTried = false;
  bool _namesListRead = false;
};

}  // namespace qnu
