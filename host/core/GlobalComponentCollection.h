// "GlobalComponentCollection": every component of every module, read from the
// "components.manifest" file beside this module, and the loader of the modules that implement
// them. There is one instance per copy of this module in a process; its factory hands out that
// instance with an added reference, and the instance is never destroyed.
//
// The content is fixed once read: Add, Remove, RemoveAll and SelectKind are refused with
// E_NOTIMPL (a ComponentCollection selects kinds from it instead), and its component strings
// are fixed descriptions that cannot be edited.
#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "host/core/ComponentList.h"
#include "host/core/ComponentString.h"
#include "host/core/Text.h"
#include "sdk/Collections.h"
#include "sdk/ComPtr.h"

namespace host::core {

class GlobalComponentCollection final
    : public ComponentList<GlobalComponentCollection, ComponentString> {
 public:
  // The instance (created on first use; borrowed), or null when it could not be made.
  static GlobalComponentCollection* Instance();
  // The component factory: the instance with an added reference.
  static HRESULT Create(void* outer, IID* iid, void** out);

  // The folder the manifest was read from, where the modules are loaded from.
  const std::string& Folder() const { return folder_; }
  // The entry named `name`, or null (borrowed; entries live as long as the instance).
  const ComponentString* FindEntry(std::wstring_view name) const;
  // The entries of one kind, in manifest order (borrowed).
  std::vector<ComponentString*> EntriesOfKind(std::wstring_view kind) const;
  // The factory that module `module` gives for `name`. The module is loaded on first use and
  // stays loaded; right after loading, its InitializeModule receives this collection.
  // "Collections" and "CollectionsEx" mean this module. Null when anything fails.
  ComponentFactory ModuleFactory(std::wstring_view module, std::wstring_view name);

  HRESULT Find(IString* name, int* index) override;
  HRESULT Remove(int index) override;
  HRESULT RemoveAll() override;
  HRESULT Add(IUnknown* item) override;
  HRESULT SelectKind(IString* kind) override;
  HRESULT CreateByName(tagREFString name, const IID* iid, void** out) override;

 private:
  GlobalComponentCollection();

  void ReadManifest(const std::string& path);
  void AddEntry(std::wstring_view name, std::wstring_view module, std::wstring_view kind);

  std::string folder_;
  TextMap<int> byName_;  // index in items_ by name

  // Loaded modules by name: their CreateFunction, or null when loading failed (not retried).
  std::recursive_mutex modulesMutex_;
  TextMap<CreateFunctionFn> modules_;
};

}  // namespace host::core
