// Where rendered frames go: PNG frame files, animated WebP, GIF, MP4/WebM through ffmpeg, or
// raw RGB. A sink writes under temporary names and moves its output into place in Finish();
// a sink destroyed without Finish() removes everything it wrote.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "app/FramePattern.h"
#include "app/Host.h"

namespace kelo {

enum class OutputKind { kPngFrames, kPng, kWebP, kGif, kMp4, kWebM, kRaw };

struct VideoFormat {
  unsigned width = 0;
  unsigned height = 0;
  double fps = 30;
};

class FrameSink {
 public:
  virtual ~FrameSink() = default;
  // `repeat` consecutive frames that all show `picture` (24-bit RGB of the sink's size).
  virtual void Add(ICIF* picture, int repeat) = 0;
  // Completes the output and moves it into place.
  virtual void Finish() = 0;
  // The files the sink made (after Finish).
  virtual std::vector<std::filesystem::path> Outputs() const = 0;
};

// What kind of output a path asks for: a frame pattern such as "frames/%04d.png", or the
// extension .webp, .gif, .mp4, .webm or .rgb. Throws a usage error for anything else.
OutputKind OutputKindOf(const std::filesystem::path& output);

// The largest WebP side (the format's own limit) and the highest GIF frame rate: GIF delays are
// whole hundredths of a second, and browsers play those under 2 as 10.
inline constexpr unsigned kMaxWebPSide = 16383;
inline constexpr double kMaxGifFps = 50;
// Throws a usage error when the output's format cannot hold frames of this size.
void CheckOutputSize(const std::filesystem::path& output, unsigned width, unsigned height);

// The ffmpeg program on PATH, or empty.
std::string FindFfmpeg();
// The ffmpeg program a video output needs; throws an output error saying what to install and
// what works without it.
std::string RequireFfmpeg(const std::filesystem::path& output);

// Music under a video: `file` (anything ffmpeg reads) is looped when shorter than the video and
// cut at its end, `seconds`, fading out over the last kFadeOutSeconds when `fadeOut` is set.
struct SoundTrack {
  std::filesystem::path file;
  double seconds = 0;
  bool fadeOut = true;
};
inline constexpr double kFadeOutSeconds = 2;
// True when the output kind can carry a sound track (MP4 and WebM).
bool HoldsSound(OutputKind kind);

// A sink for the output (the kind from OutputKindOf; kPng is not a video kind). Checks the
// size, and that ffmpeg is there for MP4 and WebM; a GIF above kMaxGifFps is capped to it.
// `sound`, for MP4 and WebM only, is muxed in.
std::unique_ptr<FrameSink> MakeSink(const std::filesystem::path& output, VideoFormat format,
                                    const SoundTrack* sound = nullptr);

// Passes frames arriving at `fps` on to `sink` at `cappedFps` (lower): each output frame shows the
// frame that was showing when it starts, frames that fall between two are dropped, and the last
// frame given is always the last one shown.
std::unique_ptr<FrameSink> MakeFrameRateCap(std::unique_ptr<FrameSink> sink, double fps,
                                            double cappedFps);

// Forwards every frame to several sinks, in order.
std::unique_ptr<FrameSink> MakeTeeSink(std::vector<std::unique_ptr<FrameSink>> sinks);

// Counts frames and writes nothing (for measuring rendering alone).
class CountingSink : public FrameSink {
 public:
  void Add(ICIF*, int repeat) override { frames_ += repeat; }
  void Finish() override {}
  std::vector<std::filesystem::path> Outputs() const override { return {}; }
  long Frames() const { return frames_; }

 private:
  long frames_ = 0;
};

}  // namespace kelo
