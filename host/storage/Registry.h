// "Registry": the host's settings by section and key (see RegistryStore.h for the file).
#pragma once

#include "host/common/HostObject.h"
#include "host/storage/RegistryStore.h"
#include "sdk/Storage.h"

namespace host::storage {

class Registry final : public HostObject<Registry, IRegistry> {
 public:
  Registry() : store_(&RegistryStore::Default()) {}
  // A registry over another store (for tools and tests); the store must outlive it.
  explicit Registry(RegistryStore* store) : store_(store) {}

  // E_FAIL and null when the key is not set.
  HRESULT GetValue(tagREFString section, tagREFString key, IString** value) override;
  // A null value removes the key. The file is rewritten at once.
  HRESULT SetValue(tagREFString section, tagREFString key, IString* value) override;
  HRESULT GetKeyCount(tagREFString section, int* count) override;
  // Either out pointer may be null.
  HRESULT GetKey(tagREFString section, int index, IString** key, IString** value) override;

 private:
  RegistryStore* store_;
};

}  // namespace host::storage
