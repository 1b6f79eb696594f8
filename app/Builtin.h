// Pictures the program draws itself (gradients, shapes and a big number), so that the demo and
// the benchmark need no input files and transitions are easy to follow.
#pragma once

#include "app/Fit.h"
#include "app/Host.h"

namespace kelo {

inline constexpr int kBuiltinDesigns = 4;

// Built-in picture `index` (any number; the designs repeat every kBuiltinDesigns, the number
// drawn is index + 1) at `size`, as a 24-bit RGB host picture.
ComPtr<ICIF> BuiltinPicture(const Host& host, std::size_t index, Size size);

}  // namespace kelo
