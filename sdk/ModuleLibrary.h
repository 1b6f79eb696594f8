// Loading a module for hosts and tools: the shared library and its two entry points. A module is
// opened with every symbol bound at once (RTLD_NOW) and never closed, since objects it made may
// outlive whoever asked for them. Header-only.
#pragma once

#include <dlfcn.h>

#include <string>

#include "sdk/Com.h"

struct ModuleLibrary {
  void* handle = nullptr;  // null when the library could not be loaded
  CreateFunctionFn createFunction = nullptr;
  InitializeModuleFn initializeModule = nullptr;  // optional
  std::string error;                              // the loader's reason when `handle` is null

  // Loads the library at `path` and looks up "CreateFunction" and "InitializeModule".
  static ModuleLibrary Open(const std::string& path) {
    ModuleLibrary library;
    library.handle = dlopen(path.c_str(), RTLD_NOW);
    if (library.handle == nullptr) {
      const char* reason = dlerror();
      library.error = reason != nullptr ? reason : "unknown error";
      return library;
    }
    library.createFunction =
        reinterpret_cast<CreateFunctionFn>(dlsym(library.handle, "CreateFunction"));
    library.initializeModule =
        reinterpret_cast<InitializeModuleFn>(dlsym(library.handle, "InitializeModule"));
    return library;
  }
};
