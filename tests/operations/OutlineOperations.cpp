// Items, their drawings, and the deleted ids of an outline.

#include "World.h"

namespace kx_operations {

namespace {

using kx_gen::_String;
using kx_gen::COutlineDB;
using kx_gen::COutlineRecord;

void add(World& world, Words& words) {
  kx_gen::CDatabase& db = world.database(words);
  auto& item = dynamic_cast<COutlineRecord&>(*db.GetRecordset()->Append());
  item.SetId(words.as<unsigned long>());
  item.SetIndent(words.as<unsigned char>());
  item.SetText(words.text().c_str());
  item.SetNew(true);
}

void setText(World& world, Words& words) {
  auto& item = world.rowOf<COutlineRecord>(words);
  item.SetText(words.text().c_str());
}

void setNote(World& world, Words& words) {
  auto& item = world.rowOf<COutlineRecord>(words);
  item.SetNote(words.text().c_str());
}

void deleteText(World& world, Words& words) { world.rowOf<COutlineRecord>(words).DeleteText(); }

void deleteNote(World& world, Words& words) {
  auto& item = world.rowOf<COutlineRecord>(words);
  item.DeleteNote();
  world.tell(item.HasNote());
}

void setId(World& world, Words& words) {
  auto& item = world.rowOf<COutlineRecord>(words);
  item.SetId(words.as<unsigned long>());
  world.tell(item.GetId());
}

void setIndent(World& world, Words& words) {
  auto& item = world.rowOf<COutlineRecord>(words);
  item.SetIndent(words.as<unsigned char>());
  world.tell(item.GetIndent());
}

void expand(World& world, Words& words) {
  auto& item = world.rowOf<COutlineRecord>(words);
  item.SetExpanded(words.truth());
}

void check(World& world, Words& words) {
  auto& item = world.rowOf<COutlineRecord>(words);
  item.SetChecked(words.truth());
}

void link(World& world, Words& words) {
  auto& item = world.rowOf<kx_gen::CLinkedOutlRec>(words);
  item.setInternalId(words.as<unsigned long>());
  item.setParentId(words.as<unsigned long>());
  world.tell(item.getInternalId());
  world.tell(item.getParentId());
}

void assign(World& world, Words& words) {
  auto& target = world.rowOf<COutlineRecord>(words);
  target = world.rowOf<COutlineRecord>(words);
}

void compare(World& world, Words& words) {
  auto& item = world.rowOf<COutlineRecord>(words);
  item.UpdateChangedFields(&world.rowOf<COutlineRecord>(words));
  item.updateRecordChanged();
  world.tell(item.IsChanged());
}

void updateChanged(World& world, Words& words) {
  auto& item = world.rowOf<COutlineRecord>(words);
  item.updateRecordChanged();
  world.tell(item.IsChanged());
}

void draw(World& world, Words& words) {
  auto& item = world.rowOf<COutlineRecord>(words);
  Handle copy = handleOf(dataOf(world.handle(words)));
  const std::string before = item.HasDrawing() ? "another one" : "the first one";
  item.SetDrawing(copy.release());
  world.tell(before);
}

void takeDrawing(World& world, Words& words) {
  auto& item = world.rowOf<COutlineRecord>(words);
  Handle& drawing = world.handle(words);
  drawing.reset(item.GetDrawing());
  world.tell(summary(dataOf(drawing)));
}

void eraseDrawing(World& world, Words& words) {
  auto& item = world.rowOf<COutlineRecord>(words);
  item.DeleteBitmap();
  world.tell(item.HasDrawing());
}

std::string sizeOfDrawing(COutlineRecord& item) {
  long width = 0;
  long height = 0;
  item.GetDrawingSize(width, height);
  return std::to_string(width) + "x" + std::to_string(height);
}

/// One line for a row. Each field is asked for by itself, in this order: asking may log.
std::string describe(COutlineRecord& item) {
  _String text;
  item.GetText(text);
  std::string line = "id " + std::to_string(item.GetId());
  line += " indent " + std::to_string(item.GetIndent());
  line += " flags " + std::to_string(item.GetFlag());
  line += " at " + std::to_string(static_cast<uint32_t>(item.GetPos()));
  if (!item.GetExpanded()) line += " folded";
  if (item.GetChecked()) line += " checked";
  if (item.IsSortChanged()) line += " sorted";
  line += " " + shown(text);
  if (item.HasNote()) {
    item.GetNote(text);
    if (!text.empty()) line += " note " + shown(text);
  }
  if (item.HasDrawing()) line += " drawing " + sizeOfDrawing(item);
  if (auto* linked = dynamic_cast<kx_gen::CLinkedOutlRec*>(&item)) {
    line += " own " + std::to_string(linked->getInternalId());
    line += " parent " + std::to_string(linked->getParentId());
  }
  return line;
}

void tellItems(World& world, Words& words) {
  kx_gen::CDatabase& db = world.database(words);
  for (kx_gen::CDBRecord* record : *db.GetRecordset()) {
    try {
      world.tellLine(describe(dynamic_cast<COutlineRecord&>(*record)));
    } catch (kx_gen::CException* e) {
      world.tellLine("throws " + shown(e->GetDescription()));
      e->Delete();
    }
  }
}

// --- The outline ---

void deleteItem(World& world, Words& words) {
  auto& db = world.databaseOf<COutlineDB>(words);
  kx_gen::CDBRecord* record = world.rowOrNull(words);
  db.Delete(dynamic_cast<COutlineRecord*>(record));
  world.tell(db.GetRecordset()->getSize());
}

void tellDeleted(World& world, Words& words) {
  const auto& deleted = world.databaseOf<COutlineDB>(words).GetDeletedThoughts();
  for (size_t i = 0; i < deleted.GetCount(); ++i) world.tell(deleted.GetId(i));
}

void deleteAll(World& world, Words& words) {
  auto& db = world.databaseOf<COutlineDB>(words);
  db.DeleteAll(words.truth());
  world.tell(db.GetRecordset()->getSize());
}

void remember(World& world, Words& words) {
  auto& db = world.databaseOf<COutlineDB>(words);
  db.AddDeletedId(words.as<unsigned long>());
}

void forget(World& world, Words& words) {
  auto& db = world.databaseOf<COutlineDB>(words);
  db.removeDeletedId(words.as<unsigned long>());
}

void isDeleted(World& world, Words& words) {
  auto& db = world.databaseOf<COutlineDB>(words);
  world.tell(db.IsDeleted(words.as<unsigned long>()));
}

void isItemDeleted(World& world, Words& words) {
  auto& db = world.databaseOf<COutlineDB>(words);
  world.tell(db.IsDeleted(dynamic_cast<COutlineRecord*>(world.rowOrNull(words))));
}

}  // namespace

Operations outlineOperations() {
  return {
      {"add", add},
      {"text", setText},
      {"note", setNote},
      {"no-text", deleteText},
      {"no-note", deleteNote},
      {"id", setId},
      {"indent", setIndent},
      {"expand", expand},
      {"check", check},
      {"link", link},
      {"assign", assign},
      {"compare", compare},
      {"update-changed", updateChanged},
      {"draw", draw},
      {"take-drawing", takeDrawing},
      {"erase-drawing", eraseDrawing},
      {"items", tellItems},
      {"delete-item", deleteItem},
      {"deleted-ids", tellDeleted},
      {"delete-all", deleteAll},
      {"remember", remember},
      {"forget", forget},
      {"is-deleted", isDeleted},
      {"is-item-deleted", isItemDeleted},
  };
}

}  // namespace kx_operations
