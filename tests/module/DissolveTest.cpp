// The dissolves, byte for byte against a plain reading of their tables, in every format pair.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "effects/BlendFrame.h"
#include "effects/Dissolve.h"
#include "tests/common/TestHost.h"

namespace {

// The weighting tables as described: trunc(i * w) as unsigned 32 bits, negatives 0, modulo 256.
unsigned Weighted(unsigned value, double weight) {
  const double product = value * weight;
  if (!(product > 0)) return 0;
  return static_cast<unsigned>(static_cast<std::uint64_t>(product) % 256);
}

struct Weights {
  double from, to;
  bool saturate;
};
Weights DissolveWeights(double p) {
  return {1.0 - p, p, false};
}
Weights AdditiveWeights(double p) {
  if (p < 0.5) return {1.0, 2 * p, true};
  return {2 * (1 - p), 1.0, true};
}
unsigned Combine(unsigned a, unsigned b, const Weights& w) {
  const unsigned sum = Weighted(a, w.from) + Weighted(b, w.to);
  return w.saturate ? std::min(sum, 255u) : sum % 256;
}

unsigned char PatternA(unsigned x, unsigned y, unsigned c) {
  return static_cast<unsigned char>(x * 7 + y * 13 + c * 101);
}
unsigned char PatternB(unsigned x, unsigned y, unsigned c) {
  return static_cast<unsigned char>(255 - x * 3 - y * 29 + c * 57);
}

ComPtr<IKeloTransition> Make(bool additive) {
  ComPtr<IKeloTransition> effect;
  IID iid = IID_IKeloTransition;
  const HRESULT hr =
      additive ? CObject<CDissolveAdditive>::_CreateInstance(nullptr, &iid, effect.PutVoid())
               : CObject<CDissolve>::_CreateInstance(nullptr, &iid, effect.PutVoid());
  EXPECT_EQ(hr, S_OK);
  return effect;
}

ComPtr<ICIF> Render(IKeloTransition* effect, ICIF* from, ICIF* to, double p) {
  ICIF* out = nullptr;
  EXPECT_EQ(effect->DoTransition(from, to, &out, p), S_OK);
  return ComPtr<ICIF>::Adopt(out);
}

TEST(Dissolve, EqualFormatsMatchTheTablesEverywhere) {
  const double progresses[] = {0.0,
                               0.1,
                               0.25,
                               0.3,
                               1.0 / 3,
                               0.5,
                               0.7,
                               0.999,
                               1.0,
                               -0.5,
                               1.5,
                               3.75,
                               std::numeric_limits<double>::quiet_NaN()};
  for (int bits : {8, 24, 32}) {
    // 37 pixels wide: rows are not a multiple of the vector width, and strides exceed rows.
    ComPtr<ICIF> from = testhost::MakePicture(37, 5, bits, PatternA);
    ComPtr<ICIF> to = testhost::MakePicture(37, 5, bits, PatternB);
    const auto a = testhost::Bytes(from.Get());
    const auto b = testhost::Bytes(to.Get());
    for (bool additive : {false, true}) {
      ComPtr<IKeloTransition> effect = Make(additive);
      for (double p : progresses) {
        ComPtr<ICIF> out = Render(effect.Get(), from.Get(), to.Get(), p);
        const auto bytes = testhost::Bytes(out.Get());
        ASSERT_EQ(bytes.size(), a.size());
        const Weights w = additive ? AdditiveWeights(p) : DissolveWeights(p);
        for (std::size_t i = 0; i < bytes.size(); ++i)
          ASSERT_EQ(bytes[i], Combine(a[i], b[i], w))
              << "bits " << bits << " additive " << additive << " p " << p << " byte " << i;
      }
    }
  }
}

TEST(Dissolve, EndsCopyThePicturesAndMidpointsHalve) {
  ComPtr<ICIF> from = testhost::MakePicture(16, 4, 24, PatternA);
  ComPtr<ICIF> to = testhost::MakePicture(16, 4, 24, PatternB);
  ComPtr<IKeloTransition> dissolve = Make(false);
  EXPECT_EQ(testhost::Bytes(Render(dissolve.Get(), from.Get(), to.Get(), 0.0).Get()),
            testhost::Bytes(from.Get()));
  EXPECT_EQ(testhost::Bytes(Render(dissolve.Get(), from.Get(), to.Get(), 1.0).Get()),
            testhost::Bytes(to.Get()));

  auto white = [](unsigned, unsigned, unsigned) -> unsigned char { return 255; };
  auto grey = [](unsigned, unsigned, unsigned) -> unsigned char { return 200; };
  ComPtr<ICIF> w1 = testhost::MakePicture(4, 1, 8, white),
               w2 = testhost::MakePicture(4, 1, 8, white);
  EXPECT_EQ(testhost::Bytes(Render(dissolve.Get(), w1.Get(), w2.Get(), 0.5).Get())[0], 254);
  ComPtr<ICIF> g1 = testhost::MakePicture(4, 1, 8, grey), g2 = testhost::MakePicture(4, 1, 8, grey);
  EXPECT_EQ(testhost::Bytes(Render(Make(true).Get(), g1.Get(), g2.Get(), 0.25).Get())[0], 255);
}

TEST(Dissolve, MixedFormatsFollowTheirStepping) {
  ComPtr<ICIF> from32 = testhost::MakePicture(9, 3, 32, PatternA);
  ComPtr<ICIF> from24 = testhost::MakePicture(9, 3, 24, PatternA);
  ComPtr<ICIF> to24 = testhost::MakePicture(9, 3, 24, PatternB);
  ComPtr<ICIF> to32 = testhost::MakePicture(9, 3, 32, PatternB);
  const double p = 0.3;
  const Weights w = DissolveWeights(p);
  ComPtr<IKeloTransition> dissolve = Make(false);

  // 32 onto 24: the fourth from byte is skipped.
  {
    const auto out = testhost::Bytes(Render(dissolve.Get(), from32.Get(), to24.Get(), p).Get());
    const auto a = testhost::Bytes(from32.Get()), b = testhost::Bytes(to24.Get());
    ASSERT_EQ(out.size(), b.size());
    for (unsigned y = 0; y < 3; ++y)
      for (unsigned x = 0; x < 9; ++x)
        for (unsigned c = 0; c < 3; ++c)
          ASSERT_EQ(out[y * 27 + 3 * x + c],
                    Combine(a[y * 36 + 4 * x + c], b[y * 27 + 3 * x + c], w));
  }
  // 24 onto 32: `to` is read three bytes per pixel; the fourth result byte is never written.
  {
    ComPtr<ICIF> out = Render(dissolve.Get(), from24.Get(), to32.Get(), p);
    int bits = 0, format = 0, formatC = 0;
    out->GetFormat(&bits, &format, &formatC);
    EXPECT_EQ(bits, 32);
    const auto bytes = testhost::Bytes(out.Get());
    const auto a = testhost::Bytes(from24.Get()), b = testhost::Bytes(to32.Get());
    for (unsigned y = 0; y < 3; ++y)
      for (unsigned x = 0; x < 9; ++x)
        for (unsigned c = 0; c < 3; ++c)
          ASSERT_EQ(bytes[y * 36 + 4 * x + c],
                    Combine(a[y * 27 + 3 * x + c], b[y * 36 + 3 * x + c], w));
  }
  // 8 onto 24: a result of to's format whose pixels the effect does not write.
  {
    ComPtr<ICIF> from8 = testhost::MakePicture(9, 3, 8, PatternA);
    ComPtr<ICIF> out = Render(dissolve.Get(), from8.Get(), to24.Get(), p);
    unsigned width = 0, height = 0, planes = 0;
    int bits = 0, format = 0, formatC = 0;
    out->GetSize(&width, &height, &planes);
    out->GetFormat(&bits, &format, &formatC);
    EXPECT_EQ(width, 9u);
    EXPECT_EQ(bits, 24);
    EXPECT_EQ(format, kFormatRGB);
  }
}

TEST(Dissolve, ResamplesFromToTheSizeOfTo) {
  auto flat = [](unsigned, unsigned, unsigned c) -> unsigned char {
    return static_cast<unsigned char>(40 + c * 80);
  };
  ComPtr<ICIF> from = testhost::MakePicture(64, 48, 24, flat);
  ComPtr<ICIF> to = testhost::MakePicture(32, 24, 24, PatternB);
  ComPtr<ICIF> out = Render(Make(false).Get(), from.Get(), to.Get(), 0.0);
  unsigned width = 0, height = 0, planes = 0;
  out->GetSize(&width, &height, &planes);
  EXPECT_EQ(width, 32u);
  EXPECT_EQ(height, 24u);
  // A flat picture stays flat when halved, so progress 0 shows it exactly.
  const auto bytes = testhost::Bytes(out.Get());
  for (std::size_t i = 0; i < bytes.size(); ++i) ASSERT_EQ(bytes[i], 40 + (i % 3) * 80) << i;
}

TEST(Dissolve, OutIsOverwrittenWithoutReleasingItsOldContent) {
  ComPtr<ICIF> from = testhost::MakePicture(4, 4, 24, PatternA);
  ComPtr<ICIF> to = testhost::MakePicture(4, 4, 24, PatternB);
  ICIF* out = to.Get();
  to->AddRef();
  ASSERT_EQ(Make(false)->DoTransition(from.Get(), to.Get(), &out, 0.5), S_OK);
  EXPECT_NE(out, to.Get());
  out->Release();
  EXPECT_EQ(to->Release(), 1u);  // the extra reference was neither used nor dropped
}

// The vector path must agree with the tables for every weight it accepts: a sweep of progress
// values, and every k / n for frame counts up to 240 (whose products often round onto integers).
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
