// Animated WebP, looping. A picture held for several frames is one frame that lasts longer.
#include <webp/encode.h>
#include <webp/mux.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "app/Errors.h"
#include "app/sinks/FileSink.h"

namespace kelo {

namespace {

class WebPSink final : public FileSink {
 public:
  WebPSink(std::filesystem::path output, VideoFormat format) : FileSink(std::move(output), format) {
    WebPAnimEncoderOptions options;
    if (!WebPAnimEncoderOptionsInit(&options) || !WebPConfigInit(&config_))
      throw AppError(kExitFailure, "libwebp does not match its headers");
    options.anim_params.loop_count = 0;
    config_.quality = 85;
    config_.method = 2;  // a quick method: frames are many
    encoder_.reset(WebPAnimEncoderNew(static_cast<int>(format.width),
                                      static_cast<int>(format.height), &options));
    if (!encoder_) throw AppError(kExitFailure, "libwebp could not start an animation");
  }

  void Add(ICIF* picture, int repeat) override {
    const PixelView view = Frame(picture);
    WebPPicture frame;
    if (!WebPPictureInit(&frame))
      throw AppError(kExitFailure, "libwebp does not match its headers");
    frame.use_argb = 1;
    frame.width = static_cast<int>(view.width);
    frame.height = static_cast<int>(view.height);
    const bool imported = WebPPictureImportRGB(&frame, view.first, view.stride);
    const bool added =
        imported &&
        WebPAnimEncoderAdd(encoder_.get(), &frame, Timestamp(frames_, format_.fps, 1000), &config_);
    WebPPictureFree(&frame);
    if (!added) FailEncoding();
    frames_ += repeat;
  }

 private:
  struct EncoderDeleter {
    void operator()(WebPAnimEncoder* encoder) const { WebPAnimEncoderDelete(encoder); }
  };

  [[noreturn]] void FailEncoding() const {
    Fail(std::string("WebP encoding failed: ") + WebPAnimEncoderGetError(encoder_.get()));
  }

  void Complete() override {
    WebPData data;
    WebPDataInit(&data);
    if (!WebPAnimEncoderAdd(encoder_.get(), nullptr, Timestamp(frames_, format_.fps, 1000),
                            nullptr) ||
        !WebPAnimEncoderAssemble(encoder_.get(), &data))
      FailEncoding();
    std::FILE* file = std::fopen(Temporary().c_str(), "wb");
    const bool written =
        file != nullptr && std::fwrite(data.bytes, 1, data.size, file) == data.size;
    const bool closed = file != nullptr && std::fclose(file) == 0;
    WebPDataClear(&data);
    if (!written || !closed) Fail(std::strerror(errno));
  }

  WebPConfig config_;
  std::unique_ptr<WebPAnimEncoder, EncoderDeleter> encoder_;
  long frames_ = 0;
};

}  // namespace

std::unique_ptr<FrameSink> MakeWebPSink(const std::filesystem::path& output, VideoFormat format) {
  return std::make_unique<WebPSink>(output, format);
}

}  // namespace kelo
