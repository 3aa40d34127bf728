/// Database kinds and headers of the tests' own.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "KX_FileIO.h"

namespace kx_test {

/// The plainest kind: no headers of its own, no extra rows, every version welcome. It remembers
/// which of its operations ran, in order.
class PlainDb : public kx_gen::CDatabase {
 public:
  explicit PlainDb(bool createRecordset = true) : CDatabase(createRecordset) {}
  ~PlainDb() override = default;

  void CheckDbInfo() override {
    calls.emplace_back("CheckDbInfo");
    if (refuse) throw new kx_gen::CDBException(4ul, 3);
  }
  void WriteDbInfo() override {
    calls.emplace_back("WriteDbInfo");
    CDatabase::WriteDbInfo();
  }
  void ReadExtraRows() override { calls.emplace_back("ReadExtraRows"); }
  void WriteExtraRows() override { calls.emplace_back("WriteExtraRows"); }

  using CDatabase::getFirstRowStartPosReading;
  using CDatabase::getFirstRowStartPosWriting;
  using CDatabase::InstallRecordset;
  using CDatabase::SetVersionNum;

  void registerHeader(uint16_t id, uint32_t size, kx_gen::CTaggedDataHeader* header) {
    GetHeaderManager().RegisterHeader({id, size}, header);
  }

  std::vector<std::string> calls;
  bool refuse = false;
};

/// A kind with a number ahead of its rows.
class ExtraDb : public PlainDb {
 public:
  ExtraDb() = default;
  ~ExtraDb() override = default;
  void ReadExtraRows() override {
    PlainDb::ReadExtraRows();
    *this >> extra;
  }
  void WriteExtraRows() override {
    PlainDb::WriteExtraRows();
    *this << extra;
  }
  unsigned short extra = 0;
};

/// A kind whose first row stands where the header table would.
class TablelessDb : public PlainDb {
 public:
  TablelessDb() = default;
  ~TablelessDb() override = default;

 protected:
  unsigned long getFirstRowStartPosReading() override { return kx_gen::format::kHeaderTablePos; }
  unsigned long getFirstRowStartPosWriting() override { return kx_gen::format::kHeaderTablePos; }
};

/// A header with one field, tag 5, whose default is 42.
class FieldHeader : public kx_gen::CTaggedDataHeader {
 public:
  static constexpr unsigned long kField = 5;
  static constexpr uint32_t kDefault = 42;
  ~FieldHeader() override = default;
  void CreateNewFields() override {
    if (!hasTag(kField)) getTaggedDataManager().setValue(kField, kDefault, nullptr);
  }
};

}  // namespace kx_test
