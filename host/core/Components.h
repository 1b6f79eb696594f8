// The components of the "CollectionsEx" module.
#pragma once

#include <span>

#include "host/common/HostObject.h"

namespace host::core {
inline constexpr std::wstring_view kModuleName = L"CollectionsEx";
std::span<const HostComponent> Components();
}  // namespace host::core
