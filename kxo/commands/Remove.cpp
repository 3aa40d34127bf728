#include <CLI/App.hpp>
#include <memory>
#include <string>

#include "Editing.h"
#include "Text.h"
#include "commands/Commands.h"

namespace kxo {
namespace {

struct RemoveOptions {
  EditOptions edit;
  std::string item;
};

/// Synchronisation is to remove elsewhere what it knows, which is what has an id.
void RememberIds(Edit& edit, const Edit::Rows& rows) {
  for (size_t row = rows.first; row < rows.second; ++row) {
    const unsigned long id = edit.Row(row).GetId();
    if (id != 0) edit.GetDocument().AddDeletedId(id);
  }
}

void RunRemove(const Session& session, const RemoveOptions& options) {
  Edit edit(session, options.edit);
  const Edit::Rows rows = edit.SubtreeOf(edit.Find(options.item));
  WhileWriting(edit.GetName(), [&] {
    RememberIds(edit, rows);
    size_t row = 0;
    edit.GetDocument().GetRecordset()->DeleteIf([&](const kx_gen::CDBRecord* /*record*/) {
      const size_t place = row++;
      return place >= rows.first && place < rows.second;
    });
  });
  edit.MarkChanged();
  const size_t below = rows.second - rows.first - 1;
  edit.Finish("removed item " + std::to_string(rows.first + 1) +
                  (below > 0 ? " with the " + Counted(below, "item") + " below it" : ""),
              {{"row", rows.first + 1}, {"items", below + 1}});
}

}  // namespace

void AddRemove(CLI::App& app, ChosenCommand& chosen) {
  auto options = std::make_shared<RemoveOptions>();
  CLI::App* command = app.add_subcommand("remove");
  command->group("Commands");
  command->description(
      std::string("Removes an item, with all below it, from a document.\n\n"
                  "Examples:\n"
                  "  kxo remove plan.kxo 7\n"
                  "  kxo remove plan.kxo id:17 --dry-run\n\n") +
      kItemHelp +
      "The ids of removed items are kept in the document until it is synchronised, so that\n"
      "they go elsewhere, too.\n");
  AddEditOptions(*command, options->edit);
  command->add_option("ITEM", options->item, "The item")->required();
  command->callback([options, &chosen] {
    chosen = [options](const Session& session) { RunRemove(session, *options); };
  });
}

}  // namespace kxo
