// Stopping a run on SIGINT or SIGTERM without losing anything. The handler only records the
// signal; the render loops and the encoder look at it between frames and unwind, and every
// output removes what the run made on the way out. A second signal ends the process at once.
#pragma once

namespace kelo {

// Installs the handlers for SIGINT and SIGTERM (restarting interrupted system calls).
void InstallInterruptHandlers();

// The signal received, or 0.
int InterruptSignal();

// The exit code for an interrupt by `signal`: 128 + its number, as shells report (130 for SIGINT,
// 143 for SIGTERM).
int InterruptExitCode(int signal);

// The one-line message for an interrupt by `signal`.
const char* InterruptMessage(int signal);

// Throws the interrupt as an AppError once a signal has arrived.
void ThrowIfInterrupted();

}  // namespace kelo
