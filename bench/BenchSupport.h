// Shared pieces of the benchmarks: frame-sized host pictures and the memory-bound reference.
#pragma once

#include <benchmark/benchmark.h>

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

// One frame of `effect` per iteration, from a host's side, for the frame FrameOf gives:
// DoTransition and the result released. Progress runs through the inside of a 30-frame transition
// (1/30 .. 29/30), so no frame is one of the early returns some effects make at the ends. Bytes:
// two pictures read, one written.
void PlayFrames(benchmark::State& state, IKeloTransition* effect);

// The same for an Effect made once with its starting settings.
template <class Effect>
void EffectFrame(benchmark::State& state) {
  ComPtr<IKeloTransition> effect;
  IID iid = IID_IKeloTransition;
  CObject<Effect>::_CreateInstance(nullptr, &iid, effect.PutVoid());
  PlayFrames(state, effect.Get());
}

// The memory-bound limit for an effect: read two pictures and write one of the same size,
// with no allocation. Registered as "Reference/<bits>/<width>x<height>".
void ReferenceBlend(benchmark::State& state);
void RegisterReference();

}  // namespace bench
