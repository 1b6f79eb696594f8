#include "app/Files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>

#include "app/Errors.h"
#include "app/Interrupt.h"

namespace kelo {

namespace {

[[noreturn]] void OutputError(const std::string& message) {
  throw AppError(kExitOutput, message);
}

// "the <what> '<path>'" for a message. Built by appending: GCC 12 warns falsely (-Wrestrict)
// about chains of + that start with a literal.
std::string Shown(const std::string& what, const std::filesystem::path& path) {
  std::string shown("the ");
  shown.append(what).append(" '").append(path.string()).append("'");
  return shown;
}

}  // namespace

std::filesystem::path HiddenPathFor(const std::filesystem::path& final, const std::string& tag) {
  std::string name(".");
  name.append(final.filename().string()).append(".kelo-").append(std::to_string(getpid()));
  name.append(".").append(tag);
  return final.parent_path() / name;
}

std::filesystem::path TemporaryPathFor(const std::filesystem::path& final) {
  static std::atomic<unsigned> counter{0};
  return HiddenPathFor(final, std::to_string(counter.fetch_add(1)) + ".tmp");
}

bool IsStreamTarget(const std::filesystem::path& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 && (S_ISCHR(info.st_mode) || S_ISFIFO(info.st_mode));
}

TemporaryFile::TemporaryFile(std::filesystem::path final)
    : final_(std::move(final)), direct_(IsStreamTarget(final_)) {
  temporary_ = direct_ ? final_ : TemporaryPathFor(final_);
}

TemporaryFile::~TemporaryFile() {
  Discard();
}

void TemporaryFile::Commit() {
  ThrowIfInterrupted();
  if (!direct_) {
    std::error_code error;
    std::filesystem::rename(temporary_, final_, error);
    if (error) OutputError("cannot write '" + final_.string() + "': " + error.message());
  }
  done_ = true;
}

void TemporaryFile::Discard() {
  if (done_) return;
  std::error_code ignored;
  if (!direct_) std::filesystem::remove(temporary_, ignored);
  done_ = true;
}

MadeFolders::MadeFolders(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> missing;
  std::error_code error;
  for (auto path = folder; !path.empty() && !std::filesystem::exists(path, error);
       path = path.parent_path()) {
    missing.push_back(path);
    if (path == path.parent_path()) break;
  }
  for (auto at = missing.rbegin(); at != missing.rend(); ++at) {
    const bool made = std::filesystem::create_directory(*at, error);
    if (error) {
      // The destructor of an object whose constructor throws does not run.
      RemoveMade();
      OutputError("cannot make the folder '" + at->string() + "': " + error.message());
    }
    // One made meanwhile by someone else is theirs.
    if (made) made_.push_back(*at);
  }
}

MadeFolders::~MadeFolders() {
  RemoveMade();
}

void MadeFolders::RemoveMade() {
  std::error_code ignored;
  // remove() takes only an empty folder: whatever someone else put there stays.
  for (auto at = made_.rbegin(); at != made_.rend(); ++at) std::filesystem::remove(*at, ignored);
  made_.clear();
}

bool SameFile(const std::filesystem::path& a, const std::filesystem::path& b) {
  std::error_code error;
  return std::filesystem::equivalent(a, b, error) && !error;
}

void CheckOutputFolder(const std::filesystem::path& folder) {
  // The nearest folder that exists, going up from `folder`.
  std::filesystem::path existing = folder.empty() ? "." : folder;
  std::error_code error;
  while (!std::filesystem::exists(existing, error)) {
    const auto parent = existing.parent_path();
    existing = parent.empty() ? "." : parent;
  }
  if (!std::filesystem::is_directory(existing, error))
    OutputError(Shown("output folder", folder) +
                (existing == folder
                     ? std::string(" is not a folder")
                     : " cannot be made: '" + existing.string() + "' is not a folder"));
  if (access(existing.c_str(), W_OK | X_OK) != 0)
    OutputError(Shown("output folder", existing) + " is not writable");
}

void CheckOutputPath(const std::filesystem::path& output,
                     const std::vector<std::filesystem::path>& inputs, const std::string& what) {
  const std::string shown = Shown(what, output);
  if (output.empty() || output.filename().empty()) OutputError(shown + " names no file");
  auto folder = output.parent_path();
  if (folder.empty()) folder = ".";
  const std::string folderShown = Shown(what + " folder", folder);
  std::error_code error;
  if (!std::filesystem::is_directory(folder, error))
    OutputError(folderShown +
                (std::filesystem::exists(folder, error) ? " is not a folder" : " does not exist"));
  if (access(folder.c_str(), W_OK | X_OK) != 0) OutputError(folderShown + " is not writable");
  const auto status = std::filesystem::status(output, error);
  if (std::filesystem::is_directory(status)) OutputError(shown + " is a folder");
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status) &&
      !IsStreamTarget(output))
    OutputError(shown + " is not a file");
  for (const auto& input : inputs)
    if (SameFile(output, input))
      OutputError(shown + " would overwrite the input '" + input.string() + "'");
}

std::string LowerExtension(const std::filesystem::path& path) {
  std::string extension = path.extension().string();
  if (!extension.empty()) extension.erase(0, 1);
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension;
}

}  // namespace kelo
