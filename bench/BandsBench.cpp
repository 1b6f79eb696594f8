// The band effects per frame at both frame sizes, 24 and 32 bits, beside the memory-bound
// reference: counter bands (push and cover, 3 and 9 bands) and shutter bands (rows and columns).
// Run: build/bench/kelo_bench --benchmark_filter='Shutter|Counter|Reference'
#include <string>
#include <utility>
#include <vector>

#include "bench/BenchSupport.h"
#include "effects/CounterBands.h"
#include "effects/ShutterBands.h"

namespace {

using Settings = std::vector<std::pair<int, int>>;  // (property id, value), set in this order

// Rows of effect T with these settings, as bench::RegisterEffect names them.
template <class T>
void Register(const std::string& name, const Settings& settings) {
  bench::RegisterEffect(name, {24, 32}, [settings](benchmark::State& state) {
    ComPtr<IKeloTransition> effect = bench::MakeEffect<T>();
    auto properties = effect.As<IUIPropInterrogate>();
    for (const auto& [id, value] : settings) properties->Control(id, value);
    bench::PlayFrames(state, effect.Get());
  });
}

[[maybe_unused]] const bool gRegistered = [] {
  bench::RegisterReference();
  for (int bands : {3, 9}) {
    const std::string count = std::to_string(bands);
    Register<CCounterBands>(
        "CounterBands/push/" + count,
        {{CCounterBands::kStyle, CCounterBands::kPush}, {CCounterBands::kBands, bands}});
    // Style cover is what "CounterCoverTransition" makes.
    Register<CCounterBands>(
        "CounterCover/" + count,
        {{CCounterBands::kStyle, CCounterBands::kCover}, {CCounterBands::kBands, bands}});
  }
  // Five bands opening from their middles, as horizontal and as vertical slats.
  for (int direction : {0, 1})
    Register<CShutterBands>(direction == 0 ? "ShutterBands/rows" : "ShutterBands/columns",
                            {{CShutterBands::kDirection, direction},
                             {CShutterBands::kStyle, CShutterBands::kAtMiddle},
                             {CShutterBands::kBands, 5}});
  return true;
}();

}  // namespace
