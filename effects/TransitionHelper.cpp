#include "effects/TransitionHelper.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "effects/FramePictures.h"
#include "effects/HostComponents.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

// For 8 mask bits (bit i set: pixel i comes from `from`), the 24 bytes of 8 three-byte pixels:
// 0xFF where the byte comes from `from`. Bytes in memory order, so word-wise use is endian-free.
constexpr auto kExpand24 = [] {
  std::array<std::array<unsigned char, 24>, 256> table{};
  for (unsigned bits = 0; bits < 256; ++bits)
    for (unsigned i = 0; i < 8; ++i)
      for (unsigned c = 0; c < 3; ++c) table[bits][3 * i + c] = (bits >> i & 1u) ? 0xFF : 0x00;
  return table;
}();

// Unaligned word access to pixel bytes.
template <class Word>
inline Word Load(const unsigned char* p) {
  Word v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
template <class Word>
inline void Store(unsigned char* p, Word v) {
  std::memcpy(p, &v, sizeof v);
}

// 0xFF for a mask byte that selects `to`, 0 for one that selects `from`.
inline unsigned char ToByte(unsigned char m) {
  return static_cast<unsigned char>(-(m != 0));
}

inline void Pixel3(unsigned char m, const unsigned char* from, const unsigned char* to,
                   unsigned char* out) {
  const unsigned char k = ToByte(m);
  for (int c = 0; c < 3; ++c)
    out[c] = static_cast<unsigned char>((to[c] & k) | (from[c] & static_cast<unsigned char>(~k)));
}

#if defined(__SSE2__)
// 0xFF in each lane whose mask byte is 0 (the pixel comes from `from`), for 16 mask bytes.
inline __m128i FromLanes(const unsigned char* mask) {
  return _mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(mask)),
                        _mm_setzero_si128());
}
// 16 output bytes: from's where `fromLanes` is 0xFF, to's elsewhere.
inline void Select16(__m128i fromLanes, const unsigned char* from, const unsigned char* to,
                     unsigned char* out) {
  const __m128i f = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
  const __m128i t = _mm_loadu_si128(reinterpret_cast<const __m128i*>(to));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out),
                   _mm_or_si128(_mm_and_si128(fromLanes, f), _mm_andnot_si128(fromLanes, t)));
}
#endif

// One row per pair of pixel sizes: n pixels, each from `to` where its mask byte is non-zero.
void MaskRow8(const unsigned char* mask, const unsigned char* from, const unsigned char* to,
              unsigned char* out, std::size_t n) {
  std::size_t x = 0;
#if defined(__SSE2__)
  for (; x + 16 <= n; x += 16) Select16(FromLanes(mask + x), from + x, to + x, out + x);
#endif
  for (; x < n; ++x) {
    const unsigned char k = ToByte(mask[x]);
    out[x] = static_cast<unsigned char>((to[x] & k) | (from[x] & static_cast<unsigned char>(~k)));
  }
}

void MaskRow32(const unsigned char* mask, const unsigned char* from, const unsigned char* to,
               unsigned char* out, std::size_t n) {
  std::size_t x = 0;
#if defined(__SSE2__)
  auto blend = [&](std::size_t byte, __m128i lanes) {
    Select16(lanes, from + byte, to + byte, out + byte);
  };
  for (; x + 16 <= n; x += 16) {
    const __m128i z = FromLanes(mask + x);
    const __m128i low = _mm_unpacklo_epi8(z, z);
    const __m128i high = _mm_unpackhi_epi8(z, z);
    blend(4 * x, _mm_unpacklo_epi16(low, low));
    blend(4 * x + 16, _mm_unpackhi_epi16(low, low));
    blend(4 * x + 32, _mm_unpacklo_epi16(high, high));
    blend(4 * x + 48, _mm_unpackhi_epi16(high, high));
  }
#endif
  for (; x < n; ++x) {
    const std::uint32_t k = mask[x] != 0 ? 0xFFFFFFFFu : 0u;
    Store(out + 4 * x,
          (Load<std::uint32_t>(to + 4 * x) & k) | (Load<std::uint32_t>(from + 4 * x) & ~k));
  }
}

void MaskRow24(const unsigned char* mask, const unsigned char* from, const unsigned char* to,
               unsigned char* out, std::size_t n) {
  std::size_t x = 0;
#if defined(__SSE2__)
  for (; x + 16 <= n; x += 16) {
    const unsigned bits = static_cast<unsigned>(_mm_movemask_epi8(FromLanes(mask + x)));
    const unsigned char* low = kExpand24[bits & 0xFF].data();
    const unsigned char* high = kExpand24[bits >> 8].data();
    const __m128i e[3] = {
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(low)),
        _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(low + 16)),
                           _mm_loadl_epi64(reinterpret_cast<const __m128i*>(high))),
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(high + 8))};
    for (int part = 0; part < 3; ++part) {
      const std::size_t byte = 3 * x + 16 * static_cast<std::size_t>(part);
      Select16(e[part], from + byte, to + byte, out + byte);
    }
  }
#endif
  for (; x + 8 <= n; x += 8) {
    unsigned bits = 0;
    for (unsigned i = 0; i < 8; ++i) bits |= static_cast<unsigned>(mask[x + i] == 0) << i;
    const unsigned char* e = kExpand24[bits].data();
    for (std::size_t word = 0; word < 24; word += 8) {
      const auto k = Load<std::uint64_t>(e + word);
      const std::size_t byte = 3 * x + word;
      Store(out + byte,
            (Load<std::uint64_t>(from + byte) & k) | (Load<std::uint64_t>(to + byte) & ~k));
    }
  }
  for (; x < n; ++x) Pixel3(mask[x], from + 3 * x, to + 3 * x, out + 3 * x);
}

void MaskRow32To24(const unsigned char* mask, const unsigned char* from, const unsigned char* to,
                   unsigned char* out, std::size_t n) {
  // Three bytes from `to` (3 per pixel) or the first three of from's four.
  for (std::size_t x = 0; x < n; ++x) Pixel3(mask[x], from + 4 * x, to + 3 * x, out + 3 * x);
}

void MaskRow24To32(const unsigned char* mask, const unsigned char* from, const unsigned char* to,
                   unsigned char* out, std::size_t n) {
  // Three bytes from `to` (4 per pixel) or from `from` (3 per pixel); the fourth is always 255.
  for (std::size_t x = 0; x < n; ++x) {
    Pixel3(mask[x], from + 3 * x, to + 4 * x, out + 4 * x);
    out[4 * x + 3] = 255;
  }
}

}  // namespace

HRESULT CTransitionHelper::ApplyMask(ICIF* from, ICIF* to, ICIF* mask, ICIF** out) {
  if (from == nullptr || to == nullptr || mask == nullptr || out == nullptr) return E_INVALIDARG;
  FramePictures pictures(from, to);
  const TransitionShape& shape = pictures.shape;
  unsigned maskWidth = 0, maskHeight = 0, maskPlanes = 0;
  mask->GetSize(&maskWidth, &maskHeight, &maskPlanes);
  if (maskWidth < shape.width || maskHeight < shape.height) return E_INVALIDARG;
  if (!pictures.MatchSizes()) return E_FAIL;
  from = pictures.from;
  const int fromBits = shape.fromBits, toBits = shape.toBits;
  const unsigned width = shape.width, height = shape.height, planes = shape.planes;
  ComPtr<ICIF> result = CreateResult(CIFObject::CreateImageDIB(), shape);
  if (!result) return E_FAIL;

  using RowFunction = void (*)(const unsigned char*, const unsigned char*, const unsigned char*,
                               unsigned char*, std::size_t);
  RowFunction row = nullptr;
  if (fromBits == 8 && toBits == 8) row = MaskRow8;
  if (fromBits == 24 && toBits == 24) row = MaskRow24;
  if (fromBits == 32 && toBits == 32) row = MaskRow32;
  if (fromBits == 32 && toBits == 24) row = MaskRow32To24;
  if (fromBits == 24 && toBits == 32) row = MaskRow24To32;
  // Any other pair: nothing is copied; the output stays as created.
  if (row != nullptr) {
    const PlaneRows m = GetPlaneRows(mask, 0);
    for (unsigned plane = 0; plane < planes && m.first != nullptr; ++plane) {
      const PlaneRows o = GetPlaneRows(result.Get(), plane);
      const PlaneRows f = GetPlaneRows(from, plane);
      const PlaneRows t = GetPlaneRows(to, plane);
      if (o.first == nullptr || f.first == nullptr || t.first == nullptr) continue;
      for (unsigned y = 0; y < height; ++y) row(m.Row(y), f.Row(y), t.Row(y), o.Row(y), width);
    }
  }

  *out = result.Detach();
  return S_OK;
}
