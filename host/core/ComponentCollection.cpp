#include "host/core/ComponentCollection.h"

#include <algorithm>

#include "host/core/GlobalComponentCollection.h"
#include "host/core/Text.h"

namespace host::core {

HRESULT ComponentCollection::Find(IString* name, int* index) {
  if (name == nullptr || index == nullptr) return E_INVALIDARG;
  *index = -1;
  const std::wstring_view wanted = TextOf(name);
  // Items may come from anywhere, so their names are asked through the interface.
  for (std::size_t i = 0; i < items_.size(); ++i) {
    ComPtr<IString> itemName;
    if (Failed(items_[i]->GetText(kComponentName, itemName.Put()))) continue;
    if (TextOf(itemName.Get()) == wanted) {
      *index = static_cast<int>(i);
      return S_OK;
    }
  }
  return E_FAIL;
}

HRESULT ComponentCollection::Remove(int index) {
  if (!InRange(index)) return E_INVALIDARG;
  items_.erase(items_.begin() + index);
  return S_OK;
}

HRESULT ComponentCollection::RemoveAll() {
  items_.clear();
  return S_OK;
}

HRESULT ComponentCollection::Add(IUnknown* item) {
  if (item == nullptr) return E_INVALIDARG;
  ComPtr<IComponentString> component;
  if (Failed(item->QueryInterface(IComponentString::kIID, component.PutVoid())) || !component)
    return E_INVALIDARG;
  try {
    items_.push_back(std::move(component));
  } catch (...) {
    return E_FAIL;
  }
  return S_OK;
}

HRESULT ComponentCollection::SelectKind(IString* kind) {
  if (kind == nullptr) return E_INVALIDARG;
  GlobalComponentCollection* global = GlobalComponentCollection::Instance();
  if (global == nullptr) return E_FAIL;
  try {
    std::vector<ComPtr<IComponentString>> selected;
    for (ComponentString* entry : global->EntriesOfKind(TextOf(kind)))
      selected.push_back(ComPtr<IComponentString>::Share(entry));
    items_.swap(selected);
  } catch (...) {
    return E_FAIL;
  }
  return S_OK;
}

HRESULT ComponentCollection::CreateByName(tagREFString name, const IID* iid, void** out) {
  GlobalComponentCollection* global = GlobalComponentCollection::Instance();
  if (global == nullptr) {
    if (out != nullptr) *out = nullptr;
    return E_FAIL;
  }
  return global->CreateByName(name, iid, out);
}

}  // namespace host::core
