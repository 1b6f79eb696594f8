// PNG pictures through libpng's own reading calls: the size checked from the header before
// libpng starts, 16-bit samples reduced to 8 bits as they are (gamma applied only where the file
// states one), transparency blended onto the background in plain 8-bit arithmetic.
#include <png.h>

#include <cerrno>
#include <csetjmp>
#include <cstring>
#include <vector>

#include "app/PictureDecoders.h"

namespace kelo::decoders {

namespace {

std::uint32_t BigEndian32(const unsigned char* bytes) {
  return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
         std::uint32_t{bytes[2]} << 8 | bytes[3];
}

// Everything libpng touches after setjmp lives here, on the heap, so a longjmp leaves nothing
// indeterminate behind.
struct PngReader {
  png_structp png = nullptr;
  png_infop info = nullptr;
  File file;
  std::string message;
  ComPtr<ICIF> picture;
  std::vector<unsigned char> pixels;  // RGBA pictures, before blending
  std::vector<png_bytep> rows;
  ~PngReader() { png_destroy_read_struct(&png, &info, nullptr); }
};

void PngFail(png_structp png, png_const_charp message) {
  auto* reader = static_cast<PngReader*>(png_get_error_ptr(png));
  reader->message = message;
  png_longjmp(png, 1);
}
void PngWarn(png_structp, png_const_charp) {}

void PngRead(png_structp png, png_bytep data, std::size_t length) {
  auto* reader = static_cast<PngReader*>(png_get_io_ptr(png));
  if (std::fread(data, 1, length, reader->file.get()) != length)
    png_error(png, std::ferror(reader->file.get()) ? std::strerror(errno) : "the file ends early");
}

// The width and height of the header chunk that follows the signature, read before libpng is
// started; libpng refuses a file whose first chunk is no header.
void CheckHeaderSize(const std::string& name, std::FILE* file) {
  unsigned char start[24];
  const std::size_t got = std::fread(start, 1, sizeof start, file);
  std::rewind(file);
  if (got == sizeof start && std::memcmp(start + 12, "IHDR", 4) == 0)
    CheckSize(name, BigEndian32(start + 16), BigEndian32(start + 20));
}

// Blends RGBA rows onto `background`, writing RGB rows of the picture.
void Blend(const std::vector<unsigned char>& rgba, const PixelView& target, Rgb background) {
  const unsigned under[3] = {background.r, background.g, background.b};
  for (unsigned y = 0; y < target.height; ++y) {
    const unsigned char* from = &rgba[static_cast<std::size_t>(y) * target.width * 4];
    unsigned char* to = target.Row(y);
    for (unsigned x = 0; x < target.width; ++x, from += 4, to += 3) {
      const unsigned alpha = from[3];
      for (int c = 0; c < 3; ++c)
        to[c] =
            static_cast<unsigned char>((from[c] * alpha + under[c] * (255 - alpha) + 127) / 255);
    }
  }
}

}  // namespace

ComPtr<ICIF> DecodePng(const Host& host, const std::string& name, File file,
                       const DecodeOptions& options) {
  CheckHeaderSize(name, file.get());
  auto reader = std::make_unique<PngReader>();
  reader->file = std::move(file);
  reader->png = png_create_read_struct(PNG_LIBPNG_VER_STRING, reader.get(), PngFail, PngWarn);
  if (reader->png == nullptr) throw AppError(kExitFailure, "libpng could not start");
  reader->info = png_create_info_struct(reader->png);
  if (reader->info == nullptr) throw AppError(kExitFailure, "libpng could not start");
  if (setjmp(png_jmpbuf(reader->png))) InputError(name, "damaged PNG (" + reader->message + ")");
  png_structp png = reader->png;
  png_infop info = reader->info;
  png_set_read_fn(png, reader.get(), PngRead);
  png_set_user_limits(png, kMaxPictureSide, kMaxPictureSide);
  png_read_info(png, info);
  const unsigned width = png_get_image_width(png, info), height = png_get_image_height(png, info);
  CheckSize(name, width, height);

  const int type = png_get_color_type(png, info);
  // Files that state no gamma are taken as sRGB and keep their levels; others become sRGB.
  if (double gamma = 0; png_get_gAMA(png, info, &gamma) && gamma > 0)
    png_set_gamma(png, PNG_DEFAULT_sRGB, gamma);
  if (type == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(png);
  if (type == PNG_COLOR_TYPE_GRAY || type == PNG_COLOR_TYPE_GRAY_ALPHA) {
    png_set_expand_gray_1_2_4_to_8(png);
    png_set_gray_to_rgb(png);
  }
  if (png_get_valid(png, info, PNG_INFO_tRNS)) png_set_tRNS_to_alpha(png);
  png_set_scale_16(png);
  png_set_interlace_handling(png);
  png_read_update_info(png, info);
  const int channels = png_get_channels(png, info);
  if (channels != 3 && channels != 4) png_error(png, "unexpected channel count");

  reader->picture = host.NewPicture(width, height);
  const PixelView target = View(reader->picture.Get());
  reader->rows.resize(height);
  if (channels == 3) {
    for (unsigned y = 0; y < height; ++y) reader->rows[y] = target.Row(y);
  } else {
    reader->pixels.resize(static_cast<std::size_t>(width) * height * 4);
    for (unsigned y = 0; y < height; ++y)
      reader->rows[y] = &reader->pixels[static_cast<std::size_t>(y) * width * 4];
  }
  png_read_image(png, reader->rows.data());
  if (channels == 4) Blend(reader->pixels, target, options.background);
  return std::move(reader->picture);
}

}  // namespace kelo::decoders
