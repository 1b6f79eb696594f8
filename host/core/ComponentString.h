// "ComponentString": describes one component (its name, kind and module) and makes instances
// of it. The factory is found on first use and kept.
#pragma once

#include <atomic>
#include <string>
#include <string_view>

#include "host/common/HostObject.h"
#include "sdk/Collections.h"

namespace host::core {

class ComponentString final : public HostObject<ComponentString, IComponentString> {
 public:
  // The component factory (IComponentString's own CreateInstance hides the frame's name).
  static constexpr ComponentFactory Factory = &HostObject::CreateInstance;

  ComponentString() = default;
  // A fixed description, as the global collection keeps one per manifest line: its texts
  // cannot be changed afterwards (SetText and Attach fail), so every holder sees the same.
  ComponentString(std::wstring_view name, std::wstring_view kind, std::wstring_view module);

  HRESULT Attach(IUnknown* object) override;
  HRESULT GetText(int kind, IString** text) override;
  HRESULT CreateInstance(const IID& iid, void** out) override;
  HRESULT SetText(int kind, tagREFString text) override;

  // Borrowed views for this module's collections; valid while the texts do not change.
  std::wstring_view Name() const { return name_; }
  std::wstring_view Kind() const { return kind_; }
  std::wstring_view Module() const { return module_; }

 private:
  std::wstring* Text(int kind);
  // The factory, found in this module or through the global collection (which may load the
  // module); null when there is none. Throws std::bad_alloc.
  ComponentFactory Resolve() const;

  std::wstring name_;
  std::wstring kind_;
  std::wstring module_;
  bool fixed_ = false;
  std::atomic<ComponentFactory> factory_{nullptr};
};

}  // namespace host::core
