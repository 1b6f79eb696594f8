#include "app/Render.h"

#include <cmath>
#include <cstdio>

#include "app/Errors.h"
#include "app/Interrupt.h"
#include "app/Text.h"

namespace kelo {

long FrameCount(double seconds, double fps) {
  return std::lround(seconds * fps);
}

void CheckFps(double fps) {
  // Below 1 fps a held frame's time in a GIF or WebP grows without end (and at 1e-300 it
  // overflows to nothing); above 240 no display shows the frames.
  if (!std::isfinite(fps) || fps < kMinFps || fps > kMaxFps)
    throw AppError(kExitUsage, "bad --fps " + ExactNumber(fps) + ": expected " + Number(kMinFps) +
                                   " to " + Number(kMaxFps) + " frames per second");
}

void CheckSeconds(double seconds, const std::string& option, bool zeroAllowed) {
  if (!std::isfinite(seconds) || seconds < 0 || (!zeroAllowed && seconds == 0) || seconds > 3600)
    throw AppError(kExitUsage, "bad " + option + " " + ExactNumber(seconds) + ": expected " +
                                   (zeroAllowed ? "0" : "more than 0") + " to 3600 seconds");
}

void CheckFrameCount(long frames, double fps, const std::string& options) {
  if (frames > kMaxFrames)
    throw AppError(kExitUsage, options + " give " + std::to_string(frames) + " frames at " +
                                   ExactNumber(fps) + " fps: at most " +
                                   std::to_string(kMaxFrames) + " frames are rendered");
}

ComPtr<ICIF> RenderFrame(IKeloTransition* effect, const std::string& name, ICIF* from, ICIF* to,
                         double progress) {
  ICIF* out = nullptr;
  const HRESULT hr = effect->DoTransition(from, to, &out, progress);
  auto frame = ComPtr<ICIF>::Adopt(out);
  if (Failed(hr) || !frame) {
    char code[16];
    std::snprintf(code, sizeof code, "0x%08X", static_cast<unsigned>(hr));
    throw AppError(kExitFailure, name + " failed at progress " + Number(progress) + " (result " +
                                     code + (frame ? ")" : ", no picture)"));
  }
  const PixelView result = View(frame.Get()), target = View(to);
  if (result.width != target.width || result.height != target.height || result.bitsPerPixel != 24)
    throw AppError(kExitFailure, name + " gave a " + std::to_string(result.width) + "x" +
                                     std::to_string(result.height) + " picture for a " +
                                     std::to_string(target.width) + "x" +
                                     std::to_string(target.height) + " transition");
  return frame;
}

void RenderTransition(IKeloTransition* effect, const std::string& name, ICIF* from, ICIF* to,
                      long frames, bool ends, AsyncSink& sink) {
  if (ends) frames = std::max(frames, 2L);
  for (long i = 0; i < frames; ++i) {
    ThrowIfInterrupted();
    const double progress = ends ? static_cast<double>(i) / static_cast<double>(frames - 1)
                                 : static_cast<double>(i + 1) / static_cast<double>(frames + 1);
    sink.Add(RenderFrame(effect, name, from, to, progress));
  }
}

void RenderSlideshow(
    const SlideshowPlan& plan, const std::function<ComPtr<ICIF>(std::size_t)>& load,
    const std::function<std::pair<IKeloTransition*, std::string>(std::size_t)>& effect,
    AsyncSink& sink) {
  // Each picture is decoded while the one before it is held, after the one before that was let
  // go: no more than two whole pictures at a time.
  Prefetcher<ComPtr<ICIF>> pictures(plan.pictures, load, 1);
  ComPtr<ICIF> current = plan.pictures > 0 ? pictures.Next() : ComPtr<ICIF>();
  for (std::size_t k = 0; k < plan.pictures; ++k) {
    ThrowIfInterrupted();
    pictures.Ahead();
    // A hold is one picture shown for several frames: the sink decides how to store that.
    sink.Add(current, static_cast<int>(plan.holdFrames));
    if (k + 1 == plan.pictures) break;
    ComPtr<ICIF> next = pictures.Next();
    const auto [transition, name] = effect(k);
    if (plan.transitionFrames > 0)
      RenderTransition(transition, name, current.Get(), next.Get(), plan.transitionFrames, false,
                       sink);
    // Drops the effect's caches; a random transition picks anew and randomizes the pick.
    transition->Uninitialize();
    current = std::move(next);
  }
}

}  // namespace kelo
