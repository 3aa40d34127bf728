// The reader of check and recover against the library's own strict reading: on every golden file,
// every cut of one and every change of one byte, they agree on whether, where and why it fails.

#include <gmock/gmock.h>

#include <algorithm>
#include <tuple>

#include "Documents.h"
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

/// Whether the byte fills a slot: one of many zeros.
bool IsFill(const Bytes& bytes, size_t offset) {
  constexpr size_t kZeros = 16;
  if (offset < kZeros) return false;
  const auto here = bytes.begin() + static_cast<std::ptrdiff_t>(offset);
  return std::all_of(here - kZeros, here + 1, [](unsigned char byte) { return byte == 0; });
}

TEST_P(SalvageAgreementOnGolden, EveryChangeOfOneByte) {
  Bytes bytes = GetFile();
  for (size_t offset = 0; offset < bytes.size(); ++offset) {
    const unsigned char sound = bytes[offset];
    // One bit after the other where any value means the same.
    const bool isFill = IsFill(bytes, offset);
    for (unsigned change = 1; change <= 0xFF; change = isFill ? 2 * change : change + 1) {
      bytes[offset] = static_cast<unsigned char>(sound ^ change);
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
  ExpectAgreementOnDamaged(GetFile(), GetKind(), 200);
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
