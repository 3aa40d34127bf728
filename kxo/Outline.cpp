#include "Outline.h"

#include <utility>

namespace kxo {

size_t Outline::Add(unsigned level, Item item) {
  const size_t index = nodes_.size();
  const size_t parent = FindParent(level);
  Node node;
  node.item = std::move(item);
  node.level = level;
  node.parent = parent;
  if (parent == kNone) {
    lastRoot_ = index;
  } else {
    node.depth = nodes_[parent].depth + 1;
    nodes_[parent].lastChild = index;
  }
  nodes_.push_back(std::move(node));
  return index;
}

/// Walks up from the last item, past those that are not above `level`.
size_t Outline::FindParent(unsigned level) const {
  size_t candidate = nodes_.empty() ? kNone : nodes_.size() - 1;
  while (candidate != kNone && nodes_[candidate].level >= level) {
    candidate = nodes_[candidate].parent;
  }
  return candidate;
}

bool Outline::IsLastChild(size_t index) const {
  const size_t parent = nodes_[index].parent;
  return (parent == kNone ? lastRoot_ : nodes_[parent].lastChild) == index;
}

}  // namespace kxo
