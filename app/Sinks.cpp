#include "app/Sinks.h"

#include <fcntl.h>
#include <gif_lib.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <webp/encode.h>
#include <webp/mux.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <optional>
#include <regex>
#include <sstream>

#include "app/Errors.h"
#include "app/Files.h"
#include "app/PictureIO.h"

extern char** environ;

namespace kelo {

namespace {

[[noreturn]] void WriteError(const std::filesystem::path& path, const std::string& what) {
  throw AppError(kExitOutput, "cannot write '" + path.string() + "': " + what);
}

PixelView CheckedView(ICIF* picture, const VideoFormat& format) {
  const PixelView view = View(picture);
  if (view.width != format.width || view.height != format.height || view.bitsPerPixel != 24)
    throw AppError(kExitFailure, "a frame of " + std::to_string(view.width) + "x" +
                                     std::to_string(view.height) + " at " +
                                     std::to_string(view.bitsPerPixel) + " bits does not fit a " +
                                     std::to_string(format.width) + "x" +
                                     std::to_string(format.height) + " RGB output");
  return view;
}

// Milliseconds (or hundredths) from the start to frame `index`, rounded per frame so that
// durations add up to the exact total.
long Timestamp(long index, double fps, double unitsPerSecond) {
  return std::lround(static_cast<double>(index) * unitsPerSecond / fps);
}

// ---- PNG frame files

class PngFramesSink : public FrameSink {
 public:
  PngFramesSink(std::filesystem::path pattern, VideoFormat format)
      : pattern_(std::move(pattern)), format_(format) {}
  ~PngFramesSink() override {
    if (finished_) return;
    std::error_code ignored;
    for (const auto& path : written_) std::filesystem::remove(path, ignored);
  }
  void Add(ICIF* picture, int repeat) override {
    const PixelView view = CheckedView(picture, format_);
    const auto first = FramePath(pattern_, next_);
    // Fast compression: frame files are many and large.
    SavePng(first, view, 2);
    written_.push_back(first);
    ++next_;
    // Repeats of the same picture are copies of the encoded file.
    for (int i = 1; i < repeat; ++i, ++next_) {
      const auto path = FramePath(pattern_, next_);
      TemporaryFile copy(path);
      std::error_code error;
      std::filesystem::copy_file(first, copy.Path(), error);
      if (error) WriteError(path, error.message());
      copy.Commit();
      written_.push_back(path);
    }
  }
  void Finish() override { finished_ = true; }
  std::vector<std::filesystem::path> Outputs() const override { return written_; }

 private:
  std::filesystem::path pattern_;
  VideoFormat format_;
  long next_ = 0;
  std::vector<std::filesystem::path> written_;
  bool finished_ = false;
};

// ---- Animated WebP

class WebPSink : public FrameSink {
 public:
  WebPSink(std::filesystem::path output, VideoFormat format)
      : output_(std::move(output)), format_(format), file_(output_) {
    WebPAnimEncoderOptions options;
    if (!WebPAnimEncoderOptionsInit(&options) || !WebPConfigInit(&config_))
      throw AppError(kExitFailure, "libwebp does not match its headers");
    options.anim_params.loop_count = 0;
    config_.quality = 85;
    config_.method = 2;  // a quick method: frames are many
    encoder_ = WebPAnimEncoderNew(static_cast<int>(format.width), static_cast<int>(format.height),
                                  &options);
    if (encoder_ == nullptr) throw AppError(kExitFailure, "libwebp could not start an animation");
  }
  ~WebPSink() override { WebPAnimEncoderDelete(encoder_); }

  void Add(ICIF* picture, int repeat) override {
    const PixelView view = CheckedView(picture, format_);
    WebPPicture frame;
    if (!WebPPictureInit(&frame))
      throw AppError(kExitFailure, "libwebp does not match its headers");
    frame.use_argb = 1;
    frame.width = static_cast<int>(view.width);
    frame.height = static_cast<int>(view.height);
    const bool imported = WebPPictureImportRGB(&frame, view.first, view.stride);
    // A repeated picture is one frame that lasts longer.
    const bool added =
        imported &&
        WebPAnimEncoderAdd(encoder_, &frame, Timestamp(frames_, format_.fps, 1000), &config_);
    WebPPictureFree(&frame);
    if (!added)
      WriteError(output_,
                 std::string("WebP encoding failed: ") + WebPAnimEncoderGetError(encoder_));
    frames_ += repeat;
  }

  void Finish() override {
    WebPData data;
    WebPDataInit(&data);
    if (!WebPAnimEncoderAdd(encoder_, nullptr, Timestamp(frames_, format_.fps, 1000), nullptr) ||
        !WebPAnimEncoderAssemble(encoder_, &data))
      WriteError(output_,
                 std::string("WebP encoding failed: ") + WebPAnimEncoderGetError(encoder_));
    std::FILE* file = std::fopen(file_.Path().c_str(), "wb");
    const bool written =
        file != nullptr && std::fwrite(data.bytes, 1, data.size, file) == data.size;
    const bool closed = file != nullptr && std::fclose(file) == 0;
    WebPDataClear(&data);
    if (!written || !closed) WriteError(output_, std::strerror(errno));
    file_.Commit();
  }
  std::vector<std::filesystem::path> Outputs() const override { return {output_}; }

 private:
  std::filesystem::path output_;
  VideoFormat format_;
  TemporaryFile file_;
  WebPConfig config_;
  WebPAnimEncoder* encoder_ = nullptr;
  long frames_ = 0;
};

// ---- GIF

class GifSink : public FrameSink {
 public:
  GifSink(std::filesystem::path output, VideoFormat format)
      : output_(std::move(output)), format_(format), file_(output_) {
    if (format.width > 65535 || format.height > 65535)
      throw AppError(kExitUsage, "a GIF cannot be larger than 65535x65535");
    // Opened here rather than by giflib, which would make the file readable by its owner only.
    const int fd = ::open(file_.Path().c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0) WriteError(output_, std::strerror(errno));
    int error = 0;
    gif_ = EGifOpenFileHandle(fd, &error);
    if (gif_ == nullptr) {
      ::close(fd);
      WriteError(output_, GifErrorString(error));
    }
    EGifSetGifVersion(gif_, true);
    Check(EGifPutScreenDesc(gif_, static_cast<int>(format.width), static_cast<int>(format.height),
                            8, 0, nullptr));
    // Loop for ever (the application extension that browsers read).
    static const GifByteType kLoop[] = {1, 0, 0};
    Check(EGifPutExtensionLeader(gif_, APPLICATION_EXT_FUNC_CODE));
    Check(EGifPutExtensionBlock(gif_, 11, "NETSCAPE2.0"));
    Check(EGifPutExtensionBlock(gif_, 3, kLoop));
    Check(EGifPutExtensionTrailer(gif_));
    const std::size_t pixels = static_cast<std::size_t>(format.width) * format.height;
    red_.resize(pixels);
    green_.resize(pixels);
    blue_.resize(pixels);
    indices_.resize(pixels);
  }
  ~GifSink() override {
    if (gif_ != nullptr) EGifCloseFile(gif_, nullptr);
  }

  void Add(ICIF* picture, int repeat) override {
    const PixelView view = CheckedView(picture, format_);
    // The quantizer takes separate colour planes.
    std::size_t at = 0;
    for (unsigned y = 0; y < view.height; ++y) {
      const unsigned char* row = view.Row(y);
      for (unsigned x = 0; x < view.width; ++x, ++at) {
        red_[at] = row[x * 3];
        green_[at] = row[x * 3 + 1];
        blue_[at] = row[x * 3 + 2];
      }
    }
    int colours = 256;
    GifColorType palette[256];
    if (GifQuantizeBuffer(view.width, view.height, &colours, red_.data(), green_.data(),
                          blue_.data(), indices_.data(), palette) == GIF_ERROR)
      WriteError(output_, "GIF colour quantization failed");
    ColorMapObject* map = GifMakeMapObject(256, palette);
    if (map == nullptr) throw AppError(kExitFailure, "out of memory");
    // Delays are in hundredths of a second, at most 65535 per frame: a long hold is split.
    long end = frames_ + repeat;
    long delay = Timestamp(end, format_.fps, 100) - Timestamp(frames_, format_.fps, 100);
    frames_ = end;
    bool ok = true;
    do {
      const long part = std::min(delay, 65535L);
      delay -= part;
      GraphicsControlBlock control{};
      control.DisposalMode = DISPOSAL_UNSPECIFIED;
      control.DelayTime = static_cast<int>(part);
      control.TransparentColor = NO_TRANSPARENT_COLOR;
      GifByteType extension[4];
      const std::size_t length = EGifGCBToExtension(&control, extension);
      ok = ok &&
           EGifPutExtension(gif_, GRAPHICS_EXT_FUNC_CODE, static_cast<int>(length), extension) ==
               GIF_OK &&
           EGifPutImageDesc(gif_, 0, 0, static_cast<int>(view.width), static_cast<int>(view.height),
                            false, map) == GIF_OK;
      for (unsigned y = 0; ok && y < view.height; ++y)
        ok = EGifPutLine(gif_, indices_.data() + static_cast<std::size_t>(y) * view.width,
                         static_cast<int>(view.width)) == GIF_OK;
    } while (ok && delay > 0);
    GifFreeMapObject(map);
    if (!ok) WriteError(output_, GifErrorString(gif_->Error));
  }

  void Finish() override {
    int error = 0;
    const int result = EGifCloseFile(gif_, &error);
    gif_ = nullptr;
    if (result != GIF_OK) WriteError(output_, GifErrorString(error));
    file_.Commit();
  }
  std::vector<std::filesystem::path> Outputs() const override { return {output_}; }

 private:
  void Check(int result) {
    if (result != GIF_OK) WriteError(output_, GifErrorString(gif_->Error));
  }
  std::filesystem::path output_;
  VideoFormat format_;
  TemporaryFile file_;
  GifFileType* gif_ = nullptr;
  std::vector<GifByteType> red_, green_, blue_, indices_;
  long frames_ = 0;
};

// ---- Raw RGB frames written to a file descriptor

void WriteAll(int fd, const unsigned char* data, std::size_t size,
              const std::function<void(int)>& fail) {
  while (size > 0) {
    const ssize_t done = ::write(fd, data, size);
    if (done < 0) {
      if (errno == EINTR) continue;
      fail(errno);
      return;
    }
    data += done;
    size -= static_cast<std::size_t>(done);
  }
}

void WriteFrame(int fd, const PixelView& view, int repeat, const std::function<void(int)>& fail) {
  for (int i = 0; i < repeat; ++i) {
    if (static_cast<std::size_t>(view.stride) == view.RowBytes()) {
      WriteAll(fd, view.first, view.RowBytes() * view.height, fail);
    } else {
      for (unsigned y = 0; y < view.height; ++y) WriteAll(fd, view.Row(y), view.RowBytes(), fail);
    }
  }
}

class RawSink : public FrameSink {
 public:
  RawSink(std::filesystem::path output, VideoFormat format)
      : output_(std::move(output)), format_(format), file_(output_) {
    fd_ = ::open(file_.Path().c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd_ < 0) WriteError(output_, std::strerror(errno));
  }
  ~RawSink() override {
    if (fd_ >= 0) ::close(fd_);
  }
  void Add(ICIF* picture, int repeat) override {
    WriteFrame(fd_, CheckedView(picture, format_), repeat,
               [&](int error) { WriteError(output_, std::strerror(error)); });
  }
  void Finish() override {
    const int result = ::close(fd_);
    fd_ = -1;
    if (result != 0) WriteError(output_, std::strerror(errno));
    file_.Commit();
  }
  std::vector<std::filesystem::path> Outputs() const override { return {output_}; }

 private:
  std::filesystem::path output_;
  VideoFormat format_;
  TemporaryFile file_;
  int fd_ = -1;
};

// ---- MP4 and WebM: raw frames piped to ffmpeg

std::string LastLine(const std::filesystem::path& path) {
  std::ifstream in(path);
  std::string line, last;
  while (std::getline(in, line))
    if (!line.empty()) last = line;
  return last;
}

class FfmpegSink : public FrameSink {
 public:
  FfmpegSink(std::filesystem::path output, VideoFormat format, bool webm,
             const std::string& program)
      : output_(std::move(output)),
        format_(format),
        file_(output_),
        log_(TemporaryPathFor(output_)) {
    std::ostringstream rate;
    rate.precision(10);
    rate << format.fps;
    const bool even = format.width % 2 == 0 && format.height % 2 == 0;
    std::vector<std::string> args = {
        program,      "-hide_banner",
        "-nostdin",   "-loglevel",
        "error",      "-y",
        "-f",         "rawvideo",
        "-pix_fmt",   "rgb24",
        "-s",         std::to_string(format.width) + "x" + std::to_string(format.height),
        "-framerate", rate.str(),
        "-i",         "pipe:0"};
    if (webm) {
      args.insert(args.end(),
                  {"-c:v", "libvpx-vp9", "-b:v", "0", "-crf", "32", "-deadline", "realtime",
                   "-cpu-used", "8", "-row-mt", "1", "-pix_fmt", "yuv420p", "-f", "webm"});
    } else {
      // 4:2:0 needs even sides; odd-sized videos keep full colour resolution instead.
      args.insert(args.end(),
                  {"-c:v", "libx264", "-preset", "veryfast", "-crf", "20", "-pix_fmt",
                   even ? "yuv420p" : "yuv444p", "-movflags", "+faststart", "-f", "mp4"});
    }
    args.push_back(file_.Path().string());

    int pipe[2];
    if (::pipe2(pipe, O_CLOEXEC) != 0) throw AppError(kExitFailure, "cannot start ffmpeg: no pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipe[0], 0);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, log_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    std::vector<char*> argv;
    for (auto& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);
    const int spawned =
        posix_spawn(&child_, program.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(pipe[0]);
    if (spawned != 0) {
      ::close(pipe[1]);
      child_ = -1;
      throw AppError(kExitFailure, "cannot start ffmpeg: " + std::string(std::strerror(spawned)));
    }
    fd_ = pipe[1];
  }
  ~FfmpegSink() override {
    if (fd_ >= 0) ::close(fd_);
    if (child_ > 0) {
      ::kill(child_, SIGTERM);
      ::waitpid(child_, nullptr, 0);
    }
    std::error_code ignored;
    std::filesystem::remove(log_, ignored);
  }

  void Add(ICIF* picture, int repeat) override {
    WriteFrame(fd_, CheckedView(picture, format_), repeat, [&](int error) {
      Wait();
      const std::string said = LastLine(log_);
      WriteError(output_, "ffmpeg stopped (" +
                              (said.empty() ? std::string(std::strerror(error)) : said) + ")");
    });
  }

  void Finish() override {
    ::close(fd_);
    fd_ = -1;
    const int status = Wait();
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
      const std::string said = LastLine(log_);
      WriteError(output_, "ffmpeg failed" + (said.empty() ? std::string() : ": " + said));
    }
    file_.Commit();
  }
  std::vector<std::filesystem::path> Outputs() const override { return {output_}; }

 private:
  int Wait() {
    int status = 0;
    if (child_ > 0) {
      while (::waitpid(child_, &status, 0) < 0 && errno == EINTR) {
      }
      child_ = -1;
    }
    return status;
  }
  std::filesystem::path output_;
  VideoFormat format_;
  TemporaryFile file_;
  std::filesystem::path log_;
  pid_t child_ = -1;
  int fd_ = -1;
};

class TeeSink : public FrameSink {
 public:
  explicit TeeSink(std::vector<std::unique_ptr<FrameSink>> sinks) : sinks_(std::move(sinks)) {}
  void Add(ICIF* picture, int repeat) override {
    for (auto& sink : sinks_) sink->Add(picture, repeat);
  }
  void Finish() override {
    for (auto& sink : sinks_) sink->Finish();
  }
  std::vector<std::filesystem::path> Outputs() const override {
    std::vector<std::filesystem::path> all;
    for (const auto& sink : sinks_)
      for (auto& path : sink->Outputs()) all.push_back(path);
    return all;
  }

 private:
  std::vector<std::unique_ptr<FrameSink>> sinks_;
};

const std::regex& PatternExpression() {
  // One printf-style integer conversion such as %d, %04d or %5d.
  static const std::regex expression("%0?[0-9]?d");
  return expression;
}

}  // namespace

bool IsFramePattern(const std::filesystem::path& output) {
  return output.filename().string().find('%') != std::string::npos;
}

std::filesystem::path FramePath(const std::filesystem::path& pattern, long index) {
  const std::string name = pattern.filename().string();
  std::smatch match;
  std::regex_search(name, match, PatternExpression());
  char number[32];
  std::snprintf(number, sizeof number, match.str().replace(match.length() - 1, 1, "ld").c_str(),
                index);
  return pattern.parent_path() / (match.prefix().str() + number + match.suffix().str());
}

OutputKind OutputKindOf(const std::filesystem::path& output) {
  const std::string extension = LowerExtension(output);
  if (IsFramePattern(output)) {
    const std::string name = output.filename().string();
    std::smatch match;
    const bool one = std::regex_search(name, match, PatternExpression()) &&
                     match.suffix().str().find('%') == std::string::npos &&
                     match.prefix().str().find('%') == std::string::npos;
    if (!one || extension != "png")
      throw AppError(kExitUsage,
                     "bad frame pattern '" + output.string() +
                         "': use one number field in a .png name, e.g. frames/%04d.png");
    return OutputKind::kPngFrames;
  }
  if (extension == "webp") return OutputKind::kWebP;
  if (extension == "gif") return OutputKind::kGif;
  if (extension == "mp4") return OutputKind::kMp4;
  if (extension == "webm") return OutputKind::kWebM;
  if (extension == "rgb") return OutputKind::kRaw;
  if (extension == "png") return OutputKind::kPng;
  throw AppError(kExitUsage, "unknown output format '" + output.string() +
                                 "': use .mp4, .webm, .webp, .gif, .rgb or a frame pattern such as "
                                 "frames/%04d.png");
}

std::string FindFfmpeg() {
  const char* path = std::getenv("PATH");
  std::istringstream folders(path != nullptr ? path : "/usr/bin:/bin");
  std::string folder;
  while (std::getline(folders, folder, ':')) {
    const auto candidate = std::filesystem::path(folder.empty() ? "." : folder) / "ffmpeg";
    if (::access(candidate.c_str(), X_OK) == 0) return candidate.string();
  }
  return {};
}

std::string RequireFfmpeg(const std::filesystem::path& output) {
  std::string program = FindFfmpeg();
  if (program.empty())
    throw AppError(kExitOutput, "'" + output.string() +
                                    "' needs the ffmpeg program (Debian package 'ffmpeg'); .webp, "
                                    ".gif, .rgb and .png frame output work without it");
  return program;
}

std::unique_ptr<FrameSink> MakeSink(const std::filesystem::path& output, VideoFormat format) {
  switch (OutputKindOf(output)) {
    case OutputKind::kPngFrames:
      return std::make_unique<PngFramesSink>(output, format);
    case OutputKind::kWebP:
      return std::make_unique<WebPSink>(output, format);
    case OutputKind::kGif:
      return std::make_unique<GifSink>(output, format);
    case OutputKind::kRaw:
      return std::make_unique<RawSink>(output, format);
    case OutputKind::kMp4:
    case OutputKind::kWebM:
      return std::make_unique<FfmpegSink>(output, format, OutputKindOf(output) == OutputKind::kWebM,
                                          RequireFfmpeg(output));
    case OutputKind::kPng:
      break;
  }
  throw AppError(kExitUsage,
                 "'" + output.string() +
                     "' is a single picture: for frames use a pattern such as frames/%04d.png");
}

std::unique_ptr<FrameSink> MakeTeeSink(std::vector<std::unique_ptr<FrameSink>> sinks) {
  return std::make_unique<TeeSink>(std::move(sinks));
}

}  // namespace kelo
