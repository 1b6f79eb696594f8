#include "effects/Deform.h"

#include "effects/Dissolve.h"
#include "effects/Drawing.h"
#include "effects/FramePictures.h"
#include "effects/HostComponents.h"

const EffectDeclaration<CDeform> CDeform::kDeclaration{
    .properties = {{
        {.id = kOutgoingStyle,
         .integer = &CDeform::outgoing_,
         .minimum = 0,
         .maximum = 4,
         .initial = 2},
        {.id = kIncomingStyle,
         .integer = &CDeform::incoming_,
         .minimum = 0,
         .maximum = 4,
         .initial = 2},
    }},
};

namespace {

// A new picture holding a copy of `source`, deformed by the host with `style` (option 0) by
// `amount`; empty when the host gave no picture.
ComPtr<ICIF> DeformedCopy(ICIFDeform* deform, ICIF* source, int style, double amount) {
  ICIFImageDIB* picture = CIFObject::CreateImageDIB();
  if (picture == nullptr) return {};
  picture->CopyFrom(source, 0);
  if (deform != nullptr) deform->Deform(picture, style, 0, amount);
  return ComPtr<ICIF>::Adopt(picture);
}

}  // namespace

CDeform::CDeform() {
  IID iid = IID_IKeloTransition;
  CObject<CDissolve>::_CreateInstance(nullptr, &iid, reinterpret_cast<void**>(&dissolve_));
}

CDeform::~CDeform() {
  if (dissolve_ != nullptr) dissolve_->Release();
}

HRESULT CDeform::DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) {
  if (progress >= 1.0) return HandOut(to, out);
  const PictureSizes sizes = ReadSizes(from, to);
  const Drawing draw;
  const auto deform = ComPtr<ICIFDeform>::Adopt(CIFObject::CreateDeform());
  if (progress == 0.0) return HandOut(from, out);

  // Undeformed at either end: the outgoing picture by progress, the incoming one by what is left.
  const ComPtr<ICIF> resized = draw.Resize(from, static_cast<std::int32_t>(sizes.width),
                                           static_cast<std::int32_t>(sizes.height));
  const ComPtr<ICIF> outgoing = DeformedCopy(deform.Get(), resized.Get(), outgoing_, progress);
  const ComPtr<ICIF> incoming = DeformedCopy(deform.Get(), to, incoming_, 1.0 - progress);
  if (dissolve_ == nullptr || !outgoing || !incoming) return E_FAIL;
  return dissolve_->DoTransition(outgoing.Get(), incoming.Get(), out, progress);
}
