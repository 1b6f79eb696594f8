// Runs that lose nothing: interrupted, refused before any work or failing half way, a run
// leaves every file that was there as it was and nothing of its own.
#include <signal.h>
#include <unistd.h>

#include <chrono>

#include "tests/app/ChildProcess.h"
#include "tests/app/ProgramTestSupport.h"

namespace apptest {
namespace {

using namespace std::chrono_literals;
constexpr int kInput = 3, kOutput = 4;
constexpr auto npos = std::string::npos;

class LosingNothingTest : public ProgramTest {
 protected:
  bool HiddenFilesThere() const {
    for (const auto& name : Files())
      if (name.find(".kelo-") != npos) return true;
    return false;
  }
};

// Catches: SIGINT or SIGTERM killing kelo outright (its hidden output, ffmpeg's partial file and
// log, PNG frames written so far left behind; ffmpeg left running), an earlier frame replaced by
// an interrupted run, the progress bar left on the terminal line, an exit code other than 128 +
// the signal.
TEST_F(LosingNothingTest, InterruptedRunsRemoveWhatTheyMadeAndClearTheBar) {
  ASSERT_TRUE(std::filesystem::create_directory(Path("fr")));
  Write("fr/0000.png", "mine");
  std::vector<std::pair<std::string, int>> cases = {
      {"long.rgb", SIGINT}, {"fr/%04d.png", SIGINT}, {"long.gif", SIGINT}, {"long.webp", SIGTERM}};
  if (HaveProgram("ffmpeg")) cases.emplace_back("long.mp4", SIGINT);
  for (const auto& [output, signal] : cases) {
    SCOPED_TRACE(output);
    const auto before = Files();
    Child child = StartKelo(dir_,
                            {"render", "--from", "a.png", "--to", "b.png", "-d", "600", "--size",
                             "320x240", "-o", output},
                            true);
    ASSERT_GT(child.pid, 0) << "no pseudo-terminal";
    // Under way: the bar is drawn and the run's hidden files are there (WebP writes its file
    // only at the end).
    EXPECT_TRUE(WaitUntil(child, 30s, [&] {
      return child.shown.find(" frames ") != npos && (HiddenFilesThere() || output == "long.webp");
    })) << child.shown;
    // To the whole process group, as a terminal sends Ctrl-C.
    kill(-child.pid, signal);
    const Ending end = Finish(child, 60s);
    EXPECT_EQ(end.signal, 0);
    EXPECT_EQ(end.code, 128 + signal) << end.out;
    EXPECT_EQ(Files(), before);
    EXPECT_EQ(ReadFile(Path("fr/0000.png")), "mine");
    EXPECT_EQ(ProcessesMentioning(dir_.string()), std::vector<pid_t>{}) << "ffmpeg still runs";
    // The bar's line is cleared before the one line that says what happened.
    const auto bar = end.out.rfind(" frames ");
    const auto said = end.out.find("kelo: error: ", bar);
    EXPECT_NE(said, npos) << end.out;
    if (said == npos) continue;
    EXPECT_LT(end.out.find("\r\033[K", bar), said) << end.out;
    EXPECT_EQ(end.out.find('\n', said), end.out.size() - 1) << "one line";
  }
}

// Catches: a run that fails at frame 5 after replacing the user's frames 0..4 (and then removing
// them in its clean-up), a frame file that is a folder found only when reached, a folder the
// pattern names refused or left behind by a failed run, a failed demo naming another folder.
TEST_F(LosingNothingTest, FramesOfAFailedRunReplaceNothing) {
  ASSERT_TRUE(std::filesystem::create_directories(Path("fr/0005.png")));
  for (int i = 0; i < 5; ++i)
    Write("fr/000" + std::to_string(i) + ".png", "user " + std::to_string(i));
  ExpectFailure("render --from a.png --to b.png -d 1 --fps 10 -o fr/%04d.png", kOutput,
                "the frame 'fr/0005.png' is a folder");
  std::filesystem::remove(Path("fr/0005.png"));
  // The third picture fails to decode after frames were rendered.
  WriteCutJpeg("cut.jpg");
  ExpectFailure("slideshow a.png b.png cut.jpg --hold 0.5 --fps 10 -o fr/%04d.png", kInput,
                "cannot read 'cut.jpg'");
  for (int i = 0; i < 5; ++i)
    EXPECT_EQ(ReadFile(Path("fr/000" + std::to_string(i) + ".png")), "user " + std::to_string(i));

  ExpectFailure("slideshow a.png b.png cut.jpg --hold 0.5 --fps 10 -o new/deeper/%04d.png", kInput,
                "cannot read 'cut.jpg'");
  EXPECT_FALSE(std::filesystem::exists(Path("new")));
  ExpectFailure("render --from a.png --to b.png -o a.png/%04d.png", kOutput,
                "the output folder 'a.png' is not a folder");
  // The demo names the folder it cannot use.
  Write("d1", "");
  ExpectFailure("demo --folder d1 --quiet", kOutput, "the output folder 'd1' is not a folder");
  ASSERT_TRUE(std::filesystem::create_directory(Path("d2")));
  Write("d2/dissolve", "");
  ExpectFailure("demo --folder d2 --quiet", kOutput,
                "the output folder 'd2/dissolve' is not a folder");
  Succeeds("render --from a.png --to b.png -d 0.3 --fps 10 -o new/deeper/%04d.png");
  EXPECT_EQ(MaxDifference(ReadPng(Path("new/deeper/0002.png")), b_), 0);
}

// Catches: a shorter run into the same pattern leaving an earlier run's later frames without a
// word, or warning when there are none.
TEST_F(LosingNothingTest, FramesOfAnEarlierLongerRunAreNamed) {
  const std::string run = "render --from a.png --to b.png -d 1 -o fr/%04d.png --fps ";
  Succeeds(run + "30");
  const Result shorter = Run(run + "10");
  EXPECT_EQ(shorter.code, 0);
  EXPECT_EQ(shorter.err,
            "kelo: warning: 20 frames of an earlier run follow this run's 10: 'fr/0010.png' to "
            "'fr/0029.png' (remove them, or they play after the new frames)\n");
  const Result longer = Run(run + "30");
  EXPECT_EQ(longer.code, 0);
  EXPECT_EQ(longer.err, "");
}

// Catches: the frame paths checked against every input one by one (100 pictures held 10 s at
// 60 fps were silent for 97 s before the first frame), or a later frame that is an input missed.
TEST_F(LosingNothingTest, FramePathsAreCheckedCheaply) {
  ASSERT_TRUE(std::filesystem::create_directory(Path("fr")));
  // 100 x 600 held frames and 99 x 60 transition frames: the last, 65939, is the last picture.
  std::string args = "slideshow";
  for (int i = 0; i < 99; ++i) {
    const std::string name = std::to_string(i) + ".png";
    std::filesystem::copy_file(Path("a.png"), Path(name));
    args += " " + name;
  }
  std::filesystem::copy_file(Path("b.png"), Path("fr/065939.png"));
  const auto start = std::chrono::steady_clock::now();
  ExpectFailure(args + " fr/065939.png --hold 10 --fps 60 -o fr/%06d.png", kOutput,
                "the frame 'fr/065939.png' would overwrite the input 'fr/065939.png'",
                "timeout 60");
  EXPECT_LT(std::chrono::steady_clock::now() - start, 10s);
}

// Catches: a full disk (or a file-size limit) ending the run without a clear message or with a
// core dump, the hidden output left behind, the earlier output damaged; a device output (here
// /dev/full, through a name with the format's extension) replaced by a file.
TEST_F(LosingNothingTest, AFullDiskGivesOneErrorAndKeepsTheOldOutput) {
  for (const std::string name : {"full.rgb", "full.webp", "full.gif", "full.png"}) {
    std::filesystem::create_symlink("/dev/full", Path(name));
    const std::string command = name == "full.png" ? "frame --from a.png --to b.png -o "
                                                   : "render --from a.png --to b.png -o ";
    ExpectFailure(command + name, kOutput, "cannot write '" + name + "': ");
    EXPECT_TRUE(std::filesystem::is_symlink(Path(name))) << name;
  }
  ExpectFailure("render --from a.png --to b.png -o full.rgb", kOutput,
                "cannot write 'full.rgb': No space left on device");
  ExpectFailure("frame --from a.png --to b.png -o full.png", kOutput,
                "cannot write 'full.png': No space left on device");

  // Past 4 KiB (512 bytes for the small, smooth PNG frames) every write fails, as on a full disk.
  ASSERT_TRUE(std::filesystem::create_directory(Path("fr")));
  for (const std::string name : {"old.rgb", "old.gif", "old.webp", "fr/0000.png"}) {
    Write(name, "old");
    const bool frames = name == "fr/0000.png";
    ExpectFailure("render --from a.png --to b.png --size 320x240 -o " +
                      (frames ? std::string("fr/%04d.png") : name),
                  kOutput,
                  "cannot write '" + name + "': ", frames ? "ulimit -f 1 &&" : "ulimit -f 8 &&");
    EXPECT_EQ(ReadFile(Path(name)), "old");
  }
}

}  // namespace
}  // namespace apptest
