#include "World.h"

#include <algorithm>
#include <cstring>

namespace kx_operations {

Handle handleOf(const Bytes& data) {
  Handle handle(MemAlloc(static_cast<unsigned long>(data.size())));
  if (!data.empty()) std::memcpy(MemGetPtr(handle.get()), data.data(), data.size());
  return handle;
}

Bytes dataOf(const Handle& handle) {
  const auto* data = static_cast<const unsigned char*>(MemGetPtr(handle.get()));
  return data == nullptr ? Bytes() : Bytes(data, data + MemGetSize(handle.get()));
}

unsigned int openMode(Words& words) {
  using kx_gen::CFile;
  static const std::map<std::string, unsigned int> kModes = {
      {"read", CFile::modeRead},
      {"write", CFile::modeWrite},
      {"edit", CFile::modeReadWrite},
      {"create", CFile::modeCreate | CFile::modeReadWrite},
      {"keep", CFile::modeCreate | CFile::modeReadWrite | CFile::modeNoTruncate},
      {"exclusive", CFile::shareExclusive},
      {"deny-write", CFile::shareDenyWrite},
      {"deny-read", CFile::shareDenyRead},
      {"deny-none", CFile::shareDenyNone},
  };
  const std::string all = words.word();
  unsigned int mode = 0;
  for (size_t start = 0; start <= all.size();) {
    const size_t end = std::min(all.find('+', start), all.size());
    const auto found = kModes.find(all.substr(start, end - start));
    if (found == kModes.end()) throw ScriptError("no such mode: " + all);
    mode |= found->second;
    start = end + 1;
  }
  return mode;
}

kx_gen::CDatabase& World::databaseNamed(const std::string& name) {
  const auto found = databases_.find(name);
  if (found == databases_.end()) throw ScriptError("there is no database " + name);
  return *found->second;
}

kx_gen::CDatabase& World::database(Words& words) { return databaseNamed(words.word()); }

kx_gen::CDBRecord* World::rowOrNull(Words& words) {
  const std::string name = words.word();
  if (name == "none") return nullptr;
  return databaseNamed(name).getRecord(words.as<unsigned long>());
}

kx_gen::CDBRecord& World::row(Words& words) {
  kx_gen::CDBRecord* record = rowOrNull(words);
  if (record == nullptr) throw ScriptError("there is no such row");
  return *record;
}

kx_gen::CFile& World::openFile(Words& words) {
  const std::unique_ptr<kx_gen::CFile>& held = file(words);
  if (held == nullptr) throw ScriptError("there is no such file");
  return *held;
}

void World::tell(const std::string& what) { told_ += " " + what; }

std::string World::takeTold() {
  std::string told;
  told.swap(told_);
  return told;
}

}  // namespace kx_operations
