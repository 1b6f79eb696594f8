// Timeline files: the tree of values the syntax gives (app/TimelineSyntax.cpp, JSON or TOML)
// walked by one reader for both formats, checking each field and naming it when it refuses one.
#include "app/Timeline.h"

#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>

#include "app/Errors.h"
#include "app/Files.h"
#include "app/Text.h"
#include "app/TimelineTree.h"

namespace kelo {

std::string Origin::Text() const {
  std::string text = file.string() + ":" + std::to_string(line);
  if (!field.empty()) text += ": " + field;
  return text;
}

void timeline::Refuse(int code, const std::filesystem::path& file, int line,
                      const std::string& field, const std::string& message) {
  throw AppError(code, Origin{file, line, field}.Text() + ": " + message);
}

namespace {

using timeline::Member;
using timeline::Node;
using timeline::Refuse;

// ---- The reader of the tree, for both formats.

std::string KindName(Node::Kind kind) {
  switch (kind) {
    case Node::Kind::kNull:
      return "null";
    case Node::Kind::kBoolean:
      return "true or false";
    case Node::Kind::kInteger:
    case Node::Kind::kNumber:
      return "a number";
    case Node::Kind::kString:
      return "a text";
    case Node::Kind::kArray:
      return "a list";
    case Node::Kind::kObject:
      return "a table";
    case Node::Kind::kOther:
      break;
  }
  return "a date or time";
}

class Reader {
 public:
  explicit Reader(const std::filesystem::path& file) : file_(file), folder_(file.parent_path()) {}

  Timeline Read(const Node& root) {
    Timeline timeline;
    timeline.file = file_;
    if (root.kind != Node::Kind::kObject)
      Fail(root.line, "", "expected a table with defaults and slides, not " + KindName(root.kind));
    const Node* slides = nullptr;
    int slidesLine = root.line;
    for (const auto& member : root.members) {
      if (member.key == "defaults") {
        Defaults(member, timeline);
      } else if (member.key == "slides") {
        slides = &member.value;
        slidesLine = member.line;
      } else {
        Unknown(member, "", {"defaults", "slides"});
      }
    }
    if (slides == nullptr) Fail(root.line, "slides", "missing: the list of slides");
    if (slides->kind != Node::Kind::kArray)
      Fail(slidesLine, "slides", "expected a list of slides, not " + KindName(slides->kind));
    if (slides->items.empty()) Fail(slidesLine, "slides", "the list of slides is empty");
    if (slides->items.size() > kMaxTimelineSlides)
      Fail(slidesLine, "slides",
           std::to_string(slides->items.size()) + " slides: at most " +
               std::to_string(kMaxTimelineSlides) + " are shown");
    for (std::size_t i = 0; i < slides->items.size(); ++i)
      timeline.slides.push_back(Slide(slides->items[i], "slides[" + std::to_string(i) + "]"));
    return timeline;
  }

 private:
  [[noreturn]] void Fail(int line, const std::string& field, const std::string& message,
                         int code = kExitUsage) const {
    Refuse(code, file_, line, field, message);
  }
  Origin At(int line, const std::string& field) const { return {file_, line, field}; }
  static std::string Join(const std::string& parent, const std::string& key) {
    return parent.empty() ? key : parent + "." + key;
  }

  void Unknown(const Member& member, const std::string& parent,
               const std::vector<std::string>& known) const {
    std::string message = "unknown field";
    const auto nearest = NearestNames(member.key, known, 1);
    message += nearest.empty() ? "; expected " + JoinAlternatives(known)
                               : "; did you mean " + nearest.front() + "?";
    Fail(member.line, Join(parent, member.key), message);
  }

  std::string Text(const Member& member, const std::string& field) const {
    if (member.value.kind != Node::Kind::kString)
      Fail(member.line, field, "expected a text, not " + KindName(member.value.kind));
    return member.value.text;
  }
  double Seconds(const Member& member, const std::string& field) const {
    const Node& value = member.value;
    if (value.kind != Node::Kind::kInteger && value.kind != Node::Kind::kNumber)
      Fail(member.line, field, "expected a number of seconds, not " + KindName(value.kind));
    if (!std::isfinite(value.number) || value.number < 0 || value.number > 3600)
      Fail(member.line, field, "bad time " + value.text + ": expected 0 to 3600 seconds");
    return value.number;
  }
  Easing EasingOf(const Member& member, const std::string& field) const {
    std::string why;
    const std::string text = Text(member, field);
    auto easing = Easing::Parse(text, &why);
    if (!easing) Fail(member.line, field, "bad easing '" + text + "': " + why);
    return *easing;
  }
  Motion MotionOf(const Member& member, const std::string& field) const {
    const std::string text = Text(member, field);
    auto motion = ParseMotion(text);
    if (!motion)
      Fail(member.line, field,
           "bad motion '" + text + "': expected " + std::string(MotionChoices()));
    return *motion;
  }
  std::filesystem::path PathOf(const Member& member, const std::string& field) const {
    const std::string text = Text(member, field);
    if (text.empty()) Fail(member.line, field, "the file name is empty");
    if (text.find('\0') != std::string::npos)
      Fail(member.line, field, "the file name holds a zero byte");
    const std::filesystem::path path = text;
    return path.is_absolute() || folder_.empty() ? path : folder_ / path;
  }

  void Defaults(const Member& defaults, Timeline& timeline) const {
    const std::string field = "defaults";
    if (defaults.value.kind != Node::Kind::kObject)
      Fail(defaults.line, field, "expected a table, not " + KindName(defaults.value.kind));
    for (const auto& member : defaults.value.members) {
      const std::string name = Join(field, member.key);
      if (member.key == "hold")
        timeline.hold = Seconds(member, name);
      else if (member.key == "duration")
        timeline.duration = Seconds(member, name);
      else if (member.key == "easing")
        timeline.easing = EasingOf(member, name);
      else if (member.key == "motion")
        timeline.motion = MotionOf(member, name);
      else if (member.key == "transition")
        timeline.transition = Transition(member, name, false);
      else
        Unknown(member, field, {"hold", "duration", "easing", "motion", "transition"});
    }
  }

  TimelineSlide Slide(const Node& node, const std::string& field) const {
    TimelineSlide slide;
    slide.origin = At(node.line, field);
    // A slide may be its picture's name alone.
    if (node.kind == Node::Kind::kString) {
      slide.picture = PathOf({"", node.line, node}, field);
      return slide;
    }
    if (node.kind != Node::Kind::kObject)
      Fail(node.line, field,
           "expected a slide (a table with a picture), not " + KindName(node.kind));
    bool hasPicture = false;
    for (const auto& member : node.members) {
      const std::string name = Join(field, member.key);
      if (member.key == "picture") {
        slide.picture = PathOf(member, name);
        hasPicture = true;
      } else if (member.key == "hold") {
        slide.hold = Seconds(member, name);
      } else if (member.key == "motion") {
        slide.motion = MotionOf(member, name);
      } else if (member.key == "transition") {
        slide.transition = Transition(member, name, true);
      } else {
        Unknown(member, field, {"picture", "hold", "motion", "transition"});
      }
    }
    if (!hasPicture) Fail(node.line, Join(field, "picture"), "missing: every slide needs one");
    return slide;
  }

  // A transition: its name alone, or a table. The default transition takes no duration or
  // easing of its own (those are defaults of their own).
  TimelineTransition Transition(const Member& from, const std::string& field, bool timed) const {
    TimelineTransition transition;
    transition.origin = At(from.line, field);
    if (from.value.kind == Node::Kind::kString) {
      transition.name = from.value.text;
      transition.nameOrigin = transition.origin;
      return transition;
    }
    if (from.value.kind != Node::Kind::kObject)
      Fail(from.line, field,
           "expected a transition name or table, not " + KindName(from.value.kind));
    std::vector<std::string> known = {"name", "settings", "settings_file"};
    if (timed) known.insert(known.end(), {"duration", "easing"});
    for (const auto& member : from.value.members) {
      const std::string name = Join(field, member.key);
      if (member.key == "name") {
        transition.name = Text(member, name);
        transition.nameOrigin = At(member.line, name);
      } else if (member.key == "settings") {
        Settings(member, name, transition.settings);
      } else if (member.key == "settings_file") {
        transition.settingsFile = PathOf(member, name);
        transition.settingsFileOrigin = At(member.line, name);
      } else if (timed && member.key == "duration") {
        transition.duration = Seconds(member, name);
      } else if (timed && member.key == "easing") {
        transition.easing = EasingOf(member, name);
      } else if (!timed && (member.key == "duration" || member.key == "easing")) {
        Fail(member.line, name, "give the default " + member.key + " in defaults itself");
      } else {
        Unknown(member, field, known);
      }
    }
    return transition;
  }

  void Settings(const Member& from, const std::string& field,
                std::vector<TimelineSetting>& settings) const {
    if (from.value.kind != Node::Kind::kObject)
      Fail(from.line, field,
           "expected a table of settings such as {\"Direction\": \"Left\"}, not " +
               KindName(from.value.kind));
    for (const auto& member : from.value.members) {
      const std::string name = Join(field, member.key);
      const Node& value = member.value;
      std::string text;
      switch (value.kind) {
        case Node::Kind::kString:
        case Node::Kind::kInteger:
        case Node::Kind::kNumber:
          text = value.text;
          break;
        case Node::Kind::kBoolean:
          text = value.boolean ? "true" : "false";
          break;
        default:
          Fail(member.line, name,
               "expected a text, number or true/false, not " + KindName(value.kind));
      }
      settings.push_back({member.key, std::move(text), At(member.line, name)});
    }
  }

  std::filesystem::path file_;
  std::filesystem::path folder_;
};

}  // namespace

Timeline ParseTimeline(std::string_view text, TimelineFormat format,
                       const std::filesystem::path& file) {
  const Node root = format == TimelineFormat::kJson ? timeline::ParseJson(text, file)
                                                    : timeline::ParseToml(text, file);
  return Reader(file).Read(root);
}

Timeline ReadTimeline(const std::filesystem::path& file) {
  const std::string extension = LowerExtension(file);
  if (extension != "json" && extension != "toml")
    throw AppError(kExitUsage,
                   "the timeline '" + file.string() + "' must be a .json or .toml file");
  auto fail = [&](const std::string& why) {
    throw AppError(kExitInput, "cannot read the timeline '" + file.string() + "': " + why);
  };
  std::error_code error;
  const auto status = std::filesystem::status(file, error);
  if (status.type() == std::filesystem::file_type::not_found) fail("no such file");
  if (status.type() == std::filesystem::file_type::directory) fail("it is a folder");
  std::ifstream in(file, std::ios::binary);
  if (!in) fail(std::strerror(errno));
  // One byte past the limit, so that a file that grows while read is still caught.
  std::string bytes(kMaxTimelineBytes + 1, '\0');
  in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (in.bad()) fail("it cannot be read");
  bytes.resize(static_cast<std::size_t>(in.gcount()));
  if (bytes.size() > kMaxTimelineBytes)
    fail("it is larger than " + std::to_string(kMaxTimelineBytes >> 20) +
         " MiB, the limit for timelines");
  return ParseTimeline(bytes, extension == "json" ? TimelineFormat::kJson : TimelineFormat::kToml,
                       file);
}

}  // namespace kelo
