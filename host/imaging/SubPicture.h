// "CIFSubImage": a view of a rectangle of another picture, sharing its pixels.
#pragma once

#include "host/common/HostObject.h"
#include "host/imaging/Pixels.h"
#include "sdk/ComPtr.h"

namespace host::imaging {

// Holds a reference to its source. The rectangle is clipped to the source when created, and
// again against the source's current size on every access, so a source that is re-created
// smaller never exposes memory outside it. Planes are those of the source.
class SubPicture final : public HostObject<SubPicture, ICIFSubImage, IImagingPixels> {
 public:
  HRESULT GetSize(unsigned* width, unsigned* height, unsigned* planes) override;
  HRESULT GetFormat(int* bitsPerPixel, int* formatCode, int* formatC) override;
  HRESULT GetPlaneLines(unsigned plane, int* planeInfo, unsigned char** first,
                        int* stride) override;
  // A rectangle reaching past the source is clipped to it; negative sizes give an empty view.
  HRESULT Create(ICIF* source, int x, int y, int width, int height, int reserved1,
                 int reserved2) override;
  Picture* Owner(int* x, int* y) override;

  ICIF* Source() const { return source_.Get(); }

 private:
  struct Rect {
    unsigned x, y, width, height;
  };
  Rect Current() const;

  ComPtr<ICIF> source_;
  Rect rect_{0, 0, 0, 0};
};

}  // namespace host::imaging
