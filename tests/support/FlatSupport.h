/// What the tests of the flat interface share: handles that delete themselves, texts out of
/// buffers, and the log line of a refused handle.
#pragma once

#include <algorithm>
#include <string>

#include "KxLayout.h"

namespace kx_test {

/// A handle that is deleted with its test.
template <void* (*create)(), void (*destroy)(void*)>
class OwnedFlat {
 public:
  OwnedFlat() : handle_(create()) {}
  OwnedFlat(const OwnedFlat&) = delete;
  OwnedFlat& operator=(const OwnedFlat&) = delete;
  ~OwnedFlat() { destroy(handle_); }
  operator void*() const { return handle_; }  // NOLINT(google-explicit-constructor)

 private:
  void* handle_;
};

// Functions of the library itself are no constants where it is a DLL.
inline RV_DB makeOutline() { return RV_CreateOutlineDB(); }
inline void dropOutline(RV_DB db) { RV_DeleteOutlineDB(db); }
inline RV_REC makeItem() {
  RV_REC rec = RV_CreateOutlineRecord();
  RV_Init(rec);
  return rec;
}
inline void dropItem(RV_REC rec) { RV_DeleteCOutlineRecord(rec); }
inline RV_CAT makeCategories() { return RV_CreateCategoryDB(); }
inline void dropCategories(RV_CAT cat) { RV_DeleteCategoryDB(cat); }

using FlatOutline = OwnedFlat<makeOutline, dropOutline>;
using FlatItem = OwnedFlat<makeItem, dropItem>;
using FlatCategories = OwnedFlat<makeCategories, dropCategories>;

/// The objects behind handles.
inline kx_gen::COutlineDB& outlineOf(RV_DB db) {
  return *static_cast<kx_gen::COutlineDB*>(static_cast<kx_gen::CDatabase*>(db));
}
inline kx_gen::CCategoryDB& categoriesOf(RV_CAT cat) {
  return *static_cast<kx_gen::CCategoryDB*>(static_cast<kx_gen::CDatabase*>(cat));
}
inline kx_gen::COutlineRecord& itemOf(RV_REC rec) {
  return *static_cast<kx_gen::COutlineRecord*>(static_cast<kx_gen::CDBRecord*>(rec));
}
inline kx_gen::CCategoryRecord& categoryOf(RV_CREC rec) {
  return *static_cast<kx_gen::CCategoryRecord*>(static_cast<kx_gen::CDBRecord*>(rec));
}
/// The handles of objects.
inline void* handleOf(kx_gen::CDatabase& db) { return &db; }
inline void* handleOf(kx_gen::CDBRecord& record) { return &record; }

/// The text that `call` puts into a buffer. Checks that the length asked for with a null buffer is
/// that of the text, and that nothing is written behind its terminator.
template <class Call>
std::wstring flatText(Call call) {
  constexpr wchar_t kUntouched = L'\x7E';
  const unsigned long length = call(nullptr);
  std::wstring buffer(length + 3, kUntouched);
  EXPECT_EQ(call(buffer.data()), length);
  EXPECT_EQ(buffer[length], L'\0');
  EXPECT_EQ(buffer.substr(length + 1), std::wstring(2, kUntouched));
  EXPECT_EQ(buffer.find(L'\0'), length);
  return buffer.substr(0, length);
}

inline std::wstring textOf(RV_REC rec) {
  return flatText([&](wchar_t* out) { return RV_GetText(rec, out); });
}
inline std::wstring noteOf(RV_REC rec) {
  return flatText([&](wchar_t* out) { return RV_GetNote(rec, out); });
}

/// Handles that are refused, by the line of their assertion.
enum FlatLine : int {
  kOutlineRefused = 31,
  kDatabaseRefused = 32,
  kRecordRefused = 33,
  kItemRefused = 34,
  kCategoriesRefused = 35,
  kCategoryRefused = 36,
  kStringRefused = 37,
  kNoRecordset = 38,
  kNullArgument = 39,
};
inline std::string refusal(int line) { return assertionLine(".\\FlatInterface", line); }

/// True when the log holds nothing but the refusal of `line`; clears the log.
inline bool refusedWith(int line) {
  const std::vector<std::string> lines = logLines();
  clearLog();
  return lines.size() == 1 && lines.front() == refusal(line);
}

/// A folder, a log and an unfiled category's name for each test. The guard is off around each.
class FlatTest : public KxTest {
 protected:
  void SetUp() override {
    KxTest::SetUp();
    KX_SetUnfiledCategoryName(L"Unfiled");
  }
  void TearDown() override {
    KX_FlatGuard(0);
    KX_SetUnfiledCategoryName(L"");
    KxTest::TearDown();
  }

  /// A row at the end of a database.
  static RV_REC addItem(RV_DB db, unsigned long id, const wchar_t* text = L"") {
    RV_REC rec = RV_AppendRecordSet(db);
    RV_SetId(rec, id);
    RV_SetText(rec, text);
    return rec;
  }
  void createOutline(RV_DB db, const std::wstring& name) {
    ASSERT_EQ(RV_Open(db, path(name).c_str(), kCreate), 1);
    RV_InitNewDataBase(db);
  }
  static void saveOutline(RV_DB db) {
    RV_WriteAllHeaders(db);
    RV_WriteRows(db);
    RV_Close(db);
  }
};

}  // namespace kx_test
