// Reading UnicodeData into records and the codepoint index, and looking records up.

#include <sys/mman.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <future>
#include <new>
#include <string_view>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/database/QNUnicodeRecordStorage.h"
#include "qnunicode/records/QNUnicodeDefaultData.h"
#include "qnunicode/util/QNDataFile.h"
#include "qnunicode/util/QNDigest.h"
#include "qnunicode/util/QNLog.h"

namespace {

constexpr uint32_t kLastCodepoint = 0x10FFFF;
constexpr size_t kIndexSlots = 0x110000;
constexpr uint32_t kPageBits = 8;
constexpr uint32_t kPageSize = 1u << kPageBits;
static_assert(kPageSize == QNUnicodeDefaultData::Page::kSize);
constexpr size_t kPageCount = kIndexSlots / kPageSize;

// A record the database owns, handed out without reference counting: the shared_ptr has no
// control block, and the record lives as long as the database.
std::shared_ptr<const QNUnicodeData> unowned(const QNUnicodeData* record) {
  return std::shared_ptr<const QNUnicodeData>(std::shared_ptr<void>(), record);
}

}  // namespace

// ---- Records made on demand ---------------------------------------------------------------------

namespace qnunicode::detail {

// The default records of 256 consecutive codepoints, in one allocation, and whether the range
// walk is needed for any of them.
class OnDemandRecords::Page {
 public:
  Page(uint32_t firstCodepoint, bool meetsRange)
      : records(firstCodepoint), meetsRange(meetsRange) {}

  const QNUnicodeDefaultData& record(uint32_t offset) const { return records.record(offset); }

  const QNUnicodeDefaultData::Page records;
  // Whether the interior of some identical-property range lies in this page, so that its
  // codepoints must walk the ranges before they get a default record.
  const bool meetsRange;
};

OnDemandRecords::OnDemandRecords(const QNUnicodeData** index, std::vector<Range> ranges,
                                 std::vector<LazyRange> lazyRanges,
                                 RecordChunks<QNUnicodePointerData, 4096>& members)
    : _index(index),
      _ranges(std::move(ranges)),
      _lazyRanges(std::move(lazyRanges)),
      _members(members),
      _recordListComplete(_lazyRanges.empty()),
      _pages(std::make_unique<std::atomic<const Page*>[]>(kPageCount)) {}

OnDemandRecords::~OnDemandRecords() = default;

bool OnDemandRecords::rangeInteriorMeets(uint64_t first, uint64_t last) const {
  for (const Range& range : _ranges) {
    const uint64_t interiorFirst = static_cast<uint64_t>(range.location) + 1;
    const uint64_t interiorEnd = static_cast<uint64_t>(range.location) + range.length;  // exclusive
    if (interiorFirst < interiorEnd && interiorFirst <= last && interiorEnd > first) return true;
  }
  return false;
}

bool OnDemandRecords::pageMeetsRange(uint32_t page) const {
  const uint32_t first = page << kPageBits;
  return rangeInteriorMeets(first, first + kPageSize - 1);
}

const OnDemandRecords::Page& OnDemandRecords::pageForCodepoint(uint32_t codepoint) {
  const uint32_t number = codepoint >> kPageBits;
  if (const Page* page = _pages[number].load(std::memory_order_acquire)) return *page;
  std::lock_guard lock(_mutex);
  if (const Page* page = _pages[number].load(std::memory_order_relaxed)) return *page;
  const Page& made = *_madePages.emplace_back(
      std::make_unique<const Page>(number << kPageBits, pageMeetsRange(number)));
  _pages[number].store(&made, std::memory_order_release);
  return made;
}

const OnDemandRecords::LazyRange* OnDemandRecords::lazyRangeHolding(uint32_t codepoint) const {
  // The interiors are disjoint and ascending.
  const auto after =
      std::upper_bound(_lazyRanges.begin(), _lazyRanges.end(), codepoint,
                       [](uint32_t c, const LazyRange& range) { return c < range.interiorFirst; });
  if (after == _lazyRanges.begin()) return nullptr;
  const LazyRange& range = *std::prev(after);
  return codepoint < range.interiorEnd ? &range : nullptr;
}

const QNUnicodeData* OnDemandRecords::lazyMember(const LazyRange& range, uint32_t codepoint) {
  std::atomic_ref<const QNUnicodeData*> slot(_index[codepoint]);
  if (const QNUnicodeData* record = slot.load(std::memory_order_acquire)) return record;
  const QNUnicodePointerData& made = _members.emplace_back(codepoint, unowned(range.first));
  slot.store(&made, std::memory_order_release);
  return &made;
}

void OnDemandRecords::completeRecordList(std::vector<const QNUnicodeData*>& list) {
  if (_recordListComplete.load(std::memory_order_acquire)) return;
  std::lock_guard lock(_mutex);
  if (_recordListComplete.load(std::memory_order_relaxed)) return;
  std::vector<const QNUnicodeData*> complete;
  size_t memberCount = 0;
  for (const LazyRange& range : _lazyRanges) memberCount += range.interiorEnd - range.interiorFirst;
  complete.reserve(list.size() + memberCount);
  size_t position = 0;
  for (const LazyRange& range : _lazyRanges) {
    complete.insert(complete.end(), list.begin() + static_cast<ptrdiff_t>(position),
                    list.begin() + static_cast<ptrdiff_t>(range.listPosition));
    position = range.listPosition;
    for (uint32_t codepoint = range.interiorFirst; codepoint < range.interiorEnd; ++codepoint) {
      const QNUnicodeData* member = lazyMember(range, codepoint);
      // A later line of the file took the slot: its member was still made, and listed here.
      const auto* pointer = dynamic_cast<const QNUnicodePointerData*>(member);
      if (!pointer || pointer->referenceData().get() != range.first) {
        member = &_members.emplace_back(codepoint, unowned(range.first));
      }
      complete.push_back(member);
    }
  }
  complete.insert(complete.end(), list.begin() + static_cast<ptrdiff_t>(position), list.end());
  list = std::move(complete);
  _recordListComplete.store(true, std::memory_order_release);
}

std::optional<const QNUnicodeData*> OnDemandRecords::rangeReferenceFor(uint32_t codepoint) const {
  for (const Range& range : _ranges) {
    const uint64_t start = range.location;
    if (!(start < codepoint && codepoint < start + range.length)) continue;
    // A range that starts at codepoint 0 is never used: such codepoints get default records.
    if (start == 0) return std::nullopt;
    return start <= kLastCodepoint ? _index[start] : nullptr;
  }
  return std::nullopt;
}

const QNUnicodeData* OnDemandRecords::recordForUnlistedCodepoint(uint32_t codepoint) {
  std::atomic_ref<const QNUnicodeData*> slot(_index[codepoint]);
  if (const LazyRange* range = lazyRangeHolding(codepoint)) {
    std::lock_guard lock(_mutex);
    return lazyMember(*range, codepoint);
  }
  const Page& page = pageForCodepoint(codepoint);
  if (page.meetsRange) {
    std::lock_guard lock(_mutex);
    if (const QNUnicodeData* record = slot.load(std::memory_order_acquire)) return record;
    if (const std::optional<const QNUnicodeData*> reference = rangeReferenceFor(codepoint)) {
      const QNUnicodePointerData& member =
          _members.emplace_back(codepoint, *reference ? unowned(*reference) : nullptr);
      slot.store(&member, std::memory_order_release);
      return &member;
    }
  }
  // Threads that get here at once store the same record.
  const QNUnicodeDefaultData& record = page.record(codepoint & (kPageSize - 1));
  slot.store(&record, std::memory_order_release);
  return &record;
}

std::shared_ptr<const QNUnicodeData> OnDemandRecords::recordBeyondLastCodepoint(
    uint32_t codepoint) const {
  if (const std::optional<const QNUnicodeData*> reference = rangeReferenceFor(codepoint)) {
    return std::make_shared<const QNUnicodePointerData>(codepoint,
                                                        *reference ? unowned(*reference) : nullptr);
  }
  return std::make_shared<const QNUnicodeDefaultData>(codepoint);
}

}  // namespace qnunicode::detail

// ---- Reading ------------------------------------------------------------------------------------

namespace {

constexpr size_t kIndexBytes = kIndexSlots * sizeof(const QNUnicodeData*);

// The index is mapped rather than taken from the heap: a mapping starts as zero pages that stay
// out of memory until a slot on them is written, whatever the heap's state (a heap that has
// raised its mapping threshold would hand out a block and clear all of it).
const QNUnicodeData** allocateIndex() {
  void* slots =
      ::mmap(nullptr, kIndexBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return slots == MAP_FAILED ? nullptr : static_cast<const QNUnicodeData**>(slots);
}

// The lines of a stretch of the data as records, with the log lines each gave: a stretch parsed
// on another thread gives its lines back in file order, not as they happen.
struct ParsedLines {
  std::vector<const QNUnicodeConcreteData*> records;
  // (index in `records` of the line that logged, the text); index records.size() for the line
  // in which the data ended.
  std::vector<std::pair<size_t, std::string>> logLines;
  const char* end = nullptr;  // where the line after the last one starts
  bool dataEnded = false;     // inside a line: nothing follows
};

// Parses the lines that start before `to`; a line may run past it, up to the sentinel.
ParsedLines parseLines(const char* from, const char* to, const char* sentinel,
                       qnunicode::detail::RecordChunks<QNUnicodeConcreteData, 1024>& storage,
                       qnunicode::detail::BlockArena<std::byte>& fields) {
  ParsedLines parsed;
  std::vector<std::string> held;
  const QNLogHold hold(held);
  const char* cursor = from;
  while (cursor < to) {
    size_t consumed = 0;
    std::optional<QNUnicodeConcreteData> record =
        QNUnicodeConcreteData::parseBytes(cursor, sentinel, &consumed, &fields);
    for (std::string& line : held)
      parsed.logLines.emplace_back(parsed.records.size(), std::move(line));
    held.clear();
    if (!record) {
      parsed.dataEnded = true;
      break;
    }
    parsed.records.push_back(&storage.emplace_back(std::move(*record)));
    cursor += consumed;
  }
  parsed.end = cursor;
  return parsed;
}

// The data's lines in stretches that two threads parse, each taking the next stretch nobody
// has taken: a helper thread that starts late (a new thread may wait milliseconds for a core)
// takes fewer, and the first thread never waits for work it could do itself. Each stretch is
// taken to start at a line start, which holds unless a line of the stretch before runs across
// it (only in a malformed file).
class StretchedParse {
 public:
  // Where a thread keeps the records it parses.
  struct Workspace {
    qnunicode::detail::RecordChunks<QNUnicodeConcreteData, 1024>& records;
    qnunicode::detail::BlockArena<std::byte>& fields;
  };

  StretchedParse(std::string_view data, size_t count)
      : _stretches(std::make_unique<Stretch[]>(count)),
        _count(count),
        _sentinel(data.data() + data.size()) {
    const char* from = data.data();
    for (size_t i = 0; i < count; ++i) {
      const char* to = _sentinel;
      if (i + 1 < count) {
        const size_t lineFeed =
            data.find('\n', std::max<size_t>(data.size() / count * (i + 1),
                                             static_cast<size_t>(from - data.data())));
        if (lineFeed != std::string_view::npos) to = data.data() + lineFeed + 1;
      }
      _stretches[i].from = from;
      _stretches[i].to = to;
      from = to;
    }
  }

  size_t size() const { return _count; }
  const char* start(size_t i) const { return _stretches[i].from; }

  // Parses stretches nobody has taken until none is left.
  void parseRemaining(const Workspace& workspace) {
    while (parseNext(workspace)) {
    }
  }

  // Stretch i once parsed: meanwhile parses stretches nobody has taken, and waits only when
  // every stretch is taken.
  const ParsedLines& parsed(size_t i, const Workspace& workspace) {
    Stretch& stretch = _stretches[i];
    while (!stretch.ready.load(std::memory_order_acquire)) {
      if (!parseNext(workspace)) stretch.ready.wait(false, std::memory_order_acquire);
    }
    return stretch.lines;
  }

  // No stretch is taken from now on.
  void stop() { _next.store(_count); }

 private:
  struct Stretch {
    const char* from = nullptr;
    const char* to = nullptr;
    ParsedLines lines;
    std::atomic<bool> ready{false};
  };

  bool parseNext(const Workspace& workspace) {
    const size_t i = _next.fetch_add(1);
    if (i >= _count) return false;
    Stretch& stretch = _stretches[i];
    stretch.lines =
        parseLines(stretch.from, stretch.to, _sentinel, workspace.records, workspace.fields);
    stretch.ready.store(true, std::memory_order_release);
    stretch.ready.notify_all();
    return true;
  }

  std::unique_ptr<Stretch[]> _stretches;
  size_t _count;
  const char* _sentinel;
  std::atomic<size_t> _next{0};
};

// Stretches of about 128 KiB, at most sixteen; one for data too small to share.
size_t stretchCount(std::string_view data) {
  return std::clamp<size_t>(data.size() >> 17, 1, 16);
}

}  // namespace

void QNUnicodeDatabase::IndexDeleter::operator()(const QNUnicodeData** index) const {
  // The slots own nothing: unmapping the array is all there is to do.
  ::munmap(static_cast<void*>(index), kIndexBytes);
}

// What UnicodeData's records add to the database, taken in one at a time in file order: the
// record lists, the index slots, the First/Last ranges, the category sets and the composition
// pairs.
class QNUnicodeDatabase::UnicodeDataIntake {
 public:
  explicit UnicodeDataIntake(QNUnicodeDatabase& database)
      : _database(database),
        _index(database._databaseIndex.get()),
        _storage(*database._recordStorage) {}

  // Takes in a part's records with their log lines: a line's own log lines come before those
  // of what it adds.
  void takePart(const ParsedLines& part) {
    auto logLine = part.logLines.begin();
    auto logLinesUpTo = [&](size_t line) {
      for (; logLine != part.logLines.end() && logLine->first <= line; ++logLine) {
        QNLog(logLine->second);
      }
    };
    for (size_t line = 0; line < part.records.size(); ++line) {
      logLinesUpTo(line);
      ++_database._unicodeDataLineCount;
      take(*part.records[line]);
    }
    logLinesUpTo(part.records.size());
  }

  // The ranges whose members are made when first asked for, handed on once all is read.
  std::vector<qnunicode::detail::OnDemandRecords::LazyRange> takeLazyRanges() {
    return std::move(_lazyRanges);
  }

 private:
  void take(const QNUnicodeConcreteData& record) {
    takeRangeBoundary(record);
    addToLists(record);
    addCategories(record);
    // A later line with the same codepoint takes the slot; both records stay in the list.
    const uint32_t codepoint = record.codepoint();
    if (codepoint <= kLastCodepoint) {
      _index[codepoint] = &record;
      _slotsWrittenBelow = std::max<uint64_t>(_slotsWrittenBelow, uint64_t{codepoint} + 1);
    }
    addCompositionPair(record);
  }

  // The line after a First line closes the range when it is its Last line; either way the First
  // line is no longer pending, and this line cannot open a range itself.
  void takeRangeBoundary(const QNUnicodeConcreteData& record) {
    if (!_pendingFirst) {
      if (record.characterNameHasSuffix(u", First>")) _pendingFirst = &record;
      return;
    }
    if (record.characterNameHasSuffix(u", Last>")) addRange(*_pendingFirst, record.codepoint());
    _pendingFirst = nullptr;
  }

  // Members for every codepoint strictly between First and Last that has a slot: made when first
  // asked for where nothing read before competes for their slots, made now otherwise.
  void addRange(const QNUnicodeConcreteData& firstRecord, uint32_t last) {
    const uint32_t first = firstRecord.codepoint();
    _database._identicalPropertyRanges.push_back({first, last - first});
    const uint64_t interiorFirst = uint64_t{first} + 1;
    const uint64_t end = std::min<uint64_t>(last, uint64_t{kLastCodepoint} + 1);
    if (interiorFirst < end && interiorFirst >= _slotsWrittenBelow) {
      _lazyRanges.push_back({&firstRecord, static_cast<uint32_t>(interiorFirst),
                             static_cast<uint32_t>(end), _database._allUnicodeData.size()});
      _slotsWrittenBelow = end;
      return;
    }
    const std::shared_ptr<const QNUnicodeData> reference = unowned(&firstRecord);
    for (uint64_t member = interiorFirst; member < end; ++member) {
      const QNUnicodePointerData& made =
          _storage.rangeMembers.emplace_back(static_cast<uint32_t>(member), reference);
      _index[member] = &made;
      _database._allUnicodeData.push_back(&made);
    }
    _slotsWrittenBelow = std::max(_slotsWrittenBelow, end);
  }

  void addToLists(const QNUnicodeConcreteData& record) {
    _database._allUnicodeData.push_back(&record);
    std::vector<const QNUnicodeConcreteData*>& fileRecords = _database._unicodeDataFileRecords;
    if (!fileRecords.empty() && record.codepoint() <= fileRecords.back()->codepoint()) {
      _database._unicodeDataLinesAscend = false;
    }
    fileRecords.push_back(&record);
  }

  // Neighbouring lines mostly share their categories: the sets are asked only on a change.
  void addCategories(const QNUnicodeConcreteData& record) {
    UnicodeString bidirectionalCategory = record.bidirectionalCategory();
    if (bidirectionalCategory != _lastBidirectionalCategory) {
      _database._bidirectionalCategoryValues.insert(bidirectionalCategory);
      _lastBidirectionalCategory = std::move(bidirectionalCategory);
    }
    UnicodeString generalCategory = record.generalCategory();
    if (generalCategory != _lastGeneralCategory) {
      _database._generalCategoryValues.insert(generalCategory);
      _lastGeneralCategory = std::move(generalCategory);
    }
  }

  // A canonical mapping of two codepoints is a pair that may compose; singletons never do.
  void addCompositionPair(const QNUnicodeConcreteData& record) {
    if (!record.canonicalMapping()) return;
    const uint32_t codepoint = record.codepoint();
    const std::optional<std::span<const uint32_t>> mapping =
        record.characterDecompositionMappingArray();
    const size_t count = mapping ? mapping->size() : 0;
    if (count == 2) {
      std::unordered_map<uint32_t, uint32_t>& seconds = _database._mappingDictionary[(*mapping)[0]];
      if (!seconds.emplace((*mapping)[1], codepoint).second) {
        QNLogFormat("mapping exists for %u %u", (*mapping)[0], (*mapping)[1]);
      }
    } else if (count != 1) {
      QNLogFormat("illegal mapping count: %lu for codepoint: %u", static_cast<unsigned long>(count),
                  codepoint);
    }
  }

  QNUnicodeDatabase& _database;
  const QNUnicodeData** const _index;
  RecordStorage& _storage;
  const QNUnicodeConcreteData* _pendingFirst = nullptr;
  std::optional<UnicodeString> _lastGeneralCategory, _lastBidirectionalCategory;
  std::vector<qnunicode::detail::OnDemandRecords::LazyRange> _lazyRanges;
  // The highest slot written so far, plus one: a range whose interior starts there or above can
  // be filled lazily, since nothing read before it competes for its slots.
  uint64_t _slotsWrittenBelow = 0;
};

bool QNUnicodeDatabase::readDatabase() {
  if (!prepareUnicodeDataRead()) return false;
  const std::optional<std::string> path = filenameWithPrefix(QNUnicodeFilePrefixUnicodeData);
  qnunicode::detail::DataFile file(path, qnunicode::detail::DataFile::Check::None);
  if (!file.isReadable()) {
    notifyDelegateOfMissingFile(QNUnicodeFilePrefixUnicodeData);
    return false;
  }
  const std::string_view data = file.bytes();
  // The digest that dates the file is worked out on a second thread while the lines are parsed.
  std::future<UnicodeString> digest;
  if (unicodeDataMD5Array()) {
    digest = std::async(std::launch::async, [data] { return QNAdditions::md5HexString(data); });
  }
  UnicodeDataIntake intake(*this);
  FileVersionSurvey survey = parseUnicodeData(data, intake);
  settleUnicodeDataVersions(*path, [&digest] { return digest.get(); });
  // Joins the digest's thread when no pair asked for it.
  digest = {};
  file.release();

  std::vector<qnunicode::detail::OnDemandRecords::Range> ranges;
  ranges.reserve(_identicalPropertyRanges.size());
  for (const IdenticalPropertyRange& range : _identicalPropertyRanges) {
    ranges.push_back({range.location, range.length});
  }
  _onDemandRecords = std::make_shared<qnunicode::detail::OnDemandRecords>(
      _databaseIndex.get(), std::move(ranges), intake.takeLazyRanges(),
      _recordStorage->rangeMembers);

  _isDatabaseRead = true;
  checkDataFileVersionIntegrity(std::move(survey));
  return true;
}

bool QNUnicodeDatabase::prepareUnicodeDataRead() {
  _isDatabaseRead = false;
  _unicodeDataLineCount = 0;
  _unicodeDataLinesAscend = true;
  if (!_databaseIndex) {
    _allUnicodeData = std::vector<const QNUnicodeData*>();
    _allUnicodeData.reserve(250000);
    _unicodeDataFileRecords.reserve(40000);
    const QNUnicodeData** slots = allocateIndex();
    if (!slots) {
      QNLogFormat("Couldn't allocate %lu bytes for _databaseIndex",
                  static_cast<unsigned long>(kIndexBytes));
      return false;
    }
    _databaseIndex.reset(slots);
    _recordStorage = std::make_shared<RecordStorage>();
  }
  _mappingDictionary = QNUnicodeMappingDictionary();
  _mappingDictionary.reserve(1000);
  _identicalPropertyRanges.clear();
  _identicalPropertyRanges.reserve(15);
  _generalCategoryValues.clear();
  _bidirectionalCategoryValues.clear();
  return true;
}

// The lines are parsed here and on a helper thread, and taken in here in file order as their
// stretches are ready. The helper first reads the versions of the other data files for the
// integrity check, unless this thread got there first, having parsed everything.
QNUnicodeDatabase::FileVersionSurvey QNUnicodeDatabase::parseUnicodeData(
    std::string_view data, UnicodeDataIntake& intake) {
  RecordStorage& storage = *_recordStorage;
  const char* const sentinel = data.data() + data.size();
  StretchedParse parse(data, stretchCount(data));
  const StretchedParse::Workspace workspace{storage.fileRecords, storage.fileFields};
  std::optional<FileVersionSurvey> survey;
  std::atomic<bool> surveyTaken{false};
  auto takeSurvey = [this, &survey, &surveyTaken] {
    if (!surveyTaken.exchange(true)) survey = surveyDataFileVersions();
  };
  std::future<void> helper;
  if (parse.size() > 1) {
    helper = std::async(std::launch::async, [&parse, &storage, &takeSurvey] {
      takeSurvey();
      parse.parseRemaining({storage.helperFileRecords, storage.helperFileFields});
    });
  }
  for (size_t i = 0; i < parse.size(); ++i) {
    const ParsedLines& part = parse.parsed(i, workspace);
    intake.takePart(part);
    if (part.dataEnded) {
      parse.stop();
      break;
    }
    if (i + 1 < parse.size() && part.end != parse.start(i + 1)) {
      // A line ran across into the next stretch: the rest is parsed here in one go.
      parse.stop();
      intake.takePart(
          parseLines(part.end, sentinel, sentinel, storage.fileRecords, storage.fileFields));
      break;
    }
  }
  takeSurvey();
  if (helper.valid()) helper.get();
  return survey ? std::move(*survey) : surveyDataFileVersions();
}

// The versions that dating the file by its digest gives, then those its header lines name.
void QNUnicodeDatabase::settleUnicodeDataVersions(const std::string& path,
                                                  const std::function<UnicodeString()>& digest) {
  _unicodeDataVersions = versionsFromUnicodeFileDigest(digest, unicodeDataMD5Array());
  for (UnicodeString& version : versionsOfUnicodeFile(path, QNUnicodeFilePrefixUnicodeData)) {
    if (std::find(_unicodeDataVersions.begin(), _unicodeDataVersions.end(), version) ==
        _unicodeDataVersions.end()) {
      _unicodeDataVersions.push_back(std::move(version));
    }
  }
}

// ---- Lookup -------------------------------------------------------------------------------------

std::shared_ptr<const QNUnicodeData> QNUnicodeDatabase::unicodeDataForCodepointSlowly(
    uint32_t codepoint) {
  if (!_isDatabaseRead && !readDatabase()) return nullptr;
  if (codepoint <= kLastCodepoint) {
    // Slots inside lazily filled ranges are written while others may be reading.
    const std::atomic_ref<const QNUnicodeData*> slot(_databaseIndex[codepoint]);
    if (const QNUnicodeData* record = slot.load(std::memory_order_acquire)) return unowned(record);
    return unowned(_onDemandRecords->recordForUnlistedCodepoint(codepoint));
  }
  return _onDemandRecords->recordBeyondLastCodepoint(codepoint);
}

const std::vector<const QNUnicodeData*>& QNUnicodeDatabase::allUnicodeData() {
  if (!_isDatabaseRead && !readDatabase()) return _allUnicodeData;
  _onDemandRecords->completeRecordList(_allUnicodeData);
  return _allUnicodeData;
}

void QNUnicodeDatabase::visitUnicodeDataInFileOrder(
    const std::function<void(uint32_t codepoint, const QNUnicodeData& record)>& visit) {
  if (!_isDatabaseRead && !readDatabase()) return;
  _onDemandRecords->visitInFileOrder(_allUnicodeData, visit);
}

const std::vector<const QNUnicodeConcreteData*>& QNUnicodeDatabase::unicodeDataFileRecords() {
  if (!_isDatabaseRead) readDatabase();
  return _unicodeDataFileRecords;
}

const QNUnicodeMappingDictionary& QNUnicodeDatabase::mappingDictionary() {
  if (!_isDatabaseRead) readDatabase();
  return _mappingDictionary;
}

const std::set<UnicodeString>& QNUnicodeDatabase::generalCategoryValues() {
  if (!_isDatabaseRead) readDatabase();
  return _generalCategoryValues;
}

const std::set<UnicodeString>& QNUnicodeDatabase::bidirectionalCategoryValues() {
  if (!_isDatabaseRead) readDatabase();
  return _bidirectionalCategoryValues;
}
