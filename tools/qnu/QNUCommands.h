#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "QNUHost.h"

// The commands of qnu. main.cpp declares their options on the command line and calls the
// runner of the chosen one; each runner writes its results to standard output and answers the
// exit code (kExitSuccess or kExitCheckFailed), raising UsageError for bad input before it
// writes anything.
namespace qnu {

struct InspectOptions {
  std::vector<std::string> arguments;
  bool codepoints = false;  // the arguments are codepoints and ranges, not text
};
int runInspect(Host& host, const InspectOptions& options);

struct NormalizeOptions {
  std::string form = "nfc";         // nfc, nfd, nfkc or nfkd
  std::optional<std::string> text;  // standard input when none
};
int runNormalize(Host& host, const NormalizeOptions& options);

int runData(Host& host);

struct NormtestOptions {
  std::optional<std::string> file;  // the data directories' NormalizationTest.txt when none
};
int runNormtest(Host& host, const NormtestOptions& options);

struct SearchOptions {
  std::vector<std::string> words;
  std::optional<std::string> regex;
  std::optional<size_t> limit;
  bool unihan = false;  // search the Unihan definitions too (reads the Unihan files)
};
int runSearch(Host& host, const SearchOptions& options);

struct EscapeOptions {
  std::string method;                   // URL, C99, Java, COct, CS1, CS2, CS21 or XHTML
  bool decode = false;                  // replace escapes instead of adding them
  std::optional<std::string> text;      // standard input when none
  std::optional<std::string> preserve;  // characters kept as they are, beside the default set
  bool noDefaultSet = false;
  bool numeric = false;                 // XHTML: numeric references even where a name exists
  bool decimal = false;                 // XHTML: decimal instead of hexadecimal references
  std::optional<std::string> entities;  // XHTML: the entity directory
  bool noLowASCII = false;              // XHTML: keep the markup characters as they are
  bool count = false;                   // the count on standard error
};
// Writes the converted text; exits with kExitCheckFailed where percent decoding gives no result.
int runEscape(Host& host, const EscapeOptions& options);
struct PunycodeOptions {
  std::vector<std::string> labels;  // standard input, a label a line, when none
  bool decode = false;
};
// Each label's Punycode form (or with decode, the label decoded) on standard output, or
// "qnu: LABEL: MESSAGE" on standard error; kExitCheckFailed when any failed.
int runPunycode(Host& host, const PunycodeOptions& options);

struct IdnaOptions {
  std::vector<std::string> domains;  // standard input, a domain a line, when none
  bool idna2003 = false;
  bool idna2008 = false;  // the default when neither is given
  bool toUnicode = false;
};
// Each domain converted by IDNA2008, or IDNA2003 (ToASCII, or ToUnicode), on standard output, or
// "qnu: DOMAIN: MESSAGE" on standard error; every input is answered, and kExitCheckFailed when
// any failed.
int runIdna(Host& host, const IdnaOptions& options);

}  // namespace qnu
