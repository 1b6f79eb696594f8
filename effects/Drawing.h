// The host operations effects draw with: resizing, copying, clearing, pasting (whole pictures or
// regions of them), warping and finishing. Every operation hands out an owned picture and quietly
// does nothing when the host gave no component or no picture: effects check no host result.
#pragma once

#include <cstdint>

#include "frame/Com.h"
#include "sdk/ComPtr.h"

class Drawing {
 public:
  Drawing();  // makes a "CIFTransform" and a "CIFMaths" for this frame

  ComPtr<ICIF> Resize(ICIF* source, int width, int height) const;
  // Whether the host resamples into pictures that exist (ResizeInto can draw).
  bool ResizesInto() const { return static_cast<bool>(resizeInto_); }
  // Draws `source` resampled to the region (x, y, width, height) of `destination`, which must lie
  // inside it: the pixels Resize and Paste would give, with no picture in between. False when
  // nothing was drawn (the host cannot, or failed).
  bool ResizeInto(ICIF* destination, ICIF* source, int x, int y, int width, int height) const;
  // A new picture of `like`'s size and format whose pixels are unspecified; null on failure.
  ComPtr<ICIF> NewLike(ICIF* like) const;
  ComPtr<ICIF> Copy(ICIF* source) const;
  void Clear(ICIF* picture) const;
  // Clears the region (x, y, width, height) of `picture`, through a sub-picture.
  void ClearRegion(ICIF* picture, int x, int y, int width, int height) const;
  // With a mask, only where the host's mask selects; the destination itself as its mask draws
  // only where nothing was drawn since its Clear.
  void Paste(ICIF* destination, ICIF* source, int x, int y, ICIF* mask = nullptr) const;
  // Pastes the region (rx, ry, rw, rh) of `source` at (x, y), through a sub-picture.
  void PasteRegion(ICIF* destination, ICIF* source, int rx, int ry, int rw, int rh, int x,
                   int y) const;
  // The same through `region`, one sub-picture (from Region) redefined for every paste, for
  // effects that paste many regions a frame.
  ComPtr<ICIFSubImage> Region() const;
  void PasteRegion(ICIFSubImage* region, ICIF* destination, ICIF* source, int rx, int ry, int rw,
                   int rh, int x, int y) const;
  // Draws `source` into `destination` through `transform`, then offset by (x, y) (scale 1, 1);
  // pixels outside the warped picture stay as they are.
  void Warp(ITransform* transform, ICIF* source, ICIF* destination, double x = 0,
            double y = 0) const;
  // The closing call on a finished result.
  void Finish(ICIF* picture) const;

 private:
  ComPtr<ICIFTransform> transform_;
  ComPtr<IKeloResizeInto> resizeInto_;  // the same transform, when the host offers it
  ComPtr<ICIFMaths> maths_;
};

// Hands out one of the caller's own pictures (not a copy) with one added reference: the early
// returns of the effects at the ends of a transition.
inline HRESULT HandOut(ICIF* picture, ICIF** out) {
  picture->AddRef();
  *out = picture;
  return S_OK;
}

// A truncating conversion to 32 bits as the processor makes it: values that do not fit (and
// NaN) give INT32_MIN instead of undefined behaviour.
inline std::int32_t TruncInt(double value) {
  if (!(value > -2147483649.0 && value < 2147483648.0)) return INT32_MIN;
  return static_cast<std::int32_t>(value);
}

// a - b wrapped to 32 bits as the processor computes it: strip sizes of INT32_MIN (progress far
// outside 0..1) give the wrapped place instead of undefined behaviour.
inline std::int32_t WrappedSub(std::int32_t a, std::int32_t b) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}
