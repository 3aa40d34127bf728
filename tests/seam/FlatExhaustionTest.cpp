// The flat interface without memory: creating answers null, and under the guard nothing is thrown
// whichever allocation fails.
#include <gmock/gmock.h>

#include <functional>

#include "FailingNew.h"
#include "FlatSupport.h"

namespace {

using kx_seam::AllocationLimit;
using kx_seam::kMostAllocations;
using kx_test::messageText;
using kx_test::Thrown;
using kx_test::thrownBy;

class FlatExhaustionTest : public kx_test::FlatTest {
 protected:
  static unsigned long lastNumber() {
    unsigned long number = 0;
    KX_FlatLastError(nullptr, 0, &number);
    return number;
  }
  static std::wstring lastText() {
    wchar_t text[64] = {};
    KX_FlatLastError(text, 64, nullptr);
    return text;
  }
  static bool failed() { return KX_FlatLastError(nullptr, 0, nullptr) != 0; }
  /// Lets every allocation of `create` fail in turn, until it gives an object.
  static void expectNullUntil(const std::function<void*()>& create,
                              const std::function<void(void*)>& destroy) {
    for (long allowed = 0; allowed < kMostAllocations; ++allowed) {
      void* made = nullptr;
      {
        const AllocationLimit limit(allowed);
        made = create();
      }
      EXPECT_EQ(failed(), made == nullptr) << allowed;
      if (made != nullptr) return destroy(made);
      EXPECT_EQ(lastNumber(), 10ul) << allowed;
      EXPECT_EQ(lastText(), messageText(11)) << allowed;
    }
    ADD_FAILURE() << "never succeeded";
  }
};

TEST_F(FlatExhaustionTest, CreatingAnswersNull) {
  const AllocationLimit none(0);
  EXPECT_EQ(RV_CreateOutlineDB(), nullptr);
  EXPECT_EQ(RV_CreateCategoryDB(), nullptr);
  EXPECT_EQ(RV_CreateOutlineRecord(), nullptr);
  EXPECT_EQ(KX_StringCreate(), nullptr);
}

TEST_F(FlatExhaustionTest, ARecordThatThereIsNoMemoryForIsNull) {
  const AllocationLimit none(0);
  EXPECT_EQ(RV_CreateOutlineRecord(), nullptr);
}

TEST_F(FlatExhaustionTest, ADatabaseWithoutItsRecordsetThrowsMessage11) {
  int thrownCount = 0;
  for (long nth = 0; nth < 20; ++nth) {
    RV_CAT made = nullptr;
    const Thrown thrown = thrownBy([&] {
      const AllocationLimit once(nth, 1);
      made = RV_CreateCategoryDB();
    });
    if (thrown.kind != Thrown::kNothing) {
      EXPECT_TRUE(thrown.is(Thrown::kException, 11, 10)) << thrown;
      ++thrownCount;
    }
    RV_DeleteCategoryDB(made);
  }
  EXPECT_EQ(thrownCount, 1);
}

TEST_F(FlatExhaustionTest, GuardedCreationTellsThatMemoryRanOut) {
  KX_FlatGuard(1);
  expectNullUntil(RV_CreateOutlineDB, RV_DeleteOutlineDB);
  expectNullUntil(RV_CreateCategoryDB, RV_DeleteCategoryDB);
  expectNullUntil(RV_CreateOutlineRecord, RV_DeleteCOutlineRecord);
  expectNullUntil(KX_StringCreate, KX_StringDelete);
}

TEST_F(FlatExhaustionTest, ADuplicateThatFailsLeavesNoRow) {
  kx_test::FlatOutline db;
  RV_REC rec = addItem(db, 12, L"text");
  KX_FlatGuard(1);
  for (long allowed = 0; allowed < kMostAllocations; ++allowed) {
    RV_REC copy = nullptr;
    {
      const AllocationLimit limit(allowed);
      copy = RV_DuplicateRecord(db, rec);
    }
    EXPECT_EQ(RV_GetSize(db), copy != nullptr ? 2 : 1) << allowed;
    if (copy != nullptr) return;
  }
  ADD_FAILURE() << "never succeeded";
}

TEST_F(FlatExhaustionTest, ARenamingThatFailsMarksNothing) {
  kx_test::FlatCategories cat;
  const wchar_t* const before = L"a name that is longer than what a string keeps in itself";
  const wchar_t* const after = L"another name that is longer than what a string keeps in itself";
  kx_gen::CCategoryRecord& record = kx_test::categoryOf(RV_AddNewCategorybyName(cat, before));
  KX_FlatGuard(1);
  for (long allowed = 0; allowed < kMostAllocations; ++allowed) {
    {
      const AllocationLimit limit(allowed);
      RV_RenameCategory(cat, before, after);
    }
    const bool renamed = !failed();
    EXPECT_EQ(record.GetFlag(), renamed ? 0xA0 : 0x80) << allowed;
    if (renamed) return;
  }
  ADD_FAILURE() << "never succeeded";
}

/// A document's life through the flat interface; true when every step of it succeeded.
bool live(const std::wstring& path) {
  bool good = true;
  const auto step = [&](int result) {
    good = good && result != 0 && KX_FlatLastError(nullptr, 0, nullptr) == 0;
  };
  RV_DB db = RV_CreateOutlineDB();
  step(db != nullptr ? 1 : 0);
  if (db == nullptr) return false;
  step(RV_Open(db, path.c_str(), kx_test::kCreate));
  RV_InitNewDataBase(db);
  step(1);
  RV_REC rec = RV_AppendRecordSet(db);
  step(rec != nullptr ? 1 : 0);
  if (rec != nullptr) RV_SetText(rec, L"a text that is longer than a string keeps in itself");
  step(1);
  RV_AddDeletedId(db, 7);
  step(1);
  RV_WriteAllHeaders(db);
  step(1);
  RV_WriteRows(db);
  step(1);
  step(RV_GetRecordString(db, 0) != nullptr ? 1 : 0);
  RV_DeleteOutlineDB(db);
  return good;
}

TEST_F(FlatExhaustionTest, UnderTheGuardNothingIsThrownWhicheverAllocationFails) {
  KX_FlatGuard(1);
  const std::wstring name = path(L"a.kxo");
  for (long nth = 0; nth < kMostAllocations; ++nth) {
    for (long failures : {1L, AllocationLimit::kAllOthers}) {
      const AllocationLimit limit(nth, failures);
      if (live(name) && failures == AllocationLimit::kAllOthers) return;
    }
  }
  ADD_FAILURE() << "never succeeded";
}

}  // namespace
