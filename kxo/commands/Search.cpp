#include <re2/re2.h>

#include <CLI/App.hpp>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "CategoryDocument.h"
#include "DataStream.h"
#include "Failure.h"
#include "InputDocument.h"
#include "JsonText.h"
#include "ManyFiles.h"
#include "Output.h"
#include "Text.h"
#include "commands/CodePageOption.h"
#include "commands/Commands.h"

namespace kxo {
namespace {

struct SearchOptions {
  std::string text;
  std::vector<std::string> paths;
  bool regex = false;
  bool ignoreCase = false;
  bool json = false;
};

/// Takes time and memory that grow with the text searched and with nothing else, whatever the
/// pattern.
class Matcher {
 public:
  explicit Matcher(const SearchOptions& options) : pattern_(options.text, RulesOf(options)) {
    if (options.text.empty()) throw Failure(kExitSystem, "TEXT is empty; name what to search for");
    if (!pattern_.ok()) {
      throw Failure(kExitSystem,
                    "the pattern cannot be used: " + pattern_.error() + "; try kxo search --help");
    }
  }
  bool IsIn(std::string_view text) const {
    return RE2::PartialMatch(re2::StringPiece(text.data(), text.size()), pattern_);
  }

 private:
  static RE2::Options RulesOf(const SearchOptions& options) {
    RE2::Options rules;
    rules.set_log_errors(false);
    rules.set_literal(!options.regex);
    rules.set_case_sensitive(!options.ignoreCase);
    return rules;
  }

  RE2 pattern_;
};

/// An item with the text in it.
struct Match {
  const Outline::Node& node;
  size_t row = 0;  ///< From 1.
  std::vector<std::string> parents;
  std::vector<std::string> noteLines;  ///< Those with the text in them.
};

std::vector<std::string> ParentsOf(const Outline& outline, size_t index) {
  const auto& nodes = outline.GetNodes();
  std::vector<std::string> parents(nodes[index].depth);
  size_t parent = nodes[index].parent;
  for (size_t i = parents.size(); i > 0; --i) {
    parents[i - 1] = nodes[parent].item.text;
    parent = nodes[parent].parent;
  }
  return parents;
}

/// The categories of a file as items, for those who search.
Outline OutlineOfCategories(const InputPlace& place) {
  CategoryDocument categories(place.GetName());
  categories.OpenAndRead(place.GetPath(), false);
  Outline outline;
  for (size_t slot = 0; slot < categories.SlotCount(); ++slot) {
    kx_gen::CCategoryRecord& category = categories.Slot(slot);
    Item item;
    item.id = static_cast<uint32_t>(category.GetCategoryId());
    item.text = CategoryNameOf(category);
    item.deleted = category.IsDeleted();
    item.empty = category.IsEmpty();
    outline.Add(0, std::move(item));
  }
  return outline;
}

std::string LineOf(const std::string& file, const Match& match) {
  std::string line = file + ":" + std::to_string(match.row) + ": ";
  for (const std::string& parent : match.parents) line += parent + " > ";
  if (match.node.item.deleted) line += "(deleted) ";
  line = Shown(line + match.node.item.text) + "\n";
  for (const std::string& note : match.noteLines) line += "  : " + Shown(note) + "\n";
  return line;
}

Json JsonOf(const std::string& file, const Match& match) {
  Json json = Json::object();
  json["file"] = file;
  json["row"] = match.row;
  json["id"] = match.node.item.id;
  json["parents"] = match.parents;
  json["text"] = match.node.item.text;
  json["noteLines"] = match.noteLines;
  json["deleted"] = match.node.item.deleted;
  return json;
}

/// One search, which prints matches as it comes to them.
class Searching {
 public:
  Searching(const Session& session, const SearchOptions& options)
      : session_(session), options_(options), matcher_(options) {}
  void Run();

 private:
  void SearchOne(const std::string& name);
  void SearchItem(const std::string& file, const Outline& outline, size_t index);
  void Print(const std::string& file, const Match& match);

  const Session& session_;
  const SearchOptions& options_;
  Matcher matcher_;
  DataStream out_;
  size_t found_ = 0;
};

void Searching::Run() {
  ManyFiles files(session_, options_.paths);
  if (options_.json) out_.Write("{\"matches\":[");
  files.ForEach([this](const std::string& name) { SearchOne(name); });
  if (options_.json) out_.Write("\n],\"failures\":" + Dump(files.JsonOfFailures()) + "}\n");
  out_.Flush();
  files.End();
  if (found_ > 0) return;
  throw Failure(kExitFindings, "nothing found in " + Counted(files.GetNames().size(), "document"));
}

void Searching::SearchOne(const std::string& name) {
  const InputPlace place(session_, name);
  const salvage::Kind kind = place.LookForKind();
  const bool isCategories = kind == salvage::Kind::kCategory;
  const Outline outline = isCategories ? OutlineOfCategories(place) : place.ReadTree(kind);
  for (size_t i = 0; i < outline.GetNodes().size(); ++i) {
    const Item& item = outline.GetNodes()[i].item;
    const bool isHole = isCategories && item.empty && !item.deleted;
    if (!isHole) SearchItem(place.GetName(), outline, i);
  }
}

void Searching::SearchItem(const std::string& file, const Outline& outline, size_t index) {
  const Outline::Node& node = outline.GetNodes()[index];
  Match match = {node, index + 1, {}, {}};
  if (node.item.note) {
    for (const std::string_view line : LinesIn(*node.item.note)) {
      if (matcher_.IsIn(line)) match.noteLines.emplace_back(line);
    }
  }
  if (match.noteLines.empty() && !matcher_.IsIn(node.item.text)) return;
  match.parents = ParentsOf(outline, index);
  Print(file, match);
}

void Searching::Print(const std::string& file, const Match& match) {
  const bool isFirst = found_++ == 0;
  if (options_.json) {
    out_.Write((isFirst ? "\n" : ",\n") + Dump(JsonOf(file, match)));
  } else {
    out_.Write(LineOf(file, match));
  }
}

}  // namespace

void AddSearch(CLI::App& app, ChosenCommand& chosen) {
  auto options = std::make_shared<SearchOptions>();
  CLI::App* command = app.add_subcommand("search");
  command->group("Commands");
  command->description(
      "Finds items whose text or note has a text in it, and categories by their names.\n\n"
      "Examples:\n"
      "  kxo search owl birds.kxo\n"
      "  kxo search --ignore-case 'tawny owl' ~/outlines\n"
      "  kxo search --regex '\\b[0-9]{4}-[0-9]{2}\\b' .\n"
      "  kxo search owl . --json | jq -r '.matches[].file' | uniq\n"
      "  ssh host cat plan.kxo | kxo search owl -\n\n"
      "A line for each item: file, row number as in kxo show --numbers, the items above it, and\n"
      "its text; below it the lines of its note that have the text. Folders are searched for\n"
      ".kxo files, with the folders in them. Of a category file the number is that of the slot.\n"
      "Letters are those of all scripts. Regular\n"
      "expressions are RE2's: none of them takes long. The exit code is 1 when nothing is\n"
      "found.\n");
  command->add_option("TEXT", options->text, "What to search for")->required();
  command->add_option("PATH", options->paths, "Documents and folders; - is standard input")
      ->required();
  command->add_flag("--regex", options->regex, "TEXT is a regular expression");
  command->add_flag("-i,--ignore-case", options->ignoreCase,
                    "Take small and capital letters alike");
  command->add_flag("--json", options->json, "Print the items as JSON");
  AddCodePageOption(*command);
  command->callback([options, &chosen] {
    chosen = [options](const Session& session) { Searching(session, *options).Run(); };
  });
}

}  // namespace kxo
