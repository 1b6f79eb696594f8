// The components of the "Storage" module.
#pragma once

#include <span>

#include "host/common/HostObject.h"
#include "sdk/Collections.h"
#include "sdk/ComPtr.h"

namespace host::storage {

inline constexpr std::wstring_view kModuleName = L"Storage";
std::span<const HostComponent> Components();

// The collection handed to InitializeModule (borrowed), or null before one was given. The
// module reaches every other component through it, as any module does: the strings it hands
// out and the objects read back from folder streams are made by name there.
IComponentCollection* ComponentCollection();
// Keeps `collection` (with a reference) in place of the previous one; null clears it.
void SetComponentCollection(IComponentCollection* collection);

// A new "CreatableString" holding `text`, made through ComponentCollection(); empty when there
// is no collection or it cannot make one.
ComPtr<IString> NewString(std::wstring_view text);

}  // namespace host::storage
