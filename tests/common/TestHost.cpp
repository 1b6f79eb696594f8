#include "tests/common/TestHost.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "sdk/ModuleLibrary.h"
#include "sdk/Text.h"

namespace testhost {

std::string HostModulePath() {
  constexpr char kModule[] = "_binARM64/CollectionsEx.so";
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  if (!error)
    for (const auto& folder : {program.parent_path(), program.parent_path().parent_path()})
      if (std::filesystem::exists(folder / kModule, error)) return (folder / kModule).string();
  return std::string("./") + kModule;
}

IComponentCollection* Global() {
  static IComponentCollection* global = [] {
    const ModuleLibrary library = ModuleLibrary::Open(HostModulePath());
    if (library.handle == nullptr) {
      std::fprintf(stderr, "test host: %s\n", library.error.c_str());
      std::abort();
    }
    ComponentFactory factory = nullptr;
    if (library.createFunction == nullptr ||
        Failed(library.createFunction(RefView(L"GlobalComponentCollection"), &factory)) ||
        factory == nullptr)
      std::abort();
    IComponentCollection* collection = nullptr;
    IID iid = IComponentCollection::kIID;
    factory(nullptr, &iid, reinterpret_cast<void**>(&collection));
    if (collection == nullptr) std::abort();
    return collection;
  }();
  return global;
}

ComPtr<ICIF> MakePicture(unsigned width, unsigned height, int bitsPerPixel, Pattern pattern) {
  auto image = Create<ICIFImageDIB>(L"CIFImageDIB");
  if (!image) return {};
  const int format = bitsPerPixel == 8    ? kFormatMono
                     : bitsPerPixel == 24 ? kFormatRGB
                                          : kFormatRGBA;
  image->Create(width, height, 1, bitsPerPixel, format);
  int info = 0, stride = 0;
  unsigned char* first = nullptr;
  image->GetPlaneLines(0, &info, &first, &stride);
  const unsigned channels = static_cast<unsigned>(bitsPerPixel) / 8;
  for (unsigned y = 0; y < height; ++y)
    for (unsigned x = 0; x < width; ++x)
      for (unsigned c = 0; c < channels; ++c)
        first[static_cast<std::ptrdiff_t>(y) * stride + x * channels + c] = pattern(x, y, c);
  return image.As<ICIF>();
}

std::vector<unsigned char> Bytes(ICIF* picture) {
  if (picture == nullptr) return {};
  const auto [width, height, bits, format] = Shape(picture);
  int info = 0, stride = 0;
  unsigned char* first = nullptr;
  picture->GetPlaneLines(0, &info, &first, &stride);
  const std::size_t rowBytes = static_cast<std::size_t>(width) * static_cast<unsigned>(bits) / 8;
  std::vector<unsigned char> bytes;
  bytes.reserve(rowBytes * height);
  for (unsigned y = 0; y < height; ++y) {
    const unsigned char* row = first + static_cast<std::ptrdiff_t>(y) * stride;
    bytes.insert(bytes.end(), row, row + rowBytes);
  }
  return bytes;
}

std::tuple<unsigned, unsigned, int, int> Shape(ICIF* picture) {
  unsigned width = 0, height = 0, planes = 0;
  int bits = 0, format = 0, formatC = 0;
  if (picture == nullptr) return {};
  picture->GetSize(&width, &height, &planes);
  picture->GetFormat(&bits, &format, &formatC);
  return {width, height, bits, format};
}

std::wstring Text(IUnknown* object) {
  ComPtr<IString> string;
  if (object != nullptr) object->QueryInterface(IString::kIID, string.PutVoid());
  return std::wstring(kelo_text::TextOf(string.Get()));
}

std::wstring NameOf(IUnknown* object) {
  ComPtr<IObjectInfo> info;
  if (object != nullptr) object->QueryInterface(IObjectInfo::kIID, info.PutVoid());
  tagREFString name{0, nullptr};
  if (info) info->GetName(0, &name);
  return std::wstring(kelo_text::ViewOf(name));
}

}  // namespace testhost
