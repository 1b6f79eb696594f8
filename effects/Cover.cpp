#include "effects/Cover.h"

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
      // The outgoing picture squeezed into its strip, then the incoming one grown into its own:
      // where each strip's top-left corner lands, per direction.
      struct Corner {
        int x, y;
      };
      const auto [squeezedAt, growingAt] =
          direction == 0   ? std::pair{Corner{0, toH}, Corner{0, 0}}
          : direction == 2 ? std::pair{Corner{0, 0}, Corner{0, fromH}}
          : direction == 3 ? std::pair{Corner{toW, 0}, Corner{0, 0}}
                           : std::pair{Corner{0, 0}, Corner{fromW, 0}};
      const bool rows = direction == 0 || direction == 2;
      ComPtr<ICIF> squeezed = rows ? draw.Resize(from, w, fromH) : draw.Resize(from, fromW, h);
      result = draw.Copy(to);
      // Lines the two strips leave uncovered show the cleared colour, not `to`.
      draw.Clear(result.Get());
      draw.Paste(result.Get(), squeezed.Get(), squeezedAt.x, squeezedAt.y);
      squeezed.Reset();
      ComPtr<ICIF> growing = rows ? draw.Resize(to, w, toH) : draw.Resize(to, toW, h);
      draw.Paste(result.Get(), growing.Get(), growingAt.x, growingAt.y);
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
