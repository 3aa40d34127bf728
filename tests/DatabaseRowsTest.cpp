// The rows of a database file: order, count, positions, and their way through the window that reads
// and writes many of them at once.

#include <gmock/gmock.h>

#include <memory>

#include "Database.h"
#include "KxKinds.h"
#include "KxLayout.h"
#include "StorageSupport.h"

namespace {

using kx_gen::CDBRecord;
using kx_test::Bytes;
using kx_test::ExtraDb;
using kx_test::join;
using kx_test::PlainDb;
using kx_test::Thrown;
using kx_test::thrownBy;
using ::testing::ElementsAre;

constexpr size_t kRowsStart = 10 + 2 + 6 + 255;
constexpr size_t kWindow = size_t{1} << 20;  // about what one transfer moves
constexpr size_t kSmallestRow = 12 + 32;

void append(Bytes& bytes, const Bytes& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

Bytes front(uint32_t rowCount) {
  return join(
      {kx_test::dbInfo(0, rowCount), kx_test::headerTable({{1, 255}}), kx_test::slot(255, {})});
}

/// A row's block with `size` bytes of a value that only row `number` has.
Bytes numberedBlock(size_t number, size_t size) {
  Bytes value(size);
  for (size_t i = 0; i < size; ++i) {
    value[i] = static_cast<unsigned char>(number * 31 + i * 7 + (i >> 8));
  }
  return join({kx_test::plainBlock(), kx_test::tag(9, value)});
}

class DatabaseRowsTest : public kx_test::KxTest {
 protected:
  std::wstring file() const { return path(L"rows.db"); }
  void put(const Bytes& bytes) { kx_test::writeFile("rows.db", bytes); }
  Bytes content() { return kx_test::readFile("rows.db"); }

  template <class Db>
  void open(Db& db, unsigned int mode = kx_test::kReadWrite) {
    db.Open(file().c_str(), mode);
  }
  template <class Db>
  void create(Db& db) {
    open(db, kx_test::kCreate);
    db.InitNewDatabase();
  }
  static void fill(PlainDb& db, const std::vector<unsigned char>& flagBytes) {
    for (unsigned char flagByte : flagBytes) db.GetRecordset()->Append()->SetFlag(flagByte);
  }
  static std::vector<int> flags(PlainDb& db) {
    std::vector<int> found;
    for (CDBRecord* record : *db.GetRecordset()) found.push_back(record->GetFlag());
    return found;
  }
  static Bytes row(uint8_t flagByte) { return kx_test::row(kx_test::plainBlock(flagByte)); }
};

// --- Order, count, positions ---

TEST_F(DatabaseRowsTest, RowsAreWrittenInOrderBehindTheExtraRowsWithTheirCount) {
  ExtraDb db;
  create(db);
  db.extra = 0xBEEF;
  fill(db, {0x80, 0x40, 0x20});
  db.WriteAllHeaders();
  db.calls.clear();
  db.WriteRows();
  EXPECT_THAT(db.calls, ElementsAre("WriteExtraRows", "WriteDbInfo"));
  EXPECT_EQ(db.GetRowCount(), 3u);
  EXPECT_EQ(db.GetPosition(), db.GetLength());
  for (unsigned long i = 0; i < 3; ++i) {
    EXPECT_EQ(db.getRecord(i)->GetPos(), kRowsStart + 2 + i * kSmallestRow);
  }
  EXPECT_EQ(flags(db), (std::vector<int>{0x80, 0x40, 0x20})) << "writing leaves the flags";
  db.Close();
  EXPECT_EQ(content(), join({front(3), {0xEF, 0xBE}, row(0x80), row(0x40), row(0x20)}));
}

TEST_F(DatabaseRowsTest, RowsAreReadBehindTheExtraRowsThroughTheSetsFactory) {
  put(join({front(2), {0xEF, 0xBE}, row(0x80), row(0x08)}));
  ExtraDb db;
  open(db);
  db.GetRecordset()->Append()->SetFlag(1);
  db.calls.clear();
  db.ReadRows();
  EXPECT_THAT(db.calls, ElementsAre("ReadExtraRows"));
  EXPECT_EQ(db.extra, 0xBEEF);
  EXPECT_EQ(flags(db), (std::vector<int>{0x80, 0x08})) << "the rows of before are gone";
  EXPECT_EQ(db.getRecord(0)->GetPos(), kRowsStart + 2);
  EXPECT_EQ(db.getRecord(1)->GetPos(), kRowsStart + 2 + kSmallestRow);
  EXPECT_EQ(db.GetPosition(), db.GetLength());
}

TEST_F(DatabaseRowsTest, ReadingMakesTheRowsOfTheKindsSet) {
  put(join({front(1), row(0)}));
  PlainDb db;
  db.InstallRecordset(new kx_gen::COutlineRecordset);
  open(db);
  db.ReadRows();
  ASSERT_EQ(db.GetRecordset()->getSize(), 1);
  EXPECT_NE(dynamic_cast<kx_gen::COutlineRecord*>(db.getRecord(0)), nullptr);
}

TEST_F(DatabaseRowsTest, OnlyAsManyRowsAsCountedAreRead) {
  put(join({front(1), row(1), row(2)}));
  PlainDb db;
  open(db);
  db.ReadRows();
  EXPECT_EQ(flags(db), (std::vector<int>{1}));
  EXPECT_EQ(db.GetPosition(), kRowsStart + kSmallestRow);
}

TEST_F(DatabaseRowsTest, ReadingTwiceGivesTheSameRows) {
  put(join({front(2), row(1), row(2)}));
  PlainDb db;
  open(db);
  db.ReadRows();
  db.ReadRows();
  EXPECT_EQ(flags(db), (std::vector<int>{1, 2}));
}

TEST_F(DatabaseRowsTest, TheFileEndsBehindTheLastRow) {
  put(join({front(1), row(1), Bytes(5000, 0xEE)}));
  PlainDb db;
  open(db);
  db.ReadRows();
  db.WriteRows();
  EXPECT_EQ(db.GetLength(), kRowsStart + kSmallestRow);
  db.Close();
  EXPECT_EQ(content(), join({front(1), row(1)}));
}

TEST_F(DatabaseRowsTest, PurgedRowsShortenTheFile) {
  put(join({front(3), row(1), row(0x40), row(2)}));
  PlainDb db;
  open(db);
  db.ReadRows();
  db.purgeDeletedRecs();
  db.WriteRows();
  db.Close();
  EXPECT_EQ(content(), join({front(2), row(1), row(2)}));
}

TEST_F(DatabaseRowsTest, ASavedDatabaseReadsBackTheSame) {
  PlainDb db;
  create(db);
  fill(db, {1, 2, 3});
  db.WriteAllHeaders();
  db.WriteRows();
  db.Close();
  const Bytes first = content();
  open(db);
  db.ReadRows();
  db.WriteAllHeaders();
  db.WriteRows();
  db.Close();
  EXPECT_EQ(content(), first);
}

TEST_F(DatabaseRowsTest, OneRowIsReadFromAPosition) {
  put(join({front(2), row(0x80), row(0x20)}));
  PlainDb db;
  open(db);
  CDBRecord record;
  db.ReadRow(kRowsStart + kSmallestRow, &record);
  EXPECT_EQ(record.GetFlag(), 0x20);
  EXPECT_EQ(record.GetPos(), kRowsStart + kSmallestRow);
}

TEST_F(DatabaseRowsTest, ReadingOneRowOfAClosedDatabaseAssertsAndThenFailsAsASeek) {
  PlainDb db;
  CDBRecord record;
  record.SetFlag(3);
  const Thrown thrown = thrownBy([&] { db.ReadRow(10, &record); });
  EXPECT_TRUE(thrown.is(Thrown::kException, 10, 9)) << thrown;
  ASSERT_FALSE(kx_test::logLines().empty());
  EXPECT_EQ(kx_test::logLines().front(), kx_test::assertionLine("Database", 131));
  EXPECT_EQ(record.GetFlag(), 3);
}

TEST_F(DatabaseRowsTest, ReadingOneRowIntoNothingAssertsAndReadsNothing) {
  put(join({front(1), row(0x80)}));
  PlainDb db;
  open(db);
  const unsigned long before = db.GetPosition();
  db.ReadRow(kRowsStart, nullptr);
  EXPECT_EQ(db.GetPosition(), before);
  EXPECT_THAT(kx_test::logLines(), ElementsAre(kx_test::assertionLine("Database", 132)));
}

// --- Purging ---

TEST_F(DatabaseRowsTest, PurgingTakesAdjacentDeletedRowsAndKeepsTheOrder) {
  PlainDb db;
  fill(db, {0x40, 1, 0xC0, 0x40, 2, 0xBF, 0xFF});
  db.purgeDeletedRecs();
  EXPECT_EQ(flags(db), (std::vector<int>{1, 2, 0xBF}));
}

TEST_F(DatabaseRowsTest, PurgingAllRowsLeavesNone) {
  PlainDb db;
  fill(db, {0x40, 0x40});
  db.purgeDeletedRecs();
  EXPECT_EQ(db.GetRecordset()->getSize(), 0);
  db.purgeDeletedRecs();
  EXPECT_EQ(db.GetRecordset()->getSize(), 0);
}

TEST_F(DatabaseRowsTest, PurgingStopsAtARowWithoutAFlagTag) {
  PlainDb db;
  fill(db, {0x40, 1, 0, 0x40});
  db.getRecord(2)->FreeData();
  const Thrown thrown = thrownBy([&] { db.purgeDeletedRecs(); });
  EXPECT_EQ(thrown.kind, Thrown::kException) << thrown;
  const std::wstring absent = kx_test::messageText(16);
  EXPECT_EQ(thrown.description.compare(0, absent.size(), absent), 0) << thrown;
  ASSERT_EQ(db.GetRecordset()->getSize(), 3) << "the first is gone, the rest stays";
  EXPECT_EQ(db.getRecord(0)->GetFlag(), 1);
  EXPECT_EQ(db.getRecord(1)->GetRecSize(), 0u);
  EXPECT_EQ(db.getRecord(2)->GetFlag(), 0x40);
}

TEST_F(DatabaseRowsTest, PurgingKeepsOneInAHundredOfManyRowsInOrder) {
  constexpr unsigned long kRows = 30000;
  PlainDb db;
  for (unsigned long i = 0; i < kRows; ++i) {
    CDBRecord* record = db.GetRecordset()->Append();
    record->SetIndex(i);
    record->SetDeleted(i % 100 != 0);
  }
  db.purgeDeletedRecs();
  ASSERT_EQ(db.GetRecordset()->getSize(), static_cast<int>(kRows / 100));
  for (unsigned long i = 0; i < kRows / 100; ++i) EXPECT_EQ(db.getRecord(i)->GetIndex(), 100 * i);
}

// --- Failures in the middle ---

/// What a reader does that makes one transfer for each field, as the oracle of positions.
struct Outcome {
  Thrown thrown;
  unsigned long position = 0;
  int rows = 0;
};

class FailingRowsTest : public DatabaseRowsTest {
 protected:
  Outcome readRows(const Bytes& bytes) {
    put(bytes);
    PlainDb db;
    open(db);
    Outcome outcome;
    outcome.thrown = thrownBy([&] { db.ReadRows(); });
    outcome.position = db.GetPosition();
    outcome.rows = db.GetRecordset()->getSize();
    return outcome;
  }
  /// The same rows, read one by one from a stream of their own.
  Outcome readSingly(const Bytes& bytes, uint32_t count) {
    put(bytes);
    kx_gen::CFileStream stream;
    stream.Open(file().c_str(), kx_test::kReadWrite);
    Outcome outcome;
    outcome.thrown = thrownBy([&] {
      stream.Seek(kRowsStart, 0);
      for (uint32_t i = 0; i < count; ++i) {
        ++outcome.rows;
        CDBRecord record;
        record.Read(stream);
      }
    });
    outcome.position = stream.GetPosition();
    return outcome;
  }
  void expectTheSame(const Bytes& bytes, uint32_t count, const std::string& what) {
    const Outcome single = readSingly(bytes, count);
    const Outcome rows = readRows(bytes);
    EXPECT_EQ(rows.thrown.kind, single.thrown.kind) << what << ": " << rows.thrown;
    EXPECT_EQ(rows.thrown.description, single.thrown.description) << what;
    EXPECT_EQ(rows.thrown.number, single.thrown.number) << what;
    EXPECT_EQ(rows.position, single.position) << what;
    EXPECT_EQ(rows.rows, single.rows) << what;
  }
};

TEST_F(FailingRowsTest, TheRowsReadAndTheOneThatFailedStay) {
  Bytes bytes = join({front(4), row(1), row(2), row(4), row(8)});
  bytes[kRowsStart + 2 * kSmallestRow] = 'X';
  put(bytes);
  PlainDb db;
  open(db);
  const Thrown thrown = thrownBy([&] { db.ReadRows(); });
  EXPECT_TRUE(thrown.is(Thrown::kDbException, 5, 4)) << thrown;
  ASSERT_EQ(db.GetRecordset()->getSize(), 3);
  EXPECT_EQ(db.getRecord(0)->GetFlag(), 1);
  EXPECT_EQ(db.getRecord(1)->GetFlag(), 2);
  EXPECT_EQ(db.getRecord(2)->GetPos(), kRowsStart + 2 * kSmallestRow);
  EXPECT_EQ(db.getRecord(2)->GetRecSize(), 0u);
  EXPECT_EQ(db.GetPosition(), kRowsStart + 2 * kSmallestRow + 4);
}

TEST_F(FailingRowsTest, AMissingEndTagInTheMiddleIsMessage6) {
  Bytes bytes = join({front(2), row(1), row(2)});
  bytes[kRowsStart + kSmallestRow - 1] = 0;
  const Outcome outcome = readRows(bytes);
  EXPECT_TRUE(outcome.thrown.is(Thrown::kDbException, 6, 5)) << outcome.thrown;
  EXPECT_EQ(outcome.position, kRowsStart + kSmallestRow);
  EXPECT_EQ(outcome.rows, 1);
}

TEST_F(FailingRowsTest, MoreRowsCountedThanThereAreIsAShortRead) {
  for (uint32_t count : {3u, 0x10000u, 0xFFFFFFFFu}) {
    const Bytes bytes = join({front(count), row(1), row(2)});
    const Outcome outcome = readRows(bytes);
    EXPECT_TRUE(outcome.thrown.is(Thrown::kException, 8, 7)) << outcome.thrown;
    EXPECT_EQ(outcome.rows, 3);
    EXPECT_EQ(outcome.position, bytes.size());
  }
}

TEST_F(FailingRowsTest, EveryCutFailsAsSingleTransfersDo) {
  const Bytes whole = join({front(3), row(1), row(2), row(4)});
  for (size_t length = 18; length < whole.size(); length += length < kRowsStart ? 50 : 1) {
    expectTheSame(kx_test::slice(whole, 0, length), 3, "length " + std::to_string(length));
  }
}

TEST_F(FailingRowsTest, EveryDamagedByteFailsAsSingleTransfersDo) {
  const Bytes whole = join({front(2), row(1), row(2)});
  for (size_t i = kRowsStart; i < whole.size(); ++i) {
    Bytes damaged = whole;
    damaged[i] = static_cast<unsigned char>(~damaged[i]);
    expectTheSame(damaged, 2, "byte " + std::to_string(i));
  }
}

TEST_F(FailingRowsTest, FailuresBehindTheFirstWindowAreThoseOfSingleTransfers) {
  Bytes whole = front(4);
  append(whole, row(1));
  append(whole, kx_test::row(numberedBlock(1, kWindow + 1000)));
  const size_t third = whole.size();
  append(whole, row(2));
  append(whole, row(4));
  for (size_t i : {third, third + 5, third + kSmallestRow - 1}) {
    Bytes damaged = whole;
    damaged[i] ^= 0x80;
    expectTheSame(damaged, 4, "byte " + std::to_string(i));
  }
  for (size_t length : {kWindow - 1, kWindow, kRowsStart + kWindow, third - 2, third + 1}) {
    expectTheSame(kx_test::slice(whole, 0, length), 4, "length " + std::to_string(length));
  }
}

TEST_F(FailingRowsTest, AFailingExtraRowLeavesTheRowsOfBefore) {
  put(join({front(1), {0xEF}}));
  ExtraDb db;
  open(db);
  fill(db, {9});
  const Thrown thrown = thrownBy([&] { db.ReadRows(); });
  EXPECT_TRUE(thrown.is(Thrown::kException, 8, 7)) << thrown;
  EXPECT_EQ(flags(db), (std::vector<int>{9}));
  EXPECT_EQ(db.GetPosition(), kRowsStart + 1);
}

TEST_F(FailingRowsTest, ARowsStartBehindTheEndOfTheFileIsAShortRead) {
  put(kx_test::slice(front(1), 0, 100));
  PlainDb db;
  open(db);
  EXPECT_TRUE(thrownBy([&] { db.ReadRows(); }).is(Thrown::kException, 8, 7));
  EXPECT_EQ(db.GetPosition(), kRowsStart);
}

TEST_F(FailingRowsTest, AShortReadingFileIsAShortReadToo) {
  const Bytes whole = join({front(2), row(1), row(2)});
  for (size_t length : {kRowsStart, kRowsStart + 3, kRowsStart + 20, whole.size() - 1}) {
    put(whole);
    PlainDb db;
    open(db);
    kx_test::ShortReadingFile memory(kx_test::slice(whole, 0, length));
    db.Close();
    db.Attach(&memory);
    const Thrown thrown = thrownBy([&] { db.ReadRows(); });
    EXPECT_TRUE(thrown.is(Thrown::kException, 8, 7)) << length << ": " << thrown;
    db.Detach();
  }
}

/// A file in memory whose writes fail from the n-th on.
class FullFile : public kx_test::ShortReadingFile {
 public:
  unsigned int Write(const void* data, unsigned int count) override {
    if (left-- > 0) return kx_test::ShortReadingFile::Write(data, count);
    kx_gen::_ThrowFileException(13, 112, L"full");
  }
  int left = 0;
};

TEST_F(FailingRowsTest, AFailingWriteIsItsOwnException) {
  for (int works : {0, 1}) {
    FullFile full;
    full.left = works;
    PlainDb db;
    fill(db, {1, 2, 4});
    db.Attach(&full);
    const Thrown thrown = thrownBy([&] { db.WriteRows(); });
    EXPECT_EQ(thrown.kind, Thrown::kFileException) << works << ": " << thrown;
    EXPECT_EQ(thrown.cause, 13);
    EXPECT_EQ(thrown.osError, 112);
    db.Detach();
  }
}

// --- The window ---

TEST_F(DatabaseRowsTest, TenThousandRowsKeepOrderContentAndPositions) {
  constexpr size_t kRows = 10000;
  PlainDb db;
  create(db);
  Bytes expected = front(kRows);
  std::vector<unsigned long> positions;
  for (size_t i = 0; i < kRows; ++i) {
    const Bytes block = numberedBlock(i, i == 5000 ? kWindow + kWindow / 2 : i * 37 % 600);
    positions.push_back(static_cast<unsigned long>(expected.size()));
    append(expected, kx_test::row(block));
    kx_test::setBlock(*db.GetRecordset()->Append(), block);
  }
  db.WriteAllHeaders();
  db.WriteRows();
  EXPECT_EQ(db.GetPosition(), expected.size());
  for (size_t i = 0; i < kRows; ++i) ASSERT_EQ(db.getRecord(i)->GetPos(), positions[i]) << i;
  db.Close();
  ASSERT_TRUE(content() == expected);

  PlainDb reader;
  open(reader);
  reader.ReadRows();
  ASSERT_EQ(reader.GetRecordset()->getSize(), static_cast<int>(kRows));
  EXPECT_EQ(reader.GetPosition(), expected.size());
  for (size_t i = 0; i < kRows; ++i) {
    ASSERT_EQ(reader.getRecord(i)->GetPos(), positions[i]) << i;
    ASSERT_EQ(kx_test::blockOf(*reader.getRecord(i)), kx_test::blockOf(*db.getRecord(i))) << i;
  }
  CDBRecord single;
  reader.ReadRow(positions[7777], &single);
  EXPECT_EQ(kx_test::blockOf(single), kx_test::blockOf(*db.getRecord(7777)));
}

class WindowBorderTest : public DatabaseRowsTest, public ::testing::WithParamInterface<int> {};

TEST_P(WindowBorderTest, RowsAroundABorderAreWrittenAndReadWhole) {
  for (size_t base : {kWindow, kRowsStart + kWindow}) {
    // The second row begins at the border and this distance.
    const size_t second = base + static_cast<size_t>(GetParam() + 100) - 100;
    const size_t value = second - kRowsStart - (kSmallestRow + 15);
    const std::vector<Bytes> blocks = {numberedBlock(1, value), numberedBlock(2, 3),
                                       kx_test::plainBlock(0x80)};
    Bytes expected = front(3);
    PlainDb db;
    create(db);
    for (const Bytes& block : blocks) {
      append(expected, kx_test::row(block));
      kx_test::setBlock(*db.GetRecordset()->Append(), block);
    }
    db.WriteAllHeaders();
    db.WriteRows();
    EXPECT_EQ(db.getRecord(1)->GetPos(), second);
    db.Close();
    EXPECT_TRUE(content() == expected);

    open(db);
    db.ReadRows();
    ASSERT_EQ(db.GetRecordset()->getSize(), 3);
    for (unsigned long i = 0; i < 3; ++i) {
      EXPECT_TRUE(kx_test::blockOf(*db.getRecord(i)) == blocks[i]) << i;
    }
    EXPECT_EQ(db.getRecord(1)->GetPos(), second);
    EXPECT_EQ(db.GetPosition(), expected.size());
    db.Close();
  }
}

INSTANTIATE_TEST_SUITE_P(Distances, WindowBorderTest,
                         ::testing::Values(-47, -44, -43, -13, -12, -11, -9, -8, -7, -5, -4, -3, -2,
                                           -1, 0, 1, 2, 4));

TEST_F(DatabaseRowsTest, RowsTravelInLargeTransfers) {
  constexpr int kRows = 5000;
  kx_test::ShortReadingFile memory;
  PlainDb db;
  for (int i = 0; i < kRows; ++i) db.GetRecordset()->Append();
  db.Attach(&memory);
  db.WriteRows();
  db.Detach();
  EXPECT_EQ(memory.GetLength(), kRowsStart + kRows * kSmallestRow);
  EXPECT_LT(memory.writes, 20);
}

/// A kind whose extra rows use the stream in every way that a stream allows.
class BusyDb : public PlainDb {
 public:
  BusyDb() = default;
  ~BusyDb() override = default;

  void WriteExtraRows() override {
    start = GetPosition();
    *this << 0u;  // a length, filled in below
    Write("abc", 3);
    lengthMeanwhile = GetLength();
    kx_gen::CFile* file = GetFile();
    filePosition = file->GetPosition();
    fileLength = file->GetLength();
    file->Write("de", 2);  // the stream goes on behind it
    *this << 'f';
    const unsigned long end = GetPosition();
    Seek(static_cast<long>(start), 0);
    *this << static_cast<unsigned int>(end - start - 4);
    Seek(-2, 1);
    unsigned short upper = 1;
    *this >> upper;
    upperHalf = upper;
    SeekToEnd();
    handle = GetFileHandle();
    Seek(static_cast<long>(end), 0);
    Flush();
  }

  void ReadExtraRows() override {
    unsigned int count = 0;
    *this >> count;
    text.resize(count);
    Read(text.data(), 2);
    filePosition = GetFile()->GetPosition();
    GetFile()->Read(text.data() + 2, 1);
    Read(text.data() + 3, count - 3);
    handle = GetFileHandle();
    fileLength = GetLength();
  }

  unsigned long start = 0;
  unsigned long lengthMeanwhile = 0;
  unsigned long filePosition = 0;
  unsigned long fileLength = 0;
  unsigned short upperHalf = 1;
  unsigned int handle = 0;
  std::string text;
};

TEST_F(DatabaseRowsTest, ExtraRowsSeeAnOrdinaryStreamWhenWriting) {
  BusyDb db;
  create(db);
  fill(db, {0x20});
  db.WriteAllHeaders();
  db.WriteRows();
  EXPECT_EQ(db.start, kRowsStart);
  EXPECT_EQ(db.lengthMeanwhile, kRowsStart + 7);
  EXPECT_EQ(db.filePosition, kRowsStart + 7) << "the file stands where the stream does";
  EXPECT_EQ(db.fileLength, kRowsStart + 7) << "what was written is in the file";
  EXPECT_EQ(db.upperHalf, 0);
  EXPECT_EQ(db.handle, db.GetFile()->GetFileHandle());
  EXPECT_EQ(db.getRecord(0)->GetPos(), kRowsStart + 10);
  db.Close();
  EXPECT_EQ(content(), join({front(1), {6, 0, 0, 0, 'a', 'b', 'c', 'd', 'e', 'f'}, row(0x20)}));
}

TEST_F(DatabaseRowsTest, ExtraRowsSeeAnOrdinaryStreamWhenReading) {
  put(join({front(1), {6, 0, 0, 0, 'a', 'b', 'c', 'd', 'e', 'f'}, row(0x20)}));
  BusyDb db;
  open(db, kx_test::kShared);
  db.ReadRows();
  EXPECT_EQ(db.text, "abcdef");
  EXPECT_EQ(db.filePosition, kRowsStart + 6);
  EXPECT_EQ(db.fileLength, content().size());
  EXPECT_EQ(flags(db), (std::vector<int>{0x20}));
  EXPECT_EQ(db.getRecord(0)->GetPos(), kRowsStart + 10);
}

/// A kind whose extra rows are optional: it looks for more than an old file has, and steps back.
class LenientDb : public PlainDb {
 public:
  LenientDb() = default;
  ~LenientDb() override = default;
  void ReadExtraRows() override {
    const unsigned long start = GetPosition();
    Bytes room(1000);
    failure = thrownBy([&] { Read(room.data(), static_cast<unsigned int>(room.size())); });
    positionAfter = GetPosition();
    Seek(static_cast<long>(start) - static_cast<long>(positionAfter), 1);
  }
  Thrown failure;
  unsigned long positionAfter = 0;
};

TEST_F(DatabaseRowsTest, AFailedReadLeavesTheStreamWhereTheFileEnded) {
  const Bytes bytes = join({front(2), row(1), row(2)});
  put(bytes);
  LenientDb db;
  open(db);
  db.ReadRows();
  EXPECT_TRUE(db.failure.is(Thrown::kException, 8, 7)) << db.failure;
  EXPECT_EQ(db.positionAfter, bytes.size());
  EXPECT_EQ(flags(db), (std::vector<int>{1, 2}));
}

/// A kind that transfers nothing, and from and to nowhere.
class OddDb : public PlainDb {
 public:
  OddDb() = default;
  ~OddDb() override = default;
  void ReadExtraRows() override {
    char room = 0;
    const unsigned long start = GetPosition();
    EXPECT_EQ(Read(&room, 0), 0u);
    toNowhere = thrownBy([&] { Read(nullptr, 3); });
    EXPECT_EQ(Read(&room, 0), 0u);
    EXPECT_EQ(GetPosition(), start);
  }
  void WriteExtraRows() override {
    const unsigned long start = GetPosition();
    EXPECT_EQ(Write("", 0), 0u);
    fromNowhere = thrownBy([&] { Write(nullptr, 3); });
    EXPECT_EQ(Write("", 0), 0u);
    EXPECT_EQ(GetPosition(), start);
  }
  Thrown toNowhere;
  Thrown fromNowhere;
};

TEST_F(DatabaseRowsTest, TransfersOfNothingAndOfNullAnswerAsTheFileDoes) {
  put(join({front(2), row(1), row(2)}));
  OddDb db;
  open(db);
  db.ReadRows();
  EXPECT_TRUE(db.toNowhere.is(Thrown::kException, 8, 7)) << db.toNowhere;
  EXPECT_EQ(flags(db), (std::vector<int>{1, 2}));
  db.WriteRows();
  EXPECT_EQ(db.fromNowhere.kind, Thrown::kFileException) << db.fromNowhere;
  db.Close();
  EXPECT_EQ(content(), join({front(2), row(1), row(2)}));
}

TEST_F(DatabaseRowsTest, AfterwardsTheFileStandsWhereTheStreamDoes) {
  put(join({front(1), row(1), Bytes(100, 0xEE)}));
  PlainDb db;
  open(db);
  db.ReadRows();
  EXPECT_EQ(db.GetFile()->GetPosition(), kRowsStart + kSmallestRow);
  unsigned char next = 0;
  db >> next;
  EXPECT_EQ(next, 0xEE);
  EXPECT_EQ(db.GetPosition(), kRowsStart + kSmallestRow + 1);
}

}  // namespace
