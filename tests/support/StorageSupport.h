/// What the tests of tagged data, headers, records and rows share: blocks of tagged values built
/// from bytes, files on disk and in memory under a stream, and a look at the log.
#pragma once

#include <cstdlib>
#include <cstring>

#include "KxLayout.h"

namespace kx_test {

// --- Log ---

/// How many lines of the log start with `start` and contain `source`.
inline int logLinesOf(const std::string& start, const std::string& source) {
  int count = 0;
  for (const std::string& line : logLines()) {
    if (line.rfind(start, 0) == 0 && line.find(source) != std::string::npos) ++count;
  }
  return count;
}

/// How many assertions of the source file `source` the log holds.
inline int assertionsOf(const std::string& source) {
  return logLinesOf("Assertion Failed! File ", source);
}

/// How many throws of the source file `source` the log announces.
inline int throwsOf(const std::string& source) {
  return logLinesOf("Throw an exception FILE - ", source);
}

/// True when an assertion of `source` was logged since the log was last cleared; clears it.
inline bool asserted(const std::string& source) {
  const bool found = assertionsOf(source) > 0;
  clearLog();
  return found;
}

inline bool nothingLogged() { return logLines().empty(); }

// --- Bytes ---

inline Bytes reversed(const Bytes& bytes) { return Bytes(bytes.rbegin(), bytes.rend()); }

// --- Tagged data ---

/// A tag that announces `length` bytes, without them.
inline Bytes tagAlone(uint32_t id, uint32_t length) {
  return join({{0x74, 0x61, 0}, le32(0), le32(id), le32(length)});
}

/// A tag and its data as a block of the other byte order has them: code, id and length reversed.
inline Bytes swappedTag(uint32_t id, const Bytes& data, uint32_t flags = 1, uint8_t version = 0) {
  return join({{0x61, 0x74, version},
               le32(flags),
               reversed(le32(id)),
               reversed(le32(static_cast<uint32_t>(data.size()))),
               data});
}

/// A block in a buffer of exactly its size, with the manager that edits it.
class TaggedBlock {
 public:
  explicit TaggedBlock(const Bytes& bytes = {}, bool swap = false)
      : data_(allocated(bytes)),
        manager_(&data_, static_cast<unsigned long>(bytes.size()), swap,
                 static_cast<unsigned long>(bytes.size()), 512) {}
  TaggedBlock(const TaggedBlock&) = delete;
  TaggedBlock& operator=(const TaggedBlock&) = delete;
  ~TaggedBlock() { std::free(data_); }

  kx_gen::CTaggedDataManager* operator->() { return &manager_; }
  kx_gen::CTaggedDataManager& manager() { return manager_; }
  Bytes bytes() const { return bytesOf(data_, manager_.size()); }
  std::string hex() const { return toHex(bytes()); }
  const char* data() const { return data_; }

 private:
  static char* allocated(const Bytes& bytes) {
    if (bytes.empty()) return nullptr;
    auto* copy = static_cast<char*>(std::malloc(bytes.size()));
    std::memcpy(copy, bytes.data(), bytes.size());
    return copy;
  }

  char* data_;
  kx_gen::CTaggedDataManager manager_;
};

/// The fields of a buffer manager, in the order in which it holds them.
struct BufferFields {
  char** slot;
  uint32_t capacity;
  uint32_t size;
  uint32_t block;
};

inline BufferFields fieldsOf(const kx_gen::CBufferManager& manager) {
  static_assert(sizeof(manager) == sizeof(BufferFields), "four fields and nothing else");
  BufferFields fields = {};
  std::memcpy(&fields, &manager, sizeof(fields));
  return fields;
}

// --- Files ---

/// A new file of the test's folder with a stream over it, which stands at the beginning.
class DiskFile {
 public:
  explicit DiskFile(const std::wstring& path, const Bytes& contents = {}) {
    file_.Open(path.c_str(), kx_gen::CFile::modeReadWrite | kx_gen::CFile::modeCreate);
    stream_.Attach(&file_);
    if (!contents.empty()) {
      file_.Write(contents.data(), static_cast<unsigned int>(contents.size()));
    }
    file_.SeekToBegin();
  }

  kx_gen::CFileStream& stream() { return stream_; }
  /// All bytes of the file; the position stays.
  Bytes contents() {
    const unsigned long before = file_.GetPosition();
    Bytes bytes(file_.GetLength());
    file_.SeekToBegin();
    if (!bytes.empty()) file_.Read(bytes.data(), static_cast<unsigned int>(bytes.size()));
    file_.Seek(static_cast<long>(before), 0);
    return bytes;
  }
  std::string hex() { return toHex(contents()); }

 private:
  kx_gen::CFile file_;
  kx_gen::CFileStream stream_;
};

/// A file in memory that counts its transfers and, unlike a disk file, gives fewer bytes than asked
/// for at its end without an exception.
class ShortReadingFile : public kx_gen::CFile {
 public:
  explicit ShortReadingFile(const Bytes& contents = {}) : bytes(contents) {}

  int Open(const wchar_t*, unsigned int) override { return 1; }
  void Close() override {}
  void SetFilePath(const wchar_t*) override {}
  bool IsOpen() const override { return true; }
  void Flush() override {}
  unsigned long GetPosition() const override { return static_cast<unsigned long>(position); }
  unsigned long GetLength() override { return static_cast<unsigned long>(bytes.size()); }
  void SetLength(unsigned long length) override { bytes.resize(length); }

  unsigned int Write(const void* data, unsigned int count) override {
    ++writes;
    if (bytes.size() < position + count) bytes.resize(position + count);
    if (count > 0) std::memcpy(bytes.data() + position, data, count);
    position += count;
    return count;
  }

  unsigned int Read(void* buffer, unsigned int count) override {
    const size_t left = position < bytes.size() ? bytes.size() - position : 0;
    const size_t taken = count < left ? count : left;
    if (taken > 0) std::memcpy(buffer, bytes.data() + position, taken);
    position += taken;
    return static_cast<unsigned int>(taken);
  }

  unsigned long Seek(long offset, unsigned int from) override {
    const long base = from == 0   ? 0
                      : from == 1 ? static_cast<long>(position)
                                  : static_cast<long>(bytes.size());
    position = static_cast<size_t>(base + offset);
    return static_cast<unsigned long>(position);
  }

  Bytes bytes;
  size_t position = 0;
  int writes = 0;
};

/// The plain exception that a read past the end of a file gives.
inline bool isReadFailure(const Thrown& thrown) {
  return thrown.is(Thrown::kException, kx_gen::kMsgReadError, 7);
}

}  // namespace kx_test
