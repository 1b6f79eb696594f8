#include "effects/KeloTransitions.h"

#include <array>

#include "effects/Cover.h"
#include "effects/Dissolve.h"
#include "effects/Dither.h"
#include "effects/RandomTransition.h"

namespace {

// A preset: a T whose property `id` is set to `value` right after creation, handed out as the
// caller's interface. The preset is only a starting value; the property stays adjustable.
template <class T, int id, int value>
HRESULT CreatePreset(void* /*outer*/, IID* iid, void** out) {
  IUnknown* object = nullptr;
  IID unknown = IID_IUnknown;
  const HRESULT created =
      CObject<T>::_CreateInstance(nullptr, &unknown, reinterpret_cast<void**>(&object));
  if (created < 0) return created;
  IUIPropInterrogate* properties = nullptr;
  object->QueryInterface(IID_IUIPropInterrogate, reinterpret_cast<void**>(&properties));
  if (properties != nullptr) properties->Control(id, value);  // not checked
  const HRESULT hr = object->QueryInterface(*iid, out);
  if (properties != nullptr) properties->Release();
  object->Release();
  return hr;
}

}  // namespace

HRESULT CreatePushTransition(void* outer, IID* iid, void** out) {
  return CreatePreset<CCover, CCover::kStyle, CCover::kPush>(outer, iid, out);
}

HRESULT CreateCrushTransition(void* outer, IID* iid, void** out) {
  return CreatePreset<CCover, CCover::kStyle, CCover::kCrush>(outer, iid, out);
}

namespace {

// Rows in the order CreateFunction tests them.
constexpr std::array kComponents{
    ModuleComponent{RefLiteral(L"PushTransition"), &CreatePushTransition},
    ModuleComponent{RefLiteral(L"CrushTransition"), &CreateCrushTransition},
    ModuleComponent{RefLiteral(L"CoverTransition"), &CObject<CCover>::_CreateInstance},
    ModuleComponent{RefLiteral(L"DissolveTransition"), &CObject<CDissolve>::_CreateInstance},
    ModuleComponent{RefLiteral(L"DissolveAdditiveTransition"),
                    &CObject<CDissolveAdditive>::_CreateInstance},
    ModuleComponent{RefLiteral(L"DitherTransition"), &CObject<CDither>::_CreateInstance},
    ModuleComponent{RefLiteral(L"DitherCumulativeTransition"),
                    &CObject<CDitherCumulative>::_CreateInstance},
    ModuleComponent{RefLiteral(L"RandomTransition"), &CObject<CRandomTransition>::_CreateInstance},
};

bool SameName(tagREFString a, tagREFString b) {
  if (a.length != b.length || a.length <= 0) return false;
  for (int i = 0; i < a.length; ++i)
    if (a.text[i] != b.text[i]) return false;
  return true;
}

}  // namespace

std::span<const ModuleComponent> ModuleComponents() {
  return kComponents;
}

extern "C" HRESULT CreateFunction(tagREFString name, ComponentFactory* out) {
  for (const ModuleComponent& row : kComponents) {
    if (SameName(name, row.name)) {
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
