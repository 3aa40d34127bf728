#include <map>
#include <random>

#include "StorageSupport.h"

namespace {

using kx_gen::CTaggedDataManager;
using kx_gen::kTagErrCorrupt;
using kx_gen::kTagErrNotFound;
using kx_gen::kTagErrOverflow;
using kx_test::asserted;
using kx_test::assertionsOf;
using kx_test::Bytes;
using kx_test::bytesOf;
using kx_test::clearLog;
using kx_test::fromHex;
using kx_test::join;
using kx_test::narrow;
using kx_test::nothingLogged;
using kx_test::swappedTag;
using kx_test::tag;
using kx_test::TaggedBlock;
using kx_test::Thrown;
using kx_test::thrownBy;
using kx_test::throwsOf;
using kx_test::toHex;

constexpr char kSource[] = "TaggedDataManager";
constexpr uint32_t kChanged = 1;

class TaggedDataManagerTest : public kx_test::KxTest {};

long setText(TaggedBlock& block, unsigned long id, const std::string& text, bool* changed = nullptr,
             unsigned char version = 0) {
  return block->setData(id, text.data(), static_cast<unsigned long>(text.size()), changed, version);
}

bool hasTag(TaggedBlock& block, unsigned long id) {
  bool found = false;
  EXPECT_EQ(0, block->hasTag(id, &found));
  return found;
}

// --- Constants and fields ---

TEST_F(TaggedDataManagerTest, ConstantsAndResultCodes) {
  EXPECT_EQ(0x6174, CTaggedDataManager::kTaggedDataCode);
  EXPECT_EQ(2u, sizeof(CTaggedDataManager::kTaggedDataCode));
  EXPECT_EQ(0x00010000u, CTaggedDataManager::kStringTagIDCode);
  EXPECT_EQ(0xFFFFu, CTaggedDataManager::kEndOfStringLen);
  EXPECT_EQ(-4556, kTagErrCorrupt);
  EXPECT_EQ(-4555, kTagErrNotFound);
  EXPECT_EQ(-4554, kTagErrOverflow);
}

TEST_F(TaggedDataManagerTest, ATagTakesFifteenBytes) {
  using Tag = CTaggedDataManager::TagType;
  EXPECT_EQ(15u, sizeof(Tag));
  EXPECT_EQ(0u, offsetof(Tag, code));
  EXPECT_EQ(2u, offsetof(Tag, version));
  EXPECT_EQ(3u, offsetof(Tag, flags));
  EXPECT_EQ(7u, offsetof(Tag, id));
  EXPECT_EQ(11u, offsetof(Tag, length));
}

TEST_F(TaggedDataManagerTest, KeepsBufferAndSwap) {
  char bytes[8] = {};
  char* slot = bytes;
  CTaggedDataManager manager(&slot, 3, true, 8, 512);
  EXPECT_TRUE(manager.getSwap());
  EXPECT_EQ(3ul, manager.size());
  EXPECT_EQ(&slot, kx_test::fieldsOf(manager).slot);
  EXPECT_EQ(8u, kx_test::fieldsOf(manager).capacity);
  EXPECT_EQ(512u, kx_test::fieldsOf(manager).block);
  EXPECT_FALSE(CTaggedDataManager(&slot, 3, false, 8, 512).getSwap());
}

TEST_F(TaggedDataManagerTest, CopyAssignmentCopiesSwapAndSlot) {
  char bytes[8] = {};
  char* slot = bytes;
  const CTaggedDataManager manager(&slot, 3, true, 8, 512);
  char* otherSlot = nullptr;
  CTaggedDataManager copy(&otherSlot, 0, false, 0, 7);
  copy = manager;
  EXPECT_TRUE(copy.getSwap());
  EXPECT_EQ(3ul, copy.size());
  EXPECT_EQ(&slot, kx_test::fieldsOf(copy).slot);
  EXPECT_EQ(512u, kx_test::fieldsOf(copy).block);
}

// --- Finding ---

TEST_F(TaggedDataManagerTest, AnEmptyBlockHoldsNoTags) {
  TaggedBlock block;
  bool found = true;
  EXPECT_EQ(0, block->hasTag(5, &found));
  EXPECT_FALSE(found);
  found = true;
  EXPECT_EQ(0, block->hasStringTag(5, &found));
  EXPECT_FALSE(found);
  EXPECT_FALSE(hasTag(block, 0));
  EXPECT_EQ(0, block->deleteData(5));
  EXPECT_TRUE(nothingLogged());
}

TEST_F(TaggedDataManagerTest, FindsPresentIdsOnly) {
  TaggedBlock block(join({tag(2, bytesOf("ab"), 0), tag(5, {}, 0), tag(9, bytesOf("xyz"), 0)}));
  for (unsigned long id : {2ul, 5ul, 9ul}) EXPECT_TRUE(hasTag(block, id)) << id;
  for (unsigned long id : {0ul, 1ul, 3ul, 6ul, 10ul, 0xFFFFFFFFul}) {
    EXPECT_FALSE(hasTag(block, id)) << id;
  }
  EXPECT_TRUE(nothingLogged());
}

TEST_F(TaggedDataManagerTest, HasTagTakesANullAnswer) {
  TaggedBlock block(tag(2, bytesOf("ab"), 0));
  EXPECT_EQ(0, block->hasTag(2, nullptr));
  EXPECT_EQ(0, block->hasTag(3, nullptr));
  EXPECT_EQ(0, block->hasStringTag(3, nullptr));
}

TEST_F(TaggedDataManagerTest, StringTagsHaveIdsOfTheirOwn) {
  TaggedBlock block(join({tag(7, bytesOf("a"), 0), tag(0x10007, narrow("b"), 0)}));
  bool found = false;
  EXPECT_EQ(0, block->hasStringTag(7, &found));
  EXPECT_TRUE(found);
  EXPECT_EQ(0, block->deleteStringData(7));
  EXPECT_EQ(0, block->hasStringTag(7, &found));
  EXPECT_FALSE(found);
  EXPECT_TRUE(hasTag(block, 7));
}

TEST_F(TaggedDataManagerTest, IdsHaveThirtyTwoBits) {
  TaggedBlock block;
  const auto wide = static_cast<unsigned long>(0x100000005ull);
  EXPECT_EQ(0, setText(block, wide, "ab"));
  EXPECT_EQ(toHex(tag(5, bytesOf("ab"))), block.hex());
  EXPECT_TRUE(hasTag(block, 5));
  EXPECT_TRUE(hasTag(block, wide));
  char out[2];
  unsigned long len = 2;
  EXPECT_EQ(0, block->getData(wide, out, &len, nullptr));
  EXPECT_EQ(0, block->setTagChanged(wide, false));
  EXPECT_EQ(0, block->deleteData(wide));
  EXPECT_EQ(0ul, block->size());
}

// --- setData ---

TEST_F(TaggedDataManagerTest, ANewValueIsStoredBehindItsTag) {
  TaggedBlock block;
  bool changed = false;
  EXPECT_EQ(0, setText(block, 0x01020305, "xyz", &changed, 7));
  EXPECT_TRUE(changed);
  EXPECT_EQ(toHex(fromHex("74 61"        // code
                          "07"           // version
                          "01 00 00 00"  // flags: changed
                          "05 03 02 01"  // id
                          "03 00 00 00"  // length
                          "78 79 7A")),
            block.hex());
  EXPECT_TRUE(nothingLogged());
}

TEST_F(TaggedDataManagerTest, EntriesAreSortedById) {
  TaggedBlock block;
  EXPECT_EQ(0, setText(block, 5, "five"));
  EXPECT_EQ(0, setText(block, 2, "two"));
  EXPECT_EQ(0, setText(block, 9, "nine"));
  EXPECT_EQ(toHex(join({tag(2, bytesOf("two")), tag(5, bytesOf("five")), tag(9, bytesOf("nine"))})),
            block.hex());
  EXPECT_TRUE(nothingLogged());
}

TEST_F(TaggedDataManagerTest, AnUnchangedValueIsNotRewritten) {
  const Bytes stored = tag(5, bytesOf("abc"), 0xFFFFFFFE, 3);
  TaggedBlock block(stored);
  bool changed = true;
  EXPECT_EQ(0, setText(block, 5, "abc", &changed, 3));
  EXPECT_FALSE(changed);
  EXPECT_EQ(toHex(stored), block.hex());
}

TEST_F(TaggedDataManagerTest, AnyDifferenceRewritesAndMarksTheValue) {
  struct Case {
    const char* what;
    uint32_t flags;
    uint8_t version;
    std::string stored;
  };
  const Case cases[] = {{"other bytes", 0, 3, "abd"},
                        {"another version", 0, 4, "abc"},
                        {"shorter", 0, 3, "ab"},
                        {"longer", 0, 3, "abcd"},
                        {"marked as changed", 1, 3, "abc"}};
  for (const Case& c : cases) {
    TaggedBlock block(tag(5, bytesOf(c.stored), c.flags, c.version));
    bool changed = false;
    EXPECT_EQ(0, setText(block, 5, "abc", &changed, 3)) << c.what;
    EXPECT_TRUE(changed) << c.what;
    EXPECT_EQ(toHex(tag(5, bytesOf("abc"), kChanged, 3)), block.hex()) << c.what;
  }
}

TEST_F(TaggedDataManagerTest, WritingTheSameAgainReportsChangedOnlyWhileTheTagIsMarked) {
  TaggedBlock block;
  bool changed = false;
  EXPECT_EQ(0, setText(block, 5, "abc"));
  EXPECT_EQ(0, block->setTagChanged(5, false));
  const std::string clean = block.hex();
  EXPECT_EQ(0, setText(block, 5, "abc", &changed));
  EXPECT_FALSE(changed);
  EXPECT_EQ(clean, block.hex());
  EXPECT_EQ(0, block->setTagChanged(5, true));
  EXPECT_EQ(0, setText(block, 5, "abc", &changed));
  EXPECT_TRUE(changed);
}

TEST_F(TaggedDataManagerTest, OtherFlagsOfARewrittenTagBecomeZero) {
  TaggedBlock block(tag(5, bytesOf("abc"), 0xFFFFFFFE));
  EXPECT_EQ(0, setText(block, 5, "xyz"));
  EXPECT_EQ(toHex(tag(5, bytesOf("xyz"))), block.hex());
}

TEST_F(TaggedDataManagerTest, NeighboursStayWhenAValueChangesItsLength) {
  const Bytes before = tag(2, bytesOf("before"), 8, 1);
  const Bytes after = tag(9, bytesOf("after"), 4, 2);
  for (const std::string& value : {std::string(), std::string("x"), std::string(2000, 'y')}) {
    TaggedBlock block(join({before, tag(5, bytesOf("abc"), 0), after}));
    EXPECT_EQ(0, setText(block, 5, value));
    EXPECT_EQ(toHex(join({before, tag(5, bytesOf(value)), after})), block.hex());
  }
}

TEST_F(TaggedDataManagerTest, AnEmptyValueMayComeFromNull) {
  TaggedBlock block;
  EXPECT_EQ(0, block->setData(5, nullptr, 0, nullptr, 0));
  EXPECT_EQ(toHex(tag(5, {})), block.hex());
  EXPECT_TRUE(nothingLogged());
}

TEST_F(TaggedDataManagerTest, NullDataWithALengthIsAssertedAndRefused) {
  const Bytes stored = tag(5, bytesOf("abc"), 0);
  TaggedBlock block(stored);
  for (unsigned long id : {5ul, 7ul}) {
    EXPECT_EQ(-1, block->setData(id, nullptr, 3, nullptr, 0));
    EXPECT_TRUE(asserted(kSource)) << id;
    EXPECT_EQ(toHex(stored), block.hex());
  }
}

TEST_F(TaggedDataManagerTest, ExhaustedMemoryLeavesTheBlockAsItWas) {
  const Bytes stored = tag(5, bytesOf("abc"), 0);
  TaggedBlock block(stored);
  const char byte = 'x';
  for (unsigned long id : {3ul, 5ul, 7ul}) {
    EXPECT_EQ(-1, block->setData(id, &byte, 0xFFFFFFFF, nullptr, 0)) << id;
    EXPECT_EQ(toHex(stored), block.hex());
  }
  // Tag and value together pass 32 bits: no empty tag stays behind.
  EXPECT_EQ(-1, block->setData(7, &byte, 0xFFFFFFFF - 18, nullptr, 0));
  EXPECT_EQ(toHex(stored), block.hex());
  TaggedBlock empty;
  EXPECT_EQ(-1, empty->setData(7, &byte, 0xFFFFFFFF - 14, nullptr, 0));
  EXPECT_EQ(0ul, empty->size());
}

TEST_F(TaggedDataManagerTest, AValueOfTheBlockItselfCanBeStoredAgain) {
  TaggedBlock block(join({tag(5, bytesOf("source"), 0), tag(9, bytesOf("last"), 0)}));
  EXPECT_EQ(0, block->setData(2, block->getDataPtr(5, 6), 6, nullptr, 0));  // a new tag before
  EXPECT_EQ(0, block->setData(9, block->getDataPtr(5, 6), 6, nullptr, 0));
  EXPECT_EQ(0, block->setData(12, block->getDataPtr(9, 6), 3, nullptr, 0));
  EXPECT_EQ(0, block->setData(5, block->getDataPtr(5, 6) + 2, 4, nullptr, 0));
  EXPECT_EQ(toHex(join({tag(2, bytesOf("source")), tag(5, bytesOf("urce")),
                        tag(9, bytesOf("source")), tag(12, bytesOf("sou"))})),
            block.hex());
}

TEST_F(TaggedDataManagerTest, IdZeroIsStoredWithAnAssertion) {
  TaggedBlock block;
  EXPECT_EQ(0, setText(block, 0, "x"));
  EXPECT_TRUE(asserted(kSource));
  EXPECT_EQ(toHex(tag(0, bytesOf("x"))), block.hex());
}

// --- getData, getDataPtr, getTagDataSize ---

TEST_F(TaggedDataManagerTest, GetDataCopiesValueLengthAndVersion) {
  TaggedBlock block(join({tag(2, bytesOf("ab"), 0, 9), tag(5, bytesOf("hello"), 0, 200)}));
  char out[8] = "zzzzzzz";
  unsigned long len = 8;
  unsigned char version = 0;
  EXPECT_EQ(0, block->getData(5, out, &len, &version));
  EXPECT_EQ(5ul, len);
  EXPECT_EQ("hellozz", std::string(out));
  EXPECT_EQ(200, version);
  len = 2;
  EXPECT_EQ(0, block->getData(2, out, &len, nullptr));
  EXPECT_EQ("abllozz", std::string(out));
  EXPECT_TRUE(nothingLogged());
}

TEST_F(TaggedDataManagerTest, GetDataOfAnAbsentIdIsNotFound) {
  TaggedBlock block(tag(5, bytesOf("hello"), 0));
  char out[2] = "z";
  unsigned long len = 1;
  EXPECT_EQ(kTagErrNotFound, block->getData(4, out, &len, nullptr));
  EXPECT_EQ(kTagErrNotFound, block->getData(6, out, &len, nullptr));
  EXPECT_EQ('z', out[0]);
  TaggedBlock empty;
  EXPECT_EQ(kTagErrNotFound, empty->getData(5, out, &len, nullptr));
  EXPECT_EQ(kTagErrNotFound, empty->getData(0, out, &len, nullptr));
  EXPECT_TRUE(nothingLogged());
}

TEST_F(TaggedDataManagerTest, GetDataIntoTooSmallARoomTellsTheLengthAndCopiesNothing) {
  TaggedBlock block(tag(5, bytesOf("hello"), 0, 3));
  char out[6] = "zzzzz";
  unsigned long len = 4;
  EXPECT_EQ(kTagErrOverflow, block->getData(5, out, &len, nullptr));
  EXPECT_EQ(5ul, len);
  EXPECT_EQ("zzzzz", std::string(out));
  EXPECT_TRUE(asserted(kSource));
}

TEST_F(TaggedDataManagerTest, GetDataWritesNothingThroughNulls) {
  TaggedBlock block(tag(5, bytesOf("hello"), 0));
  char out[6] = "zzzzz";
  block->getData(5, out, nullptr, nullptr);
  EXPECT_EQ("zzzzz", std::string(out)) << "the room is unknown";
  unsigned long len = 5;
  block->getData(5, nullptr, &len, nullptr);
  EXPECT_EQ(toHex(tag(5, bytesOf("hello"), 0)), block.hex());
}

TEST_F(TaggedDataManagerTest, GetDataPtrPointsAtTheValueInTheBlock) {
  TaggedBlock block(join({tag(2, bytesOf("ab"), 0), tag(5, bytesOf("hello"), 0)}));
  EXPECT_EQ(block.data() + 15, block->getDataPtr(2, 2));
  EXPECT_EQ(block.data() + 17 + 15, block->getDataPtr(5, 5));
  EXPECT_EQ(block.data() + 17 + 15, block->getDataPtr(5, 1));
  EXPECT_TRUE(nothingLogged());
}

TEST_F(TaggedDataManagerTest, GetDataPtrOfAnAbsentIdIsNull) {
  TaggedBlock block(tag(5, bytesOf("hello"), 0));
  EXPECT_EQ(nullptr, block->getDataPtr(4, 1));
  EXPECT_EQ(nullptr, block->getDataPtr(6, 1));
  EXPECT_EQ(nullptr, TaggedBlock()->getDataPtr(5, 1));
}

TEST_F(TaggedDataManagerTest, GetDataPtrForMoreThanTheValueIsNullAfterAnAssertion) {
  TaggedBlock block(join({tag(2, bytesOf("ab"), 0), tag(5, bytesOf("hello"), 0)}));
  EXPECT_EQ(nullptr, block->getDataPtr(2, 3));  // though other bytes of the block follow
  EXPECT_TRUE(asserted(kSource));
  EXPECT_EQ(nullptr, block->getDataPtr(5, 6));
  EXPECT_TRUE(asserted(kSource));
}

TEST_F(TaggedDataManagerTest, TagDataSizeIsTheLengthOfTheValue) {
  TaggedBlock block(join({tag(2, bytesOf("ab"), 0), tag(5, {}, 0), tag(9, Bytes(300, 1), 0)}));
  unsigned long len = 77;
  EXPECT_EQ(0, block->getTagDataSize(2, &len));
  EXPECT_EQ(2ul, len);
  EXPECT_EQ(0, block->getTagDataSize(5, &len));
  EXPECT_EQ(0ul, len);
  EXPECT_EQ(0, block->getTagDataSize(9, &len));
  EXPECT_EQ(300ul, len);
}

TEST_F(TaggedDataManagerTest, TagDataSizeOfAnAbsentIdIsThatOfTheLastTagRead) {
  TaggedBlock block(join({tag(2, bytesOf("ab"), 0), tag(9, bytesOf("seven77"), 0)}));
  unsigned long len = 77;
  EXPECT_EQ(0, block->getTagDataSize(1, &len));
  EXPECT_EQ(2ul, len);
  EXPECT_EQ(0, block->getTagDataSize(5, &len));
  EXPECT_EQ(7ul, len);
  EXPECT_EQ(0, block->getTagDataSize(20, &len));
  EXPECT_EQ(7ul, len);
}

TEST_F(TaggedDataManagerTest, TagDataSizeOfAnEmptyBlockIsZero) {
  TaggedBlock block;
  unsigned long len = 77;
  EXPECT_EQ(0, block->getTagDataSize(5, &len));
  EXPECT_EQ(0ul, len);
}

TEST_F(TaggedDataManagerTest, TagDataSizeIntoNullIsAsserted) {
  TaggedBlock block(tag(2, bytesOf("ab"), 0));
  block->getTagDataSize(2, nullptr);
  EXPECT_TRUE(asserted(kSource));
}

// --- deleteData, versions, changed flags ---

TEST_F(TaggedDataManagerTest, DeleteRemovesTagAndValue) {
  const Bytes a = tag(2, bytesOf("ab"), 0);
  const Bytes b = tag(5, bytesOf("hello"), 0);
  const Bytes c = tag(9, {}, 0);
  const struct {
    unsigned long id;
    Bytes left;
  } cases[] = {{2, join({b, c})}, {5, join({a, c})}, {9, join({a, b})}};
  for (const auto& one : cases) {
    TaggedBlock block(join({a, b, c}));
    EXPECT_EQ(0, block->deleteData(one.id));
    EXPECT_EQ(toHex(one.left), block.hex());
  }
  EXPECT_TRUE(nothingLogged());
}

TEST_F(TaggedDataManagerTest, DeletingAnAbsentIdSucceeds) {
  const Bytes stored = tag(5, bytesOf("hello"), 0);
  TaggedBlock block(stored);
  EXPECT_EQ(0, block->deleteData(4));
  EXPECT_EQ(0, block->deleteData(6));
  EXPECT_EQ(0, block->deleteStringData(5));
  EXPECT_EQ(toHex(stored), block.hex());
}

TEST_F(TaggedDataManagerTest, TheVersionOfATag) {
  TaggedBlock block(join({tag(5, bytesOf("a"), 0, 200), tag(0x10005, narrow("b"), 0, 100)}));
  unsigned char version = 0;
  EXPECT_EQ(0, block->getTagVersion(5, &version));
  EXPECT_EQ(200, version);
  EXPECT_EQ(0, block->getStringTagVersion(5, &version));
  EXPECT_EQ(100, version);
  EXPECT_EQ(0, block->getTagVersion(5, nullptr));
}

TEST_F(TaggedDataManagerTest, TheChangedFlagIsBitZero) {
  const Bytes marked = tag(5, bytesOf("a"), 0xFFFFFFFF, 3);
  const Bytes clear = tag(5, bytesOf("a"), 0xFFFFFFFE, 3);
  TaggedBlock block(clear);
  bool changed = true;
  EXPECT_EQ(0, block->getTagChanged(5, &changed));
  EXPECT_FALSE(changed);
  EXPECT_EQ(0, block->setTagChanged(5, true));
  EXPECT_EQ(toHex(marked), block.hex());
  EXPECT_EQ(0, block->getTagChanged(5, &changed));
  EXPECT_TRUE(changed);
  EXPECT_EQ(0, block->setTagChanged(5, false));
  EXPECT_EQ(toHex(clear), block.hex());
  EXPECT_EQ(0, block->getTagChanged(5, nullptr));
}

TEST_F(TaggedDataManagerTest, TheChangedFlagOfAString) {
  TaggedBlock block(join({tag(5, bytesOf("a"), 0), tag(0x10005, narrow("b"), 0)}));
  bool changed = true;
  EXPECT_EQ(0, block->getStringTagChanged(5, &changed));
  EXPECT_FALSE(changed);
  EXPECT_EQ(0, block->setStringTagChanged(5, true));
  EXPECT_EQ(toHex(join({tag(5, bytesOf("a"), 0), tag(0x10005, narrow("b"))})), block.hex());
  EXPECT_EQ(0, block->getStringTagChanged(5, &changed));
  EXPECT_TRUE(changed);
}

TEST_F(TaggedDataManagerTest, VersionAndChangedFlagOfAnAbsentTagAreNotFound) {
  TaggedBlock block(tag(5, bytesOf("a"), 0));
  unsigned char version = 0;
  bool changed = false;
  for (unsigned long id : {4ul, 6ul}) {
    EXPECT_EQ(kTagErrNotFound, block->getTagVersion(id, &version));
    EXPECT_EQ(kTagErrNotFound, block->getTagChanged(id, &changed));
    EXPECT_EQ(kTagErrNotFound, block->setTagChanged(id, true));
  }
  EXPECT_EQ(kTagErrNotFound, block->getStringTagVersion(5, &version));
  EXPECT_EQ(kTagErrNotFound, block->getStringTagChanged(5, &changed));
  EXPECT_EQ(kTagErrNotFound, block->setStringTagChanged(5, true));
  EXPECT_EQ(kTagErrNotFound, TaggedBlock()->getTagVersion(5, &version));
  EXPECT_EQ(kTagErrNotFound, TaggedBlock()->getTagVersion(0, &version));
  EXPECT_EQ(toHex(tag(5, bytesOf("a"), 0)), block.hex());
}

// --- Strings ---

TEST_F(TaggedDataManagerTest, AStringIsStoredWithItsTerminator) {
  TaggedBlock block;
  bool changed = false;
  EXPECT_EQ(0, block->setString(7, L"Ab", &changed));
  EXPECT_TRUE(changed);
  EXPECT_EQ(toHex(fromHex("74 61 00 01 00 00 00 07 00 01 00 03 00 00 00 41 62 00")), block.hex());
  kx_gen::_String text;
  EXPECT_EQ(0, block->getString(7, text));
  EXPECT_EQ(L"Ab", std::wstring(text));
  EXPECT_TRUE(nothingLogged());
}

TEST_F(TaggedDataManagerTest, AnEmptyTextTakesOneByte) {
  TaggedBlock block;
  EXPECT_EQ(0, block->setString(7, L"", nullptr));
  EXPECT_EQ(toHex(tag(0x10007, {0})), block.hex());
  kx_gen::_String text = L"before";
  EXPECT_EQ(0, block->getString(7, text));
  EXPECT_TRUE(text.empty());
}

TEST_F(TaggedDataManagerTest, ANullTextIsAnEmptyText) {
  TaggedBlock block;
  EXPECT_EQ(0, block->setString(7, nullptr, nullptr));
  EXPECT_EQ(toHex(tag(0x10007, {0})), block.hex());
}

TEST_F(TaggedDataManagerTest, StringNumbersSpanEightBits) {
  TaggedBlock block;
  EXPECT_EQ(0, block->setString(255, L"z", nullptr));
  EXPECT_EQ(0, block->setString(0, L"a", nullptr));
  EXPECT_EQ(0, setText(block, 0xFFFF, "p"));
  EXPECT_EQ(toHex(join(
                {tag(0xFFFF, bytesOf("p")), tag(0x10000, narrow("a")), tag(0x100FF, narrow("z"))})),
            block.hex());
}

TEST_F(TaggedDataManagerTest, WritingAStringClearsFlagTwo) {
  TaggedBlock rewritten(tag(0x10007, narrow("old"), 0xFFFFFFFF));
  EXPECT_EQ(0, rewritten->setString(7, L"new", nullptr));
  EXPECT_EQ(toHex(tag(0x10007, narrow("new"))), rewritten.hex());

  TaggedBlock same(join({tag(5, bytesOf("a"), 0), tag(0x10007, narrow("old"), 0xFFFFFFFE),
                         tag(0x10008, narrow("next"), 4)}));
  bool changed = true;
  EXPECT_EQ(0, same->setString(7, L"old", &changed));
  EXPECT_FALSE(changed);
  EXPECT_EQ(toHex(join({tag(5, bytesOf("a"), 0), tag(0x10007, narrow("old"), 0xFFFFFFFA),
                        tag(0x10008, narrow("next"), 4)})),
            same.hex());
}

TEST_F(TaggedDataManagerTest, AnUnchangedStringIsReportedAsSuch) {
  TaggedBlock block;
  bool changed = false;
  EXPECT_EQ(0, block->setString(7, L"text", nullptr));
  EXPECT_EQ(0, block->setString(7, L"text", &changed));
  EXPECT_TRUE(changed) << "the tag is still marked";
  EXPECT_EQ(0, block->setStringTagChanged(7, false));
  EXPECT_EQ(0, block->setString(7, L"text", &changed));
  EXPECT_FALSE(changed);
  EXPECT_EQ(0, block->setString(7, L"texts", &changed));
  EXPECT_TRUE(changed);
}

TEST_F(TaggedDataManagerTest, AnAbsentStringIsNotFoundAndEmpty) {
  TaggedBlock block(tag(7, narrow("plain tag"), 0));
  kx_gen::_String text = L"before";
  EXPECT_EQ(kTagErrNotFound, block->getString(7, text));
  EXPECT_TRUE(text.empty());
}

TEST_F(TaggedDataManagerTest, AStringEndsAtItsFirstTerminator) {
  TaggedBlock block(tag(0x10007, fromHex("41 42 00 43 00"), 0));
  kx_gen::_String text;
  EXPECT_EQ(0, block->getString(7, text));
  EXPECT_EQ(L"AB", std::wstring(text));
}

TEST_F(TaggedDataManagerTest, AStringWithoutTerminatorIsCorrupt) {
  TaggedBlock block(tag(0x10007, fromHex("41 00 42"), 0));
  kx_gen::_String text = L"before";
  EXPECT_EQ(kTagErrCorrupt, block->getString(7, text));
  EXPECT_TRUE(text.empty());
}

TEST_F(TaggedDataManagerTest, AStringTagWithoutDataIsEmpty) {
  TaggedBlock block(tag(0x10007, {}, 0));
  kx_gen::_String text = L"before";
  EXPECT_EQ(0, block->getString(7, text));
  EXPECT_TRUE(text.empty());
}

// --- Typed values ---

TEST_F(TaggedDataManagerTest, TypedValuesAreLittleEndianImages) {
  TaggedBlock block;
  EXPECT_EQ(0, block->setValue<uint32_t>(1, 0x01020304, nullptr));
  EXPECT_EQ(0, block->setValue<int16_t>(2, -2, nullptr));
  EXPECT_EQ(0, block->setValue<uint8_t>(3, 0xA5, nullptr));
  EXPECT_EQ(0, block->setValue<bool>(4, true, nullptr));
  EXPECT_EQ(toHex(join({tag(1, fromHex("04 03 02 01")), tag(2, fromHex("FE FF")), tag(3, {0xA5}),
                        tag(4, {1})})),
            block.hex());
  uint32_t number = 0;
  int16_t negative = 0;
  EXPECT_EQ(0, block->getValue(1, number));
  EXPECT_EQ(0x01020304u, number);
  EXPECT_EQ(0, block->getValue(2, negative));
  EXPECT_EQ(-2, negative);
  EXPECT_TRUE(nothingLogged());
}

TEST_F(TaggedDataManagerTest, SettingATypedValueReportsAChange) {
  TaggedBlock block(tag(1, {7}, 0));
  bool changed = true;
  EXPECT_EQ(0, block->setValue<uint8_t>(1, 7, &changed));
  EXPECT_FALSE(changed);
  EXPECT_EQ(0, block->setValue<uint8_t>(1, 8, &changed));
  EXPECT_TRUE(changed);
}

TEST_F(TaggedDataManagerTest, AShorterValueReadsAsIfPaddedWithZeros) {
  TaggedBlock block(join({tag(1, {0xFF}, 0), tag(2, {}, 0)}));
  uint32_t number = 77;
  EXPECT_EQ(0, block->getValue(1, number));
  EXPECT_EQ(0xFFu, number);
  number = 77;
  EXPECT_EQ(0, block->getValue(2, number));
  EXPECT_EQ(0u, number);
}

TEST_F(TaggedDataManagerTest, ALongerValueOverflowsATypedGetter) {
  TaggedBlock block(tag(1, fromHex("01 02 03"), 0));
  uint16_t number = 77;
  EXPECT_EQ(kTagErrOverflow, block->getValue(1, number));
  EXPECT_EQ(0u, number);
  EXPECT_TRUE(asserted(kSource));
}

TEST_F(TaggedDataManagerTest, AnAbsentTypedValueIsNotFound) {
  TaggedBlock block;
  uint16_t number = 77;
  EXPECT_EQ(kTagErrNotFound, block->getValue(1, number));
  EXPECT_EQ(0u, number);
}

TEST_F(TaggedDataManagerTest, TypedValuesOfASwappedBlockAreAsserted) {
  TaggedBlock block({}, true);
  EXPECT_EQ(0, block->setValue<uint8_t>(1, 7, nullptr));
  EXPECT_TRUE(asserted(kSource));
  uint8_t number = 0;
  EXPECT_EQ(0, block->getValue(1, number));
  EXPECT_TRUE(asserted(kSource));
}

// --- Swapped blocks ---

TEST_F(TaggedDataManagerTest, ASwappedBlockReversesCodeIdAndLengthOnly) {
  TaggedBlock block({}, true);
  EXPECT_EQ(0, setText(block, 0x01020305, "xyz", nullptr, 7));
  EXPECT_EQ(toHex(fromHex("61 74"        // code
                          "07"           // version
                          "01 00 00 00"  // flags as they are
                          "01 02 03 05"  // id
                          "00 00 00 03"  // length
                          "78 79 7A")),
            block.hex());
  EXPECT_TRUE(nothingLogged());
}

TEST_F(TaggedDataManagerTest, ASwappedBlockIsWalkedAndEdited) {
  TaggedBlock block(
      join({swappedTag(2, bytesOf("ab"), 1, 4), swappedTag(9, bytesOf("nine"), 0xFFFFFFFE, 5)}),
      true);
  EXPECT_TRUE(hasTag(block, 2));
  EXPECT_TRUE(hasTag(block, 9));
  EXPECT_FALSE(hasTag(block, 5));
  char out[4];
  unsigned long len = 4;
  unsigned char version = 0;
  EXPECT_EQ(0, block->getData(9, out, &len, &version));
  EXPECT_EQ("nine", std::string(out, 4));
  EXPECT_EQ(4ul, len);
  EXPECT_EQ(5, version);
  EXPECT_EQ(block.data() + 15, block->getDataPtr(2, 2));
  EXPECT_EQ(0, setText(block, 5, "five"));
  EXPECT_EQ(0, block->setTagChanged(9, true));
  EXPECT_EQ(0, block->deleteData(2));
  EXPECT_EQ(
      toHex(join({swappedTag(5, bytesOf("five")), swappedTag(9, bytesOf("nine"), 0xFFFFFFFF, 5)})),
      block.hex());
  EXPECT_TRUE(nothingLogged());
}

TEST_F(TaggedDataManagerTest, ASwappedBlockReportsByteReversedSizes) {
  TaggedBlock block(join({swappedTag(2, bytesOf("ab")), swappedTag(9, bytesOf("xyz"))}), true);
  unsigned long len = 0;
  EXPECT_EQ(0, block->getTagDataSize(2, &len));
  EXPECT_EQ(0x02000000ul, len);
  EXPECT_EQ(0, block->getTagDataSize(20, &len));
  EXPECT_EQ(0x03000000ul, len);
}

TEST_F(TaggedDataManagerTest, ABlockOfTheOtherByteOrderIsCorruptWithoutSwap) {
  TaggedBlock plain(swappedTag(2, bytesOf("ab")));
  EXPECT_EQ(kTagErrCorrupt, plain->hasTag(2, nullptr));
  TaggedBlock swapped(tag(2, bytesOf("ab"), 0), true);
  EXPECT_EQ(kTagErrCorrupt, swapped->hasTag(2, nullptr));
}

// --- Validate ---

TEST_F(TaggedDataManagerTest, ValidateAcceptsOrderedBlocks) {
  TaggedBlock()->Validate();
  TaggedBlock(tag(1, {}, 0))->Validate();
  TaggedBlock(join({tag(1, {}, 0), tag(2, bytesOf("ab"), 0), tag(0xFFFFFFFF, {1}, 0)}))->Validate();
  TaggedBlock(join({swappedTag(0x100, {}), swappedTag(0x201, {})}), true)->Validate();
  EXPECT_TRUE(nothingLogged());
}

TEST_F(TaggedDataManagerTest, ValidateReportsADisorderlyBlockOnce) {
  const Bytes good = tag(5, bytesOf("ab"), 0);
  const Bytes badCode = fromHex("00 00 00 00 00 00 00 09 00 00 00 00 00 00 00");
  const struct {
    const char* what;
    Bytes block;
  } cases[] = {{"first id 0", tag(0, {}, 0)},
               {"a repeated id", join({good, good})},
               {"a falling id", join({good, tag(4, {}, 0), tag(3, {}, 0), tag(2, {}, 0)})},
               {"no code", join({good, badCode, badCode})},
               {"no code at the start", join({badCode, badCode, good})}};
  for (const auto& c : cases) {
    clearLog();
    TaggedBlock block(c.block);
    block->Validate();
    EXPECT_EQ(1, assertionsOf(kSource)) << c.what;
    EXPECT_EQ(1u, kx_test::logLines().size()) << c.what;
    EXPECT_EQ(toHex(c.block), block.hex());
  }
}

TEST_F(TaggedDataManagerTest, EveryEditValidatesTheBlock) {
  const Bytes disorderly = join({tag(5, bytesOf("ab"), 0), tag(9, {}, 0), tag(7, {}, 0)});
  TaggedBlock edited(disorderly);
  EXPECT_EQ(0, setText(edited, 5, "cd"));
  EXPECT_TRUE(asserted(kSource));
  TaggedBlock inserted(disorderly);
  EXPECT_EQ(0, setText(inserted, 2, "cd"));
  EXPECT_TRUE(asserted(kSource));
  TaggedBlock unchanged(disorderly);
  EXPECT_EQ(0, setText(unchanged, 5, "ab"));
  EXPECT_TRUE(asserted(kSource));
  TaggedBlock deleted(disorderly);
  EXPECT_EQ(0, deleted->deleteData(5));
  EXPECT_TRUE(asserted(kSource));
}

TEST_F(TaggedDataManagerTest, AnInsertedTagIsValidatedOnceMoreThanARewrittenOne) {
  const Bytes disorderly = join({tag(5, bytesOf("ab"), 0), tag(9, {}, 0), tag(7, {}, 0)});
  const std::string disorder = kx_test::assertionLine(kSource, 179);
  TaggedBlock rewritten(disorderly);
  EXPECT_EQ(0, setText(rewritten, 5, "cd"));
  EXPECT_EQ(kx_test::logLines(), std::vector<std::string>{disorder});
  clearLog();
  TaggedBlock inserted(disorderly);
  EXPECT_EQ(0, setText(inserted, 2, "cd"));
  EXPECT_EQ(kx_test::logLines(), (std::vector<std::string>{disorder, disorder}))
      << "once without its value, once with it";
}

// --- ProcessError ---

TEST_F(TaggedDataManagerTest, KnownCodesThrowTheirMessageAndThePlace) {
  const struct {
    long code;
    const wchar_t* text;
  } cases[] = {{kTagErrCorrupt, L"Data corruption errorError in file Rows line 42"},
               {kTagErrNotFound, L"Data class not found errorError in file Rows line 42"},
               {kTagErrOverflow, L"Data buffer overflow errorError in file Rows line 42"}};
  for (const auto& c : cases) {
    clearLog();
    const Thrown thrown =
        thrownBy([&] { CTaggedDataManager::ProcessError("Rows", 42, c.code, nullptr); });
    EXPECT_EQ(Thrown::kException, thrown.kind);
    EXPECT_EQ(c.text, thrown.description);
    EXPECT_EQ(0xFFFFFFFFul, thrown.number);
    EXPECT_EQ(1, throwsOf(", LINE - "));
    EXPECT_EQ(1u, kx_test::logLines().size());
  }
}

TEST_F(TaggedDataManagerTest, ATextOnlySuppressesTheMessage) {
  const Thrown thrown = thrownBy(
      [] { CTaggedDataManager::ProcessError("Rows", 42, kTagErrCorrupt, L"never shown"); });
  EXPECT_EQ(Thrown::kException, thrown.kind);
  EXPECT_EQ(L"Error in file Rows line 42", thrown.description);
}

TEST_F(TaggedDataManagerTest, TheLineOfAnErrorShowsItsLowThirtyTwoBitsSigned) {
  const Thrown thrown =
      thrownBy([] { CTaggedDataManager::ProcessError("Rows", 0xFFFFFFFF, kTagErrCorrupt, L""); });
  EXPECT_EQ(L"Error in file Rows line -1", thrown.description);
}

TEST_F(TaggedDataManagerTest, OtherCodesAreIgnored) {
  for (long code : {0l, -1l, 1l, -4553l, -4557l, 4556l}) {
    EXPECT_EQ(Thrown::kNothing,
              thrownBy([&] { CTaggedDataManager::ProcessError("Rows", 42, code, nullptr); }).kind)
        << code;
    EXPECT_EQ(Thrown::kNothing,
              thrownBy([&] { CTaggedDataManager::ProcessError("Rows", 42, code, L"text"); }).kind)
        << code;
  }
  EXPECT_TRUE(nothingLogged());
}

// --- Everything together ---

struct ModelValue {
  uint8_t version = 0;
  uint32_t flags = 0;
  Bytes data;
};

Bytes blockOf(const std::map<uint32_t, ModelValue>& model) {
  Bytes all;
  for (const auto& [id, value] : model) {
    all = join({all, tag(id, value.data, value.flags, value.version)});
  }
  return all;
}

TEST_F(TaggedDataManagerTest, BehavesAsASortedMapUnderRandomEdits) {
  std::mt19937 random(4711);
  std::map<uint32_t, ModelValue> model;
  TaggedBlock block;
  for (int step = 0; step < 4000; ++step) {
    const uint32_t id = 1 + random() % 12;
    const auto old = model.find(id);
    switch (random() % 4) {
      case 0:
      case 1: {
        const ModelValue value = {static_cast<uint8_t>(random() % 2), kChanged,
                                  Bytes(random() % 40, static_cast<unsigned char>(random() % 2))};
        bool changed = false;
        ASSERT_EQ(
            0, block->setData(id, value.data.data(), static_cast<unsigned long>(value.data.size()),
                              &changed, value.version));
        const bool same = old != model.end() && old->second.flags == 0 &&
                          old->second.version == value.version && old->second.data == value.data;
        ASSERT_EQ(!same, changed);
        if (!same) model[id] = value;
        break;
      }
      case 2:
        ASSERT_EQ(0, block->deleteData(id));
        model.erase(id);
        break;
      default:
        ASSERT_EQ(old == model.end() ? kTagErrNotFound : 0, block->setTagChanged(id, false));
        if (old != model.end()) old->second.flags = 0;
    }
    ASSERT_EQ(toHex(blockOf(model)), block.hex()) << "step " << step;
  }
  EXPECT_TRUE(nothingLogged());
}

}  // namespace
