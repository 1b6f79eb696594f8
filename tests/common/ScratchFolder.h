// A fresh folder under the system's temporary folder, removed with everything in it; shared by
// every test that writes files. No test framework here: Path() is empty when it could not be made.
#pragma once

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace testsupport {

class ScratchFolder {
 public:
  explicit ScratchFolder(const std::string& prefix = "kelo-test") {
    std::string pattern = (std::filesystem::temp_directory_path() / (prefix + "-XXXXXX")).string();
    if (mkdtemp(pattern.data()) != nullptr) path_ = pattern;
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  const std::filesystem::path& Path() const { return path_; }
  std::string File(const std::string& name) const { return (path_ / name).string(); }
  // Every entry of the folder, by name.
  std::vector<std::string> Entries() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path_))
      names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }

 private:
  std::filesystem::path path_;
};

}  // namespace testsupport
