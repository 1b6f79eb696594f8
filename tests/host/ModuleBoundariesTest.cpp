// What the host modules show the rest of the process: only their two entry points, no second
// copy of the core, and (for Storage) nothing reached but through the collection it was given.
#include <stdio.h>

#include <set>
#include <string>
#include <vector>

#include "host/core/GlobalComponentCollection.h"
#include "host/storage/Components.h"
#include "host/storage/FolderStream.h"
#include "host/storage/StringTable.h"
#include "sdk/ModuleLibrary.h"
#include "sdk/Storage.h"
#include "tests/common/StubCollection.h"
#include "tests/common/TestHost.h"
#include "tests/host/StorageTestSupport.h"

namespace storagetest {
namespace {

// The lines a command prints, or nothing when it cannot be run.
std::vector<std::string> Lines(const std::string& command) {
  std::vector<std::string> lines;
  FILE* pipe = popen((command + " 2>/dev/null").c_str(), "r");
  if (pipe == nullptr) return lines;
  char buffer[4096];
  while (fgets(buffer, sizeof buffer, pipe) != nullptr) {
    std::string line = buffer;
    if (!line.empty() && line.back() == '\n') line.pop_back();
    lines.push_back(line);
  }
  pclose(pipe);
  return lines;
}

// Catches: a host module exporting more than its two entry points, Storage carrying a copy of
// the core.
TEST(HostModules, ExportOnlyTheirEntryPointsAndCarryNoSecondCore) {
  if (Lines("nm --version").empty()) GTEST_SKIP() << "no nm to read the modules with";
  for (const char* module : {"CollectionsEx", "Imaging", "Storage"}) {
    const std::string path = std::string("./_binARM64/") + module + ".so";
    std::set<std::string> exported;
    for (const std::string& line : Lines("nm -D --defined-only " + path))
      exported.insert(line.substr(line.rfind(' ') + 1));
    EXPECT_EQ(exported, (std::set<std::string>{"CreateFunction", "InitializeModule"})) << module;
  }
  // Storage reaches the core's components through the collection it is given, never through
  // code of its own: not one symbol of the core is in it.
  const std::vector<std::string> symbols = Lines("nm -C ./_binARM64/Storage.so");
  ASSERT_FALSE(symbols.empty());
  for (const std::string& symbol : symbols)
    EXPECT_EQ(symbol.find("host::core::"), std::string::npos);
}

// A collection that makes components through the global one and records what was asked of it.
class RecordingCollection final : public testhost::StubCollection<RecordingCollection> {
 public:
  std::vector<std::wstring> asked;

  HRESULT CreateByName(tagREFString name, const IID* iid, void** out) override {
    asked.emplace_back(host::ViewOf(name));
    return host::core::GlobalComponentCollection::Instance()->CreateByName(name, iid, out);
  }
};

using StorageBoundary = StorageTest;

// Catches: Storage making a string or an object otherwise than through the collection it was
// given (in the static library or the shared module), or falling back on a core of its own.
TEST_F(StorageBoundary, MakesStringsAndObjectsOnlyThroughTheCollectionItWasGiven) {
  auto recorder = ComPtr<RecordingCollection>::Adopt(new RecordingCollection());
  auto folder = ComPtr<IFolderStream>::Adopt(new host::storage::FolderStream());
  folder->WriteString(RefView(L"Text"), Str(L"value").Get());
  folder->WriteObject(RefView(L"Page"), Make<IUnknown>(L"UIPropInterrogatePropPage").Get());
  auto strings = ComPtr<IStringTable>::Adopt(new host::storage::StringTable());
  ASSERT_EQ(strings->Open(Str(L"KeloTransitionTexts").Get()), S_OK);

  // With the recording collection: every string and object handed out was asked of it.
  host::storage::SetComponentCollection(recorder.Get());
  ComPtr<IString> text;
  ComPtr<IUnknown> object;
  ASSERT_EQ(folder->ReadString(RefView(L"Text"), text.Put()), S_OK);
  EXPECT_EQ(Text(text.Get()), L"value");
  ASSERT_EQ(folder->ReadObject(RefView(L"Page"), object.Put()), S_OK);
  ASSERT_EQ(strings->GetText(0, text.Put()), S_OK);
  EXPECT_EQ(recorder->asked,
            (std::vector<std::wstring>{L"CreatableString", L"UIPropInterrogatePropPage",
                                       L"CreatableString"}));

  // With none given, they cannot be made: there is no core of the module's own to fall back on.
  host::storage::SetComponentCollection(nullptr);
  EXPECT_EQ(folder->ReadString(RefView(L"Text"), text.Put()), E_FAIL);
  EXPECT_FALSE(text);
  EXPECT_EQ(folder->GetName(text.Put()), E_FAIL);
  EXPECT_EQ(folder->ReadObject(RefView(L"Page"), object.Put()), E_FAIL);
  EXPECT_FALSE(object);
  EXPECT_EQ(strings->GetText(0, text.Put()), E_FAIL);

  // The shared module behaves alike: it uses the collection its InitializeModule was given.
  const ModuleLibrary storage = ModuleLibrary::Open("./_binARM64/Storage.so");
  ASSERT_TRUE(storage.createFunction && storage.initializeModule) << storage.error;
  ComponentFactory factory = nullptr;
  ASSERT_EQ(storage.createFunction(RefView(L"FolderStream"), &factory), S_OK);
  ComPtr<IFolderStream> shared;
  IID iid = IFolderStream::kIID;
  ASSERT_EQ(factory(nullptr, &iid, shared.PutVoid()), S_OK);
  recorder->asked.clear();
  ASSERT_EQ(storage.initializeModule(nullptr, recorder.Get()), S_OK);
  const HRESULT named = shared->GetName(text.Put());
  storage.initializeModule(nullptr, testhost::Global());  // as the test host had it
  EXPECT_EQ(named, S_OK);
  EXPECT_EQ(recorder->asked, std::vector<std::wstring>{L"CreatableString"});
}

}  // namespace
}  // namespace storagetest
