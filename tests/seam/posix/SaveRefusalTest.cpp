// A save in which the system refuses a call, each in turn, once or from then on: the old document
// stays, the new file goes, and the database can be used and saved again.
#include <unistd.h>

#include <cerrno>
#include <iostream>

#include "Pace.h"
#include "SaveScenarios.h"
#include "SystemCalls.h"

namespace kx_seam {
namespace {

using kx_posix::SystemCall;
using kx_test::kSweepStep;
using kx_test::Thrown;
using kx_test::thrownBy;

constexpr int kMostCalls = 2000;

/// Which call fails, counted from 1, with which error, and whether all behind it do, too.
struct Refusal {
  int callsLeft = 0;
  int error = 0;
  bool goesOn = false;
};
Refusal refusal;

int refuseCall(SystemCall /*call*/, size_t* /*count*/) {
  --refusal.callsLeft;
  const bool fails = refusal.goesOn ? refusal.callsLeft <= 0 : refusal.callsLeft == 0;
  return fails ? refusal.error : 0;
}

/// Nothing here depends on a disk, and thousands of saves would wait for it: a folder in memory,
/// where the system has one.
std::filesystem::path fastFolder() {
  const std::filesystem::path memory = "/dev/shm";
  if (::access(memory.c_str(), W_OK | X_OK) != 0) return std::filesystem::current_path();
  return memory / ("kx_save_" + std::to_string(::getpid()));
}

class SaveRefusalTest : public kx_test::KxTest {
 protected:
  void TearDown() override {
    kx_posix::SetCallHook(nullptr);
    std::filesystem::remove_all(fastFolder());
    KxTest::TearDown();
  }

  /// Lets the calls of a save fail, one in each; how many did.
  static int RefuseEverywhere(const Scenario& scenario, int error, bool goesOn) {
    const Stage stage(scenario, fastFolder());
    for (int n = 1; n <= kMostCalls; n += kSweepStep) {
      SCOPED_TRACE(testing::Message() << scenario << ", error " << error << ", call " << n
                                      << (goesOn ? " and on" : ""));
      stage.Reset();
      const std::unique_ptr<kx_gen::CDatabase> db = stage.MakeDatabase();
      refusal = {n, error, goesOn};
      kx_posix::SetCallHook(refuseCall);
      const Thrown thrown = thrownBy([&] { stage.Save(*db); });
      kx_posix::SetCallHook(nullptr);
      const bool wasRefused = refusal.callsLeft <= 0;
      ExpectOutcome(stage, scenario, thrown, goesOn);
      ExpectUsable(stage, *db);
      if (!wasRefused || testing::Test::HasFailure()) return (n - 1) / kSweepStep;
    }
    ADD_FAILURE() << "never ended: " << scenario;
    return 0;
  }

  static void ExpectOutcome(const Stage& stage, const Scenario& scenario, const Thrown& thrown,
                            bool goesOn) {
    if (thrown.kind == Thrown::kNothing) {
      EXPECT_TRUE(stage.IsNew());
    } else {
      EXPECT_TRUE(stage.IsOld()) << thrown;
    }
    EXPECT_TRUE(stage.IsKept());
    // A file that the system does not let go stays for the next save, and so does an abandoned one
    // that it does not let be opened.
    const size_t refused = goesOn ? 1 : 0;
    const size_t abandoned = scenario.place == Place::kBesideAbandoned ? 1 : 0;
    EXPECT_LE(stage.CountLeftovers(), refused + abandoned) << thrown;
  }

  static void ExpectUsable(const Stage& stage, kx_gen::CDatabase& db) {
    EXPECT_EQ(db.IsOpen(), stage.IsOpenInIt());
    stage.Save(db);
    EXPECT_TRUE(stage.IsNew());
    EXPECT_TRUE(stage.IsKept());
    EXPECT_EQ(stage.CountLeftovers(), 0u);
    EXPECT_EQ(db.IsOpen(), stage.IsOpenInIt());
    if (!db.IsOpen()) return;
    EXPECT_EQ(db.GetLength(), stage.GetNewSize());
    const int rows = db.GetRecordset()->getSize();
    db.ReadRows();
    EXPECT_EQ(db.GetRecordset()->getSize(), rows);
  }

  static void RefuseEverywhere(Kind kind) {
    int points = 0;
    for (const Place place : kAllPlaces) {
      for (const int error : {EIO, ENOSPC, EACCES}) {
        points += RefuseEverywhere({kind, place}, error, false);
        points += RefuseEverywhere({kind, place}, error, true);
      }
    }
    std::cout << points << " points\n";
    EXPECT_GE(points, 1500 / kSweepStep);
  }
};

TEST_F(SaveRefusalTest, ALargeOutlineIsOldOrNewAndCanBeSavedAgain) {
  RefuseEverywhere(Kind::kLargeOutline);
}

TEST_F(SaveRefusalTest, ASmallOutlineIsOldOrNewAndCanBeSavedAgain) {
  RefuseEverywhere(Kind::kSmallOutline);
}

TEST_F(SaveRefusalTest, CategoriesAreOldOrNewAndCanBeSavedAgain) {
  RefuseEverywhere(Kind::kCategories);
}

TEST_F(SaveRefusalTest, AMemoryOutlineIsOldOrNewAndCanBeSavedAgain) {
  RefuseEverywhere(Kind::kMemoryOutline);
}

}  // namespace
}  // namespace kx_seam
