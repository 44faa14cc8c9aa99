#include "QNUCommands.h"
#include "QNUOutput.h"

namespace qnu {

namespace {

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

Json pathList(const std::vector<std::string>& paths) {
  return Json(paths);
}

}  // namespace

int runData(Host& host) {
  QNUnicodeDatabase& database = host.database();
  host.requireUnicodeData();
  const std::vector<QNUnicodeDataFileInfo>& infos = database.unicodeDataFileInfos();
  const std::vector<UnicodeString>& versions = database.unicodeDataVersions();
  const std::optional<UnicodeString> version = database.unicodeDataVersion();
  const bool consistent = database.isConsistent();
  std::vector<UnicodeString> missing;
  // Every data file the library reads, in the order of its version check, then the Unihan files.
  for (std::u16string_view prefix : QNUnicodeVersionCheckedFilePrefixes) {
    if (database.filenamesWithPrefix(prefix).empty()) missing.emplace_back(prefix);
  }
  if (database.filenamesWithPrefix(QNUnicodeFilePrefixUnihan).empty()) {
    missing.emplace_back(QNUnicodeFilePrefixUnihan);
  }

  if (host.json()) {
    Json report;
    report["dataDirectories"] = pathList(host.dataDirectories());
    report["descriptionDirectories"] = pathList(host.descriptionDirectories());
    report["infoFile"] = host.infoFile().empty() ? Json(nullptr) : Json(host.infoFile());
    Json files = Json::array();
    for (const QNUnicodeDataFileInfo& info : infos) {
      Json file;
      file["prefix"] = jsonText(std::u16string_view(info.prefix));
      file["paths"] = Json(info.paths);
      file["versions"] = jsonTextList(info.versions);
      files.push_back(std::move(file));
    }
    report["unicodeDataFileInfos"] = std::move(files);
    report["unicodeDataVersions"] = jsonTextList(versions);
    report["unicodeDataVersion"] = jsonText(version);
    report["isConsistent"] = consistent;
    report["missingFiles"] = jsonTextList(missing);
    writeOut(jsonLine(report));
    return kExitSuccess;
  }

  TextTable setUp;
  setUp.add("Data directories", joinedPaths(host.dataDirectories()));
  setUp.add("Description directories", host.descriptionDirectories().empty()
                                           ? "(none)"
                                           : joinedPaths(host.descriptionDirectories()));
  setUp.add("Information file", host.infoFile().empty() ? "(none)" : host.infoFile());
  TextTable files;
  for (const QNUnicodeDataFileInfo& info : infos) {
    const std::string fileVersions =
        info.versions.empty() ? "(no version)" : joinedText(info.versions, ", ");
    files.add(qnunicode::toUTF8(info.prefix),
              fileVersions + "  " +
                  joinedPaths(std::vector<std::string>(info.paths.begin(), info.paths.end())));
  }
  TextTable summary;
  summary.add("UnicodeData versions", versions.empty() ? "(none)" : joinedText(versions, ", "));
  summary.add("Version", version ? qnunicode::toUTF8(*version) : "(none)");
  summary.add("Consistency", consistent ? "consistent: every data file belongs to this version"
                                        : "inconsistent: the data files share no Unicode version");
  summary.add("Missing files", missing.empty() ? "(none)" : joinedText(missing, ", "));

  writeOut(setUp.render(0) + "\nData files found:\n" + files.render(2) + "\n" + summary.render(0));
  return kExitSuccess;
}

}  // namespace qnu
