#include "ShareMarks.h"

#include <sys/random.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <list>
#include <mutex>
#include <new>
#include <thread>

namespace kx_posix {
namespace {

/// Far beyond any data, so that the marks meet no lock that anybody puts on the data.
constexpr off_t kFirstRegion = off_t{1} << 62;
constexpr off_t kRegionLength = off_t{1} << 20;
constexpr int kMarkAttempts = 64;
constexpr auto kGatePatience = std::chrono::milliseconds(200);
constexpr auto kGatePause = std::chrono::milliseconds(1);

enum Region { kReads, kWrites, kDeniesReading, kDeniesWriting, kRegionCount };

enum class Answer { kNo, kYes, kRefused };

off_t StartOf(int region) { return kFirstRegion + region * kRegionLength; }

bool IsAnnounced(Region region, const HandleInfo& info) {
  switch (region) {
    case kReads:
      return (info.access & GENERIC_READ) != 0;
    case kWrites:
      return (info.access & GENERIC_WRITE) != 0;
    case kDeniesReading:
      return (info.share & FILE_SHARE_READ) == 0;
    default:
      return (info.share & FILE_SHARE_WRITE) == 0;
  }
}

/// The region where a handle that is announced in `region` finds those whom it conflicts with.
Region OppositeOf(Region region) {
  static constexpr Region kOpposites[] = {kDeniesReading, kDeniesWriting, kReads, kWrites};
  return kOpposites[region];
}

bool Conflicts(const HandleInfo& a, const HandleInfo& b) {
  for (int region = 0; region < kRegionCount; ++region) {
    const auto own = static_cast<Region>(region);
    if (IsAnnounced(own, a) && IsAnnounced(OppositeOf(own), b)) return true;
  }
  return false;
}

off_t RandomByteOfRegion() {
  uint32_t random = 0;
  // Should the system have no random numbers at hand, the address is different enough.
  if (::getrandom(&random, sizeof(random), GRND_NONBLOCK) == -1) {
    random = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(&random) >> 4);
  }
  return 1 + random % (kRegionLength - 1);
}

/// A descriptor that cannot be read takes no shared locks. It locks a byte of its own instead:
/// which one does not matter, since probes look at the whole region.
int MarkOwnByte(int fd, off_t regionStart) {
  for (int attempt = 0; attempt < kMarkAttempts; ++attempt) {
    const int result = Mark(fd, true, regionStart + RandomByteOfRegion(), 1);
    if (result != -1 || (errno != EAGAIN && errno != EACCES)) return result;
  }
  return -1;
}

bool MarkRegion(const Sharer& sharer, off_t regionStart) {
  const int result = sharer.isReadable ? Mark(sharer.fd, false, regionStart, 1)
                                       : MarkOwnByte(sharer.fd, regionStart);
  return result != -1;
}

bool Announce(const Sharer& sharer) {
  for (int region = 0; region < kRegionCount; ++region) {
    if (!IsAnnounced(static_cast<Region>(region), sharer.info)) continue;
    if (!MarkRegion(sharer, StartOf(region))) return false;
  }
  return true;
}

Answer AnswerOf(int probed) {
  if (probed == -1) return Answer::kRefused;
  return probed == 0 ? Answer::kNo : Answer::kYes;
}

Answer FindConflict(const Sharer& sharer) {
  for (int region = 0; region < kRegionCount; ++region) {
    const auto own = static_cast<Region>(region);
    if (!IsAnnounced(own, sharer.info)) continue;
    const Answer answer = AnswerOf(Probe(sharer.fd, StartOf(OppositeOf(own)), kRegionLength));
    if (answer != Answer::kNo) return answer;
  }
  return Answer::kNo;
}

/// The handles of this process on file systems that refuse the marks. In static storage and never
/// destroyed: closing a file must need neither memory nor the library's statics.
struct ProcessTable {
  struct Entry {
    int fd;
    HandleInfo info;
    FileFacts facts;
  };
  std::mutex mutex;
  std::list<Entry> entries;
};

ProcessTable& TheProcessTable() {
  alignas(ProcessTable) static unsigned char storage[sizeof(ProcessTable)];
  static auto* const table = new (storage) ProcessTable;
  return *table;
}

bool ShareInProcess(const Sharer& sharer) {
  ProcessTable& table = TheProcessTable();
  const std::lock_guard<std::mutex> lock(table.mutex);
  const auto conflicts = [&](const ProcessTable::Entry& entry) {
    return entry.facts.IsSameFileAs(sharer.facts) && Conflicts(entry.info, sharer.info);
  };
  if (std::any_of(table.entries.begin(), table.entries.end(), conflicts)) return false;
  table.entries.push_back({sharer.fd, sharer.info, sharer.facts});
  return true;
}

/// Whether another descriptor than this one is an entry of the file.
bool IsInUseInProcess(int fd, const FileFacts& facts) {
  ProcessTable& table = TheProcessTable();
  const std::lock_guard<std::mutex> lock(table.mutex);
  const auto isOfFile = [&](const ProcessTable::Entry& entry) {
    return entry.fd != fd && entry.facts.IsSameFileAs(facts);
  };
  return std::any_of(table.entries.begin(), table.entries.end(), isOfFile);
}

/// Takes off the marks that a handle like this does not need.
void WithdrawMarks(int fd, const HandleInfo& kept) {
  for (int region = 0; region < kRegionCount; ++region) {
    if (IsAnnounced(static_cast<Region>(region), kept)) continue;
    Unmark(fd, StartOf(region), kRegionLength);
  }
}

}  // namespace

Gate::Gate(int fd) : fd_(fd) {
  const auto end = std::chrono::steady_clock::now() + kGatePatience;
  while (TryGate(fd_) == -1) {
    if (errno != EWOULDBLOCK || std::chrono::steady_clock::now() >= end) return;
    std::this_thread::sleep_for(kGatePause);
  }
  isEntered_ = true;
}

Gate::~Gate() {
  if (isEntered_) LeaveGate(fd_);
}

bool Share(const Sharer& sharer) {
  if (sharer.info.access == 0) return true;
  // Announcing before probing: of two handles that conflict, the later to announce sees the other.
  const Answer conflict = Announce(sharer) ? FindConflict(sharer) : Answer::kRefused;
  if (conflict == Answer::kRefused) return ShareInProcess(sharer);
  // Who is refused leaves no marks behind for others to meet, once the gate is open again.
  if (conflict == Answer::kYes) WithdrawMarks(sharer.fd, kUnmarked);
  return conflict == Answer::kNo;
}

void Unshare(int fd) {
  ProcessTable& table = TheProcessTable();
  const std::lock_guard<std::mutex> lock(table.mutex);
  table.entries.remove_if([fd](const ProcessTable::Entry& entry) { return entry.fd == fd; });
}

bool ClaimUnused(int fd, bool isReadable, const HandleInfo& held) {
  Sharer claimant;
  claimant.fd = fd;
  claimant.isReadable = isReadable;
  claimant.info = {0, 0};  // no access of its own, and none shared
  const Answer conflict = Announce(claimant) ? FindConflict(claimant) : Answer::kRefused;
  if (conflict == Answer::kYes) WithdrawMarks(fd, held);
  if (conflict != Answer::kRefused) return conflict == Answer::kNo;
  FileFacts facts;
  return GetFacts(fd, &facts) && !IsInUseInProcess(fd, facts);
}

void ShareAgain(int fd, const HandleInfo& info) {
  WithdrawMarks(fd, info);
  ProcessTable& table = TheProcessTable();
  const std::lock_guard<std::mutex> lock(table.mutex);
  for (ProcessTable::Entry& entry : table.entries) {
    if (entry.fd == fd) entry.info = info;
  }
}

}  // namespace kx_posix
