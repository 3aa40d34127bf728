#include <CLI/App.hpp>
#include <CLI/Validators.hpp>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "CategoryView.h"
#include "DataStream.h"
#include "InputDocument.h"
#include "JsonText.h"
#include "Output.h"
#include "TreeView.h"
#include "commands/CodePageOption.h"
#include "commands/Commands.h"

namespace kxo {
namespace {

using salvage::Kind;

struct ShowOptions {
  std::string file;
  TreeOptions tree;
  bool json = false;
};

Json JsonOfItem(const Outline::Node& node, size_t row) {
  const Item& item = node.item;
  Json json = Json::object();
  json["row"] = row;
  json["depth"] = node.depth + 1;
  json["id"] = item.id;
  json["text"] = item.text;
  json["note"] = item.note ? Json(*item.note) : Json();
  json["expanded"] = item.expanded;
  json["checked"] = item.checked;
  json["deleted"] = item.deleted;
  Json drawing;
  if (item.drawing) {
    drawing = Json::object();
    drawing["width"] = item.drawing->width;
    drawing["height"] = item.drawing->height;
  }
  json["drawing"] = std::move(drawing);
  return json;
}

/// An item a line.
void PrintJson(const std::string& name, Kind kind, const Outline& outline,
               const TreeOptions& options) {
  const std::vector<bool> visible = VisibleRows(outline, options);
  const Json title = kind == Kind::kOutline ? Json(outline.title) : Json();
  DataStream out;
  out.Write("{\"file\":" + Dump(Json(name)) + ",\"kind\":" + Dump(Json(KeyOf(kind))) +
            ",\"title\":" + Dump(title) + ",\"items\":[");
  bool isFirst = true;
  for (size_t i = 0; i < visible.size(); ++i) {
    if (!visible[i]) continue;
    out.Write((isFirst ? "\n" : ",\n") + Dump(JsonOfItem(outline.GetNodes()[i], i + 1)));
    isFirst = false;
  }
  out.Write("\n]}\n");
  out.Flush();
}

void RunShow(const Session& session, const ShowOptions& options) {
  const InputPlace place(session, options.file);
  const Kind kind = place.LookForKind();
  if (kind == Kind::kCategory) {
    return PrintCategories(place.GetName(), place.GetPath(), options.tree.all, options.json);
  }
  Outline outline = place.ReadTree(kind);
  if (options.json) return PrintJson(place.GetName(), kind, outline, options.tree);
  if (kind == Kind::kMemory) outline.title = place.GetName();  // it has none of its own
  WriteData(DrawTree(outline, options.tree, OutputScreen()));
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
      "  kxo show plan.kxo --notes --all          folded items unfolded\n"
      "  kxo show plan.kxo --numbers --depth 2    for kxo set, move and the like\n"
      "  kxo show plan.kxo --all | grep '\\[x\\]'   the checked items\n"
      "  kxo show plan.kxo --json | jq -r '.items[].text'\n\n"
      "On a terminal the tree has lines, folded items have the mark ▸, long texts are broken at\n"
      "its width, and control characters are shown as escapes; there are no colours where\n"
      "NO_COLOR is set. Elsewhere every level is indented by two blanks, items begin with -,\n"
      "folded ones with +. Checked items have [x]. What lies below folded items is left out\n"
      "unless --all asks for it; the numbers count it. A memory outline, which has no title, has\n"
      "its file's name there; of a category file the categories are printed, as by kxo category\n"
      "list.\n");
  command->add_option("FILE", options->file, "The document; - is standard input")->required();
  command->add_flag("--notes", options->tree.notes,
                    "Print the notes below their items, behind a colon");
  command->add_flag("--ids", options->tree.ids, "Print the ids of items that have one");
  command->add_flag("--numbers", options->tree.numbers, "Print the row numbers, from 1");
  command->add_option("--depth", options->tree.depth, "Print so many levels at most")
      ->type_name("N")
      ->check(CLI::Range(1, 256));
  command->add_flag("--all", options->tree.all, "Print what lies below folded items, too");
  command->add_flag("--json", options->json, "Print the items as JSON");
  AddCodePageOption(*command);
  command->callback([options, &chosen] {
    chosen = [options](const Session& session) { RunShow(session, *options); };
  });
}

}  // namespace kxo
