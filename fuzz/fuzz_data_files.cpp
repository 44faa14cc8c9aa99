// The readers of data files, each through a scratch data directory that holds the fuzzed bytes
// as its file. The first byte picks the file (kFiles below), the rest is the file's content; a
// fresh database reads it and answers a few queries from it.
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/QNFuzzSupport.h"
#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/escapes/QNXHTMLDatabase.h"
#include "qnunicode/idna/QNUnicodeStringprepProcessor.h"
#include "qnunicode/names/QNUnicodeNameLookup.h"
#include "qnunicode/names/QNUnicodeNamesList.h"
#include "qnunicode/records/QNUnicodeData.h"
#include "qnunicode/unihan/QNUnicodeUnihan.h"
#include "qnunicode/util/QNInfoValue.h"

namespace {

using qnunicode::fuzz::ScratchDataDirectory;

enum class Reader {
  UnicodeData,
  Blocks,
  PropList,
  Scripts,
  DerivedCoreProperties,
  DerivedAge,
  HangulSyllableType,
  LineBreak,
  PropertyValueAliases,
  Description,
  Jamo,
  CompositionExclusions,
  ArabicShaping,
  CaseFolding,
  SpecialCasing,
  NamesList,
  Index,
  Unihan,
  InfoFile,
  StringprepMapping,
  StringprepProhibited,
  StringprepUnassigned,
  XHTMLEntities,
};

struct File {
  Reader reader;
  const char* name;
};

// The file each first byte (modulo the count) writes.
constexpr File kFiles[] = {
    {Reader::UnicodeData, "UnicodeData.txt"},
    {Reader::Blocks, "Blocks.txt"},
    {Reader::PropList, "PropList.txt"},
    {Reader::Scripts, "Scripts.txt"},
    {Reader::DerivedCoreProperties, "DerivedCoreProperties.txt"},
    {Reader::DerivedAge, "DerivedAge.txt"},
    {Reader::HangulSyllableType, "HangulSyllableType.txt"},
    {Reader::LineBreak, "LineBreak.txt"},
    {Reader::PropertyValueAliases, "PropertyValueAliases.txt"},
    {Reader::Description, "CompatMappingCategories.txt"},
    {Reader::Jamo, "Jamo.txt"},
    {Reader::CompositionExclusions, "CompositionExclusions.txt"},
    {Reader::ArabicShaping, "ArabicShaping.txt"},
    {Reader::CaseFolding, "CaseFolding.txt"},
    {Reader::SpecialCasing, "SpecialCasing.txt"},
    {Reader::NamesList, "NamesList.txt"},
    {Reader::Index, "Index.txt"},
    {Reader::Unihan, "Unihan_Fuzz.txt"},
    {Reader::InfoFile, "Info.plist"},
    {Reader::StringprepMapping, "mapping.txt"},
    {Reader::StringprepProhibited, "prohibited.txt"},
    {Reader::StringprepUnassigned, "unassigned.txt"},
    {Reader::XHTMLEntities, "xhtml-fuzz.ent"},
};
constexpr size_t kFileCount = sizeof(kFiles) / sizeof(kFiles[0]);

// Codepoints every table is asked about: the edges of the planes, a few well-known
// characters and values beyond the code space.
constexpr uint32_t kQueries[] = {0,      0x41,   0x300,   0x627,    0x1100,   0xAC00,
                                 0x4E00, 0xFFFF, 0x10000, 0x10FFFF, 0x110000, 0xFFFFFFFF};

std::string fileContents(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

// The first lines of the real UnicodeData, beside the Index so that the lookup has names.
const std::string& unicodeDataSlice() {
  static const std::string slice = [] {
    const std::string all = fileContents(qnunicode::fuzz::ucdDirectory() + "/UnicodeData.txt");
    size_t end = 0;
    for (int line = 0; line < 200 && end != std::string::npos; ++line)
      end = all.find('\n', end + 1);
    return all.substr(0, end == std::string::npos ? all.size() : end + 1);
  }();
  return slice;
}

// Answers the queries a host makes of the one table that the file fills.
void query(QNUnicodeDatabase& database, const std::shared_ptr<QNUnicodeDatabase>& shared,
           Reader reader, const std::string& path) {
  for (const uint32_t codepoint : kQueries) {
    switch (reader) {
      case Reader::UnicodeData:
        if (auto record = database.unicodeDataForCodepoint(codepoint)) record->description();
        break;
      case Reader::Blocks:
        database.blockForCodepoint(codepoint);
        break;
      case Reader::PropList:
        database.extendedPropertiesForCodepoint(codepoint);
        database.codepointHasExtendedProperty(codepoint, u"White_Space");
        break;
      case Reader::Scripts:
        database.scriptForCodepoint(codepoint);
        break;
      case Reader::DerivedCoreProperties:
        database.derivedCorePropertiesForCodepoint(codepoint);
        break;
      case Reader::DerivedAge:
        database.versionCodepointWasDesignated(codepoint);
        break;
      case Reader::HangulSyllableType:
        database.hangulSyllableTypeForCodepoint(codepoint);
        break;
      case Reader::LineBreak:
        database.lineBreakForCodepoint(codepoint);
        break;
      case Reader::PropertyValueAliases:
        database.propertyValueAliases();
        database.generalCategories();
        database.bidirectionalCategories();
        database.combiningClassDescriptions();
        database.arabicShapingJoiningTypeDescriptions();
        database.lineBreakDescriptions();
        break;
      case Reader::Description:
        database.compatibilityMappingTagDescriptions();
        break;
      case Reader::Jamo:
        database.jamoShortNameForCodepoint(codepoint);
        break;
      case Reader::CompositionExclusions:
        database.compositionExclusions();
        break;
      case Reader::ArabicShaping:
        database.arabicShapingForCodepoint(codepoint);
        break;
      case Reader::CaseFolding:
      case Reader::SpecialCasing:
        database.specialCasingsForCodepoint(codepoint);
        break;
      case Reader::NamesList:
        if (auto entry = database.namesListCharEntryForCodepoint(codepoint))
          entry->allLinesString();
        break;
      case Reader::Index:
        if (auto names = database.indexNames()) names->namesForCodepoint(codepoint);
        break;
      case Reader::Unihan:
        database.unihanDataForCodepoint(codepoint);
        break;
      default:
        break;
    }
  }
  if (reader == Reader::CaseFolding) {
    // Folding consults the shared database: this one, for the call.
    QNUnicodeDatabase::setSharedDatabase(shared);
    database.fullCaseFoldingForString(u"Stra\u00DFe \u0130 \U00010400 \xD800");
    QNUnicodeDatabase::setSharedDatabase(nullptr);
  }
  // The lookup, not its sorted keys: sorting normalizes every key, and building the normalization
  // tables for each fresh database would take most of the target's time.
  if (reader == Reader::Index) database.nameLookup();
  if (reader == Reader::Unihan) database.unihanKeys();
  if (reader == Reader::Description) QNUnicodeDatabase::readDescriptionFile(path);
}

void readStringprep(const std::string& directory) {
  static const std::shared_ptr<QNUnicodeDatabase> real = [] {
    qnunicode::fuzz::realDatabase();
    return QNUnicodeDatabase::sharedDatabase();
  }();
  auto processor = QNUnicodeStringprepProcessor::processorWithStringprepDataDirectory(
      directory, real, true, true, true);
  if (!processor) return;
  for (std::u16string_view text : {u"Bu\u00DF", u"\u0627\u0031", u"\xDBFF\u00AD", u"\U000E0001"})
    processor->stringprepString(text);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  qnunicode::fuzz::silenceLog();
  unicodeDataSlice();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const File& file = kFiles[data[0] % kFileCount];
  const std::string_view content(reinterpret_cast<const char*>(data + 1), size - 1);
  const ScratchDataDirectory& scratch = ScratchDataDirectory::shared();
  scratch.clear();
  const std::string path = scratch.write(file.name, content);

  switch (file.reader) {
    case Reader::StringprepMapping:
    case Reader::StringprepProhibited:
    case Reader::StringprepUnassigned: {
      // The other two tables of the profile are the real ones.
      const std::string nameprep = qnunicode::fuzz::resourceDirectory() + "/nameprep/";
      for (const char* name : {"mapping.txt", "prohibited.txt", "unassigned.txt"})
        if (std::string_view(name) != file.name) scratch.copy(nameprep + name, name);
      readStringprep(scratch.path());
      return 0;
    }
    case Reader::XHTMLEntities: {
      QNXHTMLDatabase::XHTMLEntitiesForPath(path);
      if (auto entities = QNXHTMLDatabase::initWithDirectory(scratch.path())) {
        uint32_t count = 0;
        entities->unicodeStringFromXHTML(u"&amp;&nbsp;&#xE9;&fuzz;&lt", &count);
        entities->XHTMLStringFromUnicode(u"<\u00E9\U0001D11E\xD800>", true, &count);
      }
      return 0;
    }
    case Reader::InfoFile: {
      auto database = std::make_shared<QNUnicodeDatabase>(std::vector<std::string>{scratch.path()},
                                                          std::vector<std::string>{}, path);
      database->unicodeDataMD5Array();
      database->indexMD5Array();
      database->unihanDataMD5Array();
      database->unicodeDataFileInfos();
      return 0;
    }
    default:
      break;
  }
  if (file.reader == Reader::Index) scratch.write("UnicodeData.txt", unicodeDataSlice());
  auto database = std::make_shared<QNUnicodeDatabase>(std::vector<std::string>{scratch.path()},
                                                      std::vector<std::string>{scratch.path()});
  query(*database, database, file.reader, path);
  return 0;
}
