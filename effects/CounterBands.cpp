#include "effects/CounterBands.h"

#include <algorithm>
#include <cstdint>

#include "effects/Bands.h"
#include "effects/Drawing.h"

const EffectDeclaration<CCounterBands> CCounterBands::kDeclaration{
    .properties = {{
        DirectionProperty(&CCounterBands::direction_, 2),
        // Appended without text or range; nothing clamps it.
        {.id = kBands,
         .integer = &CCounterBands::bands_,
         .flags = kPropInt32,
         .initial = 3,
         .random = {.count = 9, .base = 1}},
        {.id = kStyle,
         .integer = &CCounterBands::style_,
         .flags = kPropChoice | kPropInt32 | kPropPresetStyle,
         .textId = 51,
         .initial = kPush},
    }},
    .texts = L"ShutterBandsTransition",
    .replicateOrder = {kDirection, kStyle, kBands},
};

namespace {

// The way band i moves: the stored direction for even bands, the opposite one for odd bands
// (d + 2 where that is at most 3, else d - 2), so bands alternate 0, 2, 0, ... or 3, 1, 3, ...
int BandDirection(int stored, int i) {
  if (i % 2 == 0) return stored;
  return stored <= 1 ? stored + 2 : stored - 2;
}

}  // namespace

HRESULT CCounterBands::DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) {
  const double p = progress;
  const double q = 1.0 - p;
  unsigned fromWidth = 0, fromHeight = 0, planes = 0;
  unsigned W = 0, H = 0;
  from->GetSize(&fromWidth, &fromHeight, &planes);
  to->GetSize(&W, &H, &planes);
  const Drawing draw;

  // Columns across the width for even directions, rows down the height for odd ones.
  const int S = BandSize(direction_ & 1 ? H : W, bands_);

  // Deliberately lasting: a stored 2 becomes 0 and a stored 1 becomes 3 here, and 3 becomes 1
  // once the frame is drawn, so after the first frame the property reads 0 or 1.
  if (direction_ == 2)
    direction_ = 0;
  else if (direction_ == 1)
    direction_ = 3;
  const int first = direction_;

  const int w = static_cast<int>(W), h = static_cast<int>(H);
  const int outY = TruncInt(static_cast<double>(H) * p),
            outX = TruncInt(static_cast<double>(W) * p);
  const int inY = TruncInt(static_cast<double>(H) * q), inX = TruncInt(static_cast<double>(W) * q);

  // Calls paste(d, o) for band i = 0 .. Bands - 1 at offset o = i * S moving in direction d. Bands
  // that start beyond both sides of the picture paint nothing, so the loop stops there.
  const std::int64_t reach = W == 0 || H == 0 ? 0 : std::max(W, H);
  auto forEachBand = [&](auto paste) {
    for (int i = 0; i < bands_ && std::int64_t{i} * S < reach; ++i)
      paste(BandDirection(first, i), i * S);
  };

  ComPtr<ICIF> result;
  if (style_ == kPush) {
    // The outgoing bands slide out of the frame, uncovering `to`.
    const ComPtr<ICIF> outgoing = draw.Resize(from, w, h);
    result = draw.Copy(to);
    const ComPtr<ICIFSubImage> region = draw.Region();
    forEachBand([&](int d, int o) {
      ICIF* a = outgoing.Get();
      switch (d) {
        case 0:  // down
          draw.PasteRegion(region.Get(), result.Get(), a, o, 0, S, h, o, outY);
          break;
        case 2:  // up
          draw.PasteRegion(region.Get(), result.Get(), a, o, outY, S, h, o, 0);
          break;
        case 3:  // right
          draw.PasteRegion(region.Get(), result.Get(), a, 0, o, w, S, outX, o);
          break;
        default:  // left
          draw.PasteRegion(region.Get(), result.Get(), a, outX, o, w, S, 0, o);
          break;
      }
    });
  } else {
    result = draw.Resize(from, w, h);
  }

  // Cover and push: the incoming bands slide in the same way as their outgoing bands. Any other
  // style (negative ones too: the comparison is unsigned) shows the outgoing picture alone.
  if (static_cast<std::uint32_t>(style_) <= kPush) {
    const ComPtr<ICIFSubImage> region = draw.Region();
    forEachBand([&](int d, int o) {
      switch (d) {
        case 2:  // enters from the bottom, moving up
          draw.PasteRegion(region.Get(), result.Get(), to, o, 0, S, h, o, inY);
          break;
        case 0:  // enters from the top, moving down
          draw.PasteRegion(region.Get(), result.Get(), to, o, inY, S, h, o, 0);
          break;
        case 3:  // enters from the left, moving right
          draw.PasteRegion(region.Get(), result.Get(), to, inX, o, w, S, 0, o);
          break;
        default:  // enters from the right, moving left
          draw.PasteRegion(region.Get(), result.Get(), to, 0, o, w, S, inX, o);
          break;
      }
    });
  }

  if (direction_ == 3) direction_ = 1;
  draw.Finish(result.Get());
  *out = result.Detach();
  return S_OK;
}
