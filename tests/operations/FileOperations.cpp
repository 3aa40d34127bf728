// Files: made, damaged, held open, moved, found; typed values on streams; files in memory.

#include <filesystem>
#include <fstream>

#include "World.h"

namespace kx_operations {

namespace {

namespace fs = std::filesystem;
using kx_gen::CFile;
using kx_gen::CFileStream;
using kx_gen::MemFile;

// --- Whole files, behind the library's back ---

void writeFile(const std::string& path, const Bytes& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  for (const unsigned char byte : bytes) out.put(static_cast<char>(byte));
}

Bytes readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void makeFile(World& /*world*/, Words& words) {
  const std::string path = words.word();
  writeFile(path, words.bytes());
}

/// Keeps the first bytes; a negative count drops the last ones.
void cut(World& world, Words& words) {
  const std::string path = words.word();
  Bytes bytes = readFile(path);
  const int64_t count = words.number();
  bytes.resize(count < 0 ? bytes.size() - static_cast<size_t>(-count) : static_cast<size_t>(count));
  writeFile(path, bytes);
  world.tell(bytes.size());
}

/// Puts bytes over those at an offset; a negative one counts from the end.
void patch(World& /*world*/, Words& words) {
  const std::string path = words.word();
  Bytes bytes = readFile(path);
  const int64_t offset = words.number();
  const Bytes other = words.bytes();
  const size_t at = static_cast<size_t>(offset) + (offset < 0 ? bytes.size() : 0);
  if (at + other.size() > bytes.size()) throw ScriptError("the file ends before that");
  std::copy(other.begin(), other.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
  writeFile(path, bytes);
}

void makeFolder(World& /*world*/, Words& words) { fs::create_directory(words.word()); }

void protect(World& /*world*/, Words& words) {
  const fs::path path = words.word();
  fs::permissions(path, fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                  words.truth() ? fs::perm_options::remove : fs::perm_options::add);
}

// --- Whole files by the library ---

void copyFile(World& /*world*/, Words& words) {
  const std::wstring from = words.text();
  CFile::Copy(from.c_str(), words.text().c_str());
}

void moveFile(World& /*world*/, Words& words) {
  const std::wstring from = words.text();
  CFile::Move(from.c_str(), words.text().c_str());
}

void removeFile(World& /*world*/, Words& words) { CFile::Remove(words.text().c_str()); }

void status(World& world, Words& words) {
  kx_gen::CFileStatus status;
  if (!CFile::GetStatus(words.text().c_str(), status)) {
    world.tell("none");
    return;
  }
  const bool isFolder = (status.attribute & 0x10) != 0;
  world.tell(isFolder ? "a folder" : std::to_string(status.size) + " bytes");
  if ((status.attribute & 0x01) != 0) world.tell("read-only");
  world.tell(shown(status.fullName));
}

void find(World& world, Words& words) {
  kx_gen::CFileFind find;
  for (bool more = find.FindFile(words.text().c_str()); more;) {
    more = find.FindNextFileW();
    world.tell(shown(find.GetFileName()) + "/" + shown(find.GetFileTitle()));
  }
}

void exists(World& world, Words& words) { world.tell(kx_gen::IsFileExist(words.text().c_str())); }

// --- Open files ---

void hold(World& world, Words& words) {
  std::unique_ptr<CFile>& file = world.file(words);
  file = std::make_unique<CFile>();
  const std::wstring path = words.text();
  world.tell(file->Open(path.c_str(), openMode(words)));
}

void holdInMemory(World& world, Words& words) {
  std::unique_ptr<CFile>& file = world.file(words);
  file = std::make_unique<MemFile>(words.as<unsigned int>());
}

void holdShared(World& world, Words& words) {
  std::unique_ptr<CFile>& file = world.file(words);
  file = std::make_unique<kx_gen::SharedFile>(2, words.as<unsigned int>());
}

void release(World& world, Words& words) { world.file(words).reset(); }

void seek(World& world, Words& words) {
  CFile& file = world.openFile(words);
  const auto offset = words.as<long>();
  world.tell(file.Seek(offset, words.as<unsigned int>()));
}

void write(World& world, Words& words) {
  CFile& file = world.openFile(words);
  const Bytes bytes = words.bytes();
  world.tell(file.Write(bytes.data(), static_cast<unsigned int>(bytes.size())));
}

void read(World& world, Words& words) {
  CFile& file = world.openFile(words);
  Bytes bytes(words.as<size_t>() + 1);  // never without storage
  const unsigned int count = file.Read(bytes.data(), static_cast<unsigned int>(bytes.size() - 1));
  bytes.resize(count);
  world.tell(bytes.size() <= 64 ? hex(bytes) : summary(bytes));
}

void setLength(World& world, Words& words) {
  CFile& file = world.openFile(words);
  file.SetLength(words.as<unsigned long>());
  world.tell(file.GetPosition());
}

void tellFile(World& world, Words& words) {
  CFile& file = world.openFile(words);
  const unsigned long length = file.GetLength();
  const unsigned long position = file.GetPosition();
  world.tell("length " + std::to_string(length) + " position " + std::to_string(position));
  if (file.IsEOF()) world.tell("at the end");
}

// --- Typed values ---

template <class Value>
void streamNumber(CFileStream& stream, Words& words) {
  stream << words.as<Value>();
}

template <class Value>
void streamReal(CFileStream& stream, Words& words) {
  stream << static_cast<Value>(words.real());
}

struct Type {
  const char* name;
  void (*write)(CFileStream& stream, Words& words);
};
constexpr Type kTypes[] = {
    {"char", streamNumber<char>},
    {"uchar", streamNumber<unsigned char>},
    {"bool", [](CFileStream& stream, Words& words) { stream << words.truth(); }},
    {"short", streamNumber<short>},
    {"ushort", streamNumber<unsigned short>},
    {"int", streamNumber<int>},
    {"uint", streamNumber<unsigned int>},
    {"long", streamNumber<long>},
    {"ulong", streamNumber<unsigned long>},
    {"float", streamReal<float>},
    {"double", streamReal<double>},
    {"long-double", streamReal<long double>},
    {"text",
     [](CFileStream& stream, Words& words) { stream << kx_gen::_String(words.text().c_str()); }},
};

/// Writes values of a type into a file that is held open, and tells the bytes.
void stream(World& world, Words& words) {
  CFile& file = world.openFile(words);
  const std::string name = words.word();
  const unsigned long before = file.GetPosition();
  CFileStream stream(&file);
  for (const Type& type : kTypes) {
    if (name != type.name) continue;
    while (!words.isAtEnd()) type.write(stream, words);
  }
  Bytes written(file.GetPosition() - before);
  file.Seek(static_cast<long>(before), 0);
  file.Read(written.data(), static_cast<unsigned int>(written.size()));
  world.tell(hex(written));
}

/// Reads numbers from the position on, each by its type, and tells them.
void readNumbers(World& world, Words& words) {
  CFileStream stream(&world.openFile(words));
  short half = 0;
  unsigned short uhalf = 0;
  int whole = 0;
  long twice = 0;
  unsigned long utwice = 0;
  stream >> half >> uhalf >> whole >> twice >> utwice;
  world.tell(half);
  world.tell(uhalf);
  world.tell(whole);
  world.tell(twice);
  world.tell(utwice);
}

void readReals(World& world, Words& words) {
  CFileStream stream(&world.openFile(words));
  float single = 0;
  double twice = 0;
  long double most = 0;
  stream >> single >> twice >> most;
  world.tell(single == 0.1F && twice == 0.1 && most == static_cast<long double>(0.1));
}

}  // namespace

Operations fileOperations() {
  return {
      {"make-file", makeFile},
      {"cut", cut},
      {"patch", patch},
      {"make-folder", makeFolder},
      {"protect", protect},
      {"copy-file", copyFile},
      {"move-file", moveFile},
      {"remove-file", removeFile},
      {"status", status},
      {"find", find},
      {"exists", exists},
      {"hold", hold},
      {"hold-in-memory", holdInMemory},
      {"hold-shared", holdShared},
      {"release", release},
      {"seek", seek},
      {"write", write},
      {"read", read},
      {"set-length", setLength},
      {"tell-file", tellFile},
      {"stream", stream},
      {"read-numbers", readNumbers},
      {"read-reals", readReals},
  };
}

}  // namespace kx_operations
