// The geometric effects' shared steps: six points fitted onto six targets, the moving picture
// drawn through the fit onto a cleared canvas.
#include <gtest/gtest.h>

#include "effects/HostComponents.h"
#include "effects/PointWarp.h"
#include "tests/common/TestHost.h"

namespace {

unsigned char Pattern(unsigned x, unsigned y, unsigned c) {
  return static_cast<unsigned char>(1 + x * 5 + y * 3 + c);
}

// The corners and edge middles of a w x h picture, moved by (dx, dy).
SixPoints Frame(double w, double h, double dx = 0, double dy = 0) {
  return {PlanePoint{dx, dy}, {w + dx, dy},     {w / 2 + dx, dy},
          {dx, h + dy},       {w + dx, h + dy}, {w / 2 + dx, h + dy}};
}

// Catches: the fit or the warp moving pixels that should stay, or drawing over the part of the
// canvas the moved picture leaves.
TEST(PointWarp, IdentityKeepsThePictureAndAShiftLeavesTheClearedCanvas) {
  testhost::Global();
  constexpr unsigned kWidth = 40, kHeight = 30;
  ComPtr<ICIF> picture = testhost::MakePicture(kWidth, kHeight, 24, Pattern);
  const Drawing draw;

  ComPtr<ICIF> canvas = draw.Copy(picture.Get());
  draw.Clear(canvas.Get());
  WarpOntoPoints(draw, picture.Get(), canvas.Get(), Frame(kWidth, kHeight), Frame(kWidth, kHeight));
  EXPECT_EQ(testhost::Bytes(canvas.Get()), testhost::Bytes(picture.Get()));

  // Ten pixels to the right: the first ten columns keep the cleared colour.
  canvas = draw.Copy(picture.Get());
  draw.Clear(canvas.Get());
  WarpOntoPoints(draw, picture.Get(), canvas.Get(), Frame(kWidth, kHeight),
                 Frame(kWidth, kHeight, 10, 0));
  const std::vector<unsigned char> bytes = testhost::Bytes(canvas.Get());
  for (unsigned y = 0; y < kHeight; ++y)
    for (unsigned x = 0; x < kWidth; ++x)
      for (unsigned c = 0; c < 3; ++c)
        ASSERT_EQ(bytes[(y * kWidth + x) * 3 + c], x < 10 ? 0 : Pattern(x - 10, y, c))
            << x << "," << y;
}

}  // namespace
