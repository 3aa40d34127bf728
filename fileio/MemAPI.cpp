#include "MemAPI.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "kx_assert.h"

namespace {

constexpr char kSource[] = ".\\MemAPI";
enum : int {
  kLineGetPtrNull = 23,
  kLineReleaseNull = 33,
  kLineAllocEmpty = 40,
};

using SizeHeader = uint32_t;

// The whole block, its header too, is counted in 32 bits.
constexpr unsigned long kSizeMax = std::numeric_limits<uint32_t>::max() - sizeof(SizeHeader);

void setSize(void* handle, unsigned long size) {
  const auto header = static_cast<SizeHeader>(size);
  std::memcpy(handle, &header, sizeof(header));
}

void* newHandle(unsigned long size) {
  if (size > kSizeMax) return nullptr;
  void* handle = std::malloc(static_cast<size_t>(size) + sizeof(SizeHeader));
  if (handle != nullptr) setSize(handle, size);
  return handle;
}

}  // namespace

void* MemAlloc(unsigned long size) {
  kx_Check(size != 0, kSource, kLineAllocEmpty);
  return newHandle(size);
}

void* MemGetPtr(void* handle) {
  if (!kx_Check(handle != nullptr, kSource, kLineGetPtrNull)) return nullptr;
  return static_cast<unsigned char*>(handle) + sizeof(SizeHeader);
}

void MemReleasePtr(void* handle) { kx_Check(handle != nullptr, kSource, kLineReleaseNull); }

void MemFree(void* handle) { std::free(handle); }

void* MemRealloc(void* handle, unsigned long size) {
  if (handle == nullptr || size > kSizeMax) return nullptr;
  void* moved = std::realloc(handle, static_cast<size_t>(size) + sizeof(SizeHeader));
  if (moved != nullptr) setSize(moved, size);
  return moved;
}

// The copy starts at the source's header and takes as many bytes as the source has data: so the
// last bytes of the data are not copied. Callers have lived with that always.
void* MemDuplicate(void* handle) {
  if (handle == nullptr) return nullptr;
  const unsigned long size = MemGetSize(handle);
  void* copy = newHandle(size);
  if (copy == nullptr) return nullptr;
  const size_t copied = std::max<size_t>(size, sizeof(SizeHeader));
  std::memcpy(copy, handle, copied);
  std::memset(static_cast<unsigned char*>(copy) + copied, 0, size + sizeof(SizeHeader) - copied);
  return copy;
}

unsigned long MemGetSize(void* handle) {
  if (handle == nullptr) return 0;
  SizeHeader size = 0;
  std::memcpy(&size, handle, sizeof(size));
  return size;
}
