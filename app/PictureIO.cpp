#include "app/PictureIO.h"

#include <jerror.h>
#include <jpeglib.h>
#include <png.h>

#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "app/Errors.h"
#include "app/Files.h"

namespace kelo {

namespace {

// Pictures larger than this are refused rather than risking an allocation failure mid-way.
constexpr std::uint64_t kMaxPixels = 1ull << 28;

struct FileCloser {
  void operator()(std::FILE* file) const {
    if (file != nullptr) std::fclose(file);
  }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

[[noreturn]] void InputError(const std::filesystem::path& path, const std::string& what) {
  throw AppError(kExitInput, "cannot read '" + path.string() + "': " + what);
}

File OpenInput(const std::filesystem::path& path) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) InputError(path, "it is a folder");
  File file(std::fopen(path.c_str(), "rb"));
  if (!file) InputError(path, std::strerror(errno));
  return file;
}

void CheckSize(const std::filesystem::path& path, std::uint64_t width, std::uint64_t height) {
  if (width == 0 || height == 0 || width * height > kMaxPixels)
    InputError(path,
               "unsupported picture size " + std::to_string(width) + "x" + std::to_string(height));
}

// Places `source` (tightly packed RGB rows, as stored in the file) into `target` turned upright
// for the EXIF orientation.
void ApplyOrientation(const cv::Mat& source, cv::Mat& target, int orientation) {
  switch (orientation) {
    case 2:
      cv::flip(source, target, 1);
      break;
    case 3:
      cv::flip(source, target, -1);
      break;
    case 4:
      cv::flip(source, target, 0);
      break;
    case 5:
      cv::transpose(source, target);
      break;
    case 6:
      cv::rotate(source, target, cv::ROTATE_90_CLOCKWISE);
      break;
    case 7: {
      cv::Mat transposed;
      cv::transpose(source, transposed);
      cv::flip(transposed, target, -1);
      break;
    }
    case 8:
      cv::rotate(source, target, cv::ROTATE_90_COUNTERCLOCKWISE);
      break;
    default:
      source.copyTo(target);
      break;
  }
}

// ---- JPEG

struct JpegErrors {
  jpeg_error_mgr manager;
  std::jmp_buf jump;
  char message[JMSG_LENGTH_MAX];
};

void JpegFail(j_common_ptr info) {
  auto* errors = reinterpret_cast<JpegErrors*>(info->err);
  (*info->err->format_message)(info, errors->message);
  std::longjmp(errors->jump, 1);
}

void JpegMessage(j_common_ptr info, int level) {
  // A file that ends early decodes as grey: treat it as the damaged file it is.
  if (level == -1 && info->err->msg_code == JWRN_JPEG_EOF) JpegFail(info);
}

// Everything the decoder touches after setjmp lives here, on the heap, so a longjmp leaves
// nothing indeterminate behind.
struct JpegReader {
  jpeg_decompress_struct info{};
  JpegErrors errors{};
  bool created = false;
  File file;
  ComPtr<ICIF> picture;
  std::vector<unsigned char> buffer;
  std::vector<unsigned char> cmykRow;
  ~JpegReader() {
    if (created) jpeg_destroy_decompress(&info);
  }
};

int FindOrientation(jpeg_decompress_struct& info) {
  for (jpeg_saved_marker_ptr marker = info.marker_list; marker != nullptr; marker = marker->next)
    if (marker->marker == JPEG_APP0 + 1)
      if (int orientation = ExifOrientation({marker->data, marker->data_length}); orientation != 1)
        return orientation;
  return 1;
}

ComPtr<ICIF> DecodeJpeg(const Host& host, const std::filesystem::path& path, File file) {
  auto reader = std::make_unique<JpegReader>();
  reader->file = std::move(file);
  reader->info.err = jpeg_std_error(&reader->errors.manager);
  reader->errors.manager.error_exit = JpegFail;
  reader->errors.manager.emit_message = JpegMessage;
  if (setjmp(reader->errors.jump)) InputError(path, reader->errors.message);
  jpeg_create_decompress(&reader->info);
  reader->created = true;
  jpeg_stdio_src(&reader->info, reader->file.get());
  jpeg_save_markers(&reader->info, JPEG_APP0 + 1, 0xFFFF);
  jpeg_read_header(&reader->info, TRUE);
  jpeg_decompress_struct& info = reader->info;
  const bool cmyk = info.jpeg_color_space == JCS_CMYK || info.jpeg_color_space == JCS_YCCK;
  info.out_color_space = cmyk ? JCS_CMYK : JCS_RGB;
  jpeg_start_decompress(&info);
  const unsigned width = info.output_width, height = info.output_height;
  CheckSize(path, width, height);
  const int orientation = FindOrientation(info);
  const bool turned = orientation >= 5 && orientation <= 8;
  reader->picture = host.NewPicture(turned ? height : width, turned ? width : height);
  const PixelView target = View(reader->picture.Get());

  // Upright pictures decode straight into the host picture; others through one buffer.
  const bool direct = orientation == 1 && !cmyk;
  if (!direct) reader->buffer.resize(static_cast<std::size_t>(width) * height * 3);
  std::vector<unsigned char>& cmykRow = reader->cmykRow;
  if (cmyk) cmykRow.resize(static_cast<std::size_t>(width) * 4);
  while (info.output_scanline < height) {
    const unsigned y = info.output_scanline;
    unsigned char* row =
        direct ? target.Row(y) : reader->buffer.data() + static_cast<std::size_t>(y) * width * 3;
    JSAMPROW rows[1] = {cmyk ? cmykRow.data() : row};
    jpeg_read_scanlines(&info, rows, 1);
    if (cmyk) {
      // Adobe's files store the inks inverted.
      const bool inverted = info.saw_Adobe_marker;
      for (unsigned x = 0; x < width; ++x) {
        const unsigned char* ink = &cmykRow[x * 4];
        const unsigned k = inverted ? ink[3] : 255u - ink[3];
        for (int c = 0; c < 3; ++c) {
          const unsigned value = inverted ? ink[c] : 255u - ink[c];
          row[x * 3 + c] = static_cast<unsigned char>((value * k + 127) / 255);
        }
      }
    }
  }
  jpeg_finish_decompress(&info);
  if (!direct) {
    const cv::Mat source(static_cast<int>(height), static_cast<int>(width), CV_8UC3,
                         reader->buffer.data());
    cv::Mat upright(static_cast<int>(target.height), static_cast<int>(target.width), CV_8UC3,
                    target.first, static_cast<std::size_t>(target.stride));
    ApplyOrientation(source, upright, orientation);
  }
  return std::move(reader->picture);
}

// ---- PNG

ComPtr<ICIF> DecodePng(const Host& host, const std::filesystem::path& path, File file) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_stdio(&image, file.get())) InputError(path, image.message);
  struct Guard {
    png_image* image;
    ~Guard() { png_image_free(image); }
  } guard{&image};
  CheckSize(path, image.width, image.height);
  image.format = PNG_FORMAT_RGB;
  auto picture = host.NewPicture(image.width, image.height);
  const PixelView target = View(picture.Get());
  const png_color black{0, 0, 0};
  // The row stride is counted in components, which are bytes for 8-bit RGB.
  if (!png_image_finish_read(&image, &black, target.first, target.stride, nullptr))
    InputError(path, image.message);
  return picture;
}

// ---- Writing

struct PngWriter {
  png_structp png = nullptr;
  png_infop info = nullptr;
  File file;
  char message[200] = "";
  ~PngWriter() { png_destroy_write_struct(&png, &info); }
};

void PngFail(png_structp png, png_const_charp message) {
  auto* writer = static_cast<PngWriter*>(png_get_error_ptr(png));
  std::snprintf(writer->message, sizeof writer->message, "%s", message);
  png_longjmp(png, 1);
}
void PngWarn(png_structp, png_const_charp) {}

}  // namespace

int ExifOrientation(std::span<const std::uint8_t> data) {
  // "Exif\0\0", then a TIFF header (byte order, 42, offset of the first directory).
  if (data.size() < 14 || std::memcmp(data.data(), "Exif\0\0", 6) != 0) return 1;
  const std::span<const std::uint8_t> tiff = data.subspan(6);
  const bool little = tiff[0] == 'I' && tiff[1] == 'I';
  if (!little && !(tiff[0] == 'M' && tiff[1] == 'M')) return 1;
  auto read16 = [&](std::size_t at) -> std::uint32_t {
    return little ? tiff[at] | tiff[at + 1] << 8 : tiff[at] << 8 | tiff[at + 1];
  };
  auto read32 = [&](std::size_t at) -> std::uint32_t {
    return little ? read16(at) | read16(at + 2) << 16 : read16(at) << 16 | read16(at + 2);
  };
  if (read16(2) != 42) return 1;
  const std::uint32_t directory = read32(4);
  if (directory > tiff.size() || tiff.size() - directory < 2) return 1;
  const std::uint32_t count = read16(directory);
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::size_t entry = directory + 2 + static_cast<std::size_t>(i) * 12;
    if (entry + 12 > tiff.size()) return 1;
    // Tag 0x0112 (Orientation), type 3 (SHORT), one value stored in the entry itself.
    if (read16(entry) == 0x0112 && read16(entry + 2) == 3) {
      const std::uint32_t value = read16(entry + 8);
      return value >= 1 && value <= 8 ? static_cast<int>(value) : 1;
    }
  }
  return 1;
}

namespace {

enum class FileFormat { kPng, kJpeg };

FileFormat Probe(const std::filesystem::path& path, File& file) {
  std::error_code error;
  if (!std::filesystem::exists(path, error)) InputError(path, "no such file");
  file = OpenInput(path);
  unsigned char magic[8] = {};
  const std::size_t got = std::fread(magic, 1, sizeof magic, file.get());
  std::rewind(file.get());
  if (got >= 8 && png_sig_cmp(magic, 0, 8) == 0) return FileFormat::kPng;
  if (got >= 3 && magic[0] == 0xFF && magic[1] == 0xD8 && magic[2] == 0xFF)
    return FileFormat::kJpeg;
  if (got == 0) InputError(path, "the file is empty");
  InputError(path, "not a PNG or JPEG picture");
}

}  // namespace

void ProbePicture(const std::filesystem::path& path) {
  File file;
  Probe(path, file);
}

ComPtr<ICIF> DecodePicture(const Host& host, const std::filesystem::path& path) {
  File file;
  if (Probe(path, file) == FileFormat::kPng) return DecodePng(host, path, std::move(file));
  return DecodeJpeg(host, path, std::move(file));
}

void SavePng(const std::filesystem::path& path, const PixelView& view, int level) {
  if (view.bitsPerPixel != 24 && view.bitsPerPixel != 32)
    throw AppError(kExitFailure,
                   "cannot write a " + std::to_string(view.bitsPerPixel) + "-bit picture as PNG");
  TemporaryFile output(path);
  {
    auto writer = std::make_unique<PngWriter>();
    writer->file.reset(std::fopen(output.Path().c_str(), "wb"));
    if (!writer->file)
      throw AppError(kExitOutput, "cannot write '" + path.string() + "': " + std::strerror(errno));
    writer->png = png_create_write_struct(PNG_LIBPNG_VER_STRING, writer.get(), PngFail, PngWarn);
    if (writer->png == nullptr) throw AppError(kExitFailure, "libpng could not start");
    writer->info = png_create_info_struct(writer->png);
    if (setjmp(png_jmpbuf(writer->png)))
      throw AppError(kExitOutput, "cannot write '" + path.string() + "': " + writer->message);
    png_init_io(writer->png, writer->file.get());
    png_set_compression_level(writer->png, level);
    png_set_IHDR(writer->png, writer->info, view.width, view.height, 8,
                 view.bitsPerPixel == 32 ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(writer->png, writer->info);
    for (unsigned y = 0; y < view.height; ++y) png_write_row(writer->png, view.Row(y));
    png_write_end(writer->png, writer->info);
    std::FILE* file = writer->file.release();
    if (std::fflush(file) != 0 || std::ferror(file) != 0) {
      std::fclose(file);
      throw AppError(kExitOutput, "cannot write '" + path.string() + "': " + std::strerror(errno));
    }
    if (std::fclose(file) != 0)
      throw AppError(kExitOutput, "cannot write '" + path.string() + "': " + std::strerror(errno));
  }
  output.Commit();
}

}  // namespace kelo
