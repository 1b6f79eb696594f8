// The cover family per frame, each style at both frame sizes (24 bits), from a host's side:
// create, DoTransition, release.
#include <string>

#include "bench/BenchSupport.h"
#include "effects/Cover.h"

namespace {

// Arguments: the frame (24 bits), then the style.
void CoverFrame(benchmark::State& state) {
  ComPtr<IKeloTransition> effect;
  IID iid = IID_IKeloTransition;
  CObject<CCover>::_CreateInstance(nullptr, &iid, effect.PutVoid());
  effect.As<IUIPropInterrogate>()->Control(CCover::kStyle, static_cast<int>(state.range(3)));
  bench::PlayFrames(state, effect.Get());
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
          ->Args({size.width, size.height, 24, style})
          ->Unit(benchmark::kMillisecond);
  return true;
}();

}  // namespace
