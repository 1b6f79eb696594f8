// GIF, looping, 256 colours per frame: libgd's median cut chooses each frame's palette and
// dithers the frame onto it by error diffusion, so smooth gradients show no bands. Each frame is
// quantized and compressed on a worker thread; the file gets the frames in order. A picture held
// for several frames is one frame that lasts longer (split where its delay passes what one frame
// can say).
#include <gd.h>
#include <gif_lib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "app/Errors.h"
#include "app/sinks/FileSink.h"
#include "app/sinks/OrderedJobs.h"

namespace kelo {

namespace {

struct ImageDeleter {
  void operator()(gdImage* image) const { gdImageDestroy(image); }
};
using GdImage = std::unique_ptr<gdImage, ImageDeleter>;

struct GifCloser {
  void operator()(GifFileType* gif) const { EGifCloseFile(gif, nullptr); }
};
using GifHandle = std::unique_ptr<GifFileType, GifCloser>;

struct MapDeleter {
  void operator()(ColorMapObject* map) const { GifFreeMapObject(map); }
};

// A frame's image block (descriptor, colour table, compressed pixels) and how long the frame
// lasts, in hundredths of a second.
struct EncodedFrame {
  std::vector<GifByteType> image;
  long delay;
};

int AppendBytes(GifFileType* gif, const GifByteType* data, int length) {
  try {
    auto* bytes = static_cast<std::vector<GifByteType>*>(gif->UserData);
    bytes->insert(bytes->end(), data, data + length);
    return length;
  } catch (...) {  // no exception may cross giflib
    return 0;
  }
}

// Quantizes a true-colour frame in place and returns its image block. giflib writes whole streams
// only, so the block is written into a stream of its own in memory and taken out of it: a GIF
// stream is a header followed by blocks that stand on their own.
std::vector<GifByteType> EncodeImage(gdImage* image, const std::filesystem::path& output) {
  // The method named rather than left to libgd's default, which depends on how it was built.
  gdImageTrueColorToPaletteSetMethod(image, GD_QUANT_JQUANT, 0);
  if (!gdImageTrueColorToPalette(image, 1, 256))
    WriteError(output, "GIF colour quantization failed");
  GifColorType palette[256] = {};
  for (int i = 0; i < std::min(gdImageColorsTotal(image), 256); ++i)
    palette[i] = {static_cast<GifByteType>(image->red[i]),
                  static_cast<GifByteType>(image->green[i]),
                  static_cast<GifByteType>(image->blue[i])};
  const std::unique_ptr<ColorMapObject, MapDeleter> map(GifMakeMapObject(256, palette));
  if (!map) throw AppError(kExitFailure, "out of memory");

  std::vector<GifByteType> bytes;
  int error = 0;
  GifHandle gif(EGifOpen(&bytes, AppendBytes, &error));
  if (!gif) WriteError(output, GifErrorString(error));
  const auto check = [&](int result) {
    if (result != GIF_OK) WriteError(output, GifErrorString(gif->Error));
  };
  check(EGifPutScreenDesc(gif.get(), image->sx, image->sy, 8, 0, nullptr));
  const std::size_t start = bytes.size();
  check(EGifPutImageDesc(gif.get(), 0, 0, image->sx, image->sy, false, map.get()));
  // The last line completes the block.
  for (int y = 0; y < image->sy; ++y) check(EGifPutLine(gif.get(), image->pixels[y], image->sx));
  const std::size_t end = bytes.size();
  gif.reset();  // writes the stream's trailer, which is no part of the frame
  bytes.resize(end);
  bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(start));
  return bytes;
}

class GifSink final : public FileSink {
 public:
  GifSink(std::filesystem::path output, VideoFormat format) : FileSink(std::move(output), format) {
    if (format.width > 65535 || format.height > 65535)
      throw AppError(kExitUsage, "a GIF cannot be larger than 65535x65535");
    // Opened here rather than by giflib, which would make the file readable by its owner only.
    fd_ = CreateTemporary(0666);
    int error = 0;
    // giflib hands every write straight to WriteToFile, so the image blocks written between its
    // calls land in order.
    gif_.reset(EGifOpen(this, WriteToFile, &error));
    if (!gif_) Fail(GifErrorString(error));
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
    const long end = frames_ + repeat;
    const long delay = Timestamp(end, format_.fps, 100) - Timestamp(frames_, format_.fps, 100);
    frames_ = end;
    jobs_.Start(
        [image = std::move(image), delay, output = output_] {
          return EncodedFrame{EncodeImage(image.get(), output), delay};
        },
        [this](EncodedFrame frame) { Write(frame); });
  }

 private:
  static int WriteToFile(GifFileType* gif, const GifByteType* data, int length) {
    auto* sink = static_cast<GifSink*>(gif->UserData);
    bool failed = false;
    WriteBytes(sink->fd_.Get(), data, static_cast<std::size_t>(length),
               [&](int) { failed = true; });
    return failed ? 0 : length;
  }

  void Check(int result) const {
    if (result != GIF_OK) Fail(GifErrorString(gif_->Error));
  }

  void Write(const EncodedFrame& frame) {
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
      WriteBytes(fd_.Get(), frame.image.data(), frame.image.size(),
                 [&](int error) { Fail(std::strerror(error)); });
    } while (delay > 0);
  }

  void Complete() override {
    jobs_.Drain([this](EncodedFrame frame) { Write(frame); });
    int error = 0;
    // Closing writes the trailer and frees the handle whatever the result.
    if (EGifCloseFile(gif_.release(), &error) != GIF_OK) Fail(GifErrorString(error));
    if (fd_.Close() != 0) Fail(std::strerror(errno));
  }

  FileDescriptor fd_;
  GifHandle gif_;
  long frames_ = 0;
  // Last, so that it is destroyed first: waiting for the jobs still running.
  OrderedJobs<EncodedFrame> jobs_;
};

}  // namespace

std::unique_ptr<FrameSink> MakeGifSink(const std::filesystem::path& output, VideoFormat format) {
  return std::make_unique<GifSink>(output, format);
}

}  // namespace kelo
