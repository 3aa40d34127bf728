#include "LinkedTree.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace kxo {
namespace {

/// A row of the file, and how deep it stands.
struct Place {
  size_t row = 0;
  unsigned depth = 0;
};

/// Follows the ids of the rows.
class Links {
 public:
  explicit Links(const Outline& outline);
  /// All rows, parents ahead of what is below them; nothing where the ids make no tree.
  std::optional<std::vector<Place>> Places() const;

 private:
  bool HasEachIdOnce() const;
  bool Link(const Outline& outline);
  std::optional<size_t> RowOf(uint32_t id) const;

  std::vector<std::pair<uint32_t, size_t>> ids_;  // with their rows, sorted
  std::vector<size_t> firstChild_;                // of each row; behind them all that of none
  std::vector<size_t> nextSibling_;
  bool isLinked_ = false;
};

Links::Links(const Outline& outline) {
  const auto& nodes = outline.GetNodes();
  for (size_t row = 0; row < nodes.size(); ++row) {
    ids_.emplace_back(nodes[row].item.internalId, row);
  }
  std::sort(ids_.begin(), ids_.end());
  isLinked_ = HasEachIdOnce() && Link(outline);
}

bool Links::HasEachIdOnce() const {
  if (!ids_.empty() && ids_.front().first == 0) return false;
  return std::adjacent_find(ids_.begin(), ids_.end(), [](const auto& a, const auto& b) {
           return a.first == b.first;
         }) == ids_.end();
}

/// From the last row to the first, so that each comes ahead of its siblings behind it.
bool Links::Link(const Outline& outline) {
  const size_t count = ids_.size();
  firstChild_.assign(count + 1, Outline::kNone);
  nextSibling_.assign(count, Outline::kNone);
  for (size_t row = count; row-- > 0;) {
    const uint32_t parentId = outline.GetNodes()[row].item.parentId;
    const std::optional<size_t> parent = parentId == 0 ? count : RowOf(parentId);
    if (!parent) return false;
    nextSibling_[row] = std::exchange(firstChild_[*parent], row);
  }
  return true;
}

std::optional<size_t> Links::RowOf(uint32_t id) const {
  const auto found = std::lower_bound(ids_.begin(), ids_.end(), std::make_pair(id, size_t{0}));
  if (found == ids_.end() || found->first != id) return std::nullopt;
  return found->second;
}

/// Rows in a circle are below no row that is below none.
std::optional<std::vector<Place>> Links::Places() const {
  if (!isLinked_) return std::nullopt;
  std::vector<Place> places;
  std::vector<Place> waiting = {{firstChild_.back(), 0}};
  while (!waiting.empty()) {
    const Place place = waiting.back();
    waiting.pop_back();
    if (place.row == Outline::kNone) continue;
    if (place.depth > Outline::kMaxLevel) return std::nullopt;
    places.push_back(place);
    waiting.push_back({nextSibling_[place.row], place.depth});
    waiting.push_back({firstChild_[place.row], place.depth + 1});
  }
  if (places.size() != ids_.size()) return std::nullopt;
  return places;
}

bool IsLink(uint32_t tag) {
  return tag == kx_gen::format::kTagInternalId || tag == kx_gen::format::kTagParentId;
}

void ForgetLinks(Item& item) {
  item.internalId = 0;
  item.parentId = 0;
  std::erase_if(item.extras.unmarked, IsLink);
  std::erase_if(item.extras.versions, [](const auto& version) { return IsLink(version.first); });
  item.extras.stored.reset();
}

}  // namespace

Outline WithoutLinks(Outline outline) {
  for (size_t i = 0; i < outline.GetNodes().size(); ++i) ForgetLinks(outline.GetItem(i));
  return outline;
}

Outline LinkedTree(Outline outline) {
  const std::optional<std::vector<Place>> places = Links(outline).Places();
  if (!places) return outline;
  Outline tree;
  tree.title = outline.title;
  for (const Place& place : *places) {
    tree.Add(place.depth, std::move(outline.GetItem(place.row)));
  }
  return tree;
}

bool IsLinked(const Outline& outline) { return Links(outline).Places().has_value(); }

}  // namespace kxo
