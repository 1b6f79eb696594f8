#include "effects/Flip.h"

#include "effects/FramePictures.h"

const EffectDeclaration<CFlip> CFlip::kDeclaration{
    .properties = {{
        DirectionProperty(&CFlip::direction_, 4),
    }},
    .texts = L"KeloTransitionTexts",
};

CFlip::Fold CFlip::FoldAt(int direction, unsigned width, unsigned height, double progress) {
  // The second half turns the incoming picture on, so the receding edge is the opposite one:
  // direction + 2 when that is at most 3, else direction - 2 (0 <-> 2, 1 <-> 3; 4 gives 2, and
  // 5 gives 3, as 1 would).
  const bool incoming = !(progress < 0.5);
  const double s = incoming ? 1.0 - progress : progress;
  const int d = !incoming ? direction : direction + 2 <= 3 ? direction + 2 : direction - 2;

  const double w = width, h = height;
  const double a = w * s, b = h * s;
  const double halfW = width >> 1, halfH = height >> 1;  // integer halves
  const SixPoints across = {{{0, 0}, {w, 0}, {halfW, 0}, {0, h}, {w, h}, {halfW, h}}};
  const SixPoints down = {{{0, 0}, {0, h}, {0, halfH}, {w, 0}, {w, h}, {w, halfH}}};
  // Both edges parallel to the centre line move towards it; the receding one is also shortened
  // at both ends.
  switch (d) {
    case 0:
      return {incoming,
              across,
              {{{a, b}, {w - a, b}, {halfW, b}, {0, h - b}, {w, h - b}, {halfW, h - b}}}};
    case 2:
      return {incoming,
              across,
              {{{0, b}, {w, b}, {halfW, b}, {a, h - b}, {w - a, h - b}, {halfW, h - b}}}};
    case 3:
      return {incoming,
              down,
              {{{a, b}, {a, h - b}, {a, halfH}, {w - a, 0}, {w - a, h}, {w - a, halfH}}}};
    default:
      return {incoming,
              down,
              {{{a, 0}, {a, h}, {a, halfH}, {w - a, b}, {w - a, h - b}, {w - a, halfH}}}};
  }
}

HRESULT CFlip::DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) {
  if (progress >= 1.0) return HandOut(to, out);
  const PictureSizes sizes = ReadSizes(from, to);
  const Drawing draw;

  const Fold fold = FoldAt(direction_, sizes.width, sizes.height, progress);
  const auto moving = ComPtr<ICIF>::Share(fold.incoming ? to : from);
  // The canvas only gives the result the moving picture's size and format: cleared, it shows
  // the cleared colour wherever the warped picture does not reach.
  ComPtr<ICIF> canvas = draw.Copy(moving.Get());
  draw.Clear(canvas.Get());
  WarpOntoPoints(draw, moving.Get(), canvas.Get(), fold.points, fold.targets);
  *out = canvas.Detach();
  return S_OK;
}
