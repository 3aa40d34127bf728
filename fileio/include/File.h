/// Disk files, file search, time values and path functions.
#pragma once

#include <ctime>

#include "KxFormat.h"
#include "KxPlatform.h"
#include "KxString.h"

namespace kx_gen {

class DatabaseSave;

/// Seconds since 1 January 1970, UTC, in 32 bits; 0 when a conversion from a file time failed, all
/// ones when one from a broken-down time did.
class KX_API CTime {
 public:
  CTime() = default;  ///< 0.
  // NOLINTNEXTLINE(google-explicit-constructor): a count is a time
  CTime(unsigned long seconds) : seconds_(static_cast<uint32_t>(seconds)) {}
  /// Local time to seconds, as the C runtime's `mktime` does. Day 1 to 31, month 1 to 12 and year
  /// from 1900 are asserted. `dst`: 0 standard time, positive daylight saving, negative unknown.
  CTime(int year, int month, int day, int hour, int minute, int second, int dst);
  CTime(const SYSTEMTIME& local, int dst);  ///< The same; milliseconds are dropped.
  CTime(const FILETIME& utc, int dst);      ///< 0 when it cannot be converted.
  CTime& operator=(unsigned long seconds) {
    seconds_ = static_cast<uint32_t>(seconds);
    return *this;
  }

  static CTime GetCurrentTime();  ///< Now.
  unsigned long GetTime() const { return seconds_; }

  /// Fill `*out` and return it; null, and nothing filled, when the time cannot be broken down.
  std::tm* GetGmtTm(std::tm* out) const;
  std::tm* GetLocalTm(std::tm* out) const;
  /// The local time, milliseconds 0; false, and nothing filled, when there is none.
  bool GetAsSystemTime(SYSTEMTIME& local) const;

  // Fields of the local time; 0 when it cannot be broken down.
  int GetYear() const;
  int GetMonth() const;  ///< 1 to 12.
  int GetDay() const;    ///< 1 to 31.
  int GetHour() const;
  int GetMinute() const;
  int GetSecond() const;

  friend bool operator==(CTime a, CTime b) { return a.seconds_ == b.seconds_; }
  friend bool operator!=(CTime a, CTime b) { return a.seconds_ != b.seconds_; }
  friend bool operator<(CTime a, CTime b) { return a.seconds_ < b.seconds_; }
  friend bool operator>(CTime a, CTime b) { return a.seconds_ > b.seconds_; }
  friend bool operator<=(CTime a, CTime b) { return a.seconds_ <= b.seconds_; }
  friend bool operator>=(CTime a, CTime b) { return a.seconds_ >= b.seconds_; }

 private:
  void setBrokenDown(int year, int month, int day, int hour, int minute, int second, int dst);
  uint32_t seconds_ = 0;
};

/// What `CFile::GetStatus` tells of a file.
struct CFileStatus {
  CTime creationTime;
  CTime lastWriteTime;
  CTime lastAccessTime;
  uint32_t size = 0;                        ///< In bytes; the low 32 bits.
  unsigned char attribute = 0;              ///< The low bits of the file's attributes.
  wchar_t fullName[format::kMaxPath] = {};  ///< The name as given, at most 259 characters.
};

/// One disk file. Every refusal of the system is thrown: `CFileException*` for opening, writing,
/// changing the length and the operations by name, plain `CException*` with message 8 (read), 9
/// (flush) or 10 (seek, position). Also the virtual interface of the memory files.
class KX_API CFile {
  friend class DatabaseSave;

 public:
  /// Open flags, combined by OR: one access, one sharing, and the others as wanted.
  enum OpenFlags : unsigned int {
    modeRead = 0x0000,
    modeWrite = 0x0001,
    modeReadWrite = 0x0002,
    shareCompat = 0x0000,
    shareExclusive = 0x0010,
    shareDenyWrite = 0x0020,
    shareDenyRead = 0x0030,
    shareDenyNone = 0x0040,
    modeNoInherit = 0x0080,
    modeCreate = 0x1000,
    modeNoTruncate = 0x2000,  ///< With modeCreate: keep what the file holds.
  };

  CFile();  ///< Closed, without a name.
  CFile(const CFile&) = delete;
  CFile& operator=(const CFile&) = delete;
  virtual ~CFile();  ///< Closes.

  /// Opens `name`, closing first what was open. Returns 1 or throws `CFileException*`, which leaves
  /// the file closed. Flags without a meaning are asserted and give no access or no sharing.
  virtual int Open(const wchar_t* name, unsigned int flags);
  virtual void Close();                           ///< Nothing on a closed file.
  virtual void SetFilePath(const wchar_t* path);  ///< Changes the name, not the file.
  /// Returns the count of bytes that the system wrote.
  virtual unsigned int Write(const void* data, unsigned int count);
  /// Returns `count`; fewer bytes are a thrown `CException(8, 7)`, and the position has moved
  /// behind those that there were.
  virtual unsigned int Read(void* buffer, unsigned int count);
  /// Moves from 0 begin, 1 current or 2 end and returns the new position. Positions of 0xFFFFFFFF
  /// and above fail, with the position kept.
  virtual unsigned long Seek(long offset, unsigned int from);
  virtual unsigned long GetPosition() const;
  virtual void Flush();  ///< What was written is on the disk. Nothing on a closed file.
  virtual bool IsOpen() const;
  /// Cuts or extends, with zeros, and leaves the position at `length`.
  virtual void SetLength(unsigned long length);
  virtual unsigned long GetLength();  ///< In bytes; leaves the position where it was.

  /// Takes a system handle (on POSIX systems a file descriptor), which this object will close, and
  /// moves it to the beginning. What was open before is forgotten, not closed; the name stays.
  void Attach(unsigned int handle);
  /// The system handle; 0xFFFFFFFF when closed.
  unsigned int GetFileHandle() const;

  _String GetFilePath() const;  ///< The name given to `Open`, "" before.
  // The free functions of the same names, on this name.
  _String GetFileDrive() const;
  _String GetFileDir() const;
  _String GetFileTitle() const;
  _String GetFileExt() const;
  _String GetNextValidNumberedName(const wchar_t* other) const;

  /// Concatenates, adding a missing separator behind the folder and a missing dot before the
  /// extension.
  static _String CreateFilePath(const wchar_t* folder, const wchar_t* name);
  static _String CreateFilePath(const wchar_t* folder, const wchar_t* title, const wchar_t* ext);
  static _String CreateFilePath(const wchar_t* drive, const wchar_t* folder, const wchar_t* title,
                                const wchar_t* ext);

  void SeekToBegin();
  unsigned long SeekToEnd();  ///< Returns the length.
  bool IsEOF();               ///< The position is exactly the length.

  // Whole files by name. None replaces an existing file.
  static void Rename(const wchar_t* from, const wchar_t* to);
  static void Remove(const wchar_t* name);
  static void Move(const wchar_t* from, const wchar_t* to);  ///< As `Rename`; asserts both names.
  static void Copy(const wchar_t* from, const wchar_t* to);

  /// The open file's status, or the name alone of a closed one. False when the system refuses.
  bool GetStatus(CFileStatus& status) const;
  /// The status of a file or folder by name. False when there is none.
  static bool GetStatus(const wchar_t* name, CFileStatus& status);

 private:
  unsigned long seekHandle(int64_t offset, unsigned int from);

  HANDLE handle_;
  _String path_;
  unsigned int flags_ = 0;  // those that it was opened with ...
  int flagsKnown_ = 0;      // ... unless the handle was taken over. Fills the object to its end.
};

/// A file whose contents live in one growing heap block, so that a database can be built or parsed
/// in memory. It always reports closed, and works. Unlike on disk, a short read is no error.
class KX_API MemFile : public CFile {
 public:
  /// Commands of `GetBufferPtr`.
  enum BufferCommand : unsigned int {
    bufferRead = 0,
    bufferWrite = 1,
    bufferCommit = 2,
    bufferCheck = 3,
  };

  /// Grows in steps of `growBytes`; 0: not at all.
  explicit MemFile(unsigned int growBytes);
  /// Empty; then as `Attach`.
  MemFile(unsigned char* buffer, unsigned int size, unsigned int growBytes);
  MemFile(const MemFile&) = delete;
  MemFile& operator=(const MemFile&) = delete;
  ~MemFile() override;

  /// Takes the caller's block: full of content when `growBytes` is 0, else empty. The caller keeps
  /// it, but a block attached with a growth step must come from `malloc`: growing reallocates it.
  void Attach(unsigned char* buffer, unsigned int size, unsigned int growBytes);
  unsigned char* Detach();  ///< Gives the block to the caller; the file is empty afterwards.

  void Close() override;  ///< Frees a block of its own; a closed memory file cannot grow.
  /// Writes all, growing as needed, or throws message 11.
  unsigned int Write(const void* data, unsigned int count) override;
  /// Returns how many bytes there were, up to `count`.
  unsigned int Read(void* data, unsigned int count) override;
  /// A position beyond the length is legal; one below 0 throws `CFileException*`, cause badSeek. A
  /// bad origin is asserted and gives 0xFFFFFFFF.
  unsigned long Seek(long offset, unsigned int from) override;
  unsigned long GetPosition() const override;
  void Flush() override;  ///< Nothing.
  /// Sets the length, growing as needed; a position behind it moves back to it. Message 11.
  void SetLength(unsigned long length) override;

  // Where the block comes from: the C runtime's heap in this class. Null when memory ran out.
  virtual unsigned char* Alloc(unsigned long size);
  virtual unsigned char* Realloc(unsigned char* block, unsigned long size);
  virtual void Free(unsigned char* block);
  /// Makes room for `needed` bytes or throws message 11; new bytes are zero.
  virtual void GrowFile(unsigned long needed);
  virtual void AssertValid() const;  ///< Asserts that the fields fit each other; changes nothing.
  virtual void Abort();              ///< Closes and never throws.
  /// Direct access to the block. Read: `*start` to `*end` is what up to `count` bytes (0xFFFFFFFF:
  /// all) give, and the position moves behind them. Write: the room for `count` bytes. Both return
  /// its size; nothing is stored in a null `start` or `end`. Commit, with a null `start`: position
  /// and length move on by `count`, within the block; returns 0. Check returns 1: direct access is
  /// supported.
  virtual unsigned int GetBufferPtr(unsigned int command, unsigned int count, void** start,
                                    void** end);

 protected:
  unsigned int growBytes_ = 0;
  uint32_t position_ = 0;
  uint32_t capacity_ = 0;
  uint32_t length_ = 0;
  unsigned char* buffer_ = nullptr;
  bool autoDelete_ = true;

 private:
  bool isBlockValid() const;
  void makeRoom(uint64_t needed);
  void commit(unsigned int count);
  unsigned int roomFor(unsigned int count, void** start, void** end);
  unsigned int takeContent(unsigned int count, void** start, void** end);
};

/// A memory file whose block is a memory handle, to be handed to or taken from other code. It owns
/// the handle until `Detach`.
class KX_API SharedFile : public MemFile {
 public:
  /// Empty; grows in steps of `growBytes`. `allocFlags` are kept and not used.
  explicit SharedFile(unsigned int allocFlags = 2, unsigned int growBytes = 4096);
  SharedFile(const SharedFile&) = delete;
  SharedFile& operator=(const SharedFile&) = delete;
  ~SharedFile() override;

  unsigned char* Alloc(unsigned long size) override;
  unsigned char* Realloc(unsigned char* block, unsigned long size) override;
  void Free(unsigned char* block) override;

  /// Takes the handle with its contents; without `allowGrow`, growing it throws message 11. For a
  /// file without a handle, at position 0; a handle that it had is freed.
  void SetHandle(void* handle, int allowGrow);
  /// Gives the handle to the caller, who frees it. The file is empty then; its position stays.
  void* Detach();

 private:
  [[maybe_unused]] unsigned int allocFlags_;
  void* handle_ = nullptr;
  bool allowGrow_ = true;
};

/// Enumerates the files and folders that match a pattern (`*` any run, `?` one character), sorted
/// by name, as they were when the search began. After `FindFile`, call `FindNextFileW` to reach the
/// first match; the last match is current when it returns false. Failures are results, not
/// exceptions; asking about a match without a search is asserted.
class KX_API CFileFind {
 public:
  CFileFind();
  CFileFind(const CFileFind&) = delete;
  CFileFind& operator=(const CFileFind&) = delete;
  virtual ~CFileFind();

  virtual _String GetFileName() const;   ///< Of the current match; "" when there is none.
  virtual _String GetFilePath() const;   ///< Root, separator and name.
  virtual _String GetFileTitle() const;  ///< The name without its extension.
  virtual _String GetRoot() const;       ///< The folder searched, absolute, no separator behind it.
  // Times of the current match, UTC. False, and nothing filled, when there is none.
  virtual bool GetLastWriteTime(FILETIME* time) const;
  virtual bool GetLastAccessTime(FILETIME* time) const;
  virtual bool GetCreationTime(FILETIME* time) const;
  virtual bool MatchesMask(unsigned long mask) const;  ///< Shares an attribute bit with `mask`.
  virtual bool IsDots() const;                         ///< The folder "." or "..".
  /// Starts a search; null means "*.*". False, with the reason as the last error, when nothing
  /// matches. `flags` is not used.
  virtual bool FindFile(const wchar_t* pattern, unsigned long flags = 0);
  /// Makes the next match the current one; false when it is the last.
  virtual bool FindNextFileW();

 protected:
  virtual void CloseContext();  ///< Ends the system's search.

 public:
  void Close();                     ///< Ends the search, and there is no current match.
  unsigned long GetLength() const;  ///< The low 32 bits of the current match's size in bytes.

 private:
  struct FindRecord;
  FindRecord* found_ = nullptr;
  FindRecord* next_ = nullptr;
  HANDLE search_ = nullptr;
  unsigned long reserved_ = 0;
  _String root_;
  wchar_t separator_ = L'\\';
};

// Paths. Backslash and slash both separate, mixed freely; buffers hold 260 characters.

/// Splits a path as the C runtime does: drive with its colon, folder with its trailing separator
/// (a share is part of the folder), title, extension with its dot. Every output may be null.
KX_API void _tsplitpath(const wchar_t* path, wchar_t* drive, wchar_t* dir, wchar_t* title,
                        wchar_t* ext);
/// The absolute form of `src` in `dst` of `size` characters; null when it cannot be made.
KX_API wchar_t* _tfullpath(wchar_t* dst, const wchar_t* src, unsigned int size);
/// The path up to its first separator; of a network name, server and share; of a path without a
/// separator, all of it.
KX_API void GetRoot(const wchar_t* path, wchar_t* root);
/// Copies `src` to `dst` (at most 259 characters) and returns 1.
KX_API int FullPath(wchar_t* dst, const wchar_t* src);
/// True when a file or folder has this name, or matches this pattern.
KX_API bool IsFileExist(const wchar_t* path);
/// True when drive, folder, title and extension are all there. A folder that begins with a
/// separator counts as having its drive.
KX_API bool ValidateFilePath(const wchar_t* path);
// The single pieces of `_tsplitpath`.
KX_API _String GetFileDrive(const wchar_t* path);
KX_API _String GetFileDir(const wchar_t* path);
KX_API _String GetFileTitle(const wchar_t* path);
KX_API _String GetFileExt(const wchar_t* path);
/// The first of title-1, title-2, ... that does not exist; a "-number" that the title ends in is
/// left out first. `other` is not used.
KX_API _String GetNextValidNumberedName(const wchar_t* path, const wchar_t* other);
/// `path` with a title of at most 27 characters, numbered on until it exists neither there nor in
/// `otherFolder` (null: not looked at) or until it equals `stopName` (null: never).
KX_API _String GetValidFileName(const wchar_t* path, const wchar_t* otherFolder,
                                const wchar_t* stopName);

}  // namespace kx_gen
