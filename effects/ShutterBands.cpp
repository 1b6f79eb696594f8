#include "effects/ShutterBands.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "effects/Bands.h"
#include "effects/Mask.h"

// Randomize draws Direction (0 or 1), Bands (2 to 9) and Style (0 to 3), in this order, and sets
// them through Control: IShutter's setters would store these values unchanged.
const EffectDeclaration<CShutterBands> CShutterBands::kDeclaration{
    .properties = {{
        DirectionProperty(&CShutterBands::direction_, 2),
        // Appended without text or range; only put_Bands clamps it.
        {.id = kBands,
         .integer = &CShutterBands::bands_,
         .flags = kPropInt32,
         .initial = 3,
         .random = {.count = 8, .base = 2}},
        {.id = kStyle,
         .integer = &CShutterBands::style_,
         .flags = kPropChoice | kPropInt32,
         .textId = 41,
         .random = {.count = 4}},
    }},
    .texts = L"ShutterBandsTransition",
};

unsigned char* PaintHorizonal(int line, int length, unsigned char value, unsigned char* bits,
                              int stride) {
  // Deliberately bits + line, not the row's start, when nothing is written.
  if (length < 1) return bits + line;
  unsigned char* row = bits + line * stride;  // a 32-bit product: masks stay below 2^31 bytes
  std::memset(row, value, static_cast<std::size_t>(length));
  return row + length;
}

unsigned char* PaintVertical(int line, int length, unsigned char value, unsigned char* bits,
                             int stride) {
  if (length < 1) return bits + line;
  unsigned char* at = bits + line;
  for (int i = 1; i < length; ++i, at += stride) *at = value;
  *at = value;
  return at + 1;
}

namespace {

// The lines painted in every band: `count` lines from `start`, counted from the band's first
// line, and the `edge` outermost lines at each end of the picture.
struct BandLines {
  std::int64_t start = 0, count = 0, edge = 0;
};

// While at most half of each band of B lines is open: its k open lines.
BandLines OpenLines(int style, std::int64_t B, std::int64_t k) {
  switch (style) {
    case CShutterBands::kAtEnd:
      return {B - k, k, 0};
    case CShutterBands::kAtBorders:  // across each inner border, and the halves at the outer edges
      return {(2 * B - k) / 2, k, k / 2};
    case CShutterBands::kAtMiddle:
      return {(B - k) / 2, k, 0};
    default:  // kAtStart, and any other style
      return {0, k, 0};
  }
}

// Once more than half of each band is open: its B - k lines still closed.
BandLines ClosedLines(int style, std::int64_t B, std::int64_t k) {
  switch (style) {
    case CShutterBands::kAtStart:
      return {k, B - k, 0};
    case CShutterBands::kAtBorders:
      return {k / 2, B - k, 0};
    case CShutterBands::kAtMiddle:  // across each inner border, and the halves at the outer edges
      return {(B + k) / 2, B - k, (B - k) / 2};
    default:  // kAtEnd, and any other style: deliberately not what other styles open as, so
              // such a style jumps at half-way
      return {0, B - k, 0};
  }
}

// The mask's lines: rows painted by PaintHorizonal or columns painted by PaintVertical.
struct MaskLines {
  unsigned char* (*paint)(int, int, unsigned char, unsigned char*, int);
  unsigned char* bits;
  int stride;
  int length;  // bytes in a line
  int count;   // lines
  void Paint(std::int64_t line, unsigned char value) const {
    paint(static_cast<int>(line), length, value, bits, stride);
  }
};

// Paints `lines` of each of `bands` bands of B lines with `value`. Only lines inside the mask are
// painted: the last bands may reach past its end, and progress outside 0..1 may ask for lines
// before its start or for more edge lines than it has.
void PaintBands(const MaskLines& mask, int bands, std::int64_t B, const BandLines& lines,
                unsigned char value) {
  const std::int64_t N = mask.count;
  // Lines of no bytes paint nothing (and an empty mask has no rows to point into).
  if (N <= 0 || mask.length < 1) return;
  for (std::int64_t i = std::min(lines.edge, N) - 1; i >= 0; --i) {
    mask.Paint(i, value);
    mask.Paint(N - 1 - i, value);
  }
  for (int b = 0; b < bands; ++b) {
    const std::int64_t first = lines.start + b * B;
    if (first >= N) break;  // B is at least 1 here, so every later band lies beyond N too
    const std::int64_t end = std::min(first + lines.count, N);
    for (std::int64_t line = std::max<std::int64_t>(first, 0); line < end; ++line)
      mask.Paint(line, value);
  }
}

}  // namespace

HRESULT CShutterBands::DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) {
  unsigned W = 0, H = 0, planes = 0;
  to->GetSize(&W, &H, &planes);
  const Mask mask = CreateMask(W, H);
  if (!mask.picture) return E_FAIL;

  // Horizontal slats paint rows, vertical ones columns. Every row of vertical slats is alike, so
  // their columns are painted one row deep and that row is copied down afterwards: a pass in
  // memory order rather than one stride per byte.
  const bool rows = direction_ == 0;
  const MaskLines lines{rows ? PaintHorizonal : PaintVertical, mask.rows.first, mask.rows.stride,
                        static_cast<int>(rows ? W : std::min(H, 1u)),
                        static_cast<int>(rows ? H : W)};
  // Lines per band and open lines per band, both in single precision.
  const int B = BandSize(static_cast<unsigned>(lines.count), bands_);
  const int k = TruncInt(static_cast<float>(B) * static_cast<float>(progress));

  // 255 shows `to`, 0 `from`. Painting the minority halves the lines painted: the open lines on
  // a closed mask up to half-way (0.5 included), past it the closed lines on an open mask.
  if (progress > 0.5) {
    mask.picture->Fill(255);
    PaintBands(lines, bands_, B, ClosedLines(style_, B, k), 0);
  } else {
    mask.picture->Fill(0);
    PaintBands(lines, bands_, B, OpenLines(style_, B, k), 255);
  }
  // An empty mask has no rows to copy (nor a first row to copy from).
  for (unsigned y = 1; !rows && W > 0 && y < H; ++y)
    std::memcpy(mask.rows.Row(y), mask.rows.first, W);
  return ApplyMaskAndFinish(from, to, mask, out);
}

HRESULT CShutterBands::Replicate(IUnknown** copy) {
  IShutter* shutter = nullptr;
  if (const HRESULT hr = CObject<CShutterBands>::Create(IID_IShutter, &shutter); hr < 0) return hr;
  *copy = shutter;
  shutter->put_Direction(static_cast<short>(direction_));
  shutter->put_Bands(static_cast<short>(bands_));
  shutter->put_Style(static_cast<short>(style_));
  return S_OK;
}
