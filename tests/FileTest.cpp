// Disk files: opening, transfers, positions, lengths, the operations by name and the status.
#include "File.h"

#include <gmock/gmock.h>

#include <chrono>
#include <functional>

#include "KxTest.h"
#include "Wine.h"

namespace {

using kx_gen::_String;
using kx_gen::CFile;
using kx_gen::CFileException;
using kx_gen::CFileStatus;
using kx_gen::CTime;
using kx_test::assertionLine;
using kx_test::Bytes;
using kx_test::clearLog;
using kx_test::logLines;
using kx_test::readFile;
using kx_test::throwLine;
using kx_test::Thrown;
using kx_test::thrownBy;
using kx_test::writeFile;
using testing::ElementsAre;
using testing::IsEmpty;

namespace fs = std::filesystem;

constexpr char kSource[] = ".\\File";
constexpr unsigned int kNoHandle = 0xFFFFFFFF;

constexpr unsigned int kCreate = CFile::modeCreate;
constexpr unsigned int kKeep = CFile::modeNoTruncate;
constexpr unsigned int kReadWrite = CFile::modeReadWrite;

std::string asserted(int line) { return assertionLine(kSource, line); }

std::string threw(int line) { return throwLine(kSource, line); }

Bytes bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

std::string textOf(const fs::path& path) {
  const Bytes bytes = readFile(path);
  return {bytes.begin(), bytes.end()};
}

void expectFileException(const Thrown& thrown, int cause, long osError, const std::wstring& name) {
  EXPECT_EQ(thrown.kind, Thrown::kFileException) << thrown;
  EXPECT_EQ(thrown.cause, cause) << thrown;
  EXPECT_EQ(thrown.osError, osError) << thrown;
  EXPECT_EQ(thrown.fileName, name) << thrown;
  EXPECT_EQ(thrown.number, 0xFFFFFFFFul) << thrown;
}

/// Setting the end of a file through a handle that may not write. Wine asks its own system, which
/// takes the handle for a wrong argument.
void expectNoEndWithoutAccess(const Thrown& thrown) {
  expectFileException(
      thrown, kx_test::unlessOnWine<int>(CFileException::accessDenied, CFileException::generic),
      kx_test::unlessOnWine(5L, 87L), L"");
}

class FileTest : public kx_test::KxTest {
 protected:
  void SetUp() override {
    KxTest::SetUp();
    writeFile("ten.bin", bytesOf("0123456789"));
    clearLog();
  }
  void TearDown() override {
    file_.Close();
    KxTest::TearDown();
  }

  // What opening the name throws, with the flags given.
  static Thrown openThrows(const wchar_t* name, unsigned int flags) {
    CFile file;
    return thrownBy([&] { file.Open(name, flags); });
  }

  CFile file_;
};

TEST_F(FileTest, NewFileIsClosedAndHasNoPath) {
  EXPECT_FALSE(file_.IsOpen());
  EXPECT_EQ(file_.GetFileHandle(), kNoHandle);
  EXPECT_TRUE(file_.GetFilePath().empty());
}

TEST_F(FileTest, VirtualMembersKeepTheirSlots) {
  using kx_test::virtualSlot;
  EXPECT_EQ(virtualSlot(&CFile::Open), 2);
  EXPECT_EQ(virtualSlot(&CFile::Close), 3);
  EXPECT_EQ(virtualSlot(&CFile::SetFilePath), 4);
  EXPECT_EQ(virtualSlot(&CFile::Write), 5);
  EXPECT_EQ(virtualSlot(&CFile::Read), 6);
  EXPECT_EQ(virtualSlot(&CFile::Seek), 7);
  EXPECT_EQ(virtualSlot(&CFile::GetPosition), 8);
  EXPECT_EQ(virtualSlot(&CFile::Flush), 9);
  EXPECT_EQ(virtualSlot(&CFile::IsOpen), 10);
  EXPECT_EQ(virtualSlot(&CFile::SetLength), 11);
  EXPECT_EQ(virtualSlot(&CFile::GetLength), 12);
  EXPECT_EQ(virtualSlot(&CFile::SeekToEnd), -1);
}

// --- Opening ---

TEST_F(FileTest, OpenAnswersOneAndKeepsTheNameAsGiven) {
  EXPECT_EQ(file_.Open(L"ten.bin", CFile::modeRead), 1);
  EXPECT_TRUE(file_.IsOpen());
  EXPECT_NE(file_.GetFileHandle(), kNoHandle);
  EXPECT_EQ(file_.GetFilePath(), L"ten.bin");
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FileTest, OpenTakesSlashesBackslashesAndRelativeSteps) {
  fs::create_directory("sub");
  writeFile("sub/a.txt", bytesOf("a"));
  for (const wchar_t* name : {L"sub/a.txt", L"sub\\a.txt", L".\\sub//a.txt", L"sub\\\\a.txt",
                              L"sub\\..\\sub/a.txt", L"sub\\a.txt."}) {
    CFile file;
    EXPECT_EQ(thrownBy([&] { file.Open(name, CFile::modeRead); }).kind, Thrown::kNothing)
        << _String(name).size();
  }
}

TEST_F(FileTest, ReadOnlyAccessReadsAndRefusesToWrite) {
  file_.Open(L"ten.bin", CFile::modeRead);
  char first = 0;
  EXPECT_EQ(file_.Read(&first, 1), 1u);
  EXPECT_EQ(first, '0');
  clearLog();
  const Thrown thrown = thrownBy([&] { file_.Write("x", 1); });
  expectFileException(thrown, CFileException::accessDenied, 5, L"ten.bin");
  EXPECT_EQ(thrown.description, L"accessDenied");
  EXPECT_THAT(logLines(), ElementsAre(threw(448), "ERROR_ACCESS_DENIED"));
}

TEST_F(FileTest, WriteOnlyAccessWritesAndRefusesToRead) {
  file_.Open(L"ten.bin", CFile::modeWrite);
  EXPECT_EQ(file_.Write("AB", 2), 2u);
  clearLog();
  char byte = 0;
  EXPECT_TRUE(thrownBy([&] { file_.Read(&byte, 1); }).is(Thrown::kException, 8, 7));
  EXPECT_TRUE(thrownBy([&] { file_.Read(&byte, 0); }).is(Thrown::kException, 8, 7));
  EXPECT_THAT(logLines(), ElementsAre(threw(428), threw(428)));
  file_.Close();
  EXPECT_EQ(textOf("ten.bin"), "AB23456789");
}

TEST_F(FileTest, ReadWriteAccessDoesBoth) {
  file_.Open(L"ten.bin", kReadWrite);
  char pair[2] = {};
  EXPECT_EQ(file_.Read(pair, 2), 2u);
  EXPECT_EQ(file_.Write("AB", 2), 2u);
  file_.Close();
  EXPECT_EQ(textOf("ten.bin"), "01AB456789");
}

TEST_F(FileTest, AccessThreeIsAssertedAndOpensWithoutAccess) {
  EXPECT_EQ(file_.Open(L"ten.bin", 0x0003), 1);
  EXPECT_THAT(logLines(), ElementsAre(asserted(349)));
  char byte = 0;
  EXPECT_TRUE(thrownBy([&] { file_.Read(&byte, 1); }).is(Thrown::kException, 8, 7));
  expectFileException(thrownBy([&] { file_.Write("x", 1); }), CFileException::accessDenied, 5,
                      L"ten.bin");
  EXPECT_TRUE(thrownBy([&] { file_.Flush(); }).is(Thrown::kException, 9, 8));
  expectNoEndWithoutAccess(thrownBy([&] { file_.SetLength(3); }));
  EXPECT_EQ(file_.GetLength(), 10u);
}

TEST_F(FileTest, MeaninglessSharingIsAssertedAndSharesNothing) {
  for (const unsigned int share : {0x50u, 0x60u, 0x70u}) {
    clearLog();
    CFile first;
    first.Open(L"ten.bin", CFile::modeRead | share);
    EXPECT_THAT(logLines(), ElementsAre(asserted(357)));
    expectFileException(openThrows(L"ten.bin", CFile::modeRead | CFile::shareDenyNone),
                        CFileException::sharingViolation, 32, L"ten.bin");
  }
}

TEST_F(FileTest, MeaninglessAccessIsAssertedAheadOfMeaninglessSharing) {
  file_.Open(L"ten.bin", 0x0073);
  EXPECT_THAT(logLines(), ElementsAre(asserted(349), asserted(357)));
}

// What a sharing lets others do, as the access bits of the flags: 1 read, 2 write.
struct Sharing {
  unsigned int flags;
  unsigned int lets;
};
constexpr Sharing kSharings[] = {{CFile::shareCompat, 0},
                                 {CFile::shareExclusive, 0},
                                 {CFile::shareDenyWrite, 1},
                                 {CFile::shareDenyRead, 2},
                                 {CFile::shareDenyNone, 3}};
struct Access {
  unsigned int flags;
  unsigned int wants;
};
constexpr Access kAccesses[] = {
    {CFile::modeRead, 1}, {CFile::modeWrite, 2}, {CFile::modeReadWrite, 3}};

TEST_F(FileTest, OpeningsConflictExactlyWhenOneWantsWhatTheOtherDenies) {
  for (const Access& firstAccess : kAccesses) {
    for (const Sharing& firstShare : kSharings) {
      CFile first;
      first.Open(L"ten.bin", firstAccess.flags | firstShare.flags);
      for (const Access& access : kAccesses) {
        for (const Sharing& share : kSharings) {
          const bool conflict =
              (access.wants & ~firstShare.lets) != 0 || (firstAccess.wants & ~share.lets) != 0;
          const Thrown thrown = openThrows(L"ten.bin", access.flags | share.flags);
          EXPECT_EQ(thrown.kind, conflict ? Thrown::kFileException : Thrown::kNothing)
              << std::hex << (firstAccess.flags | firstShare.flags) << " then "
              << (access.flags | share.flags);
          if (conflict) {
            expectFileException(thrown, CFileException::sharingViolation, 32, L"ten.bin");
          }
        }
      }
    }
  }
}

TEST_F(FileTest, ConflictIsTracedAheadOfTheThrow) {
  file_.Open(L"ten.bin", CFile::modeRead);
  openThrows(L"ten.bin", CFile::modeRead);
  EXPECT_THAT(logLines(), ElementsAre(threw(399), "ERROR_SHARING_VIOLATION"));
}

TEST_F(FileTest, OpeningsWithoutAccessConflictWithNothing) {
  file_.Open(L"ten.bin", kReadWrite | CFile::shareExclusive);
  EXPECT_EQ(openThrows(L"ten.bin", 0x0003).kind, Thrown::kNothing);
}

TEST_F(FileTest, ConflictComesBeforeTruncation) {
  file_.Open(L"ten.bin", CFile::modeRead | CFile::shareDenyWrite);
  EXPECT_EQ(openThrows(L"ten.bin", CFile::modeWrite | kCreate).osError, 32);
  EXPECT_EQ(file_.GetLength(), 10u);
}

// One way of opening, and what becomes of a file of ten bytes and of one that is missing.
struct Creation {
  unsigned int flags;
  size_t lengthAfter;
  bool makes;
};
constexpr Creation kCreations[] = {
    {0, 10, false}, {kKeep, 10, false}, {kCreate, 0, true}, {kCreate | kKeep, 10, true}};

TEST_F(FileTest, CreationFlagsDecideAlikeForEveryAccessSharingAndInheritance) {
  for (const Access& access : kAccesses) {
    for (const Sharing& share : kSharings) {
      for (const unsigned int inherit : {0u, unsigned{CFile::modeNoInherit}}) {
        for (const Creation& creation : kCreations) {
          const unsigned int flags = access.flags | share.flags | inherit | creation.flags;
          SCOPED_TRACE(testing::Message() << std::hex << "flags 0x" << flags);
          writeFile("old.bin", bytesOf("0123456789"));
          EXPECT_EQ(openThrows(L"old.bin", flags).kind, Thrown::kNothing);
          EXPECT_EQ(fs::file_size("old.bin"), creation.lengthAfter);
          fs::remove("new.bin");
          const Thrown thrown = openThrows(L"new.bin", flags);
          EXPECT_EQ(fs::exists("new.bin"), creation.makes);
          EXPECT_EQ(thrown.kind, creation.makes ? Thrown::kNothing : Thrown::kFileException);
          if (!creation.makes) {
            expectFileException(thrown, CFileException::fileNotFound, 2, L"new.bin");
          }
        }
      }
    }
  }
}

TEST_F(FileTest, OpeningAMissingFileThrowsFileNotFoundWithTheNameGiven) {
  const Thrown thrown = openThrows(L"missing.kxo", CFile::modeRead);
  expectFileException(thrown, CFileException::fileNotFound, 2, L"missing.kxo");
  EXPECT_EQ(thrown.description, L"fileNotFound");
  EXPECT_THAT(logLines(), ElementsAre(threw(399), "ERROR_FILE_NOT_FOUND"));
}

struct Refusal {
  const wchar_t* name;
  unsigned int flags;
  int cause;
  long osError;
};

TEST_F(FileTest, RefusedNamesThrowTheCauseOfTheSystemsError) {
  fs::create_directory("folder");
  const Refusal refusals[] = {
      {L"nowhere\\a.bin", CFile::modeRead, CFileException::badPath, 3},
      {L"ten.bin\\a.bin", CFile::modeRead, CFileException::badPath, 3},
      {L"nowhere\\a.bin", kCreate | kReadWrite, CFileException::badPath, 3},
      {L"folder", CFile::modeRead, CFileException::accessDenied, 5},
      {L"folder", kCreate | kReadWrite, CFileException::accessDenied, 5},
      {L"folder\\", kReadWrite, CFileException::accessDenied, 5},
      {L".", CFile::modeRead, CFileException::accessDenied, 5},
      {L"..", CFile::modeRead, CFileException::accessDenied, 5},
      {L"ten.bin\\", CFile::modeRead, CFileException::badPath, 123},
      {L"new\\", kCreate | kReadWrite, CFileException::badPath, 123},
      {L"new\\", CFile::modeRead, CFileException::fileNotFound, 2},
      {L"", CFile::modeRead, CFileException::badPath, 3},
      {L"  ", kCreate | kReadWrite, CFileException::badPath, 3},
      {L"*.bin", CFile::modeRead, CFileException::badPath, 123},
      {L"te?.bin", CFile::modeRead, CFileException::badPath, 123},
      {L"a<b", kCreate | kReadWrite, CFileException::badPath, 123},
      {L"a>b", kCreate | kReadWrite, CFileException::badPath, 123},
      {L"a|b", kCreate | kReadWrite, CFileException::badPath, 123},
      {L"a\"b", kCreate | kReadWrite, CFileException::badPath, 123},
      {L"a\x01"
       L"b",
       kCreate | kReadWrite, CFileException::badPath, 123},
  };
  for (const Refusal& refusal : refusals) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(refusal.name)));
    expectFileException(openThrows(refusal.name, refusal.flags), refusal.cause, refusal.osError,
                        refusal.name);
  }
}

TEST_F(FileTest, NullNameCountsAsEmpty) {
  expectFileException(openThrows(nullptr, CFile::modeRead), CFileException::badPath, 3, L"");
}

TEST_F(FileTest, ReadOnlyFileOpensForReadingOnly) {
  fs::permissions("ten.bin", fs::perms::owner_read);
  EXPECT_EQ(openThrows(L"ten.bin", CFile::modeRead).kind, Thrown::kNothing);
  for (const unsigned int flags : {unsigned{CFile::modeWrite}, kReadWrite, kCreate | kReadWrite,
                                   kCreate | kKeep | CFile::modeWrite}) {
    expectFileException(openThrows(L"ten.bin", flags), CFileException::accessDenied, 5, L"ten.bin");
  }
  fs::permissions("ten.bin", fs::perms::owner_all);
  EXPECT_EQ(textOf("ten.bin"), "0123456789");
}

TEST_F(FileTest, OpeningAnOpenFileClosesItFirst) {
  file_.Open(L"ten.bin", kReadWrite | CFile::shareExclusive);
  EXPECT_EQ(file_.Open(L"ten.bin", kReadWrite | CFile::shareExclusive), 1);
  file_.Open(L"other.bin", kCreate | kReadWrite);
  EXPECT_EQ(file_.GetFilePath(), L"other.bin");
  EXPECT_EQ(openThrows(L"ten.bin", kReadWrite).kind, Thrown::kNothing);
}

TEST_F(FileTest, FailedOpenLeavesTheFileClosedUnderItsOldPath) {
  file_.Open(L"ten.bin", kReadWrite);
  EXPECT_EQ(thrownBy([&] { file_.Open(L"missing.bin", kReadWrite); }).osError, 2);
  EXPECT_FALSE(file_.IsOpen());
  EXPECT_EQ(file_.GetFileHandle(), kNoHandle);
  EXPECT_EQ(file_.GetFilePath(), L"ten.bin");
  EXPECT_EQ(openThrows(L"ten.bin", kReadWrite).kind, Thrown::kNothing);
}

TEST_F(FileTest, CloseReleasesTheFileKeepsThePathAndMayBeRepeated) {
  file_.Open(L"ten.bin", kReadWrite);
  file_.Close();
  EXPECT_FALSE(file_.IsOpen());
  EXPECT_EQ(file_.GetFileHandle(), kNoHandle);
  EXPECT_EQ(file_.GetFilePath(), L"ten.bin");
  file_.Close();
  EXPECT_THAT(logLines(), IsEmpty());
  EXPECT_EQ(openThrows(L"ten.bin", kReadWrite).kind, Thrown::kNothing);
}

TEST_F(FileTest, DestructionCloses) {
  { CFile().Open(L"ten.bin", kReadWrite); }
  EXPECT_EQ(openThrows(L"ten.bin", kReadWrite).kind, Thrown::kNothing);
}

TEST_F(FileTest, AttachTakesTheHandleToTheBeginningAndLeavesThePath) {
  file_.Open(L"ten.bin", CFile::modeRead);
  file_.Seek(5, 0);
  CFile other;
  other.SetFilePath(L"kept");
  other.Attach(file_.GetFileHandle());
  EXPECT_TRUE(other.IsOpen());
  EXPECT_EQ(other.GetFileHandle(), file_.GetFileHandle());
  EXPECT_EQ(other.GetPosition(), 0u);
  EXPECT_EQ(other.GetFilePath(), L"kept");
  char text[3] = {};
  other.Read(text, 3);
  EXPECT_EQ(std::string(text, 3), "012");
  EXPECT_EQ(file_.GetPosition(), 3u);
  thrownBy([&] { other.Attach(kNoHandle); });  // gives the handle up without closing it
  EXPECT_EQ(file_.GetPosition(), 3u);
}

TEST_F(FileTest, AttachOnlyStoresAndClosesNothing) {
  file_.Open(L"ten.bin", CFile::modeRead);
  const unsigned int handle = file_.GetFileHandle();
  CFile second;
  second.Open(L"second.bin", kCreate | kReadWrite);
  file_.Attach(second.GetFileHandle());
  // The first handle still denies everything.
  EXPECT_EQ(openThrows(L"ten.bin", CFile::modeRead).osError, 32);
  file_.Attach(handle);
  file_.Close();
  EXPECT_EQ(openThrows(L"ten.bin", CFile::modeRead).kind, Thrown::kNothing);
}

TEST_F(FileTest, AttachingTheInvalidHandleAssertsAndFailsAsSeekingAClosedFile) {
  file_.SetFilePath(L"kept");
  const Thrown thrown = thrownBy([&] { file_.Attach(kNoHandle); });
  EXPECT_TRUE(thrown.is(Thrown::kException, 10, 9)) << thrown;
  EXPECT_THAT(logLines(), ElementsAre(asserted(458), asserted(472), threw(480)));
  EXPECT_FALSE(file_.IsOpen());
}

// --- Paths of a file ---

TEST_F(FileTest, SetFilePathStoresAndAssertsNull) {
  file_.SetFilePath(L"\\dir\\a.kxo");
  EXPECT_EQ(file_.GetFilePath(), L"\\dir\\a.kxo");
  EXPECT_THAT(logLines(), IsEmpty());
  file_.SetFilePath(nullptr);
  EXPECT_EQ(file_.GetFilePath(), L"");
  EXPECT_THAT(logLines(), ElementsAre(asserted(237)));
}

TEST_F(FileTest, PiecesOfThePathAreThoseOfThePathFunctions) {
  file_.SetFilePath(L"C:\\dir/sub\\notes.old.kxo");
  EXPECT_EQ(file_.GetFileDrive(), L"C:");
  EXPECT_EQ(file_.GetFileDir(), L"\\dir/sub\\");
  EXPECT_EQ(file_.GetFileTitle(), L"notes.old");
  EXPECT_EQ(file_.GetFileExt(), L".kxo");
}

TEST_F(FileTest, NextNumberedNameIsMadeOfThePath) {
  const std::wstring notes = path(L"notes.kxo");
  file_.SetFilePath(notes.c_str());
  EXPECT_EQ(file_.GetNextValidNumberedName(nullptr), path(L"notes-1.kxo").c_str());
  EXPECT_EQ(file_.GetNextValidNumberedName(L"other"), path(L"notes-1.kxo").c_str());
}

TEST_F(FileTest, CreateFilePathJoinsFolderAndName) {
  EXPECT_EQ(CFile::CreateFilePath(L"\\dir\\", L"a.kxo"), L"\\dir\\a.kxo");
  EXPECT_EQ(CFile::CreateFilePath(L"/dir/", L"a.kxo"), L"/dir/a.kxo");
  EXPECT_EQ(CFile::CreateFilePath(L"\\dir", L"a.kxo"), L"\\dir\\a.kxo");
  EXPECT_EQ(CFile::CreateFilePath(L"", L"a.kxo"), L"a.kxo");
  EXPECT_EQ(CFile::CreateFilePath(L"dir", L""), L"dir\\");
  EXPECT_EQ(CFile::CreateFilePath(nullptr, L"a"), L"a");
  EXPECT_EQ(CFile::CreateFilePath(L"dir", nullptr), L"dir\\");
}

TEST_F(FileTest, CreateFilePathJoinsFolderTitleAndExtension) {
  EXPECT_EQ(CFile::CreateFilePath(L"\\dir\\", L"a", L".kxo"), L"\\dir\\a.kxo");
  EXPECT_EQ(CFile::CreateFilePath(L"\\dir", L"a", L"kxo"), L"\\dir\\a.kxo");
  EXPECT_EQ(CFile::CreateFilePath(L"", L"a.b", L"kxo"), L"a.b.kxo");
  EXPECT_EQ(CFile::CreateFilePath(L"dir/", L"a", L""), L"dir/a");
  EXPECT_EQ(CFile::CreateFilePath(L"dir/", L"a", nullptr), L"dir/a");
}

TEST_F(FileTest, CreateFilePathJoinsDriveFolderTitleAndExtension) {
  EXPECT_EQ(CFile::CreateFilePath(L"C:", L"\\dir\\", L"a", L".kxo"), L"C:\\dir\\a.kxo");
  EXPECT_EQ(CFile::CreateFilePath(L"C:", L"\\dir", L"a", L"kxo"), L"C:\\dir\\a.kxo");
  EXPECT_EQ(CFile::CreateFilePath(L"C:", L"", L"a", L"kxo"), L"C:a.kxo");
  EXPECT_EQ(CFile::CreateFilePath(L"", L"/dir", L"a", L"kxo"), L"/dir\\a.kxo");
  EXPECT_EQ(CFile::CreateFilePath(nullptr, nullptr, nullptr, nullptr), L"");
}

// --- Reading and writing ---

TEST_F(FileTest, ReadAnswersTheCountAndMovesOn) {
  file_.Open(L"ten.bin", CFile::modeRead);
  char text[10] = {};
  EXPECT_EQ(file_.Read(text, 4), 4u);
  EXPECT_EQ(std::string(text, 4), "0123");
  EXPECT_EQ(file_.GetPosition(), 4u);
  EXPECT_EQ(file_.Read(text, 6), 6u);
  EXPECT_EQ(std::string(text, 6), "456789");
  EXPECT_EQ(file_.Read(text, 0), 0u);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FileTest, ReadingPastTheEndThrowsMessage8AndMovesOn) {
  file_.Open(L"ten.bin", CFile::modeRead);
  file_.Seek(8, 0);
  char text[5] = "----";
  const Thrown thrown = thrownBy([&] { file_.Read(text, 4); });
  EXPECT_EQ(thrown.kind, Thrown::kException);
  EXPECT_EQ(thrown.number, 7u);
  EXPECT_EQ(thrown.description, L"File IO read error");
  EXPECT_THAT(logLines(), ElementsAre(threw(433)));
  EXPECT_EQ(file_.GetPosition(), 10u);
  EXPECT_STREQ(text, "89--");
}

TEST_F(FileTest, ReadingAtOrBehindTheEndThrowsMessage8) {
  file_.Open(L"ten.bin", CFile::modeRead);
  char byte = 0;
  for (const long position : {10L, 25L}) {
    file_.Seek(position, 0);
    EXPECT_TRUE(thrownBy([&] { file_.Read(&byte, 1); }).is(Thrown::kException, 8, 7));
    EXPECT_EQ(file_.GetPosition(), static_cast<unsigned long>(position));
  }
  EXPECT_EQ(file_.Read(&byte, 0), 0u);
}

TEST_F(FileTest, RefusedReadsThrowMessage8UnderTheirOwnLine) {
  char byte = 0;
  EXPECT_TRUE(thrownBy([&] { file_.Read(&byte, 1); }).is(Thrown::kException, 8, 7));
  file_.Open(L"ten.bin", CFile::modeRead);
  EXPECT_TRUE(thrownBy([&] { file_.Read(nullptr, 1); }).is(Thrown::kException, 8, 7));
  EXPECT_THAT(logLines(), ElementsAre(threw(428), threw(428)));
}

TEST_F(FileTest, WriteAnswersTheCountAndMovesOn) {
  file_.Open(L"new.bin", kCreate | kReadWrite);
  EXPECT_EQ(file_.Write("hello", 5), 5u);
  EXPECT_EQ(file_.GetPosition(), 5u);
  EXPECT_EQ(file_.Write("", 0), 0u);
  file_.Seek(1, 0);
  EXPECT_EQ(file_.Write("E", 1), 1u);
  file_.Close();
  EXPECT_EQ(textOf("new.bin"), "hEllo");
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FileTest, WritingBehindTheEndFillsTheGapWithZeros) {
  file_.Open(L"ten.bin", kReadWrite);
  file_.Seek(30, 0);
  EXPECT_EQ(file_.Write("x", 0), 0u);
  EXPECT_EQ(file_.GetLength(), 10u);
  file_.Seek(20, 0);
  EXPECT_EQ(file_.Write("x", 1), 1u);
  file_.Close();
  EXPECT_EQ(textOf("ten.bin"), "0123456789" + std::string(10, '\0') + "x");
}

TEST_F(FileTest, WritingToAClosedFileThrowsForItsPath) {
  file_.SetFilePath(L"some.kxo");
  const Thrown thrown = thrownBy([&] { file_.Write("x", 1); });
  expectFileException(thrown, CFileException::fileNotFound, 6, L"some.kxo");
  EXPECT_THAT(logLines(), ElementsAre(threw(448), "ERROR_INVALID_HANDLE"));
}

TEST_F(FileTest, WritingFromNowhereThrowsAGenericCause) {
  file_.Open(L"ten.bin", kReadWrite);
  const Thrown thrown = thrownBy([&] { file_.Write(nullptr, 1); });
  expectFileException(thrown, CFileException::generic, 1784, L"ten.bin");
  EXPECT_FALSE(thrown.description.empty());
  EXPECT_THAT(logLines(), ElementsAre(threw(448)));
}

TEST_F(FileTest, WritingNothingToAReadOnlyHandleIsRefusedToo) {
  file_.Open(L"ten.bin", CFile::modeRead);
  expectFileException(thrownBy([&] { file_.Write("", 0); }), CFileException::accessDenied, 5,
                      L"ten.bin");
}

// --- Positions ---

TEST_F(FileTest, SeekMovesFromBeginningCurrentPositionAndEnd) {
  file_.Open(L"ten.bin", CFile::modeRead);
  EXPECT_EQ(file_.Seek(4, 0), 4u);
  EXPECT_EQ(file_.Seek(3, 1), 7u);
  EXPECT_EQ(file_.Seek(-5, 1), 2u);
  EXPECT_EQ(file_.Seek(-1, 2), 9u);
  EXPECT_EQ(file_.Seek(0, 2), 10u);
  EXPECT_EQ(file_.Seek(90, 2), 100u);
  EXPECT_EQ(file_.GetPosition(), 100u);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FileTest, SeekingAheadOfTheBeginningThrowsMessage10AndKeepsThePosition) {
  file_.Open(L"ten.bin", CFile::modeRead);
  file_.Seek(6, 0);
  const auto refused = [&](long offset, unsigned int from) {
    clearLog();
    const Thrown thrown = thrownBy([&] { file_.Seek(offset, from); });
    EXPECT_TRUE(thrown.is(Thrown::kException, 10, 9)) << thrown;
    EXPECT_THAT(logLines(), ElementsAre(threw(480)));
    EXPECT_EQ(file_.GetPosition(), 6u);
  };
  refused(-1, 0);
  refused(-7, 1);
  refused(-11, 2);
}

TEST_F(FileTest, SeekingFromAnUnknownPlaceIsAssertedAndFails) {
  file_.Open(L"ten.bin", CFile::modeRead);
  file_.Seek(6, 0);
  const Thrown thrown = thrownBy([&] { file_.Seek(1, 3); });
  EXPECT_TRUE(thrown.is(Thrown::kException, 10, 9)) << thrown;
  EXPECT_EQ(thrown.description, L"File IO");
  EXPECT_THAT(logLines(), ElementsAre(asserted(473), threw(480)));
  EXPECT_EQ(file_.GetPosition(), 6u);
}

TEST_F(FileTest, MovingAClosedFileIsAssertedAndThrowsMessage10) {
  const auto logged = [&](const std::function<void()>& call) {
    clearLog();
    const Thrown thrown = thrownBy(call);
    EXPECT_TRUE(thrown.is(Thrown::kException, 10, 9)) << thrown;
    return logLines();
  };
  EXPECT_THAT(logged([&] { file_.Seek(0, 0); }), ElementsAre(asserted(472), threw(480)));
  EXPECT_THAT(logged([&] { file_.SeekToBegin(); }),
              ElementsAre(asserted(458), asserted(472), threw(480)));
  EXPECT_THAT(logged([&] { file_.SeekToEnd(); }),
              ElementsAre(asserted(465), asserted(472), threw(480)));
  EXPECT_THAT(logged([&] { file_.GetPosition(); }), ElementsAre(asserted(518), threw(524)));
  EXPECT_THAT(logged([&] { file_.GetLength(); }), ElementsAre(asserted(518), threw(524)));
  EXPECT_THAT(logged([&] { file_.IsEOF(); }),
              ElementsAre(asserted(548), asserted(518), threw(524)));
  EXPECT_THAT(logged([&] { file_.SetLength(0); }),
              ElementsAre(asserted(280), asserted(472), threw(480)));
}

TEST_F(FileTest, PositionsEndBeforeAllOnes) {
  file_.Open(L"ten.bin", CFile::modeRead);
  EXPECT_EQ(file_.Seek(0x7FFFFFFF, 0), 0x7FFFFFFFul);
  EXPECT_EQ(file_.Seek(0x7FFFFFFF, 1), 0xFFFFFFFEul);
  EXPECT_TRUE(thrownBy([&] { file_.Seek(1, 1); }).is(Thrown::kException, 10, 9));
  EXPECT_TRUE(thrownBy([&] { file_.Seek(2, 1); }).is(Thrown::kException, 10, 9));
  EXPECT_TRUE(thrownBy([&] { file_.Seek(0x7FFFFFFF, 1); }).is(Thrown::kException, 10, 9));
  EXPECT_THAT(logLines(), ElementsAre(threw(480), threw(480), threw(480)));
  EXPECT_EQ(file_.GetPosition(), 0xFFFFFFFEul);
  EXPECT_EQ(file_.Seek(-0x7FFFFFFF, 1), 0x7FFFFFFFul);
}

TEST_F(FileTest, OffsetsWiderThan32BitsFailAsASeekDoes) {
  file_.Open(L"ten.bin", CFile::modeRead);
  file_.Seek(6, 0);
  std::vector<int64_t> offsets;
  if (sizeof(long) > 4) offsets = {0xFFFFFFFF, 0x100000000, 0x100000005, -0x100000000};
  for (const int64_t offset : offsets) {
    const Thrown thrown = thrownBy([&] { file_.Seek(static_cast<long>(offset), 0); });
    EXPECT_TRUE(thrown.is(Thrown::kException, 10, 9)) << offset;
    EXPECT_EQ(file_.GetPosition(), 6u);
  }
  if (sizeof(long) > 4) {
    EXPECT_EQ(file_.Seek(static_cast<long>(int64_t{0xFFFFFFFE}), 0), 0xFFFFFFFEul);
  }
}

TEST_F(FileTest, WritingUpToTheLastPositionLeavesOneThatCannotBeTold) {
  file_.Open(L"big.bin", kCreate | kReadWrite);
  file_.Seek(0x7FFFFFFF, 0);
  file_.Seek(0x7FFFFFFF, 1);
  EXPECT_EQ(file_.Write("x", 1), 1u);
  clearLog();
  EXPECT_TRUE(thrownBy([&] { file_.GetPosition(); }).is(Thrown::kException, 10, 9));
  EXPECT_THAT(logLines(), ElementsAre(threw(524)));
  EXPECT_TRUE(thrownBy([&] { file_.SeekToEnd(); }).is(Thrown::kException, 10, 9));
  EXPECT_TRUE(thrownBy([&] { file_.Seek(0, 1); }).is(Thrown::kException, 10, 9));
  EXPECT_EQ(file_.Seek(-1, 1), 0xFFFFFFFEul);  // the refused moves left it where it was
  CFileStatus status;
  EXPECT_FALSE(file_.GetStatus(status));  // a length of all ones cannot be told either
}

TEST_F(FileTest, SeekToBeginAndSeekToEndGoThere) {
  file_.Open(L"ten.bin", CFile::modeRead);
  EXPECT_EQ(file_.SeekToEnd(), 10u);
  EXPECT_EQ(file_.GetPosition(), 10u);
  file_.SeekToBegin();
  EXPECT_EQ(file_.GetPosition(), 0u);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FileTest, IsEofTellsWhetherTheFileStandsAtItsEnd) {
  file_.Open(L"ten.bin", CFile::modeRead);
  EXPECT_FALSE(file_.IsEOF());
  file_.Seek(9, 0);
  EXPECT_FALSE(file_.IsEOF());
  EXPECT_EQ(file_.GetPosition(), 9u);
  file_.Seek(10, 0);
  EXPECT_TRUE(file_.IsEOF());
  EXPECT_EQ(file_.GetPosition(), 10u);
  file_.Seek(11, 0);
  EXPECT_FALSE(file_.IsEOF());
  EXPECT_THAT(logLines(), IsEmpty());
}

// --- Length ---

TEST_F(FileTest, GetLengthLeavesThePositionWhereItWas) {
  file_.Open(L"ten.bin", CFile::modeRead);
  for (const long position : {0L, 4L, 10L, 17L}) {
    file_.Seek(position, 0);
    EXPECT_EQ(file_.GetLength(), 10u);
    EXPECT_EQ(file_.GetPosition(), static_cast<unsigned long>(position));
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FileTest, SetLengthCutsExtendsWithZerosAndStandsThere) {
  file_.Open(L"ten.bin", kReadWrite);
  file_.SetLength(4);
  EXPECT_EQ(file_.GetPosition(), 4u);
  EXPECT_EQ(file_.GetLength(), 4u);
  file_.SetLength(6);
  EXPECT_EQ(file_.GetPosition(), 6u);
  file_.Close();
  EXPECT_EQ(textOf("ten.bin"), std::string("0123\0\0", 6));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FileTest, LengthsBeyondTwoGigabytesWork) {
  file_.Open(L"big.bin", kCreate | kReadWrite);
  file_.SetLength(0xC0000000);
  EXPECT_EQ(file_.GetPosition(), 0xC0000000ul);
  EXPECT_EQ(file_.GetLength(), 0xC0000000ul);
  EXPECT_TRUE(file_.IsEOF());
  EXPECT_EQ(file_.GetPosition(), 0xC0000000ul);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FileTest, RefusedSetLengthThrowsWithoutAName) {
  file_.Open(L"ten.bin", CFile::modeRead);
  expectNoEndWithoutAccess(thrownBy([&] { file_.SetLength(4); }));
  std::vector<std::string> lines = {threw(285)};
  if (!kx_test::onWine()) lines.emplace_back("ERROR_ACCESS_DENIED");
  EXPECT_EQ(logLines(), lines);
  EXPECT_EQ(file_.GetLength(), 10u);
}

TEST_F(FileTest, LengthOfAllOnesFailsAsASeekDoes) {
  file_.Open(L"ten.bin", kReadWrite);
  file_.Seek(3, 0);
  const Thrown thrown = thrownBy([&] { file_.SetLength(0xFFFFFFFF); });
  EXPECT_TRUE(thrown.is(Thrown::kException, 10, 9)) << thrown;
  EXPECT_THAT(logLines(), ElementsAre(threw(480)));
  EXPECT_EQ(file_.GetPosition(), 3u);
  EXPECT_EQ(file_.GetLength(), 10u);
}

// A file in memory as far as lengths go: what the non-virtual operations must work with.
class CountingFile : public CFile {
 public:
  unsigned long Seek(long offset, unsigned int from) override {
    ++seeks;
    const unsigned long base[] = {0, position, end};
    position = base[from] + static_cast<unsigned long>(offset);
    return position + drift;
  }
  unsigned long GetPosition() const override { return position; }
  bool IsOpen() const override { return open; }

  unsigned long position = 3;
  unsigned long end = 8;
  unsigned long drift = 0;
  bool open = true;
  int seeks = 0;
};

TEST_F(FileTest, LengthEndAndEofGoThroughTheVirtualCalls) {
  CountingFile counting;
  EXPECT_EQ(counting.GetLength(), 8u);
  EXPECT_EQ(counting.seeks, 2);
  EXPECT_EQ(counting.position, 3u);
  EXPECT_FALSE(counting.IsEOF());
  EXPECT_EQ(counting.seeks, 4);
  EXPECT_EQ(counting.SeekToEnd(), 8u);
  EXPECT_EQ(counting.seeks, 5);
  EXPECT_TRUE(counting.IsEOF());
  counting.SeekToBegin();
  EXPECT_EQ(counting.position, 0u);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FileTest, PositionThatCannotBeRestoredIsAsserted) {
  CountingFile counting;
  counting.drift = 1;
  EXPECT_EQ(counting.GetLength(), 9u);
  EXPECT_THAT(logLines(), ElementsAre(asserted(540)));
  EXPECT_FALSE(counting.IsEOF());
  EXPECT_THAT(logLines(), ElementsAre(asserted(540), asserted(540)));
}

TEST_F(FileTest, FileThatReportsClosedIsAssertedAndAskedAllTheSame) {
  CountingFile counting;
  counting.open = false;
  EXPECT_EQ(counting.SeekToEnd(), 8u);
  counting.SeekToBegin();
  EXPECT_EQ(counting.GetLength(), 8u);
  EXPECT_FALSE(counting.IsEOF());
  EXPECT_THAT(logLines(), ElementsAre(asserted(465), asserted(458), asserted(465), asserted(548),
                                      asserted(465)));
}

// --- Flushing ---

TEST_F(FileTest, FlushOfAClosedFileDoesNothing) {
  file_.Flush();
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FileTest, FlushOfAWritableFileSucceeds) {
  file_.Open(L"ten.bin", kReadWrite);
  file_.Write("x", 1);
  file_.Flush();
  EXPECT_THAT(logLines(), IsEmpty());
  EXPECT_EQ(file_.GetPosition(), 1u);
}

TEST_F(FileTest, RefusedFlushThrowsMessage9) {
  file_.Open(L"ten.bin", CFile::modeRead);
  const Thrown thrown = thrownBy([&] { file_.Flush(); });
  EXPECT_TRUE(thrown.is(Thrown::kException, 9, 8)) << thrown;
  EXPECT_EQ(thrown.description, L"File IO write error");
  EXPECT_THAT(logLines(), ElementsAre(threw(511)));
}

// --- Whole files by name ---

TEST_F(FileTest, RenameAndMoveMoveAFile) {
  CFile::Rename(L"ten.bin", L"eleven.bin");
  EXPECT_FALSE(fs::exists("ten.bin"));
  EXPECT_EQ(textOf("eleven.bin"), "0123456789");
  fs::create_directory("sub");
  CFile::Move(L"eleven.bin", L"sub\\twelve.bin");
  EXPECT_EQ(textOf("sub/twelve.bin"), "0123456789");
  CFile::Move(L"sub", L"folder");
  EXPECT_EQ(textOf("folder/twelve.bin"), "0123456789");
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FileTest, RenameToItselfAndToAnotherCaseIsFine) {
  CFile::Rename(L"ten.bin", L"ten.bin");
  CFile::Rename(L"ten.bin", L"TEN.bin");
  EXPECT_EQ(textOf("TEN.bin"), "0123456789");
  EXPECT_THAT(logLines(), IsEmpty());
}

struct NamePair {
  const wchar_t* from;
  const wchar_t* to;
  int cause;
  long osError;
  const char* trace;
};

TEST_F(FileTest, RefusedMovesThrowTheCauseWithoutAName) {
  writeFile("taken.bin", bytesOf("taken"));
  fs::create_directory("folder");
  writeFile("open.bin", bytesOf("open"));
  file_.Open(L"open.bin", CFile::modeRead | CFile::shareDenyNone);
  const NamePair pairs[] = {
      {L"ten.bin", L"taken.bin", CFileException::accessDenied, 183, "ERROR_ALREADY_EXISTS"},
      {L"ten.bin", L"folder", CFileException::accessDenied, 183, "ERROR_ALREADY_EXISTS"},
      {L"missing", L"a.bin", CFileException::fileNotFound, 2, "ERROR_FILE_NOT_FOUND"},
      {L"nowhere\\a", L"a.bin", CFileException::badPath, 3, "ERROR_PATH_NOT_FOUND"},
      {L"ten.bin", L"nowhere\\a", CFileException::badPath, 3, "ERROR_PATH_NOT_FOUND"},
      {L"open.bin", L"a.bin", CFileException::sharingViolation, 32, "ERROR_SHARING_VIOLATION"},
  };
  for (const NamePair& pair : pairs) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(pair.from)));
    clearLog();
    expectFileException(thrownBy([&] { CFile::Rename(pair.from, pair.to); }), pair.cause,
                        pair.osError, L"");
    expectFileException(thrownBy([&] { CFile::Move(pair.from, pair.to); }), pair.cause,
                        pair.osError, L"");
    EXPECT_THAT(logLines(), ElementsAre(threw(292), pair.trace, threw(308), pair.trace));
  }
  EXPECT_EQ(textOf("ten.bin"), "0123456789");
  EXPECT_EQ(textOf("taken.bin"), "taken");
}

TEST_F(FileTest, NullNamesAreRefusedAheadOfTheCall) {
  const auto refused = [](const std::function<void()>& call) {
    clearLog();
    expectFileException(thrownBy(call), CFileException::generic, 87, L"");
    return logLines();
  };
  EXPECT_THAT(refused([] { CFile::Rename(nullptr, L"a"); }), ElementsAre(threw(292)));
  EXPECT_THAT(refused([] { CFile::Rename(L"ten.bin", nullptr); }), ElementsAre(threw(292)));
  EXPECT_THAT(refused([] { CFile::Move(nullptr, L"a"); }), ElementsAre(asserted(304), threw(308)));
  EXPECT_THAT(refused([] { CFile::Move(L"ten.bin", nullptr); }),
              ElementsAre(asserted(305), threw(308)));
  EXPECT_THAT(refused([] { CFile::Move(nullptr, nullptr); }),
              ElementsAre(asserted(304), asserted(305), threw(308)));
  EXPECT_THAT(refused([] { CFile::Copy(nullptr, L"a"); }), ElementsAre(asserted(313), threw(317)));
  EXPECT_THAT(refused([] { CFile::Copy(L"ten.bin", nullptr); }),
              ElementsAre(asserted(314), threw(317)));
  EXPECT_EQ(textOf("ten.bin"), "0123456789");
}

TEST_F(FileTest, RemoveDeletesAFile) {
  CFile::Remove(L"ten.bin");
  EXPECT_FALSE(fs::exists("ten.bin"));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FileTest, RefusedRemovalsThrowTheCauseWithoutAName) {
  fs::create_directory("folder");
  writeFile("fixed.bin", bytesOf("fixed"));
  fs::permissions("fixed.bin", fs::perms::owner_read);
  file_.Open(L"ten.bin", CFile::modeRead | CFile::shareDenyNone);
  const NamePair names[] = {
      {L"missing", nullptr, CFileException::fileNotFound, 2, "ERROR_FILE_NOT_FOUND"},
      {L"nowhere\\a", nullptr, CFileException::badPath, 3, "ERROR_PATH_NOT_FOUND"},
      {L"folder", nullptr, CFileException::accessDenied, 5, "ERROR_ACCESS_DENIED"},
      {L"fixed.bin", nullptr, CFileException::accessDenied, 5, "ERROR_ACCESS_DENIED"},
      {L"*.bin", nullptr, CFileException::badPath, 123, "ERROR_INVALID_NAME"},
      {L"ten.bin", nullptr, CFileException::sharingViolation, 32, "ERROR_SHARING_VIOLATION"},
      {nullptr, nullptr, CFileException::badPath, 3, "ERROR_PATH_NOT_FOUND"},
  };
  for (const NamePair& name : names) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(name.from != nullptr ? name.from : L"null")));
    clearLog();
    expectFileException(thrownBy([&] { CFile::Remove(name.from); }), name.cause, name.osError, L"");
    EXPECT_THAT(logLines(), ElementsAre(threw(299), name.trace));
  }
  fs::permissions("fixed.bin", fs::perms::owner_all);
  EXPECT_EQ(textOf("fixed.bin"), "fixed");
  EXPECT_EQ(textOf("ten.bin"), "0123456789");
}

TEST_F(FileTest, CopyMakesASecondFileOfTheSameBytesAndWriteTime) {
  const auto old = fs::last_write_time("ten.bin") - std::chrono::hours(48);
  fs::last_write_time("ten.bin", old);
  CFile::Copy(L"ten.bin", L"copy.bin");
  EXPECT_EQ(textOf("copy.bin"), "0123456789");
  EXPECT_EQ(textOf("ten.bin"), "0123456789");
  CFileStatus source;
  CFileStatus copy;
  ASSERT_TRUE(CFile::GetStatus(L"ten.bin", source));
  ASSERT_TRUE(CFile::GetStatus(L"copy.bin", copy));
  EXPECT_EQ(copy.lastWriteTime.GetTime(), source.lastWriteTime.GetTime());
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FileTest, CopyKeepsTheReadOnlyAttribute) {
  fs::permissions("ten.bin", fs::perms::owner_read);
  CFile::Copy(L"ten.bin", L"copy.bin");
  CFileStatus status;
  ASSERT_TRUE(CFile::GetStatus(L"copy.bin", status));
  EXPECT_EQ(status.attribute, 0x21);
  for (const char* name : {"ten.bin", "copy.bin"}) fs::permissions(name, fs::perms::owner_all);
}

TEST_F(FileTest, CopyTakesAFileThatIsOpenAndLetsOthersRead) {
  file_.Open(L"ten.bin", kReadWrite | CFile::shareDenyWrite);
  CFile::Copy(L"ten.bin", L"copy.bin");
  EXPECT_EQ(textOf("copy.bin"), "0123456789");
}

TEST_F(FileTest, RefusedCopiesThrowTheCauseWithoutAName) {
  writeFile("taken.bin", bytesOf("taken"));
  writeFile("denied.bin", bytesOf("denied"));
  fs::create_directory("folder");
  file_.Open(L"denied.bin", CFile::modeRead | CFile::shareExclusive);
  const NamePair pairs[] = {
      {L"ten.bin", L"taken.bin", CFileException::accessDenied, 80, "ERROR_FILE_EXISTS"},
      {L"ten.bin", L"ten.bin", CFileException::accessDenied, 80, "ERROR_FILE_EXISTS"},
      {L"ten.bin", L"folder", CFileException::accessDenied, 80, "ERROR_FILE_EXISTS"},
      {L"missing", L"a.bin", CFileException::fileNotFound, 2, "ERROR_FILE_NOT_FOUND"},
      {L"nowhere\\a", L"a.bin", CFileException::badPath, 3, "ERROR_PATH_NOT_FOUND"},
      {L"folder", L"a.bin", CFileException::accessDenied, 5, "ERROR_ACCESS_DENIED"},
      {L"denied.bin", L"a.bin", CFileException::sharingViolation, 32, "ERROR_SHARING_VIOLATION"},
  };
  for (const NamePair& pair : pairs) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(pair.from)));
    clearLog();
    expectFileException(thrownBy([&] { CFile::Copy(pair.from, pair.to); }), pair.cause,
                        pair.osError, L"");
    EXPECT_THAT(logLines(), ElementsAre(threw(317), pair.trace));
  }
  EXPECT_EQ(textOf("taken.bin"), "taken");
  EXPECT_FALSE(fs::exists("a.bin"));
}

// --- Status ---

// Times that the file system sets lag behind the clock by a tick.
void expectNow(CTime time) {
  const unsigned long now = CTime::GetCurrentTime().GetTime();
  EXPECT_GE(time.GetTime() + 60, now);
  EXPECT_LE(time.GetTime(), now + 1);
}

TEST_F(FileTest, StatusOfAClosedFileIsItsNameAlone) {
  file_.SetFilePath(L"some.kxo");
  CFileStatus status;
  status.size = 7;
  status.attribute = 7;
  status.lastWriteTime = 7;
  EXPECT_TRUE(file_.GetStatus(status));
  EXPECT_STREQ(status.fullName, L"some.kxo");
  EXPECT_EQ(status.size, 0u);
  EXPECT_EQ(status.attribute, 0);
  EXPECT_EQ(status.lastWriteTime.GetTime(), 0u);
  EXPECT_EQ(status.creationTime.GetTime(), 0u);
  EXPECT_EQ(status.lastAccessTime.GetTime(), 0u);
}

TEST_F(FileTest, StatusTakes259CharactersOfThePath) {
  const std::wstring longPath(300, L'x');
  file_.SetFilePath(longPath.c_str());
  CFileStatus status;
  EXPECT_TRUE(file_.GetStatus(status));
  EXPECT_EQ(status.fullName, longPath.substr(0, 259));
}

TEST_F(FileTest, StatusOfAnOpenFileTellsTimesSizeAndAttributes) {
  file_.Open(L"ten.bin", kReadWrite);
  file_.SetLength(12);
  CFileStatus status;
  ASSERT_TRUE(file_.GetStatus(status));
  EXPECT_STREQ(status.fullName, L"ten.bin");
  EXPECT_EQ(status.size, 12u);
  EXPECT_EQ(status.attribute, 0x20);
  expectNow(status.creationTime);
  expectNow(status.lastWriteTime);
  expectNow(status.lastAccessTime);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FileTest, StatusHasNoAttributesWithoutAPathThatNamesTheFile) {
  file_.Open(L"ten.bin", CFile::modeRead);
  CFileStatus status;
  file_.SetFilePath(L"");
  EXPECT_TRUE(file_.GetStatus(status));
  EXPECT_EQ(status.attribute, 0);
  EXPECT_EQ(status.size, 10u);
  file_.SetFilePath(L"missing.bin");
  EXPECT_TRUE(file_.GetStatus(status));
  EXPECT_EQ(status.attribute, 0);
}

TEST_F(FileTest, StatusOfAHandleThatIsNoFileIsRefused) {
  thrownBy([&] { file_.Attach(0x3FFFFFFC); });
  CFileStatus status;
  EXPECT_FALSE(file_.GetStatus(status));
  thrownBy([&] { file_.Attach(kNoHandle); });
}

TEST_F(FileTest, StatusByNameTellsTimesSizeAndAttributes) {
  CFileStatus status;
  ASSERT_TRUE(CFile::GetStatus(L"ten.bin", status));
  EXPECT_STREQ(status.fullName, L"ten.bin");
  EXPECT_EQ(status.size, 10u);
  EXPECT_EQ(status.attribute, 0x20);
  expectNow(status.creationTime);
  expectNow(status.lastWriteTime);
  expectNow(status.lastAccessTime);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FileTest, StatusByNameTellsFoldersAndReadOnlyFiles) {
  fs::create_directory("folder");
  fs::permissions("ten.bin", fs::perms::owner_read);
  CFileStatus status;
  ASSERT_TRUE(CFile::GetStatus(L"folder", status));
  EXPECT_EQ(status.attribute, 0x10);
  ASSERT_TRUE(CFile::GetStatus(L"ten.bin", status));
  EXPECT_EQ(status.attribute, 0x21);
  fs::permissions("ten.bin", fs::perms::owner_all);
}

TEST_F(FileTest, StatusByNameMayTakeTheNameFromTheStatusItself) {
  CFileStatus status;
  ASSERT_TRUE(CFile::GetStatus(L"ten.bin", status));
  status.size = 0;
  ASSERT_TRUE(CFile::GetStatus(status.fullName, status));
  EXPECT_STREQ(status.fullName, L"ten.bin");
  EXPECT_EQ(status.size, 10u);
}

TEST_F(FileTest, StatusOfAMissingNameIsRefusedButNamed) {
  CFileStatus status;
  EXPECT_FALSE(CFile::GetStatus(L"missing.bin", status));
  EXPECT_STREQ(status.fullName, L"missing.bin");
  EXPECT_FALSE(CFile::GetStatus(nullptr, status));
  EXPECT_STREQ(status.fullName, L"");
  EXPECT_FALSE(CFile::GetStatus(L"", status));
  const std::wstring longName(300, L'x');
  EXPECT_FALSE(CFile::GetStatus(longName.c_str(), status));
  EXPECT_EQ(status.fullName, longName.substr(0, 259));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FileTest, StatusByNameAssertsThatTheSizeHas32Bits) {
  file_.Open(L"ten.bin", kReadWrite);
  file_.Seek(0x7FFFFFFF, 0);
  file_.Seek(0x7FFFFFFF, 1);
  file_.Write("0123456", 7);
  file_.Close();
  CFileStatus status;
  ASSERT_TRUE(CFile::GetStatus(L"ten.bin", status));
  EXPECT_EQ(status.size, 5u);
  EXPECT_THAT(logLines(), ElementsAre(asserted(1024)));
}

}  // namespace
