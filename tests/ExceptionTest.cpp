// The thrown error types: their members, message texts and causes, and who frees what they share.
#include "Exception.h"

#include <gmock/gmock.h>

#include <climits>
#include <memory>
#include <optional>
#include <type_traits>

#include "KxTest.h"

namespace {

using kx_gen::CDBException;
using kx_gen::CException;
using kx_gen::CFileException;
using kx_test::assertionLine;
using kx_test::clearLog;
using kx_test::logLines;
using kx_test::Thrown;
using kx_test::thrownBy;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kSource[] = "Exception";
constexpr unsigned long kNoNumber = 0xFFFFFFFFul;

constexpr const wchar_t* kMessages[] = {
    L"KX_FileIO.DLL Initializing",
    L"The db structure is unknown",
    L"The db structure is different",
    L"The db version is newer than your application. Please update your application!",
    L"Missing new record identifier",
    L"Missing end record identifier",
    L"There was a problem opening or creating a file.",
    L"File IO read error",
    L"File IO write error",
    L"File IO",
    L"Out of memory",
    L"The default header size is less than the Header object",
    (L"The db check code is different. This is not a .kxo file. Perhaps you renamed it from a "
     L".kxo.pdb file? That won't work. "),
    L"The recorded header size is bigger than the default header size",
    L"Data corruption error",
    L"Data class not found error",
    L"Data buffer overflow error",
    L"Unknown data error",
    L"The KX did not find any free category ID",
    L"The header size is changed, but the db version not",
    L"The max amount of categories is 16",
    L"The image is too big",
    L"Cannot load DIB",
    L"Can not save DIB",
    (L"The memory outline database version is not correct. Please contact Pellworth technical "
     L"support!"),
};
constexpr unsigned long kMessageCount = std::size(kMessages);
static_assert(kMessageCount == 25);

constexpr const wchar_t* kCauseNames[] = {
    L"none",          L"generic",          L"fileNotFound",
    L"badPath",       L"tooManyOpenFiles", L"accessDenied",
    L"invalidFile",   L"removeCurrentDir", L"directoryFull",
    L"badSeek",       L"hardIO",           L"sharingViolation",
    L"lockViolation", L"diskFull",         L"endOfFile",
};
constexpr int kGeneric = 1;

struct OsError {
  long code;
  const char* name;
  int cause;
};

constexpr OsError kOsErrors[] = {
    {0, "NO_ERROR", 0},
    {2, "ERROR_FILE_NOT_FOUND", 2},
    {3, "ERROR_PATH_NOT_FOUND", 3},
    {4, "ERROR_TOO_MANY_OPEN_FILES", 4},
    {5, "ERROR_ACCESS_DENIED", 5},
    {6, "ERROR_INVALID_HANDLE", 2},
    {11, "ERROR_BAD_FORMAT", 6},
    {12, "ERROR_INVALID_ACCESS", 5},
    {15, "ERROR_INVALID_DRIVE", 3},
    {16, "ERROR_CURRENT_DIRECTORY", 7},
    {17, "ERROR_NOT_SAME_DEVICE", 3},
    {18, "ERROR_NO_MORE_FILES", 2},
    {19, "ERROR_WRITE_PROTECT", 5},
    {20, "ERROR_BAD_UNIT", 10},
    {21, "ERROR_NOT_READY", 10},
    {22, "ERROR_BAD_COMMAND", 10},
    {23, "ERROR_CRC", 10},
    {24, "ERROR_BAD_LENGTH", 9},
    {25, "ERROR_SEEK", 9},
    {26, "ERROR_NOT_DOS_DISK", 6},
    {27, "ERROR_SECTOR_NOT_FOUND", 9},
    {29, "ERROR_WRITE_FAULT", 5},
    {30, "ERROR_READ_FAULT", 9},
    {32, "ERROR_SHARING_VIOLATION", 11},
    {33, "ERROR_LOCK_VIOLATION", 12},
    {34, "ERROR_WRONG_DISK", 3},
    {36, "ERROR_SHARING_BUFFER_EXCEEDED", 4},
    {38, "ERROR_HANDLE_EOF", 14},
    {39, "ERROR_HANDLE_DISK_FULL", 13},
    {52, "ERROR_DUP_NAME", 3},
    {53, "ERROR_BAD_NETPATH", 3},
    {54, "ERROR_NETWORK_BUSY", 5},
    {55, "ERROR_DEV_NOT_EXIST", 3},
    {57, "ERROR_ADAP_HDW_ERR", 10},
    {58, "ERROR_BAD_NET_RESP", 5},
    {59, "ERROR_UNEXP_NET_ERR", 10},
    {60, "ERROR_BAD_REM_ADAP", 6},
    {62, "ERROR_NO_SPOOL_SPACE", 8},
    {64, "ERROR_NETNAME_DELETED", 5},
    {65, "ERROR_NETWORK_ACCESS_DENIED", 5},
    {66, "ERROR_BAD_DEV_TYPE", 6},
    {67, "ERROR_BAD_NET_NAME", 3},
    {68, "ERROR_TOO_MANY_NAMES", 4},
    {70, "ERROR_SHARING_PAUSED", 3},
    {71, "ERROR_REQ_NOT_ACCEP", 5},
    {80, "ERROR_FILE_EXISTS", 5},
    {82, "ERROR_CANNOT_MAKE", 5},
    {85, "ERROR_ALREADY_ASSIGNED", 3},
    {86, "ERROR_INVALID_PASSWORD", 5},
    {88, "ERROR_NET_WRITE_FAULT", 10},
    {107, "ERROR_DISK_CHANGE", 2},
    {108, "ERROR_DRIVE_LOCKED", 12},
    {111, "ERROR_BUFFER_OVERFLOW", 3},
    {112, "ERROR_DISK_FULL", 13},
    {113, "ERROR_NO_MORE_SEARCH_HANDLES", 4},
    {114, "ERROR_INVALID_TARGET_HANDLE", 6},
    {117, "ERROR_INVALID_CATEGORY", 10},
    {123, "ERROR_INVALID_NAME", 3},
    {124, "ERROR_INVALID_LEVEL", 3},
    {125, "ERROR_NO_VOLUME_LABEL", 3},
    {131, "ERROR_NEGATIVE_SEEK", 9},
    {132, "ERROR_SEEK_ON_DEVICE", 9},
    {144, "ERROR_DIR_NOT_ROOT", 3},
    {145, "ERROR_DIR_NOT_EMPTY", 7},
    {154, "ERROR_LABEL_TOO_LONG", 3},
    {161, "ERROR_BAD_PATHNAME", 3},
    {167, "ERROR_LOCK_FAILED", 12},
    {170, "ERROR_BUSY", 5},
    {182, "ERROR_INVALID_ORDINAL", 6},
    {183, "ERROR_ALREADY_EXISTS", 5},
    {191, "ERROR_INVALID_EXE_SIGNATURE", 6},
    {193, "ERROR_BAD_EXE_FORMAT", 6},
    {206, "ERROR_FILENAME_EXCED_RANGE", 3},
    {208, "ERROR_META_EXPANSION_TOO_LONG", 3},
    {267, "ERROR_DIRECTORY", 3},
    {995, "ERROR_OPERATION_ABORTED", 10},
    {996, "ERROR_IO_INCOMPLETE", 10},
    {997, "ERROR_IO_PENDING", 10},
    {999, "ERROR_SWAPERROR", 5},
};

const OsError* listed(long code) {
  for (const OsError& row : kOsErrors) {
    if (row.code == code) return &row;
  }
  return nullptr;
}

class ExceptionTest : public kx_test::KxTest {};

// --- CException ---

TEST_F(ExceptionTest, WithoutADescriptionItIsUnknown) {
  const CException e;
  EXPECT_STREQ(e.GetDescription(), L"Unknown exception");
  EXPECT_EQ(e.GetErrNumber(), kNoNumber);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(ExceptionTest, ItKeepsACopyOfItsDescription) {
  wchar_t text[] = L"first";
  const CException e(text, 12);
  text[0] = L'w';
  EXPECT_STREQ(e.GetDescription(), L"first");
  EXPECT_NE(e.GetDescription(), text);
  EXPECT_EQ(e.GetErrNumber(), 12ul);
  EXPECT_STREQ(CException(L"", 0).GetDescription(), L"");
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(ExceptionTest, ALongDescriptionIsKeptWhole) {
  const std::wstring text(100000, L'\u00E9');
  EXPECT_EQ(CException(text.c_str(), 0).GetDescription(), text);
}

TEST_F(ExceptionTest, TheErrorNumberHas32Bits) {
  EXPECT_EQ(CException(L"", static_cast<unsigned long>(-1)).GetErrNumber(), kNoNumber);
  EXPECT_EQ(CException(8ul, static_cast<unsigned long>(-1)).GetErrNumber(), kNoNumber);
  EXPECT_EQ(CDBException(L"", 0x80000000ul).GetErrNumber(), 0x80000000ul);
}

TEST_F(ExceptionTest, ANullDescriptionIsAssertedAndEmpty) {
  const wchar_t* const none = nullptr;
  const CException e(none, 5);
  EXPECT_STREQ(e.GetDescription(), L"");
  EXPECT_EQ(e.GetErrNumber(), 5ul);
  EXPECT_THAT(logLines(), ElementsAre(assertionLine(kSource, 42)));
}

TEST_F(ExceptionTest, EveryMessageHasItsText) {
  for (unsigned long id = 1; id <= kMessageCount; ++id) {
    const CException e(id, id - 1);
    EXPECT_STREQ(e.GetDescription(), kMessages[id - 1]);
    EXPECT_EQ(e.GetErrNumber(), id - 1);
    EXPECT_STREQ(CDBException(id, 77).GetDescription(), kMessages[id - 1]);
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(ExceptionTest, AnUnknownMessageIsAssertedAndEmpty) {
  for (const unsigned long id :
       {0ul, kMessageCount + 1, 500ul, 0xFFFFul, 0x10001ul, 0xFFFF0008ul}) {
    clearLog();
    const CException e(id, 9);
    EXPECT_STREQ(e.GetDescription(), L"") << id;
    EXPECT_EQ(e.GetErrNumber(), 9ul);
    EXPECT_THAT(logLines(), ElementsAre(assertionLine(kSource, 50))) << id;
  }
}

TEST_F(ExceptionTest, CopiesShareTheDescriptionAndTheLastOneFreesIt) {
  auto first = std::make_unique<CException>(L"shared", 3);
  const wchar_t* const text = first->GetDescription();
  auto second = std::make_unique<CException>(*first);
  CException third(L"replaced", 4);
  third = *second;
  EXPECT_EQ(second->GetDescription(), text);
  EXPECT_EQ(third.GetDescription(), text);
  first.reset();
  EXPECT_STREQ(second->GetDescription(), L"shared");
  second.reset();
  EXPECT_STREQ(third.GetDescription(), L"shared");
  EXPECT_EQ(third.GetErrNumber(), 3ul);
}

TEST_F(ExceptionTest, AssigningItselfKeepsIt) {
  CException e(L"kept", 3);
  const CException& same = e;
  const wchar_t* const text = e.GetDescription();
  e = same;
  EXPECT_EQ(e.GetDescription(), text);
  EXPECT_STREQ(e.GetDescription(), L"kept");
  EXPECT_EQ(e.GetErrNumber(), 3ul);
}

TEST_F(ExceptionTest, ACopyOfNoDescriptionHasNone) {
  CException e(L"gone", 3);
  e = CException();
  EXPECT_STREQ(e.GetDescription(), L"Unknown exception");
  EXPECT_EQ(e.GetErrNumber(), kNoNumber);
}

// Tells when it is destroyed, and adds the first virtual member behind the destructor.
class Watched : public CException {
 public:
  explicit Watched(int* destroyed) : CException(L"watched", 1), destroyed_(destroyed) {}
  ~Watched() override { ++*destroyed_; }
  virtual void FirstOfItsOwn() {}

 private:
  int* destroyed_;
};

class WatchedFileException : public CFileException {
 public:
  virtual void FirstOfItsOwn() {}
};

class WatchedDbException : public CDBException {
 public:
  virtual void FirstOfItsOwn() {}
};

TEST_F(ExceptionTest, DeleteDestroysThroughTheVirtualDestructor) {
  int destroyed = 0;
  CException* e = new Watched(&destroyed);
  e->Delete();
  EXPECT_EQ(destroyed, 1);
}

TEST_F(ExceptionTest, DeleteOnNullDoesNothing) {
  CException* volatile plain = nullptr;
  CFileException* volatile file = nullptr;
  CDBException* volatile db = nullptr;
  plain->Delete();
  file->Delete();
  db->Delete();
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(ExceptionTest, TheDestructorIsTheOnlyVirtualMember) {
  using kx_test::virtualSlot;
  EXPECT_EQ(virtualSlot(&CException::GetDescription), -1);
  EXPECT_EQ(virtualSlot(&CException::GetErrNumber), -1);
  EXPECT_EQ(virtualSlot(&CException::Delete), -1);
  EXPECT_EQ(virtualSlot(&Watched::FirstOfItsOwn), 2);
  EXPECT_EQ(virtualSlot(&WatchedFileException::FirstOfItsOwn), 2);
  EXPECT_EQ(virtualSlot(&WatchedDbException::FirstOfItsOwn), 2);
}

static_assert(std::has_virtual_destructor_v<CException>);
static_assert(std::is_base_of_v<CException, CFileException>);
static_assert(std::is_base_of_v<CException, CDBException>);
static_assert(!std::is_base_of_v<CFileException, CDBException>);
static_assert(std::is_copy_constructible_v<CException> && std::is_copy_assignable_v<CException>);

// --- CDBException ---

TEST_F(ExceptionTest, ADatabaseExceptionHasTheConstructorsOfItsBase) {
  EXPECT_STREQ(CDBException().GetDescription(), L"Unknown exception");
  EXPECT_EQ(CDBException().GetErrNumber(), kNoNumber);
  EXPECT_STREQ(CDBException(L"text", 2).GetDescription(), L"text");
  EXPECT_EQ(CDBException(L"text", 2).GetErrNumber(), 2ul);
  EXPECT_STREQ(CDBException(16ul, 2).GetDescription(), kMessages[15]);
  const CDBException original(L"shared", 3);
  const CDBException copy(original);  // NOLINT(performance-unnecessary-copy-initialization)
  EXPECT_EQ(copy.GetDescription(), original.GetDescription());
}

TEST_F(ExceptionTest, ADatabaseExceptionIsCaughtAsItselfAndAsItsBase) {
  EXPECT_EQ(thrownBy([] { throw new CDBException(4ul, 3); }).kind, Thrown::kDbException);
  CException* caught = nullptr;
  try {
    throw new CDBException(4ul, 3);
  } catch (CException* e) {
    caught = e;
  }
  EXPECT_NE(dynamic_cast<CDBException*>(caught), nullptr);
  caught->Delete();
}

// --- CFileException ---

TEST_F(ExceptionTest, AnEmptyFileExceptionTellsNothing) {
  const CFileException e;
  EXPECT_STREQ(e.GetDescription(), L"Unknown exception");
  EXPECT_EQ(e.GetErrNumber(), kNoNumber);
  EXPECT_EQ(e.GetCause(), 0);
  EXPECT_EQ(e.GetOsError(), 0);
  EXPECT_EQ(e.GetFileName(), nullptr);
}

TEST_F(ExceptionTest, AFileExceptionOfADescriptionHasNoNumberAndNoName) {
  const CFileException e(L"described");
  EXPECT_STREQ(e.GetDescription(), L"described");
  EXPECT_EQ(e.GetErrNumber(), kNoNumber);
  EXPECT_EQ(e.GetFileName(), nullptr);
}

TEST_F(ExceptionTest, EveryCauseIsDescribedByItsName) {
  for (int cause = 0; cause < static_cast<int>(std::size(kCauseNames)); ++cause) {
    if (cause == kGeneric) continue;
    const CFileException e(cause, 1234, L"a.kxo");
    EXPECT_STREQ(e.GetDescription(), kCauseNames[cause]);
    EXPECT_EQ(e.GetCause(), cause);
    EXPECT_EQ(e.GetOsError(), 1234);
    EXPECT_EQ(e.GetErrNumber(), kNoNumber);
    EXPECT_STREQ(e.GetFileName(), L"a.kxo");
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(ExceptionTest, AnyOtherCauseIsUnknownAndKept) {
  for (const int cause : {-1, 15, 17, 1000, INT_MIN, INT_MAX}) {
    const CFileException e(cause, 5, L"a.kxo");
    EXPECT_STREQ(e.GetDescription(), L"unknown") << cause;
    EXPECT_EQ(e.GetCause(), cause);
  }
}

TEST_F(ExceptionTest, TheCausesHaveTheirNumbers) {
  EXPECT_EQ(CFileException::none, 0);
  EXPECT_EQ(CFileException::generic, 1);
  EXPECT_EQ(CFileException::fileNotFound, 2);
  EXPECT_EQ(CFileException::badPath, 3);
  EXPECT_EQ(CFileException::tooManyOpenFiles, 4);
  EXPECT_EQ(CFileException::accessDenied, 5);
  EXPECT_EQ(CFileException::invalidFile, 6);
  EXPECT_EQ(CFileException::removeCurrentDir, 7);
  EXPECT_EQ(CFileException::directoryFull, 8);
  EXPECT_EQ(CFileException::badSeek, 9);
  EXPECT_EQ(CFileException::hardIO, 10);
  EXPECT_EQ(CFileException::sharingViolation, 11);
  EXPECT_EQ(CFileException::lockViolation, 12);
  EXPECT_EQ(CFileException::diskFull, 13);
  EXPECT_EQ(CFileException::endOfFile, 14);
}

TEST_F(ExceptionTest, TheSystemErrorKeepsItsSign) {
  EXPECT_EQ(CFileException(5, -2147024891L, nullptr).GetOsError(), -2147024891L);
  EXPECT_EQ(CFileException(5, -1L, nullptr).GetOsError(), -1L);
}

TEST_F(ExceptionTest, TheFileNameIsACopyAndMayBeMissing) {
  std::wstring name = L"a.kxo";
  const CFileException e(2, 2, name.c_str());
  name[0] = L'b';
  EXPECT_STREQ(e.GetFileName(), L"a.kxo");
  EXPECT_STREQ(CFileException(2, 2, L"").GetFileName(), L"");
  EXPECT_EQ(CFileException(2, 2, nullptr).GetFileName(), nullptr);
}

TEST_F(ExceptionTest, AGenericCauseIsDescribedByTheSystemsText) {
  wchar_t text[512] = {};
  ASSERT_EQ(kx_gen::FormatLastError(5, text, 512), text);
  const CFileException e(kGeneric, 5, L"a.kxo");
  EXPECT_STREQ(e.GetDescription(), text);
  EXPECT_STRNE(e.GetDescription(), L"generic");
  EXPECT_STRNE(e.GetDescription(), L"");
  EXPECT_EQ(e.GetOsError(), 5);
}

TEST_F(ExceptionTest, AGenericCauseWithoutASystemTextSaysSo) {
  const CFileException e(kGeneric, 0x20000123, nullptr);
  const std::wstring start = L"FormatMessage failed on error 0x20000123 for the following reason: ";
  EXPECT_EQ(std::wstring(e.GetDescription()).substr(0, start.size()), start);
  EXPECT_GT(std::wstring(e.GetDescription()).size(), start.size());
  EXPECT_LE(std::wstring(e.GetDescription()).size(), 512u);
}

TEST_F(ExceptionTest, CopiesOfAFileExceptionShareItsTexts) {
  auto first = std::make_unique<CFileException>(2, 18, L"shared.kxo");
  const wchar_t* const name = first->GetFileName();
  const wchar_t* const text = first->GetDescription();
  auto second = std::make_unique<CFileException>(*first);
  CFileException third(3, 3, L"replaced");
  third = *second;
  EXPECT_EQ(third.GetFileName(), name);
  EXPECT_EQ(third.GetDescription(), text);
  first.reset();
  second.reset();
  EXPECT_STREQ(third.GetFileName(), L"shared.kxo");
  EXPECT_STREQ(third.GetDescription(), L"fileNotFound");
  EXPECT_EQ(third.GetCause(), 2);
  EXPECT_EQ(third.GetOsError(), 18);
  const CFileException& same = third;
  third = same;
  EXPECT_EQ(third.GetFileName(), name);
}

// --- System errors and causes ---

TEST_F(ExceptionTest, ListedSystemErrorsGiveTheirCauseAndTraceTheirName) {
  std::vector<std::string> names;
  for (const OsError& row : kOsErrors) {
    EXPECT_EQ(CFileException::OsErrorToException(row.code), row.cause) << row.name;
    names.emplace_back(row.name);
  }
  EXPECT_EQ(logLines(), names);
}

TEST_F(ExceptionTest, OtherSystemErrorsAreGenericAndTraceNothing) {
  for (long code = -10; code <= 1100; ++code) {
    if (listed(code) != nullptr) continue;
    EXPECT_EQ(CFileException::OsErrorToException(code), kGeneric) << code;
  }
  for (const long code : {-2147024894L, 65538L, 0x7FFFFFFFL, -0x7FFFFFFFL - 1}) {
    EXPECT_EQ(CFileException::OsErrorToException(code), kGeneric) << code;
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

// --- Throwing ---

TEST_F(ExceptionTest, ThrowFileExceptionThrowsWhatItIsGiven) {
  const Thrown thrown = thrownBy([] { kx_gen::_ThrowFileException(9, 131, L"a.kxo"); });
  EXPECT_EQ(thrown.kind, Thrown::kFileException);
  EXPECT_EQ(thrown.description, L"badSeek");
  EXPECT_EQ(thrown.number, kNoNumber);
  EXPECT_EQ(thrown.cause, 9);
  EXPECT_EQ(thrown.osError, 131);
  EXPECT_EQ(thrown.fileName, L"a.kxo");
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(ExceptionTest, AThrownFileExceptionIsCaughtAsItsBase) {
  CException* caught = nullptr;
  try {
    kx_gen::_ThrowFileException(2, 2, nullptr);
  } catch (CException* e) {
    caught = e;
  }
  auto* const file = dynamic_cast<CFileException*>(caught);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->GetFileName(), nullptr);
  caught->Delete();
}

TEST_F(ExceptionTest, AThrownGenericExceptionHasTheSystemsText) {
  wchar_t text[512] = {};
  ASSERT_EQ(kx_gen::FormatLastError(1784, text, 512), text);
  EXPECT_EQ(thrownBy([] { kx_gen::_ThrowFileException(1, 1784, L"a"); }).description, text);
}

// --- The system's texts ---

TEST_F(ExceptionTest, FormatLastErrorFillsTheBufferItIsGiven) {
  wchar_t first[512] = {};
  wchar_t second[512] = {};
  EXPECT_EQ(kx_gen::FormatLastError(2, first, 512), first);
  EXPECT_EQ(kx_gen::FormatLastError(2, second, 512), second);
  EXPECT_STRNE(first, L"");
  EXPECT_STREQ(first, second) << "stable";
  EXPECT_EQ(kx_gen::FormatLastError(3, second, 512), second);
  EXPECT_STRNE(first, second) << "a text of its own for each code";
}

TEST_F(ExceptionTest, FormatLastErrorNeverWritesBehindTheBuffer) {
  wchar_t whole[512] = {};
  kx_gen::FormatLastError(2, whole, 512);
  const size_t needed = std::wcslen(whole) + 1;
  const std::unique_ptr<wchar_t[]> exact(new wchar_t[needed]);
  EXPECT_EQ(kx_gen::FormatLastError(2, exact.get(), static_cast<unsigned long>(needed)),
            exact.get());
  EXPECT_STREQ(exact.get(), whole);
}

}  // namespace
