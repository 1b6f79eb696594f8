// kelo started by the test itself rather than through a shell: in a process group of its own, as
// a terminal's foreground job is, optionally on a pseudo-terminal (so that it draws its progress
// bar), so that a test can signal it as a terminal does and read its peak memory.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace apptest {

struct Child {
  pid_t pid = -1;                  // also its process group
  int terminal = -1;               // the pseudo-terminal's master side, or -1
  std::string shown;               // what it wrote to the terminal so far
  std::filesystem::path out, err;  // where its output goes without a terminal
};

// Starts kelo with `args` in `dir`. Without a terminal, standard output and error go to hidden
// files of `dir` that Finish reads and removes.
Child StartKelo(const std::filesystem::path& dir, const std::vector<std::string>& args,
                bool terminal);

// Reads the terminal until `done` holds or `limit` passes; true when it held.
template <class Done>
bool WaitUntil(Child& child, std::chrono::milliseconds limit, Done done);

struct Ending {
  int code = -1;     // the exit code, or -1 when a signal ended it
  int signal = 0;    // the signal that ended it
  long peakMiB = 0;  // its largest resident size
  std::string out, err;
};
// Waits for the child (killing it after `limit`) and reads what it wrote.
Ending Finish(Child& child, std::chrono::seconds limit = std::chrono::seconds(120));

// Runs kelo to the end without a terminal.
Ending RunKelo(const std::filesystem::path& dir, const std::vector<std::string>& args);

// Reads what the terminal holds now, without waiting.
void ReadTerminal(Child& child);

// The pids of processes whose command line mentions `text`.
std::vector<pid_t> ProcessesMentioning(const std::string& text);

template <class Done>
bool WaitUntil(Child& child, std::chrono::milliseconds limit, Done done) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (std::chrono::steady_clock::now() < end) {
    ReadTerminal(child);
    if (done()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return false;
}

}  // namespace apptest
