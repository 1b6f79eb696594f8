// KeloFrei0r.so: the host, the transitions' parameters and their instances for every kelo_<short>
// plug-in in the process. Calls into the transitions module (making, setting, reading and
// running effects) hold one process-wide lock, because the module is not thread-safe; copying
// frames in and out of the host's pictures runs outside it, on the caller's thread.
#include "frei0r/Runtime.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/Errors.h"
#include "app/Host.h"
#include "app/Settings.h"
#include "frei0r/Frames.h"
#include "frei0r/Parameters.h"
#include "sdk/Text.h"

namespace kelo::frei0r {

namespace {

using kelo_text::WideFromUtf8;

// Larger frames are refused before anything is allocated: the effect holds at least three
// pictures of the frame's size, and the host warps at most 32000 pixels a side.
constexpr unsigned kMaxSide = 32000;
constexpr std::uint64_t kMaxPixels = std::uint64_t{1} << 27;  // 512 MiB a picture

struct Plugin {
  std::string component;  // "PushTransition"
  std::string shortName;  // "push"
  std::string title;      // the frei0r name, "Kelo push"
  std::string explanation;
  std::vector<Parameter> parameters;
};

struct Instance {
  Plugin* plugin = nullptr;
  unsigned width = 0, height = 0;
  ComPtr<IKeloTransition> effect;
  std::optional<TransitionSettings> settings;
  double progress = 0;
  std::vector<std::string> given;     // the last value given per parameter, to skip repeats
  std::vector<std::string> readBack;  // the texts handed out by the string parameters
  std::optional<SliceDetector> slices;
};

// Lives as long as the process, like the host modules it loads: it is never destroyed, so no
// effect is released after the module's own statics are gone at exit.
class Runtime {
 public:
  static Runtime& Get() {
    static Runtime* runtime = new Runtime;
    return *runtime;
  }

  // Serialises every call into the transitions module.
  std::mutex& ModuleLock() { return lock_; }

  // The plug-in of a transition, described from a first effect of it; under ModuleLock.
  Plugin& PluginFor(const std::string& component) {
    auto& slot = plugins_[component];
    if (slot) return *slot;
    slot = std::make_unique<Plugin>();
    Plugin& plugin = *slot;
    plugin.component = component;
    plugin.shortName = ShortName(component);
    plugin.title = "Kelo " + plugin.shortName;
    std::vector<Property> properties;
    const Host* host = HostOrReport(plugin);
    std::string unavailable = "the Kelo modules cannot be loaded: " + hostError_;
    if (host != nullptr) {
      unavailable = "the host has no transition " + component;
      if (auto effect = host->CreateTransition(WideFromUtf8(component))) {
        unavailable.clear();
        properties = TransitionSettings(*host, ComPtr<IUnknown>::Share(effect.Get()),
                                        WideFromUtf8(component))
                         .Properties();
      } else {
        Report(plugin, unavailable);
      }
    }
    plugin.parameters = ParametersOf(properties);
    plugin.explanation = DescribePlugin(component, plugin.parameters);
    if (!unavailable.empty()) plugin.explanation += " (unavailable: " + unavailable + ")";
    return plugin;
  }

  // The host, loaded on first use from the folder holding this runtime; null (reported once)
  // when it cannot be loaded. Under ModuleLock.
  const Host* HostOrReport(const Plugin& plugin) {
    if (!host_ && hostError_.empty()) {
      try {
        host_ = std::make_unique<Host>(OwnFolder());
        pictures_ = host_->ComponentString(L"CIFImageDIB");
        if (!pictures_) hostError_ = "the host has no picture component (CIFImageDIB)";
      } catch (const std::exception& error) {
        hostError_ = error.what();
      }
      if (!hostError_.empty()) host_.reset();
    }
    if (!hostError_.empty()) Report(plugin, "cannot load the Kelo modules: " + hostError_);
    return host_.get();
  }

  // A new 32-bit RGBA picture from the host's pool, or empty. Safe from any thread.
  ComPtr<ICIF> NewPicture(unsigned width, unsigned height) const {
    ComPtr<ICIFImageDIB> picture;
    if (pictures_) pictures_->CreateInstance(ICIFImageDIB::kIID, picture.PutVoid());
    if (!picture || Failed(picture->Create(width, height, 1, 32, kFormatRGBA))) return {};
    return picture.As<ICIF>();
  }

  // One line on standard error, once per plug-in and message: hosts set every parameter on
  // every frame, and a refused value should not flood the log.
  void Report(const Plugin& plugin, const std::string& message) {
    std::lock_guard guard(reportLock_);
    if (reported_.insert(plugin.shortName + '\n' + message).second)
      std::fprintf(stderr, "kelo_%s: %s\n", plugin.shortName.c_str(), message.c_str());
  }

 private:
  static std::filesystem::path OwnFolder() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&KeloFrei0rPluginInfo), &info) == 0 ||
        info.dli_fname == nullptr)
      throw AppError(kExitFailure, "cannot tell where KeloFrei0r.so was loaded from");
    return std::filesystem::absolute(info.dli_fname).parent_path();
  }

  std::mutex lock_;
  std::map<std::string, std::unique_ptr<Plugin>> plugins_;
  std::unique_ptr<Host> host_;
  std::string hostError_;
  ComPtr<IComponentString> pictures_;
  std::mutex reportLock_;
  std::set<std::string> reported_;
};

std::string DoubleKey(double value) {
  char text[40];
  std::snprintf(text, sizeof text, "%a", value);
  return text;
}

// Gives a parameter's new value to the effect; a refused one is reported and the effect keeps
// what it had. Under ModuleLock.
void Give(Runtime& runtime, Instance& instance, const Parameter& parameter, f0r_param_t param) {
  const TransitionSettings& settings = *instance.settings;
  const Property& property = parameter.property;
  std::optional<SettingsError> error;
  switch (parameter.mapping) {
    case ParamMapping::kProgress:
      instance.progress = ClampUnit(*static_cast<const double*>(param));
      return;
    case ParamMapping::kChoice:
    case ParamMapping::kText: {
      const char* text = *static_cast<char* const*>(param);
      auto value = settings.Parse(property, text == nullptr ? "" : text);
      error = value ? settings.Apply(property, *value) : value.Error();
      break;
    }
    case ParamMapping::kRanged:
      error = settings.Apply(property, FromUnit(property, *static_cast<const double*>(param)));
      break;
    case ParamMapping::kBoolean:
      error = settings.Apply(property, *static_cast<const double*>(param) >= 0.5 ? 1L : 0L);
      break;
  }
  if (error) runtime.Report(*instance.plugin, error->message + "; the setting stays as it was");
}

}  // namespace

}  // namespace kelo::frei0r

using kelo::frei0r::Instance;
using kelo::frei0r::Runtime;

// No exception may leave these: the callers are C programs.
extern "C" {

void KeloFrei0rPluginInfo(const char* component, f0r_plugin_info_t* info) try {
  Runtime& runtime = Runtime::Get();
  std::lock_guard guard(runtime.ModuleLock());
  const auto& plugin = runtime.PluginFor(component);
  info->name = plugin.title.c_str();
  info->author = "Kelo";
  info->plugin_type = F0R_PLUGIN_TYPE_MIXER2;
  info->color_model = F0R_COLOR_MODEL_RGBA8888;
  info->frei0r_version = FREI0R_MAJOR_VERSION;
  info->major_version = 0;
  info->minor_version = 1;
  info->num_params = static_cast<int>(plugin.parameters.size());
  info->explanation = plugin.explanation.c_str();
} catch (...) {
}

void KeloFrei0rParamInfo(const char* component, f0r_param_info_t* info, int index) try {
  Runtime& runtime = Runtime::Get();
  std::lock_guard guard(runtime.ModuleLock());
  const auto& parameters = runtime.PluginFor(component).parameters;
  if (index < 0 || index >= static_cast<int>(parameters.size())) return;
  const auto& parameter = parameters[static_cast<std::size_t>(index)];
  info->name = parameter.name.c_str();
  info->type = static_cast<int>(parameter.type);
  info->explanation = parameter.explanation.c_str();
} catch (...) {
}

f0r_instance_t KeloFrei0rConstruct(const char* component, unsigned width, unsigned height) try {
  using namespace kelo;
  using namespace kelo::frei0r;
  Runtime& runtime = Runtime::Get();
  std::lock_guard guard(runtime.ModuleLock());
  Plugin& plugin = runtime.PluginFor(component);
  if (width == 0 || height == 0 || width > kMaxSide || height > kMaxSide ||
      std::uint64_t{width} * height > kMaxPixels) {
    runtime.Report(plugin, "refusing a " + std::to_string(width) + "x" + std::to_string(height) +
                               " frame (at most " + std::to_string(kMaxSide) +
                               " pixels a side and 2^27 pixels)");
    return nullptr;
  }
  const Host* host = runtime.HostOrReport(plugin);
  if (host == nullptr) return nullptr;
  auto instance = std::make_unique<Instance>();
  instance->plugin = &plugin;
  instance->width = width;
  instance->height = height;
  instance->slices.emplace(width, height);
  instance->effect = host->CreateTransition(kelo_text::WideFromUtf8(component));
  if (!instance->effect) {
    runtime.Report(plugin, "the host could not create " + plugin.component);
    return nullptr;
  }
  instance->settings.emplace(*host, ComPtr<IUnknown>::Share(instance->effect.Get()),
                             kelo_text::WideFromUtf8(component));
  instance->given.resize(plugin.parameters.size());
  instance->readBack.resize(plugin.parameters.size());
  return instance.release();
} catch (...) {
  return nullptr;
}

void KeloFrei0rDestruct(f0r_instance_t handle) try {
  Runtime& runtime = Runtime::Get();
  std::lock_guard guard(runtime.ModuleLock());
  delete static_cast<Instance*>(handle);
} catch (...) {
}

namespace {

constexpr std::size_t kNoParameter = static_cast<std::size_t>(-1);

// The index of the parameter a host names, or kNoParameter for a call to refuse.
std::size_t ParameterIndex(const Instance* instance, const void* param, int index) {
  if (instance == nullptr || param == nullptr || index < 0 ||
      index >= static_cast<int>(instance->given.size()))
    return kNoParameter;
  return static_cast<std::size_t>(index);
}

}  // namespace

void KeloFrei0rSetParam(f0r_instance_t handle, f0r_param_t param, int index) try {
  using namespace kelo::frei0r;
  auto* instance = static_cast<Instance*>(handle);
  const std::size_t at = ParameterIndex(instance, param, index);
  if (at == kNoParameter) return;
  const Parameter& parameter = instance->plugin->parameters[at];
  // Hosts give every parameter on every frame: only a change reaches the effect.
  std::string key;
  if (parameter.type == ParamType::kString) {
    const char* text = *static_cast<char* const*>(param);
    key = text == nullptr ? "" : text;
  } else {
    key = DoubleKey(*static_cast<const double*>(param));
  }
  Runtime& runtime = Runtime::Get();
  std::lock_guard guard(runtime.ModuleLock());
  if (instance->given[at] == key) return;
  instance->given[at] = key;
  Give(runtime, *instance, parameter, param);
} catch (...) {
}

void KeloFrei0rGetParam(f0r_instance_t handle, f0r_param_t param, int index) try {
  using namespace kelo::frei0r;
  auto* instance = static_cast<Instance*>(handle);
  const std::size_t at = ParameterIndex(instance, param, index);
  if (at == kNoParameter) return;
  const Parameter& parameter = instance->plugin->parameters[at];
  Runtime& runtime = Runtime::Get();
  std::lock_guard guard(runtime.ModuleLock());
  if (parameter.mapping == ParamMapping::kProgress) {
    *static_cast<double*>(param) = instance->progress;
    return;
  }
  // What the effect holds now, read through its interrogation interface.
  std::optional<kelo::PropertyValue> current;
  for (const kelo::Property& property : instance->settings->Properties())
    if (property.id == parameter.property.id) current = property.current;
  if (!current) return;
  switch (parameter.mapping) {
    case ParamMapping::kChoice:
    case ParamMapping::kText:
      instance->readBack[at] = ReadBackText(parameter.property, *current);
      *static_cast<const char**>(param) = instance->readBack[at].c_str();
      break;
    case ParamMapping::kRanged:
      *static_cast<double*>(param) = ToUnit(parameter.property, *current);
      break;
    case ParamMapping::kBoolean:
      *static_cast<double*>(param) =
          std::get_if<long>(&*current) && std::get<long>(*current) ? 1 : 0;
      break;
    case ParamMapping::kProgress:
      break;
  }
} catch (...) {
}

void KeloFrei0rUpdate(f0r_instance_t handle, const std::uint32_t* from, const std::uint32_t* to,
                      std::uint32_t* out) try {
  using namespace kelo;
  using namespace kelo::frei0r;
  auto* instance = static_cast<Instance*>(handle);
  if (instance == nullptr || from == nullptr || to == nullptr || out == nullptr) return;
  Runtime& runtime = Runtime::Get();
  const unsigned width = instance->width, height = instance->height;
  auto first = runtime.NewPicture(width, height);
  auto second = runtime.NewPicture(width, height);
  ComPtr<ICIF> result;
  HRESULT hr = E_FAIL;  // no pictures
  double progress = 0;
  bool sliced = false;
  if (first && second) {
    CopyIn(from, View(first.Get()));
    CopyIn(to, View(second.Get()));
    std::lock_guard guard(runtime.ModuleLock());
    progress = instance->progress;
    sliced = instance->slices->Sliced(from, to, out);
    if (!sliced)
      hr = instance->effect->DoTransition(first.Get(), second.Get(), result.Put(), progress);
  }
  if (!sliced && Succeeded(hr) && result && CopyOut(View(result.Get()), width, height, out)) return;
  runtime.Report(*instance->plugin,
                 sliced ? "cannot draw a frame cut into bands (MLT's threads=0): showing a cut "
                          "between the clips instead; remove threads=0 from the transition"
                        : "the transition failed on a " + std::to_string(width) + "x" +
                              std::to_string(height) +
                              " frame; showing a cut between the clips instead");
  std::memcpy(out, progress < 0.5 ? from : to, std::size_t{width} * height * 4);
} catch (...) {
}

}  // extern "C"
