#include <CLI/App.hpp>
#include <memory>
#include <optional>
#include <string>

#include "Editing.h"
#include "Failure.h"
#include "RowChange.h"
#include "commands/Commands.h"

namespace kxo {
namespace {

using kx_gen::COutlineRecord;

struct SetOptions {
  EditOptions edit;
  std::string item;
  std::optional<std::string> text;
  std::optional<std::string> note;
  bool noNote = false;
  bool check = false;
  bool uncheck = false;
  bool fold = false;
  bool unfold = false;

  bool IsAnyGiven() const { return text || note || noNote || check || uncheck || fold || unfold; }
};

void Change(COutlineRecord& row, const SetOptions& options) {
  if (options.text) PutText(row, *options.text);
  if (options.note) PutNote(row, *options.note);
  if (options.noNote) row.DeleteNote();
  if (options.check || options.uncheck) row.SetChecked(options.check);
  if (options.fold || options.unfold) row.SetExpanded(options.unfold);
}

void RunSet(const Session& session, const SetOptions& options) {
  if (!options.IsAnyGiven()) {
    throw Failure(kExitSystem, "nothing to set is given; try kxo set --help");
  }
  Edit edit(session, options.edit);
  const size_t row = edit.Find(options.item);
  edit.ChangeRow(row, [&](COutlineRecord& record) { Change(record, options); });
  edit.Finish("changed item " + std::to_string(row + 1), {{"row", row + 1}});
}

/// Two flags of which one is given at most.
void AddPair(CLI::App& command, const std::string& first, bool& isFirst,
             const std::string& firstHelp, const std::string& second, bool& isSecond,
             const std::string& secondHelp) {
  CLI::Option* const option = command.add_flag(first, isFirst, firstHelp);
  command.add_flag(second, isSecond, secondHelp)->excludes(option);
}

}  // namespace

void AddSet(CLI::App& app, ChosenCommand& chosen) {
  auto options = std::make_shared<SetOptions>();
  CLI::App* command = app.add_subcommand("set");
  command->group("Commands");
  command->description(
      std::string("Changes an item of a document.\n\n"
                  "Examples:\n"
                  "  kxo set plan.kxo 3 --check\n"
                  "  kxo set plan.kxo id:17 --text \"Buy white paint\" --no-note\n"
                  "  kxo set plan.kxo 3 --fold --dry-run\n\n") +
      kItemHelp +
      "Where the item is so already, the file stays as it is, to the last byte.\n"
      "Folding is how an item is shown: it does not count as a change for synchronisation.\n");
  AddEditOptions(*command, options->edit);
  command->add_option("ITEM", options->item, "The item")->required();
  command->add_option("--text", options->text, "Its new text")->type_name("TEXT");
  CLI::Option* const note =
      command->add_option("--note", options->note, "Its new note")->type_name("NOTE");
  command->add_flag("--no-note", options->noNote, "Take its note away")->excludes(note);
  AddPair(*command, "--check", options->check, "Check it off", "--uncheck", options->uncheck,
          "Take the check mark away");
  AddPair(*command, "--fold", options->fold, "Fold what is below it", "--unfold", options->unfold,
          "Show what is below it");
  command->callback([options, &chosen] {
    chosen = [options](const Session& session) { RunSet(session, *options); };
  });
}

}  // namespace kxo
