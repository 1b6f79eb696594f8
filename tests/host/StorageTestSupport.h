// Shared by the storage tests: a scratch folder, file helpers, and host strings.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "host/core/Text.h"
#include "host/storage/Components.h"
#include "tests/host/CoreTestSupport.h"

namespace storagetest {

using coretest::Make;
using coretest::Str;
using coretest::Text;

// A fresh folder under the system's temporary folder, removed with everything in it.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "kelo-storage-XXXXXX").string();
    if (mkdtemp(pattern.data()) != nullptr) path_ = pattern;
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  const std::string& Path() const { return path_; }
  std::string File(const std::string& name) const { return path_ + "/" + name; }
  std::wstring WideFile(const std::string& name) const { return host::WideFromUtf8(File(name)); }
  // Every entry of the folder, by name.
  std::vector<std::string> Entries() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path_))
      names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }

 private:
  std::string path_;
};

// Storage objects made straight from the static library reach strings and every other component
// through the collection the module was given, as in the shared module; here they are given the
// static core's global collection, so that what they make counts in host::LiveObjects.
class StorageTest : public coretest::CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    host::storage::SetComponentCollection(host::core::GlobalComponentCollection::Instance());
  }
  void TearDown() override {
    host::storage::SetComponentCollection(nullptr);
    CoreTest::TearDown();
  }
};

inline std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

inline void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

}  // namespace storagetest
