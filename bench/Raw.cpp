#include "Raw.h"

#include <array>
#include <cstring>
#include <filesystem>

#include "KxFormat.h"
#include "KxLittleEndian.h"
#include "Rows.h"

namespace kx_bench {

namespace {

namespace format = kx_gen::format;

constexpr size_t kHeaders = 3;
constexpr size_t kFirstSlot =
    format::kHeaderTablePos + format::kHeaderCountSize + kHeaders * format::kHeaderRecordSize;
constexpr size_t kSharedSlot = kFirstSlot + format::kConduitHeaderSize;
constexpr size_t kFirstRow = kSharedSlot + format::kSharedHeaderSize +
                             format::kPrivateOutlineHeaderSize + format::kDeletedCountSize;

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

// Without a buffer, one transfer is one call of the system.
File openFile(const std::string& file, const char* mode) {
  File opened(std::fopen(file.c_str(), mode));
  std::setvbuf(opened.get(), nullptr, _IONBF, 0);
  return opened;
}

void* allocate(size_t size) { return std::malloc(size); }

}  // namespace

RawFile::RawFile(const std::string& file)
    : size(static_cast<size_t>(std::filesystem::file_size(file))) {
  const File opened = openFile(file, "rb");
  bytes.reset(static_cast<unsigned char*>(allocate(size)));
  size = std::fread(bytes.get(), 1, size, opened.get());
}

void writeNew(const RawFile& image, const std::string& file) {
  const File opened = openFile(file, "wb");
  std::fwrite(image.bytes.get(), 1, image.size, opened.get());
}

RawWriter::RawWriter(const std::string& file) : file_(openFile(file, "rb+").release()) {}

RawWriter::~RawWriter() { std::fclose(file_); }

void RawWriter::overwrite(const RawFile& image) {
  std::rewind(file_);
  std::fwrite(image.bytes.get(), 1, image.size, file_);
}

void RawWriter::rewriteSlot() {
  std::array<unsigned char, format::kSharedHeaderSize> slot{};
  std::fseek(file_, kSharedSlot, SEEK_SET);
  const size_t size = std::fread(slot.data(), 1, slot.size(), file_);
  std::fseek(file_, kSharedSlot, SEEK_SET);
  std::fwrite(slot.data(), 1, size, file_);
}

RawRows::RawRows(const RawFile& image) : at_(image.bytes.get() + kFirstRow) {}

RawBlock RawRows::next() {
  const size_t size = kx_gen::getLe32(at_ + format::kRowTagSize);
  const RawBlock block = {at_ + format::kRowTagSize + format::kRowLengthSize, size};
  at_ += format::kRowFrameSize + size;
  return block;
}

RawOutline::RawOutline(size_t rows) : rows_(static_cast<void**>(allocate(rows * sizeof(void*)))) {}

RawOutline::~RawOutline() {
  for (size_t i = 0; i < count_; ++i) std::free(rows_.get()[i]);
}

void RawOutline::append(RawBlock block) {
  void* copy = std::malloc(block.size);
  std::memcpy(copy, block.bytes, block.size);
  rows_.get()[count_++] = copy;
}

std::vector<PlainRow> plainRows(size_t rows) {
  std::vector<PlainRow> plain;
  for (size_t row = 0; row < rows; ++row) {
    plain.push_back({rowId(row), rowIndent(row), rowText(row).text});
  }
  return plain;
}

}  // namespace kx_bench
