// How much is recovered: of documents of 1,000 rows and of the golden files, after 1, 10 and 100
// damages of each kind, at least 99.9 % of the rows that no damage touched. Each test prints its
// figures as a line of the table in docs/reliability.md.

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <tuple>

#include "Documents.h"
#include "Pace.h"
#include "SalvageSupport.h"

namespace kxo_test {
namespace {

using kxo::salvage::Kind;

constexpr double kShareLeast = 0.999;

/// Damaged files for each number: more than usual for the figures in docs/reliability.md.
uint32_t SeedCount(uint32_t usual) {
  const char* wanted = std::getenv("KX_RECOVERY_SEEDS");
  if (wanted != nullptr) return static_cast<uint32_t>(std::strtoul(wanted, nullptr, 10));
  return kx_test::kIsSlow ? usual / 4 : usual;
}

/// Counts over many damaged files.
struct Rate {
  size_t files = 0;
  size_t whole = 0;      ///< Rows that no damage touched.
  size_t recovered = 0;  ///< Of these.
  std::string seeds;     ///< Of files with rows that were missed.
  double Share() const {
    return whole == 0 ? 1 : static_cast<double>(recovered) / static_cast<double>(whole);
  }
};

std::string Percent(double share) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "%.3f %%", 100 * share);
  return text.data();
}

/// Whether the row has all values of the other one. A row that lacked a field which readers need
/// has been given it.
bool HasValuesOf(const Bytes& row, const Bytes& other) {
  kxo::salvage::Block block;
  kxo::salvage::ScanBlock(other, 0, other.size(), block);
  return std::all_of(block.entries.begin(), block.entries.end(), [&](const auto& entry) {
    const auto begin = other.begin() + static_cast<std::ptrdiff_t>(entry.offset);
    const auto end = other.begin() + static_cast<std::ptrdiff_t>(entry.End());
    return std::search(row.begin(), row.end(), begin, end) != row.end();
  });
}

/// Each row that was recovered counts for one that was whole.
void CountRows(const std::vector<Bytes>& whole, const std::vector<Bytes>& recovered, Rate& rate) {
  std::map<Bytes, size_t> counts;
  for (const Bytes& row : recovered) ++counts[row];
  for (const Bytes& row : whole) {
    auto found = counts.find(row);
    if (found == counts.end()) {
      found = std::find_if(counts.begin(), counts.end(),
                           [&](const auto& other) { return HasValuesOf(other.first, row); });
    }
    ++rate.whole;
    if (found == counts.end()) continue;
    ++rate.recovered;
    if (--found->second == 0) counts.erase(found);
  }
}

class RecoveryRate : public kx_test::KxTest,
                     public ::testing::WithParamInterface<std::tuple<Damage, int>> {
 protected:
  void SetUp() override {
    kx_test::KxTest::SetUp();
    std::filesystem::create_directory("FileIO.txt");  // no log
  }
  Damage GetDamage() const { return std::get<0>(GetParam()); }
  int GetCount() const { return std::get<1>(GetParam()); }

  void Measure(const Bytes& sound, Kind kind, uint32_t seed, Rate& rate) const {
    Random random(seed);
    DamagedFile file(sound, kind);
    for (int i = 0; i < GetCount(); ++i) file.Suffer(GetDamage(), random);
    const Recovered recovered = Recover(file.GetBytes(), {});
    EXPECT_EQ(recovered.errors, 0u) << "seed " << seed;
    ++rate.files;
    const size_t missedBefore = rate.whole - rate.recovered;
    CountRows(file.WholeRows(), recovered.rows, rate);
    if (rate.whole - rate.recovered > missedBefore) rate.seeds += " " + std::to_string(seed);
  }

  void TellAndExpectEnough(const std::string& what, const Rate& rate) const {
    // Of a small file nothing may be left.
    const std::string share = rate.whole > 0 ? Percent(rate.Share()) : "none left";
    std::printf("| %s | %d | %s | %zu | %zu | %zu | %s |\n", NameOf(GetDamage()).c_str(),
                GetCount(), what.c_str(), rate.files, rate.whole, rate.recovered, share.c_str());
    EXPECT_GE(rate.Share(), kShareLeast) << what << ", rows missed with the seeds" << rate.seeds;
  }
};

TEST_P(RecoveryRate, OfGeneratedDocuments) {
  constexpr size_t kRows = 1000;
  const uint32_t seeds = SeedCount(20);
  for (const Kind kind : {Kind::kOutline, Kind::kMemory, Kind::kCategory}) {
    const Bytes sound = GeneratedDocument(kind, kRows);
    Rate rate;
    for (uint32_t seed = 1; seed <= seeds; ++seed) Measure(sound, kind, seed, rate);
    TellAndExpectEnough(NameOf(kind), rate);
    EXPECT_GT(rate.whole, 0u);
  }
}

TEST_P(RecoveryRate, OfGoldenFiles) {
  const uint32_t seeds = SeedCount(50);
  Rate rate;
  for (const Kind kind : {Kind::kOutline, Kind::kMemory, Kind::kCategory}) {
    for (const std::string& name : GoldenFiles(kind)) {
      const Bytes sound = kx_test::golden(name);
      for (uint32_t seed = 1; seed <= seeds; ++seed) Measure(sound, kind, seed, rate);
    }
  }
  TellAndExpectEnough("golden files", rate);
}

INSTANTIATE_TEST_SUITE_P(Damages, RecoveryRate,
                         ::testing::Combine(::testing::ValuesIn(kDamages),
                                            ::testing::Values(1, 10, 100)),
                         [](const auto& info) {
                           std::string name = NameOf(std::get<0>(info.param)) + "_" +
                                              std::to_string(std::get<1>(info.param));
                           for (char& c : name) c = c == ' ' ? '_' : c;
                           return name;
                         });

}  // namespace
}  // namespace kxo_test
