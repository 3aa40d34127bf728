/// Share modes between all handles of the machine, by marks on the open file. docs/platform.md
/// tells the design and why it holds.
#pragma once

#include "HandleTable.h"
#include "SystemCalls.h"

namespace kx_posix {

/// The right to open, remove or move a file undisturbed, as far as the others keep to it. That no
/// two conflicting calls both succeed does not depend on it; that one of them does succeed, when
/// they race, does. So it is not waited for longer than 200 ms.
class Gate {
 public:
  explicit Gate(int fd);
  ~Gate();
  Gate(const Gate&) = delete;
  Gate& operator=(const Gate&) = delete;

 private:
  int fd_;
  bool isEntered_ = false;
};

/// An opened descriptor that asks to be one of those that share the file.
struct Sharer {
  int fd = -1;
  bool isReadable = false;  ///< The descriptor itself, whatever its handle may do.
  HandleInfo info;
  FileFacts facts;
};

/// Marks the file with what the handle does and denies. False, with the marks to be released by
/// closing the descriptor, when another handle of the machine conflicts.
bool Share(const Sharer& sharer);
/// Call before closing a descriptor: takes its entries off the table of the process.
void Unshare(int fd);

/// A descriptor that neither does nor denies anything.
constexpr HandleInfo kUnmarked = {0, FILE_SHARE_READ | FILE_SHARE_WRITE};

/// True when no other handle reads or writes the file. Until the descriptor is closed, or shared
/// anew, none will: it is marked as denying both, which others see before they succeed. When false,
/// its marks are those of `held`, as before.
bool ClaimUnused(int fd, bool isReadable, const HandleInfo& held = kUnmarked);
/// Takes marks off: what the descriptor does and denies from now on, which is no more than before.
void ShareAgain(int fd, const HandleInfo& info);

}  // namespace kx_posix
