#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "qnunicode/strings/UnicodeString.h"

class QNUnicodeDatabase;
class QNXHTMLDatabase;

// What the fuzz targets share: the real data the build prepared, a scratch data directory for the
// fuzzed files and the conversion of fuzzed bytes to the string type. Self-contained: it does not
// use the test support of the library's unit tests.
namespace qnunicode::fuzz {

// Swallows the library's log lines (a data-file reader logs one per bad line, which would only
// slow the fuzzer); called by every target's LLVMFuzzerInitialize.
void silenceLog();

// The database over the real UCD directory the build prepared, UnicodeData read, made once per
// process and installed as the shared database.
QNUnicodeDatabase& realDatabase();
// The XHTML entities of the entity directory the build prepared, made once per process.
const QNXHTMLDatabase& realXHTMLDatabase();
// The repository's resources/ folder (the nameprep profile, the information file).
std::string resourceDirectory();
std::string ucdDirectory();

// A directory under the system's temporary directory made once per process (named after the
// process so that parallel fuzzing jobs do not meet) and removed at exit. Each input empties it
// before writing its files.
class ScratchDataDirectory {
 public:
  static ScratchDataDirectory& shared();
  const std::string& path() const { return _path; }
  // Removes every file of the directory.
  void clear() const;
  // Writes the bytes to path()/name and answers the full path.
  std::string write(std::string_view name, std::string_view bytes) const;
  // Copies a file into path()/name.
  void copy(const std::string& from, std::string_view name) const;
  ~ScratchDataDirectory();

 private:
  ScratchDataDirectory();
  std::string _path;
};

// The bytes as UTF-16 code units, two bytes each, little-endian (an odd last byte is dropped):
// arbitrary UTF-16, unpaired surrogates included.
UnicodeString unitsFromBytes(const uint8_t* data, size_t size);

}  // namespace qnunicode::fuzz
