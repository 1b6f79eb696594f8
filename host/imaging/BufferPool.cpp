#include "host/imaging/BufferPool.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <utility>

namespace host::imaging {

namespace {
std::size_t Rounded(std::size_t bytes) {
  return (bytes + 63) & ~std::size_t{63};
}
}  // namespace

BufferPool& BufferPool::Shared() {
  // Made in static storage rather than allocated, so that no use of the pool can fail.
  alignas(BufferPool) static unsigned char storage[sizeof(BufferPool)];
  static BufferPool* const pool = new (storage) BufferPool;
  return *pool;
}

void BufferPool::Remove(std::size_t index) {
  std::copy(free_.begin() + static_cast<std::ptrdiff_t>(index) + 1,
            free_.begin() + static_cast<std::ptrdiff_t>(count_),
            free_.begin() + static_cast<std::ptrdiff_t>(index));
  --count_;
}

void* BufferPool::Take(std::size_t bytes) noexcept {
  bytes = Rounded(bytes);
  if (bytes == 0) return nullptr;
  {
    std::lock_guard lock(mutex_);
    // Most recently returned first: its pages are the likeliest to be resident.
    for (std::size_t i = count_; i-- > 0;) {
      if (free_[i].bytes == bytes) {
        void* buffer = free_[i].buffer;
        Remove(i);
        held_ -= bytes;
        return buffer;
      }
    }
  }
  return std::aligned_alloc(64, bytes);
}

void BufferPool::Give(void* buffer, std::size_t bytes) noexcept {
  if (buffer == nullptr) return;
  bytes = Rounded(bytes);
  if (bytes > kMaxHeldBytes) {
    std::free(buffer);
    return;
  }
  std::array<void*, kMaxHeldBuffers> dropped;
  std::size_t droppedCount = 0;
  {
    std::lock_guard lock(mutex_);
    while (count_ > 0 && (held_ + bytes > kMaxHeldBytes || count_ + 1 > kMaxHeldBuffers)) {
      dropped[droppedCount++] = free_[0].buffer;
      held_ -= free_[0].bytes;
      Remove(0);
    }
    free_[count_++] = {bytes, buffer};
    held_ += bytes;
  }
  for (std::size_t i = 0; i < droppedCount; ++i) std::free(dropped[i]);
}

std::size_t BufferPool::HeldBytes() {
  std::lock_guard lock(mutex_);
  return held_;
}

PoolBuffer::PoolBuffer(std::size_t bytes)
    : data_(static_cast<unsigned char*>(BufferPool::Shared().Take(bytes))),
      bytes_(data_ ? bytes : 0) {}

PoolBuffer::PoolBuffer(PoolBuffer&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)), bytes_(std::exchange(other.bytes_, 0)) {}

PoolBuffer& PoolBuffer::operator=(PoolBuffer&& other) noexcept {
  std::swap(data_, other.data_);
  std::swap(bytes_, other.bytes_);
  return *this;
}

PoolBuffer::~PoolBuffer() {
  BufferPool::Shared().Give(data_, bytes_);
}

}  // namespace host::imaging
