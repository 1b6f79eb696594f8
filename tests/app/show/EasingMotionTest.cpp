// Easing curves against the CSS timing functions, and pan and zoom frames drawn from a synthetic
// picture.
#include <gtest/gtest.h>

#include <cmath>

#include "app/Easing.h"
#include "app/Motion.h"

namespace {

using kelo::Easing;
using kelo::Motion;

Easing Parsed(const std::string& text) {
  auto easing = Easing::Parse(text);
  EXPECT_TRUE(easing) << text;
  return easing.value_or(Easing());
}

// Catches: a keyword bound to the wrong control points, x and y swapped, the curve evaluated at
// the parameter instead of solved for time. Values computed by bisection of the CSS definition.
TEST(EasingTest, CurvesFollowTheCssDefinitions) {
  const double times[] = {0.1, 0.25, 0.5, 0.75, 0.9};
  const std::pair<const char*, std::array<double, 5>> expected[] = {
      {"ease", {0.094796, 0.408511, 0.802403, 0.960459, 0.994316}},
      {"ease-in", {0.017027, 0.093465, 0.315357, 0.621862, 0.839428}},
      {"ease-out", {0.160572, 0.378138, 0.684643, 0.906535, 0.982973}},
      {"Ease-In-Out", {0.019722, 0.129162, 0.5, 0.870838, 0.980278}},
      {"cubic-bezier(0.4, 0, 0.2, 1)", {0.025863, 0.236587, 0.775561, 0.959368, 0.994354}},
      {"linear", {0.1, 0.25, 0.5, 0.75, 0.9}},
  };
  for (const auto& [name, values] : expected) {
    const Easing easing = Parsed(name);
    EXPECT_EQ(easing(0), 0) << name;
    EXPECT_EQ(easing(1), 1) << name;
    for (std::size_t i = 0; i < values.size(); ++i)
      EXPECT_NEAR(easing(times[i]), values[i], 1e-5) << name << " at " << times[i];
  }
  // Overshooting curves are kept within 0..1 for the effect.
  const Easing back = Parsed("cubic-bezier(0.3,-0.6,0.7,1.6)");
  EXPECT_LT(back(0.1), 0);
  EXPECT_EQ(back.Progress(0.1), 0);
  EXPECT_GT(back(0.9), 1);
  EXPECT_EQ(back.Progress(0.9), 1);
}

// Catches: a solver that jumps back (a wrong root or too few steps) for any valid control points.
TEST(EasingTest, ValidCurvesNeverGoBack) {
  for (double x1 : {0.0, 0.3, 1.0})
    for (double y1 : {0.0, 0.5, 1.0})
      for (double x2 : {0.0, 0.7, 1.0})
        for (double y2 : {0.0, 1.0}) {
          const std::string text = "cubic-bezier(" + std::to_string(x1) + "," + std::to_string(y1) +
                                   "," + std::to_string(x2) + "," + std::to_string(y2) + ")";
          const Easing easing = Parsed(text);
          double before = 0;
          for (int i = 0; i <= 1000; ++i) {
            const double value = easing(i / 1000.0);
            ASSERT_GE(value, before - 1e-12) << text << " at " << i / 1000.0;
            before = value;
          }
        }
}

// Catches: control points outside the CSS domain or malformed lists accepted.
TEST(EasingTest, RefusesWhatCssRefuses) {
  std::string why;
  for (const char* bad : {"cubic-bezier(1.2,0,0.5,1)", "cubic-bezier(0.2,0,-0.1,1)",
                          "cubic-bezier(0.2,0,0.5)", "cubic-bezier(0.2,0,0.5,1,3)",
                          "cubic-bezier(a,0,0.5,1)", "cubic-bezier(0.1,nan,0.5,1)", "bounce", ""}) {
    why.clear();
    EXPECT_FALSE(Easing::Parse(bad, &why)) << bad;
    EXPECT_FALSE(why.empty()) << bad;
  }
}

// A smooth synthetic picture: waves across both axes with a slope of up to ~20 levels a pixel.
std::vector<unsigned char> Waves(unsigned width, unsigned height) {
  std::vector<unsigned char> pixels(std::size_t{width} * height * 3);
  for (unsigned y = 0; y < height; ++y)
    for (unsigned x = 0; x < width; ++x)
      for (unsigned c = 0; c < 3; ++c)
        pixels[(std::size_t{y} * width + x) * 3 + c] = static_cast<unsigned char>(
            128 + 100 * std::sin(x / (5.0 + c)) * std::cos(y / (6.0 + c)));
  return pixels;
}

kelo::PixelView ViewOf(std::vector<unsigned char>& pixels, unsigned width, unsigned height) {
  return {width, height, 24, 0, pixels.data(), static_cast<int>(width * 3)};
}

int MaxStep(const std::vector<unsigned char>& a, const std::vector<unsigned char>& b) {
  int most = 0;
  for (std::size_t i = 0; i < a.size(); ++i) most = std::max(most, std::abs(a[i] - b[i]));
  return most;
}

// Catches: crops snapped to whole pixels (a pixel's jump at once, the shimmer of slow motion), a
// motion that stops short or runs past the picture, zooms the wrong way round.
TEST(MotionTest, FramesMoveSmoothlyFromStartToEnd) {
  const kelo::Size output{120, 80};
  const kelo::Size canvas = kelo::MotionCanvasSize(output);
  auto source = Waves(canvas.width, canvas.height);
  const kelo::PixelView from = ViewOf(source, canvas.width, canvas.height);
  constexpr int kFrames = 150;
  for (Motion motion : {Motion::kZoomIn, Motion::kZoomOut, Motion::kPanLeft, Motion::kPanRight,
                        Motion::kPanUp, Motion::kPanDown}) {
    std::vector<unsigned char> previous, frame(std::size_t{output.width} * output.height * 3);
    std::vector<unsigned char> first;
    int largest = 0;
    for (int i = 0; i < kFrames; ++i) {
      const kelo::CropRect crop = kelo::MotionCrop(motion, canvas, i / (kFrames - 1.0));
      ASSERT_GE(crop.x, 0);
      ASSERT_GE(crop.y, 0);
      ASSERT_LE(crop.x + crop.width, canvas.width + 1e-9);
      ASSERT_LE(crop.y + crop.height, canvas.height + 1e-9);
      kelo::DrawCrop(from, crop, ViewOf(frame, output.width, output.height));
      if (i == 0) first = frame;
      if (!previous.empty()) largest = std::max(largest, MaxStep(previous, frame));
      previous = frame;
    }
    EXPECT_LE(largest, 10) << "motion " << static_cast<int>(motion);
    EXPECT_GT(MaxStep(first, previous), 60) << "motion " << static_cast<int>(motion);
  }
  // Zoom in starts on the whole prepared picture and ends on the output's own scale.
  const auto start = kelo::MotionCrop(Motion::kZoomIn, canvas, 0);
  const auto end = kelo::MotionCrop(Motion::kZoomIn, canvas, 1);
  EXPECT_DOUBLE_EQ(start.width, canvas.width);
  EXPECT_NEAR(end.width, output.width, 0.5);
  EXPECT_NEAR(end.x + end.width / 2, canvas.width / 2.0, 1e-9);
  EXPECT_EQ(kelo::ResolveMotion(Motion::kZoomIn, 3), Motion::kZoomIn);
  EXPECT_NE(kelo::ResolveMotion(Motion::kAuto, 0), kelo::ResolveMotion(Motion::kAuto, 1));
  EXPECT_NE(kelo::ResolveMotion(Motion::kAuto, 0), Motion::kNone);
}

}  // namespace
