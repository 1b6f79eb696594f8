// The string tables shipped with the host, their file format, and the registry.
#include <sys/stat.h>

#include "host/storage/Registry.h"
#include "host/storage/RegistryStore.h"
#include "host/storage/StringTable.h"
#include "host/storage/TextTable.h"
#include "sdk/Storage.h"
#include "tests/common/TestHost.h"
#include "tests/host/StorageTestSupport.h"

namespace storagetest {
namespace {

using host::storage::RegistryStore;

// The value of a registry key, or "<unset>".
std::wstring Get(RegistryStore& store, std::wstring_view section, std::wstring_view key) {
  std::wstring value;
  return Succeeded(store.Get(section, key, &value)) ? value : L"<unset>";
}

HRESULT Set(RegistryStore& store, std::wstring_view section, std::wstring_view key,
            const std::wstring& value) {
  return store.Set(section, key, &value);
}

// Catches: a lookup before any table is open, a table outside the module folder or of another
// kind opened, a failed open dropping the open table, keys trimmed, indexes past either end.
TEST_F(StorageTest, StringTableRefusesUnknownTablesAndKeys) {
  auto strings = ComPtr<IStringTable>::Adopt(new host::storage::StringTable());
  int index = 5;
  EXPECT_EQ(strings->Find(Str(L"11").Get(), &index), E_FAIL);  // nothing open yet
  EXPECT_EQ(index, -1);
  for (std::wstring_view name : {L"NoSuchTable", L"", L"../_binARM64/KeloTransitionTexts",
                                 L"/etc/passwd", L".hidden", L"components.manifest"})
    EXPECT_EQ(strings->Open(Str(name).Get()), E_FAIL) << std::wstring(name);
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

// Catches: the byte order mark, comments, blank lines, spaces, escapes, UTF-8, later duplicates,
// lines without a key or an equals sign misread.
TEST(StorageTables, TableFileFormat) {
  const auto table = host::storage::TextTable::Parse(
      "\xEF\xBB\xBF# comment = not an entry\r\n\n  7 =  Seven days  \r\nline without equals sign\n"
      "8=a\\nb\\tc\\\\d\\x\n7 = ignored, the first line wins\n9=\xC3\xA9t\xC3\xA9|=x\n=no "
      "key\n10=");
  ASSERT_EQ(table->Count(), 4);
  EXPECT_EQ(table->Text(table->Find(L"7")), L"Seven days");
  EXPECT_EQ(table->Text(table->Find(L"8")), L"a\nb\tc\\d\\x");
  EXPECT_EQ(table->Text(table->Find(L"9")), L"\u00e9t\u00e9|=x");
  EXPECT_EQ(table->Text(table->Find(L"10")), L"");
  EXPECT_EQ(table->Find(L"# comment"), -1);
  EXPECT_EQ(table->Key(0), L"7");
}

// Catches: names that mind case, values trimmed or unquoted, comments and untouched lines
// rewritten, a removed key kept, keys miscounted, what the file cannot hold accepted.
TEST(StorageRegistry, PersistsKeepsCommentsAndQuotes) {
  ScratchFolder folder;
  const std::string path = folder.File("registry.ini");
  WriteFile(path,
            "; settings of the host\n[Workspace]\nTheme = dark   \n\n[Mappings]\n"
            "# pictures live here\nPictures=/data/pictures\n");
  {
    RegistryStore store(path);
    EXPECT_EQ(Get(store, L"workspace", L"THEME"), L"dark");  // names ignore case
    ASSERT_EQ(Set(store, L"Workspace", L"Padding", L"  two  "), S_OK);
    ASSERT_EQ(Set(store, L"Workspace", L"Quoted", L"\"q\""), S_OK);
    ASSERT_EQ(Set(store, L"Mappings", L"Movies", L"/data/movies"), S_OK);
    ASSERT_EQ(Set(store, L"New Section", L"Key", L"/data/movies"), S_OK);
    ASSERT_EQ(store.Set(L"Mappings", L"pictures", nullptr), S_OK);  // removes
  }
  const std::string file = ReadFile(path);
  EXPECT_NE(file.find("; settings of the host\n"), std::string::npos) << file;
  EXPECT_NE(file.find("# pictures live here\n"), std::string::npos);
  EXPECT_NE(file.find("Theme = dark   \n"), std::string::npos);  // untouched lines stay as written
  EXPECT_EQ(file.find("Pictures"), std::string::npos);

  RegistryStore again(path);
  EXPECT_EQ(Get(again, L"Workspace", L"Padding"), L"  two  ");
  EXPECT_EQ(Get(again, L"Workspace", L"Quoted"), L"\"q\"");
  EXPECT_EQ(Get(again, L"new section", L"key"), L"/data/movies");
  EXPECT_EQ(Get(again, L"Mappings", L"Movies"), L"/data/movies");
  EXPECT_EQ(Get(again, L"Mappings", L"Pictures"), L"<unset>");
  int count = 0;
  again.KeyCount(L"Workspace", &count);
  EXPECT_EQ(count, 3);
  std::wstring key, value;
  ASSERT_EQ(again.Key(L"Workspace", 1, &key, &value), S_OK);
  EXPECT_EQ(key, L"Padding");
  EXPECT_EQ(again.Key(L"Workspace", 3, &key, &value), E_INVALIDARG);
  again.KeyCount(L"Nowhere", &count);
  EXPECT_EQ(count, 0);
  // What the file cannot hold is refused.
  EXPECT_EQ(Set(again, L"Workspace", L"Broken", L"two\nlines"), E_INVALIDARG);
  for (auto [section, name] : {std::pair{L"Workspace", L"a=b"},
                               {L"Work]space", L"Key"},
                               {L"", L"Key"},
                               {L"Workspace", L" Key"}})
    EXPECT_EQ(Set(again, section, name, L"v"), E_INVALIDARG) << section << " " << name;
}

// Catches: no default install path, a change that cannot be written kept in memory, the file
// touched by a failed write.
TEST(StorageRegistry, InstallPathDefaultAndFailedWrites) {
  ScratchFolder folder;
  const std::string bin = folder.File("_binARM64"), path = bin + "/registry.ini";
  ASSERT_EQ(mkdir(bin.c_str(), 0777), 0);
  RegistryStore store(path);
  EXPECT_EQ(Get(store, L"Workspace", L"InstallPath"), host::WideFromUtf8(folder.Path().string()));
  ASSERT_EQ(Set(store, L"Workspace", L"InstallPath", L"/opt/kelo"), S_OK);
  EXPECT_EQ(Get(store, L"Workspace", L"InstallPath"), L"/opt/kelo");
  const std::string written = ReadFile(path);
  // When the file cannot be written the change is refused and forgotten.
  ASSERT_EQ(chmod(bin.c_str(), 0555), 0);
  if (access(bin.c_str(), W_OK) != 0) {  // root writes anyway
    EXPECT_EQ(Set(store, L"Workspace", L"InstallPath", L"/elsewhere"), E_FAIL);
    EXPECT_EQ(Get(store, L"Workspace", L"InstallPath"), L"/opt/kelo");
  }
  chmod(bin.c_str(), 0777);
  // A registry whose folder is gone fails the same way, whoever runs the test.
  RegistryStore lost(folder.File("missing/registry.ini"));
  EXPECT_EQ(Set(lost, L"Workspace", L"InstallPath", L"/elsewhere"), E_FAIL);
  EXPECT_EQ(Get(lost, L"Workspace", L"Key"), L"<unset>");
  EXPECT_EQ(ReadFile(path), written);
}

// Catches: the registry component not reading, writing, counting, naming or removing through its
// store, a bad section accepted.
TEST_F(StorageTest, RegistryComponentOverAStore) {
  ScratchFolder folder;
  RegistryStore store(folder.File("registry.ini"));
  auto registry = ComPtr<IRegistry>::Adopt(new host::storage::Registry(&store));
  const tagREFString mappings = RefView(L"Mappings"), pictures = RefView(L"Pictures");
  ComPtr<IString> value, key;
  EXPECT_EQ(registry->GetValue(mappings, pictures, value.Put()), E_FAIL);
  EXPECT_FALSE(value);
  ASSERT_EQ(registry->SetValue(mappings, pictures, Str(L"/p").Get()), S_OK);
  ASSERT_EQ(registry->GetValue(mappings, pictures, value.Put()), S_OK);
  EXPECT_EQ(Text(value.Get()), L"/p");
  int count = 0;
  ASSERT_EQ(registry->GetKeyCount(mappings, &count), S_OK);
  EXPECT_EQ(count, 1);
  ASSERT_EQ(registry->GetKey(mappings, 0, key.Put(), nullptr), S_OK);
  EXPECT_EQ(Text(key.Get()), L"Pictures");
  ASSERT_EQ(registry->SetValue(mappings, pictures, nullptr), S_OK);
  registry->GetKeyCount(mappings, &count);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(registry->SetValue(tagREFString{-1, nullptr}, RefView(L"K"), nullptr), E_INVALIDARG);
  EXPECT_NE(ReadFile(folder.File("registry.ini")).find("[Mappings]"), std::string::npos);
}

}  // namespace
}  // namespace storagetest
