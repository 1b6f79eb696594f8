// Replaces the program's operator new and aligned_alloc with versions that can fail on demand
// (see AllocationFailure.h). Memory comes from malloc and posix_memalign and goes back with free.
#include "tests/host/AllocationFailure.h"

#include <cstdlib>
#include <new>

namespace {

thread_local long tCountdown = -1;  // allocations left before the failing one; -1: none armed
thread_local bool tReached = false;

bool FailsNow() {
  if (tCountdown < 0) return false;
  if (tCountdown-- > 0) return false;
  tReached = true;  // the countdown is now -1: later allocations succeed
  return true;
}

void* Allocate(std::size_t size) {
  return std::malloc(size == 0 ? 1 : size);
}

}  // namespace

namespace alloctest {

void ArmFailure(long at) {
  tReached = false;
  tCountdown = at;
}

bool DisarmFailure() {
  tCountdown = -1;
  return tReached;
}

}  // namespace alloctest

void* operator new(std::size_t size) {
  void* memory = FailsNow() ? nullptr : Allocate(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void* operator new[](std::size_t size) {
  return operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return FailsNow() ? nullptr : Allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return operator new(size, tag);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}

extern "C" void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  void* memory = nullptr;
  if (alignment < sizeof(void*)) alignment = sizeof(void*);  // as posix_memalign requires
  if (FailsNow() || posix_memalign(&memory, alignment, size) != 0) return nullptr;
  return memory;
}

// OpenCV does not free its work space when an allocation inside it fails (a failing allocation in
// cv::SVD::compute leaks the matrices it had made, even when OpenCV is called alone). Those leaks
// are OpenCV's, made only by the failures this program injects, so leak checking leaves them out.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libopencv_core.so\n";
}
