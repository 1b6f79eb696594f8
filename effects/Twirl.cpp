#include "effects/Twirl.h"

#include <numbers>

#include "effects/Drawing.h"
#include "effects/FramePictures.h"
#include "effects/HostComponents.h"

// Appended directly, with no text and the range 0..0.
const EffectDeclaration<CTwirl> CTwirl::kDeclaration{
    .properties = {{{.id = kRevolutions, .real = &CTwirl::revolutions_, .flags = kPropDouble}}},
};

HRESULT CTwirl::FinalConstruct() {
  DeclaredOperations<CTwirl>::AddProperties(*this);
  return S_OK;
}

HRESULT CTwirl::GetPages(int /*reserved*/, INamedCollection** pages, IUnknown** /*reserved2*/) {
  return DeclaredOperations<CTwirl>::GetPages(pages);
}

HRESULT CTwirl::get_Revolutions(float* value) {
  if (value != nullptr) *value = static_cast<float>(revolutions_);
  return S_OK;
}

HRESULT CTwirl::put_Revolutions(float value) {
  revolutions_ = value;
  return S_OK;
}

HRESULT CTwirl::Randomize() {
  // r in 0..100; 51 of its 101 values give -2.5..0.3 (backwards, or barely turning), the rest
  // 0.3..2.5.
  const int r = RandomChoice(gRandom.Random(), 101);
  const double u = gRandom.Random() / 4294967295.0;
  put_Revolutions(static_cast<float>(r <= 50 ? u * 2.8 - 2.5 : u * 2.2 + 0.3));
  return S_OK;
}

HRESULT CTwirl::Replicate(IUnknown** copy) {
  ITwirl* twirl = nullptr;
  if (const HRESULT hr = CObject<CTwirl>::Create(IID_ITwirl, &twirl); hr < 0) return hr;
  twirl->put_Revolutions(static_cast<float>(revolutions_));
  *copy = twirl;
  return S_OK;
}

HRESULT CTwirl::Save(IDataStream* stream, int option) {
  return PersistProperties(this, stream, option, /*save=*/true);
}

HRESULT CTwirl::Load(IDataStream* stream, int option) {
  return PersistProperties(this, stream, option, /*save=*/false);
}

HRESULT CTwirl::DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) {
  if (progress >= 1.0) return HandOut(to, out);
  const PictureSizes sizes = ReadSizes(from, to);
  const Drawing draw;

  // `from` is resampled to to's size only when both its width and its height differ; when one
  // of them agrees it is used as it is, and the result takes its size.
  ComPtr<ICIF> resized;
  if (sizes.fromWidth != sizes.width && sizes.fromHeight != sizes.height)
    resized = draw.Resize(from, static_cast<std::int32_t>(sizes.width),
                          static_cast<std::int32_t>(sizes.height));
  ICIF* outgoing = resized ? resized.Get() : from;
  // At 0 the caller's own outgoing picture, never the resized copy.
  if (progress == 0.0) return HandOut(from, out);

  // The outgoing picture's size and format, cleared.
  ComPtr<ICIF> result = draw.Copy(outgoing);
  draw.Clear(result.Get());

  // The incoming picture squeezed into a square of side trunc(s), s = W p, whatever its
  // proportions, turned by 2 pi (1 - p) revolutions: at rest, unturned, at the end.
  const double angle = 2.0 * std::numbers::pi * (1.0 - progress) * revolutions_;
  const double s = static_cast<double>(sizes.width) * progress;
  const std::int32_t side = TruncInt(s);
  const ComPtr<ICIF> square = draw.Resize(to, side, side);
  auto turn = ComPtr<ILinearTransform>::Adopt(GEOObject::CreateLinearTransform());
  if (turn) {
    // The square's centre to the origin by the untruncated s / 2, then the turn about it.
    turn->Append(kLinearTranslate, 0, -s / 2, -s / 2, 0);
    turn->Append(kLinearRotate, 1, angle, 0, 0);
  }
  // The origin lands on the frame's centre, at the integer halves of to's size.
  draw.Warp(turn.Get(), square.Get(), result.Get(), sizes.width >> 1, sizes.height >> 1);
  // The outgoing picture wherever the square did not draw: the result is its own mask.
  draw.Paste(result.Get(), outgoing, 0, 0, result.Get());
  draw.Finish(result.Get());
  *out = result.Detach();
  return S_OK;
}
