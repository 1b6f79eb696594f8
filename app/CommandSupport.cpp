#include "app/CommandSupport.h"

#include <cstdio>

#include "app/Errors.h"
#include "app/Files.h"
#include "app/Sinks.h"

namespace kelo {

void CheckVideoOutput(const std::filesystem::path& output, const Paths& inputs, long frames) {
  const OutputKind kind = OutputKindOf(output);
  if (kind == OutputKind::kPng)
    throw AppError(kExitUsage, "'" + output.string() +
                                   "' is a single picture: for frames use a pattern such as "
                                   "frames/%04d.png, or 'kelo frame' for one frame");
  if (kind == OutputKind::kMp4 || kind == OutputKind::kWebM) RequireFfmpeg(output);
  if (kind != OutputKind::kPngFrames) return CheckOutputPath(output, inputs);
  CheckFramePaths(output, frames, inputs);
}

Fitting ParseFitting(const FitOptions& options) {
  Fitting fitting{
      .size = {}, .mode = ParseFit(options.fit), .background = ParseColour(options.background)};
  if (!options.size.empty()) fitting.size = ParseSize(options.size);
  return fitting;
}

Easing ParseEasing(const std::string& text, const std::string& option) {
  std::string why;
  auto easing = Easing::Parse(text, &why);
  if (!easing) throw AppError(kExitUsage, "bad " + option + " '" + text + "': " + why);
  return *easing;
}

namespace {

void PrintOutputs(const Paths& outputs) {
  if (outputs.size() > 3) {
    std::printf("%s ... %s (%zu files)\n", outputs.front().c_str(), outputs.back().c_str(),
                outputs.size());
    return;
  }
  for (const auto& path : outputs) std::printf("%s\n", path.c_str());
}

}  // namespace

void ReportOutputs(const std::filesystem::path& output, const Paths& outputs) {
  if (OutputKindOf(output) == OutputKind::kPngFrames) {
    const std::string older = OlderFramesWarning(output, static_cast<long>(outputs.size()));
    if (!older.empty()) std::fprintf(stderr, "kelo: warning: %s\n", older.c_str());
  }
  PrintOutputs(outputs);
}

}  // namespace kelo
