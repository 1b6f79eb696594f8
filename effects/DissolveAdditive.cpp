// "DissolveAdditiveTransition": first brightens `to` up over `from` (to weight 2p), then fades
// `from` away (from weight 2(1 - p)), saturating at 255. NaN progress takes the second half.
#include "effects/BlendFrame.h"
#include "effects/Dissolve.h"

HRESULT CDissolveAdditive::DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) {
  if (progress < 0.5) return BlendTransition(from, to, out, 1.0, 2 * progress, BlendSum::kSaturate);
  return BlendTransition(from, to, out, 2 * (1 - progress), 1.0, BlendSum::kSaturate);
}
