#include "StoredFields.h"

#include <gmock/gmock.h>

#include "Contents.h"
#include "KxLayout.h"
#include "Text.h"
#include "salvage/Reader.h"

namespace kx_test {
namespace {

namespace format = kx_gen::format;

using kxo::Item;
using kxo::Outline;
using testing::ElementsAre;

/// One row of an outline, and what the model makes of it.
class StoredRow : public KxTest {
 protected:
  Item Read(const Bytes& block) {
    kx_gen::COutlineRecord row;
    setBlock(row, block);
    return kxo::ItemOf(row, level_, kxo::Lacking::kIsDefault);
  }
  Bytes Write(const Item& item) const {
    kx_gen::COutlineRecord row;
    row.Init();
    kxo::FillRow(row, level_, item);
    return blockOf(row);
  }
  /// A row with these bytes for its text, and with more tags around those that are needed.
  static Bytes Block(const Bytes& text, uint32_t flags = 1, const Bytes& middle = {},
                     const Bytes& end = {}) {
    return join({plainBlock(), tag(format::kTagOutlineId, le32(7), flags),
                 tag(format::kTagIndent, u8(1)), tag(format::kTagExpanded, u8(1), flags),
                 tag(format::kTagChecked, u8(0), 1), middle,
                 stringTag(format::kStringText, text, flags), end});
  }

  unsigned level_ = 0;
};

TEST_F(StoredRow, FieldsWhoseBytesFollowFromThemNeedNoStoredBlock) {
  const Bytes block = Block(narrow("text"), 0, tag(77, u8(5), 0, 3));
  const Item item = Read(block);
  EXPECT_EQ(level_, 1u);
  EXPECT_EQ(item.id, 7u);
  EXPECT_EQ(item.text, "text");
  EXPECT_EQ(item.note, std::nullopt);
  EXPECT_FALSE(item.extras.stored.has_value());
  EXPECT_THAT(item.extras.unmarked, ElementsAre(format::kTagOutlineId, format::kTagExpanded,
                                                format::kStringTagBase + format::kStringText));
  EXPECT_THAT(item.extras.unknownTags, ElementsAre(kxo::UnknownTag{77, "\5", false, 3}));
  EXPECT_EQ(Write(item), block);
}

/// Bytes that do not follow from the fields.
class OddRow : public StoredRow, public testing::WithParamInterface<Bytes> {
 public:
  static std::vector<Bytes> All() {
    const Bytes text = narrow("text");
    return {
        Block(join({text, narrow("behind")})),               // more behind the end of the text
        Block(narrow("caf\xC3\xA9")),                        // UTF-8 where the code page would do
        Block(text, 5),                                      // the flag of older strings
        Block(text, 1, {}, tag(77, u8(1))),                  // tags out of order
        Block(text, 1, {}, tag(format::kTagIndent, u8(9))),  // a tag twice
        Block(text, 1, {}, u8(0)),                           // bytes behind the last tag
        Block(text, 1, tag(77, u8(1), 0x80000000)),          // flags that nothing here knows
        join({tag(format::kTagFlagByte, u8(0x07)), tag(format::kTagSortChanged, u8(0xFF)),
              tag(format::kTagOutlineId, u8(7)), tag(format::kTagIndent, u8(1)),
              tag(format::kTagExpanded, u8(2)), tag(format::kTagChecked, u8(3)),
              stringTag(format::kStringText, {})}),
        tag(format::kTagOutlineId,
            le32(7)),  // next to nothing  // numbers in fewer bytes, truths beyond 1
    };
  }
};

TEST_P(OddRow, GivesTheSameBytesAgain) {
  const Item item = Read(GetParam());
  EXPECT_TRUE(item.extras.stored.has_value());
  EXPECT_EQ(Write(item), GetParam());
}

TEST_P(OddRow, TakesEveryEdit) {
  Item item = Read(GetParam());
  const auto edit = [&](auto Item::*field, auto value) {
    item.*field = value;
    Item again = Read(Write(item));
    EXPECT_EQ(again.*field, item.*field);
    EXPECT_EQ(again, item);
  };
  edit(&Item::text, std::string("other \xC3\xA9"));
  edit(&Item::note, std::optional<std::string>("a note"));
  edit(&Item::note, std::optional<std::string>());
  edit(&Item::id, 4711u);
  edit(&Item::expanded, !item.expanded);
  edit(&Item::checked, !item.checked);
  edit(&Item::isNew, true);
  edit(&Item::archived, true);
  edit(&Item::sortChanged, !item.sortChanged);
  item.extras.unknownTags = {{5000, "data", true, 1}};
  Item again = Read(Write(item));
  EXPECT_EQ(again.extras.unknownTags, item.extras.unknownTags);
  item.extras.unknownTags.clear();
  item.extras.unmarked = {format::kTagIndent};
  item.extras.versions = {{format::kTagChecked, 9}};
  again = Read(Write(item));
  EXPECT_EQ(again, item);
}

INSTANTIATE_TEST_SUITE_P(Rows, OddRow, testing::ValuesIn(OddRow::All()));

TEST(StoredFields, ANewModelIsThatOfNewHeaders) {
  kx_gen::CSharedHeader shared;
  shared.SetCategoryName(kxo::ToWide(kxo::kUnfiledName).c_str());
  EXPECT_EQ(kxo::FieldsOf(shared), kxo::SharedFields());
  kx_gen::CPrivateOutlineHeader header;
  std::string title;
  EXPECT_EQ(kxo::ViewOf(header, title), kxo::View());
  EXPECT_EQ(title, "Untitled");
  kx_gen::CConduitHeader conduit;
  EXPECT_EQ(kxo::ExtrasOf(conduit), kxo::Extras());
}

/// Whole files, read into the model and made of it again.
class WholeFile : public KxTest {
 protected:
  static kxo::Contents Read(const std::string& file) {
    return kxo::ReadContents(file, file, kxo::salvage::GuessKind(readFile(file)));
  }
  static Bytes Write(const kxo::Contents& contents) {
    kxo::SaveContents("out.kxo", contents, "out.kxo", true);
    return readFile("out.kxo");
  }
};

class WholeGolden : public WholeFile, public testing::WithParamInterface<const char*> {};

TEST_P(WholeGolden, IsTheSameFileAgain) {
  const Bytes file = golden(GetParam());
  writeFile("in.kxo", file);
  const kxo::Contents contents = Read("in.kxo");
  EXPECT_EQ(Write(contents), file);
  EXPECT_EQ(Read("out.kxo"), contents);
}

INSTANTIATE_TEST_SUITE_P(Kinds, WholeGolden,
                         testing::Values("category-v1", "memory-outline",
                                         "memory-outline-all-fields", "outline-all-fields",
                                         "outline-deleted-ids", "outline-empty",
                                         "outline-unknown-edited", "outline-unknown"));

TEST_F(WholeFile, OfCategoriesGetsTheFlagOfItsVersion) {
  writeFile("in.kxo", golden("category-v0"));
  const kxo::Contents contents = Read("in.kxo");
  EXPECT_TRUE(contents.categories.isNew);
  Write(contents);
  EXPECT_EQ(Read("out.kxo"), contents);
}

TEST_F(WholeFile, KeepsHeadersThatLackFields) {
  const Bytes shared = join({tag(format::kTagOutlineChanged, u8(2)),
                             stringTag(format::kStringCategoryName, narrow("Work"))});
  const Bytes file = join({dbInfo(0, 0), headerTable({{3, 600}, {2, 512}, {1, 255}}), slot(600, {}),
                           slot(512, shared), slot(255, tag(9, u8(1))), le32(0)});
  writeFile("in.kxo", file);
  kxo::Contents contents = Read("in.kxo");
  Outline& outline = contents.outline;
  EXPECT_EQ(outline.shared.category, "Work");
  EXPECT_EQ(outline.title, "Untitled");
  EXPECT_EQ(Write(contents), file);
  outline.title = "Mine";
  outline.shared.numberingDivider = 3;
  outline.view.font.name = "Sans";
  Write(contents);
  const Outline again = Read("out.kxo").outline;
  EXPECT_EQ(again.title, "Mine");
  EXPECT_EQ(again.shared.numberingDivider, 3);
  EXPECT_EQ(again.view.font.name, "Sans");
  EXPECT_EQ(again.shared.category, "Work");
  EXPECT_EQ(again.headers, outline.headers);
}

}  // namespace
}  // namespace kx_test
