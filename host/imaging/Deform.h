// "CIFDeform": distortions of a picture in place.
#pragma once

#include "host/common/HostObject.h"
#include "host/imaging/Pixels.h"

namespace host::imaging {

// Styles, each growing with amount (clamped to [0, 1]) and centred on the picture:
//   0 pinch: the picture is drawn in towards its centre;
//   1 bulge: the centre swells outwards;
//   2 swirl: the picture turns about its centre, most near the centre (1.5 turns at amount 1);
//   3 ripple: circular waves spread from the centre;
//   4 wave: rows and columns sway sideways in sine waves.
// The picture's corners stay in place for the radial styles. Amount 0 leaves every byte as it
// was. Other styles, or an amount that is not a number, give E_INVALIDARG and change nothing.
// `option` is not used.
class PictureDeform final : public HostObject<PictureDeform, ICIFDeform> {
 public:
  HRESULT Deform(ICIF* picture, int style, int option, double amount) override;
};

}  // namespace host::imaging
