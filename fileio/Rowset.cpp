#include "Rowset.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

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

// Reads a framing tag and tells whether it is the expected one.
bool readFrame(CFileStream& stream, const unsigned char (&expected)[format::kRowTagSize],
               int line) {
  unsigned char tag[format::kRowTagSize];
  readExactly(stream, tag, sizeof(tag), at(line));
  return std::memcmp(tag, expected, sizeof(tag)) == 0;
}

}  // namespace

CDBRecord::CDBRecord() : store_(new Store) {
  SetFlag(0);
  SetSortChanged(false);
}

CDBRecord::CDBRecord(const CDBRecord& other)
    : CBaseObject(other), index_(other.index_), pos_(other.pos_), store_(other.store_) {
  ++store_->owners;
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

void CDBRecord::releaseStore() {
  if (--store_->owners == 0) delete store_;
}

// Gives this record an empty block of its own; what it shared stays with the others.
void CDBRecord::detach() {
  auto* own = new Store;
  --store_->owners;
  store_ = own;
}

void CDBRecord::FreeData() {
  if (store_->owners > 1) {
    detach();
    return;
  }
  store_->tags.deleteBuff();
  store_->tags.assignBuffer(&store_->data, 0, 0, kMemBlock);
}

void CDBRecord::Init() {}

void CDBRecord::Write(CFileStream& stream) {
  pos_ = static_cast<uint32_t>(stream.GetPosition());
  const auto size = static_cast<uint32_t>(GetRecSize());
  stream.Write(format::kRowStartTag, kStartTagLen);
  stream << size;
  if (size > 0) stream.Write(store_->data, size);
  stream.Write(format::kRowEndTag, kEndTagLen);
}

void CDBRecord::Read(CFileStream& stream) {
  FreeData();
  pos_ = static_cast<uint32_t>(stream.GetPosition());
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

void CDBRecord::readBlock(CFileStream& stream, uint32_t size) {
  if (size == 0) return;
  const uint32_t count = justified(stream, size);
  auto* block = static_cast<char*>(std::malloc(count));
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
