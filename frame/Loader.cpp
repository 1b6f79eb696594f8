#include "frame/Loader.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "sdk/ModuleLibrary.h"
#include "support/Convert.h"

namespace {

constexpr char kModuleFolder[] = "./_binARM64/";
constexpr int kModuleFolderLength = 12;
constexpr tagREFString kCollectionsEx = RefLiteral(L"CollectionsEx");

}  // namespace

ComponentFactory MODULECreateFunction(tagREFString module, tagREFString function) {
  // "./_binARM64/" + name + ".so" in a fixed buffer; one byte per character is assumed, so a
  // name that does not fit is refused rather than written past the buffer.
  char path[256];
  if (module.length < 0 || module.length > 200) return nullptr;
  std::memcpy(path, kModuleFolder, kModuleFolderLength);
  std::wstring name(module.text, static_cast<std::size_t>(module.length));
  std::wcstombs(path + kModuleFolderLength, name.c_str(), static_cast<std::size_t>(module.length));
  std::memcpy(path + kModuleFolderLength + module.length, ".so", 4);

  const ModuleLibrary library = ModuleLibrary::Open(path);  // never closed
  if (library.handle == nullptr) {
    std::printf("Module not available %s, error %s\n", path, library.error.c_str());
    std::fflush(stdout);
    return nullptr;
  }
  if (library.createFunction == nullptr) return nullptr;
  if (library.initializeModule != nullptr && gGlobalComponentCollection != nullptr)
    library.initializeModule(nullptr, gGlobalComponentCollection);
  ComponentFactory factory = nullptr;
  library.createFunction(function, &factory);
  return factory;
}

IComponentCollection* GLOBALComponents() {
  if (gGlobalComponentCollection == nullptr) {
    ComponentFactory factory =
        MODULECreateFunction(kCollectionsEx, RefLiteral(L"GlobalComponentCollection"));
    IComponentCollection* collection = nullptr;
    if (factory != nullptr) {
      IID iid = IID_IComponentCollection;
      factory(nullptr, &iid, reinterpret_cast<void**>(&collection));
    }
    gGlobalComponentCollection = collection;  // the factory's reference becomes the module's
    if (collection == nullptr) return nullptr;
  }
  gGlobalComponentCollection->AddRef();
  return gGlobalComponentCollection;
}

void* CreateObject(tagREFString name, IID* iid) {
  IComponentCollection* collection = GLOBALComponents();
  if (collection == nullptr) return nullptr;
  void* object = nullptr;
  collection->CreateByName(name, iid, &object);
  collection->Release();
  return object;
}

IComponentString* GetComponentString(IString* name) {
  // Without any collection there is nothing to ask; callers treat null as "no component".
  IComponentCollection* collection = GLOBALComponents();
  if (collection == nullptr) return nullptr;
  IComponentString* result = nullptr;
  int index = 0;
  if (collection->Find(name, &index) >= 0) {
    IUnknown* item = nullptr;
    collection->GetItem(index, &item);
    if (item != nullptr) {
      item->QueryInterface(IID_IComponentString, reinterpret_cast<void**>(&result));
      item->Release();
    }
  }
  collection->Release();
  return result;
}

void* CreateFromCollectionsComponent(CachedComponent& cache, tagREFString name, const IID& iid) {
  if (cache.component == nullptr && gGlobalComponentCollection != nullptr)
    gGlobalComponentCollection->CreateByName(name, nullptr,
                                             reinterpret_cast<void**>(&cache.component));
  if (cache.component == nullptr) {
    ComponentFactory factory = MODULECreateFunction(kCollectionsEx, RefLiteral(L"ComponentString"));
    if (factory != nullptr) {
      IComponentString* component = nullptr;
      IID componentIid = IID_IComponentString;
      factory(nullptr, &componentIid, reinterpret_cast<void**>(&component));
      if (component != nullptr) {
        if (cache.component != nullptr) cache.component->Release();
        cache.component = component;
        component->SetText(kComponentModule, RefLiteral(L"Collections"));
        component->SetText(kComponentName, name);
      }
    }
  }
  if (cache.component == nullptr) return nullptr;
  void* object = nullptr;
  cache.component->CreateInstance(iid, &object);
  return object;
}

void* CreateFromRegisteredComponent(CachedComponent& cache, const char* name, const IID& iid) {
  if (cache.component == nullptr) {
    if (IString* hostName = CreateStringFromUTF8(name)) {
      cache.component = GetComponentString(hostName);
      hostName->Release();
    }
  }
  if (cache.component == nullptr) return nullptr;
  void* object = nullptr;
  cache.component->CreateInstance(iid, &object);
  return object;
}

IString* CreateStringFromUTF8(const char* name) {
  return ISCreate(name, static_cast<int>(std::strlen(name)));
}
