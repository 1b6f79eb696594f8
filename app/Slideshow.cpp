// `kelo slideshow`: the slides come from the command line's pictures or from a timeline file.
// Each slide's hold, motion and transition are taken from the slide itself, else from the command
// line, else from the timeline's defaults, else from kelo's own; everything is checked (pictures,
// transitions, settings, music) before the first frame is rendered.
#include <cstdio>

#include "app/CommandSettings.h"
#include "app/CommandSupport.h"
#include "app/Errors.h"
#include "app/Interrupt.h"
#include "app/PictureIO.h"
#include "app/Render.h"
#include "app/Show.h"
#include "app/Sound.h"
#include "app/Text.h"
#include "app/Timeline.h"

namespace kelo {

namespace {

// Runs `work`; an error it throws about a timeline's value gets the value's place in front.
template <class F>
auto Located(const Origin& origin, F&& work) -> decltype(work()) {
  if (origin.line == 0) return work();
  try {
    return work();
  } catch (const AppError& error) {
    throw AppError(error.Code(), origin.Text() + ": " + error.what());
  }
}

Timeline FromPictures(const std::vector<std::string>& pictures) {
  Timeline timeline;
  for (const auto& picture : pictures) timeline.slides.emplace_back().picture = picture;
  return timeline;
}

// The settings a timeline gives a transition: its settings file, then each setting.
void ApplyTimelineSettings(const TransitionSettings& effect, const TimelineTransition& asked) {
  if (asked.settingsFile)
    Located(asked.settingsFileOrigin, [&] {
      if (auto error = effect.Load(*asked.settingsFile)) FailWith(*error);
    });
  for (const auto& setting : asked.settings)
    Located(setting.origin, [&] {
      if (auto error = effect.Set(setting.name, setting.value)) FailWith(*error);
    });
}

TransitionSettings CreateEffect(const Host& host, const std::string& name, const Origin& origin) {
  return Located(origin, [&] {
    auto made = TransitionSettings::Create(host, name);
    if (!made) FailWith(made.Error());
    return std::move(*made);
  });
}

// Hold frames scaled by one factor so that they add up to `total` (the largest remainders
// rounded up); shared evenly when every hold is empty.
void StretchHolds(std::vector<long>& holds, long total) {
  long sum = 0;
  for (long hold : holds) sum += hold;
  std::vector<std::pair<double, std::size_t>> remainders;
  long given = 0;
  for (std::size_t k = 0; k < holds.size(); ++k) {
    const double share = sum > 0 ? static_cast<double>(holds[k]) * total / sum
                                 : static_cast<double>(total) / holds.size();
    holds[k] = static_cast<long>(share);
    given += holds[k];
    remainders.emplace_back(share - holds[k], k);
  }
  std::stable_sort(remainders.begin(), remainders.end(),
                   [](const auto& a, const auto& b) { return a.first > b.first; });
  for (std::size_t i = 0; given < total && i < remainders.size(); ++i, ++given)
    ++holds[remainders[i].second];
}

}  // namespace

int RunSlideshow(const SlideshowOptions& options) {
  CheckFps(options.fps);
  CheckSeconds(options.hold, "--hold", true);
  CheckSeconds(options.duration, "--duration", true);
  const Easing easing = ParseEasing(options.easing);
  const auto motion = ParseMotion(options.motion);
  if (!motion)
    throw AppError(kExitUsage,
                   "bad --motion '" + options.motion + "': expected " + MotionChoices());
  const Fitting fitting = ParseFitting(options.fitting);
  Size size = fitting.size;
  const std::filesystem::path output = options.output;
  if (!options.pictures.empty() && !options.timeline.empty())
    throw AppError(kExitUsage, "give the pictures or --timeline, not both");
  if (options.pictures.empty() && options.timeline.empty())
    throw AppError(kExitUsage, "pictures is required (or a timeline: --timeline FILE)");
  if (options.fitToAudio && options.audio.empty())
    throw AppError(kExitUsage, "--fit-to-audio needs the music: --audio FILE");
  if (!options.audio.empty() && !HoldsSound(OutputKindOf(output)))
    throw AppError(kExitUsage, "--audio needs an .mp4 or .webm output: '" + output.string() +
                                   "' cannot hold sound (WebP, GIF, PNG frames and raw frames "
                                   "have none)");
  const Timeline timeline =
      options.timeline.empty() ? FromPictures(options.pictures) : ReadTimeline(options.timeline);

  // The defaults: the command line's when given, else the timeline's, else kelo's own.
  const double hold = options.holdGiven || !timeline.hold ? options.hold : *timeline.hold;
  const double duration =
      options.durationGiven || !timeline.duration ? options.duration : *timeline.duration;
  const Easing defaultEasing = options.easingGiven || !timeline.easing ? easing : *timeline.easing;
  const Motion defaultMotion = options.motionGiven || !timeline.motion ? *motion : *timeline.motion;
  const bool fileTransition = !options.transitionGiven && timeline.transition.name;
  const std::string transitionName =
      fileTransition ? *timeline.transition.name : options.transition;

  const std::size_t count = timeline.slides.size();
  std::vector<long> holds(count), transitions(count, 0);
  for (std::size_t k = 0; k < count; ++k) {
    const TimelineSlide& slide = timeline.slides[k];
    holds[k] = FrameCount(slide.hold.value_or(hold), options.fps);
    if (k + 1 < count)
      transitions[k] = FrameCount(slide.transition.duration.value_or(duration), options.fps);
  }
  double soundSeconds = 0;
  if (!options.audio.empty()) {
    soundSeconds = SoundSeconds(options.audio);
    if (options.fitToAudio) {
      long between = 0;
      for (long frames : transitions) between += frames;
      // Measured before it is rounded to frames, which could not hold a length of days.
      if (soundSeconds * options.fps > kMaxFrames)
        throw AppError(kExitUsage, "the music's " + Number(soundSeconds) +
                                       " seconds give more than " + std::to_string(kMaxFrames) +
                                       " frames at " + ExactNumber(options.fps) + " fps");
      const long total = FrameCount(soundSeconds, options.fps);
      if (total < between)
        throw AppError(kExitUsage, "the music (" + Number(soundSeconds) +
                                       " s) is shorter than the transitions alone (" +
                                       Number(between / options.fps) + " s)");
      StretchHolds(holds, total - between);
    }
  }
  long total = 0;
  for (std::size_t k = 0; k < count; ++k) total += holds[k] + transitions[k];
  if (total == 0)
    throw AppError(kExitUsage, "the holds and transitions give no frames at " +
                                   ExactNumber(options.fps) + " fps");
  CheckFrameCount(total, options.fps,
                  options.timeline.empty()
                      ? std::to_string(count) + " pictures with --hold and --duration"
                      : "the " + std::to_string(count) + " slides of '" + options.timeline + "'");
  if (!size.Empty()) CheckOutputSize(output, size.width, size.height);

  Paths pictures, inputs;
  for (const auto& slide : timeline.slides) {
    Located(slide.origin, [&] { ProbePicture(slide.picture); });
    pictures.push_back(slide.picture);
    if (slide.transition.settingsFile) inputs.push_back(*slide.transition.settingsFile);
  }
  inputs.insert(inputs.end(), pictures.begin(), pictures.end());
  if (!options.timeline.empty()) inputs.push_back(options.timeline);
  if (!options.audio.empty()) inputs.push_back(options.audio);
  if (timeline.transition.settingsFile) inputs.push_back(*timeline.transition.settingsFile);
  if (!options.settings.loadFile.empty()) inputs.push_back(options.settings.loadFile);
  CheckVideoOutput(output, inputs, total);
  CheckSettingsOutput(options.settings, inputs, output);

  Host host;
  // The default effect serves every transition the timeline does not give one of its own:
  // Uninitialize after each transition makes the random transition pick again.
  auto defaultSettings = [&](const TransitionSettings& effect) {
    if (!options.transitionGiven) ApplyTimelineSettings(effect, timeline.transition);
    ApplySettingsOptions(effect, options.settings);
  };
  const TransitionSettings effect = CreateEffect(
      host, transitionName, fileTransition ? timeline.transition.nameOrigin : Origin{});
  defaultSettings(effect);
  std::vector<TransitionSettings> own;
  own.reserve(count);
  ShowPlan plan;
  for (std::size_t k = 0; k < count; ++k) {
    const TimelineSlide& slide = timeline.slides[k];
    ShowSlide& shown = plan.slides.emplace_back();
    shown.holdFrames = holds[k];
    shown.motion = ResolveMotion(slide.motion.value_or(defaultMotion), k);
    if (k + 1 == count) break;
    const TimelineTransition& asked = slide.transition;
    const TransitionSettings* settings = &effect;
    if (asked.OwnEffect()) {
      settings = &own.emplace_back(CreateEffect(host, asked.name.value_or(transitionName),
                                                asked.name ? asked.nameOrigin : asked.origin));
      if (!asked.name) defaultSettings(*settings);
      ApplyTimelineSettings(*settings, asked);
    }
    shown.effect = settings->Transition().Get();
    shown.effectName = settings->Name();
    shown.transitionFrames = transitions[k];
    shown.easing = asked.easing.value_or(defaultEasing);
  }

  const DecodeOptions decoding{fitting.background, nullptr};
  auto first = DecodePicture(host, pictures[0], decoding);
  if (size.Empty()) size = PictureSize(first.Get());
  plan.size = size;
  auto load = [&](std::size_t k) {
    auto picture = k == 0 ? std::move(first) : DecodePicture(host, pictures[k], decoding);
    return FitPicture(host, picture.Get(), plan.PictureSize(k), fitting.mode, fitting.background);
  };
  const SoundTrack sound{options.audio, static_cast<double>(total) / options.fps,
                         !options.fitToAudio};
  ProgressBar progress(total, ProgressBar::WantedFor(options.quiet));
  AsyncSink sink(MakeSink(output, {size.width, size.height, options.fps},
                          options.audio.empty() ? nullptr : &sound),
                 &progress);
  RenderShow(plan, &host, load, sink);
  sink.Finish();
  SaveSettings(effect, options.settings);
  ReportOutputs(output, sink.Outputs());
  return kExitOk;
}

}  // namespace kelo
