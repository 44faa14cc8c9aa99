#pragma once

// Internal to the database: where the records of UnicodeData live, and the records made on
// demand for codepoints the file does not list.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <vector>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/records/QNUnicodeConcreteData.h"
#include "qnunicode/records/QNUnicodePointerData.h"

namespace qnunicode::detail {

// Records at stable addresses, made in place in chunks of ChunkSize (one allocation per chunk)
// and destroyed with the store.
template <typename Record, size_t ChunkSize>
class RecordChunks {
 public:
  RecordChunks() = default;
  RecordChunks(const RecordChunks&) = delete;
  RecordChunks& operator=(const RecordChunks&) = delete;
  ~RecordChunks() { clear(); }

  void clear() {
    for (size_t i = 0; i < _size; ++i) at(i).~Record();
    _chunks.clear();
    _size = 0;
  }

  template <typename... Arguments>
  Record& emplace_back(Arguments&&... arguments) {
    if (_size == _chunks.size() * ChunkSize) {
      _chunks.push_back(std::make_unique_for_overwrite<Slot[]>(ChunkSize));
    }
    Record* record =
        new (&_chunks.back()[_size % ChunkSize]) Record(std::forward<Arguments>(arguments)...);
    ++_size;
    return *record;
  }

  size_t size() const { return _size; }

 private:
  struct alignas(Record) Slot {
    std::byte bytes[sizeof(Record)];
  };
  Record& at(size_t i) {
    return *std::launder(reinterpret_cast<Record*>(&_chunks[i / ChunkSize][i % ChunkSize]));
  }

  std::vector<std::unique_ptr<Slot[]>> _chunks;
  size_t _size = 0;
};

}  // namespace qnunicode::detail

// The records of the file and the members of its ranges, at stable addresses (the index and
// _allUnicodeData point into these) and without a control block per record.
struct QNUnicodeDatabase::RecordStorage {
  // The records of the file, and their fields, in two halves: those the loading thread parsed
  // and those its helper parsed, in no particular order. The fields go before the records,
  // which refer to them, so that they go last.
  qnunicode::detail::BlockArena<std::byte> fileFields{size_t{1} << 18};
  qnunicode::detail::BlockArena<std::byte> helperFileFields{size_t{1} << 18};
  qnunicode::detail::RecordChunks<QNUnicodeConcreteData, 1024> fileRecords;
  qnunicode::detail::RecordChunks<QNUnicodeConcreteData, 1024> helperFileRecords;
  qnunicode::detail::RecordChunks<QNUnicodePointerData, 4096> rangeMembers;
};

namespace qnunicode::detail {

// Records for codepoints whose index slot is empty, and the members of the file's ranges.
//
// A range whose interior lies above every slot written before it is not filled at load: its
// members are made when first asked for and belong to the database like those made at load, so
// a lookup answers exactly what a filled slot would. Other ranges (only in files out of order)
// are filled at load.
//
// Records for codepoints the file does not list belong to the database as well and are handed
// out like the file's records, without reference counting: default records are made 256 at a
// time, one page per 256 codepoints, kept for the database's life, and a record once made is
// written into its slot, so that asking again is a single array access. Above 0x10FFFF there is
// no slot: each lookup there makes a record of its own.
class OnDemandRecords {
 public:
  struct Range {
    uint32_t location;
    uint32_t length;  // the range's interior is location < c < location + length
  };
  // A range whose members are made on first use: interiorFirst <= c < interiorEnd, and their
  // place in the database's record list is before position `listPosition` of the list as read.
  struct LazyRange {
    const QNUnicodeConcreteData* first;
    uint32_t interiorFirst;
    uint32_t interiorEnd;
    size_t listPosition;
  };

  // `index` is the database's slot array; `ranges` its identical-property ranges, in file order;
  // `lazyRanges` those of them left unfilled, in ascending order; `members` where members live.
  OnDemandRecords(const QNUnicodeData** index, std::vector<Range> ranges,
                  std::vector<LazyRange> lazyRanges,
                  RecordChunks<QNUnicodePointerData, 4096>& members);
  ~OnDemandRecords();
  OnDemandRecords(const OnDemandRecords&) = delete;
  OnDemandRecords& operator=(const OnDemandRecords&) = delete;

  // The record of a codepoint up to 0x10FFFF whose slot is empty: a member of a lazily filled
  // range, a range member when a range other than one starting at 0 holds it first, a default
  // record otherwise. The record belongs to the database and is in the codepoint's slot from now
  // on.
  const QNUnicodeData* recordForUnlistedCodepoint(uint32_t codepoint);
  // The record of a codepoint above 0x10FFFF, made for the caller (nothing is cached there).
  std::shared_ptr<const QNUnicodeData> recordBeyondLastCodepoint(uint32_t codepoint) const;

  // Whether some range other than a lazily filled one has codepoints on the page of 256 that
  // starts at page * 256 (their records need the range walk).
  bool pageMeetsRange(uint32_t page) const;
  // The lazily filled range whose interior holds the codepoint, if any.
  const LazyRange* lazyRangeHolding(uint32_t codepoint) const;

  // Inserts the members of the lazily filled ranges into `list` (the record list as read), once.
  void completeRecordList(std::vector<const QNUnicodeData*>& list);
  // Calls visit(codepoint, record) for the records of `list` (as read) and the members of the
  // lazily filled ranges in file order, without making those members: a member is visited as
  // its own codepoint with its First record, which answers every property but the name for it.
  template <typename Visit>
  void visitInFileOrder(const std::vector<const QNUnicodeData*>& list, Visit&& visit) const;

  class Page;

 private:
  const QNUnicodeData** const _index;
  const std::vector<Range> _ranges;
  const std::vector<LazyRange> _lazyRanges;
  RecordChunks<QNUnicodePointerData, 4096>& _members;
  std::atomic<bool> _recordListComplete{false};

  // Guards the making of pages and members (the slots are read without it).
  std::mutex _mutex;
  // One page per 256 codepoints once made, kept for the life of the records.
  std::unique_ptr<std::atomic<const Page*>[]> _pages;
  std::vector<std::unique_ptr<const Page>> _madePages;

  // The member of a lazily filled range in slot `codepoint`, made now when the slot is empty;
  // the caller holds _mutex.
  const QNUnicodeData* lazyMember(const LazyRange& range, uint32_t codepoint);
  // The First record of the range whose walk decides the codepoint (nullopt: no range decides,
  // the codepoint gets a default record); the record may be null when the First slot is empty.
  std::optional<const QNUnicodeData*> rangeReferenceFor(uint32_t codepoint) const;
  // The page of the codepoint, made now when it is not there yet.
  const Page& pageForCodepoint(uint32_t codepoint);
  bool rangeInteriorMeets(uint64_t first, uint64_t last) const;
};

template <typename Visit>
void OnDemandRecords::visitInFileOrder(const std::vector<const QNUnicodeData*>& list,
                                       Visit&& visit) const {
  size_t position = 0;
  auto visitListUpTo = [&](size_t end) {
    for (; position < end; ++position) visit(list[position]->codepoint(), *list[position]);
  };
  if (!_recordListComplete.load(std::memory_order_acquire)) {
    for (const LazyRange& range : _lazyRanges) {
      visitListUpTo(range.listPosition);
      for (uint32_t member = range.interiorFirst; member < range.interiorEnd; ++member) {
        visit(member, *range.first);
      }
    }
  }
  visitListUpTo(list.size());
}

}  // namespace qnunicode::detail
