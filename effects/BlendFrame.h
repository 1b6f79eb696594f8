// The frame shared by the dissolves: match sizes, create the result canvas, and combine every
// byte of `from` and `to` through two 256-entry weighting tables.
#pragma once

#include <cstdint>

#include "frame/Com.h"

// How the two weighted bytes are combined.
enum class BlendSum {
  kWrap,      // (a + b) modulo 256
  kSaturate,  // min(255, a + b)
};

// entry[i] = trunc(i * weight) modulo 256, with negative (and NaN) products giving 0.
struct WeightTable {
  explicit WeightTable(double weight);
  std::uint16_t entry[256];
};

// One row: out[x] = sum(fromTable[from[x]], toTable[to[x]]) for x < count.
void BlendBytes(const WeightTable& fromTable, const WeightTable& toTable, BlendSum sum,
                const unsigned char* from, const unsigned char* to, unsigned char* out,
                std::size_t count);

// The dissolves' DoTransition with their two weights; always S_OK.
HRESULT BlendTransition(ICIF* from, ICIF* to, ICIF** out, double fromWeight, double toWeight,
                        BlendSum sum);
