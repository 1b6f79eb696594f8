// Points, fitted and composed transforms of the "Imaging" module.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <numbers>
#include <string>
#include <vector>

#include "host/imaging/Components.h"
#include "sdk/ComPtr.h"
#include "sdk/Geometry.h"
#include "tests/common/TestHost.h"

namespace {

template <class I>
ComPtr<I> Make(std::wstring_view name) {
  ComponentFactory factory = nullptr;
  ComPtr<I> object;
  if (Failed(host::FindComponentFactory(host::imaging::Components(), RefView(name), &factory)))
    return object;
  IID iid = I::kIID;
  factory(nullptr, &iid, object.PutVoid());
  return object;
}

using Point = std::array<double, 2>;
struct Pairs {
  std::vector<Point> points, targets;
};

// The six point pairs of the flip effect for working direction d and scale s.
Pairs FlipPairs(int d, double w, double h, double s) {
  const double a = w * s, b = h * s, w2 = std::floor(w / 2), h2 = std::floor(h / 2);
  switch (d) {
    case 0:
      return {{{0, 0}, {w, 0}, {w2, 0}, {0, h}, {w, h}, {w2, h}},
              {{a, b}, {w - a, b}, {w2, b}, {0, h - b}, {w, h - b}, {w2, h - b}}};
    case 2:
      return {{{0, 0}, {w, 0}, {w2, 0}, {0, h}, {w, h}, {w2, h}},
              {{0, b}, {w, b}, {w2, b}, {a, h - b}, {w - a, h - b}, {w2, h - b}}};
    case 3:
      return {{{0, 0}, {0, h}, {0, h2}, {w, 0}, {w, h}, {w, h2}},
              {{a, b}, {a, h - b}, {a, h2}, {w - a, 0}, {w - a, h}, {w - a, h2}}};
    default:
      return {{{0, 0}, {0, h}, {0, h2}, {w, 0}, {w, h}, {w, h2}},
              {{a, 0}, {a, h}, {a, h2}, {w - a, b}, {w - a, h - b}, {w - a, h2}}};
  }
}

// The six point pairs of the perspective turn for direction d at progress p.
Pairs TurnPairs(int d, double w, double h, double p) {
  const double w2 = std::floor(w / 2), h2 = std::floor(h / 2);
  switch (d) {
    case 0:
      return {
          {{0, 0}, {w, 0}, {w2, 0}, {0, h}, {w, h}, {w2, h}},
          {{0, 0}, {w, 0}, {w2, 0}, {w2 - w * p / 2, h * p}, {w2 + w * p / 2, h * p}, {w2, h * p}}};
    case 2:
      return {{{0, h}, {w, h}, {w2, h}, {0, 0}, {w, 0}, {w2, 0}},
              {{0, h},
               {w, h},
               {w2, h},
               {w2 - w * p / 2, h * (1 - p)},
               {w2 + w * p / 2, h * (1 - p)},
               {w2, h * (1 - p)}}};
    case 3:
      return {
          {{0, 0}, {0, h}, {0, h2}, {w, 0}, {w, h}, {w, h2}},
          {{0, 0}, {0, h}, {0, h2}, {w * p, h2 - h * p / 2}, {w * p, h2 + h * p / 2}, {w * p, h2}}};
    default:
      return {{{w, 0}, {w, h}, {w, h2}, {0, 0}, {0, h}, {0, h2}},
              {{w, 0},
               {w, h},
               {w, h2},
               {w * (1 - p), h2 - h * p / 2},
               {w * (1 - p), h2 + h * p / 2},
               {w * (1 - p), h2}}};
  }
}

ComPtr<IPointsCollection> Collect(const std::vector<Point>& points) {
  auto collection = Make<IPointsCollection>(L"PointsCollection");
  for (const Point& p : points) collection->Add(p[0], p[1], 0);
  return collection;
}

// Fits the pairs and expects every point to land within `tolerance` of its target.
void ExpectFit(const Pairs& pairs, const std::string& what, double tolerance = 1e-6) {
  auto fit = Make<ITransformBestFit>(L"TransformBestFit");
  ASSERT_EQ(fit->Fit(Collect(pairs.points).Get(), Collect(pairs.targets).Get(), 0), S_OK) << what;
  auto transform = fit.As<ITransform>();
  ASSERT_TRUE(transform);
  for (std::size_t i = 0; i < pairs.points.size(); ++i) {
    double x = NAN, y = NAN;
    ASSERT_EQ(transform->Map(pairs.points[i][0], pairs.points[i][1], &x, &y), S_OK) << what;
    EXPECT_NEAR(x, pairs.targets[i][0], tolerance) << what << " point " << i;
    EXPECT_NEAR(y, pairs.targets[i][1], tolerance) << what << " point " << i;
  }
}

class ImagingGeometry : public ::testing::Test {
 protected:
  void SetUp() override { live_ = host::LiveObjects().load(); }
  void TearDown() override { EXPECT_EQ(host::LiveObjects().load(), live_); }
  long live_ = 0;
};

TEST_F(ImagingGeometry, PointsCollectionKeepsPointsInOrder) {
  auto points = Make<IPointsCollection>(L"PointsCollection");
  ASSERT_TRUE(points);
  EXPECT_EQ(points->Add(1, 2, 3), S_OK);
  EXPECT_EQ(points->Add(-4, 5.5, 0), S_OK);
  int count = 0;
  EXPECT_EQ(points->GetCount(&count), S_OK);
  EXPECT_EQ(count, 2);
  double x = 0, y = 0, z = 0;
  EXPECT_EQ(points->GetPoint(1, &x, &y, &z), S_OK);
  EXPECT_EQ(x, -4);
  EXPECT_EQ(y, 5.5);
  EXPECT_EQ(z, 0);
  EXPECT_EQ(points->GetPoint(2, &x, &y, &z), E_INVALIDARG);
  EXPECT_EQ(points->GetPoint(-1, &x, &y, &z), E_INVALIDARG);
  EXPECT_EQ(points->RemoveAll(), S_OK);
  EXPECT_EQ(points->GetCount(&count), S_OK);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(points->Reserved6(), E_NOTIMPL);
}

TEST_F(ImagingGeometry, FitMapsFlipAndTurnPointsOntoTheirTargets) {
  struct Size {
    double w, h;
  };
  for (const Size size : {Size{640, 480}, Size{1920, 1080}}) {
    for (int d = 0; d < 4; ++d) {
      for (double s : {0.0, 0.1, 0.3, 0.45, 0.499})
        ExpectFit(FlipPairs(d, size.w, size.h, s),
                  "flip " + std::to_string(d) + " " + std::to_string(s));
      for (double p : {0.05, 0.25, 0.5, 0.9, 1.0})
        ExpectFit(TurnPairs(d, size.w, size.h, p),
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
}

TEST_F(ImagingGeometry, FitHandlesCollapsedAndBadInput) {
  auto fit = Make<ITransformBestFit>(L"TransformBestFit");
  auto transform = fit.As<ITransform>();
  double m[9];
  ASSERT_EQ(transform->GetMatrix(m), S_OK);  // the identity before any fit
  EXPECT_EQ(m[0], 1);
  EXPECT_EQ(m[4], 1);
  EXPECT_EQ(m[8], 1);
  EXPECT_EQ(m[1], 0);
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
  auto three = Collect({{0, 0}, {1, 0}, {0, 1}});
  auto two = Collect({{0, 0}, {1, 0}});
  EXPECT_EQ(fit->Fit(three.Get(), two.Get(), 0), E_INVALIDARG);
  EXPECT_EQ(fit->Fit(nullptr, two.Get(), 0), E_INVALIDARG);
  auto bad = Collect({{0, 0}, {NAN, 0}});
  EXPECT_EQ(fit->Fit(two.Get(), bad.Get(), 0), E_INVALIDARG);
  // Inconsistent pairs still give a sensible compromise: noise of a pixel or so moves points
  // by about that much.
  Pairs noisy = TurnPairs(0, 640, 480, 0.5);
  noisy.targets[2][0] += 1.0;
  noisy.targets[5][1] -= 1.0;
  ASSERT_EQ(fit->Fit(Collect(noisy.points).Get(), Collect(noisy.targets).Get(), 0), S_OK);
  for (std::size_t i = 0; i < 6; ++i) {
    double x = 0, y = 0;
    ASSERT_EQ(transform->Map(noisy.points[i][0], noisy.points[i][1], &x, &y), S_OK);
    EXPECT_NEAR(x, noisy.targets[i][0], 1.5);
    EXPECT_NEAR(y, noisy.targets[i][1], 1.5);
  }
}

TEST_F(ImagingGeometry, LinearStepsComposeInOrder) {
  auto linear = Make<ILinearTransform>(L"LinearTransform");
  ASSERT_TRUE(linear);
  double x = 0, y = 0;
  EXPECT_EQ(linear->Map(3, 4, &x, &y), S_OK);
  EXPECT_EQ(x, 3);
  EXPECT_EQ(y, 4);
  // Translate by (1, 2), then rotate a quarter turn, then scale by (2, 3):
  // (1, 0) -> (2, 2) -> (-2, 2) -> (-4, 6).
  EXPECT_EQ(linear->Append(kLinearTranslate, 0, 1, 2, 0), S_OK);
  EXPECT_EQ(linear->Append(kLinearRotate, 1, std::numbers::pi / 2, 0, 0), S_OK);
  EXPECT_EQ(linear->Append(kLinearScale, 0, 2, 3, 0), S_OK);
  ASSERT_EQ(linear->Map(1, 0, &x, &y), S_OK);
  EXPECT_NEAR(x, -4, 1e-12);
  EXPECT_NEAR(y, 6, 1e-12);
  double m[9];
  ASSERT_EQ(linear->GetMatrix(m), S_OK);
  EXPECT_NEAR(m[2], -4, 1e-12);  // where the origin goes: (1, 2) -> (-2, 1) -> (-4, 3)
  EXPECT_NEAR(m[5], 3, 1e-12);
  EXPECT_EQ(linear->Append(7, 0, 1, 1, 0), E_INVALIDARG);
  EXPECT_EQ(linear->Append(kLinearTranslate, 0, INFINITY, 0, 0), E_INVALIDARG);
  ASSERT_EQ(linear->Map(1, 0, &x, &y), S_OK);  // failed steps change nothing
  EXPECT_NEAR(x, -4, 1e-12);
  EXPECT_TRUE(linear.As<ITransform>());
}

TEST(ImagingModule, EveryComponentLoadsThroughTheGlobalCollection) {
  for (const host::HostComponent& row : host::imaging::Components()) {
    auto object = testhost::Create<IUnknown>(row.name);
    EXPECT_TRUE(object) << std::string(row.name.begin(), row.name.end());
  }
  EXPECT_TRUE(testhost::Create<ICIFTransform>(L"CIFTransform"));
  EXPECT_TRUE(testhost::Create<ITransformBestFit>(L"TransformBestFit").As<ITransform>());
}

}  // namespace
