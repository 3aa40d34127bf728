// A program that builds on the library's classes from outside: kinds of its own derived from
// CDatabase, CDBRecord, CDBRecordset, CTaggedDataHeader, MemFile and COutlineDB, whose members the
// library calls back, and exceptions that cross the boundary both ways. It runs in an empty folder,
// tells what it does, and ends with 0 when everything was as it should be.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <new>
#include <string>
#include <typeinfo>
#include <vector>

#include "KX_FileIO.h"

namespace {

using kx_gen::_String;
using kx_gen::CDatabase;
using kx_gen::CDBException;
using kx_gen::CDBRecord;
using kx_gen::CDBRecordset;
using kx_gen::CException;
using kx_gen::CFile;
using kx_gen::CFileException;
using kx_gen::CFileStream;

using Bytes = std::vector<unsigned char>;

constexpr unsigned int kReadWrite = CFile::modeReadWrite;
constexpr unsigned int kCreate = CFile::modeCreate | CFile::modeReadWrite;

int failures = 0;

/// Counts what is not as it should be.
void expect(bool condition, const char* what) {
  if (condition) return;
  std::printf("  NOT TRUE: %s\n", what);
  ++failures;
}

std::string ascii(const wchar_t* text) {
  std::string line;
  for (; *text != L'\0'; ++text) line += *text < 0x80 ? static_cast<char>(*text) : '?';
  return line;
}

Bytes readFile(const char* name) {
  std::ifstream in(name, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void writeFile(const char* name, const Bytes& bytes) {
  std::ofstream out(name, std::ios::binary | std::ios::trunc);
  for (const unsigned char byte : bytes) out.put(static_cast<char>(byte));
}

// --- A kind of its own ---

/// Which members of these classes the library called.
struct Calls {
  int entriesMade = 0;
  int entriesInitialised = 0;
  int entriesRead = 0;
  int entriesWritten = 0;
  int versionsChecked = 0;
  int fieldsAdded = 0;
  int blocksGrown = 0;
  int blocksFreed = 0;
};
Calls calls;

/// One day: a text, a note and perhaps a drawing, each a tag of the record's block.
class Entry : public CDBRecord {
 public:
  Entry() = default;
  Entry(const Entry&) = default;
  Entry& operator=(const Entry&) = default;
  ~Entry() override = default;

  void Init() override {
    CDBRecord::Init();
    ++calls.entriesInitialised;
    setText(kText, L"");
    setNumber(0);
  }
  void Read(CFileStream& stream) override {
    CDBRecord::Read(stream);
    ++calls.entriesRead;
  }
  void Write(CFileStream& stream) override {
    ++calls.entriesWritten;
    CDBRecord::Write(stream);
  }

  static constexpr unsigned char kText = 7;
  static constexpr unsigned char kNote = 8;

  void setText(unsigned char n, const wchar_t* text) {
    getTaggedDataManager().setString(n, text, nullptr);
  }
  _String text(unsigned char n) const {
    _String text;
    check(getTaggedDataManager().getString(n, text));
    return text;
  }
  void setNumber(uint32_t number) { getTaggedDataManager().setValue(kNumber, number, nullptr); }
  uint32_t number() const {
    uint32_t number = 0;
    check(getTaggedDataManager().getValue(kNumber, number));
    return number;
  }
  void setDrawing(const void* block, unsigned long size) {
    getTaggedDataManager().setData(kDrawing, block, size, nullptr, 0);
  }
  Bytes drawing() const {
    unsigned long size = 0;
    check(getTaggedDataManager().getTagDataSize(kDrawing, &size));
    Bytes block(size);
    check(getTaggedDataManager().getData(kDrawing, block.data(), &size, nullptr));
    return block;
  }

 private:
  static constexpr unsigned long kNumber = 5;
  static constexpr unsigned long kDrawing = 12;
  static void check(long result) {
    kx_gen::CTaggedDataManager::ProcessError("derived_caller", 1, result, nullptr);
  }
};

class Entries : public CDBRecordset {
 public:
  Entries() = default;
  Entries(const Entries&) = delete;
  Entries& operator=(const Entries&) = delete;
  ~Entries() override = default;
  CDBRecord* CreateDBRecord() override {
    auto* entry = new Entry;
    entry->Init();
    ++calls.entriesMade;
    return entry;
  }
};

/// The journal's own header: its owner.
class JournalHeader : public kx_gen::CTaggedDataHeader {
 public:
  static constexpr unsigned short kId = 77;
  static constexpr uint32_t kSize = 200;

  JournalHeader() = default;
  JournalHeader(const JournalHeader&) = default;
  JournalHeader& operator=(const JournalHeader&) = default;
  ~JournalHeader() override = default;
  void CreateNewFields() override {
    ++calls.fieldsAdded;
    if (!hasStringTag(kOwner)) setOwner(L"nobody");
  }
  void setOwner(const wchar_t* owner) { getTaggedDataManager().setString(kOwner, owner, nullptr); }
  _String owner() {
    _String owner;
    getTaggedDataManager().getString(kOwner, owner);
    return owner;
  }

 private:
  static constexpr unsigned char kOwner = 1;
};

class Journal : public CDatabase {
 public:
  static constexpr unsigned short kVersion = 21;

  Journal() : CDatabase(false), header_(new JournalHeader) {
    Journal::CreateRecordset();
    SetVersionNum(kVersion);
    GetHeaderManager().RegisterHeader({JournalHeader::kId, JournalHeader::kSize}, header_);
  }
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;
  ~Journal() override = default;

  void CheckDbInfo() override {
    ++calls.versionsChecked;
    if (GetVersionNum() != kVersion) throw new CDBException(L"no journal of this version", 2100);
  }
  void CreateRecordset() override { InstallRecordset(new Entries); }
  void ReadExtraRows() override { deleted.Read(*this); }
  void WriteExtraRows() override { deleted.Write(*this); }

  JournalHeader& header() { return *header_; }
  Entry& entry(unsigned long i) {
    auto* entry = dynamic_cast<Entry*>(getRecord(i));
    if (entry == nullptr) std::abort();
    return *entry;
  }
  Entry& append(uint32_t number, const wchar_t* text, const wchar_t* note) {
    auto* entry = dynamic_cast<Entry*>(GetRecordset()->Append());
    if (entry == nullptr) std::abort();
    entry->setNumber(number);
    entry->setText(Entry::kText, text);
    entry->setText(Entry::kNote, note);
    entry->SetNew(true);
    return *entry;
  }

  kx_gen::CDeletedThoughts deleted;

 private:
  JournalHeader* header_;  // the header manager's
};

void writeAll(CDatabase& db) {
  db.WriteAllHeaders();
  db.WriteRows();
}

void readAll(Journal& journal) {
  expect(journal.ReadHeader(JournalHeader::kId), "the journal has its header");
  journal.ReadRows();
}

// --- A document with notes, a drawing and deleted ids ---

/// A white bitmap of 5 by 4 pixels with one black corner, ready to be stored.
void* makePicture() {
  void* dib = kx_gen::CreateDIB(5, 4, 24);
  auto* bytes = static_cast<unsigned char*>(MemGetPtr(dib));
  kx_gen::putLe32(bytes + kx_gen::bmp::kImageSizeOffset, 4 * 16);
  std::memset(kx_gen::FindDIBBits(bytes), 0, 3);
  MemReleasePtr(dib);
  return dib;
}

void draw(Entry& entry) {
  void* block = kx_gen::ConvertDibToInternalFormat(makePicture());
  expect(block != nullptr, "a picture becomes a drawing");
  entry.setDrawing(MemGetPtr(block), MemGetSize(block));
  MemFree(block);
}

void expectDrawing(const Entry& entry) {
  const Bytes stored = entry.drawing();
  void* block = MemAlloc(static_cast<unsigned long>(stored.size()));
  std::memcpy(MemGetPtr(block), stored.data(), stored.size());
  void* dib = kx_gen::ConvertInternalFormatToDib(block);
  void* expected = makePicture();
  const auto* bits = kx_gen::FindDIBBits(static_cast<const void*>(MemGetPtr(dib)));
  const auto* expectedBits = kx_gen::FindDIBBits(static_cast<const void*>(MemGetPtr(expected)));
  expect(std::memcmp(bits, expectedBits, size_t{4} * 16) == 0, "the drawing has its pixels");
  MemFree(block);
  MemFree(dib);
  MemFree(expected);
}

void fill(Journal& journal) {
  journal.InitNewDatabase();
  journal.header().setOwner(L"Ana");
  journal.append(1, L"Monday", L"rain\nall day");
  draw(journal.append(2, L"Tuesday \u00FC\u4E2D", L""));
  Entry& gone = journal.append(3, L"Wednesday", L"");
  journal.deleted.AddId(gone.number());
  journal.deleted.AddId(0xFFFFFFFFul);
  journal.GetRecordset()->Delete(&gone);
}

void tell(Journal& journal) {
  std::printf("  the journal of %s, version %lu, %d entries\n",
              ascii(journal.header().owner()).c_str(), journal.GetVersionNum(),
              journal.GetRecordset()->getSize());
  for (int i = 0; i < journal.GetRecordset()->getSize(); ++i) {
    Entry& entry = journal.entry(static_cast<unsigned long>(i));
    std::printf("  entry %lu at %lu, %s: %s; %s\n", static_cast<unsigned long>(entry.number()),
                entry.GetPos(), entry.IsNew() ? "new" : "old",
                ascii(entry.text(Entry::kText)).c_str(),
                entry.text(Entry::kNote) == L"rain\nall day" ? "with its note" : "no note");
  }
  for (size_t i = 0; i < journal.deleted.GetCount(); ++i) {
    std::printf("  deleted: %lu\n", journal.deleted.GetId(i));
  }
}

void makeJournal() {
  Journal journal;
  journal.Open(L"days.journal", kCreate);
  fill(journal);
  writeAll(journal);
}

void reopenJournal() {
  Journal journal;
  expect(journal.Open(L"days.journal", kReadWrite) == 1, "the journal opens again");
  readAll(journal);
  tell(journal);
  expectDrawing(journal.entry(1));
  const CDBRecord& first = *journal.getRecord(0);
  expect(typeid(first) == typeid(Entry), "its rows are entries");
  std::printf("  %d entries made, %d initialised, %d written, %d read; %d versions checked\n",
              calls.entriesMade, calls.entriesInitialised, calls.entriesWritten, calls.entriesRead,
              calls.versionsChecked);
  expect(calls.fieldsAdded > 0, "the header was asked for its fields");
}

// --- A file of its own ---

/// A memory file with its own blocks.
class CountedMemory : public kx_gen::MemFile {
 public:
  CountedMemory() : MemFile(512) {}
  CountedMemory(const CountedMemory&) = delete;
  CountedMemory& operator=(const CountedMemory&) = delete;
  ~CountedMemory() override { Close(); }

  unsigned char* Alloc(unsigned long size) override { return Realloc(nullptr, size); }
  unsigned char* Realloc(unsigned char* block, unsigned long size) override {
    ++calls.blocksGrown;
    return MemFile::Realloc(block, size);
  }
  void Free(unsigned char* block) override {
    ++calls.blocksFreed;
    MemFile::Free(block);
  }
};

/// A medium on which there is room for so many bytes.
class FullCard : public kx_gen::MemFile {
 public:
  explicit FullCard(unsigned int room) : MemFile(4096), room_(room) {}
  FullCard(const FullCard&) = delete;
  FullCard& operator=(const FullCard&) = delete;
  ~FullCard() override = default;

  unsigned int Write(const void* data, unsigned int count) override {
    if (count > room_) throw new CFileException(CFileException::diskFull, 112, L"the card");
    room_ -= count;
    return MemFile::Write(data, count);
  }

 private:
  unsigned int room_;
};

void saveToMemory() {
  Bytes content;
  {
    CountedMemory memory;
    Journal journal;
    journal.Attach(&memory);
    fill(journal);
    writeAll(journal);
    content.resize(memory.GetLength());
    memory.SeekToBegin();
    memory.Read(content.data(), static_cast<unsigned int>(content.size()));
    journal.Detach();
  }
  expect(content == readFile("days.journal"), "memory and disk hold the same bytes");
  expect(calls.blocksGrown > 1 && calls.blocksFreed == 1, "in blocks of this program's");
  std::printf("  %d bytes, the same as on disk\n", static_cast<int>(content.size()));
}

// --- Exceptions ---

/// Runs `call` and tells which of the library's types comes out of it, as the object itself is.
template <class Call>
void tellThrown(const char* what, Call call) {
  try {
    call();
    expect(false, what);
  } catch (CFileException* e) {
    expect(typeid(*e) == typeid(CFileException), "a file exception is one");
    std::printf("  %s: CFileException \"%s\", cause %d, system error %ld, file %s\n", what,
                ascii(e->GetDescription()).c_str(), e->GetCause(), e->GetOsError(),
                e->GetFileName() != nullptr ? ascii(e->GetFileName()).c_str() : "none");
    e->Delete();
  } catch (CDBException* e) {
    expect(typeid(*e) == typeid(CDBException), "a database exception is one");
    std::printf("  %s: CDBException %lu, \"%s\"\n", what, e->GetErrNumber(),
                ascii(e->GetDescription()).c_str());
    e->Delete();
  } catch (CException* e) {
    expect(typeid(*e) == typeid(CException), "a plain exception is one");
    std::printf("  %s: CException %lu, \"%s\"\n", what, e->GetErrNumber(),
                ascii(e->GetDescription()).c_str());
    e->Delete();
  }
}

void openDamaged(const char* name, const Bytes& bytes) {
  writeFile(name, bytes);
  const _String path(std::wstring(name, name + std::strlen(name)).c_str());
  Journal journal;
  journal.Open(path, kReadWrite);
  try {
    readAll(journal);
  } catch (CException*) {
    std::printf("  what was read before stays: %d entries\n", journal.GetRecordset()->getSize());
    throw;
  }
}

void meetDamage() {
  const Bytes whole = readFile("days.journal");
  expect(whole.size() > 600, "the journal is there");
  tellThrown("a missing journal", [] { Journal().Open(L"missing.journal", kReadWrite); });
  tellThrown("a foreign file", [] {
    openDamaged("foreign.journal", Bytes{'n', 'o', ' ', 'j', 'o', 'u', 'r', 'n', 'a', 'l'});
  });
  tellThrown("another version", [whole] {
    Bytes other = whole;
    other[kx_gen::format::kVersionOffset] = 22;
    openDamaged("other.journal", other);
  });
  tellThrown("a cut journal",
             [whole] { openDamaged("cut.journal", Bytes(whole.begin(), whole.end() - 7)); });
  tellThrown("an entry without its end", [whole] {
    Bytes unframed = whole;
    unframed.back() ^= 0xFF;
    openDamaged("unframed.journal", unframed);
  });
  tellThrown("an entry without a note", [] { Entry().text(Entry::kNote); });
}

void fillTheCard() {
  FullCard card(700);
  Journal journal;
  journal.Attach(&card);
  fill(journal);
  tellThrown("a full card", [&journal] { writeAll(journal); });
  expect(journal.GetRecordset()->getSize() == 2, "the entries are still there");
  journal.Detach();
}

/// An outline that is never content: what it throws is caught inside the library.
class RefusingOutline : public kx_gen::COutlineDB {
 public:
  RefusingOutline() = default;
  RefusingOutline(const RefusingOutline&) = delete;
  RefusingOutline& operator=(const RefusingOutline&) = delete;
  ~RefusingOutline() override = default;
  void CheckDbInfo() override {
    kx_gen::COutlineDB::CheckDbInfo();
    throw new CDBException(L"not today", 4711);
  }
};

void throwIntoTheLibrary() {
  {
    kx_gen::COutlineDB outline;
    expect(outline.Open(L"plain.kxo", kCreate) == 1, "an outline is made");
    outline.InitNewDatabase();
    writeAll(outline);
  }
  RefusingOutline outline;
  expect(outline.Open(L"plain.kxo", kReadWrite) == 0, "the library catches what is thrown here");
  expect(!outline.IsOpen(), "and closes the file");
  std::ifstream log("FileIO.txt");
  std::string last;
  for (std::string line; std::getline(log, line);) last = line;
  if (!last.empty() && last.back() == '\r') last.pop_back();
  std::printf("  the log ends: %s\n", last.c_str());
}

}  // namespace

int main() {
  try {
    std::printf("a document with notes, a drawing and deleted ids\n");
    makeJournal();
    reopenJournal();
    std::printf("in memory\n");
    saveToMemory();
    std::printf("damage\n");
    meetDamage();
    fillTheCard();
    std::printf("the other way\n");
    throwIntoTheLibrary();
  } catch (CException* e) {
    std::printf("  NOT EXPECTED: %s\n", ascii(e->GetDescription()).c_str());
    e->Delete();
    ++failures;
  }
  std::printf("%d things are not as they should be\n", failures);
  return failures == 0 ? 0 : 1;
}
