// How the tool saves: through the library's save that cannot lose a document, and in no other way.
#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <regex>

#include "TestPlaces.h"
#include "ToolTest.h"

namespace kxo_test {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Save = ToolTest;

TEST_F(Save, TheSourcesKnowNoOtherWay) {
  const std::regex others(
      "\\b(WriteRows|WriteAllHeaders|WriteHeader|WriteDbInfo|rename|copy_file|MoveFile\\w*"
      "|ReplaceFile\\w*)\\s*\\(|\\bmodeCreate\\b");
  std::vector<std::string> found;
  for (const auto& entry : fs::recursive_directory_iterator(kx_test::sourceFolder() / "kxo")) {
    // What is no document is written by OutputFile.
    if (!entry.is_regular_file() || entry.path().stem() == "OutputFile") continue;
    std::ifstream in(entry.path(), std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::smatch match;
    if (std::regex_search(text, match, others))
      found.push_back(entry.path().string() + match.str());
  }
  EXPECT_THAT(found, IsEmpty());
}

TEST_F(Save, WhatAnEarlierRunLeftGoes) {
  WriteUserFile(".kx-save-0123456789abcdef.tmp", "left");
  EXPECT_EQ(Import(OpmlText("<outline text=\"1\"/>")).exitCode, 0);
  EXPECT_THAT(UserFiles(), ElementsAre("in.kxo", "in.opml"));
}

TEST_F(Save, AFileThatNobodyMayWriteIsNotReplaced) {
  WriteUserFile("in.kxo", "precious");
  fs::permissions(User("in.kxo"), fs::perms::owner_read);
  const ProgramRun run = Import(OpmlText(""), {"--force"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.err,
            "kxo: in.kxo: the system refuses access; check the permissions of the file and its "
            "folder\n");
  EXPECT_EQ(UserFile("in.kxo"), "precious");
}

TEST_F(Save, ALockedFileIsToldAndEndsWithItsOwnCode) {
  EXPECT_EQ(Import(OpmlText("<outline text=\"1\"/>")).exitCode, 0);
  kx_gen::CFile other;
  other.Open(User("in.kxo").wstring().c_str(), kx_gen::CFile::modeReadWrite);
  const std::vector<std::vector<std::string>> lines = {
      {"show", "in.kxo"}, {"info", "in.kxo"}, {"import", "in.opml", "--force"}};
  for (const std::vector<std::string>& line : lines) {
    const ProgramRun run = Kxo(line);
    EXPECT_EQ(run.exitCode, 4) << line[0];
    EXPECT_EQ(run.out, "") << line[0];
    EXPECT_EQ(run.err,
              "kxo: in.kxo: the file is in use by another program; close it there and try again\n");
  }
  other.Close();
  EXPECT_EQ(Kxo({"show", "in.kxo"}).out, "T\n- 1\n");
}

}  // namespace
}  // namespace kxo_test
