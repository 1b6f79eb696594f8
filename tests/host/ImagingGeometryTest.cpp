// Points, fitted and composed transforms of the "Imaging" module.
#include <cmath>
#include <numbers>
#include <string>
#include <tuple>

#include "tests/host/ImagingTestSupport.h"

namespace imagingtest {
namespace {

using ImagingGeometry = ImagingTest;

struct Pairs {
  std::vector<Point> points, targets;
};

// The six point pairs of the flip effect for working direction d and scale s: one pair of
// opposite edges moves in by s of the size, the other pair by s of the size at one end only.
Pairs FlipPairs(int d, double w, double h, double s) {
  const double a = w * s, b = h * s, w2 = std::floor(w / 2), h2 = std::floor(h / 2);
  if (d == 0 || d == 2) {
    const double top = d == 0 ? a : 0, bottom = a - top;
    return {{{0, 0}, {w, 0}, {w2, 0}, {0, h}, {w, h}, {w2, h}},
            {{top, b}, {w - top, b}, {w2, b}, {bottom, h - b}, {w - bottom, h - b}, {w2, h - b}}};
  }
  const double left = d == 3 ? b : 0, right = b - left;
  return {{{0, 0}, {0, h}, {0, h2}, {w, 0}, {w, h}, {w, h2}},
          {{a, left}, {a, h - left}, {a, h2}, {w - a, right}, {w - a, h - right}, {w - a, h2}}};
}

// The six point pairs of the perspective turn for direction d at progress p: the hinge edge
// stays, the far edge shrinks to p of its length and lies p of the way across.
Pairs TurnPairs(int d, double w, double h, double p) {
  const double w2 = std::floor(w / 2), h2 = std::floor(h / 2), dx = w * p / 2, dy = h * p / 2;
  if (d == 0 || d == 2) {
    const double hinge = d == 0 ? 0 : h, far = h - hinge, y = d == 0 ? h * p : h * (1 - p);
    return {{{0, hinge}, {w, hinge}, {w2, hinge}, {0, far}, {w, far}, {w2, far}},
            {{0, hinge}, {w, hinge}, {w2, hinge}, {w2 - dx, y}, {w2 + dx, y}, {w2, y}}};
  }
  const double hinge = d == 3 ? 0 : w, far = w - hinge, x = d == 3 ? w * p : w * (1 - p);
  return {{{hinge, 0}, {hinge, h}, {hinge, h2}, {far, 0}, {far, h}, {far, h2}},
          {{hinge, 0}, {hinge, h}, {hinge, h2}, {x, h2 - dy}, {x, h2 + dy}, {x, h2}}};
}

// Fits the pairs and expects every point to land within `tolerance` of its target.
void ExpectFit(const Pairs& pairs, const std::string& what, double tolerance = 1e-6) {
  auto transform = Fitted(pairs.points, pairs.targets);
  ASSERT_TRUE(transform) << what;
  for (std::size_t i = 0; i < pairs.points.size(); ++i) {
    double x = NAN, y = NAN;
    ASSERT_EQ(transform->Map(pairs.points[i][0], pairs.points[i][1], &x, &y), S_OK) << what;
    EXPECT_NEAR(x, pairs.targets[i][0], tolerance) << what << " point " << i;
    EXPECT_NEAR(y, pairs.targets[i][1], tolerance) << what << " point " << i;
  }
}

// Catches: points lost, reordered or changed, an index past either end answered, RemoveAll
// leaving points.
TEST_F(ImagingGeometry, PointsCollectionKeepsPointsInOrder) {
  auto points = Collect({{1, 2}, {-4, 5.5}});
  int count = 0;
  EXPECT_EQ(points->GetCount(&count), S_OK);
  EXPECT_EQ(count, 2);
  double x = 0, y = 0, z = 0;
  EXPECT_EQ(points->GetPoint(1, &x, &y, &z), S_OK);
  EXPECT_EQ(std::make_tuple(x, y, z), std::make_tuple(-4.0, 5.5, 0.0));
  EXPECT_EQ(points->Add(1, 2, 3), S_OK);
  EXPECT_EQ(points->GetPoint(2, &x, &y, &z), S_OK);
  EXPECT_EQ(std::make_tuple(x, y, z), std::make_tuple(1.0, 2.0, 3.0));
  EXPECT_EQ(points->GetPoint(3, &x, &y, &z), E_INVALIDARG);
  EXPECT_EQ(points->GetPoint(-1, &x, &y, &z), E_INVALIDARG);
  EXPECT_EQ(points->RemoveAll(), S_OK);
  EXPECT_EQ(points->GetCount(&count), S_OK);
  EXPECT_EQ(count, 0);
}

// Catches: a best fit that does not map the flip's or the turn's six points onto their targets
// (sizes even and odd), that fails with fewer pairs, or gives no compromise for noisy ones.
TEST_F(ImagingGeometry, FitMapsFlipAndTurnPointsOntoTheirTargets) {
  for (const Point size : {Point{640, 480}, Point{1920, 1080}}) {
    for (int d = 0; d < 4; ++d) {
      for (double s : {0.0, 0.1, 0.3, 0.45, 0.499})
        ExpectFit(FlipPairs(d, size[0], size[1], s),
                  "flip " + std::to_string(d) + " " + std::to_string(s));
      for (double p : {0.05, 0.25, 0.5, 0.9, 1.0})
        ExpectFit(TurnPairs(d, size[0], size[1], p),
                  "turn " + std::to_string(d) + " " + std::to_string(p));
    }
  }
  // With an odd size the rounded-down middle points are not quite consistent with the corners:
  // the best fit still lands within a fraction of a pixel.
  for (int d = 0; d < 4; ++d) {
    ExpectFit(FlipPairs(d, 101, 77, 0.2), "odd flip " + std::to_string(d), 0.25);
    ExpectFit(TurnPairs(d, 101, 77, 0.6), "odd turn " + std::to_string(d), 0.25);
  }
  // Fewer pairs fit smaller families exactly.
  ExpectFit({{{3, 4}}, {{10, -2}}}, "one pair");
  ExpectFit({{{0, 0}, {10, 0}}, {{5, 5}, {5, 25}}}, "two pairs");
  ExpectFit({{{0, 0}, {10, 0}, {0, 10}}, {{1, 2}, {21, 5}, {-3, 30}}}, "three pairs");
  // Inconsistent pairs still give a sensible compromise: noise of a pixel or so moves points
  // by about that much.
  Pairs noisy = TurnPairs(0, 640, 480, 0.5);
  noisy.targets[2][0] += 1.0;
  noisy.targets[5][1] -= 1.0;
  ExpectFit(noisy, "noisy", 1.5);
}

// Catches: a fitted transform other than the identity before any fit, a collapsed fit refused
// or not singular, unequal, missing or NaN points accepted.
TEST_F(ImagingGeometry, FitHandlesCollapsedAndBadInput) {
  auto fit = Make<ITransformBestFit>(L"TransformBestFit");
  auto transform = fit.As<ITransform>();
  double m[9];
  ASSERT_EQ(transform->GetMatrix(m), S_OK);  // the identity before any fit
  for (int i = 0; i < 9; ++i) EXPECT_EQ(m[i], i % 4 == 0 ? 1 : 0) << i;
  // A flip half way collapses onto the centre line, a turn at 0 onto a point: both fit,
  // to a collapsed (singular) matrix.
  for (const Pairs& pairs : {FlipPairs(0, 640, 480, 0.5), TurnPairs(3, 640, 480, 0.0)}) {
    ASSERT_EQ(fit->Fit(Collect(pairs.points).Get(), Collect(pairs.targets).Get(), 0), S_OK);
    ASSERT_EQ(transform->GetMatrix(m), S_OK);
    const double det = m[0] * (m[4] * m[8] - m[5] * m[7]) - m[1] * (m[3] * m[8] - m[5] * m[6]) +
                       m[2] * (m[3] * m[7] - m[4] * m[6]);
    double largest = 0;
    for (double v : m) largest = std::max(largest, std::abs(v));
    EXPECT_LT(std::abs(det), 1e-9 * largest * largest * largest);
  }
  auto two = Collect({{0, 0}, {1, 0}});
  EXPECT_EQ(fit->Fit(Collect({{0, 0}, {1, 0}, {0, 1}}).Get(), two.Get(), 0), E_INVALIDARG);
  EXPECT_EQ(fit->Fit(nullptr, two.Get(), 0), E_INVALIDARG);
  EXPECT_EQ(fit->Fit(two.Get(), Collect({{0, 0}, {NAN, 0}}).Get(), 0), E_INVALIDARG);
}

// Catches: steps composed in the wrong order or with the wrong matrix, a bad step accepted or
// changing the transform.
TEST_F(ImagingGeometry, LinearStepsComposeInOrder) {
  auto linear = Make<ILinearTransform>(L"LinearTransform");
  ASSERT_TRUE(linear && linear.As<ITransform>());
  double x = 0, y = 0;
  EXPECT_EQ(linear->Map(3, 4, &x, &y), S_OK);
  EXPECT_EQ(std::make_tuple(x, y), std::make_tuple(3.0, 4.0));
  // Translate by (1, 2), then rotate a quarter turn, then scale by (2, 3):
  // (1, 0) -> (2, 2) -> (-2, 2) -> (-4, 6).
  EXPECT_EQ(linear->Append(kLinearTranslate, 0, 1, 2, 0), S_OK);
  EXPECT_EQ(linear->Append(kLinearRotate, 1, std::numbers::pi / 2, 0, 0), S_OK);
  EXPECT_EQ(linear->Append(kLinearScale, 0, 2, 3, 0), S_OK);
  double m[9];
  ASSERT_EQ(linear->GetMatrix(m), S_OK);
  EXPECT_NEAR(m[2], -4, 1e-12);  // where the origin goes: (1, 2) -> (-2, 1) -> (-4, 3)
  EXPECT_NEAR(m[5], 3, 1e-12);
  EXPECT_EQ(linear->Append(7, 0, 1, 1, 0), E_INVALIDARG);
  EXPECT_EQ(linear->Append(kLinearTranslate, 0, INFINITY, 0, 0), E_INVALIDARG);
  ASSERT_EQ(linear->Map(1, 0, &x, &y), S_OK);  // failed steps change nothing
  EXPECT_NEAR(x, -4, 1e-12);
  EXPECT_NEAR(y, 6, 1e-12);
}

}  // namespace
}  // namespace imagingtest
