#include "effects/KeloTransitions.h"

#include <array>

#include "effects/CounterBands.h"
#include "effects/Cover.h"
#include "effects/Deform.h"
#include "effects/Dissolve.h"
#include "effects/Dither.h"
#include "effects/Flip.h"
#include "effects/PerspectiveTurn.h"
#include "effects/RandomTransition.h"
#include "effects/ShutterBands.h"
#include "effects/Twirl.h"
#include "sdk/Text.h"

namespace {

// Makes a T asking for IUnknown: one reference for the caller, or the failure.
template <class T>
HRESULT CreateUnknown(IUnknown** object) {
  IID unknown = IID_IUnknown;
  return CObject<T>::_CreateInstance(nullptr, &unknown, reinterpret_cast<void**>(object));
}

// Sets T's preset number `preset` on `object` (through Control, not checked) and answers the
// caller's interface. The preset is only a starting value; the property stays adjustable.
template <class T, int preset>
HRESULT AnswerPreset(IUnknown* object, IID* iid, void** out) {
  IUIPropInterrogate* properties = nullptr;
  object->QueryInterface(IID_IUIPropInterrogate, reinterpret_cast<void**>(&properties));
  if (properties != nullptr) properties->Control(T::kPresets[preset].id, T::kPresets[preset].value);
  const HRESULT hr = object->QueryInterface(*iid, out);
  if (properties != nullptr) properties->Release();
  return hr;
}

// A preset: a T whose property is set right after creation, handed out as the caller's interface.
template <class T, int preset>
HRESULT CreatePreset(void* /*outer*/, IID* iid, void** out) {
  IUnknown* object = nullptr;
  if (const HRESULT created = CreateUnknown<T>(&object); created < 0) return created;
  const HRESULT hr = AnswerPreset<T, preset>(object, iid, out);
  object->Release();
  return hr;
}

// "CounterCoverTransition", unlike the other presets: it makes a second object that it releases
// at once, and never releases the first object's creation reference, so the object it hands out
// keeps one reference more than the caller's and is never freed (even when the query fails).
HRESULT CreateCounterCoverTransition(void* /*outer*/, IID* iid, void** out) {
  IUnknown* object = nullptr;
  if (const HRESULT created = CreateUnknown<CCounterBands>(&object); created < 0) return created;
  IUnknown* second = nullptr;
  if (CreateUnknown<CCounterBands>(&second) >= 0) second->Release();
  return AnswerPreset<CCounterBands, 0>(object, iid, out);
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
    Preset<CCover, 0>(),  // "PushTransition"
    Preset<CCover, 1>(),  // "CrushTransition"
    ModuleComponent{CCounterBands::kPresets[0].name,
                    &CreateCounterCoverTransition},  // "CounterCoverTransition"
    Component<CCover>(),                             // "CoverTransition"
    Component<CCounterBands>(),                      // "CounterBandsTransition"
    Component<CDeform>(),                            // "DeformTransition"
    Component<CDissolve>(),                          // "DissolveTransition"
    Component<CDissolveAdditive>(),                  // "DissolveAdditiveTransition"
    Component<CDither>(),                            // "DitherTransition"
    Component<CDitherCumulative>(),                  // "DitherCumulativeTransition"
    Component<CFlip>(),                              // "FlipTransition"
    Component<CPerspectiveTurn>(),                   // "PerspectiveTurnTransition"
    Component<CRandomTransition>(),                  // "RandomTransition"
    Component<CShutterBands>(),                      // "ShutterBandsTransition"
    Component<CTwirl>(),                             // "TwirlTransition"
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
