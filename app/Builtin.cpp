#include "app/Builtin.h"

#include <algorithm>
#include <cmath>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>

namespace kelo {

namespace {

// Colours are given as (R, G, B): the pictures store their bytes in that order.
cv::Scalar Colour(int r, int g, int b) {
  return cv::Scalar(r, g, b);
}

void Gradient(cv::Mat& canvas, cv::Scalar a, cv::Scalar b, bool horizontal) {
  const int steps = horizontal ? canvas.cols : canvas.rows;
  for (int i = 0; i < steps; ++i) {
    const double t = steps > 1 ? static_cast<double>(i) / (steps - 1) : 0;
    const cv::Scalar colour = a * (1 - t) + b * t;
    if (horizontal)
      canvas.col(i).setTo(colour);
    else
      canvas.row(i).setTo(colour);
  }
}

void Label(cv::Mat& canvas, const std::string& text, double heightShare, cv::Point2d centre,
           cv::Scalar colour) {
  const int font = cv::FONT_HERSHEY_DUPLEX;
  int baseline = 0;
  const cv::Size unit = cv::getTextSize(text, font, 1.0, 1, &baseline);
  const double scale = std::max(0.3, canvas.rows * heightShare / std::max(1, unit.height));
  const int thickness = std::max(1, static_cast<int>(scale * 2));
  const cv::Size size = cv::getTextSize(text, font, scale, thickness, &baseline);
  const cv::Point origin(static_cast<int>(centre.x * canvas.cols - size.width / 2.0),
                         static_cast<int>(centre.y * canvas.rows + size.height / 2.0));
  cv::putText(canvas, text, origin + cv::Point(thickness, thickness), font, scale, Colour(0, 0, 0),
              thickness + 2, cv::LINE_AA);
  cv::putText(canvas, text, origin, font, scale, colour, thickness, cv::LINE_AA);
}

}  // namespace

ComPtr<ICIF> BuiltinPicture(const Host& host, std::size_t index, Size size) {
  auto picture = host.NewPicture(size.width, size.height);
  const PixelView view = View(picture.Get());
  cv::Mat canvas(static_cast<int>(view.height), static_cast<int>(view.width), CV_8UC3, view.first,
                 static_cast<std::size_t>(view.stride));
  const int w = canvas.cols, h = canvas.rows, unit = std::max(1, std::min(w, h) / 12);
  const auto at = [&](double x, double y) {
    return cv::Point(static_cast<int>(x * w), static_cast<int>(y * h));
  };
  switch (index % kBuiltinDesigns) {
    case 0:  // blue to orange, a sun and a horizon
      Gradient(canvas, Colour(30, 60, 170), Colour(250, 150, 40), true);
      cv::circle(canvas, at(0.72, 0.38), unit * 3, Colour(255, 235, 120), cv::FILLED, cv::LINE_AA);
      cv::rectangle(canvas, at(0, 0.78), at(1, 1), Colour(20, 90, 50), cv::FILLED);
      break;
    case 1:  // green to dark, with diagonal bars
      Gradient(canvas, Colour(40, 200, 120), Colour(10, 40, 60), false);
      for (int i = -h; i < w; i += unit * 3)
        cv::line(canvas, cv::Point(i, h), cv::Point(i + h, 0), Colour(240, 240, 255), unit / 2 + 1,
                 cv::LINE_AA);
      break;
    case 2: {  // a red and cream checkerboard with a blue disc
      const int cell = unit * 2;
      for (int y = 0; y < h; y += cell)
        for (int x = 0; x < w; x += cell)
          cv::rectangle(canvas, cv::Rect(x, y, cell, cell),
                        ((x / cell + y / cell) % 2) ? Colour(200, 40, 50) : Colour(250, 235, 210),
                        cv::FILLED);
      cv::circle(canvas, at(0.3, 0.5), unit * 3, Colour(40, 80, 220), cv::FILLED, cv::LINE_AA);
      break;
    }
    default:  // purple with concentric rings
      Gradient(canvas, Colour(90, 20, 120), Colour(20, 10, 40), true);
      for (int r = unit * 7; r > 0; r -= unit)
        cv::circle(canvas, at(0.5, 0.5), r,
                   (r / unit) % 2 ? Colour(255, 200, 0) : Colour(0, 190, 220), cv::FILLED,
                   cv::LINE_AA);
      break;
  }
  Label(canvas, std::to_string(index + 1), 0.35, {0.5, 0.45}, Colour(255, 255, 255));
  Label(canvas, "kelo", 0.07, {0.12, 0.92}, Colour(255, 255, 255));
  return picture;
}

}  // namespace kelo
