#include "Kx.h"

#include <filesystem>

#include "Rows.h"

namespace kx_bench {

using kx_gen::CFile;
using kx_gen::COutlineDB;
using kx_gen::COutlineRecord;

void fillRow(COutlineRecord& record, size_t row) {
  const RowText& text = rowText(row);
  record.SetId(rowId(row));
  record.SetIndent(rowIndent(row));
  record.SetText(text.text.c_str());
  if (!text.note.empty()) record.SetNote(text.note.c_str());
}

void appendRows(COutlineDB& db, size_t rows) {
  kx_gen::CDBRecordset* set = db.GetRecordset();
  for (size_t row = 0; row < rows; ++row)
    fillRow(*static_cast<COutlineRecord*>(set->Append()), row);
}

void saveNew(COutlineDB& db, const std::string& file) {
  db.Open(wide(file).c_str(), CFile::modeCreate | CFile::modeReadWrite);
  db.WriteAllHeaders();
  db.WriteRows();
  db.Close();
}

void openWhole(COutlineDB& db, const std::string& file, unsigned int mode) {
  db.Open(wide(file).c_str(), mode);
  db.ReadSharedHeader();
  db.ReadPrivateHeader();
  db.ReadRows();
}

std::string kxFile(size_t rows) {
  const std::string file = fileName("kx", rows);
  if (!std::filesystem::exists(file)) {
    COutlineDB db;
    appendRows(db, rows);
    saveNew(db, file);
  }
  return file;
}

}  // namespace kx_bench
