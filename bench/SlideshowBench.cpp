// A 10-picture 1920x1080 slideshow rendered the way kelo renders it (effects driven in order on
// one thread, frames handed to an encoder thread), into a sink that only counts the frames, so
// the figure is rendering alone. Items per second are frames per second.
#include <benchmark/benchmark.h>

#include "app/Builtin.h"
#include "app/Host.h"
#include "app/Pipeline.h"
#include "app/Render.h"

namespace {

kelo::Host& SharedHost() {
  static kelo::Host host;
  return host;
}

void SlideshowFrames(benchmark::State& state, const wchar_t* transition) {
  kelo::Host& host = SharedHost();
  const kelo::Size size{1920, 1080};
  std::vector<ComPtr<ICIF>> pictures;
  for (std::size_t k = 0; k < 10; ++k) pictures.push_back(kelo::BuiltinPicture(host, k, size));
  auto effect = host.CreateTransition(transition);
  if (!effect) {
    state.SkipWithError("transition not available");
    return;
  }
  // 0.2 s holds and 0.5 s transitions at 30 fps: 10 x 6 + 9 x 15 = 195 frames.
  const kelo::SlideshowPlan plan{pictures.size(), kelo::FrameCount(0.2, 30),
                                 kelo::FrameCount(0.5, 30)};
  long frames = 0;
  for (auto _ : state) {
    auto counter = std::make_unique<kelo::CountingSink>();
    kelo::CountingSink* counted = counter.get();
    kelo::AsyncSink sink(std::move(counter), nullptr);
    kelo::RenderSlideshow(
        plan, [&](std::size_t k) { return pictures[k]; },
        [&](std::size_t) { return std::make_pair(effect.Get(), std::string("bench")); }, sink);
    sink.Finish();
    frames += counted->Frames();
  }
  state.SetItemsProcessed(frames);
  state.counters["frames"] = static_cast<double>(plan.TotalFrames());
}

BENCHMARK_CAPTURE(SlideshowFrames, Dissolve, L"DissolveTransition")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(SlideshowFrames, Random, L"RandomTransition")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
