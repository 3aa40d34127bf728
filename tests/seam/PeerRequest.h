/// What a test asks its second process (Peer.h) to do.
#pragma once

#include <string>

#include "WinApi.h"

namespace kx_seam {

struct PeerRequest {
  enum Kind : DWORD { kOpen, kClose };
  Kind kind = kClose;
  DWORD access = 0;
  DWORD share = 0;
  DWORD disposition = OPEN_EXISTING;
  wchar_t name[MAX_PATH] = {};
};

inline PeerRequest openingOf(const std::wstring& name, DWORD access, DWORD share,
                             DWORD disposition) {
  PeerRequest request;
  request.kind = PeerRequest::kOpen;
  request.access = access;
  request.share = share;
  request.disposition = disposition;
  name.copy(request.name, MAX_PATH - 1);
  return request;
}

/// Does it, in the second process, which keeps its file in `*file`. 0, or the last error.
inline DWORD carryOut(const PeerRequest& request, HANDLE* file) {
  if (request.kind == PeerRequest::kOpen) {
    *file = CreateFileW(request.name, request.access, request.share, nullptr, request.disposition,
                        FILE_ATTRIBUTE_NORMAL, nullptr);
    return *file != INVALID_HANDLE_VALUE ? 0 : GetLastError();
  }
  if (*file != INVALID_HANDLE_VALUE) CloseHandle(*file);
  *file = INVALID_HANDLE_VALUE;
  return 0;
}

}  // namespace kx_seam
