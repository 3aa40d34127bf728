/// A file opened as one kind of database: read, used whole, saved, and opened again.
#pragma once

#include <algorithm>

#include "FuzzSupport.h"
#include "KxFormat.h"
#include "KxLittleEndian.h"
#include "UseDatabase.h"

namespace kx_fuzz {

constexpr unsigned int kReadWrite = 0x0002;

template <class Db>
bool opens(Db& db, const std::wstring& path) {
  bool opened = false;
  kx_test::attempt([&] { opened = db.Open(path.c_str(), kReadWrite) != 0; });
  return opened;
}

/// Whether each entry of a block stands in another one as it is.
inline bool hasEntriesOf(const Bytes& whole, const Bytes& part) {
  size_t pos = 0;
  while (pos + kx_gen::format::kTagSize <= part.size()) {
    const size_t length = kx_gen::getLe32(&part[pos + kx_gen::format::kTagLengthOffset]);
    const size_t begin = pos;
    pos += kx_gen::format::kTagSize + length;
    if (pos > part.size()) return false;
    const auto entry = part.begin() + static_cast<long>(begin);
    const auto end = part.begin() + static_cast<long>(pos);
    if (std::search(whole.begin(), whole.end(), entry, end) == whole.end()) return false;
  }
  return pos == part.size();
}

/// Whatever was saved without an exception opens and has the same headers and rows. A header that
/// was saved without a field that every header has is read with it.
template <class Db>
void requireSaved(Db& saved, const std::wstring& path) {
  Db db;
  require(opens(db, path), "what was saved opens");
  kx_test::readAll(db);
  const std::vector<Bytes> before = contentsOf(saved);
  std::vector<Bytes> after = contentsOf(db);
  require(after.size() == before.size(), "as many rows as were saved come back");
  for (size_t i = 0; i < headersOf(saved); ++i) {
    if (hasEntriesOf(after[i], before[i])) after[i] = before[i];
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
