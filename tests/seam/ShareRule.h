/// The rule of share modes as it is stated, for tests to compare openings with.
#pragma once

#include <array>
#include <ostream>

#include "WinApi.h"

namespace kx_seam {

struct Sharing {
  DWORD access;
  DWORD share;
};

inline std::ostream& operator<<(std::ostream& out, const Sharing& sharing) {
  out << ((sharing.access & GENERIC_READ) != 0 ? "r" : "-")
      << ((sharing.access & GENERIC_WRITE) != 0 ? "w" : "-") << " sharing "
      << ((sharing.share & FILE_SHARE_READ) != 0 ? "r" : "-")
      << ((sharing.share & FILE_SHARE_WRITE) != 0 ? "w" : "-");
  return out << "; ";
}

inline std::array<Sharing, 12> allSharings() {
  constexpr DWORD kAccesses[] = {GENERIC_READ, GENERIC_WRITE, GENERIC_READ | GENERIC_WRITE};
  std::array<Sharing, 12> all = {};
  size_t i = 0;
  for (const DWORD access : kAccesses) {
    for (const DWORD share : {0u, 1u, 2u, 3u}) all[i++] = {access, share};
  }
  return all;
}

inline const std::array<Sharing, 12> kAllSharings = allSharings();

/// Every access that `user` asks for is among what `owner` shares.
inline bool isAllowed(const Sharing& user, const Sharing& owner) {
  const bool readingIsFine =
      (user.access & GENERIC_READ) == 0 || (owner.share & FILE_SHARE_READ) != 0;
  const bool writingIsFine =
      (user.access & GENERIC_WRITE) == 0 || (owner.share & FILE_SHARE_WRITE) != 0;
  return readingIsFine && writingIsFine;
}

/// The error of opening `second` while `first` is open.
inline DWORD expectedRefusal(const Sharing& first, const Sharing& second) {
  const bool conflict = !isAllowed(second, first) || !isAllowed(first, second);
  return conflict ? ERROR_SHARING_VIOLATION : 0;
}

}  // namespace kx_seam
