/// The rows of the category database.
#pragma once

#include "Rowset.h"

namespace kx_gen {

/// One category. A fresh record has only what every record has until `Init`, which the recordset
/// calls. None of the setters touches the record's flags. Getters throw `CException*` message 16
/// when the field is absent, 15 or 17 when it is damaged.
class KX_API CCategoryRecord : public CDBRecord {
 public:
  CCategoryRecord() = default;
  CCategoryRecord(const CCategoryRecord&) = default;
  CCategoryRecord& operator=(const CCategoryRecord&) = default;
  ~CCategoryRecord() override;
  void Init() override;  ///< Id 0, name empty, time 0.

  void SetCategoryId(unsigned long id);  ///< 0, or 128 to 255; not checked.
  unsigned long GetCategoryId();
  void SetCategoryName(const wchar_t* name);  ///< Of any length; null means "".
  void GetCategoryName(_String& name);
  void SetLastChangedTime(unsigned long time);  ///< Seconds since 1970, UTC.
  unsigned long GetLastChangedTime();
};

/// Makes `CCategoryRecord`s.
class KX_API CCategoryRecordset : public CDBRecordset {
 public:
  CCategoryRecordset() = default;
  CCategoryRecordset(const CCategoryRecordset&) = delete;
  CCategoryRecordset& operator=(const CCategoryRecordset&) = delete;
  ~CCategoryRecordset() override;
  CDBRecord* CreateDBRecord() override;  ///< A `CCategoryRecord`; throws message 11.
};

}  // namespace kx_gen
