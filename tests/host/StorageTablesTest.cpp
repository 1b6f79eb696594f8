// The string tables shipped with the host, their file format, and the registry.
#include <sys/stat.h>

#include <map>

#include "host/storage/Registry.h"
#include "host/storage/RegistryStore.h"
#include "host/storage/StringTable.h"
#include "host/storage/TextTable.h"
#include "sdk/Storage.h"
#include "tests/common/TestHost.h"
#include "tests/host/StorageTestSupport.h"

namespace {

using coretest::CoreTest;
using coretest::Str;
using coretest::Text;
using storagetest::ReadFile;
using storagetest::ScratchFolder;
using storagetest::WriteFile;

// The text of `key` in table `table`, through the real module as the effects reach it.
std::wstring Lookup(IStringTable* strings, std::wstring_view table, std::wstring_view key) {
  if (Failed(strings->Open(Str(table).Get()))) return L"<no table>";
  int index = -1;
  if (Failed(strings->Find(Str(key).Get(), &index))) return L"<no key>";
  ComPtr<IString> text;
  if (Failed(strings->GetText(index, text.Put()))) return L"<no text>";
  return Text(text.Get());
}

TEST(StorageTables, ShippedTablesHoldTheEffectsTexts) {
  auto strings = testhost::Create<IStringTable>(L"StringTable");
  ASSERT_TRUE(strings);
  const std::map<std::pair<std::wstring, std::wstring>, std::wstring> expected = {
      {{L"KeloTransitionTexts", L"11"}, L"Top|Right|Bottom|Left"},
      {{L"KeloTransitionTexts", L"12"}, L"Cover|Push|Crush"},
      {{L"ShutterBandsTransition", L"1"}, L"Direction"},
      {{L"ShutterBandsTransition", L"2"}, L"Bands"},
      {{L"ShutterBandsTransition", L"4"}, L"Style"},
      {{L"ShutterBandsTransition", L"11"}, L"Horizontal|Vertical"},
      {{L"ShutterBandsTransition", L"41"},
       L"From band end|From band start|From both borders|From band middle"},
      {{L"ShutterBandsTransition", L"51"}, L"Cover|Push"},
      {{L"CoverTransition", L"1"}, L"Direction"},
      {{L"CoverTransition", L"2"}, L"Style"},
      {{L"CounterBandsTransition", L"1"}, L"Direction"},
      {{L"CounterBandsTransition", L"2"}, L"Bands"},
      {{L"CounterBandsTransition", L"5"}, L"Style"},
      {{L"FlipTransition", L"1"}, L"Direction"},
      {{L"PerspectiveTurnTransition", L"1"}, L"Direction"},
      {{L"TwirlTransition", L"1"}, L"Revolutions"},
      {{L"DeformTransition", L"1"}, L"Outgoing style"},
      {{L"DeformTransition", L"2"}, L"Incoming style"},
  };
  for (const auto& [where, text] : expected)
    EXPECT_EQ(Lookup(strings.Get(), where.first, where.second), text)
        << std::string(where.first.begin(), where.first.end());
  EXPECT_EQ(Lookup(strings.Get(), L"CoverTransition", L"3"), L"<no key>");
  EXPECT_EQ(Lookup(strings.Get(), L"FlipTransition", L"11"), L"<no key>");
}

TEST_F(CoreTest, StringTableRefusesUnknownTablesAndKeys) {
  auto strings = ComPtr<IStringTable>::Adopt(new host::storage::StringTable());
  int index = 5;
  EXPECT_EQ(strings->Find(Str(L"11").Get(), &index), E_FAIL);  // nothing open yet
  EXPECT_EQ(index, -1);
  for (std::wstring_view name : {L"NoSuchTable", L"", L"../_binARM64/KeloTransitionTexts",
                                 L"/etc/passwd", L".hidden", L"components.manifest"})
    EXPECT_EQ(strings->Open(Str(name).Get()), E_FAIL) << std::wstring(name).size();
  EXPECT_EQ(strings->Open(nullptr), E_INVALIDARG);
  ASSERT_EQ(strings->Open(Str(L"KeloTransitionTexts").Get()), S_OK);
  // A failed open keeps the table that was open.
  EXPECT_EQ(strings->Open(Str(L"NoSuchTable").Get()), E_FAIL);
  ASSERT_EQ(strings->Find(Str(L"12").Get(), &index), S_OK);
  EXPECT_EQ(strings->Find(Str(L" 12").Get(), &index), E_FAIL);
  ComPtr<IString> text;
  EXPECT_EQ(strings->GetText(99, text.Put()), E_INVALIDARG);
  EXPECT_EQ(strings->GetText(-1, text.Put()), E_INVALIDARG);
  EXPECT_FALSE(text);
}

TEST(StorageTables, TableFileFormat) {
  const auto table = host::storage::TextTable::Parse(
      "\xEF\xBB\xBF# comment = not an entry\r\n"
      "\n"
      "  7 =  Seven days  \r\n"
      "line without equals sign\n"
      "8=a\\nb\\tc\\\\d\\x\n"
      "7 = ignored, the first line wins\n"
      "9=\xC3\xA9t\xC3\xA9|=x\n"
      "=no key\n"
      "10=");
  ASSERT_EQ(table->Count(), 4);
  EXPECT_EQ(table->Text(table->Find(L"7")), L"Seven days");
  EXPECT_EQ(table->Text(table->Find(L"8")), L"a\nb\tc\\d\\x");
  EXPECT_EQ(table->Text(table->Find(L"9")), L"\u00e9t\u00e9|=x");
  EXPECT_EQ(table->Text(table->Find(L"10")), L"");
  EXPECT_EQ(table->Find(L"# comment"), -1);
  EXPECT_EQ(table->Key(0), L"7");
}

TEST(StorageRegistry, PersistsKeepsCommentsAndQuotes) {
  ScratchFolder folder;
  const std::string path = folder.File("registry.ini");
  WriteFile(path,
            "; settings of the host\n"
            "[Workspace]\n"
            "Theme = dark   \n"
            "\n"
            "[Mappings]\n"
            "# pictures live here\n"
            "Pictures=/data/pictures\n");
  {
    host::storage::RegistryStore store(path);
    std::wstring value;
    ASSERT_EQ(store.Get(L"workspace", L"THEME", &value), S_OK);  // names ignore case
    EXPECT_EQ(value, L"dark");
    const std::wstring spaced = L"  two  ", quoted = L"\"q\"", path2 = L"/data/movies";
    ASSERT_EQ(store.Set(L"Workspace", L"Padding", &spaced), S_OK);
    ASSERT_EQ(store.Set(L"Workspace", L"Quoted", &quoted), S_OK);
    ASSERT_EQ(store.Set(L"Mappings", L"Movies", &path2), S_OK);
    ASSERT_EQ(store.Set(L"New Section", L"Key", &path2), S_OK);
    ASSERT_EQ(store.Set(L"Mappings", L"pictures", nullptr), S_OK);  // removes
  }
  const std::string file = ReadFile(path);
  EXPECT_NE(file.find("; settings of the host\n"), std::string::npos) << file;
  EXPECT_NE(file.find("# pictures live here\n"), std::string::npos);
  EXPECT_NE(file.find("Theme = dark   \n"), std::string::npos);  // untouched lines stay as written
  EXPECT_EQ(file.find("Pictures"), std::string::npos);

  host::storage::RegistryStore again(path);
  std::wstring value;
  ASSERT_EQ(again.Get(L"Workspace", L"Padding", &value), S_OK);
  EXPECT_EQ(value, L"  two  ");
  ASSERT_EQ(again.Get(L"Workspace", L"Quoted", &value), S_OK);
  EXPECT_EQ(value, L"\"q\"");
  ASSERT_EQ(again.Get(L"new section", L"key", &value), S_OK);
  EXPECT_EQ(value, L"/data/movies");
  EXPECT_EQ(again.Get(L"Mappings", L"Pictures", &value), E_FAIL);
  int count = 0;
  again.KeyCount(L"Workspace", &count);
  EXPECT_EQ(count, 3);
  std::wstring key;
  ASSERT_EQ(again.Key(L"Workspace", 1, &key, &value), S_OK);
  EXPECT_EQ(key, L"Padding");
  EXPECT_EQ(again.Key(L"Workspace", 3, &key, &value), E_INVALIDARG);
  again.KeyCount(L"Nowhere", &count);
  EXPECT_EQ(count, 0);

  // What the file cannot hold is refused.
  const std::wstring broken = L"two\nlines";
  EXPECT_EQ(again.Set(L"Workspace", L"Broken", &broken), E_INVALIDARG);
  EXPECT_EQ(again.Set(L"Workspace", L"a=b", &value), E_INVALIDARG);
  EXPECT_EQ(again.Set(L"Work]space", L"Key", &value), E_INVALIDARG);
  EXPECT_EQ(again.Set(L"", L"Key", &value), E_INVALIDARG);
  EXPECT_EQ(again.Set(L"Workspace", L" Key", &value), E_INVALIDARG);
}

TEST(StorageRegistry, InstallPathDefaultAndFailedWrites) {
  ScratchFolder folder;
  ASSERT_EQ(mkdir(folder.File("_binARM64").c_str(), 0777), 0);
  const std::string path = folder.File("_binARM64/registry.ini");
  host::storage::RegistryStore store(path);
  std::wstring value;
  ASSERT_EQ(store.Get(L"Workspace", L"InstallPath", &value), S_OK);
  EXPECT_EQ(value, host::WideFromUtf8(folder.Path()));
  const std::wstring chosen = L"/opt/kelo";
  ASSERT_EQ(store.Set(L"Workspace", L"InstallPath", &chosen), S_OK);
  ASSERT_EQ(store.Get(L"Workspace", L"InstallPath", &value), S_OK);
  EXPECT_EQ(value, chosen);
  const std::string written = ReadFile(path);

  // When the file cannot be written the change is refused and forgotten.
  ASSERT_EQ(chmod(folder.File("_binARM64").c_str(), 0555), 0);
  const std::wstring other = L"/elsewhere";
  const bool writable = access(folder.File("_binARM64").c_str(), W_OK) == 0;  // root writes anyway
  if (!writable) {
    EXPECT_EQ(store.Set(L"Workspace", L"InstallPath", &other), E_FAIL);
    ASSERT_EQ(store.Get(L"Workspace", L"InstallPath", &value), S_OK);
    EXPECT_EQ(value, chosen);
  }
  chmod(folder.File("_binARM64").c_str(), 0777);
  // A registry whose folder is gone fails the same way, whoever runs the test.
  host::storage::RegistryStore lost(folder.File("missing/registry.ini"));
  EXPECT_EQ(lost.Set(L"Workspace", L"InstallPath", &other), E_FAIL);
  EXPECT_EQ(lost.Get(L"Workspace", L"Key", &value), E_FAIL);
  EXPECT_EQ(ReadFile(path), written);
}

TEST_F(CoreTest, RegistryComponentOverAStore) {
  ScratchFolder folder;
  host::storage::RegistryStore store(folder.File("registry.ini"));
  auto registry = ComPtr<IRegistry>::Adopt(new host::storage::Registry(&store));
  ComPtr<IString> value;
  EXPECT_EQ(registry->GetValue(RefView(L"Mappings"), RefView(L"Pictures"), value.Put()), E_FAIL);
  EXPECT_FALSE(value);
  ASSERT_EQ(registry->SetValue(RefView(L"Mappings"), RefView(L"Pictures"), Str(L"/p").Get()), S_OK);
  ASSERT_EQ(registry->GetValue(RefView(L"Mappings"), RefView(L"Pictures"), value.Put()), S_OK);
  EXPECT_EQ(Text(value.Get()), L"/p");
  int count = 0;
  ASSERT_EQ(registry->GetKeyCount(RefView(L"Mappings"), &count), S_OK);
  EXPECT_EQ(count, 1);
  ComPtr<IString> key;
  ASSERT_EQ(registry->GetKey(RefView(L"Mappings"), 0, key.Put(), nullptr), S_OK);
  EXPECT_EQ(Text(key.Get()), L"Pictures");
  ASSERT_EQ(registry->SetValue(RefView(L"Mappings"), RefView(L"Pictures"), nullptr), S_OK);
  registry->GetKeyCount(RefView(L"Mappings"), &count);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(registry->SetValue(tagREFString{-1, nullptr}, RefView(L"K"), nullptr), E_INVALIDARG);
  EXPECT_NE(ReadFile(folder.File("registry.ini")).find("[Mappings]"), std::string::npos);
}

TEST(StorageRegistry, TheModuleRegistryDefaultsToTheBuildFolder) {
  // Read only: the real registry of the build folder is not changed by tests.
  auto registry = testhost::Create<IRegistry>(L"Registry");
  ASSERT_TRUE(registry);
  ComPtr<IString> value;
  ASSERT_EQ(registry->GetValue(RefView(L"Workspace"), RefView(L"InstallPath"), value.Put()), S_OK);
  char here[PATH_MAX];
  ASSERT_NE(getcwd(here, sizeof here), nullptr);
  if (access("./_binARM64/registry.ini", F_OK) != 0) {  // not set by hand in this build folder
    EXPECT_EQ(Text(value.Get()), host::WideFromUtf8(here));
  }
}

TEST(StorageModule, EveryComponentIsCreatable) {
  for (std::wstring_view name :
       {L"StringTable", L"Registry", L"XMLStream", L"FolderStream", L"UIPropInterrogatePropPage"}) {
    ComPtr<IUnknown> object;
    EXPECT_EQ(testhost::Global()->CreateByName(RefView(name), &kIID_IUnknown, object.PutVoid()),
              S_OK)
        << std::string(name.begin(), name.end());
  }
  auto xml = testhost::Create<IDataStream>(L"XMLStream");
  ASSERT_TRUE(xml);
  EXPECT_TRUE(xml.As<IXMLStream>());
  EXPECT_TRUE(xml.As<IString>());
  EXPECT_FALSE(xml.As<IFolderStream>());
  auto folder = testhost::Create<IDataStream>(L"FolderStream");
  ASSERT_TRUE(folder);
  EXPECT_TRUE(folder.As<IFolderStream>());
  EXPECT_FALSE(folder.As<IXMLStream>());
}

}  // namespace
