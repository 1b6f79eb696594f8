// The module's registry of creatable components.
#pragma once

#include <span>

#include "frame/Com.h"

struct ModuleComponent {
  tagREFString name;
  ComponentFactory factory;
};

// Every component name CreateFunction accepts, in the order it tests them. All are transitions,
// registered with the host under the kind "KeloSlideTransition".
std::span<const ModuleComponent> ModuleComponents();

extern "C" {
KELO_EXPORT HRESULT InitializeModule(void* reserved, IComponentCollection* collection);
KELO_EXPORT HRESULT CreateFunction(tagREFString name, ComponentFactory* out);
}
