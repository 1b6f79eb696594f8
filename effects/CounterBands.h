// "CounterBandsTransition" and its preset "CounterCoverTransition": both pictures are cut into
// bands, and neighbouring bands move in opposite directions (columns up and down, or rows left
// and right). Push slides the outgoing bands out as the incoming ones slide in behind them; cover
// slides the incoming bands in over the outgoing picture.
#pragma once

#include "properties/AdjustableEffect.h"

class CCounterBands : public CAdjustableEffect<CCounterBands> {
 public:
  enum Property { kDirection = 1, kBands = 2, kStyle = 5 };
  enum Style { kCover = 0, kPush = 1 };

  static constexpr tagREFString kName = RefLiteral(L"CounterBandsTransition");
  // Made by its own factory (see KeloTransitions.cpp); the object still names itself
  // "CounterBandsTransition".
  static constexpr EffectPreset kPresets[] = {
      {RefLiteral(L"CounterCoverTransition"), kStyle, kCover}};
  static const EffectDeclaration<CCounterBands> kDeclaration;

  HRESULT DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) override;

 protected:
  ~CCounterBands() = default;

 private:
  // 0 or 2: columns moving vertically, 1 or 3: rows moving horizontally (the lowest bit decides).
  // The first frame stores 2 as 0 and 3 as 1, for good.
  std::int32_t direction_ = 0;
  std::int32_t style_ = kPush;  // 0 cover, 1 push; others: the outgoing picture alone
  std::int32_t bands_ = 3;      // not clamped: 0 or less draws no band
};
