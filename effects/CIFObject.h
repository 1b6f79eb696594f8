// The transition contract's helpers: new host pictures and host components by name.
#pragma once

#include <cstdint>

#include "frame/Com.h"
#include "frame/Loader.h"

// New host pictures (one reference for the caller), or null. Each accessor keeps the
// component string of its host component from first use until unload.
class CIFObject {
 public:
  static ICIFImageCANVAS* CreateImageCANVAS();
  static ICIFImage* CreateImage();
  static ICIFImageDIB* CreateImageDIB();
  static ICIFSubImage* CreateSubImage();
};

// Host components made afresh by name through the global collection for one use.
inline ICIFTransform* CreateTransformComponent() {
  return CreateObjectByName<ICIFTransform>("CIFTransform", IID_ICIFTransform);
}
inline ICIFMaths* CreateMathsComponent() {
  return CreateObjectByName<ICIFMaths>("CIFMaths", IID_ICIFMaths);
}

// Row access to one plane of a picture.
struct PlaneRows {
  unsigned char* first = nullptr;
  int stride = 0;
  unsigned char* Row(unsigned y) const { return first + static_cast<std::ptrdiff_t>(y) * stride; }
};
inline PlaneRows GetPlaneRows(ICIF* picture, unsigned plane) {
  PlaneRows rows;
  int info = 0;
  picture->GetPlaneLines(plane, &info, &rows.first, &rows.stride);
  return rows;
}

// A truncating conversion to 32 bits as the processor makes it: values that do not fit (and
// NaN) give INT32_MIN instead of undefined behaviour.
inline std::int32_t TruncInt(double value) {
  if (!(value > -2147483649.0 && value < 2147483648.0)) return INT32_MIN;
  return static_cast<std::int32_t>(value);
}

// Sizes and formats of a transition's two pictures, read in the frame's order: from's format,
// then to's (both write the format code and third value, so to's are the ones kept), then
// from's size and to's.
struct TransitionShape {
  int fromBits = 0, toBits = 0, format = 0, formatC = 0;
  unsigned fromWidth = 0, fromHeight = 0, fromPlanes = 0;
  unsigned width = 0, height = 0, planes = 0;
  bool SizesDiffer() const { return fromWidth != width || fromHeight != height; }
};
inline TransitionShape ReadTransitionShape(ICIF* from, ICIF* to) {
  TransitionShape shape;
  from->GetFormat(&shape.fromBits, &shape.format, &shape.formatC);
  to->GetFormat(&shape.toBits, &shape.format, &shape.formatC);
  from->GetSize(&shape.fromWidth, &shape.fromHeight, &shape.fromPlanes);
  to->GetSize(&shape.width, &shape.height, &shape.planes);
  return shape;
}

// `from` resampled to width x height through a "CIFTransform" made for the one call
// (constants 0 and 1), or null when the host gives nothing.
ICIF* ResampleTo(ICIF* from, unsigned width, unsigned height);
