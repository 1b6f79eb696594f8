// The built plug-in files, loaded as an editor loads them: one per transition of the manifest,
// their parameters, values read back, frames from several threads, sizes, MLT's sliced calls and
// the Kdenlive descriptions written beside them.
#include <dlfcn.h>
#include <expat.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <thread>
#include <vector>

extern "C" {
#include <frei0r.h>
}

#include "frei0r/Names.h"

namespace {

namespace fs = std::filesystem;

// The transition components the manifest lists.
std::vector<std::string> ManifestTransitions() {
  std::ifstream manifest(fs::path(KELO_MODULE_DIR) / "components.manifest");
  std::vector<std::string> components;
  for (std::string line; std::getline(manifest, line);)
    if (line.ends_with("\tKeloSlideTransition"))
      components.push_back(line.substr(0, line.find('\t')));
  return components;
}

struct Plugin {
  explicit Plugin(const std::string& component)
      : path(fs::path(KELO_FREI0R_DIR) / kelo::frei0r::PluginFileName(component)),
        handle(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (handle == nullptr) return;
    Find(init, "f0r_init"), Find(info, "f0r_get_plugin_info"),
        Find(paramInfo, "f0r_get_param_info");
    Find(construct, "f0r_construct"), Find(destruct, "f0r_destruct");
    Find(set, "f0r_set_param_value"), Find(get, "f0r_get_param_value");
    Find(update2, "f0r_update2");
  }
  ~Plugin() {
    if (handle != nullptr) dlclose(handle);
  }
  template <class F>
  void Find(F& function, const char* name) {
    function = reinterpret_cast<F>(dlsym(handle, name));
  }
  void SetText(f0r_instance_t instance, int index, const char* text) const {
    char* value = const_cast<char*>(text);
    set(instance, &value, index);
  }
  std::string Text(f0r_instance_t instance, int index) const {
    char* value = nullptr;
    get(instance, &value, index);
    return value == nullptr ? "(null)" : value;
  }
  void SetNumber(f0r_instance_t instance, int index, double number) const {
    set(instance, &number, index);
  }
  double Number(f0r_instance_t instance, int index) const {
    double number = -1;
    get(instance, &number, index);
    return number;
  }

  fs::path path;
  void* handle;
  int (*init)() = nullptr;
  void (*info)(f0r_plugin_info_t*) = nullptr;
  void (*paramInfo)(f0r_param_info_t*, int) = nullptr;
  f0r_instance_t (*construct)(unsigned, unsigned) = nullptr;
  void (*destruct)(f0r_instance_t) = nullptr;
  void (*set)(f0r_instance_t, f0r_param_t, int) = nullptr;
  void (*get)(f0r_instance_t, f0r_param_t, int) = nullptr;
  void (*update2)(f0r_instance_t, double, const uint32_t*, const uint32_t*, const uint32_t*,
                  uint32_t*) = nullptr;
};

using Frame = std::vector<std::uint32_t>;

// Opaque pictures every pixel of which differs between the two.
Frame Picture(unsigned width, unsigned height, unsigned seed) {
  Frame frame(std::size_t{width} * height);
  for (std::size_t i = 0; i < frame.size(); ++i)
    frame[i] = 0xFF000000u | static_cast<std::uint32_t>((i * 2654435761u + seed) & 0x7F7F7Fu) |
               (seed == 0 ? 0 : 0x808080u);
  return frame;
}

Frame Render(const Plugin& plugin, f0r_instance_t instance, const Frame& a, const Frame& b,
             double progress) {
  Frame out(a.size());
  plugin.SetNumber(instance, 0, progress);
  plugin.update2(instance, 0, a.data(), b.data(), nullptr, out.data());
  return out;
}

// Catches a transition without its own plug-in file, two names for one file (a loader would hand
// out one object for both), a plug-in that is not an RGBA mixer, and parameter lists that do
// not start with progress.
TEST(Frei0rPlugins, OneMixerFilePerTransition) {
  const auto components = ManifestTransitions();
  ASSERT_EQ(components.size(), 15u);
  std::set<ino_t> files;
  for (const std::string& component : components) {
    SCOPED_TRACE(component);
    Plugin plugin(component);
    ASSERT_NE(plugin.handle, nullptr) << dlerror();
    ASSERT_TRUE(plugin.init && plugin.info && plugin.update2 && plugin.get);
    EXPECT_EQ(plugin.init(), 1);
    struct stat status {};
    ASSERT_EQ(stat(plugin.path.c_str(), &status), 0);
    EXPECT_TRUE(files.insert(status.st_ino).second);
    f0r_plugin_info_t info{};
    plugin.info(&info);
    EXPECT_EQ(std::string(info.name), "Kelo " + kelo::frei0r::ShortName(component));
    EXPECT_EQ(info.plugin_type, F0R_PLUGIN_TYPE_MIXER2);
    EXPECT_EQ(info.color_model, F0R_COLOR_MODEL_RGBA8888);
    EXPECT_NE(std::string(info.explanation).find(component), std::string::npos);
    ASSERT_GE(info.num_params, 1);
    f0r_param_info_t progress{};
    plugin.paramInfo(&progress, 0);
    EXPECT_EQ(std::string(progress.name), "progress");
    EXPECT_EQ(progress.type, F0R_PARAM_DOUBLE);
  }
}

// Catches settings by name that do not reach the effect, a read-back of the plug-in's own copy
// rather than what the effect holds, a refused value that changes the setting, and progress
// outside 0..1 kept as given.
TEST(Frei0rPlugins, SettingsReachTheEffectAndReadBack) {
  Plugin push("PushTransition");
  ASSERT_NE(push.handle, nullptr);
  f0r_param_info_t direction{};
  push.paramInfo(&direction, 1);
  ASSERT_EQ(std::string(direction.name), "Direction");
  ASSERT_EQ(direction.type, F0R_PARAM_STRING);
  f0r_instance_t instance = push.construct(64, 48);
  ASSERT_NE(instance, nullptr);
  EXPECT_EQ(push.Text(instance, 1), "Top");
  EXPECT_EQ(push.Text(instance, 2), "Push");  // the preset's style
  // A name in any case, a number, then refused values that keep the last one.
  for (auto [text, shown] :
       {std::pair{"left", "Left"}, {"2", "Bottom"}, {"Sideways", "Bottom"}, {"9", "Bottom"}}) {
    push.SetText(instance, 1, text);
    EXPECT_EQ(push.Text(instance, 1), shown) << text;
  }
  for (auto [progress, kept] : {std::pair{1.7, 1.0}, {-3.0, 0.0}}) {
    push.SetNumber(instance, 0, progress);
    EXPECT_EQ(push.Number(instance, 0), kept) << progress;
  }
  push.destruct(instance);

  Plugin shutter("ShutterBandsTransition");
  instance = shutter.construct(64, 48);
  ASSERT_NE(instance, nullptr);
  EXPECT_EQ(shutter.Text(instance, 2), "3");  // Bands: a number without a range, as text
  shutter.SetText(instance, 2, "7");
  EXPECT_EQ(shutter.Text(instance, 2), "7");
  shutter.SetText(instance, 2, "seven");
  EXPECT_EQ(shutter.Text(instance, 2), "7");
  shutter.destruct(instance);
}

// Catches unserialised calls into the module (a race shows as a crash under the sanitizers or as
// a frame that differs from the serial one), frames that depend on the order they come in, rows
// read with the wrong stride at a width that is not a multiple of 8, and a translucent result.
TEST(Frei0rPlugins, FramesFromManyThreadsEqualSerialOnes) {
  constexpr unsigned kWidth = 654, kHeight = 366;
  const Frame a = Picture(kWidth, kHeight, 0), b = Picture(kWidth, kHeight, 77);
  for (const char* component : {"PushTransition", "TwirlTransition", "FlipTransition"}) {
    SCOPED_TRACE(component);
    Plugin plugin(component);
    ASSERT_NE(plugin.handle, nullptr);
    const std::vector<double> progresses = {0.8, 0.1, 0.5, 0.3, 1, 0.65, 0};
    f0r_instance_t serial = plugin.construct(kWidth, kHeight);
    ASSERT_NE(serial, nullptr);
    std::vector<Frame> expected;
    for (double progress : progresses) expected.push_back(Render(plugin, serial, a, b, progress));
    EXPECT_EQ(expected[6], a);
    EXPECT_EQ(expected[4], b);
    EXPECT_NE(expected[2], a);
    EXPECT_NE(expected[2], b);
    for (const Frame& frame : expected)
      for (std::uint32_t pixel : frame) ASSERT_EQ(pixel >> 24, 255u);

    // Each thread its own instance, frames in different orders; then threads sharing one
    // instance at one progress.
    std::vector<std::thread> threads;
    std::vector<int> mismatches(4, 0);
    for (int t = 0; t < 4; ++t)
      threads.emplace_back([&, t] {
        f0r_instance_t own = plugin.construct(kWidth, kHeight);
        for (std::size_t k = 0; k < progresses.size(); ++k) {
          const std::size_t i = (k + static_cast<std::size_t>(t) * 3) % progresses.size();
          mismatches[t] += Render(plugin, own, a, b, progresses[i]) != expected[i];
        }
        plugin.destruct(own);
      });
    for (auto& thread : threads) thread.join();
    threads.clear();
    plugin.SetNumber(serial, 0, progresses[2]);
    std::vector<Frame> shared(4, Frame(a.size()));
    for (int t = 0; t < 4; ++t)
      threads.emplace_back([&, t] {
        for (int repeat = 0; repeat < 3; ++repeat)
          plugin.update2(serial, 0, a.data(), b.data(), nullptr, shared[t].data());
      });
    for (auto& thread : threads) thread.join();
    for (int t = 0; t < 4; ++t) {
      EXPECT_EQ(mismatches[t], 0) << "thread " << t;
      EXPECT_EQ(shared[t], expected[2]) << "shared instance, thread " << t;
    }
    plugin.destruct(serial);
  }
}

// Catches bands of a sliced frame drawn as transitions of their own, sizes that would exhaust
// memory accepted, and a crash on a missing instance.
TEST(Frei0rPlugins, RefusesSlicedCallsAndHugeFrames) {
  Plugin push("PushTransition");
  ASSERT_NE(push.handle, nullptr);
  constexpr unsigned kWidth = 64, kBand = 20;
  const Frame a = Picture(kWidth, kBand * 2, 0), b = Picture(kWidth, kBand * 2, 77);
  f0r_instance_t instance = push.construct(kWidth, kBand);
  ASSERT_NE(instance, nullptr);
  push.SetNumber(instance, 0, 0.4);
  Frame out(a.size());
  const std::size_t band = std::size_t{kWidth} * kBand;
  push.update2(instance, 0, a.data(), b.data(), nullptr, out.data());
  EXPECT_NE(Frame(out.begin(), out.begin() + band), Frame(a.begin(), a.begin() + band));
  push.update2(instance, 0, a.data() + band, b.data() + band, nullptr, out.data() + band);
  EXPECT_EQ(Frame(out.begin() + band, out.end()), Frame(a.begin() + band, a.end()));
  push.update2(instance, 0, a.data(), b.data(), nullptr, out.data());
  EXPECT_EQ(out, a);  // a cut at 0.4 shows the first clip
  push.destruct(instance);

  EXPECT_EQ(push.construct(0, 10), nullptr);
  EXPECT_EQ(push.construct(40000, 10), nullptr);
  EXPECT_EQ(push.construct(20000, 20000), nullptr);
  push.update2(nullptr, 0, a.data(), b.data(), nullptr, out.data());
  push.destruct(nullptr);
}

// The parameter names of a Kdenlive description, or an error for a file that is not well-formed.
struct Description {
  std::vector<std::string> parameters;
  std::string tag, error;
};

Description ReadDescription(const fs::path& path) {
  Description description;
  XML_Parser parser = XML_ParserCreate(nullptr);
  XML_SetUserData(parser, &description);
  XML_SetStartElementHandler(parser, [](void* data, const XML_Char* element, const XML_Char** at) {
    auto* out = static_cast<Description*>(data);
    for (int i = 0; at[i] != nullptr; i += 2) {
      if (std::strcmp(element, "parameter") == 0 && std::strcmp(at[i], "name") == 0)
        out->parameters.push_back(at[i + 1]);
      if (std::strcmp(element, "transition") == 0 && std::strcmp(at[i], "tag") == 0)
        out->tag = at[i + 1];
    }
  });
  std::ifstream in(path);
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (XML_Parse(parser, text.data(), static_cast<int>(text.size()), 1) == XML_STATUS_ERROR)
    description.error = XML_ErrorString(XML_GetErrorCode(parser));
  XML_ParserFree(parser);
  return description;
}

// Catches a description missing for a transition, not well-formed, naming another service or
// leaving out a parameter the plug-in has.
TEST(Frei0rPlugins, KdenliveDescriptionsListEveryParameter) {
  for (const std::string& component : ManifestTransitions()) {
    SCOPED_TRACE(component);
    const std::string shortName = kelo::frei0r::ShortName(component);
    const Description description =
        ReadDescription(fs::path(KELO_KDENLIVE_DIR) / ("kelo_" + shortName + ".xml"));
    ASSERT_EQ(description.error, "");
    EXPECT_EQ(description.tag, "frei0r.kelo_" + shortName);
    Plugin plugin(component);
    f0r_plugin_info_t info{};
    plugin.info(&info);
    std::vector<std::string> names;
    for (int i = 0; i < info.num_params; ++i) {
      f0r_param_info_t parameter{};
      plugin.paramInfo(&parameter, i);
      names.push_back(parameter.name);
    }
    EXPECT_EQ(description.parameters, names);
  }
}

}  // namespace
