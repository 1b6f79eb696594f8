// Resizing along one axis: the area average and linear interpolation the one-axis resampler
// computes, every processor path against the portable one, the general resampler where both
// apply, and what Resize hands out.
#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "host/imaging/Resample.h"
#include "host/imaging/Transform.h"
#include "sdk/Imaging.h"
#include "tests/common/GuardedPicture.h"
#include "tests/common/TestHost.h"
#include "tests/host/ImagingTestSupport.h"

namespace imagingtest {
namespace {

using host::imaging::ResamplePath;
using host::imaging::Surface;

// A picture in a plain buffer: rows 64-byte aligned plus `pad` bytes, stored top-down or
// bottom-up (negative stride).
struct Rows {
  std::vector<unsigned char> bytes;
  Surface surface;

  Rows(unsigned width, unsigned height, int bits, bool bottomUp = false, unsigned pad = 0) {
    const std::size_t stride = (width * static_cast<unsigned>(bits) / 8 + 63) / 64 * 64 + pad;
    bytes.assign(stride * height + 64, 0xCD);
    surface = Surface{width, height, bits, 0, bytes.data(), static_cast<std::ptrdiff_t>(stride)};
    if (bottomUp && height > 0) {
      surface.first = bytes.data() + stride * (height - 1);
      surface.stride = -surface.stride;
    }
  }
  Rows(Rows&&) = default;  // the vector keeps its buffer, so the surface stays valid
  Rows(const Rows&) = delete;

  unsigned char& At(unsigned x, unsigned y, int c) { return surface.At(x, y)[c]; }
  std::vector<unsigned char> Pixels() const {
    std::vector<unsigned char> out;
    for (unsigned y = 0; y < surface.height; ++y)
      out.insert(out.end(), surface.Row(y), surface.Row(y) + surface.RowBytes());
    return out;
  }
};

Rows Random(unsigned width, unsigned height, int bits, unsigned seed, bool bottomUp = false) {
  Rows rows(width, height, bits, bottomUp, 64);
  std::mt19937 random(seed);
  for (unsigned y = 0; y < height; ++y)
    for (unsigned x = 0; x < width; ++x)
      for (int c = 0; c < bits / 8; ++c) rows.At(x, y, c) = static_cast<unsigned char>(random());
  return rows;
}

std::vector<unsigned char> Resampled(const Surface& from, unsigned width, unsigned height,
                                     ResamplePath path) {
  Rows to(width, height, from.bits);
  EXPECT_EQ(host::imaging::ResampleOneAxis(from, to.surface, path), S_OK);
  return to.Pixels();
}

std::vector<unsigned char> General(const Surface& from, unsigned width, unsigned height) {
  Rows to(width, height, from.bits);
  EXPECT_EQ(host::imaging::ResampleGeneral(from, to.surface), S_OK);
  return to.Pixels();
}

// Result sizes along one axis of `size` positions: shrinking by less than 2, by more, growing.
std::vector<unsigned> SizesFrom(unsigned size) {
  std::vector<unsigned> sizes;
  for (unsigned s : {1u, size / 30, size / 4, size / 3, size * 3 / 5, size * 29 / 30, size - 1,
                     size + 1, size * 3 / 2, size * 2, size * 5})
    if (s > 0 && s != size && size <= 256 * s &&
        std::find(sizes.begin(), sizes.end(), s) == sizes.end())
      sizes.push_back(s);
  return sizes;
}

// The value the resampler approximates at result position i, in doubles: shrinking, the average
// of the covered interval; growing, linear interpolation at the mapped centre.
double Ideal(const std::vector<double>& line, unsigned size, unsigned i) {
  const double from = static_cast<double>(line.size()), scale = from / size;
  if (size < line.size()) {
    const double begin = i * scale, end = begin + scale;
    double sum = 0;
    for (unsigned j = static_cast<unsigned>(begin); j < line.size() && j < end; ++j)
      sum += line[j] * (std::min<double>(j + 1, end) - std::max<double>(j, begin));
    return sum / scale;
  }
  const double at = std::clamp((i + 0.5) * scale - 0.5, 0.0, from - 1);
  const auto x0 = static_cast<unsigned>(at);
  const unsigned x1 = std::min<unsigned>(x0 + 1, static_cast<unsigned>(line.size()) - 1);
  return line[x0] + (line[x1] - line[x0]) * (at - x0);
}

std::vector<ResamplePath> VectorPaths() {
  std::vector<ResamplePath> paths;
  for (ResamplePath path : {ResamplePath::kAvx2, ResamplePath::kAvx512})
    if (host::imaging::ResamplePathSupported(path)) paths.push_back(path);
  return paths;
}

using ImagingResize = ImagingTest;

// Catches: a covered interval's ends weighted wrongly, a whole pixel left out or counted twice,
// a rounding that truncates, a growth that samples off-centre or misses the edge repeat, a row
// or column mixed into another, weights summing past 1 (a white picture no longer white); in any
// depth, along either axis.
TEST_F(ImagingResize, PlainPathIsTheAreaAverageOrTheInterpolation) {
  for (int bits : {8, 24, 32}) {
    for (unsigned size : {1u, 2u, 7u, 19u, 37u, 90u}) {
      for (bool alongX : {true, false}) {
        const unsigned across = 3 + size % 5;
        const Rows from = alongX ? Random(size, across, bits, size * 7 + 1)
                                 : Random(across, size, bits, size * 7 + 2);
        for (unsigned to : SizesFrom(size)) {
          const unsigned w = alongX ? to : across, h = alongX ? across : to;
          const auto out = Resampled(from.surface, w, h, ResamplePath::kPlain);
          const int channels = bits / 8;
          double worst = 0;
          for (unsigned k = 0; k < across; ++k)
            for (int c = 0; c < channels; ++c) {
              std::vector<double> line(size);
              for (unsigned j = 0; j < size; ++j)
                line[j] = alongX ? from.surface.At(j, k)[c] : from.surface.At(k, j)[c];
              for (unsigned i = 0; i < to; ++i) {
                const unsigned x = alongX ? i : k, y = alongX ? k : i;
                const double got = out[(y * w + x) * static_cast<unsigned>(channels) + c];
                worst = std::max(worst, std::abs(got - Ideal(line, to, i)));
              }
            }
          // Rounding to nearest leaves at most half a level, the fixed point a little more.
          EXPECT_LT(worst, 0.56) << bits << " bits, " << size << " -> " << to
                                 << (alongX ? " wide" : " high");
          Rows white(from.surface.width, from.surface.height, bits);
          for (unsigned y = 0; y < from.surface.height; ++y)
            std::fill_n(white.surface.Row(y), white.surface.RowBytes(), 255);
          const auto whiteOut = Resampled(white.surface, w, h, ResamplePath::kPlain);
          EXPECT_EQ(std::count(whiteOut.begin(), whiteOut.end(), 255), std::ssize(whiteOut))
              << bits << " bits, " << size << " -> " << to << (alongX ? " wide" : " high");
        }
      }
    }
  }
}

// Catches: a vector path that differs from the portable one anywhere: at a row's first or last
// lanes, the tail left to the portable loop, phases of the middle folded wrongly, a lane's stray
// bytes left in the result, rows of a block mixed up, a negative stride read as positive.
TEST_F(ImagingResize, VectorPathsGiveThePortableBytes) {
  const auto paths = VectorPaths();
  if (paths.empty()) GTEST_SKIP() << "no vector path on this processor";
  struct Shape {
    unsigned width, height;
  };
  std::vector<Shape> shapes;
  for (unsigned w = 1; w <= 37; w += 3) shapes.push_back({w, 1 + w % 19});
  for (Shape big : {Shape{200, 9}, Shape{333, 5}, Shape{1920, 3}, Shape{61, 120}, Shape{900, 40}})
    shapes.push_back(big);
  for (int bits : {8, 24, 32}) {
    for (const Shape& shape : shapes) {
      for (bool bottomUp : {false, true}) {
        const Rows from = Random(shape.width, shape.height, bits,
                                 shape.width * 131 + shape.height + (bottomUp ? 7 : 0), bottomUp);
        auto compare = [&](unsigned w, unsigned h) {
          const auto plain = Resampled(from.surface, w, h, ResamplePath::kPlain);
          for (ResamplePath path : paths)
            ASSERT_EQ(Resampled(from.surface, w, h, path), plain)
                << "path " << static_cast<int>(path) << ", " << bits << " bits, " << shape.width
                << "x" << shape.height << " -> " << w << "x" << h << (bottomUp ? " bottom-up" : "");
        };
        for (unsigned w : SizesFrom(shape.width)) compare(w, shape.height);
        for (unsigned h : SizesFrom(shape.height)) compare(shape.width, h);
      }
    }
  }
}

// Catches: the one-axis resampler parting from OpenCV's linear interpolation when growing (the
// pixel-centre convention, the edges) or from its block average at whole shrink factors.
TEST_F(ImagingResize, OneAxisAgreesWithTheGeneralResampler) {
  for (int bits : {24, 32}) {
    const Rows from = Random(48, 36, bits, 5);
    struct Size {
      unsigned width, height;
    };
    for (Size size :
         {Size{24, 36}, Size{16, 36}, Size{12, 36}, Size{48, 18}, Size{48, 9}, Size{49, 36},
          Size{75, 36}, Size{96, 36}, Size{200, 36}, Size{48, 37}, Size{48, 80}, Size{48, 144}}) {
      const auto general = General(from.surface, size.width, size.height);
      const auto oneAxis =
          Resampled(from.surface, size.width, size.height, host::imaging::FastestResamplePath());
      ASSERT_EQ(general.size(), oneAxis.size());
      int worst = 0;
      for (std::size_t k = 0; k < general.size(); ++k)
        worst = std::max(worst, std::abs(int{general[k]} - int{oneAxis[k]}));
      EXPECT_LE(worst, 1) << bits << " bits, " << size.width << "x" << size.height;
    }
  }
}

// The largest distance from the stripes' mean of the average of any `window` neighbouring
// columns of row 0.
double WorstLocalMean(const std::vector<unsigned char>& bytes, unsigned width, int channels,
                      unsigned window) {
  double worst = 0;
  for (unsigned x = 0; x + window <= width; ++x) {
    double sum = 0;
    for (unsigned k = 0; k < window; ++k) sum += bytes[(x + k) * static_cast<unsigned>(channels)];
    worst = std::max(worst, std::abs(sum / window - 127.5));
  }
  return worst;
}

// Catches: shrinking by a factor between 1 and 2 by sampling (the general resampler's bilinear
// step does: one-pixel stripes squeezed to 0.6 of their width beat into bands of mostly black
// and mostly white), along either axis.
TEST_F(ImagingResize, OnePixelStripesSqueezeToAnEvenGrey) {
  for (bool alongX : {true, false}) {
    const unsigned size = 300, across = 4;
    Rows from(alongX ? size : across, alongX ? across : size, 24);
    for (unsigned y = 0; y < from.surface.height; ++y)
      for (unsigned x = 0; x < from.surface.width; ++x)
        for (int c = 0; c < 3; ++c) from.At(x, y, c) = ((alongX ? x : y) % 2) ? 255 : 0;
    const unsigned squeezed = size * 3 / 5;
    const unsigned w = alongX ? squeezed : across, h = alongX ? across : squeezed;
    // Lines along the squeezed axis, as a row of bytes.
    auto line = [&](const std::vector<unsigned char>& bytes) {
      std::vector<unsigned char> out(squeezed);
      for (unsigned i = 0; i < squeezed; ++i) out[i] = bytes[(alongX ? i : i * w) * 3];
      return out;
    };
    // Exact averages of 5/3 of a pixel still alternate in threes (102 and 153); any 8 of them
    // average within 6.4 of the middle.
    for (ResamplePath path : {ResamplePath::kPlain, host::imaging::FastestResamplePath()})
      EXPECT_LT(WorstLocalMean(line(Resampled(from.surface, w, h, path)), squeezed, 1, 8), 8)
          << (alongX ? "wide" : "high") << ", path " << static_cast<int>(path);
    // The bilinear general resampler fails the same measure by far (about 21).
    EXPECT_GT(WorstLocalMean(line(General(from.surface, w, h)), squeezed, 1, 8), 15)
        << (alongX ? "wide" : "high");
  }
}

// Catches: a two-axis resize that is not the area average (or interpolation) along each axis:
// the passes' intermediate size or order wrong, a pass run on the wrong axis, a vector path
// differing from the portable one; and one-pixel stripes squeezed to 0.6 both ways beating into
// bands, as the general resampler's bilinear step does.
TEST_F(ImagingResize, TwoAxesAreTheOneAxisPassesInTurn) {
  for (int bits : {24, 32}) {
    const Rows from = Random(23, 17, bits, 11);
    const int channels = bits / 8;
    for (auto [w, h] : {std::pair{13u, 9u}, {40u, 30u}, {7u, 29u}, {31u, 5u}, {1u, 1u}}) {
      Rows to(w, h, bits);
      ASSERT_EQ(host::imaging::ResampleTwoAxes(from.surface, to.surface, ResamplePath::kPlain),
                S_OK);
      double worst = 0;
      for (int c = 0; c < channels; ++c) {
        // Each source row resampled across, then each resulting column down, in doubles.
        std::vector<std::vector<double>> across(17, std::vector<double>(w));
        for (unsigned y = 0; y < 17; ++y) {
          std::vector<double> line(23);
          for (unsigned x = 0; x < 23; ++x) line[x] = from.surface.At(x, y)[c];
          for (unsigned i = 0; i < w; ++i) across[y][i] = Ideal(line, w, i);
        }
        for (unsigned x = 0; x < w; ++x) {
          std::vector<double> column(17);
          for (unsigned y = 0; y < 17; ++y) column[y] = across[y][x];
          for (unsigned j = 0; j < h; ++j)
            worst = std::max(worst, std::abs(to.At(x, j, c) - Ideal(column, h, j)));
        }
      }
      // Two roundings of at most half a level each.
      EXPECT_LT(worst, 1.1) << bits << " bits -> " << w << "x" << h;
      for (ResamplePath path : VectorPaths()) {
        Rows vector(w, h, bits);
        ASSERT_EQ(host::imaging::ResampleTwoAxes(from.surface, vector.surface, path), S_OK);
        EXPECT_EQ(vector.Pixels(), to.Pixels()) << "path " << static_cast<int>(path);
      }
    }
  }
  Rows board(300, 200, 24);
  for (unsigned y = 0; y < 200; ++y)
    for (unsigned x = 0; x < 300; ++x)
      for (int c = 0; c < 3; ++c) board.At(x, y, c) = x % 2 ? 255 : 0;
  Rows squeezed(180, 120, 24);
  ASSERT_EQ(host::imaging::ResampleTwoAxes(board.surface, squeezed.surface,
                                           host::imaging::FastestResamplePath()),
            S_OK);
  EXPECT_LT(WorstLocalMean(squeezed.Pixels(), 180, 3, 8), 8);
  EXPECT_GT(WorstLocalMean(General(board.surface, 180, 120), 180, 3, 8), 15);
  // Shrinking by more than 256 along an axis is left to the general resampler.
  Rows tiny(1, 1, 24);
  EXPECT_EQ(host::imaging::ResampleTwoAxes(board.surface, tiny.surface, ResamplePath::kPlain),
            S_FALSE);
}

// Catches: Resize not taking the one-axis resampler (or giving other bytes than it), a
// same-size resize that is not an exact copy, a bottom-up source read the wrong way up on any
// path.
TEST_F(ImagingResize, ResizeCopiesAtTheSameSizeAndTakesTheOneAxisPath) {
  auto transform = Make<ICIFTransform>(L"CIFTransform");
  const auto picture = testhost::MakePicture(41, 23, 24, [](unsigned x, unsigned y, unsigned c) {
    return static_cast<unsigned char>((x * 37 + y * 91 + c * 53) ^ (x * y));
  });
  int info = 0, stride = 0;
  unsigned char* first = nullptr;
  ASSERT_EQ(picture->GetPlaneLines(0, &info, &first, &stride), S_OK);
  const Surface source{41, 23, 24, kFormatRGB, first, stride};
  Rows flipped(41, 23, 24, true);  // the same rows, bottom-up
  for (unsigned y = 0; y < 23; ++y)
    std::copy(source.Row(y), source.Row(y) + source.RowBytes(), flipped.surface.Row(y));
  std::vector<ResamplePath> paths = VectorPaths();
  paths.push_back(ResamplePath::kPlain);
  for (auto [w, h] : {std::pair{41u, 23u},
                      {30u, 23u},
                      {7u, 23u},
                      {90u, 23u},
                      {41u, 11u},
                      {41u, 2u},
                      {41u, 60u}}) {
    ComPtr<ICIF> out;
    ASSERT_EQ(transform->Resize(picture.Get(), out.Put(), w, h, 0, 1), S_OK);
    const auto bytes = testhost::Bytes(out.Get());
    if (w == 41 && h == 23) {
      EXPECT_EQ(bytes, testhost::Bytes(picture.Get()));
      continue;
    }
    const auto plain = Resampled(source, w, h, ResamplePath::kPlain);
    EXPECT_EQ(bytes, plain) << w << "x" << h;
    for (ResamplePath path : paths)
      EXPECT_EQ(Resampled(flipped.surface, w, h, path), plain)
          << w << "x" << h << ", path " << static_cast<int>(path);
  }
}

// Catches: ResizeInto giving other pixels than Resize then Paste on any of its ways (straight into
// the rows along one axis, two axes or at the same size; through a picture for another depth, a
// region of the source itself, a bottom-up destination, a shrink only the general resampler
// takes); drawing outside its region; a drawn region left out of the record a masked paste reads.
TEST_F(ImagingResize, ResizeIntoIsResizeThenPaste) {
  auto transform = Make<ICIFTransform>(L"CIFTransform");
  auto maths = Make<ICIFMaths>(L"CIFMaths");
  auto into = transform.As<IKeloResizeInto>();
  ASSERT_TRUE(into);
  auto pattern = [](unsigned x, unsigned y, unsigned c) {
    return static_cast<unsigned char>((x * 37 + y * 91 + c * 53) ^ (x * y));
  };
  auto region = [](ICIF* picture, int x, int y, int w, int h) {
    auto sub = Make<ICIFSubImage>(L"CIFSubImage");
    EXPECT_EQ(sub->Create(picture, x, y, w, h, 0, 0), S_OK);
    return sub;
  };
  // What Resize then Paste make of a copy of `destination`.
  auto expected = [&](ICIF* source, ICIF* destination, int x, int y, int w, int h) {
    ComPtr<ICIF> copy, resized;
    EXPECT_EQ(maths->Copy(copy.Put(), destination, 0, 0), S_OK);
    EXPECT_EQ(transform->Resize(source == destination ? copy.Get() : source, resized.Put(),
                                static_cast<unsigned>(w), static_cast<unsigned>(h), 0, 1),
              S_OK);
    EXPECT_EQ(maths->Paste(copy.Get(), resized.Get(), nullptr, x, y), S_OK);
    return testhost::Bytes(copy.Get());
  };
  const auto wide = testhost::MakePicture(700, 3, 24, pattern);
  for (int fromBits : {24, 8, 32}) {
    const auto source = testhost::MakePicture(41, 23, fromBits, pattern);
    for (int toBits : {24, 32}) {
      for (auto [w, h] : {std::pair{30, 23}, {41, 11}, {41, 40}, {20, 30}, {41, 23}, {1, 1}}) {
        const auto destination = testhost::MakePicture(50, 45, toBits, pattern);
        const auto want = expected(source.Get(), destination.Get(), 3, 5, w, h);
        ASSERT_EQ(into->ResizeInto(source.Get(), region(destination.Get(), 3, 5, w, h).Get()),
                  S_OK);
        EXPECT_EQ(testhost::Bytes(destination.Get()), want)
            << fromBits << " to " << toBits << " bits, " << w << "x" << h;
      }
    }
  }
  // A region of the source itself, squeezed over its own rows.
  const auto self = testhost::MakePicture(41, 23, 24, pattern);
  const auto want = expected(self.Get(), self.Get(), 0, 11, 41, 12);
  ASSERT_EQ(into->ResizeInto(self.Get(), region(self.Get(), 0, 11, 41, 12).Get()), S_OK);
  EXPECT_EQ(testhost::Bytes(self.Get()), want);
  // A bottom-up picture of another module, and a shrink by 350 along x.
  testhost::GuardedPicture guarded(31, 17, 32, 8, true), plain(31, 17, 32, 8, true);
  ASSERT_EQ(into->ResizeInto(wide.Get(), &guarded), S_OK);
  ComPtr<ICIF> resized;
  ASSERT_EQ(transform->Resize(wide.Get(), resized.Put(), 31, 17, 0, 1), S_OK);
  ASSERT_EQ(maths->Paste(&plain, resized.Get(), nullptr, 0, 0), S_OK);
  EXPECT_EQ(testhost::Bytes(&guarded), testhost::Bytes(&plain));
  const auto strip = testhost::MakePicture(9, 3, 24, pattern);
  const auto stripWant = expected(wide.Get(), strip.Get(), 7, 0, 2, 3);
  ASSERT_EQ(into->ResizeInto(wide.Get(), region(strip.Get(), 7, 0, 2, 3).Get()), S_OK);
  EXPECT_EQ(testhost::Bytes(strip.Get()), stripWant);
  // Drawn into a cleared picture, the region is recorded: a paste with the picture as its own
  // mask fills only the rest.
  const auto cleared = testhost::MakePicture(20, 10, 24, pattern);
  const auto white = testhost::MakePicture(
      20, 10, 24, [](unsigned, unsigned, unsigned) { return static_cast<unsigned char>(255); });
  ASSERT_EQ(maths->Clear(cleared.Get(), nullptr, 0), S_OK);
  ASSERT_EQ(into->ResizeInto(self.Get(), region(cleared.Get(), 0, 0, 20, 4).Get()), S_OK);
  auto drawn = testhost::Bytes(cleared.Get());
  ASSERT_EQ(maths->Paste(cleared.Get(), white.Get(), cleared.Get(), 0, 0), S_OK);
  std::fill(drawn.begin() + 4 * 20 * 3, drawn.end(), 255);
  EXPECT_EQ(testhost::Bytes(cleared.Get()), drawn);
}

}  // namespace
}  // namespace imagingtest
