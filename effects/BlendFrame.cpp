#include "effects/BlendFrame.h"

#include <algorithm>
#include <cmath>

#include "effects/CIFObject.h"

#if defined(__SSE2__)
#include <emmintrin.h>
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
      toVector_(FindVectorWeight(toTable)) {}

void BlendRows::operator()(const unsigned char* from, const unsigned char* to, unsigned char* out,
                           std::size_t count) const {
  std::size_t x = 0;
#if defined(__SSE2__)
  if (fromVector_.exact && toVector_.exact) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i fh = _mm_set1_epi16(static_cast<short>(fromVector_.high));
    const __m128i fl = _mm_set1_epi16(static_cast<short>(fromVector_.low));
    const __m128i th = _mm_set1_epi16(static_cast<short>(toVector_.high));
    const __m128i tl = _mm_set1_epi16(static_cast<short>(toVector_.low));
    auto weigh = [](__m128i v16, __m128i high, __m128i low, const VectorWeight& w) {
      __m128i r =
          _mm_srli_epi16(_mm_add_epi16(_mm_mullo_epi16(v16, high), _mm_mulhi_epu16(v16, low)), 8);
      for (int c = 0; c < w.corrections; ++c) {
        const __m128i hit = _mm_cmpeq_epi16(v16, _mm_set1_epi16(w.correctedValue[c]));
        r = w.correction[c] > 0 ? _mm_sub_epi16(r, hit)
                                : _mm_add_epi16(r, hit);  // hit lanes are -1
      }
      return r;
    };
    const bool wrap = sum_ == BlendSum::kWrap;
    for (; x + 16 <= count; x += 16) {
      const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + x));
      const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(to + x));
      const __m128i fa = _mm_packus_epi16(weigh(_mm_unpacklo_epi8(a, zero), fh, fl, fromVector_),
                                          weigh(_mm_unpackhi_epi8(a, zero), fh, fl, fromVector_));
      const __m128i fb = _mm_packus_epi16(weigh(_mm_unpacklo_epi8(b, zero), th, tl, toVector_),
                                          weigh(_mm_unpackhi_epi8(b, zero), th, tl, toVector_));
      const __m128i r = wrap ? _mm_add_epi8(fa, fb) : _mm_adds_epu8(fa, fb);
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out + x), r);
    }
  }
#endif
  for (; x < count; ++x) out[x] = Combine(fromTable_.entry[from[x]], toTable_.entry[to[x]], sum_);
}

HRESULT BlendTransition(ICIF* from, ICIF* to, ICIF** out, double fromWeight, double toWeight,
                        BlendSum sum) {
  // Formats: both queries write the format code and third value; to's are the ones kept.
  int fromBits = 0, toBits = 0, format = 0, formatC = 0;
  from->GetFormat(&fromBits, &format, &formatC);
  to->GetFormat(&toBits, &format, &formatC);
  unsigned fromWidth = 0, fromHeight = 0, fromPlanes = 0;
  unsigned width = 0, height = 0, planes = 0;
  from->GetSize(&fromWidth, &fromHeight, &fromPlanes);
  to->GetSize(&width, &height, &planes);

  ICIF* resized = nullptr;
  if (fromWidth != width || fromHeight != height) {
    resized = ResampleTo(from, width, height);
    if (resized != nullptr) from = resized;
  }

  ICIFImageCANVAS* result = CIFObject::CreateImageCANVAS();
  if (result == nullptr) {
    if (resized != nullptr) resized->Release();
    return E_FAIL;
  }
  result->Create(width, height, 1, toBits, format);

  const WeightTable fromTable(fromWeight);
  const WeightTable toTable(toWeight);
  for (unsigned plane = 0; plane < planes; ++plane) {
    const PlaneRows r = GetPlaneRows(result, plane);
    const PlaneRows f = GetPlaneRows(from, plane);
    const PlaneRows t = GetPlaneRows(to, plane);
    if (r.first == nullptr || f.first == nullptr || t.first == nullptr) continue;
    if (fromBits == toBits) {
      const std::size_t rowBytes =
          static_cast<std::size_t>(width) * static_cast<unsigned>(toBits) / 8;
      const BlendRows blend(fromTable, toTable, sum);
      for (unsigned y = 0; y < height; ++y) blend(f.Row(y), t.Row(y), r.Row(y), rowBytes);
    } else if (fromBits == 32 && toBits == 24) {
      for (unsigned y = 0; y < height; ++y) {
        const unsigned char* a = f.Row(y);
        const unsigned char* b = t.Row(y);
        unsigned char* o = r.Row(y);
        for (unsigned x = 0; x < width; ++x)
          for (int c = 0; c < 3; ++c)
            o[3 * x + c] = Combine(fromTable.entry[a[4 * x + c]], toTable.entry[b[3 * x + c]], sum);
      }
    } else if (fromBits == 24 && toBits == 32) {
      // `to` is read three bytes per pixel although its pixels are four bytes wide, so only the
      // first three quarters of each to row take part; the fourth result byte is not written.
      for (unsigned y = 0; y < height; ++y) {
        const unsigned char* a = f.Row(y);
        const unsigned char* b = t.Row(y);
        unsigned char* o = r.Row(y);
        for (unsigned x = 0; x < width; ++x)
          for (int c = 0; c < 3; ++c)
            o[4 * x + c] = Combine(fromTable.entry[a[3 * x + c]], toTable.entry[b[3 * x + c]], sum);
      }
    }
    // Any other pair of formats: nothing is written; the canvas keeps its content.
  }

  *out = result;
  if (resized != nullptr) resized->Release();
  return S_OK;
}
