// File search: starting, walking and ending it, and what it tells of the current match.
#include <gmock/gmock.h>

#include "File.h"
#include "KxTest.h"

namespace {

using kx_gen::_String;
using kx_gen::CFile;
using kx_gen::CFileFind;
using kx_gen::CFileStatus;
using kx_gen::CTime;
using kx_test::assertionLine;
using kx_test::clearLog;
using kx_test::logLines;
using kx_test::writeFile;
using testing::ElementsAre;
using testing::IsEmpty;

namespace fs = std::filesystem;

constexpr unsigned long kFolderAttribute = 0x10;
constexpr unsigned long kFileAttribute = 0x20;

std::string asserted(int line) { return assertionLine(".\\File", line); }

bool isSeparator(wchar_t c) { return c == L'\\' || c == L'/'; }

bool isDots(const std::wstring& name) { return name == L"." || name == L".."; }

// Tells what the system is asked to end.
class WatchedFind : public CFileFind {
 public:
  static std::ptrdiff_t closeContextSlot() {
    return kx_test::virtualSlot(&WatchedFind::CloseContext);
  }
  int ended = 0;

 protected:
  void CloseContext() override {
    ++ended;
    CFileFind::CloseContext();
  }
};

class FileFindTest : public kx_test::KxTest {
 protected:
  void SetUp() override {
    KxTest::SetUp();
    fs::create_directory("dir");
    fs::create_directory("dir/sub");
    for (const char* name : {"dir/b.txt", "dir/a.txt", "dir/c.kxo", "dir/d.kxob", "dir/plain"}) {
      writeFile(name, {1, 2, 3});
    }
    clearLog();
  }
  void TearDown() override {
    find_.Close();
    KxTest::TearDown();
  }

  static std::vector<std::wstring> namesIn(CFileFind& find) {
    std::vector<std::wstring> names;
    bool more = true;
    while (more) {
      more = find.FindNextFileW();
      names.push_back(find.GetFileName());
    }
    return names;
  }

  static std::vector<std::wstring> found(const wchar_t* pattern) {
    CFileFind find;
    return find.FindFile(pattern) ? namesIn(find) : std::vector<std::wstring>();
  }

  CFileFind find_;
};

TEST_F(FileFindTest, VirtualMembersKeepTheirSlots) {
  using kx_test::virtualSlot;
  EXPECT_EQ(virtualSlot(&CFileFind::GetFileName), 2);
  EXPECT_EQ(virtualSlot(&CFileFind::GetFilePath), 3);
  EXPECT_EQ(virtualSlot(&CFileFind::GetFileTitle), 4);
  EXPECT_EQ(virtualSlot(&CFileFind::GetRoot), 5);
  EXPECT_EQ(virtualSlot(&CFileFind::GetLastWriteTime), 6);
  EXPECT_EQ(virtualSlot(&CFileFind::GetLastAccessTime), 7);
  EXPECT_EQ(virtualSlot(&CFileFind::GetCreationTime), 8);
  EXPECT_EQ(virtualSlot(&CFileFind::MatchesMask), 9);
  EXPECT_EQ(virtualSlot(&CFileFind::IsDots), 10);
  EXPECT_EQ(virtualSlot(&CFileFind::FindFile), 11);
  EXPECT_EQ(virtualSlot(&CFileFind::FindNextFileW), 12);
  EXPECT_EQ(WatchedFind::closeContextSlot(), 13);
  EXPECT_EQ(virtualSlot(&CFileFind::Close), -1);
  EXPECT_EQ(virtualSlot(&CFileFind::GetLength), -1);
}

TEST_F(FileFindTest, IdleFindAssertsAndTellsNothing) {
  EXPECT_FALSE(find_.FindNextFileW());
  EXPECT_EQ(find_.GetFileName(), L"");
  EXPECT_EQ(find_.GetRoot(), L"");
  EXPECT_FALSE(find_.MatchesMask(0xFFFFFFFF));
  EXPECT_EQ(find_.GetLength(), 0u);
  EXPECT_THAT(logLines(), ElementsAre(asserted(732), asserted(783), asserted(750), asserted(655),
                                      asserted(794)));
  clearLog();
  EXPECT_EQ(find_.GetFilePath(), L"\\");
  EXPECT_THAT(logLines(), ElementsAre(asserted(750), asserted(783)));
  clearLog();
  EXPECT_EQ(find_.GetFileTitle(), L"");
  EXPECT_THAT(logLines(), ElementsAre(asserted(783)));
  clearLog();
  FILETIME time = {1, 2};
  EXPECT_FALSE(find_.IsDots());
  EXPECT_FALSE(find_.GetCreationTime(&time));
  EXPECT_FALSE(find_.GetLastAccessTime(&time));
  EXPECT_FALSE(find_.GetLastWriteTime(&time));
  EXPECT_EQ(time.dwLowDateTime, 1u);
  EXPECT_EQ(time.dwHighDateTime, 2u);
  find_.Close();
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FileFindTest, NoMatchIsCurrentUntilTheFirstStep) {
  ASSERT_TRUE(find_.FindFile(L"dir\\*.txt"));
  EXPECT_EQ(find_.GetFileName(), L"");
  EXPECT_EQ(find_.GetFileTitle(), L"");
  EXPECT_EQ(find_.GetFilePath(), find_.GetRoot() + L'\\');
  EXPECT_EQ(find_.GetLength(), 0u);
  EXPECT_FALSE(find_.MatchesMask(0xFFFFFFFF));
  EXPECT_FALSE(find_.IsDots());
  FILETIME time = {};
  EXPECT_FALSE(find_.GetLastWriteTime(&time));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FileFindTest, LastMatchIsCurrentWhenTheStepAnswersFalse) {
  ASSERT_TRUE(find_.FindFile(L"dir\\*.txt"));
  EXPECT_TRUE(find_.FindNextFileW());
  EXPECT_EQ(find_.GetFileName(), L"a.txt");
  EXPECT_FALSE(find_.FindNextFileW());
  EXPECT_EQ(find_.GetFileName(), L"b.txt");
  for (int again = 0; again < 3; ++again) {
    EXPECT_FALSE(find_.FindNextFileW());
    EXPECT_EQ(find_.GetFileName(), L"b.txt");
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FileFindTest, OnlyMatchIsReachedByOneStepThatAnswersFalse) {
  ASSERT_TRUE(find_.FindFile(L"dir\\c.kxo"));
  EXPECT_FALSE(find_.FindNextFileW());
  EXPECT_EQ(find_.GetFileName(), L"c.kxo");
}

TEST_F(FileFindTest, StarAloneAndStarDotStarFindEverything) {
  for (const wchar_t* pattern : {L"dir\\*", L"dir/*.*"}) {
    EXPECT_THAT(found(pattern), ElementsAre(L".", L"..", L"a.txt", L"b.txt", L"c.kxo", L"d.kxob",
                                            L"plain", L"sub"));
  }
}

TEST_F(FileFindTest, PatternsMatchWholeNamesIgnoringCase) {
  EXPECT_THAT(found(L"dir\\*.kxo"), ElementsAre(L"c.kxo"));
  EXPECT_THAT(found(L"dir\\*.KXO*"), ElementsAre(L"c.kxo", L"d.kxob"));
  EXPECT_THAT(found(L"dir\\?.txt"), ElementsAre(L"a.txt", L"b.txt"));
  EXPECT_THAT(found(L"dir\\??.txt"), IsEmpty());
  EXPECT_THAT(found(L"dir\\PLAIN.*"), ElementsAre(L"plain"));
  EXPECT_THAT(found(L"dir\\s*"), ElementsAre(L"sub"));
  EXPECT_THAT(found(L"dir\\*.bmp"), IsEmpty());
}

TEST_F(FileFindTest, EmptyFolderHasItsDotsOnly) {
  EXPECT_THAT(found(L"dir\\sub\\*"), ElementsAre(L".", L".."));
  EXPECT_THAT(found(L"dir\\sub\\*.txt"), IsEmpty());
}

TEST_F(FileFindTest, NothingIsFoundWhereThereIsNoFolder) {
  EXPECT_FALSE(find_.FindFile(L"nowhere\\*"));
  EXPECT_FALSE(find_.FindFile(L""));
  EXPECT_FALSE(find_.FindFile(L"dir\\a.txt\\*"));
  EXPECT_FALSE(find_.FindFile(L"d*\\a.txt"));
  EXPECT_FALSE(find_.FindFile(L"dir\\missing"));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(FileFindTest, FailedSearchLeavesTheFindIdle) {
  ASSERT_TRUE(find_.FindFile(L"dir\\*"));
  find_.FindNextFileW();
  EXPECT_FALSE(find_.FindFile(L"dir\\missing"));
  EXPECT_FALSE(find_.FindNextFileW());
  EXPECT_EQ(find_.GetFileName(), L"");
  EXPECT_THAT(logLines(), ElementsAre(asserted(732), asserted(783)));
}

TEST_F(FileFindTest, NullPatternSearchesEverythingInTheCurrentFolder) {
  ASSERT_TRUE(find_.FindFile(nullptr));
  const std::wstring root = find_.GetRoot();
  EXPECT_EQ(fs::path(root), folder());
  std::vector<std::wstring> names;
  for (const std::wstring& name : namesIn(find_)) {
    if (!isDots(name)) names.push_back(name);
  }
  EXPECT_THAT(names, ElementsAre(L"dir"));
}

TEST_F(FileFindTest, RootIsTheFolderOfThePattern) {
  const std::wstring dir = path(L"dir");
  ASSERT_TRUE(find_.FindFile((dir + L"\\*.txt").c_str()));
  EXPECT_EQ(find_.GetRoot(), dir.c_str());
  ASSERT_TRUE(find_.FindFile((dir + L"/*.txt").c_str()));
  EXPECT_EQ(find_.GetRoot(), dir.c_str());
  ASSERT_TRUE(find_.FindFile(L"dir\\*.txt"));
  EXPECT_TRUE(fs::equivalent(fs::path("dir"), folder() / "dir"));
  const std::wstring root = find_.GetRoot();
  EXPECT_EQ(root.substr(0, folder().wstring().size()), folder().wstring());
  EXPECT_EQ(root.substr(root.size() - 3), L"dir");
  EXPECT_TRUE(isSeparator(root[root.size() - 4]));
}

TEST_F(FileFindTest, RootOfAPatternRightBehindTheFirstSeparatorIsEmpty) {
  ASSERT_TRUE(find_.FindFile(L"/*"));
  EXPECT_EQ(find_.GetRoot(), L"");
  find_.FindNextFileW();
  EXPECT_EQ(find_.GetFilePath(), _String(L"\\") + find_.GetFileName());
}

TEST_F(FileFindTest, FolderThatDoesNotFitAPathIsAssertedAndRefused) {
  std::wstring pattern = path(L"dir");
  while (pattern.size() < 260) pattern += L"\\.";
  pattern += L"\\*.txt";
  EXPECT_FALSE(find_.FindFile(pattern.c_str()));
  EXPECT_THAT(logLines(), ElementsAre(asserted(620)));
  EXPECT_FALSE(find_.FindNextFileW());
}

TEST_F(FileFindTest, RootStaysTellableAfterClosing) {
  ASSERT_TRUE(find_.FindFile(L"dir\\*"));
  const _String root = find_.GetRoot();
  find_.Close();
  EXPECT_EQ(find_.GetRoot(), root);
  EXPECT_THAT(logLines(), ElementsAre(asserted(750)));
}

TEST_F(FileFindTest, FilePathIsRootSeparatorAndNameAndOpens) {
  ASSERT_TRUE(find_.FindFile((path(L"dir") + L"/a.*").c_str()));
  find_.FindNextFileW();
  EXPECT_EQ(find_.GetFilePath(), (path(L"dir") + L"\\a.txt").c_str());
  CFile file;
  EXPECT_EQ(file.Open(find_.GetFilePath(), CFile::modeRead), 1);
  EXPECT_EQ(file.GetLength(), 3u);
}

TEST_F(FileFindTest, TitleIsTheNameWithoutItsExtension) {
  writeFile("dir/two.dots.txt", {});
  writeFile("dir/.hidden", {});
  const auto titleOf = [&](const wchar_t* name) {
    EXPECT_TRUE(find_.FindFile(name));
    find_.FindNextFileW();
    return std::wstring(find_.GetFileTitle());
  };
  EXPECT_EQ(titleOf(L"dir\\a.txt"), L"a");
  EXPECT_EQ(titleOf(L"dir\\two.dots.txt"), L"two.dots");
  EXPECT_EQ(titleOf(L"dir\\plain"), L"plain");
  EXPECT_EQ(titleOf(L"dir\\.hidden"), L"");
}

TEST_F(FileFindTest, MaskTellsFilesFromFolders) {
  ASSERT_TRUE(find_.FindFile(L"dir\\sub"));
  find_.FindNextFileW();
  EXPECT_TRUE(find_.MatchesMask(kFolderAttribute));
  EXPECT_TRUE(find_.MatchesMask(kFolderAttribute | kFileAttribute));
  EXPECT_FALSE(find_.MatchesMask(kFileAttribute));
  EXPECT_FALSE(find_.MatchesMask(0));
  ASSERT_TRUE(find_.FindFile(L"dir\\a.txt"));
  find_.FindNextFileW();
  EXPECT_FALSE(find_.MatchesMask(kFolderAttribute));
  EXPECT_TRUE(find_.MatchesMask(kFileAttribute));
}

TEST_F(FileFindTest, DotsAreTheFoldersOfThoseNames) {
  ASSERT_TRUE(find_.FindFile(L"dir\\*"));
  find_.FindNextFileW();
  EXPECT_TRUE(find_.IsDots());
  find_.FindNextFileW();
  EXPECT_TRUE(find_.IsDots());
  find_.FindNextFileW();
  EXPECT_EQ(find_.GetFileName(), L"a.txt");
  EXPECT_FALSE(find_.IsDots());
  ASSERT_TRUE(find_.FindFile(L"dir\\sub"));
  find_.FindNextFileW();
  EXPECT_FALSE(find_.IsDots());
}

TEST_F(FileFindTest, LengthIsTheLow32Bits) {
  ASSERT_TRUE(find_.FindFile(L"dir\\a.txt"));
  find_.FindNextFileW();
  EXPECT_EQ(find_.GetLength(), 3u);
  CFile file;
  file.Open(L"dir\\a.txt", CFile::modeReadWrite);
  file.Seek(0x7FFFFFFF, 0);
  file.Seek(0x7FFFFFFF, 1);
  file.Write("0123456", 7);
  file.Close();
  EXPECT_EQ(find_.GetLength(), 3u);
  ASSERT_TRUE(find_.FindFile(L"dir\\a.txt"));
  find_.FindNextFileW();
  EXPECT_EQ(find_.GetLength(), 5u);
}

TEST_F(FileFindTest, TimesAreThoseOfTheFile) {
  ASSERT_TRUE(find_.FindFile(L"dir\\a.txt"));
  find_.FindNextFileW();
  FILETIME creation = {};
  FILETIME access = {};
  FILETIME write = {};
  EXPECT_TRUE(find_.GetCreationTime(&creation));
  EXPECT_TRUE(find_.GetLastAccessTime(&access));
  EXPECT_TRUE(find_.GetLastWriteTime(&write));
  CFileStatus status;
  ASSERT_TRUE(CFile::GetStatus(L"dir\\a.txt", status));
  EXPECT_EQ(CTime(creation, -1).GetTime(), status.creationTime.GetTime());
  EXPECT_EQ(CTime(access, -1).GetTime(), status.lastAccessTime.GetTime());
  EXPECT_EQ(CTime(write, -1).GetTime(), status.lastWriteTime.GetTime());
  EXPECT_NE(write.dwHighDateTime, 0u);
  EXPECT_FALSE(find_.GetCreationTime(nullptr));
  EXPECT_FALSE(find_.GetLastAccessTime(nullptr));
  EXPECT_FALSE(find_.GetLastWriteTime(nullptr));
}

TEST_F(FileFindTest, FilesThatComeAndGoMeanwhileChangeNothing) {
  ASSERT_TRUE(find_.FindFile(L"dir\\*.txt"));
  fs::remove("dir/b.txt");
  writeFile("dir/aa.txt", {});
  EXPECT_THAT(namesIn(find_), ElementsAre(L"a.txt", L"b.txt"));
}

TEST_F(FileFindTest, NewSearchEndsTheRunningOne) {
  WatchedFind find;
  EXPECT_TRUE(find.FindFile(L"dir\\*"));
  EXPECT_EQ(find.ended, 0);
  EXPECT_TRUE(find.FindFile(L"dir\\*.kxo"));
  EXPECT_EQ(find.ended, 1);
  EXPECT_THAT(namesIn(find), ElementsAre(L"c.kxo"));
  EXPECT_FALSE(find.FindFile(L"dir\\missing"));
  EXPECT_EQ(find.ended, 2);
}

TEST_F(FileFindTest, CloseEndsARunningSearchOnce) {
  WatchedFind find;
  find.Close();
  EXPECT_EQ(find.ended, 0);
  EXPECT_TRUE(find.FindFile(L"dir\\*"));
  find.Close();
  find.Close();
  EXPECT_EQ(find.ended, 1);
  EXPECT_FALSE(find.FindNextFileW());
  EXPECT_THAT(logLines(), ElementsAre(asserted(732)));
}

TEST_F(FileFindTest, FlagsChangeNothing) {
  ASSERT_TRUE(find_.FindFile(L"dir\\*.txt", 0xFFFFFFFF));
  EXPECT_THAT(namesIn(find_), ElementsAre(L"a.txt", L"b.txt"));
}

TEST_F(FileFindTest, LargeFoldersAreListedWholeAndSorted) {
  std::vector<std::wstring> expected;
  for (int i = 999; i >= 0; --i) {
    const std::string number = std::to_string(1000 + i);
    writeFile("dir/sub/n" + number + ".kxo", {});
    expected.insert(expected.begin(), L"n" + std::wstring(number.begin(), number.end()) + L".kxo");
  }
  EXPECT_EQ(found(L"dir\\sub\\*.kxo"), expected);
}

}  // namespace
