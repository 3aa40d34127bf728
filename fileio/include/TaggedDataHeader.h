/// Headers: the database-wide settings in fixed-size slots of a file.
#pragma once

#include "FileStream.h"
#include "TaggedDataManager.h"

namespace kx_gen {

/// Base of all headers: a block of tagged values that is read from and written to a slot. Copy
/// construction shares the block, and the last copy frees it; assignment copies it.
class KX_API CTaggedDataHeader {
 public:
  static const unsigned char kHeaderMemBlock = 255;  ///< Growth step of the block, in bytes.

  CTaggedDataHeader();  ///< An empty block.
  CTaggedDataHeader(const CTaggedDataHeader& other);
  CTaggedDataHeader& operator=(const CTaggedDataHeader& other);
  virtual ~CTaggedDataHeader();

  /// Adds, with its default, every expected tag that the block lacks. Runs after every read.
  virtual void CreateNewFields() = 0;

  void FreeData();  ///< Empties the block; what copies share stays theirs.
  /// The block, valid until it is edited; may be null when empty.
  unsigned char* GetHeaderDataPtr();
  /// The fields, for accessors; lives as long as the header, but `FreeData` of a shared block and
  /// what builds on it (reading, assignment) may replace it.
  CTaggedDataManager& getTaggedDataManager();
  const CTaggedDataManager& getTaggedDataManager() const;
  // Whether a tag is present; throw message 15 when the block is damaged ahead of its place.
  bool hasTag(unsigned long id) const;
  bool hasStringTag(unsigned char n) const;

  /// Reads a slot of `slotSize` bytes from the stream's position, without its padding. Throws
  /// message 14 when the block cannot fit the slot, 8 when the file ends before it, 11 when memory
  /// ran out.
  void Read(CFileStream& stream, unsigned long slotSize);
  /// Writes block and padding, `slotSize` bytes in all, or throws message 12 before the first byte.
  void Write(CFileStream& stream, unsigned long slotSize);
  /// Throws message 12 when the block and its length do not fit a slot of `slotSize` bytes.
  void CheckFits(unsigned long slotSize) const;

 private:
  struct Store;
  void detach();
  Store* store_;
};

/// The header of the desktop synchronisation program; no fields of its own.
class KX_API CConduitHeader : public CTaggedDataHeader {
 public:
  CConduitHeader() = default;
  CConduitHeader(const CConduitHeader&) = default;
  CConduitHeader& operator=(const CConduitHeader&) = default;
  ~CConduitHeader() override;
  void CreateNewFields() override;  ///< Nothing.
};

/// What an outline shares with other devices and programs (header id 2). Getters throw
/// `CException*` message 16 when the field is absent, 15 or 17 when it is damaged. The "changed"
/// accessors reach the mark of one field: writing another value sets it, only its setter clears it.
class KX_API CSharedHeader : public CTaggedDataHeader {
 public:
  /// Category the unfiled one, outline changed, everything else false, empty or zero.
  CSharedHeader();
  CSharedHeader(const CSharedHeader&) = default;
  CSharedHeader& operator=(const CSharedHeader&) = default;
  ~CSharedHeader() override;
  void CreateNewFields() override;  ///< Match name, private, numbering and divider.

  void GetCategoryName(_String& name);
  void SetCategoryName(const wchar_t* name);  ///< Also sets the outline-changed field.
  bool GetCategoryChanged();
  void SetCategoryChanged(bool changed);
  void GetPalmMatchName(_String& name);  ///< A name that synchronisation goes by.
  void SetPalmMatchName(const wchar_t* name);
  bool GetOutlineChanged();  ///< A stored field, no mark.
  void SetOutlineChanged(bool changed);
  bool GetSynchronized();
  void SetSynchronized(bool synchronized);
  bool GetPrivate();
  void SetPrivate(bool isPrivate);
  bool GetPrivateTagChanged();
  void SetPrivateTagChanged(bool changed);
  // Ten bytes of the application's own. Nothing is read into a null pointer; storing one is
  // asserted and changes nothing.
  void getNumbering(unsigned char* const tenBytes);
  void setNumbering(unsigned char* const tenBytes);
  bool getNumberingChanged();
  void setNumberingChanged(bool changed);
  unsigned short getNumberingDivider();
  void setNumberingDivider(unsigned short divider);
  bool getNumberingDividerChanged();
  void setNumberingDividerChanged(bool changed);
};

#pragma pack(push, 1)
/// `WINDOWPLACEMENT` without its length, as stored.
struct TStoredWindowPos {
  uint32_t flags;
  uint32_t showCmd;
  int32_t minPositionX;
  int32_t minPositionY;
  int32_t maxPositionX;
  int32_t maxPositionY;
  int32_t normalLeft;
  int32_t normalTop;
  int32_t normalRight;
  int32_t normalBottom;
};

/// `LOGFONTW` without its face name, as stored.
struct TStoredFontInfo {
  int32_t height;
  int32_t width;
  int32_t escapement;
  int32_t orientation;
  int32_t weight;
  uint8_t italic;
  uint8_t underline;
  uint8_t strikeOut;
  uint8_t charSet;
  uint8_t outPrecision;
  uint8_t clipPrecision;
  uint8_t quality;
  uint8_t pitchAndFamily;
};
#pragma pack(pop)
static_assert(sizeof(TStoredWindowPos) == format::kStoredWindowPosSize, "stored packed");
static_assert(sizeof(TStoredFontInfo) == format::kStoredFontInfoSize, "stored packed");
static_assert(offsetof(TStoredWindowPos, normalBottom) == 36, "stored packed");
static_assert(offsetof(TStoredFontInfo, pitchAndFamily) == 27, "stored packed");

/// How this device shows an outline (header id 3). Getters throw as those of `CSharedHeader` do.
class KX_API CPrivateOutlineHeader : public CTaggedDataHeader {
 public:
  /// Title "Untitled", show checked items 1, show headings 10, everything else empty or zero.
  CPrivateOutlineHeader();
  CPrivateOutlineHeader(const CPrivateOutlineHeader&) = default;
  CPrivateOutlineHeader& operator=(const CPrivateOutlineHeader&) = default;
  ~CPrivateOutlineHeader() override;
  void CreateNewFields() override;  ///< Show headings mode.

  unsigned char GetShowCheckedItems();  ///< A mode of the application's own.
  void SetShowCheckedItems(unsigned char mode);
  bool ShowCheckedItemsChanged();
  void setCheckedItemsChanged(bool changed);
  // Row numbers, 32 bits, counted from 0; not checked.
  unsigned long GetSelectedIndex();
  void SetSelectedIndex(unsigned long index);
  unsigned long GetTopIndex();
  void SetTopIndex(unsigned long index);
  // Nothing is read into a null pointer; storing one is asserted and changes nothing.
  void GetStoredWndPos(TStoredWindowPos* pos);
  void SetStoredWndPos(TStoredWindowPos* pos);
  void GetStoredFontInfo(TStoredFontInfo* font);
  void SetStoredFontInfo(TStoredFontInfo* font);
  unsigned long GetFontColor();  ///< 32 bits.
  void SetFontColor(unsigned long color);
  unsigned char GetShowHeadingsMode();  ///< A mode of the application's own.
  void SetShowHeadingsMode(unsigned char mode);
  void GetFontName(_String& name);
  void SetFontName(const wchar_t* name);
  void GetOutlineTitle(_String& title);
  void SetOutlineTitle(const wchar_t* title);
};

}  // namespace kx_gen
