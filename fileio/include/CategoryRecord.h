/// The rows of the category database.
#pragma once

#include "Rowset.h"

namespace kx_gen {

/// One category. A fresh record has no fields until `Init`, which the recordset calls. None of the
/// setters touches the record's flags.
class KX_API CCategoryRecord : public CDBRecord {
 public:
  CCategoryRecord() = default;
  CCategoryRecord(const CCategoryRecord&) = default;
  CCategoryRecord& operator=(const CCategoryRecord&) = default;
  ~CCategoryRecord() override;
  void Init() override;

  void SetCategoryId(unsigned long id);
  unsigned long GetCategoryId();
  void SetCategoryName(const wchar_t* name);
  void GetCategoryName(_String& name);
  void SetLastChangedTime(unsigned long time);  ///< Seconds since 1970, UTC.
  unsigned long GetLastChangedTime();
};

/// Makes `CCategoryRecord`s.
class KX_API CCategoryRecordset : public CDBRecordset {
 public:
  CCategoryRecordset() = default;
  ~CCategoryRecordset() override;
  CDBRecord* CreateDBRecord() override;
};

}  // namespace kx_gen
