#include "frei0r/Frames.h"

#include <cstring>

namespace kelo::frei0r {

void CopyIn(const std::uint32_t* frame, const PixelView& picture) {
  const std::size_t row = std::size_t{picture.width} * 4;
  const auto* source = reinterpret_cast<const unsigned char*>(frame);
  for (unsigned y = 0; y < picture.height; ++y) std::memcpy(picture.Row(y), source + y * row, row);
}

bool CopyOut(const PixelView& picture, unsigned width, unsigned height, std::uint32_t* frame) {
  if (picture.width != width || picture.height != height || picture.first == nullptr) return false;
  auto* target = reinterpret_cast<unsigned char*>(frame);
  const std::size_t row = std::size_t{width} * 4;
  if (picture.bitsPerPixel == 32 && picture.format == kFormatRGBA) {
    // The frames leave opaque, as kelo's pictures are: the effects carry alpha along with the
    // colours but clear uncovered parts to 0 and blend it like a colour, which would let the
    // tracks below show through a mix.
    for (unsigned y = 0; y < height; ++y) {
      const unsigned char* in = picture.Row(y);
      unsigned char* out = target + y * row;
      std::memcpy(out, in, row);
      for (std::size_t x = 3; x < row; x += 4) out[x] = 255;
    }
    return true;
  }
  if (picture.bitsPerPixel != 24 || picture.format != kFormatRGB) return false;
  for (unsigned y = 0; y < height; ++y) {
    const unsigned char* in = picture.Row(y);
    unsigned char* out = target + y * row;
    for (unsigned x = 0; x < width; ++x, in += 3, out += 4) {
      out[0] = in[0], out[1] = in[1], out[2] = in[2];
      out[3] = 255;
    }
  }
  return true;
}

bool SliceDetector::Sliced(const void* from, const void* to, const void* out) {
  const char* frames[3] = {static_cast<const char*>(from), static_cast<const char*>(to),
                           static_cast<const char*>(out)};
  const std::ptrdiff_t shift = frames[0] - last_[0];
  bool sameShift = last_[0] != nullptr && shift != 0 && shift % band_ == 0 &&
                   shift / band_ >= -64 && shift / band_ <= 64;
  for (int i = 1; i < 3 && sameShift; ++i) sameShift = frames[i] - last_[i] == shift;
  for (int i = 0; i < 3; ++i) last_[i] = frames[i];
  sliced_ = sliced_ || sameShift;
  return sliced_;
}

}  // namespace kelo::frei0r
