// Points, plane transforms and fitting: "PointsCollection", "TransformBestFit",
// "LinearTransform".
#pragma once

#include <array>
#include <vector>

#include "host/common/HostObject.h"
#include "sdk/Geometry.h"

namespace host::imaging {

// A row-major 3 x 3 projective matrix acting on column vectors (x, y, 1).
using Matrix3 = std::array<double, 9>;
constexpr Matrix3 kIdentity3{1, 0, 0, 0, 1, 0, 0, 0, 1};
Matrix3 Multiply(const Matrix3& a, const Matrix3& b);  // a * b: b applies first
// The inverse; false when the matrix is not finite or (numerically) singular, judged by the
// determinant against the product of the column lengths, so the scale of the units does not
// matter.
bool Invert(const Matrix3& m, Matrix3* inverse);

// The projective transform that best maps each point onto its target (algebraic least squares;
// exact when the pairs are consistent with one). Fewer than four pairs fit a smaller family
// exactly: none the identity, one a translation, two a similarity, three an affine map.
// Returns false when a point is not finite.
bool FitProjective(const std::vector<std::array<double, 2>>& points,
                   const std::vector<std::array<double, 2>>& targets, Matrix3* out);

class PointsCollection final : public HostObject<PointsCollection, IPointsCollection> {
 public:
  HRESULT GetCount(int* count) override;
  HRESULT GetPoint(int index, double* x, double* y, double* z) override;
  HRESULT RemoveAll() override;
  HRESULT Reserved6() override { return E_NOTIMPL; }
  HRESULT Add(double x, double y, double z) override;

 private:
  std::vector<std::array<double, 3>> points_;
};

// Maps through a matrix; shared by the transform objects.
class MatrixTransform {
 public:
  HRESULT GetMatrixOf(double* m9) const;
  HRESULT MapThrough(double x, double y, double* outX, double* outY) const;

 protected:
  Matrix3 matrix_ = kIdentity3;
};

// Starts as the identity; Fit replaces the matrix (z coordinates are ignored). A failed Fit
// leaves the previous matrix.
class TransformBestFit final : public HostObject<TransformBestFit, ITransformBestFit, ITransform>,
                               private MatrixTransform {
 public:
  HRESULT Fit(IPointsCollection* points, IPointsCollection* targets, int option) override;
  HRESULT GetMatrix(double* m9) override { return GetMatrixOf(m9); }
  HRESULT Map(double x, double y, double* outX, double* outY) override {
    return MapThrough(x, y, outX, outY);
  }
  HRESULT Reserved5() override { return E_NOTIMPL; }
};

// Starts as the identity; each Append applies one more step after the previous ones.
class LinearTransform final : public HostObject<LinearTransform, ILinearTransform>,
                              private MatrixTransform {
 public:
  HRESULT GetMatrix(double* m9) override { return GetMatrixOf(m9); }
  HRESULT Map(double x, double y, double* outX, double* outY) override {
    return MapThrough(x, y, outX, outY);
  }
  HRESULT Reserved5() override { return E_NOTIMPL; }
  // Codes 1 translate by (a, b), 2 scale by (a, b), 3 rotate by a radians (from the x axis
  // towards the y axis); `option` and `c` are not used. Other codes or values that are not
  // finite: E_INVALIDARG.
  HRESULT Append(int code, int option, double a, double b, double c) override;
};

}  // namespace host::imaging
