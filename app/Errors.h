// Errors of the kelo program: a one-line message and the exit code that goes with it.
#pragma once

#include <stdexcept>
#include <string>

namespace kelo {

enum ExitCode : int {
  kExitOk = 0,
  kExitFailure = 1,  // the host or an effect failed, or an encoder did
  kExitUsage = 2,    // bad options or values, unknown transitions or settings
  kExitInput = 3,    // a picture that is missing or cannot be decoded
  kExitOutput = 4,   // an output that cannot be written (or would overwrite an input)
  // Stopped by a signal: 128 + its number (130 SIGINT, 143 SIGTERM), as shells report.
  kExitSignalBase = 128,
};

class AppError : public std::runtime_error {
 public:
  AppError(int code, const std::string& message) : std::runtime_error(message), code_(code) {}
  int Code() const { return code_; }

 private:
  int code_;
};

}  // namespace kelo
