// What reporting into the log leaves alone: the last error and a pending quit message.
#include <gmock/gmock.h>

#include <cerrno>
#include <thread>

#include "KxTest.h"
#include "WinApi.h"

namespace {

using kx_test::assertionLine;
using kx_test::logLines;

// Takes one quit message from the calling thread's queue; its exit code, or -1 without one.
int takeQuit() {
  MSG message = {};
  if (PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE) == 0) return -1;
  EXPECT_EQ(message.message, WM_QUIT);
  return static_cast<int>(message.wParam);
}

class AssertTest : public kx_test::KxTest {
 protected:
  void SetUp() override {
    KxTest::SetUp();
    takeQuit();
  }
};

TEST_F(AssertTest, APendingQuitIsStillPendingOnceAndWithItsCode) {
  for (const int code : {0, 7, 0x12345678}) {
    PostQuitMessage(code);
    EXPECT_EQ(kx_AssertFailedLine("Source", 1), 0);
    EXPECT_EQ(takeQuit(), code);
    EXPECT_EQ(takeQuit(), -1);
  }
}

TEST_F(AssertTest, AQuitSurvivesManyAssertions) {
  PostQuitMessage(3);
  for (int line = 0; line < 10; ++line) kx_AssertFailedLine("Source", line);
  EXPECT_EQ(takeQuit(), 3);
  EXPECT_EQ(takeQuit(), -1);
}

TEST_F(AssertTest, WithoutAPendingQuitNoneIsPosted) {
  kx_AssertFailedLine("Source", 1);
  EXPECT_EQ(takeQuit(), -1);
}

TEST_F(AssertTest, OnlyTheCallingThreadsQuitIsTouched) {
  PostQuitMessage(5);
  int others = 0;
  std::thread([&] {
    kx_AssertFailedLine("Source", 1);
    others = takeQuit();
  }).join();
  EXPECT_EQ(others, -1);
  EXPECT_EQ(takeQuit(), 5);
}

TEST_F(AssertTest, APlainTraceLeavesTheQueueAlone) {
  PostQuitMessage(5);
  KX_Trace(L"line");
  WriteLogLine("line");
  EXPECT_EQ(takeQuit(), 5);
  EXPECT_EQ(takeQuit(), -1);
}

TEST_F(AssertTest, ReportingKeepsTheLastErrorAndErrno) {
  for (const bool logWorks : {true, false}) {
    if (!logWorks) {
      kx_test::clearLog();
      std::filesystem::create_directory("FileIO.txt");
    }
    PostQuitMessage(1);
    const std::wstring longText(30000, L'\u4E2D');
    for (int call = 0; call < 4; ++call) {
      SetLastError(0xABCD);
      errno = EDOM;
      if (call == 0) KX_Trace(L"%s %S", L"wide", "narrow");
      if (call == 1) KX_Trace(L"%s", longText.c_str());
      if (call == 2) WriteLogLine("%s", "line");
      if (call == 3) kx_AssertFailedLine("Source", 3);
      EXPECT_EQ(GetLastError(), 0xABCDu) << call;
      EXPECT_EQ(errno, EDOM) << call;
    }
  }
  EXPECT_EQ(takeQuit(), 1);
}

TEST_F(AssertTest, AnAssertionIsLoggedAheadOfTheCutLineItIsAbout) {
  const std::wstring text(20481, L'x');
  PostQuitMessage(2);
  KX_Trace(L"%s", text.c_str());
  const std::vector<std::string> lines = logLines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], assertionLine(".\\kx_assert", 26));
  EXPECT_EQ(lines[1].size(), 20480u);
  EXPECT_EQ(takeQuit(), 2);
}

}  // namespace
