#include "host/core/SuperCollection.h"

#include "host/core/Text.h"

namespace host::core {

namespace {

// The string a name object stands for: itself, or the string a variant holds.
ComPtr<IString> NameText(IUnknown* name) {
  ComPtr<IString> text;
  if (name == nullptr) return text;
  if (Succeeded(name->QueryInterface(IString::kIID, text.PutVoid())) && text) return text;
  ComPtr<IVariant> variant;
  if (Succeeded(name->QueryInterface(IVariant::kIID, variant.PutVoid())) && variant) {
    int isString = 0;
    if (Succeeded(variant->IsString(&isString)) && isString != 0) variant->GetString(text.Put());
  }
  return text;
}

}  // namespace

template <class I>
HRESULT SuperCollection::HandOut(int index, ComPtr<I> Entry::*member, I** out) const {
  if (out == nullptr) return E_INVALIDARG;
  *out = nullptr;
  const Entry* entry = At(index);
  if (entry == nullptr) return E_INVALIDARG;
  *out = ComPtr<I>(entry->*member).Detach();
  return *out != nullptr ? S_OK : S_FALSE;
}

HRESULT SuperCollection::GetCount(int* count) {
  if (count == nullptr) return E_INVALIDARG;
  *count = static_cast<int>(entries_.size());
  return S_OK;
}

HRESULT SuperCollection::GetName(int index, IString** name) {
  return HandOut(index, &Entry::nameText, name);
}

HRESULT SuperCollection::GetValue(int index, IUnknown** value) {
  return HandOut(index, &Entry::value, value);
}

HRESULT SuperCollection::GetExtra(int index, IUnknown** extra) {
  return HandOut(index, &Entry::extra, extra);
}

HRESULT SuperCollection::GetOption(int index, int* option) {
  if (option == nullptr) return E_INVALIDARG;
  const Entry* entry = At(index);
  if (entry == nullptr) return E_INVALIDARG;
  *option = entry->option;
  return S_OK;
}

HRESULT SuperCollection::Find(IString* name, int* index) {
  if (name == nullptr || index == nullptr) return E_INVALIDARG;
  *index = -1;
  const std::wstring_view wanted = TextOf(name);
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    if (entries_[i].nameText && TextOf(entries_[i].nameText.Get()) == wanted) {
      *index = static_cast<int>(i);
      return S_OK;
    }
  }
  return E_FAIL;
}

HRESULT SuperCollection::Remove(int index) {
  if (At(index) == nullptr) return E_INVALIDARG;
  entries_.erase(entries_.begin() + index);
  return S_OK;
}

HRESULT SuperCollection::RemoveAll() {
  entries_.clear();
  return S_OK;
}

HRESULT SuperCollection::Add(IUnknown* name, IUnknown* value, IUnknown* extra, int option) {
  try {
    Entry entry;
    entry.name = ComPtr<IUnknown>::Share(name);
    entry.nameText = NameText(name);
    entry.value = ComPtr<IUnknown>::Share(value);
    entry.extra = ComPtr<IUnknown>::Share(extra);
    entry.option = option;
    entries_.push_back(std::move(entry));
  } catch (...) {
    return E_FAIL;
  }
  return S_OK;
}

}  // namespace host::core
