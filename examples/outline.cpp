#include <cstdio>
#include <cwchar>

#include "KX_FileIO.h"

using kx_gen::CFile, kx_gen::COutlineDB, kx_gen::COutlineRecord;

int main() try {
  COutlineDB made;
  if (made.Open(L"trees.kxo", CFile::modeCreate | CFile::modeReadWrite) == 0) return 1;
  made.InitNewDatabase();
  for (const wchar_t* text : {L"Oak", L"Ash"}) {
    auto* item = static_cast<COutlineRecord*>(made.GetRecordset()->Append());
    item->SetText(text);
    item->SetNew(true);
  }
  made.WriteAllHeaders();
  made.WriteRows();
  made.Close();

  COutlineDB db;
  if (db.Open(L"trees.kxo", CFile::modeRead | CFile::shareDenyWrite) == 0) return 1;
  db.ReadRows();
  for (kx_gen::CDBRecord* row : *db.GetRecordset()) {
    kx_gen::_String text;
    static_cast<COutlineRecord*>(row)->GetText(text);
    std::wprintf(L"- %ls\n", text.c_str());
  }
} catch (kx_gen::CException* e) {
  std::fwprintf(stderr, L"%ls\n", e->GetDescription());
  e->Delete();
  return 1;
}
