// Resizing along one axis, the shapes the squeezing transitions draw every frame, at both frame
// sizes (24 bits), beside the memory-bound reference: squeezing by 1.5 and by 4 and growing by
// 1.5, in width and in height, through the host's "CIFTransform"; and the horizontal squeezes on
// each processor path of the one-axis resampler, to compare the loops themselves.
#include <string>
#include <vector>

#include "bench/BenchSupport.h"
#include "host/imaging/Pixels.h"
#include "host/imaging/Resample.h"

namespace {

using bench::Frame;
using bench::FrameOf;
using host::imaging::ResamplePath;

// The result size: the frame with one side times state.range(3) / 12 (range(5): 0 width, 1
// height).
std::pair<unsigned, unsigned> ResultSize(const benchmark::State& state, const Frame& f) {
  const auto twelfths = static_cast<unsigned>(state.range(3));
  const bool height = state.range(5) != 0;
  return {height ? f.width : f.width * twelfths / 12, height ? f.height * twelfths / 12 : f.height};
}

// Bytes: the source read and the result written.
void CountBytes(benchmark::State& state, const Frame& f, unsigned width, unsigned height) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(bench::PictureBytes(f.width, f.height, f.bits) +
                                                    bench::PictureBytes(width, height, f.bits)));
}

void Resize(benchmark::State& state) {
  const Frame f = FrameOf(state);
  const auto [width, height] = ResultSize(state, f);
  ComPtr<ICIF> source = bench::FramePicture(f.width, f.height, f.bits, 1);
  auto transform = testhost::Create<ICIFTransform>(L"CIFTransform");
  for (auto _ : state) {
    ICIF* out = nullptr;
    transform->Resize(source.Get(), &out, width, height, 0, 1);
    benchmark::DoNotOptimize(out);
    out->Release();
  }
  CountBytes(state, f, width, height);
}

// The one-axis resampler alone on path state.range(4), into a result made once.
void ResizePath(benchmark::State& state) {
  const Frame f = FrameOf(state);
  const auto path = static_cast<ResamplePath>(state.range(4));
  if (!host::imaging::ResamplePathSupported(path)) {
    state.SkipWithError("this processor lacks the path's instructions");
    return;
  }
  const auto [width, height] = ResultSize(state, f);
  ComPtr<ICIF> source = bench::FramePicture(f.width, f.height, f.bits, 1);
  ComPtr<ICIF> result = bench::FramePicture(width, height, f.bits, 2);
  host::imaging::Surface from, to;
  host::imaging::ReadSurface(source.Get(), &from);
  host::imaging::ReadSurface(result.Get(), &to);
  for (auto _ : state) {
    host::imaging::ResampleOneAxis(from, to, path);
    benchmark::ClobberMemory();
  }
  CountBytes(state, f, width, height);
}

// Arguments: the frame, twelfths of the changed side, the path, and which side changes.
void Register(const std::string& name, void (*run)(benchmark::State&), int twelfths, int path,
              bool height) {
  for (const bench::FrameSize& size : bench::kFrameSizes)
    benchmark::RegisterBenchmark(
        (name + "/24bit/" + std::to_string(size.width) + "x" + std::to_string(size.height)).c_str(),
        run)
        ->Args({size.width, size.height, 24, twelfths, path, height ? 1 : 0})
        ->Unit(benchmark::kMillisecond);
}

[[maybe_unused]] const bool gRegistered = [] {
  bench::RegisterReference();
  // Squeezed by 1.5 and by 4, grown by 1.5: the changed side times 8, 3 and 18 twelfths.
  struct Shape {
    const char* name;
    int twelfths;
  };
  const std::vector<Shape> shapes = {{"Squeeze1.5", 8}, {"Squeeze4", 3}, {"Grow1.5", 18}};
  for (bool height : {false, true})
    for (const Shape& shape : shapes)
      Register(std::string("Resize/") + (height ? "High" : "Wide") + shape.name, Resize,
               shape.twelfths, 0, height);
  const char* paths[] = {"Plain", "AVX2", "AVX512"};
  for (int path = 0; path < 3; ++path)
    for (const Shape& shape : shapes)
      Register(std::string("ResizePath/") + paths[path] + "/Wide" + shape.name, ResizePath,
               shape.twelfths, path, false);
  return true;
}();

}  // namespace
