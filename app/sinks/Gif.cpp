// GIF, looping, 256 colours per frame. A picture held for several frames is one frame that lasts
// longer (split where its delay passes what one frame can say).
#include <gif_lib.h>

#include <algorithm>

#include "app/Errors.h"
#include "app/sinks/FileSink.h"

namespace kelo {

namespace {

class GifSink final : public FileSink {
 public:
  GifSink(std::filesystem::path output, VideoFormat format) : FileSink(std::move(output), format) {
    if (format.width > 65535 || format.height > 65535)
      throw AppError(kExitUsage, "a GIF cannot be larger than 65535x65535");
    // Opened here rather than by giflib, which would make the file readable by its owner only.
    FileDescriptor fd = CreateTemporary(0666);
    int error = 0;
    gif_.reset(EGifOpenFileHandle(fd.Get(), &error));
    if (!gif_) Fail(GifErrorString(error));
    // From here the handle owns the descriptor and closes it with itself, even when a later
    // step throws.
    fd.Release();
    EGifSetGifVersion(gif_.get(), true);
    Check(EGifPutScreenDesc(gif_.get(), static_cast<int>(format.width),
                            static_cast<int>(format.height), 8, 0, nullptr));
    // Loop for ever (the application extension that browsers read).
    static const GifByteType kLoop[] = {1, 0, 0};
    Check(EGifPutExtensionLeader(gif_.get(), APPLICATION_EXT_FUNC_CODE));
    Check(EGifPutExtensionBlock(gif_.get(), 11, "NETSCAPE2.0"));
    Check(EGifPutExtensionBlock(gif_.get(), 3, kLoop));
    Check(EGifPutExtensionTrailer(gif_.get()));
    const std::size_t pixels = static_cast<std::size_t>(format.width) * format.height;
    red_.resize(pixels);
    green_.resize(pixels);
    blue_.resize(pixels);
    indices_.resize(pixels);
  }

  void Add(ICIF* picture, int repeat) override {
    const PixelView view = Frame(picture);
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
      Fail("GIF colour quantization failed");
    const std::unique_ptr<ColorMapObject, MapDeleter> map(GifMakeMapObject(256, palette));
    if (!map) throw AppError(kExitFailure, "out of memory");
    // Delays are in hundredths of a second, at most 65535 per frame: a long hold is split.
    const long end = frames_ + repeat;
    long delay = Timestamp(end, format_.fps, 100) - Timestamp(frames_, format_.fps, 100);
    frames_ = end;
    do {
      const long part = std::min(delay, 65535L);
      delay -= part;
      GraphicsControlBlock control{};
      control.DisposalMode = DISPOSAL_UNSPECIFIED;
      control.DelayTime = static_cast<int>(part);
      control.TransparentColor = NO_TRANSPARENT_COLOR;
      GifByteType extension[4];
      const std::size_t length = EGifGCBToExtension(&control, extension);
      Check(EGifPutExtension(gif_.get(), GRAPHICS_EXT_FUNC_CODE, static_cast<int>(length),
                             extension));
      Check(EGifPutImageDesc(gif_.get(), 0, 0, static_cast<int>(view.width),
                             static_cast<int>(view.height), false, map.get()));
      for (unsigned y = 0; y < view.height; ++y)
        Check(EGifPutLine(gif_.get(), indices_.data() + static_cast<std::size_t>(y) * view.width,
                          static_cast<int>(view.width)));
    } while (delay > 0);
  }

 private:
  struct GifCloser {
    void operator()(GifFileType* gif) const { EGifCloseFile(gif, nullptr); }
  };
  struct MapDeleter {
    void operator()(ColorMapObject* map) const { GifFreeMapObject(map); }
  };

  void Check(int result) const {
    if (result != GIF_OK) Fail(GifErrorString(gif_->Error));
  }

  void Complete() override {
    int error = 0;
    // Closing frees the handle whatever the result.
    if (EGifCloseFile(gif_.release(), &error) != GIF_OK) Fail(GifErrorString(error));
  }

  std::unique_ptr<GifFileType, GifCloser> gif_;
  std::vector<GifByteType> red_, green_, blue_, indices_;
  long frames_ = 0;
};

}  // namespace

std::unique_ptr<FrameSink> MakeGifSink(const std::filesystem::path& output, VideoFormat format) {
  return std::make_unique<GifSink>(output, format);
}

}  // namespace kelo
