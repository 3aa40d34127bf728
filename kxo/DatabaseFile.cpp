#include "DatabaseFile.h"

#include <algorithm>
#include <new>

#include "Failure.h"
#include "System.h"

namespace kxo {

namespace fs = std::filesystem;
namespace format = kx_gen::format;

using kx_gen::CDatabase;
using kx_gen::CException;
using kx_gen::CFile;

namespace {

std::string AtOffset(unsigned long offset, const std::string& what) {
  return "offset " + std::to_string(offset) + " (" + what + ")";
}

std::string HeaderTitle(unsigned short id) {
  switch (id) {
    case format::kConduitHeaderId:
      return "conduit header";
    case format::kSharedHeaderId:
      return "shared header";
    default:
      return "private header";
  }
}

std::string PlaceOfOpening(const CException& e) {
  if (e.GetErrNumber() == kMemoryVersionNumber) {
    return AtOffset(format::kVersionOffset, "the version");
  }
  switch (e.GetErrNumber() + 1) {
    case kx_gen::kMsgCheckCode:
      return AtOffset(format::kCheckCodeOffset, "the check code");
    case kx_gen::kMsgNewerVersion:
      return AtOffset(format::kVersionOffset, "the version");
    default:
      return AtOffset(format::kHeaderTablePos, "the header table");
  }
}

/// The library passes over slots of unknown headers that the system does not let be read. Exported
/// or saved, what stands in them would be lost.
void CheckUnknownSlots(CDatabase& db, const std::string& name) {
  const uint64_t length = db.GetLength();
  for (const kx_gen::THeaderInfo* info : db.GetHeaderManager().GetReadList()) {
    const uint64_t pos = db.GetHeaderManager().GetHeaderReadPos(info->record.id);
    const uint64_t size = std::min<uint64_t>(info->record.size, length > pos ? length - pos : 0);
    if (info->header != nullptr || info->slot.size() >= size) continue;
    const std::string place = AtOffset(static_cast<unsigned long>(pos), "an unknown header");
    throw FileFailure(kExitSystem, name, "the system does not read it at " + place,
                      "copy the file to another disk and try again");
  }
}

/// The outline database's own Open keeps the reason of a failure to itself; this one throws it.
void OpenFor(CDatabase& db, const std::string& name, const fs::path& file, unsigned int mode) {
  WhileReading(name, PlaceOfOpening, [&] {
    const sys::LibraryName libraryName(file);
    // What else it refuses it throws.
    if (db.CDatabase::Open(libraryName.get(), mode) == 0) throw std::bad_alloc();
    CheckUnknownSlots(db, name);
  });
}

}  // namespace

void OpenToRead(CDatabase& db, const std::string& name, const fs::path& file) {
  OpenFor(db, name, file, CFile::modeRead | CFile::shareDenyWrite);
}

void OpenToEdit(CDatabase& db, const std::string& name, const fs::path& file) {
  OpenFor(db, name, file, CFile::modeReadWrite | CFile::shareExclusive);
}

void ReadStoredHeader(CDatabase& db, const std::string& name, unsigned short id) {
  InHeaderOf(db, name, id, [&db, id] {
    for (const kx_gen::THeaderInfo* info : db.GetHeaderManager().GetReadList()) {
      if (info->record.id != id) continue;
      db.Seek(static_cast<long>(db.GetHeaderManager().GetHeaderReadPos(id)), 0);
      info->header->Read(db, info->record.size);
    }
  });
}

/// The row whose reading failed is the last of those that the set holds.
void ReadAllRows(CDatabase& db, const std::string& name, unsigned long extraOffset,
                 const std::string& extra) {
  const auto where = [&](const CException&) {
    const int count = db.GetRecordset()->getSize();
    if (count > 0) return PlaceOfRow(db, static_cast<size_t>(count) - 1);
    return AtOffset(extraOffset, extra);
  };
  WhileReading(name, where, [&db] { db.ReadRows(); });
}

void SaveAs(CDatabase& db, const std::string& name, const fs::path& file, bool mayReplace) {
  const sys::LibraryName libraryName(file);
  WhileWriting(name, [&] {
    if (mayReplace) {
      kx_gen::SaveDatabaseFile(db, libraryName.get());
    } else {
      kx_gen::SaveNewDatabaseFile(db, libraryName.get());
    }
  });
}

unsigned long EndOfRows(CDatabase& db, unsigned long begin) {
  const int count = db.GetRecordset()->getSize();
  if (count == 0) return begin;
  const kx_gen::CDBRecord& last = *db.getRecord(static_cast<unsigned long>(count) - 1);
  return last.GetPos() + format::kRowFrameSize + last.GetRecSize();
}

std::string PlaceOfHeader(CDatabase& db, unsigned short id) {
  return AtOffset(db.GetHeaderManager().GetHeaderReadPos(id), HeaderTitle(id));
}

std::string PlaceOfRow(CDatabase& db, size_t index) {
  return AtOffset(db.getRecord(static_cast<unsigned long>(index))->GetPos(),
                  "row " + std::to_string(index + 1) + " of " + std::to_string(db.GetRowCount()));
}

}  // namespace kxo
