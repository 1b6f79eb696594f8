// What a frame that computes its own pixels starts with: the two pictures' sizes and formats,
// `from` at to's size, a result picture of to's size and format, and row access to planes.
#pragma once

#include <cstddef>

#include "frame/Com.h"
#include "sdk/ComPtr.h"

// Sizes and formats of a transition's two pictures, read in the frame's order: from's format,
// then to's (both write the format code and third value, so to's are the ones kept), then
// from's size and to's.
struct TransitionShape {
  int fromBits = 0, toBits = 0, format = 0, formatC = 0;
  unsigned fromWidth = 0, fromHeight = 0, fromPlanes = 0;
  unsigned width = 0, height = 0, planes = 0;
  bool SizesDiffer() const { return fromWidth != width || fromHeight != height; }
};
TransitionShape ReadTransitionShape(ICIF* from, ICIF* to);

// The two pictures' sizes alone, from's read first, then to's (the geometric effects read no
// format, and only to's size counts for most of them).
struct PictureSizes {
  unsigned fromWidth = 0, fromHeight = 0, width = 0, height = 0;
};
PictureSizes ReadSizes(ICIF* from, ICIF* to);

// The pictures of one frame: the shape, and `from` itself or, after MatchSizes, its copy
// resampled to to's size.
struct FramePictures {
  FramePictures(ICIF* from, ICIF* to) : shape(ReadTransitionShape(from, to)), from(from) {}
  // When the sizes differ, resamples `from` to to's size through a "CIFTransform" (constants 0
  // and 1) and uses the copy. False when the host gave no copy: `from` stays the original.
  bool MatchSizes();

  TransitionShape shape;
  ICIF* from;  // borrowed: the caller's picture or `resampled`
  ComPtr<ICIF> resampled;
};

// `picture` (a new "CIFImageCANVAS", "CIFImageDIB" or "CIFImage", adopted) created with to's size
// and format; empty when the host gave no picture.
template <class Picture>
ComPtr<ICIF> CreateResult(Picture* picture, const TransitionShape& shape) {
  if (picture == nullptr) return {};
  picture->Create(shape.width, shape.height, 1, shape.toBits, shape.format);
  return ComPtr<ICIF>::Adopt(picture);
}

// Row access to one plane of a picture.
struct PlaneRows {
  unsigned char* first = nullptr;
  int stride = 0;
  unsigned char* Row(unsigned y) const { return first + static_cast<std::ptrdiff_t>(y) * stride; }
};
PlaneRows GetPlaneRows(ICIF* picture, unsigned plane);
