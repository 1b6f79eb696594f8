#include "support/Random.h"

#include "support/DateTimer.h"

CRandom32::CRandom32(unsigned int seed) : state(new std::uint32_t[kWords]), index(0) {
  if (seed == 0) seed = ClockSeed();
  state[0] = seed;
  for (int i = 1; i < kWords; ++i)
    state[i] = 1812433253u * (state[i - 1] ^ (state[i - 1] >> 30)) + static_cast<std::uint32_t>(i);
}

CRandom32::~CRandom32() {
  delete[] state;
}

namespace {

inline std::uint32_t Twisted(std::uint32_t current, std::uint32_t next, std::uint32_t far) {
  const std::uint32_t y = (current & 0x80000000u) | (next & 0x7FFFFFFFu);
  return far ^ (y >> 1) ^ ((y & 1u) ? 0x9908B0DFu : 0u);
}

}  // namespace

std::uint32_t CRandom32::Random() {
  if (index == 0) {
    // The twist, in place and in increasing order: words 0..226 use the old words 397..623,
    // words 227..622 the new words 0..395, word 623 the new words 396 and 0.
    constexpr int kShift = 397;
    int i = 0;
    for (; i < kWords - kShift; ++i) state[i] = Twisted(state[i], state[i + 1], state[i + kShift]);
    for (; i < kWords - 1; ++i)
      state[i] = Twisted(state[i], state[i + 1], state[i + kShift - kWords]);
    state[i] = Twisted(state[i], state[0], state[kShift - 1]);
  }
  std::uint32_t y = state[index];
  if (++index == kWords) index = 0;
  y ^= y >> 11;
  y ^= (y << 7) & 0x9D2C5680u;
  y ^= (y << 15) & 0xEFC60000u;
  y ^= y >> 18;
  return y;
}

std::uint32_t CRandom32::ClockSeed() {
  // The current UTC date from the clock, counted with the date timer's own calendar.
  CDateTimer now;
  now.Reset();
  // Day number within the year, January 1st being 1 (so the seed carries one extra day).
  int day = now.Day;
  for (unsigned month = 1; month < now.Month; ++month) day += DaysInMonth(month, now.Year);
  // Hundredths of a second: the seconds field times 10 times 10, in single precision.
  float hundredths = now.Second;
  hundredths *= 10.0f;
  hundredths *= 10.0f;
  const auto whole = static_cast<std::int32_t>(day * 86400 + now.Hour * 3600 + now.Minute * 60);
  return static_cast<std::uint32_t>(static_cast<std::int64_t>(hundredths)) +
         100u * static_cast<std::uint32_t>(whole);
}
