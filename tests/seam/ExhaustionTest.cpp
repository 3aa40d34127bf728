// What the foundation does when memory runs out: strings keep their contents, reports are dropped,
// and null pointers are thrown in place of exceptions.
#include <gmock/gmock.h>

#include <functional>
#include <new>

#include "Exception.h"
#include "FailingNew.h"
#include "FileStream.h"
#include "KxTest.h"
#include "LimitedMalloc.h"

namespace {

using kx_gen::_String;
using kx_gen::CException;
using kx_gen::CFile;
using kx_gen::CFileException;
using kx_gen::CFileStream;
using kx_seam::AllocationLimit;
using kx_seam::kMostAllocations;
using kx_test::assertionLine;
using kx_test::clearLog;
using kx_test::logLines;
using kx_test::Thrown;
using kx_test::thrownBy;
using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;

class ExhaustionTest : public kx_test::KxTest {
 protected:
  void SetUp() override {
    KxTest::SetUp();
    kx_test::writeFile("ten.bin", kx_test::fromHex("30 31 32 33 34 35 36 37 38 39"));
  }
};

bool succeedsWith(long allowed, const std::function<void()>& call) {
  try {
    const AllocationLimit limit(allowed);
    call();
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

// Lets the first allocation fail, then the second, and so on until the call on the string gives
// what it should; every failure must leave the string as it was.
void expectAllOrNothing(const std::function<void(_String&)>& call, const std::wstring& expected) {
  const std::wstring before = L"a text of more characters than a string keeps in itself\n";
  for (long allowed = 0; allowed < kMostAllocations; ++allowed) {
    _String text(before.c_str());
    if (succeedsWith(allowed, [&] { call(text); })) {
      EXPECT_EQ(std::wstring(text), expected);
      return;
    }
    EXPECT_EQ(std::wstring(text), before) << allowed;
  }
  ADD_FAILURE() << "never succeeded";
}

TEST_F(ExhaustionTest, AStringKeepsItsContentsWhenItCannotChange) {
  const std::string narrow(1000, 'n');
  const std::wstring wide(1000, L'w');
  expectAllOrNothing(
      [&](_String& text) { text.FormatString(L"%s%S", wide.c_str(), narrow.c_str()); },
      wide + std::wstring(1000, L'n'));
  expectAllOrNothing([&](_String& text) { text.AssignAscii(narrow.c_str(), 0xFFFFFFFF); },
                     std::wstring(1000, L'n'));
  expectAllOrNothing([&](_String& text) { text = wide.c_str(); }, wide);
  expectAllOrNothing([](_String& text) { text.LoadStringW(13); }, kx_test::messageText(13));
  expectAllOrNothing([](_String& text) { text.palmToPlatform(); },
                     L"a text of more characters than a string keeps in itself\r\n");
  expectAllOrNothing([](_String& text) { text.platformToPalm(); },
                     L"a text of more characters than a string keeps in itself\n");
}

TEST_F(ExhaustionTest, ATraceIsWrittenOrDroppedAndNeverThrows) {
  const std::wstring text(30000, L'x');
  for (long allowed = 0; allowed < kMostAllocations; ++allowed) {
    clearLog();
    EXPECT_TRUE(succeedsWith(allowed, [] { KX_Trace(L"%s %S", L"wide", "narrow"); })) << allowed;
    EXPECT_THAT(logLines(), AnyOf(IsEmpty(), ElementsAre("wide narrow")));
    EXPECT_TRUE(succeedsWith(allowed, [&] { KX_Trace(L"%s", text.c_str()); })) << allowed;
    EXPECT_TRUE(succeedsWith(allowed, [] { EXPECT_EQ(kx_AssertFailedLine("Source", 1), 0); }));
  }
  EXPECT_EQ(logLines().back(), assertionLine("Source", 1));
}

TEST_F(ExhaustionTest, WithoutMemoryAnExceptionGoesWithoutItsText) {
  for (long allowed = 0; allowed < kMostAllocations; ++allowed) {
    EXPECT_TRUE(succeedsWith(allowed, [] {
      const CException e(13ul, 12);
      EXPECT_EQ(e.GetErrNumber(), 12ul);
      EXPECT_NE(e.GetDescription(), nullptr);
    })) << allowed;
    EXPECT_TRUE(succeedsWith(allowed, [] {
      const CFileException e(1, 0x20000123, L"a.kxo");
      EXPECT_EQ(e.GetOsError(), 0x20000123);
      EXPECT_NE(e.GetDescription(), nullptr);
    })) << allowed;
  }
}

TEST_F(ExhaustionTest, ATextThatCannotBeCopiedIsNone) {
  const kx_seam::LargestRequest nothing(0);
  const CException plain(L"text", 5);
  EXPECT_STREQ(plain.GetDescription(), L"Unknown exception");
  EXPECT_EQ(plain.GetErrNumber(), 5ul);
  const CFileException file(2, 3, L"a.kxo");
  EXPECT_EQ(file.GetFileName(), nullptr);
  EXPECT_EQ(file.GetCause(), 2);
  EXPECT_EQ(file.GetOsError(), 3);
}

TEST_F(ExhaustionTest, ANullPointerIsThrownInPlaceOfAnException) {
  for (const int cause : {1, 2, 17}) {
    EXPECT_EQ(thrownBy([&] {
                const AllocationLimit none(0);
                kx_gen::_ThrowFileException(cause, 2, L"a.kxo");
              }).kind,
              Thrown::kNull);
  }
}

TEST_F(ExhaustionTest, AFileThatCannotReadThrowsNull) {
  CFile file;
  file.Open(L"ten.bin", CFile::modeRead);
  char buffer[100];
  EXPECT_EQ(thrownBy([&] {
              const AllocationLimit none(0);
              file.Read(buffer, sizeof(buffer));
            }).kind,
            Thrown::kNull);
  EXPECT_EQ(file.GetPosition(), 10ul);
}

TEST_F(ExhaustionTest, AStreamWithoutAFileThrowsNull) {
  CFileStream stream;
  const std::function<void()> calls[] = {[&] { stream << 1; }, [&] { stream.Seek(0, 0); },
                                         [&] { stream.Read(nullptr, 0); }};
  for (const auto& call : calls) {
    EXPECT_EQ(thrownBy([&] {
                const AllocationLimit none(0);
                call();
              }).kind,
              Thrown::kNull);
  }
}

TEST_F(ExhaustionTest, AStreamThatCannotMakeItsFileAssertsAndStaysClosed) {
  for (const long allowed : {0L, 1L}) {
    clearLog();
    CFileStream stream;
    int opened = 1;
    {
      const AllocationLimit once(allowed, 1);
      opened = stream.Open(L"ten.bin", CFile::modeRead);
    }
    EXPECT_EQ(opened, 0);
    EXPECT_THAT(logLines(), ElementsAre(assertionLine("FileStream", 73)));
    EXPECT_FALSE(stream.IsOpen());
    EXPECT_EQ(stream.GetFile(), nullptr);
    EXPECT_EQ(stream.Open(L"ten.bin", CFile::modeRead), 1);
  }
}

class WindowedStream : public CFileStream {
 public:
  using CFileStream::WindowScope;
};

TEST_F(ExhaustionTest, AStreamDoesWithoutAWindowThatItCannotMake) {
  for (const long allowed : {0L, 1L, 2L}) {
    WindowedStream stream;
    stream.Open(L"ten.bin", CFile::modeReadWrite | CFile::shareDenyNone);
    stream.Seek(2, 0);
    {
      const AllocationLimit limit(allowed);
      const WindowedStream::WindowScope scope(stream);
      char letter = 0;
      stream >> letter;
      EXPECT_EQ(letter, '2');
    }
    EXPECT_EQ(stream.GetPosition(), 3ul);
  }
}

}  // namespace
