#include "host/imaging/Geometry.h"

#include <algorithm>
#include <cmath>
#include <opencv2/core.hpp>

namespace host::imaging {

Matrix3 Multiply(const Matrix3& a, const Matrix3& b) {
  Matrix3 r{};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      r[i * 3 + j] = a[i * 3] * b[j] + a[i * 3 + 1] * b[3 + j] + a[i * 3 + 2] * b[6 + j];
  return r;
}

bool Invert(const Matrix3& m, Matrix3* inverse) {
  for (double v : m)
    if (!std::isfinite(v)) return false;
  const double c00 = m[4] * m[8] - m[5] * m[7];
  const double c01 = m[5] * m[6] - m[3] * m[8];
  const double c02 = m[3] * m[7] - m[4] * m[6];
  const double det = m[0] * c00 + m[1] * c01 + m[2] * c02;
  double columns = 1;
  for (int j = 0; j < 3; ++j) columns *= std::hypot(m[j], m[3 + j], m[6 + j]);
  // Hadamard: |det| <= product of column lengths; a tiny ratio means a collapsed transform.
  if (!(std::abs(det) > 1e-12 * columns)) return false;
  const double k = 1.0 / det;
  *inverse = {c00 * k, (m[2] * m[7] - m[1] * m[8]) * k, (m[1] * m[5] - m[2] * m[4]) * k,
              c01 * k, (m[0] * m[8] - m[2] * m[6]) * k, (m[2] * m[3] - m[0] * m[5]) * k,
              c02 * k, (m[1] * m[6] - m[0] * m[7]) * k, (m[0] * m[4] - m[1] * m[3]) * k};
  return true;
}

namespace {

using Point = std::array<double, 2>;

// Moves points to their centroid and scales them to a mean distance of sqrt(2) from it, which
// keeps the least-squares system well conditioned; returns that similarity.
Matrix3 Normalizer(const std::vector<Point>& points) {
  double cx = 0, cy = 0;
  for (const Point& p : points) cx += p[0], cy += p[1];
  cx /= static_cast<double>(points.size());
  cy /= static_cast<double>(points.size());
  double mean = 0;
  for (const Point& p : points) mean += std::hypot(p[0] - cx, p[1] - cy);
  mean /= static_cast<double>(points.size());
  const double s = mean > 0 ? std::sqrt(2.0) / mean : 1.0;
  return {s, 0, -s * cx, 0, s, -s * cy, 0, 0, 1};
}

Point Apply(const Matrix3& m, const Point& p) {
  return {m[0] * p[0] + m[1] * p[1] + m[2], m[3] * p[0] + m[4] * p[1] + m[5]};
}

// Scales a fitted matrix so that its last entry is 1 where that entry is not (nearly) zero.
Matrix3 Tidy(Matrix3 m) {
  double largest = 0;
  for (double v : m) largest = std::max(largest, std::abs(v));
  const double scale = std::abs(m[8]) > 1e-12 * largest ? m[8] : largest;
  if (scale != 0)
    for (double& v : m) v /= scale;
  return m;
}

// Least squares for the affine map (x' = a x + b y + c, y' = d x + e y + f) in normalised
// coordinates; exact for three points in general position.
Matrix3 FitAffine(const std::vector<Point>& p, const std::vector<Point>& q) {
  cv::Mat a(static_cast<int>(p.size()), 3, CV_64F), bx(static_cast<int>(p.size()), 1, CV_64F),
      by(static_cast<int>(p.size()), 1, CV_64F);
  for (int i = 0; i < static_cast<int>(p.size()); ++i) {
    a.at<double>(i, 0) = p[i][0];
    a.at<double>(i, 1) = p[i][1];
    a.at<double>(i, 2) = 1;
    bx.at<double>(i) = q[i][0];
    by.at<double>(i) = q[i][1];
  }
  cv::Mat rx, ry;
  cv::solve(a, bx, rx, cv::DECOMP_SVD);
  cv::solve(a, by, ry, cv::DECOMP_SVD);
  return {rx.at<double>(0),
          rx.at<double>(1),
          rx.at<double>(2),
          ry.at<double>(0),
          ry.at<double>(1),
          ry.at<double>(2),
          0,
          0,
          1};
}

// The direct linear fit: h minimises |A h| with |h| = 1, so transforms whose last entry is 0
// (including collapsed ones) are found too.
Matrix3 FitHomography(const std::vector<Point>& p, const std::vector<Point>& q) {
  const int n = static_cast<int>(p.size());
  cv::Mat a = cv::Mat::zeros(std::max(2 * n, 9), 9, CV_64F);
  for (int i = 0; i < n; ++i) {
    const double x = p[i][0], y = p[i][1], u = q[i][0], v = q[i][1];
    double* r0 = a.ptr<double>(2 * i);
    double* r1 = a.ptr<double>(2 * i + 1);
    r0[0] = -x, r0[1] = -y, r0[2] = -1, r0[6] = u * x, r0[7] = u * y, r0[8] = u;
    r1[3] = -x, r1[4] = -y, r1[5] = -1, r1[6] = v * x, r1[7] = v * y, r1[8] = v;
  }
  cv::Mat w, u, vt;
  cv::SVD::compute(a, w, u, vt, cv::SVD::FULL_UV);
  Matrix3 h;
  for (int i = 0; i < 9; ++i) h[static_cast<std::size_t>(i)] = vt.at<double>(8, i);
  return h;
}

}  // namespace

bool FitProjective(const std::vector<Point>& points, const std::vector<Point>& targets,
                   Matrix3* out) {
  for (const auto* set : {&points, &targets})
    for (const Point& p : *set)
      if (!std::isfinite(p[0]) || !std::isfinite(p[1])) return false;
  const std::size_t n = std::min(points.size(), targets.size());
  if (n == 0) {
    *out = kIdentity3;
    return true;
  }
  if (n == 1) {
    *out = {1, 0, targets[0][0] - points[0][0], 0, 1, targets[0][1] - points[0][1], 0, 0, 1};
    return true;
  }
  if (n == 2) {
    // z' = k z + t on complex numbers: rotation, uniform scale and translation.
    const double px = points[1][0] - points[0][0], py = points[1][1] - points[0][1];
    const double qx = targets[1][0] - targets[0][0], qy = targets[1][1] - targets[0][1];
    const double d = px * px + py * py;
    const double kr = d > 0 ? (qx * px + qy * py) / d : 1.0;
    const double ki = d > 0 ? (qy * px - qx * py) / d : 0.0;
    const double tx = targets[0][0] - (kr * points[0][0] - ki * points[0][1]);
    const double ty = targets[0][1] - (ki * points[0][0] + kr * points[0][1]);
    *out = {kr, -ki, tx, ki, kr, ty, 0, 0, 1};
    return true;
  }
  const Matrix3 np = Normalizer(points), nq = Normalizer(targets);
  std::vector<Point> p(n), q(n);
  for (std::size_t i = 0; i < n; ++i) {
    p[i] = Apply(np, points[i]);
    q[i] = Apply(nq, targets[i]);
  }
  const Matrix3 fitted = n == 3 ? FitAffine(p, q) : FitHomography(p, q);
  // Undo the normalisation: targets = nq^-1 * fitted * np * points.
  const double s = nq[0];
  const Matrix3 back{1 / s, 0, -nq[2] / s, 0, 1 / s, -nq[5] / s, 0, 0, 1};
  *out = Tidy(Multiply(back, Multiply(fitted, np)));
  return true;
}

HRESULT PointsCollection::GetCount(int* count) {
  if (count == nullptr) return E_INVALIDARG;
  *count = static_cast<int>(points_.size());
  return S_OK;
}

HRESULT PointsCollection::GetPoint(int index, double* x, double* y, double* z) {
  if (index < 0 || static_cast<std::size_t>(index) >= points_.size()) return E_INVALIDARG;
  const auto& p = points_[static_cast<std::size_t>(index)];
  if (x) *x = p[0];
  if (y) *y = p[1];
  if (z) *z = p[2];
  return S_OK;
}

HRESULT PointsCollection::RemoveAll() {
  points_.clear();
  return S_OK;
}

HRESULT PointsCollection::Add(double x, double y, double z) {
  try {
    points_.push_back({x, y, z});
  } catch (...) {
    return E_FAIL;  // out of memory
  }
  return S_OK;
}

HRESULT MatrixTransform::GetMatrixOf(double* m9) const {
  if (m9 == nullptr) return E_INVALIDARG;
  std::copy(matrix_.begin(), matrix_.end(), m9);
  return S_OK;
}

HRESULT MatrixTransform::MapThrough(double x, double y, double* outX, double* outY) const {
  const Matrix3& m = matrix_;
  const double w = m[6] * x + m[7] * y + m[8];
  if (w == 0 || !std::isfinite(w)) return E_FAIL;  // the point goes to infinity
  if (outX) *outX = (m[0] * x + m[1] * y + m[2]) / w;
  if (outY) *outY = (m[3] * x + m[4] * y + m[5]) / w;
  return S_OK;
}

HRESULT TransformBestFit::Fit(IPointsCollection* points, IPointsCollection* targets,
                              int /*option*/) {
  if (points == nullptr || targets == nullptr) return E_INVALIDARG;
  int n = 0, m = 0;
  if (Failed(points->GetCount(&n)) || Failed(targets->GetCount(&m)) || n != m || n < 0)
    return E_INVALIDARG;
  Matrix3 fitted;
  try {
    std::vector<Point> p(static_cast<std::size_t>(n)), q(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) {
      const auto k = static_cast<std::size_t>(i);
      if (Failed(points->GetPoint(i, &p[k][0], &p[k][1], nullptr)) ||
          Failed(targets->GetPoint(i, &q[k][0], &q[k][1], nullptr)))
        return E_INVALIDARG;
    }
    if (!FitProjective(p, q, &fitted)) return E_INVALIDARG;
  } catch (...) {
    return E_FAIL;  // OpenCV refused, or there was no memory for the fit
  }
  matrix_ = fitted;
  return S_OK;
}

HRESULT LinearTransform::Append(int code, int /*option*/, double a, double b, double /*c*/) {
  if (!std::isfinite(a) || !std::isfinite(b)) return E_INVALIDARG;
  Matrix3 step;
  switch (code) {
    case kLinearTranslate:
      step = {1, 0, a, 0, 1, b, 0, 0, 1};
      break;
    case kLinearScale:
      step = {a, 0, 0, 0, b, 0, 0, 0, 1};
      break;
    case kLinearRotate: {
      const double c = std::cos(a), s = std::sin(a);
      step = {c, -s, 0, s, c, 0, 0, 0, 1};
      break;
    }
    default:
      return E_INVALIDARG;
  }
  matrix_ = Multiply(step, matrix_);
  return S_OK;
}

}  // namespace host::imaging
