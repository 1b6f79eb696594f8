#include "app/Motion.h"

#include <algorithm>
#include <cmath>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>

#include "app/Easing.h"
#include "app/Text.h"

namespace kelo {

namespace {

struct MotionName {
  const char* name;
  Motion motion;
};
constexpr MotionName kNames[] = {
    {"none", Motion::kNone},        {"auto", Motion::kAuto},
    {"zoom-in", Motion::kZoomIn},   {"zoom-out", Motion::kZoomOut},
    {"pan-left", Motion::kPanLeft}, {"pan-right", Motion::kPanRight},
    {"pan-up", Motion::kPanUp},     {"pan-down", Motion::kPanDown},
};

// A pan shows this share of the prepared picture's width and height (a slightly shrunk view, so
// that sub-pixel positions fall differently across the frame and no frame is sharper than the
// next) and travels across what is left over.
constexpr double kPanView = 1 / 1.1;

cv::Mat MatOf(const PixelView& view) {
  return cv::Mat(static_cast<int>(view.height), static_cast<int>(view.width), CV_8UC3, view.first,
                 static_cast<std::size_t>(view.stride));
}

}  // namespace

std::optional<Motion> ParseMotion(std::string_view text) {
  for (const auto& entry : kNames)
    if (EqualsIgnoreCase(text, entry.name)) return entry.motion;
  return std::nullopt;
}

const char* MotionChoices() {
  return "none, auto, zoom-in, zoom-out, pan-left, pan-right, pan-up or pan-down";
}

Motion ResolveMotion(Motion motion, std::size_t slide) {
  if (motion != Motion::kAuto) return motion;
  constexpr Motion kCycle[] = {Motion::kZoomIn, Motion::kPanRight, Motion::kZoomOut,
                               Motion::kPanLeft};
  return kCycle[slide % std::size(kCycle)];
}

Size MotionCanvasSize(Size output) {
  auto side = [](unsigned length) {
    return static_cast<unsigned>(std::lround(length * kMotionScale));
  };
  return {side(output.width), side(output.height)};
}

CropRect MotionCrop(Motion motion, Size canvas, double t) {
  static const Easing kGentle = *Easing::Parse("ease-in-out");
  const double u = kGentle(t);
  const double width = canvas.width, height = canvas.height;
  auto centred = [&](double share) {
    return CropRect{width * (1 - share) / 2, height * (1 - share) / 2, width * share,
                    height * share};
  };
  const double zoomed = 1 / kMotionScale;
  switch (motion) {
    case Motion::kZoomIn:
      return centred(1 + (zoomed - 1) * u);
    case Motion::kZoomOut:
      return centred(zoomed + (1 - zoomed) * u);
    case Motion::kPanLeft:
    case Motion::kPanRight:
    case Motion::kPanUp:
    case Motion::kPanDown: {
      CropRect crop = centred(kPanView);
      const bool horizontal = motion == Motion::kPanLeft || motion == Motion::kPanRight;
      const bool backwards = motion == Motion::kPanLeft || motion == Motion::kPanUp;
      const double travel = (horizontal ? width : height) * (1 - kPanView);
      const double at = travel * (backwards ? 1 - u : u);
      (horizontal ? crop.x : crop.y) = at;
      return crop;
    }
    case Motion::kNone:
    case Motion::kAuto:
      break;
  }
  return centred(1);
}

void DrawCrop(const PixelView& canvas, const CropRect& crop, const PixelView& out) {
  const double scaleX = crop.width / out.width, scaleY = crop.height / out.height;
  // From each output pixel centre to the source point it shows (the inverse map).
  const cv::Matx23d toSource(scaleX, 0, crop.x + 0.5 * scaleX - 0.5, 0, scaleY,
                             crop.y + 0.5 * scaleY - 0.5);
  cv::Mat target = MatOf(out);
  cv::warpAffine(MatOf(canvas), target, toSource, target.size(),
                 cv::INTER_LINEAR | cv::WARP_INVERSE_MAP, cv::BORDER_REPLICATE);
}

}  // namespace kelo
