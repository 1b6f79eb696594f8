#include "app/Host.h"

#include <unistd.h>

#include <algorithm>

#include "app/Errors.h"
#include "app/Text.h"
#include "sdk/ModuleLibrary.h"

namespace kelo {

PixelView View(ICIF* picture) {
  PixelView view;
  unsigned planes = 0;
  int formatC = 0, info = 0;
  picture->GetSize(&view.width, &view.height, &planes);
  picture->GetFormat(&view.bitsPerPixel, &view.format, &formatC);
  picture->GetPlaneLines(0, &info, &view.first, &view.stride);
  return view;
}

namespace {

std::filesystem::path ProgramFolder() {
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::filesystem::current_path() : program.parent_path();
}

std::filesystem::path FindModuleDir() {
  const auto folder = ProgramFolder();
  for (const auto& candidate : {folder / "_binARM64", folder.parent_path() / "_binARM64"})
    if (std::filesystem::exists(candidate / "CollectionsEx.so")) return candidate;
  return folder / "_binARM64";
}

}  // namespace

Host::Host(std::filesystem::path moduleDir)
    : moduleDir_(moduleDir.empty() ? FindModuleDir() : std::move(moduleDir)) {
  const std::string path = (moduleDir_ / "CollectionsEx.so").string();
  if (!std::filesystem::exists(path))
    throw AppError(kExitFailure,
                   "the host module " + path + " is missing (build the project first)");
  // Host modules stay loaded for the life of the process, as the transitions module expects.
  const ModuleLibrary library = ModuleLibrary::Open(path);
  if (library.handle == nullptr)
    throw AppError(kExitFailure, "cannot load the host module: " + library.error);
  if (library.createFunction == nullptr)
    throw AppError(kExitFailure, path + " does not export CreateFunction");
  ComponentFactory factory = nullptr;
  if (Failed(library.createFunction(RefView(L"GlobalComponentCollection"), &factory)) ||
      factory == nullptr)
    throw AppError(kExitFailure, path + " has no GlobalComponentCollection");
  IID iid = IComponentCollection::kIID;
  if (Failed(factory(nullptr, &iid, global_.PutVoid())) || !global_)
    throw AppError(kExitFailure, "the host's GlobalComponentCollection could not be created");
  if (library.initializeModule != nullptr) library.initializeModule(nullptr, global_.Get());

  dibComponent_ = ComponentString(L"CIFImageDIB");
  transformComponent_ = ComponentString(L"CIFTransform");
  if (!dibComponent_ || !transformComponent_)
    throw AppError(kExitFailure,
                   "the host has no picture components (CIFImageDIB, CIFTransform): is the "
                   "Imaging module in " +
                       moduleDir_.string() + "?");
}

Host::~Host() = default;

ComPtr<IComponentString> Host::ComponentString(std::wstring_view name) const {
  ComPtr<IComponentString> component;
  global_->CreateByName(RefView(name), nullptr, component.PutVoid());
  return component;
}

ComPtr<IString> Host::String(std::wstring_view text) const {
  auto string = Create<IString>(L"CreatableString");
  if (!string) throw AppError(kExitFailure, "the host cannot make strings (no CreatableString)");
  string->SetText(static_cast<int>(text.size()), text.data());
  return string;
}

std::vector<std::wstring> Host::TransitionNames() const {
  std::vector<std::wstring> names;
  // Only through the host: a component collection filled with the components of that kind.
  if (auto all = Create<IComponentCollection>(L"ComponentCollection")) {
    const auto kind = String(kTransitionKind);
    int count = 0;
    if (Succeeded(all->SelectKind(kind.Get())) && Succeeded(all->GetCount(&count))) {
      for (int i = 0; i < count; ++i) {
        ComPtr<IUnknown> item;
        if (Failed(all->GetItem(i, item.Put())) || !item) continue;
        auto component = item.As<IComponentString>();
        if (!component) continue;
        ComPtr<IString> name;
        component->GetText(kComponentName, name.Put());
        if (auto text = kelo_text::TextOf(name.Get()); !text.empty()) names.emplace_back(text);
      }
    }
  }
  return names;
}

ComPtr<IKeloTransition> Host::CreateTransition(std::wstring_view name) const {
  auto component = ComponentString(name);
  ComPtr<IKeloTransition> effect;
  if (component) component->CreateInstance(IKeloTransition::kIID, effect.PutVoid());
  return effect;
}

ComPtr<ICIF> Host::NewPicture(unsigned width, unsigned height) const {
  ComPtr<ICIFImageDIB> image;
  dibComponent_->CreateInstance(ICIFImageDIB::kIID, image.PutVoid());
  if (!image || Failed(image->Create(width, height, 1, 24, kFormatRGB)))
    throw AppError(kExitFailure, "the host cannot make a " + std::to_string(width) + "x" +
                                     std::to_string(height) + " picture");
  return image.As<ICIF>();
}

ComPtr<ICIF> Host::Resize(ICIF* source, unsigned width, unsigned height) const {
  ComPtr<ICIFTransform> transform;
  transformComponent_->CreateInstance(ICIFTransform::kIID, transform.PutVoid());
  ComPtr<ICIF> out;
  if (!transform || Failed(transform->Resize(source, out.Put(), width, height, 0, 1)) || !out)
    throw AppError(kExitFailure, "the host cannot resize a picture to " + std::to_string(width) +
                                     "x" + std::to_string(height));
  return out;
}

}  // namespace kelo
