// The imaging host operations at both frame sizes, 24 and 32 bits, beside what bounds them:
// memcpy of the same bytes, OpenCV's warpPerspective alone on the same pixels, and OpenCV's
// remap of two pictures with a cross-fade (the deform's reference).
#include <cmath>
#include <cstring>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "bench/BenchSupport.h"
#include "sdk/Geometry.h"

namespace {

using bench::Frame;
using bench::FrameOf;

void CountBytes(benchmark::State& state, const Frame& f, int passes) {
  state.SetBytesProcessed(
      static_cast<std::int64_t>(state.iterations()) * passes *
      static_cast<std::int64_t>(bench::PictureBytes(f.width, f.height, f.bits)));
}

void Memcpy(benchmark::State& state) {
  const Frame f = FrameOf(state);
  const std::size_t bytes = bench::PictureBytes(f.width, f.height, f.bits);
  std::vector<unsigned char> from(bytes, 1), to(bytes, 2);
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), bytes);
    benchmark::ClobberMemory();
  }
  CountBytes(state, f, 2);
}

// Resize to the frame scaled by state.range(3) / 2 in each direction.
void Resize(benchmark::State& state) {
  const Frame f = FrameOf(state);
  const auto scale = static_cast<unsigned>(state.range(3));
  ComPtr<ICIF> source = bench::FramePicture(f.width, f.height, f.bits, 1);
  auto transform = testhost::Create<ICIFTransform>(L"CIFTransform");
  for (auto _ : state) {
    ICIF* out = nullptr;
    transform->Resize(source.Get(), &out, f.width * scale / 2, f.height * scale / 2, 0, 1);
    benchmark::DoNotOptimize(out);
    out->Release();
  }
  CountBytes(state, f, 2);
}

void Copy(benchmark::State& state) {
  const Frame f = FrameOf(state);
  ComPtr<ICIF> source = bench::FramePicture(f.width, f.height, f.bits, 1);
  auto maths = testhost::Create<ICIFMaths>(L"CIFMaths");
  for (auto _ : state) {
    ICIF* out = nullptr;
    maths->Copy(&out, source.Get(), 0, 0);
    benchmark::DoNotOptimize(out);
    out->Release();
  }
  CountBytes(state, f, 2);
}

void Clear(benchmark::State& state) {
  const Frame f = FrameOf(state);
  ComPtr<ICIF> picture = bench::FramePicture(f.width, f.height, f.bits, 1);
  auto maths = testhost::Create<ICIFMaths>(L"CIFMaths");
  for (auto _ : state) {
    maths->Clear(picture.Get(), nullptr, 0);
    benchmark::ClobberMemory();
  }
  CountBytes(state, f, 1);
}

// A full-frame paste; with range(3) = 1 the destination is its own mask after a Clear and a
// centred quarter-size warp, as the twirl uses it.
void Paste(benchmark::State& state) {
  const Frame f = FrameOf(state);
  const bool selfMask = state.range(3) != 0;
  ComPtr<ICIF> source = bench::FramePicture(f.width, f.height, f.bits, 1);
  ComPtr<ICIF> square = bench::FramePicture(f.width / 2, f.height / 2, f.bits, 3);
  ComPtr<ICIF> destination = bench::FramePicture(f.width, f.height, f.bits, 2);
  auto maths = testhost::Create<ICIFMaths>(L"CIFMaths");
  auto transform = testhost::Create<ICIFTransform>(L"CIFTransform");
  auto shift = testhost::Create<ILinearTransform>(L"LinearTransform");
  shift->Append(kLinearTranslate, 0, f.width / 4.0, f.height / 4.0, 0);
  auto shiftTransform = shift.As<ITransform>();
  for (auto _ : state) {
    if (selfMask) {
      state.PauseTiming();
      maths->Clear(destination.Get(), nullptr, 0);
      transform->Warp(shiftTransform.Get(), square.Get(), destination.Get(), 0, 0, 1, 1);
      state.ResumeTiming();
    }
    maths->Paste(destination.Get(), source.Get(), selfMask ? destination.Get() : nullptr, 0, 0);
    benchmark::ClobberMemory();
  }
  CountBytes(state, f, 2);
}

// A perspective that covers the whole frame: the picture's corners pulled out past the border
// unevenly. The same source-to-destination matrix serves both warps.
ComPtr<ITransform> FramePerspective(const Frame& f) {
  auto fit = testhost::Create<ITransformBestFit>(L"TransformBestFit");
  auto points = testhost::Create<IPointsCollection>(L"PointsCollection");
  auto targets = testhost::Create<IPointsCollection>(L"PointsCollection");
  const double w = f.width, h = f.height;
  const double source[4][2] = {{0, 0}, {w, 0}, {w, h}, {0, h}};
  const double target[4][2] = {
      {-0.05 * w, -0.05 * h}, {1.05 * w, -0.1 * h}, {1.1 * w, 1.05 * h}, {-0.1 * w, 1.1 * h}};
  for (int i = 0; i < 4; ++i) {
    points->Add(source[i][0], source[i][1], 0);
    targets->Add(target[i][0], target[i][1], 0);
  }
  fit->Fit(points.Get(), targets.Get(), 0);
  return fit.As<ITransform>();
}

void Warp(benchmark::State& state) {
  const Frame f = FrameOf(state);
  ComPtr<ICIF> source = bench::FramePicture(f.width, f.height, f.bits, 1);
  ComPtr<ICIF> destination = bench::FramePicture(f.width, f.height, f.bits, 2);
  auto transform = testhost::Create<ICIFTransform>(L"CIFTransform");
  ComPtr<ITransform> perspective = FramePerspective(f);
  for (auto _ : state) {
    transform->Warp(perspective.Get(), source.Get(), destination.Get(), 0, 0, 1, 1);
    benchmark::ClobberMemory();
  }
  CountBytes(state, f, 2);
}

cv::Mat MatOf(ICIF* picture, const Frame& f) {
  int info = 0, stride = 0;
  unsigned char* first = nullptr;
  picture->GetPlaneLines(0, &info, &first, &stride);
  return cv::Mat(static_cast<int>(f.height), static_cast<int>(f.width), CV_8UC(f.bits / 8), first,
                 static_cast<std::size_t>(stride));
}

void OpenCVWarpPerspective(benchmark::State& state) {
  const Frame f = FrameOf(state);
  ComPtr<ICIF> source = bench::FramePicture(f.width, f.height, f.bits, 1);
  ComPtr<ICIF> destination = bench::FramePicture(f.width, f.height, f.bits, 2);
  double m[9];
  FramePerspective(f)->GetMatrix(m);
  const cv::Mat matrix(3, 3, CV_64F, m);
  cv::Mat from = MatOf(source.Get(), f), to = MatOf(destination.Get(), f);
  for (auto _ : state) {
    cv::warpPerspective(from, to, matrix, to.size(), cv::INTER_LINEAR, cv::BORDER_TRANSPARENT);
    benchmark::ClobberMemory();
  }
  CountBytes(state, f, 2);
}

// What the deform is measured against: both pictures remapped through one full-frame map and
// cross-faded half and half. The map is the swirl the deform draws by default (style 2), at the
// strength both pictures average over a transition (0.5): a point at distance r from the centre
// turns by 1.5 pi (1 - r / R)^2, R half the diagonal. Computed once, outside the loop.
void OpenCVRemapBothAndDissolve(benchmark::State& state) {
  const Frame f = FrameOf(state);
  ComPtr<ICIF> from = bench::FramePicture(f.width, f.height, f.bits, 1);
  ComPtr<ICIF> to = bench::FramePicture(f.width, f.height, f.bits, 2);
  const int w = static_cast<int>(f.width), h = static_cast<int>(f.height);
  const double cx = w / 2.0, cy = h / 2.0, radius = std::hypot(cx, cy);
  cv::Mat mapX(h, w, CV_32FC1), mapY(h, w, CV_32FC1);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const double dx = x + 0.5 - cx, dy = y + 0.5 - cy;
      const double fall = 1 - std::hypot(dx, dy) / radius;
      const double turn = 1.5 * CV_PI * fall * fall;
      mapX.at<float>(y, x) = static_cast<float>(cx + dx * std::cos(turn) - dy * std::sin(turn));
      mapY.at<float>(y, x) = static_cast<float>(cy + dx * std::sin(turn) + dy * std::cos(turn));
    }
  const int type = CV_8UC(f.bits / 8);
  cv::Mat a(h, w, type), b(h, w, type), out(h, w, type);
  const cv::Mat source = MatOf(from.Get(), f), target = MatOf(to.Get(), f);
  for (auto _ : state) {
    cv::remap(source, a, mapX, mapY, cv::INTER_LINEAR, cv::BORDER_REPLICATE);
    cv::remap(target, b, mapX, mapY, cv::INTER_LINEAR, cv::BORDER_REPLICATE);
    cv::addWeighted(a, 0.5, b, 0.5, 0, out);
    benchmark::ClobberMemory();
  }
  CountBytes(state, f, 3);
}

void Deform(benchmark::State& state) {
  const Frame f = FrameOf(state);
  const int style = static_cast<int>(state.range(3));
  ComPtr<ICIF> picture = bench::FramePicture(f.width, f.height, f.bits, 1);
  auto deform = testhost::Create<ICIFDeform>(L"CIFDeform");
  double amount = 0.1;
  for (auto _ : state) {
    deform->Deform(picture.Get(), style, 0, amount);
    amount = amount >= 0.9 ? 0.1 : amount + 0.1;
    benchmark::ClobberMemory();
  }
  CountBytes(state, f, 2);
}

void Register(const std::string& name, void (*run)(benchmark::State&), long extra = -1) {
  for (int bits : {24, 32}) {
    for (const bench::FrameSize& size : bench::kFrameSizes) {
      auto* b = benchmark::RegisterBenchmark(
          ("Imaging/" + name + "/" + std::to_string(bits) + "bit/" + std::to_string(size.width) +
           "x" + std::to_string(size.height))
              .c_str(),
          run);
      if (extra < 0) {
        b->Args({size.width, size.height, bits});
      } else {
        b->Args({size.width, size.height, bits, extra});
      }
      b->Unit(benchmark::kMillisecond);
    }
  }
}

[[maybe_unused]] const bool gRegistered = [] {
  Register("Memcpy", Memcpy);
  Register("ResizeSame", Resize, 2);
  Register("ResizeHalf", Resize, 1);
  Register("ResizeDouble", Resize, 4);
  Register("Copy", Copy);
  Register("Clear", Clear);
  Register("Paste", Paste, 0);
  Register("PasteSelfMask", Paste, 1);
  Register("Warp", Warp);
  Register("OpenCVWarpPerspective", OpenCVWarpPerspective);
  Register("OpenCVRemapBothAndDissolve", OpenCVRemapBothAndDissolve);
  const char* styles[] = {"Pinch", "Bulge", "Swirl", "Ripple", "Wave"};
  for (int style = 0; style < 5; ++style)
    Register(std::string("Deform") + styles[style], Deform, style);
  return true;
}();

}  // namespace
