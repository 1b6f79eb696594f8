// Shared by the tests of the "Imaging" components: objects made straight from the module's
// component table (so they count in host::LiveObjects), and a fixture checking they are all gone.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <string_view>
#include <vector>

#include "host/imaging/Components.h"
#include "sdk/ComPtr.h"
#include "sdk/Geometry.h"

namespace imagingtest {

template <class I>
ComPtr<I> Make(std::wstring_view name) {
  ComponentFactory factory = nullptr;
  ComPtr<I> object;
  IID iid = I::kIID;
  if (Succeeded(host::FindComponentFactory(host::imaging::Components(), RefView(name), &factory)))
    factory(nullptr, &iid, object.PutVoid());
  return object;
}

using Point = std::array<double, 2>;

inline ComPtr<IPointsCollection> Collect(const std::vector<Point>& points) {
  auto collection = Make<IPointsCollection>(L"PointsCollection");
  for (const Point& p : points) collection->Add(p[0], p[1], 0);
  return collection;
}

// The best fit taking `points` onto `targets`.
inline ComPtr<ITransform> Fitted(const std::vector<Point>& points,
                                 const std::vector<Point>& targets) {
  auto fit = Make<ITransformBestFit>(L"TransformBestFit");
  EXPECT_EQ(fit->Fit(Collect(points).Get(), Collect(targets).Get(), 0), S_OK);
  return fit.As<ITransform>();
}

// Every test must give back every reference it took.
class ImagingTest : public ::testing::Test {
 protected:
  void SetUp() override { live_ = host::LiveObjects().load(); }
  void TearDown() override { EXPECT_EQ(host::LiveObjects().load(), live_) << "objects left alive"; }
  long live_ = 0;
};

}  // namespace imagingtest
