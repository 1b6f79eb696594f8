#include "host/storage/Registry.h"

#include "host/core/Text.h"
#include "host/storage/Components.h"
#include "sdk/ComPtr.h"

namespace host::storage {

HRESULT Registry::GetValue(tagREFString section, tagREFString key, IString** value) {
  if (value == nullptr) return E_INVALIDARG;
  *value = nullptr;
  if (!ValidView(section) || !ValidView(key)) return E_INVALIDARG;
  try {
    std::wstring text;
    const HRESULT hr = store_->Get(ViewOf(section), ViewOf(key), &text);
    if (Failed(hr)) return hr;
    *value = NewString(text).Detach();
  } catch (...) {
    return E_FAIL;
  }
  return *value != nullptr ? S_OK : E_FAIL;
}

HRESULT Registry::SetValue(tagREFString section, tagREFString key, IString* value) {
  if (!ValidView(section) || !ValidView(key)) return E_INVALIDARG;
  try {
    if (value == nullptr) return store_->Set(ViewOf(section), ViewOf(key), nullptr);
    const std::wstring text(TextOf(value));
    return store_->Set(ViewOf(section), ViewOf(key), &text);
  } catch (...) {
    return E_FAIL;
  }
}

HRESULT Registry::GetKeyCount(tagREFString section, int* count) {
  if (count == nullptr || !ValidView(section)) return E_INVALIDARG;
  try {
    return store_->KeyCount(ViewOf(section), count);
  } catch (...) {
    return E_FAIL;
  }
}

HRESULT Registry::GetKey(tagREFString section, int index, IString** key, IString** value) {
  if (key != nullptr) *key = nullptr;
  if (value != nullptr) *value = nullptr;
  if (!ValidView(section)) return E_INVALIDARG;
  try {
    std::wstring keyText, valueText;
    const HRESULT hr = store_->Key(ViewOf(section), index, &keyText, &valueText);
    if (Failed(hr)) return hr;
    ComPtr<IString> keyString, valueString;
    if (key != nullptr && !(keyString = NewString(keyText))) return E_FAIL;
    if (value != nullptr && !(valueString = NewString(valueText))) return E_FAIL;
    if (key != nullptr) *key = keyString.Detach();
    if (value != nullptr) *value = valueString.Detach();
  } catch (...) {
    return E_FAIL;
  }
  return S_OK;
}

}  // namespace host::storage
