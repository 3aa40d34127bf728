#include "Compression.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include "KxFormat.h"
#include "KxLittleEndian.h"
#include "kx_assert.h"

namespace kx_gen {

namespace {

constexpr char kSource[] = ".\\Compression";
enum : int {
  kLineNoBuffer = 44,
  kLineNoGrowth = 71,
};

constexpr uint64_t kBufferStep = 65536;
constexpr uint64_t kSizeMax = std::numeric_limits<uint32_t>::max();

// The coded block: a flag byte and three reserved ones, then the groups.
constexpr size_t kHeaderSize = format::kCodedFrontSize;
constexpr unsigned char kFlagCoded = format::kCodedGroups;
constexpr unsigned char kFlagCopied = format::kCodedPlain;
constexpr size_t kControlSize = format::kCodedControlSize;
constexpr unsigned kItemsPerGroup = format::kCodedItemsPerGroup;

// A copy item: length less one in the low half of its first byte, the offset in the other 12 bits.
constexpr size_t kCopyItemSize = format::kCodedCopySize;
constexpr size_t kMatchMin = 3;
constexpr size_t kMatchMax = 16;
constexpr uint32_t kOffsetMax = 4095;
constexpr size_t kGroupSizeMax = kControlSize + kItemsPerGroup * kCopyItemSize;
// A whole group may be coded without looking for the end while this much of the source is left.
constexpr size_t kGroupReach = kItemsPerGroup * kMatchMax;

constexpr size_t kHashSize = 4096;

inline uint64_t wordAt(const unsigned char* p) { return getLittleEndian(p, sizeof(uint64_t)); }

// The table's place for the three bytes that a word begins with.
inline unsigned hashOf(uint64_t word) {
  const auto first = static_cast<unsigned>(word & 0xFF);
  const auto second = static_cast<unsigned>((word >> 8) & 0xFF);
  const auto third = static_cast<unsigned>((word >> 16) & 0xFF);
  return ((40543u * ((first << 8) ^ (second << 4) ^ third)) >> 4) & (kHashSize - 1);
}

// Carries out a copy item at the end of `produced` bytes of output, which has room for 16 more.
// From before the start come zeros. Returns the item's length.
//
// Sixteen bytes are copied whatever the length is, because what is too much is written over by the
// next item: a copy that does not overlap itself takes one move, and no branch that depends on its
// length. Nearly all copies are such; the others go byte by byte, as a copy that repeats itself
// must.
inline size_t copyItem(const unsigned char* item, unsigned char* to, uint64_t produced) {
  const size_t length = (item[0] & format::kCodedCopyLengthMask) + 1u;
  const size_t offset = ((item[0] & 0xF0u) << 4) + item[1];
  if (offset >= sizeof(uint64_t) && offset <= produced) {
    std::memcpy(to, to - offset, sizeof(uint64_t));
    std::memcpy(to + sizeof(uint64_t), to + sizeof(uint64_t) - offset, sizeof(uint64_t));
  } else if (offset == 0 || offset > produced) {
    std::memset(to, 0, length);
  } else {
    for (size_t i = 0; i < length; ++i) to[i] = *(to + i - offset);
  }
  return length;
}

// Expands a group that is there whole, and gives the place behind it.
inline const unsigned char* expandGroup(const unsigned char* in, unsigned char* start,
                                        uint64_t& produced) {
  unsigned control = getLe16(in);
  in += kControlSize;
  unsigned char* out = start + produced;
  for (unsigned item = 0; item < kItemsPerGroup; ++item, control >>= 1) {
    if ((control & 1) == 0) {
      *out++ = *in++;
    } else {
      out += copyItem(in, out, static_cast<uint64_t>(out - start));
      in += kCopyItemSize;
    }
  }
  produced = static_cast<uint64_t>(out - start);
  return in;
}

// The same for a group that may be cut anywhere; what is left of it is the end.
const unsigned char* expandLastItems(const unsigned char* in, const unsigned char* end,
                                     unsigned char* start, uint64_t& produced) {
  unsigned control = getLe16(in);
  in += kControlSize;
  for (unsigned item = 0; item < kItemsPerGroup && in < end; ++item, control >>= 1) {
    if ((control & 1) == 0) {
      start[produced++] = *in++;
      continue;
    }
    if (static_cast<size_t>(end - in) < kCopyItemSize) return end;
    produced += copyItem(in, start + produced, produced);
    in += kCopyItemSize;
  }
  return in;
}

// Where a coding stands: what it reads next, where it writes, and the bits of its group so far. The
// loops keep it in registers, since bytes that are written might be anything that is in memory:
// that is half of the coder's speed.
struct Cursor {
  const unsigned char* in;
  unsigned char* out;
  unsigned control;
};

// The state of one coding, and what it has seen.
class Coder {
 public:
  Coder(const unsigned char* src, size_t len, unsigned char* dst)
      : src_(src), len_(len), dst_(dst) {}

  // The coded length; 0 when the coded form would pass the source's length.
  size_t run() {
    std::memset(dst_, 0, kHeaderSize);
    dst_[0] = kFlagCoded;
    Cursor at = {src_, dst_ + controlAt_ + kControlSize, 0};
    while (static_cast<size_t>(at.out - dst_) <= len_) {
      const auto left = static_cast<size_t>(src_ + len_ - at.in);
      if (left >= kGroupReach) {
        at = codeGroup(at);
      } else if (left == 0) {
        return finish(at);
      } else {
        if (left >= kMatchMax) {
          codeItem(at);
        } else {
          codeLiteral(at);
        }
        ++items_;
      }
      if (items_ == kItemsPerGroup) closeGroup(at);
    }
    return 0;
  }

 private:
  // All items of a group that the source has enough bytes for.
  Cursor codeGroup(Cursor at) {
    while (items_ < kItemsPerGroup) {
      const bool isLongest = codeItem(at);
      ++items_;
      if (isLongest) codeRun(at);
    }
    return at;
  }

  // The items behind one that took 16 bytes, as long as each repeats them. Each finds the one
  // before it in the table, under the same hash, and so is known without looking: a run takes 2 ns
  // an item instead of 6.
  void codeRun(Cursor& at) {
    const uint64_t first = wordAt(at.in - kMatchMax);
    const uint64_t second = wordAt(at.in - kMatchMax + sizeof(first));
    const unsigned char* const start = at.in;
    while (items_ < kItemsPerGroup && wordAt(at.in) == first &&
           wordAt(at.in + sizeof(first)) == second) {
      codeCopy(at, kMatchMax, kMatchMax);
      ++items_;
    }
    if (at.in != start) table_[hashOf(first)] = positionOf(at.in - kMatchMax);
  }

  // Words are compared, not bytes. The lengths that are by far the most frequent, 16 in a run and 3
  // in noise, have branches of their own: the processor guesses them and is at the next item before
  // this one's length is known, where it would otherwise wait 10 ns an item. Whether there is a
  // match at all is one question, not several: in noise nobody can guess the answers.
  bool codeItem(Cursor& at) {
    const uint64_t word = wordAt(at.in);
    uint32_t& entry = table_[hashOf(word)];
    const uint32_t position = positionOf(at.in);
    const uint32_t offset = position - entry;
    entry = position;
    const uint64_t reach = offset <= kOffsetMax ? ~uint64_t{0} : 0;
    const unsigned char* const match = at.in - (offset & reach);
    const uint64_t difference = (word ^ wordAt(match)) | ~reach;
    const uint64_t further = wordAt(at.in + sizeof(word)) ^ wordAt(match + sizeof(word));
    if ((difference | further) == 0) {
      codeCopy(at, offset, kMatchMax);
      return true;
    }
    if ((difference & 0xFFFFFF) != 0) {
      codeLiteral(at);
    } else if ((difference & 0xFF000000) != 0) {
      codeCopy(at, offset, kMatchMin);
    } else {
      codeCopy(at, offset, difference != 0 ? bytesBelow(difference) : 8 + bytesBelow(further));
    }
    return false;
  }

  // Counted so that no position reaches back to the 0 of an empty entry.
  uint32_t positionOf(const unsigned char* in) const {
    return static_cast<uint32_t>(in - src_) + kOffsetMax + 1;
  }

  // How many bytes below the first that differs are the same.
  static size_t bytesBelow(uint64_t difference) {
    return static_cast<size_t>(std::countr_zero(difference)) / 8;
  }

  static void codeCopy(Cursor& at, uint32_t offset, size_t length) {
    const size_t item = ((offset & 0xF00) >> 4) + (length - 1) + ((offset & 0xFF) << 8);
    putLe16(at.out, static_cast<uint16_t>(item));
    at.out += kCopyItemSize;
    at.in += length;
    at.control = (at.control >> 1) | 0x8000;
  }

  static void codeLiteral(Cursor& at) {
    *at.out++ = *at.in++;
    at.control >>= 1;
  }

  void closeGroup(Cursor& at) {
    putLe16(dst_ + controlAt_, static_cast<uint16_t>(at.control));
    controlAt_ = static_cast<size_t>(at.out - dst_);
    at.out += kControlSize;
    at.control = 0;
    items_ = 0;
  }

  // Writes the last control word, its first item at bit 0; one of a group without items is dropped.
  size_t finish(const Cursor& at) {
    const auto size = static_cast<size_t>(at.out - dst_);
    putLe16(dst_ + controlAt_, static_cast<uint16_t>(at.control >> (kItemsPerGroup - items_)));
    return items_ == 0 ? size - kControlSize : size;
  }

  const unsigned char* src_;
  size_t len_;
  unsigned char* dst_;
  size_t controlAt_ = kHeaderSize;
  unsigned items_ = 0;
  uint32_t table_[kHashSize] = {};
};

}  // namespace

// The working buffer, which copies of the object share.
struct CCompression::Buffer {
  std::atomic<long> owners{1};
  uint64_t capacity = kBufferStep;
  unsigned char* bytes = nullptr;
};

CCompression::CCompression() : buffer_(new Buffer) {
  buffer_->bytes = static_cast<unsigned char*>(std::malloc(kBufferStep));
  kx_Check(buffer_->bytes != nullptr, kSource, kLineNoBuffer);
}

CCompression::CCompression(const CCompression& other) : buffer_(other.buffer_) {
  ++buffer_->owners;
}

CCompression& CCompression::operator=(const CCompression& other) {
  ++other.buffer_->owners;
  release();
  buffer_ = other.buffer_;
  return *this;
}

CCompression::~CCompression() { release(); }

void CCompression::release() {
  if (--buffer_->owners > 0) return;
  std::free(buffer_->bytes);
  delete buffer_;
}

void CCompression::freeMem() {
  std::free(buffer_->bytes);
  buffer_->bytes = nullptr;
}

// Capacities are whole steps. What the buffer holds is kept.
bool CCompression::grow(uint64_t needed) {
  if (buffer_->bytes != nullptr && buffer_->capacity >= needed) return true;
  const uint64_t wanted = std::max(needed, buffer_->capacity);
  const uint64_t capacity = (wanted + kBufferStep - 1) / kBufferStep * kBufferStep;
  void* grown = capacity <= std::numeric_limits<size_t>::max()
                    ? std::realloc(buffer_->bytes, static_cast<size_t>(capacity))
                    : nullptr;
  if (!kx_Check(grown != nullptr, kSource, kLineNoGrowth)) return false;
  buffer_->bytes = static_cast<unsigned char*>(grown);
  buffer_->capacity = capacity;
  return true;
}

void CCompression::Compress(unsigned char* src, unsigned long len, unsigned char*& out,
                            unsigned long* outLen) {
  out = nullptr;
  if (outLen != nullptr) *outLen = 0;
  if (src == nullptr) len = 0;
  // The last group may be written before its end is compared with the source's length.
  if (len > kSizeMax || !grow(static_cast<uint64_t>(len) + kHeaderSize + kGroupSizeMax)) return;
  size_t coded = Coder(src, len, buffer_->bytes).run();
  if (coded == 0) {
    std::memset(buffer_->bytes, 0, kHeaderSize);
    buffer_->bytes[0] = kFlagCopied;
    if (len > 0) std::memcpy(buffer_->bytes + kHeaderSize, src, len);
    coded = kHeaderSize + len;
  }
  out = buffer_->bytes;
  if (outLen != nullptr) *outLen = static_cast<unsigned long>(coded);
}

void CCompression::Decompress(unsigned char* src, unsigned long len, unsigned char*& out,
                              unsigned long* outLen) {
  out = nullptr;
  if (outLen != nullptr) *outLen = 0;
  if (!grow(1)) return;
  uint64_t produced = 0;
  bool complete = true;
  if (src != nullptr && len > kHeaderSize) {
    complete = src[0] == kFlagCopied ? copyOut(src + kHeaderSize, len - kHeaderSize, produced)
                                     : expand(src + kHeaderSize, len - kHeaderSize, produced);
  }
  if (!complete) return;
  out = buffer_->bytes;
  if (outLen != nullptr) *outLen = static_cast<unsigned long>(produced);
}

bool CCompression::copyOut(const unsigned char* src, unsigned long len, uint64_t& produced) {
  if (!grow(len)) return false;
  std::memcpy(buffer_->bytes, src, len);
  produced = len;
  return true;
}

// Room for a whole group is made ahead of it, at least doubling the buffer, so that a long
// expansion copies each byte a bounded number of times.
bool CCompression::expand(const unsigned char* src, unsigned long len, uint64_t& produced) {
  const unsigned char* in = src;
  const unsigned char* const end = src + len;
  while (static_cast<size_t>(end - in) >= kControlSize) {
    if (produced + kGroupReach > buffer_->capacity && !grow(buffer_->capacity * 2)) return false;
    if (static_cast<size_t>(end - in) >= kGroupSizeMax) {
      in = expandGroup(in, buffer_->bytes, produced);
    } else {
      in = expandLastItems(in, end, buffer_->bytes, produced);
    }
  }
  return true;
}

}  // namespace kx_gen
