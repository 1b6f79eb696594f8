// Timeline files: a slideshow written out slide by slide, in JSON or TOML (the same keys in
// both). Read here into plain values; every value keeps where it came from (file, line and field)
// so that a later refusal, such as an unknown transition, can name it.
//
//   {"defaults": {"hold": 1, "duration": 0.5, "easing": "ease-in-out", "motion": "auto",
//                 "transition": "DissolveTransition"},
//    "slides": [{"picture": "a.png", "hold": 2, "motion": "zoom-in",
//                "transition": {"name": "PushTransition", "duration": 1, "easing": "ease-out",
//                               "settings": {"Direction": "Left"}, "settings_file": "push.xml"}},
//               "b.jpg"]}
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/Easing.h"
#include "app/Motion.h"

namespace kelo {

// Where a value stands in a timeline file: "show.json:4: slides[1].hold".
struct Origin {
  std::filesystem::path file;
  int line = 0;
  std::string field;
  std::string Text() const;
};

struct TimelineSetting {
  std::string name, value;  // as --set takes them
  Origin origin;
};

// A transition as the file gives it; what it leaves out comes from the defaults.
struct TimelineTransition {
  std::optional<std::string> name;
  std::optional<double> duration;
  std::optional<Easing> easing;
  std::optional<std::filesystem::path> settingsFile;  // relative to the timeline's folder
  std::vector<TimelineSetting> settings;
  Origin origin, nameOrigin, settingsFileOrigin;
  // True when it asks for an effect of its own (a name or settings).
  bool OwnEffect() const { return name || settingsFile || !settings.empty(); }
};

struct TimelineSlide {
  std::filesystem::path picture;  // relative to the timeline's folder
  std::optional<double> hold;
  std::optional<Motion> motion;
  TimelineTransition transition;  // to the next slide (the last slide's is ignored)
  Origin origin;
};

struct Timeline {
  std::filesystem::path file;
  std::optional<double> hold, duration;
  std::optional<Easing> easing;
  std::optional<Motion> motion;
  TimelineTransition transition;  // the default transition: name and settings only
  std::vector<TimelineSlide> slides;
};

// The largest timeline file read, the most slides and the deepest nesting.
inline constexpr std::uintmax_t kMaxTimelineBytes = 4u << 20;
inline constexpr std::size_t kMaxTimelineSlides = 10000;
inline constexpr int kMaxTimelineDepth = 8;

enum class TimelineFormat { kJson, kToml };

// Reads a timeline file (.json or .toml by its extension). Throws AppError: exit 3 for a file that
// is missing, too large or not JSON/TOML, exit 2 for a value that is wrong, each naming the file,
// the line and the field.
Timeline ReadTimeline(const std::filesystem::path& file);
// The same for text already in memory; `file` names it and anchors relative paths.
Timeline ParseTimeline(std::string_view text, TimelineFormat format,
                       const std::filesystem::path& file);

}  // namespace kelo
