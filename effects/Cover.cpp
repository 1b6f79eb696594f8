#include "effects/Cover.h"

#include <cstdint>
#include <utility>

#include "effects/Drawing.h"
#include "effects/HostComponents.h"

const EffectDeclaration<CCover> CCover::kDeclaration{
    .properties = {{
        DirectionProperty(&CCover::direction_, 4),
        {.id = kStyle,
         .integer = &CCover::style_,
         .flags = kPropChoice | kPropInt32 | kPropPresetStyle,
         .textId = 12},
    }},
    .texts = L"KeloTransitionTexts",
    .pageTexts = L"KeloTransitionTexts",
    .pageOption = 256,
    .randomizeResult = 3,  // deliberately not S_OK: the cover family reports 3
};

namespace {

struct Strip {
  int x, y, width, height;
};

// Crush on a host that resamples into pictures that exist: each strip drawn straight into a new
// picture of `to`'s shape and only the uncovered lines cleared, the pixels of the plain sequence
// (a copy of `to` cleared, each strip resized and pasted) with three passes over the frame fewer.
// The strips lie one after the other along `length`, the frame's height (rows) or width. Null
// when the host cannot, the picture cannot be made, or the strips do not fit (progress outside
// 0..1): the plain sequence then runs.
ComPtr<ICIF> CrushInPlace(const Drawing& draw, ICIF* from, ICIF* to, const Strip& squeezed,
                          const Strip& growing, bool rows, int length) {
  const int a = rows ? squeezed.height : squeezed.width, b = rows ? growing.height : growing.width;
  if (!draw.ResizesInto() || a < 0 || b < 0 || std::int64_t{a} + b > length) return nullptr;
  ComPtr<ICIF> result = draw.NewLike(to);
  if (!result) return nullptr;
  for (const auto& [source, strip] : {std::pair{from, squeezed}, std::pair{to, growing}})
    if (!draw.ResizeInto(result.Get(), source, strip.x, strip.y, strip.width, strip.height))
      draw.ClearRegion(result.Get(), strip.x, strip.y, strip.width, strip.height);
  if (a + b < length) {
    const int w = rows ? squeezed.width : length - a - b,
              h = rows ? length - a - b : squeezed.height;
    draw.ClearRegion(result.Get(), rows ? 0 : a + b, rows ? a + b : 0, w, h);
  }
  return result;
}

}  // namespace

HRESULT CCover::DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) {
  const double p = progress;
  const double q = 1.0 - p;
  unsigned fromWidth = 0, fromHeight = 0, planes = 0;
  unsigned W = 0, H = 0;
  from->GetSize(&fromWidth, &fromHeight, &planes);
  to->GetSize(&W, &H, &planes);
  const Drawing draw;

  // Strip sizes, each truncated on its own: toH + fromH can be H - 1, leaving one line uncovered.
  const int w = static_cast<int>(W), h = static_cast<int>(H);
  const int toW = TruncInt(static_cast<double>(W) * p),
            fromW = TruncInt(static_cast<double>(W) * q);
  const int toH = TruncInt(static_cast<double>(H) * p),
            fromH = TruncInt(static_cast<double>(H) * q);
  const int direction = direction_ == 0 || direction_ == 2 || direction_ == 3 ? direction_ : 1;

  // The incoming strip of `to`, laid over the result (cover and push).
  auto pasteIncoming = [&](ICIF* result) {
    switch (direction) {
      case 0:
        draw.PasteRegion(result, to, 0, WrappedSub(h, toH), w, toH, 0, 0);
        break;
      case 2:
        draw.PasteRegion(result, to, 0, 0, w, toH, 0, fromH);
        break;
      case 3:
        draw.PasteRegion(result, to, WrappedSub(w, toW), 0, toW, h, 0, 0);
        break;
      default:
        draw.PasteRegion(result, to, 0, 0, toW, h, fromW, 0);
        break;
    }
  };

  ComPtr<ICIF> result;
  switch (style_) {
    case kCover:
      result = draw.Resize(from, w, h);
      pasteIncoming(result.Get());
      break;
    case kPush: {
      ComPtr<ICIF> outgoing = draw.Resize(from, w, h);
      result = draw.Copy(to);
      ComPtr<ICIFSubImage> part = ComPtr<ICIFSubImage>::Adopt(CIFObject::CreateSubImage());
      if (part && outgoing) {
        // For directions 0 and 3 the region is made but the whole outgoing picture is pasted and
        // left to the clipping; for 1 and 2 the region is pasted.
        switch (direction) {
          case 0:
            part->Create(outgoing.Get(), 0, 0, w, fromH, 0, 0);
            draw.Paste(result.Get(), outgoing.Get(), 0, toH);
            break;
          case 2:
            part->Create(outgoing.Get(), 0, WrappedSub(h, fromH), w, fromH, 0, 0);
            draw.Paste(result.Get(), part.Get(), 0, 0);
            break;
          case 3:
            part->Create(outgoing.Get(), 0, 0, fromW, h, 0, 0);
            draw.Paste(result.Get(), outgoing.Get(), toW, 0);
            break;
          default:
            part->Create(outgoing.Get(), WrappedSub(w, fromW), 0, fromW, h, 0, 0);
            draw.Paste(result.Get(), part.Get(), 0, 0);
            break;
        }
      }
      part.Reset();
      outgoing.Reset();
      pasteIncoming(result.Get());
      break;
    }
    case kCrush: {
      // The outgoing picture squeezed into its strip and the incoming one grown into its own;
      // lines the two leave uncovered (their sizes are truncated apart) show the cleared colour.
      const bool rows = direction == 0 || direction == 2;
      const Strip squeezed = rows ? Strip{0, direction == 0 ? toH : 0, w, fromH}
                                  : Strip{direction == 3 ? toW : 0, 0, fromW, h};
      const Strip growing = rows ? Strip{0, direction == 2 ? fromH : 0, w, toH}
                                 : Strip{direction == 1 ? fromW : 0, 0, toW, h};
      result = CrushInPlace(draw, from, to, squeezed, growing, rows, rows ? h : w);
      if (result) break;
      ComPtr<ICIF> outgoing = draw.Resize(from, squeezed.width, squeezed.height);
      result = draw.Copy(to);
      draw.Clear(result.Get());
      draw.Paste(result.Get(), outgoing.Get(), squeezed.x, squeezed.y);
      outgoing.Reset();
      ComPtr<ICIF> incoming = draw.Resize(to, growing.width, growing.height);
      draw.Paste(result.Get(), incoming.Get(), growing.x, growing.y);
      break;
    }
    default:  // any other style shows the resized outgoing picture alone
      result = draw.Resize(from, w, h);
      break;
  }
  draw.Finish(result.Get());
  *out = result.Detach();
  return S_OK;
}
