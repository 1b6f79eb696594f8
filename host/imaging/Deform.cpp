#include "host/imaging/Deform.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numbers>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "host/imaging/BufferPool.h"
#include "host/imaging/Picture.h"

namespace host::imaging {

namespace {

constexpr int kStyles = 5;
constexpr unsigned kMaxSide = 32000;  // OpenCV's remap uses 16-bit source coordinates
constexpr int kBandRows = 16;         // rows of maps built and remapped at a time

// The radial styles move a point at distance r from the centre to r * Factor(q), where
// q = (r / R)^2 and R is half the diagonal, looked up in a table over q.
class RadialTable {
 public:
  RadialTable(int style, double amount) : values_(kSize + 2) {
    for (int i = 0; i <= kSize + 1; ++i) {
      const double q = std::min(1.0, static_cast<double>(i) / kSize);
      const double rho = std::sqrt(q);
      const double fall = (1 - rho) * (1 - rho);  // 1 at the centre, 0 at the corners
      double f = 1;
      double angle = 0;
      switch (style) {
        case 0:  // pinch: sample farther out near the centre
          f = 1 + 2.0 * amount * fall;
          break;
        case 1:  // bulge: sample nearer the centre near the centre
          f = 1 - 0.85 * amount * fall;
          break;
        case 2:  // swirl
          angle = amount * 3 * std::numbers::pi * fall;
          break;
        case 3: {  // ripple: radius r + A sin(2 pi N rho), as a factor; sin(x)/x near 0
          constexpr double kWaves = 8, kAmplitude = 0.02;
          const double x = 2 * std::numbers::pi * kWaves * rho;
          const double sinc = x < 1e-9 ? 1.0 : std::sin(x) / x;
          f = 1 + amount * kAmplitude * 2 * std::numbers::pi * kWaves * sinc;
          break;
        }
      }
      values_[static_cast<std::size_t>(i)] = {f * std::cos(angle), f * std::sin(angle)};
    }
  }

  // The (cos, sin)-scaled factor at q in [0, 1], linearly interpolated.
  void At(double q, float* c, float* s) const {
    const double at = std::min(q, 1.0) * kSize;
    const int i = static_cast<int>(at);
    const double t = at - i;
    const auto& a = values_[static_cast<std::size_t>(i)];
    const auto& b = values_[static_cast<std::size_t>(i) + 1];
    *c = static_cast<float>(a[0] + (b[0] - a[0]) * t);
    *s = static_cast<float>(a[1] + (b[1] - a[1]) * t);
  }

 private:
  static constexpr int kSize = 8192;
  std::vector<std::array<double, 2>> values_;
};

// Where each destination pixel reads from, as an offset from the pixel itself (in pixels).
// The offsets vary smoothly, so they are computed every `step` pixels and interpolated.
class Displacement {
 public:
  Displacement(int style, double amount, int width, int height)
      : style_(style),
        table_(style, amount),
        width_(width),
        step_(std::min(width, height) >= 720   ? 4
              : std::min(width, height) >= 256 ? 2
                                               : 1),
        cols_((width - 1) / step_ + 2),
        rows_((height - 1) / step_ + 2),
        dx_(static_cast<std::size_t>(cols_) * rows_),
        dy_(dx_.size()) {
    const double cx = width / 2.0, cy = height / 2.0;
    const double inverseSquare =
        4.0 / (static_cast<double>(width) * width + static_cast<double>(height) * height);
    const double amplitude = 0.03 * std::min(width, height) * amount;
    const double kx = 2 * std::numbers::pi * 2.5 / height;  // 2.5 waves down the picture
    const double ky = 2 * std::numbers::pi * 2.5 / width;   // and across it
    for (int j = 0; j < rows_; ++j) {
      for (int i = 0; i < cols_; ++i) {
        const double x = i * step_ + 0.5, y = j * step_ + 0.5;  // pixel centres
        double ox, oy;
        if (style_ == 4) {
          ox = amplitude * std::sin(kx * y);
          oy = amplitude * std::sin(ky * x);
        } else {
          const double dx = x - cx, dy = y - cy;
          float c, s;
          table_.At((dx * dx + dy * dy) * inverseSquare, &c, &s);
          ox = c * dx - s * dy - dx;
          oy = s * dx + c * dy - dy;
        }
        dx_[Index(i, j)] = static_cast<float>(ox);
        dy_[Index(i, j)] = static_cast<float>(oy);
      }
    }
  }

  // Source pixel coordinates of destination rows [y0, y1) into mapX and mapY (rows of width).
  void Maps(int y0, int y1, float* mapX, float* mapY) const {
    std::vector<float> rowX(static_cast<std::size_t>(cols_)), rowY(rowX.size());
    const float inverseStep = 1.0f / static_cast<float>(step_);
    for (int y = y0; y < y1; ++y) {
      const int j = y / step_;
      const float ty = static_cast<float>(y - j * step_) * inverseStep;
      for (int i = 0; i < cols_; ++i) {
        const std::size_t a = Index(i, j), b = Index(i, j + 1);
        rowX[static_cast<std::size_t>(i)] = dx_[a] + (dx_[b] - dx_[a]) * ty;
        rowY[static_cast<std::size_t>(i)] = dy_[a] + (dy_[b] - dy_[a]) * ty;
      }
      float* mx = mapX + static_cast<std::ptrdiff_t>(y - y0) * width_;
      float* my = mapY + static_cast<std::ptrdiff_t>(y - y0) * width_;
      const float fy = static_cast<float>(y);
      for (int x = 0; x < width_; ++x) {
        const int i = x / step_;
        const float tx = static_cast<float>(x - i * step_) * inverseStep;
        const auto k = static_cast<std::size_t>(i);
        mx[x] = static_cast<float>(x) + rowX[k] + (rowX[k + 1] - rowX[k]) * tx;
        my[x] = fy + rowY[k] + (rowY[k + 1] - rowY[k]) * tx;
      }
    }
  }

 private:
  std::size_t Index(int i, int j) const { return static_cast<std::size_t>(j) * cols_ + i; }

  int style_;
  RadialTable table_;
  int width_, step_, cols_, rows_;
  std::vector<float> dx_, dy_;
};

}  // namespace

HRESULT PictureDeform::Deform(ICIF* picture, int style, int /*option*/, double amount) {
  if (picture == nullptr || style < 0 || style >= kStyles || std::isnan(amount))
    return E_INVALIDARG;
  amount = std::clamp(amount, 0.0, 1.0);
  Surface s;
  if (HRESULT hr = ReadSurface(picture, &s); Failed(hr)) return hr;
  if (amount == 0 || s.Empty()) return S_OK;
  if (s.width > kMaxSide || s.height > kMaxSide) return E_INVALIDARG;

  // Read from a copy; write the picture's own rows (through a second copy if they run upwards).
  const std::size_t stride = Picture::StrideFor(s.RowBytes());
  PoolBuffer original(stride * s.height);
  PoolBuffer upwards;
  if (!original) return E_FAIL;
  if (s.stride < 0) {
    upwards = PoolBuffer(stride * s.height);
    if (!upwards) return E_FAIL;
  }
  for (unsigned y = 0; y < s.height; ++y)
    std::memcpy(original.data() + y * stride, s.Row(y), s.RowBytes());
  const int width = static_cast<int>(s.width), height = static_cast<int>(s.height);
  const int type = CV_8UC(s.Channels());
  const cv::Mat source(height, width, type, original.data(), stride);
  const cv::Mat target =
      s.stride < 0 ? cv::Mat(height, width, type, upwards.data(), stride)
                   : cv::Mat(height, width, type, s.first, static_cast<std::size_t>(s.stride));
  try {
    const Displacement displacement(style, amount, width, height);
    const int bands = (height + kBandRows - 1) / kBandRows;
    cv::parallel_for_(cv::Range(0, bands), [&](const cv::Range& range) {
      std::vector<float> mapX(static_cast<std::size_t>(width) * kBandRows);
      std::vector<float> mapY(mapX.size());
      for (int band = range.start; band < range.end; ++band) {
        const int y0 = band * kBandRows, y1 = std::min(height, y0 + kBandRows);
        displacement.Maps(y0, y1, mapX.data(), mapY.data());
        const cv::Mat mx(y1 - y0, width, CV_32FC1, mapX.data());
        const cv::Mat my(y1 - y0, width, CV_32FC1, mapY.data());
        cv::Mat rows = target.rowRange(y0, y1);
        cv::remap(source, rows, mx, my, cv::INTER_LINEAR, cv::BORDER_REPLICATE);
      }
    });
  } catch (...) {
    // OpenCV refused or memory ran out; the picture may be partly written: restore it.
    for (unsigned y = 0; y < s.height; ++y)
      std::memcpy(s.Row(y), original.data() + y * stride, s.RowBytes());
    return E_FAIL;
  }
  if (s.stride < 0)
    for (unsigned y = 0; y < s.height; ++y)
      std::memcpy(s.Row(y), upwards.data() + y * stride, s.RowBytes());
  // Pixels moved: the record of what was drawn where no longer holds.
  int ox = 0, oy = 0;
  if (Picture* owner = OwnerOf(picture, &ox, &oy)) owner->DropCoverage();
  return S_OK;
}

}  // namespace host::imaging
