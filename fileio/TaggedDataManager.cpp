#include "TaggedDataManager.h"

#include <bit>
#include <cstring>
#include <limits>
#include <new>
#include <string>

#include "Exception.h"
#include "Text.h"
#include "Throw.h"

namespace kx_gen {

// Other modules may refer to these; an importing one has no definition of its own.
const unsigned short CTaggedDataManager::kTaggedDataCode;
const unsigned int CTaggedDataManager::kStringTagIDCode;
const unsigned int CTaggedDataManager::kEndOfStringLen;

namespace {

constexpr char kSource[] = "TaggedDataManager";
enum : int {
  kLineReadTag = 101,
  kLineNullData = 112,
  kLineGetDataCode = 123,
  kLineGetDataRoom = 124,
  kLineGetDataPtr = 135,
  kLineSizeNull = 146,
  kLineStringLost = 157,
  kLineStringCode = 168,
  kLineOrder = 179,
  kLineOverrun = 180,
  kLineMessage = 191,
  kLineThrow = 202,
};

constexpr long kFailed = -1;

uint16_t reversed16(uint16_t value) { return static_cast<uint16_t>((value >> 8) | (value << 8)); }

uint32_t reversed32(uint32_t value) {
  return (value >> 24) | ((value >> 8) & 0xFF00) | ((value << 8) & 0xFF0000) | (value << 24);
}

template <class T>
void putField(unsigned char* dst, T value) {
  if (std::endian::native == std::endian::little) {
    std::memcpy(dst, &value, sizeof(value));
  } else {
    putLittleEndian(dst, value, sizeof(value));
  }
}

unsigned long stringTagId(unsigned char n) { return format::kStringTagBase + n; }

}  // namespace

// Where a wanted tag stands, or where it would have to be inserted.
struct CTaggedDataManager::Place {
  unsigned long pos = 0;
  bool found = false;
  bool cut = false;  // the walk ended at an entry that runs past the block
  TagType tag = {};  // the last tag read

  bool wholeIn(unsigned long size) const {
    return static_cast<uint64_t>(pos) + format::kTagSize + tag.length <= size;
  }
};

CTaggedDataManager::CTaggedDataManager(char** slot, unsigned long size, bool swap,
                                       unsigned long capacity, unsigned long block)
    : CBufferManager(slot, size, capacity, block), swap_(swap) {}

void CTaggedDataManager::swapTag(TagType& tag) const {
  if (!swap_) return;
  tag.code = reversed16(tag.code);
  tag.id = reversed32(tag.id);
  tag.length = reversed32(tag.length);
}

bool CTaggedDataManager::hasTagAt(unsigned long pos) const {
  return bytes() != nullptr && uint64_t{pos} + format::kTagSize <= size();
}

void CTaggedDataManager::readTag(unsigned long pos, TagType* tag) const {
  unsigned char outside[format::kTagSize] = {};
  const unsigned char* image = outside;
  if (hasTagAt(pos)) {
    image = reinterpret_cast<const unsigned char*>(bytes()) + pos;
  } else {
    read(pos, reinterpret_cast<char*>(outside), sizeof(outside));
  }
  tag->code = getLe16(image + format::kTagCodeOffset);
  tag->version = image[format::kTagVersionOffset];
  tag->flags = getLe32(image + format::kTagFlagsOffset);
  tag->id = getLe32(image + format::kTagIdOffset);
  tag->length = getLe32(image + format::kTagLengthOffset);
  swapTag(*tag);
  kx_Check(isValidTag(*tag), kSource, kLineReadTag);
}

// Each field in one store: the walk that follows reads them so, and would wait for bytes that were
// put together in any other way.
void CTaggedDataManager::tagImage(TagType tag, unsigned char* image) const {
  swapTag(tag);
  putField<uint16_t>(image + format::kTagCodeOffset, tag.code);
  image[format::kTagVersionOffset] = tag.version;
  putField<uint32_t>(image + format::kTagFlagsOffset, tag.flags);
  putField<uint32_t>(image + format::kTagIdOffset, tag.id);
  putField<uint32_t>(image + format::kTagLengthOffset, tag.length);
}

void CTaggedDataManager::writeTag(unsigned long pos, const TagType& tag) {
  if (hasTagAt(pos)) return tagImage(tag, reinterpret_cast<unsigned char*>(bytes() + pos));
  unsigned char image[format::kTagSize];
  tagImage(tag, image);
  write(pos, reinterpret_cast<const char*>(image), sizeof(image));
}

// Steps over sound entries with smaller ids, as long as another follows, and gives the place where
// that ends. Every access to a field is such a walk, so the tags are looked at where they stand.
uint64_t CTaggedDataManager::skipBelow(uint32_t id) const {
  const auto* const block = reinterpret_cast<const unsigned char*>(bytes());
  if (block == nullptr || swap_) return 0;
  uint64_t pos = 0;
  while (pos + format::kTagSize <= size()) {
    const unsigned char* const tag = block + pos;
    if (getLe16(tag + format::kTagCodeOffset) != kTaggedDataCode) break;
    if (getLe32(tag + format::kTagIdOffset) >= id) break;
    const uint64_t next = pos + getLe32(tag + format::kTagLengthOffset) + format::kTagSize;
    if (next + format::kTagSize > size()) break;
    pos = next;
  }
  return pos;
}

// The only search: a walk from the front. An entry that runs past the block ends it, and is found
// itself when it is the wanted one.
long CTaggedDataManager::locate(uint32_t id, Place* place) const {
  *place = Place();
  uint64_t pos = skipBelow(id);
  while (pos + format::kTagSize <= size()) {
    place->pos = static_cast<unsigned long>(pos);
    readTag(place->pos, &place->tag);
    if (!isValidTag(place->tag)) return kTagErrCorrupt;
    if (place->tag.id >= id) {
      place->found = place->tag.id == id;
      return 0;
    }
    pos += uint64_t{place->tag.length} + format::kTagSize;
    if (pos > size()) {
      place->cut = true;
      return 0;
    }
  }
  place->pos = static_cast<unsigned long>(pos);
  return 0;
}

long CTaggedDataManager::findTag(unsigned long id, bool* found, unsigned long* pos,
                                 TagType* tag) const {
  if (found != nullptr) *found = false;
  Place place;
  const long result = locate(static_cast<uint32_t>(id), &place);
  if (pos != nullptr) *pos = place.pos;
  if (tag != nullptr) *tag = place.tag;
  if (found != nullptr) *found = place.found;
  return result;
}

// The place of a value that is about to be looked into: it must be there, and whole.
long CTaggedDataManager::locateValue(uint32_t id, Place* place) const {
  const long result = locate(id, place);
  if (result != 0) return result;
  if (!place->found) return kTagErrNotFound;
  return place->wholeIn(size()) ? 0 : kTagErrCorrupt;
}

long CTaggedDataManager::hasTag(unsigned long id, bool* found) const {
  return findTag(id, found, nullptr, nullptr);
}

long CTaggedDataManager::hasStringTag(unsigned char n, bool* found) const {
  return hasTag(stringTagId(n), found);
}

long CTaggedDataManager::insertEmptyTag(unsigned long id, unsigned long pos) {
  TagType tag = {};
  tag.code = kTaggedDataCode;
  tag.flags = format::kTagFlagChanged;
  tag.id = static_cast<uint32_t>(id);
  unsigned char image[format::kTagSize];
  tagImage(tag, image);
  const long result = insert(pos, reinterpret_cast<const char*>(image), sizeof(image));
  Validate();
  return result;
}

// Whether writing these bytes would change the value that stands at `place`.
bool CTaggedDataManager::differs(const Place& place, const void* data, unsigned long len,
                                 unsigned char version) const {
  const TagType& tag = place.tag;
  const bool changedBit = (tag.flags & format::kTagFlagChanged) != 0;
  if (changedBit || tag.version != version || tag.length != len) return true;
  return len > 0 && std::memcmp(bytes() + place.pos + format::kTagSize, data, len) != 0;
}

long CTaggedDataManager::setData(unsigned long id, const void* data, unsigned long len,
                                 bool* changed, unsigned char version) {
  if (changed != nullptr) *changed = false;
  if (!kx_Check(data != nullptr || len == 0, kSource, kLineNullData)) return kFailed;
  if (len > std::numeric_limits<uint32_t>::max()) return kFailed;
  Place place;
  const long result = locate(static_cast<uint32_t>(id), &place);
  if (result != 0) return result;
  if (place.cut) return kFailed;
  if (place.found && !place.wholeIn(size())) return kTagErrCorrupt;
  if (place.found && !differs(place, data, len, version)) {
    Validate();
    return 0;
  }
  const long stored = storeValue(place, static_cast<uint32_t>(id), data, len, version);
  if (stored != 0) return stored;
  if (changed != nullptr) *changed = true;
  Validate();
  return 0;
}

// Writes tag and data. Room for both is made first, so that exhausted memory leaves the block as it
// was; data from inside the block is copied away before anything moves.
long CTaggedDataManager::storeValue(const Place& place, uint32_t id, const void* data,
                                    unsigned long len, unsigned char version) {
  if (place.found && place.tag.length == len) {
    if (len > 0) std::memmove(bytes() + place.pos + format::kTagSize, data, len);
    writeChangedTag(place.pos, id, len, version);
    return 0;
  }
  std::string copy;
  const auto* src = static_cast<const char*>(data);
  if (bytes() != nullptr && src >= bytes() && src < bytes() + size()) {
    try {
      copy.assign(src, len);
    } catch (const std::bad_alloc&) {
      return kFailed;
    }
    src = copy.data();
  }
  const unsigned long oldLen = place.found ? place.tag.length : 0;
  const uint64_t added =
      uint64_t{place.found ? 0 : format::kTagSize} + (len > oldLen ? len - oldLen : 0);
  if (added > std::numeric_limits<uint32_t>::max()) return kFailed;
  if (reserve(static_cast<unsigned long>(added)) != 0) return kFailed;
  if (!place.found) {
    const long inserted = insertEmptyTag(id, place.pos);
    if (inserted != 0) return inserted;
  }
  const long replaced = replace(place.pos + format::kTagSize, oldLen, src, len);
  if (replaced != 0) return replaced;
  writeChangedTag(place.pos, id, len, version);
  return 0;
}

void CTaggedDataManager::writeChangedTag(unsigned long pos, uint32_t id, unsigned long len,
                                         unsigned char version) {
  TagType tag = {};
  tag.code = kTaggedDataCode;
  tag.version = version;
  tag.flags = format::kTagFlagChanged;
  tag.id = id;
  tag.length = static_cast<uint32_t>(len);
  writeTag(pos, tag);
}

long CTaggedDataManager::getData(unsigned long id, void* dst, unsigned long* len,
                                 unsigned char* version) {
  Place place;
  const long result = locateValue(static_cast<uint32_t>(id), &place);
  if (result != 0) return result;
  kx_Check(isValidTag(place.tag), kSource, kLineGetDataCode);
  const unsigned long room = len != nullptr ? *len : 0;
  if (len != nullptr) *len = place.tag.length;
  if (!kx_Check(place.tag.length <= room, kSource, kLineGetDataRoom)) return kTagErrOverflow;
  if (dst != nullptr && place.tag.length > 0) {
    read(place.pos + format::kTagSize, static_cast<char*>(dst), place.tag.length);
  }
  if (version != nullptr) *version = place.tag.version;
  return 0;
}

char* CTaggedDataManager::getDataPtr(unsigned long id, unsigned long len) {
  Place place;
  if (locateValue(static_cast<uint32_t>(id), &place) != 0) return nullptr;
  // A caller that wants more than the value has would read what follows it.
  if (!kx_Check(len <= place.tag.length, kSource, kLineGetDataPtr)) return nullptr;
  return bytes() + place.pos + format::kTagSize;
}

long CTaggedDataManager::getTagDataSize(unsigned long id, unsigned long* len) const {
  Place place;
  const long result = locate(static_cast<uint32_t>(id), &place);
  // Swapped once more than reading did: a swapped block reports the reversed length.
  swapTag(place.tag);
  if (kx_Check(len != nullptr, kSource, kLineSizeNull)) *len = place.tag.length;
  return result;
}

long CTaggedDataManager::deleteData(unsigned long id) {
  Place place;
  const long result = locate(static_cast<uint32_t>(id), &place);
  if (result != 0 || !place.found) return result;
  if (!place.wholeIn(size())) return kTagErrCorrupt;
  replace(place.pos, format::kTagSize + place.tag.length, nullptr, 0);
  Validate();
  return 0;
}

long CTaggedDataManager::getTagVersion(unsigned long id, unsigned char* version) {
  bool found = false;
  TagType tag = {};
  const long result = findTag(id, &found, nullptr, &tag);
  if (result != 0) return result;
  if (!found) return kTagErrNotFound;
  if (version != nullptr) *version = tag.version;
  return 0;
}

long CTaggedDataManager::setTagChanged(unsigned long id, bool changed) {
  bool found = false;
  unsigned long pos = 0;
  TagType tag = {};
  const long result = findTag(id, &found, &pos, &tag);
  if (result != 0) return result;
  if (!found) return kTagErrNotFound;
  tag.flags = changed ? tag.flags | format::kTagFlagChanged : tag.flags & ~format::kTagFlagChanged;
  writeTag(pos, tag);
  return 0;
}

long CTaggedDataManager::getTagChanged(unsigned long id, bool* changed) {
  bool found = false;
  TagType tag = {};
  const long result = findTag(id, &found, nullptr, &tag);
  if (result != 0) return result;
  if (!found) return kTagErrNotFound;
  if (changed != nullptr) *changed = (tag.flags & format::kTagFlagChanged) != 0;
  return 0;
}

long CTaggedDataManager::setString(unsigned char n, const wchar_t* text, bool* changed) {
  const std::string narrow = encodeNarrow(text != nullptr ? text : L"");
  const unsigned long id = stringTagId(n);
  bool isWritten = false;
  const long result = setData(id, narrow.c_str(), narrow.size() + 1, &isWritten, 0);
  if (changed != nullptr) *changed = isWritten;
  if (result != 0 || isWritten) return result;  // a tag that was written has no string flag
  bool found = false;
  unsigned long pos = 0;
  TagType tag = {};
  const long again = findTag(id, &found, &pos, &tag);
  if (!kx_Check(again == 0 && found, kSource, kLineStringLost)) return again;
  if ((tag.flags & format::kTagFlagString) == 0) return 0;
  tag.flags &= ~format::kTagFlagString;
  writeTag(pos, tag);
  return 0;
}

long CTaggedDataManager::getString(unsigned char n, _String& out) {
  out.clear();
  Place place;
  const long result = locateValue(static_cast<uint32_t>(stringTagId(n)), &place);
  if (result != 0) return result;
  kx_Check(isValidTag(place.tag), kSource, kLineStringCode);
  if (place.tag.length == 0) return 0;
  const char* text = bytes() + place.pos + format::kTagSize;
  if (text[place.tag.length - 1] != '\0') return kTagErrCorrupt;
  decodeNarrow(text, std::strlen(text), out);
  return 0;
}

long CTaggedDataManager::deleteStringData(unsigned char n) { return deleteData(stringTagId(n)); }

long CTaggedDataManager::getStringTagVersion(unsigned char n, unsigned char* version) {
  return getTagVersion(stringTagId(n), version);
}

long CTaggedDataManager::setStringTagChanged(unsigned char n, bool changed) {
  return setTagChanged(stringTagId(n), changed);
}

long CTaggedDataManager::getStringTagChanged(unsigned char n, bool* changed) {
  return getTagChanged(stringTagId(n), changed);
}

// Whether the block is in order: what the walk of Validate finds nothing wrong with.
bool CTaggedDataManager::isInOrder() const {
  const auto* const block = reinterpret_cast<const unsigned char*>(bytes());
  if (block == nullptr || swap_) return false;
  uint32_t previous = 0;
  uint64_t pos = 0;
  while (pos + format::kTagSize <= size()) {
    const unsigned char* const tag = block + pos;
    const uint32_t id = getLe32(tag + format::kTagIdOffset);
    if (getLe16(tag + format::kTagCodeOffset) != kTaggedDataCode || id <= previous) return false;
    previous = id;
    pos += uint64_t{getLe32(tag + format::kTagLengthOffset)} + format::kTagSize;
  }
  return pos <= size();
}

void CTaggedDataManager::Validate() {
  if (isInOrder()) return;
  uint32_t previous = 0;
  uint64_t pos = 0;
  while (pos + format::kTagSize <= size()) {
    TagType tag = {};
    readTag(static_cast<unsigned long>(pos), &tag);
    if (!isValidTag(tag)) return;
    if (!kx_Check(tag.id > previous, kSource, kLineOrder)) return;
    previous = tag.id;
    pos += uint64_t{tag.length} + format::kTagSize;
  }
  kx_Check(pos <= size(), kSource, kLineOverrun);
}

void CTaggedDataManager::ProcessError(const char* file, unsigned long line, long code,
                                      const wchar_t* text) {
  MessageId id = kMsgUnknownData;
  if (code == kTagErrCorrupt) id = kMsgDataCorruption;
  if (code == kTagErrNotFound) id = kMsgDataNotFound;
  if (code == kTagErrOverflow) id = kMsgDataOverflow;
  // Exhausted memory is passed over, so nothing here may need any.
  if (id == kMsgUnknownData) return;
  _String message;
  if (text == nullptr) kx_Check(message.LoadStringW(id), kSource, kLineMessage);
  _String place;
  place.FormatString(L"Error in file %S line %d", file, static_cast<int>(line));
  message.append(place);
  traceThrow(kSource, kLineThrow);
  throw new (std::nothrow) CException(message.c_str(), kNoErrNumber);
}

}  // namespace kx_gen
