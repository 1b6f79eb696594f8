// Reaching host components: the global collection, sibling modules and cached component strings.
#pragma once

#include "frame/Com.h"

// Loads the sibling module "./_binARM64/<module>.so" (relative to the current directory) and
// returns the factory its CreateFunction gives for `function`, or null. Prints one line when
// the module cannot be opened. Loaded modules stay loaded.
ComponentFactory MODULECreateFunction(tagREFString module, tagREFString function);

// The global component collection with one added reference, or null. Without one from the
// host it is created from the "CollectionsEx" module.
IComponentCollection* GLOBALComponents();

// A new object of the named component answering `iid` (one reference for the caller), or null.
void* CreateObject(tagREFString name, IID* iid);

// Creates a component named by 8-bit (UTF-8) text through the global collection.
template <class I>
I* CreateObjectByName(const char* name, IID& iid);

// The component string registered under `name` in the global collection, or null.
IComponentString* GetComponentString(IString* name);

// A component string kept from first use until unload (a function-local static of its owner).
class CachedComponent {
 public:
  CachedComponent() = default;
  CachedComponent(const CachedComponent&) = delete;
  CachedComponent& operator=(const CachedComponent&) = delete;
  ~CachedComponent() {
    if (component != nullptr) component->Release();
  }
  IComponentString* component = nullptr;
};

// For the string, variant and collection factories: looks `name` up in the global collection,
// else asks the "CollectionsEx" module for a component string and describes it. Then makes a
// new instance answering `iid`, or returns null when there is no component.
void* CreateFromCollectionsComponent(CachedComponent& cache, tagREFString name, const IID& iid);

// For the picture and geometry accessors: looks `name` up once with GetComponentString (no
// fallback module), then makes a new instance answering `iid`, or returns null.
void* CreateFromRegisteredComponent(CachedComponent& cache, const char* name, const IID& iid);

IString* CreateStringFromUTF8(const char* name);

template <class I>
I* CreateObjectByName(const char* name, IID& iid) {
  IString* hostName = CreateStringFromUTF8(name);
  if (hostName == nullptr) return nullptr;
  const wchar_t* text = nullptr;
  int length = 0;
  hostName->GetBuffer(&text, &length);
  void* object = CreateObject({length, text}, &iid);
  hostName->Release();
  return static_cast<I*>(object);
}
