#include "app/Pipeline.h"

#include <unistd.h>

#include <cmath>
#include <cstdio>

#include "app/Interrupt.h"

namespace kelo {

ProgressBar::ProgressBar(long total, bool enabled)
    : total_(total), enabled_(enabled && total > 0), start_(std::chrono::steady_clock::now()) {}

ProgressBar::~ProgressBar() {
  Close();
}

bool ProgressBar::WantedFor(bool quiet) {
  return !quiet && isatty(STDERR_FILENO);
}

void ProgressBar::Advance(long frames) {
  done_ += frames;
  if (!enabled_) return;
  const auto now = std::chrono::steady_clock::now();
  if (now - drawn_ < std::chrono::milliseconds(100) && done_ < total_) return;
  drawn_ = now;
  Draw(false);
}

void ProgressBar::Draw(bool last) {
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  const double rate = seconds > 0 ? done_ / seconds : 0;
  const double left = rate > 0 ? (total_ - done_) / rate : 0;
  constexpr int kWidth = 30;
  const int filled = static_cast<int>(kWidth * std::min(1.0, static_cast<double>(done_) / total_));
  char bar[kWidth + 1];
  for (int i = 0; i < kWidth; ++i) bar[i] = i < filled ? '#' : '-';
  bar[kWidth] = '\0';
  std::fprintf(stderr, "\r[%s] %ld/%ld frames  %.1f fps  %.1f s left \033[K%s", bar, done_, total_,
               rate, left, last ? "\n" : "");
  std::fflush(stderr);
}

void ProgressBar::Close() {
  if (!enabled_) return;
  enabled_ = false;
  std::fprintf(stderr, "\r\033[K");
  std::fflush(stderr);
}

AsyncSink::AsyncSink(std::unique_ptr<FrameSink> sink, ProgressBar* progress, std::size_t depth)
    : sink_(std::move(sink)), progress_(progress), depth_(depth), thread_([this] { Run(); }) {}

AsyncSink::~AsyncSink() {
  {
    std::lock_guard lock(mutex_);
    stop_ = true;
  }
  changed_.notify_all();
  if (thread_.joinable()) thread_.join();
  // Frames not encoded are released here, on the rendering thread.
  queue_.clear();
}

void AsyncSink::RethrowFailure() {
  if (failure_) std::rethrow_exception(failure_);
}

void AsyncSink::Add(ComPtr<ICIF> frame, int repeat) {
  if (repeat <= 0) return;
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return queue_.size() < depth_ || failure_; });
  RethrowFailure();
  queue_.push_back({std::move(frame), repeat});
  frames_ += repeat;
  lock.unlock();
  changed_.notify_all();
}

void AsyncSink::Finish() {
  {
    std::unique_lock lock(mutex_);
    closing_ = true;
    changed_.notify_all();
    changed_.wait(lock, [&] { return queue_.empty() || failure_; });
    stop_ = true;
  }
  changed_.notify_all();
  thread_.join();
  RethrowFailure();
  // An interrupt that came while the last frames were encoded: the output is not put in place.
  ThrowIfInterrupted();
  sink_->Finish();
  if (progress_ != nullptr) progress_->Close();
}

void AsyncSink::Run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [&] { return stop_ || !queue_.empty(); });
    if (stop_ || failure_) return;
    // The item stays queued while it is encoded, so Finish() waits for it too.
    Item& item = queue_.front();
    ICIF* frame = item.frame.Get();
    const int repeat = item.repeat;
    lock.unlock();
    std::exception_ptr failed;
    try {
      ThrowIfInterrupted();
      sink_->Add(frame, repeat);
      if (progress_ != nullptr) progress_->Advance(repeat);
    } catch (...) {
      failed = std::current_exception();
    }
    lock.lock();
    queue_.pop_front();
    if (failed) failure_ = failed;
    changed_.notify_all();
    if (failure_) return;
  }
}

}  // namespace kelo
