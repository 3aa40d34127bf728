#include "InputFile.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "Failure.h"
#include "LibraryErrors.h"
#include "System.h"

namespace kxo {

namespace fs = std::filesystem;

using kx_gen::CFile;

namespace {

constexpr size_t kPieceSize = 1u << 20;

std::vector<unsigned char> ReadStandardInput() {
  std::vector<unsigned char> bytes;
  size_t size = 0;
  size_t taken = 0;
  do {
    // Doubling by itself, so that never more than twice the input is held.
    if (bytes.size() - size < kPieceSize) bytes.resize(std::max(2 * size, size + kPieceSize));
    taken = std::fread(bytes.data() + size, 1, bytes.size() - size, stdin);
    size += taken;
  } while (taken > 0);
  if (std::ferror(stdin) != 0) {
    throw FileFailure(kExitSystem, InputName(kStandardStream), "cannot be read");
  }
  bytes.resize(size);
  return bytes;
}

}  // namespace

std::vector<unsigned char> ReadFileBytes(const std::string& name, const fs::path& path,
                                         size_t sizeMax) {
  if (!fs::is_regular_file(path)) {
    throw FileFailure(kExitSystem, name, "this is not a regular file", "name a document");
  }
  const sys::LibraryName libraryName(path);
  const auto where = [](const kx_gen::CException&) { return std::string("its end"); };
  return WhileReading(name, where, [&] {
    CFile file;
    file.Open(libraryName.get(), CFile::modeRead | CFile::shareDenyWrite);
    std::vector<unsigned char> bytes(std::min<size_t>(file.GetLength(), sizeMax));
    for (size_t pos = 0; pos < bytes.size();) {
      const size_t piece = std::min(bytes.size() - pos, kPieceSize);
      pos += file.Read(bytes.data() + pos, static_cast<unsigned int>(piece));
    }
    return bytes;
  });
}

std::vector<unsigned char> ReadInput(const Session& session, const std::string& name) {
  if (name == kStandardStream) return ReadStandardInput();
  return ReadFileBytes(name, session.ExistingFile(name));
}

std::string InputName(const std::string& name) {
  return name == kStandardStream ? "standard input" : name;
}

}  // namespace kxo
