#include "SeamSupport.h"
#include "Wine.h"

namespace kx_seam {
namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::wstring>;

class FindTest : public kx_test::KxTest {
 protected:
  void SetUp() override {
    KxTest::SetUp();
    fs::create_directories("d/sub");
    fs::create_directory("empty");
    for (const char* name : {"d/b.kxo", "d/A.KXO", "d/c.kxob", "d/noext", "d/n.kxo.bak"}) {
      makeFile(name, "12345");
    }
  }
};

TEST_F(FindTest, WithoutAMatchTheErrorTellsWhatIsMissing) {
  EXPECT_EQ(2u, search(L"d\\*.none").error);
  EXPECT_EQ(2u, search(L"d\\none").error);
  EXPECT_EQ(3u, search(L"nodir\\*").error);
  EXPECT_EQ(3u, search(L"nodir\\a.txt").error);
  EXPECT_EQ(3u, search(L"").error);
  // Wine takes the name of the folder that is none for a wrong one.
  const DWORD noFolder = kx_test::unlessOnWine(267u, 123u);
  EXPECT_EQ(noFolder, search(L"d\\noext\\*").error);
  EXPECT_EQ(noFolder, search(L"d\\noext\\a.txt").error);
  EXPECT_EQ(123u, search(L"*\\a.txt").error);
  EXPECT_EQ(123u, search(L"d?\\*").error);
}

TEST_F(FindTest, AllPatternsListEverythingAndBothDots) {
  const Names all = {L".", L"..", L"A.KXO", L"b.kxo", L"c.kxob", L"n.kxo.bak", L"noext", L"sub"};
  EXPECT_EQ(all, search(L"d\\*").names);
  EXPECT_EQ(all, search(L"d/*.*").names);
  EXPECT_EQ((Names{L".", L".."}), search(L"empty\\*").names);
  EXPECT_EQ(2u, search(L"empty\\*.txt").error);
}

TEST_F(FindTest, AnExtensionIsMatchedWhole) {
  EXPECT_EQ((Names{L"A.KXO", L"b.kxo"}), search(L"d\\*.kxo").names);
  EXPECT_EQ((Names{L"c.kxob"}), search(L"d\\*.kxob").names);
  EXPECT_EQ((Names{L"A.KXO", L"b.kxo"}), search(L"d\\?.kxo").names);
  EXPECT_EQ((Names{L"noext"}), search(L"d\\noext.*").names);
}

TEST_F(FindTest, ANameWithoutWildcardsFindsItself) {
  EXPECT_EQ((Names{L"b.kxo"}), search(L"d\\b.kxo").names);
  EXPECT_EQ((Names{L"sub"}), search(L"d/sub").names);
  EXPECT_EQ((Names{L"b.kxo"}), search(path(L"d\\b.kxo")).names);
}

TEST_F(FindTest, AfterTheLastMatchTheErrorIs18AgainAndAgain) {
  WIN32_FIND_DATAW data = {};
  const HANDLE handle = kx_FindFirst(L"d\\b.*", &data);
  ASSERT_NE(INVALID_HANDLE_VALUE, handle);
  for (int i = 0; i < 3; ++i) {
    EXPECT_FALSE(kx_FindNext(handle, &data));
    EXPECT_EQ(18u, GetLastError());
  }
  EXPECT_TRUE(kx_FindClose(handle));
}

TEST_F(FindTest, AHandleThatIsNoSearchIsError6) {
  WIN32_FIND_DATAW data = {};
  EXPECT_FALSE(kx_FindNext(INVALID_HANDLE_VALUE, &data));
  EXPECT_EQ(6u, GetLastError());
  EXPECT_FALSE(kx_FindClose(INVALID_HANDLE_VALUE));
  EXPECT_EQ(6u, GetLastError());
}

TEST_F(FindTest, FilesThatComeAndGoDuringASearchChangeNothing) {
  WIN32_FIND_DATAW data = {};
  const HANDLE handle = kx_FindFirst(L"d\\*.kxo", &data);
  ASSERT_NE(INVALID_HANDLE_VALUE, handle);
  fs::remove("d/b.kxo");
  makeFile("d/z.kxo");
  ASSERT_TRUE(kx_FindNext(handle, &data));
  EXPECT_EQ(std::wstring(L"b.kxo"), data.cFileName);
  EXPECT_FALSE(kx_FindNext(handle, &data));
  EXPECT_TRUE(kx_FindClose(handle));
}

TEST_F(FindTest, AMatchTellsSizeAttributesAndTimes) {
  WIN32_FIND_DATAW data = {};
  const HANDLE handle = kx_FindFirst(L"d\\b.*", &data);
  ASSERT_NE(INVALID_HANDLE_VALUE, handle);
  EXPECT_EQ(5u, data.nFileSizeLow);
  EXPECT_EQ(0u, data.nFileSizeHigh);
  EXPECT_EQ(0x20u, data.dwFileAttributes);
  FILETIME creation, access, write;
  const Opened file(L"d\\b.kxo", GENERIC_READ);
  ASSERT_TRUE(GetFileTime(file.handle(), &creation, &access, &write));
  EXPECT_EQ(write.dwHighDateTime, data.ftLastWriteTime.dwHighDateTime);
  EXPECT_EQ(write.dwLowDateTime, data.ftLastWriteTime.dwLowDateTime);
  EXPECT_TRUE(kx_FindClose(handle));
  kx_FindClose(kx_FindFirst(L"d\\sub", &data));
  EXPECT_EQ(0x10u, data.dwFileAttributes);
}

TEST_F(FindTest, TwoSearchesRunIndependently) {
  WIN32_FIND_DATAW first = {};
  WIN32_FIND_DATAW second = {};
  const HANDLE one = kx_FindFirst(L"d\\*.kxo", &first);
  const HANDLE two = kx_FindFirst(L"d\\*.kxo", &second);
  EXPECT_NE(one, two);
  EXPECT_TRUE(kx_FindNext(one, &first));
  EXPECT_FALSE(kx_FindNext(one, &first));
  EXPECT_TRUE(kx_FindNext(two, &second));
  EXPECT_TRUE(kx_FindClose(one));
  EXPECT_FALSE(kx_FindNext(two, &second));
  EXPECT_TRUE(kx_FindClose(two));
}

}  // namespace
}  // namespace kx_seam
