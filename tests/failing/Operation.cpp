#include "Operation.h"

#include <algorithm>
#include <fstream>
#include <system_error>

#include "KxLayout.h"

namespace kx_failing {

namespace fs = std::filesystem;

using kx_test::Bytes;
using kx_test::Thrown;

namespace {

constexpr long kNotEnoughMemory = 8;  // the system's number for an allocation that failed

bool isMessage(const Thrown& thrown, unsigned long messageId) {
  return thrown.number == messageId - 1 && thrown.description == kx_test::messageText(messageId);
}

/// A field that was not set for want of memory is absent for whoever asks for it.
bool isAbsentField(const Thrown& thrown) {
  return thrown.description.find(kx_test::messageText(kx_gen::kMsgDataNotFound)) == 0;
}

bool isOfMemory(const Ending& ending) {
  const Thrown& thrown = ending.thrown;
  if (ending.isOutOfMemory || thrown.kind == Thrown::kNull) return true;
  if (thrown.kind == Thrown::kFileException) return thrown.osError == kNotEnoughMemory;
  return thrown.number == kx_gen::kMsgOutOfMemory - 1 || isAbsentField(thrown);
}

bool isOfFile(const Thrown& thrown, long errorNumber) {
  if (thrown.kind == Thrown::kFileException) return thrown.osError == errorNumber;
  if (thrown.kind != Thrown::kException) return false;
  return isMessage(thrown, kx_gen::kMsgReadError) || isMessage(thrown, kx_gen::kMsgFileIo) ||
         isMessage(thrown, kx_gen::kMsgWriteError);
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const Ending& ending) {
  if (ending.isDone) return out << "done";
  if (ending.isOutOfMemory) return out << "std::bad_alloc";
  if (!ending.answer.empty()) return out << ending.answer;
  return out << ending.thrown;
}

std::ostream& operator<<(std::ostream& out, const Listed& listed) { return out << listed.name; }

bool Operation::IsDocumented(const Ending& ending, Cause cause, long errorNumber) const {
  if (ending.isDone || !ending.answer.empty()) return true;
  return cause == Cause::kAllocation ? isOfMemory(ending) : isOfFile(ending.thrown, errorNumber);
}

void Operation::CheckEnd(int exitCode, bool /*goesOn*/) {
  ADD_FAILURE() << "the process ended: " << exitCode;
}

std::wstring here(const std::wstring& name) { return (fs::current_path() / name).wstring(); }

// Thousands of times: in one piece.
Bytes bytesAt(const std::string& name) {
  std::error_code error;
  const uintmax_t size = fs::file_size(name, error);
  if (error) return {};
  Bytes bytes(static_cast<size_t>(size));
  std::ifstream in(name, std::ios::binary);
  in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<size_t>(in.gcount()));
  return bytes;
}

void putBytes(const std::string& name, const Bytes& bytes) { kx_test::writeFile(name, bytes); }

void removeFile(const std::string& name) { fs::remove(name); }

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

Bytes writtenBy(kx_gen::CDatabase& db) {
  constexpr const char* kName = "written";
  db.Open(here(L"written").c_str(), kx_test::kCreate);
  db.WriteAllHeaders();
  db.WriteRows();
  db.Close();
  Bytes bytes = bytesAt(kName);
  removeFile(kName);
  return bytes;
}

}  // namespace kx_failing
