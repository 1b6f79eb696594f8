// The random transition per frame at both frame sizes, 24 and 32 bits: each run of 29 frames is
// one pick (Uninitialize picks again), so a row averages over the transitions the host has.
#include "bench/BenchSupport.h"
#include "effects/RandomTransition.h"

namespace {

[[maybe_unused]] const bool gRegistered = [] {
  bench::RegisterReference();
  bench::RegisterEffect("Random", {24, 32}, [](benchmark::State& state) {
    bench::Playback picks;
    picks.restart = true;
    bench::PlayFrames(state, bench::MakeEffect<CRandomTransition>().Get(), picks);
  });
  return true;
}();

}  // namespace
