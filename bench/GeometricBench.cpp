// The geometric effects per frame at both frame sizes, 24 and 32 bits, beside their references in
// the same run: Imaging/OpenCVWarpPerspective (ImagingBench.cpp) for the flip, the perspective turn
// and the twirl; Imaging/OpenCVRemapBothAndDissolve for the deform; and FFmpeg's xfade zoomin on
// the same frames, one thread, for the twirl.
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "app/Sinks.h"
#include "bench/BenchSupport.h"
#include "effects/Deform.h"
#include "effects/Flip.h"
#include "effects/PerspectiveTurn.h"
#include "effects/Twirl.h"

namespace {

// One picture as a raw planar frame for FFmpeg ("gbrp" or, with alpha, "gbrap").
std::string WritePlanar(ICIF* picture, unsigned width, unsigned height, int bits,
                        const std::filesystem::path& path) {
  int info = 0, stride = 0;
  unsigned char* first = nullptr;
  picture->GetPlaneLines(0, &info, &first, &stride);
  const unsigned channels = static_cast<unsigned>(bits) / 8;
  std::vector<unsigned char> planes(static_cast<std::size_t>(width) * height * channels);
  const unsigned order[4] = {1, 2, 0, 3};  // planes G, B, R, A
  for (unsigned p = 0; p < channels; ++p)
    for (unsigned y = 0; y < height; ++y)
      for (unsigned x = 0; x < width; ++x)
        planes[(static_cast<std::size_t>(p) * height + y) * width + x] =
            first[static_cast<std::ptrdiff_t>(y) * stride + x * channels + order[p]];
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) return {};
  const bool written = std::fwrite(planes.data(), 1, planes.size(), file) == planes.size();
  std::fclose(file);
  return written ? (channels == 4 ? "gbrap" : "gbrp") : std::string{};
}

// Wall seconds and child CPU seconds of one command.
std::pair<double, double> Timed(const std::string& command) {
  rusage before{}, after{};
  getrusage(RUSAGE_CHILDREN, &before);
  const auto start = std::chrono::steady_clock::now();
  const int status = std::system(command.c_str());
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
  getrusage(RUSAGE_CHILDREN, &after);
  auto seconds = [](const timeval& t) { return static_cast<double>(t.tv_sec) + t.tv_usec * 1e-6; };
  const double cpu = seconds(after.ru_utime) - seconds(before.ru_utime) + seconds(after.ru_stime) -
                     seconds(before.ru_stime);
  return status == 0 ? std::pair{wall.count(), cpu} : std::pair{-1.0, -1.0};
}

// FFmpeg's xfade zoomin from one picture to the other, one thread: the program runs once over
// 60 transition frames and once passing the same 60 frames of the first input through (the
// offset past the end), and the difference divided by 60 is one transition frame. Iteration
// time is wall time; the "cpu_ms" counter is the program's own CPU time per frame.
void XfadeZoomin(benchmark::State& state) {
  const auto [width, height, bits] = bench::FrameOf(state);
  const std::string ffmpeg = kelo::FindFfmpeg();
  if (ffmpeg.empty()) {
    state.SkipWithError("no ffmpeg on PATH");
    return;
  }
  const auto folder = std::filesystem::temp_directory_path();
  const auto fromPath = folder / ("kelo-bench-from-" + std::to_string(getpid()) + ".raw");
  const auto toPath = folder / ("kelo-bench-to-" + std::to_string(getpid()) + ".raw");
  const std::string format =
      WritePlanar(bench::FramePicture(width, height, bits, 1).Get(), width, height, bits, fromPath);
  WritePlanar(bench::FramePicture(width, height, bits, 2).Get(), width, height, bits, toPath);
  constexpr int kFrames = 60;
  auto command = [&](int offset) {
    const std::string input = " -f rawvideo -pix_fmt " + format + " -s " + std::to_string(width) +
                              "x" + std::to_string(height) + " -framerate 30 -stream_loop -1 -i ";
    return ffmpeg +
           " -hide_banner -loglevel error -nostdin -threads 1 -filter_threads 1"
           " -filter_complex_threads 1" +
           input + fromPath.string() + input + toPath.string() +
           " -filter_complex \"[0][1]xfade=transition=zoomin:duration=2:offset=" +
           std::to_string(offset) + "\" -frames:v " + std::to_string(kFrames) + " -f null -";
  };
  double cpu = 0;
  for (auto _ : state) {
    const auto [transitionWall, transitionCpu] = Timed(command(0));
    const auto [passWall, passCpu] = Timed(command(100));
    if (transitionWall < 0 || passWall < 0) {
      state.SkipWithError("ffmpeg failed");
      break;
    }
    state.SetIterationTime((transitionWall - passWall) / kFrames);
    cpu += (transitionCpu - passCpu) / kFrames;
  }
  state.counters["cpu_ms"] = benchmark::Counter(cpu * 1000, benchmark::Counter::kAvgIterations);
  std::filesystem::remove(fromPath);
  std::filesystem::remove(toPath);
}

[[maybe_unused]] const bool gRegistered = [] {
  bench::RegisterEffect("Flip", {24, 32}, bench::EffectFrame<CFlip>);
  bench::RegisterEffect("PerspectiveTurn", {24, 32}, bench::EffectFrame<CPerspectiveTurn>);
  bench::RegisterEffect("Twirl", {24, 32}, bench::EffectFrame<CTwirl>);
  bench::RegisterEffect("Deform", {24, 32}, bench::EffectFrame<CDeform>);
  for (int bits : {24, 32})
    for (const bench::FrameSize& size : bench::kFrameSizes)
      benchmark::RegisterBenchmark(bench::RowName("Reference/XfadeZoomin", bits, size).c_str(),
                                   XfadeZoomin)
          ->Args({size.width, size.height, bits})
          ->UseManualTime()
          ->Iterations(2)
          ->Unit(benchmark::kMillisecond);
  return true;
}();

}  // namespace
