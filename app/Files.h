// Output files are written under a temporary name in their own folder and renamed into place
// only when complete, so a failure never leaves a half-written file where a good one should be.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace kelo {

// A hidden temporary name beside `final`, unique within this process.
std::filesystem::path TemporaryPathFor(const std::filesystem::path& final);

// Owns a temporary file: removed on destruction unless Commit() renamed it to its final name.
class TemporaryFile {
 public:
  explicit TemporaryFile(std::filesystem::path final);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const std::filesystem::path& Path() const { return temporary_; }
  const std::filesystem::path& Final() const { return final_; }
  // Renames the temporary file to its final name (throws an output error when that fails).
  void Commit();
  void Discard();

 private:
  std::filesystem::path final_;
  std::filesystem::path temporary_;
  bool done_ = false;
};

// Checks that an output can be written: its folder exists and is writable, it is not a folder,
// and it is none of the inputs. Throws an output error otherwise, calling the output `what`.
void CheckOutputPath(const std::filesystem::path& output,
                     const std::vector<std::filesystem::path>& inputs,
                     const std::string& what = "output");
// True when both paths name the same existing file.
bool SameFile(const std::filesystem::path& a, const std::filesystem::path& b);

// The lower-case extension of a path, without the dot ("" when there is none).
std::string LowerExtension(const std::filesystem::path& path);

}  // namespace kelo
