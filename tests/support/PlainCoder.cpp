#include "PlainCoder.h"

#include <algorithm>

namespace kx_test {

namespace {

constexpr size_t kGroup = 16;
constexpr size_t kLongest = 16;
constexpr size_t kFarthest = 4095;
constexpr size_t kEndZone = 16;  // what is nearer to the end than this is literal

unsigned hashAt(const Bytes& source, size_t at) {
  const unsigned first = source[at];
  const unsigned second = source[at + 1];
  const unsigned third = source[at + 2];
  const unsigned mixed = (((first << 4) ^ second) << 4) ^ third;
  return ((40543u * mixed) >> 4) & 0xFFF;
}

size_t sameBytes(const Bytes& source, size_t a, size_t b, size_t most) {
  size_t count = 0;
  while (count < most && source[a + count] == source[b + count]) ++count;
  return count;
}

CodedItem literalOf(unsigned char byte) {
  CodedItem item;
  item.literal = byte;
  return item;
}

}  // namespace

std::vector<CodedItem> plainItems(const Bytes& source) {
  std::vector<CodedItem> items;
  size_t lastSeen[4096] = {};  // behind the place where an item with this hash started; 0: none
  size_t at = 0;
  while (at < source.size()) {
    CodedItem item = literalOf(source[at]);
    if (source.size() - at >= kEndZone) {
      size_t& seen = lastSeen[hashAt(source, at)];
      if (seen > 0 && at - (seen - 1) <= kFarthest) {
        item.offset = at - (seen - 1);
        item.length = sameBytes(source, seen - 1, at, kLongest);
        item.isCopy = item.length >= 3;
      }
      seen = at + 1;
    }
    items.push_back(item);
    at += item.isCopy ? item.length : 1;
  }
  return items;
}

Bytes plainGroups(const std::vector<CodedItem>& items) {
  Bytes coded = {0, 0, 0, 0};
  for (size_t start = 0; start < items.size(); start += kGroup) {
    const size_t end = std::min(start + kGroup, items.size());
    unsigned control = 0;
    Bytes body;
    for (size_t i = start; i < end; ++i) {
      const CodedItem& item = items[i];
      if (!item.isCopy) {
        body.push_back(item.literal);
        continue;
      }
      control |= 1u << (i - start);
      body.push_back(static_cast<unsigned char>(((item.offset >> 8) << 4) | (item.length - 1)));
      body.push_back(static_cast<unsigned char>(item.offset & 0xFF));
    }
    coded.push_back(static_cast<unsigned char>(control & 0xFF));
    coded.push_back(static_cast<unsigned char>(control >> 8));
    coded.insert(coded.end(), body.begin(), body.end());
  }
  return coded;
}

// While coding, a control word is always reserved: behind a full last group there is one too.
Bytes plainCompress(const Bytes& source) {
  const std::vector<CodedItem> items = plainItems(source);
  Bytes coded = plainGroups(items);
  const size_t reserved = items.size() % kGroup == 0 ? 2 : 0;
  if (coded.size() + reserved <= source.size()) return coded;
  Bytes copied = {1, 0, 0, 0};
  copied.insert(copied.end(), source.begin(), source.end());
  return copied;
}

Bytes plainDecompress(const Bytes& coded) {
  if (coded.size() <= 4) return {};
  if (coded[0] == 1) return Bytes(coded.begin() + 4, coded.end());
  Bytes out;
  size_t at = 4;
  while (coded.size() - at >= 2) {
    const unsigned control = coded[at] | static_cast<unsigned>(coded[at + 1]) << 8;
    at += 2;
    for (size_t bit = 0; bit < kGroup && at < coded.size(); ++bit) {
      if ((control >> bit & 1) == 0) {
        out.push_back(coded[at++]);
        continue;
      }
      if (coded.size() - at < 2) return out;
      const size_t length = (coded[at] & 0x0Fu) + 1;
      const size_t offset = static_cast<size_t>(coded[at] & 0xF0u) << 4 | coded[at + 1];
      at += 2;
      const bool reachesBack = offset > 0 && offset <= out.size();
      for (size_t i = 0; i < length; ++i) {
        out.push_back(reachesBack ? out[out.size() - offset] : 0);
      }
    }
  }
  return out;
}

}  // namespace kx_test
