#include "effects/KeloTransitions.h"

#include <array>

#include "effects/Cover.h"
#include "effects/Deform.h"
#include "effects/Dissolve.h"
#include "effects/Dither.h"
#include "effects/Flip.h"
#include "effects/PerspectiveTurn.h"
#include "effects/RandomTransition.h"
#include "effects/Twirl.h"
#include "sdk/Text.h"

namespace {

// A preset: a T whose property is set right after creation (through Control, not checked),
// handed out as the caller's interface. The preset is only a starting value; the property stays
// adjustable.
template <class T, int preset>
HRESULT CreatePreset(void* /*outer*/, IID* iid, void** out) {
  IUnknown* object = nullptr;
  IID unknown = IID_IUnknown;
  const HRESULT created =
      CObject<T>::_CreateInstance(nullptr, &unknown, reinterpret_cast<void**>(&object));
  if (created < 0) return created;
  IUIPropInterrogate* properties = nullptr;
  object->QueryInterface(IID_IUIPropInterrogate, reinterpret_cast<void**>(&properties));
  if (properties != nullptr) properties->Control(T::kPresets[preset].id, T::kPresets[preset].value);
  const HRESULT hr = object->QueryInterface(*iid, out);
  if (properties != nullptr) properties->Release();
  object->Release();
  return hr;
}

// A row for T's own name and factory, and one for T's preset number `preset`.
template <class T>
constexpr ModuleComponent Component() {
  return {T::kName, &CObject<T>::_CreateInstance};
}
template <class T, int preset>
constexpr ModuleComponent Preset() {
  return {T::kPresets[preset].name, &CreatePreset<T, preset>};
}

// Rows in the order CreateFunction tests them: one line per name.
constexpr std::array kComponents{
    Preset<CCover, 0>(),             // "PushTransition"
    Preset<CCover, 1>(),             // "CrushTransition"
    Component<CCover>(),             // "CoverTransition"
    Component<CDeform>(),            // "DeformTransition"
    Component<CDissolve>(),          // "DissolveTransition"
    Component<CDissolveAdditive>(),  // "DissolveAdditiveTransition"
    Component<CDither>(),            // "DitherTransition"
    Component<CDitherCumulative>(),  // "DitherCumulativeTransition"
    Component<CFlip>(),              // "FlipTransition"
    Component<CPerspectiveTurn>(),   // "PerspectiveTurnTransition"
    Component<CRandomTransition>(),  // "RandomTransition"
    Component<CTwirl>(),             // "TwirlTransition"
};

}  // namespace

std::span<const ModuleComponent> ModuleComponents() {
  return kComponents;
}

extern "C" HRESULT CreateFunction(tagREFString name, ComponentFactory* out) {
  for (const ModuleComponent& row : kComponents) {
    if (kelo_text::SameName(name, row.name)) {
      *out = row.factory;
      return S_OK;
    }
  }
  return E_FAIL;
}

extern "C" HRESULT InitializeModule(void* /*reserved*/, IComponentCollection* collection) {
  if (collection != nullptr) collection->AddRef();
  IComponentCollection* old = gGlobalComponentCollection;
  gGlobalComponentCollection = nullptr;
  if (old != nullptr) old->Release();
  gGlobalComponentCollection = collection;
  return S_OK;
}
