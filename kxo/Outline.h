/// An outline in memory, free of any file format.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kxo {

/// The picture of an item, as far as the tool tells of it.
struct Drawing {
  long width = 0;   ///< In pixels.
  long height = 0;  ///< In pixels.
  unsigned long sizeBytes = 0;
  bool operator==(const Drawing&) const = default;
};

/// One item. Texts are UTF-8.
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
  bool operator==(const Item&) const = default;
};

/// The items in document order, each with its place in the tree. An item's parent is the nearest
/// one before it with a lower level, so levels may skip numbers.
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

}  // namespace kxo
