// A process that is killed while it saves, at every call that it makes to the system: what is on
// the disk afterwards is the whole old or the whole new document.
#include <csignal>
#include <iostream>

#include "InChild.h"
#include "Pace.h"
#include "SaveScenarios.h"
#include "SystemCalls.h"

namespace kx_seam {
namespace {

using kx_test::kSweepStep;

constexpr int kCallsBeforeKill = 2000;

/// The call of the process before which it is killed, and how much a transfer moves at most.
int callsLeft = 0;
size_t transferMost = 0;

int killAtCall(kx_posix::SystemCall /*call*/, size_t* count) {
  if (--callsLeft == 0) ::kill(::getpid(), SIGKILL);
  if (*count > transferMost) *count = transferMost;
  return 0;
}

/// Saves in a child that is killed at its n-th call. False when it needed fewer and ended well.
bool saveUntilKilled(const Stage& stage, int n, size_t most) {
  const int ended = inChild([&] {
    callsLeft = n;
    transferMost = most;
    const std::unique_ptr<kx_gen::CDatabase> db = stage.MakeDatabase();
    kx_posix::SetCallHook(killAtCall);
    stage.Save(*db);
    kx_posix::SetCallHook(nullptr);
    return 0;
  });
  return ended != 0;
}

class SaveKillTest : public kx_test::KxTest {
 protected:
  /// Kills the save at its calls; at how many.
  static int KillEverywhere(const Scenario& scenario, size_t transfer) {
    const Stage stage(scenario);
    for (int n = 1; n <= kCallsBeforeKill; n += kSweepStep) {
      SCOPED_TRACE(testing::Message() << scenario << ", call " << n);
      stage.Reset();
      const bool wasKilled = saveUntilKilled(stage, n, transfer);
      EXPECT_TRUE(stage.IsOldOrNew());
      EXPECT_TRUE(stage.IsKept());
      EXPECT_LE(stage.CountLeftovers(), 1u);
      EXPECT_TRUE(wasKilled || stage.IsNew());
      if (stage.CountLeftovers() > 0) ExpectCleanedUp(stage);
      if (!wasKilled || testing::Test::HasFailure()) return (n - 1) / kSweepStep;
    }
    ADD_FAILURE() << "never ended: " << scenario;
    return 0;
  }

  static void ExpectCleanedUp(const Stage& stage) {
    const std::unique_ptr<kx_gen::CDatabase> db = stage.MakeDatabase();
    stage.Save(*db);
    EXPECT_EQ(stage.CountLeftovers(), 0u);
    EXPECT_TRUE(stage.IsNew());
  }

  /// The points of all places of a kind, with transfers cut to `transfer` bytes.
  static int KillEverywhere(Kind kind, size_t transfer = SIZE_MAX) {
    int points = 0;
    for (const Place place : kAllPlaces) points += KillEverywhere({kind, place}, transfer);
    std::cout << points << " points\n";
    return points;
  }
};

TEST_F(SaveKillTest, ALargeOutlineIsOldOrNew) {
  EXPECT_GE(KillEverywhere(Kind::kLargeOutline), 250 / kSweepStep);
}

TEST_F(SaveKillTest, ALargeOutlineWrittenInSmallPiecesIsOldOrNew) {
  EXPECT_GE(KillEverywhere(Kind::kLargeOutline, 1000), 500 / kSweepStep);
}

TEST_F(SaveKillTest, ASmallOutlineIsOldOrNew) {
  EXPECT_GE(KillEverywhere(Kind::kSmallOutline), 250 / kSweepStep);
}

TEST_F(SaveKillTest, CategoriesAreOldOrNew) {
  EXPECT_GE(KillEverywhere(Kind::kCategories), 250 / kSweepStep);
}

TEST_F(SaveKillTest, AMemoryOutlineIsOldOrNew) {
  EXPECT_GE(KillEverywhere(Kind::kMemoryOutline), 250 / kSweepStep);
}

}  // namespace
}  // namespace kx_seam
