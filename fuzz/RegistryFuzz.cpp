// Registry files from any bytes: read as the host reads "registry.ini", every key of the sections
// asked for listed and looked up; when the first byte says so, a key is set and the file written
// back (what it did not understand kept).
#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz/FuzzSupport.h"
#include "host/storage/RegistryStore.h"
#include "sdk/Text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  const bool write = input.ConsumeBool();
  const std::wstring section = kelo_text::WideFromUtf8(input.ConsumeRandomLengthString(16));
  const auto bytes = input.ConsumeRemainingBytes<std::uint8_t>();
  const auto file = fuzzing::ScratchFile("registry.ini", bytes.data(), bytes.size());
  host::storage::RegistryStore store(file.string());
  for (const std::wstring& name :
       {section, std::wstring(L"Workspace"), std::wstring(L"Mappings")}) {
    int count = 0;
    store.KeyCount(name, &count);
    for (int i = 0; i < count; ++i) {
      std::wstring key, value, again;
      if (store.Key(name, i, &key, &value) < 0 || store.Get(name, key, &again) < 0)
        __builtin_trap();
    }
  }
  if (write) {
    const std::wstring value = L"fuzzed";
    store.Set(section, L"Key", &value);
  }
  return 0;
}
