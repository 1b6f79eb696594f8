#include "studio/Studio.h"

#include <fcntl.h>
#include <malloc.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <thread>

#include "app/Errors.h"
#include "app/Interrupt.h"
#include "app/PictureIO.h"
#include "studio/Server.h"

extern char** environ;

namespace kelo::studio {

namespace {

// A folder of our own for the exports, removed with everything in it at the end.
class PrivateFolder {
 public:
  PrivateFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "kelo-studio-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr)
      throw AppError(kExitOutput, "cannot make a folder for exports in " +
                                      std::filesystem::temp_directory_path().string());
    path_ = pattern;
  }
  ~PrivateFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  const std::filesystem::path& Path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// Starts xdg-open on the address when it is on PATH; its pid, or -1.
pid_t OpenBrowser(const std::string& address) {
  const char* path = std::getenv("PATH");
  bool found = false;
  for (std::string_view rest = path ? path : ""; !found;) {
    const auto colon = rest.find(':');
    const std::filesystem::path folder(rest.substr(0, colon));
    found = !folder.empty() && access((folder / "xdg-open").c_str(), X_OK) == 0;
    if (colon == std::string_view::npos) break;
    rest.remove_prefix(colon + 1);
  }
  if (!found) return -1;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  char program[] = "xdg-open";
  char* argv[] = {program, const_cast<char*>(address.c_str()), nullptr};
  pid_t pid = -1;
  if (posix_spawnp(&pid, program, &actions, nullptr, argv, environ) != 0) pid = -1;
  posix_spawn_file_actions_destroy(&actions);
  return pid;
}

}  // namespace

int RunStudio(const StudioOptions& options) {
  if (options.port < 0 || options.port > 65535)
    throw AppError(kExitUsage,
                   "bad --port " + std::to_string(options.port) + ": expected 0 to 65535");
  std::vector<std::filesystem::path> files(options.pictures.begin(), options.pictures.end());
  for (const auto& file : files) ProbePicture(file);

  // The server runs for hours with frames made and dropped on many threads: blocks of a megabyte
  // and more (pictures, encoded frames) go back to the system when freed instead of staying in
  // the heap of whichever thread freed them, so its memory follows what is in use.
  mallopt(M_MMAP_THRESHOLD, 1 << 20);
  Host host;
  Pictures pictures(host, files);
  ModuleThread module;
  Sessions sessions(host, pictures, module);
  PrivateFolder exportFolder;
  Exports exports(sessions, exportFolder.Path());
  Server server(pictures, sessions, exports, std::filesystem::current_path());
  server.Bind(options.port);

  std::printf("%s\n", server.Address().c_str());
  std::fflush(stdout);
  std::fprintf(stderr, "kelo: studio serving on 127.0.0.1:%d; Ctrl-C stops it\n", server.Port());
  const pid_t browser = options.noOpen ? -1 : OpenBrowser(server.Address());

  std::thread serving([&] { server.Serve(); });
  while (InterruptSignal() == 0) std::this_thread::sleep_for(std::chrono::milliseconds(100));
  server.Stop();
  serving.join();
  if (browser > 0) waitpid(browser, nullptr, WNOHANG);
  std::fprintf(stderr, "kelo: studio stopped\n");
  return kExitOk;
}

}  // namespace kelo::studio
