#include "FileStream.h"

#include <atomic>
#include <cstring>
#include <limits>
#include <new>

#include "KxLittleEndian.h"
#include "StreamWindow.h"
#include "Throw.h"
#include "WinApi.h"

namespace kx_gen {

namespace {

constexpr char kSource[] = "FileStream";
enum : int {
  kLineAttach = 33,
  kLineDetach = 40,
  kLineWrite = 53,
  kLineRead = 59,
  kLineNewFile = 73,
  kLineSeek = 90,
  kLineSeekToBegin = 96,
  kLineSeekToEnd = 102,
  kLineGetPosition = 108,
  kLineFlush = 114,
  kLineSetLength = 120,
  kLineGetLength = 126,
  kLineGetFileHandle = 132,
  kLineReadWithoutFile = 140,
  kLineWriteWithoutFile = 141,
  kLineMoveWithoutFile = 142,
};

constexpr unsigned int kNoHandle = 0xFFFFFFFF;
constexpr uint64_t kPositionMax = 0xFFFFFFFE;  // all ones is a failed seek

// What a closed CFile would answer, for a stream that has no file at all.
[[noreturn]] void throwReadWithoutFile() {
  throwTraced(kSource, kLineReadWithoutFile, kMsgReadError, numberOf(kMsgReadError));
}

[[noreturn]] void throwWriteWithoutFile() {
  traceThrow(kSource, kLineWriteWithoutFile);
  const int cause = CFileException::OsErrorToException(ERROR_INVALID_HANDLE);
  _ThrowFileException(cause, ERROR_INVALID_HANDLE, nullptr);
}

[[noreturn]] void throwMoveWithoutFile() {
  throwTraced(kSource, kLineMoveWithoutFile, kMsgFileIo, numberOf(kMsgFileIo));
}

template <size_t Size, class T>
CFileStream& putNumber(CFileStream& stream, T value) {
  unsigned char image[Size];
  putLittleEndian(image, static_cast<uint64_t>(value), Size);
  stream.Write(image, Size);
  return stream;
}

template <size_t Size>
uint64_t getNumber(CFileStream& stream) {
  unsigned char image[Size] = {};
  stream.Read(image, Size);
  return getLittleEndian(image, Size);
}

template <class To, class From>
To sameBits(From from) {
  static_assert(sizeof(To) == sizeof(From), "an image keeps its size");
  To to;
  std::memcpy(&to, &from, sizeof(To));
  return to;
}

}  // namespace

CBaseObject::~CBaseObject() = default;

// The share of a stream and its copies in a file that one of them opened.
struct CFileStream::OwnedFile {
  std::atomic<long> owners{1};
  CFile* file = nullptr;  // null once the file was given away
};

CFileStream::CFileStream() = default;

CFileStream::CFileStream(CFile* file) { Attach(file); }

CFileStream::CFileStream(const CFileStream& other) {
  if (other.window_ != nullptr) other.window_->lend();
  file_ = other.file_;
  owned_ = other.owned_;
  if (owned_ != nullptr) ++owned_->owners;
}

CFileStream& CFileStream::operator=(const CFileStream& other) {
  if (this == &other) return *this;
  endWindow();
  if (other.window_ != nullptr) other.window_->lend();
  if (other.owned_ != nullptr) ++other.owned_->owners;
  releaseShare();
  file_ = other.file_;
  owned_ = other.owned_;
  return *this;
}

CFileStream::~CFileStream() {
  const bool lastOwner = owned_ != nullptr && owned_->owners == 1;
  if (lastOwner && owned_->file != nullptr) owned_->file->Close();
  releaseShare();
}

// The last owner deletes the file, unless it was given away.
void CFileStream::releaseShare() {
  if (owned_ != nullptr && --owned_->owners == 0) {
    delete owned_->file;
    delete owned_;
  }
  owned_ = nullptr;
}

int CFileStream::Open(const wchar_t* name, unsigned int flags) {
  Close();
  releaseShare();
  auto* share = new (std::nothrow) OwnedFile;
  CFile* file = share != nullptr ? new (std::nothrow) CFile : nullptr;
  if (!kx_Check(file != nullptr, kSource, kLineNewFile)) {
    delete share;
    return 0;
  }
  share->file = file;
  owned_ = share;
  file_ = file;
  // When opening throws, the stream keeps the closed file until the next Close.
  return file_->Open(name, flags);
}

void CFileStream::Close() {
  endWindow();
  if (file_ != nullptr && file_->IsOpen()) file_->Close();
  if (owned_ != nullptr && file_ != nullptr) {
    releaseShare();
    file_ = nullptr;
  }
}

void CFileStream::Attach(CFile* file) {
  kx_Check(file != nullptr, kSource, kLineAttach);
  endWindow();
  // A file of its own that no copy shares is left, open, to whoever has a pointer to it.
  if (owned_ != nullptr && owned_->owners == 1) owned_->file = nullptr;
  releaseShare();
  file_ = file;
}

CFile* CFileStream::Detach() {
  kx_Check(file_ != nullptr, kSource, kLineDetach);
  endWindow();
  CFile* file = file_;
  if (owned_ != nullptr) owned_->file = nullptr;
  file_ = nullptr;
  return file;
}

CFile* CFileStream::GetFile() {
  if (window_ != nullptr) window_->lend();
  return file_;
}

bool CFileStream::IsOpen() const { return file_ != nullptr && file_->IsOpen(); }

unsigned int CFileStream::Write(const void* data, unsigned int count) {
  if (window_ != nullptr) return window_->write(data, count);
  if (!kx_Check(file_ != nullptr, kSource, kLineWrite)) throwWriteWithoutFile();
  return file_->Write(data, count);
}

unsigned int CFileStream::Read(void* data, unsigned int count) {
  if (window_ != nullptr) return window_->read(data, count);
  if (!kx_Check(file_ != nullptr, kSource, kLineRead)) throwReadWithoutFile();
  return file_->Read(data, count);
}

const unsigned char* CFileStream::peek(uint64_t count) const {
  return window_ != nullptr ? window_->peek(count) : nullptr;
}

void CFileStream::skip(unsigned int count) { window_->skip(count); }

unsigned char* CFileStream::claim(uint64_t count) {
  return window_ != nullptr ? window_->claim(count) : nullptr;
}

unsigned long CFileStream::Seek(long offset, unsigned int from) {
  if (!kx_Check(file_ != nullptr, kSource, kLineSeek)) throwMoveWithoutFile();
  if (window_ != nullptr) {
    const bool isThere = from == 0 && offset >= 0 && window_->isAt(static_cast<uint64_t>(offset));
    if (isThere) return static_cast<unsigned long>(offset);
    window_->lend();
  }
  return file_->Seek(offset, from);
}

// The file for an operation that only the system can answer, brought to the logical position.
CFile* CFileStream::fileForSystem(int checkLine) {
  kx_Check(IsOpen(), kSource, checkLine);
  return GetFile();
}

void CFileStream::SeekToBegin() {
  CFile* file = fileForSystem(kLineSeekToBegin);
  if (file == nullptr) throwMoveWithoutFile();
  file->SeekToBegin();
}

unsigned long CFileStream::SeekToEnd() {
  CFile* file = fileForSystem(kLineSeekToEnd);
  if (file == nullptr) throwMoveWithoutFile();
  return file->SeekToEnd();
}

unsigned long CFileStream::GetPosition() {
  if (window_ != nullptr && window_->position() <= kPositionMax) {
    return static_cast<unsigned long>(window_->position());
  }
  CFile* file = fileForSystem(kLineGetPosition);
  if (file == nullptr) throwMoveWithoutFile();
  return file->GetPosition();
}

void CFileStream::Flush() {
  CFile* file = fileForSystem(kLineFlush);
  if (file != nullptr) file->Flush();
}

void CFileStream::SetLength(unsigned long length) {
  CFile* file = fileForSystem(kLineSetLength);
  if (file == nullptr) throwMoveWithoutFile();
  file->SetLength(length);
}

unsigned long CFileStream::GetLength() {
  CFile* file = fileForSystem(kLineGetLength);
  if (file == nullptr) throwMoveWithoutFile();
  return file->GetLength();
}

uint64_t CFileStream::GetBytesLeft() {
  if (window_ != nullptr) return window_->bytesLeft();
  if (!IsOpen()) return std::numeric_limits<uint64_t>::max();
  const uint64_t length = file_->GetLength();
  const uint64_t position = file_->GetPosition();
  return length > position ? length - position : 0;
}

unsigned int CFileStream::GetFileHandle() {
  kx_Check(owned_ != nullptr, kSource, kLineGetFileHandle);
  const CFile* file = GetFile();
  return file != nullptr ? file->GetFileHandle() : kNoHandle;
}

void CFileStream::endWindow() {
  StreamWindow* window = window_;
  window_ = nullptr;
  const std::unique_ptr<StreamWindow> owner(window);
  if (window != nullptr) window->sync();
}

// A file that reports closed (a memory file always does) is served by single transfers: it needs no
// window, and asking it for its length would add to the log.
CFileStream::WindowScope::WindowScope(CFileStream& stream)
    : stream_(stream), owner_(stream.window_ == nullptr && stream.IsOpen()) {
  if (owner_) stream_.window_ = StreamWindow::open(*stream_.file_).release();
}

CFileStream::WindowScope::~WindowScope() {
  if (!owner_) return;
  try {
    stream_.endWindow();
  } catch (CException* e) {
    if (e != nullptr) e->Delete();  // another exception is on its way; it tells what happened first
  }
}

void CFileStream::WindowScope::finish() {
  if (owner_) stream_.endWindow();
}

CFileStream& CFileStream::operator<<(char value) { return putNumber<1>(*this, value); }
CFileStream& CFileStream::operator<<(unsigned char value) { return putNumber<1>(*this, value); }
CFileStream& CFileStream::operator<<(bool value) {
  // The byte as it is: a bool that was read from a file may hold more than 0 and 1.
  unsigned char image = 0;
  std::memcpy(&image, &value, 1);
  return putNumber<1>(*this, image);
}
CFileStream& CFileStream::operator<<(short value) { return putNumber<2>(*this, value); }
CFileStream& CFileStream::operator<<(unsigned short value) { return putNumber<2>(*this, value); }
CFileStream& CFileStream::operator<<(int value) { return putNumber<4>(*this, value); }
CFileStream& CFileStream::operator<<(unsigned int value) { return putNumber<4>(*this, value); }
CFileStream& CFileStream::operator<<(long value) { return putNumber<4>(*this, value); }
CFileStream& CFileStream::operator<<(unsigned long value) { return putNumber<4>(*this, value); }
CFileStream& CFileStream::operator<<(float value) {
  return putNumber<4>(*this, sameBits<uint32_t>(value));
}
CFileStream& CFileStream::operator<<(double value) {
  return putNumber<8>(*this, sameBits<uint64_t>(value));
}
CFileStream& CFileStream::operator<<(long double value) {
  return *this << static_cast<double>(value);
}
CFileStream& CFileStream::operator<<(void* value) {
  return putNumber<4>(*this, reinterpret_cast<uintptr_t>(value));
}

CFileStream& CFileStream::operator>>(char& value) {
  value = static_cast<char>(getNumber<1>(*this));
  return *this;
}
CFileStream& CFileStream::operator>>(unsigned char& value) {
  value = static_cast<unsigned char>(getNumber<1>(*this));
  return *this;
}
CFileStream& CFileStream::operator>>(bool& value) {
  const auto image = static_cast<unsigned char>(getNumber<1>(*this));
  std::memcpy(&value, &image, 1);
  return *this;
}
CFileStream& CFileStream::operator>>(short& value) {
  value = static_cast<short>(getNumber<2>(*this));
  return *this;
}
CFileStream& CFileStream::operator>>(unsigned short& value) {
  value = static_cast<unsigned short>(getNumber<2>(*this));
  return *this;
}
CFileStream& CFileStream::operator>>(int& value) {
  value = static_cast<int>(getNumber<4>(*this));
  return *this;
}
CFileStream& CFileStream::operator>>(unsigned int& value) {
  value = static_cast<unsigned int>(getNumber<4>(*this));
  return *this;
}
CFileStream& CFileStream::operator>>(long& value) {
  value = static_cast<int32_t>(getNumber<4>(*this));
  return *this;
}
CFileStream& CFileStream::operator>>(unsigned long& value) {
  value = static_cast<uint32_t>(getNumber<4>(*this));
  return *this;
}
CFileStream& CFileStream::operator>>(float& value) {
  value = sameBits<float>(static_cast<uint32_t>(getNumber<4>(*this)));
  return *this;
}
CFileStream& CFileStream::operator>>(double& value) {
  value = sameBits<double>(getNumber<8>(*this));
  return *this;
}
CFileStream& CFileStream::operator>>(long double& value) {
  value = sameBits<double>(getNumber<8>(*this));
  return *this;
}
CFileStream& CFileStream::operator>>(void*& value) {
  value = reinterpret_cast<void*>(static_cast<uintptr_t>(getNumber<4>(*this)));
  return *this;
}

CFileStream& operator<<(CFileStream& stream, CBaseObject& object) {
  object.Write(stream);
  return stream;
}

CFileStream& operator>>(CFileStream& stream, CBaseObject& object) {
  object.Read(stream);
  return stream;
}

}  // namespace kx_gen
