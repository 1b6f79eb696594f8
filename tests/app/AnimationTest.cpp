// The animations against the frames they were made from: every WebP and GIF frame close to its
// source frame at its exact time, however slowly the picture changes, and GIF gradients without
// bands.
#include <png.h>

#include <algorithm>
#include <cmath>

#include "tests/app/ProgramTestSupport.h"

namespace apptest {
namespace {

using AnimationTest = ProgramTest;

// The milliseconds (or hundredths, with 100) from the start to frame `index` at `fps`.
int Time(long index, double fps, double units = 1000) {
  return static_cast<int>(std::lround(static_cast<double>(index) * units / fps));
}

// The index of the animation frame on show at time `t`, given when each frame ends.
std::size_t ShownAt(const std::vector<int>& ends, int t) {
  return std::upper_bound(ends.begin(), ends.end(), t) - ends.begin();
}

// The PNG frames frames/000.png, frames/001.png, ... written by the program.
std::vector<Image> ReadFrames(const std::filesystem::path& folder) {
  std::vector<Image> frames;
  for (int i = 0; std::filesystem::exists(folder / (std::to_string(1000 + i).substr(1) + ".png"));
       ++i)
    frames.push_back(ReadPng(folder / (std::to_string(1000 + i).substr(1) + ".png")));
  return frames;
}

// Two pictures 60 levels apart in every byte: over 60 frames of a dissolve, no frame differs from
// the one before by more than a level or two.
Rgb Low(unsigned x, unsigned y) {
  return {static_cast<std::uint8_t>(20 + x * 2), static_cast<std::uint8_t>(20 + y * 3), 100};
}
Rgb High(unsigned x, unsigned y) {
  return {static_cast<std::uint8_t>(80 + x * 2), static_cast<std::uint8_t>(80 + y * 3), 160};
}

// Catches: a slow change taken for no change, so that the WebP drifts away from its frames (the
// last frame left near the first picture); a changed rectangle misplaced or cut short (the cover
// leaves part of the picture as it was); an unchanged frame not merged into the one before, or a
// frame's time wrong.
TEST_F(AnimationTest, WebPFramesFollowTheirSourceAtTheirTimes) {
  WritePng(Path("low.png"), MakeImage(64, 48, Low), PNG_FORMAT_RGB);
  WritePng(Path("high.png"), MakeImage(64, 48, High), PNG_FORMAT_RGB);
  for (const std::string transition :
       {"DissolveTransition", "CoverTransition --set Direction=Left"}) {
    SCOPED_TRACE(transition);
    const std::string common =
        "render --from low.png --to high.png --duration 2 --fps 30 -t " + transition + " -o ";
    std::filesystem::remove_all(Path("frames"));
    std::filesystem::create_directory(Path("frames"));
    Succeeds(common + "frames/%03d.png");
    Succeeds(common + "out.webp");
    const std::vector<Image> source = ReadFrames(Path("frames"));
    std::vector<int> ends;
    const std::vector<Image> frames = ReadWebP(Path("out.webp"), &ends);
    ASSERT_EQ(source.size(), 60u);
    ASSERT_EQ(frames.size(), ends.size());
    ASSERT_FALSE(frames.empty());
    EXPECT_EQ(ends.back(), 2000);
    for (std::size_t i = 0; i < source.size(); ++i) {
      const std::size_t shown = ShownAt(ends, Time(static_cast<long>(i), 30));
      ASSERT_LT(shown, frames.size()) << i;
      EXPECT_GT(Psnr(source[i], frames[shown]), 40) << "frame " << i;
    }
  }
  // A frame without change lengthens the one before: the dither from a picture to itself
  // (whole pixels of one or the other) joins the first hold, transition and second hold.
  Succeeds(
      "slideshow low.png low.png high.png --hold 0.1 --duration 0.3 --fps 10 -t DitherTransition "
      "-o show.webp");
  std::vector<int> ends;
  const std::vector<Image> show = ReadWebP(Path("show.webp"), &ends);
  EXPECT_EQ(ends, (std::vector<int>{500, 600, 700, 800, 900}));
  ASSERT_FALSE(show.empty());
  EXPECT_GT(Psnr(MakeImage(64, 48, Low), show.front()), 35);
  EXPECT_GT(Psnr(MakeImage(64, 48, High), show.back()), 35);
}

// Catches: GIF frames out of order or far from their source, delays that do not add up to the
// exact time (30 fps is 3 or 4 hundredths a frame), a hold not one frame lasting its whole time.
TEST_F(AnimationTest, GifFramesFollowTheirSourceWithExactDelays) {
  ASSERT_TRUE(std::filesystem::create_directory(Path("frames")));
  const std::string common = "render --from a.png --to b.png --duration 1 --fps 30 -o ";
  Succeeds(common + "frames/%03d.png");
  Succeeds(common + "out.gif");
  const std::vector<Image> source = ReadFrames(Path("frames"));
  std::vector<int> delays;
  const std::vector<Image> frames = ReadGifFrames(Path("out.gif"), &delays);
  ASSERT_EQ(source.size(), 30u);
  ASSERT_EQ(frames.size(), 30u);
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const long at = static_cast<long>(i);
    EXPECT_EQ(delays[i], Time(at + 1, 30, 100) - Time(at, 30, 100)) << i;
    EXPECT_GT(Psnr(source[i], frames[i]), 30) << "frame " << i;
  }

  // Holds of 1 s and a transition of 2 frames at 10 fps.
  Succeeds(
      "slideshow a.png b.png --hold 1 --duration 0.2 --fps 10 -t DissolveTransition -o "
      "show.gif");
  delays.clear();
  const std::vector<Image> show = ReadGifFrames(Path("show.gif"), &delays);
  EXPECT_EQ(delays, (std::vector<int>{100, 10, 10, 100}));
  ASSERT_EQ(show.size(), 4u);
  EXPECT_GT(Psnr(a_, show[0]), 30);
  EXPECT_GT(Psnr(b_, show[3]), 30);
}

// Catches: a GIF palette applied without dithering, which cuts a smooth gradient into bands of
// one colour each. Seen through a 5x5 blur (the eye's averaging of the dither), the frame stays
// close to the gradient: within 4 levels inside, within 9 in the outer 10 pixels, where the
// picture's extreme colours lie outside what the palette's averaged colours can mix to.
TEST_F(AnimationTest, GifGradientShowsNoBands) {
  constexpr unsigned kWidth = 320, kHeight = 240;
  const Image gradient = MakeImage(kWidth, kHeight, [](unsigned x, unsigned y) {
    const int r = static_cast<int>(x * 255 / (kWidth - 1)),
              g = static_cast<int>(y * 255 / (kHeight - 1));
    return Rgb{static_cast<std::uint8_t>(r), static_cast<std::uint8_t>(g),
               static_cast<std::uint8_t>(255 - (r + g) / 2)};
  });
  WritePng(Path("gradient.png"), gradient, PNG_FORMAT_RGB);
  // The shortest render: two frames, both the gradient.
  Succeeds("render --from gradient.png --to gradient.png --duration 0.1 --fps 10 -o gradient.gif");
  const std::vector<Image> frames = ReadGifFrames(Path("gradient.gif"));
  ASSERT_EQ(frames.size(), 2u);
  const auto blur = [](const Image& image) {
    std::vector<double> out(image.rgb.size());
    for (unsigned y = 0; y < image.height; ++y)
      for (unsigned x = 0; x < image.width; ++x)
        for (unsigned c = 0; c < 3; ++c) {
          double sum = 0;
          for (int dy = -2; dy <= 2; ++dy)
            for (int dx = -2; dx <= 2; ++dx) {
              const auto at = [](unsigned v, int d, unsigned size) {
                return static_cast<unsigned>(
                    std::clamp(static_cast<int>(v) + d, 0, static_cast<int>(size) - 1));
              };
              sum += image.rgb[(static_cast<std::size_t>(at(y, dy, image.height)) * image.width +
                                at(x, dx, image.width)) *
                                   3 +
                               c];
            }
          out[(static_cast<std::size_t>(y) * image.width + x) * 3 + c] = sum / 25;
        }
    return out;
  };
  const std::vector<double> expected = blur(gradient);
  for (const Image& frame : frames) {
    const std::vector<double> seen = blur(frame);
    double inside = 0, edge = 0;
    for (unsigned y = 0; y < kHeight; ++y)
      for (unsigned x = 0; x < kWidth; ++x)
        for (unsigned c = 0; c < 3; ++c) {
          const std::size_t i = (static_cast<std::size_t>(y) * kWidth + x) * 3 + c;
          const bool outer = x < 10 || y < 10 || x >= kWidth - 10 || y >= kHeight - 10;
          double& worst = outer ? edge : inside;
          worst = std::max(worst, std::abs(seen[i] - expected[i]));
        }
    EXPECT_LE(inside, 4);
    EXPECT_LE(edge, 9);
  }
}

}  // namespace
}  // namespace apptest
