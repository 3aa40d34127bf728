#include "Compression.h"

#include <algorithm>
#include <atomic>
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
constexpr size_t kOffsetMax = 4095;
constexpr size_t kGroupSizeMax = kControlSize + kItemsPerGroup * kCopyItemSize;
// A whole group may be coded without looking for the end while this much of the source is left.
constexpr size_t kGroupReach = kItemsPerGroup * kMatchMax;

constexpr size_t kHashSize = 4096;

inline unsigned hashOf(const unsigned char* p) {
  const unsigned key = (((static_cast<unsigned>(p[0]) << 4) ^ p[1]) << 4) ^ p[2];
  return ((40543u * key) >> 4) & (kHashSize - 1);
}

// Carries out a copy item at the end of `produced` bytes of output: byte by byte, since a copy may
// overlap itself. From before the start come zeros. Returns the item's length.
size_t copyItem(const unsigned char* item, unsigned char* to, uint64_t produced) {
  const size_t length = (item[0] & format::kCodedCopyLengthMask) + 1u;
  const size_t offset = ((item[0] & 0xF0u) << 4) + item[1];
  if (offset == 0 || offset > produced) {
    std::memset(to, 0, length);
  } else {
    for (size_t i = 0; i < length; ++i) to[i] = *(to + i - offset);
  }
  return length;
}

// The state of one coding: where it reads, where it writes, and what it has seen.
class Coder {
 public:
  Coder(const unsigned char* src, size_t len, unsigned char* dst)
      : src_(src), len_(len), dst_(dst) {}

  // The coded length; 0 when the coded form would pass the source's length.
  size_t run() {
    std::memset(dst_, 0, kHeaderSize);
    dst_[0] = kFlagCoded;
    while (out_ <= len_) {
      if (in_ + kGroupReach <= len_) {
        for (unsigned i = 0; i < kItemsPerGroup; ++i) codeItem();
      } else if (in_ == len_) {
        return finish();
      } else if (in_ + kMatchMax <= len_) {
        codeItem();
      } else {
        codeLiteral();
      }
      if (items_ == kItemsPerGroup) closeGroup();
    }
    return 0;
  }

 private:
  // Positions are kept one up, so that the empty table needs no other mark than 0.
  void codeItem() {
    const unsigned char* const p = src_ + in_;
    uint32_t& entry = table_[hashOf(p)];
    const size_t candidate = entry;
    entry = static_cast<uint32_t>(in_ + 1);
    const size_t offset = in_ + 1 - candidate;
    const unsigned char* const match = p - offset;
    if (candidate == 0 || offset > kOffsetMax || std::memcmp(match, p, kMatchMin) != 0) {
      codeLiteral();
      return;
    }
    size_t length = kMatchMin;
    while (length < kMatchMax && match[length] == p[length]) ++length;
    dst_[out_] = static_cast<unsigned char>(((offset & 0xF00) >> 4) + (length - 1));
    dst_[out_ + 1] = static_cast<unsigned char>(offset);
    out_ += kCopyItemSize;
    in_ += length;
    control_ = (control_ >> 1) | 0x8000;
    ++items_;
  }

  void codeLiteral() {
    dst_[out_++] = src_[in_++];
    control_ >>= 1;
    ++items_;
  }

  void closeGroup() {
    putLe16(dst_ + controlAt_, static_cast<uint16_t>(control_));
    controlAt_ = out_;
    out_ += kControlSize;
    control_ = 0;
    items_ = 0;
  }

  // Writes the last control word, its first item at bit 0; one of a group without items is dropped.
  size_t finish() {
    control_ >>= kItemsPerGroup - items_;
    putLe16(dst_ + controlAt_, static_cast<uint16_t>(control_));
    return items_ == 0 ? out_ - kControlSize : out_;
  }

  const unsigned char* src_;
  size_t len_;
  unsigned char* dst_;
  size_t in_ = 0;
  size_t controlAt_ = kHeaderSize;
  size_t out_ = kHeaderSize + kControlSize;
  unsigned control_ = 0;
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
  unsigned long in = 0;
  while (in + kControlSize <= len) {
    if (produced + kGroupReach > buffer_->capacity && !grow(buffer_->capacity * 2)) return false;
    unsigned control = getLe16(src + in);
    in += kControlSize;
    for (unsigned item = 0; item < kItemsPerGroup && in < len; ++item, control >>= 1) {
      if ((control & 1) == 0) {
        buffer_->bytes[produced++] = src[in++];
        continue;
      }
      if (in + kCopyItemSize > len) return true;
      produced += copyItem(src + in, buffer_->bytes + produced, produced);
      in += kCopyItemSize;
    }
  }
  return true;
}

}  // namespace kx_gen
