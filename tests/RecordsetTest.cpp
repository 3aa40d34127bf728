// Places and costs in the ordered set of rows.

#include <gmock/gmock.h>

#include <algorithm>

#include "KxTest.h"

namespace {

using kx_gen::CDBRecord;
using kx_gen::CDBRecordset;
using ::testing::ElementsAre;

class RecordsetTest : public kx_test::KxTest {
 protected:
  /// Rows that carry the numbers 0, 1, 2, ... as their indices.
  static void fill(CDBRecordset& set, int count) {
    for (int i = 0; i < count; ++i) set.Append()->SetIndex(static_cast<unsigned long>(i));
  }
  static std::vector<unsigned long> indices(CDBRecordset& set) {
    std::vector<unsigned long> found;
    for (CDBRecord* record : set) found.push_back(record->GetIndex());
    return found;
  }
};

TEST_F(RecordsetTest, EveryRowIsFoundAtItsPlace) {
  CDBRecordset set;
  fill(set, 9);
  for (int i = 0; i < 9; ++i) {
    EXPECT_EQ(set.begin() + i, set.GetRowPos(set.getRecord(static_cast<unsigned long>(i)))) << i;
  }
  EXPECT_EQ(set.end(), set.GetRowPos(nullptr));
}

TEST_F(RecordsetTest, TheSetDoesNotKeepIndicesInStep) {
  CDBRecordset set;
  fill(set, 4);
  set.Delete(1);
  EXPECT_THAT(indices(set), ElementsAre(0, 2, 3));
  set.InsertBefore(set.getRecord(0))->SetIndex(77);
  EXPECT_THAT(indices(set), ElementsAre(77, 0, 2, 3));
}

TEST_F(RecordsetTest, EveryMoveTakesARowOutAndPutsItBeforeAnother) {
  for (unsigned long from = 0; from < 5; ++from) {
    for (unsigned long to = 0; to < 5; ++to) {
      if (from == to) continue;
      CDBRecordset set;
      fill(set, 5);
      std::vector<unsigned long> expected = {0, 1, 2, 3, 4};
      expected.erase(expected.begin() + static_cast<std::ptrdiff_t>(from));
      expected.insert(std::find(expected.begin(), expected.end(), to), from);
      set.MoveBefore(set.getRecord(from), set.getRecord(to));
      EXPECT_EQ(expected, indices(set)) << from << " before " << to;
    }
  }
}

TEST_F(RecordsetTest, MovingWhatIsNotThereOrBeforeItselfKeepsTheRows) {
  CDBRecordset set;
  fill(set, 3);
  std::vector<CDBRecord*> rows(set.begin(), set.end());
  set.MoveBefore(rows[1], rows[1]);
  set.MoveBefore(nullptr, rows[0]);
  EXPECT_THAT(rows, ElementsAre(set.getRecord(0), set.getRecord(1), set.getRecord(2)));
}

TEST_F(RecordsetTest, DeletingByIndexWithoutAdvancingVisitsEveryRow) {
  CDBRecordset set;
  fill(set, 6);
  for (int i = 0; i < set.getSize();) {
    if (set.getRecord(static_cast<unsigned long>(i))->GetIndex() % 3 != 0) {
      set.Delete(i);
    } else {
      ++i;
    }
  }
  EXPECT_THAT(indices(set), ElementsAre(0, 3));
}

TEST_F(RecordsetTest, DeleteIfKeepsTheOrderOfTheOthers) {
  CDBRecordset set;
  fill(set, 7);
  set.DeleteIf([](CDBRecord* record) { return record->GetIndex() % 2 == 0; });
  EXPECT_THAT(indices(set), ElementsAre(1, 3, 5));
  set.DeleteIf([](CDBRecord*) { return false; });
  EXPECT_THAT(indices(set), ElementsAre(1, 3, 5));
  set.DeleteIf([](CDBRecord*) { return true; });
  EXPECT_EQ(0, set.getSize());
}

TEST_F(RecordsetTest, ALargeSetIsDeletedAndFreedWhole) {
  constexpr int kRows = 50000;
  CDBRecordset set;
  for (int i = 0; i < kRows; ++i) set.Append()->SetIndex(static_cast<unsigned long>(i));
  set.DeleteIf([](CDBRecord* record) { return record->GetIndex() % 2 == 0; });
  ASSERT_EQ(kRows / 2, set.getSize());
  EXPECT_EQ(1u, set.getRecord(0)->GetIndex());
  EXPECT_EQ(kRows - 1u, set.getRecord(kRows / 2 - 1)->GetIndex());
  set.Free();
  EXPECT_EQ(0, set.getSize());
}

}  // namespace
