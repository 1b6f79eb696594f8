#include "effects/BlendFrame.h"

#include <algorithm>
#include <cmath>

#include "effects/CIFObject.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

WeightTable::WeightTable(double weight) {
  for (int i = 0; i < 256; ++i) {
    const double product = i * weight;
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

// A table that equals (i * multiplier) >> 16 + (i & identityMask) for every i lets the byte
// loop run on 16-bit vector lanes instead of table look-ups; the result is the same table value.
struct VectorWeight {
  bool exact = false;
  std::uint16_t multiplier = 0;
  std::uint16_t identityMask = 0;
};

VectorWeight FindVectorWeight(const WeightTable& table) {
  VectorWeight v;
  bool identity = true;
  for (int i = 0; i < 256; ++i) identity = identity && table.entry[i] == i;
  if (identity) {
    v.exact = true;
    v.identityMask = 0xFFFF;
    return v;
  }
  // Multipliers M with floor(i * M / 65536) == entry[i] form an interval for each i; intersect.
  std::int64_t low = 0, high = 65535;
  for (int i = 1; i < 256; ++i) {
    const std::int64_t t = table.entry[i];
    low = std::max(low, (t * 65536 + i - 1) / i);
    high = std::min(high, ((t + 1) * 65536 - 1) / i);
  }
  if (table.entry[0] != 0 || low > high) return v;
  v.multiplier = static_cast<std::uint16_t>(low);
  for (int i = 0; i < 256; ++i)
    if (((i * static_cast<unsigned>(v.multiplier)) >> 16) != table.entry[i]) return v;
  v.exact = true;
  return v;
}

}  // namespace

void BlendBytes(const WeightTable& fromTable, const WeightTable& toTable, BlendSum sum,
                const unsigned char* from, const unsigned char* to, unsigned char* out,
                std::size_t count) {
  std::size_t x = 0;
#if defined(__SSE2__)
  const VectorWeight vf = FindVectorWeight(fromTable);
  const VectorWeight vt = FindVectorWeight(toTable);
  if (vf.exact && vt.exact) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i mf = _mm_set1_epi16(static_cast<short>(vf.multiplier));
    const __m128i idf = _mm_set1_epi16(static_cast<short>(vf.identityMask));
    const __m128i mt = _mm_set1_epi16(static_cast<short>(vt.multiplier));
    const __m128i idt = _mm_set1_epi16(static_cast<short>(vt.identityMask));
    auto weigh = [](__m128i v16, __m128i m, __m128i id) {
      return _mm_add_epi16(_mm_mulhi_epu16(v16, m), _mm_and_si128(v16, id));
    };
    for (; x + 16 <= count; x += 16) {
      const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + x));
      const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(to + x));
      const __m128i fa = _mm_packus_epi16(weigh(_mm_unpacklo_epi8(a, zero), mf, idf),
                                          weigh(_mm_unpackhi_epi8(a, zero), mf, idf));
      const __m128i fb = _mm_packus_epi16(weigh(_mm_unpacklo_epi8(b, zero), mt, idt),
                                          weigh(_mm_unpackhi_epi8(b, zero), mt, idt));
      const __m128i r = sum == BlendSum::kWrap ? _mm_add_epi8(fa, fb) : _mm_adds_epu8(fa, fb);
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out + x), r);
    }
  }
#endif
  for (; x < count; ++x) out[x] = Combine(fromTable.entry[from[x]], toTable.entry[to[x]], sum);
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
      const std::size_t rowBytes = static_cast<std::size_t>(width) * static_cast<unsigned>(toBits) / 8;
      for (unsigned y = 0; y < height; ++y)
        BlendBytes(fromTable, toTable, sum, f.Row(y), t.Row(y), r.Row(y), rowBytes);
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
