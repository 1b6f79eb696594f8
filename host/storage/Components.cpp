#include "host/storage/Components.h"

#include <array>
#include <atomic>

#include "host/storage/FolderStream.h"
#include "host/storage/PropertyPage.h"
#include "host/storage/Registry.h"
#include "host/storage/StringTable.h"
#include "host/storage/XMLStream.h"

namespace host::storage {

namespace {

constexpr std::array kComponents{
    HostComponent{L"StringTable", L"Storage", &StringTable::CreateInstance},
    HostComponent{L"Registry", L"Storage", &Registry::CreateInstance},
    HostComponent{L"XMLStream", L"Storage", &XMLStream::CreateInstance},
    HostComponent{L"FolderStream", L"Storage", &FolderStream::CreateInstance},
    HostComponent{L"UIPropInterrogatePropPage", L"PropertyPage", &PropertyPage::CreateInstance},
};

std::atomic<IComponentCollection*> gCollection{nullptr};

}  // namespace

std::span<const HostComponent> Components() {
  return kComponents;
}

IComponentCollection* ComponentCollection() {
  return gCollection.load(std::memory_order_acquire);
}

ComPtr<IString> NewString(std::wstring_view text) {
  ComPtr<IString> string;
  IComponentCollection* collection = ComponentCollection();
  if (collection == nullptr ||
      Failed(collection->CreateByName(RefLiteral(L"CreatableString"), &IString::kIID,
                                      string.PutVoid())) ||
      !string || Failed(string->SetText(static_cast<int>(text.size()), text.data())))
    return {};
  return string;
}

void SetComponentCollection(IComponentCollection* collection) {
  if (collection != nullptr) collection->AddRef();
  if (IComponentCollection* old = gCollection.exchange(collection, std::memory_order_acq_rel))
    old->Release();
}

}  // namespace host::storage
