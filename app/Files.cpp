#include "app/Files.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>

#include "app/Errors.h"

namespace kelo {

std::filesystem::path TemporaryPathFor(const std::filesystem::path& final) {
  static std::atomic<unsigned> counter{0};
  auto name = "." + final.filename().string() + ".kelo-" + std::to_string(getpid()) + "-" +
              std::to_string(counter.fetch_add(1)) + ".tmp";
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
                     const std::vector<std::filesystem::path>& inputs) {
  const std::string shown = output.string();
  if (output.empty() || output.filename().empty())
    throw AppError(kExitOutput, "the output '" + shown + "' names no file");
  auto folder = output.parent_path();
  if (folder.empty()) folder = ".";
  std::error_code error;
  if (!std::filesystem::is_directory(folder, error))
    throw AppError(kExitOutput, "the output folder '" + folder.string() + "' does not exist");
  if (access(folder.c_str(), W_OK | X_OK) != 0)
    throw AppError(kExitOutput, "the output folder '" + folder.string() + "' is not writable");
  if (std::filesystem::is_directory(output, error))
    throw AppError(kExitOutput, "the output '" + shown + "' is a folder");
  for (const auto& input : inputs)
    if (SameFile(output, input))
      throw AppError(kExitOutput, "the output '" + shown + "' would overwrite the input '" +
                                      input.string() + "'");
}

std::string LowerExtension(const std::filesystem::path& path) {
  std::string extension = path.extension().string();
  if (!extension.empty()) extension.erase(0, 1);
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension;
}

}  // namespace kelo
