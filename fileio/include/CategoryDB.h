/// The category database.
#pragma once

#include <type_traits>

#include "CategoryRecord.h"
#include "Database.h"

namespace kx_gen {

class CCategoryDB;

/// Walks the live categories of a database: a slot number, so it stays valid when the database
/// grows. Moving reads flags and throws what `CDBRecord::IsEmpty` throws.
class KX_API CCategoryIterator {
 public:
  CCategoryIterator() = default;  ///< Of no database: at the end.
  /// Starts at the first live category at or behind `row`.
  CCategoryIterator(CCategoryDB* db, CDBRecordset::iterator row);

  CCategoryRecord* operator*() const;  ///< The database's own record; null at the end.
  CCategoryIterator& operator++();     ///< To the next live category; the end stays the end.
  CCategoryIterator operator++(int);
  bool operator!=(const CCategoryIterator& other) const;  ///< Compares the slots.
  bool operator!=(const CDBRecordset::iterator& row) const;
  /// The slot's place among the rows, valid until rows come or go.
  CDBRecordset::iterator GetRowIterator() const;

 private:
  void FindFirst();
  size_t slot_ = 0;
  CCategoryDB* db_ = nullptr;
};

/// At most 16 live categories, with ids from 128 to 255 beside the unfiled category 0. A deleted
/// category leaves a hole: its slot keeps id and name, flagged empty and deleted, and is reused.
/// Records belong to the database; a null record given to it is an assertion and changes nothing.
/// The file: docs/format-category.md.
class KX_API CCategoryDB : public CDatabase {
 public:
  static const unsigned char kMaxCategoryAmount = format::kMaxCategoryAmount;
  static const size_t kUnfiledNameSize = 32;  ///< Characters, terminator included.
  /// The unfiled category's display name; empty until set, which `setUnfiledCategoryName` does.
  static wchar_t kUnfiledCategoryName[kUnfiledNameSize];

  CCategoryDB();  ///< Without categories; last id 128, new flag set.
  CCategoryDB(const CCategoryDB&) = delete;
  CCategoryDB& operator=(const CCategoryDB&) = delete;
  ~CCategoryDB() override;

  void CheckDbInfo() override;      ///< Accepts versions 0 and 1, else message 4.
  void InitNewDatabase() override;  ///< Also adds the unfiled category, in slot 0.
  void WriteDbInfo() override;      ///< Always writes version 1.
  void ReadExtraRows() override;    ///< Last id and, from version 1 on, the new flag.
  void WriteExtraRows() override;
  void CreateRecordset() override;  ///< A `CCategoryRecordset`; throws message 11.

  CCategoryRecordset* GetCatRecordset();  ///< The rows, holes included; the database keeps them.
  /// The record in slot `i`, a hole too; null when there is none. Asserts `i` below 16.
  CCategoryRecord* GetByIndex(unsigned long i);
  CCategoryIterator GetIterator();  ///< At the first live category.
  CDBRecordset::iterator End();     ///< What an iterator is compared with; valid until rows change.
  unsigned short GetCategoryCount();  ///< Live categories, the unfiled one included.
  unsigned char GetMaxCategoryAmount() const { return kMaxCategoryAmount; }
  bool isFull();  ///< 16 or more categories are live.
  /// The application's own flag: set in a new database, stored with the file, never cleared here.
  bool isNew() const { return newFlag_ != 0; }
  void setNewFlag(bool on) { newFlag_ = on ? 1 : 0; }

  // The first live category in slot order with this id or exactly this name; null when none has it.
  CCategoryRecord* FindCategory(unsigned long id);
  /// Numbers of other types, which would otherwise be ambiguous where they are 0.
  template <class Id, class = std::enable_if_t<std::is_integral<Id>::value>>
  CCategoryRecord* FindCategory(Id id) {
    return FindCategory(static_cast<unsigned long>(id));
  }
  CCategoryRecord* FindCategory(const wchar_t* name);
  void GetCategoryName(CCategoryRecord* record, _String& name);
  unsigned long GetCategoryID(CCategoryRecord* record);

  /// Sets the display name of the unfiled category for the whole process; the application supplies
  /// it. At most 31 characters are kept. Call it before other threads start: reading it is
  /// unguarded.
  static void setUnfiledCategoryName(const wchar_t* name);
  static const wchar_t* getUnfiledCategoryName();  ///< "" until set; never null.

  // Times are seconds since 1970, UTC; a null `time` means now. Additions return the record,
  // flagged new. The first two take the first hole, or a new slot, and throw message 21 when none
  // is left, the first also message 19 when no id is; a slot appended in vain stays.
  CCategoryRecord* AddNewCategory(const wchar_t* name, unsigned long* time);
  CCategoryRecord* AddNewCategory(unsigned long id, const wchar_t* name, unsigned long* time);
  /// Overwrites whatever stands in slot `index`, which is made when there are fewer. Null, and
  /// nothing changed, for a slot below 0 or from 65,535 on; others from 16 on are only asserted.
  CCategoryRecord* AddNewCategory(unsigned long id, const wchar_t* name, unsigned long time,
                                  int index);
  void DeleteCategory(CCategoryRecord* record, unsigned long time);  ///< Makes its slot a hole.
  /// The category lives again, flagged new and changed, under a fresh id. Throws message 19.
  void UndeleteCategory(CCategoryRecord* record, unsigned long time);
  void RenameCategory(CCategoryRecord* record, const wchar_t* name, unsigned long time);
  void SetCategoryID(CCategoryRecord* record, unsigned long id);  ///< Also flags it changed.
  void deleteAllCategories();      ///< Releases every row, holes too; the last id is 128 again.
  void ResizeDB(unsigned long n);  ///< Adds holes until there are more than `n` slots.
  /// Renumbers 129, 130, ... in slot order, the unfiled category 0; flags nothing changed.
  void setDesktopCategoryIDs();

  unsigned long GetNewCategoryId();  ///< The next free id, which becomes the last one. Message 19.
  /// The first slot flagged empty; when there is none, a new one, which is not flagged.
  int FindFirstHole();

 private:
  CCategoryRecord* recordInSlot(size_t slot);
  CCategoryRecord* takeHole(int throwLine);

  uint32_t lastCategoryId_ = format::kFirstCategoryId;
  unsigned char newFlag_ = 1;
};

}  // namespace kx_gen
