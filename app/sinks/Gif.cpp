// GIF, looping, 256 colours per frame: libgd's median cut chooses each frame's palette and
// dithers the frame onto it by error diffusion, so smooth gradients show no bands. Frames are
// quantized on worker threads and giflib writes them in order. A picture held for several frames
// is one frame that lasts longer (split where its delay passes what one frame can say).
#include <gd.h>
#include <gif_lib.h>

#include <algorithm>

#include "app/Errors.h"
#include "app/sinks/FileSink.h"
#include "app/sinks/OrderedJobs.h"

namespace kelo {

namespace {

struct ImageDeleter {
  void operator()(gdImage* image) const { gdImageDestroy(image); }
};
using GdImage = std::unique_ptr<gdImage, ImageDeleter>;

// A frame in palette form and how long it lasts, in hundredths of a second.
struct QuantizedFrame {
  GdImage image;
  long delay;
};

void Quantize(gdImage* image, const std::filesystem::path& output) {
  // Named rather than left to libgd's default, which depends on how libgd was built.
  gdImageTrueColorToPaletteSetMethod(image, GD_QUANT_JQUANT, 0);
  if (!gdImageTrueColorToPalette(image, 1, 256))
    WriteError(output, "GIF colour quantization failed");
}

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
  }

  void Add(ICIF* picture, int repeat) override {
    const PixelView view = Frame(picture);
    GdImage image(
        gdImageCreateTrueColor(static_cast<int>(view.width), static_cast<int>(view.height)));
    if (!image) throw AppError(kExitFailure, "out of memory");
    for (unsigned y = 0; y < view.height; ++y) {
      const unsigned char* from = view.Row(y);
      int* to = image->tpixels[y];
      for (unsigned x = 0; x < view.width; ++x, from += 3)
        to[x] = gdTrueColor(from[0], from[1], from[2]);
    }
    // Delays are in hundredths of a second.
    const long end = frames_ + repeat;
    const long delay = Timestamp(end, format_.fps, 100) - Timestamp(frames_, format_.fps, 100);
    frames_ = end;
    jobs_.Start(
        [image = std::move(image), delay, output = output_]() mutable {
          Quantize(image.get(), output);
          return QuantizedFrame{std::move(image), delay};
        },
        [this](QuantizedFrame frame) { Write(frame); });
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

  void Write(const QuantizedFrame& frame) {
    const gdImage& image = *frame.image;
    GifColorType palette[256] = {};
    for (int i = 0; i < std::min(gdImageColorsTotal(&image), 256); ++i)
      palette[i] = {static_cast<GifByteType>(image.red[i]),
                    static_cast<GifByteType>(image.green[i]),
                    static_cast<GifByteType>(image.blue[i])};
    const std::unique_ptr<ColorMapObject, MapDeleter> map(GifMakeMapObject(256, palette));
    if (!map) throw AppError(kExitFailure, "out of memory");
    // At most 65535 hundredths per frame: a long hold is split.
    long delay = frame.delay;
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
      Check(EGifPutImageDesc(gif_.get(), 0, 0, image.sx, image.sy, false, map.get()));
      for (int y = 0; y < image.sy; ++y) Check(EGifPutLine(gif_.get(), image.pixels[y], image.sx));
    } while (delay > 0);
  }

  void Complete() override {
    jobs_.Drain([this](QuantizedFrame frame) { Write(frame); });
    int error = 0;
    // Closing frees the handle whatever the result.
    if (EGifCloseFile(gif_.release(), &error) != GIF_OK) Fail(GifErrorString(error));
  }

  std::unique_ptr<GifFileType, GifCloser> gif_;
  long frames_ = 0;
  // Last, so that it is destroyed first: waiting for the jobs still running.
  OrderedJobs<QuantizedFrame> jobs_;
};

}  // namespace

std::unique_ptr<FrameSink> MakeGifSink(const std::filesystem::path& output, VideoFormat format) {
  return std::make_unique<GifSink>(output, format);
}

}  // namespace kelo
