// Shared pieces of the benchmarks: frame-sized host pictures and the memory-bound reference.
#pragma once

#include <benchmark/benchmark.h>

#include "effects/KeloTransitions.h"
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

inline std::size_t PictureBytes(unsigned width, unsigned height, int bits) {
  return static_cast<std::size_t>(width) * height * static_cast<unsigned>(bits) / 8;
}

// Frames of `effect` as a host plays them: the progress steps through 0..1 in 31 frames, and each
// result is released.
void PlayFrames(benchmark::State& state, IKeloTransition* effect, ICIF* from, ICIF* to);

// The memory-bound limit for an effect: read two pictures and write one of the same size,
// with no allocation. Registered as "Reference/<bits>/<width>x<height>".
void ReferenceBlend(benchmark::State& state);
void RegisterReference();

}  // namespace bench
