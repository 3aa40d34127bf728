#include "Database.h"

#include <new>

#include "ReadExactly.h"
#include "RecordStore.h"
#include "Throw.h"

namespace kx_gen {

namespace {

constexpr char kSource[] = "Database";
enum : int {
  kLineNoMemory = 47,
  kLineReadShort = 71,
  kLineCheckCode = 74,
  kLineReadInfo = 77,
  kLineHeaderOnRows = 103,
  kLineReadRowClosed = 131,
  kLineReadRowNull = 132,
  kLineNoRecordset = 148,
};

}  // namespace

CDatabase::CDatabase(bool createRecordset)
    : headerManager_(format::kHeaderTablePos), dbInfo_{format::kCheckCode, 0, 0} {
  headerManager_.RegisterHeader({format::kConduitHeaderId, format::kConduitHeaderSize},
                                new CConduitHeader);
  if (createRecordset) CDatabase::CreateRecordset();  // last: a constructor that fails frees no set
}

CDatabase::~CDatabase() {
  CFileStream::Close();
  delete recordset_;
}

int CDatabase::Open(const wchar_t* path, unsigned int mode) {
  if (CFileStream::Open(path, mode) == 0) return 0;
  if ((mode & CFile::modeCreate) != 0) {
    headerManager_.ForgetRead();
    dbInfo_ = {format::kCheckCode, ownVersion_, 0};
    return 1;
  }
  ReadDbInfo();
  if (HasHeaderTable()) headerManager_.Read(*this);
  return 1;
}

void CDatabase::InitNewDatabase() { headerManager_.AddRegistered(); }

void CDatabase::CreateRecordset() {
  auto* recordset = new (std::nothrow) CDBRecordset;
  if (recordset == nullptr) {
    throwTraced(kSource, kLineNoMemory, kMsgOutOfMemory, numberOf(kMsgOutOfMemory));
  }
  InstallRecordset(recordset);
}

void CDatabase::InstallRecordset(CDBRecordset* recordset) {
  if (recordset == recordset_) return;
  delete recordset_;
  recordset_ = recordset;
}

unsigned long CDatabase::getFirstRowStartPosReading() { return headerManager_.GetReadHeadersEnd(); }

unsigned long CDatabase::getFirstRowStartPosWriting() {
  return headerManager_.GetWriteHeadersEnd();
}

bool CDatabase::HasHeaderTable() { return getFirstRowStartPosReading() != format::kHeaderTablePos; }

void CDatabase::SetVersionNum(unsigned short version) {
  ownVersion_ = version;
  dbInfo_.version = version;
}

void CDatabase::ReadDbInfo() {
  if (GetLength() < format::kDbInfoSize) {
    throwTraced<CDBException>(kSource, kLineReadShort, kMsgCheckCode, numberOf(kMsgCheckCode));
  }
  Seek(0, 0);
  unsigned char image[format::kDbInfoSize];
  readExactly(*this, image, sizeof(image), {kSource, kLineReadInfo});
  dbInfo_.version = getLe16(image + format::kVersionOffset);
  dbInfo_.rowCount = getLe32(image + format::kRowCountOffset);
  if (getLe32(image + format::kCheckCodeOffset) != format::kCheckCode) {
    throwTraced<CDBException>(kSource, kLineCheckCode, kMsgCheckCode, numberOf(kMsgCheckCode));
  }
  CheckDbInfo();
}

void CDatabase::WriteDbInfo() {
  unsigned char image[format::kDbInfoSize];
  putLe32(image + format::kCheckCodeOffset, dbInfo_.checkCode);
  putLe16(image + format::kVersionOffset, dbInfo_.version);
  putLe32(image + format::kRowCountOffset, dbInfo_.rowCount);
  Seek(0, 0);
  Write(image, sizeof(image));
}

void CDatabase::ReadHeaderInfo() { headerManager_.Read(*this); }

void CDatabase::WriteHeaderInfo() { headerManager_.Write(*this); }

bool CDatabase::ReadHeader(unsigned short id) {
  return HasHeaderTable() && headerManager_.ReadHeader(*this, id);
}

void CDatabase::WriteHeader(unsigned short id) {
  // Where a kind has no table, its rows stand where the slot would go.
  if (!kx_Check(HasHeaderTable(), kSource, kLineHeaderOnRows)) return;
  headerManager_.WriteHeader(*this, id);
}

void CDatabase::ReadConduitHeader() { ReadHeader(format::kConduitHeaderId); }

void CDatabase::WriteConduitHeader() { WriteHeader(format::kConduitHeaderId); }

CConduitHeader* CDatabase::GetConduitHeader() {
  return static_cast<CConduitHeader*>(headerManager_.GetHeaderPtr(format::kConduitHeaderId));
}

void CDatabase::WriteAllHeaders() {
  const bool hasTable = getFirstRowStartPosWriting() != format::kHeaderTablePos;
  // A header that does not fit must be found before anything of the file is changed.
  if (hasTable) headerManager_.CheckAllFit(*this);
  WindowScope window(*this);
  WriteDbInfo();
  if (hasTable) headerManager_.WriteAll(*this);
  window.finish();
}

void CDatabase::ReadRows() {
  WindowScope window(*this);
  Seek(static_cast<long>(getFirstRowStartPosReading()), 0);
  ReadExtraRows();
  if (!kx_Check(recordset_ != nullptr, kSource, kLineNoRecordset)) return;
  recordset_->Free();
  for (uint32_t i = 0; i < dbInfo_.rowCount; ++i) recordset_->Append()->Read(*this);
  window.finish();
}

void CDatabase::WriteRows() {
  if (!kx_Check(recordset_ != nullptr, kSource, kLineNoRecordset)) return;
  WindowScope window(*this);
  dbInfo_.rowCount = static_cast<uint32_t>(recordset_->getSize());
  Seek(static_cast<long>(getFirstRowStartPosWriting()), 0);
  WriteExtraRows();
  recordset_->forEach([this](CDBRecord* record) { record->Write(*this); });
  const unsigned long end = GetPosition();
  WriteDbInfo();
  Seek(static_cast<long>(end), 0);
  SetLength(end);
  window.finish();
}

void CDatabase::ReadRow(unsigned long pos, CDBRecord* record) {
  kx_Check(IsOpen(), kSource, kLineReadRowClosed);
  if (!kx_Check(record != nullptr, kSource, kLineReadRowNull)) return;
  Seek(static_cast<long>(pos), 0);
  record->Read(*this);
}

void CDatabase::purgeDeletedRecs() {
  if (!kx_Check(recordset_ != nullptr, kSource, kLineNoRecordset)) return;
  recordset_->DeleteIf([](CDBRecord* record) { return record->IsDeleted(); });
}

CDBRecord* CDatabase::getRecord(unsigned long i) {
  return recordset_ != nullptr ? recordset_->getRecord(i) : nullptr;
}

}  // namespace kx_gen
