#include "app/FramePattern.h"

#include <sys/stat.h>

#include <cstdio>
#include <map>
#include <utility>

#include "app/Errors.h"
#include "app/Files.h"

namespace kelo {

namespace {

// The first printf-style integer conversion in `name` (%d, %04d or %5d: '%', an optional '0', an
// optional digit, 'd'): where it starts and how long it is; npos when there is none.
struct NumberField {
  std::size_t at = std::string::npos, length = 0;
};
NumberField FindNumberField(const std::string& name) {
  for (std::size_t at = name.find('%'); at != std::string::npos; at = name.find('%', at + 1)) {
    std::size_t end = at + 1;
    if (end < name.size() && name[end] == '0') ++end;
    if (end < name.size() && name[end] >= '0' && name[end] <= '9') ++end;
    if (end < name.size() && name[end] == 'd') return {at, end + 1 - at};
  }
  return {};
}

}  // namespace

bool IsFramePattern(const std::filesystem::path& output) {
  return output.filename().string().find('%') != std::string::npos;
}

bool HasOneNumberField(const std::filesystem::path& pattern) {
  const std::string name = pattern.filename().string();
  const NumberField field = FindNumberField(name);
  return field.at != std::string::npos && name.find('%') == field.at &&
         name.find('%', field.at + field.length) == std::string::npos;
}

std::filesystem::path FramePath(const std::filesystem::path& pattern, long index) {
  const std::string name = pattern.filename().string();
  const NumberField field = FindNumberField(name);
  const std::string format = name.substr(field.at, field.length - 1) + "ld";
  char number[32];
  std::snprintf(number, sizeof number, format.c_str(), index);
  return pattern.parent_path() /
         (name.substr(0, field.at) + number + name.substr(field.at + field.length));
}

void CheckFramePaths(const std::filesystem::path& pattern, long frames,
                     const std::vector<std::filesystem::path>& inputs) {
  const auto folder = pattern.parent_path();
  std::error_code error;
  // A missing folder is made by the run: no frame file can be there yet.
  if (!folder.empty() && !std::filesystem::exists(folder, error)) return CheckOutputFolder(folder);
  CheckOutputPath(FramePath(pattern, 0), inputs);
  // Compared by identity, so the check stays one stat per frame however many inputs there are.
  std::map<std::pair<dev_t, ino_t>, const std::filesystem::path*> identities;
  for (const auto& input : inputs) {
    struct stat info {};
    if (::stat(input.c_str(), &info) == 0)
      identities.emplace(std::pair(info.st_dev, info.st_ino), &input);
  }
  for (long i = 1; i < frames; ++i) {
    const auto path = FramePath(pattern, i);
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) continue;
    const std::string shown = "the frame '" + path.string() + "'";
    if (S_ISDIR(info.st_mode)) throw AppError(kExitOutput, shown + " is a folder");
    if (!S_ISREG(info.st_mode)) throw AppError(kExitOutput, shown + " is not a file");
    if (const auto input = identities.find(std::pair(info.st_dev, info.st_ino));
        input != identities.end())
      throw AppError(kExitOutput,
                     shown + " would overwrite the input '" + input->second->string() + "'");
  }
}

OlderFrames FindOlderFrames(const std::filesystem::path& pattern, long frames) {
  OlderFrames older;
  const std::string name = pattern.filename().string();
  const NumberField field = FindNumberField(name);
  const std::string prefix = name.substr(0, field.at),
                    suffix = name.substr(field.at + field.length);
  const auto folder =
      pattern.parent_path().empty() ? std::filesystem::path(".") : pattern.parent_path();
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string file = entry->path().filename().string();
    if (file.size() <= prefix.size() + suffix.size() || !file.starts_with(prefix) ||
        !file.ends_with(suffix))
      continue;
    const std::string digits =
        file.substr(prefix.size(), file.size() - prefix.size() - suffix.size());
    if (digits.size() > 18 || digits.find_first_not_of("0123456789") != std::string::npos) continue;
    const long number = std::stol(digits);
    // The same number written another way (other padding) is not a frame of this pattern.
    if (number < frames || FramePath(pattern, number).filename() != file) continue;
    older.first = older.count == 0 ? number : std::min(older.first, number);
    older.last = older.count == 0 ? number : std::max(older.last, number);
    ++older.count;
  }
  return older;
}

std::string OlderFramesWarning(const std::filesystem::path& pattern, long frames) {
  const OlderFrames older = FindOlderFrames(pattern, frames);
  if (older.count == 0) return {};
  const std::string first = FramePath(pattern, older.first).string();
  if (older.count == 1)
    return "1 frame of an earlier run follows this run's " + std::to_string(frames) + ": '" +
           first + "' (remove it, or it plays after the new frames)";
  return std::to_string(older.count) + " frames of an earlier run follow this run's " +
         std::to_string(frames) + ": '" + first + "' to '" +
         FramePath(pattern, older.last).string() +
         "' (remove them, or they play after the new frames)";
}

}  // namespace kelo
