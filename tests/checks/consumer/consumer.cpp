// Stores an item in a document and prints what the document then holds.
#include <KX_FileIO.h>

#include <cstdio>

using kx_gen::CFile, kx_gen::COutlineDB, kx_gen::COutlineRecord;

int main() try {
  COutlineDB made;
  if (made.Open(L"trees.kxo", CFile::modeCreate | CFile::modeReadWrite) == 0) return 1;
  made.InitNewDatabase();
  static_cast<COutlineRecord*>(made.GetRecordset()->Append())->SetText(L"Oak");
  made.WriteAllHeaders();
  made.WriteRows();
  made.Close();

  COutlineDB db;
  if (db.Open(L"trees.kxo", CFile::modeRead | CFile::shareDenyWrite) == 0) return 1;
  db.ReadRows();
  kx_gen::_String text;
  static_cast<COutlineRecord*>(db.getRecord(0))->GetText(text);
  std::printf("%d item: %ls\n", db.GetRecordset()->getSize(), text.c_str());
} catch (kx_gen::CException* e) {
  e->Delete();
  return 1;
}
