#include "bench/BenchSupport.h"

#include <time.h>

#include <chrono>
#include <string>

namespace bench {

namespace {

struct Rows {
  unsigned char* first;
  int stride;
};

Rows RowsOf(ICIF* picture) {
  int info = 0, stride = 0;
  unsigned char* first = nullptr;
  picture->GetPlaneLines(0, &info, &first, &stride);
  return {first, stride};
}

// CPU time of the whole process (every thread, so host operations that run on OpenCV's threads
// count in full).
std::chrono::nanoseconds ProcessCpuTime() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

}  // namespace

std::string RowName(const std::string& name, int bits, const FrameSize& size) {
  return name + "/" + std::to_string(bits) + "bit/" + std::to_string(size.width) + "x" +
         std::to_string(size.height);
}

ReferencePass::ReferencePass(ICIF* from, ICIF* to, const Frame& frame)
    : out_(FramePicture(frame.width, frame.height, frame.bits, 3)),
      height_(frame.height),
      rowBytes_(PictureBytes(frame.width, 1, frame.bits)) {
  const Rows a = RowsOf(from), b = RowsOf(to), o = RowsOf(out_.Get());
  from_ = a.first;
  fromStride_ = a.stride;
  to_ = b.first;
  toStride_ = b.stride;
  rows_ = o.first;
  outStride_ = o.stride;
}

void ReferencePass::Run() {
  // Locals, not members: a store through an unsigned char pointer may alias any member, which
  // would keep the compiler from vectorizing the row loop.
  const unsigned char* from = from_;
  const unsigned char* to = to_;
  unsigned char* rows = rows_;
  const std::size_t rowBytes = rowBytes_;
  for (unsigned y = 0, height = height_; y < height; ++y) {
    const unsigned char* ra = from + static_cast<std::ptrdiff_t>(y) * fromStride_;
    const unsigned char* rb = to + static_cast<std::ptrdiff_t>(y) * toStride_;
    unsigned char* ro = rows + static_cast<std::ptrdiff_t>(y) * outStride_;
    for (std::size_t x = 0; x < rowBytes; ++x)
      ro[x] = static_cast<unsigned char>((ra[x] + rb[x]) >> 1);
  }
  benchmark::ClobberMemory();
}

void ReferenceBlend(benchmark::State& state) {
  const Frame f = FrameOf(state);
  ComPtr<ICIF> a = FramePicture(f.width, f.height, f.bits, 1);
  ComPtr<ICIF> b = FramePicture(f.width, f.height, f.bits, 2);
  ReferencePass reference(a.Get(), b.Get(), f);
  for (auto _ : state) reference.Run();
  state.SetBytesProcessed(
      static_cast<std::int64_t>(state.iterations() * 3 * PictureBytes(f.width, f.height, f.bits)));
}

void PlayFrames(benchmark::State& state, IKeloTransition* effect, const Playback& playback) {
  using Clock = std::chrono::steady_clock;
  const Frame f = FrameOf(state);
  if (effect == nullptr) {
    state.SkipWithError("the effect could not be made");
    return;
  }
  ComPtr<ICIF> from = FramePicture(f.width, f.height, f.bits, 1);
  ComPtr<ICIF> to = FramePicture(f.width, f.height, f.bits, 2);
  ReferencePass reference(from.Get(), to.Get(), f);
  Clock::duration effectTime{}, referenceTime{};
  std::chrono::nanoseconds effectCpu{};
  int n = 0;
  for (auto _ : state) {
    const std::chrono::nanoseconds cpuStart = ProcessCpuTime();
    const Clock::time_point start = Clock::now();
    ICIF* out = nullptr;
    effect->DoTransition(from.Get(), to.Get(), &out, playback.progressAt(n));
    benchmark::DoNotOptimize(out);
    if (out != nullptr) out->Release();
    if (++n == playback.runFrames) {
      n = 0;
      if (playback.restart) effect->Uninitialize();
    }
    const Clock::time_point effectEnd = Clock::now();
    effectCpu += ProcessCpuTime() - cpuStart;
    reference.Run();
    const Clock::time_point referenceEnd = Clock::now();
    effectTime += effectEnd - start;
    referenceTime += referenceEnd - effectEnd;
    state.SetIterationTime(std::chrono::duration<double>(effectEnd - start).count());
  }
  if (referenceTime.count() > 0)
    state.counters["x_reference"] = std::chrono::duration<double>(effectTime).count() /
                                    std::chrono::duration<double>(referenceTime).count();
  state.counters["effect_cpu_ms"] =
      benchmark::Counter(std::chrono::duration<double, std::milli>(effectCpu).count(),
                         benchmark::Counter::kAvgIterations);
  state.SetBytesProcessed(
      static_cast<std::int64_t>(state.iterations() * 3 * PictureBytes(f.width, f.height, f.bits)));
}

void RegisterReference() {
  static const bool registered = [] {
    for (int bits : {24, 32})
      for (const FrameSize& size : kFrameSizes)
        benchmark::RegisterBenchmark(RowName("Reference", bits, size).c_str(), ReferenceBlend)
            ->Args({size.width, size.height, bits})
            ->Unit(benchmark::kMillisecond);
    return true;
  }();
  (void)registered;
}

}  // namespace bench
