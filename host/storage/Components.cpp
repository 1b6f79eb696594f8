#include "host/storage/Components.h"

#include <array>
#include <atomic>
#include <new>

#include "host/core/GlobalComponentCollection.h"
#include "host/storage/FolderStream.h"
#include "host/storage/PropertyPage.h"
#include "host/storage/Registry.h"
#include "host/storage/StringTable.h"
#include "host/storage/XMLStream.h"

namespace host::storage {

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
    HostComponent{L"StringTable", L"Storage", &Make<StringTable>},
    HostComponent{L"Registry", L"Storage", &Make<Registry>},
    HostComponent{L"XMLStream", L"Storage", &Make<XMLStream>},
    HostComponent{L"FolderStream", L"Storage", &Make<FolderStream>},
    HostComponent{L"UIPropInterrogatePropPage", L"PropertyPage", &Make<PropertyPage>},
};

std::atomic<IComponentCollection*> gCollection{nullptr};

}  // namespace

std::span<const HostComponent> Components() {
  return kComponents;
}

IComponentCollection* ComponentCollection() {
  if (IComponentCollection* collection = gCollection.load(std::memory_order_acquire))
    return collection;
  return core::GlobalComponentCollection::Instance();
}

void SetComponentCollection(IComponentCollection* collection) {
  if (collection != nullptr) collection->AddRef();
  if (IComponentCollection* old = gCollection.exchange(collection, std::memory_order_acq_rel))
    old->Release();
}

}  // namespace host::storage
