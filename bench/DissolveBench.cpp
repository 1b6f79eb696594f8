// Each dissolve per frame at both frame sizes, 24 and 32 bits, beside the memory-bound reference.
#include "bench/BenchSupport.h"
#include "effects/Dissolve.h"

namespace {

[[maybe_unused]] const bool gRegistered = [] {
  bench::RegisterReference();
  bench::RegisterEffect("Dissolve", {24, 32}, bench::EffectFrame<CDissolve>);
  bench::RegisterEffect("DissolveAdditive", {24, 32}, bench::EffectFrame<CDissolveAdditive>);
  return true;
}();

}  // namespace
