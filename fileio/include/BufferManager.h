/// Editing a growable byte buffer that somebody else owns.
#pragma once

#include <cstdint>

#include "KxPlatform.h"

namespace kx_gen {

/// How large a buffer inside of its owner is. Most rows fit: their fields take 131 bytes, and the
/// text what it is long. With this room the allocation of a row takes 256 bytes.
constexpr unsigned long kOwnRoomSize = 184;

/// Edits the bytes at `*slot`, where `slot` is the owner's own pointer, so that the owner always
/// sees the current buffer. Buffers come from `malloc`, save for one that is a part of the owner,
/// and belong to the slot's owner; this class frees one only when it replaces it, or in
/// `deleteBuff`. Copies edit the same slot.
class KX_API CBufferManager {
 public:
  /// `size` bytes of the `capacity` allocated at `*slot` are in use; growth is in whole blocks of
  /// `block` bytes, which must not be 0. Nothing is copied or freed.
  CBufferManager(char** slot, unsigned long size, unsigned long capacity, unsigned long block);
  CBufferManager(const CBufferManager&) = default;
  CBufferManager& operator=(const CBufferManager&) = default;
  ~CBufferManager() = default;

  /// As the constructor; what was edited before is forgotten, not freed.
  void assignBuffer(char** slot, unsigned long size, unsigned long capacity, unsigned long block);
  /// Says that the `kOwnRoomSize` bytes in front of the slot are a part of the slot's owner: as a
  /// buffer they are replaced as any other, but never freed.
  void setOwnRoom();
  unsigned long size() const { return size_; }  ///< Bytes in use.
  /// The byte at `pos`, valid until the next edit; null, after an assertion, outside the size.
  char* get(unsigned long pos) const;
  /// Copies `len` bytes from `pos` to `dst`; zeros, after an assertion, outside the size.
  void read(unsigned long pos, char* dst, unsigned long len) const;
  /// Puts `newLen` bytes from `src` (which may lie inside the buffer) in place of the `oldLen`
  /// bytes at `pos`. 0, or -1 with nothing changed when memory ran out or the place is outside the
  /// size.
  long replace(unsigned long pos, unsigned long oldLen, const char* src, unsigned long newLen);
  /// `replace` of nothing by `len` bytes.
  long insert(unsigned long pos, const char* src, unsigned long len);
  /// Takes `len` bytes out; 0 or less does nothing. The capacity stays.
  void erase(unsigned long pos, long len);
  /// Overwrites `len` bytes; nothing, after an assertion, beyond the size.
  void write(unsigned long pos, const char* src, unsigned long len);
  /// Fits the capacity to the size: one block more than the whole blocks that it fills.
  void resize();
  /// Frees the buffer and clears the slot; size and capacity stay, so assign a new buffer before
  /// the next edit: until then edits are refused.
  void deleteBuff();
  /// Makes room for `extra` bytes beyond the size, without changing it; 0 or -1.
  long reserve(unsigned long extra);

 protected:
  /// The buffer; null when there is none.
  char* bytes() const { return slot_ != nullptr ? *slot() : nullptr; }

 private:
  uint32_t room() const;
  bool lostItsBytes() const;
  long grow(uint64_t wanted);
  long replaceFromInside(unsigned long pos, unsigned long oldLen, const char* src,
                         unsigned long newLen);

  void freeBuffer();

  /// Whether the owner has room of its own stands in the lowest bit of the address, which pointers
  /// leave free: a manager has four fields, on every system.
  char** slot() const {
    const auto mark = reinterpret_cast<uintptr_t>(slot_) & 1;
    return reinterpret_cast<char**>(reinterpret_cast<char*>(slot_) - mark);
  }
  bool hasOwnRoom() const { return (reinterpret_cast<uintptr_t>(slot_) & 1) != 0; }

  char** slot_ = nullptr;
  uint32_t capacity_ = 0;
  uint32_t size_ = 0;
  uint32_t block_ = 0;
};

}  // namespace kx_gen
