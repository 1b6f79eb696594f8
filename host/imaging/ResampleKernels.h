// The tap tables of one-axis resampling and the arithmetic every path shares, for the files that
// hold the loops (Resample.cpp: portable; ResampleAvx2.cpp, ResampleAvx512.cpp).
#pragma once

#include <cstdint>
#include <vector>

#include "host/imaging/Pixels.h"

namespace host::imaging {

// Result position i along the changing axis is made of three terms: source `first[i]` weighted
// `firstWeight[i]`, the sum of the sources strictly between first[i] and last[i] (the
// middle, all of one weight), and source `last[i]` weighted `lastWeight[i]`. Shrinking, these
// are the covered interval's partly covered ends and its whole pixels; growing, the two
// neighbours of the interpolation and no middle.
struct AxisTaps {
  int sourceCount = 0;  // source positions
  std::vector<std::int32_t> first, last;
  // Weights in 1/65536: a product ((value << 8) * weight) >> 16 is value * weight / 256.
  std::vector<std::uint16_t> firstWeight, lastWeight;
  int minMiddle = 0, maxMiddle = 0;  // the fewest and most middle sources of a position
  // The middle's sum is shifted left by middleShift (as far as the largest sum allows in 16 bits)
  // and weighted by middleWeight: ((sum << middleShift) * middleWeight) >> 16, doubled when
  // middleDoubled (the weight would not fit 16 bits). A shift of 8 means at most one middle
  // source, which then is a product like the others.
  int middleShift = 8;
  bool middleDoubled = false;
  std::uint16_t middleWeight = 0;

  int Middle(int i) const {
    const int n = last[static_cast<std::size_t>(i)] - first[static_cast<std::size_t>(i)] - 1;
    return n > 0 ? n : 0;
  }
};

// Taps from `from` positions to `to` (to != from, both > 0, from <= 256 * to). Throws
// std::bad_alloc.
AxisTaps TapsFor(int from, int to);

// One result byte: the three products are truncated to 1/256 of a level each, summed, and
// rounded (129 rather than 128 makes up for the truncations on average). A position's weights
// sum to at most 1, so a flat picture stays exactly flat, and the sum fits 16 bits: the result is
// its high byte.
inline constexpr unsigned kBlendBias = 129;
inline unsigned char Blend(unsigned first, unsigned firstWeight, unsigned last, unsigned lastWeight,
                           unsigned middle, int middleShift, unsigned middleWeight,
                           int middleDoubling) {
  const unsigned sum = (((first << 8) * firstWeight) >> 16) + (((last << 8) * lastWeight) >> 16) +
                       ((((middle << middleShift) * middleWeight) >> 16) << middleDoubling);
  return static_cast<unsigned char>((sum + kBlendBias) >> 8);
}
inline unsigned char Blend(unsigned first, unsigned firstWeight, unsigned last, unsigned lastWeight,
                           unsigned middle, const AxisTaps& taps) {
  return Blend(first, firstWeight, last, lastWeight, middle, taps.middleShift, taps.middleWeight,
               taps.middleDoubled ? 1 : 0);
}

// Result pixels [begin, end) of one row along x, portable: `in` and `out` are rows of
// `channels`-byte pixels.
void BlendRowPlain(const unsigned char* in, unsigned char* out, int channels, const AxisTaps& taps,
                   int begin, int end);
// Result byte range [begin, end) of result row i along y, portable.
void BlendColumnsPlain(const Surface& from, unsigned char* out, const AxisTaps& taps, int i,
                       std::size_t begin, std::size_t end, std::uint16_t* sums);

// How the loops with shuffles split a result row: lanes of `bytes` consecutive result bytes,
// each lane reading windows of source bytes (one at its first pixels' first taps, one at their
// last taps, one per step over the middle), `phases` middle pixels per step summed in separate
// 16-bit words and folded at the end. With `shared`, a lane's taps all fall in its first window
// (at most one step, one phase), which is read once. bytes == 0: no plan fits.
struct LanePlan {
  int bytes = 0, phases = 1, steps = 0;
  bool shared = false;
};
// The cheapest plan for lanes of `words` 16-bit words reading `window`-byte windows. The
// windows' reach is bounded from the sizes alone; the tables check every index they write.
LanePlan PlanLanes(const AxisTaps& taps, int channels, int words, int window);

// Which lanes of a result row a vector loop runs (lanesPerVector at a time, covering the row):
// lanes from `tailLane` on would read past the source row or store past the result row, so they
// read a copy of the source row from `sourceBase` (zero past its end; `copyBytes` in all) and
// store into a copy of the result row from `resultBase` (`spillBytes` in all).
struct LaneSpan {
  int lanes = 0, tailLane = 0;
  int sourceBase = 0, copyBytes = 0;
  int resultBase = 0, spillBytes = 0;
};
LaneSpan SpanLanes(const AxisTaps& taps, int channels, const LanePlan& plan, int lanesPerVector,
                   int window, int storeBytes, int sourceRowBytes, int resultRowBytes);

// The window starts of a lane (its first pixel's first tap, last tap, and the first middle step;
// all the first for a shared window), relative to the row or, for tail lanes, to the copy.
struct LaneWindows {
  int first, last, middle;
};
LaneWindows WindowsOf(const AxisTaps& taps, int channels, const LanePlan& plan,
                      const LaneSpan& span, int lane);

// Calls byte(j, i, c) for each result byte j of a lane inside the row: pixel i, channel c.
template <class F>
void ForEachLaneByte(int channels, const LanePlan& plan, int resultRowBytes, int lane, F&& byte) {
  const int start = lane * plan.bytes;
  int i = start / channels, c = start % channels;
  for (int j = 0; j < plan.bytes && start + j < resultRowBytes; ++j) {
    byte(j, i, c);
    if (++c == channels) c = 0, ++i;
  }
}

// Horizontal and vertical loops of the vector paths (each needs its instructions).
void ResampleRowsAvx2(const Surface& from, const Surface& to, const AxisTaps& taps);
void ResampleColumnsAvx2(const Surface& from, const Surface& to, const AxisTaps& taps);
void ResampleRowsAvx512(const Surface& from, const Surface& to, const AxisTaps& taps);
void ResampleColumnsAvx512(const Surface& from, const Surface& to, const AxisTaps& taps);

}  // namespace host::imaging
