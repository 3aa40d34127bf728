#include "TreeView.h"

#include <algorithm>
#include <string_view>

#include "Columns.h"
#include "Text.h"

namespace kxo {
namespace {

using Node = Outline::Node;

/// What terminals call the looks of text.
constexpr std::string_view kBold = "1";
constexpr std::string_view kFaint = "2";
constexpr std::string_view kRed = "31";
constexpr std::string_view kGreen = "32";
constexpr std::string_view kYellow = "33";
constexpr std::string_view kCyan = "36";

/// A piece of text with its look.
struct Piece {
  std::string text;
  std::string_view look;
};

class TreePrinter {
 public:
  TreePrinter(const Outline& outline, const TreeOptions& options, const Screen& screen);
  std::string Print();

 private:
  void PrintItem(size_t index);
  void PrintNote(size_t index);
  void PrintTexts(const std::vector<Piece>& front, const std::vector<Piece>& nextFront,
                  const std::string& text, std::string_view look);
  std::vector<Piece> Columns(size_t index) const;
  std::vector<Piece> Marks(const Item& item) const;
  std::string Branch(size_t index) const;
  bool ChildrenFollow(size_t index) const;
  std::string Painted(const Piece& piece) const;
  std::string ShownText(const std::string& text) const;

  const Outline& outline_;
  const TreeOptions& options_;
  const Screen& screen_;
  std::vector<bool> visible_;
  size_t numberWidth_ = 0;
  size_t idWidth_ = 0;
  std::string printed_;
  std::vector<std::string> guides_;  // what children of an item at this depth have in front
};

std::string IdOf(const Item& item) { return item.id == 0 ? "-" : "id:" + std::to_string(item.id); }

size_t WidthOfAll(const std::vector<Piece>& pieces) {
  size_t width = 0;
  for (const Piece& piece : pieces) width += WidthOf(piece.text);
  return width;
}

std::vector<Piece> Joined(std::vector<Piece> pieces, const std::vector<Piece>& more) {
  pieces.insert(pieces.end(), more.begin(), more.end());
  return pieces;
}

TreePrinter::TreePrinter(const Outline& outline, const TreeOptions& options, const Screen& screen)
    : outline_(outline),
      options_(options),
      screen_(screen),
      visible_(VisibleRows(outline, options)),
      numberWidth_(std::to_string(outline.GetNodes().size()).size()) {
  for (const Node& node : outline.GetNodes()) {
    idWidth_ = std::max(idWidth_, IdOf(node.item).size());
  }
}

std::string TreePrinter::Print() {
  PrintTexts({}, {}, ShownText(outline_.title), kBold);
  guides_.assign(1, "");
  for (size_t i = 0; i < visible_.size(); ++i) {
    if (visible_[i]) PrintItem(i);
  }
  return printed_;
}

void TreePrinter::PrintItem(size_t index) {
  const Node& node = outline_.GetNodes()[index];
  guides_.resize(node.depth + 1);
  const std::vector<Piece> columns = Columns(index);
  const std::vector<Piece> branch = {{guides_.back() + Branch(index), kFaint}};
  const std::vector<Piece> marks = Marks(node.item);
  const char* below = outline_.IsLastChild(index) ? "   " : "│  ";
  guides_.push_back(guides_.back() + (screen_.isTerminal ? below : "  "));
  const std::vector<Piece> next = {{std::string(WidthOfAll(columns), ' '), ""},
                                   {guides_.back(), kFaint},
                                   {std::string(WidthOfAll(marks), ' '), ""}};
  PrintTexts(Joined(Joined(columns, branch), marks), next, ShownText(node.item.text), "");
  if (options_.notes && node.item.note) PrintNote(index);
}

/// A line of a note for each line of output.
void TreePrinter::PrintNote(size_t index) {
  const std::string below = ChildrenFollow(index) ? "│  " : "   ";
  const std::vector<Piece> front = {{std::string(WidthOfAll(Columns(index)), ' '), ""},
                                    {guides_.back() + (screen_.isTerminal ? below : ""), kFaint}};
  for (const std::string_view line : LinesIn(*outline_.GetNodes()[index].item.note)) {
    PrintTexts(Joined(front, {{": ", kFaint}}), Joined(front, {{"  ", ""}}),
               ShownText(std::string(line)), kFaint);
  }
}

/// One line, or where the terminal has a width as many as the text takes there.
void TreePrinter::PrintTexts(const std::vector<Piece>& front, const std::vector<Piece>& nextFront,
                             const std::string& text, std::string_view look) {
  constexpr size_t kLeastRoom = 16;  // with less, the terminal itself had better break the line
  const size_t taken = WidthOfAll(front);
  const bool hasRoom = screen_.width >= taken + kLeastRoom;
  const std::vector<std::string> lines =
      hasRoom ? BrokenAt(screen_.width - taken, text) : std::vector<std::string>{text};
  const std::vector<Piece>* before = &front;
  for (const std::string& line : lines) {
    for (const Piece& piece : *before) printed_ += Painted(piece);
    printed_ += Painted({line, look}) + "\n";
    before = &nextFront;
  }
}

std::vector<Piece> TreePrinter::Columns(size_t index) const {
  std::vector<Piece> columns;
  if (options_.numbers) {
    columns.push_back({PaddedBefore(numberWidth_, std::to_string(index + 1)) + "  ", kCyan});
  }
  if (options_.ids) {
    const std::string id = IdOf(outline_.GetNodes()[index].item);
    columns.push_back({PaddedBefore(idWidth_, id) + "  ", kCyan});
  }
  return columns;
}

std::string TreePrinter::Branch(size_t index) const {
  if (screen_.isTerminal) return outline_.IsLastChild(index) ? "└─ " : "├─ ";
  return outline_.GetNodes()[index].item.expanded ? "- " : "+ ";
}

std::vector<Piece> TreePrinter::Marks(const Item& item) const {
  std::vector<Piece> marks;
  if (screen_.isTerminal && !item.expanded) marks.push_back({"▸ ", kYellow});
  if (item.checked) marks.push_back({"[x] ", kGreen});
  if (item.deleted) marks.push_back({"(deleted) ", kRed});
  return marks;
}

/// A first child stands right behind its parent.
bool TreePrinter::ChildrenFollow(size_t index) const {
  return outline_.HasChildren(index) && visible_[index + 1];
}

std::string TreePrinter::Painted(const Piece& piece) const {
  if (!screen_.hasColours || piece.look.empty() || piece.text.empty()) return piece.text;
  return "\x1B[" + std::string(piece.look) + "m" + piece.text + "\x1B[0m";
}

std::string TreePrinter::ShownText(const std::string& text) const {
  return screen_.isTerminal ? Escaped(text) : OnOneLine(text);
}

}  // namespace

std::vector<bool> VisibleRows(const Outline& outline, const TreeOptions& options) {
  const std::vector<Node>& nodes = outline.GetNodes();
  std::vector<bool> visible(nodes.size(), true);
  for (size_t i = 0; i < nodes.size(); ++i) {
    const size_t parent = nodes[i].parent;
    const bool isFoldedAway =
        parent != Outline::kNone && (!visible[parent] || !nodes[parent].item.expanded);
    const bool isTooDeep = options.depth > 0 && nodes[i].depth >= options.depth;
    visible[i] = (options.all || !isFoldedAway) && !isTooDeep;
  }
  return visible;
}

std::string DrawTree(const Outline& outline, const TreeOptions& options, const Screen& screen) {
  return TreePrinter(outline, options, screen).Print();
}

}  // namespace kxo
