// One-axis resampling: what Resize runs when only the width or only the height changes (the
// strips the squeezing transitions draw every frame). Area averaging when shrinking, linear
// interpolation when growing, on portable loops or on AVX2 / AVX-512 loops chosen at run time;
// every path gives the same bytes.
#pragma once

#include "host/imaging/Pixels.h"

namespace host::imaging {

enum class ResamplePath { kPlain, kAvx2, kAvx512 };

// Whether this processor runs a path (kAvx512 needs AVX-512 BW and VBMI).
bool ResamplePathSupported(ResamplePath path);
// The fastest path this processor runs.
ResamplePath FastestResamplePath();

// Whether ResampleOneAxis handles from -> to: the same depth, one side kept and the other
// changed, shrinking at most 256 times.
bool OneAxisShape(const Surface& from, const Surface& to);

// Resamples `from` into `to` (a shape OneAxisShape accepts; strides of either sign) along the
// axis that changes. Shrinking, each result pixel is the average of the source interval it
// covers, end pixels weighted by the part inside; growing, it interpolates linearly between the
// two source pixels around its centre (edge pixels repeated). E_FAIL when out of memory, with
// `to` untouched (everything is taken before the first write).
HRESULT ResampleOneAxis(const Surface& from, const Surface& to, ResamplePath path);

}  // namespace host::imaging
