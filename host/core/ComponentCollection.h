// "ComponentCollection": an ordered list of component strings. SelectKind fills it with the
// global collection's components of one kind, in manifest order; CreateByName asks the global
// collection.
#pragma once

#include <vector>

#include "host/common/HostObject.h"
#include "sdk/Collections.h"
#include "sdk/ComPtr.h"

namespace host::core {

class ComponentCollection final : public HostObject<ComponentCollection, IComponentCollection> {
 public:
  HRESULT GetCount(int* count) override;
  HRESULT GetItem(int index, IUnknown** item) override;
  HRESULT Find(IString* name, int* index) override;
  HRESULT Remove(int index) override;
  HRESULT RemoveAll() override;
  HRESULT Reserved8() override { return E_NOTIMPL; }
  HRESULT Reserved9() override { return E_NOTIMPL; }
  HRESULT Reserved10() override { return E_NOTIMPL; }
  HRESULT Reserved11() override { return E_NOTIMPL; }
  // Takes any object that answers IComponentString (kept with a reference); else E_INVALIDARG.
  HRESULT Add(IUnknown* item) override;
  HRESULT Reserved13() override { return E_NOTIMPL; }
  HRESULT Reserved14() override { return E_NOTIMPL; }
  HRESULT SelectKind(IString* kind) override;
  HRESULT CreateByName(tagREFString name, const IID* iid, void** out) override;

 private:
  bool InRange(int index) const {
    return index >= 0 && static_cast<std::size_t>(index) < items_.size();
  }

  std::vector<ComPtr<IComponentString>> items_;
};

}  // namespace host::core
