// What "ComponentCollection" and "GlobalComponentCollection" share: an ordered list of component
// strings read by index, and the slots neither of them implements.
#pragma once

#include <vector>

#include "host/common/HostObject.h"
#include "sdk/Collections.h"
#include "sdk/ComPtr.h"

namespace host::core {

// Item is IComponentString or a class implementing it.
template <class Derived, class Item>
class ComponentList : public HostObject<Derived, IComponentCollection> {
 public:
  HRESULT GetCount(int* count) override {
    if (count == nullptr) return E_INVALIDARG;
    *count = static_cast<int>(items_.size());
    return S_OK;
  }
  // The component string at `index` with a reference; E_INVALIDARG past the ends.
  HRESULT GetItem(int index, IUnknown** item) override {
    if (item == nullptr) return E_INVALIDARG;
    *item = nullptr;
    if (!InRange(index)) return E_INVALIDARG;
    IComponentString* string = ComPtr<Item>(items_[static_cast<std::size_t>(index)]).Detach();
    *item = string;
    return S_OK;
  }
  HRESULT Reserved8() override { return E_NOTIMPL; }
  HRESULT Reserved9() override { return E_NOTIMPL; }
  HRESULT Reserved10() override { return E_NOTIMPL; }
  HRESULT Reserved11() override { return E_NOTIMPL; }
  HRESULT Reserved13() override { return E_NOTIMPL; }
  HRESULT Reserved14() override { return E_NOTIMPL; }

 protected:
  bool InRange(int index) const {
    return index >= 0 && static_cast<std::size_t>(index) < items_.size();
  }

  std::vector<ComPtr<Item>> items_;
};

}  // namespace host::core
