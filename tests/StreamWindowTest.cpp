// The window through which a stream moves rows: alike in everything to single transfers.
#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <optional>
#include <random>

#include "StorageSupport.h"

namespace {

using kx_gen::_String;
using kx_gen::CFile;
using kx_gen::CFileStream;
using kx_test::assertionLine;
using kx_test::Bytes;
using kx_test::bytesOf;
using kx_test::clearLog;
using kx_test::isReadFailure;
using kx_test::logLines;
using kx_test::readFile;
using kx_test::ShortReadingFile;
using kx_test::Thrown;
using kx_test::thrownBy;
using kx_test::writeFile;
using testing::IsEmpty;

constexpr unsigned int kWindow = 1u << 20;
constexpr unsigned int kShared = CFile::modeReadWrite | CFile::shareDenyNone;

class WindowedStream : public CFileStream {
 public:
  using CFileStream::CFileStream;
  using CFileStream::WindowScope;
};
using Scope = WindowedStream::WindowScope;

Bytes pattern(size_t size, unsigned seed = 1) {
  Bytes bytes(size);
  for (size_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<unsigned char>((i * 31 + seed * 7 + (i >> 8)) & 0xFF);
  }
  return bytes;
}

std::string textFrom(CFileStream& stream, unsigned int count) {
  std::string text(count, '\0');
  stream.Read(text.data(), count);
  return text;
}

class StreamWindowTest : public kx_test::KxTest {
 protected:
  void SetUp() override {
    KxTest::SetUp();
    writeFile("ten.bin", bytesOf("0123456789"));
    clearLog();
  }
  void open(unsigned int flags = kShared, const wchar_t* name = L"ten.bin") {
    stream_.Open(name, flags);
  }

  WindowedStream stream_;
};

// --- Positions ---

TEST_F(StreamWindowTest, TransfersGoOnWhereTheFileStands) {
  open();
  stream_.Seek(3, 0);
  {
    const Scope scope(stream_);
    EXPECT_EQ(stream_.GetPosition(), 3ul);
    EXPECT_EQ(textFrom(stream_, 2), "34");
    EXPECT_EQ(stream_.GetPosition(), 5ul);
    EXPECT_EQ(stream_.Write("XY", 2), 2u);
    EXPECT_EQ(stream_.GetPosition(), 7ul);
    EXPECT_EQ(textFrom(stream_, 1), "7");
  }
  EXPECT_EQ(stream_.GetPosition(), 8ul);
  stream_.Close();
  EXPECT_EQ(readFile("ten.bin"), bytesOf("01234XY789"));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(StreamWindowTest, SeeksAndLengthsAreLogical) {
  open();
  const Scope scope(stream_);
  textFrom(stream_, 1);
  EXPECT_EQ(stream_.Seek(2, 1), 3ul);
  EXPECT_EQ(textFrom(stream_, 1), "3");
  EXPECT_EQ(stream_.Seek(-2, 2), 8ul);
  EXPECT_EQ(textFrom(stream_, 2), "89");
  stream_.Write("ab", 2);
  EXPECT_EQ(stream_.GetLength(), 12ul);
  EXPECT_EQ(stream_.GetPosition(), 12ul);
  stream_.SeekToBegin();
  EXPECT_EQ(stream_.GetPosition(), 0ul);
  EXPECT_EQ(stream_.SeekToEnd(), 12ul);
  stream_.SetLength(4);
  EXPECT_EQ(stream_.GetPosition(), 4ul);
  stream_.Seek(0, 0);
  EXPECT_EQ(textFrom(stream_, 4), "0123");
  EXPECT_TRUE(isReadFailure(thrownBy([&] { textFrom(stream_, 1); })));
}

TEST_F(StreamWindowTest, AnExceptionAtTheEndLeavesThePositionOfASingleTransfer) {
  open();
  const Scope scope(stream_);
  EXPECT_EQ(textFrom(stream_, 8), "01234567");
  int value = 0;
  EXPECT_TRUE(isReadFailure(thrownBy([&] { stream_ >> value; })));
  EXPECT_EQ(stream_.GetPosition(), 10ul);
  EXPECT_TRUE(isReadFailure(thrownBy([&] { stream_ >> value; })));
  EXPECT_EQ(stream_.GetPosition(), 10ul);
  EXPECT_EQ(logLines(), std::vector<std::string>(2, kx_test::throwLine(".\\File", 433)));
  stream_.Write("!", 1);
  stream_.Seek(8, 0);
  EXPECT_EQ(textFrom(stream_, 3), "89!");
}

TEST_F(StreamWindowTest, ARefusedSeekKeepsThePosition) {
  open();
  const Scope scope(stream_);
  textFrom(stream_, 4);
  const Thrown thrown = thrownBy([&] { stream_.Seek(-5, 1); });
  EXPECT_TRUE(thrown.is(Thrown::kException, kx_gen::kMsgFileIo, 9)) << thrown;
  EXPECT_EQ(stream_.GetPosition(), 4ul);
  EXPECT_EQ(textFrom(stream_, 1), "4");
}

TEST_F(StreamWindowTest, TransfersLargerThanTheWindowArriveWhole) {
  open();
  const Bytes large = pattern(3 * kWindow + 5);
  const auto size = static_cast<unsigned int>(large.size());
  Bytes copy(large.size());
  {
    const Scope scope(stream_);
    stream_.Write("<", 1);
    EXPECT_EQ(stream_.Write(large.data(), size), size);
    stream_.Write(">", 1);
    EXPECT_EQ(stream_.GetPosition(), large.size() + 2);
    stream_.SeekToBegin();
    EXPECT_EQ(textFrom(stream_, 1), "<");
    EXPECT_EQ(stream_.Read(copy.data(), size), size);
    EXPECT_EQ(textFrom(stream_, 1), ">");
  }
  EXPECT_TRUE(copy == large);
  EXPECT_EQ(stream_.GetLength(), large.size() + 2);
}

TEST_F(StreamWindowTest, ValuesThatLieAcrossItsEndArriveWhole) {
  open();
  constexpr int kCount = 600000;
  {
    const Scope scope(stream_);
    stream_ << 'x';
    for (int i = 0; i < kCount; ++i) stream_ << i;
    stream_.SeekToBegin();
    char first = 0;
    stream_ >> first;
    int wrong = 0;
    for (int i = 0; i < kCount; ++i) {
      int value = -1;
      stream_ >> value;
      if (value != i) ++wrong;
    }
    EXPECT_EQ(wrong, 0);
  }
  EXPECT_EQ(stream_.GetPosition(), 4ul * kCount + 1);
}

// --- The file behind it ---

TEST_F(StreamWindowTest, GetFileBringsTheFileToThePosition) {
  open();
  const Scope scope(stream_);
  textFrom(stream_, 4);
  EXPECT_EQ(stream_.GetFile()->GetPosition(), 4ul);
  stream_.Write("AB", 2);
  EXPECT_EQ(stream_.GetFile()->GetPosition(), 6ul);
  EXPECT_EQ(readFile("ten.bin"), bytesOf("0123AB6789")) << "what was written is there";
  EXPECT_EQ(textFrom(stream_, 2), "67");
}

TEST_F(StreamWindowTest, GetFileHandleBringsTheFileToThePosition) {
  open();
  const Scope scope(stream_);
  CFile* const file = stream_.GetFile();
  textFrom(stream_, 3);
  EXPECT_NE(stream_.GetFileHandle(), 0xFFFFFFFF);
  EXPECT_EQ(file->GetPosition(), 3ul);
  stream_.Write("C", 1);
  EXPECT_EQ(stream_.GetFileHandle(), file->GetFileHandle());
  EXPECT_EQ(readFile("ten.bin"), bytesOf("012C456789"));
}

TEST_F(StreamWindowTest, TheStreamFollowsAFileThatItsBorrowerMoved) {
  open();
  const Scope scope(stream_);
  textFrom(stream_, 2);
  stream_.GetFile()->Seek(7, 0);
  EXPECT_EQ(stream_.GetPosition(), 7ul);
  EXPECT_EQ(textFrom(stream_, 1), "7");
  stream_.GetFile()->Seek(1, 0);
  stream_.Write("Z", 1);
  EXPECT_EQ(stream_.GetPosition(), 2ul);
  stream_.GetFile()->Write("Y", 1);
  EXPECT_EQ(textFrom(stream_, 1), "3");
  EXPECT_EQ(stream_.GetPosition(), 4ul);
  stream_.Flush();
  EXPECT_EQ(readFile("ten.bin"), bytesOf("0ZY3456789"));
}

TEST_F(StreamWindowTest, FlushWritesWhatIsPending) {
  open();
  const Scope scope(stream_);
  stream_.Write("AB", 2);
  stream_.Flush();
  EXPECT_EQ(readFile("ten.bin"), bytesOf("AB23456789"));
  EXPECT_EQ(stream_.GetPosition(), 2ul);
}

TEST_F(StreamWindowTest, FinishWritesWhatIsPending) {
  open();
  Scope scope(stream_);
  stream_.Write("AB", 2);
  scope.finish();
  EXPECT_EQ(readFile("ten.bin"), bytesOf("AB23456789"));
  EXPECT_EQ(stream_.GetPosition(), 2ul);
  EXPECT_EQ(textFrom(stream_, 1), "2") << "single transfers go on";
  scope.finish();
}

TEST_F(StreamWindowTest, AnInnerWindowIsTheOuterOne) {
  open();
  {
    const Scope outer(stream_);
    textFrom(stream_, 2);
    {
      Scope inner(stream_);
      stream_.Write("AB", 2);
      inner.finish();
    }
    EXPECT_EQ(stream_.GetPosition(), 4ul);
    stream_.Write("C", 1);
  }
  stream_.Close();
  EXPECT_EQ(readFile("ten.bin"), bytesOf("01ABC56789"));
}

TEST_F(StreamWindowTest, CloseWritesWhatIsPending) {
  open();
  {
    const Scope scope(stream_);
    stream_.Write("AB", 2);
    stream_.Close();
    EXPECT_EQ(readFile("ten.bin"), bytesOf("AB23456789"));
    EXPECT_FALSE(stream_.IsOpen());
  }
  EXPECT_FALSE(stream_.IsOpen());
}

TEST_F(StreamWindowTest, DetachWritesWhatIsPending) {
  open();
  const Scope scope(stream_);
  stream_.Write("AB", 2);
  const std::unique_ptr<CFile> file(stream_.Detach());
  EXPECT_EQ(file->GetPosition(), 2ul);
  EXPECT_EQ(readFile("ten.bin"), bytesOf("AB23456789"));
}

TEST_F(StreamWindowTest, AttachWritesWhatIsPending) {
  CFile file;
  file.Open(L"ten.bin", kShared);
  ShortReadingFile other(bytesOf("other"));
  WindowedStream stream(&file);
  const Scope scope(stream);
  stream.Write("AB", 2);
  stream.Attach(&other);
  EXPECT_EQ(file.GetPosition(), 2ul);
  EXPECT_EQ(readFile("ten.bin"), bytesOf("AB23456789"));
  EXPECT_EQ(textFrom(stream, 2), "ot");
}

TEST_F(StreamWindowTest, OpenWritesWhatIsPending) {
  open();
  writeFile("other.bin", bytesOf("other"));
  const Scope scope(stream_);
  stream_.Write("AB", 2);
  open(kShared, L"other.bin");
  EXPECT_EQ(readFile("ten.bin"), bytesOf("AB23456789"));
  EXPECT_EQ(textFrom(stream_, 2), "ot");
}

TEST_F(StreamWindowTest, ACopyOfTheStreamStandsAtItsPosition) {
  open();
  const Scope scope(stream_);
  textFrom(stream_, 2);
  CFileStream copy(stream_);
  EXPECT_EQ(copy.GetPosition(), 2ul);
  stream_.Write("A", 1);
  CFileStream assigned;
  assigned = stream_;
  EXPECT_EQ(assigned.GetPosition(), 3ul);
  EXPECT_EQ(readFile("ten.bin"), bytesOf("01A3456789"));
}

// --- Refusals ---

// What a call throws with single transfers and inside a window, which is finished behind it; the
// position and the log must come out alike.
void expectAlike(const wchar_t* name, unsigned int access,
                 const std::function<void(CFileStream&)>& call) {
  Thrown thrown[2];
  unsigned long position[2] = {0, 0};
  std::vector<std::string> log[2];
  for (const int windowed : {0, 1}) {
    clearLog();
    WindowedStream stream;
    stream.Open(name, access | CFile::shareDenyNone);
    stream.Seek(2, 0);
    std::optional<Scope> scope;
    if (windowed != 0) scope.emplace(stream);
    thrown[windowed] = thrownBy([&] {
      call(stream);
      if (scope) scope->finish();
    });
    position[windowed] = stream.GetPosition();
    scope.reset();
    EXPECT_EQ(stream.GetPosition(), position[windowed]);
    log[windowed] = logLines();
  }
  EXPECT_NE(thrown[0].kind, Thrown::kNothing);
  EXPECT_EQ(thrown[0].kind, thrown[1].kind) << thrown[1];
  EXPECT_EQ(thrown[0].description, thrown[1].description);
  EXPECT_EQ(thrown[0].number, thrown[1].number);
  EXPECT_EQ(thrown[0].cause, thrown[1].cause);
  EXPECT_EQ(thrown[0].osError, thrown[1].osError);
  EXPECT_EQ(thrown[0].fileName, thrown[1].fileName);
  EXPECT_EQ(position[0], position[1]);
  EXPECT_EQ(log[0], log[1]);
}

TEST_F(StreamWindowTest, AReadOnlyFileRefusesToBeWritten) {
  const Bytes large = pattern(kWindow + 1);
  for (const unsigned int count : {1u, 4u, kWindow, kWindow + 1}) {
    expectAlike(L"ten.bin", CFile::modeRead,
                [&](CFileStream& stream) { stream.Write(large.data(), count); });
  }
  expectAlike(L"ten.bin", CFile::modeRead, [](CFileStream& stream) { stream.Write("", 0); });
  expectAlike(L"ten.bin", CFile::modeRead, [](CFileStream& stream) { stream.SetLength(3); });
  expectAlike(L"ten.bin", CFile::modeRead, [](CFileStream& stream) { stream.Flush(); });
  expectAlike(L"ten.bin", CFile::modeRead, [](CFileStream& stream) {
    textFrom(stream, 3);
    stream << 1;
  });
  EXPECT_EQ(readFile("ten.bin"), bytesOf("0123456789"));
}

TEST_F(StreamWindowTest, AWriteOnlyFileRefusesToBeRead) {
  Bytes room(kWindow + 1);
  for (const unsigned int count : {0u, 1u, 8u, 9u, kWindow + 1}) {
    expectAlike(L"ten.bin", CFile::modeWrite,
                [&](CFileStream& stream) { stream.Read(room.data(), count); });
  }
  expectAlike(L"ten.bin", CFile::modeWrite, [](CFileStream& stream) {
    stream << 'x';
    char letter = 0;
    stream >> letter;
  });
}

TEST_F(StreamWindowTest, NullBuffersAreRefused) {
  expectAlike(L"ten.bin", CFile::modeReadWrite,
              [](CFileStream& stream) { stream.Read(nullptr, 4); });
  expectAlike(L"ten.bin", CFile::modeReadWrite,
              [](CFileStream& stream) { stream.Write(nullptr, 4); });
}

TEST_F(StreamWindowTest, ATransferOfNothingDoesNothing) {
  open();
  const Scope scope(stream_);
  EXPECT_EQ(stream_.Read(nullptr, 0), 0u);
  EXPECT_EQ(stream_.Write(nullptr, 0), 0u);
  stream_.Seek(30, 0);
  EXPECT_EQ(stream_.Write("", 0), 0u);
  EXPECT_EQ(stream_.GetLength(), 10ul);
  EXPECT_EQ(stream_.GetPosition(), 30ul);
}

TEST_F(StreamWindowTest, PositionsBeyond32BitsFailAsTheyDoOtherwise) {
  const auto moveNearTheLimit = [](CFileStream& stream) {
    stream.Seek(0x7FFFFFFF, 0);
    stream.Seek(0x7FFFFFF0, 1);
  };
  open();
  const Scope scope(stream_);
  moveNearTheLimit(stream_);
  EXPECT_EQ(stream_.GetPosition(), 0xFFFFFFEFul);
  stream_.Write("0123456789ABCDE", 15);
  EXPECT_EQ(stream_.GetPosition(), 0xFFFFFFFEul);
  stream_.Write("F", 1);
  const Thrown thrown = thrownBy([&] { stream_.GetPosition(); });
  EXPECT_TRUE(thrown.is(Thrown::kException, kx_gen::kMsgFileIo, 9)) << thrown;
  stream_.SetLength(10);
  EXPECT_EQ(stream_.GetPosition(), 10ul);
}

// --- Streams that need no window ---

TEST_F(StreamWindowTest, AStreamWithoutAFileStaysAsItIs) {
  {
    const Scope scope(stream_);
    EXPECT_THAT(logLines(), IsEmpty());
    EXPECT_TRUE(isReadFailure(thrownBy([&] { textFrom(stream_, 1); })));
  }
  EXPECT_EQ(logLines().front(), assertionLine("FileStream", 59));
  clearLog();
  {
    Scope scope(stream_);
    scope.finish();
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

class CountingFile : public ShortReadingFile {
 public:
  explicit CountingFile(const Bytes& contents = {}) : ShortReadingFile(contents) {}
  bool IsOpen() const override { return reportsOpen; }
  unsigned int Read(void* buffer, unsigned int count) override {
    ++reads;
    return ShortReadingFile::Read(buffer, count);
  }
  bool reportsOpen = true;
  int reads = 0;
};

TEST_F(StreamWindowTest, AFileThatReportsClosedIsServedWithoutALog) {
  CountingFile file(bytesOf("abcdef"));
  file.reportsOpen = false;
  WindowedStream stream(&file);
  {
    const Scope scope(stream);
    EXPECT_EQ(textFrom(stream, 2), "ab");
    stream.Write("XY", 2);
    EXPECT_EQ(file.bytes, bytesOf("abXYef"));
  }
  EXPECT_EQ(file.position, 4u);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(StreamWindowTest, AFileThatGivesFewerBytesAtItsEndKeepsDoingSo) {
  CountingFile file(bytesOf("abc"));
  WindowedStream stream(&file);
  const Scope scope(stream);
  char buffer[10] = {};
  EXPECT_EQ(stream.Read(buffer, 2), 2u);
  EXPECT_EQ(stream.Read(buffer, 10), 1u);
  EXPECT_EQ(buffer[0], 'c');
  EXPECT_EQ(stream.Read(buffer, 10), 0u);
  EXPECT_EQ(stream.GetPosition(), 3ul);
}

TEST_F(StreamWindowTest, SmallTransfersBecomeLargeOnes) {
  CountingFile file;
  WindowedStream stream(&file);
  constexpr unsigned int kCount = kWindow;  // of four bytes each
  {
    const Scope scope(stream);
    for (unsigned int i = 0; i < kCount; ++i) stream << i;
  }
  EXPECT_EQ(file.bytes.size(), size_t{kCount} * 4);
  EXPECT_LE(file.writes, 8) << "about one a megabyte";
  stream.SeekToBegin();
  {
    const Scope scope(stream);
    unsigned int value = 0;
    for (unsigned int i = 0; i < kCount; ++i) stream >> value;
    EXPECT_EQ(value, kCount - 1);
  }
  EXPECT_LE(file.reads, 8);
}

// --- Any sequence of operations ---

// One random operation; the same numbers give the same operation on every stream.
struct Operation {
  enum Kind : unsigned {
    kRead,
    kWrite,
    kReadValue,
    kWriteValue,
    kWriteText,
    kSeekNear,
    kSeekAway,
    kSeekBadly,
    kBegin,
    kEnd,
    kSetLength,
    kGetLength,
    kFlush,
    kBorrow,
    kBorrowAndSeek,
    kBorrowAndWrite,
    kKinds,
  };
  Kind kind;
  unsigned int size;
  unsigned int number;
};

struct Outcome {
  Thrown thrown;
  unsigned long result = 0;
  Bytes data;
};

unsigned long runOn(CFileStream& stream, const Operation& operation, Bytes& data) {
  const auto offset = static_cast<long>(operation.number % (2 * kWindow));
  switch (operation.kind) {
    case Operation::kRead:
      data.resize(operation.size);
      return stream.Read(data.data(), operation.size);
    case Operation::kWrite:
      return stream.Write(pattern(operation.size, operation.number).data(), operation.size);
    case Operation::kReadValue: {
      unsigned int value = 0;
      stream >> value;
      return value;
    }
    case Operation::kWriteValue:
      stream << operation.number;
      return 0;
    case Operation::kWriteText:
      stream << _String(std::wstring(operation.size % 100, L't').c_str());
      return 0;
    case Operation::kSeekNear:
      return stream.Seek(offset % 64 - 32, 1);
    case Operation::kSeekAway:
      return stream.Seek(operation.number % 3 == 2 ? -offset : offset, operation.number % 3);
    case Operation::kSeekBadly:
      return stream.Seek(-offset - 1, 0);
    case Operation::kBegin:
      stream.SeekToBegin();
      return 0;
    case Operation::kEnd:
      return stream.SeekToEnd();
    case Operation::kSetLength:
      stream.SetLength(static_cast<unsigned long>(offset));
      return 0;
    case Operation::kGetLength:
      return stream.GetLength();
    case Operation::kFlush:
      if (operation.number % 16 == 0) stream.Flush();  // takes long
      return 0;
    case Operation::kBorrow:
      return stream.GetFile()->GetPosition();
    case Operation::kBorrowAndSeek:
      return stream.GetFile()->Seek(offset, 0);
    case Operation::kBorrowAndWrite:
      return stream.GetFile()->Write(&operation.number, 3);
    case Operation::kKinds:
      break;
  }
  return 0;
}

Outcome outcomeOf(CFileStream& stream, const Operation& operation) {
  Outcome outcome;
  outcome.thrown = thrownBy([&] { outcome.result = runOn(stream, operation, outcome.data); });
  return outcome;
}

bool alike(const Outcome& a, const Outcome& b) {
  return a.thrown.kind == b.thrown.kind && a.thrown.description == b.thrown.description &&
         a.thrown.number == b.thrown.number && a.result == b.result && a.data == b.data;
}

class RandomSequence {
 public:
  explicit RandomSequence(unsigned seed) : random_(seed) {
    plain_.Open(L"plain.bin", kShared | CFile::modeCreate);
    windowed_.Open(L"windowed.bin", kShared | CFile::modeCreate);
    for (CFileStream* stream :
         {static_cast<CFileStream*>(&plain_), static_cast<CFileStream*>(&windowed_)}) {
      const Bytes start = pattern(kWindow + 3333);
      stream->Write(start.data(), static_cast<unsigned int>(start.size()));
      stream->SeekToBegin();
    }
  }

  // The index of the first operation that differs, or -1.
  int firstDifference(int operations) {
    for (int i = 0; i < operations; ++i) {
      changeWindow();
      const Operation operation = next();
      clearLog();
      const Outcome expected = outcomeOf(plain_, operation);
      const std::vector<std::string> expectedLog = takeLog(expected);
      const Outcome actual = outcomeOf(windowed_, operation);
      if (!alike(expected, actual) || takeLog(actual) != expectedLog) return i;
      if (random_() % 3 == 0 && plain_.GetPosition() != windowed_.GetPosition()) return i;
    }
    return -1;
  }

  // Both files as they are in the end.
  void expectSameFiles() {
    inner_.reset();
    outer_.reset();
    EXPECT_EQ(plain_.GetPosition(), windowed_.GetPosition());
    EXPECT_EQ(plain_.GetLength(), windowed_.GetLength());
    plain_.Close();
    windowed_.Close();
    EXPECT_TRUE(readFile("plain.bin") == readFile("windowed.bin"));
  }

 private:
  static std::vector<std::string> takeLog(const Outcome& outcome) {
    if (outcome.thrown.kind == Thrown::kNothing) return {};
    std::vector<std::string> lines = logLines();
    clearLog();
    return lines;
  }

  // Now and then the window ends, begins, or gets another one inside.
  void changeWindow() {
    switch (random_() % 200) {
      case 0:
        inner_.reset();
        outer_.reset();
        break;
      case 1:
        inner_.reset();
        if (outer_) outer_->finish();
        outer_.reset();
        break;
      case 2:
        if (outer_ && !inner_) inner_.emplace(windowed_);
        break;
      default:
        if (!outer_ && random_() % 10 == 0) outer_.emplace(windowed_);
    }
  }

  Operation next() {
    static constexpr unsigned kWeights[Operation::kKinds] = {30, 30, 20, 20, 5, 12, 4, 2,
                                                             2,  2,  2,  4,  1, 4,  2, 2};
    unsigned pick = static_cast<unsigned>(random_()) % 142;
    unsigned kind = 0;
    while (pick >= kWeights[kind]) pick -= kWeights[kind++];
    return {static_cast<Operation::Kind>(kind), size(), static_cast<unsigned>(random_())};
  }

  unsigned int size() {
    const auto number = static_cast<unsigned int>(random_());
    switch (random_() % 100) {
      case 0:
        return number % (3 * kWindow);
      case 1:
        return kWindow - 2 + number % 4;
      case 2:
      case 3:
      case 4:
        return number % 100000;
      default:
        return number % 64;
    }
  }

  std::mt19937 random_;
  WindowedStream plain_;
  WindowedStream windowed_;
  std::optional<Scope> outer_;
  std::optional<Scope> inner_;
};

TEST_F(StreamWindowTest, AnySequenceGivesWhatSingleTransfersGive) {
  for (const unsigned seed : {1u, 20u, 300u}) {
    RandomSequence sequence(seed);
    EXPECT_EQ(sequence.firstDifference(seed == 1 ? 12000 : 4000), -1) << "seed " << seed;
    sequence.expectSameFiles();
  }
}

}  // namespace
