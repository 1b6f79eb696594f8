// The perspective turn: the hinge and moving edge each direction hands to the fit, the worked
// value on a rendered picture, and its own generator's range.
#include <gtest/gtest.h>

#include <string>

#include "effects/PerspectiveTurn.h"
#include "tests/module/EffectTestSupport.h"

namespace {

using effecttest::ExpectPoints;
using effecttest::Level;
using Edge = CPerspectiveTurn::EdgePoints;

// For a 101 x 60 `to` at p = 0.25 (the odd width's half is 50): the hinge, the opposite edge and
// where it has moved, ends first, then the middle.
const struct {
  int direction;
  Edge hinge, opposite, moved;
} kQuarter[] = {
    {0,
     {{{0, 0}, {101, 0}, {50, 0}}},
     {{{0, 60}, {101, 60}, {50, 60}}},
     {{{37.375, 15}, {62.625, 15}, {50, 15}}}},
    {1,
     {{{101, 0}, {101, 60}, {101, 30}}},
     {{{0, 0}, {0, 60}, {0, 30}}},
     {{{75.75, 22.5}, {75.75, 37.5}, {75.75, 30}}}},
    {2,
     {{{0, 60}, {101, 60}, {50, 60}}},
     {{{0, 0}, {101, 0}, {50, 0}}},
     {{{37.375, 45}, {62.625, 45}, {50, 45}}}},
    {3,
     {{{0, 0}, {0, 60}, {0, 30}}},
     {{{101, 0}, {101, 60}, {101, 30}}},
     {{{25.25, 22.5}, {25.25, 37.5}, {25.25, 30}}}},
};

TEST(PerspectiveTurn, EachHingeKeepsItsEdgeAndMovesTheOpposite) {
  // Catches a wrong hinge, a moving edge placed by 1 - p where p belongs (or the reverse), a
  // length not centred on the integer half, and any other direction not behaving as 1.
  for (const auto& row : kQuarter) {
    const std::string at = "direction " + std::to_string(row.direction);
    const CPerspectiveTurn::Swing swing = CPerspectiveTurn::SwingAt(row.direction, 101, 60, 0.25);
    ExpectPoints(swing.hinge, row.hinge, at + " hinge");
    ExpectPoints(swing.opposite, row.opposite, at + " opposite");
    ExpectPoints(swing.moved, row.moved, at + " moved");
  }
  for (int other : {-1, 4, 7}) {
    const auto swing = CPerspectiveTurn::SwingAt(other, 101, 60, 0.25);
    ExpectPoints(swing.moved, kQuarter[1].moved, "direction " + std::to_string(other));
  }
}

TEST(PerspectiveTurn, HingedAtTheTopHalfWayTheBottomEdgeSpans160To480AtRow240) {
  // 640 x 480, direction 0, p = 0.5: the incoming picture (white) hangs from the top edge, its
  // bottom edge from x = 160 to 480 at y = 240, over `from` resampled to to's size (grey).
  const ComPtr<ICIF> from = testhost::MakePicture(320, 240, 24, Level<40>);
  const ComPtr<ICIF> to = testhost::MakePicture(640, 480, 24, Level<255>);
  const auto effect = effecttest::Make<CPerspectiveTurn>();
  const ComPtr<ICIF> out = effecttest::Render(effect.Get(), from.Get(), to.Get(), 0.5);
  ASSERT_EQ(effecttest::ShapeOf(out.Get()), (effecttest::Shape{640, 480, 24}));
  const struct {
    unsigned x, y;
    unsigned char level;
  } probes[] = {{2, 2, 255},    {637, 2, 255},   {155, 237, 40}, {165, 237, 255}, {475, 237, 255},
                {485, 237, 40}, {320, 237, 255}, {320, 243, 40}, {2, 400, 40},    {637, 470, 40}};
  for (const auto& probe : probes)
    EXPECT_EQ(effecttest::At(out.Get(), probe.x, probe.y), probe.level)
        << "at " << probe.x << "," << probe.y;

  // At 0 the moving edge is a point: only `from` (resampled) shows, apart from the hinge row.
  const ComPtr<ICIF> start = effecttest::Render(effect.Get(), from.Get(), to.Get(), 0.0);
  EXPECT_EQ(effecttest::At(start.Get(), 320, 240), 40);
  EXPECT_EQ(effecttest::At(start.Get(), 100, 100), 40);

  effecttest::ExpectHandsOutItself(effect.Get(), from.Get(), to.Get(), 1.0, to.Get());
}

TEST(PerspectiveTurn, RandomizeDrawsAHingeFromZeroToThree) {
  // Its own clock-seeded generator: a draw scaled without the 0.0000001 would give 4 at the top.
  const auto effect = effecttest::Make<CPerspectiveTurn>();
  const auto properties = effect.As<IUIPropInterrogate>();
  for (int i = 0, direction = -1; i < 20; ++i, direction = -1) {
    properties->Control(CPerspectiveTurn::kDirection, 9);
    ASSERT_EQ(effect.As<IRandomizableObject>()->Randomize(), S_OK);
    properties->Inquire(CPerspectiveTurn::kDirection, &direction);
    EXPECT_TRUE(direction >= 0 && direction <= 3) << direction;
  }
}

}  // namespace
