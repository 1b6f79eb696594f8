// Pan and zoom over a held picture: the picture is prepared once per slide at a little more than
// the output size, and each held frame is a slowly moving crop of it scaled to the output.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "app/Fit.h"
#include "app/Host.h"

namespace kelo {

// pan-left: the view travels towards the picture's left edge (the picture slides right); the
// other pans likewise. auto: a kind per slide, changing from one slide to the next.
enum class Motion { kNone, kAuto, kZoomIn, kZoomOut, kPanLeft, kPanRight, kPanUp, kPanDown };

std::optional<Motion> ParseMotion(std::string_view text);
const char* MotionChoices();
// The kind auto stands for on slide `slide`; other kinds unchanged.
Motion ResolveMotion(Motion motion, std::size_t slide);

// How much larger than the output the prepared picture is: a zoom ends (or starts) on the
// output's own scale, so every frame shrinks the prepared picture by 1 to this factor.
inline constexpr double kMotionScale = 1.15;
// The size a moving slide's picture is prepared at.
Size MotionCanvasSize(Size output);

// The part of the prepared picture a frame shows, in its pixels (sub-pixel position and size).
struct CropRect {
  double x = 0, y = 0, width = 0, height = 0;
};
// The crop at time `t` of the hold (0 its first frame, 1 its last); the motion eases in and out
// so that it starts and stops gently at the transitions around it.
CropRect MotionCrop(Motion motion, Size canvas, double t);

// Draws `crop` of `canvas` scaled to fill `out` (24-bit RGB both), sampling at sub-pixel
// positions with bilinear weights.
void DrawCrop(const PixelView& canvas, const CropRect& crop, const PixelView& out);

}  // namespace kelo
