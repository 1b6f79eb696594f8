#include "host/imaging/Resample.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include "host/imaging/ResampleKernels.h"

namespace host::imaging {

namespace {

constexpr std::int64_t kOne = 65536;  // weight 1 in firstWeight and lastWeight (as 65535)

std::uint16_t Weight(std::int64_t weight) {
  return static_cast<std::uint16_t>(std::clamp<std::int64_t>(weight, 0, 65535));
}

// Growing: the centre of result position i maps to (i + 0.5) * from / to - 0.5 in source
// positions, between sources x0 and x0 + 1 (the edge source alone outside [0, from - 1]).
void GrowingTaps(std::int64_t from, std::int64_t to, AxisTaps* t) {
  for (std::int64_t i = 0; i < to; ++i) {
    const std::int64_t num = (2 * i + 1) * from - to, den = 2 * to;
    std::int64_t x0 = 0, rem = 0;
    if (num > 0) x0 = num / den, rem = num % den;
    if (x0 >= from - 1) x0 = from - 1, rem = 0;
    const std::int64_t lastWeight = (rem * kOne + to) / den;  // rem / den rounded, in 1/65536
    const auto at = static_cast<std::size_t>(i);
    t->first[at] = static_cast<std::int32_t>(x0);
    t->last[at] = static_cast<std::int32_t>(std::min(x0 + 1, from - 1));
    t->firstWeight[at] = Weight(kOne - lastWeight);
    t->lastWeight[at] = Weight(lastWeight);
  }
}

// Shrinking, in units of 1/to of a source position: source j covers [j to, (j + 1) to) and
// result i covers [i from, (i + 1) from), so every overlap is a whole number of units.
void ShrinkingTaps(std::int64_t from, std::int64_t to, AxisTaps* t) {
  t->minMiddle = std::numeric_limits<int>::max();
  for (std::int64_t i = 0; i < to; ++i) {
    const std::int64_t begin = i * from, end = begin + from;
    const auto at = static_cast<std::size_t>(i);
    t->first[at] = static_cast<std::int32_t>(begin / to);
    t->last[at] = static_cast<std::int32_t>((end - 1) / to);
    t->minMiddle = std::min(t->minMiddle, t->Middle(static_cast<int>(i)));
    t->maxMiddle = std::max(t->maxMiddle, t->Middle(static_cast<int>(i)));
  }
  // The largest middle sum, 255 a source, shifted as far as 16 bits allow. A middle source weighs
  // to / from: 2^(24 - shift) to / from in the middle product's scale, or half that and the
  // product doubled where that does not fit 16 bits.
  t->middleShift = 8;
  while (t->middleShift > 0 && (255 * t->maxMiddle) << t->middleShift > 65535) --t->middleShift;
  auto middleWeight = [&](int scale) { return ((to << scale) + from / 2) / from; };
  t->middleDoubled = middleWeight(24 - t->middleShift) > 65535;
  t->middleWeight = Weight(middleWeight(24 - t->middleShift - (t->middleDoubled ? 1 : 0)));
  // The same weight in 1/65536 is middleWeight (doubled) / 2^(8 - shift); the last source takes
  // what the others leave of 1 (rounded down), so the weights never sum past 1.
  const int down = 8 - t->middleShift;
  const std::int64_t middle = std::int64_t{t->middleWeight} * (t->middleDoubled ? 2 : 1);
  for (std::int64_t i = 0; i < to; ++i) {
    const auto at = static_cast<std::size_t>(i);
    const std::int64_t inside = (t->first[at] + 1) * to - i * from;  // units of the first source
    const std::int64_t firstWeight = (inside * kOne + from / 2) / from;
    const std::int64_t rest =
        ((kOne - firstWeight) << down) - t->Middle(static_cast<int>(i)) * middle;
    t->firstWeight[at] = Weight(firstWeight);
    t->lastWeight[at] = Weight(rest >> down);
  }
}

template <int C>
void BlendRow(const unsigned char* in, unsigned char* out, const AxisTaps& taps, int begin,
              int end) {
  for (int i = begin; i < end; ++i) {
    const auto at = static_cast<std::size_t>(i);
    const int a = taps.first[at], b = taps.last[at];
    for (int c = 0; c < C; ++c) {
      unsigned middle = 0;
      for (int j = a + 1; j < b; ++j) middle += in[j * C + c];
      out[i * C + c] = Blend(in[a * C + c], taps.firstWeight[at], in[b * C + c],
                             taps.lastWeight[at], middle, taps);
    }
  }
}

void RowsPlain(const Surface& from, const Surface& to, const AxisTaps& taps) {
  for (unsigned y = 0; y < to.height; ++y)
    BlendRowPlain(from.Row(y), to.Row(y), to.Channels(), taps, 0, static_cast<int>(to.width));
}

void ColumnsPlain(const Surface& from, const Surface& to, const AxisTaps& taps) {
  std::vector<std::uint16_t> sums(taps.maxMiddle > 0 ? to.RowBytes() : 0);
  for (unsigned i = 0; i < to.height; ++i)
    BlendColumnsPlain(from, to.Row(i), taps, static_cast<int>(i), 0, to.RowBytes(), sums.data());
}

}  // namespace

AxisTaps TapsFor(int from, int to) {
  AxisTaps t;
  t.sourceCount = from;
  const auto n = static_cast<std::size_t>(to);
  t.first.resize(n);
  t.last.resize(n);
  t.firstWeight.resize(n);
  t.lastWeight.resize(n);
  if (to > from) {
    GrowingTaps(from, to, &t);
  } else {
    ShrinkingTaps(from, to, &t);
  }
  return t;
}

void BlendRowPlain(const unsigned char* in, unsigned char* out, int channels, const AxisTaps& taps,
                   int begin, int end) {
  switch (channels) {
    case 1:
      return BlendRow<1>(in, out, taps, begin, end);
    case 3:
      return BlendRow<3>(in, out, taps, begin, end);
    default:
      return BlendRow<4>(in, out, taps, begin, end);
  }
}

void BlendColumnsPlain(const Surface& from, unsigned char* out, const AxisTaps& taps, int i,
                       std::size_t begin, std::size_t end, std::uint16_t* sums) {
  const auto at = static_cast<std::size_t>(i);
  const int a = taps.first[at], b = taps.last[at];
  const unsigned char* rowA = from.Row(static_cast<unsigned>(a));
  const unsigned char* rowB = from.Row(static_cast<unsigned>(b));
  const unsigned wa = taps.firstWeight[at], wb = taps.lastWeight[at];
  if (b - a <= 1) {
    for (std::size_t x = begin; x < end; ++x) out[x] = Blend(rowA[x], wa, rowB[x], wb, 0, taps);
    return;
  }
  // Row by row over the middle, so each loop runs along memory.
  const unsigned char* row = from.Row(static_cast<unsigned>(a + 1));
  for (std::size_t x = begin; x < end; ++x) sums[x - begin] = row[x];
  for (int j = a + 2; j < b; ++j) {
    row = from.Row(static_cast<unsigned>(j));
    for (std::size_t x = begin; x < end; ++x)
      sums[x - begin] = static_cast<std::uint16_t>(sums[x - begin] + row[x]);
  }
  const int shift = taps.middleShift, doubling = taps.middleDoubled ? 1 : 0;
  const unsigned weight = taps.middleWeight;
  for (std::size_t x = begin; x < end; ++x)
    out[x] = Blend(rowA[x], wa, rowB[x], wb, sums[x - begin], shift, weight, doubling);
}

LanePlan PlanLanes(const AxisTaps& taps, int channels, int words, int window) {
  const auto from = static_cast<std::int64_t>(taps.sourceCount);
  const auto to = static_cast<std::int64_t>(taps.first.size());
  LanePlan best;
  double bestCost = 0;
  for (int bytes = 1; bytes <= words; ++bytes) {
    // The most pixels past its first that a lane of `bytes` bytes reaches, over the places in a
    // pixel lanes start at (multiples of `bytes`), and how far apart the taps of pixels that far
    // apart can be: first taps, like last taps, of pixels d apart are at most ceil(d from / to)
    // apart.
    int reach = 0;
    for (int k = 0; k < channels; ++k)
      reach = std::max(reach, (k * bytes % channels + bytes - 1) / channels);
    const auto spread = static_cast<int>((reach * from + to - 1) / to);
    if (channels * (spread + 1) > window) continue;
    // One window for every tap when the last taps, at most ceil(from / to) past the first, fit.
    if (taps.maxMiddle <= 1 && channels * (spread + (from + to - 1) / to + 1) <= window) {
      const int steps = taps.maxMiddle;
      const double cost = (11.0 + 2.0 * steps + (steps > 0 ? 3 : 0)) / bytes;
      if (best.bytes == 0 || cost < bestCost) {
        best = LanePlan{bytes, 1, steps, true};
        bestCost = cost;
      }
    }
    for (int phases = 1; bytes * phases <= words; phases *= 2) {
      if (channels * (spread + phases) > window) break;
      const int steps = (taps.maxMiddle + phases - 1) / phases;
      // Every step but the last takes all its phases from every position.
      if (steps > 0 && (steps - 1) * phases > taps.minMiddle) continue;
      // Roughly the instructions per lane: the two end taps, the sum, the store, and per step a
      // load, a shuffle and an add.
      const double cost = (12.0 + 3.0 * steps + (steps > 0 ? 3 : 0)) / bytes;
      if (best.bytes == 0 || cost < bestCost) {
        best = LanePlan{bytes, phases, steps};
        bestCost = cost;
      }
      if (steps == 0) break;
    }
  }
  return best;
}

namespace {

// The first result pixel of a lane; the last pixel for lanes wholly past the row's end.
std::size_t FirstPixel(const AxisTaps& taps, int channels, const LanePlan& plan, int lane) {
  return std::min(static_cast<std::size_t>(lane * plan.bytes / channels), taps.first.size() - 1);
}

}  // namespace

LaneSpan SpanLanes(const AxisTaps& taps, int channels, const LanePlan& plan, int lanesPerVector,
                   int window, int storeBytes, int sourceRowBytes, int resultRowBytes) {
  LaneSpan span;
  const int vectorBytes = lanesPerVector * plan.bytes;
  span.lanes = (resultRowBytes + vectorBytes - 1) / vectorBytes * lanesPerVector;
  const int middleSteps = plan.steps > 0 ? channels * plan.phases * (plan.steps - 1) : 0;
  // How far the windows of a lane reach past the start of its first window, and where it starts.
  auto reach = [&](int lane, int* base) {
    const std::size_t i0 = FirstPixel(taps, channels, plan, lane);
    const int first = channels * taps.first[i0];
    const int last = plan.shared ? first : channels * taps.last[i0];
    *base = std::min(first, last);
    int end = std::max(first, last) + window;
    if (plan.steps > 0 && !plan.shared)
      end = std::max(end, first + channels + middleSteps + window);
    return end;
  };
  int tail = 0, base = 0;
  while (tail < span.lanes && tail * plan.bytes + storeBytes <= resultRowBytes &&
         reach(tail, &base) <= sourceRowBytes)
    ++tail;
  span.tailLane = tail / lanesPerVector * lanesPerVector;
  if (span.tailLane == span.lanes) return span;
  // Lanes' windows start in order, so the tail's first lane starts the copy.
  int end = reach(span.tailLane, &span.sourceBase);
  for (int lane = span.tailLane + 1; lane < span.lanes; ++lane)
    end = std::max(end, reach(lane, &base));
  span.copyBytes = std::max(end, sourceRowBytes) - span.sourceBase;
  span.resultBase = span.tailLane * plan.bytes;
  span.spillBytes =
      std::max((span.lanes - 1) * plan.bytes + storeBytes, resultRowBytes) - span.resultBase;
  return span;
}

LaneWindows WindowsOf(const AxisTaps& taps, int channels, const LanePlan& plan,
                      const LaneSpan& span, int lane) {
  const std::size_t i0 = FirstPixel(taps, channels, plan, lane);
  const int base = lane >= span.tailLane ? span.sourceBase : 0;
  const int first = channels * taps.first[i0] - base;
  if (plan.shared) return {first, first, first};
  return {first, channels * taps.last[i0] - base, channels * (taps.first[i0] + 1) - base};
}

bool ResamplePathSupported(ResamplePath path) {
  switch (path) {
    case ResamplePath::kPlain:
      return true;
    case ResamplePath::kAvx2:
      return __builtin_cpu_supports("avx2");
    case ResamplePath::kAvx512:
      return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
             __builtin_cpu_supports("avx512vbmi");
  }
  return false;
}

ResamplePath FastestResamplePath() {
  static const ResamplePath fastest =
      ResamplePathSupported(ResamplePath::kAvx512) ? ResamplePath::kAvx512
      : ResamplePathSupported(ResamplePath::kAvx2) ? ResamplePath::kAvx2
                                                   : ResamplePath::kPlain;
  return fastest;
}

bool OneAxisShape(const Surface& from, const Surface& to) {
  if (from.bits != to.bits || from.Empty() || to.Empty()) return false;
  const bool alongX = from.width != to.width, alongY = from.height != to.height;
  if (alongX == alongY) return false;
  const std::uint64_t source = alongX ? from.width : from.height;
  const std::uint64_t result = alongX ? to.width : to.height;
  return source <= 256 * result;
}

HRESULT ResampleOneAxis(const Surface& from, const Surface& to, ResamplePath path) {
  if (!OneAxisShape(from, to) || !ResamplePathSupported(path)) return E_INVALIDARG;
  const bool alongX = from.width != to.width;
  try {
    const AxisTaps taps = alongX
                              ? TapsFor(static_cast<int>(from.width), static_cast<int>(to.width))
                              : TapsFor(static_cast<int>(from.height), static_cast<int>(to.height));
    switch (path) {
      case ResamplePath::kPlain:
        alongX ? RowsPlain(from, to, taps) : ColumnsPlain(from, to, taps);
        break;
      case ResamplePath::kAvx2:
        alongX ? ResampleRowsAvx2(from, to, taps) : ResampleColumnsAvx2(from, to, taps);
        break;
      case ResamplePath::kAvx512:
        alongX ? ResampleRowsAvx512(from, to, taps) : ResampleColumnsAvx512(from, to, taps);
        break;
    }
  } catch (...) {
    return E_FAIL;  // no memory for the tables
  }
  return S_OK;
}

}  // namespace host::imaging
