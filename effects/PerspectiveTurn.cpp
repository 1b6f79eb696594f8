#include "effects/PerspectiveTurn.h"

#include "effects/FramePictures.h"

const EffectDeclaration<CPerspectiveTurn> CPerspectiveTurn::kDeclaration{
    .properties = {{
        DirectionProperty(&CPerspectiveTurn::direction_, 0),  // Randomize draws it itself
    }},
    .texts = L"KeloTransitionTexts",
};

CPerspectiveTurn::Swing CPerspectiveTurn::SwingAt(int direction, unsigned width, unsigned height,
                                                  double progress) {
  const double p = progress;
  const double w = width, h = height;
  const double halfW = width >> 1, halfH = height >> 1;  // integer halves
  // The moving edge has length w p (or h p), centred on the frame's middle line.
  const double across = w * p / 2, down = h * p / 2;
  switch (direction) {
    case 0:  // hinged at the top: the bottom edge rises to y = h p
      return {{{{0, 0}, {w, 0}, {halfW, 0}}},
              {{{0, h}, {w, h}, {halfW, h}}},
              {{{halfW - across, h * p}, {halfW + across, h * p}, {halfW, h * p}}}};
    case 2:  // hinged at the bottom: the top edge comes down to y = h (1 - p)
      return {{{{0, h}, {w, h}, {halfW, h}}},
              {{{0, 0}, {w, 0}, {halfW, 0}}},
              {{{halfW - across, h * (1.0 - p)},
                {halfW + across, h * (1.0 - p)},
                {halfW, h * (1.0 - p)}}}};
    case 3:  // hinged at the left: the right edge reaches x = w p
      return {{{{0, 0}, {0, h}, {0, halfH}}},
              {{{w, 0}, {w, h}, {w, halfH}}},
              {{{w * p, halfH - down}, {w * p, halfH + down}, {w * p, halfH}}}};
    default:  // hinged at the right: the left edge comes to x = w (1 - p)
      return {
          {{{w, 0}, {w, h}, {w, halfH}}},
          {{{0, 0}, {0, h}, {0, halfH}}},
          {{{w * (1.0 - p), halfH - down}, {w * (1.0 - p), halfH + down}, {w * (1.0 - p), halfH}}}};
  }
}

HRESULT CPerspectiveTurn::Randomize() {
  CRandom32 generator(0);  // seed 0: the present moment, read through a date timer
  Control(kDirection, RandomChoice(generator.Random(), 4));
  return S_OK;
}

HRESULT CPerspectiveTurn::DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) {
  if (progress >= 1.0) return HandOut(to, out);
  const PictureSizes sizes = ReadSizes(from, to);
  const Drawing draw;
  const PointFit fit;

  // The canvas, and the result, is `from` resampled to to's size, whatever the sizes.
  ComPtr<ICIF> canvas = draw.Resize(from, static_cast<std::int32_t>(sizes.width),
                                    static_cast<std::int32_t>(sizes.height));
  const Swing swing = SwingAt(direction_, sizes.width, sizes.height, progress);
  fit.AddPoints(swing.hinge);
  fit.AddTargets(swing.hinge);
  fit.AddPoints(swing.opposite);
  fit.AddTargets(swing.moved);
  fit.WarpAndFinish(draw, to, canvas.Get());
  *out = canvas.Detach();
  return S_OK;
}
