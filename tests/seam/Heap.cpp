#include "Heap.h"

#include <cerrno>
#include <cstdlib>

#include "LimitedMalloc.h"

namespace {

thread_local long blocks = 0;  // allocated and not freed by this thread, as far as it was watched
thread_local bool isFailing = false;
thread_local bool failsOn = false;
thread_local long left = 0;

}  // namespace

namespace kx_seam {

FailingAllocation::FailingAllocation(long nth, bool goesOn) {
  left = nth;
  failsOn = goesOn;
  isFailing = true;
}

FailingAllocation::~FailingAllocation() { isFailing = false; }

bool FailingAllocation::HasFailed() { return left <= 0; }

long countBlocks() { return blocks; }

bool mayAllocate() {
  if (!isFailing) return true;
  --left;
  const bool fails = failsOn ? left <= 0 : left == 0;
  if (fails) errno = ENOMEM;
  return !fails;
}

}  // namespace kx_seam

namespace {

void* counted(void* block) {
  if (block != nullptr) ++blocks;
  return block;
}

}  // namespace

// The linker leads the program's calls of the heap here (--wrap); what it renames is reserved.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* block, size_t size);
void __real_free(void* block);

void* __wrap_malloc(size_t size) {
  if (!kx_seam::isGranted(size) || !kx_seam::mayAllocate()) return nullptr;
  return counted(__real_malloc(size));
}

void* __wrap_calloc(size_t count, size_t size) {
  return kx_seam::mayAllocate() ? counted(__real_calloc(count, size)) : nullptr;
}

void* __wrap_realloc(void* block, size_t size) {
  if (!kx_seam::isGranted(size) || !kx_seam::mayAllocate()) return nullptr;
  void* const moved = __real_realloc(block, size);
  return block == nullptr ? counted(moved) : moved;
}

void __wrap_free(void* block) {
  if (block != nullptr) --blocks;
  __real_free(block);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
