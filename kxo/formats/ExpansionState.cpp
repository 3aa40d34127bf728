#include "formats/ExpansionState.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <vector>

#include "Text.h"

namespace kxo {
namespace {

/// Which items of an outline are visible, and which is the n-th of them, both in logarithmic time:
/// a binary indexed tree of counts over the items in document order.
class VisibleLines {
 public:
  explicit VisibleLines(size_t itemCount) : counts_(itemCount + 1, 0) {
    while (topStep_ * 2 < counts_.size()) topStep_ *= 2;
  }

  void Show(size_t item) {
    ++count_;
    for (size_t i = item + 1; i < counts_.size(); i += LowestBit(i)) ++counts_[i];
  }

  /// The item in a line, from 0; nothing when there are not so many lines.
  std::optional<size_t> ItemIn(size_t line) const {
    if (line >= count_) return std::nullopt;
    size_t item = 0;
    for (size_t step = topStep_; step > 0; step /= 2) {
      if (item + step < counts_.size() && counts_[item + step] <= line) {
        item += step;
        line -= counts_[item];
      }
    }
    return item;
  }

 private:
  static size_t LowestBit(size_t i) { return i & (~i + 1); }

  std::vector<size_t> counts_;
  size_t count_ = 0;
  size_t topStep_ = 1;
};

class Unfolder {
 public:
  explicit Unfolder(Outline& outline);
  /// False when there is no such line (from 0).
  bool UnfoldLine(size_t line);

 private:
  void ShowWithSiblings(size_t item);

  Outline& outline_;
  VisibleLines lines_;
  std::vector<size_t> nextSibling_;
};

Unfolder::Unfolder(Outline& outline)
    : outline_(outline),
      lines_(outline.GetNodes().size()),
      nextSibling_(outline.GetNodes().size(), Outline::kNone) {
  const size_t count = nextSibling_.size();
  std::vector<size_t> latestChild(count + 1, Outline::kNone);  // the last for the roots
  for (size_t i = 0; i < count; ++i) {
    if (outline_.HasChildren(i)) outline_.GetItem(i).expanded = false;
    size_t& latest = latestChild[std::min(outline_.GetNodes()[i].parent, count)];
    if (latest != Outline::kNone) nextSibling_[latest] = i;
    latest = i;
  }
  if (count > 0) ShowWithSiblings(0);
}

void Unfolder::ShowWithSiblings(size_t item) {
  for (; item != Outline::kNone; item = nextSibling_[item]) lines_.Show(item);
}

bool Unfolder::UnfoldLine(size_t line) {
  const std::optional<size_t> item = lines_.ItemIn(line);
  if (!item) return false;
  if (!outline_.GetItem(*item).expanded) {
    outline_.GetItem(*item).expanded = true;
    ShowWithSiblings(*item + 1);  // the first child stands right behind its parent
  }
  return true;
}

/// A number for each entry; nothing for an entry that is none.
std::vector<std::optional<size_t>> NumbersIn(const std::string& list) {
  constexpr const char* kSeparators = ", \t\r\n";
  std::vector<std::optional<size_t>> numbers;
  size_t start = list.find_first_not_of(kSeparators);
  while (start != std::string::npos) {
    const size_t end = std::min(list.find_first_of(kSeparators, start), list.size());
    size_t number = 0;
    const char* last = list.data() + end;
    const auto parsed = std::from_chars(list.data() + start, last, number);
    const bool whole = parsed.ec == std::errc() && parsed.ptr == last;
    numbers.push_back(whole ? std::optional(number) : std::nullopt);
    start = list.find_first_not_of(kSeparators, end);
  }
  return numbers;
}

}  // namespace

void ApplyExpansionState(const std::string& list, Outline& outline, ImportNotes& notes) {
  const std::vector<std::optional<size_t>> numbers = NumbersIn(list);
  const bool fromZero = std::count(numbers.begin(), numbers.end(), size_t{0}) > 0;
  const size_t firstLine = fromZero ? 0 : 1;
  Unfolder unfolder(outline);
  size_t ignored = 0;
  for (const std::optional<size_t>& number : numbers) {
    if (!number || !unfolder.UnfoldLine(*number - firstLine)) ++ignored;
  }
  if (fromZero) notes.Say("its expansionState holds a 0: read as line numbers from 0");
  if (ignored > 0) {
    notes.Say("its expansionState: " + std::to_string(ignored) + " of " +
              Counted(numbers.size(), "entry", "entries") + " name no visible line, ignored");
  }
}

}  // namespace kxo
