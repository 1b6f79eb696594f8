// "ComponentCollection": an ordered list of component strings. SelectKind fills it with the
// global collection's components of one kind, in manifest order; CreateByName asks the global
// collection.
#pragma once

#include "host/core/ComponentList.h"

namespace host::core {

class ComponentCollection final : public ComponentList<ComponentCollection, IComponentString> {
 public:
  HRESULT Find(IString* name, int* index) override;
  HRESULT Remove(int index) override;
  HRESULT RemoveAll() override;
  // Takes any object that answers IComponentString (kept with a reference); else E_INVALIDARG.
  HRESULT Add(IUnknown* item) override;
  HRESULT SelectKind(IString* kind) override;
  HRESULT CreateByName(tagREFString name, const IID* iid, void** out) override;
};

}  // namespace host::core
