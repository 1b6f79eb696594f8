#include "host/imaging/SubPicture.h"

#include <algorithm>
#include <cstdint>

namespace host::imaging {

namespace {

// Whether `candidate` is `view` or a picture that `view` is (indirectly) a view of.
bool InChainOf(ICIF* candidate, IImagingPixels* view) {
  // Views form chains through their sources; a cycle would never be released.
  for (int depth = 0; candidate != nullptr && depth < 1 << 16; ++depth) {
    ComPtr<IImagingPixels> own;
    if (Failed(candidate->QueryInterface(IImagingPixels::kIID, own.PutVoid())) || !own)
      return false;
    if (own.Get() == view) return true;
    // Only views of this module can lead further.
    ComPtr<ICIFSubImage> sub;
    if (Failed(candidate->QueryInterface(ICIFSubImage::kIID, sub.PutVoid())) || !sub) return false;
    candidate = static_cast<SubPicture*>(sub.Get())->Source();
  }
  return true;
}

}  // namespace

SubPicture::Rect SubPicture::Current() const {
  unsigned width = 0, height = 0, planes = 0;
  if (!source_ || Failed(source_->GetSize(&width, &height, &planes))) return {0, 0, 0, 0};
  Rect r = rect_;
  r.x = std::min(r.x, width);
  r.y = std::min(r.y, height);
  r.width = std::min(r.width, width - r.x);
  r.height = std::min(r.height, height - r.y);
  return r;
}

HRESULT SubPicture::GetSize(unsigned* width, unsigned* height, unsigned* planes) {
  const Rect r = Current();
  unsigned sourcePlanes = 0;
  if (source_) source_->GetSize(nullptr, nullptr, &sourcePlanes);
  if (width) *width = r.width;
  if (height) *height = r.height;
  if (planes) *planes = sourcePlanes;
  return S_OK;
}

HRESULT SubPicture::GetFormat(int* bitsPerPixel, int* formatCode, int* formatC) {
  if (!source_) return E_FAIL;
  return source_->GetFormat(bitsPerPixel, formatCode, formatC);
}

HRESULT SubPicture::GetPlaneLines(unsigned plane, int* planeInfo, unsigned char** first,
                                  int* stride) {
  if (!source_) return E_FAIL;
  int bits = 0, format = 0, formatC = 0, sourceInfo = 0, sourceStride = 0;
  unsigned char* sourceFirst = nullptr;
  if (HRESULT hr = source_->GetFormat(&bits, &format, &formatC); Failed(hr)) return hr;
  if (HRESULT hr = source_->GetPlaneLines(plane, &sourceInfo, &sourceFirst, &sourceStride);
      Failed(hr))
    return hr;
  const Rect r = Current();
  const std::size_t pixelBytes = static_cast<unsigned>(std::max(bits, 0) / 8);
  if (planeInfo) *planeInfo = static_cast<int>(r.width * pixelBytes);
  if (first) {
    *first = r.width == 0 || r.height == 0 || sourceFirst == nullptr
                 ? nullptr
                 : sourceFirst + static_cast<std::ptrdiff_t>(r.y) * sourceStride + r.x * pixelBytes;
  }
  if (stride) *stride = sourceStride;
  return S_OK;
}

HRESULT SubPicture::Create(ICIF* source, int x, int y, int width, int height, int /*reserved1*/,
                           int /*reserved2*/) {
  if (source == nullptr || InChainOf(source, this)) return E_INVALIDARG;
  unsigned sourceWidth = 0, sourceHeight = 0, planes = 0;
  if (HRESULT hr = source->GetSize(&sourceWidth, &sourceHeight, &planes); Failed(hr)) return hr;
  auto clip = [](std::int64_t at, std::int64_t size, std::int64_t limit, unsigned* begin,
                 unsigned* length) {
    const std::int64_t from = std::clamp<std::int64_t>(at, 0, limit);
    const std::int64_t to =
        std::clamp<std::int64_t>(at + std::max<std::int64_t>(size, 0), 0, limit);
    *begin = static_cast<unsigned>(from);
    *length = static_cast<unsigned>(std::max<std::int64_t>(to - from, 0));
  };
  Rect r{};
  clip(x, width, sourceWidth, &r.x, &r.width);
  clip(y, height, sourceHeight, &r.y, &r.height);
  source_ = ComPtr<ICIF>::Share(source);
  rect_ = r;
  return S_OK;
}

Picture* SubPicture::Owner(int* x, int* y) {
  *x = *y = 0;
  int sx = 0, sy = 0;
  Picture* owner = OwnerOf(source_.Get(), &sx, &sy);
  if (owner == nullptr) return nullptr;
  const Rect r = Current();
  *x = sx + static_cast<int>(r.x);
  *y = sy + static_cast<int>(r.y);
  return owner;
}

}  // namespace host::imaging
