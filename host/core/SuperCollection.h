// "SuperCollection": an ordered list of entries (name, value, extra item, option). Name, value
// and extra are kept with a reference and may be null; the name is usually a string, the value
// a string or a variant.
#pragma once

#include <vector>

#include "host/common/HostObject.h"
#include "sdk/Collections.h"
#include "sdk/ComPtr.h"

namespace host::core {

class SuperCollection final : public HostObject<SuperCollection, ISuperCollection> {
 public:
  HRESULT GetCount(int* count) override;
  // The name as a string: the name object itself when it is one, the string a variant name
  // holds, else null and S_FALSE.
  HRESULT GetName(int index, IString** name) override;
  // The value or extra item with a reference; null and S_FALSE when none was given.
  HRESULT GetValue(int index, IUnknown** value) override;
  HRESULT GetExtra(int index, IUnknown** extra) override;
  HRESULT GetOption(int index, int* option) override;
  // The first entry whose name text equals `name` exactly.
  HRESULT Find(IString* name, int* index) override;
  HRESULT Remove(int index) override;
  HRESULT RemoveAll() override;
  HRESULT Reserved11() override { return E_NOTIMPL; }
  HRESULT Reserved12() override { return E_NOTIMPL; }
  HRESULT Reserved13() override { return E_NOTIMPL; }
  HRESULT Reserved14() override { return E_NOTIMPL; }
  HRESULT Reserved15() override { return E_NOTIMPL; }
  HRESULT Add(IUnknown* name, IUnknown* value, IUnknown* extra, int option) override;

 private:
  struct Entry {
    ComPtr<IUnknown> name;
    ComPtr<IString> nameText;  // the name as a string, when it gives one
    ComPtr<IUnknown> value;
    ComPtr<IUnknown> extra;
    int option = 0;
  };

  const Entry* At(int index) const {
    if (index < 0 || static_cast<std::size_t>(index) >= entries_.size()) return nullptr;
    return &entries_[static_cast<std::size_t>(index)];
  }
  // The item `member` of entry `index` with a reference; null and S_FALSE when it has none.
  template <class I>
  HRESULT HandOut(int index, ComPtr<I> Entry::*member, I** out) const;

  std::vector<Entry> entries_;
};

}  // namespace host::core
