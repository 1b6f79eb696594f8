// The module's mask compositor, shared by the dither and shutter effects.
#pragma once

#include "frame/Com.h"

class CTransitionHelper {
 public:
  // A new picture in *out (one reference for the caller) with to's size and format: each pixel
  // from `to` where the 8-bit mask byte is non-zero, else from `from` (resampled to to's size
  // first when the sizes differ). Pixel sizes (from, to): 8/8, 24/24, 32/32, 32/24 (from's fourth
  // byte dropped) and 24/32 (the fourth output byte 255); any other pair leaves the output as
  // created. E_INVALIDARG for a null argument or a mask smaller than to, E_FAIL when the host
  // gives no picture.
  static HRESULT ApplyMask(ICIF* from, ICIF* to, ICIF* mask, ICIF** out);
};
