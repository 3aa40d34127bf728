/// The engine `raw`: the floor, which understands nothing. One read into uninitialised memory, one
/// block a row; one write of the same bytes.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace kx_bench {

struct Free {
  void operator()(void* block) const { std::free(block); }
};

/// The bytes of a file, read at once.
struct RawFile {
  explicit RawFile(const std::string& file);
  std::unique_ptr<unsigned char, Free> bytes;
  size_t size;
};

/// Writes a new file at once.
void writeNew(const RawFile& image, const std::string& file);

/// Writes over an open file, again and again.
class RawWriter {
 public:
  explicit RawWriter(const std::string& file);
  ~RawWriter();
  RawWriter(const RawWriter&) = delete;
  RawWriter& operator=(const RawWriter&) = delete;

  void overwrite(const RawFile& image);
  void rewriteSlot();  ///< Reads the slot of the shared header, and writes it back.

 private:
  std::FILE* file_;
};

/// Where the rows' blocks stand in the image of a library's file.
struct RawBlock {
  const unsigned char* bytes;
  size_t size;
};
class RawRows {
 public:
  explicit RawRows(const RawFile& image);
  RawBlock next();

 private:
  const unsigned char* at_;
};

/// A block for each row, freed at the end.
class RawOutline {
 public:
  explicit RawOutline(size_t rows);
  ~RawOutline();
  RawOutline(const RawOutline&) = delete;
  RawOutline& operator=(const RawOutline&) = delete;

  void append(RawBlock block);

 private:
  std::unique_ptr<void*, Free> rows_;
  size_t count_ = 0;
};

/// The fields of a row as a program would keep them that knows no files.
struct PlainRow {
  uint32_t id;
  uint8_t indent;
  std::wstring text;
};
std::vector<PlainRow> plainRows(size_t rows);

}  // namespace kx_bench
