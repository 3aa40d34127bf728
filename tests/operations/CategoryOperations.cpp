// Category databases, and the category that each outline of a folder names. Times are always given:
// nothing here asks what time it is.

#include "World.h"

namespace kx_operations {

namespace {

using kx_gen::_String;
using kx_gen::CCategoryDB;
using kx_gen::CCategoryRecord;

void setUnfiledName(World& world, Words& words) {
  CCategoryDB::setUnfiledCategoryName(words.text().c_str());
  world.tell(shown(CCategoryDB::getUnfiledCategoryName()));
}

/// The slot of a category; -1 for none.
int slotOf(CCategoryDB& db, const kx_gen::CDBRecord* record) {
  for (int i = 0; i < db.GetRecordset()->getSize(); ++i) {
    if (db.getRecord(static_cast<unsigned long>(i)) == record) return i;
  }
  return -1;
}

void tellCategory(World& world, CCategoryDB& db, CCategoryRecord* record) {
  world.tell("slot " + std::to_string(slotOf(db, record)));
  if (record != nullptr) world.tell("id " + std::to_string(record->GetCategoryId()));
}

void addByName(World& world, Words& words) {
  auto& db = world.databaseOf<CCategoryDB>(words);
  const std::wstring name = words.text();
  auto time = words.as<unsigned long>();
  tellCategory(world, db, db.AddNewCategory(name.c_str(), &time));
}

void addById(World& world, Words& words) {
  auto& db = world.databaseOf<CCategoryDB>(words);
  const auto id = words.as<unsigned long>();
  const std::wstring name = words.text();
  auto time = words.as<unsigned long>();
  tellCategory(world, db, db.AddNewCategory(id, name.c_str(), &time));
}

void putInSlot(World& world, Words& words) {
  auto& db = world.databaseOf<CCategoryDB>(words);
  const auto slot = words.as<int>();
  const auto id = words.as<unsigned long>();
  const std::wstring name = words.text();
  tellCategory(world, db, db.AddNewCategory(id, name.c_str(), words.as<unsigned long>(), slot));
}

/// The category of a slot; null behind the last.
CCategoryRecord* inSlot(CCategoryDB& db, Words& words) {
  return dynamic_cast<CCategoryRecord*>(db.getRecord(words.as<unsigned long>()));
}

void rename(World& world, Words& words) {
  auto& db = world.databaseOf<CCategoryDB>(words);
  CCategoryRecord* record = inSlot(db, words);
  const std::wstring name = words.text();
  db.RenameCategory(record, name.c_str(), words.as<unsigned long>());
}

void remove(World& world, Words& words) {
  auto& db = world.databaseOf<CCategoryDB>(words);
  CCategoryRecord* record = inSlot(db, words);
  db.DeleteCategory(record, words.as<unsigned long>());
  world.tell(db.GetCategoryCount());
}

void undelete(World& world, Words& words) {
  auto& db = world.databaseOf<CCategoryDB>(words);
  CCategoryRecord* record = inSlot(db, words);
  db.UndeleteCategory(record, words.as<unsigned long>());
  tellCategory(world, db, record);
}

void setId(World& world, Words& words) {
  auto& db = world.databaseOf<CCategoryDB>(words);
  CCategoryRecord* record = inSlot(db, words);
  db.SetCategoryID(record, words.as<unsigned long>());
}

void setTime(World& world, Words& words) {
  auto& db = world.databaseOf<CCategoryDB>(words);
  CCategoryRecord* record = inSlot(db, words);
  record->SetLastChangedTime(words.as<unsigned long>());
  world.tell(record->GetLastChangedTime());
}

void find(World& world, Words& words) {
  auto& db = world.databaseOf<CCategoryDB>(words);
  tellCategory(world, db, db.FindCategory(words.text().c_str()));
}

void findById(World& world, Words& words) {
  auto& db = world.databaseOf<CCategoryDB>(words);
  tellCategory(world, db, db.FindCategory(words.as<unsigned long>()));
}

void newId(World& world, Words& words) {
  world.tell(world.databaseOf<CCategoryDB>(words).GetNewCategoryId());
}

void findHole(World& world, Words& words) {
  world.tell(world.databaseOf<CCategoryDB>(words).FindFirstHole());
}

void resize(World& world, Words& words) {
  auto& db = world.databaseOf<CCategoryDB>(words);
  db.ResizeDB(words.as<unsigned long>());
  world.tell(db.GetRecordset()->getSize());
}

void renumber(World& world, Words& words) {
  world.databaseOf<CCategoryDB>(words).setDesktopCategoryIDs();
}

void removeAll(World& world, Words& words) {
  world.databaseOf<CCategoryDB>(words).deleteAllCategories();
}

void setNewFlag(World& world, Words& words) {
  auto& db = world.databaseOf<CCategoryDB>(words);
  db.setNewFlag(words.truth());
}

void walk(World& world, Words& words) {
  auto& db = world.databaseOf<CCategoryDB>(words);
  for (kx_gen::CCategoryIterator at = db.GetIterator(); at != db.End(); ++at) {
    _String name;
    db.GetCategoryName(*at, name);
    world.tell(shown(name));
  }
}

void tellSlots(World& world, Words& words) {
  auto& db = world.databaseOf<CCategoryDB>(words);
  world.tell(std::to_string(db.GetCategoryCount()) + " live" + (db.isFull() ? " full" : "") +
             (db.isNew() ? " new" : ""));
  for (int i = 0; i < db.GetRecordset()->getSize(); ++i) {
    auto* record = dynamic_cast<CCategoryRecord*>(db.getRecord(static_cast<unsigned long>(i)));
    _String name;
    record->GetCategoryName(name);
    world.tellLine(std::to_string(i) + " id " + std::to_string(record->GetCategoryId()) +
                   " flags " + std::to_string(record->GetFlag()) + " time " +
                   std::to_string(record->GetLastChangedTime()) + " " + shown(name));
  }
}

// --- The outlines of a folder ---

void updateFolder(World& /*world*/, Words& words) {
  const std::wstring folder = words.text();
  const std::wstring extension = words.text();
  const std::wstring oldName = words.text();
  const std::wstring newName = words.text();
  kx_gen::updateCategory(folder.c_str(), extension.c_str(), oldName.c_str(), newName.c_str());
}

void unfileFolder(World& /*world*/, Words& words) {
  const std::wstring folder = words.text();
  const std::wstring extension = words.text();
  kx_gen::updateCategory(folder.c_str(), extension.c_str(), words.text().c_str(), nullptr);
}

void updateFile(World& world, Words& words) {
  const std::wstring path = words.text();
  const bool always = words.truth();
  const std::wstring oldName = words.text();
  world.tell(
      kx_gen::updateFileCategory(path.c_str(), always, oldName.c_str(), words.text().c_str()));
}

}  // namespace

Operations categoryOperations() {
  return {
      {"unfiled-name", setUnfiledName}, {"add-category", addByName},
      {"add-category-id", addById},     {"put-category", putInSlot},
      {"rename-category", rename},      {"delete-category", remove},
      {"undelete-category", undelete},  {"category-id", setId},
      {"category-time", setTime},       {"find-category", find},
      {"find-category-id", findById},   {"new-category-id", newId},
      {"find-hole", findHole},          {"resize", resize},
      {"desktop-ids", renumber},        {"delete-categories", removeAll},
      {"new-flag", setNewFlag},         {"walk", walk},
      {"categories", tellSlots},        {"update-folder", updateFolder},
      {"unfile-folder", unfileFolder},  {"update-file", updateFile},
  };
}

}  // namespace kx_operations
