// The components of the "Storage" module.
#pragma once

#include <span>

#include "host/common/HostObject.h"
#include "sdk/Collections.h"

namespace host::storage {

inline constexpr std::wstring_view kModuleName = L"Storage";
std::span<const HostComponent> Components();

// Where objects read back from folder streams are made: the collection handed to
// InitializeModule, else the global collection of the "CollectionsEx" code linked in. Borrowed.
IComponentCollection* ComponentCollection();
// Keeps `collection` (with a reference) in place of the previous one; null clears it.
void SetComponentCollection(IComponentCollection* collection);

}  // namespace host::storage
