// The block of a record and how recordsets make records.
#pragma once

#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>

#include "Rowset.h"
#include "TagAccess.h"
#include "Throw.h"

namespace kx_gen {

/// A record's block, which its copies share.
struct CDBRecord::Store {
  Store() : tags(&data, 0, false, 0, kMemBlock) {}
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
  ~Store() { std::free(data); }

  std::atomic<long> owners{1};
  char* data = nullptr;
  CTaggedDataManager tags;
};

/// A new, initialised record of a recordset's kind. Exhausted memory throws message 11; when `Init`
/// throws, the record is freed first.
template <class Record>
Record* createRecord(SourceLine where) {
  std::unique_ptr<Record> record;
  try {
    record.reset(new Record);
  } catch (const std::bad_alloc&) {
    throwTraced(where.file, where.line, kMsgOutOfMemory, numberOf(kMsgOutOfMemory));
  }
  record->Init();
  return record.release();
}

}  // namespace kx_gen
