/// Rows and the ordered set of them.
#pragma once

#include <new>
#include <vector>

#include "FileStream.h"
#include "TaggedDataManager.h"

namespace kx_gen {

/// One row: a block of tagged values with its place in the file. Derived classes add their fields
/// as tags. Copy construction shares the block, and the last copy frees it; assignment copies it.
class KX_API CDBRecord : public CBaseObject {
 public:
  static const unsigned char kStartTagLen = format::kRowTagSize;
  static const unsigned char kEndTagLen = format::kRowTagSize;
  static const unsigned char kNewBitPos = format::kNewBitPos;
  static const unsigned char kDelBitPos = format::kDelBitPos;
  static const unsigned char kChangeBitPos = format::kChangeBitPos;
  static const unsigned char kEmptyBitPos = format::kEmptyBitPos;
  static const unsigned char kArchivedBitPos = format::kArchivedBitPos;
  static const unsigned short kMemBlock = 512;  ///< Growth step of the block, in bytes.

  // The storage of a record from `new` has room for its block too. A record in other storage, as on
  // the stack, allocates that separately.
  static void* operator new(size_t size);
  static void* operator new(size_t size, const std::nothrow_t& nothrow) noexcept;
  static void* operator new(size_t /*size*/, void* place) noexcept { return place; }
  static void operator delete(void* storage);
  static void operator delete(void* storage, const std::nothrow_t& nothrow);
  static void operator delete(void* /*storage*/, void* /*place*/) noexcept {}

  CDBRecord();  ///< Flag byte 0, sort changed false.
  CDBRecord(const CDBRecord& other);
  CDBRecord& operator=(const CDBRecord& other);  ///< The index stays; the copy is no file record.
  ~CDBRecord() override;

  /// Reads one framed row. Throws `CDBException` 5 or 6 for a missing start or end tag, 11 when
  /// memory ran out, `CException(8, 7)` when the file ends. The block's contents are not checked.
  void Read(CFileStream& stream) override;
  /// Writes the framed row, flags as they stand, and remembers where. Throws as the file does.
  void Write(CFileStream& stream) override;
  virtual void Init();  ///< Gives every field its default; nothing in this class.

  unsigned long GetRecSize() const;  ///< Size of the block in bytes.
  unsigned char* GetRawDataPtr();  ///< The block, valid until it is edited; may be null when empty.
  void FreeData();                 ///< Empties the block; what other copies share stays theirs.
  void resize();                   ///< Fits the buffer to the block.

  // The flag byte, tag 1. Reading it, or one of its bits, throws message 16 when the row lacks it
  // and 15 or 17 when it is damaged; so does setting a bit.
  unsigned char GetFlag();
  void SetFlag(unsigned char flags);
  /// Bit `pos` of a flag byte, counted from the most significant one.
  static bool GetBit(unsigned char flags, unsigned char pos);
  static void SetBit(unsigned char& flags, unsigned char pos, bool on);

  bool IsNew();
  void SetNew(bool on);
  bool IsDeleted();
  void SetDeleted(bool on);
  bool IsChanged();
  void SetChanged(bool on);
  bool IsEmpty();
  void SetEmpty(bool on);
  bool IsArchived();
  void SetArchived(bool on);
  void ClearChanges();  ///< Clears new, changed and deleted.

  bool IsSortChanged();  ///< Tag 2; throws as the flag byte does.
  void SetSortChanged(bool on);

  /// The caller's own number; neither the row set nor reading and writing touch it.
  unsigned long GetIndex() const { return index_; }
  void SetIndex(unsigned long index) { index_ = static_cast<uint32_t>(index); }
  /// Where the row's start tag stood when last read or written; 0xFFFFFFFF: not a file record.
  unsigned long GetPos() const { return pos_; }
  void SetPos(unsigned long pos) { pos_ = static_cast<uint32_t>(pos); }
  bool IsFileRecord() const { return pos_ != kNoPos; }

  /// The fields, for callers that work on tags of their own.
  CTaggedDataManager& getTaggedDataManager() const;

 protected:
  /// Gives a record that is as it was constructed a whole block of `size` bytes, its own tags
  /// included. False, and nothing changed, for any other record.
  bool startWith(const char* block, size_t size);

 private:
  friend class CDBRecordset;
  friend void expectRow(const char* place);
  struct Store;
  static constexpr uint32_t kNoPos = 0xFFFFFFFF;

  bool readAtOnce(CFileStream& stream);
  bool writeAtOnce(CFileStream& stream);
  void readBlock(CFileStream& stream, uint32_t size);
  bool getFlagBit(unsigned char pos);
  void setFlagBit(unsigned char pos, bool on);
  void detach();
  void releaseStore();

  uint32_t index_ = 0;
  uint32_t pos_ = kNoPos;
  Store* store_;
};

/// The rows of a database in file order. Owns them.
class KX_API CDBRecordset {
 public:
  using iterator = std::vector<CDBRecord*>::iterator;

  CDBRecordset();
  CDBRecordset(const CDBRecordset&) = delete;
  CDBRecordset& operator=(const CDBRecordset&) = delete;
  virtual ~CDBRecordset();

  /// Makes an initialised row of the set's kind, not yet in the set. Throws message 11.
  virtual CDBRecord* CreateDBRecord();

  int getSize() const { return static_cast<int>(rows_.size()); }
  CDBRecord* getRecord(unsigned long i);  ///< Null from `getSize()` on.
  iterator begin() { return rows_.begin(); }
  iterator end() { return rows_.end(); }

  CDBRecord* Append();  ///< A new row of the set's kind, at the end. Throws as `CreateDBRecord`.
  void add(CDBRecord* record);  ///< Takes ownership.
  /// A new row before or after `record`, or at the end when that is not in the set; message 11.
  CDBRecord* InsertBefore(CDBRecord* record);
  CDBRecord* InsertAfter(CDBRecord* record);
  /// Moves a row of the set; to the end when `before` is not in it.
  void MoveBefore(CDBRecord* record, CDBRecord* before);
  iterator GetRowPos(CDBRecord* record);  ///< `end()` when it is not in the set.

  /// Release what a row owns and its storage, without its destructor, and take it out; absent rows
  /// change nothing. The result stands behind it.
  iterator Delete(iterator position);
  iterator Delete(CDBRecord* record);
  void Delete(int i);
  void DeleteDBRecord(CDBRecord* record);  ///< Deletes any row, in the set or not.
  /// Releases, in one pass, the rows for which `predicate` is true. When it throws, the rows before
  /// that one are settled and the rest stay.
  template <class Predicate>
  void DeleteIf(Predicate predicate);

  void emptyRS();  ///< Forgets the rows, which then belong to the caller.
  void Free();     ///< Releases every row.

 private:
  friend class CDatabase;
  template <class Visit>
  void forEach(Visit visit);
  static void release(CDBRecord* record);
  CDBRecord* insertNew(size_t position);
  size_t indexOf(const CDBRecord* record) const;
  size_t firstIndexOf(const CDBRecord* record, size_t from, size_t found) const;

  std::vector<CDBRecord*> rows_;
  bool mayRepeat_ = false;  // rows were added that may have been in the set already
};

template <class Predicate>
void CDBRecordset::DeleteIf(Predicate predicate) {
  size_t kept = 0;
  size_t next = 0;
  struct Closer {  // closes the gap also when the predicate throws
    std::vector<CDBRecord*>& rows;
    size_t& kept;
    size_t& next;
    Closer(std::vector<CDBRecord*>& all, size_t& end, size_t& at)
        : rows(all), kept(end), next(at) {}
    Closer(const Closer&) = delete;
    Closer& operator=(const Closer&) = delete;
    ~Closer() {
      rows.erase(rows.begin() + static_cast<std::ptrdiff_t>(kept),
                 rows.begin() + static_cast<std::ptrdiff_t>(next));
    }
  } closer(rows_, kept, next);
  while (next < rows_.size()) {
    CDBRecord* record = rows_[next];
    if (predicate(record)) {
      release(record);
    } else {
      rows_[kept++] = record;
    }
    ++next;
  }
}

}  // namespace kx_gen
