// A window of about 1 MiB over a file: what makes row by row transfers cost one system call a
// megabyte. Reading 100,000 rows, 20 MB, asks the system some 30 times to read, where single
// transfers would 400,000 times. See CFileStream::WindowScope for what it promises.
#pragma once

#include <memory>

#include "File.h"

namespace kx_gen {

/// Stands between a stream and its open file. Positions are logical: where single transfers would
/// have left the file.
class StreamWindow {
 public:
  static constexpr unsigned int kSize = 1u << 20;

  /// Starts where the file stands. Null when memory is short; the stream then does without. Where
  /// it is short for the window's bytes, each transfer is a single one.
  static std::unique_ptr<StreamWindow> open(CFile& file);

  unsigned int read(void* dst, unsigned int count);
  unsigned int write(const void* src, unsigned int count);
  /// The next `count` bytes, or null when a transfer would do more than copying them from here.
  const unsigned char* peek(uint64_t count) const {
    const bool hasThem = !lent_ && !writing_ && count > 0 && count <= used_ - at_;
    return hasThem ? bytes_.get() + at_ : nullptr;
  }
  /// As reading `count` bytes that were peeked at.
  void skip(unsigned int count) { at_ += count; }
  /// Where to put the next `count` bytes to be written, which count as written from then on; null
  /// when a transfer would do more than copying them there.
  unsigned char* claim(uint64_t count) {
    if (lent_ || !writing_ || count > kSize - used_) return nullptr;
    unsigned char* const place = bytes_.get() + used_;
    used_ += static_cast<unsigned int>(count);
    at_ = used_;
    return place;
  }
  uint64_t position() {
    takeBack();
    return base_ + at_;
  }
  /// Whether that is known to be the logical position.
  bool isAt(uint64_t position) const;
  /// From the logical position to the end of the file.
  uint64_t bytesLeft();
  /// Brings the file to the logical position, with nothing pending.
  void sync();
  /// As `sync`, for somebody who may move the file: wherever it then stands is the logical position
  /// of what follows.
  void lend();

 private:
  explicit StreamWindow(CFile& file) : file_(file) {}
  bool makeRoom(unsigned int wanted);
  void restart();
  void takeBack() {
    if (lent_) restart();
  }
  void flushPending();
  void refill(unsigned int wanted);

  CFile& file_;
  std::unique_ptr<unsigned char[]> bytes_;
  unsigned int room_ = 0;  // at bytes_
  uint64_t length_ = 0;    // of the file when the window last started to read
  uint64_t base_ = 0;      // offset in the file of the window's first byte
  unsigned int used_ = 0;
  unsigned int at_ = 0;  // logical position, from base_
  bool writing_ = false;
  bool lent_ = false;  // the file's own position counts; also while a transfer may fail
};

}  // namespace kx_gen
