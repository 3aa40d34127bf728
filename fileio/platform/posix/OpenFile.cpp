#include "OpenFile.h"

#include <fcntl.h>

#include <cerrno>

#include "Errors.h"
#include "ShareMarks.h"

namespace kx_posix {
namespace {

/// How often an opening starts over because the name came to mean another file meanwhile.
constexpr int kMaxAttempts = 100;

/// One try to open a file: everything up to the marks.
class Opening {
 public:
  Opening(const std::string& path, const OpenRequest& request) : path_(path), request_(request) {}
  ~Opening() {
    if (result_.fd != -1) CloseFile(result_.fd);
  }
  Opening(const Opening&) = delete;
  Opening& operator=(const Opening&) = delete;

  /// False when the name came to mean another file, so that it all has to be done again.
  bool Run();
  OpenResult Release() {
    const OpenResult result = result_;
    result_.fd = -1;
    return result;
  }

 private:
  bool Wants(DWORD access) const { return (request_.info.access & access) != 0; }
  bool Creates() const { return request_.disposition != Disposition::kOpenExisting; }
  bool Truncates() const { return request_.disposition == Disposition::kCreateAlways; }

  void Descend();
  void OpenExisting();
  void Create();
  bool TryOpen(int flags);
  bool IsAllowed();
  int FindNameAgain() const;
  void Finish();
  void Refuse(DWORD error);

  const std::string& path_;
  const OpenRequest& request_;
  OpenResult result_;
  bool isReadable_ = false;
};

bool Opening::TryOpen(int flags) {
  // Without O_NONBLOCK, opening a pipe by name would wait for its other end.
  const int common = O_NOCTTY | O_NONBLOCK | (request_.isInherited ? 0 : O_CLOEXEC);
  result_.fd = Open(path_, flags | common, request_.newFileMode);
  const int mode = flags & O_ACCMODE;
  isReadable_ = mode == O_RDONLY || mode == O_RDWR;
  return result_.fd != -1;
}

void Opening::OpenExisting() {
  if (Wants(GENERIC_WRITE) || Truncates()) {
    // Readable if possible even for a handle that only writes: its marks can then be shared locks.
    const bool isOpen = TryOpen(O_RDWR);
    if (!isOpen && errno == EACCES && !Wants(GENERIC_READ)) TryOpen(O_WRONLY);
  } else if (!TryOpen(O_RDONLY) && errno == EACCES && !Wants(GENERIC_READ)) {
    if (!TryOpen(O_WRONLY) && errno == EACCES) TryOpen(O_PATH);
  }
}

void Opening::Create() { TryOpen(O_RDWR | O_CREAT | O_EXCL); }

/// Opens the file that is there or creates it. Whether it was there matters to the caller, so that
/// the two are never left to one call.
void Opening::Descend() {
  result_.existed = request_.disposition != Disposition::kCreateNew;
  if (result_.existed) OpenExisting();
  if (result_.fd == -1 && Creates() && (!result_.existed || errno == ENOENT)) {
    result_.existed = false;
    Create();
  }
}

/// Looks at what was opened. The permissions are compared here as well, since the superuser may
/// write what nobody may.
bool Opening::IsAllowed() {
  if (!GetFacts(result_.fd, &result_.facts)) {
    Refuse(ErrorFromErrno(errno));
    return false;
  }
  const bool changes = result_.existed && (Wants(GENERIC_WRITE) || Truncates());
  if (!result_.facts.IsFolder() && !(changes && result_.facts.IsReadOnly())) return true;
  Refuse(ERROR_ACCESS_DENIED);
  return false;
}

/// 0 when the name still means the file, ENOENT when it means another or none, else the errno that
/// kept it from being found out.
int Opening::FindNameAgain() const {
  FileFacts named;
  if (!GetFacts(path_, &named)) return errno;
  return named.IsSameFileAs(result_.facts) ? 0 : ENOENT;
}

void Opening::Refuse(DWORD error) {
  if (result_.fd != -1) CloseFile(result_.fd);
  result_.fd = -1;
  result_.error = error;
}

void Opening::Finish() {
  // O_NONBLOCK means nothing for files, but devices and pipes shall wait.
  if (!result_.facts.IsRegular()) ::fcntl(result_.fd, F_SETFL, 0);
  if (Truncates() && result_.existed && result_.facts.IsRegular() &&
      SetLength(result_.fd, 0) == -1) {
    Refuse(ErrorFromErrno(errno));
  }
}

bool Opening::Run() {
  Descend();
  if (result_.fd == -1) {
    // A file created or removed between the two steps; a link that leads nowhere ends the attempts.
    if (errno == EEXIST && request_.disposition != Disposition::kCreateNew) return false;
    Refuse(NameError(path_, errno));
    return true;
  }
  RememberHandle(result_.fd, request_.info);
  if (!IsAllowed()) return true;
  bool isGranted = true;
  int nameError = 0;
  if (request_.info.access != 0 && result_.facts.IsRegular()) {
    const Gate gate(result_.fd);
    isGranted = Share({result_.fd, isReadable_, request_.info, result_.facts});
    // Only now that nobody can take the name away any more.
    nameError = FindNameAgain();
  }
  if (nameError == ENOENT) return false;
  if (nameError != 0) {
    Refuse(ErrorFromErrno(nameError));
  } else if (!isGranted) {
    Refuse(ERROR_SHARING_VIOLATION);
  } else {
    Finish();
  }
  return true;
}

OpenResult Refusal(DWORD error) {
  OpenResult result;
  result.error = error;
  return result;
}

}  // namespace

DWORD FolderNameError(const FileName& name, Disposition disposition) {
  FileFacts facts;
  if (GetFacts(name.path, &facts)) {
    return facts.IsFolder() ? ERROR_ACCESS_DENIED : ERROR_INVALID_NAME;
  }
  const DWORD error = NameError(name.path, errno);
  const bool creates = disposition != Disposition::kOpenExisting;
  return error == ERROR_FILE_NOT_FOUND && creates ? ERROR_INVALID_NAME : error;
}

OpenResult OpenFile(const FileName& name, const OpenRequest& request) {
  if (name.error != ERROR_SUCCESS) return Refusal(name.error);
  if (name.endsInSeparator) return Refusal(FolderNameError(name, request.disposition));
  for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
    Opening opening(name.path, request);
    if (opening.Run()) return opening.Release();
  }
  return Refusal(ERROR_ACCESS_DENIED);
}

bool CloseFile(int fd) {
  // Before the descriptor is closed: its number may belong to another thread's file right after.
  ForgetHandle(fd);
  Unshare(fd);
  return Close(fd) != -1;
}

}  // namespace kx_posix
