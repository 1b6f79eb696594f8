// "FlipTransition": the picture turns over like a card about its centre line. The outgoing
// picture folds towards the line in the first half, the incoming one unfolds from it in the
// second, each warped through a transform the host fits to six points.
#pragma once

#include "effects/PointWarp.h"
#include "properties/AdjustableEffect.h"

// Answers no IFlip although that identity exists: its one setting is reached only through the
// property interface.
class CFlip : public CAdjustableEffect<CFlip> {
 public:
  enum Property { kDirection = 1 };

  static constexpr tagREFString kName = RefLiteral(L"FlipTransition");
  static const EffectDeclaration<CFlip> kDeclaration;

  // What one frame hands to the fit: whether `to` is the moving picture (from progress 0.5 on),
  // and the six picture points and their six targets, for `to`'s width and height.
  struct Fold {
    bool incoming;
    SixPoints points, targets;
  };
  static Fold FoldAt(int direction, unsigned width, unsigned height, double progress);

  HRESULT DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) override;

 protected:
  ~CFlip() = default;

 private:
  // The edge that recedes first: 0 top, 1 right, 2 bottom, 3 left; others behave as 1.
  std::int32_t direction_ = 0;
};
