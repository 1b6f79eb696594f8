// The dissolves, byte for byte against a plain reading of their tables, in every format pair.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "effects/BlendFrame.h"
#include "effects/Dissolve.h"
#include "tests/common/TestHost.h"
#include "tests/module/EffectTestSupport.h"

namespace {

using moduletest::New;
using moduletest::Render;
using testhost::Bytes;
using testhost::MakePicture;

// The weighting tables as described: trunc(i * w) as unsigned 32 bits, negatives 0, modulo 256.
unsigned Weighted(unsigned value, double weight) {
  const double product = value * weight;
  if (!(product > 0)) return 0;
  return static_cast<unsigned>(static_cast<std::uint64_t>(product) % 256);
}

// The plain dissolve weighs (1 - p, p) and wraps; the additive one weighs (1, 2p) up to the
// middle and (2 (1 - p), 1) after it, and saturates.
unsigned Combine(unsigned a, unsigned b, double p, bool additive) {
  if (!additive) return (Weighted(a, 1.0 - p) + Weighted(b, p)) % 256;
  const bool early = p < 0.5;
  return std::min(Weighted(a, early ? 1.0 : 2 * (1 - p)) + Weighted(b, early ? 2 * p : 1.0), 255u);
}

unsigned char PatternA(unsigned x, unsigned y, unsigned c) {
  return static_cast<unsigned char>(x * 7 + y * 13 + c * 101);
}
unsigned char PatternB(unsigned x, unsigned y, unsigned c) {
  return static_cast<unsigned char>(255 - x * 3 - y * 29 + c * 57);
}

ComPtr<IKeloTransition> Make(bool additive) {
  return additive ? New<CDissolveAdditive>() : New<CDissolve>();
}

// Catches: a wrong weight, rounding, wrap or saturation at any progress (ends, outside [0, 1] and
// NaN included), in any equal format, in the vector or the scalar tail of a row.
TEST(Dissolve, EqualFormatsMatchTheTablesEverywhere) {
  for (int bits : {8, 24, 32}) {
    // 37 pixels wide: rows are not a multiple of the vector width, and strides exceed rows.
    const auto from = MakePicture(37, 5, bits, PatternA), to = MakePicture(37, 5, bits, PatternB);
    const auto a = Bytes(from.Get()), b = Bytes(to.Get());
    for (bool additive : {false, true}) {
      const auto effect = Make(additive);
      for (double p :
           {0.0, 0.1, 0.25, 0.3, 1.0 / 3, 0.5, 0.7, 0.999, 1.0, -0.5, 1.5, 3.75, double{NAN}}) {
        const auto bytes = Bytes(Render(effect.Get(), from.Get(), to.Get(), p).Get());
        ASSERT_EQ(bytes.size(), a.size());
        for (std::size_t i = 0; i < bytes.size(); ++i)
          ASSERT_EQ(bytes[i], Combine(a[i], b[i], p, additive))
              << "bits " << bits << " additive " << additive << " p " << p << " byte " << i;
      }
    }
  }
  // Worked values, independent of Combine: white halves to 127 + 127; grey 200 at 0.25 adds
  // 200 + 100 and saturates.
  const auto white = MakePicture(4, 1, 8, effecttest::Level<255>),
             grey = MakePicture(4, 1, 8, effecttest::Level<200>);
  EXPECT_EQ(Bytes(Render(Make(false).Get(), white.Get(), white.Get(), 0.5).Get())[0], 254);
  EXPECT_EQ(Bytes(Render(Make(true).Get(), grey.Get(), grey.Get(), 0.25).Get())[0], 255);
}

// Catches: a pixel step taken from the wrong picture. 32 onto 24 skips from's fourth byte; 24
// onto 32 reads `to` three bytes per pixel and never writes the fourth result byte.
TEST(Dissolve, MixedFormatsFollowTheirStepping) {
  for (auto [fromBits, toBits] : {std::pair{32, 24}, {24, 32}}) {
    const auto from = MakePicture(9, 3, fromBits, PatternA);
    const auto to = MakePicture(9, 3, toBits, PatternB);
    const auto out = Bytes(Render(Make(false).Get(), from.Get(), to.Get(), 0.3).Get());
    const auto a = Bytes(from.Get()), b = Bytes(to.Get());
    const unsigned fb = fromBits / 8, tb = toBits / 8;
    ASSERT_EQ(out.size(), b.size());
    for (unsigned y = 0; y < 3; ++y)
      for (unsigned x = 0; x < 9; ++x)
        for (unsigned c = 0; c < 3; ++c)
          ASSERT_EQ(out[(y * 9 + x) * tb + c],
                    Combine(a[(y * 9 + x) * fb + c], b[y * 9 * tb + 3 * x + c], 0.3, false))
              << fromBits << "->" << toBits << " at " << x << "," << y;
  }
  // 8 onto 24: a result of to's format (whose pixels the effect does not write).
  const auto to = MakePicture(9, 3, 24, PatternB);
  EXPECT_EQ(
      testhost::Shape(
          Render(Make(false).Get(), MakePicture(9, 3, 8, PatternA).Get(), to.Get(), 0.3).Get()),
      testhost::Shape(to.Get()));
}

// Catches: `from` of another size read as if it had to's size.
TEST(Dissolve, ResamplesFromToTheSizeOfTo) {
  const auto flat = MakePicture(64, 48, 24, [](unsigned, unsigned, unsigned c) {
    return static_cast<unsigned char>(40 + c * 80);
  });
  const auto out =
      Render(Make(false).Get(), flat.Get(), MakePicture(32, 24, 24, PatternB).Get(), 0);
  // A flat picture stays flat when halved, so progress 0 shows it exactly.
  const auto bytes = Bytes(out.Get());
  ASSERT_EQ(bytes.size(), 32u * 24 * 3);
  for (std::size_t i = 0; i < bytes.size(); ++i) ASSERT_EQ(bytes[i], 40 + (i % 3) * 80) << i;
}

// Catches: the caller's *out released, or reused as the result.
TEST(Dissolve, OutIsOverwrittenWithoutReleasingItsOldContent) {
  const auto from = MakePicture(4, 4, 24, PatternA), to = MakePicture(4, 4, 24, PatternB);
  ICIF* out = to.Get();
  to->AddRef();
  ASSERT_EQ(Make(false)->DoTransition(from.Get(), to.Get(), &out, 0.5), S_OK);
  EXPECT_NE(out, to.Get());
  out->Release();
  EXPECT_EQ(to->Release(), 1u);  // the extra reference was neither used nor dropped
}

// Catches: the vector path disagreeing with the tables for a weight it accepts: a sweep of
// progress values, and every k / n for frame counts up to 240 (whose products often round onto
// integers).
TEST(BlendRows, VectorPathAgreesWithTheTablesAcrossWeights) {
  unsigned char from[256], to[256], out[256];
  for (int i = 0; i < 256; ++i) {
    from[i] = static_cast<unsigned char>(i);
    to[i] = static_cast<unsigned char>(255 - i);
  }
  std::vector<double> progresses;
  for (int step = 0; step <= 20000; ++step) progresses.push_back(step / 20000.0);
  for (int n = 2; n <= 240; ++n)
    for (int k = 0; k <= n; ++k) progresses.push_back(static_cast<double>(k) / n);
  for (double p : progresses) {
    for (BlendSum sum : {BlendSum::kWrap, BlendSum::kSaturate}) {
      const WeightTable f(1.0 - p), t(p);
      BlendRows(f, t, sum)(from, to, out, 256);
      for (int i = 0; i < 256; ++i) {
        const unsigned s = f.entry[from[i]] + t.entry[to[i]];
        ASSERT_EQ(out[i], sum == BlendSum::kWrap ? s % 256 : std::min(s, 255u)) << p << " " << i;
      }
    }
  }
}

}  // namespace
