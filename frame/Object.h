// The component frame: reference counting, interface queries and creation of module objects.
//
// An effect class T derives from CObjectRoot (its primary interface: QueryInterface, AddRef,
// Release, FinalConstruct, FinalRelease, Lock, Unlock, then T's own operations), then from
// IObjectInfoImpl<T> and its interfaces. Its static `Interfaces()` lists the identities it
// answers besides IUnknown, in the order QueryInterface tests them. CObject<T> completes it into a
// creatable object and is the one place that implements the three IUnknown operations.
#pragma once

#include <atomic>
#include <new>

#include "frame/Com.h"

class CObjectRoot : public IUnknown {
 public:
  virtual HRESULT FinalConstruct() { return S_OK; }  // 3
  virtual void FinalRelease() {}                     // 4
  virtual void Lock() {}                             // 5
  virtual void Unlock() {}                           // 6

 protected:
  ~CObjectRoot() = default;
  std::atomic<std::uint32_t> m_count{1};
};

// One row of a class's identity table: the identity and how to reach that interface.
template <class T>
struct InterfaceEntry {
  const IID* iid;
  void* (*cast)(T*);
};

// Row helpers: Entry<T, I>(&IID_I) answers with T's I interface; PrimaryEntry<T> with the
// primary interface whatever the identity asks for.
template <class T, class I>
constexpr InterfaceEntry<T> Entry(const IID* iid) {
  return {iid, [](T* object) -> void* { return static_cast<I*>(object); }};
}
template <class T>
constexpr InterfaceEntry<T> PrimaryEntry(const IID* iid) {
  return {iid, [](T* object) -> void* { return static_cast<CObjectRoot*>(object); }};
}

template <class T>
class CObject final : public T {
 public:
  HRESULT QueryInterface(const IID& iid, void** out) override {
    if (iid == IID_IUnknown) {  // *out is not cleared before this test
      AddRef();
      *out = static_cast<CObjectRoot*>(this);
      return S_OK;
    }
    *out = nullptr;
    for (const InterfaceEntry<T>& entry : T::Interfaces()) {
      if (iid == *entry.iid) {
        AddRef();
        *out = entry.cast(this);
        return S_OK;
      }
    }
    return E_NOINTERFACE;
  }

  // The count returned is a fresh read after the atomic add, not the add's own result.
  std::uint32_t AddRef() override {
    this->m_count.fetch_add(1, std::memory_order_acq_rel);
    return this->m_count.load(std::memory_order_relaxed);
  }

  // Exactly one caller sees the count go from 1 to 0 and destroys the object, even when final
  // releases race. Every other caller returns the count after its own decrement: reading the
  // count again could touch an object another thread has just freed.
  std::uint32_t Release() override {
    const std::uint32_t before = this->m_count.fetch_sub(1, std::memory_order_acq_rel);
    if (before != 1) return before - 1;
    this->FinalRelease();
    delete this;
    return 0;
  }

  // _CreateInstance into a typed pointer.
  template <class I>
  static HRESULT Create(const IID& iid, I** out) {
    IID wanted = iid;
    return _CreateInstance(nullptr, &wanted, reinterpret_cast<void**>(out));
  }

  // The factory that CreateFunction hands out for T. `outer` is unused: no aggregation.
  static HRESULT _CreateInstance(void* /*outer*/, IID* iid, void** out) {
    auto* object = new (std::nothrow) CObject<T>();
    if (object == nullptr) return E_FAIL;
    HRESULT hr = object->FinalConstruct();
    if (hr >= 0) {
      *out = nullptr;
      hr = object->QueryInterface(*iid, out);
      if (hr >= 0) {
        object->Release();  // the caller's reference is now the only one
        if (hr == S_OK) return S_OK;
      }
    }
    object->FinalRelease();
    delete object;
    return hr;
  }
};

// GetName answers the class's object name, a view of a constant string (not a copy). The name
// is the class's own `kName`, so it is written once, beside the class.
template <class T>
class IObjectInfoImpl : public IObjectInfo {
 public:
  HRESULT GetName(int /*reserved*/, tagREFString* name) override {
    *name = m_ObjectName;
    return S_OK;
  }
  static const tagREFString m_ObjectName;

 protected:
  ~IObjectInfoImpl() = default;
};

template <class T>
const tagREFString IObjectInfoImpl<T>::m_ObjectName = T::kName;

// The shape of the simple effects: no properties, answering only IObjectInfo and
// IKeloTransition; Uninitialize drops nothing unless the effect says otherwise.
template <class T>
class CSimpleTransition : public CObjectRoot, public IObjectInfoImpl<T>, public IKeloTransition {
 public:
  static const auto& Interfaces() {
    static constexpr InterfaceEntry<T> table[] = {Entry<T, IObjectInfo>(&IID_IObjectInfo),
                                                  Entry<T, IKeloTransition>(&IID_IKeloTransition)};
    return table;
  }
  HRESULT Uninitialize() override { return S_OK; }

 protected:
  ~CSimpleTransition() = default;
};
