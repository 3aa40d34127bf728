#include "UseDatabase.h"

namespace kx_test {

using kx_gen::_String;
using kx_gen::CCategoryDB;
using kx_gen::CCategoryRecord;
using kx_gen::CDatabase;
using kx_gen::CDBRecord;
using kx_gen::CLinkedOutlRec;
using kx_gen::CMemOutlDB;
using kx_gen::COutlineDB;
using kx_gen::COutlineRecord;

namespace {

void useFlags(CDBRecord& record) {
  attemptAll([&] { record.IsNew(); }, [&] { record.IsDeleted(); }, [&] { record.IsChanged(); },
             [&] { record.IsEmpty(); }, [&] { record.IsArchived(); },
             [&] { record.IsSortChanged(); });
}

void useItem(COutlineRecord& item, COutlineRecord& other) {
  _String text;
  long width = 0;
  long height = 0;
  useFlags(item);
  attemptAll([&] { item.GetId(); }, [&] { item.GetIndent(); }, [&] { item.GetText(text); },
             [&] { item.GetNote(text); }, [&] { item.HasNote(); }, [&] { item.GetExpanded(); },
             [&] { item.GetChecked(); }, [&] { item.HasDrawing(); },
             [&] { item.GetDrawingSize(width, height); }, [&] { item.UpdateChangedFields(&other); },
             [&] { item.updateRecordChanged(); });
}

void editItem(COutlineRecord& item) {
  attemptAll([&] { item.SetText(L"An edited text that is longer than the one before"); },
             [&] { item.SetNote(L"\u4E2D"); }, [&] { item.SetId(12); }, [&] { item.SetIndent(3); },
             [&] { item.SetChecked(true); }, [&] { item.SetExpanded(false); },
             [&] { item.DeleteBitmap(); }, [&] { item.SetNew(true); }, [&] { item.DeleteText(); },
             [&] { item.ClearChanges(); });
}

void useHeaders(COutlineDB& db) {
  _String text;
  unsigned char numbering[10];
  unsigned long color = 0;
  LOGFONTW font = {};
  WINDOWPLACEMENT placement = {};
  attemptAll([&] { db.GetCategoryName(text); }, [&] { db.GetCategoryChanged(); },
             [&] { db.GetOutlineChanged(); }, [&] { db.GetSynchronized(); },
             [&] { db.GetPrivate(); }, [&] { db.GetPrivateTagChanged(); },
             [&] { db.getNumbering(numbering); }, [&] { db.getNumberingChanged(); },
             [&] { db.getNumberingDivider(); }, [&] { db.getNumberingDividerChanged(); });
  attemptAll([&] { db.GetOutlineTitle(text); }, [&] { db.GetShowCheckedItems(); },
             [&] { db.ShowCheckedItemsChanged(); }, [&] { db.GetSelectedIndex(); },
             [&] { db.GetTopIndex(); }, [&] { db.GetShowHeadingsMode(); },
             [&] { db.GetOutlineFont(font, &color); }, [&] { db.GetOutlineWindowPos(placement); });
}

void editHeaders(COutlineDB& db) {
  attemptAll([&] { db.SetCategoryName(L"Edited"); }, [&] { db.SetCategoryChanged(true); },
             [&] { db.SetPrivate(true); }, [&] { db.setNumberingDivider(7); },
             [&] { db.SetOutlineTitle(L"An edited title"); }, [&] { db.SetSelectedIndex(1); },
             [&] { db.SetOutlineWindowPos(WINDOWPLACEMENT{}); });
}

}  // namespace

void examine(kx_gen::CException* thrown) {
  if (thrown == nullptr) throw std::logic_error("a null exception was thrown");
  const bool isSilent = thrown->GetDescription() == nullptr || *thrown->GetDescription() == 0;
  thrown->Delete();
  if (isSilent) throw std::logic_error("an exception without a text was thrown");
}

void readAll(COutlineDB& db) {
  attemptAll([&] { db.ReadConduitHeader(); }, [&] { db.ReadSharedHeader(); },
             [&] { db.ReadPrivateHeader(); }, [&] { db.ReadRows(); });
}

void useAndEdit(COutlineDB& db) {
  COutlineDB other;
  useHeaders(db);
  attemptAll([&] { db.compareSharedHeader(&other); }, [&] { db.comparePrivateHeader(&other); });
  COutlineRecord stored;
  stored.Init();
  for (CDBRecord* record : *db.GetRecordset()) {
    auto& item = static_cast<COutlineRecord&>(*record);
    useItem(item, stored);
    attempt([&] { stored.UpdateChangedFields(&item); });
    editItem(item);
  }
  editHeaders(db);
  db.AddDeletedId(12);
  db.removeDeletedId(3);
  db.GetRecordset()->Append();
  attempt([&] { db.purgeDeletedRecs(); });
}

void readAll(CMemOutlDB& db) {
  attemptAll([&] { db.ReadHeader(1); }, [&] { db.ReadRows(); });
}

void useAndEdit(CMemOutlDB& db) {
  CLinkedOutlRec stored;
  stored.Init();
  for (CDBRecord* record : *db.GetRecordset()) {
    auto& item = static_cast<CLinkedOutlRec&>(*record);
    useItem(item, stored);
    attemptAll([&] { item.getInternalId(); }, [&] { item.getParentId(); },
               [&] { stored.UpdateChangedFields(&item); });
    editItem(item);
    attemptAll([&] { item.setInternalId(12); }, [&] { item.setParentId(0xFFFFFFFF); });
  }
  db.GetRecordset()->Append();
  attempt([&] { db.purgeDeletedRecs(); });
}

void readAll(CCategoryDB& db) {
  attemptAll([&] { db.ReadConduitHeader(); }, [&] { db.ReadRows(); });
}

void useAndEdit(CCategoryDB& db) {
  _String name;
  unsigned long time = 5;
  for (CDBRecord* record : *db.GetRecordset()) {
    auto& category = static_cast<CCategoryRecord&>(*record);
    useFlags(category);
    attemptAll([&] { category.GetCategoryId(); }, [&] { category.GetCategoryName(name); },
               [&] { category.GetLastChangedTime(); });
  }
  attemptAll([&] { db.GetCategoryCount(); }, [&] { db.isFull(); }, [&] { db.FindCategory(129); },
             [&] { db.FindCategory(L"Work"); }, [&] { db.FindFirstHole(); },
             [&] { db.GetNewCategoryId(); }, [&] { db.AddNewCategory(L"Edited", &time); },
             [&] { db.setDesktopCategoryIDs(); });
  if (db.GetRecordset()->getSize() > 1) {
    CCategoryRecord* category = db.GetByIndex(1);
    attemptAll([&] { db.RenameCategory(category, L"Renamed", 6); },
               [&] { db.DeleteCategory(category, 7); }, [&] { db.UndeleteCategory(category, 8); });
  }
  attempt([&] { db.purgeDeletedRecs(); });
}

bool saveAll(CDatabase& db) {
  return attempt([&] {
    db.WriteAllHeaders();
    db.WriteRows();
    db.Close();
  });
}

}  // namespace kx_test
