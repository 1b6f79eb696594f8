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
  double weight;
  std::uint16_t entry[256];
};

// Combines rows of bytes: out[x] = sum(fromTable[from[x]], toTable[to[x]]). Built once per
// frame: it decides there whether the rows can run on vector lanes (see BlendFrame.cpp).
class BlendRows {
 public:
  BlendRows(const WeightTable& fromTable, const WeightTable& toTable, BlendSum sum);
  void operator()(const unsigned char* from, const unsigned char* to, unsigned char* out,
                  std::size_t count) const;

  // A weight as the vector loops use it: multiplier halves and corrections as 16-bit lanes.
  struct Lanes {
    short high = 0, low = 0;
    int corrections = 0;
    short value[16] = {};
    bool up[16] = {};
  };

 private:
  // A table as (i * multiplier) >> 24 plus a few corrections of one up or down.
  struct VectorWeight {
    static constexpr int kMaxCorrections = 16;
    bool exact = false;
    std::uint16_t high = 0;  // the multiplier's bits 16..24
    std::uint16_t low = 0;   // its bits 0..15
    int corrections = 0;
    std::uint8_t correctedValue[kMaxCorrections] = {};
    std::int8_t correction[kMaxCorrections] = {};  // +1 or -1
  };
  static VectorWeight FindVectorWeight(const WeightTable& table);
  static Lanes LanesOf(const VectorWeight& weight);

  const WeightTable& fromTable_;
  const WeightTable& toTable_;
  BlendSum sum_;
  VectorWeight fromVector_, toVector_;
  Lanes fromLanes_, toLanes_;
};

// The dissolves' DoTransition with their two weights; always S_OK.
HRESULT BlendTransition(ICIF* from, ICIF* to, ICIF** out, double fromWeight, double toWeight,
                        BlendSum sum);
