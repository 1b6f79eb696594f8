#include "effects/BlendFrame.h"

#include <algorithm>
#include <cmath>

#include "effects/FramePictures.h"
#include "effects/HostComponents.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

WeightTable::WeightTable(double w) : weight(w) {
  for (int i = 0; i < 256; ++i) {
    const double product = i * w;
    // Products at or beyond 2^63 cannot be truncated to an integer; they give 0 like NaN.
    std::uint64_t whole = 0;
    if (product > 0 && product < 9.2233720368547758e18) whole = static_cast<std::uint64_t>(product);
    entry[i] = static_cast<std::uint16_t>(whole % 256);
  }
}

namespace {

unsigned Combine(unsigned a, unsigned b, BlendSum sum) {
  return sum == BlendSum::kWrap ? (a + b) & 0xFF : std::min(255u, a + b);
}

}  // namespace

// A table that equals (i * M) >> 24 for every i, with M up to 2^24 (the identity is M = 2^24),
// lets the rows run on 16-bit vector lanes instead of table look-ups; the bytes are the same.
// With M = high * 65536 + low: (i * M) >> 24 == (i * high + ((i * low) >> 16)) >> 8, and every
// intermediate fits in 16 bits for i < 256 and high <= 256. Products that rounded onto an integer
// (progress k/30, say) make a table no single M gives; the few entries that differ by one are
// corrected lane by lane.
BlendRows::VectorWeight BlendRows::FindVectorWeight(const WeightTable& table) {
  constexpr std::int64_t kOne = std::int64_t{1} << 24;
  VectorWeight best;
  int fewest = VectorWeight::kMaxCorrections + 1;
  // Weights outside 0..1 wrap or vanish: those tables stay with the look-ups.
  if (!(table.weight >= 0 && table.weight <= 1)) return best;
  const auto centre = static_cast<std::int64_t>(table.weight * kOne);
  for (std::int64_t m = centre - 2; m <= centre + 2; ++m) {
    if (m < 0 || m > kOne) continue;
    VectorWeight v;
    bool fits = true;
    for (int i = 0; i < 256 && fits; ++i) {
      const int difference = table.entry[i] - static_cast<int>((i * m) >> 24);
      if (difference == 0) continue;
      fits = (difference == 1 || difference == -1) && v.corrections < VectorWeight::kMaxCorrections;
      if (fits) {
        v.correctedValue[v.corrections] = static_cast<std::uint8_t>(i);
        v.correction[v.corrections++] = static_cast<std::int8_t>(difference);
      }
    }
    if (fits && v.corrections < fewest) {
      fewest = v.corrections;
      best = v;
      best.exact = true;
      best.high = static_cast<std::uint16_t>(m >> 16);
      best.low = static_cast<std::uint16_t>(m & 0xFFFF);
      if (fewest == 0) break;
    }
  }
  return best;
}

BlendRows::BlendRows(const WeightTable& fromTable, const WeightTable& toTable, BlendSum sum)
    : fromTable_(fromTable),
      toTable_(toTable),
      sum_(sum),
      fromVector_(FindVectorWeight(fromTable)),
      toVector_(FindVectorWeight(toTable)),
      fromLanes_(LanesOf(fromVector_)),
      toLanes_(LanesOf(toVector_)) {}

#if defined(__x86_64__)
namespace {

__attribute__((target("avx2"))) inline __m256i WeighAVX2(__m256i v16, __m256i high, __m256i low,
                                                         const BlendRows::Lanes& w) {
  __m256i r = _mm256_srli_epi16(
      _mm256_add_epi16(_mm256_mullo_epi16(v16, high), _mm256_mulhi_epu16(v16, low)), 8);
  for (int c = 0; c < w.corrections; ++c) {
    const __m256i hit = _mm256_cmpeq_epi16(v16, _mm256_set1_epi16(w.value[c]));
    r = w.up[c] ? _mm256_sub_epi16(r, hit) : _mm256_add_epi16(r, hit);  // hit lanes are -1
  }
  return r;
}

// 32 bytes at a time where the processor has AVX2 (chosen at run time); the same arithmetic as
// the SSE2 loop below, lane for lane.
__attribute__((target("avx2"))) std::size_t BlendRowsAVX2(const unsigned char* from,
                                                          const unsigned char* to,
                                                          unsigned char* out, std::size_t count,
                                                          const BlendRows::Lanes& f,
                                                          const BlendRows::Lanes& t, bool wrap) {
  // Local copies: the output row could otherwise alias the weights and keep them from registers.
  const BlendRows::Lanes fl = f, tl = t;
  const __m256i zero = _mm256_setzero_si256();
  const __m256i fHigh = _mm256_set1_epi16(fl.high), fLow = _mm256_set1_epi16(fl.low);
  const __m256i tHigh = _mm256_set1_epi16(tl.high), tLow = _mm256_set1_epi16(tl.low);
  std::size_t x = 0;
  for (; x + 32 <= count; x += 32) {
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from + x));
    const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(to + x));
    // unpack and pack both work within 128-bit lanes, so the bytes come back in order.
    const __m256i fa =
        _mm256_packus_epi16(WeighAVX2(_mm256_unpacklo_epi8(a, zero), fHigh, fLow, fl),
                            WeighAVX2(_mm256_unpackhi_epi8(a, zero), fHigh, fLow, fl));
    const __m256i fb =
        _mm256_packus_epi16(WeighAVX2(_mm256_unpacklo_epi8(b, zero), tHigh, tLow, tl),
                            WeighAVX2(_mm256_unpackhi_epi8(b, zero), tHigh, tLow, tl));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + x),
                        wrap ? _mm256_add_epi8(fa, fb) : _mm256_adds_epu8(fa, fb));
  }
  return x;
}

const bool gHaveAVX2 = __builtin_cpu_supports("avx2");

}  // namespace
#endif

BlendRows::Lanes BlendRows::LanesOf(const VectorWeight& w) {
  Lanes lanes;
  lanes.high = static_cast<short>(w.high);
  lanes.low = static_cast<short>(w.low);
  lanes.corrections = w.corrections;
  for (int c = 0; c < w.corrections; ++c) {
    lanes.value[c] = w.correctedValue[c];
    lanes.up[c] = w.correction[c] > 0;
  }
  return lanes;
}

void BlendRows::operator()(const unsigned char* from, const unsigned char* to, unsigned char* out,
                           std::size_t count) const {
  std::size_t x = 0;
#if defined(__x86_64__)
  if (fromVector_.exact && toVector_.exact) {
    const bool wrap = sum_ == BlendSum::kWrap;
    if (gHaveAVX2) x = BlendRowsAVX2(from, to, out, count, fromLanes_, toLanes_, wrap);
    const Lanes fl = fromLanes_, tl = toLanes_;
    const __m128i zero = _mm_setzero_si128();
    const __m128i fHigh = _mm_set1_epi16(fl.high), fLow = _mm_set1_epi16(fl.low);
    const __m128i tHigh = _mm_set1_epi16(tl.high), tLow = _mm_set1_epi16(tl.low);
    auto weigh = [](__m128i v16, __m128i high, __m128i low, const Lanes& w) {
      __m128i r =
          _mm_srli_epi16(_mm_add_epi16(_mm_mullo_epi16(v16, high), _mm_mulhi_epu16(v16, low)), 8);
      for (int c = 0; c < w.corrections; ++c) {
        const __m128i hit = _mm_cmpeq_epi16(v16, _mm_set1_epi16(w.value[c]));
        r = w.up[c] ? _mm_sub_epi16(r, hit) : _mm_add_epi16(r, hit);  // hit lanes are -1
      }
      return r;
    };
    for (; x + 16 <= count; x += 16) {
      const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + x));
      const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(to + x));
      const __m128i fa = _mm_packus_epi16(weigh(_mm_unpacklo_epi8(a, zero), fHigh, fLow, fl),
                                          weigh(_mm_unpackhi_epi8(a, zero), fHigh, fLow, fl));
      const __m128i fb = _mm_packus_epi16(weigh(_mm_unpacklo_epi8(b, zero), tHigh, tLow, tl),
                                          weigh(_mm_unpackhi_epi8(b, zero), tHigh, tLow, tl));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out + x),
                       wrap ? _mm_add_epi8(fa, fb) : _mm_adds_epu8(fa, fb));
    }
  }
#endif
  for (; x < count; ++x) out[x] = Combine(fromTable_.entry[from[x]], toTable_.entry[to[x]], sum_);
}

HRESULT BlendTransition(ICIF* from, ICIF* to, ICIF** out, double fromWeight, double toWeight,
                        BlendSum sum) {
  FramePictures pictures(from, to);
  pictures.MatchSizes();  // without a resampled copy the frame goes on with `from` as it is
  from = pictures.from;
  const TransitionShape& shape = pictures.shape;
  const int fromBits = shape.fromBits, toBits = shape.toBits;
  const unsigned width = shape.width, height = shape.height, planes = shape.planes;
  ComPtr<ICIF> result = CreateResult(CIFObject::CreateImageCANVAS(), shape);
  if (!result) return E_FAIL;

  const WeightTable fromTable(fromWeight);
  const WeightTable toTable(toWeight);
  for (unsigned plane = 0; plane < planes; ++plane) {
    const PlaneRows r = GetPlaneRows(result.Get(), plane);
    const PlaneRows f = GetPlaneRows(from, plane);
    const PlaneRows t = GetPlaneRows(to, plane);
    if (r.first == nullptr || f.first == nullptr || t.first == nullptr) continue;
    if (fromBits == toBits) {
      const std::size_t rowBytes =
          static_cast<std::size_t>(width) * static_cast<unsigned>(toBits) / 8;
      const BlendRows blend(fromTable, toTable, sum);
      for (unsigned y = 0; y < height; ++y) blend(f.Row(y), t.Row(y), r.Row(y), rowBytes);
    } else if ((fromBits == 32 && toBits == 24) || (fromBits == 24 && toBits == 32)) {
      // Three colour bytes per pixel, stepping by each picture's own pixel size, except that
      // `to` is always read three bytes per pixel: with a 32-bit `to` only the first three
      // quarters of each of its rows take part. A fourth result byte is not written.
      const unsigned fromStep = static_cast<unsigned>(fromBits) / 8;
      const unsigned outStep = static_cast<unsigned>(toBits) / 8;
      for (unsigned y = 0; y < height; ++y) {
        const unsigned char* a = f.Row(y);
        const unsigned char* b = t.Row(y);
        unsigned char* o = r.Row(y);
        for (unsigned x = 0; x < width; ++x)
          for (unsigned c = 0; c < 3; ++c)
            o[outStep * x + c] =
                Combine(fromTable.entry[a[fromStep * x + c]], toTable.entry[b[3 * x + c]], sum);
      }
    }
    // Any other pair of formats: nothing is written; the canvas keeps its content.
  }

  *out = result.Detach();
  return S_OK;
}
