// An owning interface pointer for the host and the tools (the module keeps raw pointers, as
// its interfaces demand, and uses this only where it owns a temporary).
#pragma once

#include <string_view>
#include <utility>

#include "sdk/Com.h"

template <class T>
class ComPtr {
 public:
  ComPtr() = default;
  ComPtr(std::nullptr_t) {}
  ComPtr(const ComPtr& other) : p_(other.p_) {
    if (p_) p_->AddRef();
  }
  ComPtr(ComPtr&& other) noexcept : p_(std::exchange(other.p_, nullptr)) {}
  ~ComPtr() { Reset(); }
  ComPtr& operator=(ComPtr other) noexcept {
    std::swap(p_, other.p_);
    return *this;
  }

  // Takes over a reference the caller already owns.
  static ComPtr Adopt(T* p) {
    ComPtr r;
    r.p_ = p;
    return r;
  }
  // Adds a reference of its own.
  static ComPtr Share(T* p) {
    if (p) p->AddRef();
    return Adopt(p);
  }

  T* Get() const { return p_; }
  T* operator->() const { return p_; }
  T& operator*() const { return *p_; }
  explicit operator bool() const { return p_ != nullptr; }

  // The address to receive a new reference; drops the current one first.
  T** Put() {
    Reset();
    return &p_;
  }
  void** PutVoid() { return reinterpret_cast<void**>(Put()); }

  T* Detach() { return std::exchange(p_, nullptr); }
  void Reset() {
    if (T* p = std::exchange(p_, nullptr)) p->Release();
  }

  // QueryInterface for U; empty when the object does not answer it.
  template <class U>
  ComPtr<U> As() const {
    ComPtr<U> r;
    if (p_) p_->QueryInterface(U::kIID, r.PutVoid());
    return r;
  }

 private:
  T* p_ = nullptr;
};

inline tagREFString RefView(std::wstring_view text) {
  return {static_cast<std::int32_t>(text.size()), text.data()};
}
