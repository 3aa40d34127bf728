/// A file opened as one kind of database: read, used whole, saved, and opened again.
#pragma once

#include "FuzzSupport.h"
#include "UseDatabase.h"

namespace kx_fuzz {

constexpr unsigned int kReadWrite = 0x0002;

template <class Db>
bool opens(Db& db, const std::wstring& path) {
  bool opened = false;
  kx_test::attempt([&] { opened = db.Open(path.c_str(), kReadWrite) != 0; });
  return opened;
}

/// Whatever was saved without an exception opens and has the same headers and rows. A header that
/// was saved without any field is read with the fields that every header has.
template <class Db>
void requireSaved(Db& saved, const std::wstring& path) {
  Db db;
  require(opens(db, path), "what was saved opens");
  kx_test::readAll(db);
  const std::vector<Bytes> before = contentsOf(saved);
  std::vector<Bytes> after = contentsOf(db);
  require(after.size() == before.size(), "as many rows as were saved come back");
  for (size_t i = 0; i < headersOf(saved); ++i) {
    if (before[i].empty()) after[i].clear();
  }
  require(after == before, "what was saved comes back");
}

template <class Db>
void openAndUse(const uint8_t* data, size_t size) {
  const std::wstring path = scratchFile("document", data, size);
  Db db;
  if (!opens(db, path)) return;
  kx_test::readAll(db);
  if (kx_test::saveAll(db)) requireSaved(db, path);
  kx_test::useAndEdit(db);
  if (opens(db, path)) {
    kx_test::readAll(db);
    kx_test::useAndEdit(db);
    if (kx_test::saveAll(db)) requireSaved(db, path);
  }
}

}  // namespace kx_fuzz
