// Reuses large pixel buffers so that a stream of frames does not fault in fresh pages each frame.
#pragma once

#include <array>
#include <cstddef>
#include <mutex>

namespace host::imaging {

// A bounded free list of 64-byte aligned buffers keyed by exact byte size. Thread-safe.
class BufferPool {
 public:
  // The process-wide pool; never destroyed, so pictures released during exit are still safe.
  static BufferPool& Shared();

  // A buffer of `bytes` (rounded up to 64) from the free list or fresh; null when out of memory.
  void* Take(std::size_t bytes) noexcept;
  // Returns a buffer obtained from Take with the same `bytes`; the oldest free buffers are
  // dropped when the list would exceed its bounds. Allocates nothing: pictures give their
  // buffers back from their destructors.
  void Give(void* buffer, std::size_t bytes) noexcept;

  // Bytes currently held on the free list (for tests).
  std::size_t HeldBytes();

  static constexpr std::size_t kMaxHeldBytes = std::size_t{384} << 20;
  static constexpr std::size_t kMaxHeldBuffers = 32;

 private:
  struct Entry {
    std::size_t bytes;
    void* buffer;
  };
  // Removes free_[index], keeping the order of the others.
  void Remove(std::size_t index);

  std::mutex mutex_;
  std::array<Entry, kMaxHeldBuffers> free_{};  // the first `count_`, oldest first
  std::size_t count_ = 0;
  std::size_t held_ = 0;
};

// An owned pool buffer for temporaries; returns itself to the pool when destroyed.
class PoolBuffer {
 public:
  PoolBuffer() = default;
  explicit PoolBuffer(std::size_t bytes);
  PoolBuffer(PoolBuffer&& other) noexcept;
  PoolBuffer& operator=(PoolBuffer&& other) noexcept;
  PoolBuffer(const PoolBuffer&) = delete;
  PoolBuffer& operator=(const PoolBuffer&) = delete;
  ~PoolBuffer();

  unsigned char* data() const { return data_; }
  std::size_t size() const { return bytes_; }
  explicit operator bool() const { return data_ != nullptr; }

 private:
  unsigned char* data_ = nullptr;
  std::size_t bytes_ = 0;
};

}  // namespace host::imaging
