#include "app/Easing.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <string>

#include "app/Text.h"

namespace kelo {

namespace {

std::string Compact(std::string_view text) {
  std::string out;
  for (char c : text)
    if (!std::isspace(static_cast<unsigned char>(c)))
      out += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

}  // namespace

Easing::Easing(double x1, double y1, double x2, double y2, std::string text)
    : linear_(false), x1_(x1), y1_(y1), x2_(x2), y2_(y2), text_(std::move(text)) {}

const char* Easing::Choices() {
  return "linear, ease, ease-in, ease-out, ease-in-out or cubic-bezier(x1,y1,x2,y2)";
}

std::optional<Easing> Easing::Parse(std::string_view text, std::string* why) {
  const std::string name = Compact(text);
  // The keywords as CSS defines them.
  if (name == "linear") return Easing();
  if (name == "ease") return Easing(0.25, 0.1, 0.25, 1, name);
  if (name == "ease-in") return Easing(0.42, 0, 1, 1, name);
  if (name == "ease-out") return Easing(0, 0, 0.58, 1, name);
  if (name == "ease-in-out") return Easing(0.42, 0, 0.58, 1, name);
  const std::string_view prefix = "cubic-bezier(";
  if (name.starts_with(prefix) && name.ends_with(")")) {
    const std::string inside = name.substr(prefix.size(), name.size() - prefix.size() - 1);
    double values[4];
    std::size_t start = 0;
    for (int i = 0; i < 4; ++i) {
      const std::size_t comma = i < 3 ? inside.find(',', start) : inside.size();
      if (comma == std::string::npos ||
          !ParseNumber(std::string_view(inside).substr(start, comma - start), values[i])) {
        if (why != nullptr) *why = "cubic-bezier takes four numbers: cubic-bezier(x1,y1,x2,y2)";
        return std::nullopt;
      }
      start = comma + 1;
    }
    if (values[0] < 0 || values[0] > 1 || values[2] < 0 || values[2] > 1) {
      if (why != nullptr) *why = "x1 and x2 of a cubic-bezier must lie in 0..1";
      return std::nullopt;
    }
    return Easing(values[0], values[1], values[2], values[3], name);
  }
  if (why != nullptr) *why = std::string("expected ") + Choices();
  return std::nullopt;
}

// The Bezier curve from (0,0) through control points (x1,y1), (x2,y2) to (1,1), at parameter s.
double Easing::CurveX(double s) const {
  const double r = 1 - s;
  return 3 * r * r * s * x1_ + 3 * r * s * s * x2_ + s * s * s;
}

double Easing::CurveY(double s) const {
  const double r = 1 - s;
  return 3 * r * r * s * y1_ + 3 * r * s * s * y2_ + s * s * s;
}

double Easing::operator()(double t) const {
  t = std::clamp(t, 0.0, 1.0);
  if (linear_ || t == 0 || t == 1) return t;
  // x(s) never decreases for x1, x2 in 0..1, so the s with x(s) = t is found by bisection; 60
  // halvings leave it exact to the double.
  double low = 0, high = 1;
  for (int i = 0; i < 60; ++i) {
    const double middle = (low + high) / 2;
    (CurveX(middle) < t ? low : high) = middle;
  }
  return CurveY((low + high) / 2);
}

double Easing::Progress(double t) const {
  return std::clamp((*this)(t), 0.0, 1.0);
}

}  // namespace kelo
