/// The outline database (".kxo" files).
#pragma once

#include <memory>
#include <type_traits>
#include <vector>

#include "Database.h"
#include "OutlineRecord.h"
#include "TaggedDataHeader.h"

namespace kx_gen {

/// The ids of deleted items that synchronisation consumes, in the order of deletion.
class KX_API CDeletedThoughts {
 public:
  void AddId(unsigned long id);  ///< Duplicates are kept.
  bool IsDeleted(unsigned long id) const;
  void removeId(unsigned long id);  ///< The first occurrence.
  void Clear();
  size_t GetCount() const { return ids_.size(); }
  unsigned long GetId(size_t i) const { return ids_[i]; }  ///< `i` below the count.
  /// Replaces the list by the file's. Throws `CException(8, 7)` when the file ends inside it; the
  /// ids before that stay.
  void Read(CFileStream& stream);
  void Write(CFileStream& stream);

 private:
  std::vector<unsigned long> ids_;
};

/// One outline document: its headers' fields, the ids of deleted items, and items as rows. Getters
/// of header fields throw `CException*` message 16 when the field is absent, 15 or 17 when it is
/// damaged. The file: docs/format-outline.md.
class KX_API COutlineDB : public CDatabase {
 public:
  COutlineDB();  ///< No rows; every header field has its default.
  COutlineDB(const COutlineDB&) = delete;
  COutlineDB& operator=(const COutlineDB&) = delete;
  ~COutlineDB() override;

  /// As `CDatabase::Open`, but every `CException*` is caught here: it is traced, the file closed
  /// and 0 returned.
  int Open(const wchar_t* path, unsigned int mode) override;
  void CheckDbInfo() override;    ///< Accepts version 0, else message 4.
  void ReadExtraRows() override;  ///< The deleted ids.
  void WriteExtraRows() override;
  void CreateRecordset() override;  ///< A `COutlineRecordset`; throws message 11.

  void Delete(COutlineRecord* record);  ///< Releases the row; does not remember its id.
  /// Releases every row. The deleted ids then are the rows' non-zero ids, or none. Stops, by
  /// throwing, at a row whose id it cannot read: the rows before it are gone, the rest stay.
  void DeleteAll(bool rememberIds);
  void AddDeletedId(unsigned long id);  ///< Duplicates are kept.
  bool IsDeleted(unsigned long id);     ///< Whether the id stands among the deleted ones.
  template <class Id, class = std::enable_if_t<std::is_integral<Id>::value>>
  bool IsDeleted(Id id) {
    return IsDeleted(static_cast<unsigned long>(id));
  }
  bool IsDeleted(COutlineRecord* record);  ///< The same for the record's id.
  void removeDeletedId(unsigned long id);  ///< The first occurrence.
  const CDeletedThoughts& GetDeletedThoughts() const { return *deletedThoughts_; }

  // `ReadHeader` and `WriteHeader` of the two headers. False: the file lacks it.
  bool ReadSharedHeader();
  void WriteSharedHeader();
  bool ReadPrivateHeader();
  void WritePrivateHeader();

  // Fields of the shared header, as `CSharedHeader` describes them. They change in memory; the file
  // has them after `WriteSharedHeader` or `WriteAllHeaders`.
  void GetCategoryName(_String& name);
  void SetCategoryName(const wchar_t* name);  ///< Also sets the outline-changed field.
  bool GetCategoryChanged();
  void SetCategoryChanged(bool changed);
  bool GetOutlineChanged();
  void SetOutlineChanged(bool changed);
  bool GetSynchronized();
  void SetSynchronized(bool synchronized);
  bool GetPrivate();
  void SetPrivate(bool isPrivate);
  bool GetPrivateTagChanged();
  void SetPrivateTagChanged(bool changed);
  void getNumbering(unsigned char* const tenBytes);
  void setNumbering(unsigned char* const tenBytes);
  bool getNumberingChanged();
  void setNumberingChanged(bool changed);
  unsigned short getNumberingDivider();
  void setNumberingDivider(unsigned short divider);
  bool getNumberingDividerChanged();
  void setNumberingDividerChanged(bool changed);

  // Fields of the private header, as `CPrivateOutlineHeader` describes them.
  void GetOutlineTitle(_String& title);
  void SetOutlineTitle(const wchar_t* title);
  unsigned char GetShowCheckedItems();
  void SetShowCheckedItems(unsigned char mode);
  bool ShowCheckedItemsChanged();
  void setCheckedItemsChanged(bool changed);
  unsigned long GetSelectedIndex();
  void SetSelectedIndex(unsigned long index);
  unsigned long GetTopIndex();
  void SetTopIndex(unsigned long index);
  unsigned char GetShowHeadingsMode();
  void SetShowHeadingsMode(unsigned char mode);
  /// The numeric part of the font and its colour, which may be null; the face name stays as it is,
  /// being the header's own. Setting asserts a height other than 0.
  void GetOutlineFont(LOGFONTW& font, unsigned long* color);
  void SetOutlineFont(const LOGFONTW& font, unsigned long color);
  void GetOutlineWindowPos(WINDOWPLACEMENT& placement);  ///< Fills all but the length field.
  void SetOutlineWindowPos(const WINDOWPLACEMENT& placement);

  // Headers of the same id in two databases; a null `other` is asserted and differs.
  void copySharedHeader(COutlineDB* other);   ///< From `other` to this.
  void copyPrivateHeader(COutlineDB* other);  ///< From `other` to this.
  /// True when category name, private flag, numbering and its divider are equal.
  bool compareSharedHeader(COutlineDB* other);
  /// True when show-checked-items and title are equal.
  bool comparePrivateHeader(COutlineDB* other);

 protected:
  // The registered headers; never null.
  CSharedHeader* GetSharedHeaderPtr();
  CPrivateOutlineHeader* GetPrivateOutlineHeaderPtr();

 private:
  CTaggedDataManager& sharedTags();
  CTaggedDataManager& privateTags();

  std::unique_ptr<CDeletedThoughts> deletedThoughts_;
};

/// A lean kind beside `COutlineDB`: linked outline rows right behind the information block, without
/// headers and deleted ids. `Open` throws (message 25 for a version other than 10). The file:
/// docs/format-memory-outline.md.
class KX_API CMemOutlDB : public CDatabase {
 public:
  CMemOutlDB();
  CMemOutlDB(const CMemOutlDB&) = delete;
  CMemOutlDB& operator=(const CMemOutlDB&) = delete;
  ~CMemOutlDB() override;

  void CheckDbInfo() override;      ///< Accepts version 10, else message 25.
  void ReadExtraRows() override;    ///< There are none.
  void WriteExtraRows() override;   ///< There are none.
  void CreateRecordset() override;  ///< A `CLinkedOutlRS`; throws message 11.

 protected:
  unsigned long getFirstRowStartPosReading() override;
  unsigned long getFirstRowStartPosWriting() override;
};

/// In every outline of `folder` with `extension` (without dot) whose category is exactly `oldName`,
/// makes it `newName` (null: the unfiled category's). Only their shared headers change. The first
/// file that fails ends it with its exception; later files are untouched. Throws
/// `CException(8, 7)` when the system does not let the folder be searched; one that is not there
/// has no files.
KX_API void updateCategory(const wchar_t* folder, const wchar_t* extension, const wchar_t* oldName,
                           const wchar_t* newName);
/// The same for one file; with `always`, whatever its category is. Rewrites the whole file when it
/// lacks the shared header. Always true. Throws `CException(8, 7)`, and changes nothing, when the
/// file cannot be opened.
KX_API bool updateFileCategory(const wchar_t* path, bool always, const wchar_t* oldName,
                               const wchar_t* newName);

/// Makes a proposed title usable as a file title: blanks trimmed, \/:*?"<>| removed, at most 27
/// characters, "Unfilled" when nothing remains. Always true.
KX_API bool ValidateFileTitle(_String& title);

}  // namespace kx_gen
