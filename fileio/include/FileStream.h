/// The typed stream through which every database, record, header and id list is read and written.
#pragma once

#include "File.h"
#include "KxString.h"

namespace kx_gen {

class CDBRecord;
class CFileStream;
class DatabaseSave;
class StreamWindow;

/// Something that reads itself from a stream and writes itself to one.
class KX_API CBaseObject {
 public:
  CBaseObject() = default;
  CBaseObject(const CBaseObject&) = default;
  CBaseObject& operator=(const CBaseObject&) = default;
  virtual ~CBaseObject();
  virtual void Read(CFileStream& stream) = 0;   ///< From the stream's position on.
  virtual void Write(CFileStream& stream) = 0;  ///< From the stream's position on.
};

/// A stream over a `CFile` or a class derived from it. Numbers travel as little-endian images of
/// their Windows width, with nothing between them: 4 bytes for `long` and pointers, 8 for
/// `long double`.
///
/// A stream owns the file that its own `Open` made, and closes and deletes it; an attached file
/// belongs to the caller. Copies of a stream share an owned file, and the last one deletes it.
///
/// Without a file every operation asserts and then fails as a closed `CFile` does: reading throws
/// `CException(8, 7)`, writing the file exception of error 6, seeking, asking for the position and
/// setting the length `CException(10, 9)`; flushing does nothing.
class KX_API CFileStream {
  friend class CDBRecord;
  friend class DatabaseSave;

 public:
  CFileStream();                          ///< Without a file.
  explicit CFileStream(CFile* file);      ///< As `Attach`.
  CFileStream(const CFileStream& other);  ///< Uses the same file, and its position.
  CFileStream& operator=(const CFileStream& other);
  virtual ~CFileStream();

  /// Closes, then opens a file of the stream's own. The flags and exceptions are those of
  /// `CFile::Open`; returns its result.
  virtual int Open(const wchar_t* name, unsigned int flags);
  /// Closes the file, and deletes it when the stream owns it.
  virtual void Close();

  /// The caller keeps the file. What was attached before is forgotten, neither closed nor deleted;
  /// a file that the stream owned is the caller's then.
  void Attach(CFile* file);
  CFile* Detach();  ///< Gives the file to the caller, one of the stream's own too.
  /// The file, brought to the stream's position; null when there is none.
  CFile* GetFile();
  bool IsOpen() const;

  // The operations of the file, with its results and exceptions.
  unsigned int Write(const void* data, unsigned int count);
  unsigned int Read(void* data, unsigned int count);
  unsigned long Seek(long offset, unsigned int from);  ///< From 0 begin, 1 current, 2 end.
  void SeekToBegin();
  unsigned long SeekToEnd();
  unsigned long GetPosition();
  void Flush();
  void SetLength(unsigned long length);
  unsigned long GetLength();
  /// From the position to the end of the file, in bytes; all ones for a file that reports closed,
  /// as memory files do. Logs nothing.
  uint64_t GetBytesLeft();
  /// The system handle of the stream's own file, brought to the stream's position.
  unsigned int GetFileHandle();

  // Each transfers the value's bytes and returns the stream. Counts are not looked at: a disk file
  // throws when bytes are missing, a memory file gives zeros for them.
  CFileStream& operator<<(char value);
  CFileStream& operator<<(unsigned char value);
  CFileStream& operator<<(bool value);
  CFileStream& operator<<(short value);
  CFileStream& operator<<(unsigned short value);
  CFileStream& operator<<(int value);
  CFileStream& operator<<(unsigned int value);
  CFileStream& operator<<(long value);
  CFileStream& operator<<(unsigned long value);
  CFileStream& operator<<(float value);
  CFileStream& operator<<(double value);
  CFileStream& operator<<(long double value);
  CFileStream& operator<<(void* value);
  // Text would otherwise be written as one byte of truth.
  CFileStream& operator<<(const wchar_t*) = delete;
  CFileStream& operator<<(const char*) = delete;

  CFileStream& operator>>(char& value);
  CFileStream& operator>>(unsigned char& value);
  /// The byte is moved unchanged: a stored byte other than 0 and 1 must not be read as `bool`.
  CFileStream& operator>>(bool& value);
  CFileStream& operator>>(short& value);
  CFileStream& operator>>(unsigned short& value);
  CFileStream& operator>>(int& value);
  CFileStream& operator>>(unsigned int& value);
  CFileStream& operator>>(long& value);
  CFileStream& operator>>(unsigned long& value);
  CFileStream& operator>>(float& value);
  CFileStream& operator>>(double& value);
  CFileStream& operator>>(long double& value);
  CFileStream& operator>>(void*& value);

 protected:
  /// While one of these lives, transfers on the stream go through a window of about 1 MiB over the
  /// file. Positions stay logical and every exception is the one that single transfers give;
  /// afterwards the file stands where it would stand.
  class KX_API WindowScope {
   public:
    explicit WindowScope(CFileStream& stream);
    WindowScope(const WindowScope&) = delete;
    WindowScope& operator=(const WindowScope&) = delete;
    ~WindowScope();
    /// Writes what is pending and brings the file to the logical position; may throw.
    void finish();

   private:
    CFileStream& stream_;
    bool owner_;
  };

 private:
  struct OwnedFile;
  // What the window has of a row that is about to be read, and has room for of one to be written.
  const unsigned char* peek(uint64_t count) const;
  void skip(unsigned int count);
  unsigned char* claim(uint64_t count);
  CFile* fileForSystem(int checkLine);
  void releaseShare();
  void endWindow();

  CFile* file_ = nullptr;
  OwnedFile* owned_ = nullptr;  // the share in an owned file; null when the file is the caller's
  StreamWindow* window_ = nullptr;
};

/// The object's own `Write` and `Read`.
KX_API CFileStream& operator<<(CFileStream& stream, CBaseObject& object);
KX_API CFileStream& operator>>(CFileStream& stream, CBaseObject& object);

}  // namespace kx_gen
