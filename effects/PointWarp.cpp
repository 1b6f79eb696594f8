#include "effects/PointWarp.h"

#include "effects/HostComponents.h"

namespace {

ComPtr<IPointsCollection> PointsOf(const SixPoints& points) {
  auto collection = ComPtr<IPointsCollection>::Adopt(GEOObject::CreatePointsCollection());
  if (collection)
    for (const PlanePoint& point : points) collection->Add(point.x, point.y, 0);
  return collection;
}

}  // namespace

void WarpOntoPoints(const Drawing& draw, ICIF* moving, ICIF* canvas, const SixPoints& points,
                    const SixPoints& targets) {
  auto fit = ComPtr<ITransformBestFit>::Adopt(GEOObject::CreateBestFit());
  ComPtr<ITransform> transform = fit ? fit.As<ITransform>() : nullptr;
  const ComPtr<IPointsCollection> from = PointsOf(points), to = PointsOf(targets);
  if (fit) fit->Fit(from.Get(), to.Get(), 0);
  draw.Warp(transform.Get(), moving, canvas);
  draw.Finish(canvas);
}
