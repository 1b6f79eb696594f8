#include "host/imaging/Maths.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "host/imaging/BufferPool.h"
#include "host/imaging/Picture.h"

namespace host::imaging {

namespace {

bool ZeroPixel(const unsigned char* p, int channels) {
  unsigned bits = p[0];
  for (int c = 1; c < channels; ++c) bits |= p[c];
  return bits == 0;
}

// Runs of destination pixels that a mask selects (see Maths.h).
class MaskRuns {
 public:
  HRESULT Init(ICIF* destination, const Surface& dest, ICIF* mask) {
    dest_ = dest;
    if (mask == nullptr) {
      kind_ = Kind::kAll;
    } else if (SameObject(destination, mask)) {
      coverage_ = CoverageOf(destination);
      kind_ = coverage_ ? Kind::kUndrawn : Kind::kZeroPixels;
    } else {
      kind_ = Kind::kMaskPicture;
      return ReadSurface(mask, &mask_);
    }
    return S_OK;
  }

  // Whether the runs come from the destination's own coverage record (which must then not be
  // changed while they are being visited).
  bool FromCoverage() const { return kind_ == Kind::kUndrawn; }

  // Calls run(b, e) for each maximal run [b, e) of selected pixels within [begin, end) of row y.
  template <class F>
  void ForEach(unsigned y, int begin, int end, F&& run) const {
    switch (kind_) {
      case Kind::kAll:
        run(begin, end);
        return;
      case Kind::kUndrawn:
        coverage_.coverage->ForEachGap(
            y + static_cast<unsigned>(coverage_.y), begin + coverage_.x, end + coverage_.x,
            [&](int b, int e) { run(b - coverage_.x, e - coverage_.x); });
        return;
      case Kind::kZeroPixels:
        Scan(dest_, y, begin, end, true, run);
        return;
      case Kind::kMaskPicture:
        if (y >= mask_.height) return;
        Scan(mask_, y, begin, std::min<int>(end, static_cast<int>(mask_.width)), false, run);
        return;
    }
  }

 private:
  enum class Kind { kAll, kUndrawn, kZeroPixels, kMaskPicture };

  // Runs of pixels of row y of s that are all-zero (wantZero) or not.
  template <class F>
  static void Scan(const Surface& s, unsigned y, int begin, int end, bool wantZero, F&& run) {
    const int channels = s.Channels();
    const unsigned char* row = s.Row(y);
    int x = begin;
    while (x < end) {
      while (x < end && ZeroPixel(row + x * channels, channels) != wantZero) ++x;
      const int start = x;
      while (x < end && ZeroPixel(row + x * channels, channels) == wantZero) ++x;
      if (x > start) run(start, x);
    }
  }

  Kind kind_ = Kind::kAll;
  Surface dest_, mask_;
  CoverageTarget coverage_;
};

}  // namespace

HRESULT PictureMaths::Clear(ICIF* picture, ICIF* mask, int /*reserved*/) {
  Surface s;
  if (HRESULT hr = ReadSurface(picture, &s); Failed(hr)) return hr;
  int ox = 0, oy = 0;
  Picture* owner = OwnerOf(picture, &ox, &oy);
  const CoverageTarget coverage = CoverageOf(picture);
  try {
    if (mask == nullptr) {
      if (owner != nullptr && SameObject(owner->AsICIF(), picture)) {
        // The whole buffer, stride padding included, in one pass, with a new record of drawing.
        owner->StartCoverage();
        if (!s.Empty()) std::memset(s.first, 0, static_cast<std::size_t>(s.stride) * s.height);
        return S_OK;
      }
      for (unsigned y = 0; y < s.height; ++y) {
        std::memset(s.Row(y), 0, s.RowBytes());
        if (coverage) coverage.Remove(y, 0, static_cast<int>(s.width));
      }
      return S_OK;
    }
    MaskRuns runs;
    if (HRESULT hr = runs.Init(picture, s, mask); Failed(hr)) return hr;
    const std::size_t pixelBytes = static_cast<std::size_t>(s.Channels());
    for (unsigned y = 0; y < s.height; ++y) {
      unsigned char* row = s.Row(y);
      runs.ForEach(y, 0, static_cast<int>(s.width), [&](int b, int e) {
        std::memset(row + b * pixelBytes, 0, static_cast<std::size_t>(e - b) * pixelBytes);
        // Runs of not-drawn pixels need no removal from the record they come from.
        if (coverage && !runs.FromCoverage()) coverage.Remove(y, b, e);
      });
    }
    return S_OK;
  } catch (...) {
    return E_FAIL;  // no memory for the record of drawn pixels
  }
}

HRESULT PictureMaths::Paste(ICIF* destination, ICIF* source, ICIF* mask, int x, int y) {
  Surface to, from;
  if (HRESULT hr = ReadSurface(destination, &to); Failed(hr)) return hr;
  if (HRESULT hr = ReadSurface(source, &from); Failed(hr)) return hr;
  const RowConverter convert = ConverterFor(from.bits, to.bits);
  MaskRuns runs;
  if (HRESULT hr = runs.Init(destination, to, mask); Failed(hr)) return hr;

  const std::int64_t left = std::max<std::int64_t>(x, 0);
  const std::int64_t right = std::min<std::int64_t>(std::int64_t{x} + from.width, to.width);
  const std::int64_t top = std::max<std::int64_t>(y, 0);
  const std::int64_t bottom = std::min<std::int64_t>(std::int64_t{y} + from.height, to.height);
  if (left >= right || top >= bottom) return S_OK;

  // A source sharing memory with the destination is copied first, so rows are not overwritten
  // before they are read.
  PoolBuffer copy;
  if (Overlaps(from, to)) {
    const std::size_t stride = Picture::StrideFor(from.RowBytes());
    copy = PoolBuffer(stride * from.height);
    if (!copy) return E_FAIL;
    Surface moved = from;
    moved.first = copy.data();
    moved.stride = static_cast<std::ptrdiff_t>(stride);
    for (unsigned row = 0; row < from.height; ++row)
      std::memcpy(moved.Row(row), from.Row(row), from.RowBytes());
    from = moved;
  }

  try {
    const CoverageTarget coverage = CoverageOf(destination);
    const std::size_t fromBytes = static_cast<std::size_t>(from.Channels());
    const std::size_t toBytes = static_cast<std::size_t>(to.Channels());
    for (auto row = static_cast<unsigned>(top); row < bottom; ++row) {
      const unsigned char* in = from.Row(static_cast<unsigned>(row - y));
      unsigned char* out = to.Row(row);
      runs.ForEach(row, static_cast<int>(left), static_cast<int>(right), [&](int b, int e) {
        convert(in + static_cast<std::size_t>(b - x) * fromBytes, out + b * toBytes,
                static_cast<std::size_t>(e - b));
        if (coverage && !runs.FromCoverage()) coverage.Add(row, b, e);
      });
      // With the record as mask, every gap of [left, right) was filled: the span is now drawn.
      if (coverage && runs.FromCoverage())
        coverage.Add(row, static_cast<int>(left), static_cast<int>(right));
    }
    return S_OK;
  } catch (...) {
    return E_FAIL;  // no memory for the record of drawn pixels
  }
}

HRESULT PictureMaths::Copy(ICIF** out, ICIF* source, int /*reserved1*/, int /*reserved2*/) {
  if (out == nullptr) return E_INVALIDARG;
  *out = nullptr;
  ComPtr<Picture> copy = Picture::New();
  if (!copy) return E_FAIL;
  if (HRESULT hr = copy->CopyFrom(source, 0); Failed(hr)) return hr;
  *out = copy.Detach()->AsICIF();
  return S_OK;
}

}  // namespace host::imaging
