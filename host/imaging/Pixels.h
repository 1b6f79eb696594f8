// Row access to any picture, pixel format conversion of rows, and the private interface by which
// this module recognises its own pictures.
#pragma once

#include <cstddef>

#include "sdk/Imaging.h"

namespace host::imaging {

class Picture;

// Plane 0 of a picture: row y starts at first + y * stride (the stride may be negative).
struct Surface {
  unsigned width = 0, height = 0;
  int bits = 0, format = 0;
  unsigned char* first = nullptr;
  std::ptrdiff_t stride = 0;

  int Channels() const { return bits / 8; }
  std::size_t RowBytes() const { return std::size_t{width} * static_cast<unsigned>(bits / 8); }
  bool Empty() const { return width == 0 || height == 0; }
  unsigned char* Row(unsigned y) const { return first + static_cast<std::ptrdiff_t>(y) * stride; }
  unsigned char* At(unsigned x, unsigned y) const {
    return Row(y) + std::size_t{x} * static_cast<unsigned>(bits / 8);
  }
};

inline bool SupportedBits(int bits) {
  return bits == 8 || bits == 24 || bits == 32;
}

// Reads size, format and rows of plane 0 through the picture's interface. Fails with
// E_INVALIDARG for a null picture, a depth other than 8, 24 or 32 bits, or missing rows.
HRESULT ReadSurface(ICIF* picture, Surface* out);

// Whether the bytes of two surfaces' rows may overlap.
bool Overlaps(const Surface& a, const Surface& b);

// Converts `pixels` pixels of one depth to another: grey is replicated into R, G, B; colour
// becomes grey as (77 R + 150 G + 29 B) / 256; an added alpha byte is 255; a dropped one is lost.
using RowConverter = void (*)(const unsigned char* from, unsigned char* to, std::size_t pixels);
RowConverter ConverterFor(int fromBits, int toBits);

// Answered only by this module's pictures and sub-pictures.
struct IImagingPixels : IUnknown {
  static constexpr IID kIID = IIDFromName("IKeloImagingOwnPixels");
  // The picture that owns the pixels and the place of this object's (0, 0) in it; null when the
  // pixels belong to a picture of another module.
  virtual Picture* Owner(int* x, int* y) = 0;  // 3

 protected:
  ~IImagingPixels() = default;
};

// The owning picture of `picture` when it is one of ours (borrowed: valid while `picture` is).
Picture* OwnerOf(ICIF* picture, int* x, int* y);

}  // namespace host::imaging
