#include "app/Interrupt.h"

#include <signal.h>

#include <atomic>

#include "app/Errors.h"

namespace kelo {

namespace {

// Set by the handler: a lock-free atomic, so that writing it is async-signal-safe and every
// thread reads it without a race.
std::atomic<int> gSignal{0};
static_assert(std::atomic<int>::is_always_lock_free);

extern "C" void RecordSignal(int signal) {
  gSignal.store(signal, std::memory_order_relaxed);
}

}  // namespace

void InstallInterruptHandlers() {
  struct sigaction action {};
  action.sa_handler = RecordSignal;
  sigemptyset(&action.sa_mask);
  // SA_RESETHAND: a second Ctrl-C ends a run whose clean-up does not finish.
  action.sa_flags = SA_RESTART | SA_RESETHAND;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

int InterruptSignal() {
  return gSignal.load(std::memory_order_relaxed);
}

int InterruptExitCode(int signal) {
  return kExitSignalBase + signal;
}

const char* InterruptMessage(int signal) {
  return signal == SIGTERM ? "stopped by SIGTERM: the files this run made were removed"
                           : "interrupted (SIGINT): the files this run made were removed";
}

void ThrowIfInterrupted() {
  if (const int signal = InterruptSignal())
    throw AppError(InterruptExitCode(signal), InterruptMessage(signal));
}

}  // namespace kelo
