#include "LargestAllocation.h"

#include <atomic>

namespace kx_test {

namespace {

std::atomic<size_t> largest{0};

}  // namespace

#if defined(__SANITIZE_ADDRESS__)

extern "C" int __sanitizer_install_malloc_and_free_hooks(
    void (*onMalloc)(const volatile void* block, size_t size),
    void (*onFree)(const volatile void* block));

namespace {

void noteMalloc(const volatile void*, size_t size) {
  size_t before = largest;
  while (size > before && !largest.compare_exchange_weak(before, size)) {
  }
}
void noteFree(const volatile void*) {}

const int installed = __sanitizer_install_malloc_and_free_hooks(noteMalloc, noteFree);

}  // namespace

size_t largestAllocation() { return installed > 0 ? largest.load() : 0; }

#else

size_t largestAllocation() { return largest; }

#endif

void forgetAllocations() { largest = 0; }

}  // namespace kx_test
