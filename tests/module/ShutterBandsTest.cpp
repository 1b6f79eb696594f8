// The shutter bands: which lines of every band are open, read back through the composed output,
// the painters, IShutter's setters and the adjustable effect's services.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "effects/ShutterBands.h"
#include "tests/common/TestHost.h"
#include "tests/module/EffectTestSupport.h"

namespace {

using effecttest::Setting;

using effecttest::kFromMark;
using effecttest::kToMark;
// Pixels name their origin: bytes (x * 7, y * 7, picture mark).
constexpr auto FromPixel = effecttest::FromPixel<7>;
constexpr auto ToPixel = effecttest::ToPixel<7>;

ComPtr<IKeloTransition> MakeShutter(int style, int direction, int bands) {
  // Bands through Control, so unclamped.
  return effecttest::MakeEffect<CShutterBands>({{CShutterBands::kDirection, direction},
                                                {CShutterBands::kStyle, style},
                                                {CShutterBands::kBands, bands}});
}

// The lines (rows for direction 0, columns otherwise) of an n-line shutter that show `to`; fails
// if a line mixes the pictures or a pixel is not the one at its own place.
std::set<int> OpenLines(int style, int direction, int bands, double p, int n) {
  const bool rows = direction == 0;
  const unsigned width = rows ? 3 : n, height = rows ? n : 3;
  ComPtr<ICIF> from = testhost::MakePicture(width, height, 24, FromPixel);
  ComPtr<ICIF> to = testhost::MakePicture(width, height, 24, ToPixel);
  ComPtr<ICIF> out =
      effecttest::Render(MakeShutter(style, direction, bands).Get(), from.Get(), to.Get(), p);
  const auto bytes = testhost::Bytes(out.Get());
  EXPECT_EQ(bytes.size(), width * height * 3u);
  std::set<int> open;
  for (unsigned y = 0; y < height; ++y)
    for (unsigned x = 0; x < width; ++x) {
      const unsigned char* pixel = &bytes[(y * width + x) * 3];
      const unsigned line = rows ? y : x;
      EXPECT_EQ(pixel[0], x * 7);
      EXPECT_EQ(pixel[1], y * 7);
      if (pixel[2] == kToMark) open.insert(static_cast<int>(line));
      EXPECT_EQ(pixel[2] == kToMark, open.count(static_cast<int>(line)) != 0)
          << "line " << line << " mixes the pictures";
    }
  return open;
}

std::set<int> AllBut(const std::set<int>& closed, int n) {
  std::set<int> open;
  for (int line = 0; line < n; ++line)
    if (closed.count(line) == 0) open.insert(line);
  return open;
}

TEST(ShutterBands, EachStyleOpensItsLinesOfEveryBand) {
  // 20 lines in 3 bands of 7 (the last one 6 lines long, its lines past 20 left out). Catches a
  // style opening at the wrong place, the outer-edge lines of styles 2 and 3 missing, the closed
  // lines past half-way (p = 0.5 itself still paints open lines) misplaced, out-of-range styles
  // not jumping at half-way, single precision not used (7 * 0.3 is 2, 20 * 0.3 is 6), and the
  // mask's lines painted the wrong way round for either orientation.
  struct Case {
    double p;
    int style, bands;
    bool listsClosed;  // lines lists the lines still closed rather than the open ones
    std::set<int> lines;
  };
  const Case cases[] = {
      // k = 2 open lines per band
      {0.3, 0, 3, false, {5, 6, 12, 13, 19}},
      {0.3, 1, 3, false, {0, 1, 7, 8, 14, 15}},
      {0.3, 2, 3, false, {0, 6, 7, 13, 14, 19}},
      {0.3, 3, 3, false, {2, 3, 9, 10, 16, 17}},
      {0.3, 9, 3, false, {0, 1, 7, 8, 14, 15}},
      // k = 3
      {0.5, 0, 3, false, {4, 5, 6, 11, 12, 13, 18, 19}},
      {0.5, 1, 3, false, {0, 1, 2, 7, 8, 9, 14, 15, 16}},
      {0.5, 2, 3, false, {0, 5, 6, 7, 12, 13, 14, 19}},
      {0.5, 3, 3, false, {2, 3, 4, 9, 10, 11, 16, 17, 18}},
      // k = 5: two closed lines per band
      {0.8, 0, 3, true, {0, 1, 7, 8, 14, 15}},
      {0.8, 1, 3, true, {5, 6, 12, 13, 19}},
      {0.8, 2, 3, true, {2, 3, 9, 10, 16, 17}},
      {0.8, 3, 3, true, {0, 6, 7, 13, 14, 19}},
      {0.8, -1, 3, true, {0, 1, 7, 8, 14, 15}},
      // One band of 20, k = 6: a slit in the middle, or both outer edges.
      {0.3, 3, 1, false, {7, 8, 9, 10, 11, 12}},
      {0.3, 2, 1, false, {0, 1, 2, 17, 18, 19}},
      // The ends.
      {0.0, 2, 3, false, {}},
      {1.0, 3, 3, true, {}},
      {0.0, 0, 25, false, {}},
      {1.0, 1, 25, true, {}},
  };
  for (const Case& c : cases)
    for (int direction : {0, 1, 2}) {
      const std::set<int> expected = c.listsClosed ? AllBut(c.lines, 20) : c.lines;
      EXPECT_EQ(OpenLines(c.style, direction, c.bands, c.p, 20), expected)
          << "p " << c.p << " style " << c.style << " bands " << c.bands << " direction "
          << direction;
    }
}

TEST(ShutterBands, BandCountsOfZeroOrLessAndProgressOutOfRangeStayInsideTheMask) {
  // Catches a division by zero and edge or band loops running past the mask (the sanitizer run
  // sees such writes): with no bands the picture switches at half-way.
  for (int bands : {0, -3})
    for (int style : {0, 1, 2, 3})
      for (int direction : {0, 1}) {
        EXPECT_EQ(OpenLines(style, direction, bands, 0.3, 20), std::set<int>{});
        EXPECT_EQ(OpenLines(style, direction, bands, 0.8, 20), AllBut({}, 20));
      }
  for (double p : {-2.0, 3.0, 1e12, -1e12, std::numeric_limits<double>::quiet_NaN()})
    for (int bands : {3, 0, -3, 1000000})
      for (int style : {0, 1, 2, 3}) OpenLines(style, 1, bands, p, 20);
}

TEST(ShutterBands, PaintersWriteOneLineAndReturnThePlaceAfterIt) {
  // Catches a painter writing the wrong row or column, too many or too few bytes, a wrong return
  // value, and a painter writing anything for a length below 1.
  struct Case {
    bool vertical;
    int line, length;
    std::vector<int> written;  // offsets written, from bits
    int returned;              // offset of the result from bits
  };
  const Case cases[] = {
      {false, 2, 5, {12, 13, 14, 15, 16}, 17}, {false, 2, 0, {}, 2}, {false, 0, -1, {}, 0},
      {true, 3, 4, {3, 9, 15, 21}, 22},        {true, 4, 1, {4}, 5}, {true, 1, 0, {}, 1}};
  for (const Case& c : cases) {
    std::vector<unsigned char> mask(4 * 6, 0);
    unsigned char* bits = mask.data();
    unsigned char* end = c.vertical ? PaintVertical(c.line, c.length, 9, bits, 6)
                                    : PaintHorizonal(c.line, c.length, 9, bits, 6);
    EXPECT_EQ(end - bits, c.returned) << c.vertical << " " << c.line << " " << c.length;
    std::vector<unsigned char> expected(4 * 6, 0);
    for (int at : c.written) expected[static_cast<std::size_t>(at)] = 9;
    EXPECT_EQ(mask, expected) << c.vertical << " " << c.line << " " << c.length;
  }
}

TEST(ShutterBands, OnlyPutBandsClamps) {
  // Catches a setter that clamps what it should not, put_Bands letting 0 or less through,
  // getters that write more than 16 bits or write through a null pointer.
  ComPtr<IKeloTransition> effect = MakeShutter(0, 0, 3);
  auto shutter = effect.As<IShutter>();
  ASSERT_TRUE(shutter);
  struct Case {
    HRESULT (IShutter::*put)(short);
    HRESULT (IShutter::*get)(short*);
    int id;
    short value, stored;
  };
  const Case cases[] = {{&IShutter::put_Bands, &IShutter::get_Bands, 2, -5, 1},
                        {&IShutter::put_Bands, &IShutter::get_Bands, 2, 0, 1},
                        {&IShutter::put_Bands, &IShutter::get_Bands, 2, 7, 7},
                        {&IShutter::put_Style, &IShutter::get_Style, 4, 7, 7},
                        {&IShutter::put_Style, &IShutter::get_Style, 4, -2, -2},
                        {&IShutter::put_Direction, &IShutter::get_Direction, 1, -300, -300}};
  for (const Case& c : cases) {
    EXPECT_EQ((shutter.Get()->*c.put)(c.value), S_OK);
    short read = 0;
    EXPECT_EQ((shutter.Get()->*c.get)(&read), S_OK);
    EXPECT_EQ(read, c.stored) << c.id << " " << c.value;
    EXPECT_EQ(Setting(effect.Get(), c.id), c.stored) << "the property is the same member";
    EXPECT_EQ((shutter.Get()->*c.get)(nullptr), S_OK);
  }
  // A value set through Control is not clamped, and the getter gives its low 16 bits.
  effect.As<IUIPropInterrogate>()->Control(CShutterBands::kBands, 70000);
  short bands = 0;
  shutter->get_Bands(&bands);
  EXPECT_EQ(bands, static_cast<short>(70000 - 65536));
}

TEST(ShutterBands, RandomizeReplicateAndPages) {
  // Catches draws outside Direction 0..1, Bands 2..9 and Style 0..3, a copy handed out as another
  // interface than IShutter, and values not passed through the copy's setters.
  ComPtr<IKeloTransition> effect = MakeShutter(0, 0, 3);
  auto random = effect.As<IRandomizableObject>();
  std::set<int> directions, bands, styles;
  for (int i = 0; i < 400; ++i) {
    ASSERT_EQ(random->Randomize(), S_OK);
    directions.insert(Setting(effect.Get(), CShutterBands::kDirection));
    bands.insert(Setting(effect.Get(), CShutterBands::kBands));
    styles.insert(Setting(effect.Get(), CShutterBands::kStyle));
  }
  EXPECT_EQ(directions, (std::set<int>{0, 1}));
  EXPECT_EQ(bands, (std::set<int>{2, 3, 4, 5, 6, 7, 8, 9}));
  EXPECT_EQ(styles, (std::set<int>{0, 1, 2, 3}));

  ComPtr<IKeloTransition> original = MakeShutter(7, 70000, -4);
  ComPtr<IUnknown> copy;
  ASSERT_EQ(original.As<IReplicableObject>()->Replicate(copy.Put()), S_OK);
  EXPECT_EQ(static_cast<void*>(copy.Get()), static_cast<void*>(copy.As<IShutter>().Get()));
  EXPECT_EQ(Setting(copy.Get(), CShutterBands::kDirection), 70000 - 65536);
  EXPECT_EQ(Setting(copy.Get(), CShutterBands::kBands), 1);
  EXPECT_EQ(Setting(copy.Get(), CShutterBands::kStyle), 7);

  EXPECT_EQ(effecttest::PageCount(effect.Get()), 1);
}

TEST(ShutterBands, SettingsRoundTripThroughXMLWithTheirNames) {
  // Catches a property missing from the saved settings or from the string table that names them.
  effecttest::ExpectXMLRoundTrip(MakeShutter(3, 1, 6).Get(), MakeShutter(0, 0, 3).Get(),
                                 {{CShutterBands::kDirection, L"Direction", 1},
                                  {CShutterBands::kBands, L"Bands", 6},
                                  {CShutterBands::kStyle, L"Style", 3}});
}

}  // namespace
