// The dithers and ApplyMask per frame, beside the reference loop of BenchSupport (the cost of
// one pass over the memory a composition touches).
// Run from the build folder: ./bench/kelo_bench --benchmark_filter=Dither
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

// Frames of effect T at the progress `progressAt` gives for frame number n; `restart` is called
// after every 50 frames.
template <class T>
void EffectFrames(benchmark::State& state, double (*progressAt)(int n), bool restart) {
  Frame frame(state);
  ComPtr<IKeloTransition> effect;
  IID iid = IID_IKeloTransition;
  CObject<T>::_CreateInstance(nullptr, &iid, effect.PutVoid());
  int n = 0;
  for (auto _ : state) {
    ICIF* out = nullptr;
    effect->DoTransition(frame.from.Get(), frame.to.Get(), &out, progressAt(n));
    out->Release();
    if (++n > 50) {
      n = 0;
      if (restart) effect->Uninitialize();
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * frame.Bytes() * 3));
}

// Progress 0.5: the most cells a frame sets (5000).
void BM_DitherFrame(benchmark::State& state) {
  EffectFrames<CDither>(
      state, [](int) { return 0.5; }, false);
}
BENCHMARK(BM_DitherFrame)->Apply(Sizes);

// A played run: progress rises by 0.02 per frame, and a new run starts after 1.
void BM_DitherCumulativeFrame(benchmark::State& state) {
  EffectFrames<CDitherCumulative>(
      state, [](int n) { return n * 0.02; }, true);
}
BENCHMARK(BM_DitherCumulativeFrame)->Apply(Sizes);

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
