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
/// The file: docs/format-outline.md. What the file itself refuses is thrown as `CFile` says.
///
/// Writing is `WriteAllHeaders`, then `WriteRows`, which change the file in place: `SafeSave.h` has
/// the way that cannot lose it. Reading is `Open`, `ReadHeader` for each header that is wanted,
/// `ReadRows`. After creating and writing a file, close it and open it to read.
class KX_API CDatabase : public CFileStream {
  friend class DatabaseSave;

 public:
  /// Version 0, no rows, the conduit header registered. Without `createRecordset` the kind's own
  /// constructor makes the rows.
  explicit CDatabase(bool createRecordset);
  CDatabase(const CDatabase&) = delete;
  CDatabase& operator=(const CDatabase&) = delete;
  ~CDatabase() override;

  /// Opens the file; without the create bit it also reads the information block and header table,
  /// but neither headers nor rows. Returns 1. Throws what the file refuses, message 13 for a
  /// foreign file, the kind's message for a version that it does not read, 8 when the table is cut
  /// short, 20 for a slot smaller than its registered header.
  int Open(const wchar_t* path, unsigned int mode) override;

  virtual void CheckDbInfo() = 0;  ///< Throws when the kind does not read this version.
  virtual void InitNewDatabase();  ///< For a file just created, before it is written.
  virtual void WriteDbInfo();      ///< The information block, at the start of the file.
  /// What the kind keeps ahead of the rows; called where it stands, or is to stand, in the file.
  virtual void ReadExtraRows() = 0;
  virtual void WriteExtraRows() = 0;
  virtual void CreateRecordset();  ///< Replaces the rows by an empty set; throws message 11.

 protected:
  /// File offset of the extra rows, by the table as read and by the table as it will be written. A
  /// kind that gives the table's own offset has no table.
  virtual unsigned long getFirstRowStartPosReading();
  virtual unsigned long getFirstRowStartPosWriting();

 public:
  /// Reads and checks the information block; part of `Open`. After a refusal version and row count
  /// stay as read.
  void ReadDbInfo();
  void ReadHeaderInfo();   ///< Reads the header table; part of `Open`.
  void WriteHeaderInfo();  ///< Writes the header table alone.
  /// Reads one registered header and adds the fields that the file lacks. False, and the header is
  /// as it was, when the file lacks it. Throws messages 8, 11 and 14.
  bool ReadHeader(unsigned short id);
  /// Writes one header into its slot, and nothing else. Refused with an assertion for an unknown id
  /// and for a header whose slot the file does not have yet: that takes `WriteAllHeaders` and
  /// `WriteRows`, after everything was read. Throws message 12 when the header outgrew its slot.
  void WriteHeader(unsigned short id);
  void ReadConduitHeader();            ///< `ReadHeader` of id 1.
  void WriteConduitHeader();           ///< `WriteHeader` of id 1.
  CConduitHeader* GetConduitHeader();  ///< The database's own; never null.
  /// Writes information block, table and all slots. Throws message 12, with table and slots
  /// untouched, when a header outgrew its slot. Where the table grows, the rows must be written
  /// too.
  void WriteAllHeaders();
  /// Replaces the rows by the file's. When it throws (messages 5, 6, 8, 11), the rows read so far
  /// stay, and so does the one whose reading failed.
  void ReadRows();
  void WriteRows();  ///< Also writes the row count and cuts the file behind the last row.
  /// Reads the row whose start tag stands at the file offset `pos` into `record`.
  void ReadRow(unsigned long pos, CDBRecord* record);
  /// Releases every row whose deleted flag is set; stops, by throwing, at one without a flag tag.
  void purgeDeletedRecs();

  CDBRecordset* GetRecordset() { return recordset_; }  ///< The database keeps it.
  CDBRecord* getRecord(unsigned long i);               ///< Null when there are not so many.
  /// As last read; the kind's own until then.
  unsigned long GetVersionNum() const { return dbInfo_.version; }
  unsigned long GetRowCount() const { return dbInfo_.rowCount; }  ///< As last read or written.
  /// Keeps a copy of `text` and returns it, valid until the next call: for interfaces that hand
  /// out plain pointers.
  const wchar_t* KeepText(const _String& text) {
    keptText_ = text;
    return keptText_;
  }
  CHeaderManager& GetHeaderManager() { return headerManager_; }  ///< Headers and slots.

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
  _String keptText_;
};

}  // namespace kx_gen
