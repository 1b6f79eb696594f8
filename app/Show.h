// A slideshow as rendered: per slide its hold, its motion and the transition to the next, in
// frames. The command line and timeline files both come down to this plan.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "app/Easing.h"
#include "app/Fit.h"
#include "app/Motion.h"
#include "app/Pipeline.h"

namespace kelo {

struct ShowSlide {
  long holdFrames = 0;
  Motion motion = Motion::kNone;  // never kAuto here
  // The transition to the next slide (unused on the last).
  IKeloTransition* effect = nullptr;
  std::string effectName;
  long transitionFrames = 0;
  Easing easing;
};

struct ShowPlan {
  Size size;  // the output's
  std::vector<ShowSlide> slides;
  long TotalFrames() const;
  // The size slide k's picture is loaded at: the output's, or larger for a moving slide.
  Size PictureSize(std::size_t k) const;
};

// The show: each slide held (one picture for the whole hold, or a moving crop of it per frame),
// then the transition to the next, from the hold's last frame to the next hold's first, with eased
// progress. `load(k)` makes picture k at plan.PictureSize(k) (it runs ahead on a worker thread);
// each effect is told to Uninitialize after its transition. `host` makes the moving frames (it may
// be null when no slide moves). Stops with the interrupt once a signal has arrived.
void RenderShow(const ShowPlan& plan, const Host* host,
                const std::function<ComPtr<ICIF>(std::size_t)>& load, AsyncSink& sink);

}  // namespace kelo
