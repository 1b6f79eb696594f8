#include "app/Sound.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "app/Errors.h"
#include "app/Sinks.h"
#include "app/Text.h"

extern char** environ;

namespace kelo {

namespace {

// What `args` writes on standard output (at most 64 KiB), and its exit status.
std::pair<std::string, int> RunCapturing(std::vector<std::string> args) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw AppError(kExitFailure, "cannot start ffprobe: no pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], 1);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  std::vector<char*> argv;
  for (auto& arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);
  pid_t child = -1;
  const int spawned = posix_spawn(&child, args[0].c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(ends[1]);
  std::string out;
  if (spawned == 0) {
    char buffer[4096];
    for (;;) {
      const ssize_t got = ::read(ends[0], buffer, sizeof buffer);
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) break;
      if (out.size() < 65536) out.append(buffer, static_cast<std::size_t>(got));
    }
  }
  ::close(ends[0]);
  if (spawned != 0)
    throw AppError(kExitFailure, "cannot start ffprobe: " + std::string(std::strerror(spawned)));
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return {out, status};
}

}  // namespace

double SoundSeconds(const std::filesystem::path& file) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(file, error))
    throw AppError(kExitInput,
                   "cannot read the music '" + file.string() + "': " +
                       (std::filesystem::exists(file, error) ? "not a file" : "no such file"));
  // ffprobe comes with ffmpeg, beside it.
  const std::string ffmpeg = FindFfmpeg();
  const std::string ffprobe =
      ffmpeg.empty() ? std::string()
                     : (std::filesystem::path(ffmpeg).parent_path() / "ffprobe").string();
  if (ffprobe.empty() || ::access(ffprobe.c_str(), X_OK) != 0)
    throw AppError(kExitOutput,
                   "music needs the ffmpeg and ffprobe programs (Debian package 'ffmpeg')");
  // The first audio stream's length, or the file's when the stream does not say.
  const auto [out, status] =
      RunCapturing({ffprobe, "-v", "error", "-select_streams", "a:0", "-show_entries",
                    "stream=codec_type,duration:format=duration", "-of", "default=nw=1",
                    std::filesystem::absolute(file).string()});
  const bool sound = out.find("codec_type=audio") != std::string::npos;
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 || !sound)
    throw AppError(kExitInput,
                   "cannot use the music '" + file.string() + "': ffprobe finds no sound in it");
  double seconds = 0;
  std::size_t at = 0;
  while ((at = out.find("duration=", at)) != std::string::npos) {
    at += 9;
    const std::string value = out.substr(at, out.find('\n', at) - at);
    if (ParseNumber(value, seconds) && seconds > 0) return seconds;
  }
  throw AppError(kExitInput,
                 "cannot use the music '" + file.string() + "': its length is not known");
}

}  // namespace kelo
