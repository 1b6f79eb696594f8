#include "host/storage/StringTable.h"

#include "host/core/Text.h"
#include "host/storage/Components.h"

namespace host::storage {

HRESULT StringTable::Open(IString* tableName) {
  if (tableName == nullptr) return E_INVALIDARG;
  try {
    std::shared_ptr<const TextTable> table = TextTable::Load(TextOf(tableName));
    if (!table) return E_FAIL;
    table_ = std::move(table);
  } catch (...) {
    return E_FAIL;
  }
  return S_OK;
}

HRESULT StringTable::Find(IString* key, int* index) {
  if (key == nullptr || index == nullptr) return E_INVALIDARG;
  *index = -1;
  if (!table_) return E_FAIL;
  try {
    *index = table_->Find(TextOf(key));
  } catch (...) {
    return E_FAIL;
  }
  return *index >= 0 ? S_OK : E_FAIL;
}

HRESULT StringTable::GetText(int index, IString** text) {
  if (text == nullptr) return E_INVALIDARG;
  *text = nullptr;
  if (!table_ || index < 0 || index >= table_->Count()) return E_INVALIDARG;
  *text = NewString(table_->Text(index)).Detach();
  return *text != nullptr ? S_OK : E_FAIL;
}

}  // namespace host::storage
