// The two cross-fades. Neither has properties; both answer IObjectInfo and IKeloTransition.
#pragma once

#include "frame/Object.h"

class CDissolve : public CSimpleTransition<CDissolve> {
 public:
  static constexpr tagREFString kName = RefLiteral(L"DissolveTransition");
  HRESULT DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) override;
};

class CDissolveAdditive : public CSimpleTransition<CDissolveAdditive> {
 public:
  static constexpr tagREFString kName = RefLiteral(L"DissolveAdditiveTransition");
  HRESULT DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) override;
};
