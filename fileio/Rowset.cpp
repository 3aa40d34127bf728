#include "Rowset.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <utility>

#include "ReadExactly.h"
#include "RecordStore.h"
#include "TagAccess.h"
#include "Throw.h"

namespace kx_gen {

// Other modules may refer to these; an importing one has no definition of its own.
const unsigned char CDBRecord::kStartTagLen;
const unsigned char CDBRecord::kEndTagLen;
const unsigned char CDBRecord::kNewBitPos;
const unsigned char CDBRecord::kDelBitPos;
const unsigned char CDBRecord::kChangeBitPos;
const unsigned char CDBRecord::kEmptyBitPos;
const unsigned char CDBRecord::kArchivedBitPos;
const unsigned short CDBRecord::kMemBlock;

namespace {

constexpr char kSource[] = "Rowset";
enum : int {
  kLineGetFlag = 41,
  kLineSetFlag = 48,
  kLineGetSortChanged = 55,
  kLineSetSortChanged = 62,
  kLineReadStart = 91,
  kLineReadLength = 96,
  kLineReadBlock = 101,
  kLineReadEnd = 106,
  kLineNoStartTag = 112,
  kLineNoMemory = 118,
  kLineNoEndTag = 124,
};

constexpr SourceLine at(int line) { return SourceLine{kSource, line}; }

constexpr FreshTag kFreshTags[] = {{format::kTagFlagByte, 1, 0}, {format::kTagSortChanged, 1, 0}};
constexpr auto kFreshBlock =
    freshBlock<std::size(kFreshTags), freshBlockSize(kFreshTags)>(kFreshTags);

// Reads a framing tag and tells whether it is the expected one.
bool readFrame(CFileStream& stream, const unsigned char (&expected)[format::kRowTagSize],
               int line) {
  unsigned char tag[format::kRowTagSize];
  readExactly(stream, tag, sizeof(tag), at(line));
  return std::memcmp(tag, expected, sizeof(tag)) == 0;
}

}  // namespace

// --- The allocation of a record and its store ---

namespace {

// What this thread's `operator new` gave last, until a constructor of a record runs: mostly that of
// the record that it was given for.
thread_local void* newStorage = nullptr;

}  // namespace

// Inline, so that what the library keeps to itself is not exported with the class around it.
inline void* CDBRecord::Store::withRoomBehind(void* memory) {
  auto* store = new (memory) Store;
  store->owners.store(kAllocation, std::memory_order_relaxed);
  newStorage = store + 1;
  return newStorage;
}

// A record on the stack, in an array or inside of another object has no store in front of it.
inline CDBRecord::Store* CDBRecord::Store::ofNewRecord(const CDBRecord* record) {
  void* const storage = std::exchange(newStorage, nullptr);
  if (storage != record) return new Store;
  Store* const store = static_cast<Store*>(storage) - 1;
  store->owners.store(kAllocation + 1, std::memory_order_relaxed);
  return store;
}

inline void CDBRecord::Store::release(long share) {
  // Who is alone cannot be joined by another meanwhile, and need not count down.
  if (owners.load(std::memory_order_acquire) != share && (owners -= share) != 0) return;
  this->~Store();
  ::operator delete(this);
}

// Rows are made one after another and mostly lie so: the memory of the next ones is fetched while
// this one is filled. Reading 100,000 rows takes 6.3 ms instead of 7.6.
void* CDBRecord::operator new(size_t size) {
  constexpr size_t kAhead = 8;
  void* const memory = ::operator new(sizeof(Store) + size);
  expectRow(static_cast<const char*>(memory) + kAhead * (sizeof(Store) + size));
  return Store::withRoomBehind(memory);
}

void* CDBRecord::operator new(size_t size, const std::nothrow_t& nothrow) noexcept {
  void* const memory = ::operator new(sizeof(Store) + size, nothrow);
  return memory != nullptr ? Store::withRoomBehind(memory) : nullptr;
}

void CDBRecord::operator delete(void* storage) {
  if (storage == nullptr) return;
  if (storage == newStorage) newStorage = nullptr;  // its constructor threw
  (static_cast<Store*>(storage) - 1)->release(Store::kAllocation);
}

void CDBRecord::operator delete(void* storage, const std::nothrow_t& /*nothrow*/) {
  operator delete(storage);
}

CDBRecord::CDBRecord() : store_(Store::ofNewRecord(this)) {
  static_assert(kFreshBlock.size() <= sizeof(Store::ownRoom), "a new record needs no other memory");
  store_->data = store_->ownRoom;
  std::memcpy(store_->data, kFreshBlock.data(), kFreshBlock.size());
  store_->tags.assignBuffer(&store_->data, kFreshBlock.size(), sizeof(Store::ownRoom), kMemBlock);
}

bool CDBRecord::startWith(const char* block, size_t size) {
  const bool isFresh = store_->tags.size() == kFreshBlock.size() &&
                       std::memcmp(store_->data, kFreshBlock.data(), kFreshBlock.size()) == 0;
  return isFresh && store_->tags.replace(0, kFreshBlock.size(), block, size) == 0;
}

CDBRecord::CDBRecord(const CDBRecord& other)
    : CBaseObject(other), index_(other.index_), pos_(other.pos_), store_(other.store_) {
  ++store_->owners;
  newStorage = nullptr;  // of a copy's own store there is no use
}

CDBRecord& CDBRecord::operator=(const CDBRecord& other) {
  if (this == &other) return *this;
  pos_ = kNoPos;
  if (store_ == other.store_) return *this;
  const unsigned long size = other.store_->tags.size();
  auto* copy = size > 0 ? static_cast<char*>(std::malloc(size)) : nullptr;
  if (size > 0 && copy == nullptr) throw std::bad_alloc();
  if (size > 0) std::memcpy(copy, other.store_->data, size);
  FreeData();
  store_->data = copy;
  store_->tags.assignBuffer(&store_->data, size, size, kMemBlock);
  return *this;
}

CDBRecord::~CDBRecord() { releaseStore(); }

void CDBRecord::releaseStore() { store_->release(); }

// Gives this record an empty block of its own; what it shared stays with the others.
void CDBRecord::detach() {
  auto* own = new Store;
  --store_->owners;
  store_ = own;
}

void CDBRecord::FreeData() {
  if (store_->isShared()) {
    detach();
    return;
  }
  store_->tags.deleteBuff();
  store_->tags.assignBuffer(&store_->data, 0, 0, kMemBlock);
}

void CDBRecord::Init() {}

void CDBRecord::Write(CFileStream& stream) {
  pos_ = static_cast<uint32_t>(stream.GetPosition());
  if (writeAtOnce(stream)) return;
  const auto size = static_cast<uint32_t>(GetRecSize());
  stream.Write(format::kRowStartTag, kStartTagLen);
  stream << size;
  if (size > 0) stream.Write(store_->data, size);
  stream.Write(format::kRowEndTag, kEndTagLen);
}

void CDBRecord::Read(CFileStream& stream) {
  FreeData();
  pos_ = static_cast<uint32_t>(stream.GetPosition());
  if (readAtOnce(stream)) return;
  if (!readFrame(stream, format::kRowStartTag, kLineReadStart)) {
    throwTraced<CDBException>(kSource, kLineNoStartTag, kMsgMissingNewRecord,
                              numberOf(kMsgMissingNewRecord));
  }
  unsigned char length[format::kRowLengthSize];
  readExactly(stream, length, sizeof(length), at(kLineReadLength));
  readBlock(stream, getLe32(length));
  if (!readFrame(stream, format::kRowEndTag, kLineReadEnd)) {
    throwTraced<CDBException>(kSource, kLineNoEndTag, kMsgMissingEndRecord,
                              numberOf(kMsgMissingEndRecord));
  }
}

// A row that stands whole and sound in the window, as nearly all do, is taken out of it in one
// piece; all others go through the single transfers, which know what to throw. Likewise a row that
// the window has room for. Four transfers a row took half as long again for reading and saving.
bool CDBRecord::readAtOnce(CFileStream& stream) {
  const unsigned char* row = stream.peek(format::kRowFrontSize);
  if (row == nullptr) return false;
  const uint32_t size = getLe32(row + format::kRowTagSize);
  row = stream.peek(uint64_t{format::kRowFrameSize} + size);
  const bool isWhole =
      row != nullptr && std::memcmp(row, format::kRowStartTag, kStartTagLen) == 0 &&
      std::memcmp(row + format::kRowFrontSize + size, format::kRowEndTag, kEndTagLen) == 0;
  char* const block = isWhole && size > 0 ? store_->allocate(size) : nullptr;
  if (block == nullptr) return false;
  std::memcpy(block, row + format::kRowFrontSize, size);
  store_->data = block;
  store_->tags.assignBuffer(&store_->data, size, size, kMemBlock);
  stream.skip(static_cast<unsigned int>(format::kRowFrameSize + size));
  return true;
}

bool CDBRecord::writeAtOnce(CFileStream& stream) {
  const auto size = static_cast<uint32_t>(GetRecSize());
  const bool hasBlock = size > 0 && store_->data != nullptr;
  unsigned char* row = hasBlock ? stream.claim(uint64_t{format::kRowFrameSize} + size) : nullptr;
  if (row == nullptr) return false;
  std::memcpy(row, format::kRowStartTag, kStartTagLen);
  putLe32(row + kStartTagLen, size);
  std::memcpy(row + kStartTagLen + format::kRowLengthSize, store_->data, size);
  std::memcpy(row + kStartTagLen + format::kRowLengthSize + size, format::kRowEndTag, kEndTagLen);
  return true;
}

void CDBRecord::readBlock(CFileStream& stream, uint32_t size) {
  if (size == 0) return;
  const uint32_t count = justified(stream, size);
  char* block = store_->allocate(count);
  if (block == nullptr) {
    throwTraced<CDBException>(kSource, kLineNoMemory, kMsgOutOfMemory, numberOf(kMsgOutOfMemory));
  }
  store_->data = block;
  readExactly(stream, block, count, at(kLineReadBlock));
  store_->tags.assignBuffer(&store_->data, count, count, kMemBlock);
}

unsigned long CDBRecord::GetRecSize() const { return store_->tags.size(); }

unsigned char* CDBRecord::GetRawDataPtr() { return reinterpret_cast<unsigned char*>(store_->data); }

CTaggedDataManager& CDBRecord::getTaggedDataManager() const { return store_->tags; }

void CDBRecord::resize() { store_->tags.resize(); }

unsigned char CDBRecord::GetFlag() {
  return getNumber<uint8_t>(store_->tags, format::kTagFlagByte, at(kLineGetFlag));
}

void CDBRecord::SetFlag(unsigned char flags) {
  setNumber<uint8_t>(store_->tags, format::kTagFlagByte, flags, at(kLineSetFlag));
}

bool CDBRecord::GetBit(unsigned char flags, unsigned char pos) {
  return (flags & format::flagMask(pos)) != 0;
}

void CDBRecord::SetBit(unsigned char& flags, unsigned char pos, bool on) {
  const unsigned char mask = format::flagMask(pos);
  flags = static_cast<unsigned char>(on ? flags | mask : flags & ~mask);
}

bool CDBRecord::getFlagBit(unsigned char pos) { return GetBit(GetFlag(), pos); }

void CDBRecord::setFlagBit(unsigned char pos, bool on) {
  unsigned char flags = GetFlag();
  SetBit(flags, pos, on);
  SetFlag(flags);
}

bool CDBRecord::IsNew() { return getFlagBit(kNewBitPos); }
void CDBRecord::SetNew(bool on) { setFlagBit(kNewBitPos, on); }
bool CDBRecord::IsDeleted() { return getFlagBit(kDelBitPos); }
void CDBRecord::SetDeleted(bool on) { setFlagBit(kDelBitPos, on); }
bool CDBRecord::IsChanged() { return getFlagBit(kChangeBitPos); }
void CDBRecord::SetChanged(bool on) { setFlagBit(kChangeBitPos, on); }
bool CDBRecord::IsEmpty() { return getFlagBit(kEmptyBitPos); }
void CDBRecord::SetEmpty(bool on) { setFlagBit(kEmptyBitPos, on); }
bool CDBRecord::IsArchived() { return getFlagBit(kArchivedBitPos); }
void CDBRecord::SetArchived(bool on) { setFlagBit(kArchivedBitPos, on); }

void CDBRecord::ClearChanges() {
  SetNew(false);
  SetChanged(false);
  SetDeleted(false);
}

bool CDBRecord::IsSortChanged() {
  return getTruth(store_->tags, format::kTagSortChanged, at(kLineGetSortChanged));
}

void CDBRecord::SetSortChanged(bool on) {
  setTruth(store_->tags, format::kTagSortChanged, on, at(kLineSetSortChanged));
}

}  // namespace kx_gen
