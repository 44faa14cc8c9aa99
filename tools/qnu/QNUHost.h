#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "qnunicode/database/QNUnicodeDatabase.h"

namespace qnu {

// Exit codes of every command.
inline constexpr int kExitSuccess = 0;
inline constexpr int kExitCheckFailed = 1;
inline constexpr int kExitBadInput = 2;

// Bad usage or bad input: main prints "qnu: " and the message as one line on standard error and
// exits with kExitBadInput. Nothing is written to standard output after it is raised.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Where the host looks for its data when no option says otherwise. A binary started from the
// build tree uses the data directory the build prepared and the repository's resources; any
// other location counts as an installation, whose data lies beside the binary at the
// configured relative path (<prefix>/bin/qnu -> <prefix>/share/qnunicode).
struct DefaultPaths {
  std::string dataDirectory;
  std::string descriptionDirectory;
  std::string infoFile;
  // The library's resources (the stringprep profiles); the host hands it to the library.
  std::string resourceDirectory;

  static DefaultPaths forExecutable(const std::string& executablePath);
  // The defaults of the running binary (found through /proc/self/exe).
  static DefaultPaths forThisProcess();
};

// The options every command shares.
struct CommonOptions {
  std::vector<std::string> dataDirectories;         // in precedence order, first wins
  std::vector<std::string> descriptionDirectories;  // likewise
  std::optional<std::string> infoFile;
  bool json = false;
};

// A failure whose diagnostic is already on standard error: main only exits with kExitBadInput.
class ReportedFailure : public std::exception {
 public:
  const char* what() const noexcept override { return "failure already reported"; }
};

// Hears of data files the library could not find. Each prefix is reported once, as one line on
// standard error ("qnu: " and messageForPrefix), however often a reader asks again; the prefixes
// are kept in order.
class MissingFileDelegate : public QNUnicodeDatabaseDelegate {
 public:
  explicit MissingFileDelegate(std::vector<std::string> searchedDirectories)
      : _searchedDirectories(std::move(searchedDirectories)) {}

  bool unicodeDatabase(QNUnicodeDatabase& database, std::u16string_view couldNotFindFile) override;
  const std::vector<std::string>& missingPrefixes() const { return _missingPrefixes; }
  // The diagnostic line written for a prefix (without "qnu: " and the line end).
  std::string messageForPrefix(const std::string& prefix) const;

 private:
  std::vector<std::string> _searchedDirectories;
  std::vector<std::string> _missingPrefixes;
};

// The host's set-up: checks the directories the user named, creates the one database, installs
// it as the shared database with the missing-file delegate, and routes the library's log to
// standard error. Construction reads no data file.
class Host {
 public:
  // Raises UsageError for a data or description directory that does not exist or an information
  // file that was named but does not exist. The information file only serves the detection of
  // data-file versions, which costs a digest of every Unihan file; a command that shows no
  // versions passes withInformationFile false and the database gets none.
  Host(const CommonOptions& options, const DefaultPaths& defaults, bool withInformationFile = true);
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  QNUnicodeDatabase& database() { return *_database; }
  const std::vector<std::string>& dataDirectories() const { return _dataDirectories; }
  const std::vector<std::string>& descriptionDirectories() const { return _descriptionDirectories; }
  const std::string& infoFile() const { return _infoFile; }
  const MissingFileDelegate& delegate() const { return *_delegate; }
  bool json() const { return _json; }

  // True when a reader reported a missing file; main then exits with kExitBadInput after the
  // command's output, so that partial data never passes unnoticed.
  bool hasMissingFiles() const { return !_delegate->missingPrefixes().empty(); }
  // Raises ReportedFailure when UnicodeData cannot be read (its missing-file line is already
  // written): no command can answer anything without the records.
  void requireUnicodeData();

 private:
  std::vector<std::string> _dataDirectories;
  std::vector<std::string> _descriptionDirectories;
  std::string _infoFile;
  bool _json;
  std::shared_ptr<MissingFileDelegate> _delegate;
  std::shared_ptr<QNUnicodeDatabase> _database;
};

// Installs the log sink of the host. Visible, every library log line goes to standard error
// unchanged, one line each, flushed at once so that it keeps its place among the host's own
// diagnostics; otherwise the lines are dropped (missing files still reach the delegate).
void installLogSink(bool visible);

}  // namespace qnu
