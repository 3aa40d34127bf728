#include <CLI/App.hpp>
#include <memory>
#include <new>
#include <optional>
#include <string>

#include "Editing.h"
#include "Failure.h"
#include "Text.h"
#include "commands/Commands.h"

namespace kxo {
namespace {

namespace format = kx_gen::format;

using kx_gen::_String;

struct SetHeaderOptions {
  EditOptions edit;
  std::optional<std::string> title;
  std::optional<std::string> category;
  bool makePrivate = false;
  bool makePublic = false;

  bool IsAnyGiven() const { return title || category || makePrivate || makePublic; }
};

void SetTitle(Edit& edit, const std::string& title) {
  Document& document = edit.GetDocument();
  if (document.GetTitle() == title) return;
  document.SetOutlineTitle(ToWide(title).c_str());
  if (document.GetTitle() != title) throw std::bad_alloc();  // which the setter passes over
  edit.MarkChanged();
}

void SetCategory(Edit& edit, const std::string& category) {
  Document& document = edit.GetDocument();
  _String stored;
  document.GetCategoryName(stored);
  if (FromWide(stored) == category) return;
  document.SetCategoryName(ToWide(category).c_str());
  document.GetCategoryName(stored);
  if (FromWide(stored) != category) throw std::bad_alloc();
  edit.MarkChanged();
}

void SetPrivate(Edit& edit, bool isPrivate) {
  if (edit.GetDocument().GetPrivate() == isPrivate) return;
  edit.GetDocument().SetPrivate(isPrivate);
  edit.MarkChanged();
}

void RunSetHeader(const Session& session, const SetHeaderOptions& options) {
  if (!options.IsAnyGiven()) {
    throw Failure(kExitSystem, "nothing to set is given; try kxo set-header --help");
  }
  Edit edit(session, options.edit);
  edit.GetDocument().InHeader(format::kPrivateOutlineHeaderId, [&] {
    if (options.title) SetTitle(edit, *options.title);
  });
  edit.GetDocument().InHeader(format::kSharedHeaderId, [&] {
    if (options.category) SetCategory(edit, *options.category);
    if (options.makePrivate || options.makePublic) SetPrivate(edit, options.makePrivate);
  });
  edit.Finish("changed the header");
}

}  // namespace

void AddSetHeader(CLI::App& app, ChosenCommand& chosen) {
  auto options = std::make_shared<SetHeaderOptions>();
  CLI::App* command = app.add_subcommand("set-header");
  command->group("Commands");
  command->description(
      "Changes what a document says of itself.\n\n"
      "Examples:\n"
      "  kxo set-header plan.kxo --title \"Plan for spring\"\n"
      "  kxo set-header plan.kxo --category Home --private\n\n"
      "Where it is so already, the file stays as it is, to the last byte. A category is a\n"
      "name: kxo category keeps the list of those that there are.\n");
  AddEditOptions(*command, options->edit);
  command->add_option("--title", options->title, "Its title")->type_name("TITLE");
  command->add_option("--category", options->category, "Its category")->type_name("NAME");
  CLI::Option* const makePrivate =
      command->add_flag("--private", options->makePrivate, "Mark it as private");
  command->add_flag("--no-private", options->makePublic, "Take that mark away")
      ->excludes(makePrivate);
  command->callback([options, &chosen] {
    chosen = [options](const Session& session) { RunSetHeader(session, *options); };
  });
}

}  // namespace kxo
