#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "File.h"
#include "MemAPI.h"
#include "Throw.h"

namespace kx_gen {

namespace {

constexpr char kSource[] = ".\\File";
enum : int {
  kLineAttached = 1253,
  kLineFreeNull = 1300,
  kLineMayNotGrow = 1321,
  kLineThrowMayNotGrow = 1324,
  kLineThrowNoMemory = 1340,
  kLineReadNull = 1370,
  kLineReadRoom = 1371,
  kLineWriteNull = 1397,
  kLineWriteSource = 1398,
  kLineSeekOrigin = 1420,
  kLineThrowBadSeek = 1425,
  kLineCloseBlock = 1453,
  kLineCloseLength = 1454,
  kLineAssertValid = 1460,
  kLineBufferCommand = 1477,
  kLineCommitStart = 1485,
  kLineBufferRange = 1493,
  kLineBufferStart = 1494,
  kLineBufferEnd = 1495,
  kLineSetHandleTwice = 1541,
  kLineSetHandleBuffer = 1542,
  kLineSetHandlePosition = 1543,
  kLineAllocTwice = 1553,
  kLineReallocNoHandle = 1564,
  kLineFreeNoHandle = 1576,
  kLineDetachNoHandle = 1584,
};

constexpr unsigned long kFailed = 0xFFFFFFFF;
constexpr uint64_t kSizeMax = std::numeric_limits<uint32_t>::max();
constexpr int64_t kPositionMax = 0xFFFFFFFE;  // all ones is a failed seek
constexpr unsigned int kToTheEnd = 0xFFFFFFFF;

[[noreturn]] void throwOutOfMemory(int line) {
  throwTraced(kSource, line, kMsgOutOfMemory, numberOf(kMsgOutOfMemory));
}

[[noreturn]] void refuseGrowth() {
  kx_Check(false, kSource, kLineMayNotGrow);
  throwOutOfMemory(kLineThrowMayNotGrow);
}

void giveAddress(void** out, unsigned char* address) {
  if (out != nullptr) *out = address;
}

}  // namespace

MemFile::MemFile(unsigned int growBytes) : growBytes_(growBytes) {}

MemFile::MemFile(unsigned char* buffer, unsigned int size, unsigned int growBytes) {
  MemFile::Attach(buffer, size, growBytes);
}

MemFile::~MemFile() {
  if (buffer_ != nullptr) MemFile::Close();
}

void MemFile::Attach(unsigned char* buffer, unsigned int size, unsigned int growBytes) {
  if (!kx_Check(buffer_ == nullptr, kSource, kLineAttached)) MemFile::Close();
  growBytes_ = growBytes;
  position_ = 0;
  buffer_ = buffer;
  capacity_ = buffer != nullptr ? size : 0;
  length_ = growBytes == 0 ? capacity_ : 0;
  autoDelete_ = false;
}

unsigned char* MemFile::Detach() {
  unsigned char* block = buffer_;
  position_ = 0;
  capacity_ = 0;
  length_ = 0;
  buffer_ = nullptr;
  return block;
}

unsigned char* MemFile::Alloc(unsigned long size) {
  return static_cast<unsigned char*>(std::malloc(size));
}

unsigned char* MemFile::Realloc(unsigned char* block, unsigned long size) {
  return static_cast<unsigned char*>(std::realloc(block, size));
}

void MemFile::Free(unsigned char* block) {
  kx_Check(block != nullptr, kSource, kLineFreeNull);
  std::free(block);
}

void MemFile::GrowFile(unsigned long needed) {
  if (needed <= capacity_) return;
  if (growBytes_ == 0) refuseGrowth();
  const uint64_t wanted = needed;
  const uint64_t missing = wanted - capacity_;
  const uint64_t steps = (missing + growBytes_ - 1) / growBytes_;
  const bool possible = wanted <= kSizeMax && steps <= (kSizeMax - capacity_) / growBytes_;
  const uint64_t capacity = possible ? capacity_ + steps * growBytes_ : 0;
  unsigned char* grown = nullptr;
  if (possible) {
    const auto size = static_cast<unsigned long>(capacity);
    grown = buffer_ != nullptr ? Realloc(buffer_, size) : Alloc(size);
  }
  if (grown == nullptr) throwOutOfMemory(kLineThrowNoMemory);
  if (buffer_ == nullptr) autoDelete_ = true;  // the file's own block, whatever was attached before
  std::memset(grown + capacity_, 0, static_cast<size_t>(capacity) - capacity_);
  buffer_ = grown;
  capacity_ = static_cast<uint32_t>(capacity);
}

// Sums may need more than the 32 bits that GrowFile takes on some systems.
void MemFile::makeRoom(uint64_t needed) {
  if (needed <= capacity_) return;
  if (needed > kSizeMax && growBytes_ == 0) refuseGrowth();
  if (needed > kSizeMax) throwOutOfMemory(kLineThrowNoMemory);
  GrowFile(static_cast<unsigned long>(needed));
}

unsigned int MemFile::Read(void* data, unsigned int count) {
  if (count == 0) return 0;
  kx_Check(data != nullptr, kSource, kLineReadNull);
  if (!kx_Check(data != nullptr, kSource, kLineReadRoom) || position_ > length_) return 0;
  const unsigned int available = std::min(count, length_ - position_);
  if (available > 0) std::memmove(data, buffer_ + position_, available);
  position_ += available;
  return available;
}

unsigned int MemFile::Write(const void* data, unsigned int count) {
  if (count == 0) return 0;
  kx_Check(data != nullptr, kSource, kLineWriteNull);
  if (!kx_Check(data != nullptr, kSource, kLineWriteSource)) return 0;
  const uint64_t end = static_cast<uint64_t>(position_) + count;
  // A source inside the block moves with it when the block grows.
  const auto offset = reinterpret_cast<uintptr_t>(data) - reinterpret_cast<uintptr_t>(buffer_);
  const bool isInside = offset < capacity_;
  makeRoom(end);
  std::memmove(buffer_ + position_, isInside ? buffer_ + offset : data, count);
  position_ = static_cast<uint32_t>(end);
  length_ = std::max(length_, position_);
  return count;
}

unsigned long MemFile::Seek(long offset, unsigned int from) {
  const int64_t origins[] = {0, position_, length_};
  if (!kx_Check(from < std::size(origins), kSource, kLineSeekOrigin)) return kFailed;
  const int64_t origin = origins[from];
  if (offset < -origin || offset > kPositionMax - origin) {
    traceThrow(kSource, kLineThrowBadSeek);
    _ThrowFileException(CFileException::badSeek, 0, nullptr);
  }
  position_ = static_cast<uint32_t>(origin + offset);
  return position_;
}

unsigned long MemFile::GetPosition() const { return position_; }

void MemFile::Flush() {}

void MemFile::SetLength(unsigned long length) {
  if (length > capacity_) GrowFile(length);
  length_ = static_cast<uint32_t>(length);
  position_ = std::min(position_, length_);
}

bool MemFile::isBlockValid() const { return buffer_ != nullptr || capacity_ == 0; }

void MemFile::Close() {
  kx_Check(isBlockValid(), kSource, kLineCloseBlock);
  kx_Check(length_ <= capacity_, kSource, kLineCloseLength);
  growBytes_ = 0;
  position_ = 0;
  capacity_ = 0;
  length_ = 0;
  unsigned char* block = buffer_;
  buffer_ = nullptr;
  if (autoDelete_ && block != nullptr) Free(block);
}

void MemFile::AssertValid() const {
  kx_Check(isBlockValid() && length_ <= capacity_, kSource, kLineAssertValid);
}

// A derived class's Free may throw whatever it likes; an abort goes through all the same.
void MemFile::Abort() {
  try {
    Close();
  } catch (CException* e) {
    if (e != nullptr) e->Delete();
  } catch (...) {
    return;
  }
}

unsigned int MemFile::GetBufferPtr(unsigned int command, unsigned int count, void** start,
                                   void** end) {
  kx_Check(command <= bufferCheck, kSource, kLineBufferCommand);
  if (command == bufferCheck) return 1;
  if (command == bufferCommit) {
    kx_Check(start == nullptr, kSource, kLineCommitStart);
    commit(count);
    return 0;
  }
  const bool isTransfer = kx_Check(command <= bufferWrite, kSource, kLineBufferRange);
  kx_Check(start != nullptr, kSource, kLineBufferStart);
  kx_Check(end != nullptr, kSource, kLineBufferEnd);
  if (!isTransfer) return 0;
  return command == bufferWrite ? roomFor(count, start, end) : takeContent(count, start, end);
}

void MemFile::commit(unsigned int count) {
  const uint32_t taken = std::min(count, capacity_ - std::min(position_, capacity_));
  if (taken == 0) return;
  position_ += taken;
  length_ = std::max(length_, position_);
}

unsigned int MemFile::roomFor(unsigned int count, void** start, void** end) {
  const uint64_t wanted = static_cast<uint64_t>(position_) + count;
  makeRoom(wanted);
  const uint32_t from = std::min(position_, capacity_);
  const auto to = static_cast<uint32_t>(std::min<uint64_t>(wanted, capacity_));
  giveAddress(start, buffer_ + from);
  giveAddress(end, buffer_ + to);
  return to - from;
}

unsigned int MemFile::takeContent(unsigned int count, void** start, void** end) {
  if (count == kToTheEnd) count = capacity_;
  const uint32_t from = std::min(position_, length_);
  const uint64_t wanted = static_cast<uint64_t>(from) + count;
  const auto to = static_cast<uint32_t>(std::min<uint64_t>(wanted, length_));
  giveAddress(start, buffer_ + from);
  giveAddress(end, buffer_ + to);
  position_ = to;
  return to - from;
}

SharedFile::SharedFile(unsigned int allocFlags, unsigned int growBytes)
    : MemFile(growBytes), allocFlags_(allocFlags) {}

// Here, while the block's Free is still this class's own.
SharedFile::~SharedFile() {
  if (buffer_ != nullptr) SharedFile::Close();
}

unsigned char* SharedFile::Alloc(unsigned long size) {
  kx_Check(handle_ == nullptr, kSource, kLineAllocTwice);
  handle_ = MemAlloc(size);
  return handle_ != nullptr ? static_cast<unsigned char*>(MemGetPtr(handle_)) : nullptr;
}

unsigned char* SharedFile::Realloc(unsigned char* block, unsigned long size) {
  static_cast<void>(block);
  if (!allowGrow_) return nullptr;
  kx_Check(handle_ != nullptr, kSource, kLineReallocNoHandle);
  MemReleasePtr(handle_);
  void* moved = MemRealloc(handle_, size);
  if (moved == nullptr) return nullptr;
  handle_ = moved;
  return static_cast<unsigned char*>(MemGetPtr(handle_));
}

void SharedFile::Free(unsigned char* block) {
  static_cast<void>(block);
  kx_Check(handle_ != nullptr, kSource, kLineFreeNoHandle);
  MemReleasePtr(handle_);
  MemFree(handle_);
  handle_ = nullptr;
}

void SharedFile::SetHandle(void* handle, int allowGrow) {
  kx_Check(handle_ == nullptr, kSource, kLineSetHandleTwice);
  kx_Check(buffer_ == nullptr, kSource, kLineSetHandleBuffer);
  kx_Check(position_ == 0, kSource, kLineSetHandlePosition);
  if (handle_ != handle) MemFree(handle_);  // the file's own until now
  handle_ = handle;
  buffer_ = static_cast<unsigned char*>(MemGetPtr(handle));
  capacity_ = static_cast<uint32_t>(MemGetSize(handle));
  length_ = capacity_;
  allowGrow_ = allowGrow != 0;
  autoDelete_ = true;
}

// The position stays; the length cannot, without a block.
void* SharedFile::Detach() {
  kx_Check(handle_ != nullptr, kSource, kLineDetachNoHandle);
  void* handle = handle_;
  handle_ = nullptr;
  buffer_ = nullptr;
  capacity_ = 0;
  length_ = 0;
  return handle;
}

}  // namespace kx_gen
