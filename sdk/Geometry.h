// Points, transforms and fitting.
#pragma once

#include "sdk/Com.h"

// A plane transform. It maps source picture coordinates to destination coordinates as the
// projective matrix m (row-major 3x3): (x', y', w') = m * (x, y, 1), destination = (x'/w', y'/w').
struct ITransform : IUnknown {
  static constexpr IID kIID = IIDFromName("ITransform");
  virtual HRESULT GetMatrix(double* m9) = 0;                                // 3
  virtual HRESULT Map(double x, double y, double* outX, double* outY) = 0;  // 4
  virtual HRESULT Reserved5() = 0;                                          // 5

 protected:
  ~ITransform() = default;
};

// Step codes of ILinearTransform::Append.
enum LinearStep : int { kLinearTranslate = 1, kLinearScale = 2, kLinearRotate = 3 };

// A transform built from steps applied in the order appended.
struct ILinearTransform : ITransform {
  using Base = ITransform;
  static constexpr IID kIID = IIDFromName("ILinearTransform");
  // code 1: translate by (a, b); code 2: scale by (a, b); code 3: rotate by a radians.
  virtual HRESULT Append(int code, int option, double a, double b, double c) = 0;  // 6

 protected:
  ~ILinearTransform() = default;
};

struct IPointsCollection : IUnknown {
  static constexpr IID kIID = IIDFromName("IPointsCollection");
  virtual HRESULT GetCount(int* count) = 0;                                  // 3
  virtual HRESULT GetPoint(int index, double* x, double* y, double* z) = 0;  // 4
  virtual HRESULT RemoveAll() = 0;                                           // 5
  virtual HRESULT Reserved6() = 0;                                           // 6
  virtual HRESULT Add(double x, double y, double z) = 0;                     // 7

 protected:
  ~IPointsCollection() = default;
};

// Fits the transform that best maps each point onto the target of the same index; the fitted
// object also answers ITransform.
struct ITransformBestFit : IUnknown {
  static constexpr IID kIID = IIDFromName("ITransformBestFit");
  virtual HRESULT Fit(IPointsCollection* points, IPointsCollection* targets, int option) = 0;  // 3

 protected:
  ~ITransformBestFit() = default;
};
