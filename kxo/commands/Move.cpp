#include <CLI/App.hpp>
#include <algorithm>
#include <memory>
#include <string>

#include "Editing.h"
#include "Failure.h"
#include "Text.h"
#include "commands/Commands.h"

namespace kxo {
namespace {

using kx_gen::COutlineRecord;

struct MoveOptions {
  EditOptions edit;
  std::string item;
  PlaceOptions place;
};

/// One item with all below it, on its way.
class Move {
 public:
  Move(Edit& edit, const MoveOptions& options);

  void ShiftLevels();
  void MoveRows();
  std::string Done() const;
  size_t NewRow() const { return place_.row <= rows_.first ? place_.row : place_.row - Count(); }

 private:
  size_t Count() const { return rows_.second - rows_.first; }
  void CheckTarget(const PlaceOptions& options) const;

  Edit& edit_;
  Edit::Rows rows_;
  Edit::Place place_;
};

Move::Move(Edit& edit, const MoveOptions& options)
    : edit_(edit),
      rows_(edit.SubtreeOf(edit.Find(options.item))),
      place_(edit.PlaceFor(options.place)) {
  CheckTarget(options.place);
}

void Move::CheckTarget(const PlaceOptions& options) const {
  const size_t target = edit_.Find(options.under + options.before + options.after);
  if (target < rows_.first || target >= rows_.second) return;
  throw FileFailure(kExitSystem, edit_.GetName(),
                    "an item cannot be moved to itself or to what is below it",
                    "choose another place");
}

/// All of them are looked at before the first changes.
void Move::ShiftLevels() {
  const unsigned oldLevel = edit_.Row(rows_.first).GetIndent();
  if (place_.level == oldLevel) return;
  const auto newLevel = [&](size_t row) {
    return edit_.StoredLevel(edit_.Row(row).GetIndent() - oldLevel + place_.level);
  };
  for (size_t row = rows_.first; row < rows_.second; ++row) newLevel(row);
  for (size_t row = rows_.first; row < rows_.second; ++row) {
    const unsigned char level = newLevel(row);
    edit_.ChangeRow(row, [level](COutlineRecord& record) { record.SetIndent(level); });
  }
}

/// Rows in another order have no field that tells, but a mark.
void Move::MoveRows() {
  if (NewRow() == rows_.first) return;
  WhileWriting(edit_.GetName(), [&] {
    for (size_t row = rows_.first; row < rows_.second; ++row) edit_.Row(row).SetSortChanged(true);
  });
  const auto begin = edit_.GetDocument().GetRecordset()->begin();
  const auto at = [&](size_t row) { return begin + static_cast<std::ptrdiff_t>(row); };
  if (place_.row < rows_.first) {
    std::rotate(at(place_.row), at(rows_.first), at(rows_.second));
  } else {
    std::rotate(at(rows_.first), at(rows_.second), at(place_.row));
  }
  edit_.MarkChanged();
}

std::string Move::Done() const {
  std::string done = "moved item " + std::to_string(rows_.first + 1);
  if (Count() > 1) done += " with the " + Counted(Count() - 1, "item") + " below it";
  return done + " to item " + std::to_string(NewRow() + 1);
}

void RunMove(const Session& session, const MoveOptions& options) {
  if (!options.place.IsGiven()) {
    throw Failure(kExitSystem, "no place to move to is given; add --under, --before or --after");
  }
  Edit edit(session, options.edit);
  Move move(edit, options);
  move.ShiftLevels();
  move.MoveRows();
  edit.Finish(move.Done(), {{"row", move.NewRow() + 1}});
}

}  // namespace

void AddMove(CLI::App& app, ChosenCommand& chosen) {
  auto options = std::make_shared<MoveOptions>();
  CLI::App* command = app.add_subcommand("move");
  command->group("Commands");
  command->description(
      std::string("Moves an item, with all below it, to another place of its document.\n\n"
                  "Examples:\n"
                  "  kxo move plan.kxo 7 --under 3       as the last one below item 3\n"
                  "  kxo move plan.kxo 7 --before 1      to the top\n"
                  "  kxo move plan.kxo id:17 --after id:9 --dry-run\n\n") +
      kItemHelp + "Numbers count before the move.\n");
  AddEditOptions(*command, options->edit);
  command->add_option("ITEM", options->item, "The item")->required();
  AddPlaceOptions(*command, options->place);
  command->callback([options, &chosen] {
    chosen = [options](const Session& session) { RunMove(session, *options); };
  });
}

}  // namespace kxo
