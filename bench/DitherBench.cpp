// The dithers and ApplyMask per frame at both frame sizes, 24 and 32 bits, beside the reference
// pass of BenchSupport (the cost of one pass over the memory a composition touches); the cell
// loop and mask rendering alone beside one write pass over a mask.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "bench/BenchSupport.h"
#include "effects/Dither.h"
#include "effects/HostComponents.h"
#include "effects/KeloTransitions.h"
#include "effects/TransitionHelper.h"
#include "tests/common/TestHost.h"

namespace {

struct Frame {
  unsigned width, height;
  int bits;
  ComPtr<ICIF> from, to;
  explicit Frame(const benchmark::State& state)
      : width(static_cast<unsigned>(state.range(0))),
        height(static_cast<unsigned>(state.range(1))),
        bits(static_cast<int>(state.range(2))) {
    from = bench::FramePicture(width, height, bits, 1);
    to = bench::FramePicture(width, height, bits, 2);
  }
  std::size_t Bytes() const {
    return std::size_t{width} * height * static_cast<unsigned>(bits) / 8;
  }
};

void Sizes(benchmark::internal::Benchmark* b) {
  for (long bits : {24, 32}) {
    b->Args({1920, 1080, bits});
    b->Args({3840, 2160, bits});
  }
  b->Unit(benchmark::kMillisecond);
}

// The memory-bound reference (two pictures read, one written) is registered beside these.
[[maybe_unused]] const bool gReference = (bench::RegisterReference(), true);

void BM_ApplyMask(benchmark::State& state) {
  Frame frame(state);
  // A half-and-half dither mask.
  auto mask = ComPtr<ICIFImage>::Adopt(CIFObject::CreateImage());
  mask->Create(frame.width, frame.height, 1, 8, kFormatMono);
  CRandom32 prng(1);
  DitherMask pattern;
  pattern.Reset(frame.width, frame.height, 0);
  pattern.SetCells(prng, 5000, 255);
  const PlaneRows m = GetPlaneRows(mask.Get(), 0);
  pattern.Render(m.first, m.stride);
  for (auto _ : state) {
    ICIF* out = nullptr;
    CTransitionHelper::ApplyMask(frame.from.Get(), frame.to.Get(), mask.Get(), &out);
    out->Release();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * frame.Bytes() * 3));
}
BENCHMARK(BM_ApplyMask)->Apply(Sizes);

// Progress 0.5: the most cells a frame sets (5000).
double Half(int) {
  return 0.5;
}
// A played run: progress rises by 0.02 per frame, and a new run starts after 1.
double Rising(int n) {
  return n * 0.02;
}

[[maybe_unused]] const bool gEffects = [] {
  bench::RegisterEffect("Dither", {24, 32}, [](benchmark::State& state) {
    bench::PlayFrames(state, bench::MakeEffect<CDither>().Get(), {Half, 1, false});
  });
  bench::RegisterEffect("DitherCumulative", {24, 32}, [](benchmark::State& state) {
    bench::PlayFrames(state, bench::MakeEffect<CDitherCumulative>().Get(), {Rising, 51, true});
  });
  return true;
}();

// The cell-setting loop and the mask rendering alone (5000 cells), beside one plain write pass
// over a mask of the same size.
void MaskSizes(benchmark::internal::Benchmark* b) {
  b->Args({1920, 1080})->Args({3840, 2160})->Unit(benchmark::kMicrosecond);
}

void BM_MaskReferenceWritePass(benchmark::State& state) {
  const auto width = static_cast<std::size_t>(state.range(0));
  const auto height = static_cast<std::size_t>(state.range(1));
  std::vector<unsigned char> mask(width * height);
  unsigned char value = 0;
  for (auto _ : state) {
    std::memset(mask.data(), value++, mask.size());
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_MaskReferenceWritePass)->Apply(MaskSizes);

void BM_DitherCells(benchmark::State& state) {
  const auto width = static_cast<unsigned>(state.range(0));
  const auto height = static_cast<unsigned>(state.range(1));
  std::vector<unsigned char> mask(std::size_t{width} * height);
  CRandom32 prng(1);
  DitherMask pattern;
  for (auto _ : state) {
    pattern.Reset(width, height, 0);
    pattern.SetCells(prng, 5000, 255);
    pattern.Render(mask.data(), width);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_DitherCells)->Apply(MaskSizes);

}  // namespace
