#include <cstring>

#include "SeamSupport.h"
#include "Wine.h"

namespace kx_seam {
namespace {

/// Setting the end of a file through a handle that may not write. Wine asks its own system, which
/// takes the handle for a wrong argument.
const DWORD kNoEndWithoutAccess = kx_test::unlessOnWine(5u, 87u);

class TransferTest : public kx_test::KxTest {
 protected:
  void SetUp() override {
    KxTest::SetUp();
    makeFile("a.txt", "0123456789");
  }

  static DWORD Position(HANDLE file) { return SetFilePointer(file, 0, nullptr, FILE_CURRENT); }
  static DWORD WriteError(HANDLE file, DWORD count) {
    DWORD written = 77;
    const DWORD error = errorOf(WriteFile(file, "xxxxxxxx", count, &written, nullptr));
    if (error != 0) {
      EXPECT_EQ(0u, written);
    }
    return error;
  }
  static DWORD ReadError(HANDLE file, DWORD count) {
    char buffer[16];
    DWORD read = 77;
    const DWORD error = errorOf(ReadFile(file, buffer, count, &read, nullptr));
    if (error != 0) {
      EXPECT_EQ(0u, read);
    }
    return error;
  }
};

TEST_F(TransferTest, AReadOnlyHandleRefusesEveryChange) {
  Opened file(L"a.txt", GENERIC_READ);
  EXPECT_EQ(5u, WriteError(file.handle(), 4));
  EXPECT_EQ(5u, WriteError(file.handle(), 0));
  EXPECT_EQ(5u, errorOf(FlushFileBuffers(file.handle())));
  EXPECT_EQ(kNoEndWithoutAccess, errorOf(SetEndOfFile(file.handle())));
  file.Close();
  EXPECT_EQ("0123456789", textOf("a.txt"));
}

TEST_F(TransferTest, AWriteOnlyHandleRefusesReadingAndTellsTimesAndSize) {
  const Opened file(L"a.txt", GENERIC_WRITE);
  EXPECT_EQ(5u, ReadError(file.handle(), 4));
  EXPECT_EQ(5u, ReadError(file.handle(), 0));
  FILETIME creation, access, write = {0, 0};
  EXPECT_TRUE(GetFileTime(file.handle(), &creation, &access, &write));
  EXPECT_NE(0u, write.dwHighDateTime);
  EXPECT_EQ(10u, GetFileSize(file.handle(), nullptr));
  EXPECT_EQ(0u, WriteError(file.handle(), 4));
  EXPECT_EQ(0u, errorOf(FlushFileBuffers(file.handle())));
}

TEST_F(TransferTest, AHandleWithoutAccessRefusesEverything) {
  const Opened file(L"a.txt", 0);
  EXPECT_EQ(5u, ReadError(file.handle(), 4));
  EXPECT_EQ(5u, WriteError(file.handle(), 4));
  EXPECT_EQ(5u, errorOf(FlushFileBuffers(file.handle())));
  EXPECT_EQ(kNoEndWithoutAccess, errorOf(SetEndOfFile(file.handle())));
  EXPECT_EQ(10u, GetFileSize(file.handle(), nullptr));
}

TEST_F(TransferTest, AReadOnlyHandleOfANewFileRefusesWriting) {
  const Opened file(L"new.txt", GENERIC_READ, CREATE_ALWAYS);
  EXPECT_EQ(5u, WriteError(file.handle(), 4));
  EXPECT_EQ(0u, ReadError(file.handle(), 4));
}

TEST_F(TransferTest, ReadingPastTheEndGivesWhatIsThereWithoutError) {
  const Opened file(L"a.txt", GENERIC_READ);
  char buffer[20];
  DWORD read = 77;
  EXPECT_TRUE(ReadFile(file.handle(), buffer, 20, &read, nullptr));
  EXPECT_EQ(10u, read);
  EXPECT_EQ(0, std::memcmp(buffer, "0123456789", 10));
  EXPECT_TRUE(ReadFile(file.handle(), buffer, 20, &read, nullptr));
  EXPECT_EQ(0u, read);
  SetFilePointer(file.handle(), 50, nullptr, FILE_BEGIN);
  EXPECT_TRUE(ReadFile(file.handle(), buffer, 20, &read, nullptr));
  EXPECT_EQ(0u, read);
}

TEST_F(TransferTest, NullBuffersAreRefused) {
  Opened file(L"a.txt");
  DWORD moved = 0;
  EXPECT_EQ(998u, errorOf(ReadFile(file.handle(), nullptr, 4, &moved, nullptr)));
  EXPECT_EQ(1784u, errorOf(WriteFile(file.handle(), nullptr, 4, &moved, nullptr)));
  file.Close();
  EXPECT_EQ("0123456789", textOf("a.txt"));
}

TEST_F(TransferTest, WritingBeyondTheEndFillsTheGapWithZeros) {
  Opened file(L"a.txt");
  SetFilePointer(file.handle(), 20, nullptr, FILE_BEGIN);
  EXPECT_EQ(0u, WriteError(file.handle(), 1));
  EXPECT_EQ(21u, GetFileSize(file.handle(), nullptr));
  SetFilePointer(file.handle(), 30, nullptr, FILE_BEGIN);
  EXPECT_EQ(0u, WriteError(file.handle(), 0));
  EXPECT_EQ(21u, GetFileSize(file.handle(), nullptr));
  file.Close();
  EXPECT_EQ("0123456789" + std::string(10, '\0') + "x", textOf("a.txt"));
}

TEST_F(TransferTest, InvalidAndClosedHandlesAreError6) {
  Opened file(L"a.txt");
  const HANDLE closed = file.handle();
  file.Close();
  for (const HANDLE handle : {INVALID_HANDLE_VALUE, closed}) {
    EXPECT_EQ(6u, ReadError(handle, 4));
    EXPECT_EQ(6u, WriteError(handle, 4));
    EXPECT_EQ(INVALID_SET_FILE_POINTER, Position(handle));
    EXPECT_EQ(6u, GetLastError());
    EXPECT_EQ(6u, errorOf(SetEndOfFile(handle)));
    EXPECT_EQ(6u, errorOf(FlushFileBuffers(handle)));
    FILETIME time;
    EXPECT_EQ(6u, errorOf(GetFileTime(handle, &time, &time, &time)));
    EXPECT_EQ(INVALID_FILE_SIZE, GetFileSize(handle, nullptr));
    EXPECT_EQ(6u, GetLastError());
  }
  EXPECT_EQ(6u, errorOf(CloseHandle(closed)));
}

TEST_F(TransferTest, PositionsMayLieBehindTheEndButNotBeforeTheStart) {
  const Opened file(L"a.txt");
  EXPECT_EQ(100u, SetFilePointer(file.handle(), 100, nullptr, FILE_BEGIN));
  EXPECT_EQ(INVALID_SET_FILE_POINTER, SetFilePointer(file.handle(), -11, nullptr, FILE_END));
  EXPECT_EQ(131u, GetLastError());
  EXPECT_EQ(INVALID_SET_FILE_POINTER, SetFilePointer(file.handle(), -101, nullptr, FILE_CURRENT));
  EXPECT_EQ(131u, GetLastError());
  EXPECT_EQ(INVALID_SET_FILE_POINTER, SetFilePointer(file.handle(), -1, nullptr, FILE_BEGIN));
  EXPECT_EQ(131u, GetLastError());
  EXPECT_EQ(100u, Position(file.handle()));
  EXPECT_EQ(INVALID_SET_FILE_POINTER, SetFilePointer(file.handle(), 0, nullptr, 3));
  EXPECT_EQ(87u, GetLastError());
  EXPECT_EQ(7u, SetFilePointer(file.handle(), -3, nullptr, FILE_END));
  EXPECT_EQ(9u, SetFilePointer(file.handle(), 2, nullptr, FILE_CURRENT));
}

TEST_F(TransferTest, PositionsBeyond32BitsNeedTheHighWord) {
  const Opened file(L"a.txt");
  LONG high = 1;
  EXPECT_EQ(5u, SetFilePointer(file.handle(), 5, &high, FILE_BEGIN));
  EXPECT_EQ(1, high);
  high = -1;
  EXPECT_EQ(0xFFFFFFFFu, SetFilePointer(file.handle(), -6, &high, FILE_CURRENT));
  EXPECT_EQ(0u, GetLastError());
  EXPECT_EQ(0, high);
  // Wine moves on and tells the low word.
  EXPECT_EQ(kx_test::unlessOnWine(INVALID_SET_FILE_POINTER, DWORD{0}),
            SetFilePointer(file.handle(), 1, nullptr, FILE_CURRENT));
  EXPECT_EQ(kx_test::unlessOnWine(87u, 0u), GetLastError());
  high = 0;
  EXPECT_EQ(kx_test::unlessOnWine(0xFFFFFFFFu, 0u),
            SetFilePointer(file.handle(), 0, &high, FILE_CURRENT));
  EXPECT_EQ(kx_test::unlessOnWine(0, 1), high);
}

TEST_F(TransferTest, TheEndCanBeSetBeforeAndBehindTheOldOne) {
  Opened file(L"a.txt");
  SetFilePointer(file.handle(), 12, nullptr, FILE_BEGIN);
  EXPECT_TRUE(SetEndOfFile(file.handle()));
  SetFilePointer(file.handle(), 0, nullptr, FILE_BEGIN);
  char buffer[20];
  DWORD read = 0;
  EXPECT_TRUE(ReadFile(file.handle(), buffer, 20, &read, nullptr));
  EXPECT_EQ(std::string("0123456789\0\0", 12), std::string(buffer, read));
  SetFilePointer(file.handle(), 4, nullptr, FILE_BEGIN);
  EXPECT_TRUE(SetEndOfFile(file.handle()));
  EXPECT_EQ(4u, Position(file.handle()));
  file.Close();
  EXPECT_EQ("0123", textOf("a.txt"));
}

TEST_F(TransferTest, CountsAndBuffersOfManyMegabytesPassInOneCall) {
  std::vector<unsigned char> data(5'000'003);
  for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<unsigned char>(i * 7 + i / 251);
  const Opened file(L"big.bin", kReadWrite, CREATE_ALWAYS);
  DWORD moved = 0;
  EXPECT_TRUE(
      WriteFile(file.handle(), data.data(), static_cast<DWORD>(data.size()), &moved, nullptr));
  EXPECT_EQ(data.size(), moved);
  SetFilePointer(file.handle(), 0, nullptr, FILE_BEGIN);
  std::vector<unsigned char> back(data.size());
  EXPECT_TRUE(
      ReadFile(file.handle(), back.data(), static_cast<DWORD>(back.size()), &moved, nullptr));
  EXPECT_EQ(data, back);
}

TEST_F(TransferTest, SuccessLeavesTheLastErrorAlone) {
  const Opened file(L"a.txt");
  SetLastError(4711);
  char buffer[4];
  DWORD moved = 0;
  EXPECT_TRUE(ReadFile(file.handle(), buffer, 4, &moved, nullptr));
  EXPECT_TRUE(WriteFile(file.handle(), buffer, 4, &moved, nullptr));
  EXPECT_EQ(8u, Position(file.handle()));
  EXPECT_EQ(4711u, GetLastError());
}

}  // namespace
}  // namespace kx_seam
