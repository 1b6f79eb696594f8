// kelo's outputs decode back to what was asked: frame counts, sizes and, for the dissolve,
// first and last frames equal to the pictures.
#include <png.h>

#include "tests/app/ProgramTestSupport.h"

namespace apptest {
namespace {

using RenderTest = ProgramTest;

// Catches: a frame too many or too few, first or last frame not exactly the pictures, a middle
// frame not between them, raw frames differing from the PNG frames.
TEST_F(RenderTest, DissolveFramesStartAndEndOnThePictures) {
  ASSERT_TRUE(std::filesystem::create_directory(Path("frames")));
  Succeeds(
      "render --from a.png --to b.png -t DissolveTransition --duration 0.5 --fps 10 -o "
      "frames/%03d.png");
  std::vector<Image> frames;
  for (int i = 0; i < 5; ++i)
    frames.push_back(ReadPng(Path("frames/00" + std::to_string(i) + ".png")));
  EXPECT_FALSE(std::filesystem::exists(Path("frames/005.png")));
  EXPECT_EQ(MaxDifference(frames.front(), a_), 0);
  EXPECT_EQ(MaxDifference(frames.back(), b_), 0);
  const Rgb middle = frames[2].At(10, 10), a = a_.At(10, 10), b = b_.At(10, 10);
  EXPECT_NEAR(middle.r, (a.r + b.r) / 2.0, 3);
  EXPECT_NEAR(middle.b, (a.b + b.b) / 2.0, 3);

  Succeeds("render --from a.png --to b.png --duration 0.5 --fps 10 -o out.rgb");
  const std::string raw = ReadFile(Path("out.rgb"));
  ASSERT_EQ(raw.size(), 5u * 48 * 32 * 3);
  EXPECT_EQ(raw.substr(0, a_.rgb.size()), std::string(a_.rgb.begin(), a_.rgb.end()));
  EXPECT_EQ(raw.substr(raw.size() - b_.rgb.size()), std::string(b_.rgb.begin(), b_.rgb.end()));
}

// Catches: a format with the wrong frame count, size or delays; odd sizes refused by the video
// encoder; anything but the outputs left behind.
TEST_F(RenderTest, EveryFormatDecodesToTheFramesAsked) {
  // 0.6 s at 15 fps is 9 frames, at the size given.
  const std::string common =
      "render --from a.png --to b.png --duration 0.6 --fps 15 --size 40x24 -o ";
  Succeeds(common + "out.webp");
  const auto frames = ReadWebP(Path("out.webp"));
  ASSERT_EQ(frames.size(), 9u);
  EXPECT_EQ(std::pair(frames[0].width, frames[0].height), std::pair(40u, 24u));
  Succeeds(common + "out.gif");
  EXPECT_EQ(ReadGif(Path("out.gif")), (Clip{9, 40, 24, 60}));

  if (!HaveProgram("ffmpeg") || !HaveProgram("ffprobe"))
    GTEST_SKIP() << "no ffmpeg/ffprobe for MP4 and WebM";
  for (const std::string name : {"out.mp4", "out.webm"}) {
    Succeeds(common + name);
    EXPECT_EQ(ProbeVideo(Path(name)), (Clip{9, 40, 24})) << name;
  }
  // H.264 4:2:0 takes even sides: the last column and row are repeated.
  Succeeds("render --from a.png --to b.png --duration 0.2 --fps 15 --size 33x17 -o odd.mp4");
  EXPECT_EQ(ProbeVideo(Path("odd.mp4")), (Clip{3, 34, 18}));
  EXPECT_EQ(Files(), (std::vector<std::string>{"a.png", "b.png", "odd.mp4", "out.gif", "out.mp4",
                                               "out.webm", "out.webp"}));
}

// Catches: a 16-bit grey, palette, RGBA or JPEG picture misread (grey not kept grey, levels
// lost), `from` not resampled to to's size, the output not of to's size.
TEST_F(RenderTest, MixedSizesAndFormatsTakeTheTargetSize) {
  const Image grey = MakeImage(30, 20, [](unsigned x, unsigned) {
    return Rgb{static_cast<std::uint8_t>(x * 8), 0, 0};
  });
  const Image blocks = Halves(64, 40);
  WritePng(Path("grey16.png"), grey, PNG_FORMAT_LINEAR_Y);
  WritePng(Path("palette.png"), blocks, PNG_FORMAT_RGB_COLORMAP);
  WritePng(Path("alpha.png"), blocks, PNG_FORMAT_RGBA);
  WriteJpeg(Path("photo.jpg"), MakeImage(50, 50, Warm));

  // At progress 0 the frame is `from` resampled to to's size; at 1 it is `to` itself.
  EXPECT_EQ(MaxDifference(RunPng("frame --from grey16.png --to palette.png --progress 1", "1.png"),
                          blocks),
            0);
  const Image halved = RunPng("frame --from palette.png --to grey16.png --progress 0", "2.png");
  EXPECT_EQ(std::pair(halved.width, halved.height), std::pair(30u, 20u));
  EXPECT_GT(halved.At(2, 10).r, 200);   // red half on the left
  EXPECT_GT(halved.At(27, 10).b, 200);  // blue half on the right
  const Image levels = RunPng("frame --from photo.jpg --to grey16.png --progress 1", "3.png");
  for (unsigned x = 0; x < 30; x += 7) {
    EXPECT_EQ(levels.At(x, 5).r, levels.At(x, 5).g) << "grey stays grey at x=" << x;
    EXPECT_NEAR(levels.At(x, 5).r, x * 8, 4) << "16-bit grey keeps its levels at x=" << x;
  }
  Succeeds("render --from alpha.png --to photo.jpg --duration 0.2 --fps 10 -o mixed.gif");
  EXPECT_EQ(ReadGif(Path("mixed.gif")), (Clip{2, 50, 50, 20}));
}

// Catches: an EXIF orientation ignored or turned the wrong way. The stored picture is 32x16,
// left half red: 6 turns it a quarter clockwise (red on top), 8 the other way (blue on top), 3
// upside down (red on the right).
TEST_F(RenderTest, JpegOrientationIsHonoured) {
  WritePng(Path("tall.png"), MakeImage(16, 32, Cool), PNG_FORMAT_RGB);
  WritePng(Path("wide.png"), MakeImage(32, 16, Cool), PNG_FORMAT_RGB);
  for (auto [orientation, to, red, blue] :
       {std::tuple{6, "tall.png", std::pair{8u, 4u}, std::pair{8u, 28u}},
        {8, "tall.png", std::pair{8u, 28u}, std::pair{8u, 4u}},
        {3, "wide.png", std::pair{28u, 8u}, std::pair{4u, 8u}}}) {
    WriteJpeg(Path("turned.jpg"), Halves(32, 16), orientation);
    const Image frame =
        RunPng("frame --from turned.jpg --progress 0 --to " + std::string(to), "upright.png");
    EXPECT_GT(frame.At(red.first, red.second).r, 200) << orientation;
    EXPECT_LT(frame.At(red.first, red.second).b, 60) << orientation;
    EXPECT_GT(frame.At(blue.first, blue.second).b, 200) << orientation;
  }
}

// Catches: holds or transitions of the wrong length, the first picture's upright size not
// taken, contain without bars of the background, cover leaving bars, the default random
// transition failing in a video.
TEST_F(RenderTest, SlideshowFramesAreHoldsPlusTransitions) {
  // The first picture is a turned JPEG: the show takes its upright size, 16x32.
  WriteJpeg(Path("1.jpg"),
            MakeImage(32, 16,
                      [](unsigned, unsigned) {
                        return Rgb{250, 250, 250};
                      }),
            6);
  WritePng(Path("2.png"),
           MakeImage(40, 20,
                     [](unsigned, unsigned) {
                       return Rgb{255, 0, 0};
                     }),
           PNG_FORMAT_RGB);
  WritePng(Path("3.png"), MakeImage(10, 10, Warm), PNG_FORMAT_GRAY);
  ASSERT_TRUE(std::filesystem::create_directory(Path("show")));
  // At 10 fps: holds of 3 frames, transitions of 2 frames: 3 x 3 + 2 x 2 = 13.
  Succeeds(
      "slideshow 1.jpg 2.png 3.png --hold 0.3 --duration 0.2 --fps 10 --background "
      "'#00FF00' -o show/%02d.png");
  int count = 0;
  for (const auto& name : Files()) count += name.rfind("show/", 0) == 0;
  EXPECT_EQ(count, 13);
  // Frames 0-2 hold the first picture, 3-4 pass to the second, 5-7 hold it (contained: green
  // bars above and below).
  const Image hold = ReadPng(Path("show/05.png"));
  ASSERT_EQ(std::pair(hold.width, hold.height), std::pair(16u, 32u));
  EXPECT_EQ(hold.At(8, 0).r, 0);
  EXPECT_EQ(hold.At(8, 0).g, 255);
  EXPECT_GT(hold.At(8, 16).r, 240);
  EXPECT_EQ(MaxDifference(hold, ReadPng(Path("show/07.png"))), 0);
  EXPECT_NE(MaxDifference(hold, ReadPng(Path("show/04.png"))), 0);

  // Cover fills the frame: no bars.
  Succeeds(
      "slideshow 2.png 3.png --hold 0.1 --duration 0.1 --fps 10 --size 20x40 --fit cover -o "
      "cover.webp");
  const auto frames = ReadWebP(Path("cover.webp"));
  ASSERT_FALSE(frames.empty());
  EXPECT_GT(frames[0].At(10, 0).r, 240);
  EXPECT_EQ(frames[0].width, 20u);

  if (!HaveProgram("ffmpeg") || !HaveProgram("ffprobe")) GTEST_SKIP() << "no ffmpeg/ffprobe";
  // The default random transition, four pictures: 4 x 5 + 3 x 4 = 32 frames.
  Succeeds(
      "slideshow 1.jpg 2.png 3.png 2.png --hold 0.25 --duration 0.2 --fps 20 --size 32x24 "
      "-o show.mp4");
  EXPECT_EQ(ProbeVideo(Path("show.mp4")), (Clip{32, 32, 24}));
}

// Catches: list without a transition's interfaces, --names printing more than names, a command
// whose help has no examples, no version.
TEST_F(RenderTest, ListShowsTransitionsAndHelpHasExamples) {
  const Result list = Run("list");
  ASSERT_EQ(list.code, 0) << list.err;
  EXPECT_NE(list.out.find("DissolveTransition\n  interfaces: IKeloTransition, IObjectInfo"),
            std::string::npos)
      << list.out;
  const Result names = Run("list --names");
  EXPECT_NE(names.out.find("RandomTransition\n"), std::string::npos);
  EXPECT_EQ(names.out.find("interfaces"), std::string::npos);
  for (const std::string command : {"", "list", "frame", "render", "slideshow", "sheet", "demo"}) {
    const Result help = Run(command + " --help");
    EXPECT_EQ(help.code, 0) << command;
    EXPECT_NE(help.out.find("Examples:\n  kelo " + (command.empty() ? "list" : command)),
              std::string::npos)
        << command << help.out;
  }
  const Result version = Run("--version");
  EXPECT_EQ(version.code, 0);
  EXPECT_EQ(version.out.rfind("kelo ", 0), 0u);
}

// Catches: a sheet missing a row or column, the demo missing one of its outputs or showing
// fewer frames than transitions.
TEST_F(RenderTest, SheetAndDemoDrawEveryTransition) {
  const Result names = Run("list --names");
  const long transitions = std::count(names.out.begin(), names.out.end(), '\n');
  ASSERT_GT(transitions, 0);
  const Image sheet = RunPng("sheet --cell 40x30 --quiet", "sheet.png");
  // Five columns of cells beside the names, one row per transition under the header.
  EXPECT_EQ(sheet.width, 200u + 5 * (40 + 8) + 8);
  EXPECT_EQ(sheet.height, 30u + transitions * (30 + 8) + 8);

  const Result demo = Run("demo --folder out --quiet");
  ASSERT_EQ(demo.code, 0) << demo.err;
  for (const char* output : {"out/slideshow.webp", "out/sheet.png", "out/dissolve/10.png"})
    EXPECT_NE(demo.out.find(output), std::string::npos) << output;
  EXPECT_GT(ReadWebP(Path("out/slideshow.webp")).size(), static_cast<std::size_t>(transitions));
}

// Catches: a setting by name, by id or folded not applied alike, a preset's style not
// overridable, saved settings not loaded back (before --set), a missing or broken settings file
// or an effect without settings not refused with one line and no output.
TEST_F(RenderTest, SettingsByNameOrNumber) {
  if (Run("list --names").out.find("CoverTransition\n") == std::string::npos)
    GTEST_SKIP() << "no CoverTransition in this build";
  const Result list = Run("list");
  EXPECT_NE(list.out.find(
                "CoverTransition\n  interfaces: IKeloTransition, IObjectInfo, IUIPropInterrogate"),
            std::string::npos)
      << list.out;
  EXPECT_NE(list.out.find("property 1 Direction: one of Top=0, Right=1, Bottom=2, Left=3"),
            std::string::npos)
      << list.out;

  const std::string frame = "frame --from a.png --to b.png -t CoverTransition -p 0.5 ";
  const Image left = RunPng(frame + "--set Direction=Left", "by-name.png");
  EXPECT_EQ(MaxDifference(left, RunPng(frame + "--set 1=3", "by-id.png")), 0);
  EXPECT_EQ(MaxDifference(left, RunPng(frame + "--set direction=left --set Style=Cover", "f.png")),
            0);
  EXPECT_GT(MaxDifference(left, RunPng(frame + "--set Direction=Right", "right.png")), 0);
  // The preset names keep their style; a setting changes it.
  EXPECT_EQ(MaxDifference(left, RunPng("frame --from a.png --to b.png -t PushTransition -p 0.5 "
                                       "--set Style=Cover --set Direction=3",
                                       "push.png")),
            0);

  // Settings saved through the effect's own Save come back through its Load, before --set.
  const Image saved =
      RunPng(frame + "--set Direction=Left --set Style=Push --save-settings push.xml", "s.png");
  const std::string xml = ReadFile(Path("push.xml"));
  EXPECT_NE(xml.find("<Direction>3</Direction>"), std::string::npos) << xml;
  EXPECT_NE(xml.find("<Style>1</Style>"), std::string::npos) << xml;
  EXPECT_EQ(MaxDifference(saved, RunPng(frame + "--settings push.xml", "loaded.png")), 0);
  EXPECT_EQ(MaxDifference(left, RunPng(frame + "--settings push.xml --set Style=Cover", "c.png")),
            0);

  Write("broken.xml", "<KeloData><Direction>");
  EXPECT_EQ(Run(frame + "--settings missing.xml -o d.png").code, 3);
  EXPECT_EQ(Run(frame + "--settings broken.xml -o d.png").code, 3);
  const Result plain =
      Run("frame --from a.png --to b.png -t DissolveTransition --settings push.xml -o d.png");
  EXPECT_EQ(plain.code, 2);
  EXPECT_NE(plain.err.find("has no settings"), std::string::npos) << plain.err;
  EXPECT_FALSE(std::filesystem::exists(Path("d.png")));
}

}  // namespace
}  // namespace apptest
