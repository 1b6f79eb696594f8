// kelo's outputs decode back to what was asked: frame counts, sizes and, for the dissolve,
// first and last frames equal to the pictures.
#include <png.h>

#include <fstream>

#include "tests/app/ProgramTestSupport.h"

namespace apptest {
namespace {

Rgb Warm(unsigned x, unsigned y) {
  return {static_cast<std::uint8_t>(x * 5), static_cast<std::uint8_t>(200 - y * 3), 40};
}
Rgb Cool(unsigned x, unsigned y) {
  return {30, static_cast<std::uint8_t>(y * 4), static_cast<std::uint8_t>(250 - x * 4)};
}

class RenderTest : public ProgramTest {
 protected:
  void SetUp() override {
    ProgramTest::SetUp();
    from_ = MakeImage(48, 32, Warm);
    to_ = MakeImage(48, 32, Cool);
    WritePng(Path("from.png"), from_, PNG_FORMAT_RGB);
    WritePng(Path("to.png"), to_, PNG_FORMAT_RGB);
  }
  Image from_, to_;
};

TEST_F(RenderTest, DissolveFramesStartAndEndOnThePictures) {
  ASSERT_EQ(std::filesystem::create_directory(Path("frames")), true);
  const Result png =
      Run("render --from from.png --to to.png -t DissolveTransition --duration 0.5 --fps 10 -o "
          "frames/%03d.png");
  ASSERT_EQ(png.code, 0) << png.err;
  std::vector<Image> frames;
  for (int i = 0; i < 5; ++i)
    frames.push_back(ReadPng(Path("frames/00" + std::to_string(i) + ".png")));
  EXPECT_FALSE(std::filesystem::exists(Path("frames/005.png")));
  EXPECT_EQ(MaxDifference(frames.front(), from_), 0);
  EXPECT_EQ(MaxDifference(frames.back(), to_), 0);
  // The middle frame lies between the two pictures.
  const Rgb middle = frames[2].At(10, 10), a = from_.At(10, 10), b = to_.At(10, 10);
  EXPECT_NEAR(middle.r, (a.r + b.r) / 2.0, 3);
  EXPECT_NEAR(middle.b, (a.b + b.b) / 2.0, 3);

  // Raw frames hold the same bytes as the PNG frames.
  const Result raw = Run("render --from from.png --to to.png --duration 0.5 --fps 10 -o out.rgb");
  ASSERT_EQ(raw.code, 0) << raw.err;
  std::ifstream in(Path("out.rgb"), std::ios::binary);
  std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                                  std::istreambuf_iterator<char>());
  ASSERT_EQ(bytes.size(), 5u * 48 * 32 * 3);
  EXPECT_TRUE(std::equal(from_.rgb.begin(), from_.rgb.end(), bytes.begin()));
  EXPECT_TRUE(
      std::equal(to_.rgb.begin(), to_.rgb.end(), bytes.end() - static_cast<long>(to_.rgb.size())));
}

TEST_F(RenderTest, EveryFormatDecodesToTheFramesAsked) {
  // 0.6 s at 15 fps is 9 frames, at the size given.
  const std::string common =
      "render --from from.png --to to.png --duration 0.6 --fps 15 --size 40x24 ";
  const Result webp = Run(common + "-o out.webp");
  ASSERT_EQ(webp.code, 0) << webp.err;
  const auto frames = ReadWebP(Path("out.webp"));
  ASSERT_EQ(frames.size(), 9u);
  EXPECT_EQ(frames[0].width, 40u);
  EXPECT_EQ(frames[0].height, 24u);

  const Result gif = Run(common + "-o out.gif");
  ASSERT_EQ(gif.code, 0) << gif.err;
  const GifInfo info = ReadGif(Path("out.gif"));
  EXPECT_EQ(info.frames, 9);
  EXPECT_EQ(info.width, 40u);
  EXPECT_EQ(info.height, 24u);
  EXPECT_EQ(info.totalDelay, 60);  // hundredths of a second

  if (!HaveProgram("ffmpeg") || !HaveProgram("ffprobe"))
    GTEST_SKIP() << "no ffmpeg/ffprobe for MP4 and WebM";
  for (const std::string name : {"out.mp4", "out.webm"}) {
    const Result video = Run(common + "-o " + name);
    ASSERT_EQ(video.code, 0) << video.err;
    int count = 0;
    unsigned width = 0, height = 0;
    ASSERT_TRUE(ProbeVideo(Path(name), count, width, height));
    EXPECT_EQ(count, 9) << name;
    EXPECT_EQ(width, 40u) << name;
    EXPECT_EQ(height, 24u) << name;
  }
  // Odd sizes work too.
  const Result odd =
      Run("render --from from.png --to to.png --duration 0.2 --fps 15 --size 33x17 -o odd.mp4");
  ASSERT_EQ(odd.code, 0) << odd.err;
  int count = 0;
  unsigned width = 0, height = 0;
  ASSERT_TRUE(ProbeVideo(Path("odd.mp4"), count, width, height));
  EXPECT_EQ(width, 33u);
  EXPECT_EQ(height, 17u);
  // Nothing but the outputs is left behind.
  EXPECT_EQ(Files(), (std::vector<std::string>{"from.png", "odd.mp4", "out.gif", "out.mp4",
                                               "out.webm", "out.webp", "to.png"}));
}

TEST_F(RenderTest, MixedSizesAndFormatsTakeTheTargetSize) {
  // A 16-bit grey PNG, a palette PNG, an RGBA PNG and a JPEG, each of its own size.
  const Image grey = MakeImage(30, 20, [](unsigned x, unsigned) {
    return Rgb{static_cast<std::uint8_t>(x * 8), 0, 0};
  });
  WritePng(Path("grey16.png"), grey, PNG_FORMAT_LINEAR_Y);
  const Image blocks = MakeImage(64, 40, [](unsigned x, unsigned) {
    return x < 32 ? Rgb{255, 0, 0} : Rgb{0, 0, 255};
  });
  WritePng(Path("palette.png"), blocks, PNG_FORMAT_RGB_COLORMAP);
  WritePng(Path("alpha.png"), blocks, PNG_FORMAT_RGBA);
  WriteJpeg(Path("photo.jpg"), MakeImage(50, 50, Warm));

  // At progress 0 the frame is `from` resampled to to's size; at 1 it is `to` itself.
  Result result = Run("frame --from grey16.png --to palette.png --progress 1 -o a.png");
  ASSERT_EQ(result.code, 0) << result.err;
  Image frame = ReadPng(Path("a.png"));
  EXPECT_EQ(frame.width, 64u);
  EXPECT_EQ(frame.height, 40u);
  EXPECT_EQ(MaxDifference(frame, blocks), 0);

  result = Run("frame --from palette.png --to grey16.png --progress 0 -o b.png");
  ASSERT_EQ(result.code, 0) << result.err;
  frame = ReadPng(Path("b.png"));
  EXPECT_EQ(frame.width, 30u);
  EXPECT_EQ(frame.height, 20u);
  EXPECT_GT(frame.At(2, 10).r, 200);   // red half on the left
  EXPECT_GT(frame.At(27, 10).b, 200);  // blue half on the right

  result = Run("frame --from photo.jpg --to grey16.png --progress 1 -o c.png");
  ASSERT_EQ(result.code, 0) << result.err;
  frame = ReadPng(Path("c.png"));
  for (unsigned x = 0; x < 30; x += 7) {
    const Rgb pixel = frame.At(x, 5);
    EXPECT_EQ(pixel.r, pixel.g) << "grey stays grey at x=" << x;
    EXPECT_NEAR(pixel.r, x * 8, 4) << "16-bit grey keeps its levels at x=" << x;
  }

  result = Run("render --from alpha.png --to photo.jpg --duration 0.2 --fps 10 -o mixed.gif");
  ASSERT_EQ(result.code, 0) << result.err;
  const GifInfo info = ReadGif(Path("mixed.gif"));
  EXPECT_EQ(info.frames, 2);
  EXPECT_EQ(info.width, 50u);
}

TEST_F(RenderTest, JpegOrientationIsHonoured) {
  // Stored 32x16, left half red, right half blue; orientation 6 turns it a quarter clockwise,
  // so upright it is 16x32 with red on top.
  const Image stored = MakeImage(32, 16, [](unsigned x, unsigned) {
    return x < 16 ? Rgb{255, 0, 0} : Rgb{0, 0, 255};
  });
  WriteJpeg(Path("turned.jpg"), stored, 6);
  WritePng(Path("tall.png"), MakeImage(16, 32, Cool), PNG_FORMAT_RGB);
  Result result = Run("frame --from turned.jpg --to tall.png --progress 0 -o upright.png");
  ASSERT_EQ(result.code, 0) << result.err;
  Image frame = ReadPng(Path("upright.png"));
  ASSERT_EQ(frame.width, 16u);
  ASSERT_EQ(frame.height, 32u);
  EXPECT_GT(frame.At(8, 4).r, 200);
  EXPECT_LT(frame.At(8, 4).b, 60);
  EXPECT_GT(frame.At(8, 28).b, 200);

  // Orientation 8 turns the other way: blue on top.
  WriteJpeg(Path("other.jpg"), stored, 8);
  result = Run("frame --from other.jpg --to tall.png --progress 0 -o other.png");
  ASSERT_EQ(result.code, 0) << result.err;
  frame = ReadPng(Path("other.png"));
  EXPECT_GT(frame.At(8, 4).b, 200);
  EXPECT_GT(frame.At(8, 28).r, 200);

  // Orientation 3 is upside down: the halves swap sides and the size stays.
  WriteJpeg(Path("flipped.jpg"), stored, 3);
  WritePng(Path("wide.png"), MakeImage(32, 16, Cool), PNG_FORMAT_RGB);
  result = Run("frame --from flipped.jpg --to wide.png --progress 0 -o flipped.png");
  ASSERT_EQ(result.code, 0) << result.err;
  frame = ReadPng(Path("flipped.png"));
  EXPECT_GT(frame.At(4, 8).b, 200);
  EXPECT_GT(frame.At(28, 8).r, 200);
}

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
  Result result =
      Run("slideshow 1.jpg 2.png 3.png --hold 0.3 --duration 0.2 --fps 10 --background '#00FF00' "
          "-o show/%02d.png");
  ASSERT_EQ(result.code, 0) << result.err;
  int count = 0;
  for (const auto& name : Files()) count += name.rfind("show/", 0) == 0;
  EXPECT_EQ(count, 13);
  // Frames 0-2 hold the first picture, 3-4 pass to the second, 5-7 hold it (contained: green
  // bars above and below).
  const Image hold = ReadPng(Path("show/05.png"));
  ASSERT_EQ(hold.width, 16u);
  ASSERT_EQ(hold.height, 32u);
  EXPECT_EQ(hold.At(8, 0).g, 255);
  EXPECT_EQ(hold.At(8, 0).r, 0);
  EXPECT_GT(hold.At(8, 16).r, 240);
  EXPECT_EQ(MaxDifference(hold, ReadPng(Path("show/07.png"))), 0);
  EXPECT_NE(MaxDifference(hold, ReadPng(Path("show/04.png"))), 0);

  // Cover fills the frame: no bars.
  result =
      Run("slideshow 2.png 3.png --hold 0.1 --duration 0.1 --fps 10 --size 20x40 --fit cover -o "
          "cover.webp");
  ASSERT_EQ(result.code, 0) << result.err;
  const auto frames = ReadWebP(Path("cover.webp"));
  ASSERT_FALSE(frames.empty());
  EXPECT_GT(frames[0].At(10, 0).r, 240);
  EXPECT_EQ(frames[0].width, 20u);

  if (!HaveProgram("ffmpeg") || !HaveProgram("ffprobe")) GTEST_SKIP() << "no ffmpeg/ffprobe";
  // The default random transition, four pictures: 4 x 5 + 3 x 4 = 32 frames.
  result =
      Run("slideshow 1.jpg 2.png 3.png 2.png --hold 0.25 --duration 0.2 --fps 20 --size 32x24 -o "
          "show.mp4");
  ASSERT_EQ(result.code, 0) << result.err;
  unsigned width = 0, height = 0;
  ASSERT_TRUE(ProbeVideo(Path("show.mp4"), count, width, height));
  EXPECT_EQ(count, 32);
  EXPECT_EQ(width, 32u);
}

TEST_F(RenderTest, ListShowsTransitionsAndHelpHasExamples) {
  const Result list = Run("list");
  ASSERT_EQ(list.code, 0) << list.err;
  EXPECT_NE(list.out.find("DissolveTransition\n  interfaces: IKeloTransition, IObjectInfo"),
            std::string::npos)
      << list.out;
  const Result names = Run("list --names");
  EXPECT_NE(names.out.find("RandomTransition\n"), std::string::npos);
  EXPECT_EQ(names.out.find("interfaces"), std::string::npos);
  for (const std::string command : {"list", "frame", "render", "slideshow", "sheet", "demo"}) {
    const Result help = Run(command + " --help");
    EXPECT_EQ(help.code, 0) << command;
    EXPECT_NE(help.out.find("Examples:\n  kelo " + command), std::string::npos)
        << command << help.out;
  }
  const Result help = Run("--help");
  EXPECT_EQ(help.code, 0);
  EXPECT_NE(help.out.find("Examples:\n  kelo list"), std::string::npos) << help.out;
  const Result version = Run("--version");
  EXPECT_EQ(version.code, 0);
  EXPECT_EQ(version.out.rfind("kelo ", 0), 0u);
}

TEST_F(RenderTest, SheetAndDemoDrawEveryTransition) {
  const Result names = Run("list --names");
  const long transitions = std::count(names.out.begin(), names.out.end(), '\n');
  ASSERT_GT(transitions, 0);
  Result result = Run("sheet --cell 40x30 -o sheet.png --quiet");
  ASSERT_EQ(result.code, 0) << result.err;
  const Image sheet = ReadPng(Path("sheet.png"));
  // Five columns of cells beside the names, one row per transition under the header.
  EXPECT_EQ(sheet.width, 200u + 5 * (40 + 8) + 8);
  EXPECT_EQ(sheet.height, 30u + transitions * (30 + 8) + 8);

  result = Run("demo --folder out --quiet");
  ASSERT_EQ(result.code, 0) << result.err;
  EXPECT_NE(result.out.find("out/slideshow.webp"), std::string::npos);
  EXPECT_NE(result.out.find("out/sheet.png"), std::string::npos);
  EXPECT_NE(result.out.find("out/dissolve/10.png"), std::string::npos);
  const auto frames = ReadWebP(Path("out/slideshow.webp"));
  EXPECT_GT(frames.size(), static_cast<std::size_t>(transitions));
}

}  // namespace
}  // namespace apptest

namespace apptest {
namespace {

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

  const std::string frame = "frame --from from.png --to to.png -t CoverTransition -p 0.5 ";
  ASSERT_EQ(Run(frame + "--set Direction=Left -o by-name.png").code, 0);
  ASSERT_EQ(Run(frame + "--set 1=3 -o by-id.png").code, 0);
  ASSERT_EQ(Run(frame + "--set direction=left --set Style=Cover -o folded.png").code, 0);
  ASSERT_EQ(Run(frame + "--set Direction=Right -o right.png").code, 0);
  const Image left = ReadPng(Path("by-name.png"));
  EXPECT_EQ(MaxDifference(left, ReadPng(Path("by-id.png"))), 0);
  EXPECT_EQ(MaxDifference(left, ReadPng(Path("folded.png"))), 0);
  EXPECT_GT(MaxDifference(left, ReadPng(Path("right.png"))), 0);
  // The preset names keep their style; a setting changes it.
  ASSERT_EQ(Run("frame --from from.png --to to.png -t PushTransition -p 0.5 --set Style=Cover "
                "--set Direction=3 -o push.png")
                .code,
            0);
  EXPECT_EQ(MaxDifference(left, ReadPng(Path("push.png"))), 0);

  // Settings saved through the effect's own Save come back through its Load, before --set.
  ASSERT_EQ(
      Run(frame + "--set Direction=Left --set Style=Push --save-settings push.xml -o a.png").code,
      0);
  std::ifstream saved(Path("push.xml"));
  const std::string xml((std::istreambuf_iterator<char>(saved)), std::istreambuf_iterator<char>());
  EXPECT_NE(xml.find("<Direction>3</Direction>"), std::string::npos) << xml;
  EXPECT_NE(xml.find("<Style>1</Style>"), std::string::npos) << xml;
  ASSERT_EQ(Run(frame + "--settings push.xml -o b.png").code, 0);
  EXPECT_EQ(MaxDifference(ReadPng(Path("a.png")), ReadPng(Path("b.png"))), 0);
  ASSERT_EQ(Run(frame + "--settings push.xml --set Style=Cover -o c.png").code, 0);
  EXPECT_EQ(MaxDifference(left, ReadPng(Path("c.png"))), 0);

  // A missing or broken settings file, or an effect without settings: one line, no output.
  std::ofstream(Path("broken.xml")) << "<KeloData><Direction>";
  EXPECT_EQ(Run(frame + "--settings missing.xml -o d.png").code, 3);
  EXPECT_EQ(Run(frame + "--settings broken.xml -o d.png").code, 3);
  const Result plain =
      Run("frame --from from.png --to to.png -t DissolveTransition --settings push.xml -o d.png");
  EXPECT_EQ(plain.code, 2);
  EXPECT_NE(plain.err.find("has no settings"), std::string::npos) << plain.err;
  EXPECT_FALSE(std::filesystem::exists(Path("d.png")));
}

}  // namespace
}  // namespace apptest
