#include "host/imaging/Picture.h"

#include <climits>
#include <cstring>
#include <new>

#include "host/imaging/BufferPool.h"

namespace host::imaging {

namespace {
// Largest picture buffer accepted: a 16384 x 16384 picture of 32 bits, beyond any frame kelo
// reads or writes; a request past it (a twirl's square of a 100000-pixel-wide frame asked for
// 30 GB) is refused before any memory is taken.
constexpr std::size_t kMaxPictureBytes = std::size_t{1} << 30;
}  // namespace

ComPtr<Picture> Picture::New() {
  return ComPtr<Picture>::Adopt(new (std::nothrow) Picture());
}

ComPtr<Picture> Picture::NewSized(unsigned width, unsigned height, int bits, int format,
                                  HRESULT* hr) {
  ComPtr<Picture> picture = New();
  *hr = picture ? picture->Create(width, height, 1, bits, format) : E_FAIL;
  if (Failed(*hr)) picture.Reset();
  return picture;
}

Picture::~Picture() {
  BufferPool::Shared().Give(surface_.first, bytes_);
}

HRESULT Picture::GetSize(unsigned* width, unsigned* height, unsigned* planes) {
  if (width) *width = surface_.width;
  if (height) *height = surface_.height;
  if (planes) *planes = planes_;
  return S_OK;
}

HRESULT Picture::GetFormat(int* bitsPerPixel, int* formatCode, int* formatC) {
  if (bitsPerPixel) *bitsPerPixel = surface_.bits;
  if (formatCode) *formatCode = surface_.format;
  if (formatC) *formatC = 0;
  return S_OK;
}

HRESULT Picture::GetPlaneLines(unsigned plane, int* planeInfo, unsigned char** first, int* stride) {
  if (plane != 0 || planes_ == 0) return E_INVALIDARG;
  if (planeInfo) *planeInfo = static_cast<int>(surface_.RowBytes());
  if (first) *first = surface_.first;
  if (stride) *stride = static_cast<int>(surface_.stride);
  return S_OK;
}

HRESULT Picture::Allocate(unsigned width, unsigned height, int bits, int format) {
  if (!SupportedBits(bits)) return E_INVALIDARG;
  const std::size_t rowBytes = std::size_t{width} * static_cast<unsigned>(bits / 8);
  const std::size_t stride = StrideFor(rowBytes);
  if (stride > static_cast<std::size_t>(INT_MAX) ||
      (height != 0 && stride > kMaxPictureBytes / height))
    return E_INVALIDARG;
  const std::size_t bytes = width == 0 || height == 0 ? 0 : stride * height;
  unsigned char* buffer = surface_.first;
  if (bytes != bytes_) {
    buffer = nullptr;
    if (bytes != 0) {
      buffer = static_cast<unsigned char*>(BufferPool::Shared().Take(bytes));
      if (buffer == nullptr) return E_FAIL;
    }
    BufferPool::Shared().Give(surface_.first, bytes_);
    bytes_ = bytes;
  }
  surface_ = Surface{width, height, bits, format, buffer, static_cast<std::ptrdiff_t>(stride)};
  planes_ = 1;
  coverage_.reset();
  return S_OK;
}

HRESULT Picture::Create(unsigned width, unsigned height, unsigned planes, int bitsPerPixel,
                        int format) {
  if (planes != 1) return E_INVALIDARG;
  return Allocate(width, height, bitsPerPixel, format);
}

HRESULT Picture::Fill(unsigned char value) {
  if (planes_ == 0) return E_FAIL;
  if (bytes_ != 0) std::memset(surface_.first, value, bytes_);
  coverage_.reset();
  return S_OK;
}

HRESULT Picture::CopyFrom(ICIF* source, int /*reserved*/) {
  if (source == nullptr) return E_INVALIDARG;
  Surface from;
  if (HRESULT hr = ReadSurface(source, &from); Failed(hr)) return hr;
  // Copy into a fresh buffer when the source's rows live in ours (itself, or a view of it).
  const bool aliased = Overlaps(from, surface_);
  if (aliased) {
    const ComPtr<Picture> copy = New();
    if (!copy) return E_FAIL;
    const HRESULT hr = copy->CopyFrom(source, 0);
    if (Succeeded(hr)) {
      std::swap(surface_, copy->surface_);
      std::swap(bytes_, copy->bytes_);
      std::swap(planes_, copy->planes_);
      coverage_.reset();
    }
    return hr;
  }
  if (HRESULT hr = Allocate(from.width, from.height, from.bits, from.format); Failed(hr)) return hr;
  if (surface_.Empty()) return S_OK;
  const std::size_t rowBytes = from.RowBytes();
  if (from.stride == surface_.stride) {
    std::memcpy(surface_.first, from.first,
                static_cast<std::size_t>(from.stride) * (from.height - 1) + rowBytes);
  } else {
    for (unsigned y = 0; y < from.height; ++y) std::memcpy(surface_.Row(y), from.Row(y), rowBytes);
  }
  return S_OK;
}

void Picture::StartCoverage() {
  coverage_.reset();  // when the new record cannot be made, there is none rather than a stale one
  coverage_ = std::make_unique<Coverage>(surface_.height);
}

Picture* Picture::Owner(int* x, int* y) {
  *x = *y = 0;
  return this;
}

CoverageTarget CoverageOf(ICIF* picture) {
  CoverageTarget target;
  Picture* owner = OwnerOf(picture, &target.x, &target.y);
  if (owner != nullptr) target.coverage = owner->coverage();
  return target;
}

bool SameObject(IUnknown* a, IUnknown* b) {
  if (a == nullptr || b == nullptr) return false;
  if (a == b) return true;
  ComPtr<IUnknown> ua, ub;
  a->QueryInterface(kIID_IUnknown, ua.PutVoid());
  b->QueryInterface(kIID_IUnknown, ub.PutVoid());
  return ua && ua.Get() == ub.Get();
}

}  // namespace host::imaging
