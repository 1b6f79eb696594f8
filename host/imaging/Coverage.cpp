#include "host/imaging/Coverage.h"

#include <algorithm>

namespace host::imaging {

void Coverage::Add(unsigned y, int begin, int end) {
  if (begin >= end || y >= rows_.size()) return;
  std::vector<Span>& row = rows_[y];
  // Spans touching or overlapping [begin, end) merge into one.
  auto first = std::lower_bound(row.begin(), row.end(), begin,
                                [](const Span& s, int value) { return s.end < value; });
  auto last = first;
  while (last != row.end() && last->begin <= end) {
    begin = std::min(begin, last->begin);
    end = std::max(end, last->end);
    ++last;
  }
  if (first == last) {
    row.insert(first, Span{begin, end});
  } else {
    *first = Span{begin, end};
    row.erase(first + 1, last);
  }
}

void Coverage::Remove(unsigned y, int begin, int end) {
  if (begin >= end || y >= rows_.size()) return;
  std::vector<Span>& row = rows_[y];
  std::vector<Span> kept;
  kept.reserve(row.size() + 1);
  for (const Span& s : row) {
    if (s.end <= begin || s.begin >= end) {
      kept.push_back(s);
      continue;
    }
    if (s.begin < begin) kept.push_back({s.begin, begin});
    if (s.end > end) kept.push_back({end, s.end});
  }
  row.swap(kept);
}

}  // namespace host::imaging
