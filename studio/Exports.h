// Clips rendered on the server for download: each export copies the page's effect (its settings
// as they are when export is pressed), renders its frames one by one on the module thread (so
// the preview keeps answering) and writes them through kelo's own sinks on a thread of its own.
#pragma once

#include <atomic>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "studio/Sessions.h"

namespace kelo::studio {

// At most this many exports run at once, and this many finished ones are kept.
inline constexpr int kMaxRunningExports = 2;
inline constexpr std::size_t kMaxKeptExports = 8;

struct ExportRequest {
  std::string format;  // "mp4", "webp" or "gif"
  double duration = 1;
  double fps = 25;
};

class Exports {
 public:
  // Files are written in `folder` (made private to this server, removed by the caller).
  Exports(Sessions& sessions, std::filesystem::path folder);
  // Stops running exports; what they wrote is removed.
  ~Exports();

  // Starts an export of the session's clip; its id and state. Throws HttpError for bad values or
  // when too many run.
  Json Start(const std::string& session, const ExportRequest& request);
  Json State(const std::string& id) const;
  // The finished file of an export (throws HttpError 404/409 otherwise).
  std::filesystem::path File(const std::string& id) const;

 private:
  struct Job;
  void Run(Job& job, const std::string& session);
  static Json StateOf(const Job& job);

  Sessions& sessions_;
  std::filesystem::path folder_;
  mutable std::mutex mutex_;
  std::map<std::string, std::unique_ptr<Job>> jobs_;
  int next_ = 0;
  std::atomic<bool> stopping_{false};
};

}  // namespace kelo::studio
