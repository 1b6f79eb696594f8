// A picture of a foreign module, as a host may hand one to an effect: any size and depth, rows
// in either order (a negative stride starts at the bottom row), and guard bytes before and after
// the rows and in the padding of each row, so that a write outside the picture is seen. Shared by
// the hostile-value test and the fuzz targets; no test framework here.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>
#include <vector>

#include "sdk/Imaging.h"

namespace testhost {

class GuardedPicture final : public ICIF {
 public:
  static constexpr unsigned char kGuard = 0xA5;
  static constexpr std::size_t kGuardBytes = 64;

  // `padding` bytes of guard end every row; `bottomUp` gives the picture a negative stride.
  // Pixel bytes are `seed` + their offset, so that they differ from one another.
  GuardedPicture(unsigned width, unsigned height, int bits, std::size_t padding, bool bottomUp,
                 unsigned char seed = 0)
      : width_(width), height_(height), bits_(bits) {
    const int format = bits == 8 ? kFormatMono : bits == 32 ? kFormatRGBA : kFormatRGB;
    format_ = format;
    rowBytes_ = std::size_t{width} * static_cast<unsigned>(bits / 8);
    step_ = rowBytes_ + padding;
    bytes_.assign(kGuardBytes * 2 + step_ * height, kGuard);
    for (unsigned y = 0; y < height; ++y)
      for (std::size_t x = 0; x < rowBytes_; ++x)
        Row(y, bottomUp)[x] = static_cast<unsigned char>(seed + y * 7 + x);
    bottomUp_ = bottomUp;
    pixels_ = Pixels();
  }

  // Whether every guard byte is as it was and every pixel as it was made.
  bool Intact() const {
    for (std::size_t i = 0; i < kGuardBytes; ++i)
      if (bytes_[i] != kGuard || bytes_[bytes_.size() - 1 - i] != kGuard) return false;
    for (unsigned y = 0; y < height_; ++y)
      for (std::size_t x = rowBytes_; x < step_; ++x)
        if (bytes_[kGuardBytes + y * step_ + x] != kGuard) return false;
    return Pixels() == pixels_;
  }

  HRESULT QueryInterface(const IID& iid, void** out) override {
    if (out == nullptr) return E_INVALIDARG;
    if (iid == kIID_IUnknown || iid == ICIF::kIID) {
      *out = static_cast<ICIF*>(this);
      AddRef();
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  std::uint32_t AddRef() override { return ++references_; }
  // The owner keeps the object: the count only tells whether references were given back.
  std::uint32_t Release() override { return --references_; }
  std::uint32_t References() const { return references_; }

  HRESULT GetSize(unsigned* width, unsigned* height, unsigned* planes) override {
    if (width != nullptr) *width = width_;
    if (height != nullptr) *height = height_;
    if (planes != nullptr) *planes = 1;
    return S_OK;
  }
  HRESULT GetFormat(int* bitsPerPixel, int* formatCode, int* formatC) override {
    if (bitsPerPixel != nullptr) *bitsPerPixel = bits_;
    if (formatCode != nullptr) *formatCode = format_;
    if (formatC != nullptr) *formatC = 0;
    return S_OK;
  }
  HRESULT GetPlaneLines(unsigned plane, int* planeInfo, unsigned char** first,
                        int* stride) override {
    if (plane != 0) return E_INVALIDARG;
    if (planeInfo != nullptr) *planeInfo = static_cast<int>(rowBytes_);
    if (first != nullptr) *first = Row(0, bottomUp_);
    if (stride != nullptr) *stride = bottomUp_ ? -static_cast<int>(step_) : static_cast<int>(step_);
    return S_OK;
  }

 private:
  unsigned char* Row(unsigned y, bool bottomUp) {
    const unsigned stored = bottomUp && height_ > 0 ? height_ - 1 - y : y;
    return bytes_.data() + kGuardBytes + std::size_t{stored} * step_;
  }
  std::vector<unsigned char> Pixels() const {
    std::vector<unsigned char> pixels;
    for (unsigned y = 0; y < height_; ++y) {
      const unsigned char* row = bytes_.data() + kGuardBytes + y * step_;
      pixels.insert(pixels.end(), row, row + rowBytes_);
    }
    return pixels;
  }

  unsigned width_, height_;
  int bits_, format_ = 0;
  std::size_t rowBytes_ = 0, step_ = 0;
  bool bottomUp_ = false;
  std::vector<unsigned char> bytes_;
  std::vector<unsigned char> pixels_;
  std::atomic<std::uint32_t> references_{1};
};

}  // namespace testhost
