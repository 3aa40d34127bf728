// The typed stream: the bytes of every type, and which file it owns, closes and deletes.
#include "FileStream.h"

#include <gmock/gmock.h>

#include <cfloat>
#include <climits>
#include <limits>
#include <memory>
#include <type_traits>
#include <utility>

#include "StorageSupport.h"

namespace {

using kx_gen::_String;
using kx_gen::CBaseObject;
using kx_gen::CFile;
using kx_gen::CFileStream;
using kx_test::assertionLine;
using kx_test::Bytes;
using kx_test::bytesOf;
using kx_test::clearLog;
using kx_test::fromHex;
using kx_test::isReadFailure;
using kx_test::logLines;
using kx_test::readFile;
using kx_test::ShortReadingFile;
using kx_test::Thrown;
using kx_test::thrownBy;
using kx_test::toHex;
using kx_test::writeFile;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char kSource[] = "FileStream";
constexpr unsigned int kReadOnly = CFile::modeRead;
constexpr unsigned int kReadWrite = CFile::modeReadWrite;
constexpr unsigned int kNoHandle = 0xFFFFFFFF;

std::string asserted(int line) { return assertionLine(kSource, line); }

// A file in memory that counts what it is asked for and tells when it is deleted. It can report
// itself closed, as memory files always do.
class WatchedFile : public ShortReadingFile {
 public:
  explicit WatchedFile(const Bytes& contents = {}) : ShortReadingFile(contents) {}
  ~WatchedFile() override {
    if (deletions != nullptr) ++*deletions;
  }
  bool IsOpen() const override { return reportsOpen; }
  void Close() override {
    ++closings;
    reportsOpen = false;
  }
  void Flush() override { ++flushes; }
  unsigned int Write(const void* data, unsigned int count) override {
    transfers.push_back(count);
    return ShortReadingFile::Write(data, count);
  }
  unsigned int Read(void* buffer, unsigned int count) override {
    transfers.push_back(count);
    return ShortReadingFile::Read(buffer, count);
  }

  bool reportsOpen = true;
  int closings = 0;
  int flushes = 0;
  std::vector<unsigned int> transfers;
  int* deletions = nullptr;
};

class FileStreamTest : public kx_test::KxTest {
 protected:
  void SetUp() override {
    KxTest::SetUp();
    writeFile("ten.bin", bytesOf("0123456789"));
    writeFile("other.bin", bytesOf("abcdefghij"));
    clearLog();
  }

  // True when nobody has the file open, as an exclusive opening needs.
  static bool isFree(const wchar_t* name) {
    CFile file;
    return thrownBy([&] { file.Open(name, kReadWrite); }).kind == Thrown::kNothing;
  }
};

// --- Numbers ---

// Writes a value, looks at its bytes, and reads bytes as a value.
template <class T>
std::string written(T value) {
  WatchedFile file;
  CFileStream stream(&file);
  EXPECT_EQ(&(stream << value), &stream);
  EXPECT_THAT(file.transfers, ElementsAre(file.bytes.size())) << "one transfer a value";
  return toHex(file.bytes);
}

template <class T>
T read(const std::string& hex) {
  WatchedFile file(fromHex(hex + " EE EE EE EE"));
  CFileStream stream(&file);
  T value = T();
  EXPECT_EQ(&(stream >> value), &stream);
  EXPECT_THAT(file.transfers, ElementsAre(fromHex(hex).size())) << "one transfer a value";
  EXPECT_EQ(file.position, fromHex(hex).size());
  return value;
}

template <class T>
void expectImage(T value, const std::string& hex) {
  EXPECT_EQ(written(value), hex);
  EXPECT_EQ(read<T>(hex), value) << hex;
}

TEST_F(FileStreamTest, CharactersAndBytesTakeOneByte) {
  expectImage<char>('A', "41");
  expectImage<char>('\xFE', "FE");
  expectImage<char>('\0', "00");
  expectImage<unsigned char>(0xFF, "FF");
  expectImage<unsigned char>(0, "00");
}

TEST_F(FileStreamTest, TruthTakesOneByte) {
  expectImage<bool>(true, "01");
  expectImage<bool>(false, "00");
}

TEST_F(FileStreamTest, AStoredTruthByteIsReadUnchanged) {
  for (const unsigned char byte : {0, 1, 2, 0x80, 0xFF}) {
    ShortReadingFile file(Bytes{byte});
    CFileStream stream(&file);
    bool value = false;
    stream >> value;
    unsigned char image = 0;
    std::memcpy(&image, &value, 1);
    EXPECT_EQ(image, byte);
  }
}

TEST_F(FileStreamTest, ShortNumbersTakeTwoBytes) {
  expectImage<short>(-2, "FE FF");
  expectImage<short>(0x1234, "34 12");
  expectImage<short>(SHRT_MIN, "00 80");
  expectImage<short>(SHRT_MAX, "FF 7F");
  expectImage<unsigned short>(0xFFFE, "FE FF");
  expectImage<unsigned short>(0x8001, "01 80");
}

TEST_F(FileStreamTest, NumbersTakeFourBytes) {
  expectImage<int>(-2, "FE FF FF FF");
  expectImage<int>(0x12345678, "78 56 34 12");
  expectImage<int>(INT_MIN, "00 00 00 80");
  expectImage<int>(INT_MAX, "FF FF FF 7F");
  expectImage<unsigned int>(0xFFFFFFFE, "FE FF FF FF");
  expectImage<unsigned int>(0x80000001, "01 00 00 80");
}

TEST_F(FileStreamTest, LongNumbersTakeFourBytes) {
  expectImage<long>(-2, "FE FF FF FF");
  expectImage<long>(0x12345678, "78 56 34 12");
  expectImage<long>(-0x7FFFFFFFL - 1, "00 00 00 80");
  expectImage<long>(0x7FFFFFFF, "FF FF FF 7F");
  expectImage<unsigned long>(0xFFFFFFFEul, "FE FF FF FF");
  expectImage<unsigned long>(0x80000001ul, "01 00 00 80");
}

TEST_F(FileStreamTest, LongNumbersAreReducedTo32Bits) {
  constexpr auto kBeyond = static_cast<unsigned long>(0xABCDEF0112345678ull);
  EXPECT_EQ(written(kBeyond), "78 56 34 12");
  EXPECT_EQ(written(static_cast<long>(kBeyond)), "78 56 34 12");
  EXPECT_EQ(written(static_cast<unsigned long>(-1)), "FF FF FF FF");
  EXPECT_EQ(written(LONG_MIN), sizeof(long) == 4 ? "00 00 00 80" : "00 00 00 00");
  EXPECT_EQ(written(LONG_MAX), sizeof(long) == 4 ? "FF FF FF 7F" : "FF FF FF FF");
}

TEST_F(FileStreamTest, AReadLongKeepsItsSignAndAnUnsignedOneHasNone) {
  EXPECT_EQ(read<long>("FF FF FF FF"), -1L);
  EXPECT_EQ(read<long>("00 00 00 80"), -2147483647L - 1);
  EXPECT_EQ(read<unsigned long>("FF FF FF FF"), 0xFFFFFFFFul);
  EXPECT_EQ(read<unsigned long>("00 00 00 80"), 0x80000000ul);
}

TEST_F(FileStreamTest, FloatsAreIeeeSingles) {
  expectImage<float>(1.0f, "00 00 80 3F");
  expectImage<float>(-2.5f, "00 00 20 C0");
  expectImage<float>(FLT_MAX, "FF FF 7F 7F");
  expectImage<float>(FLT_MIN, "00 00 80 00");
  expectImage<float>(std::numeric_limits<float>::denorm_min(), "01 00 00 00");
  expectImage<float>(std::numeric_limits<float>::infinity(), "00 00 80 7F");
  EXPECT_EQ(written(-0.0f), "00 00 00 80");
}

TEST_F(FileStreamTest, DoublesAreIeeeDoubles) {
  expectImage<double>(1.0, "00 00 00 00 00 00 F0 3F");
  expectImage<double>(-2.5, "00 00 00 00 00 00 04 C0");
  expectImage<double>(DBL_MAX, "FF FF FF FF FF FF EF 7F");
  expectImage<double>(std::numeric_limits<double>::denorm_min(), "01 00 00 00 00 00 00 00");
  expectImage<double>(-std::numeric_limits<double>::infinity(), "00 00 00 00 00 00 F0 FF");
  expectImage<double>(0.1, "9A 99 99 99 99 99 B9 3F");
  EXPECT_EQ(written(-0.0), "00 00 00 00 00 00 00 80");
}

TEST_F(FileStreamTest, WhatIsNoNumberKeepsItsBits) {
  WatchedFile file(fromHex("45 23 C1 7F  EF CD AB 89 67 45 F9 FF"));
  CFileStream stream(&file);
  float single = 0;
  double twice = 0;
  stream >> single >> twice;
  EXPECT_EQ(written(single), "45 23 C1 7F");
  EXPECT_EQ(written(twice), "EF CD AB 89 67 45 F9 FF");
}

TEST_F(FileStreamTest, LongDoublesAreStoredAsDoubles) {
  expectImage<long double>(1.0L, "00 00 00 00 00 00 F0 3F");
  expectImage<long double>(-0.5L, "00 00 00 00 00 00 E0 BF");
  EXPECT_EQ(written(1.0L / 3), written(static_cast<double>(1.0L / 3)));
  EXPECT_EQ(read<long double>("9A 99 99 99 99 99 B9 3F"), static_cast<long double>(0.1));
}

TEST_F(FileStreamTest, PointersTakeFourBytes) {
  const auto pointer = [](unsigned long long bits) {
    return reinterpret_cast<void*>(static_cast<uintptr_t>(bits));
  };
  expectImage<void*>(nullptr, "00 00 00 00");
  expectImage<void*>(pointer(0x12345678), "78 56 34 12");
  expectImage<void*>(pointer(0xFFFFFFFE), "FE FF FF FF");
  EXPECT_EQ(written(pointer(0xABCDEF0112345678ull)), "78 56 34 12");
}

TEST_F(FileStreamTest, ValuesChainWithoutAnythingBetweenThem) {
  kx_test::DiskFile disk(path(L"chain.bin"));
  disk.stream() << 'a' << static_cast<short>(-2) << true << 7 << 8ul << 1.0;
  EXPECT_EQ(disk.hex(),
            toHex(fromHex("61 FE FF 01 07 00 00 00 08 00 00 00 00 00 00 00 00 00 F0 3F")));
  disk.stream().SeekToBegin();
  char letter = 0;
  short tiny = 0;
  bool truth = false;
  int number = 0;
  unsigned long big = 0;
  double real = 0;
  disk.stream() >> letter >> tiny >> truth >> number >> big >> real;
  EXPECT_EQ(letter, 'a');
  EXPECT_EQ(tiny, -2);
  EXPECT_TRUE(truth);
  EXPECT_EQ(number, 7);
  EXPECT_EQ(big, 8ul);
  EXPECT_EQ(real, 1.0);
}

TEST_F(FileStreamTest, ReadingPastTheEndThrowsMessage8AndMovesOn) {
  CFileStream stream;
  stream.Open(L"ten.bin", kReadOnly);
  stream.Seek(8, 0);
  int value = 0;
  EXPECT_TRUE(isReadFailure(thrownBy([&] { stream >> value; })));
  EXPECT_EQ(stream.GetPosition(), 10ul);
  char letter = 0;
  EXPECT_TRUE(isReadFailure(thrownBy([&] { stream >> letter; })));
}

TEST_F(FileStreamTest, AShortCountOfTheFileIsNoFailureHere) {
  ShortReadingFile file(fromHex("01 02"));
  CFileStream stream(&file);
  int value = 0;
  EXPECT_EQ(thrownBy([&] { stream >> value; }).kind, Thrown::kNothing);
  EXPECT_EQ(file.position, 2u);
}

TEST_F(FileStreamTest, WritingToAReadOnlyFileThrowsTheFilesException) {
  CFileStream stream;
  stream.Open(L"ten.bin", kReadOnly);
  const Thrown thrown = thrownBy([&] { stream << 1; });
  EXPECT_EQ(thrown.kind, Thrown::kFileException);
  EXPECT_EQ(thrown.cause, 5);
  EXPECT_EQ(thrown.osError, 5);
  EXPECT_EQ(thrown.fileName, L"ten.bin");
}

// --- What does not compile ---

template <class Value, class = void>
struct IsWritable : std::false_type {};
template <class Value>
struct IsWritable<Value,
                  std::void_t<decltype(std::declval<CFileStream&>() << std::declval<Value>())>>
    : std::true_type {};

static_assert(!IsWritable<const wchar_t*>::value);
static_assert(!IsWritable<wchar_t*>::value);
static_assert(!IsWritable<const char*>::value);
static_assert(!IsWritable<char*>::value);
static_assert(!IsWritable<const wchar_t (&)[5]>::value, "L\"text\"");
static_assert(!IsWritable<wchar_t (&)[5]>::value);
static_assert(!IsWritable<const char (&)[5]>::value, "\"text\"");
static_assert(!IsWritable<char (&)[5]>::value);
static_assert(IsWritable<_String&>::value);
static_assert(IsWritable<const _String&>::value);
static_assert(IsWritable<int>::value);
static_assert(IsWritable<void*>::value);

// --- Strings ---

std::string writtenText(const std::wstring& text, size_t writes) {
  WatchedFile file;
  CFileStream stream(&file);
  _String string;
  string = text;
  EXPECT_EQ(&(stream << string), &stream);
  EXPECT_THAT(file.transfers, SizeIs(writes));
  std::string hex = toHex(file.bytes);
  const _String& constant = string;
  file.bytes.clear();
  file.position = 0;
  stream << constant;
  EXPECT_EQ(toHex(file.bytes), hex);
  return hex;
}

TEST_F(FileStreamTest, AStringIsMarkerLengthAndUnits) {
  EXPECT_EQ(writtenText(L"Ab", 3), "FE FF 00 00 02 00 00 00 41 00 62 00");
  EXPECT_EQ(writtenText(L"\u20AC", 3), "FE FF 00 00 01 00 00 00 AC 20");
}

TEST_F(FileStreamTest, AnEmptyStringIsMarkerAndLength) {
  EXPECT_EQ(writtenText(L"", 2), "FE FF 00 00 00 00 00 00");
}

TEST_F(FileStreamTest, CharactersAbove0xFFFFAreSurrogatePairs) {
  EXPECT_EQ(writtenText(L"\U0001F600", 3), "FE FF 00 00 02 00 00 00 3D D8 00 DE");
  EXPECT_EQ(writtenText(L"\U0010FFFF", 3), "FE FF 00 00 02 00 00 00 FF DB FF DF");
}

TEST_F(FileStreamTest, LoneSurrogatesAndNullsAreUnitsLikeOthers) {
  const std::wstring text = {L'a', L'\0', static_cast<wchar_t>(0xD83D), L'b'};
  EXPECT_EQ(writtenText(text, 3),
            toHex(fromHex("FE FF 00 00 04 00 00 00 61 00 00 00 3D D8 62 00")));
}

TEST_F(FileStreamTest, ALongStringIsWrittenWhole) {
  const std::wstring text(100000, L'x');
  WatchedFile file;
  CFileStream stream(&file);
  stream << _String(text.c_str());
  EXPECT_THAT(file.transfers, ElementsAre(4, 4, 200000));
  EXPECT_EQ(kx_test::slice(file.bytes, 4, 6), fromHex("A0 86 01 00 78 00"));
}

TEST_F(FileStreamTest, ReadingAStringIsAssertedAndDoesNothing) {
  WatchedFile file(fromHex("FE FF 00 00 01 00 00 00 41 00"));
  CFileStream stream(&file);
  _String text(L"before");
  EXPECT_EQ(&(stream >> text), &stream);
  EXPECT_EQ(std::wstring(text), L"before");
  EXPECT_EQ(file.position, 0u);
  EXPECT_THAT(file.transfers, IsEmpty());
  EXPECT_THAT(logLines(), ElementsAre(assertionLine(".\\FileStream", 624)));
}

// --- Objects ---

class Point : public CBaseObject {
 public:
  void Read(CFileStream& stream) override { stream >> x >> y; }
  void Write(CFileStream& stream) override { stream << x << y; }
  short x = 0;
  short y = 0;
};

TEST_F(FileStreamTest, ObjectsReadAndWriteThemselves) {
  ShortReadingFile file;
  CFileStream stream(&file);
  Point point;
  point.x = 1;
  point.y = -1;
  EXPECT_EQ(&(stream << point), &stream);
  EXPECT_EQ(toHex(file.bytes), "01 00 FF FF");
  stream.SeekToBegin();
  Point copy;
  EXPECT_EQ(&(stream >> copy), &stream);
  EXPECT_EQ(copy.x, 1);
  EXPECT_EQ(copy.y, -1);
}

static_assert(std::is_abstract_v<CBaseObject> && std::has_virtual_destructor_v<CBaseObject>);

TEST_F(FileStreamTest, VirtualMembersKeepTheirSlots) {
  using kx_test::virtualSlot;
  EXPECT_EQ(virtualSlot(&CFileStream::Open), 2);
  EXPECT_EQ(virtualSlot(&CFileStream::Close), 3);
  EXPECT_EQ(virtualSlot(&CFileStream::Attach), -1);
  EXPECT_EQ(virtualSlot(&CFileStream::IsOpen), -1);
  EXPECT_EQ(virtualSlot(&CFileStream::Read), -1);
  EXPECT_EQ(virtualSlot(&CFileStream::Flush), -1);
  EXPECT_EQ(virtualSlot(&CBaseObject::Read), 2);
  EXPECT_EQ(virtualSlot(&CBaseObject::Write), 3);
}

// --- The stream's own file ---

TEST_F(FileStreamTest, ANewStreamHasNoFile) {
  CFileStream stream;
  EXPECT_EQ(stream.GetFile(), nullptr);
  EXPECT_FALSE(stream.IsOpen());
  stream.Close();
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FileStreamTest, OpenMakesAFileOfItsOwn) {
  CFileStream stream;
  EXPECT_EQ(stream.Open(L"ten.bin", kReadWrite), 1);
  EXPECT_TRUE(stream.IsOpen());
  ASSERT_NE(stream.GetFile(), nullptr);
  EXPECT_EQ(stream.GetFile()->GetFilePath(), L"ten.bin");
  EXPECT_EQ(stream.GetFileHandle(), stream.GetFile()->GetFileHandle());
  EXPECT_NE(stream.GetFileHandle(), kNoHandle);
  EXPECT_FALSE(isFree(L"ten.bin"));
}

TEST_F(FileStreamTest, CloseClosesAndDeletesItsOwnFile) {
  CFileStream stream;
  stream.Open(L"ten.bin", kReadWrite);
  stream.Close();
  EXPECT_FALSE(stream.IsOpen());
  EXPECT_EQ(stream.GetFile(), nullptr);
  EXPECT_TRUE(isFree(L"ten.bin"));
  stream.Close();
  EXPECT_EQ(stream.Open(L"ten.bin", kReadWrite), 1) << "it opens again";
}

TEST_F(FileStreamTest, TheDestructorClosesItsOwnFile) {
  {
    CFileStream stream;
    stream.Open(L"ten.bin", kReadWrite);
  }
  EXPECT_TRUE(isFree(L"ten.bin"));
}

TEST_F(FileStreamTest, OpenClosesAndReplacesTheOldFile) {
  CFileStream stream;
  stream.Open(L"ten.bin", kReadWrite);
  stream.Open(L"other.bin", kReadWrite);
  EXPECT_TRUE(isFree(L"ten.bin"));
  char letter = 0;
  stream >> letter;
  EXPECT_EQ(letter, 'a');
}

TEST_F(FileStreamTest, ARefusedOpenLeavesAClosedStream) {
  CFileStream stream;
  stream.Open(L"ten.bin", kReadWrite);
  const Thrown thrown = thrownBy([&] { stream.Open(L"missing.bin", kReadWrite); });
  EXPECT_EQ(thrown.kind, Thrown::kFileException);
  EXPECT_EQ(thrown.cause, 2);
  EXPECT_EQ(thrown.fileName, L"missing.bin");
  EXPECT_FALSE(stream.IsOpen());
  EXPECT_TRUE(isFree(L"ten.bin")) << "the old file is closed first";
  EXPECT_EQ(stream.Open(L"ten.bin", kReadWrite), 1);
}

// --- The caller's file ---

TEST_F(FileStreamTest, AnAttachedFileBelongsToTheCaller) {
  CFile file;
  file.Open(L"ten.bin", kReadWrite);
  {
    CFileStream stream(&file);
    EXPECT_EQ(stream.GetFile(), &file);
    EXPECT_TRUE(stream.IsOpen());
  }
  EXPECT_TRUE(file.IsOpen()) << "destroying the stream leaves it open";
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FileStreamTest, CloseClosesAnAttachedFileAndKeepsIt) {
  CFile file;
  file.Open(L"ten.bin", kReadWrite);
  CFileStream stream(&file);
  stream.Close();
  EXPECT_FALSE(file.IsOpen());
  EXPECT_EQ(stream.GetFile(), &file);
  EXPECT_FALSE(stream.IsOpen());
  file.Open(L"ten.bin", kReadWrite);
  EXPECT_TRUE(stream.IsOpen());
}

TEST_F(FileStreamTest, CloseLeavesAClosedFileAlone) {
  WatchedFile file;
  CFileStream stream(&file);
  stream.Close();
  stream.Close();
  EXPECT_EQ(file.closings, 1);
}

TEST_F(FileStreamTest, OpenClosesAnAttachedFileWithoutDeletingIt) {
  CFile file;
  file.Open(L"ten.bin", kReadWrite);
  CFileStream stream(&file);
  stream.Open(L"other.bin", kReadWrite);
  EXPECT_FALSE(file.IsOpen());
  EXPECT_NE(stream.GetFile(), &file);
  stream.Close();
  EXPECT_EQ(file.Open(L"ten.bin", kReadWrite), 1);
}

TEST_F(FileStreamTest, AttachForgetsWhatWasAttachedBefore) {
  WatchedFile first;
  WatchedFile second;
  CFileStream stream(&first);
  stream.Attach(&second);
  EXPECT_EQ(stream.GetFile(), &second);
  EXPECT_EQ(first.closings, 0);
  EXPECT_TRUE(first.IsOpen());
}

TEST_F(FileStreamTest, AttachLeavesTheStreamsOwnFileOpenToWhoeverHasIt) {
  CFileStream stream;
  stream.Open(L"ten.bin", kReadWrite);
  const std::unique_ptr<CFile> own(stream.GetFile());
  WatchedFile second;
  stream.Attach(&second);
  EXPECT_TRUE(own->IsOpen());
  stream.Close();
  EXPECT_TRUE(own->IsOpen());
  EXPECT_EQ(second.closings, 1);
}

TEST_F(FileStreamTest, AttachingWhatIsAttachedKeepsIt) {
  WatchedFile file(bytesOf("abc"));
  CFileStream stream(&file);
  stream.Attach(&file);
  char letter = 0;
  stream >> letter;
  EXPECT_EQ(letter, 'a');
}

TEST_F(FileStreamTest, AttachingItsOwnFileGivesItToTheCaller) {
  CFileStream stream;
  stream.Open(L"ten.bin", kReadWrite);
  const std::unique_ptr<CFile> own(stream.GetFile());
  stream.Attach(own.get());
  char letter = 0;
  stream >> letter;
  EXPECT_EQ(letter, '0');
}

TEST_F(FileStreamTest, AttachLeavesAFileThatACopyOwnsToTheCopy) {
  CFileStream copy;
  {
    CFileStream stream;
    stream.Open(L"ten.bin", kReadWrite);
    copy = stream;
    WatchedFile second;
    stream.Attach(&second);
  }
  EXPECT_TRUE(copy.IsOpen());
  copy.Close();
  EXPECT_TRUE(isFree(L"ten.bin"));
}

TEST_F(FileStreamTest, AttachingNothingIsAsserted) {
  const CFileStream fromNothing(nullptr);
  EXPECT_THAT(logLines(), ElementsAre(asserted(33)));
  clearLog();
  WatchedFile file;
  CFileStream stream(&file);
  stream.Attach(nullptr);
  EXPECT_EQ(stream.GetFile(), nullptr);
  EXPECT_THAT(logLines(), ElementsAre(asserted(33)));
}

TEST_F(FileStreamTest, DetachGivesTheFileToTheCaller) {
  CFileStream stream;
  stream.Open(L"ten.bin", kReadWrite);
  const std::unique_ptr<CFile> file(stream.Detach());
  ASSERT_NE(file, nullptr);
  EXPECT_TRUE(file->IsOpen());
  EXPECT_EQ(stream.GetFile(), nullptr);
  EXPECT_FALSE(stream.IsOpen());
  stream.Close();
  EXPECT_TRUE(file->IsOpen());
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FileStreamTest, DetachWithoutAFileIsAsserted) {
  CFileStream stream;
  EXPECT_EQ(stream.Detach(), nullptr);
  EXPECT_THAT(logLines(), ElementsAre(asserted(40)));
}

TEST_F(FileStreamTest, ADetachedStreamTakesAnotherFile) {
  CFileStream stream;
  stream.Open(L"ten.bin", kReadWrite);
  const std::unique_ptr<CFile> file(stream.Detach());
  EXPECT_EQ(stream.Open(L"other.bin", kReadWrite), 1);
  stream.Close();
  EXPECT_TRUE(isFree(L"other.bin"));
  EXPECT_TRUE(file->IsOpen());
}

TEST_F(FileStreamTest, TheHandleOfAnAttachedFileIsAsserted) {
  CFile file;
  file.Open(L"ten.bin", kReadWrite);
  CFileStream stream(&file);
  EXPECT_EQ(stream.GetFileHandle(), file.GetFileHandle());
  EXPECT_THAT(logLines(), ElementsAre(asserted(132)));
}

// --- Copies ---

TEST_F(FileStreamTest, CopiesShareAnAttachedFile) {
  WatchedFile file(bytesOf("abcd"));
  CFileStream stream(&file);
  {
    CFileStream copy(stream);
    CFileStream assigned;
    assigned = stream;
    EXPECT_EQ(copy.GetFile(), &file);
    EXPECT_EQ(assigned.GetFile(), &file);
    char letter = 0;
    copy >> letter;
    assigned >> letter;
    EXPECT_EQ(letter, 'b');
  }
  EXPECT_EQ(file.closings, 0);
}

TEST_F(FileStreamTest, TheLastCopyOfAStreamClosesItsOwnFile) {
  auto stream = std::make_unique<CFileStream>();
  stream->Open(L"ten.bin", kReadWrite);
  auto copy = std::make_unique<CFileStream>(*stream);
  CFileStream assigned;
  assigned = *copy;
  EXPECT_EQ(copy->GetFile(), stream->GetFile());
  EXPECT_EQ(assigned.GetFileHandle(), stream->GetFileHandle());
  stream.reset();
  copy.reset();
  char letter = 0;
  assigned >> letter;
  EXPECT_EQ(letter, '0');
  EXPECT_FALSE(isFree(L"ten.bin"));
  assigned.Close();
  EXPECT_TRUE(isFree(L"ten.bin"));
}

TEST_F(FileStreamTest, ClosingACopyClosesTheSharedFile) {
  CFileStream stream;
  stream.Open(L"ten.bin", kReadWrite);
  CFileStream copy(stream);
  copy.Close();
  EXPECT_EQ(copy.GetFile(), nullptr);
  EXPECT_FALSE(stream.IsOpen());
  EXPECT_TRUE(isFree(L"ten.bin"));
  stream.Close();
  EXPECT_EQ(stream.GetFile(), nullptr);
}

TEST_F(FileStreamTest, AssigningOverTheStreamsOwnFileClosesIt) {
  CFileStream stream;
  stream.Open(L"ten.bin", kReadWrite);
  WatchedFile file;
  const CFileStream other(&file);
  stream = other;
  EXPECT_EQ(stream.GetFile(), &file);
  EXPECT_TRUE(isFree(L"ten.bin"));
}

TEST_F(FileStreamTest, AssigningItselfKeepsTheFile) {
  CFileStream stream;
  stream.Open(L"ten.bin", kReadWrite);
  const CFile* const file = stream.GetFile();
  const CFileStream& same = stream;
  stream = same;
  EXPECT_EQ(stream.GetFile(), file);
  EXPECT_TRUE(stream.IsOpen());
}

TEST_F(FileStreamTest, ADetachedFileIsNotDeletedByTheCopiesThatRemain) {
  CFileStream stream;
  stream.Open(L"ten.bin", kReadWrite);
  std::unique_ptr<CFile> file;
  {
    const CFileStream copy(stream);
    file.reset(stream.Detach());
  }
  EXPECT_TRUE(file->IsOpen());
}

TEST_F(FileStreamTest, ACopyThatOpensAnotherFileLeavesTheSharedOne) {
  CFileStream stream;
  stream.Open(L"ten.bin", kReadWrite);
  CFileStream copy(stream);
  copy.Open(L"other.bin", kReadWrite);
  EXPECT_NE(copy.GetFile(), stream.GetFile());
  EXPECT_EQ(copy.GetFile()->GetFilePath(), L"other.bin");
  EXPECT_FALSE(stream.IsOpen()) << "opening closes what was open";
}

// --- Forwarding ---

TEST_F(FileStreamTest, TransfersReturnWhatTheFileReturns) {
  ShortReadingFile file(bytesOf("abc"));
  CFileStream stream(&file);
  char buffer[10] = {};
  EXPECT_EQ(stream.Read(buffer, 10), 3u);
  EXPECT_EQ(stream.Write("xyz", 3), 3u);
  EXPECT_EQ(file.bytes, bytesOf("abcxyz"));
}

TEST_F(FileStreamTest, PositionsAndLengthsAreTheFiles) {
  CFileStream stream;
  stream.Open(L"ten.bin", kReadWrite);
  EXPECT_EQ(stream.GetPosition(), 0ul);
  EXPECT_EQ(stream.Seek(4, 0), 4ul);
  EXPECT_EQ(stream.Seek(2, 1), 6ul);
  EXPECT_EQ(stream.Seek(-1, 2), 9ul);
  EXPECT_EQ(stream.GetPosition(), 9ul);
  EXPECT_EQ(stream.GetLength(), 10ul);
  EXPECT_EQ(stream.GetPosition(), 9ul);
  stream.SeekToBegin();
  EXPECT_EQ(stream.GetPosition(), 0ul);
  EXPECT_EQ(stream.SeekToEnd(), 10ul);
  stream.SetLength(3);
  EXPECT_EQ(stream.GetLength(), 3ul);
  stream.Flush();
  EXPECT_THAT(logLines(), IsEmpty());
  stream.Close();
  EXPECT_EQ(readFile("ten.bin"), bytesOf("012"));
}

TEST_F(FileStreamTest, AFileThatReportsClosedIsAssertedAndServesAllTheSame) {
  WatchedFile file(bytesOf("abcdef"));
  file.reportsOpen = false;
  CFileStream stream(&file);
  char letter = 0;
  stream >> letter;
  EXPECT_EQ(stream.Seek(1, 1), 2ul);
  stream << 'X';
  EXPECT_THAT(logLines(), IsEmpty()) << "transfers and seeks ask only for a file";
  stream.SeekToBegin();
  EXPECT_EQ(stream.SeekToEnd(), 6ul);
  EXPECT_EQ(stream.GetPosition(), 6ul);
  stream.Flush();
  EXPECT_EQ(file.flushes, 1);
  stream.SetLength(4);
  EXPECT_EQ(stream.GetLength(), 4ul);
  EXPECT_EQ(file.bytes, bytesOf("abXd"));
  EXPECT_EQ(kx_test::assertionsOf("FileStream"), 6) << "one for each of the other six";
  stream.Close();
  EXPECT_EQ(file.closings, 0);
}

// --- Without a file ---

// Every operation of a stream without a file, and the line of its assertion (0: one of its own).
struct Operation {
  const char* name;
  int line;
  void (*run)(CFileStream& stream);
};

constexpr Operation kReads[] = {
    {"Read", 59,
     [](CFileStream& stream) {
       char buffer[4];
       stream.Read(buffer, 4);
     }},
    {"ReadNothing", 59, [](CFileStream& stream) { stream.Read(nullptr, 0); }},
    {">>", 59,
     [](CFileStream& stream) {
       int value = 0;
       stream >> value;
     }},
};
constexpr Operation kWrites[] = {
    {"Write", 53, [](CFileStream& stream) { stream.Write("abcd", 4); }},
    {"WriteNothing", 53, [](CFileStream& stream) { stream.Write(nullptr, 0); }},
    {"<<", 53, [](CFileStream& stream) { stream << 1; }},
    {"<< text", 53, [](CFileStream& stream) { stream << _String(L"a"); }},
};
constexpr Operation kMoves[] = {
    {"Seek", 90, [](CFileStream& stream) { stream.Seek(0, 0); }},
    {"SeekToBegin", 0, [](CFileStream& stream) { stream.SeekToBegin(); }},
    {"SeekToEnd", 0, [](CFileStream& stream) { stream.SeekToEnd(); }},
    {"GetPosition", 0, [](CFileStream& stream) { stream.GetPosition(); }},
    {"SetLength", 0, [](CFileStream& stream) { stream.SetLength(5); }},
    {"GetLength", 126, [](CFileStream& stream) { stream.GetLength(); }},
};

// Runs an operation without a file; the log must hold its assertion and, behind it, its throw.
Thrown withoutFile(const Operation& operation) {
  clearLog();
  CFileStream stream;
  Thrown thrown = thrownBy([&] { operation.run(stream); });
  const std::vector<std::string> lines = logLines();
  EXPECT_GE(lines.size(), 2u) << operation.name;
  if (lines.size() < 2) return thrown;
  if (operation.line != 0) {
    EXPECT_EQ(lines[0], asserted(operation.line)) << operation.name;
  }
  EXPECT_EQ(lines[0].rfind("Assertion Failed! File FileStream Line ", 0), 0u) << operation.name;
  EXPECT_EQ(lines[1].rfind("Throw an exception FILE - ", 0), 0u) << operation.name;
  EXPECT_EQ(kx_test::assertionsOf(""), 1) << operation.name;
  return thrown;
}

TEST_F(FileStreamTest, WithoutAFileReadingThrowsMessage8) {
  for (const Operation& operation : kReads) {
    EXPECT_TRUE(isReadFailure(withoutFile(operation))) << operation.name;
  }
}

TEST_F(FileStreamTest, WithoutAFileWritingThrowsTheExceptionOfError6) {
  for (const Operation& operation : kWrites) {
    const Thrown thrown = withoutFile(operation);
    EXPECT_EQ(thrown.kind, Thrown::kFileException) << operation.name;
    EXPECT_EQ(thrown.osError, 6) << operation.name;
    EXPECT_EQ(thrown.cause, 2) << operation.name;
    EXPECT_EQ(thrown.description, L"fileNotFound") << operation.name;
    EXPECT_EQ(logLines().back(), "ERROR_INVALID_HANDLE") << operation.name;
  }
}

TEST_F(FileStreamTest, WithoutAFileMovingThrowsMessage10) {
  for (const Operation& operation : kMoves) {
    EXPECT_TRUE(withoutFile(operation).is(Thrown::kException, kx_gen::kMsgFileIo, 9))
        << operation.name;
  }
}

TEST_F(FileStreamTest, WithoutAFileFlushingDoesNothing) {
  CFileStream stream;
  EXPECT_EQ(thrownBy([&] { stream.Flush(); }).kind, Thrown::kNothing);
  EXPECT_THAT(logLines(), ElementsAre(asserted(114)));
}

TEST_F(FileStreamTest, WithoutAFileThereIsNoHandle) {
  CFileStream stream;
  EXPECT_EQ(stream.GetFileHandle(), kNoHandle);
  EXPECT_THAT(logLines(), ElementsAre(asserted(132)));
}

TEST_F(FileStreamTest, WithoutAFileReadingAStringIsOnlyAsserted) {
  CFileStream stream;
  _String text(L"before");
  stream >> text;
  EXPECT_EQ(std::wstring(text), L"before");
  EXPECT_THAT(logLines(), ElementsAre(assertionLine(".\\FileStream", 624)));
}

TEST_F(FileStreamTest, EveryCheckHasALineOfItsOwn) {
  CFileStream stream;
  for (const Operation& operation : kMoves) thrownBy([&] { operation.run(stream); });
  thrownBy([&] { stream.Flush(); });
  std::vector<std::string> lines;
  for (const std::string& line : logLines()) {
    if (line.rfind("Assertion", 0) == 0) lines.push_back(line);
  }
  std::sort(lines.begin(), lines.end());
  EXPECT_THAT(lines, SizeIs(std::size(kMoves) + 1));
  EXPECT_EQ(std::adjacent_find(lines.begin(), lines.end()), lines.end());
  for (const int used : {33, 40, 53, 59, 73, 132}) {
    EXPECT_EQ(std::count(lines.begin(), lines.end(), asserted(used)), 0) << used;
  }
}

}  // namespace
