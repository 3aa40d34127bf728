/// What the tests of share modes between processes share.
#pragma once

#include <atomic>
#include <thread>

#include "Peer.h"
#include "SeamSupport.h"
#include "ShareRule.h"

namespace kx_seam {

class ShareProcessesTest : public kx_test::KxTest {
 protected:
  void SetUp() override {
    KxTest::SetUp();
    makeFile("a.txt", "0123456789");
  }
};

/// Opens the file by every pair of sharings in two processes; how many openings went wrong.
inline int countMistakes(const wchar_t* name) {
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

constexpr int kRacers = 4;
constexpr int kRounds = 400;

/// What those who race for a file tell each other.
struct Race {
  std::atomic<int> inside{0};
  std::atomic<int> violations{0};
  std::atomic<int> openings{0};
  std::atomic<int> otherErrors{0};
};

inline void openExclusively(Race& race, DWORD disposition) {
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

}  // namespace kx_seam
