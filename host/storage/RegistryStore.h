// The data behind the "Registry" component: sections of keys with text values, kept in an
// INI-style UTF-8 file that people can read and edit:
//
//   ; a comment (so is a line starting with '#')
//   [Workspace]
//   InstallPath=/opt/kelo
//   [Mappings]
//   Pictures=/home/me/Pictures
//
// Section and key names compare without regard to case. Blanks around keys and values are
// dropped; a value that must keep leading or trailing blanks, or starts with a double quote, is
// written between double quotes, which reading removes. Values cannot hold line breaks. The
// file is read on first use; every change rewrites it atomically at once, keeping its comments
// and the lines it does not understand. Changes made to the file by another process after the
// first use are not seen, and are overwritten by the next change made here.
#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "sdk/Com.h"

namespace host::storage {

class RegistryStore {
 public:
  explicit RegistryStore(std::string path) : path_(std::move(path)) {}
  RegistryStore(const RegistryStore&) = delete;
  RegistryStore& operator=(const RegistryStore&) = delete;

  // The process's registry: "registry.ini" in the module folder.
  static RegistryStore& Default();

  // E_FAIL when the key is not set. "Workspace"/"InstallPath" defaults to the folder that
  // holds the registry file's folder (the one above "_binARM64").
  HRESULT Get(std::wstring_view section, std::wstring_view key, std::wstring* value);
  // Sets a key, or removes it when `value` is null; then writes the file. E_INVALIDARG for a
  // name or value the file cannot hold; E_FAIL (and no change) when the file cannot be written.
  // Every operation may throw std::bad_alloc, and then changes nothing.
  HRESULT Set(std::wstring_view section, std::wstring_view key, const std::wstring* value);
  // The keys set in a section, in file order (0 for a missing section).
  HRESULT KeyCount(std::wstring_view section, int* count);
  HRESULT Key(std::wstring_view section, int index, std::wstring* key, std::wstring* value);

  const std::string& Path() const { return path_; }

 private:
  struct Line {
    std::wstring raw;  // the line as it stands in the file
    bool isKey = false;
    std::wstring key;  // for key lines
    std::wstring value;
  };
  struct Section {
    std::wstring name;  // empty for the lines before the first section
    std::vector<Line> lines;
  };

  void Load();
  std::string Serialize() const;
  Section* FindSection(std::wstring_view name);
  std::wstring DefaultInstallPath() const;

  std::mutex mutex_;
  std::string path_;
  bool loaded_ = false;
  std::vector<Section> sections_;
};

}  // namespace host::storage
