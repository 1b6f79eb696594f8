#include "host/imaging/BufferPool.h"

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
  static BufferPool* pool = new BufferPool;
  return *pool;
}

void* BufferPool::Take(std::size_t bytes) {
  bytes = Rounded(bytes);
  if (bytes == 0) return nullptr;
  {
    std::lock_guard lock(mutex_);
    // Most recently returned first: its pages are the likeliest to be resident.
    for (std::size_t i = free_.size(); i-- > 0;) {
      if (free_[i].bytes == bytes) {
        void* buffer = free_[i].buffer;
        free_.erase(free_.begin() + static_cast<std::ptrdiff_t>(i));
        held_ -= bytes;
        return buffer;
      }
    }
  }
  return std::aligned_alloc(64, bytes);
}

void BufferPool::Give(void* buffer, std::size_t bytes) {
  if (buffer == nullptr) return;
  bytes = Rounded(bytes);
  if (bytes > kMaxHeldBytes) {
    std::free(buffer);
    return;
  }
  std::vector<void*> dropped;
  {
    std::lock_guard lock(mutex_);
    while (!free_.empty() &&
           (held_ + bytes > kMaxHeldBytes || free_.size() + 1 > kMaxHeldBuffers)) {
      dropped.push_back(free_.front().buffer);
      held_ -= free_.front().bytes;
      free_.erase(free_.begin());
    }
    free_.push_back({bytes, buffer});
    held_ += bytes;
  }
  for (void* old : dropped) std::free(old);
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
