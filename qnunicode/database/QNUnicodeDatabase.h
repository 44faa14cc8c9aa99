#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <variant>
#include <vector>

#include "qnunicode/strings/UnicodeString.h"
#include "qnunicode/util/CodepointSet.h"
#include "qnunicode/util/QNInfoValue.h"

class QNUnicodeData;
class QNUnicodeConcreteData;
class QNUnicodePointerData;
class QNUnicodeArabicShaping;
class QNUnicodeSpecialCasing;
class QNUnicodeNamesList_CharEntry;
class QNUnicodeNamesListEntries;
class QNUnicodeNameLookup;
class QNUnicodeNameKeyList;
class QNUnicodeIndexNames;
struct QNUnicodeIndexFile;
class QNUnicodePrefixTree;
class QNUnicodePropertyTable;
class QNUnicodeBlockTable;
class QNUnicodeCaseFoldingTable;
class QNUnicodeUnihanTable;
class QNUnicodeUnihanEntry;
class QNUnicodeStringprepProcessor;
namespace qnunicode::detail {
class OnDemandRecords;
class CategoryTables;
class DefaultBidirectionalCodes;
class NormalizationTables;
class IntervalIndex;
class DataFile;
class IDNA2008PropertyTable;
}  // namespace qnunicode::detail

// Data-file prefixes: every data file is found by the beginning of its file name.
inline constexpr std::u16string_view QNUnicodeFilePrefixArabicShaping = u"ArabicShaping";
inline constexpr std::u16string_view QNUnicodeFilePrefixBlocks = u"Blocks";
inline constexpr std::u16string_view QNUnicodeFilePrefixCaseFolding = u"CaseFolding";
inline constexpr std::u16string_view QNUnicodeFilePrefixCompositionExclusions =
    u"CompositionExclusions";
inline constexpr std::u16string_view QNUnicodeFilePrefixDerivedAge = u"DerivedAge";
inline constexpr std::u16string_view QNUnicodeFilePrefixDerivedCoreProperties =
    u"DerivedCoreProperties";
inline constexpr std::u16string_view QNUnicodeFilePrefixHangulSyllableType = u"HangulSyllableType";
inline constexpr std::u16string_view QNUnicodeFilePrefixIndex = u"Index";
inline constexpr std::u16string_view QNUnicodeFilePrefixJamo = u"Jamo";
inline constexpr std::u16string_view QNUnicodeFilePrefixLineBreak = u"LineBreak";
inline constexpr std::u16string_view QNUnicodeFilePrefixNamesList = u"NamesList";
inline constexpr std::u16string_view QNUnicodeFilePrefixPropertyValueAliases =
    u"PropertyValueAliases";
inline constexpr std::u16string_view QNUnicodeFilePrefixPropList = u"PropList";
inline constexpr std::u16string_view QNUnicodeFilePrefixScripts = u"Scripts";
inline constexpr std::u16string_view QNUnicodeFilePrefixSpecialCasing = u"SpecialCasing";
inline constexpr std::u16string_view QNUnicodeFilePrefixUnihan = u"Unihan";
inline constexpr std::u16string_view QNUnicodeFilePrefixUnicodeData = u"UnicodeData";
// The prefix of the description file of the decomposition tags, in the description directories.
inline constexpr std::u16string_view QNUnicodeDescriptionPrefixCompatMappingCategories =
    u"CompatMappingCategories";

// Every data file whose version the integrity check settles, in the order it checks them (the
// Unihan files follow when there are any).
inline constexpr std::array<std::u16string_view, 16> QNUnicodeVersionCheckedFilePrefixes = {
    QNUnicodeFilePrefixArabicShaping,
    QNUnicodeFilePrefixBlocks,
    QNUnicodeFilePrefixCaseFolding,
    QNUnicodeFilePrefixCompositionExclusions,
    QNUnicodeFilePrefixDerivedAge,
    QNUnicodeFilePrefixDerivedCoreProperties,
    QNUnicodeFilePrefixHangulSyllableType,
    QNUnicodeFilePrefixIndex,
    QNUnicodeFilePrefixJamo,
    QNUnicodeFilePrefixLineBreak,
    QNUnicodeFilePrefixPropertyValueAliases,
    QNUnicodeFilePrefixPropList,
    QNUnicodeFilePrefixScripts,
    QNUnicodeFilePrefixSpecialCasing,
    QNUnicodeFilePrefixNamesList,
    QNUnicodeFilePrefixUnicodeData,
};

// Keys of a data-file info dictionary.
inline constexpr std::u16string_view QNUnicodeFilePrefixKey = u"prefix";
inline constexpr std::u16string_view QNUnicodeFilePathsKey = u"paths";
inline constexpr std::u16string_view QNUnicodeFileVersionsKey = u"versions";

// One data file (or, after merging, several files of one prefix) and the Unicode versions it
// can belong to.
struct QNUnicodeDataFileInfo {
  UnicodeString prefix;
  std::set<std::string> paths;
  std::vector<UnicodeString> versions;

  bool operator==(const QNUnicodeDataFileInfo&) const = default;
  // The same content as an info dictionary under the keys "prefix", "paths" and "versions".
  QNInfoValue infoValue() const;
};

class QNUnicodeDatabase;

// The host's delegate. Its one operation is optional: the default answers false ("not
// implemented"), and the database then logs the missing file itself.
class QNUnicodeDatabaseDelegate {
 public:
  virtual ~QNUnicodeDatabaseDelegate() = default;
  // A reader found no file with this prefix. Answers true when the delegate handled it.
  virtual bool unicodeDatabase(QNUnicodeDatabase& database, std::u16string_view couldNotFindFile);
};

// Table types. The simple ones are plain containers; the range-property tables and the case
// folding are purpose-built classes of the properties folder.
using QNUnicodeMappingDictionary =
    std::unordered_map<uint32_t, std::unordered_map<uint32_t, uint32_t>>;
// A PropertyValueAliases value key: the lower-cased short name, or for ccc also the class number.
using QNUnicodePropertyValueKey = std::variant<UnicodeString, int64_t>;
using QNUnicodePropertyValueMap = std::map<QNUnicodePropertyValueKey, std::vector<UnicodeString>>;
using QNUnicodePropertyValueAliases = std::map<UnicodeString, QNUnicodePropertyValueMap>;
using QNUnicodeDescriptionTable = std::unordered_map<UnicodeString, UnicodeString>;
using QNUnicodeJamoShortNames = std::map<uint32_t, UnicodeString>;
using QNUnicodeArabicShapings = std::map<uint32_t, std::shared_ptr<const QNUnicodeArabicShaping>>;
using QNUnicodeSpecialCasingList = std::vector<std::shared_ptr<const QNUnicodeSpecialCasing>>;
using QNUnicodeSpecialCasings = std::unordered_map<uint32_t, QNUnicodeSpecialCasingList>;

// The library's main object. The host creates it over ordered lists of UCD directories (first
// wins) and description directories and an information dictionary; every table is read from its
// file the first time a query needs it and kept for the life of the object. Queries run on the
// caller's thread; the lazy filling of tables is not guarded, so a host must not make the first
// use of one table from two threads at once.
//
// The operations of the other subsystems are defined in their folders: properties/,
// normalization/, names/.
class QNUnicodeDatabase {
 public:
  // ---- Construction and data-file discovery ------------------------------------------------
  QNUnicodeDatabase(const std::vector<std::string>& unidataDirectoryPaths,
                    const std::vector<std::string>& descriptionDirectoryPaths,
                    std::optional<QNInfoDictionary> infoDictionary = std::nullopt);
  // The information dictionary read from a property-list file (none when it cannot be read).
  QNUnicodeDatabase(const std::vector<std::string>& unidataDirectoryPaths,
                    const std::vector<std::string>& descriptionDirectoryPaths,
                    const std::string& infoFile);
  ~QNUnicodeDatabase();
  QNUnicodeDatabase(const QNUnicodeDatabase&) = delete;
  QNUnicodeDatabase& operator=(const QNUnicodeDatabase&) = delete;

  // The process-wide database that records, case folding and the RTL test consult. The host
  // sets it; with none set those operations give their "no database" answers. Asking takes no
  // lock: each thread keeps a reference to the database it saw last, checked against a count of
  // the host's changes, and lets go of it when it next asks after a change (or ends); the thread
  // that sets a new one lets go of the old one at once.
  static std::shared_ptr<QNUnicodeDatabase> sharedDatabase();
  // The same without a new reference (the calling thread's own keeps it alive until the host has
  // changed it twice and this thread asked again): for the library's per-codepoint queries.
  static QNUnicodeDatabase* borrowedSharedDatabase();
  static void setSharedDatabase(std::shared_ptr<QNUnicodeDatabase> database);

  void setDelegate(std::shared_ptr<QNUnicodeDatabaseDelegate> delegate);
  std::shared_ptr<QNUnicodeDatabaseDelegate> delegate() const;
  const std::optional<QNInfoDictionary>& infoDictionary() const { return _infoDictionary; }
  const std::vector<std::string>& dataDirectories() const { return _dataDirectories; }
  const std::vector<std::string>& descriptionDirectories() const { return _descDirectories; }

  std::vector<std::string> filenamesWithPrefix(std::u16string_view prefix,
                                               const std::vector<std::string>& directories) const;
  std::optional<std::string> filenameWithPrefix(std::u16string_view prefix,
                                                const std::vector<std::string>& directories) const;
  std::vector<std::string> filenamesWithPrefix(std::u16string_view prefix) const;
  std::optional<std::string> filenameWithPrefix(std::u16string_view prefix) const;
  std::optional<std::string> descriptionFilenameWithPrefix(std::u16string_view prefix) const;
  static std::string pathByResolvingAliasesInPath(const std::string& path);
  static std::vector<std::string> validAliasResolvedDirectories(
      const std::vector<std::string>& paths);
  void notifyDelegateOfMissingFile(std::u16string_view prefix);
  // Every reader of a lazily read table starts here: the prefix's file looked up and opened
  // (well-formed UTF-8 or unreadable), after the missing-file notification (naming
  // `notifiedName`, the prefix when empty) an unreadable one when there is no such file or it
  // cannot be read. A table that is read once is made before its reader calls this, so that a
  // missing file leaves it empty for good; a retrying table is set only once its file is read,
  // so that every later use looks for the file again.
  qnunicode::detail::DataFile openDataFile(std::u16string_view prefix,
                                           std::u16string_view notifiedName = {});

  bool isUnihanAvailable() const { return _isUnihanAvailable; }

  // ---- UnicodeData loading and record lookup -------------------------------------------------
  bool readDatabase();
  // Every codepoint answers a record (values above 0x10FFFF too); none only when UnicodeData
  // cannot be read. The records of codepoints up to 0x10FFFF (of the file, of its ranges and the
  // default records of unlisted codepoints) belong to the database, live as long as it and are
  // handed out without reference counting; above 0x10FFFF each call makes a record for its caller.
  std::shared_ptr<const QNUnicodeData> unicodeDataForCodepoint(uint32_t codepoint) {
    // A filled slot is a load (slots inside lazily filled ranges are written while others read).
    if (_isDatabaseRead && codepoint <= 0x10FFFF) [[likely]] {
      const std::atomic_ref<const QNUnicodeData*> slot(_databaseIndex[codepoint]);
      if (const QNUnicodeData* record = slot.load(std::memory_order_acquire)) {
        return std::shared_ptr<const QNUnicodeData>(std::shared_ptr<void>(), record);
      }
    }
    return unicodeDataForCodepointSlowly(codepoint);
  }
  std::shared_ptr<const QNUnicodeData> unicodeDataForCodepointNumber(uint64_t number) {
    return unicodeDataForCodepoint(static_cast<uint32_t>(number));
  }
  // Direct lookups of one field, without a record: the general category, the bidirectional
  // category and the combining class of a codepoint, the same as unicodeDataForCodepoint's record
  // answers (the default bidirectional category of unlisted codepoints as it was when the table
  // was made, from the shared database's blocks then). The first call reads UnicodeData if needed
  // and makes one compact two-stage table of the loaded data for the database's life; later
  // calls are a few loads and take no lock. The views live as long as the database; empty (and
  // 0) when UnicodeData cannot be read.
  std::u16string_view generalCategoryForCodepoint(uint32_t codepoint);
  std::u16string_view bidirectionalCategoryForCodepoint(uint32_t codepoint);
  uint32_t canonicalCombiningClassForCodepoint(uint32_t codepoint);
  // Every record of the file in file order, each range's members between its First and Last.
  const std::vector<const QNUnicodeData*>& allUnicodeData();
  // Every record of allUnicodeData in its order, as (codepoint, record), without making the
  // members of ranges not made yet: such a member comes as its codepoint with its First record,
  // which answers every property but the name for it.
  void visitUnicodeDataInFileOrder(
      const std::function<void(uint32_t codepoint, const QNUnicodeData& record)>& visit);
  // The records read from the file, in file order, without the members of its ranges (reading
  // first if needed).
  const std::vector<const QNUnicodeConcreteData*>& unicodeDataFileRecords();
  // 0 before the first read.
  uint32_t unicodeDataLineCount() const { return _unicodeDataLineCount; }
  const QNUnicodeMappingDictionary& mappingDictionary();
  const std::set<UnicodeString>& generalCategoryValues();
  const std::set<UnicodeString>& bidirectionalCategoryValues();

  // ---- Data-file versions and integrity -----------------------------------------------------
  const std::vector<UnicodeString>& unicodeDataVersions();
  std::optional<UnicodeString> unicodeDataVersion();
  bool isConsistent();
  const std::vector<QNUnicodeDataFileInfo>& unicodeDataFileInfos();
  const std::vector<QNUnicodeDataFileInfo>& dataFilenamesAndVersions() {
    return unicodeDataFileInfos();
  }
  std::optional<QNUnicodeDataFileInfo> unicodeDataFileInfoForFilePrefix(std::u16string_view prefix);
  const QNInfoValue* unicodeDataMD5Array() const;
  const QNInfoValue* indexMD5Array() const;
  const QNInfoValue* unihanDataMD5Array() const;
  void checkDataFileVersionIntegrity();
  static std::optional<UnicodeString> versionFromFilename(const std::string& path,
                                                          std::u16string_view filePrefix);
  static std::vector<UnicodeString> versionsOfUnicodeFile(const std::string& path,
                                                          std::u16string_view filePrefix,
                                                          bool isUnihan = false);
  static std::vector<UnicodeString> versionsOfUnicodeFile(const std::string& path,
                                                          const QNInfoValue* md5Array);
  static std::vector<UnicodeString> versionsFromUnicodeFileData(std::string_view data,
                                                                const QNInfoValue* md5Array);
  // The same with the data's digest worked out elsewhere: digestOfData is called at most once,
  // when the list has a pair to compare.
  static std::vector<UnicodeString> versionsFromUnicodeFileDigest(
      const std::function<UnicodeString()>& digestOfData, const QNInfoValue* md5Array);
  static std::vector<UnicodeString> versionsOfUnihanFile(const std::string& path,
                                                         const QNInfoValue* md5Array);
  static std::optional<QNUnicodeDataFileInfo> versionDictionaryForFilename(
      const std::optional<std::string>& path, std::u16string_view filePrefix,
      const std::optional<std::vector<UnicodeString>>& versions);
  static std::optional<QNUnicodeDataFileInfo> mergedVersionDictionaryFromDict(
      const std::optional<QNUnicodeDataFileInfo>& dict,
      const std::optional<QNUnicodeDataFileInfo>& andDict);

  // ---- Range properties and line breaks (properties/) ---------------------------------------
  std::shared_ptr<const QNUnicodeBlockTable> blocks();
  std::shared_ptr<const QNUnicodePropertyTable> extendedProperties();
  std::shared_ptr<const QNUnicodePropertyTable> derivedCoreProperties();
  std::shared_ptr<const QNUnicodePropertyTable> scripts();
  std::shared_ptr<const QNUnicodePropertyTable> versionDesignated();
  std::shared_ptr<const QNUnicodePropertyTable> hangulSyllableTypes();
  std::shared_ptr<const QNUnicodePrefixTree> lineBreaks();
  void readBlocks();
  void readExtendedProperties();
  void readDerivedCoreProperties();
  void readScripts();
  void readDerivedAges();
  void readHangulSyllableTypes();
  void readLineBreaks();
  std::shared_ptr<QNUnicodePropertyTable> readPropListOrScriptsFile(std::u16string_view prefix);

  // Names answered by reference stay valid for the life of the database.
  const UnicodeString& blockForCodepoint(uint32_t codepoint);
  const UnicodeString& characterBlockForCodepoint(uint32_t codepoint) {
    return blockForCodepoint(codepoint);
  }
  const UnicodeString& scriptForCodepoint(uint32_t codepoint);
  const UnicodeString& hangulSyllableTypeForCodepoint(uint32_t codepoint);
  std::optional<UnicodeString> versionCodepointWasDesignated(uint32_t codepoint);
  std::vector<UnicodeString> extendedPropertiesForCodepoint(uint32_t codepoint);
  std::vector<UnicodeString> derivedCorePropertiesForCodepoint(uint32_t codepoint);
  // True when the codepoint is in the named PropList set (the fast form of a membership test
  // in extendedPropertiesForCodepoint).
  bool codepointHasExtendedProperty(uint32_t codepoint, std::u16string_view property);
  uint32_t lineBreakForCodepoint(uint32_t codepoint);
  static std::vector<UnicodeString> propertyOfCodepoint(
      uint32_t codepoint, const QNUnicodePropertyTable* inPropertyDictionary);
  static const UnicodeString& missingBlock();
  static const UnicodeString& missingScript();
  static const UnicodeString& missingHangulSyllableType();
  static constexpr uint32_t missingLineBreak = 39;

  // ---- Property value aliases and descriptions (properties/) --------------------------------
  std::shared_ptr<const QNUnicodePropertyValueAliases> propertyValueAliases();
  const QNUnicodePropertyValueMap* propertyValueAliasesForProperty(std::u16string_view property);
  const QNUnicodePropertyValueMap* generalCategories();
  const QNUnicodePropertyValueMap* bidirectionalCategories();
  const QNUnicodePropertyValueMap* combiningClassDescriptions();
  const QNUnicodePropertyValueMap* arabicShapingJoiningTypeDescriptions();
  const QNUnicodePropertyValueMap* lineBreakDescriptions();
  std::shared_ptr<const QNUnicodeDescriptionTable> compatibilityMappingTagDescriptions();
  bool readPropertyValueAliases();
  void readCompatibilityMappingCategoriesTagDescriptions();
  static std::shared_ptr<QNUnicodeDescriptionTable> readDescriptionFile(const std::string& path);
  std::optional<UnicodeString> generalCategoryDescriptionForCodepoint(uint32_t codepoint);
  std::optional<UnicodeString> bidirectionalCategoryDescriptionForCodepoint(uint32_t codepoint);
  std::optional<UnicodeString> lineBreakDescriptionForCodepoint(uint32_t codepoint);
  std::optional<UnicodeString> combiningClassDescriptionForCodepoint(uint32_t codepoint);
  std::optional<UnicodeString> arabicShapingJoiningTypeDescriptionForCodepoint(uint32_t codepoint);
  std::optional<UnicodeString> mappingDescriptionForCodepoint(uint32_t codepoint);

  // ---- Jamo short names, composition exclusions, Arabic shaping (properties/) ---------------
  std::shared_ptr<const QNUnicodeJamoShortNames> jamoShortNames();
  std::shared_ptr<const std::vector<uint32_t>> compositionExclusions();
  std::shared_ptr<const QNUnicodeArabicShapings> arabicShapings();
  void readJamoShortNames();
  void readCompositionExclusions();
  void readArabicShapings();
  std::optional<UnicodeString> jamoShortNameForCodepoint(uint32_t codepoint);
  std::shared_ptr<const QNUnicodeArabicShaping> arabicShapingForCodepoint(uint32_t codepoint);

  // ---- Case folding and special casing (properties/) ----------------------------------------
  std::shared_ptr<const QNUnicodeCaseFoldingTable> caseFolding();
  std::shared_ptr<const QNUnicodeSpecialCasings> specialCasings();
  void readCaseFolding();
  void readSpecialCasings();
  std::optional<QNUnicodeSpecialCasingList> specialCasingsForCodepoint(uint32_t codepoint);
  // Folds with the shared database's table (deliberately not this object's), trying the
  // statuses in the given order for each codepoint.
  UnicodeString caseFoldingForString(const UnicodeString& string,
                                     const std::vector<UnicodeString>& withTypes);
  // The statuses "C" then "F".
  UnicodeString fullCaseFoldingForString(const UnicodeString& string);

  // ---- Hangul syllables (normalization/) -----------------------------------------------------
  static std::optional<UnicodeString> getHangulName(int32_t codepoint);
  static bool codepointIsHangul(uint32_t codepoint);
  static std::vector<uint32_t> decomposeHangul(uint32_t codepoint);
  static std::vector<uint32_t> composeHangul(const std::vector<uint32_t>& codepoints,
                                             uint32_t* replacementCount = nullptr);

  // ---- Normalization (normalization/) --------------------------------------------------------
  UnicodeString normalizationFormDForString(const UnicodeString& string);
  UnicodeString normalizationFormCForString(const UnicodeString& string);
  UnicodeString normalizationFormKDForString(const UnicodeString& string);
  UnicodeString normalizationFormKCForString(const UnicodeString& string);
  UnicodeString normalizationFormDForString(const UnicodeString& string,
                                            uint32_t* decompositionReplacementCount,
                                            uint32_t* decompositionReorderingCout);
  UnicodeString normalizationFormCForString(const UnicodeString& string,
                                            uint32_t* decompositionReplacementCount,
                                            uint32_t* decompositionReorderingCout,
                                            uint32_t* compositionReplacementCount);
  UnicodeString normalizationFormKDForString(const UnicodeString& string,
                                             uint32_t* decompositionReplacementCount,
                                             uint32_t* decompositionReorderingCout);
  UnicodeString normalizationFormKCForString(const UnicodeString& string,
                                             uint32_t* decompositionReplacementCount,
                                             uint32_t* decompositionReorderingCout,
                                             uint32_t* compositionReplacementCount);
  // K: use compatibility mappings; C: compose. With usingCF the platform's normalizer does the
  // work and every count is set to 0xFFFFFFFF (no count taken).
  UnicodeString normalizationFormK(bool K, bool C, const UnicodeString& forString,
                                   uint32_t* decompositionReplacementCount = nullptr,
                                   uint32_t* decompositionReorderingCout = nullptr,
                                   uint32_t* compositionReplacementCount = nullptr,
                                   bool usingCF = false);
  std::vector<uint32_t> decomposeString(const UnicodeString& string,
                                        bool usingCompatibilityMappings,
                                        uint32_t* replacementCount = nullptr,
                                        uint32_t* reorderingCount = nullptr);
  std::optional<uint32_t> primaryCompositeForCodepointNumber(uint32_t codepoint,
                                                             uint32_t secondCodepointNumber);
  static UnicodeString CFnormalizationFormK(bool K, bool C, const UnicodeString& forString);
  bool runNormalizationConformanceTestsForTestFileAtURL(const std::string& path);

  // ---- Names list and name lookup (names/) ---------------------------------------------------
  bool readNamesList();
  std::shared_ptr<const QNUnicodeNamesListEntries> namesList();
  // The entry lives as long as the database.
  const QNUnicodeNamesList_CharEntry* namesListCharEntryForCodepoint(uint32_t codepoint);
  std::shared_ptr<const QNUnicodeNameLookup> nameLookup();
  std::shared_ptr<const QNUnicodeNameLookup> nameLookupWithoutUnihan();
  std::shared_ptr<const QNUnicodeNameKeyList> sortedNameLookupKeys();
  std::shared_ptr<const QNUnicodeNameKeyList> sortedNameLookupWithoutUnihanKeys();
  // The keys of sortedNameLookupKeys (or, without includingUnihan, of
  // sortedNameLookupWithoutUnihanKeys) that pass the test, in the same order. While that list
  // has not been made, only the keys that pass are sorted, and the list is not made; while the
  // lookup itself has not been made, only the keys that pass go into a lookup of their own (the
  // list's), which maps them as the whole lookup would.
  std::shared_ptr<const QNUnicodeNameKeyList> sortedNameLookupKeysPassingTest(
      const std::function<bool(std::u16string_view)>& test, bool includingUnihan);
  std::shared_ptr<const QNUnicodeIndexNames> indexNames();
  void readIndex();
  void createNameLookup() { createNameLookupWithoutUnihan(false); }
  void createNameLookupWithoutUnihan(bool withoutUnihan);

  // ---- Unihan (unihan/) ----------------------------------------------------------------------
  // The Unihan files are read on first use of an accessor, or in the background on request.
  // The accessors wait for a read under way; without Unihan files they answer none.
  bool isReadingUnihan() const;
  void setIsReadingUnihan(bool isReadingUnihan);
  // The same, as the reader hands it to the main thread.
  void setIsReadingUnihanWithNumber(bool number);
  // True when no read is under way and one has been made.
  bool isUnihanRead() const;
  // Starts a read on a thread of its own at the lowest priority and returns once that thread
  // holds the reading lock. Its progress and its end are posted as notifications (unihan/).
  void readUnihanAsynchronously();
  // Reads on the calling thread.
  void readUnihan();
  std::shared_ptr<const QNUnicodeUnihanTable> unihan();
  std::shared_ptr<const std::set<UnicodeString>> unihanKeys();
  std::shared_ptr<const std::set<UnicodeString>> unihanNumericKeys();
  // The seven keys whose values are stored as numbers.
  static const std::set<UnicodeString>& unihanPotentialNumericKeys();
  // The codepoint's Unihan entry; none when it has none or there is no Unihan data.
  std::optional<QNUnicodeUnihanEntry> unihanDataForCodepoint(uint32_t codepoint);
  // Post the reader's notifications to the default notification centre.
  void postReadingUnihanNotificationWithUserInfo(QNInfoValue::Map userInfo);
  void postDidReadUnihanNotificationFromThread(std::thread::id thread);
  // ---- Domain names (idna/) ------------------------------------------------------------------
  // The IDNA type: 0 is IDNA2003, 1 is IDNA2008; any other type is unknown, logged as such, and
  // fails any domain that holds a label. Failures give none and store one message in `error` when
  // it is given. The domain is split at the label separators, white space in front of a label or a
  // separator run being dropped; ToASCII writes every separator as ".", ToUnicode keeps them.
  //
  // The forms without `error` log the message that came back instead.
  std::optional<UnicodeString> IDNAToASCII(uint32_t type, std::u16string_view domain);
  std::optional<UnicodeString> IDNAToASCII(uint32_t type, std::u16string_view domain,
                                           UnicodeString* error);
  // With the shared nameprep processor; *containsUnassignedCodepoints (when given) tells whether
  // nameprep found a codepoint unassigned in Unicode 3.2 in any label, which never fails it.
  std::optional<UnicodeString> IDNA2003ToASCII(std::u16string_view domain,
                                               bool* containsUnassignedCodepoints,
                                               UnicodeString* error);
  // The general form; the processor (not owned, may be null) serves type 0 only.
  std::optional<UnicodeString> IDNAToASCII(uint32_t type, std::u16string_view domain,
                                           const QNUnicodeStringprepProcessor* stringprepProcessor,
                                           bool* containsUnassignedCodepoints,
                                           UnicodeString* error);
  // RFC 3490 ToASCII of one label, UseSTD3ASCIIRules on: nameprep when it holds non-ASCII
  // (step 2), the STD3 characters (3a; the position given is the code-unit offset after the
  // codepoint, or the label's codepoint count for the last one), no hyphen at either end (3b), no
  // "xn--" in front of non-ASCII (5), Punycode with the prefix (6, 7) and 1 to 63 codepoints (8).
  std::optional<UnicodeString> IDNA2003SingleLabelToASCII(
      std::u16string_view label, const QNUnicodeStringprepProcessor* stringprepProcessor,
      bool* containsUnassignedCodepoints, UnicodeString* error);

  // The ToUnicode counterparts, in the same forms. Type 0 never fails (each label comes back
  // converted or as nameprep leaves it), but a decoding or round-trip message may still be
  // stored (and, by the form without `error`, logged).
  std::optional<UnicodeString> IDNAToUnicode(uint32_t type, std::u16string_view domain);
  std::optional<UnicodeString> IDNAToUnicode(uint32_t type, std::u16string_view domain,
                                             UnicodeString* error);
  std::optional<UnicodeString> IDNA2003ToUnicode(std::u16string_view domain,
                                                 bool* containsUnassignedCodepoints,
                                                 UnicodeString* error);
  std::optional<UnicodeString> IDNAToUnicode(
      uint32_t type, std::u16string_view domain,
      const QNUnicodeStringprepProcessor* stringprepProcessor, bool* containsUnassignedCodepoints,
      UnicodeString* error);
  // RFC 3490 ToUnicode of one label; never fails. The label is nameprepped when it holds
  // non-ASCII (and returned as given when that fails); an "xn--" label is decoded and answered
  // when the decoded text converts back to it (ignoring ASCII case), and otherwise, deliberately,
  // the nameprepped label is answered. A decoding failure leaves its message in `error`.
  UnicodeString IDNA2003SingleLabelToUnicode(
      std::u16string_view label, const QNUnicodeStringprepProcessor* stringprepProcessor,
      bool* containsUnassignedCodepoints, UnicodeString* error);

  // ---- IDNA2008 (idna/) -----------------------------------------------------------------------
  // The RFC 5892 categories the codepoint belongs to, as the IDNA2008_Category_* views, in the
  // order A, B, C, D, E, F, H, I, J (G, whose table is empty, never): worked out from this
  // database's record, PropList, DerivedCoreProperties, Blocks and HangulSyllableType, with NFKC
  // and full case folding (B is NFKC(fold(NFKC(c))) != c), so they follow the loaded UCD version.
  // A property file that cannot be read fails its tests. Each codepoint up to 0x10FFFF is worked
  // out once and kept by the database for its life.
  std::vector<std::u16string_view> IDNA2008CategoriesForCodepoint(uint32_t codepoint);
  // The derived property (an IDNA2008DerivedProperty_* view) by the categories, first match
  // winning: the exceptions table's value, UNASSIGNED (J), PVALID (E), CONTEXTJ (H), DISALLOWED
  // (B, C, D, I), PVALID (A), else DISALLOWED. So "A" is DISALLOWED and "a" PVALID.
  std::u16string_view IDNA2008DerivedPropertyForCodepoint(uint32_t codepoint);

  // RFC 5891 registration of one label: an LDH label comes back unchanged (upper case and
  // "xn--" labels too); otherwise the label must hold non-ASCII, be in NFC, hold no DISALLOWED
  // or UNASSIGNED codepoint, have no "-" at either end nor "--" in 3rd and 4th place, not start
  // with a combining mark, pass the contextual rules and, when it holds R, AL or AN (by the
  // shared database), the Bidi Rule, and encode to an A-label of 1 to 63 codepoints. Each
  // failure gives none and stores its one message in `error` when given; nothing is logged.
  std::optional<UnicodeString> IDNA2008SingleLabelToASCII(std::u16string_view label,
                                                          UnicodeString* error);
  // A non-reserved LDH label (the empty one too) comes back unchanged; otherwise the label must
  // be an ASCII LDH label with the ACE prefix (any case) and something after it, decode, and
  // convert back by IDNA2008 ToASCII to itself ignoring ASCII case, and the decoded U-label is
  // answered. A label that is already a U-label is refused, deliberately. Failures as above.
  std::optional<UnicodeString> IDNA2008SingleLabelToUnicode(std::u16string_view label,
                                                            UnicodeString* error);
  // The Bidi Rule of RFC 5893 (rules 1 to 6) over the label's bidirectional categories: false
  // with "Failed bidi test N. for codepoint U+XXXX" (or the empty-label message) on failure.
  bool IDNA2008BidiTestForLabel(std::u16string_view label, UnicodeString* error = nullptr);
  // A domain-level bidi test for hosts (no conversion calls it): every label gets the label
  // test, and the domain fails only when it holds an RTL label and a failing label is not LDH,
  // or a failing LDH label starting with a digit follows a label with an RTL character. The
  // message of the last failing label stays in `error`, even when the domain passes.
  bool IDNA2008BidiTestForDomainName(std::u16string_view domain, UnicodeString* error = nullptr);
  // The contextual rule of RFC 5892 appendix A for the codepoint at codepoint index `position`
  // of the label: CONTEXTJ rules for U+200C and U+200D, CONTEXTO rules (all passing when
  // `isLookup`) for U+00B7, U+0375, U+05F3, U+05F4, U+30FB and the two Arabic-Indic digit
  // ranges; any other codepoint has no rule and fails. False with the rule's message on failure.
  bool IDNA2008ContextRuleTestForCodepointAtPosition(int32_t position, std::u16string_view label,
                                                     bool isLookup, UnicodeString* error = nullptr);

 private:
  // What the integrity check reads from the files themselves: each checked prefix's file with
  // its versions (UnicodeData's come from its read, so they are left out here), then each Unihan
  // file, and the log lines that finding them gave. It only reads files, so the loader has it
  // made on another thread while it works through its records.
  struct FileVersionSurvey {
    struct File {
      std::u16string_view prefix;
      std::optional<std::string> path;
      std::vector<UnicodeString> versions;
    };
    std::vector<File> files;
    std::vector<std::string> logLines;
  };
  FileVersionSurvey surveyDataFileVersions() const;
  void checkDataFileVersionIntegrity(FileVersionSurvey survey);
  // The stages of readDatabase (database/QNUnicodeDatabaseLoading.cpp): the members made ready
  // for a read, the file's lines parsed and taken in (while the survey for the integrity check
  // is made), and the file's versions settled from its digest and its header.
  class UnicodeDataIntake;
  bool prepareUnicodeDataRead();
  FileVersionSurvey parseUnicodeData(std::string_view data, UnicodeDataIntake& intake);
  void settleUnicodeDataVersions(const std::string& path,
                                 const std::function<UnicodeString()>& digest);
  // The Index file decoded and split into names before any of it reaches the lookup. Reading
  // it touches nothing but the file, so the lookup has it read on another thread while it takes
  // in UnicodeData's names.
  std::unique_ptr<QNUnicodeIndexFile> readIndexFile() const;
  void addIndex(QNUnicodeIndexFile& index);
  // The keys that pass the test in a lookup of their own (with the Unihan definitions' when
  // asked), without the whole lookup; none when
  // UnicodeData's lines are not in strictly ascending order, which that way relies on.
  std::optional<std::shared_ptr<const QNUnicodeNameKeyList>> keysPassingTestWithoutLookup(
      const std::function<bool(std::u16string_view)>& test, bool includingUnihan);
  // The reader: with a start condition it runs on its own thread and signals the starter once
  // it holds the reading lock (unihan/).
  struct UnihanStartCondition;
  void _readUnihan(UnihanStartCondition* started);
  // Adds to the lookup of keys passing the test the keys of Unihan definitions that pass it,
  // unless `repeatsKey` says the upper-cased definition is already a key of that codepoint in
  // the whole lookup (unihan/).
  void addUnihanKeysPassingTest(
      const std::function<bool(std::u16string_view)>& test, QNUnicodeNameLookup& lookup,
      const std::function<bool(uint32_t codepoint, std::u16string_view definition)>& repeatsKey);
  // Adds the Unihan definitions to _nameLookup (unihan/). Until then _nameLookupWithoutUnihan
  // is the same map as _nameLookup: before adding, this gives _nameLookup a copy of its own.
  void createUnihanNameLookup();
  // Creates whichever name maps do not exist yet.
  void createNameLookupMaps();
  // True when _nameLookup maps the upper-cased key to this codepoint: such a key only repeats
  // a name already there in other letter case and is not stored.
  bool nameLookupMapsUppercasedKey(std::u16string_view key, uint32_t codepoint,
                                   UnicodeString& scratch);

 private:
  // UnicodeData (database/QNUnicodeDatabaseLoading.cpp).
  std::vector<const QNUnicodeData*> _allUnicodeData;
  std::vector<const QNUnicodeConcreteData*> _unicodeDataFileRecords;
  // Each line's codepoint above the line's before (so each codepoint has at most one line).
  bool _unicodeDataLinesAscend = true;
  struct IndexDeleter {
    void operator()(const QNUnicodeData** index) const;
  };
  std::unique_ptr<const QNUnicodeData*[], IndexDeleter> _databaseIndex;
  uint32_t _unicodeDataLineCount = 0;
  std::vector<std::string> _dataDirectories;
  std::vector<std::string> _descDirectories;
  QNUnicodeMappingDictionary _mappingDictionary;
  std::shared_ptr<std::vector<uint32_t>> _compositionExclusions;
  struct IdenticalPropertyRange {
    uint32_t location;
    uint32_t length;  // Last minus First: the range ends just before the Last codepoint
  };
  std::vector<IdenticalPropertyRange> _identicalPropertyRanges;
  std::shared_ptr<QNUnicodePropertyValueAliases> _propertyValueAliases;
  std::shared_ptr<QNUnicodeDescriptionTable> _compatibilityMappingTagDescriptions;
  std::shared_ptr<QNUnicodePropertyTable> _extendedProperties;
  std::shared_ptr<QNUnicodePropertyTable> _derivedCoreProperties;
  std::shared_ptr<QNUnicodePropertyTable> _scripts;
  std::shared_ptr<QNUnicodeBlockTable> _blocks;
  std::shared_ptr<QNUnicodeSpecialCasings> _specialCasings;
  std::shared_ptr<QNUnicodeArabicShapings> _arabicShapings;
  std::shared_ptr<QNUnicodeJamoShortNames> _jamoShortNames;
  std::shared_ptr<QNUnicodeNamesListEntries> _namesList;
  std::shared_ptr<QNUnicodePropertyTable> _hangulSyllableTypes;
  std::shared_ptr<QNUnicodeCaseFoldingTable> _caseFolding;
  std::shared_ptr<QNUnicodePrefixTree> _lineBreaks;
  std::shared_ptr<QNUnicodePropertyTable> _versionDesignated;
  std::set<UnicodeString> _generalCategoryValues;
  std::set<UnicodeString> _bidirectionalCategoryValues;
  bool _isDatabaseRead = false;
  bool _isUnihanAvailable = false;
  // Shared with the work the reader hands to the main thread, which may outlive the database.
  std::shared_ptr<std::atomic<bool>> _isReadingUnihan = std::make_shared<std::atomic<bool>>(false);
  std::mutex _unihanReadingLock;
  // Written by the reader while it holds the reading lock.
  std::shared_ptr<const QNUnicodeUnihanTable> _unihan;
  std::shared_ptr<const std::set<UnicodeString>> _unihanKeys;
  std::shared_ptr<const std::set<UnicodeString>> _unihanNumericKeys;
  std::atomic<bool> _hasUnihan = false;
  std::shared_ptr<QNUnicodeNameLookup> _nameLookup;
  std::shared_ptr<QNUnicodeNameLookup> _nameLookupWithoutUnihan;
  bool _nameLookupContainsDatabase = false;
  bool _nameLookupContainsIndex = false;
  bool _nameLookupContainsUnihan = false;
  std::shared_ptr<const QNUnicodeNameKeyList> _sortedNameLookupKeys;
  std::shared_ptr<const QNUnicodeNameKeyList> _sortedNameLookupWithoutUnihanKeys;
  std::shared_ptr<QNUnicodeIndexNames> _indexNames;
  // An Index read (its log lines given) for keys that passed a test, kept for the lookup.
  std::unique_ptr<QNUnicodeIndexFile> _unusedIndexFile;
  std::vector<UnicodeString> _unicodeDataVersions;
  std::optional<UnicodeString> _consistentVersion;
  std::vector<QNUnicodeDataFileInfo> _dataFilenamesAndVersions;
  std::optional<QNInfoDictionary> _infoDictionary;
  std::shared_ptr<QNUnicodeDatabaseDelegate> _delegate;

  // Storage behind _allUnicodeData: the file's records and the members of its ranges, at stable
  // addresses for the index.
  // (Held by shared_ptr so that each folder keeps its own types to itself.)
  struct RecordStorage;
  std::shared_ptr<RecordStorage> _recordStorage;
  // Records made on demand for codepoints the file does not list.
  std::shared_ptr<qnunicode::detail::OnDemandRecords> _onDemandRecords;
  // unicodeDataForCodepoint when the slot is empty, above 0x10FFFF or before the first read.
  std::shared_ptr<const QNUnicodeData> unicodeDataForCodepointSlowly(uint32_t codepoint);
  // The table of the direct lookups (database/QNUnicodeCategoryTables.cpp), published through
  // _categoryTablesReady once made; none when the file gives too many distinct values for it.
  enum class CategoryField { General, Bidirectional };
  std::shared_ptr<qnunicode::detail::CategoryTables> makeCategoryTables();
  qnunicode::detail::CategoryTables* categoryTables();
  // The answer when the table has none: while it is made, above 0x10FFFF, or without a table.
  std::u16string_view categoryAnswer(uint32_t codepoint, CategoryField field);
  std::mutex _categoryTablesMutex;
  bool _categoryTablesTried = false;
  std::shared_ptr<qnunicode::detail::CategoryTables> _categoryTables;
  std::atomic<qnunicode::detail::CategoryTables*> _categoryTablesReady{nullptr};
  std::set<UnicodeString, std::less<>> _keptCategoryAnswers;
  // The default bidirectional categories of unlisted codepoints (records/QNUnicodeDefaultData.cpp).
  friend class QNUnicodeDefaultData;
  qnunicode::detail::DefaultBidirectionalCodes& defaultBidirectionalCodes();
  std::once_flag _defaultBidirectionalCodesMade;
  std::shared_ptr<qnunicode::detail::DefaultBidirectionalCodes> _defaultBidirectionalCodes;
  // Derived lookup tables of the normalization forms, built on first use.
  std::shared_ptr<qnunicode::detail::NormalizationTables> _normalizationTables;
  // The tables the forms work with (reading UnicodeData first if needed; the record-less tables
  // when it cannot be read), with their composition part when `forComposition`.
  qnunicode::detail::NormalizationTables& normalizationTables(bool forComposition);
  // The line-break class of every codepoint up to 0x10FFFF as read back from _lineBreaks once
  // the file is read, for lookups without a walk down the tree.
  std::shared_ptr<const qnunicode::detail::IntervalIndex> _lineBreakIndex;
  // The IDNA2008 categories and derived property of each codepoint, worked out on first asking.
  std::shared_ptr<qnunicode::detail::IDNA2008PropertyTable> _idna2008Properties;
  // The table's bits for the codepoint (idna/QNUnicodeIDNA2008Categories.cpp).
  uint16_t IDNA2008PropertyBits(uint32_t codepoint);
  // Step 8 of IDNA2008 ToASCII: the rule of every CONTEXTJ and CONTEXTO codepoint of the label,
  // in time linear in its length (idna/QNUnicodeIDNA2008Rules.cpp).
  bool IDNA2008ContextRulesHold(std::u16string_view label, UnicodeString* error);
};
