/// The engine `kx`: the library.
#pragma once

#include <string>

#include "KX_FileIO.h"

namespace kx_bench {

inline std::wstring wide(const std::string& text) { return std::wstring(text.begin(), text.end()); }

/// Gives a new row of an outline the fields of row number `row`.
void fillRow(kx_gen::COutlineRecord& record, size_t row);
/// Appends the first `rows` rows.
void appendRows(kx_gen::COutlineDB& db, size_t rows);
/// The rows of an outline, as what they are.
inline kx_gen::COutlineRecord* rowOf(kx_gen::COutlineDB& db, size_t row) {
  return static_cast<kx_gen::COutlineRecord*>(db.getRecord(static_cast<unsigned long>(row)));
}

/// Writes the whole outline into a new file.
void saveNew(kx_gen::COutlineDB& db, const std::string& file);
/// Opens an outline and reads its headers and rows, as docs/architecture.md tells it.
void openWhole(kx_gen::COutlineDB& db, const std::string& file, unsigned int mode);

/// A file with that many rows, made on first use.
std::string kxFile(size_t rows);

}  // namespace kx_bench
