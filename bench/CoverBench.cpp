// The cover family per frame, each style at both frame sizes (24 bits), from a host's side:
// create, DoTransition, release.
#include <string>

#include "bench/BenchSupport.h"
#include "effects/Cover.h"

namespace {

void CoverFrame(benchmark::State& state) {
  const auto width = static_cast<unsigned>(state.range(0));
  const auto height = static_cast<unsigned>(state.range(1));
  ComPtr<ICIF> from = bench::FramePicture(width, height, 24, 1);
  ComPtr<ICIF> to = bench::FramePicture(width, height, 24, 2);
  ComPtr<IKeloTransition> effect;
  IID iid = IID_IKeloTransition;
  CObject<CCover>::_CreateInstance(nullptr, &iid, effect.PutVoid());
  effect.As<IUIPropInterrogate>()->Control(CCover::kStyle, static_cast<int>(state.range(2)));
  bench::PlayFrames(state, effect.Get(), from.Get(), to.Get());
}

[[maybe_unused]] const bool gRegistered = [] {
  bench::RegisterReference();
  const char* names[] = {"Cover", "Push", "Crush"};
  for (int style = 0; style < 3; ++style)
    for (const bench::FrameSize& size : bench::kFrameSizes)
      benchmark::RegisterBenchmark((std::string(names[style]) + "/24bit/" +
                                    std::to_string(size.width) + "x" + std::to_string(size.height))
                                       .c_str(),
                                   CoverFrame)
          ->Args({size.width, size.height, style})
          ->Unit(benchmark::kMillisecond);
  return true;
}();

}  // namespace
