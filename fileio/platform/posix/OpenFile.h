/// Opening files with share modes, for handles and for the operations on whole files.
#pragma once

#include <sys/types.h>

#include "FileNames.h"
#include "HandleTable.h"
#include "SystemCalls.h"

namespace kx_posix {

enum class Disposition { kCreateNew, kCreateAlways, kOpenExisting, kOpenAlways };

struct OpenRequest {
  HandleInfo info;
  Disposition disposition = Disposition::kOpenExisting;
  bool isInherited = false;
  mode_t newFileMode = 0666;  ///< As far as the process's mask allows.
};

struct OpenResult {
  int fd = -1;  ///< -1 when the file was not opened; then `error` tells why.
  DWORD error = ERROR_SUCCESS;
  bool existed = false;
  FileFacts facts;  ///< As found when the file was opened.
};

/// The descriptor stands in the side table and carries its marks; CloseFile gives it back.
OpenResult OpenFile(const FileName& name, const OpenRequest& request);
/// What a name that ends in a separator is refused with: it can only be a folder, which is never
/// opened.
DWORD FolderNameError(const FileName& name, Disposition disposition);
/// False with errno set when the system reports a failure; the descriptor is gone all the same.
bool CloseFile(int fd);

}  // namespace kx_posix
