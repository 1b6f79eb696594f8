// "DitherCumulativeTransition": the dither pattern kept between frames and changed only by the
// progress made since the last change.
#include <cmath>

#include "effects/CIFObject.h"
#include "effects/Dither.h"
#include "effects/TransitionHelper.h"

template <>
const tagREFString IObjectInfoImpl<CDitherCumulative>::m_ObjectName =
    RefLiteral(L"DitherCumulativeTransition");

CDitherCumulative::~CDitherCumulative() {
  if (mask != nullptr) mask->Release();
}

HRESULT CDitherCumulative::Uninitialize() {
  if (mask != nullptr) mask->Release();
  mask = nullptr;
  lastProgress = 0.0;
  return S_OK;
}

HRESULT CDitherCumulative::DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) {
  static CRandom32 prng(0);
  if (from == nullptr || to == nullptr || out == nullptr) return E_INVALIDARG;
  unsigned width = 0, height = 0, planes = 0;
  to->GetSize(&width, &height, &planes);
  if (mask != nullptr && (pattern.Width() != width || pattern.Height() != height)) Uninitialize();

  if (mask == nullptr) {
    ICIFImage* created = CIFObject::CreateImage();
    if (created == nullptr) return E_FAIL;
    created->Create(width, height, 1, 8, kFormatMono);
    unsigned maskWidth = 0, maskHeight = 0, maskPlanes = 0;
    created->GetSize(&maskWidth, &maskHeight, &maskPlanes);
    if (maskWidth != width || maskHeight != height) {
      created->Release();
      return E_FAIL;
    }
    mask = created;
    // A run that starts past the middle starts from the fuller side.
    lastProgress = progress > 0.5 ? 1.0 : 0.0;
    pattern.Reset(width, height, progress > 0.5 ? 255 : 0);
  }

  double step = progress - lastProgress;
  std::uint8_t target = 255;
  if (!(step > 0)) {
    target = 0;
    step = std::fabs(step);
  }
  // Smaller steps leave mask and lastProgress alone, so slow progress accumulates. The count is
  // of changes, not of the resulting share, so the share follows progress only roughly.
  if (step > 0.005) {
    lastProgress = progress;
    pattern.SetCells(prng, DitherCellCount(step), target);
  }

  const PlaneRows rows = GetPlaneRows(mask, 0);
  if (rows.first == nullptr && width > 0 && height > 0) {
    Uninitialize();
    return E_FAIL;
  }
  pattern.Render(rows.first, rows.stride);  // only the rows whose cells changed
  return CTransitionHelper::ApplyMask(from, to, mask, out);
}
