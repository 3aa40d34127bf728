// What disk files and searches do below the exported interface: the thread's last error, and the
// times of a status.
#include <gmock/gmock.h>

#include "File.h"
#include "FileChecks.h"
#include "KxTest.h"
#include "WinApi.h"
#include "Wine.h"

namespace {

using kx_gen::CFileFind;
using kx_gen::CFileStatus;
using kx_gen::setStatusTimes;
using kx_test::logLines;
using testing::IsEmpty;

constexpr uint64_t kTicksPerSecond = 10000000;
constexpr uint64_t kSecondsFrom1601To1970 = 11644473600;

FILETIME fileTimeOf(uint64_t secondsSince1970) {
  const uint64_t ticks = (secondsSince1970 + kSecondsFrom1601To1970) * kTicksPerSecond;
  FILETIME time = {};
  time.dwLowDateTime = static_cast<DWORD>(ticks);
  time.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
  return time;
}

class FileSeamTest : public kx_test::KxTest {
 protected:
  // The last error that a search leaves when it finds nothing.
  static DWORD errorOfSearch(const std::wstring& pattern) {
    CFileFind find;
    SetLastError(NO_ERROR);
    EXPECT_FALSE(find.FindFile(pattern.c_str()));
    return GetLastError();
  }
};

TEST_F(FileSeamTest, FailedSearchLeavesItsReasonAsTheLastError) {
  kx_test::writeFile("a.txt", {});
  EXPECT_EQ(errorOfSearch(L"*.kxo"), 2u);
  EXPECT_EQ(errorOfSearch(L"missing"), 2u);
  EXPECT_EQ(errorOfSearch(L"nowhere\\*"), 3u);
  EXPECT_EQ(errorOfSearch(L""), 3u);
  EXPECT_EQ(errorOfSearch(L"a.txt\\*"), kx_test::unlessOnWine(267u, 123u));
  EXPECT_EQ(errorOfSearch(L"a*\\b.txt"), 123u);
}

TEST_F(FileSeamTest, FolderThatDoesNotFitAPathIsAnInvalidName) {
  kx_test::writeFile("a.txt", {});
  std::wstring pattern = path(L"");
  while (pattern.size() < 260) pattern += L".\\";
  EXPECT_EQ(errorOfSearch(pattern + L"*.txt"), 123u);
}

TEST_F(FileSeamTest, FailedSearchKeepsItsReasonThoughARunningOneIsEnded) {
  kx_test::writeFile("a.txt", {});
  CFileFind find;
  ASSERT_TRUE(find.FindFile(L"*.txt"));
  EXPECT_FALSE(find.FindFile(L"nowhere\\*"));
  EXPECT_EQ(GetLastError(), 3u);
}

TEST_F(FileSeamTest, StepBehindTheLastMatchSaysSoAgainAndAgain) {
  kx_test::writeFile("a.txt", {});
  CFileFind find;
  ASSERT_TRUE(find.FindFile(L"*.txt"));
  for (int step = 0; step < 3; ++step) {
    SetLastError(NO_ERROR);
    EXPECT_FALSE(find.FindNextFileW());
    EXPECT_EQ(GetLastError(), 18u);
  }
}

TEST_F(FileSeamTest, WriteTimeStandsInForTimesThatAreNotKept) {
  const FILETIME none = {};
  CFileStatus status;
  setStatusTimes(status, none, none, fileTimeOf(3000));
  EXPECT_EQ(status.creationTime.GetTime(), 3000u);
  EXPECT_EQ(status.lastAccessTime.GetTime(), 3000u);
  EXPECT_EQ(status.lastWriteTime.GetTime(), 3000u);
  setStatusTimes(status, fileTimeOf(1000), fileTimeOf(2000), fileTimeOf(3000));
  EXPECT_EQ(status.creationTime.GetTime(), 1000u);
  EXPECT_EQ(status.lastAccessTime.GetTime(), 2000u);
  EXPECT_EQ(status.lastWriteTime.GetTime(), 3000u);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FileSeamTest, FileTimeOfZeroIsTheTimeZeroInAStatus) {
  const FILETIME none = {};
  CFileStatus status;
  setStatusTimes(status, none, fileTimeOf(2000), none);
  EXPECT_EQ(status.creationTime.GetTime(), 0u);
  EXPECT_EQ(status.lastAccessTime.GetTime(), 2000u);
  EXPECT_EQ(status.lastWriteTime.GetTime(), 0u);
  EXPECT_THAT(logLines(), IsEmpty());
}

}  // namespace
