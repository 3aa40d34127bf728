// The flat interface over category databases.

#include "CategoryDB.h"
#include "FlatCall.h"
#include "RV_FileIO.h"
#include "RecordStore.h"
#include "SafeSave.h"

namespace flat = kx_gen::flat;

using kx_gen::_String;
using kx_gen::CCategoryDB;
using kx_gen::CCategoryIterator;
using kx_gen::CCategoryRecord;
using kx_gen::CDatabase;
using kx_gen::CDBRecord;
using kx_gen::CFile;

static_assert(sizeof(CCategoryIterator) == sizeof(RV_ITER), "the iterator crosses as RV_ITER");
static_assert(std::is_trivially_copyable<CCategoryIterator>::value, "and travels in registers");

namespace {

CCategoryDB* categories(RV_CAT cat) {
  return flat::object<CCategoryDB, CDatabase>(cat, flat::kLineCategoryHandle);
}

CCategoryRecord* category(RV_CREC rec) {
  return flat::object<CCategoryRecord, CDBRecord>(rec, flat::kLineCategoryRecordHandle);
}

RV_CREC handle(CDBRecord* rec) { return rec; }

// A second handle, for a member that asserts null itself.
template <class Call>
auto withCategory(RV_CREC rec, Call call) {
  return flat::withSecond<CCategoryRecord, CDBRecord>(rec, flat::kLineCategoryRecordHandle, call);
}

template <class Call>
auto onCategories(RV_CAT cat, Call call) {
  return flat::onObject(categories(cat), call);
}

// The open flags behind the three modes of RV_OpenCategoryFile.
enum CategoryFileMode : unsigned int { kModeRead = 1, kModeCreate = 2, kModeEdit = 3 };
constexpr unsigned int kFlagsRead = CFile::modeRead | CFile::shareDenyWrite;
constexpr unsigned int kFlagsCreate = CFile::modeCreate | CFile::modeWrite;
constexpr unsigned int kFlagsEdit = CFile::modeReadWrite;
static_assert(kFlagsRead == 32 && kFlagsCreate == 4097 && kFlagsEdit == 2, "fixed for callers");

// The scan of the functions by name. A deleted record leaves the name of the one before it in
// place, and empty records take part: callers see holes here that the class members pass over.
CCategoryRecord* scanForName(CCategoryDB& db, const wchar_t* name) {
  const _String wanted(name);
  _String present;
  const int count = db.GetRecordset()->getSize();
  for (int slot = 0; slot < count; ++slot) {
    auto* record = static_cast<CCategoryRecord*>(db.getRecord(static_cast<unsigned long>(slot)));
    if (!record->IsDeleted()) record->GetCategoryName(present);
    if (static_cast<const std::wstring&>(present) == static_cast<const std::wstring&>(wanted)) {
      return record;
    }
  }
  return nullptr;
}

}  // namespace

RV_CAT RV_CreateCategoryDB(void) {
  return flat::run([]() -> RV_CAT {
    CDatabase* db = flat::make<CCategoryDB>();
    return db;
  });
}

void RV_DeleteCategoryDB(RV_CAT cat) {
  flat::run([&] { delete static_cast<CDatabase*>(cat); });
}

int RV_OpenCategoryFile(RV_CAT cat, const wchar_t* name, unsigned int mode) {
  return onCategories(cat, [&](CCategoryDB& db) {
    switch (mode) {
      case kModeRead:
        return db.Open(name, kFlagsRead);
      case kModeCreate:
        return db.Open(name, kFlagsCreate);
      case kModeEdit:
        return db.Open(name, kFlagsEdit);
      default:
        return 0;
    }
  });
}

void RV_CategoryClose(RV_CAT cat) {
  onCategories(cat, [](CCategoryDB& db) { db.Close(); });
}

int KX_SaveCategories(RV_CAT cat, const wchar_t* path) {
  return onCategories(cat, [&](CCategoryDB& db) {
    kx_gen::SaveDatabaseFile(db, path);
    return 1;
  });
}

void RV_CheckCategoryDbInfo(RV_CAT cat) {
  onCategories(cat, [](CCategoryDB& db) { db.CheckDbInfo(); });
}

void RV_CategoryInitNewDataBase(RV_CAT cat) {
  onCategories(cat, [](CCategoryDB& db) { db.InitNewDatabase(); });
}

void RV_CreateCategoryRecordset(RV_CAT cat) {
  onCategories(cat, [](CCategoryDB& db) { db.CreateRecordset(); });
}

void RV_CategoryReadRows(RV_CAT cat) {
  onCategories(cat, [](CCategoryDB& db) { db.ReadRows(); });
}

void RV_CategoryWriteRows(RV_CAT cat) {
  onCategories(cat, [](CCategoryDB& db) { db.WriteRows(); });
}

void RV_WriteAllCategoryHeaders(RV_CAT cat) {
  onCategories(cat, [](CCategoryDB& db) { db.WriteAllHeaders(); });
}

void RV_CategoryReadExtraRows(RV_CAT cat) {
  onCategories(cat, [](CCategoryDB& db) { db.ReadExtraRows(); });
}

void RV_CategoryWriteExtraRows(RV_CAT cat) {
  onCategories(cat, [](CCategoryDB& db) { db.WriteExtraRows(); });
}

unsigned int RV_GetMaxCategoryAmount(RV_CAT cat) {
  return onCategories(cat,
                      [](CCategoryDB& db) -> unsigned int { return db.GetMaxCategoryAmount(); });
}

RV_RS RV_GetCatRecordset(RV_CAT cat) {
  return onCategories(cat, [](CCategoryDB& db) -> RV_RS { return db.GetRecordset(); });
}

int RV_GetCategoryRecordSize(RV_CAT cat) {
  return onCategories(cat, [](CCategoryDB& db) { return db.GetRecordset()->getSize(); });
}

int RV_isFull(RV_CAT cat) {
  return onCategories(cat, [](CCategoryDB& db) { return flat::truth(db.isFull()); });
}

int RV_FindFirstHole(RV_CAT cat) {
  return onCategories(cat, [](CCategoryDB& db) { return db.FindFirstHole(); });
}

void RV_ResizeDB(RV_CAT cat, unsigned long count) {
  onCategories(cat, [&](CCategoryDB& db) { db.ResizeDB(count); });
}

void RV_deleteAllCategories(RV_CAT cat) {
  onCategories(cat, [](CCategoryDB& db) { db.deleteAllCategories(); });
}

void RV_DeleteCategory(RV_CAT cat, RV_CREC rec, unsigned long time) {
  onCategories(cat, [&](CCategoryDB& db) {
    withCategory(rec, [&](CCategoryRecord* r) { db.DeleteCategory(r, time); });
  });
}

void RV_UndeleteCategory(RV_CAT cat, RV_CREC rec, unsigned long time) {
  onCategories(cat, [&](CCategoryDB& db) {
    withCategory(rec, [&](CCategoryRecord* r) { db.UndeleteCategory(r, time); });
  });
}

void RV_GetCatCategoryName(RV_CAT cat, RV_CREC rec, _String& out) {
  // From C the reference is a pointer, which may be null.
  _String* const name = &out;
  onCategories(cat, [&](CCategoryDB& db) {
    if (!kx_Check(name != nullptr, flat::kSource, flat::kLineStringHandle)) return;
    withCategory(rec, [&](CCategoryRecord* r) { db.GetCategoryName(r, *name); });
  });
}

unsigned long RV_GetCategoryID(RV_CAT cat, RV_CREC rec) {
  return onCategories(cat, [&](CCategoryDB& db) {
    return withCategory(rec, [&](CCategoryRecord* r) { return db.GetCategoryID(r); });
  });
}

void RV_SetCategoryID(RV_CAT cat, RV_CREC rec, unsigned long id) {
  onCategories(cat, [&](CCategoryDB& db) {
    withCategory(rec, [&](CCategoryRecord* r) { db.SetCategoryID(r, id); });
  });
}

CCategoryIterator RV_GetIterator(RV_CAT cat) {
  return onCategories(cat, [](CCategoryDB& db) { return db.GetIterator(); });
}

// Always the second live category, whatever the caller iterated before.
CCategoryIterator RV_GetNext(RV_CAT cat) {
  return onCategories(cat, [](CCategoryDB& db) { return ++db.GetIterator(); });
}

unsigned long RV_GetIterCategoryName(RV_CAT cat, wchar_t* out, unsigned long index) {
  return onCategories(cat, [&](CCategoryDB& db) {
    _String name;
    CCategoryRecord* record = category(db.getRecord(index));
    if (record != nullptr && !record->IsDeleted()) record->GetCategoryName(name);
    return flat::copyOut(name, out);
  });
}

// Unlike the class member it clears the deleted flag, leaves the last changed time as it was and
// knows no limit of categories beyond the slots.
RV_CREC RV_AddNewCategorybyName(RV_CAT cat, const wchar_t* name) {
  return onCategories(cat, [&](CCategoryDB& db) -> RV_CREC {
    const int slot = db.FindFirstHole();
    CCategoryRecord* record = db.GetByIndex(static_cast<unsigned long>(slot));
    if (record == nullptr) return nullptr;
    record->SetEmpty(false);
    record->SetDeleted(false);
    record->SetNew(true);
    record->SetCategoryId(db.GetNewCategoryId());
    record->SetCategoryName(name);
    return handle(record);
  });
}

RV_CREC RV_FindCategorybyName(RV_CAT cat, const wchar_t* name) {
  return onCategories(cat, [&](CCategoryDB& db) { return handle(scanForName(db, name)); });
}

void RV_RenameCategory(RV_CAT cat, const wchar_t* oldName, const wchar_t* newName) {
  onCategories(cat, [&](CCategoryDB& db) {
    CCategoryRecord* record = scanForName(db, oldName);
    if (record == nullptr) return;
    record->SetCategoryName(newName);
    record->SetChanged(true);
  });
}

void RV_DeleteCategorybyName(RV_CAT cat, const wchar_t* name) {
  onCategories(cat, [&](CCategoryDB& db) {
    CCategoryRecord* record = scanForName(db, name);
    if (record == nullptr) return;
    record->SetEmpty(true);
    record->SetDeleted(true);
  });
}
