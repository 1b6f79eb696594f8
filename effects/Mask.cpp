#include "effects/Mask.h"

#include "effects/HostComponents.h"
#include "effects/TransitionHelper.h"

Mask CreateMask(unsigned width, unsigned height) {
  Mask mask{ComPtr<ICIFImage>::Adopt(CIFObject::CreateImage()), {}};
  if (!mask.picture) return {};
  mask.picture->Create(width, height, 1, 8, kFormatMono);
  unsigned maskWidth = 0, maskHeight = 0, maskPlanes = 0;
  mask.picture->GetSize(&maskWidth, &maskHeight, &maskPlanes);
  mask.rows = GetPlaneRows(mask.picture.Get(), 0);
  if (maskWidth != width || maskHeight != height ||
      (mask.rows.first == nullptr && width > 0 && height > 0))
    return {};
  return mask;
}

HRESULT ApplyMaskAndFinish(ICIF* from, ICIF* to, const Mask& mask, ICIF** out) {
  const HRESULT hr = CTransitionHelper::ApplyMask(from, to, mask.picture.Get(), out);
  if (hr >= 0)
    if (auto transform = ComPtr<ICIFTransform>::Adopt(CIFObject::CreateTransform()))
      transform->Finish(*out);
  return hr;
}
