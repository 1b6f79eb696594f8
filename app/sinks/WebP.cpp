// Animated WebP, looping. Each frame is encoded on its own (lossy, libwebp's quickest method) on a
// worker thread and libwebp's mux puts the frames together. A frame stores only the rectangle in
// which it differs from the frame before, compared exactly, so that a slow change is never taken
// for no change and the picture cannot drift from the frames asked for; a frame without any change
// lengthens the one before, and a picture held for several frames is one frame that lasts longer.
#include <webp/encode.h>
#include <webp/mux.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>

#include "app/Errors.h"
#include "app/sinks/FileSink.h"
#include "app/sinks/OrderedJobs.h"

namespace kelo {

namespace {

// Method 0 with one segment (one quantizer for the frame) at quality 82 gives the PSNR that
// quality 85, method 2 and four segments give, in under half the time and in larger files; four
// segments would need quality 84 and more bytes for it. Measurements: docs/performance-outputs.md.
constexpr float kQuality = 82;
constexpr int kMethod = 0;
constexpr int kSegments = 1;
// A frame's duration is stored in 24 bits of milliseconds.
constexpr long kLongestFrame = (1L << 24) - 1;

// Where a frame goes on the canvas. WebP stores offsets halved, so they are even.
struct Placement {
  unsigned x = 0, y = 0, width = 0, height = 0;
};

struct PictureDeleter {
  void operator()(WebPPicture* picture) const {
    WebPPictureFree(picture);
    delete picture;
  }
};
using Picture = std::unique_ptr<WebPPicture, PictureDeleter>;

struct EncodedFrame {
  std::vector<std::uint8_t> bytes;
  Placement at;
};

int AppendBytes(const std::uint8_t* data, std::size_t size, const WebPPicture* picture) {
  try {
    auto* bytes = static_cast<std::vector<std::uint8_t>*>(picture->custom_ptr);
    bytes->insert(bytes->end(), data, data + size);
    return 1;
  } catch (...) {  // no exception may cross libwebp
    return 0;
  }
}

EncodedFrame Encode(const WebPConfig& config, Picture picture, Placement at,
                    const std::filesystem::path& output) {
  EncodedFrame frame{{}, at};
  picture->writer = AppendBytes;
  picture->custom_ptr = &frame.bytes;
  if (!WebPEncode(&config, picture.get()))
    WriteError(output, "WebP encoding failed (libwebp error " +
                           std::to_string(static_cast<int>(picture->error_code)) + ")");
  return frame;
}

class WebPSink final : public FileSink {
 public:
  WebPSink(std::filesystem::path output, VideoFormat format)
      : FileSink(std::move(output), format),
        previous_(static_cast<std::size_t>(format.width) * format.height * 3) {
    if (!WebPConfigInit(&config_))
      throw AppError(kExitFailure, "libwebp does not match its headers");
    config_.quality = kQuality;
    config_.method = kMethod;
    config_.segments = kSegments;
    mux_.reset(WebPMuxNew());
    if (!mux_) throw AppError(kExitFailure, "out of memory");
    // White behind the first frame, as libwebp's animation encoder sets it; loop for ever.
    const WebPMuxAnimParams params{0xFFFFFFFF, 0};
    if (WebPMuxSetAnimationParams(mux_.get(), &params) != WEBP_MUX_OK)
      throw AppError(kExitFailure, "libwebp could not start an animation");
  }

  void Add(ICIF* picture, int repeat) override {
    const PixelView view = Frame(picture);
    const long start = frames_;
    frames_ += repeat;
    const long duration =
        Timestamp(frames_, format_.fps, 1000) - Timestamp(start, format_.fps, 1000);
    const Placement changed = Changed(view);
    if (changed.width == 0) {
      // The frame before is still being encoded (the newest job is never taken before the next
      // frame comes), so it can still be lengthened.
      durations_.back() += duration;
      return;
    }
    Picture frame = Import(view, changed);
    durations_.push_back(duration);
    jobs_.Start(
        [config = config_, frame = std::move(frame), changed, output = output_]() mutable {
          return Encode(config, std::move(frame), changed, output);
        },
        [this](EncodedFrame encoded) { Put(std::move(encoded)); });
  }

 private:
  struct MuxDeleter {
    void operator()(WebPMux* mux) const { WebPMuxDelete(mux); }
  };

  // The smallest placement holding every pixel that differs from the previous frame (all of the
  // first frame; nothing when no pixel changed). The previous frame becomes this one.
  Placement Changed(const PixelView& view) {
    const std::size_t rowBytes = view.RowBytes();
    const auto previousRow = [&](unsigned y) {
      return previous_.data() + static_cast<std::size_t>(y) * rowBytes;
    };
    unsigned top = 0, bottom = view.height;
    std::size_t left = 0, right = rowBytes;  // bytes
    if (!first_) {
      while (top < bottom && std::memcmp(view.Row(top), previousRow(top), rowBytes) == 0) ++top;
      if (top == bottom) return {};
      while (std::memcmp(view.Row(bottom - 1), previousRow(bottom - 1), rowBytes) == 0) --bottom;
      left = rowBytes;
      right = 0;
    }
    for (unsigned y = top; y < bottom; ++y) {
      const unsigned char* row = view.Row(y);
      unsigned char* old = previousRow(y);
      std::size_t begin = 0;
      while (begin < left && row[begin] == old[begin]) ++begin;
      left = begin;
      std::size_t end = rowBytes;
      while (end > right && row[end - 1] == old[end - 1]) --end;
      right = end;
      std::memcpy(old, row, rowBytes);
    }
    first_ = false;
    const unsigned x = static_cast<unsigned>(left / 3) & ~1u, y = top & ~1u;
    return {x, y, static_cast<unsigned>((right + 2) / 3) - x, bottom - y};
  }

  Picture Import(const PixelView& view, Placement at) const {
    Picture picture(new WebPPicture{});
    if (!WebPPictureInit(picture.get()))
      throw AppError(kExitFailure, "libwebp does not match its headers");
    picture->use_argb = 0;  // straight to YUV, where the lossy encoder works
    picture->width = static_cast<int>(at.width);
    picture->height = static_cast<int>(at.height);
    if (!WebPPictureImportRGB(picture.get(), view.Row(at.y) + static_cast<std::size_t>(at.x) * 3,
                              view.stride))
      throw AppError(kExitFailure, "out of memory");
    return picture;
  }

  void Put(EncodedFrame encoded) {
    const long duration = durations_.front();
    durations_.pop_front();
    if (duration > kLongestFrame)
      Fail("a WebP frame cannot last longer than " + std::to_string(kLongestFrame / 1000) +
           " seconds");
    WebPMuxFrameInfo info{};
    info.bitstream = {encoded.bytes.data(), encoded.bytes.size()};
    info.x_offset = static_cast<int>(encoded.at.x);
    info.y_offset = static_cast<int>(encoded.at.y);
    info.duration = static_cast<int>(duration);
    info.id = WEBP_CHUNK_ANMF;
    info.dispose_method = WEBP_MUX_DISPOSE_NONE;
    info.blend_method = WEBP_MUX_NO_BLEND;  // the rectangle replaces what was there
    const WebPMuxError error = WebPMuxPushFrame(mux_.get(), &info, 1);
    if (error != WEBP_MUX_OK)
      Fail("WebP encoding failed (libwebp mux error " + std::to_string(error) + ")");
  }

  void Complete() override {
    jobs_.Drain([this](EncodedFrame encoded) { Put(std::move(encoded)); });
    WebPData data;
    WebPDataInit(&data);
    const WebPMuxError error = WebPMuxAssemble(mux_.get(), &data);
    if (error != WEBP_MUX_OK) {
      WebPDataClear(&data);
      Fail("WebP encoding failed (libwebp mux error " + std::to_string(error) + ")");
    }
    std::FILE* file = std::fopen(Temporary().c_str(), "wb");
    const bool written =
        file != nullptr && std::fwrite(data.bytes, 1, data.size, file) == data.size;
    const bool closed = file != nullptr && std::fclose(file) == 0;
    WebPDataClear(&data);
    if (!written || !closed) Fail(std::strerror(errno));
  }

  WebPConfig config_;
  std::unique_ptr<WebPMux, MuxDeleter> mux_;
  // The frame before, packed rows of RGB.
  std::vector<unsigned char> previous_;
  bool first_ = true;
  long frames_ = 0;
  // How long each frame still being encoded lasts, oldest first.
  std::deque<long> durations_;
  // Last, so that it is destroyed first: waiting for the jobs still running.
  OrderedJobs<EncodedFrame> jobs_;
};

}  // namespace

std::unique_ptr<FrameSink> MakeWebPSink(const std::filesystem::path& output, VideoFormat format) {
  return std::make_unique<WebPSink>(output, format);
}

}  // namespace kelo
