#include <CLI/App.hpp>
#include <memory>
#include <optional>
#include <string>

#include "Editing.h"
#include "RowChange.h"
#include "commands/Commands.h"

namespace kxo {
namespace {

using kx_gen::COutlineRecord;

struct AddOptions {
  EditOptions edit;
  std::string text;
  PlaceOptions place;
  std::optional<std::string> note;
  bool checked = false;
};

/// As every fresh row: new, and without an id until it is synchronised.
void Fill(COutlineRecord& row, unsigned char level, const AddOptions& options) {
  row.SetNew(true);
  row.SetIndent(level);
  PutText(row, options.text);
  if (options.note) PutNote(row, *options.note);
  row.SetChecked(options.checked);
}

void RunAdd(const Session& session, const AddOptions& options) {
  Edit edit(session, options.edit);
  const Edit::Place place = edit.PlaceFor(options.place);
  const unsigned char level = edit.StoredLevel(place.level);
  WhileWriting(edit.GetName(), [&] {
    kx_gen::CDBRecordset& rows = *edit.GetDocument().GetRecordset();
    kx_gen::CDBRecord* const row =
        place.row == edit.RowCount() ? rows.Append() : rows.InsertBefore(&edit.Row(place.row));
    Fill(static_cast<COutlineRecord&>(*row), level, options);
  });
  edit.MarkChanged();
  edit.Finish("added item " + std::to_string(place.row + 1), {{"row", place.row + 1}});
}

}  // namespace

void AddAdd(CLI::App& app, ChosenCommand& chosen) {
  auto options = std::make_shared<AddOptions>();
  CLI::App* command = app.add_subcommand("add");
  command->group("Commands");
  command->description(
      std::string(
          "Adds an item to a document.\n\n"
          "Examples:\n"
          "  kxo add plan.kxo \"Buy paint\"              at its end, at the top level\n"
          "  kxo add plan.kxo \"Buy paint\" --under 3    as the last one below item 3\n"
          "  kxo add plan.kxo \"Buy paint\" --before id:17 --note \"White, 5 l\"\n"
          "  kxo add plan.kxo -- \"-10 %\"               a text that begins with a dash\n\n") +
      kItemHelp + "What was done is told on standard error, with the number of the new item.\n");
  AddEditOptions(*command, options->edit);
  command->add_option("TEXT", options->text, "The text of the new item")->required();
  AddPlaceOptions(*command, options->place);
  command->add_option("--note", options->note, "Its note")->type_name("NOTE");
  command->add_flag("--checked", options->checked, "Check it off");
  command->callback([options, &chosen] {
    chosen = [options](const Session& session) { RunAdd(session, *options); };
  });
}

}  // namespace kxo
