// End-to-end tests of the kelo program: run the built program in a scratch folder on small
// pictures written here, and read its outputs back with the same libraries.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "tests/common/ScratchFolder.h"

namespace apptest {

struct Rgb {
  std::uint8_t r, g, b;
};

// A decoded picture: 8-bit RGB, rows packed.
struct Image {
  unsigned width = 0, height = 0;
  std::vector<std::uint8_t> rgb;
  // Black outside the picture, so that a missing output fails its checks without a crash.
  Rgb At(unsigned x, unsigned y) const {
    if (x >= width || y >= height) return {0, 0, 0};
    const std::uint8_t* p = &rgb[(static_cast<std::size_t>(y) * width + x) * 3];
    return {p[0], p[1], p[2]};
  }
};

// A width x height picture whose pixel (x, y) is colour(x, y).
template <class F>
Image MakeImage(unsigned width, unsigned height, F colour) {
  Image image{width, height, {}};
  for (unsigned y = 0; y < height; ++y)
    for (unsigned x = 0; x < width; ++x) {
      const Rgb c = colour(x, y);
      image.rgb.insert(image.rgb.end(), {c.r, c.g, c.b});
    }
  return image;
}

// Two gradients every pixel of which differs, and a picture whose left half is red and right
// half blue.
inline Rgb Warm(unsigned x, unsigned y) {
  return {static_cast<std::uint8_t>(x * 5), static_cast<std::uint8_t>(200 - y * 3), 40};
}
inline Rgb Cool(unsigned x, unsigned y) {
  return {30, static_cast<std::uint8_t>(y * 4), static_cast<std::uint8_t>(250 - x * 4)};
}
inline Image Halves(unsigned width, unsigned height) {
  return MakeImage(width, height, [=](unsigned x, unsigned) {
    return x < width / 2 ? Rgb{255, 0, 0} : Rgb{0, 0, 255};
  });
}

// Writes PNG in one of libpng's simplified formats (PNG_FORMAT_RGB, _GRAY, _RGBA, _LINEAR_Y,
// _RGB_COLORMAP); the RGB pixels are converted to it here.
void WritePng(const std::filesystem::path& path, const Image& image, unsigned format);
// Writes a JPEG (quality 95) with an EXIF APP1 segment holding `orientation` when it is not 0.
void WriteJpeg(const std::filesystem::path& path, const Image& image, int orientation = 0,
               bool progressive = false);
// Writes a PNG through libpng's own calls, with no colour-space chunk: `samples` are the rows as
// the file stores them (16-bit samples big-endian).
void WriteRawPng(const std::filesystem::path& path, unsigned width, unsigned height, int bitDepth,
                 int colourType, const std::vector<std::uint8_t>& samples);

// What a shell command writes to its standard output.
std::string Capture(const std::string& command);

std::string ReadFile(const std::filesystem::path& path);
void WriteFile(const std::filesystem::path& path, const std::string& bytes);
Image ReadPng(const std::filesystem::path& path);
// Frames of an animated WebP, fully composed; `ends`, when given, receives the time each frame
// stops showing, in milliseconds from the start.
std::vector<Image> ReadWebP(const std::filesystem::path& path, std::vector<int>* ends = nullptr);
// Frames of a GIF, fully composed; `delays`, when given, receives each frame's delay in
// hundredths of a second.
std::vector<Image> ReadGifFrames(const std::filesystem::path& path,
                                 std::vector<int>* delays = nullptr);

// What an animation or a video holds: its frames, their size, and (GIF only) the sum of the
// frame delays in hundredths of a second.
struct Clip {
  int frames = -1;
  unsigned width = 0, height = 0;
  int hundredths = 0;
  friend bool operator==(const Clip&, const Clip&) = default;
  friend std::ostream& operator<<(std::ostream& out, const Clip& c) {
    return out << c.frames << " frames " << c.width << "x" << c.height << " " << c.hundredths;
  }
};
Clip ReadGif(const std::filesystem::path& path);
// Through ffprobe; the test skips video checks when it is missing.
Clip ProbeVideo(const std::filesystem::path& path);
bool HaveProgram(const std::string& name);

// The largest difference of any byte between two pictures of the same size (256 if the sizes
// differ).
int MaxDifference(const Image& a, const Image& b);
// The peak signal-to-noise ratio of `b` against `a` over all bytes, in dB (0 if the sizes differ,
// 99 if they are equal).
double Psnr(const Image& a, const Image& b);

struct Result {
  int code = -1;
  std::string out, err;
};

// A scratch folder per test holding a.png (Warm) and b.png (Cool), 48 x 32, removed
// afterwards; Run() starts the program inside it.
class ProgramTest : public testing::Test {
 protected:
  void SetUp() override;
  // Runs kelo with `args` (shell words, already quoted where needed) in the scratch folder;
  // `environment` is put before the program, e.g. "PATH=/nowhere".
  Result Run(const std::string& args, const std::string& environment = "");
  // Runs kelo with `args`, which must succeed.
  void Succeeds(const std::string& args);
  // Runs a failing command: checks the exit code, one line on stderr containing `message`, and
  // that the folder holds only what it held before.
  void ExpectFailure(const std::string& args, int code, const std::string& message,
                     const std::string& environment = "");
  // Runs kelo with `args` and "-o output", which must succeed, and reads the PNG it wrote.
  Image RunPng(const std::string& args, const std::string& output);
  std::filesystem::path Path(const std::string& name) const { return dir_ / name; }
  void Write(const std::string& name, const std::string& bytes) const {
    WriteFile(Path(name), bytes);
  }
  // A JPEG cut in half: it looks like a picture and fails only when decoded.
  void WriteCutJpeg(const std::string& name) const;
  // Every file name in the scratch folder (recursively, relative), hidden ones included.
  std::vector<std::string> Files() const;

  testsupport::ScratchFolder scratch_{"kelo-app-test"};
  const std::filesystem::path dir_ = scratch_.Path();
  Image a_, b_;
};

}  // namespace apptest
