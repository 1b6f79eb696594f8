// Slideshows from timeline files: frame counts and lengths with and without music, eased
// progress reaching the effect, pan and zoom that never jumps, and refusals that name the
// timeline's line and field.
#include <png.h>

#include <cmath>

#include "tests/app/ProgramTestSupport.h"

namespace apptest {
namespace {

using ShowTest = ProgramTest;

// The length in seconds of a file's first stream of `type` ("video" or "audio"), by ffprobe; -1
// when there is none.
double StreamSeconds(const std::filesystem::path& path, const std::string& type) {
  const std::string out =
      Capture("ffprobe -v error -select_streams " + type.substr(0, 1) +
              ":0 -show_entries stream=duration -of csv=p=0 '" + path.string() + "'");
  double seconds = -1;
  std::sscanf(out.c_str(), "%lf", &seconds);
  return seconds;
}

// The mean loudness in dB of the sound from `start` for `seconds`, by ffmpeg's volumedetect.
double MeanVolume(const std::filesystem::path& path, double start, double seconds) {
  const std::string out =
      Capture("ffmpeg -hide_banner -nostdin -ss " + std::to_string(start) + " -t " +
              std::to_string(seconds) + " -i '" + path.string() +
              "' -vn -af volumedetect -f null - 2>&1 | sed -n 's/.*mean_volume: //p'");
  double decibels = 0;
  std::sscanf(out.c_str(), "%lf", &decibels);
  return decibels;
}

// Raw 24-bit frames of `width` x `height`, one after the other.
std::vector<Image> RawFrames(const std::filesystem::path& path, unsigned width, unsigned height) {
  const std::string bytes = ReadFile(path);
  const std::size_t size = std::size_t{width} * height * 3;
  std::vector<Image> frames;
  for (std::size_t at = 0; at + size <= bytes.size(); at += size)
    frames.push_back(
        {width, height, std::vector<std::uint8_t>(bytes.begin() + at, bytes.begin() + at + size)});
  return frames;
}

constexpr const char* kExample =
    R"x({"defaults": {"hold": 1, "duration": 0.5, "easing": "ease-in-out", "motion": "auto"},
 "slides": [{"picture": "a.png", "transition": {"name": "PushTransition", "settings": {"Direction": "Left"}}},
            {"picture": "b.jpg", "hold": 1.5, "transition": {"name": "DissolveTransition", "easing": "cubic-bezier(0.4,0,0.2,1)"}},
            {"picture": "c.png", "motion": "zoom-in"}]})x";

// Catches: holds or transitions of a timeline not taken (the example is 4.5 s), music that
// lengthens or shortens the video, music not looped or not cut at the video's end, holds not
// stretched to the music, a sound track accepted by a format that cannot hold one.
TEST_F(ShowTest, TimelineShowsLastTheirTimeWithOrWithoutMusic) {
  if (!HaveProgram("ffmpeg") || !HaveProgram("ffprobe")) GTEST_SKIP() << "no ffmpeg/ffprobe";
  std::filesystem::create_directory(Path("show"));
  WriteFile(Path("show/show.json"), kExample);
  std::filesystem::copy_file(Path("a.png"), Path("show/a.png"));
  std::filesystem::copy_file(Path("b.png"), Path("show/c.png"));
  WriteJpeg(Path("show/b.jpg"), MakeImage(48, 32, Warm));
  ASSERT_EQ(std::system(("cd '" + dir_.string() +
                         "' && ffmpeg -v error -f lavfi -i sine=frequency=440:duration=3 short.wav"
                         " && ffmpeg -v error -f lavfi -i sine=frequency=330:duration=8 long.wav")
                            .c_str()),
            0);

  Succeeds("slideshow --timeline show/show.json --fps 10 -o plain.mp4");
  EXPECT_EQ(ProbeVideo(Path("plain.mp4")), (Clip{45, 48, 32}));
  EXPECT_NEAR(StreamSeconds(Path("plain.mp4"), "video"), 4.5, 0.01);
  EXPECT_EQ(StreamSeconds(Path("plain.mp4"), "audio"), -1);

  // Shorter music is looped, longer music cut: the sound lasts as long as the pictures.
  for (const std::string music : {"short.wav", "long.wav"}) {
    Succeeds("slideshow --timeline show/show.json --fps 10 --audio " + music + " -o music.webm");
    EXPECT_EQ(ProbeVideo(Path("music.webm")).frames, 45) << music;
    Succeeds("slideshow --timeline show/show.json --fps 10 --audio " + music + " -o music.mp4");
    EXPECT_EQ(ProbeVideo(Path("music.mp4")), (Clip{45, 48, 32})) << music;
    const double video = StreamSeconds(Path("music.mp4"), "video");
    EXPECT_NEAR(video, 4.5, 0.01) << music;
    EXPECT_NEAR(StreamSeconds(Path("music.mp4"), "audio"), video, 0.03) << music;
    // Fading out over the last 2 s: near the end far quieter than before the fade.
    EXPECT_LT(MeanVolume(Path("music.mp4"), 4.3, 0.15), MeanVolume(Path("music.mp4"), 1, 0.5) - 12)
        << music;
  }
  // Fitted to 8 s of music: the holds take what the two transitions leave (8 - 1 s).
  Succeeds(
      "slideshow --timeline show/show.json --fps 10 --audio long.wav --fit-to-audio -o fit.mp4");
  EXPECT_EQ(ProbeVideo(Path("fit.mp4")).frames, 80);
  EXPECT_NEAR(StreamSeconds(Path("fit.mp4"), "audio"), 8, 0.03);

  for (const std::string output : {"show.gif", "show.webp", "frames/%03d.png", "show.rgb"})
    ExpectFailure("slideshow --timeline show/show.json --audio short.wav -o " + output, 2,
                  "cannot hold sound");
  ExpectFailure("slideshow --timeline show/show.json --fit-to-audio -o x.mp4", 2, "--audio FILE");
  ExpectFailure("slideshow --timeline show/show.json --audio a.png -o x.mp4", 3, "no sound");
}

// Catches: easing applied to the wrong thing (frame times passed through unchanged, or eased
// twice), a timeline's per-transition easing ignored, the command line not overriding the
// timeline's defaults. A dissolve from black to white shows its progress in every byte.
TEST_F(ShowTest, TransitionsReceiveEasedProgress) {
  WritePng(Path("black.png"),
           MakeImage(8, 4,
                     [](unsigned, unsigned) {
                       return Rgb{0, 0, 0};
                     }),
           PNG_FORMAT_RGB);
  WritePng(Path("white.png"),
           MakeImage(8, 4,
                     [](unsigned, unsigned) {
                       return Rgb{255, 255, 255};
                     }),
           PNG_FORMAT_RGB);
  auto levels = [&](const std::string& output) {
    std::vector<int> values;
    for (const auto& frame : RawFrames(Path(output), 8, 4)) values.push_back(frame.At(3, 2).g);
    return values;
  };
  auto expectNear = [](const std::vector<int>& got, const std::vector<int>& want) {
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < got.size(); ++i) EXPECT_NEAR(got[i], want[i], 2) << "frame " << i;
  };
  // 255 x ease-in at 0, 0.1, ..., 1 (CSS: cubic-bezier(0.42,0,1,1)).
  Succeeds(
      "render --from black.png --to white.png -t DissolveTransition --easing ease-in --duration "
      "1.1 --fps 10 -o in.rgb");
  expectNear(levels("in.rgb"), {0, 4, 15, 33, 54, 80, 109, 141, 176, 214, 254});

  // In a show a transition's frames lie strictly between the pictures: times 0.1 ... 0.9, through
  // the slide's own ease-out; the command line's --easing gives way to it.
  WriteFile(Path("fade.json"), R"x({"defaults": {"hold": 0.1, "duration": 0.9, "easing": "ease-in"},
    "slides": [{"picture": "black.png",
                "transition": {"name": "DissolveTransition", "easing": "ease-out"}},
               "white.png"]})x");
  Succeeds("slideshow --timeline fade.json --fps 10 --easing linear -o out.rgb");
  expectNear(levels("out.rgb"), {0, 40, 78, 113, 145, 174, 200, 221, 239, 250, 255});
  // Without a per-transition easing the command line's overrides the defaults' ease-in.
  WriteFile(Path("plain.json"), R"x({"defaults": {"hold": 0.1, "duration": 0.9, "easing": "ease-in",
    "transition": "DissolveTransition"}, "slides": ["black.png", "white.png"]})x");
  Succeeds("slideshow --timeline plain.json --fps 10 --easing linear -o linear.rgb");
  expectNear(levels("linear.rgb"), {0, 25, 51, 76, 102, 127, 153, 178, 204, 229, 255});
}

// Catches: a transition that starts from the unmoved picture (a jump back at its edge), motion
// drawn at whole pixels, motion not drawn at all. The first slide zooms in to where the second,
// zooming out, starts: the whole show must flow without a jump.
TEST_F(ShowTest, MotionFlowsThroughTransitions) {
  WritePng(
      Path("waves.png"),
      MakeImage(64, 40,
                [](unsigned x, unsigned y) {
                  const double v = 128 + 100 * std::sin(x / 4.0) * std::cos(y / 5.0);
                  return Rgb{static_cast<std::uint8_t>(v), static_cast<std::uint8_t>(255 - v), 90};
                }),
      PNG_FORMAT_RGB);
  WriteFile(Path("flow.toml"), R"x([defaults]
hold = 1.5
duration = 0.5
transition = "DissolveTransition"

[[slides]]
picture = "waves.png"
motion = "zoom-in"

[[slides]]
picture = "waves.png"
motion = "zoom-out"
)x");
  Succeeds("slideshow --timeline flow.toml --fps 30 -o flow.rgb");
  const auto frames = RawFrames(Path("flow.rgb"), 64, 40);
  ASSERT_EQ(frames.size(), 105u);
  int largest = 0;
  for (std::size_t i = 1; i < frames.size(); ++i)
    largest = std::max(largest, MaxDifference(frames[i - 1], frames[i]));
  EXPECT_LE(largest, 16);
  EXPECT_GT(MaxDifference(frames.front(), frames[44]), 60);
  EXPECT_EQ(MaxDifference(frames.front(), frames.back()), 0);
}

// Catches: a refusal about a timeline's value that names neither the line nor the field, a
// refusal that leaves output behind, pictures and a timeline both taken.
TEST_F(ShowTest, TimelineRefusalsNameTheLineAndField) {
  WriteFile(Path("name.json"),
            "{\"slides\": [{\"picture\": \"a.png\",\n  \"transition\": {\"name\": \"Dissolv\"}},"
            " \"b.png\"]}");
  ExpectFailure("slideshow --timeline name.json -o out.webp", 2,
                "name.json:2: slides[0].transition.name: unknown transition 'Dissolv'");
  WriteFile(Path("setting.json"),
            "{\"slides\": [{\"picture\": \"a.png\", \"transition\": {\"name\": \"Push\",\n"
            "  \"settings\": {\n    \"Direction\": \"Sideways\"}}}, \"b.png\"]}");
  ExpectFailure("slideshow --timeline setting.json -o out.webp", 2,
                "setting.json:3: slides[0].transition.settings.Direction: ");
  WriteFile(Path("missing.toml"),
            "[[slides]]\npicture = \"a.png\"\n[[slides]]\npicture = \"c.png\"\n");
  ExpectFailure("slideshow --timeline missing.toml -o out.webp", 3, "missing.toml:3: slides[1]: ");
  ExpectFailure("slideshow a.png --timeline missing.toml -o out.webp", 2, "not both");
  ExpectFailure("slideshow a.png b.png --motion spin -o out.webp", 2, "bad --motion 'spin'");
  ExpectFailure("render --from a.png --to b.png --easing ease-sideways -o out.webp", 2,
                "bad --easing 'ease-sideways'");
}

}  // namespace
}  // namespace apptest
