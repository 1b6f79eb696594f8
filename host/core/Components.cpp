#include "host/core/Components.h"

#include <array>
#include <new>

#include "host/core/ComponentCollection.h"
#include "host/core/ComponentString.h"
#include "host/core/CreatableString.h"
#include "host/core/GlobalComponentCollection.h"
#include "host/core/SuperCollection.h"
#include "host/core/Variant.h"

namespace host::core {

namespace {

// A new T answering *iid; refuses a missing identity or out pointer instead of crashing.
template <class T>
HRESULT Make(void* /*outer*/, IID* iid, void** out) {
  if (out == nullptr) return E_INVALIDARG;
  *out = nullptr;
  if (iid == nullptr) return E_INVALIDARG;
  auto* object = new (std::nothrow) T();
  if (object == nullptr) return E_FAIL;
  const HRESULT hr = object->QueryInterface(*iid, out);
  object->Release();
  return hr;
}

constexpr std::array kComponents{
    HostComponent{L"GlobalComponentCollection", L"Collection", &GlobalComponentCollection::Create},
    HostComponent{L"ComponentString", L"Component", &Make<ComponentString>},
    HostComponent{L"ComponentCollection", L"Collection", &Make<ComponentCollection>},
    HostComponent{L"CreatableString", L"String", &Make<CreatableString>},
    HostComponent{L"Variant", L"Variant", &Make<Variant>},
    HostComponent{L"SuperCollection", L"Collection", &Make<SuperCollection>},
};

}  // namespace

std::span<const HostComponent> Components() {
  return kComponents;
}

}  // namespace host::core
