// Output files are written under a temporary name in their own folder and renamed into place
// only when complete, so a failure never leaves a half-written file where a good one should be.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace kelo {

// A hidden name beside `final` ending in `.kelo-PID.TAG`: the same for the same arguments
// within this process (for many files with distinct names, such as frames).
std::filesystem::path HiddenPathFor(const std::filesystem::path& final, const std::string& tag);
// A hidden temporary name beside `final`, unique within this process.
std::filesystem::path TemporaryPathFor(const std::filesystem::path& final);

// True when `path` names an existing character device or pipe (say /dev/null, or a FIFO another
// program reads): such an output cannot be replaced by a file, so it is written in place.
bool IsStreamTarget(const std::filesystem::path& path);

// Owns a temporary file: removed on destruction unless Commit() renamed it to its final name.
// For a stream target the temporary is the target itself, and nothing is renamed or removed.
class TemporaryFile {
 public:
  explicit TemporaryFile(std::filesystem::path final);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const std::filesystem::path& Path() const { return temporary_; }
  const std::filesystem::path& Final() const { return final_; }
  // Renames the temporary file to its final name (throws an output error when that fails, and
  // the interrupt once a signal has arrived: an interrupted run puts nothing in place).
  void Commit();
  void Discard();

 private:
  std::filesystem::path final_;
  std::filesystem::path temporary_;
  bool direct_ = false;
  bool done_ = false;
};

// The folders of `folder` that do not exist yet, made for an output: removed again (those still
// empty, innermost first) on destruction unless Keep() was called once the run succeeded.
class MadeFolders {
 public:
  MadeFolders() = default;
  // Makes the missing folders of `folder`; throws an output error naming the one that failed.
  explicit MadeFolders(const std::filesystem::path& folder);
  ~MadeFolders();
  MadeFolders(const MadeFolders&) = delete;
  MadeFolders& operator=(const MadeFolders&) = delete;
  void Keep() { made_.clear(); }

 private:
  void RemoveMade();
  std::vector<std::filesystem::path> made_;  // outermost first
};

// Checks that an output can be written: its folder exists and is writable, it is not a folder
// (nor anything but a file, a character device or a pipe), and it is none of the inputs. Throws
// an output error otherwise, calling the output `what`.
void CheckOutputPath(const std::filesystem::path& output,
                     const std::vector<std::filesystem::path>& inputs,
                     const std::string& what = "output");
// Checks that `folder` exists and is writable, or that its missing part can be made: the
// nearest folder that exists is writable. Throws an output error otherwise.
void CheckOutputFolder(const std::filesystem::path& folder);
// True when both paths name the same existing file.
bool SameFile(const std::filesystem::path& a, const std::filesystem::path& b);

// The lower-case extension of a path, without the dot ("" when there is none).
std::string LowerExtension(const std::filesystem::path& path);

}  // namespace kelo
