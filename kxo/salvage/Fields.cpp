#include "salvage/Fields.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "KxFormat.h"

namespace kxo::salvage {

namespace format = kx_gen::format;

namespace {

constexpr Field Num(uint32_t tag, const char* name, uint32_t size,
                    Presence presence = Presence::kNeeded) {
  return {tag, name, FieldType::kNumber, size, presence};
}
constexpr Field Text(uint8_t number, const char* name, Presence presence = Presence::kNeeded) {
  return {format::kStringTagBase + number, name, FieldType::kText, 0, presence};
}

constexpr Field kFlags = Num(format::kTagFlagByte, "flags", 1);
constexpr Field kSortChanged = Num(format::kTagSortChanged, "sort changed", 1);
constexpr Field kId = Num(format::kTagOutlineId, "id", 4);
constexpr Field kIndent = Num(format::kTagIndent, "indent", 1);
constexpr Field kExpanded = Num(format::kTagExpanded, "expanded", 1);
constexpr Field kChecked = Num(format::kTagChecked, "checked", 1);
constexpr Field kDrawing = {format::kTagDrawing, "drawing", FieldType::kDrawing, 0,
                            Presence::kOptional};
constexpr Field kText = Text(format::kStringText, "text");
constexpr Field kNote = Text(format::kStringNote, "note", Presence::kOptional);

constexpr std::array kOutlineFields = {kFlags,   kSortChanged, kId,   kIndent, kExpanded,
                                       kChecked, kDrawing,     kText, kNote};
constexpr std::array kMemoryFields = {kFlags,
                                      kSortChanged,
                                      kId,
                                      kIndent,
                                      kExpanded,
                                      kChecked,
                                      kDrawing,
                                      Num(format::kTagInternalId, "internal id", 4),
                                      Num(format::kTagParentId, "parent id", 4),
                                      kText,
                                      kNote};
constexpr std::array kCategoryFields = {kFlags, kSortChanged,
                                        Num(format::kTagCategoryId, "category id", 4),
                                        Num(format::kTagLastChangedTime, "last changed", 4),
                                        Text(format::kStringCategoryRecordName, "name")};

constexpr std::array kSharedFields = {
    Num(format::kTagOutlineChanged, "outline changed", 1),
    Num(format::kTagSynchronized, "synchronised", 1),
    Num(format::kTagPrivate, "private", 1, Presence::kAdded),
    Num(format::kTagNumbering, "numbering", format::kNumberingSize, Presence::kAdded),
    Num(format::kTagNumberingDivider, "numbering divider", 2, Presence::kAdded),
    Text(format::kStringCategoryName, "category"),
    Text(format::kStringMatchName, "match name", Presence::kAdded)};
constexpr std::array kPrivateFields = {
    Num(format::kTagShowCheckedItems, "show checked items", 1),
    Num(format::kTagSelectedIndex, "selected index", 4),
    Num(format::kTagTopIndex, "top index", 4),
    Num(format::kTagWindowPos, "window position", format::kStoredWindowPosSize),
    Num(format::kTagFontInfo, "font", format::kStoredFontInfoSize),
    Num(format::kTagFontColor, "font colour", 4),
    Num(format::kTagShowHeadingsMode, "show headings mode", 1, Presence::kAdded),
    Text(format::kStringFontName, "font name"),
    Text(format::kStringOutlineTitle, "title")};

constexpr std::array kOutlineHeaders = {format::kConduitHeaderId, format::kSharedHeaderId,
                                        format::kPrivateOutlineHeaderId};
constexpr std::array kCategoryHeaders = {format::kConduitHeaderId};

}  // namespace

std::string NameOf(Kind kind) {
  switch (kind) {
    case Kind::kOutline:
      return "outline";
    case Kind::kMemory:
      return "memory outline";
    default:
      return "category file";
  }
}

std::optional<Kind> KindOf(const std::string& word) {
  if (word == "outline") return Kind::kOutline;
  if (word == "memory") return Kind::kMemory;
  if (word == "category") return Kind::kCategory;
  return std::nullopt;
}

uint16_t NewestVersion(Kind kind) {
  switch (kind) {
    case Kind::kOutline:
      return format::kOutlineVersion;
    case Kind::kMemory:
      return format::kMemOutlineVersion;
    default:
      return format::kCategoryVersion;
  }
}

bool IsVersionOf(Kind kind, uint16_t version) {
  const uint16_t newest = NewestVersion(kind);
  return kind == Kind::kCategory ? version <= newest : version == newest;
}

Fields RowFields(Kind kind) {
  switch (kind) {
    case Kind::kOutline:
      return kOutlineFields;
    case Kind::kMemory:
      return kMemoryFields;
    default:
      return kCategoryFields;
  }
}

Fields HeaderFields(uint16_t header) {
  if (header == format::kSharedHeaderId) return kSharedFields;
  if (header == format::kPrivateOutlineHeaderId) return kPrivateFields;
  return {};
}

std::span<const uint16_t> HeadersOf(Kind kind) {
  if (kind == Kind::kOutline) return kOutlineHeaders;
  if (kind == Kind::kCategory) return kCategoryHeaders;
  return {};
}

uint32_t HeaderSize(Kind kind, uint16_t header) {
  const auto known = HeadersOf(kind);
  if (std::find(known.begin(), known.end(), header) == known.end()) return 0;
  if (header == format::kConduitHeaderId) return format::kConduitHeaderSize;
  return header == format::kSharedHeaderId ? format::kSharedHeaderSize
                                           : format::kPrivateOutlineHeaderSize;
}

std::string NameOfHeader(uint16_t header) {
  switch (header) {
    case format::kConduitHeaderId:
      return "conduit header";
    case format::kSharedHeaderId:
      return "shared header";
    case format::kPrivateOutlineHeaderId:
      return "private header";
    default:
      return "header " + std::to_string(header);
  }
}

const Field* FindField(Fields fields, uint32_t tag) {
  for (const Field& field : fields) {
    if (field.tag == tag) return &field;
  }
  return nullptr;
}

std::string NameOfTag(Fields fields, uint32_t tag) {
  if (const Field* field = FindField(fields, tag)) return field->name;
  std::array<char, 24> text{};
  std::snprintf(text.data(), text.size(), "tag 0x%08lX", static_cast<unsigned long>(tag));
  return text.data();
}

}  // namespace kxo::salvage
