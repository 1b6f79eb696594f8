// Music files: checked and measured with the ffprobe program before a show is rendered, so that a
// file ffmpeg cannot use is refused before any work.
#pragma once

#include <filesystem>

namespace kelo {

// The length in seconds of the first audio stream of `file`. Throws AppError: exit 3 when the
// file is missing, unreadable or holds no sound; exit 4 when ffprobe is not installed.
double SoundSeconds(const std::filesystem::path& file);

}  // namespace kelo
