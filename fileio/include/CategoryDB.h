/// The category database.
#pragma once

#include "CategoryRecord.h"
#include "Database.h"

namespace kx_gen {

class CCategoryDB;

/// Walks the live categories of a database: a slot number, so it stays valid when the database
/// grows. `*` at the end is null.
class KX_API CCategoryIterator {
 public:
  CCategoryIterator() = default;
  /// Starts at the first live category at or behind `row`.
  CCategoryIterator(CCategoryDB* db, CDBRecordset::iterator row);

  CCategoryRecord* operator*() const;
  CCategoryIterator& operator++();
  CCategoryIterator operator++(int);
  bool operator!=(const CCategoryIterator& other) const;
  bool operator!=(const CDBRecordset::iterator& row) const;
  CDBRecordset::iterator GetRowIterator() const;

 private:
  void FindFirst();
  size_t slot_ = 0;
  CCategoryDB* db_ = nullptr;
};

/// At most 16 live categories, with ids from 128 to 255 beside the unfiled category 0. A deleted
/// category leaves a hole: its slot keeps id and name, flagged empty and deleted, and is reused.
class KX_API CCategoryDB : public CDatabase {
 public:
  static constexpr unsigned char kMaxCategoryAmount = format::kMaxCategoryAmount;
  static constexpr size_t kUnfiledNameSize = 32;  ///< Characters, terminator included.
  static wchar_t kUnfiledCategoryName[kUnfiledNameSize];

  CCategoryDB();
  ~CCategoryDB() override;

  void CheckDbInfo() override;      ///< Accepts versions 0 and 1, else message 4.
  void InitNewDatabase() override;  ///< Also adds the unfiled category.
  void WriteDbInfo() override;
  void ReadExtraRows() override;
  void WriteExtraRows() override;
  void CreateRecordset() override;

  CCategoryRecordset* GetCatRecordset();
  CCategoryRecord* GetByIndex(unsigned long i);
  CCategoryIterator GetIterator();
  CDBRecordset::iterator End();
  unsigned short GetCategoryCount();
  unsigned char GetMaxCategoryAmount() const { return kMaxCategoryAmount; }
  bool isFull();
  bool isNew() const { return newFlag_ != 0; }
  void setNewFlag(bool on) { newFlag_ = on ? 1 : 0; }

  CCategoryRecord* FindCategory(unsigned long id);
  CCategoryRecord* FindCategory(int id) { return FindCategory(static_cast<unsigned long>(id)); }
  CCategoryRecord* FindCategory(const wchar_t* name);
  void GetCategoryName(CCategoryRecord* record, _String& name);
  unsigned long GetCategoryID(CCategoryRecord* record);

  /// The display name of the unfiled category, at most 31 characters; the application supplies it.
  static void setUnfiledCategoryName(const wchar_t* name);
  static const wchar_t* getUnfiledCategoryName();

  // Times are seconds since 1970, UTC; a null `time` means now. The first two throw message 21 when
  // no slot is left, the first also message 19 when no id is.
  CCategoryRecord* AddNewCategory(const wchar_t* name, unsigned long* time);
  CCategoryRecord* AddNewCategory(unsigned long id, const wchar_t* name, unsigned long* time);
  /// Overwrites whatever stands in slot `index`.
  CCategoryRecord* AddNewCategory(unsigned long id, const wchar_t* name, unsigned long time,
                                  int index);
  void DeleteCategory(CCategoryRecord* record, unsigned long time);
  void UndeleteCategory(CCategoryRecord* record, unsigned long time);  ///< It gets a fresh id.
  void RenameCategory(CCategoryRecord* record, const wchar_t* name, unsigned long time);
  void SetCategoryID(CCategoryRecord* record, unsigned long id);
  void deleteAllCategories();
  void ResizeDB(unsigned long n);  ///< Adds holes until there are more than `n` slots.
  void setDesktopCategoryIDs();    ///< Renumbers 129, 130, ... in slot order.

  unsigned long GetNewCategoryId();  ///< Throws message 19.
  int FindFirstHole();               ///< May append a record, which is not empty.

 private:
  CCategoryRecord* recordInSlot(size_t slot);
  CCategoryRecord* takeHole(int throwLine);

  uint32_t lastCategoryId_ = format::kFirstCategoryId;
  unsigned char newFlag_ = 1;
};

}  // namespace kx_gen
