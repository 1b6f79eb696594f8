// The module's picture: one plane of 8, 24 or 32 bits per pixel in pooled, 64-byte aligned
// memory whose rows start on 64-byte boundaries.
#pragma once

#include <memory>

#include "host/common/HostObject.h"
#include "host/imaging/Coverage.h"
#include "host/imaging/Pixels.h"
#include "sdk/ComPtr.h"

namespace host::imaging {

// "CIFImageCANVAS", "CIFImage" and "CIFImageDIB". A new picture's pixels are unspecified until
// written: its memory may be a reused buffer, and is not cleared.
class Picture final
    : public HostObject<Picture, ICIFImageCANVAS, ICIFImage, ICIFImageDIB, IImagingPixels> {
 public:
  Picture() = default;

  // A new, empty picture, or empty when out of memory.
  static ComPtr<Picture> New();
  // A new picture of that size and depth; empty on failure (code in *hr).
  static ComPtr<Picture> NewSized(unsigned width, unsigned height, int bits, int format,
                                  HRESULT* hr);

  HRESULT GetSize(unsigned* width, unsigned* height, unsigned* planes) override;
  HRESULT GetFormat(int* bitsPerPixel, int* formatCode, int* formatC) override;
  HRESULT GetPlaneLines(unsigned plane, int* planeInfo, unsigned char** first,
                        int* stride) override;
  HRESULT Create(unsigned width, unsigned height, unsigned planes, int bitsPerPixel,
                 int format) override;
  HRESULT Reserved7() override { return E_NOTIMPL; }
  HRESULT Reserved8() override { return E_NOTIMPL; }
  HRESULT Fill(unsigned char value) override;
  HRESULT CopyFrom(ICIF* source, int reserved) override;
  Picture* Owner(int* x, int* y) override;

  const Surface& surface() const { return surface_; }

  // What was drawn since the last Clear; null when not tracked (never cleared, or the pixels
  // were replaced wholesale since: Create, Fill, CopyFrom, Deform, Finish).
  Coverage* coverage() const { return coverage_.get(); }
  // Starts tracking with nothing drawn (a Clear of the whole picture). Throws std::bad_alloc.
  void StartCoverage();
  void DropCoverage() { coverage_.reset(); }
  ICIF* AsICIF() { return static_cast<ICIFImageDIB*>(this); }

  // Row stride for a row of `rowBytes` bytes: the next multiple of 64.
  static std::size_t StrideFor(std::size_t rowBytes) { return (rowBytes + 63) & ~std::size_t{63}; }

 private:
  ~Picture() override;
  // Gives the picture a buffer for that size and depth (contents unspecified); on failure the
  // picture is left as it was.
  HRESULT Allocate(unsigned width, unsigned height, int bits, int format);

  Surface surface_;
  unsigned planes_ = 0;
  std::size_t bytes_ = 0;  // size of the pool buffer at surface_.first
  std::unique_ptr<Coverage> coverage_;
};

// The coverage record that drawing into `picture` (one of ours, or a view of one) updates, with
// the place of the picture's (0, 0) in its owner. Empty when the owner does not track coverage.
struct CoverageTarget {
  Coverage* coverage = nullptr;
  int x = 0, y = 0;

  explicit operator bool() const { return coverage != nullptr; }
  void Add(unsigned row, int begin, int end) const {
    coverage->Add(row + static_cast<unsigned>(y), begin + x, end + x);
  }
  void Remove(unsigned row, int begin, int end) const {
    coverage->Remove(row + static_cast<unsigned>(y), begin + x, end + x);
  }
};
CoverageTarget CoverageOf(ICIF* picture);

// Whether two interface pointers reach the same object.
bool SameObject(IUnknown* a, IUnknown* b);

}  // namespace host::imaging
