// Share modes between processes and between threads.
#include <vector>

#include "ShareSupport.h"

namespace kx_seam {
namespace {

TEST_F(ShareProcessesTest, TwoProcessesConflictExactlyByTheRule) {
  EXPECT_EQ(0, countMistakes(L"a.txt"));
}

TEST_F(ShareProcessesTest, ACrashReleasesWhatTheProcessHeld) {
  Peer peer;
  ASSERT_EQ(0u, peer.Open(L"a.txt", kReadWrite, 0));
  EXPECT_EQ(32u, Opened(L"a.txt", GENERIC_READ, OPEN_EXISTING, kShareAll).refusal());
  EXPECT_EQ(32u, errorOf(DeleteFileW(L"a.txt")));
  peer.Crash();
  EXPECT_EQ(0u, Opened(L"a.txt", kReadWrite).refusal());
}

TEST_F(ShareProcessesTest, AFileOpenElsewhereIsNeitherMovedNorDeleted) {
  Peer peer;
  ASSERT_EQ(0u, peer.Open(L"a.txt", GENERIC_READ, kShareAll));
  EXPECT_EQ(32u, errorOf(MoveFileW(L"a.txt", L"b.txt")));
  EXPECT_EQ(32u, errorOf(DeleteFileW(L"a.txt")));
  peer.Close();
  EXPECT_EQ(0u, errorOf(MoveFileW(L"a.txt", L"b.txt")));
}

TEST_F(ShareProcessesTest, ADeniedReadingKeepsOthersFromCopying) {
  Peer peer;
  ASSERT_EQ(0u, peer.Open(L"a.txt", GENERIC_WRITE, FILE_SHARE_WRITE));
  EXPECT_EQ(32u, errorOf(CopyFileW(L"a.txt", L"b.txt", TRUE)));
  EXPECT_FALSE(std::filesystem::exists("b.txt"));
}

TEST_F(ShareProcessesTest, RacingThreadsNeverBothSucceed) {
  makeFile("lock");
  Race race;
  std::vector<std::thread> threads;
  threads.reserve(kRacers);
  for (int i = 0; i < kRacers; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < kRounds; ++round) openExclusively(race, OPEN_EXISTING);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0, race.violations);
  EXPECT_EQ(0, race.otherErrors);
  EXPECT_GT(race.openings, 0);
}

}  // namespace
}  // namespace kx_seam
