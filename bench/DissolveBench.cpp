// Each dissolve per frame at both frame sizes, 24 and 32 bits, beside the memory-bound reference.
#include <string>

#include "bench/BenchSupport.h"
#include "effects/Dissolve.h"

namespace {

template <class Effect>
void Register(const char* name) {
  for (int bits : {24, 32})
    for (const bench::FrameSize& size : bench::kFrameSizes)
      benchmark::RegisterBenchmark((std::string(name) + "/" + std::to_string(bits) + "bit/" +
                                    std::to_string(size.width) + "x" + std::to_string(size.height))
                                       .c_str(),
                                   bench::EffectFrame<Effect>)
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
