// The shutter bands: which lines of every band show `to`, read back through the composed output;
// the painters; IShutter's setters; Randomize, Replicate and the saved settings.
#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <set>
#include <tuple>
#include <vector>

#include "effects/ShutterBands.h"
#include "tests/common/TestHost.h"
#include "tests/module/EffectTestSupport.h"

namespace {

using effecttest::Setting;

ComPtr<IKeloTransition> MakeShutter(int style, int direction, int bands) {
  return effecttest::NewWith<CShutterBands>({{CShutterBands::kDirection, direction},
                                             {CShutterBands::kStyle, style},
                                             {CShutterBands::kBands, bands}});  // unclamped
}

// The lines (rows for direction 0, else columns) of an n-line frame that show `to`. Every pixel
// must come from its own place, and a line from one picture only.
std::set<int> OpenLines(int style, int direction, int bands, double p, int n) {
  const int w = direction == 0 ? 3 : n, h = direction == 0 ? n : 3;
  const ComPtr<ICIF> from = testhost::MakePicture(w, h, 24, effecttest::FromPixel<7>);
  const ComPtr<ICIF> to = testhost::MakePicture(w, h, 24, effecttest::ToPixel<7>);
  const auto bytes = testhost::Bytes(
      effecttest::Render(MakeShutter(style, direction, bands).Get(), from.Get(), to.Get(), p)
          .Get());
  std::vector<int> toPixels(static_cast<std::size_t>(n));
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const unsigned char* pixel = &bytes[static_cast<std::size_t>(y * w + x) * 3];
      EXPECT_EQ(pixel[0] + 256 * pixel[1], x * 7 + 256 * y * 7);
      toPixels[static_cast<std::size_t>(direction == 0 ? y : x)] += pixel[2] == effecttest::kToMark;
    }
  std::set<int> open;
  for (int line = 0; line < n; ++line) {
    EXPECT_TRUE(toPixels[line] % 3 == 0) << "line " << line << " mixes the pictures";
    if (toPixels[line] != 0) open.insert(line);
  }
  return open;
}

TEST(ShutterBands, EachStyleOpensItsLinesOfEveryBand) {
  // 20 lines in 3 bands of 7, the last one short. Catches a style opening at the wrong place,
  // the outer-edge lines of styles 2 and 3 missing, the closed lines past half-way misplaced (0.5
  // itself still paints open lines), out-of-range styles not jumping at half-way, double instead
  // of single precision (7 * 0.3 gives 2 and 20 * 0.3 gives 6 only so), either orientation
  // painted the wrong way round, and bands of 0 or less dividing by zero or painting.
  struct Case {
    double p;
    int style, bands;
    bool closed;  // `lines` lists the lines still showing from
    std::set<int> lines;
  };
  const Case cases[] = {{0.3, 0, 3, false, {5, 6, 12, 13, 19}},
                        {0.3, 1, 3, false, {0, 1, 7, 8, 14, 15}},
                        {0.3, 2, 3, false, {0, 6, 7, 13, 14, 19}},
                        {0.3, 3, 3, false, {2, 3, 9, 10, 16, 17}},
                        {0.3, 9, 3, false, {0, 1, 7, 8, 14, 15}},
                        {0.5, 0, 3, false, {4, 5, 6, 11, 12, 13, 18, 19}},
                        {0.5, 2, 3, false, {0, 5, 6, 7, 12, 13, 14, 19}},
                        {0.5, 3, 3, false, {2, 3, 4, 9, 10, 11, 16, 17, 18}},
                        {0.8, 0, 3, true, {0, 1, 7, 8, 14, 15}},
                        {0.8, 1, 3, true, {5, 6, 12, 13, 19}},
                        {0.8, 2, 3, true, {2, 3, 9, 10, 16, 17}},
                        {0.8, 3, 3, true, {0, 6, 7, 13, 14, 19}},
                        {0.8, -1, 3, true, {0, 1, 7, 8, 14, 15}},
                        {0.3, 3, 1, false, {7, 8, 9, 10, 11, 12}},
                        {0.3, 2, 1, false, {0, 1, 2, 17, 18, 19}},
                        {0.0, 2, 3, false, {}},
                        {1.0, 3, 3, true, {}},
                        {1.0, 1, 25, true, {}},
                        {0.3, 2, 0, false, {}},
                        {0.8, 3, 0, true, {}},
                        {0.3, 2, -3, false, {}},
                        {0.8, 3, -3, true, {}}};
  for (const Case& c : cases)
    for (int direction : {0, 1, 2}) {
      std::set<int> expected = c.lines;
      for (int line = 0; c.closed && line < 20; ++line)
        if (!expected.erase(line)) expected.insert(line);
      EXPECT_EQ(OpenLines(c.style, direction, c.bands, c.p, 20), expected)
          << "p " << c.p << " style " << c.style << " bands " << c.bands << " dir " << direction;
    }
  // Progress far outside 0..1 stays inside the mask (the sanitizer run sees stray writes).
  for (double p : {-2.0, 3.0, 1e12, -1e12, std::numeric_limits<double>::quiet_NaN()})
    for (int bands : {3, 0, -3, 1000000})
      for (int style : {0, 1, 2, 3}) OpenLines(style, 1, bands, p, 20);
}

TEST(ShutterBands, PaintersWriteOneLineAndReturnThePlaceAfterIt) {
  // Catches a painter writing the wrong line or length, returning another place, or writing
  // anything for a length below 1 (it then returns bits + line, even for rows).
  const std::tuple<bool, int, int, std::vector<int>, int> cases[] = {
      {false, 2, 5, {12, 13, 14, 15, 16}, 17}, {false, 2, 0, {}, 2}, {false, 0, -1, {}, 0},
      {true, 3, 4, {3, 9, 15, 21}, 22},        {true, 4, 1, {4}, 5}, {true, 1, 0, {}, 1}};
  for (const auto& [vertical, line, length, written, returned] : cases) {
    std::vector<unsigned char> mask(24), expected(24);
    for (int at : written) expected[static_cast<std::size_t>(at)] = 9;
    auto* paint = vertical ? &PaintVertical : &PaintHorizonal;
    EXPECT_EQ(paint(line, length, 9, mask.data(), 6) - mask.data(), returned) << line;
    EXPECT_EQ(mask, expected) << vertical << " " << line << " " << length;
  }
}

TEST(ShutterBands, OnlyPutBandsClampsAndGettersGiveSixteenBits) {
  // Catches a setter clamping what it should not, put_Bands letting 0 or less through, a getter
  // writing through a null pointer, and IShutter not reaching the property members.
  const auto effect = MakeShutter(0, 0, 3);
  const auto shutter = effect.As<IShutter>();
  shutter->put_Bands(-5);
  shutter->put_Style(7);
  shutter->put_Direction(-300);
  EXPECT_EQ(
      (std::array{Setting(effect.Get(), 1), Setting(effect.Get(), 2), Setting(effect.Get(), 4)}),
      (std::array{-300, 1, 7}));
  shutter->put_Bands(0);
  effect.As<IUIPropInterrogate>()->Control(CShutterBands::kStyle, 70000);  // not clamped
  short bands = 0, style = 0;
  EXPECT_EQ(shutter->get_Bands(&bands) | shutter->get_Style(&style) | shutter->get_Bands(nullptr),
            S_OK);
  EXPECT_EQ((std::array{bands, style}), (std::array<short, 2>{1, 70000 - 65536}));
}

TEST(ShutterBands, RandomizeReplicateAndSave) {
  // Catches draws outside Direction 0..1, Bands 2..9 and Style 0..3, a copy handed out as another
  // interface than IShutter or not set through its setters, and a setting missing from the XML.
  using Values = std::map<int, std::set<int>>;
  EXPECT_EQ(effecttest::RandomizedValues(MakeShutter(0, 0, 3).Get(), {1, 2, 4}),
            (Values{{1, {0, 1}}, {2, {2, 3, 4, 5, 6, 7, 8, 9}}, {4, {0, 1, 2, 3}}}));
  ComPtr<IUnknown> copy;
  ASSERT_EQ(MakeShutter(7, 70000, -4).As<IReplicableObject>()->Replicate(copy.Put()), S_OK);
  EXPECT_EQ(static_cast<void*>(copy.Get()), static_cast<void*>(copy.As<IShutter>().Get()));
  EXPECT_EQ((std::array{Setting(copy.Get(), 1), Setting(copy.Get(), 2), Setting(copy.Get(), 4)}),
            (std::array{70000 - 65536, 1, 7}));
  effecttest::ExpectXMLRoundTrip(MakeShutter(3, 1, 6).Get(), MakeShutter(0, 0, 3).Get(),
                                 {{1, L"Direction", 1}, {2, L"Bands", 6}, {4, L"Style", 3}});
}

}  // namespace
