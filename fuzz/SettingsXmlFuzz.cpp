// Settings files from any bytes, into an effect chosen by the first byte, along both roads: the
// host's XML stream opening the file and the effect's own Load reading it (then saving again),
// and kelo's settings library (limits, checks, then the effect's Load).
#include <fuzzer/FuzzedDataProvider.h>

#include "app/Settings.h"
#include "fuzz/FuzzSupport.h"
#include "sdk/Storage.h"
#include "sdk/Text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const kelo::Host& host = fuzzing::FuzzHost();
  static const auto names = host.TransitionNames();
  FuzzedDataProvider input(data, size);
  const std::wstring& name = names[input.ConsumeIntegralInRange<std::size_t>(0, names.size() - 1)];
  const auto bytes = input.ConsumeRemainingBytes<std::uint8_t>();
  const auto file = fuzzing::ScratchFile("settings.xml", bytes.data(), bytes.size());
  const auto path = kelo_text::WideFromUtf8(file.string());

  auto effect = host.CreateTransition(name);
  if (!effect) return 0;
  if (auto persist = effect.As<IDataPersist>()) {
    auto stream = host.Create<IDataStream>(L"XMLStream");
    if (stream && stream->Open(RefView(path), 0) >= 0) {
      persist->Load(stream.Get(), 0);
      auto saved = host.Create<IDataStream>(L"XMLStream");
      persist->Save(saved.Get(), 0);
    }
  }
  const kelo::TransitionSettings settings(host, ComPtr<IUnknown>::Share(effect.Get()), name);
  settings.Load(file);
  settings.Properties();
  return 0;
}
