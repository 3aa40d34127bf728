// The fields of a category.

#include "CategoryRecord.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <type_traits>

#include "KxLayout.h"

namespace {

using kx_gen::_String;
using kx_gen::CCategoryRecord;
using kx_test::Bytes;
using kx_test::join;
using kx_test::stringTag;
using kx_test::tag;
using kx_test::Thrown;
using kx_test::thrownBy;

class CategoryRecordTest : public kx_test::KxTest {
 protected:
  static Bytes initialisedBlock() {
    return join(
        {tag(1, {0}), tag(2, {0}), tag(5, {0, 0, 0, 0}), tag(7, {0, 0, 0, 0}), stringTag(6, {0})});
  }
  static std::wstring name(CCategoryRecord& record) {
    _String name;
    record.GetCategoryName(name);
    return name;
  }
};

TEST_F(CategoryRecordTest, TheVirtualTableIsThatOfRows) {
  EXPECT_EQ(kx_test::virtualSlot(&CCategoryRecord::Read), 2);
  EXPECT_EQ(kx_test::virtualSlot(&CCategoryRecord::Write), 3);
  EXPECT_EQ(kx_test::virtualSlot(&CCategoryRecord::Init), 4);
  EXPECT_EQ(kx_test::virtualSlot(&kx_gen::CCategoryRecordset::CreateDBRecord), 2);
  EXPECT_TRUE((std::is_base_of<kx_gen::CDBRecord, CCategoryRecord>::value));
  EXPECT_TRUE((std::is_base_of<kx_gen::CDBRecordset, kx_gen::CCategoryRecordset>::value));
  EXPECT_EQ(sizeof(CCategoryRecord), sizeof(kx_gen::CDBRecord));
  EXPECT_EQ(sizeof(kx_gen::CCategoryRecordset), sizeof(kx_gen::CDBRecordset));
}

TEST_F(CategoryRecordTest, AFreshRecordHasNoFieldsUntilInit) {
  CCategoryRecord record;
  EXPECT_EQ(kx_test::blockOf(record), kx_test::plainBlock());
  record.Init();
  EXPECT_EQ(kx_test::blockOf(record), initialisedBlock());
}

TEST_F(CategoryRecordTest, TheSetMakesInitialisedCategoryRecords) {
  kx_gen::CCategoryRecordset set;
  std::unique_ptr<kx_gen::CDBRecord> made(set.CreateDBRecord());
  ASSERT_NE(dynamic_cast<CCategoryRecord*>(made.get()), nullptr);
  EXPECT_EQ(kx_test::blockOf(*made), initialisedBlock());
  EXPECT_EQ(set.getSize(), 0);
  auto* record = dynamic_cast<CCategoryRecord*>(set.Append());
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record->GetCategoryId(), 0u);
  EXPECT_EQ(name(*record), L"");
  EXPECT_EQ(record->GetLastChangedTime(), 0u);
}

TEST_F(CategoryRecordTest, FieldsAreStoredUnderTheirTags) {
  CCategoryRecord record;
  record.SetCategoryId(0xFEDCBA98);
  record.SetCategoryName(L"B\u00FCro");
  record.SetLastChangedTime(0x80000001);
  EXPECT_EQ(kx_test::blockOf(record),
            join({kx_test::plainBlock(), tag(5, {0x98, 0xBA, 0xDC, 0xFE}), tag(7, {1, 0, 0, 0x80}),
                  stringTag(6, {'B', 0xFC, 'r', 'o', 0})}));
  EXPECT_EQ(record.GetCategoryId(), 0xFEDCBA98ul);
  EXPECT_EQ(name(record), L"B\u00FCro");
  EXPECT_EQ(record.GetLastChangedTime(), 0x80000001ul);
}

TEST_F(CategoryRecordTest, IdAndNameDoNotTouchTheTime) {
  CCategoryRecord record;
  record.Init();
  record.SetLastChangedTime(77);
  record.SetCategoryId(129);
  record.SetCategoryName(L"Work");
  EXPECT_EQ(record.GetLastChangedTime(), 77u);
}

TEST_F(CategoryRecordTest, NoSetterTouchesTheFlags) {
  for (unsigned char flags : {0x00, 0xF8, 0x90}) {
    CCategoryRecord record;
    record.Init();
    record.SetFlag(flags);
    record.SetCategoryId(129);
    record.SetCategoryName(L"Work");
    record.SetLastChangedTime(5);
    EXPECT_EQ(record.GetFlag(), flags);
  }
}

TEST_F(CategoryRecordTest, InitResetsTheFieldsOnly) {
  CCategoryRecord record;
  record.SetFlag(0xF0);
  record.SetCategoryId(129);
  record.SetCategoryName(L"Work");
  record.SetLastChangedTime(5);
  record.Init();
  EXPECT_EQ(record.GetCategoryId(), 0u);
  EXPECT_EQ(name(record), L"");
  EXPECT_EQ(record.GetLastChangedTime(), 0u);
  EXPECT_EQ(record.GetFlag(), 0xF0);
}

TEST_F(CategoryRecordTest, ANullNameIsAnEmptyOneAndGettingReplacesTheOutput) {
  CCategoryRecord record;
  record.SetCategoryName(L"x");
  record.SetCategoryName(nullptr);
  _String out(L"before");
  record.GetCategoryName(out);
  EXPECT_EQ(out, L"");
}

TEST_F(CategoryRecordTest, AssignmentCopiesTheRow) {
  CCategoryRecord record;
  record.Init();
  record.SetCategoryName(L"Work");
  CCategoryRecord copy;
  copy = record;
  copy.SetCategoryName(L"Home");
  EXPECT_EQ(name(record), L"Work");
  CCategoryRecord sharing(record);
  sharing.SetCategoryId(5);
  EXPECT_EQ(record.GetCategoryId(), 5u);
}

// --- Failures ---

struct Access {
  const char* name;
  int line;
  std::function<void(CCategoryRecord&)> call;
};
void PrintTo(const Access& access, std::ostream* out) { *out << access.name; }

const Access kSetters[] = {
    {"SetCategoryId", 43, [](CCategoryRecord& r) { r.SetCategoryId(1); }},
    {"SetLastChangedTime", 60, [](CCategoryRecord& r) { r.SetLastChangedTime(1); }},
    {"SetCategoryName", 76, [](CCategoryRecord& r) { r.SetCategoryName(L"x"); }},
};
const Access kGetters[] = {
    {"GetCategoryId", 51, [](CCategoryRecord& r) { r.GetCategoryId(); }},
    {"GetLastChangedTime", 68, [](CCategoryRecord& r) { r.GetLastChangedTime(); }},
    {"GetCategoryName", 83,
     [](CCategoryRecord& r) {
       _String name;
       r.GetCategoryName(name);
     }},
};

class CategoryAccessTest : public CategoryRecordTest, public ::testing::WithParamInterface<Access> {
 protected:
  void expectThrown(const Thrown& thrown, unsigned long messageId) {
    EXPECT_EQ(thrown.kind, Thrown::kException) << thrown;
    EXPECT_EQ(thrown.number, 0xFFFFFFFFul);
    EXPECT_EQ(thrown.description, kx_test::messageText(messageId) +
                                      L"Error in file CategoryRecord line " +
                                      std::to_wstring(GetParam().line));
  }
};

TEST_P(CategoryAccessTest, OnACorruptBlockThrowsMessage15WithItsLine) {
  CCategoryRecord record;
  kx_test::setBlock(record, Bytes(40, 0xEE));
  expectThrown(thrownBy([&] { GetParam().call(record); }), 15);
  EXPECT_EQ(kx_test::logCount("Throw an exception FILE - "), 1);
}

using CategoryGetterTest = CategoryAccessTest;

TEST_P(CategoryGetterTest, OfAnAbsentFieldThrowsMessage16WithItsLine) {
  CCategoryRecord record;
  expectThrown(thrownBy([&] { GetParam().call(record); }), 16);
  EXPECT_EQ(kx_test::logCount("Throw an exception FILE - "), 1);
}

std::string accessName(const ::testing::TestParamInfo<Access>& info) { return info.param.name; }
INSTANTIATE_TEST_SUITE_P(Setters, CategoryAccessTest, ::testing::ValuesIn(kSetters), accessName);
INSTANTIATE_TEST_SUITE_P(Getters, CategoryAccessTest, ::testing::ValuesIn(kGetters), accessName);
INSTANTIATE_TEST_SUITE_P(Getters, CategoryGetterTest, ::testing::ValuesIn(kGetters), accessName);

TEST_F(CategoryRecordTest, AnIdOfFiveBytesThrowsMessage17AShorterOneReadsZeroPadded) {
  CCategoryRecord record;
  kx_test::setBlock(record, join({tag(5, Bytes(5, 1)), tag(7, {1, 2})}));
  EXPECT_TRUE(
      kx_test::isTagError(thrownBy([&] { record.GetCategoryId(); }), 17, L"CategoryRecord"));
  EXPECT_EQ(record.GetLastChangedTime(), 0x0201u);
}

}  // namespace
