// Whole databases built and parsed in memory: in files over a heap block and over a memory handle.
#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <sstream>

#include "CategoryDB.h"
#include "LargestAllocation.h"
#include "OutlineDB.h"
#include "Pace.h"
#include "Pictures.h"
#include "StorageSupport.h"

namespace {

using kx_gen::_String;
using kx_gen::CCategoryDB;
using kx_gen::CDatabase;
using kx_gen::CDBRecord;
using kx_gen::CFile;
using kx_gen::CFileStream;
using kx_gen::CMemOutlDB;
using kx_gen::COutlineDB;
using kx_gen::COutlineRecord;
using kx_gen::MemFile;
using kx_gen::SharedFile;
using kx_test::Bytes;
using kx_test::golden;
using kx_test::Handle;
using kx_test::handleOf;
using kx_test::join;
using kx_test::Thrown;
using kx_test::thrownBy;
using kx_test::toHex;

void write(MemFile& file, const Bytes& bytes) {
  file.Write(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

Bytes contentOf(MemFile& file) {
  file.Seek(0, 0);
  void* start = nullptr;
  void* end = nullptr;
  const unsigned int size = file.GetBufferPtr(MemFile::bufferRead, 0xFFFFFFFF, &start, &end);
  return kx_test::bytesOf(start, size);
}

void write(CDatabase& db) {
  db.WriteAllHeaders();
  db.WriteRows();
}

void read(CDatabase& db) {
  db.ReadDbInfo();
  db.ReadHeaderInfo();
  db.ReadConduitHeader();
  db.ReadRows();
}

void read(COutlineDB& db) {
  db.ReadDbInfo();
  db.ReadHeaderInfo();
  db.ReadConduitHeader();
  db.ReadSharedHeader();
  db.ReadPrivateHeader();
  db.ReadRows();
}

void read(CMemOutlDB& db) {
  db.ReadDbInfo();
  db.ReadRows();
}

// --- Whole files ---

/// The kinds of files in memory: growing by little, growing by much, over a handle.
std::unique_ptr<MemFile> newFile(int kind) {
  if (kind == 0) return std::make_unique<MemFile>(7);
  if (kind == 1) return std::make_unique<MemFile>(1u << 16);
  return std::make_unique<SharedFile>(2, 100);
}

class MemoryDatabaseTest : public kx_test::NamedUnfiledTest,
                           public ::testing::WithParamInterface<int> {
 protected:
  void SetUp() override {
    kx_test::NamedUnfiledTest::SetUp();
    file_ = newFile(GetParam());
  }
  MemFile& file() { return *file_; }

  /// The golden file, parsed from this file and built again in another one, is the same.
  template <class Db>
  void expectSameInMemory(const std::string& name) {
    write(file(), golden(name));
    const std::unique_ptr<MemFile> other = newFile(GetParam());
    Db db;
    db.Attach(&file());
    read(db);
    db.Attach(other.get());
    write(db);
    EXPECT_EQ(toHex(contentOf(*other)), toHex(golden(name))) << name;
    EXPECT_EQ(toHex(contentOf(file())), toHex(golden(name))) << "reading changes nothing";
  }

 private:
  std::unique_ptr<MemFile> file_;
};

TEST_P(MemoryDatabaseTest, OutlinesAreParsedAndBuiltByteForByte) {
  for (const char* name : {"outline-empty", "outline-deleted-ids", "outline-all-fields",
                           "outline-unknown", "outline-unknown-edited"}) {
    file().SetLength(0);
    expectSameInMemory<COutlineDB>(name);
  }
}

TEST_P(MemoryDatabaseTest, CategoriesAreParsedAndBuiltByteForByte) {
  expectSameInMemory<CCategoryDB>("category-v1");
}

TEST_P(MemoryDatabaseTest, MemoryOutlinesAreParsedAndBuiltByteForByte) {
  for (const char* name : {"memory-outline", "memory-outline-all-fields"}) {
    file().SetLength(0);
    expectSameInMemory<CMemOutlDB>(name);
  }
}

TEST_P(MemoryDatabaseTest, ANewOutlineIsTheOneThatGoesToDisk) {
  COutlineDB db;
  db.Attach(&file());
  db.InitNewDatabase();
  for (const unsigned long id : {3ul, 0xFFFFFFFFul, 3ul}) db.AddDeletedId(id);
  auto* rest = static_cast<COutlineRecord*>(db.GetRecordset()->Append());
  rest->SetId(4);
  rest->SetText(L"Rest");
  write(db);
  EXPECT_EQ(toHex(contentOf(file())), toHex(golden("outline-deleted-ids")));
}

TEST_P(MemoryDatabaseTest, ANewCategoryFileIsReadBack) {
  unsigned long time = 5;
  {
    CCategoryDB db;
    db.Attach(&file());
    db.InitNewDatabase();
    db.AddNewCategory(L"Work", &time);
    write(db);
  }
  CCategoryDB db;
  db.Attach(&file());
  read(db);
  EXPECT_EQ(db.GetCategoryCount(), 2);
  ASSERT_NE(db.FindCategory(L"Work"), nullptr);
  EXPECT_EQ(db.FindCategory(L"Work")->GetCategoryId(), 129u);
  EXPECT_EQ(db.FindCategory(L"Work")->GetLastChangedTime(), 5u);
}

TEST_P(MemoryDatabaseTest, AnEditedOutlineIsTheEditedFile) {
  write(file(), golden("outline-unknown"));
  COutlineDB db;
  db.Attach(&file());
  read(db);
  db.SetOutlineTitle(L"Other title");
  static_cast<COutlineRecord*>(db.getRecord(0))->SetText(L"After the edit");
  static_cast<COutlineRecord*>(db.getRecord(1))->SetChecked(true);
  db.AddDeletedId(11);
  write(db);
  EXPECT_EQ(toHex(contentOf(file())), toHex(golden("outline-unknown-edited")));
}

TEST_P(MemoryDatabaseTest, FewerRowsCutTheFile) {
  write(file(), golden("outline-all-fields"));
  COutlineDB db;
  db.Attach(&file());
  read(db);
  db.GetRecordset()->DeleteIf([](CDBRecord*) { return true; });
  write(db);
  EXPECT_LT(contentOf(file()).size(), golden("outline-all-fields").size());
  EXPECT_EQ(file().GetPosition(), contentOf(file()).size());
  COutlineDB again;
  again.Attach(&file());
  read(again);
  EXPECT_EQ(again.GetRecordset()->getSize(), 0);
  EXPECT_TRUE(again.IsDeleted(9));
}

TEST_P(MemoryDatabaseTest, OneHeaderIsWrittenInItsSlot) {
  write(file(), golden("outline-deleted-ids"));
  COutlineDB db;
  db.Attach(&file());
  read(db);
  db.SetSynchronized(true);
  db.WriteSharedHeader();
  Bytes expected = golden("outline-deleted-ids");
  constexpr size_t kSynchronized = 0x140;
  expected[kSynchronized] = 1;
  EXPECT_EQ(toHex(contentOf(file())), toHex(expected));
}

TEST_P(MemoryDatabaseTest, TheFileOutlivesItsStream) {
  {
    COutlineDB db;
    db.Attach(&file());
    db.InitNewDatabase();
    write(db);
    db.Close();
  }
  EXPECT_EQ(toHex(contentOf(file())), toHex(golden("outline-empty")));
}

std::string kindName(const ::testing::TestParamInfo<int>& info) {
  static const char* const kNames[] = {"in_small_steps", "in_one_step", "over_a_handle"};
  return kNames[info.param];
}

INSTANTIATE_TEST_SUITE_P(Files, MemoryDatabaseTest, ::testing::Range(0, 3), kindName);

// --- Handing documents on ---

class DocumentHandleTest : public kx_test::KxTest {};

TEST_F(DocumentHandleTest, ADocumentTravelsAsAHandle) {
  Handle handle;
  {
    SharedFile file;
    CMemOutlDB db;
    db.Attach(&file);
    auto* item = static_cast<kx_gen::CLinkedOutlRec*>(db.GetRecordset()->Append());
    item->SetText(L"travels");
    item->setInternalId(7);
    write(db);
    handle.reset(file.Detach());
  }
  EXPECT_EQ(MemGetSize(handle.get()), 4096ul) << "whole growth steps; the rest is zero";
  SharedFile file;
  file.SetHandle(handle.release(), 0);
  CMemOutlDB db;
  db.Attach(&file);
  read(db);
  ASSERT_EQ(db.GetRecordset()->getSize(), 1);
  EXPECT_EQ(static_cast<kx_gen::CLinkedOutlRec*>(db.getRecord(0))->getInternalId(), 7u);
}

TEST_F(DocumentHandleTest, ADocumentInAFixedBlockIsEditedInPlaceAndCannotGrow) {
  Bytes block = golden("memory-outline");
  MemFile file(block.data(), static_cast<unsigned int>(block.size()), 0);
  CMemOutlDB db;
  db.Attach(&file);
  read(db);
  auto* item = static_cast<COutlineRecord*>(db.getRecord(1));
  item->SetText(L"PARIS");
  write(db);
  Bytes expected = golden("memory-outline");
  constexpr size_t kParis = 0x163;
  for (size_t i = 0; i < 5; ++i) expected[kParis + i] = static_cast<unsigned char>("PARIS"[i]);
  EXPECT_EQ(toHex(block), toHex(expected));

  item->SetText(L"A text for which there is no room");
  EXPECT_TRUE(thrownBy([&] { write(db); }).is(Thrown::kException, 11, 10));
}

// --- Short reads ---

/// A row, header, id list or database read from the first bytes of what it needs.
class ShortReadTest : public kx_test::KxTest {
 protected:
  /// Every cut of `bytes` throws what a disk file would throw.
  static void expectShort(const Bytes& bytes, const std::function<void(CFileStream&)>& readFrom,
                          size_t first = 0) {
    for (size_t length = first; length < bytes.size(); ++length) {
      MemFile file(64);
      write(file, kx_test::slice(bytes, 0, length));
      file.Seek(0, 0);
      CFileStream stream(&file);
      const Thrown thrown = thrownBy([&] { readFrom(stream); });
      EXPECT_TRUE(kx_test::isReadFailure(thrown)) << length << ": " << thrown;
    }
    MemFile file(64);
    write(file, bytes);
    file.Seek(0, 0);
    CFileStream stream(&file);
    EXPECT_EQ(thrownBy([&] { readFrom(stream); }).kind, Thrown::kNothing);
  }
};

TEST_F(ShortReadTest, ARowThrowsMessage8) {
  const Bytes block = join({kx_test::plainBlock(0x80), kx_test::tag(9, {1, 2, 3})});
  expectShort(kx_test::row(block), [&](CFileStream& stream) {
    CDBRecord record;
    record.Read(stream);
    EXPECT_EQ(kx_test::blockOf(record), block);
  });
}

TEST_F(ShortReadTest, AListOfIdsThrowsMessage8) {
  const Bytes list = join({kx_test::le32(3), kx_test::le32(7), kx_test::le32(8), kx_test::le32(9)});
  expectShort(list, [](CFileStream& stream) {
    kx_gen::CDeletedThoughts ids;
    ids.Read(stream);
    EXPECT_TRUE(ids.IsDeleted(9));
  });
}

TEST_F(ShortReadTest, AHeaderThrowsMessage8) {
  const Bytes block = kx_test::tag(6, {1, 2, 3});
  const Bytes slot = join({kx_test::le32(static_cast<uint32_t>(block.size())), block});
  expectShort(slot, [&](CFileStream& stream) {
    kx_gen::CConduitHeader header;
    header.Read(stream, 255);
    EXPECT_EQ(kx_test::blockOf(header), block);
  });
}

TEST_F(ShortReadTest, AHeaderTableThrowsMessage8) {
  expectShort(join({Bytes(10, 0), kx_test::headerTable({{1, 255}, {2, 512}})}),
              [](CFileStream& stream) {
                kx_gen::CHeaderManager manager(10);
                manager.Read(stream);
                EXPECT_EQ(manager.GetReadList().size(), 2u);
              });
}

TEST_F(ShortReadTest, TheLogNamesWhatCouldNotBeRead) {
  MemFile file(64);
  write(file, kx_test::slice(kx_test::row(kx_test::plainBlock()), 0, 20));
  file.Seek(0, 0);
  CFileStream stream(&file);
  CDBRecord record;
  kx_test::clearLog();
  thrownBy([&] { record.Read(stream); });
  EXPECT_EQ(kx_test::throwsOf("Rowset"), 1);
  EXPECT_EQ(file.GetPosition(), 20ul) << "behind the bytes that there were";
}

TEST_F(ShortReadTest, AnInformationBlockThrowsMessage13) {
  for (size_t length = 0; length < 10; ++length) {
    MemFile file(64);
    write(file, kx_test::slice(kx_test::dbInfo(10, 0), 0, length));
    CMemOutlDB db;
    db.Attach(&file);
    EXPECT_TRUE(thrownBy([&] { db.ReadDbInfo(); }).is(Thrown::kDbException, 13, 12)) << length;
  }
}

TEST_F(ShortReadTest, LengthsBeyondTheFileTakeNoMemory) {
  for (const uint32_t length : {0x10000u, 0x00FFFFFFu, 0xFFFFFFFFu}) {
    MemFile file(64);
    write(file, join({Bytes{0x50, 0x4B, 0x03, 0x04}, kx_test::le32(length), Bytes(100, 1)}));
    file.Seek(0, 0);
    CFileStream stream(&file);
    CDBRecord record;
    kx_test::forgetAllocations();
    EXPECT_TRUE(kx_test::isReadFailure(thrownBy([&] { record.Read(stream); })));
    EXPECT_LT(kx_test::largestAllocation(), 200000u);
  }
}

// --- Cut files ---

/// The steps of reading a whole document, each of which may throw.
template <class Db>
std::vector<std::string> outcomes(CFile& file, const std::vector<void (*)(Db&)>& steps) {
  Db db;
  db.Attach(&file);
  std::vector<std::string> found;
  for (const auto step : steps) {
    const Thrown thrown = thrownBy([&] { step(db); });
    std::ostringstream text;
    text << thrown << ", " << db.GetRecordset()->getSize() << " rows";
    found.push_back(text.str());
  }
  return found;
}

class CutFileTest : public kx_test::KxTest {
 protected:
  void SetUp() override {
    kx_test::KxTest::SetUp();
    // Thousands of lines would be written one opening each: where a folder has the log's name,
    // lines are dropped.
    std::filesystem::create_directory("FileIO.txt");
  }

  template <class Db>
  void expectAlike(const std::string& name, const std::vector<void (*)(Db&)>& steps) {
    const Bytes whole = golden(name);
    for (size_t length = 0; length <= whole.size(); length += kx_test::kSweepStep) {
      const Bytes bytes = kx_test::slice(whole, 0, length);
      kx_test::writeFile("cut", bytes);
      CFile onDisk;
      onDisk.Open(L"cut", CFile::modeReadWrite);
      MemFile inMemory(64);
      write(inMemory, bytes);
      SharedFile overHandle;
      if (length > 0) overHandle.SetHandle(handleOf(bytes).release(), 0);
      const std::vector<std::string> expected = outcomes<Db>(onDisk, steps);
      ASSERT_EQ(outcomes<Db>(inMemory, steps), expected) << name << " cut at " << length;
      ASSERT_EQ(outcomes<Db>(overHandle, steps), expected) << name << " cut at " << length;
      onDisk.Close();
      std::filesystem::remove("cut");
    }
  }
};

TEST_F(CutFileTest, OutlinesGiveInMemoryWhatTheyGiveOnDisk) {
  const std::vector<void (*)(COutlineDB&)> steps = {
      [](COutlineDB& db) { db.ReadDbInfo(); },        [](COutlineDB& db) { db.ReadHeaderInfo(); },
      [](COutlineDB& db) { db.ReadConduitHeader(); }, [](COutlineDB& db) { db.ReadSharedHeader(); },
      [](COutlineDB& db) { db.ReadPrivateHeader(); }, [](COutlineDB& db) { db.ReadRows(); }};
  for (const char* name : {"outline-deleted-ids", "outline-all-fields", "outline-unknown"}) {
    expectAlike(name, steps);
  }
}

TEST_F(CutFileTest, CategoriesGiveInMemoryWhatTheyGiveOnDisk) {
  const std::vector<void (*)(CCategoryDB&)> steps = {
      [](CCategoryDB& db) { db.ReadDbInfo(); }, [](CCategoryDB& db) { db.ReadHeaderInfo(); },
      [](CCategoryDB& db) { db.ReadConduitHeader(); }, [](CCategoryDB& db) { db.ReadRows(); }};
  for (const char* name : {"category-v1", "category-v0"}) expectAlike(name, steps);
}

TEST_F(CutFileTest, MemoryOutlinesGiveInMemoryWhatTheyGiveOnDisk) {
  const std::vector<void (*)(CMemOutlDB&)> steps = {[](CMemOutlDB& db) { db.ReadDbInfo(); },
                                                    [](CMemOutlDB& db) { db.ReadRows(); }};
  for (const char* name : {"memory-outline", "memory-outline-all-fields"}) expectAlike(name, steps);
}

}  // namespace
