// Module-wide globals and their order of construction at load (and so, reversed, at unload):
// the identities, the global collection pointer, the last six identities, then gRandom.
#include <cstdlib>

#include "frame/Com.h"
#include "support/Random.h"

extern "C" {
const IID IID_IUnknown = kIID_IUnknown;
#define KELO_IID_EARLY(name) IID IID_##name = {};
#define KELO_IID_LATE(name) IID IID_##name = {};
#include "frame/InterfaceNames.inc"
#undef KELO_IID_EARLY
#undef KELO_IID_LATE
}

IID __IIDOfc(const char* name) {
  return IIDFromName(name);
}

IComponentCollection* gGlobalComponentCollection = nullptr;

namespace {

void ReleaseGlobalCollection() {
  if (IComponentCollection* old = gGlobalComponentCollection) {
    gGlobalComponentCollection = nullptr;
    old->Release();
  }
}

// Runs before gRandom below is constructed: static objects of one file are initialised in order.
struct ModuleStart {
  ModuleStart() {
#define KELO_IID_EARLY(name) IID_##name = __IIDOfc(#name);
#define KELO_IID_LATE(name)
#include "frame/InterfaceNames.inc"
#undef KELO_IID_EARLY
#undef KELO_IID_LATE
    gGlobalComponentCollection = nullptr;
    std::atexit(ReleaseGlobalCollection);
#define KELO_IID_EARLY(name)
#define KELO_IID_LATE(name) IID_##name = __IIDOfc(#name);
#include "frame/InterfaceNames.inc"
#undef KELO_IID_EARLY
#undef KELO_IID_LATE
  }
} moduleStart;

}  // namespace

// Seed 0: seeded from the clock. Destroyed at unload before the global collection is released.
CRandom32 gRandom(0);
