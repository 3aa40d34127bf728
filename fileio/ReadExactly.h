// Reading what must be there.
#pragma once

#include <limits>

#include "FileStream.h"
#include "TagAccess.h"
#include "Throw.h"

namespace kx_gen {

/// Reads `count` bytes. A disk file throws by itself when they are not there; a memory file answers
/// with fewer, which throws here what a disk file would.
inline void readExactly(CFileStream& stream, void* dst, unsigned int count, SourceLine where) {
  if (stream.Read(dst, count) == count) return;
  throwTraced(where.file, where.line, kMsgReadError, numberOf(kMsgReadError));
}

/// Lengths that a memory file, which does not tell how much it has left, is trusted with.
constexpr uint32_t kTrustedLength = 64 * 1024;

/// How many of `wanted` bytes to allocate and ask for: all of them, or one more than the file has
/// left, which makes the read fail as it must.
inline uint32_t justified(CFileStream& stream, uint32_t wanted) {
  uint64_t left = stream.GetBytesLeft();
  const bool tells = left != std::numeric_limits<uint64_t>::max();
  if (!tells && wanted <= kTrustedLength) return wanted;
  if (!tells) {
    const uint64_t length = stream.GetLength();
    const uint64_t position = stream.GetPosition();
    left = length > position ? length - position : 0;
  }
  return wanted > left ? static_cast<uint32_t>(left + 1) : wanted;
}

}  // namespace kx_gen
