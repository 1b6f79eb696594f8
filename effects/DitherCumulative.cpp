// "DitherCumulativeTransition": the dither pattern kept between frames and changed only by the
// progress made since the last change.
#include <cmath>

#include "effects/Dither.h"
#include "effects/TransitionHelper.h"

CDitherCumulative::~CDitherCumulative() = default;

HRESULT CDitherCumulative::Uninitialize() {
  mask = {};
  lastProgress = 0.0;
  return S_OK;
}

HRESULT CDitherCumulative::DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) {
  static CRandom32 prng(0);
  if (from == nullptr || to == nullptr || out == nullptr) return E_INVALIDARG;
  unsigned width = 0, height = 0, planes = 0;
  to->GetSize(&width, &height, &planes);
  if (mask.picture && (pattern.Width() != width || pattern.Height() != height)) Uninitialize();

  if (!mask.picture) {
    mask = CreateMask(width, height);
    if (!mask.picture) return E_FAIL;
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

  pattern.Render(mask.rows.first, mask.rows.stride);  // only the rows whose cells changed
  return CTransitionHelper::ApplyMask(from, to, mask.picture.Get(), out);
}
