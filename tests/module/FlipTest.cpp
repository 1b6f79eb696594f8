// The flip: the points and targets each direction hands to the fit, which picture moves in
// which half, and the operations built from its declaration.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "effects/Flip.h"
#include "tests/module/EffectTestSupport.h"

namespace {

using effecttest::ExpectPoints;
using effecttest::Level;

// For a 101 x 60 `to` at s = 0.25 (a = 25.25, b = 15; the odd width's half is 50): the points
// and targets of each working direction, as the fit must receive them, in order.
struct FoldRow {
  int direction;
  SixPoints points, targets;
};
const FoldRow kQuarter[] = {
    {0,
     {{{0, 0}, {101, 0}, {50, 0}, {0, 60}, {101, 60}, {50, 60}}},
     {{{25.25, 15}, {75.75, 15}, {50, 15}, {0, 45}, {101, 45}, {50, 45}}}},
    {1,
     {{{0, 0}, {0, 60}, {0, 30}, {101, 0}, {101, 60}, {101, 30}}},
     {{{25.25, 0}, {25.25, 60}, {25.25, 30}, {75.75, 15}, {75.75, 45}, {75.75, 30}}}},
    {2,
     {{{0, 0}, {101, 0}, {50, 0}, {0, 60}, {101, 60}, {50, 60}}},
     {{{0, 15}, {101, 15}, {50, 15}, {25.25, 45}, {75.75, 45}, {50, 45}}}},
    {3,
     {{{0, 0}, {0, 60}, {0, 30}, {101, 0}, {101, 60}, {101, 30}}},
     {{{25.25, 15}, {25.25, 45}, {25.25, 30}, {75.75, 0}, {75.75, 60}, {75.75, 30}}}},
};

TEST(Flip, EachDirectionHandsItsPointsAndTargetsToTheFitInOrder) {
  // Catches a wrong or reordered point, rounded halves, a missing switch of direction in the
  // second half, or a half chosen on the wrong side of 0.5.
  for (const FoldRow& row : kQuarter) {
    const std::string at = "direction " + std::to_string(row.direction);
    const CFlip::Fold first = CFlip::FoldAt(row.direction, 101, 60, 0.25);
    EXPECT_FALSE(first.incoming) << at;
    ExpectPoints(first.points, row.points, at + " p 0.25");
    ExpectPoints(first.targets, row.targets, at + " p 0.25");

    // p = 0.75 is s = 0.25 of the second half: the incoming picture, receding the other edge.
    const int opposite = (row.direction + 2) % 4;
    const CFlip::Fold second = CFlip::FoldAt(opposite, 101, 60, 0.75);
    EXPECT_TRUE(second.incoming) << at;
    ExpectPoints(second.points, row.points, "opposite of " + at + " p 0.75");
    ExpectPoints(second.targets, row.targets, "opposite of " + at + " p 0.75");

    // p = 0.5 is already the second half, collapsed onto the centre line.
    const CFlip::Fold middle = CFlip::FoldAt(row.direction, 101, 60, 0.5);
    EXPECT_TRUE(middle.incoming) << at;
    for (const PlanePoint& target : middle.targets) {
      if (row.direction % 2 == 0)
        EXPECT_DOUBLE_EQ(target.y, 30) << at;
      else
        EXPECT_DOUBLE_EQ(target.x, 50.5) << at;
    }
  }
  // Other directions: 5 behaves as 1 and its opposite is 3; 4 behaves as 1, its opposite is 2.
  const auto same = [](const CFlip::Fold& a, const CFlip::Fold& b, const char* what) {
    ExpectPoints(a.points, b.points, what);
    ExpectPoints(a.targets, b.targets, what);
  };
  same(CFlip::FoldAt(5, 101, 60, 0.25), CFlip::FoldAt(1, 101, 60, 0.25), "5 first half");
  same(CFlip::FoldAt(4, 101, 60, 0.25), CFlip::FoldAt(1, 101, 60, 0.25), "4 first half");
  same(CFlip::FoldAt(5, 101, 60, 0.75), CFlip::FoldAt(1, 101, 60, 0.75), "5 second half");
  same(CFlip::FoldAt(4, 101, 60, 0.75), CFlip::FoldAt(0, 101, 60, 0.75), "4 second half");
}

TEST(Flip, TheMovingPictureGivesTheCanvasItsSizeAndFormat) {
  // A 40 x 30 24-bit `from` and a 60 x 20 32-bit `to`: the canvas is a cleared copy of the
  // moving one, so a fault in choosing the picture, or a canvas of to's shape in the first half,
  // or one not cleared, shows here.
  const ComPtr<ICIF> from = testhost::MakePicture(40, 30, 24, Level<90>);
  const ComPtr<ICIF> to = testhost::MakePicture(60, 20, 32, Level<250>);
  const auto effect = effecttest::Make<CFlip>();
  const struct {
    double progress;
    effecttest::Shape shape;
    unsigned char centre;
  } rows[] = {{0.25, {40, 30, 24}, 90}, {0.75, {60, 20, 32}, 250}};
  for (const auto& row : rows) {
    const ComPtr<ICIF> out = effecttest::Render(effect.Get(), from.Get(), to.Get(), row.progress);
    ASSERT_TRUE(out);
    EXPECT_EQ(effecttest::ShapeOf(out.Get()), row.shape) << row.progress;
    EXPECT_EQ(effecttest::At(out.Get(), row.shape.width / 2, row.shape.height / 2), row.centre)
        << row.progress;
    EXPECT_EQ(effecttest::At(out.Get(), 0, 0), 0) << "cleared corner at " << row.progress;
  }

  // At 0 the identity fit (points from to's size) draws all of `from` unchanged.
  const ComPtr<ICIF> pattern =
      testhost::MakePicture(40, 30, 24, [](unsigned x, unsigned y, unsigned c) {
        return static_cast<unsigned char>(1 + x * 5 + y * 3 + c);
      });
  const ComPtr<ICIF> start = effecttest::Render(effect.Get(), pattern.Get(), pattern.Get(), 0.0);
  EXPECT_EQ(testhost::Bytes(start.Get()), testhost::Bytes(pattern.Get()));

  effecttest::ExpectHandsOutItself(effect.Get(), from.Get(), to.Get(), 1.0, to.Get());
  effecttest::ExpectHandsOutItself(effect.Get(), from.Get(), to.Get(), 2.5, to.Get());
}

TEST(Flip, RandomizeDrawsEveryDirectionAndNoIFlipIsAnswered) {
  // Catches a declaration copied from the cover family (Randomize reporting 3), a wrong range,
  // or IFlip answered.
  const auto effect = effecttest::Make<CFlip>();
  void* flip = reinterpret_cast<void*>(1);
  EXPECT_EQ(effect->QueryInterface(IID_IFlip, &flip), E_NOINTERFACE);
  EXPECT_EQ(flip, nullptr);
  EXPECT_EQ(effecttest::RandomizedValues(effect.Get(), {CFlip::kDirection})[CFlip::kDirection],
            (std::set<int>{0, 1, 2, 3}));
}

}  // namespace
