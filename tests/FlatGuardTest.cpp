// Errors and handles in the flat interface: the guard that keeps exceptions from callers who cannot
// catch them, the last error of each thread, and handles that are refused.

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <set>
#include <thread>

#include "FlatSupport.h"
#include "Pictures.h"

namespace {

using kx_gen::_String;
using kx_gen::CCategoryIterator;
using kx_gen::CMemOutlDB;
using kx_gen::kNoErrNumber;
using kx_test::Bytes;
using kx_test::clearLog;
using kx_test::FlatCategories;
using kx_test::FlatItem;
using kx_test::FlatOutline;
using kx_test::handleOf;
using kx_test::itemOf;
using kx_test::logLines;
using kx_test::messageText;
using kx_test::refusal;
using kx_test::Thrown;
using kx_test::thrownBy;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

/// The last error of this thread.
struct LastError {
  std::wstring text;
  unsigned long number = 0;
};
bool operator==(const LastError& a, const LastError& b) {
  return a.text == b.text && a.number == b.number;
}
std::ostream& operator<<(std::ostream& out, const LastError& error) {
  for (const wchar_t c : error.text) out << (c < 0x80 ? static_cast<char>(c) : '?');
  return out << " (" << error.number << ')';
}
const LastError kNone;

LastError lastError() {
  LastError error;
  std::vector<wchar_t> text(KX_FlatLastError(nullptr, 0, &error.number) + 1);
  KX_FlatLastError(text.data(), static_cast<unsigned long>(text.size()), nullptr);
  error.text = text.data();
  return error;
}

class FlatGuardTest : public kx_test::FlatTest {
 protected:
  /// A saved outline with `count` rows that ends `cut` bytes early.
  void makeCut(const std::wstring& name, int count, size_t cut) {
    FlatOutline db;
    createOutline(db, name);
    for (int i = 0; i < count; ++i) addItem(db, static_cast<unsigned long>(i) + 1, L"row");
    saveOutline(db);
    Bytes bytes = kx_test::readFile(folder() / name);
    bytes.resize(bytes.size() - cut);
    kx_test::writeFile(folder() / name, bytes);
  }
};

// --- The guard ---

class FlatStartDeathTest : public kx_test::FlatTest {
 protected:
  [[noreturn]] void leaveWith(bool right) {
    TearDown();
    std::_Exit(right ? 0 : 1);
  }
};

TEST_F(FlatStartDeathTest, TheGuardIsOffAndNothingHasFailed) {
  EXPECT_EXIT(leaveWith(KX_FlatGuard(0) == 0 && lastError() == kNone), ::testing::ExitedWithCode(0),
              "");
}

TEST_F(FlatStartDeathTest, NoDrawingSizeHasBeenAskedFor) {
  EXPECT_EXIT(leaveWith(RV_GetSizeX() == 0 && RV_GetSizeY() == 0), ::testing::ExitedWithCode(0),
              "");
}

TEST_F(FlatGuardTest, SwitchingTellsTheFormerState) {
  EXPECT_EQ(KX_FlatGuard(256), 0);
  EXPECT_EQ(KX_FlatGuard(-1), 1);
  EXPECT_EQ(KX_FlatGuard(0), 1);
  EXPECT_EQ(KX_FlatGuard(0), 0);
}

TEST_F(FlatGuardTest, WithoutTheGuardExceptionsPassAndNothingIsKept) {
  FlatOutline db;
  FlatItem rec;
  createOutline(db, L"a.kxo");
  const Thrown thrown = thrownBy([&] { RV_ReadRow(db, 0, rec); });
  EXPECT_TRUE(thrown.is(Thrown::kException, 8, 7)) << thrown;
  EXPECT_EQ(lastError(), kNone);
}

TEST_F(FlatGuardTest, GuardedCallsKeepTextAndNumber) {
  makeCut(L"a.kxo", 1, 3);
  FlatOutline db;
  FlatItem rec;
  KX_FlatGuard(1);
  ASSERT_EQ(RV_Open(db, path(L"a.kxo").c_str(), kx_test::kReadWrite), 1);
  RV_ReadRow(db, 0, rec);
  EXPECT_EQ(lastError(), (LastError{messageText(5), 4}));
  RV_ReadRows(db);
  EXPECT_EQ(lastError(), (LastError{messageText(8), 7}));
  EXPECT_EQ(RV_GetSize(db), 1) << "the row whose reading failed stays";
}

TEST_F(FlatGuardTest, EveryKindOfExceptionIsCaught) {
  FlatCategories cat;
  RV_REC fresh = RV_CreateOutlineRecord();
  kx_test::writeFile("foreign", Bytes(20, 'x'));
  KX_FlatGuard(1);
  EXPECT_EQ(RV_GetId(fresh), 0ul);
  EXPECT_THAT(lastError().text, HasSubstr(messageText(16)));
  EXPECT_THAT(lastError().text, HasSubstr(L"Error in file OutlineRecord line "));
  EXPECT_EQ(lastError().number, kNoErrNumber);
  EXPECT_EQ(RV_OpenCategoryFile(cat, path(L"missing").c_str(), 1), 0);
  EXPECT_EQ(lastError(), (LastError{L"fileNotFound", kNoErrNumber}));
  EXPECT_EQ(RV_OpenCategoryFile(cat, path(L"foreign").c_str(), 1), 0);
  EXPECT_EQ(lastError(), (LastError{messageText(13), 12}));
  RV_DeleteCOutlineRecord(fresh);
}

/// A database of a caller's own whose operations throw what the library never throws.
class ThrowingOutline : public kx_gen::COutlineDB {
 public:
  void CheckDbInfo() override { throw std::length_error("too long"); }
  void InitNewDatabase() override { throw std::bad_alloc(); }
  void ReadExtraRows() override { throw static_cast<kx_gen::CException*>(nullptr); }
  void WriteExtraRows() override { throw new kx_gen::CException; }
};

TEST_F(FlatGuardTest, StandardExceptionsAndThrownNullsAreCaughtToo) {
  ThrowingOutline throwing;
  RV_DB db = handleOf(throwing);
  KX_FlatGuard(1);
  RV_InitNewDataBase(db);
  EXPECT_EQ(lastError(), (LastError{messageText(11), 10})) << "memory ran out";
  RV_CheckDbInfo(db);
  EXPECT_EQ(lastError(), (LastError{L"Unknown exception", kNoErrNumber}));
  RV_ReadExtraRows(db);
  EXPECT_EQ(lastError(), (LastError{messageText(11), 10})) << "there was no memory to throw";
  RV_WriteExtraRows(db);
  EXPECT_EQ(lastError(), (LastError{L"Unknown exception", kNoErrNumber}));
}

TEST_F(FlatGuardTest, AFailedCallAnswersZeroOrNull) {
  RV_REC fresh = RV_CreateOutlineRecord();
  FlatOutline db;
  RV_DeleteText(RV_AppendRecordSet(db));
  FlatCategories cat;
  RV_ResizeDB(cat, 0);
  categoriesOf(cat).getRecord(0)->FreeData();  // a row without a flag tag
  const auto isEnd = [](CCategoryIterator it) { return !(it != CCategoryIterator()) && !*it; };
  KX_FlatGuard(1);
  const std::vector<std::pair<const char*, std::function<bool()>>> calls = {
      {"int", [&] { return RV_GetChecked(fresh) == 0; }},
      {"unsigned int", [&] { return RV_GetIndent(fresh) == 0; }},
      {"unsigned long", [&] { return RV_GetText(fresh, nullptr) == 0; }},
      {"text", [&] { return RV_GetRecordString(db, 0) == nullptr; }},
      {"bitmap", [&] { return RV_GetDrawing(fresh) == nullptr; }},
      {"category", [&] { return RV_FindCategorybyName(cat, L"") == nullptr; }},
      {"iterator", [&] { return isEnd(RV_GetIterator(cat)); }},
      {"next", [&] { return isEnd(RV_GetNext(cat)); }},
      {"hole", [&] { return RV_FindFirstHole(cat) == 0; }},
      {"nothing", [&] { return RV_updateRecordChanged(fresh), true; }},
  };
  for (const auto& [name, answersZero] : calls) {
    RV_GetSize(db);  // succeeds
    ASSERT_EQ(lastError(), kNone) << name;
    EXPECT_TRUE(answersZero()) << name;
    EXPECT_FALSE(lastError() == kNone) << name;
  }
  RV_DeleteCOutlineRecord(fresh);
}

TEST_F(FlatGuardTest, ACallThatSucceedsClearsTheError) {
  FlatOutline db;
  FlatItem rec;
  KX_FlatGuard(1);
  RV_STR text = KX_StringCreate();
  const std::vector<std::pair<const char*, std::function<void()>>> calls = {
      {"RV_GetSize", [&] { RV_GetSize(db); }},
      {"RV_SetId", [&] { RV_SetId(rec, 1); }},
      {"RV_GetSizeX", [] { RV_GetSizeX(); }},
      {"RV_GetSizeY", [] { RV_GetSizeY(); }},
      {"RV_DeleteOutlineDB", [] { RV_DeleteOutlineDB(nullptr); }},
      {"KX_StringText", [&] { KX_StringText(text); }},
      {"KX_StringDelete", [&] { KX_StringDelete(nullptr); }},
      {"KX_SetUnfiledCategoryName", [] { KX_SetUnfiledCategoryName(L"Unfiled"); }},
  };
  for (const auto& [name, succeed] : calls) {
    RV_GetDrawing(rec);
    ASSERT_FALSE(lastError() == kNone) << name;
    succeed();
    EXPECT_EQ(lastError(), kNone) << name;
  }
  KX_StringDelete(text);
}

TEST_F(FlatGuardTest, AskingForTheErrorAndMemoryHandlesClearNothing) {
  FlatItem rec;
  KX_FlatGuard(1);
  RV_GetDrawing(rec);
  const LastError error = lastError();
  ASSERT_FALSE(error == kNone);
  EXPECT_EQ(lastError(), error);
  void* handle = MemAlloc(4);
  MemGetPtr(handle);
  MemReleasePtr(handle);
  MemFree(handle);
  EXPECT_EQ(lastError(), error);
  KX_FlatGuard(0);
  EXPECT_EQ(lastError(), error) << "nor does switching the guard";
  RV_GetId(rec);
  EXPECT_EQ(lastError(), error) << "nor do calls that are not guarded";
}

TEST_F(FlatGuardTest, TheTextIsCutToItsRoomAndItsWholeLengthTold) {
  FlatCategories cat;
  KX_FlatGuard(1);
  RV_OpenCategoryFile(cat, path(L"missing").c_str(), 1);
  const std::wstring whole = L"fileNotFound";
  for (unsigned long capacity = 0; capacity < whole.size() + 3; ++capacity) {
    std::wstring buffer(20, L'~');
    unsigned long number = 0;
    EXPECT_EQ(KX_FlatLastError(buffer.data(), capacity, &number), whole.size());
    EXPECT_EQ(number, kNoErrNumber);
    const size_t kept = std::min<size_t>(whole.size(), capacity == 0 ? 0 : capacity - 1);
    std::wstring expected = whole.substr(0, kept);
    if (capacity > 0) expected += L'\0';
    expected.resize(20, L'~');
    EXPECT_EQ(buffer, expected) << capacity;
  }
  EXPECT_EQ(KX_FlatLastError(nullptr, 100, nullptr), whole.size());
}

TEST_F(FlatGuardTest, OfAVeryLongTextTheFirst1023CharactersAreKept) {
  class Talkative : public kx_gen::COutlineDB {
   public:
    explicit Talkative(size_t length) : text_(length, L't') {}
    ~Talkative() override = default;
    void ReadExtraRows() override { throw new kx_gen::CException(text_.c_str(), 77); }

   private:
    std::wstring text_;
  };
  KX_FlatGuard(1);
  for (const size_t length : {1022u, 1023u, 1024u, 100000u}) {
    Talkative db(length);
    RV_ReadExtraRows(handleOf(static_cast<kx_gen::CDatabase&>(db)));
    EXPECT_EQ(lastError().text, std::wstring(std::min<size_t>(length, 1023), L't'));
    EXPECT_EQ(lastError().number, 77ul);
  }
}

TEST_F(FlatGuardTest, WithoutAnErrorTheTextIsEmpty) {
  wchar_t text[2] = {L'x', L'x'};
  unsigned long number = 5;
  KX_FlatGuard(1);
  RV_GetSizeX();
  EXPECT_EQ(KX_FlatLastError(text, 2, &number), 0ul);
  EXPECT_EQ(text[0], L'\0');
  EXPECT_EQ(number, 0ul);
}

TEST_F(FlatGuardTest, EachThreadHasItsOwnError) {
  FlatItem rec;
  KX_FlatGuard(1);
  RV_GetDrawing(rec);
  const LastError error = lastError();
  LastError first;
  LastError failed;
  std::thread([&] {
    first = lastError();
    FlatCategories cat;
    RV_OpenCategoryFile(cat, L"missing", 1);  // the guard holds on every thread
    failed = lastError();
  }).join();
  EXPECT_EQ(first, kNone);
  EXPECT_EQ(failed.text, L"fileNotFound");
  EXPECT_EQ(lastError(), error);
}

TEST_F(FlatGuardTest, DifferentHandlesMayLiveOnDifferentThreads) {
  KX_FlatGuard(1);
  std::atomic<int> wrong{0};
  const auto work = [&](const wchar_t* name) {
    for (int i = 0; i < 20; ++i) {
      FlatOutline db;
      if (RV_Open(db, path(name).c_str(), kx_test::kCreate) != 1) ++wrong;
      RV_InitNewDataBase(db);
      addItem(db, 1, name);
      saveOutline(db);
      RV_GetDrawing(RV_GetRecord(db, 0));
      if (lastError() == kNone) ++wrong;
      if (std::wstring(RV_GetRecordString(db, 0)) != name || !(lastError() == kNone)) ++wrong;
    }
  };
  std::thread one(work, L"one.kxo");
  std::thread two(work, L"two.kxo");
  one.join();
  two.join();
  EXPECT_EQ(wrong, 0);
}

TEST_F(FlatGuardTest, ADamagedDocumentIsAnErrorAndNotTheEnd) {
  makeCut(L"cut.kxo", 3, 30);
  Bytes foreign = kx_test::readFile("cut.kxo");
  foreign[0] ^= 1;
  kx_test::writeFile("foreign.kxo", foreign);
  KX_FlatGuard(1);
  FlatOutline db;
  EXPECT_EQ(RV_Open(db, path(L"foreign.kxo").c_str(), 0), 0);
  EXPECT_EQ(lastError(), kNone) << "opening an outline catches by itself";
  EXPECT_THAT(logLines(), Contains(HasSubstr("line 364 exception ")));
  EXPECT_EQ(RV_Open(db, path(L"cut.kxo").c_str(), 0), 1);
  RV_ReadRows(db);
  EXPECT_EQ(lastError(), (LastError{messageText(8), 7}));
  EXPECT_EQ(RV_GetSize(db), 3);
  EXPECT_STREQ(RV_GetRecordString(db, 0), L"row");
  RV_Close(db);
  KX_UpdateCategory(folder().wstring().c_str(), L"kxo", L"Unfiled", L"Work");
  EXPECT_EQ(lastError(), (LastError{messageText(8), 7})) << "the foreign file stops it";
}

TEST_F(FlatGuardTest, TheUnfiledNameMayNotBeNull) {
  clearLog();
  KX_SetUnfiledCategoryName(nullptr);
  EXPECT_THAT(logLines(), ElementsAre(kx_test::assertionLine(".\\CategoryDB", 386)));
}

// --- Strings ---

TEST_F(FlatGuardTest, AStringIsMadeReadAndDeleted) {
  RV_STR text = KX_StringCreate();
  ASSERT_NE(text, nullptr);
  EXPECT_STREQ(KX_StringText(text), L"");
  *static_cast<_String*>(text) = L"Work";
  EXPECT_STREQ(KX_StringText(text), L"Work");
  KX_StringDelete(text);
  KX_StringDelete(nullptr);
  clearLog();
  EXPECT_EQ(KX_StringText(nullptr), nullptr);
  EXPECT_THAT(logLines(), ElementsAre(refusal(kx_test::kStringRefused)));
}

// --- Handles that are refused ---

/// A call on a handle, which tells whether the answer was zero.
struct Call {
  const char* name;
  int line;  // of the assertion that refuses the handle
  std::function<bool(void*)> isZero;
};
// clang-format off
#define KX_GET(name, line, ...) \
  {#name, line, [](void* h) { return !name(h __VA_OPT__(,) __VA_ARGS__); }}
#define KX_DO(name, line, ...) \
  {#name, line, [](void* h) { name(h __VA_OPT__(,) __VA_ARGS__); return true; }}
// clang-format on

std::vector<Call> databaseCalls() {
  const int line = kx_test::kDatabaseRefused;
  return {KX_GET(RV_Open, line, L"a", 2),
          KX_DO(RV_Close, line),
          KX_DO(RV_CheckDbInfo, line),
          KX_DO(RV_InitNewDataBase, line),
          KX_DO(RV_ReadRows, line),
          KX_DO(RV_WriteRows, line),
          KX_DO(RV_WriteAllHeaders, line),
          KX_DO(RV_ReadExtraRows, line),
          KX_DO(RV_WriteExtraRows, line),
          KX_DO(RV_CreateRecordset, line),
          KX_DO(RV_ReadRow, line, 0, nullptr),
          KX_GET(RV_GetSize, line),
          KX_GET(RV_GetRecord, line, 0),
          KX_GET(RV_GetRecordSet, line),
          KX_GET(RV_AppendRecordSet, line),
          KX_DO(RV_EmptyRS, line),
          KX_DO(RV_AddtoRS, line, nullptr),
          KX_GET(RV_CreateDBRecord, line),
          KX_DO(RV_DeleteDBRecord, line, nullptr),
          KX_GET(RV_GetRecordString, line, 0),
          KX_GET(RV_GetRecordChecked, line, 0),
          KX_GET(RV_GetRecordLevel, line, 0),
          KX_GET(RV_GetRecordId, line, 0),
          KX_GET(RV_DuplicateRecord, line, nullptr)};
}

std::vector<Call> outlineCalls() {
  const int line = kx_test::kOutlineRefused;
  return {KX_GET(RV_ReadSharedHeader, line),
          KX_DO(RV_WriteSharedHeader, line),
          KX_GET(RV_ReadPrivateHeader, line),
          KX_DO(RV_WritePrivateHeader, line),
          KX_DO(RV_Delete, line, nullptr),
          KX_DO(RV_DeleteAll, line, 1),
          KX_DO(RV_AddDeletedId, line, 1),
          KX_GET(RV_IsDeletedId, line, 1),
          KX_GET(RV_IsDeletedRec, line, nullptr),
          KX_DO(RV_removeDeletedId, line, 1),
          KX_GET(RV_GetCategoryName, line, nullptr),
          KX_DO(RV_SetCategoryName, line, L"x"),
          KX_GET(RV_GetCategoryChanged, line),
          KX_DO(RV_SetCategoryChanged, line, 1),
          KX_GET(RV_GetOutlineTitle, line, nullptr),
          KX_DO(RV_SetOutlineTitle, line, L"x"),
          KX_GET(RV_GetOutlineChanged, line),
          KX_DO(RV_SetOutlineChanged, line, 1),
          KX_GET(RV_GetPrivate, line),
          KX_DO(RV_SetPrivate, line, 1),
          KX_GET(RV_GetPrivateTagChanged, line),
          KX_DO(RV_SetPrivateTagChanged, line, 1),
          KX_GET(RV_GetSynchronized, line),
          KX_DO(RV_SetSynchronized, line, 1),
          KX_GET(RV_GetShowCheckedItems, line),
          KX_DO(RV_SetShowCheckedItems, line, 1),
          KX_GET(RV_ShowCheckedItemsChanged, line),
          KX_DO(RV_setCheckedItemsChanged, line, 1),
          KX_GET(RV_GetSelectedIndex, line),
          KX_DO(RV_SetSelectedIndex, line, 1),
          KX_GET(RV_GetTopIndex, line),
          KX_DO(RV_SetTopIndex, line, 1),
          KX_DO(RV_getNumbering, line, nullptr),
          KX_DO(RV_setNumbering, line, nullptr),
          KX_GET(RV_getNumberingChanged, line),
          KX_DO(RV_setNumberingChanged, line, 1),
          KX_GET(RV_getNumberingDivider, line),
          KX_DO(RV_setNumberingDivider, line, 1),
          KX_GET(RV_getNumberingDividerChanged, line),
          KX_DO(RV_setNumberingDividerChanged, line, 1),
          KX_GET(RV_GetShowHeadingsMode, line),
          KX_DO(RV_SetShowHeadingsMode, line, 1),
          KX_DO(RV_GetOutlineFont, line, nullptr, nullptr),
          KX_DO(RV_SetOutlineFont, line, nullptr, 0),
          KX_DO(RV_GetOutlineWindowPos, line, nullptr),
          KX_DO(RV_SetOultineWindowPos, line, nullptr),
          KX_DO(RV_copySharedHeader, line, nullptr),
          KX_DO(RV_copyPrivateHeader, line, nullptr),
          KX_GET(RV_compareSharedHeader, line, nullptr),
          KX_GET(RV_comparePrivateHeader, line, nullptr)};
}

std::vector<Call> itemCalls() {
  const int line = kx_test::kItemRefused;
  return {KX_DO(RV_SetId, line, 1),
          KX_GET(RV_GetId, line),
          KX_DO(RV_SetIndent, line, 1),
          KX_GET(RV_GetIndent, line),
          KX_DO(RV_SetExpanded, line, 1),
          KX_GET(RV_GetExpanded, line),
          KX_DO(RV_SetChecked, line, 1),
          KX_GET(RV_GetChecked, line),
          KX_DO(RV_SetText, line, L"x"),
          KX_GET(RV_GetText, line, nullptr),
          KX_DO(RV_SetNote, line, L"x"),
          KX_GET(RV_GetNote, line, nullptr),
          KX_DO(RV_DeleteText, line),
          KX_DO(RV_DeleteNote, line),
          KX_GET(RV_HasNote, line),
          KX_DO(RV_DeleteBitmap, line),
          KX_GET(RV_HasDrawing, line),
          KX_GET(RV_GetDrawing, line),
          KX_DO(RV_SetDrawing, line, nullptr),
          KX_DO(RV_GetDrawingSize, line, nullptr, nullptr),
          KX_DO(RV_UpdateChangedFields, line, nullptr),
          KX_DO(RV_updateRecordChanged, line)};
}

std::vector<Call> recordCalls() {
  const int line = kx_test::kRecordRefused;
  return {KX_DO(RV_Init, line),
          KX_DO(RV_SetSortChanged, line, 1),
          KX_GET(RV_IsChanged, line),
          KX_DO(RV_SetNew, line, 1),
          KX_GET(RV_GetIndex, line),
          KX_GET(RV_GetPos, line),
          KX_GET(RV_IsFileRecord, line),
          {"RV_CopyRecord", line, [](void* h) { return !RV_CopyRecord(nullptr, h, nullptr); }}};
}

bool isEnd(CCategoryIterator it) {
  return *it == nullptr && it.GetRowIterator() == kx_gen::CDBRecordset::iterator();
}

std::vector<Call> categoryCalls() {
  const int line = kx_test::kCategoriesRefused;
  static _String unused;
  return {KX_GET(RV_OpenCategoryFile, line, L"a", 1),
          KX_DO(RV_CategoryClose, line),
          KX_DO(RV_CheckCategoryDbInfo, line),
          KX_DO(RV_CategoryInitNewDataBase, line),
          KX_DO(RV_CreateCategoryRecordset, line),
          KX_DO(RV_CategoryReadRows, line),
          KX_DO(RV_CategoryWriteRows, line),
          KX_DO(RV_WriteAllCategoryHeaders, line),
          KX_DO(RV_CategoryReadExtraRows, line),
          KX_DO(RV_CategoryWriteExtraRows, line),
          KX_GET(RV_GetMaxCategoryAmount, line),
          KX_GET(RV_GetCatRecordset, line),
          KX_GET(RV_GetCategoryRecordSize, line),
          KX_GET(RV_isFull, line),
          KX_GET(RV_FindFirstHole, line),
          KX_DO(RV_ResizeDB, line, 3),
          KX_DO(RV_deleteAllCategories, line),
          KX_DO(RV_DeleteCategory, line, nullptr, 0),
          KX_DO(RV_UndeleteCategory, line, nullptr, 0),
          KX_DO(RV_GetCatCategoryName, line, nullptr, unused),
          KX_GET(RV_GetCategoryID, line, nullptr),
          KX_DO(RV_SetCategoryID, line, nullptr, 1),
          {"RV_GetIterator", line, [](void* h) { return isEnd(RV_GetIterator(h)); }},
          {"RV_GetNext", line, [](void* h) { return isEnd(RV_GetNext(h)); }},
          KX_GET(RV_GetIterCategoryName, line, nullptr, 0),
          KX_GET(RV_AddNewCategorybyName, line, L"x"),
          KX_GET(RV_FindCategorybyName, line, L"x"),
          KX_DO(RV_RenameCategory, line, L"x", L"y"),
          KX_DO(RV_DeleteCategorybyName, line, L"x")};
}

#undef KX_GET
#undef KX_DO

class FlatHandleTest : public kx_test::FlatTest {
 protected:
  static void expectRefused(const std::vector<Call>& calls, void* handle) {
    for (const Call& call : calls) {
      clearLog();
      EXPECT_TRUE(call.isZero(handle)) << call.name;
      EXPECT_THAT(logLines(), ElementsAre(refusal(call.line))) << call.name;
    }
  }
};

TEST_F(FlatHandleTest, ANullHandleIsRefusedByEveryFunction) {
  std::set<std::string> names;
  for (const auto& calls :
       {databaseCalls(), outlineCalls(), itemCalls(), recordCalls(), categoryCalls()}) {
    expectRefused(calls, nullptr);
    for (const Call& call : calls) names.insert(call.name);
  }
  // All but the three that create, the three that delete and the two that tell the drawing size.
  EXPECT_EQ(names.size(), 141u - 3 - 3 - 2);
}

TEST_F(FlatHandleTest, OtherDatabasesAreNoOutlines) {
  CMemOutlDB mem;
  FlatCategories cat;
  expectRefused(outlineCalls(), handleOf(mem));
  expectRefused(outlineCalls(), cat);
}

TEST_F(FlatHandleTest, OtherDatabasesAreNoCategoryDatabases) {
  CMemOutlDB mem;
  FlatOutline db;
  expectRefused(categoryCalls(), handleOf(mem));
  expectRefused(categoryCalls(), db);
}

TEST_F(FlatHandleTest, OtherRecordsAreNoItems) {
  kx_gen::CCategoryRecord category;
  category.Init();
  kx_gen::CDBRecord plain;
  const Bytes before = kx_test::blockOf(category);
  expectRefused(itemCalls(), handleOf(category));
  expectRefused(itemCalls(), handleOf(plain));
  EXPECT_EQ(kx_test::blockOf(category), before);
}

TEST_F(FlatHandleTest, RefusalIsNoError) {
  FlatItem rec;
  KX_FlatGuard(1);
  RV_GetDrawing(rec);
  ASSERT_FALSE(lastError() == kNone);
  EXPECT_EQ(RV_GetSize(nullptr), 0);
  EXPECT_EQ(lastError(), kNone);
}

TEST_F(FlatHandleTest, MembersOfEveryRecordWorkOnCategories) {
  kx_gen::CCategoryRecord category;
  RV_REC rec = handleOf(category);
  RV_Init(rec);
  RV_SetNew(rec, 1);
  RV_SetSortChanged(rec, 1);
  EXPECT_TRUE(category.IsNew());
  EXPECT_TRUE(category.IsSortChanged());
  EXPECT_EQ(RV_IsChanged(rec), 0);
  EXPECT_EQ(RV_IsFileRecord(rec), 0);
  EXPECT_EQ(kx_test::logCount("Assertion"), 0);
}

TEST_F(FlatHandleTest, ADatabaseWithoutARecordsetIsRefusedWhereOneIsNeeded) {
  class Bare : public kx_gen::CDatabase {
   public:
    Bare() : CDatabase(false) {}
    void CheckDbInfo() override {}
    void ReadExtraRows() override {}
    void WriteExtraRows() override {}
  } bare;
  clearLog();
  EXPECT_EQ(RV_GetSize(handleOf(bare)), 0);
  EXPECT_EQ(RV_AppendRecordSet(handleOf(bare)), nullptr);
  EXPECT_THAT(logLines(),
              ElementsAre(refusal(kx_test::kNoRecordset), refusal(kx_test::kNoRecordset)));
  EXPECT_EQ(RV_GetRecordString(handleOf(bare), 0), nullptr);
}

/// A call with a second handle that is refused under this one line.
void expectSecondRefused(const std::string& line, const std::function<bool()>& isZero) {
  clearLog();
  EXPECT_TRUE(isZero());
  EXPECT_THAT(logLines(), ElementsAre(line));
}
void expectSecondRefused(int line, const std::function<bool()>& isZero) {
  expectSecondRefused(refusal(line), isZero);
}

TEST_F(FlatHandleTest, RecordsOfAnotherKindAreRefusedByOutlines) {
  FlatOutline db;
  createOutline(db, L"a.kxo");
  CMemOutlDB mem;
  FlatItem rec;
  const Bytes before = kx_test::blockOf(itemOf(rec));
  kx_gen::CCategoryRecord category;
  category.Init();
  RV_REC wrong = handleOf(category);
  const int line = kx_test::kItemRefused;
  expectSecondRefused(line, [&] { return RV_AddtoRS(db, wrong), true; });
  expectSecondRefused(line, [&] { return RV_AddtoRS(handleOf(mem), wrong), true; });
  expectSecondRefused(line, [&] { return RV_Delete(db, wrong), true; });
  expectSecondRefused(line, [&] { return RV_IsDeletedRec(db, wrong) == 0; });
  expectSecondRefused(line, [&] { return RV_DuplicateRecord(db, wrong) == nullptr; });
  expectSecondRefused(line, [&] { return RV_UpdateChangedFields(rec, wrong), true; });
  EXPECT_EQ(RV_GetSize(db), 0);
  EXPECT_EQ(RV_GetSize(handleOf(mem)), 0);
  EXPECT_EQ(kx_test::blockOf(itemOf(rec)), before);
}

TEST_F(FlatHandleTest, ANullRecordIsRefusedOnceByWhatWouldUseIt) {
  FlatOutline db;
  createOutline(db, L"a.kxo");
  FlatItem rec;
  const auto member = [](const char* source, int line) {
    return kx_test::assertionLine(source, line);
  };
  // The members assert these themselves.
  expectSecondRefused(member("OutlineDB", 359), [&] { return RV_Delete(db, nullptr), true; });
  expectSecondRefused(member("OutlineDB", 360), [&] { return RV_IsDeletedRec(db, nullptr) == 0; });
  expectSecondRefused(member(".\\OutlineRecord", 102),
                      [&] { return RV_UpdateChangedFields(rec, nullptr), true; });
  expectSecondRefused(member("Database", 132), [&] { return RV_ReadRow(db, 0, nullptr), true; });

  expectSecondRefused(kx_test::kItemRefused, [&] { return RV_AddtoRS(db, nullptr), true; });
  expectSecondRefused(kx_test::kItemRefused,
                      [&] { return RV_DuplicateRecord(db, nullptr) == nullptr; });
  expectSecondRefused(kx_test::kRecordRefused,
                      [&] { return RV_DeleteDBRecord(db, nullptr), true; });
  expectSecondRefused(kx_test::kRecordRefused,
                      [&] { return RV_CopyRecord(db, rec, nullptr) == nullptr; });
  EXPECT_EQ(RV_GetSize(db), 0);
}

TEST_F(FlatHandleTest, ItemsAreRefusedByCategoryDatabases) {
  FlatCategories cat;
  FlatItem rec;
  const Bytes before = kx_test::blockOf(itemOf(rec));
  _String name(L"kept");
  const std::string kind = refusal(kx_test::kCategoryRefused);
  const std::string null = kx_test::assertionLine("CategoryDB", 340);
  expectSecondRefused(kind, [&] { return RV_AddtoRS(cat, rec), true; });
  expectSecondRefused(kind, [&] { return RV_AddtoRS(cat, nullptr), true; });
  for (RV_CREC wrong : {static_cast<RV_CREC>(nullptr), static_cast<RV_CREC>(rec)}) {
    const std::string& line = wrong == nullptr ? null : kind;
    expectSecondRefused(line, [&] { return RV_DeleteCategory(cat, wrong, 1), true; });
    expectSecondRefused(line, [&] { return RV_UndeleteCategory(cat, wrong, 1), true; });
    expectSecondRefused(line, [&] { return RV_GetCatCategoryName(cat, wrong, name), true; });
    expectSecondRefused(line, [&] { return RV_GetCategoryID(cat, wrong) == 0; });
    expectSecondRefused(line, [&] { return RV_SetCategoryID(cat, wrong, 9), true; });
  }
  expectSecondRefused(kind, [&] { return RV_DuplicateRecord(cat, rec) == nullptr; });
  EXPECT_EQ(RV_GetSize(cat), 0) << "nothing was added";
  EXPECT_EQ(kx_test::blockOf(itemOf(rec)), before);
  EXPECT_EQ(name, L"kept");
}

TEST_F(FlatHandleTest, HeadersOfOtherKindsAreNeitherCopiedNorEqual) {
  FlatOutline db;
  CMemOutlDB mem;
  for (RV_DB wrong : {static_cast<RV_DB>(nullptr), handleOf(mem)}) {
    // Null is asserted by the members themselves.
    const std::string line = wrong == nullptr ? kx_test::assertionLine("OutlineDB", 410)
                                              : refusal(kx_test::kOutlineRefused);
    expectSecondRefused(line, [&] { return RV_copySharedHeader(db, wrong), true; });
    expectSecondRefused(line, [&] { return RV_copyPrivateHeader(db, wrong), true; });
    expectSecondRefused(line, [&] { return RV_compareSharedHeader(db, wrong) == 0; });
    expectSecondRefused(line, [&] { return RV_comparePrivateHeader(db, wrong) == 0; });
  }
}

TEST_F(FlatHandleTest, ARefusedDrawingSizeIsZero) {
  long width = 5;
  long height = 6;
  RV_GetDrawingSize(nullptr, &width, &height);
  EXPECT_EQ(width, 0);
  EXPECT_EQ(height, 0);
}

}  // namespace
