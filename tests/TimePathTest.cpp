// Time values, and the functions that split, join and make paths.
#include <gmock/gmock.h>

#include <algorithm>
#include <ctime>

#include "File.h"
#include "KxTest.h"

namespace {

using kx_gen::_String;
using kx_gen::CTime;
using kx_test::assertionLine;
using kx_test::clearLog;
using kx_test::logLines;
using kx_test::writeFile;
using testing::ElementsAre;
using testing::IsEmpty;

namespace fs = std::filesystem;

constexpr unsigned long kNoTime = 0xFFFFFFFF;
constexpr unsigned long kJune2020 = 1592222400;  // 15 June 2020, 12:00:00 UTC

std::string asserted(int line) { return assertionLine(".\\File", line); }

// --- Times ---

class TimeTest : public kx_test::KxTest {
 protected:
  static FILETIME fileTime(uint64_t ticks) {
    FILETIME time = {};
    time.dwLowDateTime = static_cast<uint32_t>(ticks);
    time.dwHighDateTime = static_cast<uint32_t>(ticks >> 32);
    return time;
  }
  // Ticks of 100 nanoseconds since 1601.
  static FILETIME fileTimeOf(uint64_t secondsSince1970) {
    return fileTime((secondsSince1970 + 11644473600u) * 10000000u);
  }
};

TEST_F(TimeTest, CountIsKeptIn32Bits) {
  EXPECT_EQ(CTime().GetTime(), 0u);
  EXPECT_EQ(CTime(kJune2020).GetTime(), kJune2020);
  EXPECT_EQ(CTime(0xFFFFFFFFul).GetTime(), 0xFFFFFFFFul);
  CTime time;
  time = 5ul;
  EXPECT_EQ(time.GetTime(), 5u);
  const CTime copy(time);
  EXPECT_EQ(copy.GetTime(), 5u);
  EXPECT_EQ(CTime(static_cast<unsigned long>(-1)).GetTime(), 0xFFFFFFFFul);
}

TEST_F(TimeTest, CountsAreComparedUnsigned) {
  const CTime small(1ul);
  const CTime same(1ul);
  const CTime large(0x80000000ul);
  EXPECT_TRUE(small == same);
  EXPECT_FALSE(small == large);
  EXPECT_TRUE(small != large);
  EXPECT_FALSE(small != same);
  EXPECT_TRUE(small < large);
  EXPECT_FALSE(small < same);
  EXPECT_TRUE(large > small);
  EXPECT_FALSE(same > small);
  EXPECT_TRUE(small <= same);
  EXPECT_FALSE(large <= small);
  EXPECT_TRUE(same >= small);
  EXPECT_FALSE(small >= large);
}

TEST_F(TimeTest, UtcFieldsAreThoseOfTheCount) {
  std::tm fields = {};
  EXPECT_EQ(CTime(kJune2020).GetGmtTm(&fields), &fields);
  EXPECT_EQ(fields.tm_year, 120);
  EXPECT_EQ(fields.tm_mon, 5);
  EXPECT_EQ(fields.tm_mday, 15);
  EXPECT_EQ(fields.tm_hour, 12);
  EXPECT_EQ(fields.tm_min, 0);
  EXPECT_EQ(fields.tm_sec, 0);
  EXPECT_EQ(fields.tm_wday, 1);
}

TEST_F(TimeTest, TimesBeyond2038BreakDown) {
  std::tm fields = {};
  ASSERT_EQ(CTime(4102444800ul).GetGmtTm(&fields), &fields);
  EXPECT_EQ(fields.tm_year, 200);
  EXPECT_EQ(fields.tm_mon, 0);
  EXPECT_EQ(fields.tm_mday, 1);
  EXPECT_EQ(CTime(2100, 6, 15, 12, 0, 0, 0).GetYear(), 2100);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(TimeTest, NothingIsFilledWithoutARecord) {
  EXPECT_EQ(CTime(kJune2020).GetGmtTm(nullptr), nullptr);
  EXPECT_EQ(CTime(kJune2020).GetLocalTm(nullptr), nullptr);
}

TEST_F(TimeTest, LocalFieldsComeBackAsTheyWentIn) {
  const CTime time(2020, 2, 29, 23, 58, 57, -1);
  EXPECT_EQ(time.GetYear(), 2020);
  EXPECT_EQ(time.GetMonth(), 2);
  EXPECT_EQ(time.GetDay(), 29);
  EXPECT_EQ(time.GetHour(), 23);
  EXPECT_EQ(time.GetMinute(), 58);
  EXPECT_EQ(time.GetSecond(), 57);
  std::tm fields = {};
  ASSERT_EQ(time.GetLocalTm(&fields), &fields);
  EXPECT_EQ(fields.tm_year, 120);
  EXPECT_EQ(fields.tm_mon, 1);
  EXPECT_EQ(fields.tm_mday, 29);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(TimeTest, SystemTimeHasTheLocalFieldsAndComesBack) {
  const CTime time(2020, 6, 15, 12, 34, 56, -1);
  SYSTEMTIME system = {};
  system.wMilliseconds = 7;
  ASSERT_TRUE(time.GetAsSystemTime(system));
  EXPECT_EQ(system.wYear, 2020);
  EXPECT_EQ(system.wMonth, 6);
  EXPECT_EQ(system.wDay, 15);
  EXPECT_EQ(system.wDayOfWeek, 1);
  EXPECT_EQ(system.wHour, 12);
  EXPECT_EQ(system.wMinute, 34);
  EXPECT_EQ(system.wSecond, 56);
  EXPECT_EQ(system.wMilliseconds, 0);
  EXPECT_EQ(CTime(system, -1).GetTime(), time.GetTime());
}

TEST_F(TimeTest, FieldsOutOfRangeAreAssertedAndConverted) {
  const unsigned long march1 = CTime(2020, 3, 1, 0, 0, 0, -1).GetTime();
  EXPECT_EQ(CTime(2020, 2, 30, 0, 0, 0, -1).GetTime(), march1);
  EXPECT_THAT(logLines(), IsEmpty());
  EXPECT_EQ(CTime(2020, 4, 0, 0, 0, 0, -1).GetDay(), 31);
  EXPECT_THAT(logLines(), ElementsAre(asserted(816)));
  clearLog();
  EXPECT_EQ(CTime(2020, 2, 32, 0, 0, 0, -1).GetDay(), 3);
  EXPECT_THAT(logLines(), ElementsAre(asserted(816)));
  clearLog();
  EXPECT_EQ(CTime(2020, 0, 1, 0, 0, 0, -1).GetMonth(), 12);
  EXPECT_THAT(logLines(), ElementsAre(asserted(818)));
  clearLog();
  EXPECT_EQ(CTime(2020, 13, 1, 0, 0, 0, -1).GetYear(), 2021);
  EXPECT_THAT(logLines(), ElementsAre(asserted(818)));
}

TEST_F(TimeTest, TimesBefore1970AreAllOnes) {
  EXPECT_EQ(CTime(1969, 12, 30, 0, 0, 0, 0).GetTime(), kNoTime);
  EXPECT_EQ(CTime(1900, 1, 1, 0, 0, 0, 0).GetTime(), kNoTime);
  EXPECT_THAT(logLines(), ElementsAre(asserted(824), asserted(824)));
}

TEST_F(TimeTest, YearBefore1900IsAssertedAndStillConverted) {
  EXPECT_EQ(CTime(1899, 1, 1, 0, 0, 0, 0).GetTime(), kNoTime);
  EXPECT_THAT(logLines(), ElementsAre(asserted(820), asserted(824)));
}

TEST_F(TimeTest, ChecksAreLoggedDayFirstThenMonthYearAndResult) {
  EXPECT_EQ(CTime(-1, 0, 0, 0, 0, 0, 0).GetTime(), kNoTime);
  EXPECT_THAT(logLines(), ElementsAre(asserted(816), asserted(818), asserted(820), asserted(824)));
}

TEST_F(TimeTest, TimesBehindTheLastCountAreAllOnes) {
  EXPECT_EQ(CTime(2107, 1, 1, 0, 0, 0, 0).GetTime(), kNoTime);
  EXPECT_THAT(logLines(), ElementsAre(asserted(824)));
}

TEST_F(TimeTest, ExtremeFieldsOverflowNothing) {
  constexpr int kMost = 0x7FFFFFFF;
  constexpr int kLeast = -kMost - 1;
  EXPECT_EQ(CTime(kLeast, kLeast, kLeast, kLeast, kLeast, kLeast, kLeast).GetTime(), kNoTime);
  EXPECT_EQ(CTime(kMost, kMost, kMost, kMost, kMost, kMost, kMost).GetTime(), kNoTime);
}

TEST_F(TimeTest, FileTimeConvertsToItsSeconds) {
  EXPECT_EQ(CTime(fileTimeOf(kJune2020), -1).GetTime(), kJune2020);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(TimeTest, FileTimeThatDoesNotConvertIsZero) {
  EXPECT_EQ(CTime(fileTime(0xFFFFFFFFFFFFFFFF), 0).GetTime(), 0u);
  EXPECT_EQ(CTime(fileTime(0x8000000000000000), 0).GetTime(), 0u);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(TimeTest, FileTimeOf1601IsAssertedAndAllOnes) {
  constexpr uint64_t kTwoDays = 2 * 24 * 3600 * uint64_t{10000000};
  EXPECT_EQ(CTime(fileTime(kTwoDays), 0).GetTime(), kNoTime);
  EXPECT_THAT(logLines(), ElementsAre(asserted(820), asserted(824)));
}

TEST_F(TimeTest, CurrentTimeIsTheClock) {
  const auto before = static_cast<unsigned long>(std::time(nullptr));
  const unsigned long now = CTime::GetCurrentTime().GetTime();
  const auto after = static_cast<unsigned long>(std::time(nullptr));
  EXPECT_LE(before, now);
  EXPECT_LE(now, after);
}

// --- Splitting paths ---

class PathTest : public kx_test::KxTest {
 protected:
  static std::wstring withBackslashes(std::wstring path) {
    std::replace(path.begin(), path.end(), L'/', L'\\');
    return path;
  }
};

struct Split {
  const wchar_t* path;
  const wchar_t* drive;
  const wchar_t* dir;
  const wchar_t* title;
  const wchar_t* ext;
};

constexpr Split kSplits[] = {
    {L"C:\\dir\\sub\\a.kxo", L"C:", L"\\dir\\sub\\", L"a", L".kxo"},
    {L"\\dir\\a.kxo", L"", L"\\dir\\", L"a", L".kxo"},
    {L"/dir/sub/a.kxo", L"", L"/dir/sub/", L"a", L".kxo"},
    {L"\\dir/sub\\a.b.kxo", L"", L"\\dir/sub\\", L"a.b", L".kxo"},
    {L"dir\\a.kxo", L"", L"dir\\", L"a", L".kxo"},
    {L"a.kxo", L"", L"", L"a", L".kxo"},
    {L"C:a.kxo", L"C:", L"", L"a", L".kxo"},
    {L"C:", L"C:", L"", L"", L""},
    {L"C:\\", L"C:", L"\\", L"", L""},
    {L"\\dir.d\\plain", L"", L"\\dir.d\\", L"plain", L""},
    {L"\\dir\\", L"", L"\\dir\\", L"", L""},
    {L"a.", L"", L"", L"a", L"."},
    {L".ext", L"", L"", L"", L".ext"},
    {L"..", L"", L"", L".", L"."},
    {L"\\\\s\\h\\f.e", L"", L"\\\\s\\h\\", L"f", L".e"},
    {L"ab:c", L"", L"", L"ab:c", L""},
    {L"x", L"", L"", L"x", L""},
    {L"", L"", L"", L"", L""},
    {nullptr, L"", L"", L"", L""},
};

TEST_F(PathTest, PathsSplitAsTheCRuntimeSplitsThem) {
  for (const Split& split : kSplits) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(split.path != nullptr ? split.path : L"")));
    wchar_t drive[260] = L"-";
    wchar_t dir[260] = L"-";
    wchar_t title[260] = L"-";
    wchar_t ext[260] = L"-";
    kx_gen::_tsplitpath(split.path, drive, dir, title, ext);
    EXPECT_STREQ(drive, split.drive);
    EXPECT_STREQ(dir, split.dir);
    EXPECT_STREQ(title, split.title);
    EXPECT_STREQ(ext, split.ext);
    EXPECT_EQ(kx_gen::GetFileDrive(split.path), split.drive);
    EXPECT_EQ(kx_gen::GetFileDir(split.path), split.dir);
    EXPECT_EQ(kx_gen::GetFileTitle(split.path), split.title);
    EXPECT_EQ(kx_gen::GetFileExt(split.path), split.ext);
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(PathTest, PiecesThatAreNotWantedMayBeNull) {
  wchar_t title[260] = {};
  kx_gen::_tsplitpath(L"\\dir\\a.kxo", nullptr, nullptr, title, nullptr);
  EXPECT_STREQ(title, L"a");
  wchar_t ext[260] = {};
  kx_gen::_tsplitpath(L"\\dir\\a.kxo", nullptr, nullptr, nullptr, ext);
  EXPECT_STREQ(ext, L".kxo");
}

TEST_F(PathTest, PathMayBeSplitIntoItsOwnBuffer) {
  wchar_t text[260] = L"\\dir\\a.kxo";
  wchar_t dir[260] = {};
  kx_gen::_tsplitpath(text, nullptr, dir, text, nullptr);
  EXPECT_STREQ(dir, L"\\dir\\");
  EXPECT_STREQ(text, L"a");
}

TEST_F(PathTest, BuffersTake259CharactersOfAPiece) {
  const std::wstring longTitle(400, L'x');
  wchar_t title[261] = {};
  title[260] = L'!';
  kx_gen::_tsplitpath((L"\\" + longTitle + L".kxo").c_str(), nullptr, nullptr, title, nullptr);
  EXPECT_EQ(title, longTitle.substr(0, 259));
  EXPECT_EQ(title[260], L'!');
  EXPECT_EQ(kx_gen::GetFileTitle((L"\\" + longTitle + L".kxo").c_str()).size(), 400u);
}

TEST_F(PathTest, ValidPathsHaveDriveFolderTitleAndExtension) {
  for (const wchar_t* path : {L"C:\\dir\\a.b", L"\\dir\\a.b", L"/dir/a.b", L"\\a.b", L"C:dir\\a.b",
                              L"\\\\server\\share\\a.b", L"\\dir\\a."}) {
    EXPECT_TRUE(kx_gen::ValidateFilePath(path)) << testing::PrintToString(std::wstring(path));
  }
  for (const wchar_t* path : {L"dir\\a.b", L"a.b", L"C:a.b", L"\\dir\\a", L"\\dir\\.b", L"\\dir\\",
                              L"dir/a.b", L"C:", L""}) {
    EXPECT_FALSE(kx_gen::ValidateFilePath(path)) << testing::PrintToString(std::wstring(path));
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(PathTest, NullPathIsAssertedAndInvalid) {
  EXPECT_FALSE(kx_gen::ValidateFilePath(nullptr));
  EXPECT_THAT(logLines(), ElementsAre(asserted(1173)));
}

// --- Roots and full paths ---

TEST_F(PathTest, RootEndsBehindTheShareOrTheFirstSeparator) {
  const std::pair<const wchar_t*, const wchar_t*> roots[] = {
      {L"\\\\server\\share\\dir", L"\\\\server\\share\\"},
      {L"//server/share/dir\\a.b", L"//server/share/"},
      {L"\\/server\\share/dir", L"\\/server\\share/"},
      {L"\\\\server\\share", L"\\\\server\\share"},
      {L"\\\\server\\", L"\\\\server\\"},
      {L"\\\\server", L"\\\\server"},
      {L"\\\\", L"\\\\"},
      {L"\\\\\\share\\dir", L"\\\\\\share\\"},
      {L"C:\\\\server\\share\\dir", L"C:\\\\server\\share\\"},
      {L"\\dir\\a.b", L"\\"},
      {L"/dir/a.b", L"/"},
      {L"C:\\dir\\a.b", L"C:\\"},
      {L"dir\\sub\\a.b", L"dir\\"},
      {L"plain", L"plain"},
      {L"", L""},
  };
  for (const auto& [path, root] : roots) {
    wchar_t buffer[260] = L"-";
    kx_gen::GetRoot(path, buffer);
    EXPECT_STREQ(buffer, root);
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(PathTest, RootOfANullPathIsAssertedAndEmpty) {
  wchar_t buffer[260] = L"-";
  kx_gen::GetRoot(nullptr, buffer);
  EXPECT_STREQ(buffer, L"");
  EXPECT_THAT(logLines(), ElementsAre(asserted(76)));
  clearLog();
  kx_gen::GetRoot(L"\\dir", nullptr);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(PathTest, RootIsTakenOfTheFirst259Characters) {
  const std::wstring longName(400, L'x');
  wchar_t buffer[260] = {};
  kx_gen::GetRoot((longName + L"\\dir").c_str(), buffer);
  EXPECT_EQ(buffer, longName.substr(0, 259));
}

TEST_F(PathTest, FullPathCopies259CharactersAndAnswersOne) {
  wchar_t buffer[260] = L"-";
  EXPECT_EQ(kx_gen::FullPath(buffer, L"..\\a.b"), 1);
  EXPECT_STREQ(buffer, L"..\\a.b");
  const std::wstring longName(400, L'x');
  EXPECT_EQ(kx_gen::FullPath(buffer, longName.c_str()), 1);
  EXPECT_EQ(buffer, longName.substr(0, 259));
  EXPECT_EQ(kx_gen::FullPath(buffer, nullptr), 1);
  EXPECT_STREQ(buffer, L"");
  EXPECT_EQ(kx_gen::FullPath(nullptr, L"a"), 1);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(PathTest, AbsoluteFormLeavesRootedPathsAlone) {
  wchar_t buffer[260] = {};
  for (const wchar_t* path : {L"\\dir\\..\\a.b", L"/dir/./a.b", L"\\\\server\\share\\a.b", L"\\",
                              L"C:\\dir\\a.b", L"C:/dir/*.kxo"}) {
    EXPECT_EQ(kx_gen::_tfullpath(buffer, path, 260), buffer);
    EXPECT_STREQ(buffer, path);
  }
}

TEST_F(PathTest, AbsoluteFormOfARelativePathStartsAtTheCurrentFolder) {
  wchar_t buffer[260] = {};
  const std::wstring current = folder().wstring();
  for (const wchar_t* path : {L"a.b", L"sub\\a.b", L"*.*"}) {
    ASSERT_EQ(kx_gen::_tfullpath(buffer, path, 260), buffer);
    const std::wstring full = buffer;
    EXPECT_EQ(full.substr(0, current.size()), current);
    EXPECT_EQ(withBackslashes(full.substr(current.size())),
              withBackslashes(L"\\" + std::wstring(path)));
  }
  ASSERT_EQ(kx_gen::_tfullpath(buffer, L"", 260), buffer);
  EXPECT_EQ(buffer, current);
  ASSERT_EQ(kx_gen::_tfullpath(buffer, nullptr, 260), buffer);
  EXPECT_EQ(buffer, current);
}

TEST_F(PathTest, AbsoluteFormThatDoesNotFitIsNull) {
  wchar_t buffer[260] = {};
  EXPECT_EQ(kx_gen::_tfullpath(buffer, L"\\dir", 5), buffer);
  EXPECT_STREQ(buffer, L"\\dir");
  EXPECT_EQ(kx_gen::_tfullpath(buffer, L"\\dir2", 5), nullptr);
  EXPECT_EQ(kx_gen::_tfullpath(buffer, L"a.b", 4), nullptr);
  EXPECT_EQ(kx_gen::_tfullpath(buffer, L"a.b", 0), nullptr);
  EXPECT_EQ(kx_gen::_tfullpath(nullptr, L"a.b", 260), nullptr);
}

// --- Names that do not exist yet ---

TEST_F(PathTest, FilesFoldersAndPatternsThatMatchExist) {
  writeFile("a.kxo", {});
  fs::create_directory("dir");
  EXPECT_TRUE(kx_gen::IsFileExist(L"a.kxo"));
  EXPECT_TRUE(kx_gen::IsFileExist(path(L"a.kxo").c_str()));
  EXPECT_TRUE(kx_gen::IsFileExist(L"dir"));
  EXPECT_TRUE(kx_gen::IsFileExist(L"*.kxo"));
  EXPECT_FALSE(kx_gen::IsFileExist(L"*.txt"));
  EXPECT_FALSE(kx_gen::IsFileExist(L"b.kxo"));
  EXPECT_FALSE(kx_gen::IsFileExist(L"nowhere\\a.kxo"));
  EXPECT_FALSE(kx_gen::IsFileExist(L""));
  EXPECT_FALSE(kx_gen::IsFileExist(nullptr));
  EXPECT_THAT(logLines(), IsEmpty());
}

class NumberedNameTest : public PathTest {
 protected:
  _String next(const std::wstring& name) const {
    return kx_gen::GetNextValidNumberedName(path(name).c_str(), nullptr);
  }
  _String valid(const std::wstring& name, const wchar_t* otherFolder = nullptr,
                const wchar_t* stopName = nullptr) const {
    return kx_gen::GetValidFileName(path(name).c_str(), otherFolder, stopName);
  }
  _String full(const std::wstring& name) const { return path(name).c_str(); }
};

TEST_F(NumberedNameTest, FirstFreeNumberIsTaken) {
  EXPECT_EQ(next(L"Notes.kxo"), full(L"Notes-1.kxo"));
  writeFile("Notes-1.kxo", {});
  writeFile("Notes-2.kxo", {});
  writeFile("Notes-4.kxo", {});
  EXPECT_EQ(next(L"Notes.kxo"), full(L"Notes-3.kxo"));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(NumberedNameTest, OneEarlierNumberIsReplaced) {
  EXPECT_EQ(next(L"Notes-7.kxo"), full(L"Notes-1.kxo"));
  EXPECT_EQ(next(L"Notes-2020-12.kxo"), full(L"Notes-2020-1.kxo"));
  EXPECT_EQ(next(L"-5.kxo"), full(L"-1.kxo"));
}

TEST_F(NumberedNameTest, TitlesThatOnlyLookNumberedAreKept) {
  EXPECT_EQ(next(L"Notes-.kxo"), full(L"Notes--1.kxo"));
  EXPECT_EQ(next(L"Notes7.kxo"), full(L"Notes7-1.kxo"));
  EXPECT_EQ(next(L"Notes-7a.kxo"), full(L"Notes-7a-1.kxo"));
  EXPECT_EQ(next(L"2020.kxo"), full(L"2020-1.kxo"));
  EXPECT_EQ(next(L"100%d%s.kxo"), full(L"100%d%s-1.kxo"));
}

TEST_F(NumberedNameTest, NumbersGoOnBehindNine) {
  for (int i = 1; i <= 12; ++i) writeFile("N-" + std::to_string(i) + ".kxo", {});
  EXPECT_EQ(next(L"N.kxo"), full(L"N-13.kxo"));
}

TEST_F(NumberedNameTest, SecondArgumentChangesNothing) {
  EXPECT_EQ(kx_gen::GetNextValidNumberedName(path(L"a.kxo").c_str(), L"\\other\\b.txt"),
            full(L"a-1.kxo"));
}

TEST_F(NumberedNameTest, ResultThatIsNoValidPathIsAsserted) {
  EXPECT_EQ(kx_gen::GetNextValidNumberedName(L"Notes.kxo", nullptr), L"Notes-1.kxo");
  EXPECT_THAT(logLines(), ElementsAre(asserted(210)));
  clearLog();
  EXPECT_EQ(kx_gen::GetNextValidNumberedName(nullptr, nullptr), L"-1");
  EXPECT_THAT(logLines(), ElementsAre(asserted(149), asserted(210)));
}

TEST_F(NumberedNameTest, FreeNameIsValidAsItIs) {
  EXPECT_EQ(valid(L"Notes.kxo"), full(L"Notes.kxo"));
  EXPECT_EQ(valid(L"Notes-3.kxo"), full(L"Notes-3.kxo"));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(NumberedNameTest, TakenNameIsNumberedOn) {
  writeFile("Notes.kxo", {});
  EXPECT_EQ(valid(L"Notes.kxo"), full(L"Notes-1.kxo"));
  writeFile("Notes-1.kxo", {});
  EXPECT_EQ(valid(L"Notes.kxo"), full(L"Notes-2.kxo"));
  EXPECT_EQ(valid(L"Notes-1.kxo"), full(L"Notes-2.kxo"));
}

TEST_F(NumberedNameTest, LongTitlesAreCutTo27Characters) {
  const std::wstring title40 = L"abcdefghijklmnopqrstuvwxyz0123456789ABCD";
  const std::wstring title27 = title40.substr(0, 27);
  EXPECT_EQ(valid(title40 + L".kxo"), full(title27 + L".kxo"));
  EXPECT_EQ(valid(title40.substr(0, 28) + L".kxo"), full(title27 + L".kxo"));
  EXPECT_EQ(valid(title27 + L".kxo"), full(title27 + L".kxo"));
  writeFile(fs::path(title27 + L".kxo"), {});
  EXPECT_EQ(valid(title40 + L".kxo"), full(title27 + L"-1.kxo"));
}

TEST_F(NumberedNameTest, CharactersOfTwoUtf16UnitsCountTwice) {
  std::wstring pairs;
  for (int i = 0; i < 13; ++i) pairs += L"\U0001F600";
  const _String uncut(((pairs + L"x.kxo").c_str()));
  EXPECT_EQ(kx_gen::GetValidFileName(uncut, nullptr, nullptr), uncut);
  EXPECT_EQ(kx_gen::GetValidFileName((pairs + L"xy.kxo").c_str(), nullptr, nullptr), uncut);
}

TEST_F(NumberedNameTest, NameMustBeFreeInTheOtherFolderToo) {
  fs::create_directory("other");
  writeFile("other/Notes.kxo", {});
  writeFile("Notes-1.kxo", {});
  writeFile("other/Notes-2.kxo", {});
  const std::wstring other = path(L"other");
  EXPECT_EQ(valid(L"Notes.kxo", other.c_str()), full(L"Notes-3.kxo"));
  EXPECT_EQ(valid(L"Notes.kxo", (other + L"\\").c_str()), full(L"Notes-3.kxo"));
  EXPECT_EQ(valid(L"Notes.kxo"), full(L"Notes.kxo"));
  EXPECT_EQ(valid(L"Plans.kxo", other.c_str()), full(L"Plans.kxo"));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(NumberedNameTest, CountingStopsAtTheStopNameEvenIfItExists) {
  writeFile("Notes.kxo", {});
  writeFile("Notes-1.kxo", {});
  writeFile("Notes-2.kxo", {});
  EXPECT_EQ(valid(L"Notes.kxo", nullptr, full(L"Notes-2.kxo")), full(L"Notes-2.kxo"));
  EXPECT_EQ(valid(L"Notes.kxo", nullptr, full(L"NOTES-2.KXO")), full(L"Notes-2.kxo"));
  EXPECT_EQ(valid(L"Notes.kxo", nullptr, full(L"Notes-9.kxo")), full(L"Notes-3.kxo"));
}

TEST_F(NumberedNameTest, StopNameIsComparedWithTheWholeCandidate) {
  writeFile("Notes.kxo", {});
  writeFile("Notes-1.kxo", {});
  EXPECT_EQ(valid(L"Notes.kxo", nullptr, L"Notes-1"), full(L"Notes-2.kxo"));
  EXPECT_EQ(valid(L"Notes.kxo", nullptr, L"Notes-1.kxo"), full(L"Notes-2.kxo"));
  EXPECT_EQ(valid(L"Notes.kxo", nullptr, L""), full(L"Notes-2.kxo"));
}

TEST_F(NumberedNameTest, StopNameDoesNotExcuseTheNameItself) {
  writeFile("Notes.kxo", {});
  EXPECT_EQ(valid(L"Notes.kxo", nullptr, full(L"Notes.kxo")), full(L"Notes-1.kxo"));
}

TEST_F(NumberedNameTest, InvalidPathIsAssertedAndAnsweredAllTheSame) {
  EXPECT_EQ(kx_gen::GetValidFileName(L"Notes.kxo", nullptr, nullptr), L"Notes.kxo");
  EXPECT_THAT(logLines(), ElementsAre(asserted(1075)));
  clearLog();
  writeFile("Notes.kxo", {});
  EXPECT_EQ(kx_gen::GetValidFileName(L"Notes.kxo", nullptr, nullptr), L"Notes-1.kxo");
  EXPECT_THAT(logLines(), ElementsAre(asserted(1075), asserted(210)));
  clearLog();
  EXPECT_EQ(kx_gen::GetValidFileName(nullptr, nullptr, nullptr), L"");
  EXPECT_THAT(logLines(), ElementsAre(asserted(1173), asserted(1075)));
}

}  // namespace
