#include <CLI/App.hpp>
#include <memory>
#include <string>
#include <vector>

#include "Document.h"
#include "Output.h"
#include "Text.h"
#include "commands/CodePageOption.h"
#include "commands/Commands.h"

namespace kxo {
namespace {

struct ShowOptions {
  std::string file;
  bool notes = false;
};

/// What stands in front of items and notes: box lines and escapes on a terminal, blanks and texts
/// as they are elsewhere.
class TreePrinter {
 public:
  TreePrinter(const Outline& outline, bool terminal, bool notes)
      : outline_(outline), terminal_(terminal), notes_(notes) {}
  std::string Print();

 private:
  void PrintItem(size_t index);
  void PrintNote(size_t index);
  std::string Branch(size_t index) const;
  std::string Marks(const Item& item) const;
  std::string Shown(const std::string& text) const;

  const Outline& outline_;
  bool terminal_;
  bool notes_;
  std::string printed_;
  std::vector<std::string> guides_;  // what children of an item at this depth have in front
};

std::string TreePrinter::Print() {
  printed_ = Shown(outline_.title) + "\n";
  guides_.assign(1, "");
  for (size_t i = 0; i < outline_.GetNodes().size(); ++i) PrintItem(i);
  return printed_;
}

void TreePrinter::PrintItem(size_t index) {
  const Outline::Node& node = outline_.GetNodes()[index];
  guides_.resize(node.depth + 1);
  printed_ += guides_.back() + Branch(index) + Marks(node.item) + Shown(node.item.text) + "\n";
  const bool last = outline_.IsLastChild(index);
  const char* below = last ? "   " : "│  ";
  guides_.push_back(guides_.back() + (terminal_ ? below : "  "));
  if (notes_ && node.item.note) PrintNote(index);
}

std::string TreePrinter::Branch(size_t index) const {
  if (terminal_) return outline_.IsLastChild(index) ? "└─ " : "├─ ";
  return outline_.GetNodes()[index].item.expanded ? "- " : "+ ";
}

std::string TreePrinter::Marks(const Item& item) const {
  std::string marks;
  if (terminal_ && !item.expanded) marks += "▸ ";
  if (item.checked) marks += "[x] ";
  if (item.deleted) marks += "(deleted) ";
  return marks;
}

/// A line of a note for each line of output. Windows' line ends, Unix' and the old Macintosh's
/// count.
void TreePrinter::PrintNote(size_t index) {
  const std::string& note = *outline_.GetNodes()[index].item.note;
  const bool childrenFollow = terminal_ && outline_.HasChildren(index);
  const std::string front = guides_.back() + (childrenFollow ? "│  : "
                                              : terminal_    ? "   : "
                                                             : ": ");
  size_t start = 0;
  while (start < note.size()) {
    const size_t end = std::min(note.find_first_of("\r\n", start), note.size());
    printed_ += front + Shown(note.substr(start, end - start)) + "\n";
    start = end + (note.compare(end, 2, "\r\n") == 0 ? 2 : 1);
  }
}

std::string TreePrinter::Shown(const std::string& text) const {
  return terminal_ ? Escaped(text) : OnOneLine(text);
}

void RunShow(const Session& session, const ShowOptions& options) {
  const std::unique_ptr<Document> document =
      OpenDocument(options.file, session.ExistingFile(options.file));
  const Outline outline = document->ReadOutline();
  WriteData(TreePrinter(outline, WritesToTerminal(), options.notes).Print());
}

}  // namespace

void AddShow(CLI::App& app, ChosenCommand& chosen) {
  auto options = std::make_shared<ShowOptions>();
  CLI::App* command = app.add_subcommand("show");
  command->group("Commands");
  command->description(
      "Prints a document as a tree, its title and then an item a line.\n\n"
      "Examples:\n"
      "  kxo show plan.kxo\n"
      "  kxo show plan.kxo --notes\n"
      "  kxo show plan.kxo | grep '\\[x\\]'        the checked items\n\n"
      "On a terminal the tree has lines, folded items have the mark ▸, and control\n"
      "characters are shown as escapes. Elsewhere every level is indented by two blanks,\n"
      "items begin with -, folded ones with +. Checked items have [x]. What lies below a\n"
      "folded item is printed too.\n");
  command->add_option("FILE", options->file, "The document")->required();
  command->add_flag("--notes", options->notes, "Print the notes below their items, behind a colon");
  AddCodePageOption(*command);
  command->callback([options, &chosen] {
    chosen = [options](const Session& session) { RunShow(session, *options); };
  });
}

}  // namespace kxo
