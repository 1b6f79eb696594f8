// Raw 24-bit RGB frames, one after the other, rows packed.
#include <cerrno>
#include <cstring>

#include "app/sinks/FileSink.h"

namespace kelo {

namespace {

class RawSink final : public FileSink {
 public:
  RawSink(std::filesystem::path output, VideoFormat format)
      : FileSink(std::move(output), format), fd_(CreateTemporary(0644)) {}

  void Add(ICIF* picture, int repeat) override {
    WriteFrame(fd_.Get(), Frame(picture), repeat, [&](int error) { Fail(std::strerror(error)); });
  }

 private:
  void Complete() override {
    if (fd_.Close() != 0) Fail(std::strerror(errno));
  }

  FileDescriptor fd_;
};

}  // namespace

std::unique_ptr<FrameSink> MakeRawSink(const std::filesystem::path& output, VideoFormat format) {
  return std::make_unique<RawSink>(output, format);
}

}  // namespace kelo
