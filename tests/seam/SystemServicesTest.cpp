// The calls that have nothing to do with files: texts of the system and of the module, memory, the
// thread's messages, time.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>

#include "KxTest.h"
#include "Module.h"
#include "WinApi.h"
#include "Wine.h"

namespace kx_seam {
namespace {

constexpr DWORD kEnglish = 0x0409;
constexpr DWORD kPlain = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;

constexpr DWORD kNamedErrors[] = {
    0,   2,   3,   4,   5,   6,   11,  12,  15,  16,  17,  18,  19,  20,  21,  22,
    23,  24,  25,  26,  27,  29,  30,  32,  33,  34,  36,  38,  39,  52,  53,  54,
    55,  57,  58,  59,  60,  62,  64,  65,  66,  67,  68,  70,  71,  80,  82,  85,
    86,  88,  107, 108, 111, 112, 113, 114, 117, 123, 124, 125, 131, 132, 144, 145,
    154, 161, 167, 170, 182, 183, 191, 193, 206, 208, 267, 995, 996, 997, 998, 999};

TEST(SystemTextTest, EveryErrorThatTheLibraryNamesHasALineOfText) {
  for (const DWORD error : kNamedErrors) {
    wchar_t buffer[512];
    const DWORD length = FormatMessageW(kPlain, nullptr, error, kEnglish, buffer, 512, nullptr);
    ASSERT_GT(length, 2u) << error;
    EXPECT_EQ(std::wstring(L"\r\n"), std::wstring(buffer + length - 2)) << error;
  }
}

TEST(SystemTextTest, AnUnknownCodeIsError317) {
  wchar_t buffer[512];
  SetLastError(0);
  EXPECT_EQ(0u, FormatMessageW(kPlain, nullptr, 0x20001234, kEnglish, buffer, 512, nullptr));
  EXPECT_EQ(317u, GetLastError());
}

TEST(SystemTextTest, ABufferThatIsTooSmallIsRefused) {
  wchar_t buffer[4];
  EXPECT_EQ(0u, FormatMessageW(kPlain, nullptr, 5, kEnglish, buffer, 4, nullptr));
}

TEST(SystemTextTest, TheSystemAllocatesTheTextOnRequest) {
  wchar_t* text = nullptr;
  const DWORD flags = kPlain | FORMAT_MESSAGE_ALLOCATE_BUFFER;
  const DWORD length =
      FormatMessageW(flags, nullptr, 5, kEnglish, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
  ASSERT_NE(nullptr, text);
  EXPECT_EQ(length, std::wcslen(text));
  EXPECT_EQ(nullptr, LocalFree(text));
}

TEST(ModuleTextTest, TheModuleHasTheLibrarysTexts) {
  wchar_t buffer[512];
  EXPECT_EQ(18, LoadStringW(kx_GetModule(), 8, buffer, 512));
  EXPECT_EQ(std::wstring(L"File IO read error"), buffer);
  for (UINT id = 1; id <= 25; ++id) {
    EXPECT_GT(LoadStringW(kx_GetModule(), id, buffer, 512), 0) << id;
  }
}

TEST(ModuleTextTest, AnAbsentIdHasLength0) {
  wchar_t buffer[512];
  EXPECT_EQ(0, LoadStringW(kx_GetModule(), 26, buffer, 512));
  EXPECT_EQ(0, LoadStringW(kx_GetModule(), 0, buffer, 512));
}

TEST(ModuleTextTest, ATextIsCutToTheBuffer) {
  wchar_t buffer[8];
  EXPECT_EQ(7, LoadStringW(kx_GetModule(), 8, buffer, 8));
  EXPECT_EQ(std::wstring(L"File IO"), buffer);
}

TEST(QueueTest, WithoutAQuitRequestThereIsNoMessage) {
  MSG message = {};
  EXPECT_FALSE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
}

TEST(QueueTest, AQuitRequestIsSeenUntilItIsRemoved) {
  PostQuitMessage(41);
  MSG message = {};
  EXPECT_TRUE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_NOREMOVE));
  EXPECT_TRUE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
  EXPECT_EQ(static_cast<UINT>(WM_QUIT), message.message);
  EXPECT_EQ(41u, message.wParam);
  EXPECT_FALSE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
}

TEST(QueueTest, SeveralQuitRequestsAreOne) {
  PostQuitMessage(1);
  PostQuitMessage(2);
  MSG message = {};
  EXPECT_TRUE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
  EXPECT_EQ(2u, message.wParam);
  EXPECT_FALSE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
}

TEST(QueueTest, AQuitRequestBelongsToItsThread) {
  PostQuitMessage(7);
  MSG message = {};
  BOOL seen = TRUE;
  std::thread([&] {
    MSG other = {};
    seen = PeekMessageW(&other, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE);
  }).join();
  EXPECT_FALSE(seen);
  EXPECT_TRUE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
}

TEST(LocalMemoryTest, ABlockKnowsItsSizeAndKeepsItsDataWhenItGrows) {
  auto* block = static_cast<unsigned char*>(LocalAlloc(LPTR, 100));
  ASSERT_NE(nullptr, block);
  EXPECT_EQ(100u, LocalSize(block));
  for (int i = 0; i < 100; ++i) EXPECT_EQ(0, block[i]);
  std::memset(block, 0xAB, 100);
  block = static_cast<unsigned char*>(LocalReAlloc(block, 5000, LMEM_MOVEABLE | LMEM_ZEROINIT));
  ASSERT_NE(nullptr, block);
  EXPECT_EQ(5000u, LocalSize(block));
  EXPECT_EQ(0xAB, block[99]);
  EXPECT_EQ(0, block[100]);
  EXPECT_EQ(0, block[4999]);
  EXPECT_EQ(nullptr, LocalFree(block));
  EXPECT_EQ(nullptr, LocalFree(nullptr));
}

TEST(LocalMemoryTest, SizesBeyondMemoryAreRefused) {
  EXPECT_EQ(nullptr, LocalAlloc(LMEM_FIXED, ~SIZE_T{0} - 8));
}

TEST(PointerCheckTest, GoodMemoryIsNotBad) {
  std::string data(100'000, 'x');
  EXPECT_FALSE(IsBadReadPtr(data.data(), data.size()));
  EXPECT_FALSE(IsBadWritePtr(data.data(), data.size()));
  EXPECT_EQ(std::string(100'000, 'x'), data);
}

TEST(PointerCheckTest, NullIsBadUnlessNothingIsAskedOfIt) {
  EXPECT_TRUE(IsBadReadPtr(nullptr, 1));
  EXPECT_TRUE(IsBadWritePtr(nullptr, 1));
  EXPECT_FALSE(IsBadReadPtr(nullptr, 0));
  EXPECT_FALSE(IsBadWritePtr(nullptr, 0));
}

TEST(PointerCheckTest, ARangeThatWrapsAroundIsBad) {
  const int value = 0;
  EXPECT_TRUE(IsBadReadPtr(&value, ~UINT_PTR{0}));
}

// --- Time ---

SYSTEMTIME systemTimeOf(uint64_t steps) {
  const FILETIME fileTime = {static_cast<DWORD>(steps), static_cast<DWORD>(steps >> 32)};
  SYSTEMTIME time = {};
  EXPECT_TRUE(FileTimeToSystemTime(&fileTime, &time));
  return time;
}

TEST(TimeTest, FileTimeZeroIsTheStartOf1601) {
  const FILETIME zero = {0, 0};
  SYSTEMTIME time = {};
  ASSERT_TRUE(FileTimeToSystemTime(&zero, &time));
  EXPECT_EQ(1601, time.wYear);
  EXPECT_EQ(1, time.wMonth);
  EXPECT_EQ(1, time.wDay);
  EXPECT_EQ(1, time.wDayOfWeek);
  EXPECT_EQ(0, time.wHour);
}

TEST(TimeTest, FileTimesBreakDownIntoTheCalendar) {
  // 29 February 2000, 12:34:56.789, a Tuesday.
  const uint64_t steps = (11644473600ull + 951827696ull) * 10000000ull + 7890000ull;
  const SYSTEMTIME time = systemTimeOf(steps);
  EXPECT_EQ(2000, time.wYear);
  EXPECT_EQ(2, time.wMonth);
  EXPECT_EQ(29, time.wDay);
  EXPECT_EQ(2, time.wDayOfWeek);
  EXPECT_EQ(12, time.wHour);
  EXPECT_EQ(34, time.wMinute);
  EXPECT_EQ(56, time.wSecond);
  EXPECT_EQ(789, time.wMilliseconds);
}

TEST(TimeTest, CalendarDaysGoThereAndBack) {
  constexpr uint64_t kDay = 86400ull * 10000000ull;
  for (uint64_t day = 0; day < 500 * 366; day += 13) {
    const SYSTEMTIME time = systemTimeOf(day * kDay);
    FILETIME back = {1, 1};
    ASSERT_TRUE(SystemTimeToFileTime(&time, &back));
    EXPECT_EQ(day * kDay, (static_cast<uint64_t>(back.dwHighDateTime) << 32) | back.dwLowDateTime);
  }
}

TEST(TimeTest, DaysThatTheCalendarLacksAreError87) {
  FILETIME unused;
  // Wine takes every February for that of a leap year.
  const WORD noFebruary = kx_test::unlessOnWine(29, 30);
  for (const SYSTEMTIME& time :
       {SYSTEMTIME{2001, 2, 0, noFebruary, 0, 0, 0, 0}, SYSTEMTIME{2001, 4, 0, 31, 0, 0, 0, 0},
        SYSTEMTIME{2001, 13, 0, 1, 0, 0, 0, 0}, SYSTEMTIME{2001, 0, 0, 1, 0, 0, 0, 0},
        SYSTEMTIME{2001, 1, 0, 0, 0, 0, 0, 0}, SYSTEMTIME{2001, 1, 0, 1, 24, 0, 0, 0},
        SYSTEMTIME{2001, 1, 0, 1, 0, 60, 0, 0}, SYSTEMTIME{1600, 1, 0, 1, 0, 0, 0, 0}}) {
    SetLastError(0);
    EXPECT_FALSE(SystemTimeToFileTime(&time, &unused));
    EXPECT_EQ(87u, GetLastError());
  }
}

TEST(TimeTest, FileTimesOfTheUpperHalfHaveNoCalendarDate) {
  const FILETIME beyond = {0, 0x80000000};
  SYSTEMTIME time = {};
  EXPECT_FALSE(FileTimeToSystemTime(&beyond, &time));
}

TEST(TimeTest, TheSystemTimeIsNow) {
  SYSTEMTIME time = {};
  GetSystemTime(&time);
  FILETIME fromParts, now;
  ASSERT_TRUE(SystemTimeToFileTime(&time, &fromParts));
  GetSystemTimeAsFileTime(&now);
  const auto steps = [](const FILETIME& t) {
    return (static_cast<uint64_t>(t.dwHighDateTime) << 32) | t.dwLowDateTime;
  };
  EXPECT_GE(steps(now), steps(fromParts));
  EXPECT_LT(steps(now) - steps(fromParts), 60ull * 10000000ull);
}

}  // namespace
}  // namespace kx_seam
