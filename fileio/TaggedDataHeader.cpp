#include "TaggedDataHeader.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

#include "CategoryDB.h"
#include "ReadExactly.h"
#include "TagAccess.h"
#include "Throw.h"

namespace kx_gen {

// Other modules may refer to these; an importing one has no definition of its own.
const unsigned char CTaggedDataHeader::kHeaderMemBlock;

namespace {

constexpr char kSource[] = "TaggedDataHeader";
enum : int {
  kLineHasTag = 31,
  kLineHasStringTag = 38,
  kLineReadLength = 49,
  kLineReadTooBig = 52,
  kLineReadMemory = 57,
  kLineReadBlock = 60,
  kLineWriteTooBig = 74,
  // Fields of the shared header.
  kLineGetCategoryName = 101,
  kLineSetCategoryName,
  kLineGetCategoryChanged,
  kLineSetCategoryChanged,
  kLineGetMatchName,
  kLineSetMatchName,
  kLineGetOutlineChanged,
  kLineSetOutlineChanged,
  kLineGetSynchronized,
  kLineSetSynchronized,
  kLineGetPrivate,
  kLineSetPrivate,
  kLineGetPrivateTagChanged,
  kLineSetPrivateTagChanged,
  kLineGetNumbering,
  kLineSetNumbering,
  kLineGetNumberingChanged,
  kLineSetNumberingChanged,
  kLineGetNumberingDivider,
  kLineSetNumberingDivider,
  kLineGetNumberingDividerChanged,
  kLineSetNumberingDividerChanged,
  // Fields of the private header.
  kLineGetShowCheckedItems = 201,
  kLineSetShowCheckedItems,
  kLineGetCheckedItemsChanged,
  kLineSetCheckedItemsChanged,
  kLineGetSelectedIndex,
  kLineSetSelectedIndex,
  kLineGetTopIndex,
  kLineSetTopIndex,
  kLineGetWindowPos,
  kLineSetWindowPos,
  kLineGetFontInfo,
  kLineSetFontInfo,
  kLineGetFontColor,
  kLineSetFontColor,
  kLineGetShowHeadingsMode,
  kLineSetShowHeadingsMode,
  kLineGetFontName,
  kLineSetFontName,
  kLineGetOutlineTitle,
  kLineSetOutlineTitle,
};

constexpr SourceLine at(int line) { return SourceLine{kSource, line}; }

constexpr unsigned char kShowCheckedItemsDefault = 1;
constexpr unsigned char kShowHeadingsModeDefault = 10;
constexpr wchar_t kTitleDefault[] = L"Untitled";

constexpr unsigned long kSlotSizeMax = std::numeric_limits<uint32_t>::max();
constexpr size_t kOneTransferMax = 1u << 20;  // slots beyond this are padded in pieces

constexpr uint32_t stringTag(uint8_t n) { return format::kStringTagBase + n; }

void writePadding(CFileStream& stream, uint64_t count) {
  const std::vector<unsigned char> zeros(
      static_cast<size_t>(std::min<uint64_t>(count, kOneTransferMax)));
  while (count > 0) {
    const auto piece = static_cast<unsigned int>(std::min<uint64_t>(count, zeros.size()));
    stream.Write(zeros.data(), piece);
    count -= piece;
  }
}

// Setters pass exhausted memory over, and a header without its default fields would be none: the
// room for them is had first.
void makeRoom(CTaggedDataManager& tags, uint32_t slotSize) {
  if (tags.reserve(slotSize) != 0) throw std::bad_alloc();
}

}  // namespace

// The block, which copies of a header share.
struct CTaggedDataHeader::Store {
  Store() : tags(&data, 0, false, 0, kHeaderMemBlock) {}
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
  ~Store() { std::free(data); }

  std::atomic<long> owners{1};
  char* data = nullptr;
  CTaggedDataManager tags;
};

CTaggedDataHeader::CTaggedDataHeader() : store_(new Store) {}

CTaggedDataHeader::CTaggedDataHeader(const CTaggedDataHeader& other) : store_(other.store_) {
  ++store_->owners;
}

CTaggedDataHeader& CTaggedDataHeader::operator=(const CTaggedDataHeader& other) {
  if (this == &other || store_ == other.store_) return *this;
  const unsigned long size = other.store_->tags.size();
  auto* copy = size > 0 ? static_cast<char*>(std::malloc(size)) : nullptr;
  if (size > 0 && copy == nullptr) throw std::bad_alloc();
  if (size > 0) std::memcpy(copy, other.store_->data, size);
  FreeData();
  store_->data = copy;
  store_->tags.assignBuffer(&store_->data, size, size, kHeaderMemBlock);
  return *this;
}

CTaggedDataHeader::~CTaggedDataHeader() {
  if (--store_->owners == 0) delete store_;
}

// Gives this header an empty block of its own; what it shared stays with the others.
void CTaggedDataHeader::detach() {
  auto* own = new Store;
  --store_->owners;
  store_ = own;
}

void CTaggedDataHeader::FreeData() {
  if (store_->owners > 1) {
    detach();
    return;
  }
  store_->tags.deleteBuff();
  store_->tags.assignBuffer(&store_->data, 0, 0, kHeaderMemBlock);
}

unsigned char* CTaggedDataHeader::GetHeaderDataPtr() {
  return reinterpret_cast<unsigned char*>(store_->data);
}

CTaggedDataManager& CTaggedDataHeader::getTaggedDataManager() { return store_->tags; }
const CTaggedDataManager& CTaggedDataHeader::getTaggedDataManager() const { return store_->tags; }

bool CTaggedDataHeader::hasTag(unsigned long id) const {
  return isTagPresent(store_->tags, static_cast<uint32_t>(id), at(kLineHasTag));
}

bool CTaggedDataHeader::hasStringTag(unsigned char n) const {
  return isTagPresent(store_->tags, stringTag(n), at(kLineHasStringTag));
}

void CTaggedDataHeader::Read(CFileStream& stream, unsigned long slotSize) {
  FreeData();
  if (slotSize == 0) return;
  unsigned char image[format::kSlotLengthSize];
  readExactly(stream, image, sizeof(image), at(kLineReadLength));
  const uint32_t length = getLe32(image);
  if (static_cast<uint64_t>(length) + format::kSlotLengthSize > slotSize) {
    throwTraced(kSource, kLineReadTooBig, kMsgRecordedHeaderTooBig,
                numberOf(kMsgRecordedHeaderTooBig));
  }
  // The slot is what the block may grow into, unless the file only claims to have it.
  const auto room = static_cast<uint32_t>(slotSize - format::kSlotLengthSize);
  const bool whole = slotSize <= kSlotSizeMax && justified(stream, room) == room;
  const uint32_t count = whole ? length : justified(stream, length);
  const unsigned long capacity = whole ? slotSize : std::max<unsigned long>(count, 1);
  auto* block = static_cast<char*>(std::malloc(capacity));
  if (block == nullptr) {
    throwTraced(kSource, kLineReadMemory, kMsgOutOfMemory, numberOf(kMsgOutOfMemory));
  }
  store_->data = block;
  store_->tags.assignBuffer(&store_->data, 0, capacity, kHeaderMemBlock);
  if (length == 0) return;
  readExactly(stream, block, count, at(kLineReadBlock));
  store_->tags.assignBuffer(&store_->data, length, capacity, kHeaderMemBlock);
}

void CTaggedDataHeader::CheckFits(unsigned long slotSize) const {
  if (static_cast<uint64_t>(store_->tags.size()) + format::kSlotLengthSize <= slotSize) return;
  throwTraced(kSource, kLineWriteTooBig, kMsgHeaderTooBig, numberOf(kMsgHeaderTooBig));
}

void CTaggedDataHeader::Write(CFileStream& stream, unsigned long slotSize) {
  CheckFits(slotSize);
  const unsigned long length = store_->tags.size();
  const size_t used = format::kSlotLengthSize + length;
  const size_t atOnce = std::max<size_t>(used, std::min<size_t>(slotSize, kOneTransferMax));
  std::vector<unsigned char> image(atOnce);
  putLe32(image.data(), static_cast<uint32_t>(length));
  if (length > 0) std::memcpy(image.data() + format::kSlotLengthSize, store_->data, length);
  stream.Write(image.data(), static_cast<unsigned int>(image.size()));
  writePadding(stream, slotSize - atOnce);
}

CConduitHeader::~CConduitHeader() = default;

void CConduitHeader::CreateNewFields() {}

CSharedHeader::CSharedHeader() {
  makeRoom(getTaggedDataManager(), format::kSharedHeaderSize);
  SetCategoryName(CCategoryDB::getUnfiledCategoryName());
  SetOutlineChanged(true);
  SetSynchronized(false);
  SetPalmMatchName(L"");
  SetPrivate(false);
  CreateNewFields();
}

CSharedHeader::~CSharedHeader() = default;

void CSharedHeader::CreateNewFields() {
  if (!hasStringTag(format::kStringMatchName)) SetPalmMatchName(L"");
  if (!hasTag(format::kTagPrivate)) SetPrivate(false);
  if (!hasTag(format::kTagNumbering)) {
    unsigned char zeros[format::kNumberingSize] = {};
    setNumbering(zeros);
  }
  if (!hasTag(format::kTagNumberingDivider)) setNumberingDivider(0);
}

void CSharedHeader::GetCategoryName(_String& name) {
  getText(getTaggedDataManager(), format::kStringCategoryName, name, at(kLineGetCategoryName));
}

void CSharedHeader::SetCategoryName(const wchar_t* name) {
  setText(getTaggedDataManager(), format::kStringCategoryName, name, at(kLineSetCategoryName));
  SetOutlineChanged(true);
}

bool CSharedHeader::GetCategoryChanged() {
  return isTagChanged(getTaggedDataManager(), stringTag(format::kStringCategoryName),
                      at(kLineGetCategoryChanged));
}

void CSharedHeader::SetCategoryChanged(bool changed) {
  setTagChanged(getTaggedDataManager(), stringTag(format::kStringCategoryName), changed,
                at(kLineSetCategoryChanged));
}

void CSharedHeader::GetPalmMatchName(_String& name) {
  getText(getTaggedDataManager(), format::kStringMatchName, name, at(kLineGetMatchName));
}

void CSharedHeader::SetPalmMatchName(const wchar_t* name) {
  setText(getTaggedDataManager(), format::kStringMatchName, name, at(kLineSetMatchName));
}

bool CSharedHeader::GetOutlineChanged() {
  return getTruth(getTaggedDataManager(), format::kTagOutlineChanged, at(kLineGetOutlineChanged));
}

void CSharedHeader::SetOutlineChanged(bool changed) {
  setTruth(getTaggedDataManager(), format::kTagOutlineChanged, changed, at(kLineSetOutlineChanged));
}

bool CSharedHeader::GetSynchronized() {
  return getTruth(getTaggedDataManager(), format::kTagSynchronized, at(kLineGetSynchronized));
}

void CSharedHeader::SetSynchronized(bool synchronized) {
  setTruth(getTaggedDataManager(), format::kTagSynchronized, synchronized,
           at(kLineSetSynchronized));
}

bool CSharedHeader::GetPrivate() {
  return getTruth(getTaggedDataManager(), format::kTagPrivate, at(kLineGetPrivate));
}

void CSharedHeader::SetPrivate(bool isPrivate) {
  setTruth(getTaggedDataManager(), format::kTagPrivate, isPrivate, at(kLineSetPrivate));
}

bool CSharedHeader::GetPrivateTagChanged() {
  return isTagChanged(getTaggedDataManager(), format::kTagPrivate, at(kLineGetPrivateTagChanged));
}

void CSharedHeader::SetPrivateTagChanged(bool changed) {
  setTagChanged(getTaggedDataManager(), format::kTagPrivate, changed,
                at(kLineSetPrivateTagChanged));
}

void CSharedHeader::getNumbering(unsigned char* const tenBytes) {
  if (tenBytes == nullptr) return;
  getBytes(getTaggedDataManager(), format::kTagNumbering, tenBytes, format::kNumberingSize,
           at(kLineGetNumbering));
}

void CSharedHeader::setNumbering(unsigned char* const tenBytes) {
  setBytes(getTaggedDataManager(), format::kTagNumbering, tenBytes, format::kNumberingSize,
           at(kLineSetNumbering));
}

bool CSharedHeader::getNumberingChanged() {
  return isTagChanged(getTaggedDataManager(), format::kTagNumbering, at(kLineGetNumberingChanged));
}

void CSharedHeader::setNumberingChanged(bool changed) {
  setTagChanged(getTaggedDataManager(), format::kTagNumbering, changed,
                at(kLineSetNumberingChanged));
}

unsigned short CSharedHeader::getNumberingDivider() {
  return getNumber<uint16_t>(getTaggedDataManager(), format::kTagNumberingDivider,
                             at(kLineGetNumberingDivider));
}

void CSharedHeader::setNumberingDivider(unsigned short divider) {
  setNumber<uint16_t>(getTaggedDataManager(), format::kTagNumberingDivider, divider,
                      at(kLineSetNumberingDivider));
}

bool CSharedHeader::getNumberingDividerChanged() {
  return isTagChanged(getTaggedDataManager(), format::kTagNumberingDivider,
                      at(kLineGetNumberingDividerChanged));
}

void CSharedHeader::setNumberingDividerChanged(bool changed) {
  setTagChanged(getTaggedDataManager(), format::kTagNumberingDivider, changed,
                at(kLineSetNumberingDividerChanged));
}

CPrivateOutlineHeader::CPrivateOutlineHeader() {
  makeRoom(getTaggedDataManager(), format::kPrivateOutlineHeaderSize);
  TStoredWindowPos pos = {};
  TStoredFontInfo font = {};
  SetShowCheckedItems(kShowCheckedItemsDefault);
  SetSelectedIndex(0);
  SetTopIndex(0);
  SetStoredWndPos(&pos);
  SetStoredFontInfo(&font);
  SetOutlineTitle(kTitleDefault);
  SetFontName(L"");
  SetFontColor(0);
  setCheckedItemsChanged(true);
  SetShowHeadingsMode(kShowHeadingsModeDefault);
}

CPrivateOutlineHeader::~CPrivateOutlineHeader() = default;

void CPrivateOutlineHeader::CreateNewFields() {
  if (!hasTag(format::kTagShowHeadingsMode)) SetShowHeadingsMode(kShowHeadingsModeDefault);
}

unsigned char CPrivateOutlineHeader::GetShowCheckedItems() {
  return getNumber<uint8_t>(getTaggedDataManager(), format::kTagShowCheckedItems,
                            at(kLineGetShowCheckedItems));
}

void CPrivateOutlineHeader::SetShowCheckedItems(unsigned char mode) {
  setNumber<uint8_t>(getTaggedDataManager(), format::kTagShowCheckedItems, mode,
                     at(kLineSetShowCheckedItems));
}

bool CPrivateOutlineHeader::ShowCheckedItemsChanged() {
  return isTagChanged(getTaggedDataManager(), format::kTagShowCheckedItems,
                      at(kLineGetCheckedItemsChanged));
}

void CPrivateOutlineHeader::setCheckedItemsChanged(bool changed) {
  setTagChanged(getTaggedDataManager(), format::kTagShowCheckedItems, changed,
                at(kLineSetCheckedItemsChanged));
}

unsigned long CPrivateOutlineHeader::GetSelectedIndex() {
  return getNumber<uint32_t>(getTaggedDataManager(), format::kTagSelectedIndex,
                             at(kLineGetSelectedIndex));
}

void CPrivateOutlineHeader::SetSelectedIndex(unsigned long index) {
  setNumber(getTaggedDataManager(), format::kTagSelectedIndex, static_cast<uint32_t>(index),
            at(kLineSetSelectedIndex));
}

unsigned long CPrivateOutlineHeader::GetTopIndex() {
  return getNumber<uint32_t>(getTaggedDataManager(), format::kTagTopIndex, at(kLineGetTopIndex));
}

void CPrivateOutlineHeader::SetTopIndex(unsigned long index) {
  setNumber(getTaggedDataManager(), format::kTagTopIndex, static_cast<uint32_t>(index),
            at(kLineSetTopIndex));
}

void CPrivateOutlineHeader::GetStoredWndPos(TStoredWindowPos* pos) {
  if (pos == nullptr) return;
  unsigned char image[sizeof(*pos)];
  getBytes(getTaggedDataManager(), format::kTagWindowPos, image, sizeof(image),
           at(kLineGetWindowPos));
  const auto field = [&image](size_t i) { return getLe32(image + 4 * i); };
  const auto signedField = [&field](size_t i) { return static_cast<int32_t>(field(i)); };
  *pos = {field(0),       field(1),       signedField(2), signedField(3), signedField(4),
          signedField(5), signedField(6), signedField(7), signedField(8), signedField(9)};
}

void CPrivateOutlineHeader::SetStoredWndPos(TStoredWindowPos* pos) {
  unsigned char image[sizeof(*pos)] = {};
  if (pos != nullptr) {
    const uint32_t fields[] = {pos->flags,
                               pos->showCmd,
                               static_cast<uint32_t>(pos->minPositionX),
                               static_cast<uint32_t>(pos->minPositionY),
                               static_cast<uint32_t>(pos->maxPositionX),
                               static_cast<uint32_t>(pos->maxPositionY),
                               static_cast<uint32_t>(pos->normalLeft),
                               static_cast<uint32_t>(pos->normalTop),
                               static_cast<uint32_t>(pos->normalRight),
                               static_cast<uint32_t>(pos->normalBottom)};
    for (size_t i = 0; i < sizeof(image) / 4; ++i) putLe32(image + 4 * i, fields[i]);
  }
  setBytes(getTaggedDataManager(), format::kTagWindowPos, pos != nullptr ? image : nullptr,
           sizeof(image), at(kLineSetWindowPos));
}

void CPrivateOutlineHeader::GetStoredFontInfo(TStoredFontInfo* font) {
  if (font == nullptr) return;
  unsigned char image[sizeof(*font)];
  getBytes(getTaggedDataManager(), format::kTagFontInfo, image, sizeof(image),
           at(kLineGetFontInfo));
  const auto field = [&image](size_t i) { return static_cast<int32_t>(getLe32(image + 4 * i)); };
  const unsigned char* const b = image + 5 * 4;
  *font = {field(0), field(1), field(2), field(3), field(4), b[0], b[1],
           b[2],     b[3],     b[4],     b[5],     b[6],     b[7]};
}

void CPrivateOutlineHeader::SetStoredFontInfo(TStoredFontInfo* font) {
  unsigned char image[sizeof(*font)] = {};
  if (font != nullptr) {
    const int32_t numbers[] = {font->height, font->width, font->escapement, font->orientation,
                               font->weight};
    for (size_t i = 0; i < 5; ++i) putLe32(image + 4 * i, static_cast<uint32_t>(numbers[i]));
    const uint8_t bytes[] = {font->italic,  font->underline,     font->strikeOut,
                             font->charSet, font->outPrecision,  font->clipPrecision,
                             font->quality, font->pitchAndFamily};
    std::memcpy(image + 5 * 4, bytes, sizeof(bytes));
  }
  setBytes(getTaggedDataManager(), format::kTagFontInfo, font != nullptr ? image : nullptr,
           sizeof(image), at(kLineSetFontInfo));
}

unsigned long CPrivateOutlineHeader::GetFontColor() {
  return getNumber<uint32_t>(getTaggedDataManager(), format::kTagFontColor, at(kLineGetFontColor));
}

void CPrivateOutlineHeader::SetFontColor(unsigned long color) {
  setNumber(getTaggedDataManager(), format::kTagFontColor, static_cast<uint32_t>(color),
            at(kLineSetFontColor));
}

unsigned char CPrivateOutlineHeader::GetShowHeadingsMode() {
  return getNumber<uint8_t>(getTaggedDataManager(), format::kTagShowHeadingsMode,
                            at(kLineGetShowHeadingsMode));
}

void CPrivateOutlineHeader::SetShowHeadingsMode(unsigned char mode) {
  setNumber<uint8_t>(getTaggedDataManager(), format::kTagShowHeadingsMode, mode,
                     at(kLineSetShowHeadingsMode));
}

void CPrivateOutlineHeader::GetFontName(_String& name) {
  getText(getTaggedDataManager(), format::kStringFontName, name, at(kLineGetFontName));
}

void CPrivateOutlineHeader::SetFontName(const wchar_t* name) {
  setText(getTaggedDataManager(), format::kStringFontName, name, at(kLineSetFontName));
}

void CPrivateOutlineHeader::GetOutlineTitle(_String& title) {
  getText(getTaggedDataManager(), format::kStringOutlineTitle, title, at(kLineGetOutlineTitle));
}

void CPrivateOutlineHeader::SetOutlineTitle(const wchar_t* title) {
  setText(getTaggedDataManager(), format::kStringOutlineTitle, title, at(kLineSetOutlineTitle));
}

}  // namespace kx_gen
