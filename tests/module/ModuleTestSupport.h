// Shared by the tests that link the module's code: objects made straight from its classes or
// through its own entry point, and the class behind an interface pointer.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "effects/KeloTransitions.h"
#include "frame/Object.h"
#include "sdk/ComPtr.h"

namespace moduletest {

// A new object of the module's class T answering I (asked for by `iid`, I's own by default).
template <class T, class I = IKeloTransition>
ComPtr<I> New(IID iid = I::kIID) {
  ComPtr<I> object;
  EXPECT_EQ(CObject<T>::_CreateInstance(nullptr, &iid, object.PutVoid()), S_OK);
  return object;
}

// A new instance of the component the module's CreateFunction offers as `name`, answering I.
template <class I>
ComPtr<I> Create(std::wstring_view name) {
  ComponentFactory factory = nullptr;
  ComPtr<I> object;
  IID iid = I::kIID;
  EXPECT_EQ(CreateFunction(RefView(name), &factory), S_OK) << std::wstring(name);
  if (factory != nullptr) {
    EXPECT_EQ(factory(nullptr, &iid, object.PutVoid()), S_OK);
  }
  return object;
}

// One frame of `effect` from `from` to `to` at `progress`; the call must succeed.
inline ComPtr<ICIF> Render(IKeloTransition* effect, ICIF* from, ICIF* to, double progress) {
  ICIF* out = nullptr;
  EXPECT_EQ(effect->DoTransition(from, to, &out, progress), S_OK) << "progress " << progress;
  return ComPtr<ICIF>::Adopt(out);
}

// The object of class T behind any of its interfaces.
template <class T, class I>
T* Raw(const ComPtr<I>& object) {
  return static_cast<T*>(static_cast<CObjectRoot*>(object.template As<IUnknown>().Get()));
}

}  // namespace moduletest
