// Every cut and every damaged byte of the golden files: opened, read, used, edited and saved. Each
// step ends well or with one of the library's exceptions; what could be saved opens again.

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "CategoryDB.h"
#include "KxLayout.h"
#include "LargestAllocation.h"
#include "OutlineDB.h"

namespace {

using kx_gen::_String;
using kx_gen::CCategoryDB;
using kx_gen::CCategoryRecord;
using kx_gen::CDatabase;
using kx_gen::CDBRecord;
using kx_gen::CLinkedOutlRec;
using kx_gen::CMemOutlDB;
using kx_gen::COutlineDB;
using kx_gen::COutlineRecord;
using kx_test::Bytes;
using kx_test::Thrown;

// The files take two or three thousand bytes; only the window over them is much larger.
constexpr size_t kAllocationMax = 4u << 20;
constexpr size_t kGrowthMax = 2u << 20;

/// Runs a step. False when it threw, which must be one of the library's exceptions.
template <class Step>
bool step(Step run) {
  const Thrown thrown = kx_test::thrownBy(run);
  EXPECT_NE(thrown.kind, Thrown::kNull);
  if (thrown.kind == Thrown::kNothing) return true;
  EXPECT_FALSE(thrown.description.empty());
  return false;
}

/// Runs every one of these steps, whatever the ones before did.
template <class... Steps>
void steps(Steps... runs) {
  (step(runs), ...);
}

// --- Using what was read ---

void useFlags(CDBRecord& record) {
  steps([&] { record.IsNew(); }, [&] { record.IsDeleted(); }, [&] { record.IsChanged(); },
        [&] { record.IsEmpty(); }, [&] { record.IsArchived(); }, [&] { record.IsSortChanged(); });
}

void useItem(COutlineRecord& item, COutlineRecord& other) {
  _String text;
  long width = 0;
  long height = 0;
  useFlags(item);
  steps([&] { item.GetId(); }, [&] { item.GetIndent(); }, [&] { item.GetText(text); },
        [&] { item.GetNote(text); }, [&] { item.HasNote(); }, [&] { item.GetExpanded(); },
        [&] { item.GetChecked(); }, [&] { item.HasDrawing(); },
        [&] { item.GetDrawingSize(width, height); }, [&] { item.UpdateChangedFields(&other); },
        [&] { item.updateRecordChanged(); });
}

void editItem(COutlineRecord& item) {
  steps([&] { item.SetText(L"An edited text that is longer than the one before"); },
        [&] { item.SetNote(L"\u4E2D"); }, [&] { item.SetId(12); }, [&] { item.SetIndent(3); },
        [&] { item.SetChecked(true); }, [&] { item.SetExpanded(false); },
        [&] { item.DeleteBitmap(); }, [&] { item.SetNew(true); }, [&] { item.DeleteText(); },
        [&] { item.ClearChanges(); });
}

void useHeaders(COutlineDB& db) {
  _String text;
  unsigned char numbering[10];
  unsigned long color = 0;
  LOGFONTW font = {};
  WINDOWPLACEMENT placement = {};
  steps([&] { db.GetCategoryName(text); }, [&] { db.GetCategoryChanged(); },
        [&] { db.GetOutlineChanged(); }, [&] { db.GetSynchronized(); }, [&] { db.GetPrivate(); },
        [&] { db.GetPrivateTagChanged(); }, [&] { db.getNumbering(numbering); },
        [&] { db.getNumberingChanged(); }, [&] { db.getNumberingDivider(); },
        [&] { db.getNumberingDividerChanged(); });
  steps([&] { db.GetOutlineTitle(text); }, [&] { db.GetShowCheckedItems(); },
        [&] { db.ShowCheckedItemsChanged(); }, [&] { db.GetSelectedIndex(); },
        [&] { db.GetTopIndex(); }, [&] { db.GetShowHeadingsMode(); },
        [&] { db.GetOutlineFont(font, &color); }, [&] { db.GetOutlineWindowPos(placement); });
}

void editHeaders(COutlineDB& db) {
  steps([&] { db.SetCategoryName(L"Edited"); }, [&] { db.SetCategoryChanged(true); },
        [&] { db.SetPrivate(true); }, [&] { db.setNumberingDivider(7); },
        [&] { db.SetOutlineTitle(L"An edited title"); }, [&] { db.SetSelectedIndex(1); },
        [&] { db.SetOutlineWindowPos(WINDOWPLACEMENT{}); });
}

void read(COutlineDB& db) {
  steps([&] { db.ReadConduitHeader(); }, [&] { db.ReadSharedHeader(); },
        [&] { db.ReadPrivateHeader(); }, [&] { db.ReadRows(); });
}

void useAndEdit(COutlineDB& db) {
  COutlineDB other;
  useHeaders(db);
  steps([&] { db.compareSharedHeader(&other); }, [&] { db.comparePrivateHeader(&other); });
  COutlineRecord stored;
  stored.Init();
  for (CDBRecord* record : *db.GetRecordset()) {
    auto& item = static_cast<COutlineRecord&>(*record);
    useItem(item, stored);
    step([&] { stored.UpdateChangedFields(&item); });
    editItem(item);
  }
  editHeaders(db);
  db.AddDeletedId(12);
  db.removeDeletedId(3);
  db.GetRecordset()->Append();
  step([&] { db.purgeDeletedRecs(); });
}

void read(CMemOutlDB& db) {
  steps([&] { EXPECT_FALSE(db.ReadHeader(1)); }, [&] { db.ReadRows(); });
}

void useAndEdit(CMemOutlDB& db) {
  CLinkedOutlRec stored;
  stored.Init();
  for (CDBRecord* record : *db.GetRecordset()) {
    auto& item = static_cast<CLinkedOutlRec&>(*record);
    useItem(item, stored);
    steps([&] { item.getInternalId(); }, [&] { item.getParentId(); },
          [&] { stored.UpdateChangedFields(&item); });
    editItem(item);
    steps([&] { item.setInternalId(12); }, [&] { item.setParentId(0xFFFFFFFF); });
  }
  db.GetRecordset()->Append();
  step([&] { db.purgeDeletedRecs(); });
}

void read(CCategoryDB& db) {
  steps([&] { db.ReadConduitHeader(); }, [&] { db.ReadRows(); });
}

void useAndEdit(CCategoryDB& db) {
  _String name;
  unsigned long time = 5;
  for (CDBRecord* record : *db.GetRecordset()) {
    auto& category = static_cast<CCategoryRecord&>(*record);
    useFlags(category);
    steps([&] { category.GetCategoryId(); }, [&] { category.GetCategoryName(name); },
          [&] { category.GetLastChangedTime(); });
  }
  steps([&] { db.GetCategoryCount(); }, [&] { db.isFull(); }, [&] { db.FindCategory(129); },
        [&] { db.FindCategory(L"Work"); }, [&] { db.FindFirstHole(); },
        [&] { db.GetNewCategoryId(); }, [&] { db.AddNewCategory(L"Edited", &time); },
        [&] { db.setDesktopCategoryIDs(); });
  if (db.GetRecordset()->getSize() > 1) {
    CCategoryRecord* category = db.GetByIndex(1);
    steps([&] { db.RenameCategory(category, L"Renamed", 6); },
          [&] { db.DeleteCategory(category, 7); }, [&] { db.UndeleteCategory(category, 8); });
  }
  step([&] { db.purgeDeletedRecs(); });
}

bool save(CDatabase& db) {
  return step([&] {
    db.WriteAllHeaders();
    db.WriteRows();
    db.Close();
  });
}

// --- The sweep ---

enum class Damage { kCut, kZeroed, kAllOnes, kInverted };

class DamageSweepTest : public kx_test::KxTest,
                        public ::testing::WithParamInterface<std::tuple<const char*, Damage>> {
 protected:
  void SetUp() override {
    kx_test::KxTest::SetUp();
    // Thousands of lines would be written one opening each: where a folder has the log's name,
    // lines are dropped.
    std::filesystem::create_directory("FileIO.txt");
  }

  /// The golden file, damaged at `i`; unchanged when this damage makes no difference there.
  static Bytes damaged(const Bytes& golden, Damage damage, size_t i) {
    if (damage == Damage::kCut) return kx_test::slice(golden, 0, i);
    Bytes bytes = golden;
    if (damage == Damage::kZeroed) bytes[i] = 0;
    if (damage == Damage::kAllOnes) bytes[i] = 0xFF;
    if (damage == Damage::kInverted && golden[i] != 0 && golden[i] != 0xFF) {
      bytes[i] = static_cast<unsigned char>(~golden[i]);
    }
    return bytes;
  }

  template <class Db>
  void sweep(const Bytes& golden, Damage damage) {
    ASSERT_FALSE(golden.empty());
    kx_test::forgetAllocations();
    for (size_t i = 0; i < golden.size(); ++i) {
      const Bytes bytes = damaged(golden, damage, i);
      if (bytes == golden) continue;
      SCOPED_TRACE("at offset " + std::to_string(i));
      useAndSave<Db>(bytes);
      if (HasFailure()) return;
    }
    EXPECT_LE(kx_test::largestAllocation(), kAllocationMax);
  }

  template <class Db>
  void useAndSave(const Bytes& bytes) {
    // New files each time: some file systems wait for the disk when a file is cut and written anew.
    std::filesystem::remove("damaged");
    std::filesystem::remove("copy");
    kx_test::writeFile("damaged", bytes);
    Db db;
    if (!opens(db, L"damaged")) return;
    read(db);
    useAndEdit(db);
    if (save(db)) expectWhole<Db>(L"damaged", db);
    if (step([&] { db.Open(path(L"copy").c_str(), kx_test::kCreate); }) &&
        step([&] { db.CDatabase::InitNewDatabase(); }) && save(db)) {
      expectWhole<Db>(L"copy", db);
    }
    EXPECT_LT(kx_test::readFile("damaged").size(), bytes.size() + kGrowthMax);
  }

  template <class Db>
  bool opens(Db& db, const wchar_t* name) {
    bool opened = false;
    step([&] { opened = db.Open(path(name).c_str(), kx_test::kReadWrite) != 0; });
    return opened;
  }

  /// What was saved without an exception opens and has all its rows.
  template <class Db>
  void expectWhole(const wchar_t* name, Db& saved) {
    Db db;
    ASSERT_TRUE(opens(db, name));
    EXPECT_TRUE(step([&] { db.ReadRows(); }));
    EXPECT_EQ(db.GetRecordset()->getSize(), saved.GetRecordset()->getSize());
  }
};

using OutlineDamageSweepTest = DamageSweepTest;

TEST_P(OutlineDamageSweepTest, EndsInADocumentedExceptionOrAUsableDocument) {
  const auto& [name, damage] = GetParam();
  sweep<COutlineDB>(kx_test::golden(name), damage);
}

using MemOutlineDamageSweepTest = DamageSweepTest;

TEST_P(MemOutlineDamageSweepTest, EndsInADocumentedExceptionOrAUsableDocument) {
  const auto& [name, damage] = GetParam();
  sweep<CMemOutlDB>(kx_test::golden(name), damage);
}

using CategoryDamageSweepTest = DamageSweepTest;

TEST_P(CategoryDamageSweepTest, EndsInADocumentedExceptionOrAUsableDocument) {
  const auto& [name, damage] = GetParam();
  sweep<CCategoryDB>(kx_test::golden(name), damage);
}

constexpr Damage kDamages[] = {Damage::kCut, Damage::kZeroed, Damage::kAllOnes, Damage::kInverted};

std::string caseName(const ::testing::TestParamInfo<std::tuple<const char*, Damage>>& info) {
  static const char* const kDamageNames[] = {"cut", "zeroed", "all_ones", "inverted"};
  std::string name = std::get<0>(info.param);
  std::replace(name.begin(), name.end(), '-', '_');
  return name + "_" + kDamageNames[static_cast<size_t>(std::get<1>(info.param))];
}

INSTANTIATE_TEST_SUITE_P(
    Files, OutlineDamageSweepTest,
    ::testing::Combine(::testing::Values("outline-empty", "outline-deleted-ids",
                                         "outline-all-fields", "outline-unknown",
                                         "outline-unknown-edited"),
                       ::testing::ValuesIn(kDamages)),
    caseName);
INSTANTIATE_TEST_SUITE_P(Files, MemOutlineDamageSweepTest,
                         ::testing::Combine(::testing::Values("memory-outline",
                                                              "memory-outline-all-fields"),
                                            ::testing::ValuesIn(kDamages)),
                         caseName);
INSTANTIATE_TEST_SUITE_P(Files, CategoryDamageSweepTest,
                         ::testing::Combine(::testing::Values("category-v1", "category-v0"),
                                            ::testing::ValuesIn(kDamages)),
                         caseName);

}  // namespace
