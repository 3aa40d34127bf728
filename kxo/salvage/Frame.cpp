#include "salvage/Frame.h"

#include "salvage/Block.h"

namespace kxo::salvage {

namespace format = kx_gen::format;

Frame FrameAt(Bytes file, size_t pos) {
  Frame frame;
  frame.begin = pos;
  frame.hasStart = IsRowStart(file, pos);
  frame.hasLength = Holds(file.size(), pos, format::kRowFrontSize);
  if (!frame.hasLength) return frame;
  frame.length = Number(file, pos + format::kRowTagSize);
  frame.fits = Holds(file.size(), frame.BlockBegin(), frame.length);
  frame.hasEnd = frame.fits && IsRowEnd(file, frame.BlockEnd());
  return frame;
}

namespace {

bool HasEntry(Bytes file, size_t pos) {
  if (!IsTag(file, pos, file.size())) return false;
  const Entry entry = EntryAt(file, pos);
  return entry.tag != 0 && Fits(entry, file.size());
}

}  // namespace

bool IsLikelyRow(Bytes file, size_t pos) {
  if (!IsRowStart(file, pos)) return false;
  const Frame frame = FrameAt(file, pos);
  return frame.IsWhole() || HasEntry(file, frame.BlockBegin());
}

bool IsHeadlessRow(Bytes file, size_t pos) {
  const Frame frame = FrameAt(file, pos);
  return !frame.hasStart && frame.hasEnd && HasEntry(file, frame.BlockBegin());
}

size_t NextLikelyRow(Bytes file, size_t pos, size_t end) {
  while ((pos = FindByte(file, pos, end, format::kRowStartTag[0])) < end) {
    if (IsLikelyRow(file, pos)) return pos;
    ++pos;
  }
  return end;
}

}  // namespace kxo::salvage
