// The reader of check and recover against the library's own strict reading: on every golden file,
// every cut of one, with any byte changed and with damages of every kind, they agree on whether,
// where and why it fails.

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <tuple>

#include "Documents.h"
#include "Pace.h"
#include "SalvageSupport.h"

namespace kxo_test {
namespace {

namespace salvage = kxo::salvage;

using salvage::Kind;
using ::testing::IsEmpty;

class SalvageAgreement : public kx_test::KxTest {
 protected:
  void SetUp() override {
    kx_test::KxTest::SetUp();
    // Where a folder has the log's name, lines are dropped, which saves thousands of openings.
    std::filesystem::create_directory("FileIO.txt");
  }
};

void ExpectAgreement(const Bytes& bytes, Kind kind) {
  Recorder reader(bytes);
  salvage::ReadFile(bytes, kind, reader);
  EXPECT_EQ(Disagreement(ReadWithLibrary(bytes, kind), reader), "");
}

class SalvageAgreementOnGolden
    : public SalvageAgreement,
      public ::testing::WithParamInterface<std::tuple<Kind, std::string>> {
 protected:
  Kind GetKind() const { return std::get<0>(GetParam()); }
  Bytes GetFile() const { return kx_test::golden(std::get<1>(GetParam())); }
};

TEST_P(SalvageAgreementOnGolden, NothingIsWrongWithIt) {
  const Bytes bytes = GetFile();
  Recorder reader(bytes);
  salvage::ReadFile(bytes, std::nullopt, reader);
  EXPECT_EQ(reader.kind, GetKind());
  // One of them has rows that lack fields on purpose.
  const bool lacksFields = std::get<1>(GetParam()) == "memory-outline-all-fields";
  for (const salvage::Finding& finding : reader.findings) {
    EXPECT_EQ(finding.code, salvage::Code::kFieldAbsent) << Shown(finding);
  }
  EXPECT_EQ(reader.findings.empty(), !lacksFields);
  EXPECT_EQ(ReadWithLibrary(bytes, GetKind()).Fails(), lacksFields);
}

TEST_P(SalvageAgreementOnGolden, EveryCutOfIt) {
  const Bytes whole = GetFile();
  for (size_t size = 0; size < whole.size(); ++size) {
    SCOPED_TRACE("cut to " + std::to_string(size));
    ExpectAgreement(kx_test::slice(whole, 0, size), GetKind());
    if (HasFailure()) return;
  }
}

/// What a byte is changed to by turning these bits: each alone, all, and some others that differ
/// from place to place. All there are, if the environment asks for it; that takes half a minute.
/// Where programs are slow, one bit alone, all, and one other.
std::vector<unsigned char> ChangesAt(size_t offset) {
  std::vector<unsigned char> changes;
  if (std::getenv("KX_EVERY_CHANGE") != nullptr) {
    for (unsigned change = 1; change <= 0xFF; ++change) {
      changes.push_back(static_cast<unsigned char>(change));
    }
    return changes;
  }
  constexpr size_t kBits = 8;
  for (size_t bit = 0; bit < kBits; ++bit) {
    if (kx_test::kIsSlow && bit != offset % kBits) continue;
    changes.push_back(static_cast<unsigned char>(1u << bit));
  }
  changes.push_back(0xFF);
  Random random(static_cast<uint32_t>(offset));
  constexpr int kOthers = kx_test::kIsSlow ? 1 : 4;
  for (int i = 0; i < kOthers; ++i) {
    changes.push_back(static_cast<unsigned char>(random.Between(1, 0xFE)));
  }
  return changes;
}

TEST_P(SalvageAgreementOnGolden, EveryByteChanged) {
  Bytes bytes = GetFile();
  for (size_t offset = 0; offset < bytes.size(); ++offset) {
    const unsigned char sound = bytes[offset];
    for (const unsigned char change : ChangesAt(offset)) {
      bytes[offset] = sound ^ change;
      SCOPED_TRACE("byte " + std::to_string(bytes[offset]) + " at " + std::to_string(offset));
      ExpectAgreement(bytes, GetKind());
      if (HasFailure()) return;
    }
    bytes[offset] = sound;
  }
}

void ExpectAgreementOnDamaged(const Bytes& sound, Kind kind, uint32_t seeds) {
  for (const Damage damage : kDamages) {
    for (uint32_t seed = 1; seed <= seeds; ++seed) {
      Random random(seed);
      DamagedFile file(sound, kind);
      const size_t damages = 1 + seed % 4;
      for (size_t i = 0; i < damages; ++i) file.Suffer(damage, random);
      SCOPED_TRACE(NameOf(damage) + ", seed " + std::to_string(seed));
      ExpectAgreement(file.GetBytes(), kind);
      if (::testing::Test::HasFailure()) return;
    }
  }
}

TEST_P(SalvageAgreementOnGolden, EveryKindOfDamageToIt) {
  ExpectAgreementOnDamaged(GetFile(), GetKind(), kx_test::kIsSlow ? 50 : 200);
}

class SalvageAgreementOnGenerated : public SalvageAgreement,
                                    public ::testing::WithParamInterface<Kind> {};

TEST_P(SalvageAgreementOnGenerated, EveryKindOfDamageToIt) {
  ExpectAgreementOnDamaged(GeneratedDocument(GetParam(), 20), GetParam(), 100);
}

INSTANTIATE_TEST_SUITE_P(Kinds, SalvageAgreementOnGenerated,
                         ::testing::Values(Kind::kOutline, Kind::kMemory, Kind::kCategory),
                         [](const auto& info) {
                           const std::string name = salvage::NameOf(info.param);
                           return name.substr(0, name.find(' '));
                         });

std::vector<std::tuple<Kind, std::string>> AllGolden() {
  std::vector<std::tuple<Kind, std::string>> all;
  for (const Kind kind : {Kind::kOutline, Kind::kMemory, Kind::kCategory}) {
    for (const std::string& name : GoldenFiles(kind)) all.emplace_back(kind, name);
  }
  return all;
}

INSTANTIATE_TEST_SUITE_P(Files, SalvageAgreementOnGolden, ::testing::ValuesIn(AllGolden()),
                         [](const auto& info) {
                           std::string name = std::get<1>(info.param);
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

}  // namespace
}  // namespace kxo_test
