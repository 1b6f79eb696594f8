#include "app/Files.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>

#include "app/Errors.h"

namespace kelo {

std::filesystem::path TemporaryPathFor(const std::filesystem::path& final) {
  static std::atomic<unsigned> counter{0};
  // Built in steps: GCC 12 warns falsely (-Wrestrict) about "." + text + ... here.
  std::string name = final.filename().string();
  name.insert(name.begin(), '.');
  name.append(".kelo-").append(std::to_string(getpid())).append("-");
  name.append(std::to_string(counter.fetch_add(1))).append(".tmp");
  return final.parent_path() / name;
}

TemporaryFile::TemporaryFile(std::filesystem::path final)
    : final_(std::move(final)), temporary_(TemporaryPathFor(final_)) {}

TemporaryFile::~TemporaryFile() {
  Discard();
}

void TemporaryFile::Commit() {
  std::error_code error;
  std::filesystem::rename(temporary_, final_, error);
  if (error)
    throw AppError(kExitOutput, "cannot write '" + final_.string() + "': " + error.message());
  done_ = true;
}

void TemporaryFile::Discard() {
  if (done_) return;
  std::error_code ignored;
  std::filesystem::remove(temporary_, ignored);
  done_ = true;
}

bool SameFile(const std::filesystem::path& a, const std::filesystem::path& b) {
  std::error_code error;
  return std::filesystem::equivalent(a, b, error) && !error;
}

void CheckOutputPath(const std::filesystem::path& output,
                     const std::vector<std::filesystem::path>& inputs, const std::string& what) {
  // Built in steps: GCC 12 warns falsely (-Wrestrict) about "the " + what + " '" + text here.
  std::string shown = "the " + what;
  shown.append(" '").append(output.string()).append("'");
  auto fail = [](const std::string& message) { throw AppError(kExitOutput, message); };
  if (output.empty() || output.filename().empty()) fail(shown + " names no file");
  auto folder = output.parent_path();
  if (folder.empty()) folder = ".";
  std::string folderShown = "the " + what;
  folderShown.append(" folder '").append(folder.string()).append("'");
  std::error_code error;
  if (!std::filesystem::is_directory(folder, error)) fail(folderShown + " does not exist");
  if (access(folder.c_str(), W_OK | X_OK) != 0) fail(folderShown + " is not writable");
  if (std::filesystem::is_directory(output, error)) fail(shown + " is a folder");
  for (const auto& input : inputs)
    if (SameFile(output, input))
      fail(shown + " would overwrite the input '" + input.string() + "'");
}

std::string LowerExtension(const std::filesystem::path& path) {
  std::string extension = path.extension().string();
  if (!extension.empty()) extension.erase(0, 1);
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension;
}

}  // namespace kelo
