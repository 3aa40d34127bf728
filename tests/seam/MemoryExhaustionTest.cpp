// What memory handles, memory files and memory outlines do when memory runs out: null handles,
// message 11, and everything that was there stays.
#include <gmock/gmock.h>

#include <cstring>
#include <memory>
#include <new>

#include "FailingNew.h"
#include "KxLayout.h"
#include "LimitedMalloc.h"
#include "MemAPI.h"
#include "OutlineDB.h"
#include "Pictures.h"

namespace {

using kx_gen::CLinkedOutlRec;
using kx_gen::CMemOutlDB;
using kx_gen::MemFile;
using kx_gen::SharedFile;
using kx_seam::AllocationLimit;
using kx_seam::kMostAllocations;
using kx_seam::LargestRequest;
using kx_test::Bytes;
using kx_test::bytesOf;
using kx_test::dataOf;
using kx_test::logLines;
using kx_test::Thrown;
using kx_test::thrownBy;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned long kHeaderSize = 4;

class MemoryExhaustionTest : public kx_test::KxTest {};

void* handleOf(const std::string& text) {
  void* handle = MemAlloc(static_cast<unsigned long>(text.size()));
  std::memcpy(MemGetPtr(handle), text.data(), text.size());
  return handle;
}

// --- Handles ---

TEST_F(MemoryExhaustionTest, WithoutMemoryThereIsNoHandle) {
  {
    const LargestRequest little(1000 + kHeaderSize - 1);
    EXPECT_EQ(MemAlloc(1000), nullptr);
  }
  const LargestRequest enough(1000 + kHeaderSize);
  void* const handle = MemAlloc(1000);
  EXPECT_EQ(enough.asked(), 1000 + kHeaderSize) << "the data and its size, nothing else";
  EXPECT_EQ(MemGetSize(handle), 1000ul);
  MemFree(handle);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(MemoryExhaustionTest, AHandleThatCannotGrowStaysValid) {
  void* const handle = handleOf("12345678");
  {
    const LargestRequest little(100);
    EXPECT_EQ(MemRealloc(handle, 1000), nullptr);
  }
  EXPECT_EQ(dataOf(handle), bytesOf("12345678"));
  MemFree(handle);
}

TEST_F(MemoryExhaustionTest, WithoutMemoryThereIsNoDuplicate) {
  void* const handle = handleOf("12345678");
  {
    const LargestRequest little(8 + kHeaderSize - 1);
    EXPECT_EQ(MemDuplicate(handle), nullptr);
  }
  EXPECT_EQ(dataOf(handle), bytesOf("12345678"));
  MemFree(handle);
}

// --- Files ---

/// Writes ever more into a file that grows by 64 bytes while requests for more than 200 fail.
void expectToKeepWhatItHas(MemFile& file) {
  const std::string piece = "0123456789abcdefghijklmnopqrstuvwxyz";
  Bytes written;
  Thrown thrown;
  {
    const LargestRequest little(200);
    while (thrown.kind == Thrown::kNothing && written.size() < 1000) {
      thrown = thrownBy([&] { file.Write(piece.data(), static_cast<unsigned int>(piece.size())); });
      if (thrown.kind == Thrown::kNothing) written = kx_test::join({written, bytesOf(piece)});
    }
  }
  EXPECT_TRUE(thrown.is(Thrown::kException, 11, 10)) << thrown;
  EXPECT_THAT(logLines(), ElementsAre(kx_test::throwLine(".\\File", 1340)));
  EXPECT_EQ(file.GetPosition(), written.size());
  EXPECT_GT(written.size(), 64u) << "the block grew at least once";

  EXPECT_EQ(file.Write(piece.data(), 36), 36u) << "as soon as there is memory again";
  written = kx_test::join({written, bytesOf(piece)});
  file.Seek(0, 0);
  Bytes content(2000);
  content.resize(file.Read(content.data(), 2000));
  EXPECT_EQ(content, written);
}

TEST_F(MemoryExhaustionTest, AMemoryFileThatCannotGrowKeepsWhatItHas) {
  MemFile file(64);
  expectToKeepWhatItHas(file);
}

TEST_F(MemoryExhaustionTest, ASharedFileThatCannotGrowKeepsWhatItHas) {
  SharedFile file(2, 64);
  expectToKeepWhatItHas(file);
}

TEST_F(MemoryExhaustionTest, AFileWithoutAFirstBlockStaysEmpty) {
  MemFile plain(1000);
  SharedFile shared(2, 1000);
  for (MemFile* file : std::initializer_list<MemFile*>{&plain, &shared}) {
    kx_test::clearLog();
    const Thrown thrown = thrownBy([&] {
      const LargestRequest little(500);
      file->SetLength(10);
    });
    EXPECT_TRUE(thrown.is(Thrown::kException, 11, 10)) << thrown;
    EXPECT_THAT(logLines(), ElementsAre(kx_test::throwLine(".\\File", 1340)));
    EXPECT_EQ(file->GetLength(), 0ul);
    file->SetLength(10);
    EXPECT_EQ(file->GetLength(), 10ul);
  }
}

TEST_F(MemoryExhaustionTest, WithoutMemoryForTheMessageNullIsThrown) {
  MemFile file(0);
  EXPECT_EQ(thrownBy([&] {
              const AllocationLimit none(0);
              file.SetLength(1);
            }).kind,
            Thrown::kNull);
}

// --- Memory outlines ---

void fill(CMemOutlDB& db) {
  for (unsigned long id = 1; id <= 3; ++id) {
    auto* item = static_cast<CLinkedOutlRec*>(db.GetRecordset()->Append());
    item->SetText(L"A text that is not so short that it takes no memory");
    item->setInternalId(id);
    item->setParentId(id - 1);
  }
}

TEST_F(MemoryExhaustionTest, AMemoryOutlineWithoutItsSetThrowsMessage11AndKeepsTheOldOne) {
  CMemOutlDB db;
  kx_gen::CDBRecord* const item = db.GetRecordset()->Append();
  kx_test::clearLog();
  const Thrown thrown = thrownBy([&] {
    const AllocationLimit once(0, 1);
    db.CreateRecordset();
  });
  EXPECT_TRUE(thrown.is(Thrown::kException, 11, 10)) << thrown;
  EXPECT_THAT(logLines(),
              ElementsAre(testing::StartsWith("Throw an exception FILE - .\\OutlineDB")));
  EXPECT_EQ(db.getRecord(0), item);
}

TEST_F(MemoryExhaustionTest, AMemoryOutlineIsSavedInMemoryOrCanBeSavedAgain) {
  MemFile whole(64);
  CMemOutlDB db;
  fill(db);
  db.Attach(&whole);
  db.WriteAllHeaders();
  db.WriteRows();
  const unsigned long length = whole.GetLength();
  for (size_t largest = 128; largest < length; largest += 64) {
    MemFile file(64);
    db.Attach(&file);
    const Thrown thrown = thrownBy([&] {
      const LargestRequest little(largest);
      db.WriteAllHeaders();
      db.WriteRows();
    });
    EXPECT_TRUE(thrown.is(Thrown::kException, 11, 10)) << largest << ": " << thrown;
    EXPECT_LE(file.GetLength(), largest);
    db.WriteAllHeaders();
    db.WriteRows();
    EXPECT_EQ(file.GetLength(), length);
    db.Detach();
  }
}

TEST_F(MemoryExhaustionTest, AMemoryOutlineOpensAndReadsOrFailsCleanly) {
  {
    CMemOutlDB db;
    db.Open(L"outline.mem", kx_test::kCreate);
    fill(db);
    db.WriteAllHeaders();
    db.WriteRows();
  }
  const Bytes before = kx_test::readFile("outline.mem");
  for (long allowed = 0; allowed < kMostAllocations; ++allowed) {
    bool isRead = false;
    try {
      const AllocationLimit limit(allowed);
      CMemOutlDB db;
      db.Open(L"outline.mem", kx_test::kReadWrite);
      db.ReadRows();
      isRead = db.GetRecordset()->getSize() == 3;
    } catch (const std::bad_alloc&) {
      isRead = false;
    } catch (kx_gen::CException* e) {
      e->Delete();
    }
    ASSERT_EQ(kx_test::readFile("outline.mem"), before) << allowed;
    if (isRead) return;
  }
  ADD_FAILURE() << "never succeeded";
}

}  // namespace
