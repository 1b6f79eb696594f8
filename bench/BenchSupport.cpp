#include "bench/BenchSupport.h"

#include <string>

namespace bench {

void ReferenceBlend(benchmark::State& state) {
  const auto [width, height, bits] = FrameOf(state);
  ComPtr<ICIF> a = FramePicture(width, height, bits, 1);
  ComPtr<ICIF> b = FramePicture(width, height, bits, 2);
  ComPtr<ICIF> out = FramePicture(width, height, bits, 3);
  auto rows = [](ICIF* picture) {
    int info = 0, stride = 0;
    unsigned char* first = nullptr;
    picture->GetPlaneLines(0, &info, &first, &stride);
    return std::pair{first, stride};
  };
  const auto [pa, sa] = rows(a.Get());
  const auto [pb, sb] = rows(b.Get());
  const auto [po, so] = rows(out.Get());
  const std::size_t rowBytes = static_cast<std::size_t>(width) * static_cast<unsigned>(bits) / 8;
  for (auto _ : state) {
    for (unsigned y = 0; y < height; ++y) {
      const unsigned char* ra = pa + static_cast<std::ptrdiff_t>(y) * sa;
      const unsigned char* rb = pb + static_cast<std::ptrdiff_t>(y) * sb;
      unsigned char* ro = po + static_cast<std::ptrdiff_t>(y) * so;
      for (std::size_t x = 0; x < rowBytes; ++x)
        ro[x] = static_cast<unsigned char>((ra[x] + rb[x]) >> 1);
    }
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(
      static_cast<std::int64_t>(state.iterations() * 3 * PictureBytes(width, height, bits)));
}

void PlayFrames(benchmark::State& state, IKeloTransition* effect) {
  const Frame f = FrameOf(state);
  ComPtr<ICIF> from = FramePicture(f.width, f.height, f.bits, 1);
  ComPtr<ICIF> to = FramePicture(f.width, f.height, f.bits, 2);
  int frame = 0;
  for (auto _ : state) {
    const double progress = (1 + frame++ % 29) / 30.0;
    ICIF* out = nullptr;
    effect->DoTransition(from.Get(), to.Get(), &out, progress);
    benchmark::DoNotOptimize(out);
    if (out != nullptr) out->Release();
  }
  state.SetBytesProcessed(
      static_cast<std::int64_t>(state.iterations() * 3 * PictureBytes(f.width, f.height, f.bits)));
}

void RegisterReference() {
  static const bool registered = [] {
    for (int bits : {24, 32})
      for (const FrameSize& size : kFrameSizes)
        benchmark::RegisterBenchmark(
            ("Reference/" + std::to_string(bits) + "bit/" + std::to_string(size.width) + "x" +
             std::to_string(size.height))
                .c_str(),
            ReferenceBlend)
            ->Args({size.width, size.height, bits})
            ->Unit(benchmark::kMillisecond);
    return true;
  }();
  (void)registered;
}

}  // namespace bench
