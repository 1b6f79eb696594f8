// The dither pattern against a literal cell-by-cell reading of its rule, ApplyMask byte for
// byte in every format pair, and both dither effects through the real host pictures.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "effects/Dither.h"
#include "effects/TransitionHelper.h"
#include "tests/common/TestHost.h"

namespace {

// The rule as stated, pixel by pixel: draw cx then cy; a draw on a cell already at t does not
// count; otherwise t goes to every pixel (cx + 100 i, cy + 100 j) inside the mask.
struct LiteralMask {
  unsigned width, height;
  std::vector<std::uint8_t> pixels;
  LiteralMask(unsigned w, unsigned h, std::uint8_t fill)
      : width(w), height(h), pixels(w * h, fill) {}
  void Set(CRandom32& prng, std::uint32_t n, std::uint8_t t) {
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
};

// A mask rendered into a buffer whose rows are padded with a guard byte pattern.
struct RenderedMask {
  static constexpr unsigned kPad = 5;
  unsigned width, height;
  std::vector<std::uint8_t> buffer;
  RenderedMask(unsigned w, unsigned h) : width(w), height(h), buffer((w + kPad) * h, 0xA5) {}
  void Render(DitherMask& mask) {
    mask.Render(buffer.data(), static_cast<std::ptrdiff_t>(width + kPad));
  }
  std::vector<std::uint8_t> Pixels() const {
    std::vector<std::uint8_t> pixels;
    for (unsigned y = 0; y < height; ++y) {
      const auto* row = buffer.data() + y * (width + kPad);
      pixels.insert(pixels.end(), row, row + width);
      for (unsigned p = 0; p < kPad; ++p) EXPECT_EQ(row[width + p], 0xA5) << "padding written";
    }
    return pixels;
  }
};

TEST(DitherMask, MatchesTheLiteralRuleAtEverySize) {
  // Cell counts, alternately away from the fill and back towards it; no step asks for more
  // cells than can change (the literal loop would never end).
  const std::uint32_t steps[] = {2500, 700, 1800, 50, 3000};
  const unsigned sizes[][2] = {{250, 130}, {101, 101}, {100, 100}, {37, 205}, {301, 1},
                               {1, 1},     {0, 7},     {640, 480}, {99, 250}, {201, 200}};
  std::uint32_t seed = 11;
  for (const auto& size : sizes) {
    for (std::uint8_t fill : {0, 255}) {
      const unsigned w = size[0], h = size[1];
      CRandom32 ours(seed), theirs(seed);
      ++seed;
      DitherMask mask;
      mask.Reset(w, h, fill);
      LiteralMask literal(w, h, fill);
      RenderedMask rendered(w, h);
      rendered.Render(mask);
      ASSERT_EQ(rendered.Pixels(), literal.pixels);
      // Tiny masks fill up after one step; later steps would draw past the point where the
      // pattern stops drawing, so they are compared on their first step only.
      const std::size_t stepCount = w * h < 1000 ? 1 : std::size(steps);
      for (std::size_t s = 0; s < stepCount; ++s) {
        const std::uint8_t target = s % 2 == 0 ? 255 - fill : fill;
        mask.SetCells(ours, steps[s], target);
        literal.Set(theirs, steps[s], target);
        rendered.Render(mask);
        ASSERT_EQ(rendered.Pixels(), literal.pixels) << w << "x" << h << " step " << s;
        for (unsigned y = 0; y < h; y += 7)
          for (unsigned x = 0; x < w; x += 3) ASSERT_EQ(mask.At(x, y), literal.pixels[y * w + x]);
      }
      if (stepCount > 1) {
        EXPECT_EQ(ours.Random(), theirs.Random()) << "both drew the same number of values";
      }
    }
  }
}

TEST(DitherMask, EndsWhenNoCellCanChange) {
  // More cells than the lattice holds: the plain loop would never end.
  CRandom32 prng(3);
  DitherMask full;
  full.Reset(150, 150, 0);
  full.SetCells(prng, 20000, 255);
  RenderedMask rendered(150, 150);
  rendered.Render(full);
  EXPECT_EQ(rendered.Pixels(), std::vector<std::uint8_t>(150 * 150, 255));
  // A tiny mask with an absurd count: draws outside count, and the loop stops once all is set.
  DitherMask tiny;
  tiny.Reset(3, 2, 0);
  tiny.SetCells(prng, 4000000000u, 255);
  RenderedMask small(3, 2);
  small.Render(tiny);
  EXPECT_EQ(small.Pixels(), std::vector<std::uint8_t>(6, 255));
}

TEST(DitherMask, CellCounts) {
  EXPECT_EQ(DitherCellCount(0.5), 5000u);
  EXPECT_EQ(DitherCellCount(0.12345), 1234u);
  EXPECT_EQ(DitherCellCount(0.0), 0u);
  EXPECT_EQ(DitherCellCount(-0.25), 0u);
  EXPECT_EQ(DitherCellCount(std::nan("")), 0u);
  EXPECT_EQ(DitherCellCount(1e12), 4294967295u);
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

struct Shape {
  unsigned width, height;
  int bits;
};

// ApplyMask's result as the table states it, from the sources' meaningful bytes.
std::vector<unsigned char> ExpectedComposition(const std::vector<unsigned char>& from, int fromBits,
                                               const std::vector<unsigned char>& to, int toBits,
                                               const std::vector<unsigned char>& mask,
                                               unsigned width, unsigned height) {
  const unsigned fb = static_cast<unsigned>(fromBits) / 8, tb = static_cast<unsigned>(toBits) / 8;
  std::vector<unsigned char> out(static_cast<std::size_t>(width) * height * tb);
  for (unsigned y = 0; y < height; ++y) {
    for (unsigned x = 0; x < width; ++x) {
      const std::size_t p = static_cast<std::size_t>(y) * width + x;
      const bool useTo = mask[p] != 0;
      for (unsigned c = 0; c < tb; ++c) {
        if (fromBits == 24 && toBits == 32 && c == 3) {
          out[p * tb + c] = 255;
        } else if (fromBits == 32 && toBits == 24) {
          out[p * tb + c] = useTo ? to[p * 3 + c] : from[p * 4 + c];
        } else if (fromBits == 24 && toBits == 32) {
          out[p * tb + c] = useTo ? to[p * 4 + c] : from[p * 3 + c];
        } else {
          out[p * tb + c] = useTo ? to[p * tb + c] : from[p * fb + c];
        }
      }
    }
  }
  return out;
}

ComPtr<ICIF> Compose(ICIF* from, ICIF* to, ICIF* mask) {
  ICIF* out = nullptr;
  EXPECT_EQ(CTransitionHelper::ApplyMask(from, to, mask, &out), S_OK);
  return ComPtr<ICIF>::Adopt(out);
}

TEST(ApplyMask, EveryFormatPairByteForByte) {
  const int pairs[][2] = {{8, 8}, {24, 24}, {32, 32}, {32, 24}, {24, 32}};
  // Widths around the 16- and 8-pixel steps of the row loops.
  for (unsigned width : {1u, 7u, 8u, 16u, 37u, 53u, 100u}) {
    const unsigned height = 5;
    const ComPtr<ICIF> mask = testhost::MakePicture(width, height, 8, MaskPattern);
    for (const auto& pair : pairs) {
      const ComPtr<ICIF> from = testhost::MakePicture(width, height, pair[0], PatternA);
      const ComPtr<ICIF> to = testhost::MakePicture(width, height, pair[1], PatternB);
      const ComPtr<ICIF> out = Compose(from.Get(), to.Get(), mask.Get());
      ASSERT_TRUE(out);
      unsigned w = 0, h = 0, planes = 0;
      int bits = 0, format = 0, formatC = 0;
      out->GetSize(&w, &h, &planes);
      out->GetFormat(&bits, &format, &formatC);
      EXPECT_EQ(w, width);
      EXPECT_EQ(h, height);
      EXPECT_EQ(bits, pair[1]);
      int toBits = 0, toFormat = 0;
      to->GetFormat(&toBits, &toFormat, &formatC);
      EXPECT_EQ(format, toFormat);
      EXPECT_EQ(testhost::Bytes(out.Get()),
                ExpectedComposition(testhost::Bytes(from.Get()), pair[0], testhost::Bytes(to.Get()),
                                    pair[1], testhost::Bytes(mask.Get()), width, height))
          << pair[0] << "->" << pair[1] << " width " << width;
    }
  }
}

TEST(ApplyMask, OtherPairsSizesAndBadInput) {
  const ComPtr<ICIF> mask = testhost::MakePicture(20, 4, 8, MaskPattern);
  const ComPtr<ICIF> grey = testhost::MakePicture(20, 4, 8, PatternA);
  const ComPtr<ICIF> colour = testhost::MakePicture(20, 4, 24, PatternB);
  // A from of another size is resampled to to's size first (a flat picture stays flat).
  const ComPtr<ICIF> big = testhost::MakePicture(
      40, 8, 24, [](unsigned, unsigned, unsigned c) { return static_cast<unsigned char>(60 + c); });
  const ComPtr<ICIF> out = Compose(big.Get(), colour.Get(), mask.Get());
  const auto bytes = testhost::Bytes(out.Get());
  const auto to = testhost::Bytes(colour.Get());
  const auto m = testhost::Bytes(mask.Get());
  ASSERT_EQ(bytes.size(), 20u * 4 * 3);
  for (std::size_t i = 0; i < bytes.size(); ++i)
    ASSERT_EQ(bytes[i], m[i / 3] != 0 ? to[i] : 60 + i % 3) << i;

  ICIF* result = nullptr;
  const ComPtr<ICIF> smallMask = testhost::MakePicture(19, 4, 8, MaskPattern);
  EXPECT_EQ(CTransitionHelper::ApplyMask(grey.Get(), grey.Get(), smallMask.Get(), &result),
            E_INVALIDARG);
  EXPECT_EQ(CTransitionHelper::ApplyMask(nullptr, grey.Get(), mask.Get(), &result), E_INVALIDARG);
  EXPECT_EQ(result, nullptr);
}

ComPtr<IKeloTransition> MakeDither(bool cumulative) {
  ComPtr<IKeloTransition> effect;
  IID iid = IID_IKeloTransition;
  const HRESULT hr =
      cumulative ? CObject<CDitherCumulative>::_CreateInstance(nullptr, &iid, effect.PutVoid())
                 : CObject<CDither>::_CreateInstance(nullptr, &iid, effect.PutVoid());
  EXPECT_EQ(hr, S_OK);
  return effect;
}

// Per pixel of a 24-bit result: true where it shows to, false where from; fails on a pixel
// that is neither.
std::vector<bool> ShowsTo(ICIF* out, ICIF* from, ICIF* to) {
  const auto o = testhost::Bytes(out), f = testhost::Bytes(from), t = testhost::Bytes(to);
  EXPECT_EQ(o.size(), t.size());
  std::vector<bool> shows(o.size() / 3);
  for (std::size_t p = 0; p < shows.size(); ++p) {
    const bool isTo = std::equal(&o[3 * p], &o[3 * p + 3], &t[3 * p]);
    const bool isFrom = std::equal(&o[3 * p], &o[3 * p + 3], &f[3 * p]);
    EXPECT_TRUE(isTo != isFrom) << "pixel " << p;
    shows[p] = isTo;
  }
  return shows;
}

double Share(const std::vector<bool>& shows) {
  return static_cast<double>(std::count(shows.begin(), shows.end(), true)) / shows.size();
}

struct Pictures {
  ComPtr<ICIF> from, to;
  Pictures(unsigned w, unsigned h)
      : from(testhost::MakePicture(w, h, 24, PatternA)),
        to(testhost::MakePicture(w, h, 24, PatternB)) {}
};

std::vector<bool> Frame(IKeloTransition* effect, const Pictures& p, double progress) {
  ICIF* out = nullptr;
  EXPECT_EQ(effect->DoTransition(p.from.Get(), p.to.Get(), &out, progress), S_OK);
  if (out == nullptr) return {};
  auto result = ComPtr<ICIF>::Adopt(out);
  return ShowsTo(result.Get(), p.from.Get(), p.to.Get());
}

TEST(Dither, ShareOfToPixelsTracksProgress) {
  auto dither = MakeDither(false);
  const Pictures pictures(600, 400);
  EXPECT_EQ(Share(Frame(dither.Get(), pictures, 0.0)), 0.0);
  EXPECT_EQ(Share(Frame(dither.Get(), pictures, 1.0)), 1.0);
  for (double progress : {0.02, 0.1, 0.25, 0.5, 0.75, 0.9, 0.98})
    EXPECT_NEAR(Share(Frame(dither.Get(), pictures, progress)), progress, 0.03) << progress;
  // A fresh pattern every frame.
  EXPECT_NE(Frame(dither.Get(), pictures, 0.5), Frame(dither.Get(), pictures, 0.5));
  // The pattern repeats every 100 pixels (rows and columns at multiples of 100 are cell 100's).
  const auto shows = Frame(dither.Get(), pictures, 0.3);
  for (unsigned y = 1; y < 300; ++y) {
    for (unsigned x = 1; x < 500; ++x) {
      if (x % 100 != 0 && y % 100 != 0) {
        ASSERT_EQ(shows[y * 600 + x], shows[(y + 100) * 600 + x + 100]);
      }
    }
  }
  // A picture below 101 pixels keeps the pattern inside it.
  const Pictures tiny(40, 3);
  EXPECT_NEAR(Share(Frame(dither.Get(), tiny, 0.5)), 0.5, 0.3);
  ICIF* out = nullptr;
  EXPECT_EQ(dither->DoTransition(nullptr, pictures.to.Get(), &out, 0.5), E_INVALIDARG);
}

TEST(DitherCumulative, OnlyAddsWhileProgressRises) {
  auto dither = MakeDither(true);
  const Pictures pictures(600, 400);
  std::vector<bool> previous = Frame(dither.Get(), pictures, 0.0);
  EXPECT_EQ(Share(previous), 0.0);
  for (int step = 1; step <= 20; ++step) {
    const double progress = step * 0.04;
    const auto shows = Frame(dither.Get(), pictures, progress);
    for (std::size_t p = 0; p < shows.size(); ++p)
      ASSERT_TRUE(shows[p] || !previous[p]) << "a to-pixel went back at " << progress;
    EXPECT_NEAR(Share(shows), progress, 0.08) << progress;
    EXPECT_GT(Share(shows), Share(previous));
    previous = shows;
  }
  // A step of 0.004 changes nothing; the next change is measured from the last applied 0.8.
  EXPECT_EQ(Frame(dither.Get(), pictures, 0.804), previous);
  EXPECT_EQ(Frame(dither.Get(), pictures, 0.803), previous);
  const auto moved = Frame(dither.Get(), pictures, 0.806);
  EXPECT_NE(moved, previous);
  // Going back only removes to-pixels.
  const auto back = Frame(dither.Get(), pictures, 0.6);
  for (std::size_t p = 0; p < back.size(); ++p) ASSERT_TRUE(moved[p] || !back[p]);
  EXPECT_LT(Share(back), Share(moved));
}

TEST(DitherCumulative, NewRunsAndNewSizesStartANewMask) {
  auto dither = MakeDither(true);
  const Pictures pictures(300, 300);
  Frame(dither.Get(), pictures, 0.2);
  EXPECT_GT(Share(Frame(dither.Get(), pictures, 0.9)), 0.6);
  // Another size starts from a fresh fill: 0.1 shows about a tenth.
  const Pictures other(200, 150);
  EXPECT_NEAR(Share(Frame(dither.Get(), other, 0.1)), 0.1, 0.04);
  // Uninitialize ends the run; a first frame past the middle starts from the full mask.
  EXPECT_EQ(dither->Uninitialize(), S_OK);
  EXPECT_NEAR(Share(Frame(dither.Get(), other, 0.8)), 0.8, 0.04);
  EXPECT_EQ(dither->Uninitialize(), S_OK);
  EXPECT_EQ(Share(Frame(dither.Get(), other, 0.003)), 0.0);
  // 10000 changes on the 10201 cells: nearly everything.
  EXPECT_GT(Share(Frame(dither.Get(), other, 1.0)), 0.97);
}

}  // namespace
