// "StringTable": texts by key from a named text table (see TextTable.h for the files).
#pragma once

#include <memory>

#include "host/common/HostObject.h"
#include "host/storage/TextTable.h"
#include "sdk/Storage.h"

namespace host::storage {

class StringTable final : public HostObject<StringTable, IStringTable> {
 public:
  // Fails with E_FAIL when there is no such table (the open table, if any, stays open).
  HRESULT Open(IString* tableName) override;
  // Fails with E_FAIL when no table is open or the key is missing (*index = -1).
  HRESULT Find(IString* key, int* index) override;
  HRESULT GetText(int index, IString** text) override;

 private:
  std::shared_ptr<const TextTable> table_;
};

}  // namespace host::storage
