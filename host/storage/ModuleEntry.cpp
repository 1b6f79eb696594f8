// The module's two exported entry points.
#include "host/storage/Components.h"

#define HOST_EXPORT extern "C" __attribute__((visibility("default")))

HOST_EXPORT HRESULT CreateFunction(tagREFString name, ComponentFactory* out) {
  return host::FindComponentFactory(host::storage::Components(), name, out);
}

// Keeps the host's collection: objects read back from folder streams are made through it.
HOST_EXPORT HRESULT InitializeModule(void* /*reserved*/, IComponentCollection* collection) {
  host::storage::SetComponentCollection(collection);
  return S_OK;
}
