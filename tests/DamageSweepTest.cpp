// Every cut and every damaged byte of the golden files: opened, read, used, edited and saved. Each
// step ends well or with one of the library's exceptions; what could be saved opens again.

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "CategoryDB.h"
#include "KxLayout.h"
#include "LargestAllocation.h"
#include "OutlineDB.h"
#include "Pace.h"
#include "UseDatabase.h"

namespace {

using kx_gen::CCategoryDB;
using kx_gen::CDatabase;
using kx_gen::CMemOutlDB;
using kx_gen::COutlineDB;
using kx_test::attempt;
using kx_test::Bytes;
using kx_test::readAll;
using kx_test::saveAll;
using kx_test::useAndEdit;

// The files take two or three thousand bytes; only the window over them is much larger.
constexpr size_t kAllocationMax = 4u << 20;
constexpr size_t kGrowthMax = 2u << 20;

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
    for (size_t i = 0; i < golden.size(); i += kx_test::kSweepStep) {
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
    readAll(db);
    useAndEdit(db);
    if (saveAll(db)) expectWhole<Db>(L"damaged", db);
    if (attempt([&] { db.Open(path(L"copy").c_str(), kx_test::kCreate); }) &&
        attempt([&] { db.CDatabase::InitNewDatabase(); }) && saveAll(db)) {
      expectWhole<Db>(L"copy", db);
    }
    EXPECT_LT(kx_test::readFile("damaged").size(), bytes.size() + kGrowthMax);
  }

  template <class Db>
  bool opens(Db& db, const wchar_t* name) {
    bool opened = false;
    attempt([&] { opened = db.Open(path(name).c_str(), kx_test::kReadWrite) != 0; });
    return opened;
  }

  /// What was saved without an exception opens and has all its rows.
  template <class Db>
  void expectWhole(const wchar_t* name, Db& saved) {
    Db db;
    ASSERT_TRUE(opens(db, name));
    EXPECT_TRUE(attempt([&] { db.ReadRows(); }));
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
