/// The file of one database: information block, header table and slots, extra rows, rows.
#pragma once

#include "FileStream.h"
#include "HeaderManager.h"
#include "Rowset.h"

namespace kx_gen {

#pragma pack(push, 1)
/// The information block at offset 0.
struct TDatabaseInfo {
  uint32_t checkCode;
  uint16_t version;
  uint32_t rowCount;
};
#pragma pack(pop)
static_assert(sizeof(TDatabaseInfo) == format::kDbInfoSize, "the information block is packed");
static_assert(offsetof(TDatabaseInfo, version) == format::kVersionOffset, "packed");
static_assert(offsetof(TDatabaseInfo, rowCount) == format::kRowCountOffset, "packed");

/// Base of the database kinds. A kind registers its headers and sets its version in its constructor
/// and supplies `CheckDbInfo` and the extra rows. Owns its rows and headers; closes on destruction.
///
/// Writing is `WriteAllHeaders`, then `WriteRows`; reading `Open`, `ReadHeader` for each header
/// that is wanted, `ReadRows`. After creating and writing a file, close it and open it to read.
class KX_API CDatabase : public CFileStream {
 public:
  explicit CDatabase(bool createRecordset);
  CDatabase(const CDatabase&) = delete;
  CDatabase& operator=(const CDatabase&) = delete;
  ~CDatabase() override;

  /// Opens the file; without the create bit it also reads the information block and header table.
  /// Throws what the file refuses, message 13 for a foreign file, the kind's message for a version
  /// that it does not read, 20 for a slot smaller than its registered header.
  int Open(const wchar_t* path, unsigned int mode) override;

  virtual void CheckDbInfo() = 0;  ///< Throws when the kind does not read this version.
  virtual void InitNewDatabase();  ///< For a file just created.
  virtual void WriteDbInfo();
  virtual void ReadExtraRows() = 0;  ///< What the kind keeps ahead of the rows.
  virtual void WriteExtraRows() = 0;
  virtual void CreateRecordset();  ///< Replaces the rows by an empty set.

 protected:
  virtual unsigned long getFirstRowStartPosReading();
  virtual unsigned long getFirstRowStartPosWriting();

 public:
  void ReadDbInfo();
  void ReadHeaderInfo();
  void WriteHeaderInfo();
  bool ReadHeader(unsigned short id);  ///< False: the file lacks it.
  void WriteHeader(unsigned short id);
  void ReadConduitHeader();
  void WriteConduitHeader();
  CConduitHeader* GetConduitHeader();
  void WriteAllHeaders();
  /// Replaces the rows by the file's. When it throws, the rows read so far stay, and so does the
  /// one whose reading failed.
  void ReadRows();
  void WriteRows();  ///< Also writes the row count and cuts the file behind the last row.
  void ReadRow(unsigned long pos, CDBRecord* record);
  /// Releases every row whose deleted flag is set; stops, by throwing, at one without a flag tag.
  void purgeDeletedRecs();

  CDBRecordset* GetRecordset() { return recordset_; }
  CDBRecord* getRecord(unsigned long i);
  unsigned long GetVersionNum() const { return dbInfo_.version; }
  unsigned long GetRowCount() const { return dbInfo_.rowCount; }  ///< As last read or written.
  CHeaderManager& GetHeaderManager() { return headerManager_; }

 protected:
  /// The kind's version: what new files get.
  void SetVersionNum(unsigned short version);
  void InstallRecordset(CDBRecordset* recordset);  ///< Takes ownership; the old set is deleted.
  /// False for a kind whose first row stands where the header table would.
  bool HasHeaderTable();

 private:
  CDBRecordset* recordset_ = nullptr;
  CHeaderManager headerManager_;
  TDatabaseInfo dbInfo_;
  uint16_t ownVersion_ = 0;
};

}  // namespace kx_gen
