// Which pixels of a picture were drawn since it was last cleared: per row, sorted disjoint
// column spans. Cleared pictures start with none; Warp and Paste add what they draw.
#pragma once

#include <vector>

namespace host::imaging {

class Coverage {
 public:
  explicit Coverage(unsigned height) : rows_(height) {}

  unsigned Height() const { return static_cast<unsigned>(rows_.size()); }
  // Marks columns [begin, end) of row y as drawn.
  void Add(unsigned y, int begin, int end);
  // Marks columns [begin, end) of row y as not drawn.
  void Remove(unsigned y, int begin, int end);
  // Calls gap(b, e) for each maximal run [b, e) within [begin, end) of row y that is not drawn.
  template <class F>
  void ForEachGap(unsigned y, int begin, int end, F&& gap) const {
    int at = begin;
    for (const Span& span : rows_[y]) {
      if (span.end <= at) continue;
      if (span.begin >= end) break;
      if (span.begin > at) gap(at, span.begin);
      at = span.end;
      if (at >= end) return;
    }
    if (at < end) gap(at, end);
  }

 private:
  struct Span {
    int begin, end;
  };
  std::vector<std::vector<Span>> rows_;
};

}  // namespace host::imaging
