// The geometric effects' shared steps: the host fits a transform that maps six points of the
// picture onto six targets, and its picture transform draws the moving picture through it.
#pragma once

#include <array>
#include <span>

#include "effects/Drawing.h"

struct PlanePoint {
  double x, y;
};
using SixPoints = std::array<PlanePoint, 6>;

// One fit: a "TransformBestFit" (and its ITransform) and two points collections, made when the
// fit is. Points go to the picture's collection and targets to the other (z = 0, in the order
// added), so an effect adds them in whatever order its frame asks for. Host results are not
// examined: a missing component draws nothing.
class PointFit {
 public:
  PointFit();
  void AddPoints(std::span<const PlanePoint> points) const;
  void AddTargets(std::span<const PlanePoint> targets) const;
  // Fits points onto targets (option 0), warps `moving` onto `canvas` through the fitted
  // transform (offset 0, 0, scale 1, 1) and finishes the canvas.
  void WarpAndFinish(const Drawing& draw, ICIF* moving, ICIF* canvas) const;

 private:
  ComPtr<ITransformBestFit> fit_;
  ComPtr<ITransform> transform_;
  ComPtr<IPointsCollection> points_, targets_;
};

// A fit of all six points, then all six targets, warping `moving` onto `canvas`.
void WarpOntoPoints(const Drawing& draw, ICIF* moving, ICIF* canvas, const SixPoints& points,
                    const SixPoints& targets);
