// The host modules' object frame: reference counting and QueryInterface over a list of
// interfaces (and their bases, named by an interface's `Base`), plus component tables.
#pragma once

#include <atomic>
#include <new>
#include <span>
#include <string_view>

#include "sdk/Com.h"
#include "sdk/Text.h"

namespace host {

// Live host objects of this module; tests check that every reference is returned.
inline std::atomic<long>& LiveObjects() {
  static std::atomic<long> count{0};
  return count;
}

template <class I>
void* CastIfAnswers(I* object, const IID& iid) {
  if (iid == I::kIID) return object;
  if constexpr (requires { typename I::Base; }) {
    return CastIfAnswers<typename I::Base>(object, iid);
  } else {
    return nullptr;
  }
}

// Derived implements Interfaces...; IUnknown is answered with the first of them.
template <class Derived, class First, class... Rest>
class HostObject : public First, public Rest... {
 public:
  HostObject() { LiveObjects().fetch_add(1, std::memory_order_relaxed); }
  HostObject(const HostObject&) = delete;
  HostObject& operator=(const HostObject&) = delete;

  HRESULT QueryInterface(const IID& iid, void** out) override {
    void* found = iid == kIID_IUnknown ? static_cast<First*>(this) : FindInterface(iid);
    *out = found;
    if (found == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  std::uint32_t AddRef() override { return count_.fetch_add(1, std::memory_order_relaxed) + 1; }
  std::uint32_t Release() override {
    const std::uint32_t left = count_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
  }

  // The component factory: a new Derived answering *iid. A missing identity or out pointer is
  // refused rather than followed; E_FAIL when the object cannot be made (out of memory).
  static HRESULT CreateInstance(void* /*outer*/, IID* iid, void** out) {
    if (out == nullptr) return E_INVALIDARG;
    *out = nullptr;
    if (iid == nullptr) return E_INVALIDARG;
    Derived* object = nullptr;
    try {
      object = new Derived();
    } catch (...) {
      return E_FAIL;
    }
    const HRESULT hr = object->QueryInterface(*iid, out);
    object->Release();
    return hr;
  }

 protected:
  virtual ~HostObject() { LiveObjects().fetch_sub(1, std::memory_order_relaxed); }

 private:
  void* FindInterface(const IID& iid) {
    void* found = CastIfAnswers<First>(this, iid);
    ((found = found ? found : CastIfAnswers<Rest>(this, iid)), ...);
    return found;
  }
  std::atomic<std::uint32_t> count_{1};
};

// One row of a host module's component table.
struct HostComponent {
  std::wstring_view name;
  std::wstring_view kind;
  ComponentFactory factory;
};

// The factory of `name` in `table`, for a module's CreateFunction: E_INVALIDARG without `out`,
// E_FAIL for a name the table does not hold.
inline HRESULT FindComponentFactory(std::span<const HostComponent> table, tagREFString name,
                                    ComponentFactory* out) {
  if (out == nullptr) return E_INVALIDARG;
  const std::wstring_view wanted = kelo_text::ViewOf(name);
  for (const HostComponent& row : table) {
    if (row.name == wanted) {
      *out = row.factory;
      return S_OK;
    }
  }
  return E_FAIL;
}

}  // namespace host
