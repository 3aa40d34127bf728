/// The tags of a block, for telling of those that nothing here knows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kxo {

struct TagEntry {
  uint32_t id;
  uint32_t sizeBytes;  ///< Of its data.
};

/// The entries of a block of tagged data, as far as it is sound.
std::vector<TagEntry> ListTags(const unsigned char* block, size_t sizeBytes);

}  // namespace kxo
