// Driving effects as a host does: frames in order on one thread, each handed to the encoder.
#pragma once

#include <functional>
#include <string>

#include "app/Easing.h"
#include "app/Fit.h"
#include "app/Pipeline.h"

namespace kelo {

// Number of frames for `seconds` at `fps` (rounded to the nearest frame).
long FrameCount(double seconds, double fps);

// The frame rates and the most frames a run may have (9 hours and more at 30 fps).
inline constexpr double kMinFps = 1, kMaxFps = 240;
inline constexpr long kMaxFrames = 1'000'000;

// Checks fps, durations and holds, and a run's frame count; throws usage errors naming the
// options.
void CheckFps(double fps);
void CheckSeconds(double seconds, const std::string& option, bool zeroAllowed);
void CheckFrameCount(long frames, double fps, const std::string& options);

// One frame of `effect` at `progress`: a new picture of to's size, or an AppError naming the
// effect, the progress and the result code.
ComPtr<ICIF> RenderFrame(IKeloTransition* effect, const std::string& name, ICIF* from, ICIF* to,
                         double progress);

// `frames` frames of the transition from `from` to `to`, stopping with the interrupt (an
// AppError) once a signal has arrived. With `ends`, the first and last frames
// are at progress 0 and 1 (at least two frames); without, they lie strictly between (the pictures
// themselves are shown by the holds around them). Frame times, evenly spaced, pass through
// `easing` on their way to the effect.
void RenderTransition(IKeloTransition* effect, const std::string& name, ICIF* from, ICIF* to,
                      long frames, bool ends, AsyncSink& sink, const Easing& easing = {});

struct SlideshowPlan {
  std::size_t pictures = 0;
  long holdFrames = 0;
  long transitionFrames = 0;
  long TotalFrames() const {
    return static_cast<long>(pictures) * holdFrames +
           static_cast<long>(pictures > 0 ? pictures - 1 : 0) * transitionFrames;
  }
};

// The slideshow: each picture held, then a transition to the next. `load(k)` makes picture k
// at the output size (it runs ahead on a worker thread); `effect(k)` is the effect between
// pictures k and k+1 and its name, and is told to Uninitialize after its transition. Stops with
// the interrupt once a signal has arrived. (A uniform show without motion: RenderShow, app/Show.h,
// renders every other.)
void RenderSlideshow(
    const SlideshowPlan& plan, const std::function<ComPtr<ICIF>(std::size_t)>& load,
    const std::function<std::pair<IKeloTransition*, std::string>(std::size_t)>& effect,
    AsyncSink& sink);

}  // namespace kelo
