#include "FailingNew.h"

#include <cstdlib>
#include <new>

namespace {

constexpr long kAnyNumber = -1;

thread_local long allowedLeft = kAnyNumber;
thread_local long failuresLeft = 0;

bool mayAllocate() {
  if (allowedLeft == kAnyNumber) return true;
  if (allowedLeft > 0) {
    --allowedLeft;
    return true;
  }
  if (failuresLeft == kx_seam::AllocationLimit::kAllOthers) return false;
  if (failuresLeft == 0) return true;
  --failuresLeft;
  return false;
}

// Not from `malloc`, whose limits (LimitedMalloc.h) are not those of `new`.
void* allocate(std::size_t size) noexcept {
  return mayAllocate() ? std::calloc(1, size > 0 ? size : 1) : nullptr;
}

void* allocateOrThrow(std::size_t size) {
  void* const block = allocate(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

}  // namespace

namespace kx_seam {

AllocationLimit::AllocationLimit(long allowed, long failures) {
  allowedLeft = allowed;
  failuresLeft = failures;
}

AllocationLimit::~AllocationLimit() { allowedLeft = kAnyNumber; }

}  // namespace kx_seam

void* operator new(std::size_t size) { return allocateOrThrow(size); }
void* operator new[](std::size_t size) { return allocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { std::free(block); }
