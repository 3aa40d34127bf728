/// An outline in memory: its items, and all else that a document holds. Texts are UTF-8; bytes that
/// are kept as they are stand in strings.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "KxFormat.h"

namespace kxo {

/// The name that this tool gives to items without a category.
constexpr const char* kUnfiledName = "Unfiled";

/// A field that nothing here knows, as other programs may add.
struct UnknownTag {
  uint32_t id = 0;
  std::string data;
  bool changed = false;
  uint8_t version = 0;
  bool operator==(const UnknownTag&) const = default;
};

/// What a row or header holds beside the values of its fields, which go by their tags (KxFormat.h).
/// Made anew, it has none of this.
struct Extras {
  /// The fields that are not marked as changed, ascending. Those of something new are all marked.
  std::vector<uint32_t> unmarked;
  /// Of fields whose version is not 0, ascending.
  std::vector<std::pair<uint32_t, uint8_t>> versions;
  std::vector<UnknownTag> unknownTags;  ///< In their order.
  /// The stored block, where the fields by themselves would not give the same bytes again. A field
  /// that differs from what stands in it wins.
  std::optional<std::string> stored;
  /// Of what the fields say; they may be stored in more than one way.
  bool operator==(const Extras& other) const {
    return unmarked == other.unmarked && versions == other.versions &&
           unknownTags == other.unknownTags;
  }
};

/// The picture of an item.
struct Drawing {
  long width = 0;   ///< In pixels.
  long height = 0;  ///< In pixels.
  unsigned bitsPerPixel = 0;
  std::string block;  ///< As stored (docs/format-drawing.md); the numbers above stand in it too.
  bool operator==(const Drawing&) const = default;
};

/// One item.
struct Item {
  uint32_t id = 0;
  std::string text;
  std::optional<std::string> note;  ///< An item may lack a note, or have an empty one.
  bool expanded = true;
  bool checked = false;
  bool isNew = false;
  bool changed = false;
  bool deleted = false;
  bool empty = false;
  bool archived = false;
  bool sortChanged = false;
  std::optional<Drawing> drawing;
  uint32_t internalId = 0;  ///< Only memory outlines store it, and the next.
  uint32_t parentId = 0;
  Extras extras;
  bool operator==(const Item&) const = default;
};

/// Where the window of a document stood.
struct WindowPlace {
  uint32_t flags = 0;
  uint32_t showCommand = 0;
  std::array<int32_t, 2> minimized{};  ///< Left, top.
  std::array<int32_t, 2> maximized{};  ///< Left, top.
  std::array<int32_t, 4> normal{};     ///< Left, top, right, bottom.
  bool operator==(const WindowPlace&) const = default;
};

struct Font {
  std::string name;
  int32_t height = 0;
  int32_t width = 0;
  int32_t escapement = 0;
  int32_t orientation = 0;
  int32_t weight = 0;
  uint8_t italic = 0;
  uint8_t underline = 0;
  uint8_t strikeOut = 0;
  uint8_t charSet = 0;
  uint8_t outPrecision = 0;
  uint8_t clipPrecision = 0;
  uint8_t quality = 0;
  uint8_t pitchAndFamily = 0;
  uint32_t color = 0;
  bool operator==(const Font&) const = default;
};

/// How one device shows a document: its private header, but for the title.
struct View {
  uint8_t showCheckedItems = 1;
  uint8_t showHeadingsMode = 10;
  uint32_t selectedIndex = 0;
  uint32_t topIndex = 0;
  WindowPlace window;
  Font font;
  Extras extras;
  bool operator==(const View&) const = default;
};

/// What a document shares with other devices: its shared header.
struct SharedFields {
  std::string category = kUnfiledName;
  std::string matchName;
  bool isPrivate = false;
  bool synchronized = false;
  bool outlineChanged = true;
  std::array<uint8_t, kx_gen::format::kNumberingSize> numbering{};
  uint16_t numberingDivider = 0;
  Extras extras;
  bool operator==(const SharedFields&) const = default;
};

struct HeaderSlot {
  uint16_t id = 0;
  uint32_t sizeBytes = 0;
  bool operator==(const HeaderSlot&) const = default;
};

/// A header that nothing here knows.
struct UnknownHeader {
  uint16_t id = 0;
  std::string slot;  ///< The whole of it.
  bool operator==(const UnknownHeader&) const = default;
};

/// The headers of a file, and what stands in them that nothing here knows.
struct HeaderTable {
  std::vector<HeaderSlot> slots;  ///< Of all headers, in their order.
  std::vector<UnknownHeader> unknown;
  Extras conduit;
  bool operator==(const HeaderTable&) const = default;
};

/// The headers of a new document.
inline HeaderTable NewHeaders() {
  namespace format = kx_gen::format;
  return {{{format::kConduitHeaderId, format::kConduitHeaderSize},
           {format::kSharedHeaderId, format::kSharedHeaderSize},
           {format::kPrivateOutlineHeaderId, format::kPrivateOutlineHeaderSize}},
          {},
          {}};
}

/// The items in document order, each with its place in the tree. An item's parent is the nearest
/// one before it with a lower level, so levels may skip numbers. What stands beside them is that of
/// a new document.
class Outline {
 public:
  static constexpr unsigned kMaxLevel = 255;
  static constexpr size_t kNone = static_cast<size_t>(-1);

  struct Node {
    Item item;
    unsigned level = 0;     ///< As stored.
    unsigned depth = 0;     ///< The number of its ancestors.
    size_t parent = kNone;  ///< An index, as the next.
    size_t lastChild = kNone;
    bool operator==(const Node&) const = default;
  };

  std::string title;
  SharedFields shared;
  View view;
  HeaderTable headers = NewHeaders();
  std::vector<uint32_t> deletedIds;

  /// Appends an item behind all others and returns its index.
  size_t Add(unsigned level, Item item);

  const std::vector<Node>& GetNodes() const { return nodes_; }
  Item& GetItem(size_t index) { return nodes_[index].item; }
  bool HasChildren(size_t index) const { return nodes_[index].lastChild != kNone; }
  /// Whether no sibling follows.
  bool IsLastChild(size_t index) const;

  bool operator==(const Outline&) const = default;

 private:
  size_t FindParent(unsigned level) const;

  std::vector<Node> nodes_;
  size_t lastRoot_ = kNone;
};

/// One category, or the hole that one left.
struct Category {
  uint32_t id = 0;
  std::string name;
  uint32_t lastChangedTime = 0;  ///< In seconds since 1970, UTC.
  bool isNew = false;
  bool changed = false;
  bool deleted = false;
  bool empty = false;  ///< A hole.
  bool archived = false;
  bool sortChanged = false;
  Extras extras;
  bool operator==(const Category&) const = default;
};

/// A category file. As constructed, it is that of a new one without categories.
struct CategoryList {
  uint32_t lastId = kx_gen::format::kFirstCategoryId;  ///< The last one handed out.
  bool isNew = true;
  HeaderTable headers = {
      {{kx_gen::format::kConduitHeaderId, kx_gen::format::kConduitHeaderSize}}, {}, {}};
  std::vector<Category> slots;  ///< Holes too.
  bool operator==(const CategoryList&) const = default;
};

}  // namespace kxo
