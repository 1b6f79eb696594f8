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

// The preset factories: a cover effect with its Style set to push or crush.
HRESULT CreatePushTransition(void* outer, IID* iid, void** out);
HRESULT CreateCrushTransition(void* outer, IID* iid, void** out);

extern "C" {
KELO_EXPORT HRESULT InitializeModule(void* reserved, IComponentCollection* collection);
KELO_EXPORT HRESULT CreateFunction(tagREFString name, ComponentFactory* out);
}
