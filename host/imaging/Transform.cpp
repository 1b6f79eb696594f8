#include "host/imaging/Transform.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstring>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "host/imaging/BufferPool.h"
#include "host/imaging/Geometry.h"
#include "host/imaging/Picture.h"
#include "host/imaging/Resample.h"

namespace host::imaging {

namespace {

cv::Mat MatOf(const Surface& s) {
  return cv::Mat(static_cast<int>(s.height), static_cast<int>(s.width), CV_8UC(s.Channels()),
                 s.first, static_cast<std::size_t>(s.stride));
}

void CopyRows(const Surface& from, const Surface& to) {
  for (unsigned y = 0; y < to.height; ++y) std::memcpy(to.Row(y), from.Row(y), to.RowBytes());
}

// The surface with rows in ascending memory, as OpenCV wants them: itself, or a copy kept in
// `keep` when its stride is negative. False when out of memory.
bool Upright(const Surface& s, PoolBuffer* keep, Surface* out) {
  *out = s;
  if (s.stride >= 0 || s.Empty()) return true;
  const std::size_t stride = Picture::StrideFor(s.RowBytes());
  *keep = PoolBuffer(stride * s.height);
  if (!*keep) return false;
  out->first = keep->data();
  out->stride = static_cast<std::ptrdiff_t>(stride);
  CopyRows(s, *out);
  return true;
}

// OpenCV's remapping addresses source pixels with 16-bit coordinates.
constexpr unsigned kMaxRemapSide = 32000;

// The picture between ResampleTwoAxes' passes (its size; `from`'s depth).
Surface Between(const Surface& from, const Surface& to) {
  Surface between = from;
  if (to.height < from.height)
    between.height = to.height;
  else
    between.width = to.width;
  return between;
}

bool TwoAxesShape(const Surface& from, const Surface& to) {
  if (from.bits != to.bits || from.Empty() || to.Empty()) return false;
  const Surface between = Between(from, to);
  return OneAxisShape(from, between) && OneAxisShape(between, to);
}

}  // namespace

// Both sides change: the area average and the interpolation are separable, so two one-axis
// passes through a pooled picture give the two-axis result (rounded once in between). The pass
// that lessens the rows comes first, so the wider pass has fewer rows to do. S_FALSE when a pass
// is a shape the one-axis resampler does not take (a shrink by more than 256).
HRESULT ResampleTwoAxes(const Surface& from, const Surface& to, ResamplePath path) {
  if (!TwoAxesShape(from, to)) return S_FALSE;
  Surface between = Between(from, to);
  const std::size_t stride = Picture::StrideFor(between.RowBytes());
  PoolBuffer buffer(stride * between.height);
  if (!buffer) return E_FAIL;
  between.first = buffer.data();
  between.stride = static_cast<std::ptrdiff_t>(stride);
  if (HRESULT hr = ResampleOneAxis(from, between, path); Failed(hr)) return hr;
  return ResampleOneAxis(between, to, path);
}

namespace {

// Resamples `from` into `to` (same depth): an exact copy at the same size; one side kept, the
// one-axis resampler; both changed, two one-axis passes; an empty `from` gives black; anything
// else (a shrink by more than 256) the general resampler.
HRESULT ResizeSurface(const Surface& from, const Surface& to) {
  if (to.Empty()) return S_OK;
  if (from.Empty()) {
    for (unsigned y = 0; y < to.height; ++y) std::memset(to.Row(y), 0, to.RowBytes());
    return S_OK;
  }
  if (from.width == to.width && from.height == to.height) {
    CopyRows(from, to);
    return S_OK;
  }
  if (OneAxisShape(from, to)) return ResampleOneAxis(from, to, FastestResamplePath());
  if (HRESULT hr = ResampleTwoAxes(from, to, FastestResamplePath()); hr != S_FALSE) return hr;
  return ResampleGeneral(from, to);
}

// Whether ResizeSurface takes everything it needs before it writes `to`, so that a failure leaves
// `to` as it was: every shape but the general resampler's (OpenCV makes no such promise).
bool TakesMemoryFirst(const Surface& from, const Surface& to) {
  return from.Empty() || (from.width == to.width && from.height == to.height) ||
         OneAxisShape(from, to) || TwoAxesShape(from, to);
}

}  // namespace

// When shrinking, blocks of k x k' pixels averaged first (k and k' the whole parts of the shrink
// factors; OpenCV's fast area filter), then bilinear to the exact size, so no step shrinks by 2
// or more without averaging; growing, bilinear.
HRESULT ResampleGeneral(const Surface& from, const Surface& to) {
  if (from.Empty() || to.Empty()) return E_INVALIDARG;
  PoolBuffer keep;
  Surface upright;
  if (!Upright(from, &keep, &upright)) return E_FAIL;
  try {
    cv::Mat source = MatOf(upright);
    cv::Mat target = MatOf(to);
    const int blockX = std::max(1, static_cast<int>(from.width / to.width));
    const int blockY = std::max(1, static_cast<int>(from.height / to.height));
    PoolBuffer buffer;
    if (blockX > 1 || blockY > 1) {
      // Given a factor and no size, OpenCV keeps to its fast path (averaging a partial last
      // block over the pixels it has) and takes this size, computed as it computes it.
      const double fx = 1.0 / blockX, fy = 1.0 / blockY;
      const cv::Size averaged(cvRound(source.cols * fx), cvRound(source.rows * fy));
      cv::Mat between = target;
      if (averaged != target.size()) {
        const std::size_t stride =
            Picture::StrideFor(static_cast<std::size_t>(averaged.width) * from.Channels());
        buffer = PoolBuffer(stride * static_cast<std::size_t>(averaged.height));
        if (!buffer) return E_FAIL;
        between = cv::Mat(averaged, source.type(), buffer.data(), stride);
      }
      cv::resize(source, between, cv::Size(), fx, fy, cv::INTER_AREA);
      if (between.data != (buffer ? buffer.data() : to.first)) return E_FAIL;
      source = between;
    }
    if (source.data != target.data)
      cv::resize(source, target, target.size(), 0, 0, cv::INTER_LINEAR);
    // The result must have been written in place, never into memory OpenCV allocated.
    if (target.data != to.first) return E_FAIL;
  } catch (...) {
    return E_FAIL;  // OpenCV refused, or there was no memory for its work
  }
  return S_OK;
}

HRESULT PictureTransform::Resize(ICIF* source, ICIF** out, unsigned width, unsigned height,
                                 int /*reserved1*/, int /*reserved2*/) {
  if (out == nullptr) return E_INVALIDARG;
  *out = nullptr;
  Surface from;
  if (HRESULT hr = ReadSurface(source, &from); Failed(hr)) return hr;
  HRESULT hr = S_OK;
  ComPtr<Picture> result = Picture::NewSized(width, height, from.bits, from.format, &hr);
  if (!result) return hr;
  hr = ResizeSurface(from, result->surface());
  if (Failed(hr)) return hr;
  *out = result.Detach()->AsICIF();
  return S_OK;
}

HRESULT PictureTransform::ResizeInto(ICIF* source, ICIF* destination) {
  Surface from, to;
  if (HRESULT hr = ReadSurface(source, &from); Failed(hr)) return hr;
  if (HRESULT hr = ReadSurface(destination, &to); Failed(hr)) return hr;
  if (to.Empty()) return S_OK;
  // Straight into the destination's rows when they can take the resampler's output as it is and
  // a failure would leave them untouched; otherwise into a pooled picture of the source's depth,
  // converted row by row as Paste does.
  const bool direct =
      from.bits == to.bits && to.stride > 0 && !Overlaps(from, to) && TakesMemoryFirst(from, to);
  PoolBuffer buffer;
  Surface resized = to;
  if (!direct) {
    resized.bits = from.bits;
    resized.format = from.format;
    resized.stride = static_cast<std::ptrdiff_t>(Picture::StrideFor(resized.RowBytes()));
    buffer = PoolBuffer(static_cast<std::size_t>(resized.stride) * resized.height);
    if (!buffer) return E_FAIL;
    resized.first = buffer.data();
  }
  if (HRESULT hr = ResizeSurface(from, resized); Failed(hr)) return hr;
  try {
    const RowConverter convert = ConverterFor(resized.bits, to.bits);
    const CoverageTarget coverage = CoverageOf(destination);
    for (unsigned y = 0; y < to.height; ++y) {
      if (!direct) convert(resized.Row(y), to.Row(y), to.width);
      if (coverage) coverage.Add(y, 0, static_cast<int>(to.width));
    }
  } catch (...) {
    return E_FAIL;  // no memory for the record of drawn pixels
  }
  return S_OK;
}

namespace {

// Destination columns of one row whose pixel centres the inverse transform g takes inside the
// source's area [0, width) x [0, height): at most two runs, one on each side of the line where
// g's denominator changes sign. Pixel (u, v) has its centre at (u + 0.5, v + 0.5).
class RowCoverage {
 public:
  RowCoverage(const Matrix3& g, double width, double height, int columns)
      : g_(g), width_(width), height_(height), columns_(columns) {}

  // Writes runs [begin, end) into runs and returns their number.
  int Runs(int v, int (*runs)[2]) const {
    const double yc = v + 0.5;
    const Line line{g_[0], g_[1] * yc + g_[2], g_[3], g_[4] * yc + g_[5],
                    g_[6], g_[7] * yc + g_[8]};
    const double first = 0.5, last = columns_ - 0.5;
    int count = 0;
    auto piece = [&](double from, double to, double sign) {
      if (from > to) return;
      int begin = 0, end = 0;
      if (Piece(line, from, to, sign, &begin, &end)) {
        runs[count][0] = begin;
        runs[count][1] = end;
        ++count;
      }
    };
    if (line.aw == 0) {
      if (line.bw != 0) piece(first, last, line.bw > 0 ? 1 : -1);
    } else {
      const double zero = -line.bw / line.aw;
      const double before = line.aw > 0 ? -1 : 1;
      piece(first, std::min(last, zero), before);
      piece(std::max(first, zero), last, -before);
    }
    if (count == 2 && runs[0][1] >= runs[1][0]) {
      runs[0][1] = std::max(runs[0][1], runs[1][1]);
      count = 1;
    }
    return count;
  }

 private:
  // Numerators and denominator along the row as functions of t = u + 0.5: a t + b.
  struct Line {
    double ax, bx, ay, by, aw, bw;
  };

  bool Inside(const Line& l, int u) const {
    const double t = u + 0.5;
    const double w = l.aw * t + l.bw;
    if (w == 0) return false;
    const double x = (l.ax * t + l.bx) / w, y = (l.ay * t + l.by) / w;
    return x >= 0 && x < width_ && y >= 0 && y < height_;
  }

  // The run within t in [from, to], where the denominator has the given sign. Solving the four
  // linear conditions gives the run up to rounding; the exact test then settles its ends.
  bool Piece(const Line& l, double from, double to, double sign, int* begin, int* end) const {
    double lo = from, hi = to;
    const double conditions[4][2] = {
        {sign * l.ax, sign * l.bx},
        {sign * (width_ * l.aw - l.ax), sign * (width_ * l.bw - l.bx)},
        {sign * l.ay, sign * l.by},
        {sign * (height_ * l.aw - l.ay), sign * (height_ * l.bw - l.by)},
    };
    for (const auto& c : conditions) {  // c[0] t + c[1] >= 0
      if (c[0] > 0) {
        lo = std::max(lo, -c[1] / c[0]);
      } else if (c[0] < 0) {
        hi = std::min(hi, -c[1] / c[0]);
      } else if (c[1] < 0) {
        return false;
      }
    }
    if (!(lo <= hi + 1)) return false;
    const double limit = columns_;
    int u0 = static_cast<int>(std::ceil(std::clamp(lo - 0.5, -1.0, limit)));
    int u1 = static_cast<int>(std::floor(std::clamp(hi - 0.5, -1.0, limit)));
    u0 = std::max(u0 - 1, 0);
    u1 = std::min(u1 + 1, columns_ - 1);
    while (u0 <= u1 && !Inside(l, u0)) ++u0;
    while (u1 >= u0 && !Inside(l, u1)) --u1;
    if (u0 > u1) return false;
    *begin = u0;
    *end = u1 + 1;
    return true;
  }

  Matrix3 g_;
  double width_, height_;
  int columns_;
};

}  // namespace

HRESULT PictureTransform::Warp(ITransform* transform, ICIF* source, ICIF* destination, double ox,
                               double oy, double sx, double sy) {
  if (transform == nullptr || source == nullptr || destination == nullptr) return E_INVALIDARG;
  for (double v : {ox, oy, sx, sy})
    if (!std::isfinite(v)) return E_INVALIDARG;
  Matrix3 m;
  if (HRESULT hr = transform->GetMatrix(m.data()); Failed(hr)) return hr;
  Surface from, to;
  if (HRESULT hr = ReadSurface(source, &from); Failed(hr)) return hr;
  if (HRESULT hr = ReadSurface(destination, &to); Failed(hr)) return hr;
  if (from.Empty() || to.Empty()) return S_OK;
  if (from.width > kMaxRemapSide || from.height > kMaxRemapSide) return E_INVALIDARG;

  try {
    // Source to destination: the transform, then the scale, then the offset.
    const Matrix3 forward = Multiply(Matrix3{sx, 0, ox, 0, sy, oy, 0, 0, 1}, m);
    Matrix3 g;
    if (!Invert(forward, &g)) return S_OK;  // collapsed: nothing to draw

    // The drawn runs of every destination row, and their bounding box.
    const RowCoverage rows(g, from.width, from.height, static_cast<int>(to.width));
    std::vector<std::array<int, 4>> runs(to.height);
    std::vector<int> counts(to.height);
    int left = INT_MAX, right = INT_MIN, top = INT_MAX, bottom = INT_MIN;
    for (unsigned v = 0; v < to.height; ++v) {
      int r[2][2];
      const int n = rows.Runs(static_cast<int>(v), r);
      counts[v] = n;
      for (int i = 0; i < n; ++i) {
        runs[v][2 * i] = r[i][0];
        runs[v][2 * i + 1] = r[i][1];
        left = std::min(left, r[i][0]);
        right = std::max(right, r[i][1]);
        top = std::min(top, static_cast<int>(v));
        bottom = static_cast<int>(v) + 1;
      }
    }
    if (left >= right) return S_OK;
    const int boxWidth = right - left, boxHeight = bottom - top;
    if (static_cast<unsigned>(boxWidth) > kMaxRemapSide ||
        static_cast<unsigned>(boxHeight) > kMaxRemapSide)
      return E_INVALIDARG;

    // Resample the box in the source's depth, then copy the runs (converting if needed).
    PoolBuffer keep;
    Surface upright;
    if (!Upright(from, &keep, &upright)) return E_FAIL;
    const int channels = from.Channels();
    const std::size_t boxStride = Picture::StrideFor(static_cast<std::size_t>(boxWidth) * channels);
    PoolBuffer boxBuffer(boxStride * static_cast<std::size_t>(boxHeight));
    if (!boxBuffer) return E_FAIL;
    cv::Mat box(boxHeight, boxWidth, CV_8UC(channels), boxBuffer.data(), boxStride);
    // Box pixel (i, j) -> destination centre (left + i + 0.5, top + j + 0.5) -> g -> source pixel
    // index (x - 0.5, y - 0.5).
    const Matrix3 toIndex =
        Multiply(Matrix3{1, 0, -0.5, 0, 1, -0.5, 0, 0, 1},
                 Multiply(g, Matrix3{1, 0, left + 0.5, 0, 1, top + 0.5, 0, 0, 1}));
    // An affine map (translations, turns, scales: a last row of exact zeros and a scale) takes
    // OpenCV's cheaper affine warp.
    if (toIndex[6] == 0 && toIndex[7] == 0 && toIndex[8] != 0) {
      double rows[6];
      for (int i = 0; i < 6; ++i) rows[i] = toIndex[static_cast<std::size_t>(i)] / toIndex[8];
      cv::warpAffine(MatOf(upright), box, cv::Mat(2, 3, CV_64F, rows), box.size(),
                     cv::INTER_LINEAR | cv::WARP_INVERSE_MAP, cv::BORDER_REPLICATE);
    } else {
      cv::warpPerspective(MatOf(upright), box,
                          cv::Mat(3, 3, CV_64F, const_cast<double*>(toIndex.data())), box.size(),
                          cv::INTER_LINEAR | cv::WARP_INVERSE_MAP, cv::BORDER_REPLICATE);
    }
    if (box.data != boxBuffer.data()) return E_FAIL;
    const RowConverter convert = ConverterFor(from.bits, to.bits);
    const CoverageTarget coverage = CoverageOf(destination);
    const std::size_t toBytes = static_cast<std::size_t>(to.Channels());
    for (int v = top; v < bottom; ++v) {
      const unsigned char* in = box.ptr<unsigned char>(v - top);
      unsigned char* out = to.Row(static_cast<unsigned>(v));
      for (int i = 0; i < counts[static_cast<std::size_t>(v)]; ++i) {
        const int b = runs[static_cast<std::size_t>(v)][2 * i];
        const int e = runs[static_cast<std::size_t>(v)][2 * i + 1];
        convert(in + static_cast<std::size_t>(b - left) * channels, out + b * toBytes,
                static_cast<std::size_t>(e - b));
        if (coverage) coverage.Add(static_cast<unsigned>(v), b, e);
      }
    }
    return S_OK;
  } catch (...) {
    return E_FAIL;  // OpenCV refused, or there was no memory for the runs or the record
  }
}

HRESULT PictureTransform::Finish(ICIF* picture) {
  if (picture == nullptr) return E_INVALIDARG;
  // The picture is complete: the record of drawn pixels is no longer needed.
  int x = 0, y = 0;
  Picture* owner = OwnerOf(picture, &x, &y);
  if (owner != nullptr && SameObject(owner->AsICIF(), picture)) owner->DropCoverage();
  return S_OK;
}

}  // namespace host::imaging
