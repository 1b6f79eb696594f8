// "PerspectiveTurnTransition": the incoming picture swings into view like a panel hinged on one
// edge of the frame; the opposite edge travels across, growing from a point to full length.
#pragma once

#include "effects/PointWarp.h"
#include "properties/AdjustableEffect.h"

class CPerspectiveTurn : public CAdjustableEffect<CPerspectiveTurn> {
 public:
  enum Property { kDirection = 1 };

  static constexpr tagREFString kName = RefLiteral(L"PerspectiveTurnTransition");
  static const EffectDeclaration<CPerspectiveTurn> kDeclaration;

  // Three points per edge, ends first, then the middle, for `to`'s width and height: the hinge
  // edge (it stays where it is) and the opposite edge with the places its points have moved to.
  using EdgePoints = std::array<PlanePoint, 3>;
  struct Swing {
    EdgePoints hinge, opposite, moved;
  };
  static Swing SwingAt(int direction, unsigned width, unsigned height, double progress);

  // Draws the hinge from a generator of its own, seeded from the present moment, not from the
  // module's shared one.
  HRESULT Randomize() override;
  HRESULT DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) override;

 protected:
  ~CPerspectiveTurn() = default;

 private:
  // The hinge edge: 0 top, 1 right, 2 bottom, 3 left; others behave as 1.
  std::int32_t direction_ = 0;
};
