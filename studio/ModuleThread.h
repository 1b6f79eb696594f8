// The one thread that calls into the transitions module. The module is not thread-safe (its
// generators and caches are shared by every effect), so every effect is created, driven, read and
// released here, one call at a time, in the order the calls arrive.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <type_traits>

namespace kelo::studio {

class ModuleThread {
 public:
  ModuleThread() : thread_([this] { Run(); }) {}
  ~ModuleThread() { Stop(); }
  ModuleThread(const ModuleThread&) = delete;
  ModuleThread& operator=(const ModuleThread&) = delete;

  // Runs `work` on the module thread and waits for its result (or rethrows what it threw).
  template <class F>
  std::invoke_result_t<F> Call(F work) {
    std::packaged_task<std::invoke_result_t<F>()> task(std::move(work));
    auto result = task.get_future();
    {
      std::lock_guard lock(mutex_);
      if (stopping_) throw std::runtime_error("the studio is stopping");
      queue_.emplace_back([&task] { task(); });
    }
    changed_.notify_one();
    return result.get();
  }

  // Runs what is queued, then ends the thread; later calls throw.
  void Stop() {
    {
      std::lock_guard lock(mutex_);
      stopping_ = true;
    }
    changed_.notify_one();
    if (thread_.joinable()) thread_.join();
  }

 private:
  void Run() {
    for (;;) {
      std::function<void()> next;
      {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return stopping_ || !queue_.empty(); });
        if (queue_.empty()) return;
        next = std::move(queue_.front());
        queue_.pop_front();
      }
      next();
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> queue_;
  bool stopping_ = false;
  std::thread thread_;
};

}  // namespace kelo::studio
