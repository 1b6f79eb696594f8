#include "studio/Exports.h"

#include <cmath>

#include "app/Render.h"
#include "app/Sinks.h"
#include "studio/HttpError.h"

namespace kelo::studio {

struct Exports::Job {
  std::string id;
  std::string format;
  std::filesystem::path file;
  long total = 0;
  std::atomic<long> done{0};
  // Written by the job's thread under the Exports mutex.
  std::string state = "running";
  std::string error;
  std::thread thread;
};

Exports::Exports(Sessions& sessions, std::filesystem::path folder)
    : sessions_(sessions), folder_(std::move(folder)) {}

Exports::~Exports() {
  stopping_ = true;
  for (auto& [id, job] : jobs_)
    if (job->thread.joinable()) job->thread.join();
}

Json Exports::StateOf(const Job& job) {
  Json state{{"export", job.id},
             {"format", job.format},
             {"state", job.state},
             {"done", job.done.load()},
             {"total", job.total}};
  if (!job.error.empty()) state["error"] = job.error;
  if (job.state == "done") state["file"] = job.file.filename().string();
  return state;
}

Json Exports::Start(const std::string& session, const ExportRequest& request) {
  if (request.format != "mp4" && request.format != "webp" && request.format != "gif")
    throw HttpError(400, "unknown export format '" + request.format + "': use mp4, webp or gif");
  if (!std::isfinite(request.duration) || request.duration < 0.1 || request.duration > 10)
    throw HttpError(400, "the export's duration must be 0.1 to 10 seconds");
  if (!std::isfinite(request.fps) || request.fps < 1 || request.fps > 60)
    throw HttpError(400, "the export's frame rate must be 1 to 60 frames per second");
  sessions_.State(session);  // an unknown session is refused before anything starts

  std::lock_guard lock(mutex_);
  int running = 0;
  for (const auto& [id, job] : jobs_) running += job->state == "running";
  if (running >= kMaxRunningExports)
    throw HttpError(429, "two exports are running already: wait for one to finish");
  // Forget the oldest finished exports and their files.
  while (jobs_.size() >= kMaxKeptExports) {
    auto oldest = jobs_.end();
    for (auto it = jobs_.begin(); it != jobs_.end(); ++it)
      if (it->second->state != "running" &&
          (oldest == jobs_.end() || std::stoi(it->first) < std::stoi(oldest->first)))
        oldest = it;
    if (oldest == jobs_.end()) break;
    oldest->second->thread.join();
    std::error_code ignored;
    std::filesystem::remove_all(folder_ / oldest->first, ignored);
    jobs_.erase(oldest);
  }
  auto job = std::make_unique<Job>();
  job->id = std::to_string(next_++);
  job->format = request.format;
  job->total = std::max(2L, FrameCount(request.duration, request.fps));
  std::filesystem::create_directory(folder_ / job->id);
  job->file = folder_ / job->id / ("clip." + request.format);
  Job& started = *job;
  jobs_.emplace(job->id, std::move(job));
  started.thread = std::thread([this, &started, session, request] {
    std::string error;
    try {
      auto copy = sessions_.Copy(session);
      struct Releaser {
        Sessions& sessions;
        EffectCopy& copy;
        ~Releaser() { sessions.Release(copy); }
      } releaser{sessions_, copy};
      const PixelView to = View(copy.to.Get());
      auto sink = MakeSink(started.file, {to.width, to.height, request.fps});
      for (long k = 0; k < started.total; ++k) {
        if (stopping_) throw std::runtime_error("the studio stopped");
        sink->Add(sessions_.Render(copy, static_cast<double>(k) / (started.total - 1)).Get(), 1);
        started.done = k + 1;
      }
      sink->Finish();
    } catch (const std::exception& failure) {
      error = failure.what();
    }
    std::lock_guard lock(mutex_);
    started.state = error.empty() ? "done" : "failed";
    started.error = error;
  });
  return StateOf(started);
}

Json Exports::State(const std::string& id) const {
  std::lock_guard lock(mutex_);
  const auto found = jobs_.find(id);
  if (found == jobs_.end()) throw HttpError(404, "no export has the id '" + id + "'");
  return StateOf(*found->second);
}

std::filesystem::path Exports::File(const std::string& id) const {
  std::lock_guard lock(mutex_);
  const auto found = jobs_.find(id);
  if (found == jobs_.end()) throw HttpError(404, "no export has the id '" + id + "'");
  if (found->second->state != "done")
    throw HttpError(409, "the export '" + id + "' is " + found->second->state);
  return found->second->file;
}

}  // namespace kelo::studio
