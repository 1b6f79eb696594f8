// "CIFTransform": resampling and warping of pictures.
#pragma once

#include "host/common/HostObject.h"
#include "host/imaging/Pixels.h"
#include "host/imaging/Resample.h"
#include "sdk/Geometry.h"

namespace host::imaging {

// Resize: a new picture of the source's depth and format; any size, 0 included, gives a valid
//   picture (an empty source gives black).
// Warp: each destination pixel whose centre the inverse of (offset * scale * transform) takes
//   inside the source is drawn by bilinear sampling (edges replicated); the others stay as
//   they were. A collapsed transform draws nothing and succeeds. Depths are converted as by
//   Paste, and drawn pixels are recorded for a later Paste with the destination as mask.
//   Sides up to 32000 pixels.
// Finish: the picture is complete; drops its record of drawn pixels. Pixels are not touched.
// ResizeInto: Resize and Paste in one, with no new picture in between when the depths agree; the
//   destination's pixels are recorded as drawn, as Paste records them.
class PictureTransform final : public HostObject<PictureTransform, ICIFTransform, IKeloResizeInto> {
 public:
  HRESULT Reserved3() override { return E_NOTIMPL; }
  HRESULT Reserved4() override { return E_NOTIMPL; }
  HRESULT Reserved5() override { return E_NOTIMPL; }
  HRESULT Reserved6() override { return E_NOTIMPL; }
  HRESULT Resize(ICIF* source, ICIF** out, unsigned width, unsigned height, int reserved1,
                 int reserved2) override;
  HRESULT Reserved8() override { return E_NOTIMPL; }
  HRESULT Reserved9() override { return E_NOTIMPL; }
  HRESULT Reserved10() override { return E_NOTIMPL; }
  HRESULT Reserved11() override { return E_NOTIMPL; }
  HRESULT Reserved12() override { return E_NOTIMPL; }
  HRESULT Warp(ITransform* transform, ICIF* source, ICIF* destination, double ox, double oy,
               double sx, double sy) override;
  HRESULT Finish(ICIF* picture) override;
  HRESULT ResizeInto(ICIF* source, ICIF* destination) override;
};

// The resampler for any change of size (OpenCV's): a destination `to` of the source's depth,
// `from` of either stride, `to` with rows ascending. Resize takes it when both sides change.
HRESULT ResampleGeneral(const Surface& from, const Surface& to);

// Both sides changed: a pass along each axis with the one-axis resampler on `path`, the pass that
// lessens the rows first. S_FALSE when either pass shrinks by more than 256 (nothing written).
HRESULT ResampleTwoAxes(const Surface& from, const Surface& to, ResamplePath path);

}  // namespace host::imaging
