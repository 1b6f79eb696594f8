// Frame patterns such as "frames/%04d.png": the file of each frame, the checks made before a run
// writes any, and the frames of an earlier run that a shorter one leaves behind.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace kelo {

// True when the file name holds a '%' (it is meant as a frame pattern).
bool IsFramePattern(const std::filesystem::path& output);
// True when the file name holds exactly one number field (%d, %04d or %5d) and no other '%'.
bool HasOneNumberField(const std::filesystem::path& pattern);
// The file name of frame `index` of a frame pattern.
std::filesystem::path FramePath(const std::filesystem::path& pattern, long index);

// Before any work: the pattern's folder exists and is writable or can be made, and none of the
// `frames` frame files is a folder, anything but a file, or one of the inputs (by identity:
// device and inode, whatever the names). One status query per frame.
void CheckFramePaths(const std::filesystem::path& pattern, long frames,
                     const std::vector<std::filesystem::path>& inputs);

// Files of the pattern's folder numbered from `frames` on: frames an earlier, longer run left,
// which would play after this run's. Lowest number first.
struct OlderFrames {
  long count = 0;
  long first = 0, last = 0;
};
OlderFrames FindOlderFrames(const std::filesystem::path& pattern, long frames);
// The warning for them ("" when there are none).
std::string OlderFramesWarning(const std::filesystem::path& pattern, long frames);

}  // namespace kelo
