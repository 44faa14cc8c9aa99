#include <algorithm>
#include <array>
#include <utility>

#include "QNUCommands.h"
#include "QNUOutput.h"

namespace qnu {

namespace {

// How a data file fared: found or not, and whether its reader could use it.
enum class FileStatus { Missing, Unreadable, Read, NotRead };

struct FileReport {
  UnicodeString prefix;
  std::vector<std::string> paths;
  std::vector<UnicodeString> versions;
  FileStatus status = FileStatus::Missing;
  size_t warnings = 0;  // the warnings its reader logged
};

// What makes the library read each data file: the accessor of the table it fills. Each answers
// false when the reader produced nothing.
using Reader = bool (*)(QNUnicodeDatabase&);
constexpr std::array<std::pair<std::u16string_view, Reader>, 16> kReaders = {{
    {QNUnicodeFilePrefixUnicodeData,
     [](auto& d) { return d.unicodeDataForCodepoint(0) != nullptr; }},
    {QNUnicodeFilePrefixArabicShaping, [](auto& d) { return d.arabicShapings() != nullptr; }},
    {QNUnicodeFilePrefixBlocks, [](auto& d) { return d.blocks() != nullptr; }},
    {QNUnicodeFilePrefixCaseFolding, [](auto& d) { return d.caseFolding() != nullptr; }},
    {QNUnicodeFilePrefixCompositionExclusions,
     [](auto& d) { return d.compositionExclusions() != nullptr; }},
    {QNUnicodeFilePrefixDerivedAge, [](auto& d) { return d.versionDesignated() != nullptr; }},
    {QNUnicodeFilePrefixDerivedCoreProperties,
     [](auto& d) { return d.derivedCoreProperties() != nullptr; }},
    {QNUnicodeFilePrefixHangulSyllableType,
     [](auto& d) { return d.hangulSyllableTypes() != nullptr; }},
    {QNUnicodeFilePrefixIndex, [](auto& d) { return d.indexNames() != nullptr; }},
    {QNUnicodeFilePrefixJamo, [](auto& d) { return d.jamoShortNames() != nullptr; }},
    {QNUnicodeFilePrefixLineBreak, [](auto& d) { return d.lineBreaks() != nullptr; }},
    {QNUnicodeFilePrefixPropertyValueAliases,
     [](auto& d) { return d.propertyValueAliases() != nullptr; }},
    {QNUnicodeFilePrefixPropList, [](auto& d) { return d.extendedProperties() != nullptr; }},
    {QNUnicodeFilePrefixScripts, [](auto& d) { return d.scripts() != nullptr; }},
    {QNUnicodeFilePrefixSpecialCasing, [](auto& d) { return d.specialCasings() != nullptr; }},
    {QNUnicodeFilePrefixNamesList, [](auto& d) { return d.namesList() != nullptr; }},
}};

// Reads each file that is there, UnicodeData first (its reading settles the versions of all),
// and counts the warnings each reader logs. The Unihan files are large and read only on demand:
// they are found and versioned here, not read.
std::vector<FileReport> readEveryFile(Host& host) {
  QNUnicodeDatabase& database = host.database();
  std::vector<FileReport> reports;
  for (const auto& [prefix, read] : kReaders) {
    FileReport report{UnicodeString(prefix), database.filenamesWithPrefix(prefix), {}};
    if (!report.paths.empty()) {
      const size_t warningsBefore = dataWarningCount();
      const bool produced = read(database);
      report.warnings = dataWarningCount() - warningsBefore;
      report.status = produced && !host.delegate().unreadableFile(qnunicode::toUTF8(prefix))
                          ? FileStatus::Read
                          : FileStatus::Unreadable;
    }
    reports.push_back(std::move(report));
  }
  FileReport unihan{UnicodeString(QNUnicodeFilePrefixUnihan),
                    database.filenamesWithPrefix(QNUnicodeFilePrefixUnihan),
                    {}};
  if (!unihan.paths.empty()) unihan.status = FileStatus::NotRead;
  reports.push_back(std::move(unihan));
  for (FileReport& report : reports) {
    if (auto info = database.unicodeDataFileInfoForFilePrefix(report.prefix)) {
      report.versions = std::move(info->versions);
    }
  }
  return reports;
}

const char* statusName(FileStatus status) {
  switch (status) {
    case FileStatus::Missing:
      return "missing";
    case FileStatus::Unreadable:
      return "unreadable";
    case FileStatus::Read:
      return "read";
    case FileStatus::NotRead:
      return "not read";
  }
  return "";
}

std::string joinedText(const std::vector<UnicodeString>& texts, const char* separator) {
  std::string joined;
  for (const UnicodeString& text : texts) {
    if (!joined.empty()) joined += separator;
    joined += qnunicode::toUTF8(text);
  }
  return joined;
}

std::string joinedPaths(const std::vector<std::string>& paths) {
  std::string joined;
  for (const std::string& path : paths) joined += (joined.empty() ? "" : "\n") + path;
  return joined;
}

std::string versionsText(const FileReport& report) {
  return report.versions.empty() ? "(no version)" : joinedText(report.versions, ", ");
}

// The words of a file's line: whether it was found, its versions, how its lines parsed.
std::string fileLine(const FileReport& report, size_t versionsWidth) {
  if (report.status == FileStatus::Missing) return "missing";
  std::string versions = versionsText(report);
  versions.resize(std::max(versions.size(), versionsWidth), ' ');
  std::string parsed;
  switch (report.status) {
    case FileStatus::Read:
      parsed =
          report.warnings == 0 ? "lines parsed" : std::to_string(report.warnings) + " warnings";
      break;
    case FileStatus::Unreadable:
      parsed = "unreadable or not UTF-8";
      break;
    default:
      parsed = "not read";
  }
  parsed.resize(std::max<size_t>(parsed.size(), 23), ' ');
  // Appended piece by piece: g++ 12 warns wrongly (-Wrestrict) about "..." + string in release.
  std::string line = "found  ";
  line.append(versions).append("  ").append(parsed).append("  ");
  const size_t pathColumn = line.size();
  for (size_t i = 0; i < report.paths.size(); ++i) {
    if (i > 0) line.append("\n").append(pathColumn, ' ');
    line.append(report.paths[i]);
  }
  return line;
}

Json jsonReport(Host& host, const std::vector<FileReport>& reports,
                const std::vector<UnicodeString>& missing) {
  QNUnicodeDatabase& database = host.database();
  Json report;
  report["dataDirectories"] = Json(host.dataDirectories());
  report["descriptionDirectories"] = Json(host.descriptionDirectories());
  report["infoFile"] = host.infoFile().empty() ? Json(nullptr) : Json(host.infoFile());
  Json files = Json::array();
  for (const FileReport& file : reports) {
    Json entry;
    entry["prefix"] = jsonText(std::u16string_view(file.prefix));
    entry["status"] = statusName(file.status);
    entry["paths"] = Json(file.paths);
    entry["versions"] = jsonTextList(file.versions);
    entry["warnings"] = file.warnings;
    files.push_back(std::move(entry));
  }
  report["files"] = std::move(files);
  Json infos = Json::array();
  for (const QNUnicodeDataFileInfo& info : database.unicodeDataFileInfos()) {
    Json entry;
    entry["prefix"] = jsonText(std::u16string_view(info.prefix));
    entry["paths"] = Json(info.paths);
    entry["versions"] = jsonTextList(info.versions);
    infos.push_back(std::move(entry));
  }
  report["unicodeDataFileInfos"] = std::move(infos);
  report["unicodeDataVersions"] = jsonTextList(database.unicodeDataVersions());
  report["unicodeDataVersion"] = jsonText(database.unicodeDataVersion());
  report["isConsistent"] = database.isConsistent();
  report["missingFiles"] = jsonTextList(missing);
  return report;
}

}  // namespace

int runData(Host& host) {
  // This report names missing and unreadable files itself, and answers 1 for them.
  host.reportMissingFilesInOutput();
  const std::vector<FileReport> reports = readEveryFile(host);
  std::vector<UnicodeString> missing, unreadable;
  size_t versionsWidth = 0;
  for (const FileReport& report : reports) {
    if (report.status == FileStatus::Missing) missing.push_back(report.prefix);
    if (report.status == FileStatus::Unreadable) unreadable.push_back(report.prefix);
    versionsWidth = std::max(versionsWidth, versionsText(report).size());
  }
  const int code = missing.empty() && unreadable.empty() ? kExitSuccess : kExitCheckFailed;
  if (host.json()) {
    Json report = jsonReport(host, reports, missing);
    report["unreadableFiles"] = jsonTextList(unreadable);
    writeOut(jsonLine(report));
    return code;
  }

  QNUnicodeDatabase& database = host.database();
  TextTable setUp;
  setUp.add("Data directories", joinedPaths(host.dataDirectories()));
  setUp.add("Description directories", host.descriptionDirectories().empty()
                                           ? "(none)"
                                           : joinedPaths(host.descriptionDirectories()));
  setUp.add("Information file", host.infoFile().empty() ? "(none)" : host.infoFile());
  TextTable files;
  for (const FileReport& report : reports) {
    files.add(qnunicode::toUTF8(report.prefix), fileLine(report, versionsWidth));
  }
  const std::vector<UnicodeString>& versions = database.unicodeDataVersions();
  const std::optional<UnicodeString> version = database.unicodeDataVersion();
  TextTable summary;
  summary.add("UnicodeData versions", versions.empty() ? "(none)" : joinedText(versions, ", "));
  summary.add("Version", version ? qnunicode::toUTF8(*version) : "(none)");
  summary.add("Consistency", database.isConsistent()
                                 ? "consistent: every data file belongs to this version"
                                 : "inconsistent: the data files share no Unicode version");
  summary.add("Missing files", missing.empty() ? "(none)" : joinedText(missing, ", "));
  summary.add("Unreadable files", unreadable.empty() ? "(none)" : joinedText(unreadable, ", "));

  writeOut(setUp.render(0) + "\nData files:\n" + files.render(2) + "\n" + summary.render(0));
  return code;
}

}  // namespace qnu
