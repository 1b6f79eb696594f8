// The host side of kelo: loads the host modules, reaches components by name and keeps the few
// component strings that are used on every frame.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "sdk/Collections.h"
#include "sdk/ComPtr.h"
#include "sdk/Imaging.h"
#include "sdk/Transitions.h"

namespace kelo {

// Row access to one plane of a picture.
struct PixelView {
  unsigned width = 0;
  unsigned height = 0;
  int bitsPerPixel = 0;
  int format = 0;
  unsigned char* first = nullptr;
  int stride = 0;
  unsigned char* Row(unsigned y) const { return first + static_cast<std::ptrdiff_t>(y) * stride; }
  std::size_t RowBytes() const { return static_cast<std::size_t>(width) * (bitsPerPixel / 8); }
};
PixelView View(ICIF* picture);

class Host {
 public:
  // Loads "CollectionsEx" from `moduleDir`, or from the _binARM64 folder beside the running
  // program (or beside its parent folder, for tools built in a sub-folder). Throws AppError.
  explicit Host(std::filesystem::path moduleDir = {});
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  const std::filesystem::path& ModuleDir() const { return moduleDir_; }
  IComponentCollection* Global() const { return global_.Get(); }

  // A new instance of a named component answering I, or empty.
  template <class I>
  ComPtr<I> Create(std::wstring_view component) const {
    ComPtr<I> object;
    global_->CreateByName(RefView(component), &I::kIID, object.PutVoid());
    return object;
  }
  // The component string registered under `name`, or empty.
  ComPtr<IComponentString> ComponentString(std::wstring_view name) const;
  // A new host string holding `text` (throws when the host cannot make strings).
  ComPtr<IString> String(std::wstring_view text) const;

  // The names of every component registered under the transition kind, in the host's order.
  std::vector<std::wstring> TransitionNames() const;
  // A new effect of the named transition component, or empty when there is no such component.
  ComPtr<IKeloTransition> CreateTransition(std::wstring_view name) const;

  // A new 24-bit RGB picture (uninitialised pixels). Safe to call from any thread.
  ComPtr<ICIF> NewPicture(unsigned width, unsigned height) const;
  // `source` resampled to width x height by the host's transform. Safe from any thread.
  ComPtr<ICIF> Resize(ICIF* source, unsigned width, unsigned height) const;

 private:
  std::filesystem::path moduleDir_;
  ComPtr<IComponentCollection> global_;
  // Kept from start-up so that worker threads only ask existing factories for new objects.
  ComPtr<IComponentString> dibComponent_;
  ComPtr<IComponentString> transformComponent_;
};

}  // namespace kelo
