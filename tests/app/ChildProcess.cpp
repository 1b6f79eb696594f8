#include "tests/app/ChildProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

#include "tests/app/ProgramTestSupport.h"

namespace apptest {

Child StartKelo(const std::filesystem::path& dir, const std::vector<std::string>& args,
                bool terminal) {
  Child child;
  std::string slave;
  if (terminal) {
    child.terminal = posix_openpt(O_RDWR | O_NOCTTY);
    if (child.terminal < 0 || grantpt(child.terminal) != 0 || unlockpt(child.terminal) != 0)
      return child;
    slave = ptsname(child.terminal);
    fcntl(child.terminal, F_SETFL, O_NONBLOCK);
  } else {
    child.out = dir / ".child-out";
    child.err = dir / ".child-err";
  }
  std::vector<std::string> words{KELO_PROGRAM};
  words.insert(words.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (auto& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  child.pid = fork();
  if (child.pid == 0) {
    // A session and process group of its own, its terminal the pseudo-terminal.
    setsid();
    if (chdir(dir.c_str()) != 0) _exit(126);
    const int in = open("/dev/null", O_RDONLY);
    const int out = terminal ? open(slave.c_str(), O_RDWR)
                             : open(child.out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const int err =
        terminal ? dup(out) : open(child.err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (in < 0 || out < 0 || err < 0) _exit(126);
    dup2(in, 0);
    dup2(out, 1);
    dup2(err, 2);
    execv(argv[0], argv.data());
    _exit(127);
  }
  return child;
}

void ReadTerminal(Child& child) {
  if (child.terminal < 0) return;
  char buffer[4096];
  for (ssize_t got; (got = read(child.terminal, buffer, sizeof buffer)) > 0;)
    child.shown.append(buffer, static_cast<std::size_t>(got));
}

Ending Finish(Child& child, std::chrono::seconds limit) {
  Ending ending;
  if (child.pid <= 0) return ending;
  const auto end = std::chrono::steady_clock::now() + limit;
  int status = 0;
  rusage usage{};
  for (;;) {
    ReadTerminal(child);
    const pid_t done = wait4(child.pid, &status, WNOHANG, &usage);
    if (done == child.pid) break;
    if (std::chrono::steady_clock::now() > end) kill(-child.pid, SIGKILL);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  ReadTerminal(child);
  if (child.terminal >= 0) close(child.terminal);
  ending.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  ending.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  ending.peakMiB = usage.ru_maxrss / 1024;
  if (!child.out.empty()) {
    ending.out = ReadFile(child.out);
    ending.err = ReadFile(child.err);
    std::filesystem::remove(child.out);
    std::filesystem::remove(child.err);
  } else {
    ending.out = child.shown;
  }
  return ending;
}

Ending RunKelo(const std::filesystem::path& dir, const std::vector<std::string>& args) {
  Child child = StartKelo(dir, args, false);
  return Finish(child);
}

std::vector<pid_t> ProcessesMentioning(const std::string& text) {
  std::vector<pid_t> found;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const std::string name = entry.path().filename().string();
    if (name.find_first_not_of("0123456789") != std::string::npos) continue;
    std::string command = ReadFile(entry.path() / "cmdline");
    for (char& c : command)
      if (c == '\0') c = ' ';
    if (command.find(text) != std::string::npos) found.push_back(std::stoi(name));
  }
  return found;
}

}  // namespace apptest
