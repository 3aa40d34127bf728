/// The coder of drawings once more, written for clarity alone: what the library's is compared with.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Bytes.h"

namespace kx_test {

/// A literal byte, or a copy of `length` bytes from `offset` bytes back.
struct CodedItem {
  bool isCopy = false;
  unsigned char literal = 0;
  size_t length = 0;
  size_t offset = 0;
};

/// What the coder makes of a source, before it decides for or against the copied form.
std::vector<CodedItem> plainItems(const Bytes& source);

/// Header and groups of these items.
Bytes plainGroups(const std::vector<CodedItem>& items);

Bytes plainCompress(const Bytes& source);
Bytes plainDecompress(const Bytes& coded);

}  // namespace kx_test
