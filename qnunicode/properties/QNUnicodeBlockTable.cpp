#include "qnunicode/properties/QNUnicodeBlockTable.h"

#include <algorithm>
#include <numeric>
#include <utility>

QNUnicodeBlockTable::QNUnicodeBlockTable(Map entries) : _entries(std::move(entries)) {
  _names.reserve(_entries.size() + 1);
  _names.push_back(nullptr);

  // Each range covers first..first + count - 1, cut off at the top of the 32-bit space.
  struct Span {
    uint64_t begin;
    uint64_t end;  // exclusive
  };
  std::vector<Span> spans;
  spans.reserve(_entries.size());
  std::vector<uint64_t> boundaries{0};
  for (const auto& [range, name] : _entries) {
    _names.push_back(&name);
    const uint64_t end = std::min<uint64_t>(uint64_t(range.first) + range.count, uint64_t(1) << 32);
    spans.push_back({range.first, end});
    boundaries.push_back(range.first);
    boundaries.push_back(end);
  }
  std::sort(boundaries.begin(), boundaries.end());
  boundaries.erase(std::unique(boundaries.begin(), boundaries.end()), boundaries.end());
  if (boundaries.back() == (uint64_t(1) << 32)) boundaries.pop_back();

  // Piece i runs from boundaries[i] to the next boundary. Ranges paint pieces in map order, and
  // a piece keeps the first paint it gets; nextUnpainted lets later ranges skip painted pieces.
  const size_t pieces = boundaries.size();
  std::vector<uint32_t> payloads(pieces, 0);
  std::vector<size_t> nextUnpainted(pieces + 1);
  std::iota(nextUnpainted.begin(), nextUnpainted.end(), 0);
  const auto findUnpainted = [&](size_t piece) {
    size_t root = piece;
    while (nextUnpainted[root] != root) root = nextUnpainted[root];
    while (nextUnpainted[piece] != root) piece = std::exchange(nextUnpainted[piece], root);
    return root;
  };
  const auto pieceAt = [&](uint64_t position) {
    return static_cast<size_t>(std::lower_bound(boundaries.begin(), boundaries.end(), position) -
                               boundaries.begin());
  };
  for (size_t entry = 0; entry < spans.size(); ++entry) {
    if (spans[entry].begin >= spans[entry].end) continue;  // a count of 0 holds nothing
    const size_t last = pieceAt(spans[entry].end);         // exclusive
    for (size_t piece = findUnpainted(pieceAt(spans[entry].begin)); piece < last;
         piece = findUnpainted(piece + 1)) {
      payloads[piece] = static_cast<uint32_t>(entry + 1);
      nextUnpainted[piece] = piece + 1;
    }
  }
  std::vector<uint32_t> starts(boundaries.begin(), boundaries.end());
  _index = qnunicode::detail::IntervalIndex(starts, payloads);
}
