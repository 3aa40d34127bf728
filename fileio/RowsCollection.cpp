#include <algorithm>
#include <new>

#include "RecordStore.h"
#include "Rowset.h"

namespace kx_gen {

namespace {

constexpr char kSource[] = "RowsCollection";
enum : int {
  kLineNoMemory = 35,
};

}  // namespace

CDBRecordset::CDBRecordset() = default;

CDBRecordset::~CDBRecordset() { Free(); }

CDBRecord* CDBRecordset::CreateDBRecord() {
  return createRecord<CDBRecord>({kSource, kLineNoMemory});
}

CDBRecord* CDBRecordset::getRecord(unsigned long i) {
  return i < rows_.size() ? rows_[i] : nullptr;
}

// The place in the vector is made first, so that a record that was made is never lost.
CDBRecord* CDBRecordset::insertNew(size_t position) {
  rows_.insert(rows_.begin() + static_cast<std::ptrdiff_t>(position), nullptr);
  try {
    CDBRecord* record = CreateDBRecord();
    rows_[position] = record;
    return record;
  } catch (...) {
    rows_.erase(rows_.begin() + static_cast<std::ptrdiff_t>(position));
    throw;
  }
}

CDBRecord* CDBRecordset::Append() { return insertNew(rows_.size()); }

void CDBRecordset::add(CDBRecord* record) {
  mayRepeat_ = mayRepeat_ || !rows_.empty();
  rows_.push_back(record);
}

// Searched from both ends at once: the row that is looked for is mostly near one of them.
size_t CDBRecordset::indexOf(const CDBRecord* record) const {
  const size_t size = rows_.size();
  for (size_t front = 0, back = size; front < back; ++front) {
    if (rows_[front] == record) return front;
    if (rows_[--back] == record) return mayRepeat_ ? firstIndexOf(record, front, back) : back;
  }
  return size;
}

// A row that was added twice counts where it stands first. No other way leads into the set twice.
size_t CDBRecordset::firstIndexOf(const CDBRecord* record, size_t from, size_t found) const {
  const auto first = rows_.begin() + static_cast<std::ptrdiff_t>(from);
  const auto last = rows_.begin() + static_cast<std::ptrdiff_t>(found);
  return static_cast<size_t>(std::find(first, last, record) - rows_.begin());
}

CDBRecord* CDBRecordset::InsertBefore(CDBRecord* record) { return insertNew(indexOf(record)); }

CDBRecord* CDBRecordset::InsertAfter(CDBRecord* record) {
  return insertNew(std::min(indexOf(record) + 1, rows_.size()));
}

void CDBRecordset::MoveBefore(CDBRecord* record, CDBRecord* before) {
  if (record == before) return;
  const auto position = GetRowPos(record);
  if (position == rows_.end()) return;
  rows_.erase(position);  // makes the room that the insertion takes
  rows_.insert(GetRowPos(before), record);
}

CDBRecordset::iterator CDBRecordset::GetRowPos(CDBRecord* record) {
  return rows_.begin() + static_cast<std::ptrdiff_t>(indexOf(record));
}

// Frees what the record owns and then its storage, without its destructor.
void CDBRecordset::release(CDBRecord* record) {
  if (record == nullptr) return;
  record->releaseStore();
  CDBRecord::operator delete(dynamic_cast<void*>(record));
}

CDBRecordset::iterator CDBRecordset::Delete(iterator position) {
  if (position == rows_.end()) return position;
  release(*position);
  return rows_.erase(position);
}

CDBRecordset::iterator CDBRecordset::Delete(CDBRecord* record) { return Delete(GetRowPos(record)); }

void CDBRecordset::Delete(int i) {
  if (i >= 0 && i < getSize()) Delete(rows_.begin() + i);
}

void CDBRecordset::DeleteDBRecord(CDBRecord* record) {
  const auto position = GetRowPos(record);
  if (position != rows_.end()) rows_.erase(position);
  delete record;
}

void CDBRecordset::emptyRS() {
  rows_.clear();
  mayRepeat_ = false;
}

void CDBRecordset::Free() {
  forEach(release);
  emptyRS();
}

}  // namespace kx_gen
