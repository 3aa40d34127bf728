#include "KxLayout.h"

#include <fstream>
#include <sstream>

#include "TestPlaces.h"

namespace kx_test {

Bytes bytesOf(const void* data, size_t size) {
  const auto* first = static_cast<const unsigned char*>(data);
  return size == 0 ? Bytes() : Bytes(first, first + size);
}

Bytes le(uint64_t value, size_t size) {
  Bytes bytes;
  for (size_t i = 0; i < size; ++i) bytes.push_back(static_cast<unsigned char>(value >> (8 * i)));
  return bytes;
}

Bytes narrow(const std::string& text) { return bytesOf(text.c_str(), text.size() + 1); }

Bytes join(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

Bytes zeros(size_t count) { return Bytes(count, 0); }

Bytes slice(const Bytes& bytes, size_t start, size_t count) {
  if (start > bytes.size() || count > bytes.size() - start) return {};
  const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(start);
  return Bytes(first, first + static_cast<std::ptrdiff_t>(count));
}

Bytes tag(uint32_t id, const Bytes& data, uint32_t flags, uint8_t version) {
  return join({{0x74, 0x61, version},
               le32(flags),
               le32(id),
               le32(static_cast<uint32_t>(data.size())),
               data});
}

Bytes stringTag(uint8_t n, const Bytes& data, uint32_t flags, uint8_t version) {
  return tag(0x00010000u + n, data, flags, version);
}

Bytes row(const Bytes& block) {
  return join({{0x50, 0x4B, 0x03, 0x04},
               le32(static_cast<uint32_t>(block.size())),
               block,
               {0x50, 0x4B, 0x01, 0x02}});
}

Bytes plainBlock(uint8_t flagByte) { return join({tag(1, {flagByte}), tag(2, {0})}); }

Bytes slot(size_t size, const Bytes& block) {
  return join({le32(static_cast<uint32_t>(block.size())), block, zeros(size - 4 - block.size())});
}

Bytes dbInfo(uint16_t version, uint32_t rowCount) {
  return join({{0x78, 0x56, 0x34, 0x12}, le16(version), le32(rowCount)});
}

Bytes headerTable(std::initializer_list<TableEntry> entries) {
  Bytes table = le16(static_cast<uint16_t>(entries.size()));
  for (const TableEntry& entry : entries) table = join({table, le16(entry.id), le32(entry.size)});
  return table;
}

Bytes golden(const std::string& name) {
  std::ifstream in(goldenFolder() / (name + ".hex"));
  std::ostringstream text;
  text << in.rdbuf();
  return fromHex(text.str());
}

Bytes blockOf(kx_gen::CDBRecord& record) {
  return bytesOf(record.GetRawDataPtr(), record.GetRecSize());
}

Bytes blockOf(kx_gen::CTaggedDataHeader& header) {
  return bytesOf(header.GetHeaderDataPtr(), header.getTaggedDataManager().size());
}

Bytes valueOf(kx_gen::CTaggedDataManager& tags, unsigned long id) {
  unsigned long size = 0;
  bool found = false;
  if (tags.hasTag(id, &found) != 0 || !found || tags.getTagDataSize(id, &size) != 0) return {};
  Bytes value(size + 1);  // never without storage, also for an empty value
  if (tags.getData(id, value.data(), &size, nullptr) != 0) return {};
  value.resize(size);
  return value;
}

bool changedFlag(kx_gen::CTaggedDataManager& tags, unsigned long id) {
  bool changed = false;
  EXPECT_EQ(tags.getTagChanged(id, &changed), 0) << "tag " << id;
  return changed;
}

void setBlock(kx_gen::CDBRecord& record, const Bytes& block) {
  record.FreeData();
  const char* bytes = reinterpret_cast<const char*>(block.data());
  ASSERT_EQ(record.getTaggedDataManager().insert(0, bytes, block.size()), 0);
}

bool isTagError(const Thrown& thrown, unsigned long messageId, const std::wstring& source) {
  const std::wstring start = messageText(messageId) + L"Error in file " + source + L" line ";
  return thrown.kind == Thrown::kException && thrown.number == kx_gen::kNoErrNumber &&
         thrown.description.compare(0, start.size(), start) == 0;
}

}  // namespace kx_test
