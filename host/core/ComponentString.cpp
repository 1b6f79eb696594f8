#include "host/core/ComponentString.h"

#include "host/core/Components.h"
#include "host/core/CreatableString.h"
#include "host/core/GlobalComponentCollection.h"
#include "host/core/Text.h"
#include "sdk/ComPtr.h"

namespace host::core {

ComponentString::ComponentString(std::wstring_view name, std::wstring_view kind,
                                 std::wstring_view module)
    : name_(name), kind_(kind), module_(module), fixed_(true) {}

std::wstring* ComponentString::Text(int kind) {
  switch (kind) {
    case kComponentName:
      return &name_;
    case kComponentKind:
      return &kind_;
    case kComponentModule:
      return &module_;
    default:
      return nullptr;
  }
}

HRESULT ComponentString::GetText(int kind, IString** text) {
  if (text == nullptr) return E_INVALIDARG;
  *text = nullptr;
  const std::wstring* held = Text(kind);
  if (held == nullptr) return E_INVALIDARG;
  *text = CreatableString::Make(*held);
  return *text != nullptr ? S_OK : E_FAIL;
}

HRESULT ComponentString::SetText(int kind, tagREFString text) {
  std::wstring* held = Text(kind);
  if (held == nullptr || !ValidView(text)) return E_INVALIDARG;
  if (fixed_) return E_FAIL;
  try {
    held->assign(ViewOf(text));
  } catch (...) {
    return E_FAIL;
  }
  factory_.store(nullptr, std::memory_order_relaxed);
  return S_OK;
}

HRESULT ComponentString::Attach(IUnknown* object) {
  if (object == nullptr) return E_INVALIDARG;
  if (fixed_) return E_FAIL;
  ComPtr<IObjectInfo> info;
  if (Failed(object->QueryInterface(IObjectInfo::kIID, info.PutVoid())) || !info)
    return E_INVALIDARG;
  tagREFString name{0, nullptr};
  if (Failed(info->GetName(0, &name))) return E_FAIL;
  try {
    name_.assign(ViewOf(name));
    // Kind and module come from the manifest when it knows the component.
    if (GlobalComponentCollection* global = GlobalComponentCollection::Instance()) {
      if (const ComponentString* entry = global->FindEntry(name_)) {
        kind_ = entry->Kind();
        module_ = entry->Module();
      }
    }
  } catch (...) {
    return E_FAIL;
  }
  factory_.store(nullptr, std::memory_order_relaxed);
  return S_OK;
}

ComponentFactory ComponentString::Resolve() const {
  if (name_.empty()) return nullptr;
  const tagREFString name = RefView(name_);
  ComponentFactory factory = nullptr;
  // This module's own components first: strings and collections must never need a load.
  if (Succeeded(FindComponentFactory(Components(), name, &factory))) return factory;
  GlobalComponentCollection* global = GlobalComponentCollection::Instance();
  if (global == nullptr) return nullptr;
  std::wstring_view tried;
  if (const ComponentString* entry = global->FindEntry(name_); entry != nullptr && entry != this) {
    tried = entry->Module();
    if ((factory = global->ModuleFactory(tried, name_)) != nullptr) return factory;
  }
  if (!module_.empty() && module_ != tried) factory = global->ModuleFactory(module_, name_);
  return factory;
}

HRESULT ComponentString::CreateInstance(const IID& iid, void** out) {
  if (out == nullptr) return E_INVALIDARG;
  *out = nullptr;
  ComponentFactory factory = factory_.load(std::memory_order_acquire);
  if (factory == nullptr) {
    try {
      factory = Resolve();
    } catch (...) {
      return E_FAIL;  // no memory to load the module: it may be tried again
    }
    if (factory == nullptr) return E_FAIL;
    factory_.store(factory, std::memory_order_release);
  }
  IID wanted = iid;  // factories take a mutable identity
  const HRESULT hr = factory(nullptr, &wanted, out);
  if (Failed(hr)) *out = nullptr;
  return hr;
}

}  // namespace host::core
