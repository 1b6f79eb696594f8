// Folder-stream files from any bytes: opened by the host's folder stream, every folder, string and
// object in it read (objects are made by the component name they store and load themselves from
// their folder), and the whole stream loaded into an effect chosen by the first byte.
#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz/FuzzSupport.h"
#include "sdk/Storage.h"
#include "sdk/Text.h"

namespace {

void Walk(IFolderStream* folder, int depth) {
  if (depth > 8) return;
  ComPtr<IString> text;
  folder->ReadString(RefView(L"Value"), text.Put());
  ComPtr<IUnknown> object;
  folder->ReadObject(RefView(L"Value"), object.Put());
  std::int32_t binary = 0;
  folder->ReadBinary(RefView(L"ID"), &binary, 4, 0);
  int count = 0;
  if (folder->GetFolderCount(&count) < 0) return;
  for (int i = 0; i < count && i < 16; ++i) {
    auto position = fuzzing::FuzzHost().Create<IVariant>(L"Variant");
    if (!position || position->SetInteger(i) < 0) return;
    ComPtr<IFolderStream> child;
    if (folder->OpenFolder(position.Get(), child.Put()) >= 0 && child) Walk(child.Get(), depth + 1);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const kelo::Host& host = fuzzing::FuzzHost();
  static const auto names = host.TransitionNames();
  FuzzedDataProvider input(data, size);
  const std::wstring& name = names[input.ConsumeIntegralInRange<std::size_t>(0, names.size() - 1)];
  const auto bytes = input.ConsumeRemainingBytes<std::uint8_t>();
  const auto file = fuzzing::ScratchFile("folder.kfs", bytes.data(), bytes.size());
  auto stream = host.Create<IDataStream>(L"FolderStream");
  if (!stream || stream->Open(RefView(kelo_text::WideFromUtf8(file.string())), 0) < 0) return 0;
  if (auto folder = stream.As<IFolderStream>()) Walk(folder.Get(), 0);
  if (auto effect = host.CreateTransition(name))
    if (auto persist = effect.As<IDataPersist>()) persist->Load(stream.Get(), 0);
  return 0;
}
