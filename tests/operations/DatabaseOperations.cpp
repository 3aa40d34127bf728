// What every database, row set and row has.

#include "World.h"

namespace kx_operations {

namespace {

using kx_gen::CDatabase;
using kx_gen::CDBRecord;
using kx_gen::CDBRecordset;

// --- Life and file ---

void makeDatabase(World& world, Words& words) {
  const std::string kind = words.word();
  CDatabase* db = nullptr;
  if (kind == "outline") db = new Outline;
  if (kind == "memory-outline") db = new kx_gen::CMemOutlDB;
  if (kind == "categories") db = new kx_gen::CCategoryDB;
  if (db == nullptr) throw ScriptError("no such kind: " + kind);
  world.keepDatabase(words.word(), db);
}

void dropDatabase(World& world, Words& words) { world.dropDatabase(words.word()); }

void openDatabase(World& world, Words& words) {
  CDatabase& db = world.database(words);
  const std::wstring path = words.text();
  world.tell(db.Open(path.c_str(), openMode(words)));
}

void closeDatabase(World& world, Words& words) { world.database(words).Close(); }

void initDatabase(World& world, Words& words) { world.database(words).InitNewDatabase(); }

void saveHeaders(World& world, Words& words) { world.database(words).WriteAllHeaders(); }

void saveRows(World& world, Words& words) { world.database(words).WriteRows(); }

void save(World& world, Words& words) {
  CDatabase& db = world.database(words);
  db.WriteAllHeaders();
  db.WriteRows();
  db.Close();
}

void loadRows(World& world, Words& words) {
  CDatabase& db = world.database(words);
  db.ReadRows();
  world.tell(db.GetRecordset()->getSize());
}

/// The headers that the kind knows, then the rows.
void load(World& world, Words& words) {
  CDatabase& db = world.database(words);
  if (dynamic_cast<kx_gen::CMemOutlDB*>(&db) == nullptr) db.ReadConduitHeader();
  if (auto* outline = dynamic_cast<kx_gen::COutlineDB*>(&db)) {
    world.tell(outline->ReadSharedHeader());
    world.tell(outline->ReadPrivateHeader());
  }
  db.ReadRows();
  world.tell(db.GetRecordset()->getSize());
}

void readHeader(World& world, Words& words) {
  CDatabase& db = world.database(words);
  world.tell(db.ReadHeader(words.as<unsigned short>()));
}

void writeHeader(World& world, Words& words) {
  CDatabase& db = world.database(words);
  db.WriteHeader(words.as<unsigned short>());
}

void conduit(World& world, Words& words) {
  CDatabase& db = world.database(words);
  const auto id = words.as<unsigned long>();
  const Bytes value = words.bytes();
  world.tell(db.GetConduitHeader()->getTaggedDataManager().setData(
      id, value.data(), static_cast<unsigned long>(value.size()), nullptr, 0));
}

void information(World& world, Words& words) {
  CDatabase& db = world.database(words);
  world.tell("version " + std::to_string(db.GetVersionNum()) + " rows " +
             std::to_string(db.GetRowCount()) + (db.IsOpen() ? " open" : " closed"));
}

/// While one of these lives the database works on a file of the program's.
class Attachment {
 public:
  Attachment(CDatabase& db, kx_gen::CFile& file) : db_(db) { db_.Attach(&file); }
  Attachment(const Attachment&) = delete;
  Attachment& operator=(const Attachment&) = delete;
  ~Attachment() { db_.Detach(); }

 private:
  CDatabase& db_;
};

/// Writes the database into a file in memory, and that onto the disk.
void saveInMemory(World& world, Words& words) {
  CDatabase& db = world.database(words);
  kx_gen::MemFile memory(words.as<unsigned int>());
  const std::wstring path = words.text();
  {
    const Attachment attachment(db, memory);
    db.WriteAllHeaders();
    db.WriteRows();
  }
  Bytes content(memory.GetLength());
  memory.SeekToBegin();
  memory.Read(content.data(), static_cast<unsigned int>(content.size()));
  kx_gen::CFile file;
  file.Open(path.c_str(), kx_gen::CFile::modeCreate | kx_gen::CFile::modeWrite);
  file.Write(content.data(), static_cast<unsigned int>(content.size()));
  world.tell(content.size());
}

void saveSafely(World& world, Words& words) {
  CDatabase& db = world.database(words);
  kx_gen::SaveDatabaseFile(db, words.text().c_str());
  world.tell(db.IsOpen());
}

void saveNewSafely(World& world, Words& words) {
  CDatabase& db = world.database(words);
  kx_gen::SaveNewDatabaseFile(db, words.text().c_str());
  world.tell(db.IsOpen());
}

void purge(World& world, Words& words) {
  CDatabase& db = world.database(words);
  db.purgeDeletedRecs();
  world.tell(db.GetRecordset()->getSize());
}

// --- The row set ---

void insertBefore(World& world, Words& words) {
  CDBRecordset* rows = world.database(words).GetRecordset();
  rows->InsertBefore(world.rowOrNull(words));
  world.tell(rows->getSize());
}

void insertAfter(World& world, Words& words) {
  CDBRecordset* rows = world.database(words).GetRecordset();
  rows->InsertAfter(world.rowOrNull(words));
  world.tell(rows->getSize());
}

void moveRow(World& world, Words& words) {
  CDBRecordset* rows = world.database(words).GetRecordset();
  CDBRecord* record = world.rowOrNull(words);
  rows->MoveBefore(record, world.rowOrNull(words));
}

void deleteRow(World& world, Words& words) {
  CDBRecordset* rows = world.database(words).GetRecordset();
  rows->Delete(words.as<int>());
  world.tell(rows->getSize());
}

void freeRows(World& world, Words& words) { world.database(words).GetRecordset()->Free(); }

/// Reads a row once more, from where it stands in the file, into a new row of the set.
void readRowAgain(World& world, Words& words) {
  CDatabase& db = world.database(words);
  const unsigned long position = db.getRecord(words.as<unsigned long>())->GetPos();
  CDBRecord* record = db.GetRecordset()->Append();
  db.ReadRow(position, record);
  world.tell(position);
}

// --- A row ---

void setFlags(World& world, Words& words) {
  CDBRecord& record = world.row(words);
  record.SetFlag(words.as<unsigned char>());
}

struct Mark {
  const char* name;
  void (CDBRecord::*set)(bool on);
  bool (CDBRecord::*get)();
};
constexpr Mark kMarks[] = {
    {"new", &CDBRecord::SetNew, &CDBRecord::IsNew},
    {"deleted", &CDBRecord::SetDeleted, &CDBRecord::IsDeleted},
    {"changed", &CDBRecord::SetChanged, &CDBRecord::IsChanged},
    {"empty", &CDBRecord::SetEmpty, &CDBRecord::IsEmpty},
    {"archived", &CDBRecord::SetArchived, &CDBRecord::IsArchived},
    {"sort-changed", &CDBRecord::SetSortChanged, &CDBRecord::IsSortChanged},
};

void mark(World& world, Words& words) {
  CDBRecord& record = world.row(words);
  const std::string name = words.word();
  const bool on = words.truth();
  for (const Mark& mark : kMarks) {
    if (name != mark.name) continue;
    (record.*mark.set)(on);
    world.tell((record.*mark.get)());
    world.tell(record.GetFlag());
    return;
  }
  throw ScriptError("no such mark: " + name);
}

void clearMarks(World& world, Words& words) {
  CDBRecord& record = world.row(words);
  record.ClearChanges();
  world.tell(record.GetFlag());
}

void setIndex(World& world, Words& words) {
  CDBRecord& record = world.row(words);
  record.SetIndex(words.as<unsigned long>());
  world.tell(record.GetIndex());
}

void setTag(World& world, Words& words) {
  kx_gen::CTaggedDataManager& tags = world.row(words).getTaggedDataManager();
  const auto id = words.as<unsigned long>();
  const auto version = words.as<unsigned char>();
  const Bytes value = words.bytes();
  bool changed = false;
  world.tell(
      tags.setData(id, value.data(), static_cast<unsigned long>(value.size()), &changed, version));
  world.tell(changed);
}

void getTag(World& world, Words& words) {
  kx_gen::CTaggedDataManager& tags = world.row(words).getTaggedDataManager();
  const auto id = words.as<unsigned long>();
  unsigned long size = 0;
  unsigned char version = 0;
  tags.getTagDataSize(id, &size);
  Bytes value(size + 1);  // never without storage
  world.tell(tags.getData(id, value.data(), &size, &version));
  value.resize(size);
  world.tell("version " + std::to_string(version) + " " + hex(value));
}

void deleteTag(World& world, Words& words) {
  kx_gen::CTaggedDataManager& tags = world.row(words).getTaggedDataManager();
  world.tell(tags.deleteData(words.as<unsigned long>()));
}

/// Replaces the whole block, without looking at it.
void setBlock(World& world, Words& words) {
  CDBRecord& record = world.row(words);
  const Bytes block = words.bytes();
  record.FreeData();
  const char* bytes = reinterpret_cast<const char*>(block.data());
  world.tell(record.getTaggedDataManager().insert(0, bytes, block.size()));
}

void tellBlock(World& world, Words& words) {
  CDBRecord& record = world.row(words);
  const unsigned char* block = record.GetRawDataPtr();
  world.tell(summary(Bytes(block, block + record.GetRecSize())));
}

}  // namespace

Operations databaseOperations() {
  return {
      {"new", makeDatabase},
      {"drop", dropDatabase},
      {"open", openDatabase},
      {"close", closeDatabase},
      {"init", initDatabase},
      {"save-headers", saveHeaders},
      {"save-rows", saveRows},
      {"save", save},
      {"load-rows", loadRows},
      {"load", load},
      {"read-header", readHeader},
      {"write-header", writeHeader},
      {"conduit", conduit},
      {"information", information},
      {"save-in-memory", saveInMemory},
      {"save-safely", saveSafely},
      {"save-new-safely", saveNewSafely},
      {"purge", purge},
      {"insert-before", insertBefore},
      {"insert-after", insertAfter},
      {"move", moveRow},
      {"delete-row", deleteRow},
      {"free-rows", freeRows},
      {"read-row-again", readRowAgain},
      {"flags", setFlags},
      {"mark", mark},
      {"clear-marks", clearMarks},
      {"index", setIndex},
      {"tag", setTag},
      {"tell-tag", getTag},
      {"no-tag", deleteTag},
      {"block", setBlock},
      {"tell-block", tellBlock},
  };
}

}  // namespace kx_operations
