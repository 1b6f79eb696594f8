#include "host/core/Components.h"

#include <array>
#include <new>

#include "host/core/ComponentCollection.h"
#include "host/core/ComponentString.h"
#include "host/core/CreatableString.h"
#include "host/core/GlobalComponentCollection.h"
#include "host/core/SuperCollection.h"
#include "host/core/Variant.h"

namespace host::core {

namespace {

constexpr std::array kComponents{
    HostComponent{L"GlobalComponentCollection", L"Collection", &GlobalComponentCollection::Create},
    HostComponent{L"ComponentString", L"Component", ComponentString::Factory},
    HostComponent{L"ComponentCollection", L"Collection", &ComponentCollection::CreateInstance},
    HostComponent{L"CreatableString", L"String", &CreatableString::CreateInstance},
    HostComponent{L"Variant", L"Variant", &Variant::CreateInstance},
    HostComponent{L"SuperCollection", L"Collection", &SuperCollection::CreateInstance},
};

}  // namespace

std::span<const HostComponent> Components() {
  return kComponents;
}

}  // namespace host::core
