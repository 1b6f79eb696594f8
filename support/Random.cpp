#include "support/Random.h"

#include <ctime>

CRandom32::CRandom32(unsigned int seed) : state(new std::uint32_t[kWords]), index(0) {
  if (seed == 0) seed = ClockSeed();
  state[0] = seed;
  for (int i = 1; i < kWords; ++i)
    state[i] = 1812433253u * (state[i - 1] ^ (state[i - 1] >> 30)) + static_cast<std::uint32_t>(i);
}

CRandom32::~CRandom32() { delete[] state; }

std::uint32_t CRandom32::Random() {
  if (index == 0) {
    // The twist, in place and in increasing order: words 227.. already see the new words 0...
    for (int i = 0; i < kWords; ++i) {
      const std::uint32_t y = (state[i] & 0x80000000u) | (state[(i + 1) % kWords] & 0x7FFFFFFFu);
      state[i] = state[(i + 397) % kWords] ^ (y >> 1) ^ ((y & 1u) ? 0x9908B0DFu : 0u);
    }
  }
  std::uint32_t y = state[index];
  index = (index + 1) % kWords;
  y ^= y >> 11;
  y ^= (y << 7) & 0x9D2C5680u;
  y ^= (y << 15) & 0xEFC60000u;
  y ^= y >> 18;
  return y;
}

std::uint32_t CRandom32::ClockSeed() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm utc{};
  gmtime_r(&now.tv_sec, &utc);
  // Day number counts from 1 on January 1st, so the seed carries one extra day.
  const int day = utc.tm_yday + 1;
  const float seconds = static_cast<float>(utc.tm_sec + now.tv_nsec / 1e9);
  const auto hundredths = static_cast<std::int64_t>(seconds * 10.0f * 10.0f);
  const auto whole =
      static_cast<std::int32_t>(day * 86400 + utc.tm_hour * 3600 + utc.tm_min * 60);
  return static_cast<std::uint32_t>(hundredths + 100 * static_cast<std::int64_t>(whole));
}
