// Limits and formats: small inputs take little memory, a size or rate that cannot work is refused
// before any work, and videos and animations play everywhere as asked.
#include <gif_lib.h>
#include <png.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <numeric>

#include "tests/app/ChildProcess.h"
#include "tests/app/ProgramTestSupport.h"

namespace apptest {
namespace {

using namespace std::chrono_literals;
constexpr int kUsage = 2;
constexpr auto npos = std::string::npos;

class LimitsTest : public ProgramTest {
 protected:
  // The peak memory of a run that loads the host and is then refused: what every run takes (far
  // more under AddressSanitizer), against which the runs here are measured.
  long BaselineMiB() {
    const Ending end =
        RunKelo(dir_, {"sheet", "-t", "NoSuchTransition", "--cell", "8x8", "-o", "base.png"});
    EXPECT_EQ(end.code, kUsage) << end.err;
    return end.peakMiB;
  }
};

// The delay of each frame of a GIF, in hundredths of a second, and its last frame composed.
std::vector<int> GifDelays(const std::filesystem::path& path, Image* last = nullptr) {
  std::vector<int> delays;
  const std::vector<Image> frames = ReadGifFrames(path, &delays);
  if (last != nullptr && !frames.empty()) *last = frames.back();
  return delays;
}

// Catches: cover scaling the whole picture before cropping (a 1x30 picture covering 2048x2048
// took 756 MiB; a 1x16384 one could not cover 1920x1080 at all, "cannot resize a picture to
// 1920x31457280"), or the middle not kept.
TEST_F(LimitsTest, ThinPicturesCoverLargeOutputsInLittleMemory) {
  // Two 2048x2048 frames are 24 MiB; the pictures, the pool and the encoder queue take some more.
  const long limit = BaselineMiB() + 150;
  WritePng(
      Path("thin.png"),
      MakeImage(
          1, 30,
          [](unsigned, unsigned y) {
            return Rgb{static_cast<std::uint8_t>(y * 8), 0, static_cast<std::uint8_t>(250 - y * 8)};
          }),
      PNG_FORMAT_RGB);
  const Ending cover =
      RunKelo(dir_, {"render", "--from", "thin.png", "--to", "thin.png", "--size", "2048x2048",
                     "--fit", "cover", "-d", "0.1", "--fps", "10", "-o", "cover.rgb"});
  EXPECT_EQ(cover.code, 0) << cover.err;
  EXPECT_LT(cover.peakMiB, limit);
  const std::string raw = ReadFile(Path("cover.rgb"));
  ASSERT_EQ(raw.size(), 2u * 2048 * 2048 * 3);
  // The middle rows, 14 and 15, are red 112 and 120.
  for (std::size_t at : {std::size_t{0}, raw.size() / 2, raw.size() - 3})
    EXPECT_NEAR(static_cast<unsigned char>(raw[at]), 116, 5) << at;

  WritePng(Path("tall.png"), MakeImage(1, 16384, Warm), PNG_FORMAT_RGB);
  const Ending tall =
      RunKelo(dir_, {"render", "--from", "tall.png", "--to", "tall.png", "--size", "1920x1080",
                     "--fit", "cover", "-d", "0.1", "--fps", "10", "-o", "tall.rgb"});
  EXPECT_EQ(tall.code, 0) << tall.err;
  EXPECT_LT(tall.peakMiB, limit);
}

// Catches: a limit found only after the work and memory it guards (a 16384x16384 sheet cell:
// 11 s and 1.5 GiB; a WebP wider than 16383: "WebPEncodingError: 5" and exit 4 after rendering),
// frame rates that make a GIF grow without end or give 0 ms frames, a frame count without bound.
TEST_F(LimitsTest, LimitsAreRefusedBeforeAnyWork) {
  WritePng(Path("wide.png"), MakeImage(16384, 1, Warm), PNG_FORMAT_RGB);
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"sheet", "--cell", "16384x16384", "-o", "s.png"}, "the contact sheet would be"},
      {{"render", "--from", "a.png", "--to", "b.png", "--size", "16384x64", "-o", "w.webp"},
       "a WebP animation is at most 16383 pixels a side, not 16384x64"},
      {{"render", "--from", "wide.png", "--to", "wide.png", "-o", "w.webp"},
       "a WebP animation is at most 16383 pixels a side, not 16384x1"},
      {{"render", "--from", "a.png", "--to", "b.png", "--fps", "1e-9", "-d", "0.5", "-o", "f.gif"},
       "bad --fps 1e-09: expected 1 to 240 frames per second"},
      {{"render", "--from", "a.png", "--to", "b.png", "--fps", "1e-300", "-o", "f.webp"},
       "bad --fps 1e-300"},
      {{"render", "--from", "a.png", "--to", "b.png", "--fps", "0.5", "-o", "f.gif"},
       "bad --fps 0.5"},
      {{"slideshow", "a.png", "b.png", "--hold", "3600", "--fps", "240", "-o", "f.gif"},
       "2 pictures with --hold and --duration give 1728240 frames at 240 fps: at most 1000000"},
  };
  const long limit = BaselineMiB() + 50;
  const auto before = Files();
  for (const auto& [args, message] : cases) {
    SCOPED_TRACE(message);
    const auto start = std::chrono::steady_clock::now();
    Child child = StartKelo(dir_, args, false);
    const Ending end = Finish(child, 30s);
    EXPECT_EQ(end.code, kUsage);
    EXPECT_NE(end.err.find(message), npos) << end.err;
    EXPECT_EQ(std::count(end.err.begin(), end.err.end(), '\n'), 1) << end.err;
    EXPECT_LT(end.peakMiB, limit);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    EXPECT_EQ(Files(), before);
  }
}

// Catches: GIF frames of 0 or 1 hundredths at 60 fps and more (browsers play them as 10), a
// capped GIF of the wrong length or not ending on its target; odd-sized MP4 in 4:4:4, which
// browsers and phones do not play.
TEST_F(LimitsTest, FastGifsAndOddVideosPlayEverywhere) {
  // Two flat colours from black: the last frame is the target, the one before it visibly darker.
  const Image halves = MakeImage(48, 32, [](unsigned x, unsigned) {
    return x < 24 ? Rgb{248, 0, 0} : Rgb{0, 0, 248};
  });
  WritePng(Path("halves.png"), halves, PNG_FORMAT_RGB);
  WritePng(Path("black.png"),
           MakeImage(48, 32,
                     [](unsigned, unsigned) {
                       return Rgb{0, 0, 0};
                     }),
           PNG_FORMAT_RGB);
  for (const std::string fps : {"60", "120", "240"}) {
    Succeeds("render --from black.png --to halves.png -d 0.5 --fps " + fps + " -o f" + fps +
             ".gif");
    Image last;
    const auto delays = GifDelays(Path("f" + fps + ".gif"), &last);
    ASSERT_FALSE(delays.empty());
    EXPECT_GE(*std::min_element(delays.begin(), delays.end()), 2) << fps;
    EXPECT_NEAR(std::accumulate(delays.begin(), delays.end(), 0), 50, 2) << fps;
    // The dithering quantizer places its palette colours within a few levels of these.
    EXPECT_LE(MaxDifference(last, halves), 6) << fps;
  }
  // Holds keep their time: 3 x 0.3 s and 2 x 0.2 s.
  Succeeds("slideshow a.png b.png a.png --hold 0.3 -d 0.2 --fps 120 -t dissolve -o show.gif");
  const auto show = GifDelays(Path("show.gif"));
  EXPECT_NEAR(std::accumulate(show.begin(), show.end(), 0), 130, 2);
  EXPECT_GE(*std::min_element(show.begin(), show.end()), 2);

  if (!HaveProgram("ffmpeg") || !HaveProgram("ffprobe")) GTEST_SKIP() << "no ffmpeg/ffprobe";
  Succeeds("render --from a.png --to b.png -d 0.2 --fps 15 --size 33x17 -o odd.mp4");
  EXPECT_EQ(Capture("ffprobe -v error -select_streams v:0 -show_entries "
                    "stream=profile,width,height,pix_fmt -of csv=p=0 '" +
                    Path("odd.mp4").string() + "'"),
            "High,34,18,yuv420p\n");
}

}  // namespace
}  // namespace apptest
