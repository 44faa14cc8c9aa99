// The direct property lookups: general category, bidirectional category and combining class of a
// codepoint from one compact table of the loaded data, without a record.

#include "qnunicode/database/QNUnicodeCategoryTables.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <optional>
#include <utility>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/database/QNUnicodeRecordStorage.h"
#include "qnunicode/records/QNUnicodeDefaultData.h"

namespace qnunicode::detail {

CategoryTables::CategoryTables(std::vector<UnicodeString> generalCategories,
                               std::vector<UnicodeString> bidirectionalCategories,
                               std::vector<uint32_t> combiningClasses,
                               const std::vector<uint32_t>& entries)
    : _generalCategories(std::move(generalCategories)),
      _bidirectionalCategories(std::move(bidirectionalCategories)),
      _combiningClasses(std::move(combiningClasses)),
      _entries(entries) {}

namespace {

constexpr uint32_t kLastCodepoint = 0x10FFFF;
constexpr uint32_t kPageSize = QNUnicodeDefaultData::Page::kSize;

// Numbers for distinct values in order of appearance, up to a limit.
template <typename Value>
class Numbering {
 public:
  explicit Numbering(size_t limit) : _limit(limit) {}
  // The number of `value`, or none when it would be the limit's first value over.
  std::optional<uint32_t> numberOf(const Value& value) {
    const auto found = std::find(_values.begin(), _values.end(), value);
    if (found != _values.end()) return static_cast<uint32_t>(found - _values.begin());
    if (_values.size() == _limit) return std::nullopt;
    _values.push_back(value);
    return static_cast<uint32_t>(_values.size() - 1);
  }
  std::vector<Value> take() { return std::move(_values); }

 private:
  size_t _limit;
  std::vector<Value> _values;
};

// Numbers the three values of each codepoint's record, one record kind at a time, remembering the
// entry of the last record seen (the members of a range all ask their First record).
class EntryMaker {
 public:
  std::optional<uint32_t> entryOf(const QNUnicodeData& record) {
    if (&record == _lastRecord) return _lastEntry;
    _lastRecord = &record;
    _lastEntry = entryOf(record.generalCategory(), record.bidirectionalCategory(),
                         record.canonicalCombiningClass());
    return _lastEntry;
  }
  std::optional<uint32_t> entryOf(const UnicodeString& generalCategory,
                                  const UnicodeString& bidirectionalCategory,
                                  uint32_t combiningClass) {
    const auto g = _generalCategories.numberOf(generalCategory);
    const auto b = _bidirectionalCategories.numberOf(bidirectionalCategory);
    const auto k = _combiningClasses.numberOf(combiningClass);
    if (!g || !b || !k) return std::nullopt;
    return CategoryTables::entry(*g, *b, *k);
  }
  // The entry of an unlisted codepoint ("Cn", class 0) with the given default bidirectional
  // category, numbered once per category.
  std::optional<uint32_t> defaultEntryOf(std::u16string_view bidirectionalCategory) {
    for (const auto& [category, entry] : _defaultEntries) {
      if (category == bidirectionalCategory) return entry;
    }
    const std::optional<uint32_t> entry =
        entryOf(UnicodeString(u"Cn"), UnicodeString(bidirectionalCategory), 0);
    if (entry) _defaultEntries.emplace_back(bidirectionalCategory, *entry);
    return entry;
  }
  std::shared_ptr<CategoryTables> tables(const std::vector<uint32_t>& entries) {
    return std::make_shared<CategoryTables>(_generalCategories.take(),
                                            _bidirectionalCategories.take(),
                                            _combiningClasses.take(), entries);
  }

 private:
  Numbering<UnicodeString> _generalCategories{0x100};
  Numbering<UnicodeString> _bidirectionalCategories{0x100};
  Numbering<uint32_t> _combiningClasses{0x10000};
  std::vector<std::pair<std::u16string_view, uint32_t>> _defaultEntries;
  const QNUnicodeData* _lastRecord = nullptr;
  std::optional<uint32_t> _lastEntry;
};

}  // namespace

}  // namespace qnunicode::detail

using qnunicode::detail::CategoryTables;
using qnunicode::detail::kLastCodepoint;

// Walks every codepoint as its record would answer, without making the records of lazily filled
// ranges or the default records of pages no range meets. Null when the file gives more distinct
// values than an entry can number (then the lookups go through the records).
std::shared_ptr<CategoryTables> QNUnicodeDatabase::makeCategoryTables() {
  qnunicode::detail::EntryMaker maker;
  std::vector<uint32_t> entries(kLastCodepoint + 1);
  std::array<std::u16string_view, qnunicode::detail::kPageSize> defaultBidi;
  // The lazily filled range met last: its members all answer as its First record.
  const qnunicode::detail::OnDemandRecords::LazyRange* lazy = nullptr;
  for (uint32_t page = 0; page <= (kLastCodepoint >> 8); ++page) {
    const bool meetsRange = _onDemandRecords->pageMeetsRange(page);
    bool defaultBidiKnown = false;
    for (uint32_t i = 0; i < qnunicode::detail::kPageSize; ++i) {
      const uint32_t c = page * qnunicode::detail::kPageSize + i;
      const QNUnicodeData* record =
          std::atomic_ref(_databaseIndex[c]).load(std::memory_order_acquire);
      if (!record && meetsRange) {
        if (!lazy || c < lazy->interiorFirst || c >= lazy->interiorEnd) {
          lazy = _onDemandRecords->lazyRangeHolding(c);
        }
        record = lazy ? lazy->first : _onDemandRecords->recordForUnlistedCodepoint(c);
      }
      std::optional<uint32_t> entry;
      if (record) {
        entry = maker.entryOf(*record);
      } else {
        if (!defaultBidiKnown) {
          QNUnicodeDefaultData::defaultBidirectionalCategoriesOfPage(page, defaultBidi);
          defaultBidiKnown = true;
        }
        entry = maker.defaultEntryOf(defaultBidi[i]);
      }
      if (!entry) return nullptr;
      entries[c] = *entry;
    }
  }
  return maker.tables(entries);
}

CategoryTables* QNUnicodeDatabase::categoryTables() {
  if (CategoryTables* tables = _categoryTablesReady.load(std::memory_order_acquire)) return tables;
  if (!_isDatabaseRead && !readDatabase()) return nullptr;
  std::lock_guard lock(_categoryTablesMutex);
  if (!_categoryTablesTried) {
    _categoryTables = makeCategoryTables();
    _categoryTablesTried = true;
    _categoryTablesReady.store(_categoryTables.get(), std::memory_order_release);
  }
  return _categoryTables.get();
}

std::u16string_view QNUnicodeDatabase::generalCategoryForCodepoint(uint32_t codepoint) {
  const CategoryTables* tables = _categoryTablesReady.load(std::memory_order_acquire);
  if (tables && codepoint <= kLastCodepoint) [[likely]] {
    return tables->generalCategory(codepoint);
  }
  return categoryAnswer(codepoint, CategoryField::General);
}

std::u16string_view QNUnicodeDatabase::bidirectionalCategoryForCodepoint(uint32_t codepoint) {
  const CategoryTables* tables = _categoryTablesReady.load(std::memory_order_acquire);
  if (tables && codepoint <= kLastCodepoint) [[likely]] {
    return tables->bidirectionalCategory(codepoint);
  }
  return categoryAnswer(codepoint, CategoryField::Bidirectional);
}

uint32_t QNUnicodeDatabase::canonicalCombiningClassForCodepoint(uint32_t codepoint) {
  const CategoryTables* tables = _categoryTablesReady.load(std::memory_order_acquire);
  if (tables && codepoint <= kLastCodepoint) [[likely]] {
    return tables->canonicalCombiningClass(codepoint);
  }
  if ((tables = categoryTables()) && codepoint <= kLastCodepoint) {
    return tables->canonicalCombiningClass(codepoint);
  }
  if (!_isDatabaseRead) return 0;  // the read just failed
  const std::shared_ptr<const QNUnicodeData> record = unicodeDataForCodepoint(codepoint);
  return record ? record->canonicalCombiningClass() : 0;
}

std::u16string_view QNUnicodeDatabase::categoryAnswer(uint32_t codepoint, CategoryField field) {
  const bool general = field == CategoryField::General;
  if (const CategoryTables* tables = categoryTables(); tables && codepoint <= kLastCodepoint) {
    return general ? tables->generalCategory(codepoint) : tables->bidirectionalCategory(codepoint);
  }
  if (!_isDatabaseRead) return {};  // the read just failed
  const std::shared_ptr<const QNUnicodeData> record = unicodeDataForCodepoint(codepoint);
  if (!record) return {};
  UnicodeString value = general ? record->generalCategory() : record->bidirectionalCategory();
  std::lock_guard lock(_categoryTablesMutex);
  return *_keptCategoryAnswers.insert(std::move(value)).first;
}
