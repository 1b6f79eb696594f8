// The cover family per frame, each style at both frame sizes, 24 and 32 bits, from a host's
// side: DoTransition and release, beside the memory-bound reference.
#include "bench/BenchSupport.h"
#include "effects/Cover.h"

namespace {

[[maybe_unused]] const bool gRegistered = [] {
  bench::RegisterReference();
  const char* names[] = {"Cover", "Push", "Crush"};
  for (int style = 0; style < 3; ++style)
    bench::RegisterEffect(names[style], {24, 32}, [style](benchmark::State& state) {
      auto effect = bench::MakeEffect<CCover>();
      effect.As<IUIPropInterrogate>()->Control(CCover::kStyle, style);
      bench::PlayFrames(state, effect.Get());
    });
  return true;
}();

}  // namespace
