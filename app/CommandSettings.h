// The command line's side of the settings library (app/Settings.h).
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "app/Commands.h"
#include "app/Settings.h"

namespace kelo {

// Throws the library's refusal as an AppError: the command line's wording and exit code.
[[noreturn]] void FailWith(const SettingsError& error);

// The registered transition a user's name means (throws a usage error naming the nearest).
std::wstring ResolveTransitionName(const Host& host, const std::string& name);

// Before any work: a settings file to save must be neither an input (however named: through
// "./", a symbolic or a hard link) nor the output, and must be writable. Throws AppError.
void CheckSettingsOutput(const SettingsOptions& options,
                         const std::vector<std::filesystem::path>& inputs,
                         const std::filesystem::path& output);

// An effect of the named transition with the user's settings applied: first those of a settings
// file, then each --set. Throws AppError.
TransitionSettings MakeEffect(const Host& host, const std::string& transition,
                              const SettingsOptions& options);

// Applies the user's settings to an effect: first those of a settings file, then each --set.
void ApplySettingsOptions(const TransitionSettings& effect, const SettingsOptions& options);

// Saves the effect's settings when asked: called once the command's output is complete, so that a
// failed run writes no settings. Throws AppError.
void SaveSettings(const TransitionSettings& effect, const SettingsOptions& options);

}  // namespace kelo
