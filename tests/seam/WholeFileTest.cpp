#include "SeamSupport.h"
#include "Wine.h"

namespace kx_seam {
namespace {

namespace fs = std::filesystem;

class WholeFileTest : public kx_test::KxTest {
 protected:
  void SetUp() override {
    KxTest::SetUp();
    makeFile("a.txt", "aaa");
    makeFile("b.txt", "bb");
    fs::create_directory("dir");
  }

  static DWORD MoveError(const wchar_t* from, const wchar_t* to) {
    return errorOf(MoveFileW(from, to));
  }
  static DWORD CopyError(const wchar_t* from, const wchar_t* to) {
    return errorOf(CopyFileW(from, to, TRUE));
  }
  static DWORD DeleteError(const wchar_t* name) { return errorOf(DeleteFileW(name)); }
  static DWORD AttributeError(const wchar_t* name) {
    return errorOf(GetFileAttributesW(name) != INVALID_FILE_ATTRIBUTES);
  }
};

TEST_F(WholeFileTest, MovingGivesANewName) {
  EXPECT_EQ(0u, MoveError(L"a.txt", L"dir\\c.txt"));
  EXPECT_FALSE(fs::exists("a.txt"));
  EXPECT_EQ("aaa", textOf("dir/c.txt"));
}

TEST_F(WholeFileTest, MovingOntoAnythingThatExistsIsError183) {
  EXPECT_EQ(183u, MoveError(L"a.txt", L"b.txt"));
  EXPECT_EQ(183u, MoveError(L"a.txt", L"dir"));
  EXPECT_EQ("bb", textOf("b.txt"));
  EXPECT_EQ("aaa", textOf("a.txt"));
}

TEST_F(WholeFileTest, MovingOntoItselfAndToAnotherCaseOfTheNameIsFine) {
  EXPECT_EQ(0u, MoveError(L"a.txt", L"a.txt"));
  EXPECT_EQ(0u, MoveError(L"a.txt", L".\\dir\\..\\a.txt"));
  EXPECT_EQ("aaa", textOf("a.txt"));
  EXPECT_EQ(0u, MoveError(L"a.txt", L"A.TXT"));
  // Wine takes this for moving a file onto itself, and leaves it alone.
  const std::wstring name = kx_test::onWine() ? L"a.txt" : L"A.TXT";
  EXPECT_EQ((std::vector<std::wstring>{name}), search(L"a.*").names);
}

TEST_F(WholeFileTest, MovingFromOrToWhatIsMissingIsAnError) {
  EXPECT_EQ(2u, MoveError(L"none.txt", L"c.txt"));
  EXPECT_EQ(3u, MoveError(L"nodir\\a.txt", L"c.txt"));
  EXPECT_EQ(3u, MoveError(L"a.txt", L"nodir\\c.txt"));
  EXPECT_EQ("aaa", textOf("a.txt"));
}

TEST_F(WholeFileTest, AnOpenFileIsNeitherMovedNorDeleted) {
  for (const DWORD access : kRealAccesses) {
    const Opened holder(L"a.txt", access, OPEN_EXISTING, kShareAll);
    EXPECT_EQ(32u, MoveError(L"a.txt", L"c.txt")) << access;
    EXPECT_EQ(32u, DeleteError(L"a.txt")) << access;
  }
  EXPECT_EQ(0u, MoveError(L"a.txt", L"c.txt"));
  EXPECT_EQ(0u, DeleteError(L"c.txt"));
  EXPECT_FALSE(fs::exists("c.txt"));
}

TEST_F(WholeFileTest, FoldersMoveAsWell) {
  makeFile("dir/x", "x");
  EXPECT_EQ(0u, MoveError(L"dir", L"other"));
  EXPECT_EQ("x", textOf("other/x"));
}

TEST_F(WholeFileTest, CopyingOntoAnythingThatExistsIsError80) {
  EXPECT_EQ(80u, CopyError(L"a.txt", L"b.txt"));
  EXPECT_EQ(80u, CopyError(L"a.txt", L"a.txt"));
  EXPECT_EQ(80u, CopyError(L"a.txt", L"dir"));
  EXPECT_EQ("bb", textOf("b.txt"));
  EXPECT_EQ("aaa", textOf("a.txt"));
}

TEST_F(WholeFileTest, CopyingFromOrToWhatIsMissingIsAnError) {
  EXPECT_EQ(2u, CopyError(L"none.txt", L"c.txt"));
  EXPECT_EQ(3u, CopyError(L"nodir\\a.txt", L"c.txt"));
  EXPECT_EQ(3u, CopyError(L"a.txt", L"nodir\\c.txt"));
  EXPECT_EQ(5u, CopyError(L"dir", L"c.txt"));
  EXPECT_EQ(87u, CopyError(nullptr, L"c.txt"));
  EXPECT_EQ(87u, CopyError(L"a.txt", nullptr));
  EXPECT_FALSE(fs::exists("c.txt"));
}

TEST_F(WholeFileTest, AnOpenFileIsCopiedWhenItAllowsReading) {
  {
    const Opened holder(L"a.txt", kReadWrite, OPEN_EXISTING, FILE_SHARE_WRITE);
    EXPECT_EQ(32u, CopyError(L"a.txt", L"c.txt"));
  }
  EXPECT_FALSE(fs::exists("c.txt"));
  const Opened holder(L"a.txt", kReadWrite, OPEN_EXISTING, FILE_SHARE_READ);
  EXPECT_EQ(0u, CopyError(L"a.txt", L"c.txt"));
  EXPECT_EQ("aaa", textOf("c.txt"));
}

TEST_F(WholeFileTest, ACopyKeepsAttributesAndWriteTime) {
  const auto yesterday = fs::last_write_time("a.txt") - std::chrono::hours(24);
  fs::last_write_time("a.txt", yesterday);
  makeReadOnly("a.txt");
  EXPECT_EQ(0u, CopyError(L"a.txt", L"c.txt"));
  EXPECT_EQ(0x21u, GetFileAttributesW(L"c.txt"));
  WIN32_FIND_DATAW original = {};
  WIN32_FIND_DATAW copy = {};
  kx_FindClose(kx_FindFirst(L"a.txt", &original));
  kx_FindClose(kx_FindFirst(L"c.txt", &copy));
  EXPECT_EQ(original.ftLastWriteTime.dwLowDateTime, copy.ftLastWriteTime.dwLowDateTime);
  EXPECT_EQ(original.ftLastWriteTime.dwHighDateTime, copy.ftLastWriteTime.dwHighDateTime);
  EXPECT_EQ("aaa", textOf("c.txt"));
  makeWritable("a.txt");
  makeWritable("c.txt");
}

TEST_F(WholeFileTest, ACopyOfManyBlocksIsWhole) {
  std::string data(3'000'001, 'x');
  for (size_t i = 0; i < data.size(); i += 997) data[i] = static_cast<char>(i);
  makeFile("big", data);
  EXPECT_EQ(0u, CopyError(L"big", L"copy"));
  EXPECT_EQ(data, textOf("copy"));
}

TEST_F(WholeFileTest, DeletingRefusesWhatIsNoDeletableFile) {
  makeReadOnly("a.txt");
  EXPECT_EQ(2u, DeleteError(L"none.txt"));
  EXPECT_EQ(3u, DeleteError(L"nodir\\none.txt"));
  EXPECT_EQ(5u, DeleteError(L"dir"));
  EXPECT_EQ(5u, DeleteError(L"a.txt"));
  EXPECT_EQ(123u, DeleteError(L"*.txt"));
  EXPECT_TRUE(fs::exists("a.txt"));
  EXPECT_TRUE(fs::exists("b.txt"));
  makeWritable("a.txt");
  EXPECT_EQ(0u, DeleteError(L"a.txt"));
  EXPECT_FALSE(fs::exists("a.txt"));
}

TEST_F(WholeFileTest, AttributesTellFilesFoldersAndReadOnlyFiles) {
  Opened(L"new.txt", kReadWrite, CREATE_ALWAYS).Close();
  EXPECT_EQ(0x20u, GetFileAttributesW(L"new.txt"));
  EXPECT_EQ(0x10u, GetFileAttributesW(L"dir"));
  EXPECT_EQ(0x10u, GetFileAttributesW(L"dir\\"));
  makeReadOnly("new.txt");
  EXPECT_EQ(0x21u, GetFileAttributesW(L"new.txt"));
  makeWritable("new.txt");
}

TEST_F(WholeFileTest, AttributesOfWhatIsMissingAreAnError) {
  EXPECT_EQ(2u, AttributeError(L"none.txt"));
  EXPECT_EQ(3u, AttributeError(L"nodir\\none.txt"));
  EXPECT_EQ(3u, AttributeError(L""));
  EXPECT_EQ(123u, AttributeError(L"*.txt"));
}

}  // namespace
}  // namespace kx_seam
