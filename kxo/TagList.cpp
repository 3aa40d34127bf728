#include "TagList.h"

#include "KxFormat.h"
#include "KxLittleEndian.h"

namespace kxo {

namespace format = kx_gen::format;

std::vector<TagEntry> ListTags(const unsigned char* block, size_t sizeBytes) {
  std::vector<TagEntry> tags;
  size_t pos = 0;
  while (sizeBytes - pos >= format::kTagSize) {
    const unsigned char* tag = block + pos;
    const TagEntry entry = {kx_gen::getLe32(tag + format::kTagIdOffset),
                            kx_gen::getLe32(tag + format::kTagLengthOffset)};
    const size_t room = sizeBytes - pos - format::kTagSize;
    if (kx_gen::getLe16(tag) != format::kTagCode || entry.sizeBytes > room) break;
    tags.push_back(entry);
    pos += format::kTagSize + entry.sizeBytes;
  }
  return tags;
}

}  // namespace kxo
