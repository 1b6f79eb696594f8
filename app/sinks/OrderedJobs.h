// Per-frame work that runs on threads of its own while the encoder thread goes on with the next
// frame, finished in the order it was started: the GIF output quantizes, the WebP output encodes,
// several frames at once. Each job owns what it works on, so the frame it came from can go.
#pragma once

#include <algorithm>
#include <cstddef>
#include <deque>
#include <future>
#include <thread>
#include <utility>

namespace kelo {

template <class Result>
class OrderedJobs {
 public:
  // At most one job per processor at once.
  OrderedJobs() : limit_(std::max(1u, std::thread::hardware_concurrency())) {}
  // Destroying the futures waits for the jobs still running; their results are dropped.
  ~OrderedJobs() = default;
  OrderedJobs(const OrderedJobs&) = delete;
  OrderedJobs& operator=(const OrderedJobs&) = delete;

  // Starts `job` (a callable returning Result) on a thread; while the limit of jobs is running,
  // first hands the oldest result to `finished`. A job's exception comes out of here or Drain.
  template <class Job, class Finished>
  void Start(Job job, Finished&& finished) {
    while (jobs_.size() >= limit_) finished(TakeOldest());
    jobs_.push_back(std::async(std::launch::async, std::move(job)));
  }

  // Hands every remaining result to `finished`, in order.
  template <class Finished>
  void Drain(Finished&& finished) {
    while (!jobs_.empty()) finished(TakeOldest());
  }

  bool Empty() const { return jobs_.empty(); }

 private:
  Result TakeOldest() {
    std::future<Result> oldest = std::move(jobs_.front());
    jobs_.pop_front();
    return oldest.get();
  }

  std::size_t limit_;
  std::deque<std::future<Result>> jobs_;
};

}  // namespace kelo
