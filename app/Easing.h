// Easing: how a transition's time maps to the progress its effect is given, with the timing
// functions of CSS (linear, ease, ease-in, ease-out, ease-in-out and cubic-bezier(x1,y1,x2,y2)).
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kelo {

class Easing {
 public:
  // Linear: progress equals time.
  Easing() = default;

  // The easing a text names, or nothing with `why` saying what is wrong. Case and blanks are
  // forgiven; a cubic-bezier's x1 and x2 must lie in 0..1 (so that time maps to one value) and
  // every number must be finite.
  static std::optional<Easing> Parse(std::string_view text, std::string* why = nullptr);
  // The names accepted, for messages.
  static const char* Choices();

  // The eased value at time `t` (0..1): 0 at 0, 1 at 1. A curve whose y1 or y2 lies outside
  // 0..1 overshoots; Progress() keeps the value an effect is given within 0..1.
  double operator()(double t) const;
  double Progress(double t) const;

  const std::string& Text() const { return text_; }
  bool Linear() const { return linear_; }

 private:
  Easing(double x1, double y1, double x2, double y2, std::string text);
  double CurveX(double s) const;
  double CurveY(double s) const;

  bool linear_ = true;
  double x1_ = 0, y1_ = 0, x2_ = 1, y2_ = 1;
  std::string text_ = "linear";
};

}  // namespace kelo
