#include "HeaderManager.h"

#include <algorithm>
#include <limits>
#include <memory>

#include "ReadExactly.h"
#include "TagAccess.h"
#include "Throw.h"

namespace kx_gen {

namespace {

constexpr char kSource[] = "HeaderManager";
enum : int {
  kLineRegisterNull = 41,
  kLineSizeChanged = 87,
  kLineResizeChanged = 112,
  kLineReadCount = 130,
  kLineReadTable = 134,
  kLineWriteNoHeader = 163,
  kLineReadPosition = 181,
  kLineReadNoHeader = 184,
  kLineWriteUnknown = 201,
  kLineWritePosition = 205,
  kLineWriteNoObject = 208,
  kLineWriteOnRows = 211,
};

constexpr unsigned long kNoPosition = 0xFFFFFFFF;

// A file may claim slots far beyond its end. Up to this many missing bytes they are written back at
// their recorded sizes; beyond it, as large as what they hold.
constexpr uint64_t kMissingSlotBytesMax = 1u << 20;

unsigned short blockSize(size_t entries) {
  return static_cast<unsigned short>(format::kHeaderRecordSize * entries +
                                     format::kHeaderCountSize);
}

// Positions beyond what a file can have are none; a seek there fails.
unsigned long asPosition(uint64_t position) {
  return position < kNoPosition ? static_cast<unsigned long>(position) : kNoPosition;
}

// As many of the `size` bytes at `pos` as can be read; none when reading them fails.
std::vector<unsigned char> readableBytes(CFileStream& stream, long pos, unsigned int size) {
  std::vector<unsigned char> bytes(size);
  try {
    stream.Seek(pos, 0);
    bytes.resize(stream.Read(bytes.data(), size));
  } catch (CException* e) {
    if (e != nullptr) e->Delete();
    bytes.clear();
  }
  return bytes;
}

// The entry is made before its place: neither is left alone when memory runs out.
void append(CHeaderManager::HeaderList& list, const THeaderRecord& record) {
  std::unique_ptr<THeaderInfo> info(new THeaderInfo{record, nullptr, false, {}});
  list.push_back(info.get());
  static_cast<void>(info.release());
}

// How much of a slot of `size` bytes at `pos` is to be written: all of it, unless it claims far
// more than the file has.
uint32_t slotSizeInFile(CFileStream& stream, uint64_t pos, uint32_t size) {
  if (size <= kMissingSlotBytesMax) return size;
  const uint64_t length = stream.GetLength();
  if (pos + size <= length + kMissingSlotBytesMax) return size;
  return static_cast<uint32_t>(length > pos ? length - pos : 0);
}

[[noreturn]] void throwSizeChanged(int line) {
  throwTraced(kSource, line, kMsgHeaderSizeChanged, numberOf(kMsgHeaderSizeChanged));
}

}  // namespace

CHeaderManager::CHeaderManager(unsigned short tablePos) : tablePos_(tablePos) {}

CHeaderManager::~CHeaderManager() {
  RemoveAll(readList_, false);
  RemoveAll(registered_, true);
}

void CHeaderManager::RemoveAll(HeaderList& list, bool deleteHeaders) {
  for (THeaderInfo* info : list) {
    if (deleteHeaders) delete info->header;
    delete info;
  }
  list.clear();
}

CHeaderManager::iterator CHeaderManager::Find(HeaderList& list, unsigned short id) {
  return std::find_if(list.begin(), list.end(),
                      [id](const THeaderInfo* info) { return info->record.id == id; });
}

void CHeaderManager::AddHeader(HeaderList& list, const THeaderRecord& record) {
  if (Find(list, record.id) == list.end()) append(list, record);
}

void CHeaderManager::AddHeader(const THeaderRecord& record) { AddHeader(readList_, record); }

void CHeaderManager::RegisterHeader(const THeaderRecord& record, CTaggedDataHeader* header) {
  kx_Check(header != nullptr, kSource, kLineRegisterNull);
  std::unique_ptr<CTaggedDataHeader> owner(header);
  AddHeader(registered_, record);
  static_cast<void>(owner.release());
  THeaderInfo* last = registered_.back();
  CTaggedDataHeader* replaced = last->header;
  last->header = header;
  last->present = false;
  if (replaced == nullptr || replaced == header) return;
  for (THeaderInfo* info : readList_) {
    if (info->header == replaced) info->header = header;
  }
  delete replaced;
}

CTaggedDataHeader* CHeaderManager::GetHeaderPtr(unsigned short id) {
  const auto found = Find(registered_, id);
  return found != registered_.end() ? (*found)->header : nullptr;
}

void CHeaderManager::ForgetRead() {
  RemoveAll(readList_, false);
  ClearPresentFlag(registered_);
  tableInFile_ = false;
  lengthRead_ = 0;
}

void CHeaderManager::ClearPresentFlag(HeaderList& list) {
  for (THeaderInfo* info : list) info->present = false;
}

unsigned short CHeaderManager::CountNonPresent(HeaderList& list) {
  return static_cast<unsigned short>(std::count_if(
      list.begin(), list.end(), [](const THeaderInfo* info) { return !info->present; }));
}

void CHeaderManager::Read(CFileStream& stream) {
  ForgetRead();
  try {
    readTable(stream);
    ClearPresentFlag(readList_);
    AddRegistered();
    if (GetReadHeadersEnd() > kMissingSlotBytesMax) lengthRead_ = stream.GetLength();
    rememberUnknownSlots(stream);
  } catch (...) {
    ForgetRead();
    throw;
  }
  tableInFile_ = true;
}

void CHeaderManager::readTable(CFileStream& stream) {
  stream.Seek(static_cast<long>(tablePos_), 0);
  unsigned char count[format::kHeaderCountSize];
  readExactly(stream, count, sizeof(count), {kSource, kLineReadCount});
  const size_t entries = getLe16(count);
  if (entries == 0) return;
  const auto wanted = static_cast<uint32_t>(entries * format::kHeaderRecordSize);
  std::vector<unsigned char> table(justified(stream, wanted));
  readExactly(stream, table.data(), static_cast<unsigned int>(table.size()),
              {kSource, kLineReadTable});
  std::vector<bool> seen(std::numeric_limits<uint16_t>::max() + 1u);
  for (size_t i = 0; i < entries; ++i) {
    const unsigned char* at = &table[i * format::kHeaderRecordSize];
    const THeaderRecord record = {getLe16(at), getLe32(at + 2)};
    if (seen[record.id]) continue;
    seen[record.id] = true;
    append(readList_, record);
  }
}

// Keeps the slots of headers that nobody registered, so that they can be written back. A slot that
// the file cuts short is kept as far as it goes; none of this fails the reading of the table.
void CHeaderManager::rememberUnknownSlots(CFileStream& stream) {
  const auto unknown = [](const THeaderInfo* info) { return info->header == nullptr; };
  if (std::none_of(readList_.begin(), readList_.end(), unknown)) return;
  const unsigned long behindTable = stream.GetPosition();
  const uint64_t length = stream.GetLength();
  uint64_t pos = tablePos_ + static_cast<uint64_t>(GetReadHeaderBlockSize());
  for (THeaderInfo* info : readList_) {
    const uint64_t left = length > pos ? length - pos : 0;
    const auto size = static_cast<unsigned int>(std::min<uint64_t>(info->record.size, left));
    if (unknown(info) && size > 0 && pos <= std::numeric_limits<long>::max()) {
      info->slot = readableBytes(stream, static_cast<long>(pos), size);
    }
    pos += info->record.size;
  }
  stream.Seek(static_cast<long>(behindTable), 0);
}

void CHeaderManager::AddRegistered() {
  for (THeaderInfo* info : registered_) {
    const auto found = Find(readList_, info->record.id);
    if (found == readList_.end()) continue;
    (*found)->header = info->header;
    info->present = true;
    if (reportSizeProblem_ != 0 && info->record.size > (*found)->record.size) {
      throwSizeChanged(kLineSizeChanged);
    }
  }
}

void CHeaderManager::ResizeHeaders() {
  for (const THeaderInfo* info : registered_) {
    const auto found = Find(readList_, info->record.id);
    if (found == readList_.end() || info->record.size <= (*found)->record.size) continue;
    if (reportSizeProblem_ != 0) throwSizeChanged(kLineResizeChanged);
    (*found)->record.size = info->record.size;
  }
}

unsigned short CHeaderManager::GetReadHeaderBlockSize() { return blockSize(readList_.size()); }

unsigned short CHeaderManager::GetWriteHeaderBlockSize() {
  return blockSize(readList_.size() + CountNonPresent(registered_));
}

unsigned long CHeaderManager::GetHeadersSize(HeaderList& list) {
  uint64_t sum = 0;
  for (const THeaderInfo* info : list) {
    if (!info->present) sum += info->record.size;
  }
  return asPosition(sum);
}

unsigned long CHeaderManager::GetHeaderPos(HeaderList& list, unsigned short id) {
  uint64_t sum = 0;
  for (const THeaderInfo* info : list) {
    if (info->record.id == id) return asPosition(sum);
    if (!info->present) sum += info->record.size;
  }
  return kNoPosition;
}

unsigned long CHeaderManager::GetHeaderReadPos(unsigned short id) {
  if (Find(readList_, id) == readList_.end()) return kNoPosition;
  return asPosition(static_cast<uint64_t>(tablePos_) + GetReadHeaderBlockSize() +
                    GetHeaderPos(readList_, id));
}

unsigned long CHeaderManager::GetHeaderWritePos(unsigned short id) {
  const uint64_t slots = static_cast<uint64_t>(tablePos_) + GetWriteHeaderBlockSize();
  if (Find(readList_, id) != readList_.end())
    return asPosition(slots + GetHeaderPos(readList_, id));
  if (Find(registered_, id) == registered_.end()) return kNoPosition;
  return asPosition(slots + GetHeadersSize(readList_) + GetHeaderPos(registered_, id));
}

unsigned long CHeaderManager::GetReadHeadersEnd() {
  return asPosition(static_cast<uint64_t>(tablePos_) + GetReadHeaderBlockSize() +
                    GetHeadersSize(readList_));
}

unsigned long CHeaderManager::GetWriteHeadersEnd() {
  return asPosition(static_cast<uint64_t>(tablePos_) + GetWriteHeaderBlockSize() +
                    GetHeadersSize(readList_) + GetHeadersSize(registered_));
}

bool CHeaderManager::MustGrowTable() { return tableInFile_ && CountNonPresent(registered_) > 0; }

void CHeaderManager::Write(CFileStream& stream) {
  const auto count = static_cast<unsigned short>(readList_.size() + CountNonPresent(registered_));
  stream.Seek(static_cast<long>(tablePos_), 0);
  stream << count;
  WriteHeadersInfo(stream, readList_);
  WriteHeadersInfo(stream, registered_);
  tableInFile_ = false;
}

void CHeaderManager::WriteHeadersInfo(CFileStream& stream, HeaderList& list) {
  for (const THeaderInfo* info : list) {
    if (info->present) continue;
    unsigned char image[format::kHeaderRecordSize];
    putLe16(image, info->record.id);
    putLe32(image + 2, info->record.size);
    stream.Write(image, sizeof(image));
  }
}

void CHeaderManager::CheckAllFit(CFileStream& stream) {
  shrinkCutSlots(stream);
  checkAllFit(readList_);
  checkAllFit(registered_);
}

void CHeaderManager::WriteAll(CFileStream& stream) {
  CheckAllFit(stream);
  Write(stream);
  stream.Seek(static_cast<long>(tablePos_) + GetWriteHeaderBlockSize(), 0);
  WriteAll(stream, readList_);
  WriteAll(stream, registered_);
}

void CHeaderManager::checkAllFit(HeaderList& list) {
  for (const THeaderInfo* info : list) {
    if (!info->present && info->header != nullptr) info->header->CheckFits(info->record.size);
  }
}

// Slots that end far behind the end of the file claim room that nothing justifies. What was there
// when the file was read counts, because the stream may be over a new file by now.
void CHeaderManager::shrinkCutSlots(CFileStream& stream) {
  if (GetReadHeadersEnd() <= kMissingSlotBytesMax) return;
  const uint64_t length = std::max<uint64_t>(stream.GetLength(), lengthRead_);
  if (GetReadHeadersEnd() <= length + kMissingSlotBytesMax) return;
  uint64_t pos = tablePos_ + static_cast<uint64_t>(GetReadHeaderBlockSize());
  for (THeaderInfo* info : readList_) {
    const uint64_t end = pos + info->record.size;
    if (end > length) {
      const auto there = static_cast<uint32_t>(length > pos ? length - pos : 0);
      info->record.size = std::max(there, neededSlotSize(*info));
    }
    pos = end;
  }
}

// What a header's slot must at least hold: its registered size, or what was remembered of it.
uint32_t CHeaderManager::neededSlotSize(const THeaderInfo& info) {
  const auto found = Find(registered_, info.record.id);
  if (found != registered_.end()) return (*found)->record.size;
  return static_cast<uint32_t>(info.slot.size());
}

void CHeaderManager::WriteAll(CFileStream& stream, HeaderList& list) {
  for (THeaderInfo* info : list) {
    const bool known = kx_Check(info->header != nullptr, kSource, kLineWriteNoHeader);
    if (info->present) continue;
    if (known) {
      info->header->Write(stream, info->record.size);
    } else {
      std::vector<unsigned char> slot(info->slot);
      slot.resize(info->record.size);
      if (!slot.empty()) stream.Write(slot.data(), static_cast<unsigned int>(slot.size()));
    }
  }
}

bool CHeaderManager::ReadHeader(CFileStream& stream, unsigned short id) {
  const auto found = Find(readList_, id);
  if (found == readList_.end()) return false;
  const unsigned long pos = GetHeaderReadPos(id);
  kx_Check(pos != kNoPosition, kSource, kLineReadPosition);
  CTaggedDataHeader* header = (*found)->header;
  if (!kx_Check(header != nullptr, kSource, kLineReadNoHeader)) return false;
  stream.Seek(static_cast<long>(pos), 0);
  header->Read(stream, (*found)->record.size);
  header->CreateNewFields();
  return true;
}

void CHeaderManager::WriteHeader(CFileStream& stream, unsigned short id) {
  const auto inFile = Find(readList_, id);
  const bool standsInFile = inFile != readList_.end();
  const auto entry = standsInFile ? inFile : Find(registered_, id);
  const bool known = standsInFile || entry != registered_.end();
  if (!kx_Check(known, kSource, kLineWriteUnknown)) return;
  // While the file's table is the shorter one that was read, every slot still stands where it was
  // read, and there is none yet for a header that the file lacks.
  const bool oldTable = MustGrowTable();
  if (!kx_Check(standsInFile || !oldTable, kSource, kLineWriteOnRows)) return;
  const unsigned long pos = oldTable ? GetHeaderReadPos(id) : GetHeaderWritePos(id);
  kx_Check(pos != kNoPosition, kSource, kLineWritePosition);
  CTaggedDataHeader* header = (*entry)->header;
  if (!kx_Check(header != nullptr, kSource, kLineWriteNoObject)) return;
  const uint32_t recorded = (*entry)->record.size;  // a copy: the record is packed
  header->CheckFits(recorded);
  const auto block = static_cast<uint32_t>(header->getTaggedDataManager().size());
  const uint32_t needed =
      std::max(neededSlotSize(**entry), static_cast<uint32_t>(block + format::kSlotLengthSize));
  const uint32_t size = std::max(needed, slotSizeInFile(stream, pos, recorded));
  stream.Seek(static_cast<long>(pos), 0);
  header->Write(stream, std::min(size, recorded));
}

}  // namespace kx_gen
