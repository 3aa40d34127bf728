#include "HandleTable.h"

#include <fcntl.h>

#include <climits>
#include <mutex>
#include <new>
#include <unordered_map>

#include "Errors.h"

namespace kx_posix {
namespace {

/// Never destroyed: files of static life are closed after the library's own statics are gone. In
/// static storage: closing a file must not need memory, not even as the first thing done.
struct Table {
  std::mutex mutex;
  std::unordered_map<int, HandleInfo> byDescriptor;
};

Table& TheTable() {
  alignas(Table) static unsigned char storage[sizeof(Table)];
  static auto* const table = new (storage) Table;
  return *table;
}

std::optional<HandleInfo> Find(int fd) {
  Table& table = TheTable();
  const std::lock_guard<std::mutex> lock(table.mutex);
  const auto found = table.byDescriptor.find(fd);
  if (found == table.byDescriptor.end()) return std::nullopt;
  return found->second;
}

DWORD AccessFromFlags(int flags) {
  switch (flags & O_ACCMODE) {
    case O_RDONLY:
      return GENERIC_READ;
    case O_WRONLY:
      return GENERIC_WRITE;
    default:
      return GENERIC_READ | GENERIC_WRITE;
  }
}

}  // namespace

int DescriptorOf(HANDLE handle) {
  const auto value = reinterpret_cast<intptr_t>(handle);
  return value >= 0 && value <= INT_MAX ? static_cast<int>(value) : -1;
}

HANDLE HandleOf(int fd) { return reinterpret_cast<HANDLE>(static_cast<intptr_t>(fd)); }

void RememberHandle(int fd, const HandleInfo& info) {
  Table& table = TheTable();
  const std::lock_guard<std::mutex> lock(table.mutex);
  table.byDescriptor[fd] = info;
}

void ForgetHandle(int fd) {
  Table& table = TheTable();
  const std::lock_guard<std::mutex> lock(table.mutex);
  table.byDescriptor.erase(fd);
}

std::optional<DWORD> AccessOf(int fd) {
  if (const std::optional<HandleInfo> info = Find(fd)) return info->access;
  const int flags = ::fcntl(fd, F_GETFL);
  if (flags != -1) return AccessFromFlags(flags);
  FailFromErrno();
  return std::nullopt;
}

}  // namespace kx_posix
