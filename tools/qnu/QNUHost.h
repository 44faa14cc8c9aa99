#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/escapes/QNXHTMLDatabase.h"

namespace qnu {

// Exit codes of every command.
inline constexpr int kExitSuccess = 0;
inline constexpr int kExitCheckFailed = 1;   // a check failed, or a data file is missing (data)
inline constexpr int kExitOutputFailed = 1;  // standard output could not be written
inline constexpr int kExitBadInput = 2;

// Bad usage or bad input: main prints "qnu: " and the message as one line on standard error and
// exits with kExitBadInput. Nothing is written to standard output after it is raised.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Where the host looks for its data when no option says otherwise: the directories of the
// QNU_DATA environment variable (separated by ":", the first that has a file wins), else the
// prepared data directory. A binary started from the build tree uses the data directory the
// build prepared and the repository's resources; any other location counts as an
// installation, whose data lies beside the binary at the configured relative path
// (<prefix>/bin/qnu -> <prefix>/share/qnunicode). The host reads the variable; the library
// reads none.
struct DefaultPaths {
  std::string dataDirectory;
  std::string descriptionDirectory;
  std::string infoFile;
  std::string entityDirectory;                          // the XHTML entity sets
  std::vector<std::string> environmentDataDirectories;  // from QNU_DATA, in order
  // The library's resources (the stringprep profiles); the host hands it to the library.
  std::string resourceDirectory;

  static DefaultPaths forExecutable(const std::string& executablePath);
  // The defaults of the running binary (found through /proc/self/exe) and its environment.
  static DefaultPaths forThisProcess();
};

// The directories of a QNU_DATA value: the pieces between ":" separators, empty ones left out.
std::vector<std::string> searchPathDirectories(std::string_view value);

// The options every command shares.
struct CommonOptions {
  std::vector<std::string> dataDirectories;         // in precedence order, first wins
  std::vector<std::string> descriptionDirectories;  // likewise
  std::optional<std::string> infoFile;
  bool json = false;
  bool noProgress = false;  // no progress bar, even on a terminal
};

// A failure whose diagnostic is already on standard error: main only exits with kExitBadInput.
class ReportedFailure : public std::exception {
 public:
  const char* what() const noexcept override { return "failure already reported"; }
};

// Hears of data files the library could not use: files that are missing, and files that are
// there but could not be read (unreadable, or not UTF-8 text). Each prefix is reported once, as
// one line on standard error ("qnu: " and messageForPrefix), however often a reader asks again;
// the prefixes are kept in order. A quiet delegate only keeps them.
class MissingFileDelegate : public QNUnicodeDatabaseDelegate {
 public:
  explicit MissingFileDelegate(std::vector<std::string> searchedDirectories)
      : _searchedDirectories(std::move(searchedDirectories)) {}

  bool unicodeDatabase(QNUnicodeDatabase& database, std::u16string_view couldNotFindFile) override;
  const std::vector<std::string>& missingPrefixes() const { return _missingPrefixes; }
  // The file that was found for a reported prefix and still could not be read, if any.
  std::optional<std::string> unreadableFile(const std::string& prefix) const;
  // The diagnostic line written for a reported prefix (without "qnu: " and the line end).
  std::string messageForPrefix(const std::string& prefix) const;
  void setQuiet(bool quiet) { _quiet = quiet; }

 private:
  std::vector<std::string> _searchedDirectories;
  std::vector<std::string> _missingPrefixes;
  std::vector<std::optional<std::string>> _foundFiles;  // beside _missingPrefixes
  bool _quiet = false;
};

// The host's set-up: checks the directories the user named, creates the one database, installs
// it as the shared database with the missing-file delegate, and routes the library's log to
// standard error. Construction reads no data file.
class Host {
 public:
  // Raises UsageError for a data or description directory that does not exist or an information
  // file that was named but does not exist. The information file only serves the detection of
  // data-file versions, which costs a digest of every Unihan file; a command that shows no
  // versions passes withInformationFile false and the database gets none. A command that reads
  // no data file (escape) passes withDefaultData false: a missing default data directory is then
  // no error, and the database has no directory.
  Host(const CommonOptions& options, const DefaultPaths& defaults, bool withInformationFile = true,
       bool withDefaultData = true);
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  QNUnicodeDatabase& database() { return *_database; }
  const std::vector<std::string>& dataDirectories() const { return _dataDirectories; }
  const std::vector<std::string>& descriptionDirectories() const { return _descriptionDirectories; }
  const std::string& infoFile() const { return _infoFile; }
  const MissingFileDelegate& delegate() const { return *_delegate; }
  bool json() const { return _json; }
  // Whether long reads (Unihan) draw a progress bar: standard error is a terminal and the user
  // did not turn it off.
  bool showsProgress() const { return _showsProgress; }

  // True when a reader reported a missing or unreadable file; the command then exits with
  // kExitBadInput after its output, so that partial data never passes unnoticed.
  bool hasMissingFiles() const { return !_delegate->missingPrefixes().empty(); }
  // The XHTML entities of the named directory, which must exist, or else of the default one. A
  // missing default directory raises UsageError when the entities are required and otherwise
  // gives a database without names (numeric references only), as missing descriptions give plain
  // texts. The default directory is read once.
  std::shared_ptr<QNXHTMLDatabase> XHTMLDatabase(const std::optional<std::string>& directory,
                                                 bool required);
  // For a command that reports missing files in its own output and answers its own exit code
  // for them: the delegate stops writing its lines and finish leaves the code alone.
  void reportMissingFilesInOutput() {
    _delegate->setQuiet(true);
    _missingFilesInOutput = true;
  }
  // Ends a command that answered `code`: standard output is flushed (OutputError when it could
  // not be written) and the exit code is raised to kExitBadInput for a missing file.
  int finish(int code);
  // Raises ReportedFailure when UnicodeData cannot be read (its missing-file line is already
  // written): no command can answer anything without the records.
  void requireUnicodeData();

 private:
  std::vector<std::string> _dataDirectories;
  std::vector<std::string> _descriptionDirectories;
  std::string _infoFile;
  std::string _entityDirectory;
  std::shared_ptr<QNXHTMLDatabase> _XHTMLDatabase;
  bool _json;
  bool _showsProgress;
  bool _missingFilesInOutput = false;
  std::shared_ptr<MissingFileDelegate> _delegate;
  std::shared_ptr<QNUnicodeDatabase> _database;
};

// Installs the log sink of the host. Visible, every library log line goes to standard error
// unchanged, one line each, flushed at once so that it keeps its place among the host's own
// diagnostics; otherwise the lines are dropped (missing files still reach the delegate). Either
// way the warnings about data files among them are counted (QNUDataWarnings.h).
void installLogSink(bool visible);
// The data-file warnings the log has carried so far.
size_t dataWarningCount();
// "qnu: the data files gave N warnings (--log shows them)" on standard error when N is not 0.
void writeDataWarningsLine();

// Flushes standard output (and the C++ stream the argument parser writes its help to) and
// answers `code`, or kExitOutputFailed with a "qnu: " line on standard error when the output
// could not be written (a full disk, a closed descriptor).
int finishStandardOutput(int code);

// Runs a command as main does: sets the host up, runs the command, finishes its output and
// answers the exit code, writing the one diagnostic line of a failure and the data-warnings
// line. withInformationFile and withDefaultData as for Host.
int runCommand(const CommonOptions& options, bool withInformationFile, bool withDefaultData,
               const std::function<int(Host&)>& command);

}  // namespace qnu
