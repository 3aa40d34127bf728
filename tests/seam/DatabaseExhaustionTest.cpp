// What rows, recordsets and databases do when memory runs out: message 11 where there is still
// enough for a message, a null pointer or the standard exception where there is not, and nothing is
// lost of what was there.
#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <new>

#include "CategoryDB.h"
#include "FailingNew.h"
#include "KxKinds.h"
#include "KxLayout.h"
#include "LimitedMalloc.h"
#include "OutlineDB.h"

namespace {

using kx_gen::CCategoryDB;
using kx_gen::CDBRecord;
using kx_gen::CDBRecordset;
using kx_gen::COutlineDB;
using kx_gen::COutlineRecord;
using kx_seam::AllocationLimit;
using kx_seam::kMostAllocations;
using kx_test::Bytes;
using kx_test::Thrown;
using kx_test::thrownBy;
using ::testing::ElementsAre;
using ::testing::EndsWith;

class DatabaseExhaustionTest : public kx_test::KxTest {
 protected:
  std::wstring file() const { return path(L"outline.kxo"); }
  Bytes content() { return kx_test::readFile("outline.kxo"); }
  void make() { kx_test::writeFile("outline.kxo", kx_test::golden("outline-unknown")); }
};

/// The record that a set makes while one allocation, the n-th, fails.
Thrown createFailing(CDBRecordset& set, long nth) {
  return thrownBy([&] {
    const AllocationLimit once(nth, 1);
    delete set.CreateDBRecord();
  });
}

TEST_F(DatabaseExhaustionTest, ARecordsetThatCannotMakeARecordThrowsMessage11) {
  CDBRecordset plain;
  kx_gen::COutlineRecordset outline;
  kx_gen::CLinkedOutlRS linked;
  kx_gen::CCategoryRecordset categories;
  for (CDBRecordset* set :
       std::initializer_list<CDBRecordset*>{&plain, &outline, &linked, &categories}) {
    kx_test::clearLog();
    const Thrown thrown = createFailing(*set, 0);
    EXPECT_TRUE(thrown.is(Thrown::kException, 11, 10)) << thrown;
    EXPECT_EQ(kx_test::logCount("Throw an exception FILE - "), 1);
  }
}

// The block of a new row stands in the same allocation.
TEST_F(DatabaseExhaustionTest, ARecordsetMakesARecordWithOneAllocation) {
  CDBRecordset plain;
  kx_gen::COutlineRecordset outline;
  kx_gen::CLinkedOutlRS linked;
  kx_gen::CCategoryRecordset categories;
  for (CDBRecordset* set :
       std::initializer_list<CDBRecordset*>{&plain, &outline, &linked, &categories}) {
    const Thrown thrown = createFailing(*set, 1);
    EXPECT_EQ(thrown.kind, Thrown::kNothing) << thrown;
  }
}

TEST_F(DatabaseExhaustionTest, TheCategorySetNamesItsLine) {
  kx_gen::CCategoryRecordset categories;
  createFailing(categories, 0);
  EXPECT_THAT(kx_test::logLines(), ElementsAre(kx_test::throwLine(".\\CategoryDB", 38)));
}

TEST_F(DatabaseExhaustionTest, WithoutMemoryForTheMessageNullIsThrown) {
  CDBRecordset set;
  const Thrown thrown = thrownBy([&] {
    const AllocationLimit none(0);
    delete set.CreateDBRecord();
  });
  EXPECT_EQ(thrown.kind, Thrown::kNull);
}

TEST_F(DatabaseExhaustionTest, ARowTooLargeForTheMemoryThrowsMessage11) {
  const Bytes block = kx_test::join({kx_test::plainBlock(), kx_test::tag(9, Bytes(100000, 1))});
  kx_test::writeFile("row", kx_test::row(block));
  kx_gen::CFileStream stream;
  stream.Open(path(L"row").c_str(), kx_test::kReadWrite);
  CDBRecord record;
  const Thrown thrown = thrownBy([&] {
    const kx_seam::LargestRequest little(50000);
    record.Read(stream);
  });
  EXPECT_TRUE(thrown.is(Thrown::kDbException, 11, 10)) << thrown;
  EXPECT_EQ(record.GetRecSize(), 0u);
  stream.SeekToBegin();
  record.Read(stream);
  EXPECT_EQ(kx_test::blockOf(record), block);
}

TEST_F(DatabaseExhaustionTest, AnAssignmentThatRunsOutOfMemoryChangesNothing) {
  CDBRecord source;
  const Bytes large(100000, 1);
  ASSERT_EQ(source.getTaggedDataManager().setData(9, large.data(), large.size(), nullptr, 0), 0);
  CDBRecord target;
  target.SetFlag(0x21);
  EXPECT_THROW(
      {
        const kx_seam::LargestRequest little(50000);
        target = source;
      },
      std::bad_alloc);
  EXPECT_EQ(kx_test::blockOf(target), kx_test::plainBlock(0x21));
}

TEST_F(DatabaseExhaustionTest, ASetThatCannotGrowKeepsItsRows) {
  for (long allowed = 0; allowed < kMostAllocations; ++allowed) {
    CDBRecordset set;
    CDBRecord* first = set.Append();
    CDBRecord* second = set.Append();
    bool appended = true;
    try {
      const AllocationLimit limit(allowed);
      set.InsertBefore(second);
    } catch (const std::bad_alloc&) {
      appended = false;
    } catch (kx_gen::CException* e) {
      e->Delete();
      appended = false;
    }
    ASSERT_EQ(set.getSize(), appended ? 3 : 2);
    EXPECT_EQ(set.getRecord(0), first);
    EXPECT_EQ(set.getRecord(appended ? 2 : 1), second);
    if (appended) return;
  }
  ADD_FAILURE() << "never succeeded";
}

template <class Db>
Thrown createSetFailing(Db& db) {
  return thrownBy([&] {
    const AllocationLimit once(0, 1);
    db.CreateRecordset();
  });
}

TEST_F(DatabaseExhaustionTest, ADatabaseThatCannotMakeItsSetThrowsMessage11AndKeepsTheOldOne) {
  kx_test::PlainDb plain;
  COutlineDB outline;
  CCategoryDB categories;
  CDBRecord* row = plain.GetRecordset()->Append();
  CDBRecord* item = outline.GetRecordset()->Append();
  CDBRecord* category = categories.GetRecordset()->Append();

  EXPECT_TRUE(createSetFailing(plain).is(Thrown::kException, 11, 10));
  kx_test::clearLog();
  EXPECT_TRUE(createSetFailing(outline).is(Thrown::kException, 11, 10));
  EXPECT_THAT(kx_test::logLines(), ElementsAre(EndsWith("OutlineDB, LINE - 40")));
  kx_test::clearLog();
  EXPECT_TRUE(createSetFailing(categories).is(Thrown::kException, 11, 10));
  EXPECT_THAT(kx_test::logLines(), ElementsAre(kx_test::throwLine(".\\CategoryDB", 52)));

  EXPECT_EQ(plain.getRecord(0), row);
  EXPECT_EQ(outline.getRecord(0), item);
  EXPECT_EQ(categories.getRecord(0), category);
}

/// Runs `life` with ever more memory until it ends well; every other end must be one of those that
/// are documented. Nothing may be lost or freed twice on the way, which the sanitizers watch.
void untilItEndsWell(const std::function<void()>& life) {
  for (long allowed = 0; allowed < kMostAllocations; ++allowed) {
    try {
      const AllocationLimit limit(allowed);
      life();
      return;
    } catch (const std::bad_alloc&) {
      continue;
    } catch (kx_gen::CException* e) {
      e->Delete();
    }
  }
  ADD_FAILURE() << "never succeeded";
}

TEST_F(DatabaseExhaustionTest, ADocumentOpensAndReadsOrFailsCleanly) {
  make();
  const Bytes before = content();
  untilItEndsWell([&] {
    COutlineDB db;
    if (db.Open(file().c_str(), kx_test::kReadWrite) == 0) throw std::bad_alloc();
    db.ReadConduitHeader();
    db.ReadSharedHeader();
    db.ReadPrivateHeader();
    db.ReadRows();
  });
  EXPECT_EQ(content(), before);
}

TEST_F(DatabaseExhaustionTest, ASaveThatRanOutOfMemoryCanBeRepeated) {
  make();
  for (long allowed = 0; allowed < kMostAllocations; ++allowed) {
    make();
    COutlineDB db;
    ASSERT_EQ(db.Open(file().c_str(), kx_test::kReadWrite), 1);
    db.ReadConduitHeader();
    db.ReadSharedHeader();
    db.ReadPrivateHeader();
    db.ReadRows();
    bool saved = false;
    try {
      const AllocationLimit limit(allowed);
      db.WriteAllHeaders();
      db.WriteRows();
      saved = true;
    } catch (const std::bad_alloc&) {
      saved = false;
    } catch (kx_gen::CException* e) {
      e->Delete();
    }
    db.WriteAllHeaders();
    db.WriteRows();
    db.Close();
    ASSERT_EQ(content(), kx_test::golden("outline-unknown")) << allowed;
    if (saved) return;
  }
  ADD_FAILURE() << "never succeeded";
}

TEST_F(DatabaseExhaustionTest, DeletingRemembersWhatItDeletedEvenThen) {
  for (long allowed = 0; allowed < kMostAllocations; ++allowed) {
    COutlineDB db;
    for (unsigned long id = 1; id <= 5; ++id) {
      static_cast<COutlineRecord*>(db.GetRecordset()->Append())->SetId(id);
    }
    bool deleted = true;
    try {
      const AllocationLimit limit(allowed);
      db.DeleteAll(true);
    } catch (const std::bad_alloc&) {
      deleted = false;
    }
    EXPECT_EQ(
        db.GetDeletedThoughts().GetCount() + static_cast<size_t>(db.GetRecordset()->getSize()), 5u);
    if (deleted) return;
  }
  ADD_FAILURE() << "never succeeded";
}

}  // namespace
