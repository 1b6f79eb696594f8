// The dither pattern against a literal cell-by-cell reading of its rule, ApplyMask byte for
// byte in every format pair, and both dither effects through the real host pictures.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <tuple>
#include <utility>
#include <vector>

#include "effects/Dither.h"
#include "effects/TransitionHelper.h"
#include "tests/common/TestHost.h"
#include "tests/module/ModuleTestSupport.h"

namespace {

using testhost::Bytes;
using testhost::MakePicture;
using Pixels = std::vector<std::uint8_t>;

// The rule as stated, pixel by pixel: draw cx then cy; a draw on a cell already at t does not
// count; otherwise t goes to every pixel (cx + 100 i, cy + 100 j) inside the mask.
void LiteralSet(Pixels& pixels, unsigned width, unsigned height, CRandom32& prng, std::uint32_t n,
                std::uint8_t t) {
  while (n > 0) {
    const auto cx = static_cast<unsigned>(std::floor(prng.Random() / 4294967295.0 * 100.9999999));
    const auto cy = static_cast<unsigned>(std::floor(prng.Random() / 4294967295.0 * 100.9999999));
    if (cx < width && cy < height) {
      if (pixels[cy * width + cx] == t) continue;
      for (unsigned y = cy; y < height; y += 100)
        for (unsigned x = cx; x < width; x += 100) pixels[y * width + x] = t;
    }
    --n;
  }
}

// Renders the mask into `buffer` (rows padded with guard bytes, kept between calls so that only
// changed rows are rewritten) and returns its pixels; fails if a guard byte was written.
Pixels Render(DitherMask& mask, Pixels& buffer) {
  constexpr unsigned kPad = 5;
  const unsigned w = mask.Width(), h = mask.Height();
  buffer.resize((w + kPad) * h, 0xA5);
  mask.Render(buffer.data(), static_cast<std::ptrdiff_t>(w + kPad));
  Pixels pixels;
  for (unsigned y = 0; y < h; ++y) {
    const auto row = buffer.begin() + y * (w + kPad);
    pixels.insert(pixels.end(), row, row + w);
    EXPECT_TRUE(std::all_of(row + w, row + w + kPad, [](auto b) { return b == 0xA5; })) << y;
  }
  return pixels;
}

// Catches: a cell drawn, skipped or repeated differently from the rule, a guard byte written, a
// row left stale, at sizes below, at and past the 100-pixel cell grid.
TEST(DitherMask, MatchesTheLiteralRuleAtEverySize) {
  // Cell counts, alternately away from the fill and back towards it; no step asks for more
  // cells than can change (the literal loop would never end).
  const std::uint32_t steps[] = {2500, 700, 1800, 50, 3000};
  const unsigned sizes[][2] = {{250, 130}, {101, 101}, {100, 100}, {37, 205}, {301, 1},
                               {1, 1},     {0, 7},     {640, 480}, {99, 250}, {201, 200}};
  std::uint32_t seed = 11;
  for (const auto& [w, h] : sizes) {
    for (std::uint8_t fill : {0, 255}) {
      CRandom32 ours(seed), theirs(seed);
      ++seed;
      DitherMask mask;
      mask.Reset(w, h, fill);
      Pixels literal(w * h, fill), buffer;
      ASSERT_EQ(Render(mask, buffer), literal);
      // Tiny masks fill up after one step; later steps would draw past the point where the
      // pattern stops drawing, so they are compared on their first step only.
      const std::size_t stepCount = w * h < 1000 ? 1 : std::size(steps);
      for (std::size_t s = 0; s < stepCount; ++s) {
        const std::uint8_t target = s % 2 == 0 ? 255 - fill : fill;
        mask.SetCells(ours, steps[s], target);
        LiteralSet(literal, w, h, theirs, steps[s], target);
        ASSERT_EQ(Render(mask, buffer), literal) << w << "x" << h << " step " << s;
        for (unsigned y = 0; y < h; y += 7)
          for (unsigned x = 0; x < w; x += 3) ASSERT_EQ(mask.At(x, y), literal[y * w + x]);
      }
      if (stepCount > 1) {
        EXPECT_EQ(ours.Random(), theirs.Random()) << "same number of draws";
      }
      // More cells than can change (the plain loop would never end): stops once all are set.
      mask.SetCells(ours, 4000000000u, 255 - fill);
      EXPECT_EQ(Render(mask, buffer), Pixels(w * h, 255 - fill)) << w << "x" << h;
    }
  }
}

// Catches: the share of 10000 cells rounded or clamped wrongly, NaN and negatives not zero.
TEST(DitherMask, CellCounts) {
  const std::pair<double, std::uint32_t> counts[] = {{0.5, 5000u},       {0.12345, 1234u},
                                                     {0.0, 0u},          {-0.25, 0u},
                                                     {std::nan(""), 0u}, {1e12, 4294967295u}};
  for (const auto& [share, cells] : counts) EXPECT_EQ(DitherCellCount(share), cells) << share;
}

unsigned char PatternA(unsigned x, unsigned y, unsigned c) {
  return static_cast<unsigned char>(x * 7 + y * 13 + c * 101);
}
// Differs from PatternA in every byte.
unsigned char PatternB(unsigned x, unsigned y, unsigned c) {
  return static_cast<unsigned char>(PatternA(x, y, c) ^ 0x80);
}
unsigned char MaskPattern(unsigned x, unsigned y, unsigned) {
  const unsigned v = (x * 31 + y * 17) % 7;
  return static_cast<unsigned char>(v < 3 ? 0 : v == 3 ? 1 : v == 4 ? 128 : 255);
}

ComPtr<ICIF> Compose(ICIF* from, ICIF* to, ICIF* mask) {
  ICIF* out = nullptr;
  EXPECT_EQ(CTransitionHelper::ApplyMask(from, to, mask, &out), S_OK);
  return ComPtr<ICIF>::Adopt(out);
}

// Catches: a wrong byte in any format pair, at widths around the 16- and 8-pixel steps of the
// row loops: to's bytes where the mask is not 0, else from's; from's fourth byte dropped for
// 32 -> 24, and 24 -> 32 gives a fourth byte of 255.
TEST(ApplyMask, EveryFormatPairByteForByte) {
  for (unsigned width : {1u, 7u, 8u, 16u, 37u, 53u, 100u}) {
    const ComPtr<ICIF> mask = MakePicture(width, 5, 8, MaskPattern);
    const auto m = Bytes(mask.Get());
    for (auto [fromBits, toBits] : {std::pair{8, 8}, {24, 24}, {32, 32}, {32, 24}, {24, 32}}) {
      const ComPtr<ICIF> from = MakePicture(width, 5, fromBits, PatternA);
      const ComPtr<ICIF> to = MakePicture(width, 5, toBits, PatternB);
      const ComPtr<ICIF> out = Compose(from.Get(), to.Get(), mask.Get());
      ASSERT_TRUE(out);
      EXPECT_EQ(testhost::Shape(out.Get()), testhost::Shape(to.Get()));
      const auto f = Bytes(from.Get()), t = Bytes(to.Get());
      const unsigned fb = fromBits / 8, tb = toBits / 8;
      std::vector<unsigned char> expected(width * 5 * tb);
      for (std::size_t i = 0; i < expected.size(); ++i) {
        const std::size_t p = i / tb, c = i % tb;
        expected[i] = c >= fb ? 255 : m[p] != 0 ? t[i] : f[p * fb + c];
      }
      EXPECT_EQ(Bytes(out.Get()), expected) << fromBits << "->" << toBits << " " << width;
    }
  }
}

// Catches: a `from` of another size not resampled to to's size; a mask of the wrong size or a
// missing picture accepted.
TEST(ApplyMask, ResamplesFromAndRefusesBadInput) {
  const ComPtr<ICIF> mask = MakePicture(20, 4, 8, MaskPattern);
  const ComPtr<ICIF> colour = MakePicture(20, 4, 24, PatternB);
  // A flat picture stays flat when resampled.
  const ComPtr<ICIF> big = MakePicture(
      40, 8, 24, [](unsigned, unsigned, unsigned c) { return static_cast<unsigned char>(60 + c); });
  const auto bytes = Bytes(Compose(big.Get(), colour.Get(), mask.Get()).Get());
  const auto to = Bytes(colour.Get()), m = Bytes(mask.Get());
  ASSERT_EQ(bytes.size(), 20u * 4 * 3);
  for (std::size_t i = 0; i < bytes.size(); ++i)
    ASSERT_EQ(bytes[i], m[i / 3] != 0 ? to[i] : 60 + i % 3) << i;

  ICIF* result = nullptr;
  const ComPtr<ICIF> smallMask = MakePicture(19, 4, 8, MaskPattern);
  EXPECT_EQ(CTransitionHelper::ApplyMask(colour.Get(), colour.Get(), smallMask.Get(), &result),
            E_INVALIDARG);
  EXPECT_EQ(CTransitionHelper::ApplyMask(nullptr, colour.Get(), mask.Get(), &result), E_INVALIDARG);
  EXPECT_EQ(result, nullptr);
}

// One frame of a w x h 24-bit transition, per pixel: true where it shows to, false where from;
// fails on a pixel that is neither.
std::vector<bool> Frame(IKeloTransition* effect, unsigned w, unsigned h, double progress) {
  const ComPtr<ICIF> from = MakePicture(w, h, 24, PatternA), to = MakePicture(w, h, 24, PatternB);
  const auto o = Bytes(moduletest::Render(effect, from.Get(), to.Get(), progress).Get());
  const auto f = Bytes(from.Get()), t = Bytes(to.Get());
  EXPECT_EQ(o.size(), t.size());
  std::vector<bool> shows(std::min(o.size(), t.size()) / 3);
  for (std::size_t p = 0; p < shows.size(); ++p) {
    const bool isTo = std::equal(&o[3 * p], &o[3 * p + 3], &t[3 * p]);
    EXPECT_NE(isTo, std::equal(&o[3 * p], &o[3 * p + 3], &f[3 * p])) << "pixel " << p;
    shows[p] = isTo;
  }
  return shows;
}

double Share(const std::vector<bool>& shows) {
  return static_cast<double>(std::count(shows.begin(), shows.end(), true)) / shows.size();
}

// Catches: a share of to-pixels off the progress, a pattern reused between frames, a pattern
// that does not repeat every 100 pixels, small pictures mishandled, a missing picture accepted.
TEST(Dither, ShareOfToPixelsTracksProgress) {
  auto dither = moduletest::New<CDither>();
  EXPECT_EQ(Share(Frame(dither.Get(), 600, 400, 0.0)), 0.0);
  EXPECT_EQ(Share(Frame(dither.Get(), 600, 400, 1.0)), 1.0);
  for (double progress : {0.02, 0.1, 0.25, 0.5, 0.75, 0.9, 0.98})
    EXPECT_NEAR(Share(Frame(dither.Get(), 600, 400, progress)), progress, 0.03) << progress;
  // A fresh pattern every frame.
  EXPECT_NE(Frame(dither.Get(), 600, 400, 0.5), Frame(dither.Get(), 600, 400, 0.5));
  // The pattern repeats every 100 pixels (rows and columns at multiples of 100 are cell 100's).
  const auto shows = Frame(dither.Get(), 600, 400, 0.3);
  for (unsigned y = 1; y < 300; ++y)
    for (unsigned x = 1; x < 500; ++x)
      ASSERT_TRUE(x % 100 == 0 || y % 100 == 0 ||
                  shows[y * 600 + x] == shows[(y + 100) * 600 + x + 100])
          << x << "," << y;
  // A picture below 101 pixels keeps the pattern inside it.
  EXPECT_NEAR(Share(Frame(dither.Get(), 40, 3, 0.5)), 0.5, 0.3);
  ICIF* out = nullptr;
  EXPECT_EQ(dither->DoTransition(nullptr, MakePicture(8, 8, 24, PatternB).Get(), &out, 0.5),
            E_INVALIDARG);
}

// Catches: a to-pixel taken back while progress rises, steps below the threshold applied, the
// next change measured from the wrong progress.
TEST(DitherCumulative, OnlyAddsWhileProgressRises) {
  auto dither = moduletest::New<CDitherCumulative>();
  std::vector<bool> previous = Frame(dither.Get(), 600, 400, 0.0);
  EXPECT_EQ(Share(previous), 0.0);
  // Each frame keeps every to-pixel of the last one (going back only removes some).
  auto keeps = [](const std::vector<bool>& more, const std::vector<bool>& less) {
    for (std::size_t p = 0; p < less.size(); ++p)
      if (less[p] && !more[p]) return false;
    return Share(more) > Share(less);
  };
  for (int step = 1; step <= 20; ++step) {
    const double progress = step * 0.04;
    const auto shows = Frame(dither.Get(), 600, 400, progress);
    ASSERT_TRUE(keeps(shows, previous)) << progress;
    EXPECT_NEAR(Share(shows), progress, 0.08) << progress;
    previous = shows;
  }
  // A step of 0.004 changes nothing; the next change is measured from the last applied 0.8.
  EXPECT_EQ(Frame(dither.Get(), 600, 400, 0.804), previous);
  EXPECT_EQ(Frame(dither.Get(), 600, 400, 0.803), previous);
  const auto moved = Frame(dither.Get(), 600, 400, 0.806);
  EXPECT_NE(moved, previous);
  EXPECT_TRUE(keeps(moved, Frame(dither.Get(), 600, 400, 0.6)));
}

// Catches: a mask kept across a new size or a new run (Uninitialize).
TEST(DitherCumulative, NewRunsAndNewSizesStartANewMask) {
  auto dither = moduletest::New<CDitherCumulative>();
  Frame(dither.Get(), 300, 300, 0.2);
  EXPECT_GT(Share(Frame(dither.Get(), 300, 300, 0.9)), 0.6);
  // Another size starts from a fresh fill: 0.1 shows about a tenth.
  EXPECT_NEAR(Share(Frame(dither.Get(), 200, 150, 0.1)), 0.1, 0.04);
  // Uninitialize ends the run; a first frame past the middle starts from the full mask.
  EXPECT_EQ(dither->Uninitialize(), S_OK);
  EXPECT_NEAR(Share(Frame(dither.Get(), 200, 150, 0.8)), 0.8, 0.04);
  EXPECT_EQ(dither->Uninitialize(), S_OK);
  EXPECT_EQ(Share(Frame(dither.Get(), 200, 150, 0.003)), 0.0);
  // 10000 changes on the 10201 cells: nearly everything.
  EXPECT_GT(Share(Frame(dither.Get(), 200, 150, 1.0)), 0.97);
}

}  // namespace
