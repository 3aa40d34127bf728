#include "Sweep.h"

#include <new>
#include <optional>

#include "Apart.h"
#include "FailingCalls.h"
#include "Heap.h"
#include "KeptTraces.h"
#include "Pace.h"

namespace kx_failing {
namespace {

using kx_seam::FailingAllocation;
using kx_seam::FailingFileCall;
using kx_seam::Refusal;

constexpr long kMostPoints = 100000;

/// Where programs are slow, only some of the points behind the first ones are tried. Those of one
/// row are those of the next, and the number is a prime, so that all kinds have their turn.
constexpr long kFirstPoints = 10;
constexpr long kStride = kx_test::kIsSlow ? 31 : 1;

long nextPoint(long n) { return n < kFirstPoints ? n + 1 : n + kStride; }

/// The n-th point failing, while it lives.
class Disturbance {
 public:
  Disturbance(Cause cause, long nth, bool goesOn, Refusal refusal) : cause_(cause) {
    if (cause == Cause::kAllocation) {
      allocation_.emplace(nth, goesOn);
    } else {
      fileCall_.emplace(nth, goesOn, refusal);
    }
  }
  bool HasStruck() const {
    return cause_ == Cause::kAllocation ? FailingAllocation::HasFailed()
                                        : FailingFileCall::HasFailed();
  }

 private:
  Cause cause_;
  std::optional<FailingAllocation> allocation_;
  std::optional<FailingFileCall> fileCall_;
};

/// Runs a step and tells how it ended.
template <class Step>
Ending endingOf(Step step) {
  Ending ending;
  try {
    ending.thrown = kx_test::thrownBy([&] { ending.answer = step(); });
  } catch (const std::bad_alloc&) {
    ending.isOutOfMemory = true;
  }
  ending.isDone = !ending.isOutOfMemory && ending.thrown.kind == kx_test::Thrown::kNothing &&
                  ending.answer.empty();
  return ending;
}

constexpr size_t kEndOfProgram = 7;

size_t wayOf(const Ending& ending) {
  if (ending.isDone) return 0;
  if (ending.isOutOfMemory) return 6;
  constexpr size_t kByKind[] = {1, 2, 3, 4, 5};
  return kByKind[ending.thrown.kind];
}

class Sweeper {
 public:
  Sweeper(const Listed& listed, Cause cause) : listed_(listed), cause_(cause) {}
  Sweep Run();

 private:
  struct Point {
    long nth;
    bool goesOn;
    Refusal refusal;
  };
  enum class Reached { kPoint, kEnd };

  Reached TryPoint(const Point& point);
  Reached TryHere(const Point& point);
  Reached TryApart(const Point& point);
  Reached TryWatched(const Point& point, long* leaked);
  Reached Disturb(const Point& point);
  void Repeat(bool isMadeWhole);

  const Listed& listed_;
  Cause cause_;
  std::unique_ptr<Operation> operation_;
  size_t way_ = 0;  // how the last point ended
  Sweep sweep_;
};

/// Operation and checks. Everything that fails lives in the inner block.
Sweeper::Reached Sweeper::Disturb(const Point& point) {
  Reached reached = Reached::kEnd;
  bool isMadeWhole = false;
  Ending ending;
  operation_->Prepare();
  {
    const Disturbance disturbance(cause_, point.nth, point.goesOn, point.refusal);
    bool isMade = false;
    ending = endingOf([&] {
      operation_->Make();
      isMade = true;
      isMadeWhole = !disturbance.HasStruck();
      return operation_->Run();
    });
    // Destroyed while nothing works.
    if (point.goesOn && !ending.isDone) operation_->Drop();
    if (disturbance.HasStruck()) reached = Reached::kPoint;
    isMadeWhole = isMadeWhole && isMade;
  }
  EXPECT_TRUE(operation_->IsDocumented(ending, cause_, kx_seam::errorNumberOf(point.refusal)))
      << ending;
  EXPECT_TRUE(reached == Reached::kPoint || ending.isDone) << ending;
  operation_->CheckFiles(ending, cause_, point.goesOn);
  way_ = wayOf(ending);
  // What nothing worked for is gone, and new objects work as ever; there what was left of a save
  // that could not clean up is cleaned up.
  if (!point.goesOn || cause_ == Cause::kFileCall) Repeat(isMadeWhole);
  operation_->Drop();
  return reached;
}

/// What an operation failed on can be used, and the operation repeated with it.
void Sweeper::Repeat(bool isMadeWhole) {
  if (!isMadeWhole) operation_->Drop();  // an object for which there was not all the memory
  operation_->Make();
  operation_->Use();
  operation_->Prepare();
  const Ending again = endingOf([&] { return operation_->Run(); });
  EXPECT_TRUE(again.isDone) << "again: " << again;
  operation_->CheckFiles(again, Cause::kFileCall, false);
}

/// Counts what is left over, but for the traces that stay by design.
Sweeper::Reached Sweeper::TryWatched(const Point& point, long* leaked) {
  const size_t handles = kx_seam::countOpenHandles();
  const size_t traces = kx_CountKeptTraces().count;
  const long blocks = kx_seam::countBlocks();
  const Reached reached = Disturb(point);
  const auto kept = static_cast<long>(kx_CountKeptTraces().count - traces);
  *leaked = kx_seam::countBlocks() - blocks - kept;
  EXPECT_EQ(kx_seam::countOpenHandles(), handles);
  return reached;
}

Sweeper::Reached Sweeper::TryPoint(const Point& point) {
  SCOPED_TRACE(testing::Message() << listed_.name << ", point " << point.nth
                                  << (point.goesOn ? " and on" : ""));
  const bool mayEnd = listed_.mayEndProcess && cause_ == Cause::kAllocation;
  return mayEnd ? TryApart(point) : TryHere(point);
}

Sweeper::Reached Sweeper::TryApart(const Point& point) {
  constexpr int kFailed = 100;
  constexpr int kEnd = 101;
  constexpr int kFirstWay = 102;
  const int code = runApart([&] {
    const Reached reached = TryHere(point);
    if (testing::Test::HasFailure()) return kFailed;
    return reached == Reached::kEnd ? kEnd : kFirstWay + static_cast<int>(way_);
  });
  EXPECT_NE(code, kFailed);
  if (code == kEnd) return Reached::kEnd;
  way_ = kEndOfProgram;
  if (code >= kFirstWay) {
    way_ = static_cast<size_t>(code - kFirstWay);
  } else if (code != kFailed) {
    operation_->CheckEnd(code, point.goesOn);
  }
  return Reached::kPoint;
}

/// What a process keeps once, such as a table that grew, is no leak: a leak leaves something behind
/// every time.
Sweeper::Reached Sweeper::TryHere(const Point& point) {
  long leaked = 0;
  Reached reached = TryWatched(point, &leaked);
  if (leaked != 0) reached = TryWatched(point, &leaked);
  EXPECT_TRUE(leaked == 0 || listed_.mayLeak) << leaked << " blocks left over";
  return reached;
}

Sweep Sweeper::Run() {
  operation_ = listed_.make();
  for (long n = 1; n <= kMostPoints; n = nextPoint(n)) {
    int ends = 0;
    for (const bool goesOn : {false, true}) {
      const auto refusal = kx_seam::kAllRefusals[static_cast<size_t>(n % 3)];
      if (TryPoint({n, goesOn, refusal}) == Reached::kEnd) {
        ++ends;
        continue;
      }
      ++sweep_.points;
      ++sweep_.endings[way_];
      if (testing::Test::HasFailure()) return sweep_;
    }
    sweep_.last = n;
    if (ends == 2) return sweep_;
  }
  ADD_FAILURE() << "never passed untouched: " << listed_.name;
  return sweep_;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const Sweep& sweep) {
  out << sweep.points << " points";
  for (size_t way = 0; way < sweep.endings.size(); ++way) {
    if (sweep.endings[way] > 0) out << ", " << sweep.endings[way] << " " << kWays[way];
  }
  return out;
}

Sweep failEverywhere(const Listed& listed, Cause cause) { return Sweeper(listed, cause).Run(); }

}  // namespace kx_failing
