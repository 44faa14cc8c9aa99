#pragma once

#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/util/QNLog.h"

// Support for the library's tests: where the real data lives, capturing log lines and scratch
// directories. Data that a test needs and cannot find fails the test loudly.
namespace qnunicode::testing {

// The UCD 15.0.0 directory the build prepared (plain files, NormalizationTest.txt, Unihan/).
std::string ucdDirectory();
// A file of that directory, checked to exist.
std::string ucdFile(std::string_view name);
// The repository's root (resources/ and test fixtures).
std::string sourceDirectory();
// The unicore folder of Debian's perl, which holds a Blocks.txt of Unicode 14.0.0.
std::string perlUnicoreDirectory();

// A database over the real UCD and the repository's description directory, made once per test
// program and installed as the shared database.
std::shared_ptr<QNUnicodeDatabase> realDatabase();

// Collects every log line while it lives and restores the previous sink afterwards.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  const std::vector<std::string>& lines() const { return _lines; }
  void clear() { _lines.clear(); }
  bool contains(std::string_view line) const;

 private:
  std::vector<std::string> _lines;
  QNLogSink _previous;
};

// A fresh directory under the system's temporary directory, removed with everything in it.
class ScratchDirectory {
 public:
  ScratchDirectory();
  ~ScratchDirectory();
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  const std::string& path() const { return _path; }
  // Writes the bytes to path()/name (creating parent folders) and answers the full path.
  std::string write(std::string_view name, std::string_view bytes) const;
  // Copies a file into path()/name and answers the full path.
  std::string copy(const std::string& from, std::string_view name) const;

 private:
  std::string _path;
};

// Records each missing-file notification's prefix.
class RecordingDelegate : public QNUnicodeDatabaseDelegate {
 public:
  bool unicodeDatabase(QNUnicodeDatabase& database, std::u16string_view couldNotFindFile) override;
  std::vector<UnicodeString> prefixes;
};

// A database over a fresh scratch directory holding the given files (name, content), with a
// delegate that records every missing-file notice.
struct ScratchDatabase {
  explicit ScratchDatabase(std::initializer_list<std::pair<const char*, const char*>> files);

  ScratchDirectory directory;
  std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
  QNUnicodeDatabase database{{directory.path()}, {}};
};

// How much longer an operation takes on `large` input than on `small`: the best of `rounds`
// timings of run(large) over the best of run(small) (a first round of each warms up). Inputs are
// best made before, outside run. Linear work answers about large / small;
// hostile-input tests compare this ratio with a bound instead of a wall-clock limit, so that a
// loaded machine slows both sides alike.
double scalingRatio(const std::function<void(size_t size)>& run, size_t small, size_t large,
                    int rounds = 5);

}  // namespace qnunicode::testing
