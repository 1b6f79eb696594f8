// The counter bands: where every band of both pictures lands, the lasting change of the stored
// direction, the counter-cover preset, and the adjustable effect's services.
#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <string>

#include "effects/CounterBands.h"
#include "effects/KeloTransitions.h"
#include "tests/common/TestHost.h"
#include "tests/module/EffectTestSupport.h"

namespace {

using effecttest::Render;
using effecttest::Setting;

using effecttest::kFromMark;
using effecttest::kToMark;
// Pixels name their origin: bytes (x * 9, y * 9, picture mark).
constexpr auto FromPixel = effecttest::FromPixel<9>;
constexpr auto ToPixel = effecttest::ToPixel<9>;

ComPtr<IKeloTransition> MakeBands(int style, int direction, int bands) {
  return effecttest::MakeEffect<CCounterBands>({{CCounterBands::kDirection, direction},
                                                {CCounterBands::kStyle, style},
                                                {CCounterBands::kBands, bands}});
}

// Which picture and which of its pixels one pixel of the result shows.
struct Source {
  unsigned char mark;
  unsigned x, y;
};

// Where pixel (x, y) of a W x H result comes from. Directions 0 and 2 cut columns whose first
// band moves down, 1 and 3 rows whose first band moves right; the band at cross position c is
// c / S with S = ceil(extent / bands), and odd bands move the other way. Each band's incoming
// part lies over its outgoing part; what neither covers shows to (push) or from (cover).
Source Expected(int style, int direction, int bands, unsigned W, unsigned H, double p, unsigned x,
                unsigned y) {
  const bool columns = direction % 2 == 0;
  const int extent = static_cast<int>(columns ? W : H), n = static_cast<int>(columns ? H : W);
  const int across = static_cast<int>(columns ? x : y), t = static_cast<int>(columns ? y : x);
  const int size = static_cast<int>(std::ceil(static_cast<float>(extent) / bands));
  const bool forward = across / size % 2 == 0;
  const int outShift = static_cast<int>(n * p), inShift = static_cast<int>(n * (1.0 - p));
  auto at = [&](unsigned char mark, int line) {
    return columns ? Source{mark, x, static_cast<unsigned>(line)}
                   : Source{mark, static_cast<unsigned>(line), y};
  };
  const bool push = style == CCounterBands::kPush;
  if (forward) {
    if (t < n - inShift) return at(kToMark, t + inShift);
    if (push && t >= outShift) return at(kFromMark, t - outShift);
  } else {
    if (t >= inShift) return at(kToMark, t - inShift);
    if (push && t < n - outShift) return at(kFromMark, t + outShift);
  }
  return at(push ? kToMark : kFromMark, t);
}

TEST(CounterBands, EveryBandLandsWhereItsDirectionTakesIt) {
  // Catches a band pasted at the wrong place, a direction that does not alternate, a band size
  // not rounded up (3 bands over 10 lines: 4, 4 and a short 2), bands beyond the picture (13
  // over 10) drawn or crashing, and direction 2 or 1 moving otherwise than 0 or 3. 0.35 leaves one
  // line to neither part: trunc(12 * 0.35) + trunc(12 * 0.65) = 4 + 7.
  for (double p : {0.0, 0.35, 1.0})
    for (int style : {CCounterBands::kCover, CCounterBands::kPush})
      for (int direction : {0, 1, 2, 3})
        for (int bands : {3, 13}) {
          const bool columns = direction % 2 == 0;
          const unsigned width = columns ? 10 : 12, height = columns ? 12 : 10;
          ComPtr<ICIF> from = testhost::MakePicture(width, height, 24, FromPixel);
          ComPtr<ICIF> to = testhost::MakePicture(width, height, 24, ToPixel);
          ComPtr<ICIF> out =
              Render(MakeBands(style, direction, bands).Get(), from.Get(), to.Get(), p);
          const auto bytes = testhost::Bytes(out.Get());
          ASSERT_EQ(bytes.size(), width * height * 3u);
          for (unsigned y = 0; y < height; ++y)
            for (unsigned x = 0; x < width; ++x) {
              const Source source = Expected(style, direction, bands, width, height, p, x, y);
              const unsigned char* pixel = &bytes[(y * width + x) * 3];
              SCOPED_TRACE("p " + std::to_string(p) + " style " + std::to_string(style) +
                           " direction " + std::to_string(direction) + " bands " +
                           std::to_string(bands) + " at " + std::to_string(x) + "," +
                           std::to_string(y));
              ASSERT_EQ(pixel[2], source.mark);
              ASSERT_EQ(pixel[0], source.x * 9);
              ASSERT_EQ(pixel[1], source.y * 9);
            }
        }
}

TEST(CounterBands, NoBandsOrAnotherStyleShowOnePicture) {
  // Catches a division by a band count of 0, negative counts drawing bands, and styles outside
  // 0..1 (negative ones included: the test is unsigned) drawing incoming bands.
  ComPtr<ICIF> from = testhost::MakePicture(10, 12, 24, FromPixel);
  ComPtr<ICIF> to = testhost::MakePicture(10, 12, 24, ToPixel);
  const auto fromBytes = testhost::Bytes(from.Get()), toBytes = testhost::Bytes(to.Get());
  struct Case {
    int style, bands;
    bool showsTo;
  };
  const Case cases[] = {{CCounterBands::kPush, 0, true},
                        {CCounterBands::kPush, -2, true},
                        {CCounterBands::kCover, 0, false},
                        {CCounterBands::kCover, -2, false},
                        {2, 3, false},
                        {-1, 3, false}};
  for (const Case& c : cases)
    for (double p : {0.0, 0.4, 1.0})
      for (int direction : {0, 1}) {
        ComPtr<ICIF> out =
            Render(MakeBands(c.style, direction, c.bands).Get(), from.Get(), to.Get(), p);
        EXPECT_EQ(testhost::Bytes(out.Get()), c.showsTo ? toBytes : fromBytes)
            << "style " << c.style << " bands " << c.bands << " p " << p;
      }

  // A from of another size is fitted to to's size.
  ComPtr<ICIF> big = testhost::MakePicture(30, 7, 24, FromPixel);
  ComPtr<ICIF> out = Render(MakeBands(CCounterBands::kPush, 0, 3).Get(), big.Get(), to.Get(), 0.5);
  unsigned width = 0, height = 0, planes = 0;
  out->GetSize(&width, &height, &planes);
  EXPECT_EQ(width, 10u);
  EXPECT_EQ(height, 12u);
}

TEST(CounterBands, TheFirstFrameStoresTheDirectionForGood) {
  // Catches the normalisation left out, undone, or applied to the wrong values: 2 is stored as
  // 0 and 3 as 1 from the first frame on; 1 comes back as 1, other values stay.
  ComPtr<ICIF> from = testhost::MakePicture(10, 12, 24, FromPixel);
  ComPtr<ICIF> to = testhost::MakePicture(10, 12, 24, ToPixel);
  const std::pair<int, int> cases[] = {{0, 0}, {1, 1}, {2, 0}, {3, 1}, {5, 5}, {-1, -1}};
  for (const auto& [set, stored] : cases) {
    ComPtr<IKeloTransition> effect = MakeBands(CCounterBands::kPush, set, 3);
    EXPECT_EQ(Setting(effect.Get(), CCounterBands::kDirection), set) << "untouched before a frame";
    Render(effect.Get(), from.Get(), to.Get(), 0.5);
    EXPECT_EQ(Setting(effect.Get(), CCounterBands::kDirection), stored) << set;
    Render(effect.Get(), from.Get(), to.Get(), 0.5);
    EXPECT_EQ(Setting(effect.Get(), CCounterBands::kDirection), stored) << set << ", second frame";
  }
}

TEST(CounterBands, CounterCoverPresetIsCoverAndKeepsOneReferenceMore) {
  // Catches the preset's style not set, the object misnamed, and the surplus reference the
  // counter-cover factory leaves (unlike the plain factory) lost or doubled.
  struct Case {
    const wchar_t* component;
    int style;
    std::uint32_t countAfterAddRef;
  };
  for (const Case& c : {Case{L"CounterCoverTransition", CCounterBands::kCover, 3},
                        Case{L"CounterBandsTransition", CCounterBands::kPush, 2}}) {
    ComponentFactory factory = nullptr;
    ASSERT_EQ(CreateFunction(RefView(c.component), &factory), S_OK);
    IID iid = IID_IKeloTransition;
    IKeloTransition* effect = nullptr;
    ASSERT_EQ(factory(nullptr, &iid, reinterpret_cast<void**>(&effect)), S_OK);
    EXPECT_EQ(Setting(effect, CCounterBands::kStyle), c.style);
    ComPtr<IObjectInfo> info;
    effect->QueryInterface(IID_IObjectInfo, info.PutVoid());
    tagREFString name{};
    info->GetName(0, &name);
    EXPECT_EQ(std::wstring(name.text, name.length), L"CounterBandsTransition");
    info.Reset();
    EXPECT_EQ(effect->AddRef(), c.countAfterAddRef) << c.component;
    // Release every reference there is, the surplus one included, so the test leaks nothing.
    for (std::uint32_t left = c.countAfterAddRef; left > 0; --left)
      EXPECT_EQ(effect->Release(), left - 1);
  }
}

TEST(CounterBands, RandomizeReplicateAndPages) {
  // Catches draws outside Direction 0..1 and Bands 1..9, a Randomize that touches the style or
  // reports other than S_OK, and a Replicate that drops or clamps a value.
  ComPtr<IKeloTransition> effect = MakeBands(CCounterBands::kCover, 0, 3);
  auto random = effect.As<IRandomizableObject>();
  std::set<int> directions, bands;
  for (int i = 0; i < 400; ++i) {
    ASSERT_EQ(random->Randomize(), S_OK);
    directions.insert(Setting(effect.Get(), CCounterBands::kDirection));
    bands.insert(Setting(effect.Get(), CCounterBands::kBands));
    ASSERT_EQ(Setting(effect.Get(), CCounterBands::kStyle), CCounterBands::kCover);
  }
  EXPECT_EQ(directions, (std::set<int>{0, 1}));
  EXPECT_EQ(bands, (std::set<int>{1, 2, 3, 4, 5, 6, 7, 8, 9}));

  ComPtr<IKeloTransition> original = MakeBands(7, 3, -4);
  ComPtr<IUnknown> copy;
  ASSERT_EQ(original.As<IReplicableObject>()->Replicate(copy.Put()), S_OK);
  EXPECT_TRUE(copy.As<IKeloTransition>());
  EXPECT_EQ(Setting(copy.Get(), CCounterBands::kDirection), 3);
  EXPECT_EQ(Setting(copy.Get(), CCounterBands::kStyle), 7);
  EXPECT_EQ(Setting(copy.Get(), CCounterBands::kBands), -4);

  EXPECT_EQ(effecttest::PageCount(effect.Get()), 1);
}

TEST(CounterBands, SettingsRoundTripThroughXMLWithTheirNames) {
  // Catches a property missing from the saved settings or from the string table that names them.
  effecttest::ExpectXMLRoundTrip(MakeBands(CCounterBands::kCover, 1, 6).Get(),
                                 MakeBands(CCounterBands::kPush, 0, 3).Get(),
                                 {{CCounterBands::kDirection, L"Direction", 1},
                                  {CCounterBands::kBands, L"Bands", 6},
                                  {CCounterBands::kStyle, L"Style", 0}});
}

}  // namespace
