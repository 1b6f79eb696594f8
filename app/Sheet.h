// The contact sheet: one row per transition, columns at progress 0, 0.25, 0.5, 0.75 and 1.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "app/Fit.h"
#include "app/Host.h"
#include "app/Pipeline.h"

namespace kelo {

// The largest sheet drawn, in pixels (768 MiB of RGB).
inline constexpr long long kMaxSheetPixels = 1LL << 28;

// Before any work: throws a usage error when a sheet of `rows` transitions in cells of `cell`
// would be larger than kMaxSheetPixels.
void CheckSheetSize(Size cell, std::size_t rows);

// Draws the sheet for `names` from `from` to `to` (both of the cell size) and saves it as PNG.
// A transition that cannot be created or fails is drawn as a row saying so and its message is
// returned; the sheet is written all the same.
std::vector<std::string> RenderSheet(const Host& host, const std::vector<std::wstring>& names,
                                     ICIF* from, ICIF* to, const std::filesystem::path& output,
                                     ProgressBar* progress);

}  // namespace kelo
