#include "app/PictureIO.h"

#include <png.h>

#include <cerrno>
#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "app/Errors.h"
#include "app/Files.h"
#include "app/PictureDecoders.h"

namespace kelo {

namespace {

using decoders::File;
using decoders::InputError;

File OpenInput(const std::filesystem::path& path) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) InputError(path.string(), "it is a folder");
  File file(std::fopen(path.c_str(), "rb"));
  if (!file) InputError(path.string(), std::strerror(errno));
  return file;
}

// ---- Writing

struct PngWriter {
  png_structp png = nullptr;
  png_infop info = nullptr;
  File file;
  char message[200] = "";
  int error = 0;  // errno when libpng failed
  ~PngWriter() { png_destroy_write_struct(&png, &info); }
};

void PngFail(png_structp png, png_const_charp message) {
  auto* writer = static_cast<PngWriter*>(png_get_error_ptr(png));
  std::snprintf(writer->message, sizeof writer->message, "%s", message);
  writer->error = errno;
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

namespace decoders {

void InputError(const std::string& name, const std::string& what) {
  throw AppError(kExitInput, "cannot read '" + name + "': " + what);
}

void CheckSize(const std::string& name, std::uint64_t width, std::uint64_t height) {
  if (width == 0 || height == 0 || width > kMaxPictureSide || height > kMaxPictureSide ||
      width * height > kMaxPicturePixels)
    InputError(name, "unsupported picture size " + std::to_string(width) + "x" +
                         std::to_string(height) + " (at most " + std::to_string(kMaxPictureSide) +
                         " pixels a side and " + std::to_string(kMaxPicturePixels) +
                         " pixels in all)");
}

}  // namespace decoders

namespace {

enum class FileFormat { kPng, kJpeg };

// The format of an open file by its first bytes; the file is left at its start.
FileFormat Sniff(const std::string& name, std::FILE* file) {
  unsigned char magic[8] = {};
  const std::size_t got = std::fread(magic, 1, sizeof magic, file);
  std::rewind(file);
  if (got >= 8 && png_sig_cmp(magic, 0, 8) == 0) return FileFormat::kPng;
  if (got >= 3 && magic[0] == 0xFF && magic[1] == 0xD8 && magic[2] == 0xFF)
    return FileFormat::kJpeg;
  if (got == 0) InputError(name, "the file is empty");
  InputError(name, "not a PNG or JPEG picture");
}

File OpenPicture(const std::filesystem::path& path) {
  std::error_code error;
  if (!std::filesystem::exists(path, error)) InputError(path.string(), "no such file");
  return OpenInput(path);
}

ComPtr<ICIF> Decode(const Host& host, const std::string& name, File file,
                    const DecodeOptions& options) {
  if (Sniff(name, file.get()) == FileFormat::kPng)
    return decoders::DecodePng(host, name, std::move(file), options);
  return decoders::DecodeJpeg(host, name, std::move(file), options);
}

}  // namespace

void ProbePicture(const std::filesystem::path& path) {
  Sniff(path.string(), OpenPicture(path).get());
}

ComPtr<ICIF> DecodePicture(const Host& host, const std::filesystem::path& path,
                           const DecodeOptions& options) {
  return Decode(host, path.string(), OpenPicture(path), options);
}

ComPtr<ICIF> DecodePictureBytes(const Host& host, std::span<const std::uint8_t> bytes,
                                const std::string& name, const DecodeOptions& options) {
  if (bytes.empty()) InputError(name, "the file is empty");
  // fmemopen only reads: the bytes are not changed.
  File file(fmemopen(const_cast<std::uint8_t*>(bytes.data()), bytes.size(), "rb"));
  if (!file) InputError(name, std::strerror(errno));
  return Decode(host, name, std::move(file), options);
}

void WritePngFile(const std::filesystem::path& file, const std::string& name, const PixelView& view,
                  int level) {
  if (view.bitsPerPixel != 24 && view.bitsPerPixel != 32)
    throw AppError(kExitFailure,
                   "cannot write a " + std::to_string(view.bitsPerPixel) + "-bit picture as PNG");
  auto fail = [&](const std::string& why) {
    throw AppError(kExitOutput, "cannot write '" + name + "': " + why);
  };
  auto writer = std::make_unique<PngWriter>();
  writer->file.reset(std::fopen(file.c_str(), "wb"));
  if (!writer->file) fail(std::strerror(errno));
  writer->png = png_create_write_struct(PNG_LIBPNG_VER_STRING, writer.get(), PngFail, PngWarn);
  if (writer->png == nullptr) throw AppError(kExitFailure, "libpng could not start");
  writer->info = png_create_info_struct(writer->png);
  // libpng says only "Write Error" when the file cannot take the data: the system says why.
  errno = 0;
  if (setjmp(png_jmpbuf(writer->png)))
    fail(writer->error != 0 ? std::strerror(writer->error) : writer->message);
  png_init_io(writer->png, writer->file.get());
  png_set_compression_level(writer->png, level);
  png_set_IHDR(writer->png, writer->info, view.width, view.height, 8,
               view.bitsPerPixel == 32 ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB,
               PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(writer->png, writer->info);
  for (unsigned y = 0; y < view.height; ++y) png_write_row(writer->png, view.Row(y));
  png_write_end(writer->png, writer->info);
  std::FILE* written = writer->file.release();
  if (std::fflush(written) != 0 || std::ferror(written) != 0) {
    const int error = errno;
    std::fclose(written);
    fail(std::strerror(error));
  }
  if (std::fclose(written) != 0) fail(std::strerror(errno));
}

void SavePng(const std::filesystem::path& path, const PixelView& view, int level) {
  TemporaryFile output(path);
  WritePngFile(output.Path(), path.string(), view, level);
  output.Commit();
}

}  // namespace kelo
