#include "effects/KeloTransitions.h"

#include <array>

#include "effects/Dissolve.h"

namespace {

// Rows in the order CreateFunction tests them.
constexpr std::array kComponents{
    ModuleComponent{RefLiteral(L"DissolveTransition"), &CObject<CDissolve>::_CreateInstance},
    ModuleComponent{RefLiteral(L"DissolveAdditiveTransition"),
                    &CObject<CDissolveAdditive>::_CreateInstance},
};

bool SameName(tagREFString a, tagREFString b) {
  if (a.length != b.length || a.length <= 0) return false;
  for (int i = 0; i < a.length; ++i)
    if (a.text[i] != b.text[i]) return false;
  return true;
}

}  // namespace

std::span<const ModuleComponent> ModuleComponents() { return kComponents; }

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
