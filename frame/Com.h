// The module's chief header: host interfaces, result codes and the exported identities.
#pragma once

#include "sdk/Collections.h"
#include "sdk/Geometry.h"
#include "sdk/Imaging.h"
#include "sdk/Properties.h"
#include "sdk/Storage.h"
#include "sdk/Transitions.h"

// Only the two entry points and the identities leave the module; everything else is hidden.
#define KELO_EXPORT __attribute__((visibility("default")))

// Identities are computed from their names when the module loads (see Identities.cpp).
extern "C" {
KELO_EXPORT extern const IID IID_IUnknown;
#define KELO_IID_EARLY(name) KELO_EXPORT extern IID IID_##name;
#define KELO_IID_LATE(name) KELO_EXPORT extern IID IID_##name;
#include "frame/InterfaceNames.inc"
#undef KELO_IID_EARLY
#undef KELO_IID_LATE
}

// The identity of an interface name (see IIDFromName in sdk/Com.h for the packing).
IID __IIDOfc(const char* name);

// The host's global component collection (one reference held by the module), or null.
extern IComponentCollection* gGlobalComponentCollection;
