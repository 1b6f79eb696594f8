// The counter bands: where every band of both pictures lands, the stored direction after a frame,
// the counter-cover preset, Randomize, Replicate and the saved settings.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <tuple>

#include "effects/CounterBands.h"
#include "effects/KeloTransitions.h"
#include "tests/common/TestHost.h"
#include "tests/module/EffectTestSupport.h"

namespace {

using effecttest::kFromMark;
using effecttest::kToMark;
using effecttest::Setting;

ComPtr<IKeloTransition> MakeBands(int style, int direction, int bands) {
  return effecttest::NewWith<CCounterBands>({{CCounterBands::kDirection, direction},
                                             {CCounterBands::kStyle, style},
                                             {CCounterBands::kBands, bands}});
}

// Where pixel (x, y) comes from, as (picture mark, x, y). Directions 0 and 2 cut columns whose
// first band moves down, 1 and 3 rows whose first band moves right; odd bands move the other way.
// A band's incoming part lies over its outgoing part; what neither covers shows to (push) or
// from (cover). Without bands, or with another style, one picture shows.
std::array<int, 3> Expected(int style, int direction, int bands, int W, int H, double p, int x,
                            int y) {
  const bool columns = direction % 2 == 0, push = style == CCounterBands::kPush;
  const int n = columns ? H : W, t = columns ? y : x;
  auto at = [&](int mark, int line) {
    return columns ? std::array{mark, x, line} : std::array{mark, line, y};
  };
  if (style != CCounterBands::kCover && !push) return at(kFromMark, t);
  if (bands <= 0) return at(push ? kToMark : kFromMark, t);
  const int size = static_cast<int>(std::ceil(static_cast<float>(columns ? W : H) / bands));
  const bool forward = (columns ? x : y) / size % 2 == 0;
  const int outShift = static_cast<int>(n * p), inShift = static_cast<int>(n * (1.0 - p));
  if (forward ? t < n - inShift : t >= inShift)
    return at(kToMark, forward ? t + inShift : t - inShift);
  if (push && (forward ? t >= outShift : t < n - outShift))
    return at(kFromMark, forward ? t - outShift : t + outShift);
  return at(push ? kToMark : kFromMark, t);
}

TEST(CounterBands, EveryBandLandsWhereItsDirectionTakesIt) {
  // Catches bands pasted at the wrong place or not alternating, a band size not rounded up (3
  // bands over 10 lines: 4, 4, 2), bands past the picture (13 over 10), bands drawn for a count
  // of 0 or less or for styles outside 0..1 (-1 too: the test is unsigned), and the direction not
  // stored normalised (2 reads 0, 3 reads 1). At 0.35 one line is left to neither part (4 + 7).
  for (double p : {0.0, 0.35, 1.0})
    for (int style : {0, 1, 2, -1})
      for (int direction : {0, 1, 2, 3})
        for (int bands : {3, 13, 0, -2}) {
          const int w = direction % 2 == 0 ? 10 : 12, h = 22 - w;
          const ComPtr<ICIF> from = testhost::MakePicture(w, h, 24, effecttest::FromPixel<9>);
          const ComPtr<ICIF> to = testhost::MakePicture(w, h, 24, effecttest::ToPixel<9>);
          const auto effect = MakeBands(style, direction, bands);
          const auto bytes =
              testhost::Bytes(effecttest::Render(effect.Get(), from.Get(), to.Get(), p).Get());
          for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
              const unsigned char* pixel = &bytes[static_cast<std::size_t>(y * w + x) * 3];
              ASSERT_EQ((std::array<int, 3>{pixel[2], pixel[0] / 9, pixel[1] / 9}),
                        Expected(style, direction, bands, w, h, p, x, y))
                  << "p " << p << " style " << style << " direction " << direction << " bands "
                  << bands << " at " << x << "," << y;
            }
          EXPECT_EQ(Setting(effect.Get(), CCounterBands::kDirection), direction % 2);
        }
}

TEST(CounterBands, CounterCoverPresetIsCoverAndKeepsOneReferenceMore) {
  // Catches the preset's style not set, and its factory's surplus reference lost or doubled.
  for (const auto& [name, style, references] : {std::tuple{L"CounterCoverTransition", 0, 2u},
                                                std::tuple{L"CounterBandsTransition", 1, 1u}}) {
    ComponentFactory factory = nullptr;
    ASSERT_EQ(CreateFunction(RefView(name), &factory), S_OK);
    IID iid = IID_IKeloTransition;
    IKeloTransition* effect = nullptr;
    ASSERT_EQ(factory(nullptr, &iid, reinterpret_cast<void**>(&effect)), S_OK);
    EXPECT_EQ(Setting(effect, CCounterBands::kStyle), style);
    EXPECT_EQ(effect->AddRef(), references + 1);
    for (std::uint32_t left = references + 1; left-- > 0;) EXPECT_EQ(effect->Release(), left);
  }
}

TEST(CounterBands, RandomizeReplicateAndSave) {
  // Catches draws outside Direction 0..1 and Bands 1..9, a Randomize that changes the style,
  // a copy that drops or clamps a value, and a setting missing from the saved XML.
  using Values = std::map<int, std::set<int>>;
  EXPECT_EQ(effecttest::RandomizedValues(MakeBands(0, 0, 3).Get(), {1, 2, 5}),
            (Values{{1, {0, 1}}, {2, {1, 2, 3, 4, 5, 6, 7, 8, 9}}, {5, {0}}}));
  ComPtr<IUnknown> copy;
  ASSERT_EQ(MakeBands(7, 3, -4).As<IReplicableObject>()->Replicate(copy.Put()), S_OK);
  EXPECT_TRUE(copy.As<IKeloTransition>());
  EXPECT_EQ((std::array{Setting(copy.Get(), 1), Setting(copy.Get(), 2), Setting(copy.Get(), 5)}),
            (std::array{3, -4, 7}));
  effecttest::ExpectXMLRoundTrip(MakeBands(0, 1, 6).Get(), MakeBands(1, 0, 3).Get(),
                                 {{1, L"Direction", 1}, {2, L"Bands", 6}, {5, L"Style", 0}});
}

}  // namespace
