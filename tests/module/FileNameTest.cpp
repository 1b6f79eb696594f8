// File names against the host registry's install path and mappings.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/Convert.h"
#include "support/FileName.h"
#include "tests/common/TestHost.h"

namespace {

using testhost::Text;

// Runs a two-string helper and gives its text, or "<failed>".
template <class F>
std::wstring Call(F helper, const std::wstring& a, const std::wstring& b = L"") {
  ComPtr<IString> first = ComPtr<IString>::Adopt(ISCreate(a.c_str()));
  ComPtr<IString> second = ComPtr<IString>::Adopt(ISCreate(b.c_str()));
  ComPtr<IString> out;
  if (helper(first.Get(), second.Get(), out.Put()) != S_OK || !out) return L"<failed>";
  return Text(out.Get());
}

// Catches: the install path not the folder that holds _binARM64, relative paths that mind case
// or match parts of folder names, absolute paths not normalised, mappings not found, misread or
// kept after they are removed.
TEST(FileNames, RelativeAbsoluteAndMapped) {
  ComPtr<IString> installString;
  ASSERT_EQ(FILENAMEGetInstallPath(installString.Put()), S_OK);
  const std::wstring install = Text(installString.Get());
  // The registry's default install path is the folder that holds _binARM64.
  EXPECT_EQ(std::filesystem::path(install), std::filesystem::current_path());

  auto relative = [](IString* base, IString* path, IString** out) {
    return FILENAMECreateRelative(base, path, out);
  };
  EXPECT_EQ(Call(relative, L"/a/b/c", L"/a/b/d/e.txt"), L"../d/e.txt");
  EXPECT_EQ(Call(relative, L"/A/B/", L"/a/b/d/e.txt"), L"d/e.txt");      // case does not matter
  EXPECT_EQ(Call(relative, L"/a/b", L"/a/bc/e.txt"), L"../bc/e.txt");    // whole folder names only
  EXPECT_EQ(Call(relative, L"/a/b", L"photos/e.txt"), L"photos/e.txt");  // nothing shared

  auto absolute = [](IString* path, IString*, IString** out) {
    return FILENAMECreateAbsolute(path, out, 0);
  };
  EXPECT_EQ(Call(absolute, L"pictures/a.png"), install + L"/pictures/a.png");
  EXPECT_EQ(Call(absolute, L"../x/./a.png"),
            std::filesystem::path(install).parent_path().wstring() + L"/x/a.png");
  EXPECT_EQ(Call(absolute, L"/srv/a.png"), L"/srv/a.png");

  auto map = [](IString* path, IString*, IString** out) { return FILENAMEMap(path, out, 0); };
  auto unmap = [](IString* path, IString*, IString** out) { return FILENAMEUnmap(path, out); };
  EXPECT_EQ(Call(map, install + L"/pictures/a.png"), L"[InstallPath]/pictures/a.png");
  EXPECT_EQ(Call(unmap, L"[installpath]\\pictures\\a.png"), install + L"/pictures/a.png");
  EXPECT_EQ(Call(map, L"/nowhere/a.png"), L"<failed>");
  EXPECT_EQ(Call(unmap, L"pictures/a.png"), L"<failed>");
  EXPECT_EQ(Call(unmap, L"[InstallPath/a.png"), L"<failed>");
  EXPECT_EQ(Call(unmap, L"[NoSuchMapping]/a.png"), L"<failed>");

  // A named mapping from the registry's "Mappings" section, removed again afterwards.
  auto registry = testhost::Create<IRegistry>(L"Registry");
  ASSERT_TRUE(registry);
  ComPtr<IString> photos = ComPtr<IString>::Adopt(ISCreate(L"/srv/photos"));
  ASSERT_EQ(registry->SetValue(RefView(L"Mappings"), RefView(L"Photos"), photos.Get()), S_OK);
  EXPECT_EQ(Call(map, L"/srv/photos/2026/a.jpg"), L"[Photos]/2026/a.jpg");
  EXPECT_EQ(Call(unmap, L"[Photos]/2026/a.jpg"), L"/srv/photos/2026/a.jpg");
  registry->SetValue(RefView(L"Mappings"), RefView(L"Photos"), nullptr);
  EXPECT_EQ(Call(map, L"/srv/photos/2026/a.jpg"), L"<failed>");
}

}  // namespace
