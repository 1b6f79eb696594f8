#include "app/Commands.h"

#include <cmath>
#include <cstdio>
#include <future>
#include <iostream>

#include "app/Builtin.h"
#include "app/CommandSettings.h"
#include "app/Errors.h"
#include "app/Files.h"
#include "app/Interrupt.h"
#include "app/PictureIO.h"
#include "app/Render.h"
#include "app/Settings.h"
#include "app/Sheet.h"
#include "app/Text.h"
#include "sdk/Properties.h"

namespace kelo {

namespace {

using kelo_text::Utf8FromWide;
using Paths = std::vector<std::filesystem::path>;

// The identities a host asks an effect for, in the order they are shown.
struct KnownInterface {
  const char* name;
  IID iid;
};
const KnownInterface kInterfaces[] = {
    {"IKeloTransition", IKeloTransition::kIID},
    {"IObjectInfo", IObjectInfo::kIID},
    {"IUIPropInterrogate", IUIPropInterrogate::kIID},
    {"IDataPersist", IDataPersist::kIID},
    {"IReplicableObject", IReplicableObject::kIID},
    {"IRandomizableObject", IRandomizableObject::kIID},
    {"IUIPropertyPageSpecify", IUIPropertyPageSpecify::kIID},
    {"IShutter", IShutter::kIID},
    {"ITwirl", ITwirl::kIID},
};

// Checks an output before any work: its folder, that it overwrites no input, and for a frame
// pattern every frame file it will write.
void CheckVideoOutput(const std::filesystem::path& output, const Paths& inputs, long frames) {
  const OutputKind kind = OutputKindOf(output);
  if (kind == OutputKind::kPng)
    throw AppError(kExitUsage, "'" + output.string() +
                                   "' is a single picture: for frames use a pattern such as "
                                   "frames/%04d.png, or 'kelo frame' for one frame");
  if (kind == OutputKind::kMp4 || kind == OutputKind::kWebM) RequireFfmpeg(output);
  if (kind != OutputKind::kPngFrames) return CheckOutputPath(output, inputs);
  CheckFramePaths(output, frames, inputs);
}

struct Fitting {
  Size size;  // empty when no size was asked for
  FitMode mode;
  Rgb background;
};

Fitting ParseFitting(const FitOptions& options) {
  Fitting fitting{
      .size = {}, .mode = ParseFit(options.fit), .background = ParseColour(options.background)};
  if (!options.size.empty()) fitting.size = ParseSize(options.size);
  return fitting;
}

void PrintOutputs(const Paths& outputs) {
  if (outputs.size() > 3) {
    std::printf("%s ... %s (%zu files)\n", outputs.front().c_str(), outputs.back().c_str(),
                outputs.size());
    return;
  }
  for (const auto& path : outputs) std::printf("%s\n", path.c_str());
}

// What a run wrote, on standard output; for a frame pattern, a warning first about frames of an
// earlier, longer run that would play after the new ones.
void ReportOutputs(const std::filesystem::path& output, const Paths& outputs) {
  if (OutputKindOf(output) == OutputKind::kPngFrames) {
    const std::string older = OlderFramesWarning(output, static_cast<long>(outputs.size()));
    if (!older.empty()) std::fprintf(stderr, "kelo: warning: %s\n", older.c_str());
  }
  PrintOutputs(outputs);
}

}  // namespace

int RunList(const ListOptions& options) {
  Host host;
  const auto names = host.TransitionNames();
  if (names.empty())
    throw AppError(kExitFailure, "the host lists no transitions (is KeloTransitions.so in " +
                                     host.ModuleDir().string() + "?)");
  for (const auto& wide : names) {
    const std::string name = Utf8FromWide(wide);
    if (options.namesOnly) {
      std::printf("%s\n", name.c_str());
      continue;
    }
    auto effect = host.CreateTransition(wide);
    if (!effect) {
      std::printf("%s\n  cannot be created\n", name.c_str());
      continue;
    }
    std::string answered;
    for (const auto& known : kInterfaces) {
      ComPtr<IUnknown> answer;
      if (Succeeded(effect->QueryInterface(known.iid, answer.PutVoid())) && answer)
        answered += (answered.empty() ? "" : ", ") + std::string(known.name);
    }
    std::printf("%s\n  interfaces: %s\n", name.c_str(), answered.c_str());
    const TransitionSettings settings(host, ComPtr<IUnknown>::Share(effect.Get()), wide);
    const auto properties = settings.Properties();
    if (properties.empty() && settings.HasProperties()) std::printf("  properties: none\n");
    for (const auto& property : properties) {
      std::printf("  property %d%s%s: %s", property.id, property.name.empty() ? "" : " ",
                  property.name.c_str(), DescribeConstraint(property).c_str());
      if (property.current) std::printf(" = %s", FormatValue(property, *property.current).c_str());
      std::printf("\n");
    }
  }
  return kExitOk;
}

int RunFrame(const FrameOptions& options) {
  if (!std::isfinite(options.progress) || options.progress < 0 || options.progress > 1)
    throw AppError(kExitUsage,
                   "bad --progress " + ExactNumber(options.progress) + ": expected 0 to 1");
  const std::filesystem::path output = options.output;
  if (LowerExtension(output) != "png")
    throw AppError(kExitUsage, "the frame output '" + output.string() + "' must be a .png file");
  ProbePicture(options.from);
  ProbePicture(options.to);
  CheckOutputPath(output, {options.from, options.to});
  CheckSettingsOutput(options.settings, {options.from, options.to}, output);
  Host host;
  const auto effect = MakeEffect(host, options.transition, options.settings);
  auto from = std::async(std::launch::async, [&] { return DecodePicture(host, options.from); });
  auto to = DecodePicture(host, options.to);
  auto fromPicture = from.get();
  ThrowIfInterrupted();
  // The effect resamples `from` itself when the sizes differ.
  auto frame = RenderFrame(effect.Transition().Get(), effect.Name(), fromPicture.Get(), to.Get(),
                           options.progress);
  ThrowIfInterrupted();
  SavePng(output, View(frame.Get()));
  SaveSettings(effect, options.settings);
  std::printf("%s\n", output.c_str());
  return kExitOk;
}

int RunRender(const RenderOptions& options) {
  CheckFps(options.fps);
  CheckSeconds(options.duration, "--duration", false);
  const Fitting fitting = ParseFitting(options.fitting);
  Size size = fitting.size;
  const std::filesystem::path output = options.output;
  const long frames = std::max(2L, FrameCount(options.duration, options.fps));
  CheckFrameCount(frames, options.fps, "--duration");
  if (!size.Empty()) CheckOutputSize(output, size.width, size.height);
  ProbePicture(options.from);
  ProbePicture(options.to);
  CheckVideoOutput(output, {options.from, options.to}, frames);
  CheckSettingsOutput(options.settings, {options.from, options.to}, output);

  Host host;
  const auto effect = MakeEffect(host, options.transition, options.settings);
  const DecodeOptions decoding{fitting.background, nullptr};
  auto fromFuture = std::async(std::launch::async, [&] {
    auto picture = DecodePicture(host, options.from, decoding);
    // Without a size the effect resamples `from` to to's size itself.
    return fitting.size.Empty()
               ? picture
               : FitPicture(host, picture.Get(), fitting.size, fitting.mode, fitting.background);
  });
  auto to = DecodePicture(host, options.to, decoding);
  if (size.Empty())
    size = PictureSize(to.Get());
  else
    to = FitPicture(host, to.Get(), size, fitting.mode, fitting.background);
  auto from = fromFuture.get();

  ProgressBar progress(frames, ProgressBar::WantedFor(options.quiet));
  AsyncSink sink(MakeSink(output, {size.width, size.height, options.fps}), &progress);
  RenderTransition(effect.Transition().Get(), effect.Name(), from.Get(), to.Get(), frames, true,
                   sink);
  sink.Finish();
  SaveSettings(effect, options.settings);
  ReportOutputs(output, sink.Outputs());
  return kExitOk;
}

int RunSlideshow(const SlideshowOptions& options) {
  CheckFps(options.fps);
  CheckSeconds(options.hold, "--hold", true);
  CheckSeconds(options.duration, "--duration", true);
  const Fitting fitting = ParseFitting(options.fitting);
  Size size = fitting.size;
  if (options.pictures.empty()) throw AppError(kExitUsage, "no pictures given");
  SlideshowPlan plan{options.pictures.size(), FrameCount(options.hold, options.fps),
                     FrameCount(options.duration, options.fps)};
  if (plan.TotalFrames() == 0)
    throw AppError(kExitUsage,
                   "--hold and --duration give no frames at " + ExactNumber(options.fps) + " fps");
  CheckFrameCount(plan.TotalFrames(), options.fps,
                  std::to_string(plan.pictures) + " pictures with --hold and --duration");
  const std::filesystem::path output = options.output;
  if (!size.Empty()) CheckOutputSize(output, size.width, size.height);
  const Paths inputs(options.pictures.begin(), options.pictures.end());
  for (const auto& input : inputs) ProbePicture(input);
  CheckVideoOutput(output, inputs, plan.TotalFrames());
  CheckSettingsOutput(options.settings, inputs, output);

  Host host;
  // One effect for the whole show: Uninitialize after each transition makes the random
  // transition pick again.
  const auto effect = MakeEffect(host, options.transition, options.settings);
  const auto transition = effect.Transition();
  const DecodeOptions decoding{fitting.background, nullptr};
  auto first = DecodePicture(host, inputs[0], decoding);
  if (size.Empty()) size = PictureSize(first.Get());
  auto load = [&](std::size_t k) {
    auto picture = k == 0 ? std::move(first) : DecodePicture(host, inputs[k], decoding);
    return FitPicture(host, picture.Get(), size, fitting.mode, fitting.background);
  };
  ProgressBar progress(plan.TotalFrames(), ProgressBar::WantedFor(options.quiet));
  AsyncSink sink(MakeSink(output, {size.width, size.height, options.fps}), &progress);
  RenderSlideshow(
      plan, load, [&](std::size_t) { return std::make_pair(transition.Get(), effect.Name()); },
      sink);
  sink.Finish();
  SaveSettings(effect, options.settings);
  ReportOutputs(output, sink.Outputs());
  return kExitOk;
}

int RunSheet(const SheetOptions& options) {
  const Size cell = ParseSize(options.cell, "--cell");
  const std::filesystem::path output = options.output;
  if (LowerExtension(output) != "png")
    throw AppError(kExitUsage, "the sheet output '" + output.string() + "' must be a .png file");
  if (options.from.empty() != options.to.empty())
    throw AppError(kExitUsage, "give both --from and --to, or neither for the built-in pictures");
  Paths inputs;
  if (!options.from.empty()) inputs = {options.from, options.to};
  for (const auto& input : inputs) ProbePicture(input);
  CheckOutputPath(output, inputs);

  Host host;
  std::vector<std::wstring> names;
  for (const auto& transition : options.transitions)
    names.push_back(ResolveTransitionName(host, transition));
  if (names.empty()) names = host.TransitionNames();
  if (names.empty()) throw AppError(kExitFailure, "the host lists no transitions");
  CheckSheetSize(cell, names.size());
  ComPtr<ICIF> from, to;
  if (inputs.empty()) {
    from = BuiltinPicture(host, 0, cell);
    to = BuiltinPicture(host, 1, cell);
  } else {
    from = FitPicture(host, DecodePicture(host, inputs[0]).Get(), cell, FitMode::kContain, {});
    to = FitPicture(host, DecodePicture(host, inputs[1]).Get(), cell, FitMode::kContain, {});
  }
  ProgressBar progress(static_cast<long>(names.size()), ProgressBar::WantedFor(options.quiet));
  for (const auto& failure : RenderSheet(host, names, from.Get(), to.Get(), output, &progress))
    std::fprintf(stderr, "kelo: warning: %s\n", failure.c_str());
  std::printf("%s\n", output.c_str());
  return kExitOk;
}

int RunDemo(const DemoOptions& options) {
  const std::filesystem::path folder = options.folder;
  const Size size{480, 270};
  const double fps = 25;
  const auto dissolveFrames = folder / "dissolve" / "%02d.png";
  const long dissolveCount = 11;
  CheckOutputFolder(folder);
  // Removed again if the demo fails before writing anything into it.
  MadeFolders made(folder);
  for (const char* name : {"slideshow.webp", "slideshow.mp4", "sheet.png"})
    CheckOutputPath(folder / name, {});
  CheckFramePaths(dissolveFrames, dissolveCount, {});

  Host host;
  // Every transition that works on a small trial, the random one last.
  std::vector<std::wstring> names, random;
  {
    auto from = BuiltinPicture(host, 0, {64, 36}), to = BuiltinPicture(host, 1, {64, 36});
    for (const auto& name : host.TransitionNames()) {
      try {
        auto effect = host.CreateTransition(name);
        if (!effect) throw AppError(kExitFailure, Utf8FromWide(name) + " could not be created");
        RenderFrame(effect.Get(), Utf8FromWide(name), from.Get(), to.Get(), 0.5);
        (name == L"RandomTransition" ? random : names).push_back(name);
      } catch (const AppError& failure) {
        std::fprintf(stderr, "kelo: warning: left out of the demo: %s\n", failure.what());
      }
    }
  }
  names.insert(names.end(), random.begin(), random.end());
  if (names.empty()) throw AppError(kExitFailure, "no transition works: nothing to show");

  Paths written;
  // The slideshow: a built-in picture per step, each transition once.
  {
    std::vector<std::unique_ptr<FrameSink>> sinks;
    sinks.push_back(MakeSink(folder / "slideshow.webp", {size.width, size.height, fps}));
    if (!FindFfmpeg().empty())
      sinks.push_back(MakeSink(folder / "slideshow.mp4", {size.width, size.height, fps}));
    else
      std::fprintf(stderr, "kelo: note: no MP4 without ffmpeg (Debian package 'ffmpeg')\n");
    std::vector<ComPtr<IKeloTransition>> effects;
    for (const auto& name : names) {
      effects.push_back(host.CreateTransition(name));
      if (!effects.back())
        throw AppError(kExitFailure, "the host could not create " + Utf8FromWide(name));
    }
    const SlideshowPlan plan{names.size() + 1, FrameCount(0.6, fps), FrameCount(1.2, fps)};
    ProgressBar progress(plan.TotalFrames(), ProgressBar::WantedFor(options.quiet));
    AsyncSink sink(MakeTeeSink(std::move(sinks)), &progress);
    RenderSlideshow(
        plan, [&](std::size_t k) { return BuiltinPicture(host, k, size); },
        [&](std::size_t k) { return std::make_pair(effects[k].Get(), Utf8FromWide(names[k])); },
        sink);
    sink.Finish();
    for (auto& path : sink.Outputs()) written.push_back(path);
  }
  // The contact sheet of every transition, working or not.
  {
    const auto sheet = folder / "sheet.png";
    auto from = BuiltinPicture(host, 0, {160, 90}), to = BuiltinPicture(host, 1, {160, 90});
    ProgressBar progress(0, false);
    for (const auto& failure :
         RenderSheet(host, host.TransitionNames(), from.Get(), to.Get(), sheet, &progress))
      std::fprintf(stderr, "kelo: warning: %s\n", failure.c_str());
    written.push_back(sheet);
  }
  // The dissolve as single frames.
  const std::wstring dissolve = L"DissolveTransition";
  if (auto effect = host.CreateTransition(dissolve)) {
    auto from = BuiltinPicture(host, 0, size), to = BuiltinPicture(host, 1, size);
    AsyncSink sink(MakeSink(dissolveFrames, {size.width, size.height, fps}), nullptr);
    RenderTransition(effect.Get(), Utf8FromWide(dissolve), from.Get(), to.Get(), dissolveCount,
                     true, sink);
    sink.Finish();
    for (auto& path : sink.Outputs()) written.push_back(path);
  }
  made.Keep();
  for (const auto& path : written) std::printf("%s\n", path.c_str());
  return kExitOk;
}

}  // namespace kelo
