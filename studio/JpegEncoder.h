// Frames for the page: a 24-bit RGB picture encoded as a JPEG file in memory.
#pragma once

#include <string>

#include "app/Host.h"

namespace kelo::studio {

// The JPEG file's bytes. Throws std::runtime_error when the encoder fails.
std::string EncodeJpeg(const PixelView& view, int quality);

}  // namespace kelo::studio
