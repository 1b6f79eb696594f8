// "CIFMaths": clearing, copying and pasting pictures.
#pragma once

#include "host/common/HostObject.h"
#include "host/imaging/Pixels.h"

namespace host::imaging {

// Masks (the third argument of Paste and the second of Clear) select the pixels to write:
// - null: every pixel;
// - the destination itself: the pixels not drawn (by Warp or Paste) since the destination was
//   cleared, so a black pixel that was drawn still counts as drawn. When the destination keeps no
//   record (it was never cleared, or was replaced wholesale since), pixels whose bytes are all 0
//   count as not drawn;
// - any other picture, aligned with the destination's (0, 0): the pixels where the mask has a
//   non-zero byte; nothing outside the mask.
class PictureMaths final : public HostObject<PictureMaths, ICIFMaths> {
 public:
  // Sets every byte of the selected pixels to 0. Clearing a whole picture of this module starts
  // its record of drawn pixels afresh.
  HRESULT Clear(ICIF* picture, ICIF* mask, int reserved) override;
  // Draws source with its top-left corner at (x, y), clipped at the destination's border,
  // converting the pixel depth when the two differ (see ConverterFor).
  HRESULT Paste(ICIF* destination, ICIF* source, ICIF* mask, int x, int y) override;
  HRESULT Reserved5() override { return E_NOTIMPL; }
  HRESULT Reserved6() override { return E_NOTIMPL; }
  HRESULT Reserved7() override { return E_NOTIMPL; }
  // A new picture of this module equal to source (size, format and pixels).
  HRESULT Copy(ICIF** out, ICIF* source, int reserved1, int reserved2) override;
};

}  // namespace host::imaging
