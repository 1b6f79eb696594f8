// Pictures built to hurt: sizes that would exhaust memory, samples libpng would take for linear
// light, transparency, damaged data. Each is refused at once with one line, or read right.
#include <png.h>

#include <chrono>

#include "tests/app/ProgramTestSupport.h"

namespace apptest {
namespace {

constexpr int kInput = 3;

using HostilePicturesTest = ProgramTest;

// The bytes of a file with the frame header's height and width (JPEG) replaced.
std::string WithJpegSize(std::string bytes, unsigned width, unsigned height) {
  for (std::size_t i = 2; i + 9 < bytes.size(); ++i) {
    const auto marker = static_cast<unsigned char>(bytes[i + 1]);
    if (static_cast<unsigned char>(bytes[i]) == 0xFF && (marker == 0xC0 || marker == 0xC2)) {
      bytes[i + 5] = static_cast<char>(height >> 8), bytes[i + 6] = static_cast<char>(height);
      bytes[i + 7] = static_cast<char>(width >> 8), bytes[i + 8] = static_cast<char>(width);
      return bytes;
    }
  }
  ADD_FAILURE() << "no frame header";
  return bytes;
}

// Catches: a size checked only once the decoder has taken memory for the picture (a progressive
// JPEG declaring 65500x65500 took 12.5 GB and minutes), a side or a pixel count over the limits
// accepted.
TEST_F(HostilePicturesTest, OversizedPicturesAreRefusedRightAfterTheHeader) {
  WriteJpeg(Path("small.jpg"), MakeImage(64, 64, Warm), 0, true);
  Write("progressive.jpg", WithJpegSize(ReadFile(Path("small.jpg")), 65500, 65500));
  WriteJpeg(Path("small.jpg"), MakeImage(64, 64, Warm));
  Write("baseline.jpg", WithJpegSize(ReadFile(Path("small.jpg")), 65500, 65500));
  // Within the side limit, over the pixel count.
  Write("many.jpg", WithJpegSize(ReadFile(Path("small.jpg")), 16000, 16000));
  std::string png = ReadFile(Path("a.png"));
  png.replace(16, 8, std::string("\x00\x01\x86\xA0\x00\x01\x86\xA0", 8));  // 100000x100000
  Write("huge.png", png);
  std::filesystem::remove(Path("small.jpg"));
  for (const std::string name : {"progressive.jpg", "baseline.jpg", "many.jpg", "huge.png"}) {
    const auto start = std::chrono::steady_clock::now();
    ExpectFailure("frame --from " + name + " --to b.png -o out.png", kInput,
                  "cannot read '" + name + "': unsupported picture size", "timeout 60");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10)) << name;
  }
}

// Catches: 16-bit samples taken for linear light (grey 128 read as 186), transparency blended in
// linear light (half-transparent white over black read as 186) or onto black whatever
// --background says.
TEST_F(HostilePicturesTest, SixteenBitAndTransparentPngKeepTheirLevels) {
  // 16-bit samples are stored big-endian; 257 v is the 16-bit form of the 8-bit level v.
  auto add16 = [](std::vector<std::uint8_t>& samples, unsigned level) {
    samples.insert(samples.end(),
                   {static_cast<std::uint8_t>(level), static_cast<std::uint8_t>(level)});
  };
  std::vector<std::uint8_t> grey, rgb, rgba;
  for (unsigned i = 0; i < 48 * 32; ++i) {
    add16(grey, 128);
    for (unsigned level : {128, 64, 192}) add16(rgb, level);
    rgba.insert(rgba.end(), {255, 255, 255, 128});
  }
  WriteRawPng(Path("grey16.png"), 48, 32, 16, PNG_COLOR_TYPE_GRAY, grey);
  WriteRawPng(Path("rgb16.png"), 48, 32, 16, PNG_COLOR_TYPE_RGB, rgb);
  WriteRawPng(Path("alpha.png"), 48, 32, 8, PNG_COLOR_TYPE_RGB_ALPHA, rgba);
  const auto expect = [](const Image& frame, Rgb wanted, const std::string& what) {
    const Rgb got = frame.At(20, 10);
    EXPECT_NEAR(got.r, wanted.r, 1) << what;
    EXPECT_NEAR(got.g, wanted.g, 1) << what;
    EXPECT_NEAR(got.b, wanted.b, 1) << what;
  };
  expect(RunPng("frame --from grey16.png --to b.png -p 0", "1.png"), {128, 128, 128}, "grey");
  expect(RunPng("frame --from rgb16.png --to b.png -p 0", "2.png"), {128, 64, 192}, "rgb");
  expect(RunPng("frame --from alpha.png --to b.png -p 0", "3.png"), {128, 128, 128}, "alpha");
  for (auto [background, wanted] :
       {std::pair{"white", Rgb{255, 255, 255}}, {"'#00FF00'", Rgb{128, 255, 128}}}) {
    Succeeds("render --from alpha.png --to b.png --duration 0.1 --fps 10 --background " +
             std::string(background) + " -o out.rgb");
    const std::string raw = ReadFile(Path("out.rgb"));
    ASSERT_EQ(raw.size(), 2u * 48 * 32 * 3);
    Image first{48, 32, std::vector<std::uint8_t>(raw.begin(), raw.begin() + 48 * 32 * 3)};
    expect(first, wanted, background);
  }
}

// Catches: a cut PNG reported only as "Read Error", without the file; a JPEG with corrupt scan
// data decoded into a garbled picture without a word.
TEST_F(HostilePicturesTest, DamagedPicturesSayWhatIsWrong) {
  const std::string png = ReadFile(Path("a.png"));
  Write("cut.png", png.substr(0, png.size() - 30));
  ExpectFailure("frame --from cut.png --to b.png -o out.png", kInput,
                "cannot read 'cut.png': damaged PNG (the file ends early)");

  WriteJpeg(Path("whole.jpg"), MakeImage(64, 64, Warm));
  const std::string jpeg = ReadFile(Path("whole.jpg"));
  // The scan data stops half way: the end marker comes early.
  Write("corrupt.jpg", jpeg.substr(0, jpeg.size() / 2) + "\xFF\xD9");
  const Result result = Run("frame --from corrupt.jpg --to b.png -o out.png");
  EXPECT_EQ(result.code, 0) << result.err;
  EXPECT_EQ(result.err.rfind("kelo: warning: 'corrupt.jpg' has corrupt JPEG data", 0), 0u)
      << result.err;
}

}  // namespace
}  // namespace apptest
