// What the commands that render share: output checks, fitting options and the report of what was
// written.
#pragma once

#include <filesystem>
#include <vector>

#include "app/Commands.h"
#include "app/Easing.h"
#include "app/Fit.h"

namespace kelo {

using Paths = std::vector<std::filesystem::path>;

// Checks an output before any work: its folder, that it overwrites no input, and for a frame
// pattern every frame file it will write.
void CheckVideoOutput(const std::filesystem::path& output, const Paths& inputs, long frames);

struct Fitting {
  Size size;  // empty when no size was asked for
  FitMode mode;
  Rgb background;
};
Fitting ParseFitting(const FitOptions& options);

// The easing a command-line option names; throws a usage error naming `option` otherwise.
Easing ParseEasing(const std::string& text, const std::string& option = "--easing");

// What a run wrote, on standard output; for a frame pattern, a warning first about frames of an
// earlier, longer run that would play after the new ones.
void ReportOutputs(const std::filesystem::path& output, const Paths& outputs);

}  // namespace kelo
