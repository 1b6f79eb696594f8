// End-to-end tests of the kelo program: run the built program in a scratch folder on small
// pictures written here, and read its outputs back with the same libraries.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace apptest {

struct Rgb {
  std::uint8_t r, g, b;
};

// A decoded picture: 8-bit RGB, rows packed.
struct Image {
  unsigned width = 0, height = 0;
  std::vector<std::uint8_t> rgb;
  Rgb At(unsigned x, unsigned y) const {
    const std::uint8_t* p = &rgb[(static_cast<std::size_t>(y) * width + x) * 3];
    return {p[0], p[1], p[2]};
  }
};

// A width x height picture whose pixel (x, y) is colour(x, y).
template <class F>
Image MakeImage(unsigned width, unsigned height, F colour) {
  Image image{width, height,
              std::vector<std::uint8_t>(static_cast<std::size_t>(width) * height * 3)};
  for (unsigned y = 0; y < height; ++y)
    for (unsigned x = 0; x < width; ++x) {
      const Rgb c = colour(x, y);
      std::uint8_t* p = &image.rgb[(static_cast<std::size_t>(y) * width + x) * 3];
      p[0] = c.r, p[1] = c.g, p[2] = c.b;
    }
  return image;
}

// Writes PNG in one of libpng's simplified formats (PNG_FORMAT_RGB, _GRAY, _RGBA, _LINEAR_Y,
// _RGB_COLORMAP); the RGB pixels are converted to it here.
void WritePng(const std::filesystem::path& path, const Image& image, unsigned format);
// Writes a JPEG (quality 95) with an EXIF APP1 segment holding `orientation` when it is not 0.
void WriteJpeg(const std::filesystem::path& path, const Image& image, int orientation = 0);

Image ReadPng(const std::filesystem::path& path);
// Frames of an animated WebP, fully composed.
std::vector<Image> ReadWebP(const std::filesystem::path& path);
// Frame count and screen size of a GIF.
struct GifInfo {
  int frames = 0;
  unsigned width = 0, height = 0;
  int totalDelay = 0;  // hundredths of a second
};
GifInfo ReadGif(const std::filesystem::path& path);

// Frame count and size of a video through ffprobe (false when ffprobe is missing).
bool ProbeVideo(const std::filesystem::path& path, int& frames, unsigned& width, unsigned& height);
bool HaveProgram(const std::string& name);

// The largest difference of any byte between two pictures of the same size (256 if the sizes
// differ).
int MaxDifference(const Image& a, const Image& b);

struct Result {
  int code = -1;
  std::string out, err;
};

// A scratch folder per test, removed afterwards; Run() starts the program inside it.
class ProgramTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;
  // Runs kelo with `args` (shell words, already quoted where needed) in the scratch folder;
  // `environment` is put before the program, e.g. "PATH=/nowhere".
  Result Run(const std::string& args, const std::string& environment = "");
  std::filesystem::path Path(const std::string& name) const { return dir_ / name; }
  // Every file name in the scratch folder (recursively, relative), hidden ones included.
  std::vector<std::string> Files() const;

  std::filesystem::path dir_;
};

}  // namespace apptest
