// How share modes hold between processes where the system itself has none.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <new>
#include <thread>

#include "InChild.h"
#include "ShareSupport.h"
#include "SystemCalls.h"

namespace kx_seam {
namespace {

class ShareMarksTest : public ShareProcessesTest {};

TEST_F(ShareMarksTest, UsersWithoutAllPermissionsConflictByTheSameRule) {
  ::chmod("a.txt", 0666);
  ::chmod(".", 0777);
  const auto asOrdinaryUser = [] {
    if (::geteuid() == 0 && ::setuid(kOrdinaryUser) != 0) return 127;
    return std::min(countMistakes(L"a.txt"), 126);
  };
  EXPECT_EQ(0, inChild(asOrdinaryUser));
}

/// A file that may be written but not read gives descriptors that take exclusive locks only.
TEST_F(ShareMarksTest, WritersWhoMayNotReadConflictByTheSameRule) {
  ::chmod("a.txt", 0222);
  ::chmod(".", 0777);
  const auto asOrdinaryUser = [] {
    if (::geteuid() == 0 && ::setuid(kOrdinaryUser) != 0) return 127;
    int mistakes = 0;
    for (const DWORD firstShare : {0u, 1u, 2u, 3u}) {
      for (const DWORD secondShare : {0u, 1u, 2u, 3u}) {
        const Sharing first = {GENERIC_WRITE, firstShare};
        const Sharing second = {GENERIC_WRITE, secondShare};
        Peer peer;
        if (peer.Open(L"a.txt", first.access, first.share) != 0) ++mistakes;
        const Opened other(L"a.txt", second.access, OPEN_EXISTING, second.share);
        if (other.refusal() != expectedRefusal(first, second)) ++mistakes;
        if (Opened(L"a.txt", GENERIC_READ).refusal() != 5) ++mistakes;
      }
    }
    return mistakes;
  };
  EXPECT_EQ(0, inChild(asOrdinaryUser));
}

/// A race in memory that the processes share.
class SharedRace {
 public:
  SharedRace()
      : memory_(::mmap(nullptr, sizeof(Race), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                       -1, 0)),
        race_(new (memory_) Race) {}
  ~SharedRace() { ::munmap(memory_, sizeof(Race)); }
  SharedRace(const SharedRace&) = delete;
  SharedRace& operator=(const SharedRace&) = delete;
  Race& operator*() const { return *race_; }

 private:
  void* memory_;
  Race* race_;
};

template <class Round>
void runRace(Round round) {
  pid_t racers[kRacers];
  for (pid_t& racer : racers) {
    racer = ::fork();
    if (racer != 0) continue;
    for (int i = 0; i < kRounds; ++i) round(i);
    ::_exit(0);
  }
  for (const pid_t racer : racers) ::waitpid(racer, nullptr, 0);
}

TEST_F(ShareMarksTest, RacingExclusiveOpeningsNeverBothSucceed) {
  makeFile("lock");
  const SharedRace race;
  runRace([&](int) { openExclusively(*race, OPEN_EXISTING); });
  EXPECT_EQ(0, (*race).violations);
  EXPECT_EQ(0, (*race).otherErrors);
  EXPECT_GT((*race).openings, 0);
}

/// Leaves the gate shut to all, and time for the others around every other step.
int refuseGateAndPause(kx_posix::SystemCall call, size_t*) {
  if (call == kx_posix::SystemCall::kGate) return ENOLCK;
  std::this_thread::sleep_for(std::chrono::microseconds(20));
  return 0;
}

/// Without the gate rivals may refuse each other each time, so how often they got in says nothing.
/// What they leave behind refuses nobody.
void expectOpensNow() { EXPECT_EQ(0u, Opened(L"lock", kReadWrite, OPEN_ALWAYS, 0).refusal()); }

TEST_F(ShareMarksTest, RacingOpeningsWithoutTheGateNeverBothSucceed) {
  makeFile("lock");
  const SharedRace race;
  runRace([&](int) {
    kx_posix::SetCallHook(refuseGateAndPause);
    openExclusively(*race, OPEN_EXISTING);
  });
  EXPECT_EQ(0, (*race).violations);
  EXPECT_EQ(0, (*race).otherErrors);
  expectOpensNow();
}

TEST_F(ShareMarksTest, RacingCreationsAndRemovalsWithoutTheGateNeverBothSucceed) {
  const SharedRace race;
  runRace([&](int i) {
    kx_posix::SetCallHook(refuseGateAndPause);
    if (i % 3 == 2) {
      DeleteFileW(L"lock");
    } else {
      openExclusively(*race, i % 2 == 0 ? CREATE_ALWAYS : OPEN_ALWAYS);
    }
  });
  EXPECT_EQ(0, (*race).violations);
  expectOpensNow();
}

TEST_F(ShareMarksTest, RacingCreationsAndRemovalsNeverBothSucceed) {
  const SharedRace race;
  runRace([&](int i) {
    if (i % 3 == 2) {
      DeleteFileW(L"lock");
    } else {
      openExclusively(*race, i % 2 == 0 ? CREATE_ALWAYS : OPEN_ALWAYS);
    }
  });
  EXPECT_EQ(0, (*race).violations);
  EXPECT_EQ(0, (*race).otherErrors);
  EXPECT_GT((*race).openings, 0);
}

TEST_F(ShareMarksTest, AGateThatSomebodyKeepsOnlyDelaysAnOpening) {
  const int keeper = ::open("a.txt", O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(0, ::flock(keeper, LOCK_EX));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(0u, Opened(L"a.txt", kReadWrite).refusal());
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(150));
  ::close(keeper);
}

TEST_F(ShareMarksTest, LocksOnTheDataAreNobodysSharing) {
  const int locker = ::open("a.txt", O_RDWR | O_CLOEXEC);
  struct flock whole = {};
  whole.l_type = F_WRLCK;
  whole.l_len = 1000000;
  ASSERT_EQ(0, ::fcntl(locker, F_OFD_SETLK, &whole));
  EXPECT_EQ(0u, Opened(L"a.txt", kReadWrite).refusal());
  ::close(locker);
}

// --- File systems that refuse the marks ---

int refuseMarks(kx_posix::SystemCall call, size_t*) {
  const bool isMark = call == kx_posix::SystemCall::kMark || call == kx_posix::SystemCall::kProbe;
  return isMark ? EINVAL : 0;
}

class ShareWithoutMarksTest : public ShareProcessesTest {
 protected:
  void SetUp() override {
    ShareProcessesTest::SetUp();
    kx_posix::SetCallHook(refuseMarks);
  }
  void TearDown() override {
    kx_posix::SetCallHook(nullptr);
    ShareProcessesTest::TearDown();
  }
};

TEST_F(ShareWithoutMarksTest, TheRuleHoldsWithinTheProcess) {
  for (const Sharing& first : kAllSharings) {
    for (const Sharing& second : kAllSharings) {
      const Opened holder(L"a.txt", first.access, OPEN_EXISTING, first.share);
      ASSERT_TRUE(holder.isOpen());
      const Opened other(path(L"a.txt"), second.access, OPEN_EXISTING, second.share);
      EXPECT_EQ(expectedRefusal(first, second), other.refusal()) << first << second;
    }
  }
}

TEST_F(ShareWithoutMarksTest, AnOpenFileIsNeitherMovedNorDeleted) {
  Opened holder(L"a.txt", GENERIC_READ, OPEN_EXISTING, kShareAll);
  EXPECT_EQ(32u, errorOf(MoveFileW(L"a.txt", L"b.txt")));
  EXPECT_EQ(32u, errorOf(DeleteFileW(L"a.txt")));
  holder.Close();
  EXPECT_EQ(0u, errorOf(DeleteFileW(L"a.txt")));
}

TEST_F(ShareWithoutMarksTest, OtherFilesAreNotConcerned) {
  makeFile("b.txt");
  const Opened holder(L"a.txt", kReadWrite);
  EXPECT_EQ(0u, Opened(L"b.txt", kReadWrite).refusal());
}

}  // namespace
}  // namespace kx_seam
