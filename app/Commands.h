// The kelo commands. Each returns the process exit code and throws AppError on failure.
#pragma once

#include <string>
#include <vector>

namespace kelo {

// The transition's settings as the command line gives them.
struct SettingsOptions {
  std::vector<std::string> assignments;  // NAME=VALUE, applied in order
  std::string loadFile;                  // XML settings loaded into the effect before them
  std::string saveFile;                  // where to save the effect's settings (after them)
};

// How pictures are brought to the output size.
struct FitOptions {
  std::string size;  // empty: the command's own size
  std::string fit = "contain";
  std::string background = "black";
};

struct ListOptions {
  bool namesOnly = false;
};

struct FrameOptions {
  std::string from, to, output;
  std::string transition = "DissolveTransition";
  double progress = 0.5;
  SettingsOptions settings;
};

struct RenderOptions {
  std::string from, to, output;
  std::string transition = "DissolveTransition";
  SettingsOptions settings;
  double duration = 1.0;
  double fps = 30;
  std::string easing = "linear";
  FitOptions fitting;  // no size: to's size
  bool quiet = false;
};

struct SlideshowOptions {
  std::vector<std::string> pictures;
  std::string timeline;  // a timeline file instead of pictures
  std::string output;
  std::string transition = "RandomTransition";
  SettingsOptions settings;
  double hold = 2.0;
  double duration = 1.0;
  double fps = 30;
  FitOptions fitting;  // no size: the first picture's size
  bool quiet = false;
  std::string easing = "linear";
  std::string motion = "none";
  std::string audio;  // music for MP4 and WebM
  bool fitToAudio = false;
  // Which options the command line gave: these override a timeline's defaults.
  bool holdGiven = false, durationGiven = false, transitionGiven = false, easingGiven = false,
       motionGiven = false;
};

struct SheetOptions {
  std::string output;
  std::string from, to;                  // empty: built-in pictures
  std::vector<std::string> transitions;  // empty: every registered transition
  std::string cell = "160x90";
  bool quiet = false;
};

struct DemoOptions {
  std::string folder = "demo";
  bool quiet = false;
};

int RunList(const ListOptions& options);
int RunFrame(const FrameOptions& options);
int RunRender(const RenderOptions& options);
int RunSlideshow(const SlideshowOptions& options);
int RunSheet(const SheetOptions& options);
int RunDemo(const DemoOptions& options);

}  // namespace kelo
