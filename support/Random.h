// The module's random generator: the 32-bit Mersenne Twister (MT19937).
#pragma once

#include <cstdint>

class CRandom32 {
 public:
  // Seed 0 means "seed from the clock" (hundredths of a second since the start of the year).
  explicit CRandom32(unsigned int seed);
  ~CRandom32();
  CRandom32(const CRandom32&) = delete;
  CRandom32& operator=(const CRandom32&) = delete;

  // The next value, uniform over 0..4294967295.
  std::uint32_t Random();

  // The seed a clock-seeded generator takes at this moment.
  static std::uint32_t ClockSeed();

 private:
  static constexpr int kWords = 624;
  std::uint32_t* state;
  std::int32_t index;  // next word to output; 0 also means "regenerate the block first"
};

// The module-wide generator, constructed at load with a clock seed.
extern CRandom32 gRandom;

// A uniform integer among `count` values starting at `base`, in the module's one idiom:
// trunc(r / 4294967295 * (count - 0.0000001) + base). The 0.0000001 keeps r = 4294967295 from
// producing base + count.
inline int RandomChoice(std::uint32_t r, int count, int base = 0) {
  return static_cast<int>(r / 4294967295.0 * (count - 0.0000001) + base);
}

// The random transition's pick among `count` candidates: floor(((count - 1) + 0.9999999) * r /
// 4294967295). The same values as RandomChoice but for rounding at count 2, and an empty range
// gives -1 (0 for r = 0), which no collection accepts.
inline int RandomPick(std::uint32_t r, int count) {
  const double x = 0.0 + (static_cast<double>(count - 1) + 0.9999999) * (r / 4294967295.0);
  return static_cast<int>(__builtin_floor(x));
}
