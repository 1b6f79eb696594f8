// One-axis resampling on AVX-512 (BW for the words, VBMI for shuffling bytes across a whole
// 64-byte window). The tables are built by portable code; only the loops carry the target.
#include <immintrin.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "host/imaging/ResampleKernels.h"

namespace host::imaging {

namespace {

#define KELO_AVX512 __attribute__((target("avx512f,avx512bw,avx512vbmi")))
#define KELO_AVX512_INLINE \
  __attribute__((target("avx512f,avx512bw,avx512vbmi"), always_inline)) inline

// Horizontal: a vector is one lane of 32 words, shuffled out of a 64-byte window of the source
// row (vpermb, with a mask writing zeros).
constexpr int kWords = 32, kWindow = 64;
constexpr int kStoreBytes = 32;  // a lane stores 32 bytes, of which plan.bytes are its own
constexpr unsigned kBlockRows = 8;
// Source bytes fetched ahead of the windows: the rows of a block are read side by side, which
// the processor's own prefetching follows less well.
constexpr int kPrefetch = 512;

struct RowTables {
  LanePlan plan;
  LaneSpan span;
  std::vector<std::int32_t> offsets;   // per vector: first taps, last taps, middle
  std::vector<unsigned char> control;  // per vector: first, last, middle (64 bytes each)
  std::vector<std::uint64_t> masks;    // per vector: first, last, middle, last middle step
  std::vector<std::uint16_t> weights;  // per vector: first, last (32 words each)
  // The tail's copies of a row: the source from span.sourceBase (zero past the row's end) and
  // the result from span.resultBase.
  std::vector<unsigned char> copy, spill;
};

// False when a plan's lanes do not fit their windows (then the portable loop runs).
bool BuildRowTables(const Surface& from, const Surface& to, const AxisTaps& taps, RowTables* t) {
  const int channels = to.Channels();
  const int resultBytes = static_cast<int>(to.RowBytes());
  t->plan = PlanLanes(taps, channels, kWords, kWindow);
  const LanePlan& plan = t->plan;
  if (plan.bytes == 0) return false;
  t->span = SpanLanes(taps, channels, plan, 1, kWindow, kStoreBytes,
                      static_cast<int>(from.RowBytes()), resultBytes);
  const auto vectors = static_cast<std::size_t>(t->span.lanes);
  t->offsets.assign(vectors * 3, 0);
  t->control.assign(vectors * 3 * 64, 0);
  t->masks.assign(vectors * 4, 0);
  t->weights.assign(vectors * 2 * 32, 0);
  t->copy.assign(static_cast<std::size_t>(t->span.copyBytes), 0);
  t->spill.assign(static_cast<std::size_t>(t->span.spillBytes), 0);
  bool inside = true;
  auto index = [&](int at) {
    inside = inside && at >= 0 && at < kWindow;
    return static_cast<unsigned char>(at);
  };
  for (int lane = 0; lane < t->span.lanes; ++lane) {
    const auto v = static_cast<std::size_t>(lane);
    const LaneWindows windows = WindowsOf(taps, channels, plan, t->span, lane);
    t->offsets[v * 3] = windows.first;
    t->offsets[v * 3 + 1] = windows.last;
    t->offsets[v * 3 + 2] = windows.middle;
    unsigned char* control = &t->control[v * 192];
    std::uint64_t* masks = &t->masks[v * 4];
    std::uint16_t* weights = &t->weights[v * 64];
    const std::size_t i0 = static_cast<std::size_t>(
        std::min(lane * plan.bytes / channels, static_cast<int>(taps.first.size()) - 1));
    // Indices count from each tap's own window, or all from the first window when shared.
    const int a0 = taps.first[i0], b0 = plan.shared ? a0 : taps.last[i0];
    const int m0 = plan.shared ? a0 - 1 : a0;
    const int high = taps.middleShift == 8 ? 1 : 0;
    ForEachLaneByte(channels, plan, resultBytes, lane, [&](int j, int pixel, int c) {
      const auto i = static_cast<std::size_t>(pixel);
      const int middle = taps.Middle(pixel);
      // First and last taps land in the high byte of word j: the value times 256.
      control[2 * j + 1] = index(channels * (taps.first[i] - a0) + c);
      control[64 + 2 * j + 1] = index(channels * (taps.last[i] - b0) + c);
      masks[0] |= std::uint64_t{1} << (2 * j + 1);
      masks[1] |= std::uint64_t{1} << (2 * j + 1);
      weights[j] = taps.firstWeight[i];
      weights[32 + j] = taps.lastWeight[i];
      // Middle phase m lands in word m * bytes + j (the high byte for a lone middle source, as
      // if shifted by 8); the last step takes only the phases a position has.
      for (int m = 0; m < plan.phases; ++m) {
        const int byte = 2 * (m * plan.bytes + j) + high;
        control[128 + byte] = index(channels * (taps.first[i] - m0 + m) + c);
        masks[2] |= std::uint64_t{1} << byte;
        if ((plan.steps - 1) * plan.phases + m < middle) masks[3] |= std::uint64_t{1} << byte;
      }
    });
  }
  return inside;
}

KELO_AVX512_INLINE __m512i Shuffled(__m512i window, std::uint64_t mask, __m512i control) {
  return _mm512_maskz_permutexvar_epi8(mask, control, window);
}

// What stays the same over a call.
struct Constants {
  LanePlan plan;
  int stepBytes, folds;
  bool shiftMiddle;  // false: a lone middle source already sits in the high byte
  bool doubleMiddle;
  __m512i bias, middleWeight;
  __m128i middleShift;
  __m512i highBytes;  // vpermb: the words' high bytes to the first 32 bytes
  __m512i fold[5];    // folding phases: word w takes word w + bytes * half
};

// One vector's tables, in registers.
struct Vector {
  int first, last, middle;  // window offsets
  __mmask64 firstMask, lastMask, middleMask, finalMask;
  __m512i firstControl, lastControl, middleControl, firstWeight, lastWeight;
};

KELO_AVX512_INLINE Vector LoadVector(const RowTables& t, int lane) {
  const auto v = static_cast<std::size_t>(lane);
  const unsigned char* control = &t.control[v * 192];
  const std::uint64_t* masks = &t.masks[v * 4];
  return {t.offsets[v * 3],
          t.offsets[v * 3 + 1],
          t.offsets[v * 3 + 2],
          masks[0],
          masks[1],
          masks[2],
          masks[3],
          _mm512_loadu_si512(control),
          _mm512_loadu_si512(control + 64),
          _mm512_loadu_si512(control + 128),
          _mm512_loadu_si512(&t.weights[v * 64]),
          _mm512_loadu_si512(&t.weights[v * 64 + 32])};
}

// One vector's result from `in`, stored at `out` (32 bytes, of which plan.bytes its own).
KELO_AVX512_INLINE void BlendVector(const unsigned char* in, unsigned char* out, const Vector& v,
                                    const Constants& k) {
  const __m512i firstWindow = _mm512_loadu_si512(in + v.first);
  const __m512i lastWindow = k.plan.shared ? firstWindow : _mm512_loadu_si512(in + v.last);
  __m512i sum = _mm512_add_epi16(
      _mm512_mulhi_epu16(Shuffled(firstWindow, v.firstMask, v.firstControl), v.firstWeight),
      _mm512_mulhi_epu16(Shuffled(lastWindow, v.lastMask, v.lastControl), v.lastWeight));
  if (k.plan.steps > 0) {
    const unsigned char* at = in + v.middle;
    __m512i middle = _mm512_setzero_si512();
    for (int step = 1; step < k.plan.steps; ++step, at += k.stepBytes)
      middle =
          _mm512_add_epi16(middle, Shuffled(_mm512_loadu_si512(at), v.middleMask, v.middleControl));
    const __m512i finalWindow = k.plan.shared ? firstWindow : _mm512_loadu_si512(at);
    middle = _mm512_add_epi16(middle, Shuffled(finalWindow, v.finalMask, v.middleControl));
    for (int f = 0; f < k.folds; ++f)
      middle = _mm512_add_epi16(middle, _mm512_permutexvar_epi16(k.fold[f], middle));
    if (k.shiftMiddle) middle = _mm512_sll_epi16(middle, k.middleShift);
    middle = _mm512_mulhi_epu16(middle, k.middleWeight);
    if (k.doubleMiddle) middle = _mm512_add_epi16(middle, middle);
    sum = _mm512_add_epi16(sum, middle);
  }
  // The masked shuffle: GCC 12 warns about the undefined register the plain one starts from.
  const __m512i result =
      _mm512_maskz_permutexvar_epi8(~0ull, k.highBytes, _mm512_add_epi16(sum, k.bias));
  __m256i low;  // the low half, stored plainly (a masked store is slower)
  std::memcpy(&low, &result, sizeof low);
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), low);
}

KELO_AVX512 void RowsKernel(const Surface& from, const Surface& to, const AxisTaps& taps,
                            RowTables& t) {
  Constants k{t.plan,
              to.Channels() * t.plan.phases,
              0,
              taps.middleShift != 8,
              taps.middleDoubled,
              _mm512_set1_epi16(kBlendBias),
              _mm512_set1_epi16(static_cast<short>(taps.middleWeight)),
              _mm_cvtsi32_si128(taps.middleShift),
              _mm512_set_epi64(0, 0, 0, 0, 0x3f3d3b3937353331, 0x2f2d2b2927252321,
                               0x1f1d1b1917151311, 0x0f0d0b0907050301),
              {}};
  for (int half = t.plan.phases / 2; half >= 1; half /= 2)
    k.fold[k.folds++] = _mm512_add_epi16(
        _mm512_set_epi16(31, 30, 29, 28, 27, 26, 25, 24, 23, 22, 21, 20, 19, 18, 17, 16, 15, 14, 13,
                         12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0),
        _mm512_set1_epi16(static_cast<short>(t.plan.bytes * half)));
  const LaneSpan span = t.span;
  const int bytes = t.plan.bytes;
  const auto sourceBytes =
      static_cast<std::size_t>(static_cast<int>(from.RowBytes()) - span.sourceBase);
  const std::size_t spillBytes = to.RowBytes() - static_cast<std::size_t>(span.resultBase);
  unsigned char* copy = t.copy.data();
  unsigned char* spill = t.spill.data();
  for (unsigned y0 = 0; y0 < to.height; y0 += kBlockRows) {
    const unsigned rows = std::min(kBlockRows, to.height - y0);
    const unsigned char* in[kBlockRows];
    unsigned char* out[kBlockRows];
    for (unsigned r = 0; r < rows; ++r) in[r] = from.Row(y0 + r), out[r] = to.Row(y0 + r);
    for (int lane = 0; lane < span.tailLane; ++lane) {
      const Vector vector = LoadVector(t, lane);
      for (unsigned r = 0; r < rows; ++r) {
        _mm_prefetch(reinterpret_cast<const char*>(in[r] + vector.first + kPrefetch), _MM_HINT_T0);
        BlendVector(in[r], out[r] + lane * bytes, vector, k);
      }
    }
    if (span.tailLane == span.lanes) continue;
    for (unsigned r = 0; r < rows; ++r) {
      std::memcpy(copy, in[r] + span.sourceBase, sourceBytes);
      for (int lane = span.tailLane; lane < span.lanes; ++lane)
        BlendVector(copy, spill + (lane * bytes - span.resultBase), LoadVector(t, lane), k);
      std::memcpy(out[r] + span.resultBase, spill, spillBytes);
    }
  }
}

KELO_AVX512_INLINE __m512i Products(__m512i values, __m512i weight, bool high) {
  const __m512i spread = high ? _mm512_unpackhi_epi8(_mm512_setzero_si512(), values)
                              : _mm512_unpacklo_epi8(_mm512_setzero_si512(), values);
  return _mm512_mulhi_epu16(spread, weight);
}

// The middle's product, doubled where its weight was halved to fit.
KELO_AVX512_INLINE __m512i Middle(__m512i sum, __m128i shift, __m512i weight, bool doubled) {
  const __m512i part = _mm512_mulhi_epu16(_mm512_sll_epi16(sum, shift), weight);
  return doubled ? _mm512_add_epi16(part, part) : part;
}

// Vertical: results 64 bytes at a time, the middle summed as on AVX2 (ResampleAvx2.cpp).
constexpr int kRegisterRows = 3;
constexpr std::size_t kChunk = 2048;

KELO_AVX512 void ColumnsKernel(const Surface& from, const Surface& to, const AxisTaps& taps,
                               std::size_t end) {
  const __m512i bias = _mm512_set1_epi16(kBlendBias);
  const __m512i middleWeight = _mm512_set1_epi16(static_cast<short>(taps.middleWeight));
  const __m128i middleShift = _mm_cvtsi32_si128(taps.middleShift);
  const bool doubled = taps.middleDoubled;
  const __m512i zero = _mm512_setzero_si512();
  __m512i sums[2 * kChunk / 64];
  for (unsigned i = 0; i < to.height; ++i) {
    const int a = taps.first[i], b = taps.last[i];
    const unsigned char* rowA = from.Row(static_cast<unsigned>(a));
    const unsigned char* rowB = from.Row(static_cast<unsigned>(b));
    const __m512i wa = _mm512_set1_epi16(static_cast<short>(taps.firstWeight[i]));
    const __m512i wb = _mm512_set1_epi16(static_cast<short>(taps.lastWeight[i]));
    const int middle = b - a - 1;
    unsigned char* out = to.Row(i);
    // The next result row's last source row, fetched ahead while this row is made (rows follow
    // one another in memory only row by row, which the processor's prefetching picks up late).
    const unsigned char* next =
        i + 1 < to.height ? from.Row(static_cast<unsigned>(taps.last[i + 1])) : rowB;
    for (std::size_t x0 = 0; x0 < end; x0 += kChunk) {
      const std::size_t x1 = std::min(end, x0 + kChunk);
      if (middle > kRegisterRows) {
        for (int j = a + 1; j < b; ++j) {
          const unsigned char* row = from.Row(static_cast<unsigned>(j));
          const unsigned char* following = from.Row(static_cast<unsigned>(j + 1));
          __m512i* sum = sums;
          for (std::size_t x = x0; x < x1; x += 64, sum += 2) {
            _mm_prefetch(reinterpret_cast<const char*>(following + x), _MM_HINT_T0);
            const __m512i v = _mm512_loadu_si512(row + x);
            const __m512i low = _mm512_unpacklo_epi8(v, zero), high = _mm512_unpackhi_epi8(v, zero);
            sum[0] = j == a + 1 ? low : _mm512_add_epi16(sum[0], low);
            sum[1] = j == a + 1 ? high : _mm512_add_epi16(sum[1], high);
          }
        }
      }
      const __m512i* sum = sums;
      for (std::size_t x = x0; x < x1; x += 64, sum += 2) {
        _mm_prefetch(reinterpret_cast<const char*>(next + x), _MM_HINT_T0);
        const __m512i va = _mm512_loadu_si512(rowA + x);
        const __m512i vb = _mm512_loadu_si512(rowB + x);
        __m512i low = _mm512_add_epi16(Products(va, wa, false), Products(vb, wb, false));
        __m512i high = _mm512_add_epi16(Products(va, wa, true), Products(vb, wb, true));
        if (middle > 0) {
          __m512i sumLow = zero, sumHigh = zero;
          if (middle > kRegisterRows) {
            sumLow = sum[0];
            sumHigh = sum[1];
          } else {
            for (int j = a + 1; j < b; ++j) {
              const __m512i v = _mm512_loadu_si512(from.Row(static_cast<unsigned>(j)) + x);
              sumLow = _mm512_add_epi16(sumLow, _mm512_unpacklo_epi8(v, zero));
              sumHigh = _mm512_add_epi16(sumHigh, _mm512_unpackhi_epi8(v, zero));
            }
          }
          low = _mm512_add_epi16(low, Middle(sumLow, middleShift, middleWeight, doubled));
          high = _mm512_add_epi16(high, Middle(sumHigh, middleShift, middleWeight, doubled));
        }
        low = _mm512_srli_epi16(_mm512_add_epi16(low, bias), 8);
        high = _mm512_srli_epi16(_mm512_add_epi16(high, bias), 8);
        _mm512_storeu_si512(out + x, _mm512_packus_epi16(low, high));
      }
    }
  }
}

#undef KELO_AVX512
#undef KELO_AVX512_INLINE

}  // namespace

void ResampleRowsAvx512(const Surface& from, const Surface& to, const AxisTaps& taps) {
  RowTables tables;
  if (BuildRowTables(from, to, taps, &tables)) {
    RowsKernel(from, to, taps, tables);
    return;
  }
  for (unsigned y = 0; y < to.height; ++y)
    BlendRowPlain(from.Row(y), to.Row(y), to.Channels(), taps, 0, static_cast<int>(to.width));
}

void ResampleColumnsAvx512(const Surface& from, const Surface& to, const AxisTaps& taps) {
  const std::size_t rowBytes = to.RowBytes();
  const std::size_t vectorBytes = rowBytes / 64 * 64;
  // Taken before anything is written: a failure leaves the result as it was.
  std::vector<std::uint16_t> sums(rowBytes - vectorBytes);
  if (vectorBytes > 0) ColumnsKernel(from, to, taps, vectorBytes);
  if (vectorBytes == rowBytes) return;
  for (unsigned i = 0; i < to.height; ++i)
    BlendColumnsPlain(from, to.Row(i), taps, static_cast<int>(i), vectorBytes, rowBytes,
                      sums.data());
}

}  // namespace host::imaging
