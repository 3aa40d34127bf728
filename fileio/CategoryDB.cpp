#include "CategoryDB.h"

#include <algorithm>
#include <cwchar>
#include <limits>
#include <mutex>
#include <new>
#include <unordered_set>

#include "ReadExactly.h"
#include "RecordStore.h"
#include "TagAccess.h"
#include "Text.h"
#include "Throw.h"

namespace kx_gen {

// Other modules may refer to these; an importing one has no definition of its own.
const unsigned char CCategoryDB::kMaxCategoryAmount;
const size_t CCategoryDB::kUnfiledNameSize;

namespace {

constexpr char kRecordSource[] = "CategoryRecord";
constexpr char kSource[] = "CategoryDB";
constexpr char kSourceFile[] = ".\\CategoryDB";
enum : int {
  // Accessors of the record.
  kLineSetId = 43,
  kLineGetId = 51,
  kLineSetTime = 60,
  kLineGetTime = 68,
  kLineSetName = 76,
  kLineGetName = 83,
  // The database.
  kLineNewRecord = 38,
  kLineNewRecordset = 52,
  kLineNoFreeId = 97,
  kLineVersion = 128,
  kLineAddIdFull = 141,
  kLineAddIdTwice = 142,
  kLineAddIdTooMany = 155,
  kLineAddSlotFull = 171,
  kLineAddSlotRange = 174,
  kLineByIndex = 183,
  kLineAddFull = 200,
  kLineAddTooMany = 213,
  kLineResizeTooFar = 320,
  kLineRecordNull = 340,
  kLineUnfiledNull = 386,
  kLineUnfiledMissing = 406,
  kLineReadExtra = 420,
};

constexpr SourceLine atRecord(int line) { return SourceLine{kRecordSource, line}; }

constexpr size_t kEndSlot = std::numeric_limits<size_t>::max();  // where an iterator ends

constexpr unsigned long kSlotsMax = 65535;  // what a slot number may ask for

std::mutex unfiledMutex;

}  // namespace

// --- Records ---

CCategoryRecord::~CCategoryRecord() = default;

void CCategoryRecord::Init() {
  SetCategoryId(format::kUnfiledCategoryId);
  SetCategoryName(L"");
  SetLastChangedTime(0);
}

void CCategoryRecord::SetCategoryId(unsigned long id) {
  setNumber(getTaggedDataManager(), format::kTagCategoryId, static_cast<uint32_t>(id),
            atRecord(kLineSetId));
}

unsigned long CCategoryRecord::GetCategoryId() {
  return getNumber<uint32_t>(getTaggedDataManager(), format::kTagCategoryId, atRecord(kLineGetId));
}

void CCategoryRecord::SetCategoryName(const wchar_t* name) {
  setText(getTaggedDataManager(), format::kStringCategoryRecordName, name, atRecord(kLineSetName));
}

void CCategoryRecord::GetCategoryName(_String& name) {
  getText(getTaggedDataManager(), format::kStringCategoryRecordName, name, atRecord(kLineGetName));
}

void CCategoryRecord::SetLastChangedTime(unsigned long time) {
  setNumber(getTaggedDataManager(), format::kTagLastChangedTime, static_cast<uint32_t>(time),
            atRecord(kLineSetTime));
}

unsigned long CCategoryRecord::GetLastChangedTime() {
  return getNumber<uint32_t>(getTaggedDataManager(), format::kTagLastChangedTime,
                             atRecord(kLineGetTime));
}

CCategoryRecordset::~CCategoryRecordset() = default;

CDBRecord* CCategoryRecordset::CreateDBRecord() {
  return createRecord<CCategoryRecord>({kSourceFile, kLineNewRecord});
}

// --- The iterator ---

CCategoryIterator::CCategoryIterator(CCategoryDB* db, CDBRecordset::iterator row) : db_(db) {
  if (db_ == nullptr) return;
  slot_ = static_cast<size_t>(row - db_->GetRecordset()->begin());
  FindFirst();
}

void CCategoryIterator::FindFirst() {
  if (db_ == nullptr) return;
  const auto size = static_cast<size_t>(db_->GetRecordset()->getSize());
  while (slot_ < size && db_->getRecord(static_cast<unsigned long>(slot_))->IsEmpty()) ++slot_;
  // The end is no slot, so that it stays the end when slots are added.
  if (slot_ >= size) slot_ = kEndSlot;
}

CCategoryRecord* CCategoryIterator::operator*() const {
  if (db_ == nullptr || slot_ == kEndSlot) return nullptr;
  return static_cast<CCategoryRecord*>(db_->getRecord(static_cast<unsigned long>(slot_)));
}

CCategoryIterator& CCategoryIterator::operator++() {
  if (**this == nullptr) return *this;  // the end stays the end
  ++slot_;
  FindFirst();
  return *this;
}

CCategoryIterator CCategoryIterator::operator++(int) {
  const CCategoryIterator before = *this;
  ++*this;
  return before;
}

bool CCategoryIterator::operator!=(const CCategoryIterator& other) const {
  return slot_ != other.slot_ || db_ != other.db_;
}

bool CCategoryIterator::operator!=(const CDBRecordset::iterator& row) const {
  return GetRowIterator() != row;
}

CDBRecordset::iterator CCategoryIterator::GetRowIterator() const {
  if (db_ == nullptr) return CDBRecordset::iterator();
  CDBRecordset* rows = db_->GetRecordset();
  const size_t slot = std::min(slot_, static_cast<size_t>(rows->getSize()));
  return rows->begin() + static_cast<std::ptrdiff_t>(slot);
}

// --- The database ---

wchar_t CCategoryDB::kUnfiledCategoryName[kUnfiledNameSize] = {};

CCategoryDB::CCategoryDB() : CDatabase(false) {
  CCategoryDB::CreateRecordset();
  SetVersionNum(format::kCategoryVersion);
}

CCategoryDB::~CCategoryDB() = default;

void CCategoryDB::CreateRecordset() {
  auto* recordset = new (std::nothrow) CCategoryRecordset;
  if (recordset == nullptr) {
    throwTraced(kSourceFile, kLineNewRecordset, kMsgOutOfMemory, numberOf(kMsgOutOfMemory));
  }
  InstallRecordset(recordset);
}

void CCategoryDB::CheckDbInfo() {
  if (GetVersionNum() <= format::kCategoryVersion) return;
  throwTraced(kSource, kLineVersion, kMsgNewerVersion, numberOf(kMsgNewerVersion));
}

void CCategoryDB::InitNewDatabase() {
  CDatabase::InitNewDatabase();
  newFlag_ = 1;
  lastCategoryId_ = format::kFirstCategoryId;
  AddNewCategory(format::kUnfiledCategoryId, kUnfiledCategoryName,
                 CTime::GetCurrentTime().GetTime(), 0);
}

void CCategoryDB::WriteDbInfo() {
  SetVersionNum(format::kCategoryVersion);
  CDatabase::WriteDbInfo();
}

void CCategoryDB::ReadExtraRows() {
  unsigned char image[sizeof(lastCategoryId_)];
  readExactly(*this, image, sizeof(image), {kSource, kLineReadExtra});
  lastCategoryId_ = getLe32(image);
  if (GetVersionNum() == 0) return;  // such a file has no new flag
  readExactly(*this, &newFlag_, sizeof(newFlag_), {kSource, kLineReadExtra});
}

void CCategoryDB::WriteExtraRows() { *this << lastCategoryId_ << newFlag_; }

CCategoryRecordset* CCategoryDB::GetCatRecordset() {
  return static_cast<CCategoryRecordset*>(GetRecordset());
}

CCategoryRecord* CCategoryDB::recordInSlot(size_t slot) {
  return static_cast<CCategoryRecord*>(getRecord(static_cast<unsigned long>(slot)));
}

CCategoryRecord* CCategoryDB::GetByIndex(unsigned long i) {
  kx_Check(i < kMaxCategoryAmount, kSource, kLineByIndex);
  return recordInSlot(i);
}

CCategoryIterator CCategoryDB::GetIterator() {
  return CCategoryIterator(this, GetRecordset()->begin());
}

CDBRecordset::iterator CCategoryDB::End() { return GetRecordset()->end(); }

unsigned short CCategoryDB::GetCategoryCount() {
  unsigned short count = 0;
  for (CCategoryIterator it = GetIterator(); it != End(); ++it) ++count;
  return count;
}

bool CCategoryDB::isFull() { return GetCategoryCount() >= kMaxCategoryAmount; }

CCategoryRecord* CCategoryDB::FindCategory(unsigned long id) {
  for (CCategoryIterator it = GetIterator(); it != End(); ++it) {
    if ((*it)->GetCategoryId() == static_cast<uint32_t>(id)) return *it;
  }
  return nullptr;
}

CCategoryRecord* CCategoryDB::FindCategory(const wchar_t* name) {
  _String present;
  for (CCategoryIterator it = GetIterator(); it != End(); ++it) {
    (*it)->GetCategoryName(present);
    if (present == name) return *it;
  }
  return nullptr;
}

void CCategoryDB::GetCategoryName(CCategoryRecord* record, _String& name) {
  if (kx_Check(record != nullptr, kSource, kLineRecordNull)) record->GetCategoryName(name);
}

unsigned long CCategoryDB::GetCategoryID(CCategoryRecord* record) {
  return kx_Check(record != nullptr, kSource, kLineRecordNull) ? record->GetCategoryId() : 0;
}

void CCategoryDB::setUnfiledCategoryName(const wchar_t* name) {
  if (!kx_Check(name != nullptr, kSourceFile, kLineUnfiledNull)) return;
  std::wstring text = name;
  cutToUnits(text, kUnfiledNameSize - 1);
  const std::lock_guard<std::mutex> lock(unfiledMutex);
  std::wmemcpy(kUnfiledCategoryName, text.data(), text.size());
  std::wmemset(kUnfiledCategoryName + text.size(), L'\0', kUnfiledNameSize - text.size());
}

const wchar_t* CCategoryDB::getUnfiledCategoryName() { return kUnfiledCategoryName; }

unsigned long CCategoryDB::GetNewCategoryId() {
  const uint64_t next = static_cast<uint64_t>(lastCategoryId_) + 1;
  lastCategoryId_ =
      next > format::kLastCategoryId ? format::kFirstCategoryId : static_cast<uint32_t>(next);
  // Collected once: a damaged file may hold any number of live ids in a row.
  std::unordered_set<unsigned long> live;
  for (CCategoryIterator it = GetIterator(); it != End(); ++it) live.insert((*it)->GetCategoryId());
  while (live.contains(lastCategoryId_)) ++lastCategoryId_;
  if (lastCategoryId_ > format::kLastCategoryId) {
    throwTraced(kSourceFile, kLineNoFreeId, kMsgNoFreeCategoryId, numberOf(kMsgNoFreeCategoryId));
  }
  return lastCategoryId_;
}

int CCategoryDB::FindFirstHole() {
  int slot = 0;
  for (CDBRecord* record : *GetRecordset()) {
    if (record->IsEmpty()) return slot;
    ++slot;
  }
  GetRecordset()->Append();
  return GetRecordset()->getSize() - 1;
}

// The first hole, or the record appended for want of one. Beyond the last slot it stays appended.
CCategoryRecord* CCategoryDB::takeHole(int throwLine) {
  const int slot = FindFirstHole();
  if (slot >= kMaxCategoryAmount) {
    throwTraced(kSourceFile, throwLine, kMsgTooManyCategories, numberOf(kMsgTooManyCategories));
  }
  return GetByIndex(static_cast<unsigned long>(slot));
}

// The times could be const, but for the stated signatures.
// NOLINTBEGIN(readability-non-const-parameter)
CCategoryRecord* CCategoryDB::AddNewCategory(const wchar_t* name, unsigned long* time) {
  kx_Check(!isFull(), kSourceFile, kLineAddFull);
  const unsigned long now = time != nullptr ? *time : CTime::GetCurrentTime().GetTime();
  CCategoryRecord* record = takeHole(kLineAddTooMany);
  record->SetEmpty(false);
  record->SetNew(true);
  record->SetCategoryId(GetNewCategoryId());
  record->SetCategoryName(name);
  record->SetLastChangedTime(now);
  return record;
}

CCategoryRecord* CCategoryDB::AddNewCategory(unsigned long id, const wchar_t* name,
                                             unsigned long* time) {
  kx_Check(!isFull(), kSourceFile, kLineAddIdFull);
  kx_Check(FindCategory(id) == nullptr, kSourceFile, kLineAddIdTwice);
  const unsigned long now = time != nullptr ? *time : CTime::GetCurrentTime().GetTime();
  CCategoryRecord* record = takeHole(kLineAddIdTooMany);
  record->SetEmpty(false);
  record->SetNew(true);
  record->SetCategoryId(id);
  record->SetCategoryName(name);
  record->SetLastChangedTime(now);
  return record;
}
// NOLINTEND(readability-non-const-parameter)

CCategoryRecord* CCategoryDB::AddNewCategory(unsigned long id, const wchar_t* name,
                                             unsigned long time, int index) {
  kx_Check(!isFull(), kSourceFile, kLineAddSlotFull);
  kx_Check(index >= 0 && index < kMaxCategoryAmount, kSourceFile, kLineAddSlotRange);
  if (index < 0) return nullptr;
  if (index >= GetRecordset()->getSize()) ResizeDB(static_cast<unsigned long>(index));
  CCategoryRecord* record = recordInSlot(static_cast<size_t>(index));
  if (record == nullptr) return nullptr;
  record->SetNew(true);
  record->SetEmpty(false);
  record->SetCategoryId(id);
  record->SetCategoryName(name);
  record->SetLastChangedTime(time);
  return record;
}

void CCategoryDB::DeleteCategory(CCategoryRecord* record, unsigned long time) {
  if (!kx_Check(record != nullptr, kSource, kLineRecordNull)) return;
  record->SetEmpty(true);
  record->SetDeleted(true);
  record->SetLastChangedTime(time);
}

void CCategoryDB::UndeleteCategory(CCategoryRecord* record, unsigned long time) {
  if (!kx_Check(record != nullptr, kSource, kLineRecordNull)) return;
  record->SetEmpty(false);
  record->SetNew(true);
  record->SetDeleted(false);
  record->SetChanged(true);
  record->SetLastChangedTime(time);
  record->SetCategoryId(GetNewCategoryId());
}

void CCategoryDB::RenameCategory(CCategoryRecord* record, const wchar_t* name, unsigned long time) {
  if (!kx_Check(record != nullptr, kSource, kLineRecordNull)) return;
  record->SetCategoryName(name);
  record->SetChanged(true);
  record->SetLastChangedTime(time);
}

void CCategoryDB::SetCategoryID(CCategoryRecord* record, unsigned long id) {
  if (!kx_Check(record != nullptr, kSource, kLineRecordNull)) return;
  record->SetCategoryId(id);
  record->SetChanged(true);
}

void CCategoryDB::deleteAllCategories() {
  GetRecordset()->Free();
  lastCategoryId_ = format::kFirstCategoryId;
}

void CCategoryDB::ResizeDB(unsigned long n) {
  if (!kx_Check(n < kSlotsMax, kSource, kLineResizeTooFar)) return;
  while (static_cast<unsigned long>(GetRecordset()->getSize()) <= n) {
    GetRecordset()->Append()->SetEmpty(true);
  }
}

void CCategoryDB::setDesktopCategoryIDs() {
  CCategoryRecord* unfiled = FindCategory(kUnfiledCategoryName);
  if (kx_Check(unfiled != nullptr, kSourceFile, kLineUnfiledMissing) &&
      unfiled->GetCategoryId() != format::kUnfiledCategoryId) {
    unfiled->SetCategoryId(format::kUnfiledCategoryId);
  }
  lastCategoryId_ = format::kFirstCategoryId;
  _String name;
  for (CCategoryIterator it = GetIterator(); it != End(); ++it) {
    CCategoryRecord* record = *it;
    record->GetCategoryName(name);
    const bool isUnfiled =
        record->GetCategoryId() == format::kUnfiledCategoryId && name == kUnfiledCategoryName;
    if (!isUnfiled) record->SetCategoryId(++lastCategoryId_);
  }
}

}  // namespace kx_gen
