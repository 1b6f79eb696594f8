// "DissolveTransition": a cross-fade, byte = from * (1 - p) + to * p through truncating tables,
// wrapping modulo 256 outside 0..1.
#include "effects/Dissolve.h"

#include "effects/BlendFrame.h"

HRESULT CDissolve::DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) {
  return BlendTransition(from, to, out, 1.0 - progress, progress, BlendSum::kWrap);
}
