// Reading pictures from PNG and JPEG files into host pictures, and writing PNG files.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>

#include "app/Host.h"

namespace kelo {

// Decodes a PNG or JPEG file (recognised by its content) into a new 24-bit RGB host picture.
// JPEG EXIF orientation is applied; grey, alpha (composited on black), 16-bit and palette
// pictures become 24-bit RGB. Throws an input error with a one-line message.
ComPtr<ICIF> DecodePicture(const Host& host, const std::filesystem::path& path);

// Checks that a file exists, can be read and looks like a PNG or JPEG picture (throws the same
// input errors as DecodePicture) without decoding it.
void ProbePicture(const std::filesystem::path& path);

// The EXIF orientation (1..8) in a JPEG APP1 segment's payload, or 1 when there is none.
int ExifOrientation(std::span<const std::uint8_t> app1);

// Writes a 24-bit RGB (or 32-bit RGBA) picture as a PNG file: under a temporary name, renamed
// when complete. `level` is the zlib compression level. Throws an output error.
void SavePng(const std::filesystem::path& path, const PixelView& view, int level = 6);

}  // namespace kelo
