/// File bytes put together from the layout tables, without the library: what the tests compare with
/// and what they damage.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <typeinfo>

#include "KxTest.h"

namespace kx_test {

/// An open mode: read and write. With the bit for creating a file, and with the one that lets
/// others read and write meanwhile.
constexpr unsigned int kReadWrite = 0x0002;
constexpr unsigned int kCreate = 0x1000 | kReadWrite;
constexpr unsigned int kShared = 0x0040 | kReadWrite;

constexpr unsigned long kNoPos = 0xFFFFFFFF;

Bytes bytesOf(const void* data, size_t size);
inline Bytes bytesOf(const std::string& text) { return bytesOf(text.data(), text.size()); }
Bytes le(uint64_t value, size_t size);
inline Bytes u8(uint8_t value) { return {value}; }
inline Bytes le16(uint16_t value) { return le(value, 2); }
inline Bytes le32(uint32_t value) { return le(value, 4); }
/// Narrow text with its terminator.
Bytes narrow(const std::string& text);
Bytes join(std::initializer_list<Bytes> parts);
Bytes zeros(size_t count);
Bytes slice(const Bytes& bytes, size_t start, size_t count);

/// One tagged value; flags 1: its changed bit is set.
Bytes tag(uint32_t id, const Bytes& data, uint32_t flags = 1, uint8_t version = 0);
/// String tag `n`.
Bytes stringTag(uint8_t n, const Bytes& data, uint32_t flags = 1, uint8_t version = 0);

/// A framed row around a block of tags.
Bytes row(const Bytes& block);
/// The block of a row that has nothing but what every row has.
Bytes plainBlock(uint8_t flagByte = 0);
/// The slot of a header: length, block, zeros.
Bytes slot(size_t size, const Bytes& block);

Bytes dbInfo(uint16_t version, uint32_t rowCount);
struct TableEntry {
  uint16_t id;
  uint32_t size;
};
Bytes headerTable(std::initializer_list<TableEntry> entries);

/// A file of tests/golden.
Bytes golden(const std::string& name);

/// The raw block of a row or header.
Bytes blockOf(kx_gen::CDBRecord& record);
Bytes blockOf(kx_gen::CTaggedDataHeader& header);
/// The stored bytes of one value.
Bytes valueOf(kx_gen::CTaggedDataManager& tags, unsigned long id);
bool changedFlag(kx_gen::CTaggedDataManager& tags, unsigned long id);
/// Replaces a record's whole block, without looking at it.
void setBlock(kx_gen::CDBRecord& record, const Bytes& block);

/// True when the object is of this class and of none derived from it.
template <class Kind, class Object>
bool isExactly(const Object* object) {
  return object != nullptr && typeid(*object) == typeid(Kind);
}

/// True for what a tagged-data failure throws: this message followed by the place.
bool isTagError(const Thrown& thrown, unsigned long messageId, const std::wstring& source);

}  // namespace kx_test
