// Reading what must be there.
#pragma once

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

/// Lengths up to this are allocated as they stand in the file; larger ones are compared first with
/// the bytes that are left.
constexpr uint32_t kTrustedLength = 64 * 1024;

/// How many of `wanted` bytes to allocate and ask for: all of them, or one more than the file has
/// left, which makes the read fail as it must.
inline uint32_t justified(CFileStream& stream, uint32_t wanted) {
  if (wanted <= kTrustedLength) return wanted;
  const uint64_t length = stream.GetLength();
  const uint64_t position = stream.GetPosition();
  const uint64_t left = length > position ? length - position : 0;
  return wanted > left ? static_cast<uint32_t>(left + 1) : wanted;
}

}  // namespace kx_gen
