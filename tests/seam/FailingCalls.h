/// Calls that files make to the system, failing on request; the platform's own seam, or what this
/// program was linked to where there is none.
#pragma once

#include <cstddef>
#include <filesystem>

namespace kx_seam {

enum class Refusal { kDiskFull, kInputOutput, kDenied };
constexpr Refusal kAllRefusals[] = {Refusal::kDiskFull, Refusal::kInputOutput, Refusal::kDenied};

/// The system's number for a refusal, as exceptions publish it.
long errorNumberOf(Refusal refusal);

/// While one of these lives, the n-th call fails, counted from 1, or with `goesOn` that one and all
/// behind it.
class FailingFileCall {
 public:
  FailingFileCall(long nth, bool goesOn, Refusal refusal);
  FailingFileCall(const FailingFileCall&) = delete;
  FailingFileCall& operator=(const FailingFileCall&) = delete;
  ~FailingFileCall();
  static bool HasFailed();
};

/// The handles of files that this process has open.
size_t countOpenHandles();

/// Nothing here depends on a disk, and thousands of saves would wait for it: a folder in memory,
/// where the system has one. `fallback` elsewhere.
std::filesystem::path fastFolder(const std::filesystem::path& fallback);

}  // namespace kx_seam
