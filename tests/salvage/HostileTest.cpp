// Files made to keep the reader busy: it comes to their ends, and what is recovered of them is a
// document without errors. How long an input may take is for the fuzz target to watch.

#include <gmock/gmock.h>

#include <functional>
#include <ostream>
#include <tuple>

#include "Documents.h"
#include "SalvageSupport.h"

namespace kxo_test {
namespace {

namespace format = kx_gen::format;

using kx_test::join;
using kx_test::le16;
using kx_test::le32;
using kx_test::tag;
using kxo::salvage::Kind;

const Bytes kStart(format::kRowStartTag, format::kRowStartTag + format::kRowTagSize);
const Bytes kEnd(format::kRowEndTag, format::kRowEndTag + format::kRowTagSize);

struct Hostile {
  const char* name;
  /// The piece that stands at this place of a file of this size.
  std::function<Bytes(size_t pos, size_t size)> piece;
};
void PrintTo(const Hostile& hostile, std::ostream* out) { *out << hostile.name; }

Bytes Frame(size_t length, const Bytes& block, const Bytes& end) {
  return join({kStart, le32(static_cast<uint32_t>(length)), block, end});
}
/// A tag that claims a value of this length and has none.
Bytes BareTag(uint32_t id, size_t length) {
  Bytes bytes = tag(id, {});
  kx_gen::putLe32(&bytes[format::kTagLengthOffset], static_cast<uint32_t>(length));
  return bytes;
}

const Hostile kHostile[] = {
    {"StartTags", [](size_t, size_t) { return kStart; }},
    {"FirstBytesOfStartTags", [](size_t, size_t) { return Bytes{kStart[0]}; }},
    {"RowsWithoutValues", [](size_t, size_t) { return Frame(0, {}, kEnd); }},
    {"FramesInFrames",
     [](size_t pos, size_t size) { return Frame(size - pos - 8, tag(1, {}), {}); }},
    {"FramesThatAllEndAtTheEnd",
     [](size_t pos, size_t size) {
       return size - pos > 64 ? Frame(size - pos - 8 - kEnd.size(), {}, {}) : kEnd;
     }},
    {"RowsWithoutEnds", [](size_t, size_t) { return Frame(16, tag(1, {0}), {}); }},
    {"LyingRows", [](size_t, size_t) { return Frame(100, BareTag(65538, 1u << 29), {}); }},
    {"EqualTags", [](size_t, size_t) { return tag(1, {}); }},
    {"RisingTags", [](size_t pos, size_t) { return tag(static_cast<uint32_t>(pos + 1), {}); }},
    {"FallingTags",
     [](size_t pos, size_t size) { return tag(static_cast<uint32_t>(size - pos), {}); }},
    {"LyingTags", [](size_t, size_t) { return BareTag(65537, 1u << 30); }},
    {"BlocksOfHeaders",
     [](size_t pos, size_t size) {
       return join({le32(static_cast<uint32_t>((size - pos) / 19 * 19)), tag(1, {})});
     }},
    {"Zeros", [](size_t, size_t) { return Bytes(64); }},
};

Bytes FileOf(const Hostile& hostile, Kind kind, size_t size) {
  Bytes file = GeneratedDocument(kind, 1);
  kx_gen::putLe32(&file[format::kRowCountOffset], 1u << 20);
  while (file.size() < size) {
    const Bytes piece = hostile.piece(file.size(), size);
    file.insert(file.end(), piece.begin(), piece.end());
  }
  return file;
}

class HostileFile : public kx_test::KxTest,
                    public ::testing::WithParamInterface<std::tuple<Hostile, Kind>> {
 protected:
  void SetUp() override {
    kx_test::KxTest::SetUp();
    std::filesystem::create_directory("FileIO.txt");  // no log
  }
};

TEST_P(HostileFile, IsReadToItsEndAndGivesASoundDocument) {
  constexpr size_t kSize = 1u << 18;
  const auto& [hostile, kind] = GetParam();
  const Recovered recovered = Recover(FileOf(hostile, kind, kSize), {}, kind);
  EXPECT_TRUE(recovered.isDocument);
  EXPECT_EQ(recovered.errors, 0u);
}

INSTANTIATE_TEST_SUITE_P(Files, HostileFile,
                         ::testing::Combine(::testing::ValuesIn(kHostile),
                                            ::testing::Values(Kind::kOutline, Kind::kMemory,
                                                              Kind::kCategory)),
                         [](const auto& info) {
                           const std::string kind = NameOf(std::get<1>(info.param));
                           return std::get<0>(info.param).name +
                                  ("_" + kind.substr(0, kind.find(' ')));
                         });

}  // namespace
}  // namespace kxo_test
