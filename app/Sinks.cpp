// Choosing the output format by name, frame patterns, finding ffmpeg, and the tee. The formats
// themselves are in app/sinks/, one per file.
#include "app/Sinks.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "app/Errors.h"
#include "app/Files.h"
#include "app/sinks/FileSink.h"

namespace kelo {

namespace {

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

}  // namespace

OutputKind OutputKindOf(const std::filesystem::path& output) {
  const std::string extension = LowerExtension(output);
  if (IsFramePattern(output)) {
    if (!HasOneNumberField(output) || extension != "png")
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

void CheckOutputSize(const std::filesystem::path& output, unsigned width, unsigned height) {
  const OutputKind kind = OutputKindOf(output);
  if (kind == OutputKind::kWebP && (width > kMaxWebPSide || height > kMaxWebPSide))
    throw AppError(kExitUsage, "a WebP animation is at most " + std::to_string(kMaxWebPSide) +
                                   " pixels a side, not " + std::to_string(width) + "x" +
                                   std::to_string(height) + ": choose a smaller --size");
}

bool HoldsSound(OutputKind kind) {
  return kind == OutputKind::kMp4 || kind == OutputKind::kWebM;
}

std::unique_ptr<FrameSink> MakeSink(const std::filesystem::path& output, VideoFormat format,
                                    const SoundTrack* sound) {
  CheckOutputSize(output, format.width, format.height);
  if (sound != nullptr && !HoldsSound(OutputKindOf(output)))
    throw AppError(kExitUsage, "'" + output.string() + "' cannot hold sound: use .mp4 or .webm");
  switch (OutputKindOf(output)) {
    case OutputKind::kPngFrames:
      return MakePngFramesSink(output, format);
    case OutputKind::kWebP:
      return MakeWebPSink(output, format);
    case OutputKind::kGif:
      if (format.fps > kMaxGifFps) {
        // Browsers play delays under 2 hundredths of a second as 10: frames above 50 fps are
        // dropped by time before they reach the encoder, rather than played slowly.
        VideoFormat capped = format;
        capped.fps = kMaxGifFps;
        return MakeFrameRateCap(MakeGifSink(output, capped), format.fps, kMaxGifFps);
      }
      return MakeGifSink(output, format);
    case OutputKind::kRaw:
      return MakeRawSink(output, format);
    case OutputKind::kMp4:
    case OutputKind::kWebM:
      return MakeFfmpegSink(output, format, OutputKindOf(output) == OutputKind::kWebM,
                            RequireFfmpeg(output), sound);
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
