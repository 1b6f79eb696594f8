// MP4 (H.264) and WebM (VP9): raw frames piped to the ffmpeg program, which writes the temporary
// file; what it says goes to a log beside it, whose last line explains a failure. ffmpeg runs in
// a process group of its own, so that a Ctrl-C at the terminal reaches only kelo, which stops it
// and removes what it wrote.
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "app/Errors.h"
#include "app/sinks/FileSink.h"

extern char** environ;

namespace kelo {

namespace {

std::string LastLine(const std::filesystem::path& path) {
  std::ifstream in(path);
  std::string line, last;
  while (std::getline(in, line))
    if (!line.empty()) last = line;
  return last;
}

std::string Decimal(double value) {
  std::ostringstream text;
  text.precision(10);
  text << value;
  return text.str();
}

// The music's input and filters: looped without end, then cut at the video's length (exactly, to
// the sample) and faded out over its last seconds.
void AddSound(std::vector<std::string>& args, const SoundTrack& sound, bool webm) {
  // Absolute, so that no file name is read as an option or a protocol ("-x", "http:...").
  args.insert(args.end(),
              {"-stream_loop", "-1", "-i", std::filesystem::absolute(sound.file).string()});
  std::string filter = "atrim=end=" + Decimal(sound.seconds) + ",asetpts=PTS-STARTPTS";
  if (sound.fadeOut) {
    const double fade = std::min(kFadeOutSeconds, sound.seconds);
    filter += ",afade=t=out:st=" + Decimal(sound.seconds - fade) + ":d=" + Decimal(fade);
  }
  args.insert(args.end(), {"-map", "0:v:0", "-map", "1:a:0", "-af", filter});
  if (webm)
    args.insert(args.end(), {"-c:a", "libopus", "-b:a", "128k"});
  else
    args.insert(args.end(), {"-c:a", "aac", "-b:a", "192k"});
}

std::vector<std::string> Arguments(const std::string& program, VideoFormat format, bool webm,
                                   const std::filesystem::path& target, const SoundTrack* sound) {
  const std::string rate = Decimal(format.fps);
  std::vector<std::string> args = {
      program,      "-hide_banner",
      "-nostdin",   "-loglevel",
      "error",      "-y",
      "-f",         "rawvideo",
      "-pix_fmt",   "rgb24",
      "-s",         std::to_string(format.width) + "x" + std::to_string(format.height),
      "-framerate", rate,
      "-i",         "pipe:0"};
  if (sound != nullptr) AddSound(args, *sound, webm);
  if (webm) {
    args.insert(args.end(),
                {"-c:v", "libvpx-vp9", "-b:v", "0", "-crf", "32", "-deadline", "realtime",
                 "-cpu-used", "8", "-row-mt", "1", "-pix_fmt", "yuv420p", "-f", "webm"});
  } else {
    // 4:2:0, which every player plays (sides made even by EncodedFormat).
    args.insert(args.end(), {"-c:v", "libx264", "-preset", "veryfast", "-crf", "20", "-pix_fmt",
                             "yuv420p", "-movflags", "+faststart", "-f", "mp4"});
  }
  args.push_back(target.string());
  return args;
}

// The size ffmpeg is given. H.264 in 4:2:0 needs even sides (ffmpeg would fall back to 4:4:4,
// which browsers and phones do not play): an odd side gets one more column or row, a copy of the
// last. VP9 takes odd sides as they are.
VideoFormat EncodedFormat(VideoFormat format, bool webm) {
  if (!webm) {
    format.width += format.width % 2;
    format.height += format.height % 2;
  }
  return format;
}

class FfmpegSink final : public FileSink {
 public:
  FfmpegSink(std::filesystem::path output, VideoFormat format, bool webm,
             const std::string& program, const SoundTrack* sound)
      : FileSink(std::move(output), format),
        encoded_(EncodedFormat(format, webm)),
        log_(TemporaryPathFor(output_)) {
    auto args = Arguments(program, encoded_, webm, Temporary(), sound);
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) throw AppError(kExitFailure, "cannot start ffmpeg: no pipe");
    const FileDescriptor read(ends[0]);
    FileDescriptor write(ends[1]);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, read.Get(), 0);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, log_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    posix_spawnattr_setpgroup(&attributes, 0);
    std::vector<char*> argv;
    for (auto& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);
    const int spawned =
        posix_spawn(&child_, program.c_str(), &actions, &attributes, argv.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
      child_ = -1;
      throw AppError(kExitFailure, "cannot start ffmpeg: " + std::string(std::strerror(spawned)));
    }
    fd_ = std::move(write);
  }
  ~FfmpegSink() override {
    fd_.Close();
    if (child_ > 0) {
      ::kill(child_, SIGTERM);
      ::waitpid(child_, nullptr, 0);
    }
    std::error_code ignored;
    std::filesystem::remove(log_, ignored);
  }

  void Add(ICIF* picture, int repeat) override {
    const PixelView view = Frame(picture);
    WriteFrame(fd_.Get(), Padded(view), repeat, [&](int error) {
      Wait();
      const std::string said = LastLine(log_);
      Fail("ffmpeg stopped (" + (said.empty() ? std::string(std::strerror(error)) : said) + ")");
    });
  }

 private:
  void Complete() override {
    fd_.Close();
    const int status = Wait();
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
      const std::string said = LastLine(log_);
      Fail("ffmpeg failed" + (said.empty() ? std::string() : ": " + said));
    }
  }

  // The frame at the encoded size: itself, or a copy with the last column or row repeated.
  PixelView Padded(const PixelView& view) {
    if (encoded_.width == view.width && encoded_.height == view.height) return view;
    const std::size_t row = static_cast<std::size_t>(encoded_.width) * 3;
    padded_.resize(row * encoded_.height);
    for (unsigned y = 0; y < encoded_.height; ++y) {
      unsigned char* to = padded_.data() + y * row;
      const unsigned char* from = view.Row(std::min(y, view.height - 1));
      std::memcpy(to, from, view.RowBytes());
      if (encoded_.width > view.width)
        std::memcpy(to + view.RowBytes(), from + view.RowBytes() - 3, 3);
    }
    PixelView padded = view;
    padded.width = encoded_.width;
    padded.height = encoded_.height;
    padded.first = padded_.data();
    padded.stride = static_cast<int>(row);
    return padded;
  }

  int Wait() {
    int status = 0;
    if (child_ > 0) {
      while (::waitpid(child_, &status, 0) < 0 && errno == EINTR) {
      }
      child_ = -1;
    }
    return status;
  }

  VideoFormat encoded_;
  std::vector<unsigned char> padded_;
  std::filesystem::path log_;
  pid_t child_ = -1;
  FileDescriptor fd_;
};

}  // namespace

std::unique_ptr<FrameSink> MakeFfmpegSink(const std::filesystem::path& output, VideoFormat format,
                                          bool webm, const std::string& program,
                                          const SoundTrack* sound) {
  return std::make_unique<FfmpegSink>(output, format, webm, program, sound);
}

}  // namespace kelo
