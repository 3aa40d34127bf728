// The trace log, the assertions that report into it and the check of addresses.
#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <thread>

#include "KxTest.h"

namespace {

using kx_test::assertionLine;
using kx_test::Bytes;
using kx_test::clearLog;
using kx_test::logLines;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace fs = std::filesystem;

constexpr char kLog[] = "FileIO.txt";

constexpr char kTooLong[] = "Assertion Failed! File .\\kx_assert Line 26 quiting application";

// The log's lines with every run of more than 99 x or ? told by its length.
std::vector<std::string> shortLines() {
  std::vector<std::string> lines = logLines();
  for (std::string& line : lines) {
    for (const char c : {'x', '?'}) {
      const size_t start = line.find(std::string(100, c));
      if (start == std::string::npos) continue;
      const size_t end = std::min(line.find_first_not_of(c, start), line.size());
      line.replace(start, end - start, std::to_string(end - start) + " times " + c);
    }
  }
  return lines;
}

class TraceTest : public kx_test::KxTest {};

// --- KX_Trace ---

TEST_F(TraceTest, EveryTraceIsOneLine) {
  KX_Trace(L"first");
  KX_Trace(L"second %d of %s", 2, L"three");
  EXPECT_THAT(logLines(), ElementsAre("first", "second 2 of three"));
}

TEST_F(TraceTest, ALineHasNothingButItsTextAndAnEnd) {
  KX_Trace(L"plain");
  KX_Trace(L"");
  std::ifstream in(kLog);  // as text: the runtime's line ends
  std::string all((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  EXPECT_EQ(all, "plain\n\n");
}

TEST_F(TraceTest, WideAndNarrowArgumentsStandSideBySide) {
  KX_Trace(L"%s|%ls|%S|%hs|%d", L"wide", L"long", "narrow", "short", -7);
  EXPECT_THAT(logLines(), ElementsAre("wide|long|narrow|short|-7"));
}

TEST_F(TraceTest, NullTextsPrintAsNull) {
  const wchar_t* const wide = nullptr;
  const char* const narrow = nullptr;
  KX_Trace(L"%s %ls %S %hs.", wide, wide, narrow, narrow);
  EXPECT_THAT(logLines(), ElementsAre("(null) (null) (null) (null)."));
}

TEST_F(TraceTest, ANumberOfAllOnesShowsAsMinusOne) {
  KX_Trace(L"%d", kx_gen::CException().GetErrNumber());
  EXPECT_THAT(logLines(), ElementsAre("-1"));
}

TEST_F(TraceTest, PercentSignsOfTheTextAreNoDirectives) {
  KX_Trace(L"%s", L"100%d%s%n");
  KX_Trace(L"50%%");
  EXPECT_THAT(logLines(), ElementsAre("100%d%s%n", "50%"));
}

TEST_F(TraceTest, ANullFormatIsAnEmptyLine) {
  const wchar_t* const none = nullptr;
  KX_Trace(none);
  EXPECT_THAT(logLines(), ElementsAre(""));
}

TEST_F(TraceTest, CharactersWithoutAByteAreQuestionMarks) {
  KX_Trace(L"a\u00E9\u20AC\u0080\u4E2D\u0153z%s", L"\U0001F600");
  EXPECT_THAT(logLines(), ElementsAre("a\xE9\x80??\x9Cz??"));
}

// --- Long lines ---

TEST_F(TraceTest, TheLongestLineIsWrittenWhole) {
  KX_Trace(L"%s", std::wstring(20480, L'x').c_str());
  EXPECT_THAT(shortLines(), ElementsAre("20480 times x"));
}

TEST_F(TraceTest, ALongerLineIsAssertedAndCut) {
  KX_Trace(L"%s", (std::wstring(20480, L'x') + L'y').c_str());
  EXPECT_THAT(shortLines(), ElementsAre(kTooLong, "20480 times x"));
}

TEST_F(TraceTest, AMuchLongerLineIsCutToo) {
  KX_Trace(L"<%s>", std::wstring(1000000, L'x').c_str());
  EXPECT_THAT(shortLines(), ElementsAre(kTooLong, "<20479 times x"));
}

TEST_F(TraceTest, TheLimitCountsUtf16Units) {
  std::wstring pairs;
  for (int i = 0; i < 10240; ++i) pairs += L"\U0001F600";
  KX_Trace(L"%s", pairs.c_str());
  KX_Trace(L"x%s", pairs.c_str());
  EXPECT_THAT(shortLines(), ElementsAre("20480 times ?", kTooLong, "x20479 times ?"));
}

TEST_F(TraceTest, ACutMayHalveASurrogatePair) {
  KX_Trace(L"%s", (std::wstring(20479, L'x') + L"\U0001F600").c_str());
  EXPECT_THAT(shortLines(), ElementsAre(kTooLong, "20479 times x?"));
}

// --- The log writer ---

TEST_F(TraceTest, WriteLogLineTakesThePrintfForm) {
  WriteLogLine("Opening db of %s", "a.kxo");
  WriteLogLine("%d %5.2f %x %%", -3, 1.5, 255u);
  WriteLogLine("plain");
  EXPECT_THAT(logLines(), ElementsAre("Opening db of a.kxo", "-3  1.50 ff %", "plain"));
}

TEST_F(TraceTest, WriteLogLineHasNoLimit) {
  const std::string text(100000, 'x');
  WriteLogLine("%s", text.c_str());
  EXPECT_THAT(logLines(), ElementsAre(text));
}

TEST_F(TraceTest, TheLogLiesInTheCurrentFolder) {
  KX_Trace(L"here");
  fs::create_directory("sub");
  fs::current_path("sub");
  KX_Trace(L"there");
  EXPECT_THAT(logLines(), ElementsAre("there"));
  fs::current_path("..");
  EXPECT_THAT(logLines(), ElementsAre("here"));
}

TEST_F(TraceTest, NothingStaysOpenBetweenLines) {
  KX_Trace(L"first");
  fs::rename(kLog, "moved.txt");
  KX_Trace(L"second");
  EXPECT_THAT(logLines(), ElementsAre("second"));
}

TEST_F(TraceTest, ALogThatCannotBeOpenedDropsItsLines) {
  fs::create_directory(kLog);
  KX_Trace(L"lost");
  WriteLogLine("lost");
  EXPECT_EQ(kx_AssertFailedLine("Lost", 1), 0);
  EXPECT_TRUE(fs::is_empty(kLog));
  fs::remove(kLog);
  KX_Trace(L"kept");
  EXPECT_THAT(logLines(), ElementsAre("kept"));
}

TEST_F(TraceTest, ReportingKeepsErrno) {
  for (const bool logWorks : {true, false}) {
    if (!logWorks) {
      clearLog();
      fs::create_directory(kLog);
    }
    errno = EDOM;
    KX_Trace(L"line %d", 1);
    EXPECT_EQ(errno, EDOM);
    WriteLogLine("line");
    EXPECT_EQ(errno, EDOM);
    kx_AssertFailedLine("Source", 3);
    EXPECT_EQ(errno, EDOM);
  }
}

TEST_F(TraceTest, LinesOfSeveralThreadsStayWhole) {
  constexpr int kThreads = 4;
  constexpr int kLines = 100;
  KX_Trace(L"start");
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < kLines; ++i) KX_Trace(L"thread %d line %d %s", t, i, L"end");
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::vector<std::string> expected = {"start"};
  for (int t = 0; t < kThreads; ++t) {
    for (int i = 0; i < kLines; ++i) {
      expected.push_back("thread " + std::to_string(t) + " line " + std::to_string(i) + " end");
    }
  }
  std::vector<std::string> lines = logLines();
  ASSERT_THAT(lines, SizeIs(expected.size()));
  EXPECT_EQ(lines.front(), "start");
  std::sort(lines.begin(), lines.end());
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(lines, expected);
}

// --- The first line of a process ---

// Suites of this name run ahead of all others, so that the processes in which they look at the
// log's first line come from one that has written none.
class LogStartDeathTest : public kx_test::KxTest {
 protected:
  // Ends the process: with 0 when the log holds `expected`.
  [[noreturn]] void leaveWith(const std::vector<std::string>& expected) {
    const bool found = logLines() == expected;
    for (const std::string& line : shortLines()) std::cerr << line << '\n';
    TearDown();
    std::_Exit(found ? 0 : 1);
  }
  static void makeOldLog() {
    std::ofstream(kLog) << "left by an earlier process\nand another line\n";
  }
};

TEST_F(LogStartDeathTest, TheFirstTraceTruncatesAnOldLogAndTheSecondAppends) {
  EXPECT_EXIT(
      {
        makeOldLog();
        KX_Trace(L"first");
        KX_Trace(L"second");
        leaveWith({"first", "second"});
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(LogStartDeathTest, AFirstLineOfTheLogWriterTruncatesToo) {
  EXPECT_EXIT(
      {
        makeOldLog();
        WriteLogLine("first");
        kx_AssertFailedLine("Source", 7);
        leaveWith({"first", assertionLine("Source", 7)});
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(LogStartDeathTest, AFirstLineThatIsCutFollowsItsAssertion) {
  EXPECT_EXIT(
      {
        makeOldLog();
        KX_Trace(L"%s", std::wstring(20481, L'x').c_str());
        leaveWith({kTooLong, std::string(20480, 'x')});
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(LogStartDeathTest, LaterLinesAppendToAnyLog) {
  EXPECT_EXIT(
      {
        KX_Trace(L"first");
        makeOldLog();
        KX_Trace(L"second");
        leaveWith({"left by an earlier process", "and another line", "second"});
      },
      testing::ExitedWithCode(0), "");
}

// --- Assertions ---

TEST_F(TraceTest, AFailedAssertionLogsItsPlaceAndAnswersZero) {
  EXPECT_EQ(kx_AssertFailedLine(".\\File", 349), 0);
  EXPECT_THAT(logLines(),
              ElementsAre("Assertion Failed! File .\\File Line 349 quiting application"));
}

TEST_F(TraceTest, AssertionsLogTheirNameAsItIs) {
  kx_AssertFailedLine("100%s", -1);
  kx_AssertFailedLine("", 0);
  EXPECT_THAT(logLines(), ElementsAre("Assertion Failed! File 100%s Line -1 quiting application",
                                      "Assertion Failed! File  Line 0 quiting application"));
}

TEST_F(TraceTest, ACheckReportsOnlyAFalseCondition) {
  EXPECT_TRUE(kx_Check(true, "Source", 1));
  EXPECT_THAT(logLines(), IsEmpty());
  EXPECT_FALSE(kx_Check(false, "Source", 2));
  EXPECT_THAT(logLines(), ElementsAre(assertionLine("Source", 2)));
}

// --- Addresses ---

const char kConstants[8192] = {1};  // lies in memory that cannot be written

TEST_F(TraceTest, NullIsNoValidAddress) {
  EXPECT_EQ(kx_PWIsValidAddress(nullptr, 0, 0), 0);
  EXPECT_EQ(kx_PWIsValidAddress(nullptr, 4, 0), 0);
  EXPECT_EQ(kx_PWIsValidAddress(nullptr, 4, 1), 0);
}

TEST_F(TraceTest, OwnMemoryIsValidForReadingAndWriting) {
  Bytes heap(100000, 7);
  int local = 5;
  for (const int forWriting : {0, 1, -1}) {
    EXPECT_NE(kx_PWIsValidAddress(heap.data(), 100000, forWriting), 0);
    EXPECT_NE(kx_PWIsValidAddress(&local, sizeof(local), forWriting), 0);
  }
  EXPECT_EQ(heap, Bytes(100000, 7)) << "the contents stay";
  EXPECT_EQ(local, 5);
}

TEST_F(TraceTest, ConstantsAreValidForReadingOnly) {
  EXPECT_NE(kx_PWIsValidAddress(kConstants, sizeof(kConstants), 0), 0);
  EXPECT_EQ(kx_PWIsValidAddress(kConstants, sizeof(kConstants), 1), 0);
}

TEST_F(TraceTest, UnmappedMemoryIsNotValid) {
  const auto at = [](uintptr_t address) { return reinterpret_cast<const void*>(address); };
  EXPECT_EQ(kx_PWIsValidAddress(at(16), 4, 0), 0);
  EXPECT_EQ(kx_PWIsValidAddress(at(16), 4, 1), 0);
  EXPECT_EQ(kx_PWIsValidAddress(at(UINTPTR_MAX), 1, 0), 0);
  EXPECT_EQ(kx_PWIsValidAddress(at(UINTPTR_MAX - 10), 100, 0), 0) << "beyond the last address";
  EXPECT_EQ(kx_PWIsValidAddress(kConstants, 0xFFFFFFFF, 0), 0) << "runs out of the mapping";
}

}  // namespace
