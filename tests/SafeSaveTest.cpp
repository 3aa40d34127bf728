// Saving that cannot lose a document, through the exported interface: what it writes, what becomes
// of the database that is saved, and what a refused save leaves behind.
#include <gmock/gmock.h>

#include <functional>
#include <memory>

#include "CategoryDB.h"
#include "FlatSupport.h"
#include "KxKinds.h"
#include "KxLayout.h"
#include "OutlineDB.h"
#include "Pictures.h"
#include "SafeSave.h"

namespace {

namespace fs = std::filesystem;

using kx_gen::CCategoryDB;
using kx_gen::CDatabase;
using kx_gen::CFile;
using kx_gen::CFileException;
using kx_gen::CMemOutlDB;
using kx_gen::COutlineDB;
using kx_gen::COutlineRecord;
using kx_gen::SaveDatabaseFile;
using kx_gen::SaveNewDatabaseFile;
using kx_test::Bytes;
using kx_test::clearLog;
using kx_test::kCreate;
using kx_test::kReadWrite;
using kx_test::logLines;
using kx_test::readFile;
using kx_test::Thrown;
using kx_test::thrownBy;
using kx_test::writeFile;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr long kSharingViolation = 32;
constexpr const char* kAbandoned = ".kx-save-0123456789abcdef.tmp";

/// A file failure of the system with this number, about the file that was to be saved.
bool isRefusal(const Thrown& thrown, long error) {
  return thrown.kind == Thrown::kFileException && thrown.osError == error;
}

COutlineRecord& addItem(CDatabase& db, unsigned long id, const std::wstring& text) {
  auto& item = static_cast<COutlineRecord&>(*db.GetRecordset()->Append());
  item.SetId(id);
  item.SetText(text.c_str());
  return item;
}

/// A document with everything: fields in each header, deleted ids, notes, drawings.
void fillOutline(COutlineDB& db, unsigned long rows, const std::wstring& word) {
  db.SetOutlineTitle((L"About " + word).c_str());
  db.SetCategoryName(word.c_str());
  db.AddDeletedId(77);
  for (unsigned long i = 1; i <= rows; ++i) {
    COutlineRecord& item = addItem(db, i, word + L" " + std::to_wstring(i));
    item.SetNote(std::wstring(i % 50, L'n').c_str());
    item.SetIndent(static_cast<unsigned char>(i % 5));
    if (i % 20 == 0) item.SetDrawing(kx_test::handleOf(kx_test::picture(16, 16, 24)).release());
  }
}

void fillCategories(CCategoryDB& db) {
  unsigned long time = 1000;
  db.AddNewCategory(L"Work", &time);
  db.AddNewCategory(L"Home", &time);
  db.DeleteCategory(db.FindCategory(L"Work"), 1001);
}

class SafeSaveTest : public kx_test::KxTest {
 protected:
  std::wstring file() const { return path(L"doc.kxo"); }
  Bytes content() const { return readFile(folder() / "doc.kxo"); }

  /// The names in the test's folder, sorted, without the log.
  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder())) {
      const std::string name = entry.path().filename().string();
      if (name != "FileIO.txt") found.push_back(name);
    }
    std::sort(found.begin(), found.end());
    return found;
  }

  /// What writing in place makes of a database that was never saved.
  Bytes writtenInPlace(CDatabase& db) {
    EXPECT_EQ(db.Open(path(L"in-place").c_str(), kCreate), 1);
    db.WriteAllHeaders();
    db.WriteRows();
    db.Close();
    Bytes bytes = readFile("in-place");
    fs::remove("in-place");
    return bytes;
  }

  /// An outline of two rows on the disk.
  void makeDocument() {
    COutlineDB db;
    db.InitNewDatabase();
    fillOutline(db, 2, L"old");
    writeFile("doc.kxo", writtenInPlace(db));
  }

  static void readAll(COutlineDB& db) {
    db.ReadConduitHeader();
    db.ReadSharedHeader();
    db.ReadPrivateHeader();
    db.ReadRows();
  }
  void openAndRead(COutlineDB& db, unsigned int mode = kReadWrite) {
    ASSERT_EQ(db.Open(file().c_str(), mode), 1);
    readAll(db);
  }

  /// The system's error when the document is opened in this mode; 0 when that is possible.
  long errorOfOpening(unsigned int mode) const {
    CFile other;
    return thrownBy([&] { other.Open(file().c_str(), mode); }).osError;
  }
};

// --- What is written ---

TEST_F(SafeSaveTest, AnOutlineIsByteForByteWhatWritingInPlaceMakes) {
  COutlineDB db;
  db.InitNewDatabase();
  fillOutline(db, 200, L"tree");
  SaveDatabaseFile(db, file().c_str());
  EXPECT_FALSE(db.IsOpen());
  EXPECT_THAT(names(), ElementsAre("doc.kxo"));
  const Bytes saved = content();
  EXPECT_EQ(saved, writtenInPlace(db));
  EXPECT_GT(saved.size(), 20000u);
}

TEST_F(SafeSaveTest, CategoriesAreByteForByteWhatWritingInPlaceMakes) {
  CCategoryDB db;
  db.InitNewDatabase();
  fillCategories(db);
  SaveDatabaseFile(db, file().c_str());
  const Bytes saved = content();
  EXPECT_EQ(saved, writtenInPlace(db));
}

TEST_F(SafeSaveTest, AMemoryOutlineIsByteForByteWhatWritingInPlaceMakes) {
  CMemOutlDB db;
  addItem(db, 1, L"one");
  addItem(db, 2, L"two");
  SaveDatabaseFile(db, file().c_str());
  const Bytes saved = content();
  EXPECT_EQ(saved, writtenInPlace(db));
}

TEST_F(SafeSaveTest, EveryGoldenFileSavesToItself) {
  for (const char* name :
       {"outline-empty", "outline-all-fields", "outline-deleted-ids", "outline-unknown"}) {
    const Bytes bytes = kx_test::golden(name);
    writeFile("doc.kxo", bytes);
    COutlineDB db;
    openAndRead(db);
    SaveDatabaseFile(db, file().c_str());
    db.Close();
    EXPECT_EQ(content(), bytes) << name;
  }
}

TEST_F(SafeSaveTest, LargeSlotsStayAsLargeAsTheyAre) {
  const uint32_t size = 3u << 20;
  const Bytes bytes = kx_test::join(
      {kx_test::dbInfo(0, 0), kx_test::headerTable({{1, size}}), kx_test::slot(size, {})});
  writeFile("doc.kxo", bytes);
  kx_test::PlainDb db;
  db.Open(file().c_str(), kReadWrite);
  SaveDatabaseFile(db, file().c_str());
  SaveDatabaseFile(db, file().c_str());
  db.Close();
  EXPECT_EQ(content().size(), bytes.size());
  SaveDatabaseFile(db, path(L"copy").c_str());
  EXPECT_EQ(readFile("copy").size(), bytes.size());
}

TEST_F(SafeSaveTest, ASlotThatTheOldFileOnlyClaimsGetsNoRoom) {
  writeFile("doc.kxo",
            kx_test::join({kx_test::dbInfo(0, 0), kx_test::headerTable({{1, 0x40000000}}),
                           kx_test::slot(255, {})}));
  kx_test::PlainDb db;
  db.Open(file().c_str(), kReadWrite);
  db.Close();
  SaveDatabaseFile(db, file().c_str());
  EXPECT_LT(content().size(), 1u << 20);
}

// --- What becomes of the database ---

TEST_F(SafeSaveTest, ADatabaseOpenOnThePathIsOpenOnTheNewFile) {
  makeDocument();
  COutlineDB db;
  openAndRead(db, kx_test::kShared);
  addItem(db, 3, L"three");
  SaveDatabaseFile(db, file().c_str());
  ASSERT_TRUE(db.IsOpen());
  EXPECT_EQ(db.GetFile()->GetFilePath(), file());
  EXPECT_EQ(db.GetPosition(), 0u);
  EXPECT_EQ(db.GetLength(), content().size());
  readAll(db);
  EXPECT_EQ(db.GetRecordset()->getSize(), 3);
  addItem(db, 4, L"four");
  db.WriteRows();
  db.Close();
  COutlineDB reader;
  openAndRead(reader);
  EXPECT_EQ(reader.GetRecordset()->getSize(), 4);
  EXPECT_THAT(names(), ElementsAre("doc.kxo"));
}

TEST_F(SafeSaveTest, ItsModeIsTheSameAgain) {
  const struct {
    unsigned int mode;
    long reading;  // the errors of others who read or write, and share everything
    long writing;
  } rows[] = {
      {CFile::modeReadWrite, 32, 32},
      {CFile::modeReadWrite | CFile::shareExclusive, 32, 32},
      {CFile::modeReadWrite | CFile::shareDenyWrite, 0, 32},
      {CFile::modeReadWrite | CFile::shareDenyRead, 32, 0},
      {CFile::modeReadWrite | CFile::shareDenyNone, 0, 0},
      {CFile::modeRead | CFile::shareDenyWrite, 0, 32},
      {CFile::modeRead | CFile::shareDenyNone | CFile::modeNoInherit, 0, 0},
  };
  for (const auto& row : rows) {
    makeDocument();
    COutlineDB db;
    openAndRead(db, row.mode);
    db.SetOutlineTitle(L"changed");
    SaveDatabaseFile(db, file().c_str());
    ASSERT_TRUE(db.IsOpen());
    EXPECT_EQ(errorOfOpening(CFile::modeRead | CFile::shareDenyNone), row.reading) << row.mode;
    EXPECT_EQ(errorOfOpening(CFile::modeWrite | CFile::shareDenyNone), row.writing) << row.mode;
    const bool mayWrite = (row.mode & CFile::modeReadWrite) != 0;
    const Thrown thrown = thrownBy([&] { db.WriteRows(); });
    EXPECT_EQ(thrown.kind, mayWrite ? Thrown::kNothing : Thrown::kFileException) << row.mode;
    readAll(db);
    EXPECT_EQ(db.GetRecordset()->getSize(), 2);
  }
}

TEST_F(SafeSaveTest, AWriteOnlyDatabaseStaysWriteOnly) {
  CCategoryDB db;
  db.Open(file().c_str(), CFile::modeCreate | CFile::modeWrite);
  db.InitNewDatabase();
  fillCategories(db);
  SaveDatabaseFile(db, file().c_str());
  const unsigned long size = db.GetLength();
  EXPECT_GT(size, 0u);
  EXPECT_TRUE(thrownBy([&] { db.ReadRows(); }).is(Thrown::kException, 8, 7));
  db.SeekToBegin();
  db.WriteAllHeaders();
  db.WriteRows();
  EXPECT_EQ(db.GetLength(), size);
  EXPECT_EQ(errorOfOpening(CFile::modeRead), kSharingViolation);
}

TEST_F(SafeSaveTest, ADatabaseJustCreatedReadsItselfAfterTheSave) {
  COutlineDB db;
  ASSERT_EQ(db.Open(file().c_str(), kCreate), 1);
  db.InitNewDatabase();
  fillOutline(db, 5, L"new");
  SaveDatabaseFile(db, file().c_str());
  ASSERT_TRUE(db.IsOpen());
  EXPECT_EQ(db.GetHeaderManager().GetReadList().size(), 3u);
  EXPECT_FALSE(db.GetHeaderManager().MustGrowTable());
  clearLog();
  readAll(db);
  EXPECT_EQ(db.GetRecordset()->getSize(), 5);
  db.SetOutlineTitle(L"in place");
  db.WritePrivateHeader();
  db.Close();
  EXPECT_THAT(logLines(), IsEmpty());
  COutlineDB reader;
  openAndRead(reader);
  kx_gen::_String title;
  reader.GetOutlineTitle(title);
  EXPECT_EQ(title, L"in place");
  EXPECT_EQ(reader.GetRecordset()->getSize(), 5);
}

TEST_F(SafeSaveTest, ATableThatGrewIsTheFilesAfterTheSave) {
  const auto ids = [](CDatabase& db) {
    std::vector<unsigned> found;
    for (const auto* info : db.GetHeaderManager().GetReadList()) found.push_back(info->record.id);
    return found;
  };
  kx_test::PlainDb older;
  older.GetRecordset()->Append();
  SaveDatabaseFile(older, file().c_str());
  kx_test::PlainDb db;
  db.registerHeader(9, 60, new kx_test::FieldHeader);
  db.Open(file().c_str(), kReadWrite);
  db.ReadRows();
  EXPECT_TRUE(db.GetHeaderManager().MustGrowTable());
  SaveDatabaseFile(db, file().c_str());
  EXPECT_THAT(ids(db), ElementsAre(1u, 9u));
  EXPECT_FALSE(db.GetHeaderManager().MustGrowTable());
  EXPECT_TRUE(db.ReadHeader(9));
  db.ReadRows();
  EXPECT_EQ(db.GetRecordset()->getSize(), 1);
}

TEST_F(SafeSaveTest, ADatabaseOpenElsewhereStaysThereAsItWas) {
  makeDocument();
  COutlineDB db;
  openAndRead(db);
  addItem(db, 3, L"three");
  const std::vector<unsigned long> before = {db.getRecord(0)->GetPos(), db.getRecord(1)->GetPos(),
                                             db.getRecord(2)->GetPos()};
  SaveDatabaseFile(db, path(L"copy.kxo").c_str());
  EXPECT_EQ(db.GetFile()->GetFilePath(), file());
  EXPECT_EQ(db.GetRowCount(), 2u);
  for (unsigned long i = 0; i < 3; ++i) EXPECT_EQ(db.getRecord(i)->GetPos(), before[i]);
  EXPECT_EQ(errorOfOpening(CFile::modeRead | CFile::shareDenyNone), kSharingViolation);
  EXPECT_THAT(names(), ElementsAre("copy.kxo", "doc.kxo"));
  db.ReadRow(before[1], db.getRecord(1));
  db.ReadRows();
  EXPECT_EQ(db.GetRecordset()->getSize(), 2);
}

TEST_F(SafeSaveTest, ADatabaseInMemoryStaysThere) {
  kx_gen::MemFile memory(4096);
  COutlineDB db;
  db.Attach(&memory);
  db.InitNewDatabase();
  fillOutline(db, 3, L"memory");
  db.WriteAllHeaders();
  db.WriteRows();
  SaveDatabaseFile(db, file().c_str());
  EXPECT_EQ(db.GetFile(), &memory);
  db.SeekToBegin();
  Bytes inMemory(content().size());
  EXPECT_EQ(db.Read(inMemory.data(), static_cast<unsigned int>(inMemory.size())), inMemory.size());
  EXPECT_EQ(inMemory, content());
  EXPECT_EQ(errorOfOpening(kReadWrite), 0);
}

TEST_F(SafeSaveTest, AnAttachedFileIsOpenedAgainToo) {
  makeDocument();
  CFile own;
  own.Open(file().c_str(), CFile::modeReadWrite | CFile::shareDenyWrite);
  COutlineDB db;
  db.Attach(&own);
  addItem(db, 9, L"nine");
  SaveDatabaseFile(db, file().c_str());
  EXPECT_EQ(db.GetFile(), &own);
  EXPECT_EQ(own.GetLength(), content().size());
  EXPECT_EQ(errorOfOpening(CFile::modeRead | CFile::shareDenyNone), 0);
  EXPECT_EQ(errorOfOpening(CFile::modeWrite | CFile::shareDenyNone), kSharingViolation);
}

TEST_F(SafeSaveTest, TheSameDatabaseCanBeSavedAgainAndAgain) {
  makeDocument();
  COutlineDB db;
  openAndRead(db);
  for (unsigned long i = 0; i < 50; ++i) {
    addItem(db, 100 + i, L"more");
    SaveDatabaseFile(db, file().c_str());
  }
  db.ReadRows();
  EXPECT_EQ(db.GetRecordset()->getSize(), 52);
  EXPECT_THAT(names(), ElementsAre("doc.kxo"));
}

TEST_F(SafeSaveTest, ASaveThatGoesWellWritesNoLine) {
  makeDocument();
  COutlineDB db;
  openAndRead(db);
  clearLog();
  SaveDatabaseFile(db, file().c_str());
  EXPECT_THAT(logLines(), IsEmpty());
}

// --- Refusals ---

/// A save that is refused leaves file, folder and database as they were.
class RefusedSaveTest : public SafeSaveTest {
 protected:
  void SetUp() override {
    SafeSaveTest::SetUp();
    makeDocument();
    before_ = content();
  }

  void expectNothingChanged(COutlineDB& db) {
    EXPECT_EQ(content(), before_);
    EXPECT_THAT(names(), ElementsAre("doc.kxo"));
    EXPECT_EQ(db.GetRecordset()->getSize(), 3);
  }

  Bytes before_;
};

TEST_F(RefusedSaveTest, AnyoneElseWhoHasItOpenIsASharingViolation) {
  for (const unsigned int access : {CFile::modeRead, CFile::modeWrite, CFile::modeReadWrite}) {
    CFile other;
    other.Open(file().c_str(), access | CFile::shareDenyNone);
    COutlineDB db;
    db.InitNewDatabase();
    fillOutline(db, 3, L"new");
    const Thrown thrown = thrownBy([&] { SaveDatabaseFile(db, file().c_str()); });
    EXPECT_TRUE(isRefusal(thrown, kSharingViolation)) << thrown;
    EXPECT_EQ(thrown.cause, CFileException::sharingViolation);
    EXPECT_EQ(thrown.fileName, file());
    expectNothingChanged(db);
    other.Close();
    SaveDatabaseFile(db, file().c_str());
    writeFile("doc.kxo", before_);
  }
}

TEST_F(RefusedSaveTest, ADatabaseThatSharesItsFileStaysOpenWhenItCannotBeReplaced) {
  COutlineDB db;
  openAndRead(db, kx_test::kShared);
  const unsigned long position = db.getRecord(1)->GetPos();
  CFile other;
  other.Open(file().c_str(), CFile::modeRead | CFile::shareDenyNone);
  addItem(db, 3, std::wstring(500, L'x'));
  std::swap(*(db.GetRecordset()->begin()), *(db.GetRecordset()->begin() + 2));
  const Thrown thrown = thrownBy([&] { SaveDatabaseFile(db, file().c_str()); });
  EXPECT_TRUE(isRefusal(thrown, kSharingViolation)) << thrown;
  expectNothingChanged(db);
  ASSERT_TRUE(db.IsOpen());
  EXPECT_EQ(db.GetRowCount(), 2u);
  EXPECT_EQ(db.getRecord(1)->GetPos(), position);
  EXPECT_FALSE(db.getRecord(0)->IsFileRecord());
  // Others may still come and go as its mode allows.
  EXPECT_EQ(errorOfOpening(CFile::modeReadWrite | CFile::shareDenyNone), 0);
  other.Close();
  SaveDatabaseFile(db, file().c_str());
  db.ReadRows();
  EXPECT_EQ(db.GetRecordset()->getSize(), 3);
}

TEST_F(RefusedSaveTest, AFileThatNobodyMayWriteIsAccessDenied) {
  fs::permissions("doc.kxo",
                  fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                  fs::perm_options::remove);
  COutlineDB db;
  db.InitNewDatabase();
  fillOutline(db, 3, L"new");
  EXPECT_TRUE(isRefusal(thrownBy([&] { SaveDatabaseFile(db, file().c_str()); }), 5));
  expectNothingChanged(db);
  fs::permissions("doc.kxo", fs::perms::owner_write, fs::perm_options::add);
}

TEST_F(RefusedSaveTest, NamesThatNoFileCanHaveTellTheirReason) {
  fs::create_directory("dir");
  const struct {
    std::wstring name;
    long error;
  } rows[] = {{path(L"dir"), 5},        {path(L"dir\\"), 5},       {path(L"none\\doc.kxo"), 3},
              {path(L"doc.kxo\\x"), 3}, {path(L"what?.kxo"), 123}, {path(L"*"), 123},
              {path(L"new\\"), 123},    {path(L"doc.kxo\\"), 123}, {L"", 3}};
  COutlineDB db;
  db.InitNewDatabase();
  fillOutline(db, 3, L"new");
  for (const auto& row : rows) {
    const Thrown thrown = thrownBy([&] { SaveDatabaseFile(db, row.name.c_str()); });
    EXPECT_TRUE(isRefusal(thrown, row.error))
        << thrown << std::string(row.name.begin(), row.name.end());
  }
  EXPECT_TRUE(fs::is_empty("dir"));
  fs::remove("dir");
  expectNothingChanged(db);
}

TEST_F(RefusedSaveTest, ANullNameIsAssertedAndTakenForAnEmptyOne) {
  COutlineDB db;
  db.InitNewDatabase();
  fillOutline(db, 3, L"new");
  clearLog();
  EXPECT_TRUE(isRefusal(thrownBy([&] { SaveDatabaseFile(db, nullptr); }), 3));
  EXPECT_THAT(logLines(), ElementsAre(kx_test::assertionLine("SafeSave", 31),
                                      kx_test::throwLine("SafeSave", 33), "ERROR_PATH_NOT_FOUND"));
  expectNothingChanged(db);
}

TEST_F(RefusedSaveTest, AHeaderThatOutgrewItsSlotIsMessage12) {
  COutlineDB db;
  openAndRead(db, kx_test::kShared);
  addItem(db, 3, L"three");
  db.SetOutlineTitle(std::wstring(600, L't').c_str());
  const Thrown thrown = thrownBy([&] { SaveDatabaseFile(db, file().c_str()); });
  EXPECT_EQ(thrown.number, 11u) << thrown;
  expectNothingChanged(db);
  EXPECT_EQ(db.GetRowCount(), 2u);
  db.SetOutlineTitle(L"short");
  SaveDatabaseFile(db, file().c_str());
  db.ReadRows();
  EXPECT_EQ(db.GetRecordset()->getSize(), 3);
}

/// A kind whose own part of the file cannot be written while `fails`.
class FailingDb : public kx_test::ExtraDb {
 public:
  ~FailingDb() override = default;
  void WriteExtraRows() override {
    ExtraDb::WriteExtraRows();
    if (fails) throw new kx_gen::CException(L"no", 4711);
  }
  bool fails = false;
};

TEST_F(SafeSaveTest, WhatAKindThrowsComesThroughWithNothingChanged) {
  FailingDb db;
  db.registerHeader(9, 60, new kx_test::FieldHeader);
  db.Open(file().c_str(), kCreate | CFile::shareDenyNone);
  db.InitNewDatabase();
  db.GetRecordset()->Append();
  SaveDatabaseFile(db, file().c_str());
  const Bytes before = content();
  const unsigned long position = db.getRecord(0)->GetPos();
  db.GetRecordset()->Append();
  db.fails = true;
  const Thrown thrown = thrownBy([&] { SaveDatabaseFile(db, file().c_str()); });
  EXPECT_EQ(thrown.number, 4711u);
  EXPECT_EQ(content(), before);
  EXPECT_THAT(names(), ElementsAre("doc.kxo"));
  EXPECT_EQ(db.GetRowCount(), 1u);
  EXPECT_EQ(db.getRecord(0)->GetPos(), position);
  db.WriteHeader(9);
  EXPECT_EQ(content(), before);
}

TEST_F(SafeSaveTest, AHeaderThatTheFileLacksStaysRefusedAfterAFailedSave) {
  kx_test::PlainDb older;
  older.GetRecordset()->Append();
  SaveDatabaseFile(older, file().c_str());
  const Bytes before = content();
  FailingDb db;
  db.registerHeader(9, 60, new kx_test::FieldHeader);
  db.Open(file().c_str(), kx_test::kShared);
  db.fails = true;
  EXPECT_EQ(thrownBy([&] { SaveDatabaseFile(db, file().c_str()); }).number, 4711u);
  EXPECT_TRUE(db.GetHeaderManager().MustGrowTable());
  db.WriteHeader(9);
  EXPECT_EQ(content(), before);
}

TEST_F(SafeSaveTest, ADatabaseWithoutASetOfRowsIsRefused) {
  makeDocument();
  const Bytes before = content();
  kx_test::PlainDb db(false);
  clearLog();
  EXPECT_TRUE(
      thrownBy([&] { SaveDatabaseFile(db, file().c_str()); }).is(Thrown::kException, 11, 10));
  EXPECT_THAT(logLines(), ElementsAre(kx_test::assertionLine("SafeSave", 32),
                                      kx_test::throwLine("SafeSave", 32)));
  EXPECT_EQ(content(), before);
}

// --- New files ---

TEST_F(SafeSaveTest, SavingAsNewMakesAFile) {
  COutlineDB db;
  db.InitNewDatabase();
  fillOutline(db, 3, L"new");
  SaveNewDatabaseFile(db, file().c_str());
  const Bytes saved = content();
  EXPECT_EQ(saved, writtenInPlace(db));
  EXPECT_THAT(names(), ElementsAre("doc.kxo"));
}

TEST_F(RefusedSaveTest, SavingAsNewNeverReplaces) {
  COutlineDB db;
  db.InitNewDatabase();
  fillOutline(db, 3, L"new");
  EXPECT_TRUE(isRefusal(thrownBy([&] { SaveNewDatabaseFile(db, file().c_str()); }), 80));
  expectNothingChanged(db);
  fs::create_directory("dir");
  EXPECT_TRUE(isRefusal(thrownBy([&] { SaveNewDatabaseFile(db, path(L"dir").c_str()); }), 5));
  fs::remove("dir");
}

// --- What saves that were cut short left ---

TEST_F(SafeSaveTest, AnAbandonedFileGoesWithTheNextSave) {
  writeFile(kAbandoned, {1, 2, 3});
  COutlineDB db;
  SaveDatabaseFile(db, file().c_str());
  EXPECT_THAT(names(), ElementsAre("doc.kxo"));
}

TEST_F(SafeSaveTest, AFileThatAnotherSaveHasOpenStays) {
  writeFile(kAbandoned, {1, 2, 3});
  CFile other;
  other.Open(path(L".kx-save-0123456789abcdef.tmp").c_str(), kReadWrite);
  COutlineDB db;
  SaveDatabaseFile(db, file().c_str());
  EXPECT_THAT(names(), ElementsAre(kAbandoned, "doc.kxo"));
  EXPECT_EQ(other.GetLength(), 3u);
  other.Close();
  SaveDatabaseFile(db, file().c_str());
  EXPECT_THAT(names(), ElementsAre("doc.kxo"));
}

TEST_F(SafeSaveTest, FilesWithSimilarNamesAreNobodysBusiness) {
  const std::vector<std::string> similar = {
      ".kx-save-0123456789abcde.tmp", ".kx-save-0123456789abcdef.tmpx",
      ".kx-save-0123456789abcdeg.tmp", "a.tmp", "kx-save-0123456789abcdef.tmp"};
  for (const std::string& name : similar) writeFile(name, {1});
  COutlineDB db;
  SaveDatabaseFile(db, file().c_str());
  for (const std::string& name : similar) EXPECT_TRUE(fs::exists(name)) << name;
}

// --- Flat ---

class FlatSaveTest : public kx_test::FlatTest {
 protected:
  std::wstring file() const { return path(L"doc.kxo"); }
};

TEST_F(FlatSaveTest, AnOutlineIsSavedAndReadBack) {
  const kx_test::FlatOutline db;
  RV_InitNewDataBase(db);
  addItem(db, 1, L"one");
  EXPECT_EQ(KX_SaveOutline(db, file().c_str()), 1);
  ASSERT_EQ(RV_Open(db, file().c_str(), kReadWrite), 1);
  RV_ReadRows(db);
  ASSERT_EQ(RV_GetSize(db), 1);
  addItem(db, 2, L"two");
  EXPECT_EQ(KX_SaveOutline(db, file().c_str()), 1);
  RV_ReadRows(db);
  EXPECT_EQ(RV_GetSize(db), 2);
  EXPECT_STREQ(RV_GetRecordString(db, 1), L"two");
}

TEST_F(FlatSaveTest, CategoriesAreSavedAndReadBack) {
  const kx_test::FlatCategories cat;
  RV_CategoryInitNewDataBase(cat);
  RV_AddNewCategorybyName(cat, L"Work");
  EXPECT_EQ(KX_SaveCategories(cat, path(L"categories").c_str()), 1);
  ASSERT_EQ(RV_OpenCategoryFile(cat, path(L"categories").c_str(), 3), 1);
  RV_CategoryReadRows(cat);
  EXPECT_EQ(RV_GetCategoryRecordSize(cat), 2);
  RV_AddNewCategorybyName(cat, L"Home");
  EXPECT_EQ(KX_SaveCategories(cat, path(L"categories").c_str()), 1);
  RV_CategoryReadRows(cat);
  EXPECT_EQ(RV_GetCategoryRecordSize(cat), 3);
}

TEST_F(FlatSaveTest, EveryKindOfDatabaseCanBeSavedAsOne) {
  CMemOutlDB memory;
  addItem(kx_test::handleOf(memory), 1, L"linked");
  EXPECT_EQ(KX_SaveOutline(kx_test::handleOf(memory), file().c_str()), 1);
  memory.Open(file().c_str(), kReadWrite);
  memory.ReadRows();
  EXPECT_EQ(memory.GetRecordset()->getSize(), 1);
}

TEST_F(FlatSaveTest, RefusedHandlesSaveNothing) {
  const kx_test::FlatOutline db;
  clearLog();
  EXPECT_EQ(KX_SaveOutline(nullptr, file().c_str()), 0);
  EXPECT_TRUE(kx_test::refusedWith(kx_test::kDatabaseRefused));
  EXPECT_EQ(KX_SaveCategories(nullptr, file().c_str()), 0);
  EXPECT_TRUE(kx_test::refusedWith(kx_test::kCategoriesRefused));
  EXPECT_EQ(KX_SaveCategories(db, file().c_str()), 0);
  EXPECT_TRUE(kx_test::refusedWith(kx_test::kCategoriesRefused));
  EXPECT_FALSE(fs::exists("doc.kxo"));
}

TEST_F(FlatSaveTest, ErrorsAreThrownOrKeptByTheGuard) {
  const kx_test::FlatOutline db;
  writeFile("doc.kxo", {1, 2, 3});
  CFile other;
  other.Open(file().c_str(), kReadWrite);
  EXPECT_TRUE(isRefusal(thrownBy([&] { KX_SaveOutline(db, file().c_str()); }), kSharingViolation));
  KX_FlatGuard(1);
  EXPECT_EQ(KX_SaveOutline(db, file().c_str()), 0);
  wchar_t text[64];
  unsigned long number = 0;
  EXPECT_GT(KX_FlatLastError(text, 64, &number), 0u);
  EXPECT_STREQ(text, L"sharingViolation");
  EXPECT_EQ(number, kx_gen::kNoErrNumber);
  other.Close();
  EXPECT_EQ(KX_SaveOutline(db, file().c_str()), 1);
  EXPECT_EQ(KX_FlatLastError(nullptr, 0, &number), 0u);
}

}  // namespace
