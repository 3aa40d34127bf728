#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "Errors.h"
#include "WinApi.h"

namespace {

/// What stands in front of a block. Its alignment keeps the block as aligned as malloc's.
struct alignas(std::max_align_t) BlockHeader {
  size_t size;
};

BlockHeader* HeaderOf(HLOCAL block) { return static_cast<BlockHeader*>(block) - 1; }

HLOCAL FailAllocation() {
  SetLastError(ERROR_NOT_ENOUGH_MEMORY);
  return nullptr;
}

bool IsTooLarge(SIZE_T size) {
  return size > std::numeric_limits<SIZE_T>::max() - sizeof(BlockHeader);
}

/// A pipe that carries one byte from a place in memory and back, so that the system tells what
/// happens there. Made anew each time: a child process would share one that is kept. The calls are
/// made directly because a checking runtime would take the look itself for a bad access.
class MemoryProbe {
 public:
  MemoryProbe() : isOpen_(::pipe2(ends_, O_CLOEXEC | O_NONBLOCK) == 0) {}
  ~MemoryProbe() {
    if (!isOpen_) return;
    ::close(ends_[0]);
    ::close(ends_[1]);
  }
  MemoryProbe(const MemoryProbe&) = delete;
  MemoryProbe& operator=(const MemoryProbe&) = delete;

  /// Without a pipe nothing is known against the place.
  bool CanRead(const unsigned char* place) const { return !isOpen_ || (Send(place) && Drain()); }
  /// Puts the byte back that is there.
  bool CanWrite(unsigned char* place) const {
    if (!isOpen_) return true;
    if (!Send(place)) return false;
    if (::syscall(SYS_read, ends_[0], place, size_t{1}) == 1) return true;
    Drain();
    return false;
  }

 private:
  bool Send(const unsigned char* place) const {
    return ::syscall(SYS_write, ends_[1], place, size_t{1}) == 1;
  }
  bool Drain() const {
    unsigned char unused = 0;
    return ::read(ends_[0], &unused, 1) == 1;
  }

  int ends_[2] = {-1, -1};
  bool isOpen_;
};

/// Tries the first byte, and the first of every page that the range reaches into.
template <class Try>
bool IsBad(const void* p, UINT_PTR size, Try tryPlace) {
  if (size == 0) return false;
  const auto start = reinterpret_cast<uintptr_t>(p);
  if (start == 0 || size - 1 > std::numeric_limits<uintptr_t>::max() - start) return true;
  const auto pageSize = static_cast<uintptr_t>(::sysconf(_SC_PAGESIZE));
  const uintptr_t last = start + (size - 1);
  for (uintptr_t place = start;;) {
    if (!tryPlace(reinterpret_cast<unsigned char*>(place))) return true;
    const uintptr_t rest = pageSize - place % pageSize;
    if (rest > last - place) return false;
    place += rest;
  }
}

}  // namespace

HLOCAL LocalAlloc(UINT flags, SIZE_T size) {
  if (IsTooLarge(size)) return FailAllocation();
  const size_t whole = sizeof(BlockHeader) + size;
  void* const memory = (flags & LMEM_ZEROINIT) != 0 ? std::calloc(1, whole) : std::malloc(whole);
  if (memory == nullptr) return FailAllocation();
  auto* const header = static_cast<BlockHeader*>(memory);
  header->size = size;
  return header + 1;
}

HLOCAL LocalReAlloc(HLOCAL block, SIZE_T size, UINT flags) {
  if (block == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
  }
  if (IsTooLarge(size)) return FailAllocation();
  const size_t oldSize = HeaderOf(block)->size;
  void* const memory = std::realloc(HeaderOf(block), sizeof(BlockHeader) + size);
  if (memory == nullptr) return FailAllocation();
  auto* const header = static_cast<BlockHeader*>(memory);
  header->size = size;
  auto* const data = reinterpret_cast<unsigned char*>(header + 1);
  if ((flags & LMEM_ZEROINIT) != 0 && size > oldSize) {
    std::memset(data + oldSize, 0, size - oldSize);
  }
  return data;
}

HLOCAL LocalFree(HLOCAL block) {
  if (block != nullptr) std::free(HeaderOf(block));
  return nullptr;
}

SIZE_T LocalSize(HLOCAL block) {
  if (block != nullptr) return HeaderOf(block)->size;
  SetLastError(ERROR_INVALID_HANDLE);
  return 0;
}

BOOL IsBadReadPtr(LPCVOID p, UINT_PTR size) {
  const MemoryProbe probe;
  return IsBad(p, size, [&](const unsigned char* place) { return probe.CanRead(place); });
}

BOOL IsBadWritePtr(LPVOID p, UINT_PTR size) {
  const MemoryProbe probe;
  return IsBad(p, size, [&](unsigned char* place) { return probe.CanWrite(place); });
}
