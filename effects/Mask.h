// The 8-bit masks ("MONO", one byte per pixel; 0 shows `from`, anything else `to`) that the
// dithers and shutter bands draw and CTransitionHelper::ApplyMask composes.
#pragma once

#include "effects/FramePictures.h"

struct Mask {
  ComPtr<ICIFImage> picture;
  PlaneRows rows;
};

// A new mask of width x height with its rows; empty when the host gave no picture, one of
// another size, or one without rows. Its bytes are unspecified until written.
Mask CreateMask(unsigned width, unsigned height);

// CTransitionHelper::ApplyMask of `from` and `to` through `mask` into *out, then the closing
// Finish of a "CIFTransform" on the result. ApplyMask's status.
HRESULT ApplyMaskAndFinish(ICIF* from, ICIF* to, const Mask& mask, ICIF** out);
