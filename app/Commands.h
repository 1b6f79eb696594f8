// The kelo commands. Each returns the process exit code and throws AppError on failure.
#pragma once

#include <string>
#include <vector>

namespace kelo {

struct ListOptions {
  bool namesOnly = false;
};

struct FrameOptions {
  std::string from, to, output;
  std::string transition = "DissolveTransition";
  double progress = 0.5;
  std::vector<std::string> settings;
  std::string settingsFile;      // XML settings loaded into the effect before --set
  std::string saveSettingsFile;  // where to save the effect's settings as XML
};

struct RenderOptions {
  std::string from, to, output;
  std::string transition = "DissolveTransition";
  std::vector<std::string> settings;
  std::string settingsFile;      // XML settings loaded into the effect before --set
  std::string saveSettingsFile;  // where to save the effect's settings as XML
  double duration = 1.0;
  double fps = 30;
  std::string size;  // empty: to's size
  std::string fit = "contain";
  std::string background = "black";
  bool quiet = false;
};

struct SlideshowOptions {
  std::vector<std::string> pictures;
  std::string output;
  std::string transition = "RandomTransition";
  std::vector<std::string> settings;
  std::string settingsFile;      // XML settings loaded into the effect before --set
  std::string saveSettingsFile;  // where to save the effect's settings as XML
  double hold = 2.0;
  double duration = 1.0;
  double fps = 30;
  std::string size;  // empty: the first picture's size
  std::string fit = "contain";
  std::string background = "black";
  bool quiet = false;
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
