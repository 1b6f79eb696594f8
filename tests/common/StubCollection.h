// A component collection for tests that knows nothing: every operation refuses (E_FAIL) and hands
// out nothing. A test derives from it and overrides what it needs.
#pragma once

#include "host/common/HostObject.h"
#include "sdk/Collections.h"

namespace testhost {

template <class T>
class StubCollection : public host::HostObject<T, IComponentCollection> {
 public:
  HRESULT GetCount(int* count) override { return *count = 0, E_FAIL; }
  HRESULT GetItem(int, IUnknown** item) override { return *item = nullptr, E_FAIL; }
  HRESULT Find(IString*, int*) override { return E_FAIL; }
  HRESULT Remove(int) override { return E_FAIL; }
  HRESULT RemoveAll() override { return E_FAIL; }
  HRESULT Reserved8() override { return E_NOTIMPL; }
  HRESULT Reserved9() override { return E_NOTIMPL; }
  HRESULT Reserved10() override { return E_NOTIMPL; }
  HRESULT Reserved11() override { return E_NOTIMPL; }
  HRESULT Add(IUnknown*) override { return E_FAIL; }
  HRESULT Reserved13() override { return E_NOTIMPL; }
  HRESULT Reserved14() override { return E_NOTIMPL; }
  HRESULT SelectKind(IString*) override { return E_FAIL; }
  HRESULT CreateByName(tagREFString, const IID*, void** out) override {
    *out = nullptr;
    return E_FAIL;
  }
};

}  // namespace testhost
