#include "effects/PointWarp.h"

#include "effects/HostComponents.h"

namespace {

void Add(IPointsCollection* collection, std::span<const PlanePoint> points) {
  if (collection != nullptr)
    for (const PlanePoint& point : points) collection->Add(point.x, point.y, 0);
}

}  // namespace

PointFit::PointFit()
    : fit_(ComPtr<ITransformBestFit>::Adopt(GEOObject::CreateBestFit())),
      transform_(fit_ ? fit_.As<ITransform>() : nullptr),
      points_(ComPtr<IPointsCollection>::Adopt(GEOObject::CreatePointsCollection())),
      targets_(ComPtr<IPointsCollection>::Adopt(GEOObject::CreatePointsCollection())) {}

void PointFit::AddPoints(std::span<const PlanePoint> points) const {
  Add(points_.Get(), points);
}

void PointFit::AddTargets(std::span<const PlanePoint> targets) const {
  Add(targets_.Get(), targets);
}

void PointFit::WarpAndFinish(const Drawing& draw, ICIF* moving, ICIF* canvas) const {
  if (fit_) fit_->Fit(points_.Get(), targets_.Get(), 0);
  draw.Warp(transform_.Get(), moving, canvas);
  draw.Finish(canvas);
}

void WarpOntoPoints(const Drawing& draw, ICIF* moving, ICIF* canvas, const SixPoints& points,
                    const SixPoints& targets) {
  const PointFit fit;
  fit.AddPoints(points);
  fit.AddTargets(targets);
  fit.WarpAndFinish(draw, moving, canvas);
}
