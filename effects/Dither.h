// The two dither transitions: the picture changes cell by cell in a random pattern drawn on an
// 8-bit mask ("MONO", 0 = from, 255 = to) that CTransitionHelper::ApplyMask composes.
#pragma once

#include <array>
#include <cstdint>

#include "effects/Mask.h"
#include "frame/Object.h"
#include "support/Random.h"

// The dither pattern. Cell (cx, cy), 0 <= cx, cy <= 100, stands for every mask pixel
// (cx + 100 i, cy + 100 j), so the pattern repeats every 100 pixels; cell 100 is cell 0 shifted
// by one period. Every pixel therefore belongs to one of 101 x 101 classes (x itself up to 100,
// beyond that x mod 100, with multiples of 100 in class 100), all pixels of a class always hold
// the same byte, and the mask is the tiling of the class table. Cells are set on that table
// (at most four entries per cell) and the mask is rendered from it row by row.
class DitherMask {
 public:
  static constexpr int kCells = 101;

  // A mask of width x height whose every byte is `fill`; every row needs rendering.
  void Reset(unsigned width, unsigned height, std::uint8_t fill);
  unsigned Width() const { return width_; }
  unsigned Height() const { return height_; }

  // Sets `count` cells to `target`, drawing cx then cy from `prng` as
  // floor(Random() / 4294967295 * 100.9999999). A draw whose cell already holds `target` does
  // not count. A cell outside the mask (possible below 101 pixels) counts and writes nothing.
  // Once no cell inside the mask can change any more the loop ends early: further draws could
  // not change the mask, and the plain loop would never end.
  void SetCells(CRandom32& prng, std::uint32_t count, std::uint8_t target);

  // Writes every mask row that changed since the last Render (all rows after Reset).
  void Render(unsigned char* first, std::ptrdiff_t stride);

  // The byte of pixel (x, y).
  std::uint8_t At(unsigned x, unsigned y) const { return cells_[Class(y)][Class(x)]; }

 private:
  static unsigned Class(unsigned coordinate) {
    if (coordinate <= 100) return coordinate;
    const unsigned r = coordinate % 100;
    return r == 0 ? 100 : r;
  }
  void Write(unsigned cx, unsigned cy, std::uint8_t target);

  unsigned width_ = 0;
  unsigned height_ = 0;
  std::array<std::array<std::uint8_t, kCells>, kCells> cells_{};  // [class y][class x]
  std::array<bool, kCells> dirty_{};                              // class rows to render
};

// The number of cells for a share of the 10000 basic cells: trunc(share * 10000), with
// negative and NaN shares giving 0 and huge ones saturating.
std::uint32_t DitherCellCount(double share);

// "DitherTransition": a fresh random pattern every frame, about `progress` of it showing to.
class CDither : public CSimpleTransition<CDither> {
 public:
  static constexpr tagREFString kName = RefLiteral(L"DitherTransition");
  HRESULT DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) override;
};

// "DitherCumulativeTransition": keeps its pattern between frames and only adds (or, going
// back, removes) cells as the progress moves; Uninitialize starts the next run afresh.
class CDitherCumulative : public CSimpleTransition<CDitherCumulative> {
 public:
  static constexpr tagREFString kName = RefLiteral(L"DitherCumulativeTransition");
  HRESULT DoTransition(ICIF* from, ICIF* to, ICIF** out, double progress) override;
  HRESULT Uninitialize() override;

 protected:
  ~CDitherCumulative();

 private:
  Mask mask;                  // empty until the first frame and after Uninitialize
  double lastProgress = 0.0;  // the progress the mask was last updated for
  DitherMask pattern;         // the mask's content, kept beside it
};
