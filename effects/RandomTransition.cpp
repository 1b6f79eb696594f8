#include "effects/RandomTransition.h"

#include "frame/Loader.h"
#include "sdk/Text.h"
#include "support/Convert.h"
#include "support/Random.h"

namespace {

constexpr char kTransitionKindUTF8[] = "KeloSlideTransition";

// Only a name equal to ours (and not empty) is left out; nameless entries stay candidates.
bool IsOwnName(tagREFString name) {
  return kelo_text::SameName(name, CRandomTransition::kName);
}

}  // namespace

CRandomTransition::~CRandomTransition() {
  if (candidates != nullptr) candidates->Release();
  if (current != nullptr) current->Release();
}

HRESULT CRandomTransition::FinalConstruct() {
  IComponentCollection* all =
      CreateObjectByName<IComponentCollection>("ComponentCollection", IID_IComponentCollection);
  if (all != nullptr) {
    if (IString* kind = ISCreate(kTransitionKindUTF8, sizeof(kTransitionKindUTF8) - 1)) {
      all->SelectKind(kind);
      kind->Release();
    }
  }
  candidates =
      CreateObjectByName<IComponentCollection>("ComponentCollection", IID_IComponentCollection);

  int count = 0;
  if (all != nullptr && candidates != nullptr) all->GetCount(&count);
  for (int i = 0; i < count; ++i) {
    IUnknown* item = nullptr;
    all->GetItem(i, &item);
    if (item == nullptr) continue;
    IComponentString* component = nullptr;
    item->QueryInterface(IID_IComponentString, reinterpret_cast<void**>(&component));
    item->Release();
    if (component == nullptr) continue;  // only component strings can make an effect
    IString* name = nullptr;
    component->GetText(kComponentName, &name);
    const CREFString view(name);  // a missing name counts as empty
    if (!IsOwnName(view)) candidates->Add(component);
    if (name != nullptr) name->Release();
    component->Release();
  }

  Uninitialize();
  if (all != nullptr) all->Release();
  return S_OK;
}

HRESULT CRandomTransition::Uninitialize() {
  int count = 0;
  if (candidates != nullptr) candidates->GetCount(&count);
  // With no candidates the index is -1 (or 0), which the collection refuses.
  const int index = RandomPick(gRandom.Random(), count);
  IUnknown* item = nullptr;
  if (candidates != nullptr) candidates->GetItem(index, &item);

  if (current != nullptr) current->Release();
  current = nullptr;
  if (item != nullptr) {
    IComponentString* component = nullptr;
    item->QueryInterface(IID_IComponentString, reinterpret_cast<void**>(&component));
    if (component != nullptr) {
      component->CreateInstance(IID_IKeloTransition, reinterpret_cast<void**>(&current));
      component->Release();
    }
    item->Release();
  }
  if (current != nullptr) {
    IRandomizableObject* randomizable = nullptr;
    current->QueryInterface(IID_IRandomizableObject, reinterpret_cast<void**>(&randomizable));
    if (randomizable != nullptr) {
      randomizable->Randomize();
      randomizable->Release();
    }
  }
  return S_OK;
}

HRESULT CRandomTransition::DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) {
  if (current != nullptr) return current->DoTransition(from, to, out, progress);
  if (out == nullptr) return E_INVALIDARG;
  *out = to;  // the incoming picture unchanged
  if (to == nullptr) return E_FAIL;
  to->AddRef();
  return S_OK;
}
