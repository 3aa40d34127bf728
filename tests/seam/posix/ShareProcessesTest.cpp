// Share modes between processes, where the system itself has none.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <new>
#include <thread>

#include "Peer.h"
#include "SeamSupport.h"
#include "ShareRule.h"
#include "SystemCalls.h"

namespace kx_seam {
namespace {

constexpr int kRacers = 4;
constexpr int kRounds = 400;
constexpr uid_t kOrdinaryUser = 65534;

class ShareProcessesTest : public kx_test::KxTest {
 protected:
  void SetUp() override {
    KxTest::SetUp();
    makeFile("a.txt", "0123456789");
  }
};

/// Opens the file by every pair of sharings in two processes; how many openings went wrong.
int countMistakes(const wchar_t* name) {
  Peer peer;
  int mistakes = 0;
  for (const Sharing& first : kAllSharings) {
    for (const Sharing& second : kAllSharings) {
      if (peer.Open(name, first.access, first.share) != 0) ++mistakes;
      const Opened other(name, second.access, OPEN_EXISTING, second.share);
      if (other.refusal() != expectedRefusal(first, second)) ++mistakes;
      peer.Close();
    }
  }
  return mistakes;
}

TEST_F(ShareProcessesTest, TwoProcessesConflictExactlyByTheRule) {
  EXPECT_EQ(0, countMistakes(L"a.txt"));
}

TEST_F(ShareProcessesTest, UsersWithoutAllPermissionsConflictByTheSameRule) {
  ::chmod("a.txt", 0666);
  ::chmod(".", 0777);
  const auto asOrdinaryUser = [] {
    if (::geteuid() == 0 && ::setuid(kOrdinaryUser) != 0) return 127;
    return std::min(countMistakes(L"a.txt"), 126);
  };
  EXPECT_EQ(0, inChild(asOrdinaryUser));
}

/// A file that may be written but not read gives descriptors that take exclusive locks only.
TEST_F(ShareProcessesTest, WritersWhoMayNotReadConflictByTheSameRule) {
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

/// What racing processes tell each other.
struct Race {
  std::atomic<int> inside{0};
  std::atomic<int> violations{0};
  std::atomic<int> openings{0};
  std::atomic<int> otherErrors{0};
};

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

void openExclusively(Race& race, DWORD disposition) {
  Opened file(L"lock", kReadWrite, disposition, 0);
  if (!file.isOpen()) {
    if (file.refusal() != ERROR_SHARING_VIOLATION) ++race.otherErrors;
    return;
  }
  ++race.openings;
  if (++race.inside != 1) ++race.violations;
  std::this_thread::yield();
  --race.inside;
}

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

TEST_F(ShareProcessesTest, RacingExclusiveOpeningsNeverBothSucceed) {
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

TEST_F(ShareProcessesTest, RacingOpeningsWithoutTheGateNeverBothSucceed) {
  makeFile("lock");
  const SharedRace race;
  runRace([&](int) {
    kx_posix::SetCallHook(refuseGateAndPause);
    openExclusively(*race, OPEN_EXISTING);
  });
  EXPECT_EQ(0, (*race).violations);
  EXPECT_EQ(0, (*race).otherErrors);
}

TEST_F(ShareProcessesTest, RacingCreationsAndRemovalsWithoutTheGateNeverBothSucceed) {
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
  EXPECT_GT((*race).openings, 0);
}

TEST_F(ShareProcessesTest, RacingCreationsAndRemovalsNeverBothSucceed) {
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

TEST_F(ShareProcessesTest, AGateThatSomebodyKeepsOnlyDelaysAnOpening) {
  const int keeper = ::open("a.txt", O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(0, ::flock(keeper, LOCK_EX));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(0u, Opened(L"a.txt", kReadWrite).refusal());
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(150));
  ::close(keeper);
}

TEST_F(ShareProcessesTest, LocksOnTheDataAreNobodysSharing) {
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
