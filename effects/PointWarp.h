// The geometric effects' shared steps: the host fits a transform that maps six points of the
// picture onto six targets, and its picture transform draws the moving picture through it.
#pragma once

#include <array>

#include "effects/Drawing.h"

struct PlanePoint {
  double x, y;
};
using SixPoints = std::array<PlanePoint, 6>;

// Makes a "TransformBestFit" (and its ITransform) and two points collections, adds `points` and
// then `targets` (z = 0, in order), fits them (option 0), warps `moving` onto `canvas` through
// the fitted transform (offset 0, 0, scale 1, 1) and finishes the canvas. Host results are not
// examined: a missing component draws nothing.
void WarpOntoPoints(const Drawing& draw, ICIF* moving, ICIF* canvas, const SixPoints& points,
                    const SixPoints& targets);
