// The frames a frei0r host hands over: copied into the host's pictures and back, and MLT's
// sliced calls told from whole frames.
#pragma once

#include <cstdint>

#include "app/Host.h"

namespace kelo::frei0r {

// A width x height RGBA frame (rows packed) into a picture of that size.
void CopyIn(const std::uint32_t* frame, const PixelView& picture);
// The effect's result into the frame, opaque; false for a picture of another size or format.
bool CopyOut(const PixelView& picture, unsigned width, unsigned height, std::uint32_t* frame);

// MLT's "threads=0" cuts a frame into bands and calls one instance, made at the band's size,
// from several threads at once, each band looking like a whole frame. A transition drawn band by
// band is wrong (each band would push or turn on its own), and the whole frame cannot be known
// from a band, so such calls are recognised and refused: bands of one frame lie back to back in
// the same three buffers, so all three frames of such a call sit a whole number of bands away
// from those of another. Not thread-safe: the caller serialises.
class SliceDetector {
 public:
  SliceDetector(unsigned width, unsigned height)
      : band_(static_cast<std::ptrdiff_t>(std::size_t{width} * height * 4)) {}
  // Whether the instance has been called with bands; remembers these frames.
  bool Sliced(const void* from, const void* to, const void* out);

 private:
  std::ptrdiff_t band_;
  const char* last_[3] = {};
  bool sliced_ = false;
};

}  // namespace kelo::frei0r
