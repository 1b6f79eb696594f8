#include "host/core/GlobalComponentCollection.h"

#include <cstdio>
#include <fstream>
#include <iterator>

#include "host/common/ModuleFolder.h"
#include "host/core/Components.h"
#include "host/core/Text.h"
#include "sdk/ModuleLibrary.h"

namespace host::core {

GlobalComponentCollection* GlobalComponentCollection::Instance() {
  // Created once and never released: modules keep references to it until the process ends.
  static GlobalComponentCollection* const instance = []() -> GlobalComponentCollection* {
    try {
      return new GlobalComponentCollection();
    } catch (...) {
      return nullptr;  // no memory for the manifest's entries
    }
  }();
  return instance;
}

HRESULT GlobalComponentCollection::Create(void* /*outer*/, IID* iid, void** out) {
  if (out == nullptr) return E_INVALIDARG;
  *out = nullptr;
  GlobalComponentCollection* instance = Instance();
  if (instance == nullptr) return E_FAIL;
  return instance->QueryInterface(iid != nullptr ? *iid : kIID_IUnknown, out);
}

GlobalComponentCollection::GlobalComponentCollection() : folder_(ModuleFolder()) {
  ReadManifest(folder_ + "/" + module_folder::kManifestName);
  // This module's components are always known, even without a manifest.
  for (const HostComponent& row : Components())
    if (FindEntry(row.name) == nullptr) AddEntry(row.name, kModuleName, row.kind);
}

void GlobalComponentCollection::ReadManifest(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  ForEachLine(WideFromUtf8(bytes), [this](std::wstring_view line) {
    if (line.empty() || line.front() == L'#') return;
    // component <TAB> module <TAB> kind; lines of another shape are skipped.
    const std::size_t first = line.find(L'\t');
    if (first == std::wstring_view::npos) return;
    const std::size_t second = line.find(L'\t', first + 1);
    if (second == std::wstring_view::npos) return;
    const std::wstring_view name = line.substr(0, first);
    const std::wstring_view module = line.substr(first + 1, second - first - 1);
    std::wstring_view kind = line.substr(second + 1);
    kind = kind.substr(0, kind.find(L'\t'));
    if (name.empty() || module.empty()) return;
    if (FindEntry(name) != nullptr) return;  // the first line for a name wins
    AddEntry(name, module, kind);
  });
}

void GlobalComponentCollection::AddEntry(std::wstring_view name, std::wstring_view module,
                                         std::wstring_view kind) {
  auto entry = ComPtr<ComponentString>::Adopt(new ComponentString(name, kind, module));
  byName_.emplace(std::wstring(name), static_cast<int>(items_.size()));
  items_.push_back(std::move(entry));
}

const ComponentString* GlobalComponentCollection::FindEntry(std::wstring_view name) const {
  const auto found = byName_.find(name);
  return found == byName_.end() ? nullptr : items_[static_cast<std::size_t>(found->second)].Get();
}

std::vector<ComponentString*> GlobalComponentCollection::EntriesOfKind(
    std::wstring_view kind) const {
  std::vector<ComponentString*> result;
  for (const ComPtr<ComponentString>& entry : items_)
    if (entry->Kind() == kind) result.push_back(entry.Get());
  return result;
}

ComponentFactory GlobalComponentCollection::ModuleFactory(std::wstring_view module,
                                                          std::wstring_view name) {
  const tagREFString wanted = RefView(name);
  ComponentFactory factory = nullptr;
  if (module == L"Collections" || module == kModuleName) {
    if (Failed(FindComponentFactory(Components(), wanted, &factory))) return nullptr;
    return factory;
  }
  // Module names become file names: anything that could leave the folder is refused.
  if (!PlainFileName(module) || name.empty()) return nullptr;

  CreateFunctionFn create = nullptr;
  {
    std::lock_guard lock(modulesMutex_);
    const auto known = modules_.find(module);
    if (known != modules_.end()) {
      create = known->second;
    } else {
      const std::string path = folder_ + "/" + Utf8FromWide(module) + ".so";
      const ModuleLibrary library = ModuleLibrary::Open(path);
      create = library.createFunction;
      if (library.handle == nullptr)
        std::fprintf(stderr, "CollectionsEx: cannot load %s: %s\n", path.c_str(),
                     library.error.c_str());
      else if (create == nullptr)
        std::fprintf(stderr, "CollectionsEx: %s has no CreateFunction\n", path.c_str());
      modules_.emplace(std::wstring(module), create);
      // The module shares this collection. The lock is recursive, so the module may already
      // ask for components while it initializes.
      if (create != nullptr && library.initializeModule != nullptr)
        library.initializeModule(nullptr, this);
    }
  }
  if (create == nullptr) return nullptr;
  if (Failed(create(wanted, &factory))) return nullptr;
  return factory;
}

HRESULT GlobalComponentCollection::Find(IString* name, int* index) {
  if (name == nullptr || index == nullptr) return E_INVALIDARG;
  *index = -1;
  const auto found = byName_.find(TextOf(name));
  if (found == byName_.end()) return E_FAIL;
  *index = found->second;
  return S_OK;
}

HRESULT GlobalComponentCollection::Remove(int /*index*/) {
  return E_NOTIMPL;
}
HRESULT GlobalComponentCollection::RemoveAll() {
  return E_NOTIMPL;
}
HRESULT GlobalComponentCollection::Add(IUnknown* /*item*/) {
  return E_NOTIMPL;
}
HRESULT GlobalComponentCollection::SelectKind(IString* /*kind*/) {
  return E_NOTIMPL;
}

HRESULT GlobalComponentCollection::CreateByName(tagREFString name, const IID* iid, void** out) {
  if (out == nullptr) return E_INVALIDARG;
  *out = nullptr;
  if (!ValidView(name)) return E_INVALIDARG;
  const auto found = byName_.find(ViewOf(name));
  if (found == byName_.end()) return E_FAIL;
  const ComPtr<ComponentString>& entry = items_[static_cast<std::size_t>(found->second)];
  if (iid == nullptr) {
    // No identity: the component string itself.
    *out = static_cast<IComponentString*>(ComPtr<ComponentString>(entry).Detach());
    return S_OK;
  }
  return entry->CreateInstance(*iid, out);
}

}  // namespace host::core
