// Data-file versions and integrity: which Unicode versions each data file can belong to, from its
// name, its header lines and the host's known digests, and whether one version is common to all.

#include <algorithm>
#include <array>
#include <cstring>
#include <set>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/util/QNDigest.h"
#include "qnunicode/util/QNFileManager.h"
#include "qnunicode/util/QNLog.h"
#include "qnunicode/util/QNMappedFile.h"

namespace {

using qnunicode::detail::FileHead;
using qnunicode::detail::MappedFile;

// Version lines are looked for only this far into a file.
constexpr size_t headerSpanLength = 1024;
constexpr std::string_view unihanVersionMarker = "Unicode version:";
constexpr std::string_view namesListVersionMarker = "@@@\tThe Unicode Standard ";

void addVersion(std::vector<UnicodeString>& versions, UnicodeString version) {
  if (std::find(versions.begin(), versions.end(), version) == versions.end()) {
    versions.push_back(std::move(version));
  }
}

// The file-name rule over a UTF-8 name or path: the text between "<prefix>-" and ".txt" of the
// last component, at least one character long.
std::optional<UnicodeString> versionFromName(std::string_view path, std::string_view prefix) {
  const std::string name = QNAdditions::lastPathComponent(path);
  constexpr std::string_view suffix = ".txt";
  if (name.size() < prefix.size() + 1 + suffix.size() + 1) return std::nullopt;
  if (!name.starts_with(prefix) || name[prefix.size()] != '-' || !name.ends_with(suffix)) {
    return std::nullopt;
  }
  const size_t start = prefix.size() + 1;
  return qnunicode::fromUTF8(
      std::string_view(name).substr(start, name.size() - start - suffix.size()));
}

// A "@@@" version of two parts such as 5.2 gets its third part: 5.2.0.
UnicodeString completedNamesListVersion(UnicodeString version) {
  const bool onlyDigitsAndDots = std::all_of(version.begin(), version.end(), [](char16_t c) {
    return (c >= u'0' && c <= u'9') || c == u'.';
  });
  const auto dots = std::count(version.begin(), version.end(), u'.');
  if (onlyDigitsAndDots && dots == 1) version += u".0";
  return version;
}

// The versions a digest list gives for a file: pairs are walked from last to first, so later pairs
// come first; the first element of each pair is matched by the caller.
template <typename Matches>
std::vector<UnicodeString> versionsFromDigestList(const QNInfoValue* md5Array,
                                                  const char* firstElementError,
                                                  bool firstElementIsMap, Matches matches) {
  std::vector<UnicodeString> versions;
  const QNInfoValue::List* pairs = md5Array ? md5Array->list() : nullptr;
  if (!pairs) return versions;
  for (auto pair = pairs->rbegin(); pair != pairs->rend(); ++pair) {
    const QNInfoValue::List* elements = pair->list();
    if (!elements || elements->size() != 2) {
      QNLog("Error in MD5 array: subarray not of size 2");
      continue;
    }
    const QNInfoValue& key = (*elements)[0];
    if (firstElementIsMap ? !key.isMap() : !key.isString()) {
      QNLog(firstElementError);
      continue;
    }
    if (!matches(key)) continue;
    const QNInfoValue& value = (*elements)[1];
    if (const UnicodeString* version = value.string()) {
      versions.push_back(*version);
    } else if (const QNInfoValue::List* list = value.list()) {
      // Only text can be a version; other elements of a version list carry none.
      for (const QNInfoValue& element : *list) {
        if (const UnicodeString* version = element.string()) versions.push_back(*version);
      }
    } else {
      QNLog("Error in MD5 array: object 1 of subarray neiter of class NSString nor NSArray");
    }
  }
  return versions;
}

const QNInfoValue* infoValueForKey(const std::optional<QNInfoDictionary>& dictionary,
                                   std::u16string_view key) {
  if (!dictionary) return nullptr;
  const auto found = dictionary->find(UnicodeString(key));
  return found == dictionary->end() ? nullptr : &found->second;
}

}  // namespace

// ---- Digest lists of the information dictionary ---------------------------------------------

const QNInfoValue* QNUnicodeDatabase::unicodeDataMD5Array() const {
  return infoValueForKey(_infoDictionary, u"UnicodeDataMD5");
}

const QNInfoValue* QNUnicodeDatabase::indexMD5Array() const {
  return infoValueForKey(_infoDictionary, u"IndexMD5");
}

const QNInfoValue* QNUnicodeDatabase::unihanDataMD5Array() const {
  return infoValueForKey(_infoDictionary, u"UnihanDataMD5");
}

// ---- Accessors that read UnicodeData first ----------------------------------------------------

const std::vector<UnicodeString>& QNUnicodeDatabase::unicodeDataVersions() {
  if (!_isDatabaseRead) readDatabase();
  return _unicodeDataVersions;
}

std::optional<UnicodeString> QNUnicodeDatabase::unicodeDataVersion() {
  if (!_isDatabaseRead) readDatabase();
  if (_consistentVersion) return _consistentVersion;
  if (_unicodeDataVersions.empty()) return std::nullopt;
  return _unicodeDataVersions.back();
}

bool QNUnicodeDatabase::isConsistent() {
  if (!_isDatabaseRead) readDatabase();
  return _consistentVersion.has_value();
}

const std::vector<QNUnicodeDataFileInfo>& QNUnicodeDatabase::unicodeDataFileInfos() {
  if (!_isDatabaseRead) readDatabase();
  return _dataFilenamesAndVersions;
}

std::optional<QNUnicodeDataFileInfo> QNUnicodeDatabase::unicodeDataFileInfoForFilePrefix(
    std::u16string_view prefix) {
  std::optional<QNUnicodeDataFileInfo> merged;
  for (const QNUnicodeDataFileInfo& info : unicodeDataFileInfos()) {
    if (info.prefix == prefix) merged = mergedVersionDictionaryFromDict(merged, info);
  }
  return merged;
}

// ---- Versions of one file ---------------------------------------------------------------------

namespace {

// Visits where each match of the marker ends, for matches that start before the span's end
// minus the marker's length; the search goes on after each match.
template <typename Visit>
void forEachMarker(std::string_view span, std::string_view marker, Visit visit) {
  if (span.size() <= marker.size()) return;
  const size_t lastStart = span.size() - marker.size();
  for (size_t p = span.find(marker); p != std::string_view::npos && p < lastStart;
       p = span.find(marker, p + marker.size())) {
    visit(p + marker.size());
  }
}

}  // namespace

std::optional<UnicodeString> QNUnicodeDatabase::versionFromFilename(
    const std::string& path, std::u16string_view filePrefix) {
  return versionFromName(path, qnunicode::toUTF8(filePrefix));
}

std::vector<UnicodeString> QNUnicodeDatabase::versionsOfUnicodeFile(const std::string& path,
                                                                    std::u16string_view filePrefix,
                                                                    bool isUnihan) {
  std::vector<UnicodeString> versions;
  versions.reserve(3);
  if (path.empty()) return versions;
  const std::string prefix = qnunicode::toUTF8(filePrefix);

  // The head of the file holds the header; a line that runs past it has the file mapped.
  const FileHead head(path, 4 * headerSpanLength);
  if (head.isRead()) {
    std::string_view bytes = head.bytes();
    std::optional<MappedFile> file;
    const auto lineEnd = [&](size_t from) {
      size_t end = bytes.find('\n', from);
      if (end == std::string_view::npos && !head.isWholeFile() && !file) {
        file.emplace(path);
        if (file->isMapped()) bytes = file->bytes();
        end = bytes.find('\n', from);
      }
      return end == std::string_view::npos ? bytes.size() : end;
    };
    const std::string_view header = bytes.substr(0, headerSpanLength);

    // Unihan headers: "Unicode version:" then blanks, then the version up to a tab, line feed or
    // space. Matches are looked for only before the span's end minus the marker's length.
    if (isUnihan) {
      forEachMarker(header, unihanVersionMarker, [&](size_t start) {
        while (start < header.size() && (header[start] == '\t' || header[start] == ' ')) ++start;
        size_t end = start;
        while (end < header.size() && header[end] != '\t' && header[end] != '\n' &&
               header[end] != ' ') {
          ++end;
        }
        if (auto version = qnunicode::decodeUTF8(header.substr(start, end - start))) {
          addVersion(versions, std::move(*version));
        }
      });
    }

    // UCD files begin with a comment line naming the file with its version.
    if (bytes.size() >= 2 && bytes[0] == '#' && bytes[1] == ' ') {
      const std::string_view firstLine = bytes.substr(2, lineEnd(2) - 2);
      if (qnunicode::decodeUTF8(firstLine)) {
        if (auto version = versionFromName(firstLine, prefix))
          addVersion(versions, std::move(*version));
      }
    }

    // Names list headers: "@@@<tab>The Unicode Standard " and the version to the line's end,
    // which may lie past the header span.
    forEachMarker(header, namesListVersionMarker, [&](size_t start) {
      const size_t end = lineEnd(start);
      addVersion(versions, completedNamesListVersion(
                               qnunicode::decodeLatin1(bytes.substr(start, end - start))));
    });
  }

  if (auto version = versionFromName(path, prefix)) addVersion(versions, std::move(*version));
  return versions;
}

std::vector<UnicodeString> QNUnicodeDatabase::versionsOfUnicodeFile(const std::string& path,
                                                                    const QNInfoValue* md5Array) {
  if (!md5Array || !md5Array->list()) return {};  // no pairs to compare: the file is not read
  const MappedFile file(path);
  if (!file.isMapped()) return {};
  return versionsFromUnicodeFileData(file.bytes(), md5Array);
}

std::vector<UnicodeString> QNUnicodeDatabase::versionsFromUnicodeFileData(
    std::string_view data, const QNInfoValue* md5Array) {
  return versionsFromUnicodeFileDigest([data] { return QNAdditions::md5HexString(data); },
                                       md5Array);
}

std::vector<UnicodeString> QNUnicodeDatabase::versionsFromUnicodeFileDigest(
    const std::function<UnicodeString()>& digestOfData, const QNInfoValue* md5Array) {
  std::optional<UnicodeString> digest;
  return versionsFromDigestList(md5Array,
                                "Error in MD5 array: object 0 of subarray not of class NSString",
                                false, [&](const QNInfoValue& key) {
                                  if (!digest) digest = digestOfData();
                                  return *key.string() == *digest;
                                });
}

std::vector<UnicodeString> QNUnicodeDatabase::versionsOfUnihanFile(const std::string& path,
                                                                   const QNInfoValue* md5Array) {
  if (!md5Array || !md5Array->list()) return {};  // no pairs to compare: the file is not read
  const MappedFile file(path);
  if (!file.isMapped()) return {};
  const UnicodeString name = qnunicode::fromUTF8(QNAdditions::lastPathComponent(path));
  std::optional<UnicodeString> digest;
  return versionsFromDigestList(
      md5Array, "Error in MD5 array: object 0 of subarray not of class NSDictionary", true,
      [&](const QNInfoValue& key) {
        const QNInfoValue::Map& digests = *key.map();
        const auto found = digests.find(name);
        if (found == digests.end() || !found->second.isString()) return false;
        if (!digest) digest = QNAdditions::md5HexString(file.bytes());
        return *found->second.string() == *digest;
      });
}

// ---- Info dictionaries ------------------------------------------------------------------------

std::optional<QNUnicodeDataFileInfo> QNUnicodeDatabase::versionDictionaryForFilename(
    const std::optional<std::string>& path, std::u16string_view filePrefix,
    const std::optional<std::vector<UnicodeString>>& versions) {
  if (!path || filePrefix.empty() || !versions) return std::nullopt;
  return QNUnicodeDataFileInfo{UnicodeString(filePrefix), {*path}, *versions};
}

std::optional<QNUnicodeDataFileInfo> QNUnicodeDatabase::mergedVersionDictionaryFromDict(
    const std::optional<QNUnicodeDataFileInfo>& dict,
    const std::optional<QNUnicodeDataFileInfo>& andDict) {
  if (!dict) return andDict;
  if (dict->prefix.empty() || !andDict || dict->prefix != andDict->prefix) {
    QNLog("mergedVersionDictionaryFromDict:andDict: failed");
    return std::nullopt;
  }
  QNUnicodeDataFileInfo merged{dict->prefix, dict->paths, {}};
  merged.paths.insert(andDict->paths.begin(), andDict->paths.end());
  // The versions both can belong to, each once, in the first one's order.
  for (const UnicodeString& version : dict->versions) {
    if (std::find(andDict->versions.begin(), andDict->versions.end(), version) !=
        andDict->versions.end()) {
      addVersion(merged.versions, version);
    }
  }
  return merged;
}

// ---- The integrity check ----------------------------------------------------------------------

QNUnicodeDatabase::FileVersionSurvey QNUnicodeDatabase::surveyDataFileVersions() const {
  FileVersionSurvey survey;
  const QNLogHold hold(survey.logLines);
  survey.files.reserve(16);
  for (const std::u16string_view prefix : QNUnicodeVersionCheckedFilePrefixes) {
    FileVersionSurvey::File& file = survey.files.emplace_back();
    file.prefix = prefix;
    file.path = filenameWithPrefix(prefix);
    if (prefix == QNUnicodeFilePrefixUnicodeData || !file.path) continue;
    file.versions = versionsOfUnicodeFile(*file.path, prefix);
    if (prefix == QNUnicodeFilePrefixIndex) {
      // Digest versions follow the file's own, duplicates kept.
      for (UnicodeString& version : versionsOfUnicodeFile(*file.path, indexMD5Array())) {
        file.versions.push_back(std::move(version));
      }
    }
  }
  if (_isUnihanAvailable) {
    // Each Unihan file stands on its own under the one prefix.
    for (std::string& path : filenamesWithPrefix(QNUnicodeFilePrefixUnihan)) {
      FileVersionSurvey::File& file = survey.files.emplace_back();
      file.prefix = QNUnicodeFilePrefixUnihan;
      file.versions = versionsOfUnicodeFile(path, QNUnicodeFilePrefixUnihan, true);
      for (UnicodeString& version : versionsOfUnihanFile(path, unihanDataMD5Array())) {
        addVersion(file.versions, std::move(version));
      }
      file.path = std::move(path);
    }
  }
  return survey;
}

void QNUnicodeDatabase::checkDataFileVersionIntegrity() {
  checkDataFileVersionIntegrity(surveyDataFileVersions());
}

void QNUnicodeDatabase::checkDataFileVersionIntegrity(FileVersionSurvey survey) {
  for (std::string& line : survey.logLines) QNLog(std::move(line));
  std::vector<QNUnicodeDataFileInfo> infos;
  infos.reserve(survey.files.size());
  std::set<UnicodeString> common;
  bool consistent = false;
  bool isFirst = true;
  for (FileVersionSurvey::File& file : survey.files) {
    if (file.prefix == QNUnicodeFilePrefixUnicodeData) file.versions = _unicodeDataVersions;
    // The running intersection: the first file sets it, a file without versions (a missing one
    // too) ends consistency for good.
    if (isFirst) {
      common = std::set<UnicodeString>(file.versions.begin(), file.versions.end());
      consistent = !file.versions.empty();
      isFirst = false;
    } else if (consistent) {
      std::set<UnicodeString> remaining;
      for (const UnicodeString& version : file.versions) {
        if (common.contains(version)) remaining.insert(version);
      }
      common = std::move(remaining);
      consistent = !common.empty();
    }
    if (auto info = versionDictionaryForFilename(file.path, file.prefix, file.versions)) {
      infos.push_back(std::move(*info));
    }
  }

  _consistentVersion.reset();
  if (consistent) {
    for (auto version = _unicodeDataVersions.rbegin(); version != _unicodeDataVersions.rend();
         ++version) {
      if (common.contains(*version)) {
        _consistentVersion = *version;
        break;
      }
    }
  }
  _dataFilenamesAndVersions = std::move(infos);
}
