/// Every constant of the files: check code, table and slot layout, tags, framing, flags, limits.
///
/// The files are drawn and explained in docs/format-outline.md, docs/format-memory-outline.md and
/// docs/format-category.md, stored drawings in docs/format-drawing.md; a change here changes them.
/// Each constant is derived from its parts, so that the sum shows.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kx_gen::format {

// --- Information block, at offset 0 ---
constexpr uint32_t kCheckCode = 0x12345678;
constexpr size_t kCheckCodeOffset = 0;
constexpr size_t kVersionOffset = kCheckCodeOffset + 4;
constexpr size_t kRowCountOffset = kVersionOffset + 2;
constexpr size_t kDbInfoSize = kRowCountOffset + 4;
static_assert(kDbInfoSize == 4 + 2 + 4, "check code, version, row count, packed");

constexpr uint16_t kOutlineVersion = 0;
constexpr uint16_t kCategoryVersion = 1;  // 0 is read too: a file without the new flag
constexpr uint16_t kMemOutlineVersion = 10;

// --- Header table, right behind the information block, and the slots behind it ---
constexpr uint16_t kHeaderTablePos = kDbInfoSize;
constexpr size_t kHeaderCountSize = 2;
constexpr size_t kHeaderRecordSize = 2 + 4;  // id, slot size
constexpr size_t kSlotLengthSize = 4;        // the length in front of a slot's tags

constexpr uint16_t kConduitHeaderId = 1;
constexpr uint16_t kSharedHeaderId = 2;
constexpr uint16_t kPrivateOutlineHeaderId = 3;
constexpr uint32_t kConduitHeaderSize = 255;
constexpr uint32_t kSharedHeaderSize = 512;
constexpr uint32_t kPrivateOutlineHeaderSize = 512;

// --- Tagged data: entries of a tag and its data, ascending by id, nothing between them ---
constexpr uint16_t kTagCode = 0x6174;
constexpr size_t kTagCodeOffset = 0;
constexpr size_t kTagVersionOffset = kTagCodeOffset + 2;
constexpr size_t kTagFlagsOffset = kTagVersionOffset + 1;
constexpr size_t kTagIdOffset = kTagFlagsOffset + 4;
constexpr size_t kTagLengthOffset = kTagIdOffset + 4;
constexpr size_t kTagSize = kTagLengthOffset + 4;
static_assert(kTagSize == 2 + 1 + 4 + 4 + 4, "code, version, flags, id, length, packed");

constexpr uint32_t kTagFlagChanged = 1u << 0;
constexpr uint32_t kTagFlagString = 1u << 2;     // cleared whenever a string is written
constexpr uint32_t kStringTagBase = 0x00010000;  // string n is filed under this plus n

// --- Rows: start tag, length, tagged data, end tag ---
constexpr size_t kRowTagSize = 4;
constexpr unsigned char kRowStartTag[kRowTagSize] = {0x50, 0x4B, 0x03, 0x04};
constexpr unsigned char kRowEndTag[kRowTagSize] = {0x50, 0x4B, 0x01, 0x02};
constexpr size_t kRowLengthSize = 4;
constexpr size_t kRowFrontSize = kRowTagSize + kRowLengthSize;
constexpr size_t kRowFrameSize = kRowFrontSize + kRowTagSize;
static_assert(kRowFrameSize == 12, "a row takes 12 bytes more than its tagged data");

// Tags of every row.
constexpr uint32_t kTagFlagByte = 1;
constexpr uint32_t kTagSortChanged = 2;

// The flag byte; bit positions count from the most significant bit.
constexpr unsigned char kNewBitPos = 0;
constexpr unsigned char kDelBitPos = 1;
constexpr unsigned char kChangeBitPos = 2;
constexpr unsigned char kEmptyBitPos = 3;
constexpr unsigned char kArchivedBitPos = 4;
constexpr unsigned char flagMask(unsigned char bitPos) {
  return static_cast<unsigned char>(1u << (7 - (bitPos & 7)));
}
static_assert(flagMask(kNewBitPos) == 0x80 && flagMask(kDelBitPos) == 0x40 &&
                  flagMask(kChangeBitPos) == 0x20 && flagMask(kEmptyBitPos) == 0x10 &&
                  flagMask(kArchivedBitPos) == 0x08,
              "flag byte masks");

// --- Outline rows ---
constexpr uint32_t kTagOutlineId = 5;
constexpr uint32_t kTagIndent = 6;
constexpr uint8_t kStringText = 7;
constexpr uint8_t kStringNote = 8;
constexpr uint32_t kTagExpanded = 9;
constexpr uint32_t kTagChecked = 10;
constexpr uint32_t kTagDrawing = 12;
constexpr uint32_t kTagInternalId = 17;  // linked outline rows only
constexpr uint32_t kTagParentId = 18;    // linked outline rows only

// --- Stored drawings: front, colour table, length of the coded pixels, coded pixels ---
constexpr unsigned char kDrawingVersion = 2;
constexpr size_t kDrawingVersionOffset = 0;
constexpr size_t kDrawingWidthOffset = kDrawingVersionOffset + 1;
constexpr size_t kDrawingHeightOffset = kDrawingWidthOffset + 4;
constexpr size_t kDrawingSizeOffset = kDrawingHeightOffset + 4;
constexpr size_t kDrawingBitsOffset = kDrawingSizeOffset + 4;
constexpr size_t kDrawingFixedSize = kDrawingBitsOffset + 1;
static_assert(kDrawingFixedSize == 14, "version, width, height, size, bits per pixel");
constexpr size_t kDrawingColorsOffset = kDrawingFixedSize;
constexpr size_t kDrawingColorSize = 4;   // blue, green, red, reserved
constexpr size_t kDrawingLengthSize = 4;  // the length in front of the coded pixels
// A drawing whose pixels are not as long as it says is filled up to this size, and no further.
constexpr uint32_t kDrawingFilledSizeMax = 16u << 20;

// --- Coded pixels: a flag, bytes that are not used, then the plain bytes or groups of items ---
constexpr size_t kCodedFrontSize = 1 + 3;
constexpr unsigned char kCodedGroups = 0;
constexpr unsigned char kCodedPlain = 1;
constexpr size_t kCodedControlSize = 2;  // a bit for each item of the group: 1 for a copy
constexpr unsigned kCodedItemsPerGroup = 16;
constexpr size_t kCodedCopySize = 2;                // a copy; other items take one byte
constexpr unsigned char kCodedCopyLengthMask = 15;  // of its first byte: the length less one

// --- Shared outline header ---
constexpr uint8_t kStringCategoryName = 1;
constexpr uint8_t kStringMatchName = 2;
constexpr uint32_t kTagOutlineChanged = 3;
constexpr uint32_t kTagSynchronized = 4;
constexpr uint32_t kTagPrivate = 5;
constexpr uint32_t kTagNumbering = 8;
constexpr uint32_t kTagNumberingDivider = 9;
constexpr size_t kNumberingSize = 10;

// --- Private outline header ---
constexpr uint32_t kTagShowCheckedItems = 1;
constexpr uint32_t kTagSelectedIndex = 2;
constexpr uint32_t kTagTopIndex = 3;
constexpr uint32_t kTagWindowPos = 4;
constexpr uint32_t kTagFontInfo = 5;
constexpr uint32_t kTagFontColor = 6;
constexpr uint32_t kTagShowHeadingsMode = 7;
constexpr uint8_t kStringFontName = 1;
constexpr uint8_t kStringOutlineTitle = 2;
constexpr size_t kStoredWindowPosSize = 10 * 4;
constexpr size_t kStoredFontInfoSize = 5 * 4 + 8;

// --- Deleted ids of an outline file: a count and the ids, 4 bytes each, ahead of the rows ---
constexpr size_t kDeletedCountSize = 4;
constexpr size_t kDeletedIdSize = 4;

// --- Category rows and files ---
constexpr uint32_t kTagCategoryId = 5;
constexpr uint8_t kStringCategoryRecordName = 6;
constexpr uint32_t kTagLastChangedTime = 7;
constexpr uint32_t kFirstCategoryId = 128;  // also what the id counter starts from
constexpr uint32_t kLastCategoryId = 255;
constexpr uint32_t kUnfiledCategoryId = 0;
constexpr unsigned char kMaxCategoryAmount = 16;

// --- Streamed strings ---
constexpr uint32_t kStreamStringMarker = 0x0000FFFE;

// --- Limits ---
constexpr size_t kMaxPath = 260;      // characters of a path, its terminator included
constexpr size_t kMaxFileTitle = 27;  // characters of a file title that the library makes up

}  // namespace kx_gen::format
