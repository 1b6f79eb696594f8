// Reading pictures from PNG and JPEG files into host pictures, and writing PNG files.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <span>
#include <string>

#include "app/Fit.h"
#include "app/Host.h"

namespace kelo {

// The largest picture read: each side at most kMaxPictureSide pixels and at most
// kMaxPicturePixels in all. Checked right after each format's header, before the decoder takes
// any memory for the picture.
inline constexpr unsigned kMaxPictureSide = 16384;
inline constexpr std::uint64_t kMaxPicturePixels = std::uint64_t{1} << 26;  // 64 Mi pixels

struct DecodeOptions {
  // What transparent pixels are blended onto (in sRGB, as plain 8-bit arithmetic).
  Rgb background;
  // Told of damage the decoder got past (a JPEG with corrupt scan data); null: printed on
  // standard error as a warning.
  std::function<void(const std::string&)> warn;
};

// Decodes a PNG or JPEG file (recognised by its content) into a new 24-bit RGB host picture.
// JPEG EXIF orientation is applied; grey, alpha (blended onto the background), 16-bit (reduced to
// 8 bits, without a change of levels unless the file states its gamma) and palette pictures
// become 24-bit RGB. Throws an input error with a one-line message naming the file.
ComPtr<ICIF> DecodePicture(const Host& host, const std::filesystem::path& path,
                           const DecodeOptions& options = {});
// The same for a file's bytes already in memory; `name` stands for the file in messages.
ComPtr<ICIF> DecodePictureBytes(const Host& host, std::span<const std::uint8_t> bytes,
                                const std::string& name, const DecodeOptions& options = {});

// Checks that a file exists, can be read and looks like a PNG or JPEG picture (throws the same
// input errors as DecodePicture) without decoding it.
void ProbePicture(const std::filesystem::path& path);

// The EXIF orientation (1..8) in a JPEG APP1 segment's payload, or 1 when there is none.
int ExifOrientation(std::span<const std::uint8_t> app1);

// Writes a 24-bit RGB (or 32-bit RGBA) picture as a PNG file: under a temporary name, renamed
// when complete. `level` is the zlib compression level. Throws an output error.
void SavePng(const std::filesystem::path& path, const PixelView& view, int level = 6);
// Writes the PNG straight into `file` (no temporary), calling it `name` in errors.
void WritePngFile(const std::filesystem::path& file, const std::string& name, const PixelView& view,
                  int level = 6);

}  // namespace kelo
