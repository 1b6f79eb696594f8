// "DitherTransition", and the dither pattern shared with "DitherCumulativeTransition".
#include "effects/Dither.h"

#include <algorithm>
#include <cstring>

namespace {

// A cell coordinate 0..100 from one draw: floor(r / 4294967295 * 100.9999999).
inline unsigned DrawCell(CRandom32& prng) {
  return static_cast<unsigned>(RandomChoice(prng.Random(), DitherMask::kCells));
}

}  // namespace

std::uint32_t DitherCellCount(double share) {
  const double cells = share * 10000;
  if (!(cells > 0)) return 0;
  if (cells >= 4294967295.0) return 4294967295u;
  return static_cast<std::uint32_t>(cells);
}

void DitherMask::Reset(unsigned width, unsigned height, std::uint8_t fill) {
  width_ = width;
  height_ = height;
  for (auto& row : cells_) row.fill(fill);
  dirty_.fill(true);
}

void DitherMask::Write(unsigned cx, unsigned cy, std::uint8_t target) {
  // Cell 0 also covers the pixels at 100, 200, ... (class 100); cell 100 covers only those.
  const unsigned xs[2] = {cx, 100};
  const unsigned ys[2] = {cy, 100};
  const int nx = cx == 0 ? 2 : 1;
  const int ny = cy == 0 ? 2 : 1;
  for (int j = 0; j < ny; ++j) {
    for (int i = 0; i < nx; ++i) cells_[ys[j]][xs[i]] = target;
    dirty_[ys[j]] = true;
  }
}

void DitherMask::SetCells(CRandom32& prng, std::uint32_t count, std::uint8_t target) {
  // Cells inside the mask that can still change; cell (cx, cy) reads pixel (cx, cy).
  const unsigned insideX = std::min(width_, 101u);
  const unsigned insideY = std::min(height_, 101u);
  unsigned changeable = 0;
  for (unsigned cy = 0; cy < insideY; ++cy)
    for (unsigned cx = 0; cx < insideX; ++cx) changeable += cells_[cy][cx] != target;

  while (count > 0 && changeable > 0) {
    const unsigned cx = DrawCell(prng);
    const unsigned cy = DrawCell(prng);
    if (cx < width_ && cy < height_) {
      if (cells_[cy][cx] == target) continue;  // already set: draw again
      // Writing may also settle the cells at 100 that read the same pixel class.
      const bool spills[2] = {cx == 0 && 100 < width_ && cells_[cy][100] != target,
                              cy == 0 && 100 < height_ && cells_[100][cx] != target};
      const bool corner =
          cx == 0 && cy == 0 && 100 < width_ && 100 < height_ && cells_[100][100] != target;
      changeable -= 1 + spills[0] + spills[1] + corner;
      Write(cx, cy, target);
    }
    --count;
  }
}

void DitherMask::Render(unsigned char* first, std::ptrdiff_t stride) {
  if (first == nullptr) return;
  const std::size_t head = std::min(width_, 101u);
  for (unsigned y = 0; y < height_; ++y) {
    if (!dirty_[Class(y)]) continue;
    unsigned char* row = first + static_cast<std::ptrdiff_t>(y) * stride;
    if (y >= 101) {
      // Row y - 100 has the same class and was written in this pass.
      std::memcpy(row, row - 100 * stride, width_);
      continue;
    }
    std::memcpy(row, cells_[Class(y)].data(), head);
    // Beyond 100, pixel x repeats pixel x - 100.
    for (std::size_t x = 101; x < width_; x += 100)
      std::memcpy(row + x, row + x - 100, std::min<std::size_t>(100, width_ - x));
  }
  dirty_.fill(false);
}

HRESULT CDither::DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) {
  static CRandom32 prng(0);
  if (from == nullptr || to == nullptr || out == nullptr) return E_INVALIDARG;
  unsigned width = 0, height = 0, planes = 0;
  to->GetSize(&width, &height, &planes);

  const Mask mask = CreateMask(width, height);
  if (!mask.picture) return E_FAIL;

  // The pattern marks the minority, so at most half of the cells are set.
  std::uint8_t fill = 0, target = 255;
  double share = progress;
  if (progress > 0.5) {
    fill = 255;
    target = 0;
    share = 1 - progress;
  }
  DitherMask pattern;
  pattern.Reset(width, height, fill);
  pattern.SetCells(prng, DitherCellCount(share), target);
  // Render writes every byte: the fill needs no pass of its own.
  pattern.Render(mask.rows.first, mask.rows.stride);

  return ApplyMaskAndFinish(from, to, mask, out);
}
