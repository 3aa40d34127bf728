// The flat interface over outline databases and outline records.

#include <atomic>
#include <cstring>
#include <memory>

#include "CategoryDB.h"
#include "FlatCall.h"
#include "OutlineDB.h"
#include "RV_FileIO.h"
#include "RecordStore.h"
#include "SafeSave.h"
#include "Text.h"

namespace flat = kx_gen::flat;

using kx_gen::_String;
using kx_gen::CCategoryDB;
using kx_gen::CCategoryRecord;
using kx_gen::CDatabase;
using kx_gen::CDBRecord;
using kx_gen::CDBRecordset;
using kx_gen::CMemOutlDB;
using kx_gen::COutlineDB;
using kx_gen::COutlineRecord;

namespace {

COutlineDB* outline(RV_DB db) {
  return flat::object<COutlineDB, CDatabase>(db, flat::kLineOutlineHandle);
}

CDatabase* database(RV_DB db) {
  return flat::object<CDatabase, CDatabase>(db, flat::kLineDatabaseHandle);
}

COutlineRecord* item(RV_REC rec) {
  return flat::object<COutlineRecord, CDBRecord>(rec, flat::kLineOutlineRecordHandle);
}

CDBRecord* record(RV_REC rec) {
  return flat::object<CDBRecord, CDBRecord>(rec, flat::kLineRecordHandle);
}

// The record behind a handle as a row of this database; null, after an assertion, when the rows of
// such a database are of another kind.
CDBRecord* rowFor(CDatabase& db, RV_REC rec) {
  if (dynamic_cast<CCategoryDB*>(&db) != nullptr) {
    return flat::object<CCategoryRecord, CDBRecord>(rec, flat::kLineCategoryRecordHandle);
  }
  const bool holdsItems =
      dynamic_cast<COutlineDB*>(&db) != nullptr || dynamic_cast<CMemOutlDB*>(&db) != nullptr;
  return holdsItems ? item(rec) : record(rec);
}

// Handles of records are CDBRecord pointers, handles of databases CDatabase pointers.
RV_REC handle(CDBRecord* rec) { return rec; }
RV_DB handle(CDatabase* db) { return db; }

template <class Call>
auto onOutline(RV_DB db, Call call) {
  return flat::onObject(outline(db), call);
}

template <class Call>
auto onDatabase(RV_DB db, Call call) {
  return flat::onObject(database(db), call);
}

template <class Call>
auto onItem(RV_REC rec, Call call) {
  return flat::onObject(item(rec), call);
}

// A second handle, for a member that asserts null itself.
template <class Call>
auto withOther(RV_DB other, Call call) {
  return flat::withSecond<COutlineDB, CDatabase>(other, flat::kLineOutlineHandle, call);
}

template <class Call>
auto withItem(RV_REC rec, Call call) {
  return flat::withSecond<COutlineRecord, CDBRecord>(rec, flat::kLineOutlineRecordHandle, call);
}

template <class Call>
auto onRecord(RV_REC rec, Call call) {
  return flat::onObject(record(rec), call);
}

template <class Call>
auto onRows(RV_DB db, Call call) {
  CDatabase* target = database(db);
  CDBRecordset* rows = target != nullptr ? target->GetRecordset() : nullptr;
  if (target != nullptr) kx_Check(rows != nullptr, flat::kSource, flat::kLineRecordset);
  return flat::onObject(rows, call);
}

// The item in a row of any database.
template <class Call>
auto onRow(RV_DB db, unsigned long index, Call call) {
  CDatabase* target = database(db);
  return flat::onObject(target != nullptr ? item(target->getRecord(index)) : nullptr, call);
}

// False, after an assertion, for a structure to be stored that is null.
bool given(const void* structure) {
  return kx_Check(structure != nullptr, flat::kSource, flat::kLineNullArgument);
}

// The size of the last drawing that was asked for, of any record.
std::atomic<long> lastDrawingWidth{0};
std::atomic<long> lastDrawingHeight{0};

}  // namespace

// --- Outline database: life, file, rows ---

RV_DB RV_CreateOutlineDB(void) {
  return flat::run([]() -> RV_DB { return handle(flat::make<COutlineDB>()); });
}

void RV_DeleteOutlineDB(RV_DB db) {
  flat::run([&] { delete static_cast<CDatabase*>(db); });
}

int RV_Open(RV_DB db, const wchar_t* path, unsigned int mode) {
  return onDatabase(db, [&](CDatabase& d) {
    const wchar_t* name = path != nullptr ? path : L"";
    WriteLogLine("Opening db of %s", kx_gen::toLogText(name, std::wcslen(name)).c_str());
    return d.Open(path, mode);
  });
}

void RV_Close(RV_DB db) {
  onDatabase(db, [](CDatabase& d) {
    WriteLogLine("closing database");
    d.Close();
  });
}

int KX_SaveOutline(RV_DB db, const wchar_t* path) {
  return onDatabase(db, [&](CDatabase& target) {
    kx_gen::SaveDatabaseFile(target, path);
    return 1;
  });
}

void RV_CheckDbInfo(RV_DB db) {
  onDatabase(db, [](CDatabase& d) { d.CheckDbInfo(); });
}

void RV_InitNewDataBase(RV_DB db) {
  onDatabase(db, [](CDatabase& d) { d.InitNewDatabase(); });
}

void RV_ReadRows(RV_DB db) {
  onDatabase(db, [](CDatabase& d) { d.ReadRows(); });
}

void RV_WriteRows(RV_DB db) {
  onDatabase(db, [](CDatabase& d) {
    WriteLogLine("writing rows");
    d.WriteRows();
  });
}

void RV_WriteAllHeaders(RV_DB db) {
  onDatabase(db, [](CDatabase& d) {
    WriteLogLine("writing all headers");
    d.WriteAllHeaders();
  });
}

void RV_ReadExtraRows(RV_DB db) {
  onDatabase(db, [](CDatabase& d) { d.ReadExtraRows(); });
}

void RV_WriteExtraRows(RV_DB db) {
  onDatabase(db, [](CDatabase& d) { d.WriteExtraRows(); });
}

void RV_CreateRecordset(RV_DB db) {
  onDatabase(db, [](CDatabase& d) { d.CreateRecordset(); });
}

int RV_ReadSharedHeader(RV_DB db) {
  return onOutline(db, [](COutlineDB& o) { return flat::truth(o.ReadSharedHeader()); });
}

void RV_WriteSharedHeader(RV_DB db) {
  onOutline(db, [](COutlineDB& o) { o.WriteSharedHeader(); });
}

int RV_ReadPrivateHeader(RV_DB db) {
  return onOutline(db, [](COutlineDB& o) { return flat::truth(o.ReadPrivateHeader()); });
}

void RV_WritePrivateHeader(RV_DB db) {
  onOutline(db, [](COutlineDB& o) { o.WritePrivateHeader(); });
}

void RV_ReadRow(RV_DB db, unsigned long position, RV_REC rec) {
  onDatabase(db, [&](CDatabase& d) { d.ReadRow(position, static_cast<CDBRecord*>(rec)); });
}

// --- Recordset ---

int RV_GetSize(RV_DB db) {
  return onRows(db, [](CDBRecordset& rows) { return rows.getSize(); });
}

RV_REC RV_GetRecord(RV_DB db, unsigned long index) {
  return onRows(db, [&](CDBRecordset& rows) { return handle(rows.getRecord(index)); });
}

RV_RS RV_GetRecordSet(RV_DB db) {
  return onRows(db, [](CDBRecordset& rows) -> RV_RS { return &rows; });
}

RV_REC RV_AppendRecordSet(RV_DB db) {
  return onRows(db, [](CDBRecordset& rows) { return handle(rows.Append()); });
}

void RV_EmptyRS(RV_DB db) {
  onRows(db, [](CDBRecordset& rows) { rows.emptyRS(); });
}

void RV_AddtoRS(RV_DB db, RV_REC rec) {
  onRows(db, [&](CDBRecordset& rows) {
    if (CDBRecord* added = rowFor(*database(db), rec)) rows.add(added);
  });
}

RV_REC RV_CreateDBRecord(RV_DB db) {
  return onRows(db, [](CDBRecordset& rows) { return handle(rows.CreateDBRecord()); });
}

void RV_DeleteDBRecord(RV_DB db, RV_REC rec) {
  onRows(db, [&](CDBRecordset& rows) {
    if (CDBRecord* doomed = record(rec)) rows.DeleteDBRecord(doomed);
  });
}

void RV_Delete(RV_DB db, RV_REC rec) {
  onOutline(db, [&](COutlineDB& o) { withItem(rec, [&](COutlineRecord* r) { o.Delete(r); }); });
}

void RV_DeleteAll(RV_DB db, int rememberIds) {
  onOutline(db, [&](COutlineDB& o) { o.DeleteAll(rememberIds != 0); });
}

// --- Deleted ids ---

void RV_AddDeletedId(RV_DB db, unsigned long id) {
  onOutline(db, [&](COutlineDB& o) { o.AddDeletedId(id); });
}

int RV_IsDeletedId(RV_DB db, unsigned long id) {
  return onOutline(db, [&](COutlineDB& o) { return flat::truth(o.IsDeleted(id)); });
}

int RV_IsDeletedRec(RV_DB db, RV_REC rec) {
  return onOutline(db, [&](COutlineDB& o) {
    return withItem(rec, [&](COutlineRecord* r) { return flat::truth(o.IsDeleted(r)); });
  });
}

void RV_removeDeletedId(RV_DB db, unsigned long id) {
  onOutline(db, [&](COutlineDB& o) { o.removeDeletedId(id); });
}

// --- Headers ---

unsigned long RV_GetCategoryName(RV_DB db, wchar_t* buffer) {
  return onOutline(db, [&](COutlineDB& o) {
    WriteLogLine("Get category name");
    _String name;
    o.GetCategoryName(name);
    return flat::copyOut(name, buffer);
  });
}

void RV_SetCategoryName(RV_DB db, const wchar_t* name) {
  onOutline(db, [&](COutlineDB& o) { o.SetCategoryName(_String(name)); });
}

int RV_GetCategoryChanged(RV_DB db) {
  return onOutline(db, [](COutlineDB& o) { return flat::truth(o.GetCategoryChanged()); });
}

void RV_SetCategoryChanged(RV_DB db, int changed) {
  onOutline(db, [&](COutlineDB& o) { o.SetCategoryChanged(changed != 0); });
}

unsigned long RV_GetOutlineTitle(RV_DB db, wchar_t* buffer) {
  return onOutline(db, [&](COutlineDB& o) {
    WriteLogLine("Get outline title");
    _String title;
    o.GetOutlineTitle(title);
    return flat::copyOut(title, buffer);
  });
}

void RV_SetOutlineTitle(RV_DB db, const wchar_t* title) {
  onOutline(db, [&](COutlineDB& o) { o.SetOutlineTitle(_String(title)); });
}

int RV_GetOutlineChanged(RV_DB db) {
  return onOutline(db, [](COutlineDB& o) { return flat::truth(o.GetOutlineChanged()); });
}

void RV_SetOutlineChanged(RV_DB db, int changed) {
  onOutline(db, [&](COutlineDB& o) { o.SetOutlineChanged(changed != 0); });
}

int RV_GetPrivate(RV_DB db) {
  return onOutline(db, [](COutlineDB& o) {
    WriteLogLine("Get Private");
    return flat::truth(o.GetPrivate());
  });
}

void RV_SetPrivate(RV_DB db, int isPrivate) {
  onOutline(db, [&](COutlineDB& o) { o.SetPrivate(isPrivate != 0); });
}

int RV_GetPrivateTagChanged(RV_DB db) {
  return onOutline(db, [](COutlineDB& o) { return flat::truth(o.GetPrivateTagChanged()); });
}

void RV_SetPrivateTagChanged(RV_DB db, int changed) {
  onOutline(db, [&](COutlineDB& o) { o.SetPrivateTagChanged(changed != 0); });
}

int RV_GetSynchronized(RV_DB db) {
  return onOutline(db, [](COutlineDB& o) { return flat::truth(o.GetSynchronized()); });
}

void RV_SetSynchronized(RV_DB db, int synchronized) {
  onOutline(db, [&](COutlineDB& o) { o.SetSynchronized(synchronized != 0); });
}

unsigned int RV_GetShowCheckedItems(RV_DB db) {
  return onOutline(db, [](COutlineDB& o) -> unsigned int { return o.GetShowCheckedItems(); });
}

void RV_SetShowCheckedItems(RV_DB db, unsigned int mode) {
  onOutline(db, [&](COutlineDB& o) { o.SetShowCheckedItems(static_cast<unsigned char>(mode)); });
}

int RV_ShowCheckedItemsChanged(RV_DB db) {
  return onOutline(db, [](COutlineDB& o) { return flat::truth(o.ShowCheckedItemsChanged()); });
}

void RV_setCheckedItemsChanged(RV_DB db, int changed) {
  onOutline(db, [&](COutlineDB& o) { o.setCheckedItemsChanged(changed != 0); });
}

unsigned long RV_GetSelectedIndex(RV_DB db) {
  return onOutline(db, [](COutlineDB& o) { return o.GetSelectedIndex(); });
}

void RV_SetSelectedIndex(RV_DB db, unsigned long index) {
  onOutline(db, [&](COutlineDB& o) { o.SetSelectedIndex(index); });
}

unsigned long RV_GetTopIndex(RV_DB db) {
  return onOutline(db, [](COutlineDB& o) { return o.GetTopIndex(); });
}

void RV_SetTopIndex(RV_DB db, unsigned long index) {
  onOutline(db, [&](COutlineDB& o) { o.SetTopIndex(index); });
}

void RV_getNumbering(RV_DB db, unsigned char* tenBytes) {
  onOutline(db, [&](COutlineDB& o) { o.getNumbering(tenBytes); });
}

void RV_setNumbering(RV_DB db, const unsigned char* tenBytes) {
  onOutline(db, [&](COutlineDB& o) {
    // The member's parameter is not const.
    unsigned char copy[kx_gen::format::kNumberingSize] = {};
    if (tenBytes != nullptr) std::memcpy(copy, tenBytes, sizeof(copy));
    o.setNumbering(tenBytes != nullptr ? copy : nullptr);
  });
}

int RV_getNumberingChanged(RV_DB db) {
  return onOutline(db, [](COutlineDB& o) { return flat::truth(o.getNumberingChanged()); });
}

void RV_setNumberingChanged(RV_DB db, int changed) {
  onOutline(db, [&](COutlineDB& o) { o.setNumberingChanged(changed != 0); });
}

unsigned int RV_getNumberingDivider(RV_DB db) {
  return onOutline(db, [](COutlineDB& o) -> unsigned int { return o.getNumberingDivider(); });
}

void RV_setNumberingDivider(RV_DB db, unsigned int divider) {
  onOutline(db,
            [&](COutlineDB& o) { o.setNumberingDivider(static_cast<unsigned short>(divider)); });
}

int RV_getNumberingDividerChanged(RV_DB db) {
  return onOutline(db, [](COutlineDB& o) { return flat::truth(o.getNumberingDividerChanged()); });
}

void RV_setNumberingDividerChanged(RV_DB db, int changed) {
  onOutline(db, [&](COutlineDB& o) { o.setNumberingDividerChanged(changed != 0); });
}

unsigned int RV_GetShowHeadingsMode(RV_DB db) {
  return onOutline(db, [](COutlineDB& o) -> unsigned int { return o.GetShowHeadingsMode(); });
}

void RV_SetShowHeadingsMode(RV_DB db, unsigned int mode) {
  onOutline(db, [&](COutlineDB& o) { o.SetShowHeadingsMode(static_cast<unsigned char>(mode)); });
}

void RV_GetOutlineFont(RV_DB db, LOGFONTW* font, unsigned long* color) {
  onOutline(db, [&](COutlineDB& o) {
    LOGFONTW unwanted = {};
    o.GetOutlineFont(font != nullptr ? *font : unwanted, color);
  });
}

void RV_SetOutlineFont(RV_DB db, const LOGFONTW* font, unsigned long color) {
  onOutline(db, [&](COutlineDB& o) {
    if (given(font)) o.SetOutlineFont(*font, color);
  });
}

void RV_GetOutlineWindowPos(RV_DB db, WINDOWPLACEMENT* placement) {
  onOutline(db, [&](COutlineDB& o) {
    if (placement != nullptr) o.GetOutlineWindowPos(*placement);
  });
}

void RV_SetOultineWindowPos(RV_DB db, const WINDOWPLACEMENT* placement) {
  onOutline(db, [&](COutlineDB& o) {
    if (given(placement)) o.SetOutlineWindowPos(*placement);
  });
}

void RV_copySharedHeader(RV_DB db, RV_DB other) {
  onOutline(
      db, [&](COutlineDB& o) { withOther(other, [&](COutlineDB* p) { o.copySharedHeader(p); }); });
}

void RV_copyPrivateHeader(RV_DB db, RV_DB other) {
  onOutline(
      db, [&](COutlineDB& o) { withOther(other, [&](COutlineDB* p) { o.copyPrivateHeader(p); }); });
}

int RV_compareSharedHeader(RV_DB db, RV_DB other) {
  return onOutline(db, [&](COutlineDB& o) {
    return withOther(other, [&](COutlineDB* p) { return flat::truth(o.compareSharedHeader(p)); });
  });
}

int RV_comparePrivateHeader(RV_DB db, RV_DB other) {
  return onOutline(db, [&](COutlineDB& o) {
    return withOther(other, [&](COutlineDB* p) { return flat::truth(o.comparePrivateHeader(p)); });
  });
}

// --- Records by index ---

const wchar_t* RV_GetRecordString(RV_DB db, unsigned long index) {
  return onRow(db, index, [&](COutlineRecord& r) {
    _String text;
    r.GetText(text);
    return database(db)->KeepText(text);
  });
}

int RV_GetRecordChecked(RV_DB db, unsigned long index) {
  return onRow(db, index, [](COutlineRecord& r) { return flat::truth(r.GetChecked()); });
}

unsigned int RV_GetRecordLevel(RV_DB db, unsigned long index) {
  return onRow(db, index, [](COutlineRecord& r) -> unsigned int { return r.GetIndent(); });
}

unsigned long RV_GetRecordId(RV_DB db, unsigned long index) {
  return onRow(db, index, [](COutlineRecord& r) { return r.GetId(); });
}

// --- Record ---

RV_REC RV_CreateOutlineRecord(void) {
  return flat::run([]() -> RV_REC { return handle(flat::make<COutlineRecord>()); });
}

void RV_DeleteCOutlineRecord(RV_REC rec) {
  flat::run([&] { delete static_cast<CDBRecord*>(rec); });
}

void RV_Init(RV_REC rec) {
  onRecord(rec, [](CDBRecord& r) { r.Init(); });
}

void RV_SetId(RV_REC rec, unsigned long id) {
  onItem(rec, [&](COutlineRecord& r) { r.SetId(id); });
}

unsigned long RV_GetId(RV_REC rec) {
  return onItem(rec, [](COutlineRecord& r) { return r.GetId(); });
}

void RV_SetIndent(RV_REC rec, unsigned int indent) {
  onItem(rec, [&](COutlineRecord& r) { r.SetIndent(static_cast<unsigned char>(indent)); });
}

unsigned int RV_GetIndent(RV_REC rec) {
  return onItem(rec, [](COutlineRecord& r) -> unsigned int { return r.GetIndent(); });
}

void RV_SetExpanded(RV_REC rec, int expanded) {
  onItem(rec, [&](COutlineRecord& r) { r.SetExpanded(expanded != 0); });
}

int RV_GetExpanded(RV_REC rec) {
  return onItem(rec, [](COutlineRecord& r) { return flat::truth(r.GetExpanded()); });
}

void RV_SetChecked(RV_REC rec, int checked) {
  onItem(rec, [&](COutlineRecord& r) { r.SetChecked(checked != 0); });
}

int RV_GetChecked(RV_REC rec) {
  return onItem(rec, [](COutlineRecord& r) { return flat::truth(r.GetChecked()); });
}

void RV_SetText(RV_REC rec, const wchar_t* text) {
  onItem(rec, [&](COutlineRecord& r) { r.SetText(_String(text)); });
}

unsigned long RV_GetText(RV_REC rec, wchar_t* buffer) {
  return onItem(rec, [&](COutlineRecord& r) {
    _String text;
    r.GetText(text);
    return flat::copyOut(text, buffer);
  });
}

void RV_SetNote(RV_REC rec, const wchar_t* note) {
  onItem(rec, [&](COutlineRecord& r) { r.SetNote(_String(note)); });
}

unsigned long RV_GetNote(RV_REC rec, wchar_t* buffer) {
  return onItem(rec, [&](COutlineRecord& r) {
    _String note;
    r.GetNote(note);
    return flat::copyOut(note, buffer);
  });
}

void RV_DeleteText(RV_REC rec) {
  onItem(rec, [](COutlineRecord& r) { r.DeleteText(); });
}

void RV_DeleteNote(RV_REC rec) {
  onItem(rec, [](COutlineRecord& r) { r.DeleteNote(); });
}

int RV_HasNote(RV_REC rec) {
  return onItem(rec, [](COutlineRecord& r) { return flat::truth(r.HasNote()); });
}

void RV_DeleteBitmap(RV_REC rec) {
  onItem(rec, [](COutlineRecord& r) { r.DeleteBitmap(); });
}

int RV_HasDrawing(RV_REC rec) {
  return onItem(rec, [](COutlineRecord& r) { return flat::truth(r.HasDrawing()); });
}

RV_DIB RV_GetDrawing(RV_REC rec) {
  return onItem(rec, [](COutlineRecord& r) { return r.GetDrawing(); });
}

void RV_SetDrawing(RV_REC rec, RV_DIB dib) {
  onItem(rec, [&](COutlineRecord& r) { r.SetDrawing(dib); });
}

void RV_GetDrawingSize(RV_REC rec, long* width, long* height) {
  if (width != nullptr) *width = 0;
  if (height != nullptr) *height = 0;
  onItem(rec, [&](COutlineRecord& r) {
    long drawingWidth = 0;
    long drawingHeight = 0;
    r.GetDrawingSize(drawingWidth, drawingHeight);
    lastDrawingWidth = drawingWidth;
    lastDrawingHeight = drawingHeight;
    if (width != nullptr) *width = drawingWidth;
    if (height != nullptr) *height = drawingHeight;
  });
}

long RV_GetSizeX(void) {
  return flat::run([] { return lastDrawingWidth.load(); });
}

long RV_GetSizeY(void) {
  return flat::run([] { return lastDrawingHeight.load(); });
}

void RV_UpdateChangedFields(RV_REC rec, RV_REC other) {
  onItem(rec, [&](COutlineRecord& r) {
    withItem(other, [&](COutlineRecord* stored) { r.UpdateChangedFields(stored); });
  });
}

void RV_updateRecordChanged(RV_REC rec) {
  onItem(rec, [](COutlineRecord& r) { r.updateRecordChanged(); });
}

void RV_SetSortChanged(RV_REC rec, int changed) {
  onRecord(rec, [&](CDBRecord& r) { r.SetSortChanged(changed != 0); });
}

int RV_IsChanged(RV_REC rec) {
  return onRecord(rec, [](CDBRecord& r) { return flat::truth(r.IsChanged()); });
}

void RV_SetNew(RV_REC rec, int isNew) {
  onRecord(rec, [&](CDBRecord& r) { r.SetNew(isNew != 0); });
}

unsigned long RV_GetIndex(RV_REC rec) {
  return onRecord(rec, [](CDBRecord& r) { return r.GetIndex(); });
}

unsigned long RV_GetPos(RV_REC rec) {
  return onRecord(rec, [](CDBRecord& r) { return r.GetPos(); });
}

int RV_IsFileRecord(RV_REC rec) {
  return onRecord(rec, [](CDBRecord& r) { return flat::truth(r.IsFileRecord()); });
}

RV_REC RV_CopyRecord(RV_DB db, RV_REC destination, RV_REC source) {
  static_cast<void>(db);
  return onRecord(destination, [&](CDBRecord& r) -> RV_REC {
    const CDBRecord* from = record(source);
    if (from == nullptr) return nullptr;
    r = *from;
    return destination;
  });
}

RV_REC RV_DuplicateRecord(RV_DB db, RV_REC rec) {
  return onRows(db, [&](CDBRecordset& rows) -> RV_REC {
    const COutlineRecord* from = item(rec);
    if (from == nullptr || rowFor(*database(db), rec) == nullptr) return nullptr;
    // Whole before it enters the set, so that no half copy stays there. The row is of the set's
    // kind, which need not be an item's.
    COutlineRecord duplicate;
    duplicate = *from;
    duplicate.SetId(0);
    const CDBRecord& whole = duplicate;
    std::unique_ptr<CDBRecord> row(rows.CreateDBRecord());
    if (row == nullptr) return nullptr;
    *row = whole;
    rows.add(row.get());
    return handle(row.release());
  });
}
