#include "host/imaging/Pixels.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "sdk/ComPtr.h"

namespace host::imaging {

HRESULT ReadSurface(ICIF* picture, Surface* out) {
  if (picture == nullptr) return E_INVALIDARG;
  Surface s;
  unsigned planes = 0;
  int formatC = 0;
  if (Failed(picture->GetSize(&s.width, &s.height, &planes)) ||
      Failed(picture->GetFormat(&s.bits, &s.format, &formatC)) || !SupportedBits(s.bits))
    return E_INVALIDARG;
  if (!s.Empty()) {
    int rowBytes = 0, stride = 0;
    if (Failed(picture->GetPlaneLines(0, &rowBytes, &s.first, &stride)) || s.first == nullptr ||
        static_cast<std::size_t>(std::abs(static_cast<long long>(stride))) < s.RowBytes())
      return E_INVALIDARG;
    s.stride = stride;
  }
  *out = s;
  return S_OK;
}

namespace {

// The byte range [low, high) that a surface's meaningful bytes lie within.
void Extent(const Surface& s, const unsigned char** low, const unsigned char** high) {
  const unsigned char* a = s.Row(0);
  const unsigned char* b = s.Row(s.height - 1);
  *low = std::min(a, b);
  *high = std::max(a, b) + s.RowBytes();
}

void Same8(const unsigned char* f, unsigned char* t, std::size_t n) {
  std::memcpy(t, f, n);
}
void Same24(const unsigned char* f, unsigned char* t, std::size_t n) {
  std::memcpy(t, f, n * 3);
}
void Same32(const unsigned char* f, unsigned char* t, std::size_t n) {
  std::memcpy(t, f, n * 4);
}

unsigned char Grey(const unsigned char* p) {
  return static_cast<unsigned char>((77 * p[0] + 150 * p[1] + 29 * p[2]) >> 8);
}

template <int From>
void ToGrey(const unsigned char* f, unsigned char* t, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) t[i] = Grey(f + i * From);
}

template <int To>
void FromGrey(const unsigned char* f, unsigned char* t, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    t[i * To] = t[i * To + 1] = t[i * To + 2] = f[i];
    if constexpr (To == 4) t[i * 4 + 3] = 255;
  }
}

void RGBToRGBA(const unsigned char* f, unsigned char* t, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    t[i * 4] = f[i * 3];
    t[i * 4 + 1] = f[i * 3 + 1];
    t[i * 4 + 2] = f[i * 3 + 2];
    t[i * 4 + 3] = 255;
  }
}

void RGBAToRGB(const unsigned char* f, unsigned char* t, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    t[i * 3] = f[i * 4];
    t[i * 3 + 1] = f[i * 4 + 1];
    t[i * 3 + 2] = f[i * 4 + 2];
  }
}

}  // namespace

bool Overlaps(const Surface& a, const Surface& b) {
  if (a.Empty() || b.Empty()) return false;
  const unsigned char *aLow, *aHigh, *bLow, *bHigh;
  Extent(a, &aLow, &aHigh);
  Extent(b, &bLow, &bHigh);
  return aLow < bHigh && bLow < aHigh;
}

RowConverter ConverterFor(int fromBits, int toBits) {
  switch (fromBits * 100 + toBits) {
    case 808:
      return Same8;
    case 824:
      return FromGrey<3>;
    case 832:
      return FromGrey<4>;
    case 2408:
      return ToGrey<3>;
    case 2424:
      return Same24;
    case 2432:
      return RGBToRGBA;
    case 3208:
      return ToGrey<4>;
    case 3224:
      return RGBAToRGB;
    case 3232:
      return Same32;
    default:
      return nullptr;
  }
}

Picture* OwnerOf(ICIF* picture, int* x, int* y) {
  *x = *y = 0;
  if (picture == nullptr) return nullptr;
  ComPtr<IImagingPixels> own;
  if (Failed(picture->QueryInterface(IImagingPixels::kIID, own.PutVoid())) || !own) return nullptr;
  return own->Owner(x, y);
}

}  // namespace host::imaging
