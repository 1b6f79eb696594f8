// What the band effects share: the size of one band.
#pragma once

#include <cmath>

#include "effects/Drawing.h"

// The lines of one of `bands` equal bands across `extent` lines: ceil(extent / bands), divided in
// single precision, so the last band is the short one (a negative count gives a negative size;
// no band is drawn then). 0 for a count of 0, which nothing divides by.
inline int BandSize(unsigned extent, int bands) {
  if (bands == 0) return 0;
  return TruncInt(std::ceil(static_cast<float>(extent) / static_cast<float>(bands)));
}
