// Shared by the storage tests: a scratch folder, file helpers, and host strings.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "host/core/Text.h"
#include "host/storage/Components.h"
#include "tests/common/ScratchFolder.h"
#include "tests/host/CoreTestSupport.h"

namespace storagetest {

using coretest::Make;
using coretest::Str;
using coretest::Text;

// The shared scratch folder, with paths as the host's wide strings.
class ScratchFolder : public testsupport::ScratchFolder {
 public:
  ScratchFolder() : testsupport::ScratchFolder("kelo-storage") {}
  std::wstring WideFile(const std::string& name) const { return host::WideFromUtf8(File(name)); }
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
