// Timeline files in JSON and TOML: what a valid file gives, and each kind of refusal naming the
// file, the line and the field.
#include <gtest/gtest.h>

#include <fstream>

#include "app/Errors.h"
#include "app/Timeline.h"
#include "tests/common/ScratchFolder.h"

namespace {

using kelo::Motion;
using kelo::Timeline;
using kelo::TimelineFormat;

constexpr const char* kJsonExample =
    R"x({"defaults": {"hold": 1, "duration": 0.5, "easing": "ease-in-out", "motion": "auto"},
 "slides": [{"picture": "a.png", "transition": {"name": "PushTransition", "settings": {"Direction": "Left"}}},
            {"picture": "b.jpg", "hold": 1.5, "transition": {"name": "DissolveTransition", "easing": "cubic-bezier(0.4,0,0.2,1)"}},
            {"picture": "c.png", "motion": "zoom-in"}]})x";

constexpr const char* kTomlExample = R"x([defaults]
hold = 1
duration = 0.5
easing = "ease-in-out"
motion = "auto"

[[slides]]
picture = "a.png"
transition = { name = "PushTransition", settings = { Direction = "Left" } }

[[slides]]
picture = "b.jpg"
hold = 1.5
[slides.transition]
name = "DissolveTransition"
easing = "cubic-bezier(0.4,0,0.2,1)"

[[slides]]
picture = "c.png"
motion = "zoom-in"
)x";

// Catches: a field dropped or misread in either format, paths not taken relative to the file,
// the two formats reading the same keys differently.
TEST(TimelineTest, TheExampleReadsAlikeInJsonAndToml) {
  for (const auto& [text, format, file] :
       {std::tuple{kJsonExample, TimelineFormat::kJson, "shows/show.json"},
        std::tuple{kTomlExample, TimelineFormat::kToml, "shows/show.toml"}}) {
    const Timeline timeline = kelo::ParseTimeline(text, format, file);
    EXPECT_EQ(timeline.hold, 1.0) << file;
    EXPECT_EQ(timeline.duration, 0.5) << file;
    ASSERT_TRUE(timeline.easing) << file;
    EXPECT_EQ(timeline.easing->Text(), "ease-in-out");
    EXPECT_EQ(timeline.motion, Motion::kAuto);
    ASSERT_EQ(timeline.slides.size(), 3u) << file;
    const auto& [a, b, c] = std::tie(timeline.slides[0], timeline.slides[1], timeline.slides[2]);
    EXPECT_EQ(a.picture, "shows/a.png");
    EXPECT_EQ(b.picture, "shows/b.jpg");
    EXPECT_FALSE(a.hold);
    EXPECT_EQ(b.hold, 1.5);
    EXPECT_EQ(a.transition.name, "PushTransition");
    ASSERT_EQ(a.transition.settings.size(), 1u);
    EXPECT_EQ(a.transition.settings[0].name, "Direction");
    EXPECT_EQ(a.transition.settings[0].value, "Left");
    EXPECT_EQ(a.transition.settings[0].origin.field, "slides[0].transition.settings.Direction");
    EXPECT_EQ(b.transition.name, "DissolveTransition");
    ASSERT_TRUE(b.transition.easing);
    EXPECT_NEAR((*b.transition.easing)(0.5), 0.775561, 1e-5);
    EXPECT_FALSE(a.transition.easing);
    EXPECT_EQ(c.motion, Motion::kZoomIn);
    EXPECT_FALSE(c.transition.OwnEffect());
  }
  // Line numbers of values, for later refusals (the unknown transition, say).
  const Timeline json = kelo::ParseTimeline(kJsonExample, TimelineFormat::kJson, "show.json");
  EXPECT_EQ(json.slides[1].transition.nameOrigin.Text(), "show.json:3: slides[1].transition.name");
  const Timeline toml = kelo::ParseTimeline(kTomlExample, TimelineFormat::kToml, "show.toml");
  EXPECT_EQ(toml.slides[1].transition.nameOrigin.Text(), "show.toml:15: slides[1].transition.name");
}

// Catches: the short forms refused, settings of other types lost, absolute paths re-rooted.
TEST(TimelineTest, ShortFormsAndSettingTypes) {
  const Timeline timeline = kelo::ParseTimeline(
      R"({"defaults": {"transition": {"name": "Shutter", "settings_file": "s.xml"}},
          "slides": ["a.png", {"picture": "/pictures/b.png",
                     "transition": {"settings": {"Count": 3, "Soft": true, "Ratio": 0.25}}},
                     "c.png"]})",
      TimelineFormat::kJson, "dir/show.json");
  ASSERT_EQ(timeline.slides.size(), 3u);
  EXPECT_EQ(timeline.slides[0].picture, "dir/a.png");
  EXPECT_EQ(timeline.slides[1].picture, "/pictures/b.png");
  EXPECT_EQ(timeline.transition.name, "Shutter");
  EXPECT_EQ(timeline.transition.settingsFile, std::filesystem::path("dir/s.xml"));
  const auto& settings = timeline.slides[1].transition.settings;
  ASSERT_EQ(settings.size(), 3u);
  EXPECT_EQ(settings[0].value, "3");
  EXPECT_EQ(settings[1].value, "true");
  EXPECT_EQ(settings[2].value, "0.25");
  EXPECT_TRUE(timeline.slides[1].transition.OwnEffect());
  EXPECT_FALSE(timeline.slides[1].transition.name);
  // Characters beyond ASCII in strings, keys and comments.
  const Timeline accents = kelo::ParseTimeline(
      "# \u00e9t\u00e9\n[[slides]]\npicture = \"\u00e9t\u00e9.png\"\n"
      "transition = { settings = { \"Dir\u00e9ction\" = '\u3001' } }\n"
      "[[slides]]\npicture = '''\u00e9'''\n",
      TimelineFormat::kToml, "show.toml");
  ASSERT_EQ(accents.slides.size(), 2u);
  EXPECT_EQ(accents.slides[0].picture, "\u00e9t\u00e9.png");
  EXPECT_EQ(accents.slides[0].transition.settings.at(0).value, "\u3001");
}

struct Refusal {
  TimelineFormat format;
  const char* text;
  int code;
  const char* where;  // "file:line: field" at the start of the message
  const char* says;
};

// Catches: a refusal that names the wrong line or field, or none; a wrong value accepted; a
// syntax error reported as a value error or the reverse.
TEST(TimelineTest, EachRefusalNamesTheFileLineAndField) {
  using enum TimelineFormat;
  const Refusal refusals[] = {
      {kJson, "{\"slides\": [\n  {\"picture\": \"a.png\",}\n]}", kelo::kExitInput,
       "t.json:2: ", "not valid JSON"},
      {kToml, "[defaults]\nhold = 1\nhold = 2\n", kelo::kExitInput, "t.toml:3: ", "not valid TOML"},
      {kJson, "{\"slides\": [\"a.png\"],\n \"defaults\": {\"hold\": \"long\"}}", kelo::kExitUsage,
       "t.json:2: defaults.hold: ", "expected a number of seconds"},
      {kToml, "[[slides]]\npicture = \"a.png\"\nhold = 3601\n", kelo::kExitUsage,
       "t.toml:3: slides[0].hold: ", "0 to 3600 seconds"},
      {kJson, "{\"slides\": [\"a.png\",\n {\"picture\": \"b.png\", \"hodl\": 2}]}",
       kelo::kExitUsage, "t.json:2: slides[1].hodl: ", "did you mean hold?"},
      {kJson,
       "{\"slides\": [{\"picture\": \"a.png\",\n \"transition\": {\"easing\": "
       "\"ease-sideways\"}}]}",
       kelo::kExitUsage, "t.json:2: slides[0].transition.easing: ", "bad easing 'ease-sideways'"},
      {kToml, "[defaults]\nmotion = \"spin\"\n[[slides]]\npicture = \"a.png\"\n", kelo::kExitUsage,
       "t.toml:2: defaults.motion: ", "bad motion 'spin'"},
      {kJson, "{\"slides\": [\n {\"hold\": 1}]}", kelo::kExitUsage,
       "t.json:2: slides[0].picture: ", "missing"},
      {kJson, "{\"slides\": []}", kelo::kExitUsage, "t.json:1: slides: ", "empty"},
      {kJson, "{\"defaults\": {}}", kelo::kExitUsage, "t.json:1: slides: ", "missing"},
      {kJson, "[\"a.png\"]", kelo::kExitUsage, "t.json:1: ", "expected a table"},
      {kJson, "{\"slides\": [\"a.png\"],\n\"slides\": [\"b.png\"]}", kelo::kExitUsage,
       "t.json:2: ", "field 'slides' is given twice"},
      {kJson,
       "{\"slides\": [{\"picture\": \"a.png\", \"transition\":\n {\"settings\": {\"Direction\": "
       "[1]}}}]}",
       kelo::kExitUsage, "t.json:2: slides[0].transition.settings.Direction: ",
       "expected a text, number or true/false"},
      {kJson,
       "{\"defaults\": {\"transition\": {\"name\": \"Push\",\n \"duration\": 2}}, \"slides\": "
       "[\"a.png\"]}",
       kelo::kExitUsage, "t.json:2: defaults.transition.duration: ", "in defaults itself"},
      {kJson, "{\"slides\": [[[[[[[[[[\"a.png\"]]]]]]]]]]}", kelo::kExitInput,
       "t.json:1: ", "nested more than 8 levels"},
      {kToml, "[[slides]]\npicture = \"\"\n", kelo::kExitUsage,
       "t.toml:2: slides[0].picture: ", "empty"},
      // Beyond ASCII only in strings and comments: toml++ itself would run into undefined
      // behaviour on some of these characters.
      {kToml, "[[slides]]\npicture = \"a.png\" \u00e9\n", kelo::kExitInput,
       "t.toml:2: ", "outside a string"},
      {kToml, "[[slides]]\nhold = 9'\u00e9'\n", kelo::kExitInput, "t.toml:2: ", "outside a string"},
  };
  for (const auto& refusal : refusals) {
    const std::string file = refusal.format == kJson ? "t.json" : "t.toml";
    try {
      kelo::ParseTimeline(refusal.text, refusal.format, file);
      ADD_FAILURE() << "accepted: " << refusal.text;
    } catch (const kelo::AppError& error) {
      const std::string message = error.what();
      EXPECT_EQ(error.Code(), refusal.code) << message;
      EXPECT_EQ(message.rfind(refusal.where, 0), 0u) << message;
      EXPECT_NE(message.find(refusal.says), std::string::npos) << message;
    }
  }
}

// Catches: a missing, oversized or misnamed file read anyway or refused with the wrong code.
TEST(TimelineTest, FilesAreReadWithinTheirLimits) {
  const testsupport::ScratchFolder scratch("kelo-timeline");
  const std::filesystem::path& folder = scratch.Path();
  ASSERT_FALSE(folder.empty());
  auto codeOf = [](const std::filesystem::path& file) {
    try {
      kelo::ReadTimeline(file);
    } catch (const kelo::AppError& error) {
      return error.Code();
    }
    return 0;
  };
  EXPECT_EQ(codeOf(folder / "missing.json"), kelo::kExitInput);
  std::ofstream(folder / "show.yaml") << "slides: [a.png]";
  EXPECT_EQ(codeOf(folder / "show.yaml"), kelo::kExitUsage);
  std::ofstream(folder / "huge.json") << std::string(kelo::kMaxTimelineBytes + 1, ' ');
  EXPECT_EQ(codeOf(folder / "huge.json"), kelo::kExitInput);
  std::ofstream(folder / "good.toml") << kTomlExample;
  EXPECT_EQ(codeOf(folder / "good.toml"), 0);
}

}  // namespace
