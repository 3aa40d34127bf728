#include "BufferManager.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

#include "kx_assert.h"

namespace kx_gen {

namespace {

constexpr char kSource[] = "BufferManager";
enum : int {
  kLineNoBuffer = 21,
  kLineNoBlock = 22,
  kLineGetNull = 31,
  kLineGetOutside = 32,
  kLineReadOutside = 40,
  kLineReadNull = 41,
  kLineReplaceOutside = 51,
  kLineReplaceNoSource = 52,
  kLineReplaceNull = 53,
  kLineReplaceLost = 54,
};

constexpr long kFailed = -1;
constexpr uint64_t kSizeMax = std::numeric_limits<uint32_t>::max();

}  // namespace

CBufferManager::CBufferManager(char** slot, unsigned long size, unsigned long capacity,
                               unsigned long block) {
  assignBuffer(slot, size, capacity, block);
}

void CBufferManager::assignBuffer(char** slot, unsigned long size, unsigned long capacity,
                                  unsigned long block) {
  kx_Check(capacity == 0 || (slot != nullptr && *slot != nullptr), kSource, kLineNoBuffer);
  kx_Check(block > 0, kSource, kLineNoBlock);
  const bool isSameOwner = hasOwnRoom() && slot == this->slot();
  slot_ = slot;
  if (isSameOwner) setOwnRoom();
  size_ = static_cast<uint32_t>(size);
  capacity_ = static_cast<uint32_t>(capacity);
  block_ = static_cast<uint32_t>(block);
}

void CBufferManager::setOwnRoom() {
  if (!hasOwnRoom()) slot_ = reinterpret_cast<char**>(reinterpret_cast<char*>(slot_) + 1);
}

char* CBufferManager::get(unsigned long pos) const {
  if (!kx_Check(bytes() != nullptr, kSource, kLineGetNull)) return nullptr;
  if (!kx_Check(pos < size_, kSource, kLineGetOutside)) return nullptr;
  return bytes() + pos;
}

void CBufferManager::read(unsigned long pos, char* dst, unsigned long len) const {
  const bool inside = len <= size_ && pos <= size_ - len && (len == 0 || bytes() != nullptr);
  kx_Check(inside, kSource, kLineReadOutside);
  if (!kx_Check(dst != nullptr, kSource, kLineReadNull) || len == 0) return;
  if (inside) {
    std::memcpy(dst, bytes() + pos, len);
  } else {
    std::memset(dst, 0, len);
  }
}

// A new buffer of whole blocks for `wanted` bytes: one block more than they fill.
long CBufferManager::grow(uint64_t wanted) {
  if (block_ == 0 || slot_ == nullptr) return kFailed;
  const uint64_t room = (wanted / block_ + 1) * block_;
  if (room > kSizeMax) return kFailed;
  auto* grown = static_cast<char*>(std::malloc(static_cast<size_t>(room)));
  if (grown == nullptr) return kFailed;
  if (size_ > 0 && *slot() != nullptr) std::memcpy(grown, *slot(), size_);
  freeBuffer();
  *slot() = grown;
  capacity_ = static_cast<uint32_t>(room);
  return 0;
}

// A deleted buffer has no room, whatever the capacity still says.
uint32_t CBufferManager::room() const { return bytes() != nullptr ? capacity_ : 0; }

// Bytes that a deleted buffer held are gone; an edit of them would read nothing.
bool CBufferManager::lostItsBytes() const { return bytes() == nullptr && size_ > 0; }

long CBufferManager::reserve(unsigned long extra) {
  if (extra > kSizeMax) return kFailed;
  const uint64_t wanted = static_cast<uint64_t>(size_) + extra;
  return wanted > room() ? grow(wanted) : 0;
}

long CBufferManager::replace(unsigned long pos, unsigned long oldLen, const char* src,
                             unsigned long newLen) {
  const bool inside = oldLen <= size_ && pos <= size_ - oldLen;
  if (!kx_Check(inside, kSource, kLineReplaceOutside)) return kFailed;
  if (!kx_Check(src != nullptr || newLen == 0, kSource, kLineReplaceNoSource)) return kFailed;
  if (newLen > kSizeMax) return kFailed;
  if (!kx_Check(!lostItsBytes(), kSource, kLineReplaceLost)) return kFailed;
  const char* const old = bytes();
  if (newLen > 0 && old != nullptr && src >= old && src < old + capacity_) {
    return replaceFromInside(pos, oldLen, src, newLen);
  }
  const uint64_t newSize = static_cast<uint64_t>(size_) + newLen - oldLen;
  if (newSize > room() && grow(newSize) != 0) return kFailed;
  char* const buffer = bytes();
  const size_t tail = size_ - pos - oldLen;
  if (tail > 0 && newLen != oldLen)
    std::memmove(buffer + pos + newLen, buffer + pos + oldLen, tail);
  if (newLen > 0) std::memcpy(buffer + pos, src, newLen);
  size_ = static_cast<uint32_t>(newSize);
  kx_Check(buffer != nullptr, kSource, kLineReplaceNull);
  return 0;
}

// A source inside the buffer would move, or be freed, under the copy.
long CBufferManager::replaceFromInside(unsigned long pos, unsigned long oldLen, const char* src,
                                       unsigned long newLen) {
  const auto available = static_cast<size_t>(bytes() + capacity_ - src);
  if (!kx_Check(newLen <= available, kSource, kLineReplaceNoSource)) return kFailed;
  auto* copy = static_cast<char*>(std::malloc(newLen));
  if (copy == nullptr) return kFailed;
  std::memcpy(copy, src, newLen);
  const long result = replace(pos, oldLen, copy, newLen);
  std::free(copy);
  return result;
}

long CBufferManager::insert(unsigned long pos, const char* src, unsigned long len) {
  return replace(pos, 0, src, len);
}

void CBufferManager::erase(unsigned long pos, long len) {
  if (len > 0) replace(pos, static_cast<unsigned long>(len), nullptr, 0);
}

void CBufferManager::write(unsigned long pos, const char* src, unsigned long len) {
  replace(pos, len, src, len);
}

void CBufferManager::resize() {
  if (block_ == 0 || slot_ == nullptr || lostItsBytes()) return;
  const uint64_t wanted = (static_cast<uint64_t>(size_) / block_ + 1) * block_;
  if (wanted == capacity_ || wanted > kSizeMax) return;
  const uint32_t before = capacity_;
  capacity_ = static_cast<uint32_t>(wanted);
  auto* fitted = static_cast<char*>(std::malloc(static_cast<size_t>(wanted)));
  if (fitted == nullptr) {
    // The capacity may understate the buffer, but must never overstate it.
    if (capacity_ > before) capacity_ = before;
    return;
  }
  if (size_ > 0 && *slot() != nullptr) std::memcpy(fitted, *slot(), size_);
  freeBuffer();
  *slot() = fitted;
}

void CBufferManager::deleteBuff() {
  if (slot_ == nullptr) return;
  freeBuffer();
  *slot() = nullptr;
}

void CBufferManager::freeBuffer() {
  if (hasOwnRoom() && *slot() == reinterpret_cast<char*>(slot()) - kOwnRoomSize) return;
  std::free(*slot());
}

}  // namespace kx_gen
