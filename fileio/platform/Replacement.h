/// A new file that takes another's place in one step: what a save that cannot lose a document needs
/// of the system.
#pragma once

#include <memory>

#include "WinApi.h"

namespace kx_platform {

/// What a handle was opened for.
struct OpenMode {
  DWORD access = 0;  ///< GENERIC_READ and GENERIC_WRITE.
  DWORD share = 0;   ///< FILE_SHARE_READ and FILE_SHARE_WRITE.
  bool isInherited = false;
};

/// The new file stands, under a temporary name, in the folder of the one that it is to replace, the
/// target: where a link is named, what it leads to. Until it is in place nobody else can open it.
/// Each function that returns false sets the last error.
class Replacement {
 public:
  Replacement();
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;
  ~Replacement();  ///< Removes the new file unless it is in place.

  /// Makes the new file, which only this user may open while there is an old one. Removes first
  /// what earlier saves left in the folder, as far as it can be opened exclusively. Refused for a
  /// target that is no regular file, or that nobody may write (5).
  bool Create(const wchar_t* path);
  /// The new file, open for reading and writing; it belongs to this object.
  HANDLE Handle() const;
  /// Whether an open handle's file is the target.
  bool IsTarget(HANDLE file) const;

  /// Gives the new file the old one's permissions, brings it to the disk, puts it in place, and
  /// brings the folder to the disk. Refused while anybody else has the old file open (32), and,
  /// without `mayReplace`, when there is an old file (80). When it fails the old file is what it
  /// was.
  ///
  /// `*open` is a handle on the target that the caller has, opened as `mode` says; null when there
  /// is none. It is replaced by a handle on the new file that is open in the same way, at its
  /// beginning. Where the system cannot give it the same handle again, it is the invalid one.
  bool PutInPlace(bool mayReplace, HANDLE* open, const OpenMode& mode);

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace kx_platform
