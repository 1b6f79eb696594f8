// One-axis resampling on AVX2. The tables are built by portable code; only the loops carry the
// AVX2 target, so nothing else in the program is compiled for it.
#include <immintrin.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "host/imaging/ResampleKernels.h"

namespace host::imaging {

namespace {

#define KELO_AVX2 __attribute__((target("avx2")))
#define KELO_AVX2_INLINE __attribute__((target("avx2"), always_inline)) inline

// Horizontal: a vector holds two lanes of 8 words, each lane shuffling its result bytes out of a
// 16-byte window of the source row (pshufb).
constexpr int kLanes = 2, kWords = 8, kWindow = 16;
constexpr int kStoreBytes = 8;  // each lane stores 8 bytes, of which plan.bytes are its own
// Rows run through each vector's tables together, so the tables are read once per block.
constexpr unsigned kBlockRows = 8;
// Source bytes fetched ahead of the windows: the rows of a block are read side by side, which
// the processor's own prefetching follows less well.
constexpr int kPrefetch = 512;
constexpr unsigned char kZero = 0x80;  // pshufb writes 0

struct RowTables {
  LanePlan plan;
  LaneSpan span;
  int vectors = 0;
  // Per vector: window starts (first taps, last taps, middle) for lane 0, then lane 1.
  std::vector<std::int32_t> offsets;
  // Per vector: pshufb controls for first taps, last taps, middle steps and the last middle step.
  std::vector<unsigned char> control;
  // Per vector: weights of first and last taps.
  std::vector<std::uint16_t> weights;
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
  t->span = SpanLanes(taps, channels, plan, kLanes, kWindow, kStoreBytes,
                      static_cast<int>(from.RowBytes()), resultBytes);
  t->vectors = t->span.lanes / kLanes;
  const auto vectors = static_cast<std::size_t>(t->vectors);
  t->offsets.assign(vectors * 6, 0);
  t->control.assign(vectors * 4 * 32, kZero);
  t->weights.assign(vectors * 2 * 16, 0);
  t->copy.assign(static_cast<std::size_t>(t->span.copyBytes), 0);
  t->spill.assign(static_cast<std::size_t>(t->span.spillBytes), 0);
  bool inside = true;
  auto index = [&](int at) {
    inside = inside && at >= 0 && at < kWindow;
    return static_cast<unsigned char>(at);
  };
  for (int lane = 0; lane < t->span.lanes; ++lane) {
    const auto v = static_cast<std::size_t>(lane / kLanes);
    const auto half = static_cast<std::size_t>(lane % kLanes);
    const LaneWindows windows = WindowsOf(taps, channels, plan, t->span, lane);
    std::int32_t* offsets = &t->offsets[v * 6 + half * 3];
    offsets[0] = windows.first;
    offsets[1] = windows.last;
    offsets[2] = windows.middle;
    unsigned char* control = &t->control[v * 128 + half * 16];
    std::uint16_t* weights = &t->weights[v * 32 + half * 8];
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
      control[32 + 2 * j + 1] = index(channels * (taps.last[i] - b0) + c);
      weights[j] = taps.firstWeight[i];
      weights[16 + j] = taps.lastWeight[i];
      // Middle phase m lands in word m * bytes + j (the high byte for a lone middle source, as
      // if shifted by 8); the last step takes only the phases a position has.
      for (int m = 0; m < plan.phases; ++m) {
        const int word = m * plan.bytes + j;
        const unsigned char at = index(channels * (taps.first[i] - m0 + m) + c);
        control[64 + 2 * word + high] = at;
        if ((plan.steps - 1) * plan.phases + m < middle) control[96 + 2 * word + high] = at;
      }
    });
  }
  return inside;
}

// The 16-byte windows of both lanes at `at` (window starts of lane 0 and lane 1), `extra` on.
KELO_AVX2_INLINE __m256i Window(const unsigned char* row, const int (&at)[2], int extra) {
  return _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(row + at[1] + extra),
                             reinterpret_cast<const __m128i*>(row + at[0] + extra));
}

// Adds word m * bytes + j into word j for every phase m (phases a power of two).
KELO_AVX2_INLINE __m256i FoldPhases(__m256i sums, int phases, int bytes) {
  for (int half = phases / 2; half >= 1; half /= 2) {
    switch (2 * bytes * half) {  // byte shifts take constants
      case 2:
        sums = _mm256_add_epi16(sums, _mm256_bsrli_epi128(sums, 2));
        break;
      case 4:
        sums = _mm256_add_epi16(sums, _mm256_bsrli_epi128(sums, 4));
        break;
      case 6:
        sums = _mm256_add_epi16(sums, _mm256_bsrli_epi128(sums, 6));
        break;
      default:
        sums = _mm256_add_epi16(sums, _mm256_bsrli_epi128(sums, 8));
        break;
    }
  }
  return sums;
}

// One vector's tables, in registers.
struct Vector {
  int first[2], last[2], middle[2];  // window starts of lane 0 and lane 1
  __m256i firstControl, lastControl, middleControl, finalControl, firstWeight, lastWeight;
};

KELO_AVX2_INLINE Vector LoadVector(const RowTables& t, int v) {
  const auto at = static_cast<std::size_t>(v);
  const std::int32_t* offsets = &t.offsets[at * 6];
  const auto* control = reinterpret_cast<const __m256i*>(&t.control[at * 128]);
  const auto* weights = reinterpret_cast<const __m256i*>(&t.weights[at * 32]);
  return {{offsets[0], offsets[3]},        {offsets[1], offsets[4]},
          {offsets[2], offsets[5]},        _mm256_loadu_si256(control),
          _mm256_loadu_si256(control + 1), _mm256_loadu_si256(control + 2),
          _mm256_loadu_si256(control + 3), _mm256_loadu_si256(weights),
          _mm256_loadu_si256(weights + 1)};
}

// What stays the same over a call.
struct Constants {
  LanePlan plan;
  int stepBytes;
  bool shiftMiddle;  // false: a lone middle source already sits in the high byte
  bool doubleMiddle;
  __m256i bias, middleWeight;
  __m128i middleShift;
  __m256i highBytes;  // pshufb: each lane's high bytes of its words to its first 8 bytes
};

// The two lanes' results from `in`, stored at `out` (lane 0) and out + plan.bytes (lane 1).
KELO_AVX2_INLINE void BlendVector(const unsigned char* in, unsigned char* out, const Vector& v,
                                  const Constants& k) {
  const __m256i firstWindow = Window(in, v.first, 0);
  const __m256i lastWindow = k.plan.shared ? firstWindow : Window(in, v.last, 0);
  __m256i sum = _mm256_add_epi16(
      _mm256_mulhi_epu16(_mm256_shuffle_epi8(firstWindow, v.firstControl), v.firstWeight),
      _mm256_mulhi_epu16(_mm256_shuffle_epi8(lastWindow, v.lastControl), v.lastWeight));
  if (k.plan.steps > 0) {
    __m256i middle = _mm256_setzero_si256();
    int at = 0;
    for (int step = 1; step < k.plan.steps; ++step, at += k.stepBytes)
      middle =
          _mm256_add_epi16(middle, _mm256_shuffle_epi8(Window(in, v.middle, at), v.middleControl));
    const __m256i finalWindow = k.plan.shared ? firstWindow : Window(in, v.middle, at);
    middle = _mm256_add_epi16(middle, _mm256_shuffle_epi8(finalWindow, v.finalControl));
    if (k.plan.phases > 1) middle = FoldPhases(middle, k.plan.phases, k.plan.bytes);
    if (k.shiftMiddle) middle = _mm256_sll_epi16(middle, k.middleShift);
    middle = _mm256_mulhi_epu16(middle, k.middleWeight);
    if (k.doubleMiddle) middle = _mm256_add_epi16(middle, middle);
    sum = _mm256_add_epi16(sum, middle);
  }
  const __m256i packed = _mm256_shuffle_epi8(_mm256_add_epi16(sum, k.bias), k.highBytes);
  if (k.plan.bytes == 8) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out),
                     _mm256_castsi256_si128(_mm256_permute4x64_epi64(packed, 0x08)));
    return;
  }
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm256_castsi256_si128(packed));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out + k.plan.bytes),
                   _mm256_extracti128_si256(packed, 1));
}

KELO_AVX2 void RowsKernel(const Surface& from, const Surface& to, const AxisTaps& taps,
                          RowTables& t) {
  const Constants k{t.plan,
                    to.Channels() * t.plan.phases,
                    taps.middleShift != 8,
                    taps.middleDoubled,
                    _mm256_set1_epi16(kBlendBias),
                    _mm256_set1_epi16(static_cast<short>(taps.middleWeight)),
                    _mm_cvtsi32_si128(taps.middleShift),
                    _mm256_setr_epi8(1, 3, 5, 7, 9, 11, 13, 15, -1, -1, -1, -1, -1, -1, -1, -1, 1,
                                     3, 5, 7, 9, 11, 13, 15, -1, -1, -1, -1, -1, -1, -1, -1)};
  const LaneSpan span = t.span;
  const int vectorBytes = kLanes * t.plan.bytes;
  const int bodyVectors = span.tailLane / kLanes;
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
    for (int v = 0; v < bodyVectors; ++v) {
      const Vector vector = LoadVector(t, v);
      for (unsigned r = 0; r < rows; ++r) {
        _mm_prefetch(reinterpret_cast<const char*>(in[r] + vector.first[0] + kPrefetch),
                     _MM_HINT_T0);
        BlendVector(in[r], out[r] + v * vectorBytes, vector, k);
      }
    }
    if (bodyVectors == t.vectors) continue;
    for (unsigned r = 0; r < rows; ++r) {
      std::memcpy(copy, in[r] + span.sourceBase, sourceBytes);
      for (int v = bodyVectors; v < t.vectors; ++v)
        BlendVector(copy, spill + (v * vectorBytes - span.resultBase), LoadVector(t, v), k);
      std::memcpy(out[r] + span.resultBase, spill, spillBytes);
    }
  }
}

KELO_AVX2_INLINE __m256i Products(__m256i values, __m256i weight, bool high) {
  // The value in the high byte of each word is value * 256.
  const __m256i spread = high ? _mm256_unpackhi_epi8(_mm256_setzero_si256(), values)
                              : _mm256_unpacklo_epi8(_mm256_setzero_si256(), values);
  return _mm256_mulhi_epu16(spread, weight);
}

// The middle's product, doubled where its weight was halved to fit.
KELO_AVX2_INLINE __m256i Middle(__m256i sum, __m128i shift, __m256i weight, bool doubled) {
  const __m256i part = _mm256_mulhi_epu16(_mm256_sll_epi16(sum, shift), weight);
  return doubled ? _mm256_add_epi16(part, part) : part;
}

// Vertical: results 32 bytes at a time from the first and last rows and the middle's sum.
// Up to kRegisterRows middle rows are summed in registers, 32 bytes of each in turn; more are
// summed a chunk of each row at a time into memory, so every row is read along memory and the
// rows in flight stay few.
constexpr int kRegisterRows = 3;
constexpr std::size_t kChunk = 2048;

KELO_AVX2 void ColumnsKernel(const Surface& from, const Surface& to, const AxisTaps& taps,
                             std::size_t end) {
  const __m256i bias = _mm256_set1_epi16(kBlendBias);
  const __m256i middleWeight = _mm256_set1_epi16(static_cast<short>(taps.middleWeight));
  const __m128i middleShift = _mm_cvtsi32_si128(taps.middleShift);
  const bool doubled = taps.middleDoubled;
  const __m256i zero = _mm256_setzero_si256();
  __m256i sums[2 * kChunk / 32];
  for (unsigned i = 0; i < to.height; ++i) {
    const int a = taps.first[i], b = taps.last[i];
    const unsigned char* rowA = from.Row(static_cast<unsigned>(a));
    const unsigned char* rowB = from.Row(static_cast<unsigned>(b));
    const __m256i wa = _mm256_set1_epi16(static_cast<short>(taps.firstWeight[i]));
    const __m256i wb = _mm256_set1_epi16(static_cast<short>(taps.lastWeight[i]));
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
          __m256i* sum = sums;
          for (std::size_t x = x0; x < x1; x += 32, sum += 2) {
            if (x % 64 == 0)
              _mm_prefetch(reinterpret_cast<const char*>(following + x), _MM_HINT_T0);
            const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(row + x));
            const __m256i low = _mm256_unpacklo_epi8(v, zero), high = _mm256_unpackhi_epi8(v, zero);
            sum[0] = j == a + 1 ? low : _mm256_add_epi16(sum[0], low);
            sum[1] = j == a + 1 ? high : _mm256_add_epi16(sum[1], high);
          }
        }
      }
      const __m256i* sum = sums;
      for (std::size_t x = x0; x < x1; x += 32, sum += 2) {
        if (x % 64 == 0) _mm_prefetch(reinterpret_cast<const char*>(next + x), _MM_HINT_T0);
        const __m256i va = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(rowA + x));
        const __m256i vb = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(rowB + x));
        __m256i low = _mm256_add_epi16(Products(va, wa, false), Products(vb, wb, false));
        __m256i high = _mm256_add_epi16(Products(va, wa, true), Products(vb, wb, true));
        if (middle > 0) {
          __m256i sumLow = zero, sumHigh = zero;
          if (middle > kRegisterRows) {
            sumLow = sum[0];
            sumHigh = sum[1];
          } else {
            for (int j = a + 1; j < b; ++j) {
              const __m256i v = _mm256_loadu_si256(
                  reinterpret_cast<const __m256i*>(from.Row(static_cast<unsigned>(j)) + x));
              sumLow = _mm256_add_epi16(sumLow, _mm256_unpacklo_epi8(v, zero));
              sumHigh = _mm256_add_epi16(sumHigh, _mm256_unpackhi_epi8(v, zero));
            }
          }
          low = _mm256_add_epi16(low, Middle(sumLow, middleShift, middleWeight, doubled));
          high = _mm256_add_epi16(high, Middle(sumHigh, middleShift, middleWeight, doubled));
        }
        low = _mm256_srli_epi16(_mm256_add_epi16(low, bias), 8);
        high = _mm256_srli_epi16(_mm256_add_epi16(high, bias), 8);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + x), _mm256_packus_epi16(low, high));
      }
    }
  }
}

#undef KELO_AVX2
#undef KELO_AVX2_INLINE

}  // namespace

void ResampleRowsAvx2(const Surface& from, const Surface& to, const AxisTaps& taps) {
  RowTables tables;
  if (BuildRowTables(from, to, taps, &tables)) {
    RowsKernel(from, to, taps, tables);
    return;
  }
  for (unsigned y = 0; y < to.height; ++y)
    BlendRowPlain(from.Row(y), to.Row(y), to.Channels(), taps, 0, static_cast<int>(to.width));
}

void ResampleColumnsAvx2(const Surface& from, const Surface& to, const AxisTaps& taps) {
  const std::size_t rowBytes = to.RowBytes();
  const std::size_t vectorBytes = rowBytes / 32 * 32;
  // Taken before anything is written: a failure leaves the result as it was.
  std::vector<std::uint16_t> sums(rowBytes - vectorBytes);
  if (vectorBytes > 0) ColumnsKernel(from, to, taps, vectorBytes);
  if (vectorBytes == rowBytes) return;
  for (unsigned i = 0; i < to.height; ++i)
    BlendColumnsPlain(from, to.Row(i), taps, static_cast<int>(i), vectorBytes, rowBytes,
                      sums.data());
}

}  // namespace host::imaging
