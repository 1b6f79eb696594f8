// Shared pieces of the benchmarks: frame-sized host pictures, the memory-bound reference, and
// the one frame loop every effect benchmark runs (each effect frame timed beside one reference
// pass, reported as the ratio "x_reference").
#pragma once

#include <benchmark/benchmark.h>

#include <initializer_list>
#include <string>
#include <utility>

#include "effects/KeloTransitions.h"
#include "frame/Object.h"
#include "tests/common/TestHost.h"

namespace bench {

// The two frame sizes every effect and host operation is measured at.
struct FrameSize {
  unsigned width, height;
};
inline constexpr FrameSize kFrameSizes[] = {{1920, 1080}, {3840, 2160}};

// Makes the module hold the host's global collection, as a host would.
inline void StartHost() {
  static const bool started = [] {
    InitializeModule(nullptr, testhost::Global());
    return true;
  }();
  (void)started;
}

// A photo-like picture (smooth gradients with some texture), different per `seed`.
inline ComPtr<ICIF> FramePicture(unsigned width, unsigned height, int bits, int seed) {
  StartHost();
  static int currentSeed;
  currentSeed = seed;
  return testhost::MakePicture(width, height, bits, [](unsigned x, unsigned y, unsigned c) {
    return static_cast<unsigned char>(
        (x * (c + 1) + y * (3 - c) + currentSeed * 97 + ((x ^ y) & 15)) & 0xFF);
  });
}

// The frame a benchmark's first three arguments give: width, height and bits per pixel.
struct Frame {
  unsigned width, height;
  int bits;
};
inline Frame FrameOf(const benchmark::State& state) {
  return {static_cast<unsigned>(state.range(0)), static_cast<unsigned>(state.range(1)),
          static_cast<int>(state.range(2))};
}

inline std::size_t PictureBytes(unsigned width, unsigned height, int bits) {
  return static_cast<std::size_t>(width) * height * static_cast<unsigned>(bits) / 8;
}

// "<name>/<bits>bit/<width>x<height>", the name of every per-frame row.
std::string RowName(const std::string& name, int bits, const FrameSize& size);

// The memory-bound limit for an effect: one pass that reads two pictures and writes one of the
// same size and depth (their byte average), with no allocation.
class ReferencePass {
 public:
  ReferencePass(ICIF* from, ICIF* to, const Frame& frame);
  void Run();

 private:
  ComPtr<ICIF> out_;
  const unsigned char *from_, *to_;
  unsigned char* rows_;
  int fromStride_, toStride_, outStride_;
  unsigned height_;
  std::size_t rowBytes_;
};

// How PlayFrames walks through transitions: frame n of a run (from 0) is drawn at
// progressAt(n); a run has `runFrames` frames, after which the effect is told to Uninitialize
// when `restart` is set (the random transition picks again, a cumulative dither starts over).
struct Playback {
  // The inside of a 30-frame transition (1/30 .. 29/30): no frame is one of the early returns
  // some effects make at the ends.
  static double Inside(int n) { return (1 + n) / 30.0; }

  double (*progressAt)(int n) = Inside;
  int runFrames = 29;
  bool restart = false;
};

// One frame of `effect` per iteration, from a host's side, for the frame FrameOf gives:
// DoTransition and the result released, then one ReferencePass over the same two pictures. Each
// is timed apart on the steady clock; the iteration time is the effect's alone (the benchmark
// must use manual time, as RegisterEffect sets), and the counter "x_reference" is the effect's
// total time over the reference's, two figures taken side by side so that the machine's load
// moves both. "effect_cpu_ms" is the process's CPU time per effect frame (all threads; on a busy
// machine wall time also counts waiting for a core). Google Benchmark's own CPU column covers the
// whole iteration, reference pass included. Bytes: two pictures read, one written, per frame.
void PlayFrames(benchmark::State& state, IKeloTransition* effect, const Playback& playback = {});

// A new Effect with its starting settings, as IKeloTransition.
template <class Effect>
ComPtr<IKeloTransition> MakeEffect() {
  StartHost();
  ComPtr<IKeloTransition> effect;
  IID iid = IID_IKeloTransition;
  CObject<Effect>::_CreateInstance(nullptr, &iid, effect.PutVoid());
  return effect;
}

// PlayFrames of an Effect made once with its starting settings.
template <class Effect>
void EffectFrame(benchmark::State& state) {
  PlayFrames(state, MakeEffect<Effect>().Get());
}

// Registers an effect's rows, RowName(name, bits, size) for each of `depths` at both frame sizes,
// in milliseconds of manual time; `run(state)` plays its frames through PlayFrames.
template <class Run>
void RegisterEffect(const std::string& name, std::initializer_list<int> depths, Run run) {
  for (int bits : depths)
    for (const FrameSize& size : kFrameSizes)
      benchmark::RegisterBenchmark(RowName(name, bits, size).c_str(), run)
          ->Args({size.width, size.height, bits})
          ->UseManualTime()
          ->Unit(benchmark::kMillisecond);
}

// The reference pass alone, registered as "Reference/<bits>bit/<width>x<height>" (once, however
// many files ask).
void ReferenceBlend(benchmark::State& state);
void RegisterReference();

}  // namespace bench
