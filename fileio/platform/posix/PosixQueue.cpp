#include "WinApi.h"

namespace {

/// A quit message is not queued but pending: several requests are one, with the last exit code.
struct PendingQuit {
  bool isPending = false;
  int exitCode = 0;
};

thread_local PendingQuit quit;

}  // namespace

BOOL PeekMessageW(LPMSG message, HWND /*window*/, UINT /*first*/, UINT /*last*/, UINT remove) {
  // A quit message passes every filter.
  if (!quit.isPending) return FALSE;
  *message = {};
  message->message = WM_QUIT;
  message->wParam = static_cast<WPARAM>(quit.exitCode);
  if ((remove & PM_REMOVE) != 0) quit.isPending = false;
  return TRUE;
}

void PostQuitMessage(int exitCode) { quit = {true, exitCode}; }
