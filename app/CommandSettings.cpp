// The command line's side of the settings library: --set and the settings files applied through
// it, and its refusals worded as kelo has always worded them.
#include "app/CommandSettings.h"

#include "app/Errors.h"
#include "app/Files.h"

namespace kelo {

void FailWith(const SettingsError& error) {
  std::string message = error.message;
  int code = kExitUsage;
  switch (error.kind) {
    case SettingsErrorKind::kUnknownTransition:
      if (error.nearest.empty() && !error.known.empty())
        message += "; 'kelo list' shows the transitions";
      break;
    case SettingsErrorKind::kNotSettable:
      message = "bad value '" + error.value + "' for " + error.transition + " " + error.property +
                ": this setting cannot be set from the command line";
      break;
    case SettingsErrorKind::kRefused:
      // A value the effect refused is the user's; a file it failed on is the effect's fault.
      if (!error.file.empty()) code = kExitFailure;
      break;
    case SettingsErrorKind::kNotCreated:
    case SettingsErrorKind::kHostMissing:
      code = kExitFailure;
      break;
    case SettingsErrorKind::kFileUnreadable:
    case SettingsErrorKind::kFileMalformed:
      code = kExitInput;
      break;
    case SettingsErrorKind::kFileUnwritable:
      code = kExitOutput;
      break;
    case SettingsErrorKind::kNoSettings:
    case SettingsErrorKind::kUnknownProperty:
    case SettingsErrorKind::kWrongType:
    case SettingsErrorKind::kNotAChoice:
    case SettingsErrorKind::kOutOfRange:
      break;
  }
  throw AppError(code, message);
}

std::wstring ResolveTransitionName(const Host& host, const std::string& name) {
  auto resolved = ResolveTransition(host, name);
  if (!resolved) FailWith(resolved.Error());
  return *resolved;
}

void ApplySettingsOptions(const TransitionSettings& effect, const SettingsOptions& options) {
  if (!options.loadFile.empty())
    if (auto error = effect.Load(options.loadFile)) FailWith(*error);
  for (const auto& assignment : options.assignments) {
    const auto equals = assignment.find('=');
    if (equals == std::string::npos || equals == 0)
      throw AppError(kExitUsage,
                     "bad --set '" + assignment + "': expected NAME=VALUE, e.g. Direction=Left");
    if (auto error = effect.Set(assignment.substr(0, equals), assignment.substr(equals + 1)))
      FailWith(*error);
  }
}

TransitionSettings MakeEffect(const Host& host, const std::string& transition,
                              const SettingsOptions& options) {
  auto made = TransitionSettings::Create(host, transition);
  if (!made) FailWith(made.Error());
  ApplySettingsOptions(*made, options);
  return std::move(*made);
}

void CheckSettingsOutput(const SettingsOptions& options,
                         const std::vector<std::filesystem::path>& inputs,
                         const std::filesystem::path& output) {
  if (options.saveFile.empty()) return;
  const std::filesystem::path file = options.saveFile;
  CheckOutputPath(file, inputs, "settings file");
  if (file.lexically_normal() == output.lexically_normal() || SameFile(file, output))
    throw AppError(kExitUsage, "the settings file '" + file.string() + "' is also the output");
}

void SaveSettings(const TransitionSettings& effect, const SettingsOptions& options) {
  if (!options.saveFile.empty())
    if (auto error = effect.Save(options.saveFile)) FailWith(*error);
}

}  // namespace kelo
