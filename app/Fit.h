// Fitting pictures of any size into an output size, and the option values that describe it.
#pragma once

#include <string>

#include "app/Host.h"

namespace kelo {

enum class FitMode { kContain, kCover, kStretch };

struct Size {
  unsigned width = 0;
  unsigned height = 0;
  bool Empty() const { return width == 0 || height == 0; }
  friend bool operator==(const Size&, const Size&) = default;
};

struct Rgb {
  unsigned char r = 0, g = 0, b = 0;
};

// "WxH" with each side in 1..16384; throws a usage error naming `option` otherwise.
Size ParseSize(const std::string& text, const std::string& option = "--size");
// "contain", "cover" or "stretch".
FitMode ParseFit(const std::string& text);
// "#RRGGBB", "RRGGBB", "R,G,B" or one of black, white, grey/gray.
Rgb ParseColour(const std::string& text);

Size PictureSize(ICIF* picture);

// `picture` (24-bit RGB) brought to `size`: unchanged when it already has that size; otherwise
// resampled by the host, keeping its proportions for contain (bars of `background`) and cover
// (the middle is cut out, then scaled: no picture larger than the input or the output is made).
ComPtr<ICIF> FitPicture(const Host& host, ICIF* picture, Size size, FitMode mode, Rgb background);

// Every pixel of a 24-bit picture set to one colour.
void FillPicture(const PixelView& view, Rgb colour);

}  // namespace kelo
