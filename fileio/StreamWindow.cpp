#include "StreamWindow.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace kx_gen {

std::unique_ptr<StreamWindow> StreamWindow::open(CFile& file) {
  std::unique_ptr<StreamWindow> window(new (std::nothrow) StreamWindow(file));
  if (window != nullptr) window->restart();
  return window;
}

// A small document takes no megabyte: asking the system for one, and giving it back, takes longer
// than reading the document. Only while nothing is in the window.
bool StreamWindow::makeRoom(unsigned int wanted) {
  if (wanted <= room_) return true;
  std::unique_ptr<unsigned char[]> bytes(new (std::nothrow) unsigned char[wanted]);
  if (bytes == nullptr) return false;
  bytes_ = std::move(bytes);
  room_ = wanted;
  return true;
}

void StreamWindow::restart() {
  base_ = file_.GetPosition();
  used_ = 0;
  at_ = 0;
  writing_ = false;
  lent_ = false;
  length_ = 0;
}

uint64_t StreamWindow::bytesLeft() {
  takeBack();
  if (writing_) flushPending();
  if (length_ == 0) length_ = file_.GetLength();
  const uint64_t length = std::max(length_, base_ + used_);
  return length > position() ? length - position() : 0;
}

void StreamWindow::lend() {
  sync();
  lent_ = true;
}

bool StreamWindow::isAt(uint64_t position) const { return !lent_ && base_ + at_ == position; }

unsigned int StreamWindow::read(void* dst, unsigned int count) {
  takeBack();
  const bool hasRead = !writing_ && used_ > 0;
  if (count == 0 && hasRead) return 0;
  if (count == 0 || dst == nullptr) {
    // Only the file knows whether it refuses that.
    lend();
    return file_.Read(dst, count);
  }
  if (writing_) flushPending();
  if (used_ - at_ < count) refill(count);
  if (used_ - at_ < count) {
    // Larger than the window, or more than the file has: a single transfer does what it does.
    lend();
    const unsigned int got = file_.Read(dst, count);
    lent_ = false;
    base_ += got;
    return got;
  }
  std::memcpy(dst, bytes_.get() + at_, count);
  at_ += count;
  return count;
}

void StreamWindow::refill(unsigned int wanted) {
  sync();
  if (length_ == 0) length_ = file_.GetLength();
  const uint64_t rest = length_ > base_ ? length_ - base_ : 0;
  const auto most = static_cast<unsigned int>(std::min<uint64_t>(rest, kSize));
  if (wanted > most || !makeRoom(most)) return;
  lent_ = true;
  used_ = file_.Read(bytes_.get(), most);
  lent_ = false;
}

unsigned int StreamWindow::write(const void* src, unsigned int count) {
  takeBack();
  const bool hasPending = writing_ && used_ > 0;
  if (count == 0 && hasPending) return 0;
  if (count == 0 || src == nullptr) {
    lend();
    return file_.Write(src, count);
  }
  if (!writing_) sync();
  if (!makeRoom(kSize)) {
    lend();
    return file_.Write(src, count);
  }
  writing_ = true;
  if (count > kSize - used_) flushPending();
  writing_ = true;
  if (count > kSize) {
    lent_ = true;
    const unsigned int written = file_.Write(src, count);
    lent_ = false;
    base_ += written;
    return written;
  }
  std::memcpy(bytes_.get() + used_, src, count);
  used_ += count;
  at_ = used_;
  return count;
}

void StreamWindow::flushPending() {
  const unsigned int pending = used_;
  used_ = 0;  // a write that fails is not tried again
  at_ = 0;
  writing_ = false;
  length_ = 0;
  if (pending == 0) return;
  lent_ = true;
  base_ += file_.Write(bytes_.get(), pending);
  lent_ = false;
}

void StreamWindow::sync() {
  if (lent_) return;
  if (writing_) {
    flushPending();
    return;
  }
  if (at_ != used_) file_.Seek(static_cast<long>(at_) - static_cast<long>(used_), 1);
  base_ += at_;
  used_ = 0;
  at_ = 0;
}

}  // namespace kx_gen
