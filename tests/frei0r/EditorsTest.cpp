// The plug-ins inside the editors' own programs: melt mixes two pictures with every transition
// and GStreamer mixes two test sources, and the frames are compared with the pictures and with
// what kelo draws for the same progress.
#include <gtest/gtest.h>
#include <png.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/app/ProgramTestSupport.h"
#include "tests/common/ScratchFolder.h"

namespace {

namespace fs = std::filesystem;
using apptest::Image;
using apptest::MaxDifference;
using apptest::Rgb;

// The share of pixels that hold `b`'s colour rather than `a`'s (within two levels).
double ShareOf(const Image& frame, const Image& a, const Image& b) {
  std::size_t fromB = 0;
  for (unsigned y = 0; y < frame.height; ++y)
    for (unsigned x = 0; x < frame.width; ++x) {
      const Rgb p = frame.At(x, y), q = b.At(x, y), r = a.At(x, y);
      const auto distance = [](Rgb u, Rgb v) {
        return std::abs(u.r - v.r) + std::abs(u.g - v.g) + std::abs(u.b - v.b);
      };
      fromB += distance(p, q) < distance(p, r) && distance(p, q) <= 6;
    }
  return static_cast<double>(fromB) / (std::size_t{frame.width} * frame.height);
}

class EditorsTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(dir_.empty());
    Pictures(640, 360);
  }

  // a.png and b.png of that size, and a melt profile for it at 25 fps (melt 7.12 crashes on a
  // profile without a description).
  void Pictures(unsigned width, unsigned height) {
    a_ = apptest::MakeImage(width, height, [](unsigned x, unsigned y) {
      return Rgb{static_cast<std::uint8_t>(x / 3), static_cast<std::uint8_t>(220 - y / 2), 40};
    });
    b_ = apptest::MakeImage(width, height, [](unsigned x, unsigned y) {
      return Rgb{30, static_cast<std::uint8_t>(y / 2 + 20), static_cast<std::uint8_t>(250 - x / 3)};
    });
    apptest::WritePng(dir_ / "a.png", a_, PNG_FORMAT_RGB);
    apptest::WritePng(dir_ / "b.png", b_, PNG_FORMAT_RGB);
    std::ofstream(dir_ / "profile")
        << "description=test\nframe_rate_num=25\nframe_rate_den=1\nwidth=" << width
        << "\nheight=" << height
        << "\nprogressive=1\nsample_aspect_num=1\nsample_aspect_den=1\n"
           "display_aspect_num="
        << width << "\ndisplay_aspect_den=" << height << "\ncolorspace=709\n";
  }

  // Runs a shell command in the scratch folder with the build's plug-ins; its exit code.
  int Shell(const std::string& command) {
    const std::string line = "cd '" + dir_.string() +
                             "' && FREI0R_PATH='" KELO_FREI0R_DIR "' GST_REGISTRY='" +
                             (dir_ / "registry.bin").string() + "' " + command + " >>log 2>&1";
    const int status = std::system(line.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  // Mixes a.png into b.png over `frames` frames (two clips of `frames` + 5 frames) with the
  // plug-in and its `settings`, frames written as PNG to `folder`; the mix's frames, first to
  // last. melt itself (with its own mixers too) now and then ends a run, or stops working in
  // one, before its first frame, so a run that writes no frame is given up after 30 s and
  // tried again, twice at most.
  std::vector<Image> Melt(const std::string& plugin, int frames, const std::string& settings,
                          const std::string& threads = "real_time=-1",
                          const std::string& folder = "frames") {
    const std::string length = std::to_string(frames + 4);
    const std::string command = "timeout 30 melt -silent pixbuf:a.png out=" + length +
                                " pixbuf:b.png out=" + length + " -mix " + std::to_string(frames) +
                                " -mixer frei0r." + plugin + " progress='0=0;-1=1' " + settings +
                                " -profile profile -consumer avformat:" + folder +
                                "/%03d.png vcodec=png pix_fmt=rgb24 " + threads;
    for (int attempt = 0; attempt < 3; ++attempt) {
      fs::remove_all(dir_ / folder);
      fs::create_directory(dir_ / folder);
      const int code = Shell(command);
      if (!fs::is_empty(dir_ / folder)) {
        EXPECT_EQ(code, 0) << command << "\n" << Log();
        break;
      }
    }
    std::vector<Image> mix;
    for (int i = 0; i < frames; ++i) {
      char file[16];
      std::snprintf(file, sizeof file, "/%03d.png", i + 6);  // numbered from 1; 5 before the mix
      mix.push_back(apptest::ReadPng(dir_ / (folder + file)));
    }
    fs::remove_all(dir_ / folder);
    return mix;
  }

  Image Kelo(const std::string& transition, double progress, const std::string& extra = "") {
    EXPECT_EQ(Shell("'" KELO_PROGRAM "' frame --from a.png --to b.png -t " + transition + " -p " +
                    std::to_string(progress) + " " + extra + " -o kelo.png"),
              0)
        << Log();
    return apptest::ReadPng(dir_ / "kelo.png");
  }

  std::string Log() { return apptest::ReadFile(dir_ / "log"); }

  testsupport::ScratchFolder scratch_{"kelo-frei0r-test"};
  const fs::path dir_ = scratch_.Path();
  Image a_, b_;
};

// Catches a transition that does not start on the first clip or end on the second, draws
// nothing in between, or draws other frames than kelo does for the same progress.
TEST_F(EditorsTest, EveryTransitionInMelt) {
  std::ifstream manifest(fs::path(KELO_MODULE_DIR) / "components.manifest");
  int transitions = 0;
  for (std::string line; std::getline(manifest, line);) {
    if (!line.ends_with("\tKeloSlideTransition")) continue;
    const std::string component = line.substr(0, line.find('\t'));
    std::string plugin = "kelo_" + component.substr(0, component.size() - 10);
    for (char& c : plugin) c = static_cast<char>(std::tolower(c));
    SCOPED_TRACE(plugin);
    ++transitions;
    const auto mix = Melt(plugin, 5, "");
    ASSERT_EQ(mix.size(), 5u);
    EXPECT_EQ(MaxDifference(mix[0], a_), 0);
    EXPECT_NE(MaxDifference(mix[2], a_), 0);
    EXPECT_NE(MaxDifference(mix[2], b_), 0);
    const Image kelo = Kelo(component, 0.5);
    if (component == "DitherCumulativeTransition") {
      // Adds cells by the progress made since its last frame, so its share of the second clip
      // follows the progress only roughly, and its last frame is mostly, not all, the second.
      EXPECT_GT(ShareOf(mix[4], a_, b_), 0.6);
      EXPECT_NEAR(ShareOf(mix[2], a_, b_), ShareOf(kelo, a_, b_), 0.15);
    } else if (component == "DitherTransition") {
      EXPECT_EQ(MaxDifference(mix[4], b_), 0);
      // A fresh random pattern every frame: the same share of the second clip.
      EXPECT_NEAR(ShareOf(mix[2], a_, b_), ShareOf(kelo, a_, b_), 0.05);
    } else if (component == "RandomTransition") {
      // Picks one of the others at random, in melt as in kelo: nothing to compare it with, and
      // when it picks the cumulative dither its last frame is mostly the second clip.
      EXPECT_GT(ShareOf(mix[4], a_, b_), 0.6);
    } else {
      EXPECT_EQ(MaxDifference(mix[4], b_), 0);
      EXPECT_LE(MaxDifference(mix[2], kelo), 2);
      EXPECT_LE(MaxDifference(mix[1], Kelo(component, 0.25)), 2);
    }
  }
  EXPECT_EQ(transitions, 15);
}

// Catches a setting given by name that does not reach the effect or means something else than
// kelo's --set, and rows read with the wrong stride at a width that is not a multiple of 8.
TEST_F(EditorsTest, SettingsByNameAndOddSizes) {
  const auto left = Melt("kelo_push", 5, "Direction=Left");
  const Image kelo = Kelo("PushTransition", 0.5, "--set Direction=Left");
  EXPECT_LE(MaxDifference(left[2], kelo), 2);
  EXPECT_GT(MaxDifference(left[2], Kelo("PushTransition", 0.5)), 100);

  Pictures(654, 366);
  const auto odd = Melt("kelo_shutterbands", 5, "Direction='Left and right' Bands=5");
  ASSERT_EQ(odd[2].width, 654u);
  EXPECT_LE(MaxDifference(odd[2], Kelo("ShutterBandsTransition", 0.5,
                                       "--set 'Direction=Left and right' --set Bands=5")),
            2);
}

// Catches unserialised or order-dependent frames when MLT renders on several threads (each with
// instances of its own) instead of one.
TEST_F(EditorsTest, ParallelRenderEqualsSerial) {
  Pictures(320, 180);
  const auto serial = Melt("kelo_twirl", 100, "", "real_time=-1", "serial");
  const auto parallel = Melt("kelo_twirl", 100, "", "real_time=-2", "parallel");
  ASSERT_EQ(serial.size(), 100u);
  for (int i = 0; i < 100; ++i)
    EXPECT_EQ(MaxDifference(serial[i], parallel[i]), 0) << "frame " << i;
}

// Catches a plug-in GStreamer does not register under its element name, or that draws other
// frames in a pipeline than kelo does for the same pictures.
TEST_F(EditorsTest, GStreamerPipeline) {
  const std::string caps = " ! video/x-raw,format=RGBA,width=320,height=180,framerate=25/1";
  const std::string sources[2] = {"videotestsrc num-buffers=3 pattern=smpte" + caps,
                                  "videotestsrc num-buffers=3 pattern=ball" + caps};
  for (int i = 0; i < 2; ++i)
    ASSERT_EQ(Shell("gst-launch-1.0 -q " + sources[i] +
                    " ! videoconvert ! pngenc ! multifilesink location=" + "ab"[i] + "%d.png"),
              0)
        << Log();
  fs::copy_file(dir_ / "a1.png", dir_ / "a.png", fs::copy_options::overwrite_existing);
  fs::copy_file(dir_ / "b1.png", dir_ / "b.png", fs::copy_options::overwrite_existing);
  ASSERT_EQ(Shell("gst-launch-1.0 -q " + sources[0] + " ! mix.sink_0 " + sources[1] +
                  " ! mix.sink_1 frei0r-mixer-kelo-push name=mix progress=0.5 direction=Left"
                  " ! videoconvert ! pngenc ! multifilesink location=mix%d.png"),
            0)
      << Log();
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(fs::exists(dir_ / ("mix" + std::to_string(i) + ".png")));
  const Image mix = apptest::ReadPng(dir_ / "mix1.png");
  EXPECT_LE(MaxDifference(mix, Kelo("PushTransition", 0.5, "--set Direction=Left")), 2);
}

}  // namespace
