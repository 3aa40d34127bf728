// Which kind a file is taken for: by its first bytes what all of it says.

#include "FileKind.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "KxLayout.h"
#include "salvage/Reader.h"

namespace kx_test {
namespace {

using kxo::salvage::Kind;

class FileKind : public KxTest {
 protected:
  /// What the beginning says, if it says anything, all of the file says.
  static void ExpectAgreement(const Bytes& file, size_t at) {
    constexpr size_t kFront = 4096;
    const std::optional<Kind> kind =
        kxo::salvage::KindByFront({file.data(), std::min(file.size(), kFront)});
    if (kind) {
      EXPECT_EQ(*kind, kxo::salvage::GuessKind(file)) << at;
    }
  }
  static Kind KindOf(const Bytes& file) {
    writeFile("in.db", file);
    return kxo::KindOfFile("in.db", "in.db");
  }
  static bool IsOther(const Bytes& file, Kind wanted) {
    writeFile("in.db", file);
    return kxo::OtherKind("in.db", "in.db", wanted).has_value();
  }
};

struct Sample {
  const char* name;
  Kind kind;
};
constexpr Sample kSamples[] = {
    {"outline-all-fields", Kind::kOutline}, {"outline-deleted-ids", Kind::kOutline},
    {"outline-empty", Kind::kOutline},      {"outline-unknown", Kind::kOutline},
    {"memory-outline", Kind::kMemory},      {"memory-outline-all-fields", Kind::kMemory},
    {"category-v0", Kind::kCategory},       {"category-v1", Kind::kCategory}};

TEST_F(FileKind, WholeFilesAreKnown) {
  for (const Sample& sample : kSamples) {
    const Bytes file = golden(sample.name);
    EXPECT_EQ(KindOf(file), sample.kind) << sample.name;
    for (const Kind wanted : {Kind::kOutline, Kind::kMemory, Kind::kCategory}) {
      EXPECT_EQ(IsOther(file, wanted), wanted != sample.kind) << sample.name;
    }
  }
}

TEST_F(FileKind, ChangedAndCutFilesAreTakenForTheSameByTheirBeginningAndAsAWhole) {
  for (const Sample& sample : kSamples) {
    const Bytes whole = golden(sample.name);
    for (size_t at = 0; at < std::min<size_t>(whole.size(), 320); ++at) {
      for (const unsigned char value : {0x00, 0x01, 0x0A, 0xFF}) {
        Bytes changed = whole;
        changed[at] = value;
        ExpectAgreement(changed, at);
      }
      ExpectAgreement({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(at)}, at);
    }
  }
}

TEST_F(FileKind, WhatIsNoFileOfOursIsNotSaidToBeOfAnotherKind) {
  for (const Kind wanted : {Kind::kOutline, Kind::kMemory, Kind::kCategory}) {
    EXPECT_FALSE(IsOther({}, wanted));
    EXPECT_FALSE(IsOther(bytesOf("no document"), wanted));
    Bytes changed = golden("memory-outline");
    changed[0] ^= 0xFF;
    EXPECT_FALSE(IsOther(changed, wanted)) << "without its check code";
  }
}

}  // namespace
}  // namespace kx_test
