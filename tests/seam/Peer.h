/// A second process for tests that need one.
#pragma once

#include <memory>
#include <string>

#include "WinApi.h"

namespace kx_seam {

/// A child of the test that opens and closes one file on request, in the current folder.
class Peer {
 public:
  Peer();
  ~Peer();
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  /// 0 when the child could open the file, else its last error.
  DWORD Open(const std::wstring& name, DWORD access, DWORD share,
             DWORD disposition = OPEN_EXISTING);
  void Close();
  /// Ends the child at once, without a chance to close anything.
  void Crash();

 private:
  class Process;
  std::unique_ptr<Process> process_;
};

}  // namespace kx_seam
