// What the output formats share: the base of the outputs written as one file, frame checks,
// timestamps, raw frame writing, and each format's factory (one format per file beside this one).
#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "app/Files.h"
#include "app/Sinks.h"

namespace kelo {

// Throws an output error naming the file.
[[noreturn]] void WriteError(const std::filesystem::path& path, const std::string& what);

// The frame's rows, after checking that it is 24-bit RGB of the output's size.
PixelView CheckedView(ICIF* picture, const VideoFormat& format);

// The time from the start to frame `index` in units of 1/unitsPerSecond, rounded per frame so
// that the durations of the frames add up to the exact total.
long Timestamp(long index, double fps, double unitsPerSecond);

// An open file descriptor, closed when it goes.
class FileDescriptor {
 public:
  explicit FileDescriptor(int fd = -1) : fd_(fd) {}
  ~FileDescriptor() { Close(); }
  FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept;
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;

  int Get() const { return fd_; }
  // Hands the descriptor to a new owner.
  int Release() { return std::exchange(fd_, -1); }
  // Closes it now: 0, or -1 with errno set.
  int Close();

 private:
  int fd_;
};

// `size` bytes written to a descriptor; `fail` is called with errno when a write fails.
void WriteBytes(int fd, const unsigned char* data, std::size_t size,
                const std::function<void(int)>& fail);
// `repeat` copies of a frame's rows written to a descriptor; `fail` is called with errno when a
// write fails.
void WriteFrame(int fd, const PixelView& view, int repeat, const std::function<void(int)>& fail);

// An output written as one file: under a hidden temporary name beside the target, renamed into
// place when Finish completes it, and removed if the sink goes unfinished.
class FileSink : public FrameSink {
 public:
  void Finish() final {
    Complete();
    file_.Commit();
  }
  std::vector<std::filesystem::path> Outputs() const final { return {output_}; }

 protected:
  FileSink(std::filesystem::path output, VideoFormat format)
      : output_(std::move(output)), format_(format), file_(output_) {}
  // Ends the format's data in the temporary file; throws when that fails.
  virtual void Complete() = 0;

  const std::filesystem::path& Temporary() const { return file_.Path(); }
  // Creates the temporary file for writing with the given permission bits (before the umask).
  FileDescriptor CreateTemporary(mode_t mode) const;
  PixelView Frame(ICIF* picture) const { return CheckedView(picture, format_); }
  [[noreturn]] void Fail(const std::string& what) const { WriteError(output_, what); }

  const std::filesystem::path output_;
  const VideoFormat format_;

 private:
  TemporaryFile file_;
};

std::unique_ptr<FrameSink> MakePngFramesSink(const std::filesystem::path& pattern,
                                             VideoFormat format);
std::unique_ptr<FrameSink> MakeWebPSink(const std::filesystem::path& output, VideoFormat format);
std::unique_ptr<FrameSink> MakeGifSink(const std::filesystem::path& output, VideoFormat format);
std::unique_ptr<FrameSink> MakeRawSink(const std::filesystem::path& output, VideoFormat format);
// MP4 (H.264, AAC) or, with `webm`, WebM (VP9, Opus), encoded by the ffmpeg program at
// `program`, with `sound` when given.
std::unique_ptr<FrameSink> MakeFfmpegSink(const std::filesystem::path& output, VideoFormat format,
                                          bool webm, const std::string& program,
                                          const SoundTrack* sound = nullptr);

}  // namespace kelo
