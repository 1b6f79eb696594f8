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

}  // namespace kelo
