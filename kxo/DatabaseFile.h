/// What files of all kinds have in common: opening, reading and saving with failures that name the
/// file and the place in it.
#pragma once

#include <filesystem>
#include <string>

#include "KX_FileIO.h"
#include "LibraryErrors.h"

namespace kxo {

/// Opens for reading, while others may read too; never writes. Reads the header table.
void OpenToRead(kx_gen::CDatabase& db, const std::string& name, const std::filesystem::path& file);
/// The same for an edit: until it is closed nobody else opens the file, so that no two edits lose
/// one another's work.
void OpenToEdit(kx_gen::CDatabase& db, const std::string& name, const std::filesystem::path& file);
/// Reads a header as it stands in the file: without the fields that the library adds to those of
/// older files. One that the file lacks stays as it is.
void ReadStoredHeader(kx_gen::CDatabase& db, const std::string& name, unsigned short id);
/// `extra`: the offset ahead of the rows, and what stands there.
void ReadAllRows(kx_gen::CDatabase& db, const std::string& name, unsigned long extraOffset,
                 const std::string& extra);
/// Saves everything as this file, so that it is the old or the new one whatever happens meanwhile.
/// Without `mayReplace` there must not be an old one.
void SaveAs(kx_gen::CDatabase& db, const std::string& name, const std::filesystem::path& file,
            bool mayReplace);

/// The offset behind the last row, once the rows are read; `begin` is that of the first.
unsigned long EndOfRows(kx_gen::CDatabase& db, unsigned long begin);

std::string PlaceOfHeader(kx_gen::CDatabase& db, unsigned short id);
std::string PlaceOfRow(kx_gen::CDatabase& db, size_t index);

/// Runs `call`, which reads a header's fields; damage is laid to that header.
template <class Call>
auto InHeaderOf(kx_gen::CDatabase& db, const std::string& name, unsigned short id, Call call)
    -> decltype(call()) {
  return WhileReading(
      name, [&db, id](const kx_gen::CException&) { return PlaceOfHeader(db, id); }, call);
}

/// Runs `call`, which reads a row's fields; damage is laid to that row.
template <class Call>
auto InRowOf(kx_gen::CDatabase& db, const std::string& name, size_t index, Call call)
    -> decltype(call()) {
  return WhileReading(
      name, [&db, index](const kx_gen::CException&) { return PlaceOfRow(db, index); }, call);
}

}  // namespace kxo
