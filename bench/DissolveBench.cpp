// Each dissolve per frame at both frame sizes, 24 and 32 bits, beside the memory-bound reference.
#include <string>

#include "bench/BenchSupport.h"
#include "effects/Dissolve.h"

namespace {

template <class Effect>
void DissolveFrame(benchmark::State& state) {
  const auto width = static_cast<unsigned>(state.range(0));
  const auto height = static_cast<unsigned>(state.range(1));
  const int bits = static_cast<int>(state.range(2));
  ComPtr<ICIF> from = bench::FramePicture(width, height, bits, 1);
  ComPtr<ICIF> to = bench::FramePicture(width, height, bits, 2);
  ComPtr<IKeloTransition> effect;
  IID iid = IID_IKeloTransition;
  CObject<Effect>::_CreateInstance(nullptr, &iid, effect.PutVoid());
  int frame = 0;
  for (auto _ : state) {
    const double progress =
        (frame++ % 31) / 30.0;  // a one-second transition at 30 frames per second
    ICIF* out = nullptr;
    effect->DoTransition(from.Get(), to.Get(), &out, progress);
    benchmark::DoNotOptimize(out);
    out->Release();
  }
  state.SetBytesProcessed(
      static_cast<std::int64_t>(state.iterations() * 3 * bench::PictureBytes(width, height, bits)));
}

template <class Effect>
void Register(const char* name) {
  for (int bits : {24, 32})
    for (const bench::FrameSize& size : bench::kFrameSizes)
      benchmark::RegisterBenchmark((std::string(name) + "/" + std::to_string(bits) + "bit/" +
                                    std::to_string(size.width) + "x" + std::to_string(size.height))
                                       .c_str(),
                                   DissolveFrame<Effect>)
          ->Args({size.width, size.height, bits})
          ->Unit(benchmark::kMillisecond);
}

[[maybe_unused]] const bool gRegistered = [] {
  bench::RegisterReference();
  Register<CDissolve>("Dissolve");
  Register<CDissolveAdditive>("DissolveAdditive");
  return true;
}();

}  // namespace
