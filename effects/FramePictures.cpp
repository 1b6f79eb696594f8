#include "effects/FramePictures.h"

#include "effects/HostComponents.h"

TransitionShape ReadTransitionShape(ICIF* from, ICIF* to) {
  TransitionShape shape;
  from->GetFormat(&shape.fromBits, &shape.format, &shape.formatC);
  to->GetFormat(&shape.toBits, &shape.format, &shape.formatC);
  from->GetSize(&shape.fromWidth, &shape.fromHeight, &shape.fromPlanes);
  to->GetSize(&shape.width, &shape.height, &shape.planes);
  return shape;
}

PictureSizes ReadSizes(ICIF* from, ICIF* to) {
  PictureSizes sizes;
  unsigned planes = 0;
  from->GetSize(&sizes.fromWidth, &sizes.fromHeight, &planes);
  to->GetSize(&sizes.width, &sizes.height, &planes);
  return sizes;
}

bool FramePictures::MatchSizes() {
  if (!shape.SizesDiffer()) return true;
  if (auto transform = ComPtr<ICIFTransform>::Adopt(CIFObject::CreateTransform()))
    transform->Resize(from, resampled.Put(), shape.width, shape.height, 0, 1);
  if (!resampled) return false;
  from = resampled.Get();
  return true;
}

PlaneRows GetPlaneRows(ICIF* picture, unsigned plane) {
  PlaneRows rows;
  int info = 0;
  picture->GetPlaneLines(plane, &info, &rows.first, &rows.stride);
  return rows;
}
