// Disk files when the system refuses in ways that a test cannot provoke from outside, what they
// tell it about inheritance, and times in zones of every kind.
#include <gmock/gmock.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <optional>

#include "File.h"
#include "KxTest.h"
#include "SystemCalls.h"

namespace {

using kx_gen::CFile;
using kx_gen::CFileException;
using kx_gen::CTime;
using kx_posix::SystemCall;
using kx_test::assertionLine;
using kx_test::clearLog;
using kx_test::logLines;
using kx_test::throwLine;
using kx_test::Thrown;
using kx_test::thrownBy;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kSource[] = ".\\File";

// --- Refusals ---

// Which call fails, with which errno; transfers take at most so many bytes.
struct Refusal {
  SystemCall call;
  int error;
  size_t bytesMost;
};
Refusal refusal = {};

int refuse(SystemCall call, size_t* count) {
  if (call != refusal.call) return 0;
  if (count != nullptr) *count = std::min(*count, refusal.bytesMost);
  return refusal.error;
}

class RefusalTest : public kx_test::KxTest {
 protected:
  void SetUp() override {
    KxTest::SetUp();
    kx_test::writeFile("ten.bin", kx_test::fromHex("30 31 32 33 34 35 36 37 38 39"));
    file_.Open(L"ten.bin", CFile::modeReadWrite);
    clearLog();
  }
  void TearDown() override {
    kx_posix::SetCallHook(nullptr);
    file_.Close();
    KxTest::TearDown();
  }

  // What a call throws while the system refuses one of its own.
  template <class Call>
  static Thrown thrownWhile(SystemCall call, int error, Call action) {
    refusal = {call, error, static_cast<size_t>(-1)};
    kx_posix::SetCallHook(refuse);
    Thrown thrown = thrownBy(action);
    kx_posix::SetCallHook(nullptr);
    return thrown;
  }

  CFile file_;
};

TEST_F(RefusalTest, FailedReadThrowsMessage8) {
  char byte = 0;
  const Thrown thrown = thrownWhile(SystemCall::kRead, EIO, [&] { file_.Read(&byte, 1); });
  EXPECT_TRUE(thrown.is(Thrown::kException, 8, 7)) << thrown;
  EXPECT_THAT(logLines(), ElementsAre(throwLine(kSource, 428)));
}

TEST_F(RefusalTest, FullDiskThrowsItsCauseWithThePath) {
  const Thrown thrown = thrownWhile(SystemCall::kWrite, ENOSPC, [&] { file_.Write("x", 1); });
  EXPECT_EQ(thrown.kind, Thrown::kFileException);
  EXPECT_EQ(thrown.cause, CFileException::diskFull);
  EXPECT_EQ(thrown.osError, 112);
  EXPECT_EQ(thrown.fileName, L"ten.bin");
  EXPECT_THAT(logLines(), ElementsAre(throwLine(kSource, 448), "ERROR_DISK_FULL"));
}

TEST_F(RefusalTest, FailedSeekThrowsMessage10) {
  EXPECT_TRUE(
      thrownWhile(SystemCall::kSeek, EIO, [&] { file_.Seek(1, 0); }).is(Thrown::kException, 10, 9));
  EXPECT_TRUE(thrownWhile(SystemCall::kSeek, EIO, [&] {
                file_.GetPosition();
              }).is(Thrown::kException, 10, 9));
  EXPECT_THAT(logLines(), ElementsAre(throwLine(kSource, 480), throwLine(kSource, 524)));
  EXPECT_EQ(file_.GetPosition(), 0u);
}

TEST_F(RefusalTest, FailedSetLengthThrowsItsCause) {
  const Thrown thrown = thrownWhile(SystemCall::kSetLength, ENOSPC, [&] { file_.SetLength(99); });
  EXPECT_EQ(thrown.kind, Thrown::kFileException);
  EXPECT_EQ(thrown.cause, CFileException::diskFull);
  EXPECT_EQ(thrown.fileName, L"");
  EXPECT_THAT(logLines(), ElementsAre(throwLine(kSource, 285), "ERROR_DISK_FULL"));
  EXPECT_EQ(file_.GetLength(), 10u);
}

TEST_F(RefusalTest, FailedFlushThrowsMessage9) {
  EXPECT_TRUE(
      thrownWhile(SystemCall::kFlush, EIO, [&] { file_.Flush(); }).is(Thrown::kException, 9, 8));
  EXPECT_THAT(logLines(), ElementsAre(throwLine(kSource, 511)));
}

TEST_F(RefusalTest, RunningOutOfDescriptorsIsTooManyOpenFiles) {
  CFile second;
  const Thrown thrown = thrownWhile(SystemCall::kOpen, EMFILE,
                                    [&] { second.Open(L"new.bin", CFile::modeCreate | 2); });
  EXPECT_EQ(thrown.kind, Thrown::kFileException);
  EXPECT_EQ(thrown.cause, CFileException::tooManyOpenFiles);
  EXPECT_EQ(thrown.osError, 4);
  EXPECT_EQ(thrown.fileName, L"new.bin");
  EXPECT_FALSE(second.IsOpen());
}

TEST_F(RefusalTest, StatusThatTheSystemRefusesIsFalse) {
  refusal = {SystemCall::kStatus, EIO, 0};
  kx_posix::SetCallHook(refuse);
  kx_gen::CFileStatus status;
  EXPECT_FALSE(file_.GetStatus(status));
  EXPECT_STREQ(status.fullName, L"ten.bin");
  EXPECT_EQ(status.size, 0u);
}

TEST_F(RefusalTest, TransfersThatTheSystemCutsAreMadeWhole) {
  refusal = {SystemCall::kRead, 0, 3};
  kx_posix::SetCallHook(refuse);
  char text[10] = {};
  EXPECT_EQ(file_.Read(text, 10), 10u);
  EXPECT_EQ(std::string(text, 10), "0123456789");
  refusal = {SystemCall::kWrite, 0, 3};
  EXPECT_EQ(file_.Write("abcdefgh", 8), 8u);
  EXPECT_EQ(file_.GetPosition(), 18u);
}

// --- Zones ---

class ZoneTest : public kx_test::KxTest {
 protected:
  void SetUp() override {
    KxTest::SetUp();
    if (const char* zone = std::getenv("TZ")) zoneBefore_ = zone;
  }
  void TearDown() override {
    if (zoneBefore_) {
      ::setenv("TZ", zoneBefore_->c_str(), 1);
    } else {
      ::unsetenv("TZ");
    }
    ::tzset();
    KxTest::TearDown();
  }
  static void setZone(const char* zone) {
    ::setenv("TZ", zone, 1);
    ::tzset();
  }
  static unsigned long seconds(int month, int hour, int dst) {
    return CTime(2020, month, 15, hour, 0, 0, dst).GetTime();
  }
  static FILETIME fileTime(uint64_t ticks) {
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
  }

  static constexpr unsigned long kJanuary = 1579089600;  // 15 January 2020, 12:00 UTC
  static constexpr unsigned long kJune = 1592222400;     // 15 June 2020, 12:00 UTC
  static constexpr unsigned long kHour = 3600;
  static constexpr const char* kCentralEurope = "CET-1CEST,M3.5.0,M10.5.0/3";

 private:
  std::optional<std::string> zoneBefore_;
};

TEST_F(ZoneTest, DaylightSavingIsFoundOutOrTakenAsAsked) {
  setZone(kCentralEurope);
  EXPECT_EQ(seconds(1, 13, -1), kJanuary);
  EXPECT_EQ(seconds(1, 13, 0), kJanuary);
  EXPECT_EQ(seconds(1, 13, 1), kJanuary - kHour);
  EXPECT_EQ(seconds(6, 14, -1), kJune);
  EXPECT_EQ(seconds(6, 14, 1), kJune);
  EXPECT_EQ(seconds(6, 14, 0), kJune + kHour);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(ZoneTest, DaylightSavingShiftsNothingInAZoneThatHasNone) {
  for (const char* zone : {"UTC0", "XYZ-5"}) {
    setZone(zone);
    const unsigned long east = zone[0] == 'X' ? 5 * kHour : 0;
    for (const int dst : {-1, 0, 1}) {
      EXPECT_EQ(seconds(1, 12, dst), kJanuary - east) << zone << dst;
      EXPECT_EQ(seconds(6, 12, dst), kJune - east) << zone << dst;
    }
  }
}

TEST_F(ZoneTest, LocalFieldsFollowTheZone) {
  setZone(kCentralEurope);
  EXPECT_EQ(CTime(kJanuary).GetHour(), 13);
  EXPECT_EQ(CTime(kJune).GetHour(), 14);
  setZone("UTC0");
  EXPECT_EQ(CTime(kJune).GetHour(), 12);
  setZone("XYZ+11:30");
  EXPECT_EQ(CTime(kJune).GetHour(), 0);
  EXPECT_EQ(CTime(kJune).GetMinute(), 30);
  SYSTEMTIME local = {};
  ASSERT_TRUE(CTime(kJune).GetAsSystemTime(local));
  EXPECT_EQ(local.wHour, 0);
  EXPECT_EQ(local.wMinute, 30);
}

TEST_F(ZoneTest, FileTimesConvertToTheirSecondsInEveryZone) {
  constexpr uint64_t kTicksPerSecond = 10000000;
  constexpr uint64_t kSecondsFrom1601To1970 = 11644473600;
  for (const char* zone : {"UTC0", kCentralEurope, "EST5EDT,M3.2.0,M11.1.0", "XYZ+11:30"}) {
    setZone(zone);
    for (const unsigned long time : {kJanuary, kJune}) {
      const FILETIME ticks = fileTime((time + kSecondsFrom1601To1970) * kTicksPerSecond);
      EXPECT_EQ(CTime(ticks, -1).GetTime(), time) << zone;
    }
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(ZoneTest, FileTimeZeroIsOf1601AndAllOnes) {
  setZone("UTC0");
  EXPECT_EQ(CTime(fileTime(0), -1).GetTime(), 0xFFFFFFFFul);
  EXPECT_THAT(logLines(), ElementsAre(assertionLine(kSource, 820), assertionLine(kSource, 824)));
}

}  // namespace
