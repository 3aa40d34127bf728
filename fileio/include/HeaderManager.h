/// The header table of a file, and its headers' slots.
#pragma once

#include <vector>

#include "FileStream.h"
#include "TaggedDataHeader.h"

namespace kx_gen {

#pragma pack(push, 1)
/// One entry of the header table.
struct THeaderRecord {
  uint16_t id;
  uint32_t size;  ///< Of the slot, in bytes.
};
#pragma pack(pop)
static_assert(sizeof(THeaderRecord) == format::kHeaderRecordSize, "header records are packed");

/// A header as one of the manager's lists knows it.
struct THeaderInfo {
  THeaderRecord record;
  CTaggedDataHeader* header;        ///< Null until known.
  bool present;                     ///< Registered list: the header also stands in the read list.
  std::vector<unsigned char> slot;  ///< Read list: the slot of a header that nobody registered.
};

/// Matches the headers found in a file (read list) with those that the program knows (registered
/// list). A header of the file that nobody registered is kept: its slot is remembered on reading
/// and written back at its new place, with an assertion in the log.
class KX_API CHeaderManager : public CBaseObject {
  friend class DatabaseSave;

 public:
  explicit CHeaderManager(unsigned short tablePos);  ///< The table's offset in the file.
  CHeaderManager(const CHeaderManager&) = delete;
  CHeaderManager& operator=(const CHeaderManager&) = delete;
  ~CHeaderManager() override;  ///< Deletes the registered header objects.

  /// Reads the table at the table position and matches it. When it throws, the read list is empty.
  /// Throws message 20 when a registered header is larger than its recorded slot, 8 when the file
  /// ends inside the table.
  void Read(CFileStream& stream) override;
  void Write(CFileStream& stream) override;  ///< Writes the table alone.

  /// Adds a header to the registered list, which then owns `header`. An id that is there already
  /// adds no entry, and `header` replaces that of the last one.
  void RegisterHeader(const THeaderRecord& record, CTaggedDataHeader* header);
  void AddHeader(const THeaderRecord& record);  ///< To the read list; a repeated id is ignored.
  /// The registered header, or null; the manager keeps it.
  CTaggedDataHeader* GetHeaderPtr(unsigned short id);
  /// Gives the entries of the read list their registered headers; throws message 20 as `Read` does.
  void AddRegistered();
  /// Raises recorded sizes to the registered ones, or throws message 20 while reporting is on.
  void ResizeHeaders();
  /// While on (1, as constructed), a registered size above the recorded one throws message 20.
  void SetReportSizeProblem(int report) { reportSizeProblem_ = report; }
  void ForgetRead();  ///< Empties the read list, as for a file about to be created.

  /// Reads a slot and adds the fields that it lacks. False: the file lacks it, or nobody registered
  /// it. Throws messages 8, 11 and 14.
  bool ReadHeader(CFileStream& stream, unsigned short id);
  /// Writes one slot, at its write position; while the table in the file must grow, where the slot
  /// was read. Asserts, and writes nothing, for an unknown id, a header that nobody registered and
  /// one whose slot the file does not have yet. Throws message 12 before the first byte.
  void WriteHeader(CFileStream& stream, unsigned short id);
  /// Throws message 12 when a header that `WriteAll` would write does not fit its slot.
  void CheckAllFit(CFileStream& stream);
  /// Table and every slot. All headers are checked before the first byte; message 12.
  void WriteAll(CFileStream& stream);

  // File offsets: of a slot (0xFFFFFFFF when the id is unknown) and behind the last slot; by the
  // table as read, and by the one that will be written.
  unsigned long GetHeaderReadPos(unsigned short id);
  unsigned long GetHeaderWritePos(unsigned short id);
  unsigned long GetReadHeadersEnd();
  unsigned long GetWriteHeadersEnd();
  /// True while the table in the file still lacks a registered header.
  bool MustGrowTable();

  using HeaderList = std::vector<THeaderInfo*>;
  const HeaderList& GetReadList() const { return readList_; }  ///< In file order.

 protected:
  using iterator = HeaderList::iterator;

  void AddHeader(HeaderList& list, const THeaderRecord& record);  ///< Unless the id is there.
  iterator Find(HeaderList& list, unsigned short id);             ///< The first with this id.
  // Bytes of the table, count included, as read and as it will be written.
  unsigned short GetReadHeaderBlockSize();
  unsigned short GetWriteHeaderBlockSize();
  // Bytes of the slots that a list's entries take by themselves: those not present in the other.
  unsigned long GetHeadersSize(HeaderList& list);
  unsigned long GetHeaderPos(HeaderList& list, unsigned short id);  ///< Ahead of this id's.
  unsigned short CountNonPresent(HeaderList& list);
  void ClearPresentFlag(HeaderList& list);
  void RemoveAll(HeaderList& list, bool deleteHeaders);
  void WriteHeadersInfo(CFileStream& stream, HeaderList& list);  ///< The list's table entries.
  void WriteAll(CFileStream& stream, HeaderList& list);          ///< The list's slots.

 private:
  void readTable(CFileStream& stream);
  void rememberUnknownSlots(CFileStream& stream);
  void checkAllFit(HeaderList& list);
  void shrinkCutSlots(CFileStream& stream);
  uint32_t neededSlotSize(const THeaderInfo& info);

  int reportSizeProblem_ = 1;
  HeaderList readList_;
  uint32_t tablePos_;
  HeaderList registered_;
  bool tableInFile_ = false;  // a table was read, and none written since
  uint64_t lengthRead_ = 0;   // of the file read, where slots beyond its end would matter
};

}  // namespace kx_gen
