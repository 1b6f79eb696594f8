#include "app/Show.h"

#include "app/Errors.h"
#include "app/Interrupt.h"
#include "app/Render.h"

namespace kelo {

long ShowPlan::TotalFrames() const {
  long total = 0;
  for (std::size_t k = 0; k < slides.size(); ++k)
    total += slides[k].holdFrames + (k + 1 < slides.size() ? slides[k].transitionFrames : 0);
  return total;
}

Size ShowPlan::PictureSize(std::size_t k) const {
  return slides[k].motion == Motion::kNone ? size : MotionCanvasSize(size);
}

namespace {

// The frame of a slide at time `t` of its hold: its picture itself when it does not move.
ComPtr<ICIF> SlideFrame(const Host* host, const ShowPlan& plan, std::size_t k, ICIF* picture,
                        double t) {
  const Motion motion = plan.slides[k].motion;
  if (motion == Motion::kNone) return ComPtr<ICIF>::Share(picture);
  if (host == nullptr) throw AppError(kExitFailure, "no host to draw a moving slide with");
  auto frame = host->NewPicture(plan.size.width, plan.size.height);
  DrawCrop(View(picture), MotionCrop(motion, kelo::PictureSize(picture), t), View(frame.Get()));
  return frame;
}

}  // namespace

void RenderShow(const ShowPlan& plan, const Host* host,
                const std::function<ComPtr<ICIF>(std::size_t)>& load, AsyncSink& sink) {
  const std::size_t count = plan.slides.size();
  // Each picture is decoded while the one before it is held, after the one before that was let
  // go: no more than two whole pictures at a time.
  Prefetcher<ComPtr<ICIF>> pictures(count, load, 1);
  if (count == 0) return;
  ComPtr<ICIF> picture = pictures.Next();
  // The hold's first frame: made before the transition into it, which ends on it.
  ComPtr<ICIF> first = SlideFrame(host, plan, 0, picture.Get(), 0);
  for (std::size_t k = 0; k < count; ++k) {
    ThrowIfInterrupted();
    pictures.Ahead();
    const ShowSlide& slide = plan.slides[k];
    ComPtr<ICIF> last = first;
    if (slide.motion == Motion::kNone) {
      // A hold is one picture shown for several frames: the sink decides how to store that.
      sink.Add(first, static_cast<int>(slide.holdFrames));
    } else {
      for (long i = 0; i < slide.holdFrames; ++i) {
        if (i > 0) {
          ThrowIfInterrupted();
          const double t = static_cast<double>(i) / static_cast<double>(slide.holdFrames - 1);
          last = SlideFrame(host, plan, k, picture.Get(), t);
        }
        sink.Add(last);
      }
    }
    if (k + 1 == count) break;
    ComPtr<ICIF> next = pictures.Next();
    ComPtr<ICIF> nextFirst = SlideFrame(host, plan, k + 1, next.Get(), 0);
    if (slide.transitionFrames > 0)
      RenderTransition(slide.effect, slide.effectName, last.Get(), nextFirst.Get(),
                       slide.transitionFrames, false, sink, slide.easing);
    // Drops the effect's caches; a random transition picks anew and randomizes the pick.
    slide.effect->Uninitialize();
    picture = std::move(next);
    first = std::move(nextFirst);
  }
}

}  // namespace kelo
