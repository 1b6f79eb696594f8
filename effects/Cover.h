// "CoverTransition", "PushTransition", "CrushTransition": the incoming picture slides in over
// the outgoing one (cover), pushes it out (push), or grows while squeezing it (crush).
#pragma once

#include "properties/AdjustableEffect.h"

class CCover : public CAdjustableEffect<CCover> {
 public:
  enum Property { kDirection = 1, kStyle = 2 };
  enum Style { kCover = 0, kPush = 1, kCrush = 2 };

  static constexpr tagREFString kName = RefLiteral(L"CoverTransition");
  // Objects made by the presets still name themselves "CoverTransition".
  static constexpr EffectPreset kPresets[] = {{RefLiteral(L"PushTransition"), kStyle, kPush},
                                              {RefLiteral(L"CrushTransition"), kStyle, kCrush}};
  static const EffectDeclaration<CCover> kDeclaration;

  HRESULT DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) override;

 protected:
  ~CCover() = default;

 private:
  std::int32_t direction_ = 0;  // 0 top, 1 right, 2 bottom, 3 left; others behave as 1
  std::int32_t style_ = 0;      // 0 cover, 1 push, 2 crush; others: the outgoing picture alone
};
