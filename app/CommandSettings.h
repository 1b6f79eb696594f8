// The command line's side of the settings library (app/Settings.h).
#pragma once

#include <string>

#include "app/Commands.h"
#include "app/Settings.h"

namespace kelo {

// Throws the library's refusal as an AppError: the command line's wording and exit code.
[[noreturn]] void FailWith(const SettingsError& error);

// The registered transition a user's name means (throws a usage error naming the nearest).
std::wstring ResolveTransitionName(const Host& host, const std::string& name);

// An effect of the named transition with the user's settings applied: first those of a settings
// file, then each --set, then saved when asked. Throws AppError.
TransitionSettings MakeEffect(const Host& host, const std::string& transition,
                              const SettingsOptions& options);

}  // namespace kelo
