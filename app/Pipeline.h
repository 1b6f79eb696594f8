// Overlapping work: frames are encoded on their own thread while the next ones render, and
// pictures are decoded ahead of use; a progress bar reports on standard error.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <thread>

#include "app/Sinks.h"

namespace kelo {

// Frames done, frames per second and time left, redrawn at most ten times a second on
// standard error; silent when disabled (not a terminal, or --quiet).
class ProgressBar {
 public:
  ProgressBar(long total, bool enabled);
  ~ProgressBar();
  void Advance(long frames);
  // Clears the bar's line.
  void Close();
  static bool WantedFor(bool quiet);

 private:
  void Draw(bool last);
  long total_;
  long done_ = 0;
  bool enabled_;
  std::chrono::steady_clock::time_point start_;
  std::chrono::steady_clock::time_point drawn_;
};

// Hands frames to a sink on an encoder thread. Add() takes the caller's reference to the frame
// and only waits when the encoder is a few frames behind. Errors of the encoder, and an interrupt
// (the encoder stops at the next frame), surface in the next Add() or in Finish(). Destroyed
// without Finish(), it stops and the sink discards its output.
class AsyncSink {
 public:
  AsyncSink(std::unique_ptr<FrameSink> sink, ProgressBar* progress, std::size_t depth = 1);
  ~AsyncSink();
  AsyncSink(const AsyncSink&) = delete;
  AsyncSink& operator=(const AsyncSink&) = delete;

  void Add(ComPtr<ICIF> frame, int repeat = 1);
  void Finish();
  std::vector<std::filesystem::path> Outputs() const { return sink_->Outputs(); }
  long Frames() const { return frames_; }

 private:
  struct Item {
    ComPtr<ICIF> frame;
    int repeat;
  };
  void Run();
  void Stop();
  void RethrowFailure();

  std::unique_ptr<FrameSink> sink_;
  ProgressBar* progress_;
  std::size_t depth_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Item> queue_;
  bool closing_ = false;
  bool stop_ = false;
  std::exception_ptr failure_;
  long frames_ = 0;
  std::thread thread_;
};

// Produces items 0..count-1 in order on a worker thread, at most `ahead` before they are taken.
// Items are started by Ahead() (and by Next() when none is under way), so a caller that holds
// large items starts the next one only once it has let go of the last.
template <class T>
class Prefetcher {
 public:
  Prefetcher(std::size_t count, std::function<T(std::size_t)> make, std::size_t ahead = 2)
      : count_(count), make_(std::move(make)), ahead_(ahead) {
    Ahead();
  }
  ~Prefetcher() {
    for (auto& pending : pending_)
      if (pending.valid()) pending.wait();
  }
  // The next item (rethrows what making it threw).
  T Next() {
    Ahead();
    T item = pending_.front().get();
    pending_.pop_front();
    return item;
  }
  // Starts making items until `ahead` are under way or done.
  void Ahead() {
    while (pending_.size() < ahead_ && started_ < count_)
      pending_.push_back(std::async(std::launch::async, make_, started_++));
  }

 private:
  std::size_t count_;
  std::function<T(std::size_t)> make_;
  std::size_t ahead_;
  std::size_t started_ = 0;
  std::deque<std::future<T>> pending_;
};

}  // namespace kelo
