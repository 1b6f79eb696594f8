#include "host/storage/FolderStream.h"

#include <cstring>

#include "host/core/Text.h"
#include "host/storage/Components.h"
#include "host/storage/StreamFile.h"
#include "sdk/ComPtr.h"
#include "sdk/Transitions.h"

namespace host::storage {

ComPtr<IDataStream> FolderStream::StreamOn(std::shared_ptr<FolderNode> node) {
  return ComPtr<IDataStream>::Adopt(new FolderStream(std::move(node)));
}

HRESULT FolderStream::HandOut(std::shared_ptr<FolderNode> node, IFolderStream** folder) {
  if (folder == nullptr) return S_OK;
  auto* view = new (std::nothrow) FolderStream(std::move(node));
  if (view == nullptr) return E_FAIL;
  *folder = view;  // the creation reference is the caller's
  return S_OK;
}

HRESULT FolderStream::Open(tagREFString path, int /*mode*/) {
  std::string bytes;
  if (HRESULT hr = ReadStreamFile(path, &bytes); Failed(hr)) return hr;
  try {
    return DecodeFolder(bytes, node_.get());
  } catch (...) {
    return E_FAIL;
  }
}

HRESULT FolderStream::Commit(tagREFString path) {
  return WriteStreamFile(path, [this] { return EncodeFolder(*node_); });
}

template <class Fill>
HRESULT FolderStream::PutValue(tagREFString name, FolderValue::Type type, Fill&& fill) {
  try {
    FolderValue item;
    item.name = ViewOf(name);
    item.type = type;
    if (HRESULT hr = fill(item); Failed(hr)) return hr;
    node_->PutValue(std::move(item));
  } catch (...) {
    return E_FAIL;
  }
  return S_OK;
}

HRESULT FolderStream::GetFolderCount(int* count) {
  if (count == nullptr) return E_INVALIDARG;
  *count = static_cast<int>(node_->folders.size());
  return S_OK;
}

HRESULT FolderStream::OpenFolder(IVariant* which, IFolderStream** folder) {
  if (which == nullptr || folder == nullptr) return E_INVALIDARG;
  *folder = nullptr;
  try {
    int isString = 0;
    if (Succeeded(which->IsString(&isString)) && isString != 0) {
      ComPtr<IString> name;
      if (Failed(which->GetString(name.Put()))) return E_INVALIDARG;
      for (const auto& child : node_->folders)
        if (child->name == TextOf(name.Get())) return HandOut(child, folder);
      return E_FAIL;
    }
    int type = 0;
    int position = 0;
    if (Failed(which->GetType(&type)) || type != kVariantInteger ||
        Failed(which->GetInteger(&position)))
      return E_INVALIDARG;
    if (position < 0 || static_cast<std::size_t>(position) >= node_->folders.size()) return E_FAIL;
    return HandOut(node_->folders[static_cast<std::size_t>(position)], folder);
  } catch (...) {
    return E_FAIL;
  }
}

HRESULT FolderStream::CreateFolder(tagREFString name, IFolderStream** folder) {
  if (folder != nullptr) *folder = nullptr;
  if (!ValidView(name)) return E_INVALIDARG;
  try {
    const std::wstring_view wanted = ViewOf(name);
    for (const auto& child : node_->folders) {
      if (child->name == wanted) {
        // Views of the old folder see it emptied, not a stale copy.
        child->values.clear();
        child->folders.clear();
        return HandOut(child, folder);
      }
    }
    auto child = std::make_shared<FolderNode>();
    child->name = wanted;
    node_->folders.push_back(child);
    return HandOut(std::move(child), folder);
  } catch (...) {
    return E_FAIL;
  }
}

HRESULT FolderStream::WriteString(tagREFString name, IString* value) {
  if (!ValidView(name) || value == nullptr) return E_INVALIDARG;
  return PutValue(name, FolderValue::kString, [value](FolderValue& item) {
    item.text = TextOf(value);
    return S_OK;
  });
}

HRESULT FolderStream::ReadString(tagREFString name, IString** value) {
  if (value == nullptr) return E_INVALIDARG;
  *value = nullptr;
  if (!ValidView(name)) return E_INVALIDARG;
  const FolderValue* item = node_->FindValue(ViewOf(name));
  if (item == nullptr || item->type != FolderValue::kString) return E_FAIL;
  *value = NewString(item->text).Detach();
  return *value != nullptr ? S_OK : E_FAIL;
}

HRESULT FolderStream::WriteObject(tagREFString name, IUnknown* value) {
  if (!ValidView(name) || value == nullptr) return E_INVALIDARG;
  ComPtr<IObjectInfo> info;
  if (Failed(value->QueryInterface(IObjectInfo::kIID, info.PutVoid())) || !info)
    return E_INVALIDARG;
  tagREFString component{0, nullptr};
  if (Failed(info->GetName(0, &component)) || ViewOf(component).empty()) return E_INVALIDARG;
  return PutValue(name, FolderValue::kObject, [&](FolderValue& item) {
    item.text = ViewOf(component);
    item.data = std::make_shared<FolderNode>();
    ComPtr<IDataPersist> persist;
    if (Succeeded(value->QueryInterface(IDataPersist::kIID, persist.PutVoid())) && persist) {
      if (Failed(persist->Save(StreamOn(item.data).Get(), 0))) return E_FAIL;
    }
    return S_OK;
  });
}

HRESULT FolderStream::ReadObject(tagREFString name, IUnknown** value) {
  if (value == nullptr) return E_INVALIDARG;
  *value = nullptr;
  if (!ValidView(name)) return E_INVALIDARG;
  try {
    const FolderValue* item = node_->FindValue(ViewOf(name));
    if (item == nullptr || item->type != FolderValue::kObject) return E_FAIL;
    IComponentCollection* collection = ComponentCollection();
    if (collection == nullptr) return E_FAIL;
    ComPtr<IUnknown> object;
    const HRESULT made =
        collection->CreateByName(RefView(item->text), &kIID_IUnknown, object.PutVoid());
    if (Failed(made) || !object) return E_FAIL;
    ComPtr<IDataPersist> persist;
    if (Succeeded(object->QueryInterface(IDataPersist::kIID, persist.PutVoid())) && persist) {
      auto data = item->data ? item->data : std::make_shared<FolderNode>();
      if (Failed(persist->Load(StreamOn(std::move(data)).Get(), 0))) return E_FAIL;
    }
    *value = object.Detach();
  } catch (...) {
    return E_FAIL;
  }
  return S_OK;
}

HRESULT FolderStream::GetName(IString** name) {
  if (name == nullptr) return E_INVALIDARG;
  *name = NewString(node_->name).Detach();
  return *name != nullptr ? S_OK : E_FAIL;
}

HRESULT FolderStream::WriteBinary(tagREFString name, const void* data, int size, int /*reserved*/) {
  if (!ValidView(name) || size < 0 || (size > 0 && data == nullptr)) return E_INVALIDARG;
  return PutValue(name, FolderValue::kBinary, [data, size](FolderValue& item) {
    item.bytes.assign(static_cast<const char*>(data), static_cast<std::size_t>(size));
    return S_OK;
  });
}

HRESULT FolderStream::ReadBinary(tagREFString name, void* data, int size, int /*reserved*/) {
  if (!ValidView(name) || size < 0 || (size > 0 && data == nullptr)) return E_INVALIDARG;
  const FolderValue* item = node_->FindValue(ViewOf(name));
  if (item == nullptr || item->type != FolderValue::kBinary ||
      item->bytes.size() != static_cast<std::size_t>(size))
    return E_FAIL;
  if (size > 0) std::memcpy(data, item->bytes.data(), item->bytes.size());
  return S_OK;
}

}  // namespace host::storage
