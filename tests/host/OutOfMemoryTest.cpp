// Running out of memory inside a host operation: every allocation an operation makes is failed
// in turn, and the operation must report a failure code, never let an exception out of the
// interface, leave what it was given usable, and leak nothing (the fixtures count live objects).
#include <string>
#include <vector>

#include "host/imaging/Components.h"
#include "sdk/Geometry.h"
#include "sdk/Imaging.h"
#include "tests/host/AllocationFailure.h"
#include "tests/host/ImagingTestSupport.h"

namespace {

using alloctest::EachAllocationFailing;
using imagingtest::Make;

ComPtr<ICIF> Picture(unsigned width, unsigned height, int bits) {
  auto picture = Make<ICIFImage>(L"CIFImage");
  EXPECT_EQ(picture->Create(width, height, 1, bits, bits == 24 ? kFormatRGB : kFormatRGBA), S_OK);
  picture->Fill(120);
  return picture.As<ICIF>();
}

std::vector<unsigned char> Bytes(ICIF* picture) {
  unsigned width = 0, height = 0, planes = 0;
  int info = 0, stride = 0;
  unsigned char* first = nullptr;
  picture->GetSize(&width, &height, &planes);
  picture->GetPlaneLines(0, &info, &first, &stride);
  return {first, first + static_cast<std::ptrdiff_t>(stride) * (height - 1) + info};
}

// A cleared picture: it keeps a record of what is drawn into it, which drawing extends.
ComPtr<ICIF> Cleared(ICIFMaths* maths) {
  auto picture = Picture(90, 70, 24);
  EXPECT_EQ(maths->Clear(picture.Get(), nullptr, 0), S_OK);
  return picture;
}

ComPtr<ITransform> Turn() {
  auto linear = Make<ILinearTransform>(L"LinearTransform");
  linear->Append(kLinearRotate, 0, 0.3, 0, 0);
  linear->Append(kLinearTranslate, 0, 20, 5, 0);
  return linear.As<ITransform>();
}

ComPtr<IPointsCollection> Points(double scale) {
  auto points = Make<IPointsCollection>(L"PointsCollection");
  for (double v : {0.0, 1.0, 2.0, 3.5}) points->Add(v * scale, v * v, 0);
  return points;
}

using ImagingOutOfMemory = imagingtest::ImagingTest;

TEST_F(ImagingOutOfMemory, EveryOperationReportsAFailedAllocation) {
  const auto maths = Make<ICIFMaths>(L"CIFMaths");
  const auto transform = Make<ICIFTransform>(L"CIFTransform");
  const auto deform = Make<ICIFDeform>(L"CIFDeform");
  const auto source = Picture(60, 40, 32);
  const auto points = Points(1), targets = Points(2);
  const auto turn = Turn();
  const auto nothing = [] { return 0; };
  // OpenCV sets itself up on first use (its thread pool); that happens before memory runs out,
  // as in a host that has been running for a while.
  ComPtr<ICIF> warm;
  ASSERT_EQ(maths->Copy(warm.Put(), source.Get(), 0, 0), S_OK);
  ASSERT_EQ(deform->Deform(warm.Get(), 2, 0, 0.7), S_OK);
  std::vector<std::pair<std::string, long>> allocations;
  const auto sweep = [&](const std::string& what, auto&&... steps) {
    allocations.emplace_back(what, EachAllocationFailing(what, steps...));
  };

  // New objects of every component.
  for (const host::HostComponent& row : host::imaging::Components()) {
    sweep(std::string(row.name.begin(), row.name.end()), nothing, [&](int) {
      ComPtr<IUnknown> object;
      IID iid = kIID_IUnknown;
      return row.factory(nullptr, &iid, object.PutVoid());
    });
  }
  // A pixel buffer (one too large for the pool to keep, so it is always allocated afresh); the
  // picture keeps its old size and pixels when the buffer cannot be had.
  sweep(
      "Create", [&] { return Picture(4, 3, 24); },
      [](ComPtr<ICIF>& picture) {
        return picture.As<ICIFImage>()->Create(8192, 12289, 1, 32, kFormatRGBA);
      },
      [](ComPtr<ICIF>& picture, HRESULT hr) {
        unsigned width = 0, height = 0;
        picture->GetSize(&width, &height, nullptr);
        if (Failed(hr)) {
          EXPECT_EQ(width, 4u);
          EXPECT_EQ(Bytes(picture.Get()), std::vector<unsigned char>(2 * 64 + 12, 120));
        }
      });
  sweep("Copy", nothing, [&](int) {
    ComPtr<ICIF> copy;
    return maths->Copy(copy.Put(), source.Get(), 0, 0);
  });
  sweep("Resize", nothing, [&](int) {
    ComPtr<ICIF> out;
    return transform->Resize(source.Get(), out.Put(), 173, 29, 0, 1);
  });
  sweep(
      "Clear", [&] { return Picture(90, 70, 24); },
      [&](ComPtr<ICIF>& picture) { return maths->Clear(picture.Get(), nullptr, 0); });
  sweep(
      "Paste", [&] { return Cleared(maths.Get()); },
      [&](ComPtr<ICIF>& picture) {
        return maths->Paste(picture.Get(), source.Get(), picture.Get(), 7, 9);
      });
  sweep(
      "Warp", [&] { return Cleared(maths.Get()); },
      [&](ComPtr<ICIF>& picture) {
        return transform->Warp(turn.Get(), source.Get(), picture.Get(), 0, 0, 1, 1);
      });
  // A picture that cannot be deformed is left as it was.
  const auto before = Bytes(source.Get());
  sweep(
      "Deform",
      [&] {
        ComPtr<ICIF> copy;
        maths->Copy(copy.Put(), source.Get(), 0, 0);
        return copy;
      },
      [&](ComPtr<ICIF>& picture) { return deform->Deform(picture.Get(), 2, 0, 0.7); },
      [&](ComPtr<ICIF>& picture, HRESULT hr) {
        if (Failed(hr)) {
          EXPECT_EQ(Bytes(picture.Get()), before);
        }
      });
  sweep(
      "Add", [] { return Points(1); },
      [](ComPtr<IPointsCollection>& collection) { return collection->Add(1, 2, 3); });
  sweep(
      "Fit", [] { return Make<ITransformBestFit>(L"TransformBestFit"); },
      [&](ComPtr<ITransformBestFit>& fit) { return fit->Fit(points.Get(), targets.Get(), 0); });
  // Each operation above allocates, so each was run with a failure at least once.
  for (const auto& [operation, count] : allocations) EXPECT_GT(count, 0) << operation;
}

}  // namespace
