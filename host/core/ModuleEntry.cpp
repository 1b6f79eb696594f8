// The module's two exported entry points.
#include "host/core/Components.h"

#define HOST_EXPORT extern "C" __attribute__((visibility("default")))

HOST_EXPORT HRESULT CreateFunction(tagREFString name, ComponentFactory* out) {
  return host::FindComponentFactory(host::core::Components(), name, out);
}

// This module makes the global collection itself, so there is nothing to keep from the caller.
HOST_EXPORT HRESULT InitializeModule(void* /*reserved*/, IComponentCollection* /*collection*/) {
  return S_OK;
}
