// Every error path of kelo: a one-line message, its exit code, and no file left behind.
#include <png.h>

#include "tests/app/ProgramTestSupport.h"

namespace apptest {
namespace {

constexpr int kUsage = 2, kInput = 3, kOutput = 4;

using ErrorsTest = ProgramTest;

// Catches: a missing, non-picture, empty, cut or folder input not reported as such, or output
// left behind when the damage is found after frames were written.
TEST_F(ErrorsTest, BadPictures) {
  ExpectFailure("frame --from missing.png --to b.png -o out.png", kInput,
                "cannot read 'missing.png': no such file");
  Write("text.png", "not a picture\n");
  Write("empty.jpg", "");
  WriteCutJpeg("cut.jpg");
  ExpectFailure("frame --from text.png --to b.png -o out.png", kInput,
                "'text.png': not a PNG or JPEG picture");
  ExpectFailure("render --from a.png --to empty.jpg -o out.gif", kInput,
                "'empty.jpg': the file is empty");
  ExpectFailure("frame --from cut.jpg --to b.png -o out.png", kInput, "cannot read 'cut.jpg'");
  ExpectFailure("slideshow a.png b.png . -o show.webp", kInput, "cannot read '.': it is a folder");
  // The damage is found only when the third picture is decoded, after frames were written.
  ASSERT_TRUE(std::filesystem::create_directory(Path("frames")));
  ExpectFailure("slideshow a.png b.png cut.jpg --hold 0.5 --fps 10 -o frames/%03d.png", kInput,
                "cannot read 'cut.jpg'");
  ExpectFailure("slideshow a.png b.png cut.jpg --hold 0.5 --fps 10 -o show.webp", kInput,
                "cannot read 'cut.jpg'");
  ExpectFailure("slideshow a.png b.png cut.jpg --hold 0.5 --fps 10 -o show.gif", kInput,
                "cannot read 'cut.jpg'");
}

// Catches: a bad value or a missing argument accepted, reported with another code, or without
// what the message must say. Each is a usage error.
TEST_F(ErrorsTest, BadValues) {
  const std::pair<const char*, const char*> cases[] = {
      {"frame --from a.png --to b.png -t Disolve -o out.png",
       "unknown transition 'Disolve'; did you mean DissolveTransition"},
      {"render --from a.png --to b.png -t DissolveTransitoin -o out.gif",
       "did you mean DissolveTransition"},
      {"frame --from a.png --to b.png --progress 1.5 -o out.png", "bad --progress 1.5"},
      {"frame --from a.png --to b.png --progress nan -o out.png", "bad --progress"},
      {"frame --from a.png --to b.png --progress x -o out.png", "--progress"},
      {"render --from a.png --to b.png --fps 0 -o out.gif", "bad --fps 0"},
      {"render --from a.png --to b.png --fps 1000 -o out.gif", "bad --fps 1000"},
      {"render --from a.png --to b.png --duration -1 -o out.gif", "bad --duration -1"},
      {"render --from a.png --to b.png --duration 0 -o out.gif", "bad --duration 0"},
      {"slideshow a.png b.png --hold 0 --duration 0 -o out.gif", "give no frames"},
      {"render --from a.png --to b.png --size 0x10 -o out.gif", "bad --size '0x10'"},
      {"render --from a.png --to b.png --size big -o out.gif", "bad --size 'big'"},
      {"slideshow a.png --size 99999x10 -o out.gif", "bad --size"},
      {"render --from a.png --to b.png --fit squash -o out.gif", "bad --fit 'squash'"},
      {"slideshow a.png --background pink -o out.gif", "bad colour 'pink'"},
      {"render --from a.png --to b.png -o out.avi", "unknown output format 'out.avi'"},
      {"render --from a.png --to b.png -o 'f/%d%d.png'", "bad frame pattern"},
      {"frame --from a.png --to b.png -o out.jpg", "must be a .png file"},
      {"frame --from a.png --to b.png --set Direction=1 -o out.png",
       "DissolveTransition has no settings"},
      {"slideshow a.png b.png --set Direction=1 -o out.gif", "RandomTransition has no settings"},
      {"frame --from a.png -o out.png", "--to is required"},
      {"slideshow -o out.gif", "pictures is required"},
  };
  for (const auto& [args, message] : cases) ExpectFailure(args, kUsage, message);
}

// Catches: a bad setting name, value or form reported without the nearest name or the choices.
TEST_F(ErrorsTest, BadSettings) {
  if (Run("list --names").out.find("CoverTransition\n") == std::string::npos)
    GTEST_SKIP() << "no CoverTransition in this build";
  const std::string frame = "frame --from a.png --to b.png -t CoverTransition -o out.png ";
  ExpectFailure(frame + "--set Dirction=Left", kUsage,
                "CoverTransition has no setting 'Dirction'; did you mean Direction?");
  ExpectFailure(frame + "--set Direction=Diagonal", kUsage,
                "bad value 'Diagonal' for CoverTransition Direction: expected one of Top=0, "
                "Right=1, Bottom=2, Left=3");
  ExpectFailure(frame + "--set Direction=7", kUsage, "bad value '7' for CoverTransition Direction");
  ExpectFailure(frame + "--set 9=1", kUsage, "CoverTransition has no setting '9'");
  ExpectFailure(frame + "--set Direction", kUsage, "bad --set 'Direction': expected NAME=VALUE");
}

// Catches: an output into a missing folder, over an input (directly, by another name, or by a
// later frame of a pattern) or onto a folder accepted; video without ffmpeg not explained.
TEST_F(ErrorsTest, BadOutputs) {
  ExpectFailure("frame --from a.png --to b.png -o nowhere/out.png", kOutput,
                "the output folder 'nowhere' does not exist");
  ExpectFailure("frame --from a.png --to b.png -o b.png", kOutput,
                "would overwrite the input 'b.png'");
  ExpectFailure("frame --from a.png --to b.png -o ./a.png", kOutput,
                "would overwrite the input 'a.png'");
  // A PNG picture named like an animation is still an input.
  std::filesystem::copy_file(Path("a.png"), Path("pic.gif"));
  ExpectFailure("render --from pic.gif --to b.png -o pic.gif", kOutput,
                "would overwrite the input 'pic.gif'");
  ExpectFailure("slideshow b.png pic.gif -o pic.gif", kOutput,
                "would overwrite the input 'pic.gif'");
  // A frame pattern whose later frames would hit an input.
  std::filesystem::copy_file(Path("a.png"), Path("7.png"));
  ExpectFailure("render --from 7.png --to b.png --fps 10 -o %d.png", kOutput,
                "would overwrite the input '7.png'");
  std::filesystem::create_directory(Path("folder.png"));
  ExpectFailure("frame --from a.png --to b.png -o folder.png", kOutput, "'folder.png' is a folder");
  // Without ffmpeg, the video formats say what to install and what works instead.
  ExpectFailure("render --from a.png --to b.png -o out.mp4", kOutput,
                "needs the ffmpeg program (Debian package 'ffmpeg'); .webp, .gif", "PATH=/nowhere");
  ExpectFailure("slideshow a.png b.png -o out.webm", kOutput, "needs the ffmpeg program",
                "PATH=/nowhere");
}

// Catches: an existing output not replaced, or damaged by a failing run.
TEST_F(ErrorsTest, ExistingOutputIsReplacedWhole) {
  Write("out.png", "old");
  const Result result = Run("frame --from a.png --to b.png --progress 1 -o out.png");
  ASSERT_EQ(result.code, 0) << result.err;
  EXPECT_EQ(MaxDifference(ReadPng(Path("out.png")), ReadPng(Path("b.png"))), 0);
  // A failing run leaves the earlier output as it was.
  const Result failed = Run("frame --from a.png --to missing.png --progress 1 -o out.png");
  EXPECT_EQ(failed.code, kInput);
  EXPECT_EQ(MaxDifference(ReadPng(Path("out.png")), ReadPng(Path("b.png"))), 0);
  EXPECT_EQ(Files(), (std::vector<std::string>{"a.png", "b.png", "out.png"}));
}

// Catches: --set taking the pictures after it as more settings ("pictures is required"), -t of
// the sheet likewise, an unknown command reported as "A subcommand is required", a parse error
// pointing at the general help instead of the command's, a value shown rounded so that the
// refusal names an accepted one, an empty number taken for 0.
TEST_F(ErrorsTest, MessagesPointAtTheMistake) {
  Succeeds("slideshow -t push --set Direction=Left a.png b.png --hold 0.1 -d 0.1 -o x.gif");
  Succeeds("sheet -t push -t dissolve --cell 16x12 -o sheet.png");
  ExpectFailure("bogus", kUsage, "unknown command 'bogus' (see 'kelo --help')");
  ExpectFailure("rendr --from a.png", kUsage, "unknown command 'rendr'; did you mean render?");
  ExpectFailure("", kUsage,
                "no command given: use list, frame, render, slideshow, sheet, demo or studio");
  ExpectFailure("frame --from a.png --to b.png -p 1.0000001 -o out.png", kUsage,
                "bad --progress 1.0000001: expected 0 to 1");
  ExpectFailure("frame --from a.png --to b.png -p '' -o out.png", kUsage,
                "--progress: expected a number, not an empty value (see 'kelo frame --help')");
  ExpectFailure("slideshow a.png --fps '' -o out.gif", kUsage, "(see 'kelo slideshow --help')");
  ExpectFailure("sheet -t push dissolve -o sheet2.png", kUsage, "(see 'kelo sheet --help')");
}

}  // namespace
}  // namespace apptest
