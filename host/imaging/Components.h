// The components of the "Imaging" module.
#pragma once

#include <span>

#include "host/common/HostObject.h"

namespace host::imaging {
inline constexpr std::wstring_view kModuleName = L"Imaging";
std::span<const HostComponent> Components();
}  // namespace host::imaging
