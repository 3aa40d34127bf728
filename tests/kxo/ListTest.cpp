#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <regex>

#include "Kept.h"
#include "ToolTest.h"

namespace kxo_test {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

using kx_gen::COutlineDB;

class List : public ToolTest {
 protected:
  void WriteTitled(const fs::path& name, const wchar_t* title, const wchar_t* category,
                   int items) const {
    WriteDocument(name, [&](COutlineDB& db) {
      db.SetOutlineTitle(title);
      db.SetCategoryName(category);
      for (int i = 0; i < items; ++i) AddRow(db, 0, L"item");
    });
  }
  /// Names of files have the system's own separators.
  static std::string Native(const std::string& name) {
    return fs::path(name).make_preferred().string();
  }
};

/// With a word for the time and the size, which no test can know.
std::string WithoutTimes(const std::string& text) {
  static const std::regex kTime("[0-9-]{10}T[0-9:]{8}Z");
  return std::regex_replace(text, kTime, "TIME");
}

TEST_F(List, TellsOfEveryDocumentBelowAFolderInOrder) {
  fs::create_directories(User("in") / "deep");
  WriteTitled("in/deep/c.kxo", L"Third", L"Private", 0);
  WriteTitled("in/b.KXO", L"Second", L"Work", 2);
  WriteTitled("in/a.kxo", L"First\tof all", L"Work", 1);
  WriteUserFile("in/notes.txt", "no document");
  const ProgramRun run = Kxo({"list", "in"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.err, "");
  const auto size = [this](const char* name) { return std::to_string(UserFile(name).size()); };
  EXPECT_EQ(WithoutTimes(run.out), "First\\tof all\tWork\t1\tTIME\t" + size("in/a.kxo") + "\t" +
                                       Native("in/a.kxo") + "\nSecond\tWork\t2\tTIME\t" +
                                       size("in/b.KXO") + "\t" + Native("in/b.KXO") +
                                       "\nThird\tPrivate\t0\tTIME\t" + size("in/deep/c.kxo") +
                                       "\t" + Native("in/deep/c.kxo") + "\n");
}

TEST_F(List, TellsProgramsTheSameAsJson) {
  WriteTitled("a.kxo", L"A\nB", L"Work", 1);
  const ProgramRun run = Kxo({"list", "a.kxo", "none.kxo", "--json"});
  EXPECT_EQ(run.exitCode, 5);
  const auto json = nlohmann::json::parse(run.out);
  ASSERT_EQ(json["documents"].size(), 1u);
  const auto& document = json["documents"][0];
  EXPECT_EQ(document["file"], "a.kxo");
  EXPECT_EQ(document["title"], "A\nB");
  EXPECT_EQ(document["category"], "Work");
  EXPECT_EQ(document["items"], 1);
  EXPECT_EQ(document["outlineChanged"], true);
  EXPECT_EQ(document["size"], UserFile("a.kxo").size());
  EXPECT_TRUE(std::regex_match(document["changed"].get<std::string>(),
                               std::regex("20[0-9]{2}-[0-9-]{5}T[0-9:]{8}Z")));
  ASSERT_EQ(json["failures"].size(), 1u);
  EXPECT_EQ(json["failures"][0]["file"], "none.kxo");
}

TEST_F(List, NamesWhatCannotBeReadAtTheEnd) {
  WriteTitled("a.kxo", L"A", L"Work", 1);
  WriteUserFile("bad.kxo", "no document");
  const ProgramRun run = Kxo({"list", "none.kxo", ".", "a.kxo"});
  EXPECT_EQ(run.exitCode, 5);
  EXPECT_EQ(LinesOf(run.out).size(), 2u);
  EXPECT_THAT(LinesOf(run.err),
              ElementsAre("kxo: none.kxo: there is no such file; check the name",
                          HasSubstr("bad.kxo: cannot be read at offset 0 (the check code)"),
                          "kxo: 2 of 4 documents cannot be read"));
}

TEST_F(List, OneDocumentThatFailsGivesItsOwnExitCode) {
  WriteUserFile("bad.kxo", "no document");
  EXPECT_EQ(Kxo({"list", "bad.kxo"}).exitCode, 3);
  EXPECT_EQ(Kxo({"list", "bad.kxo", "bad.kxo"}).exitCode, 3);
  EXPECT_EQ(Kxo({"list", "bad.kxo", "none.kxo"}).exitCode, 2);
  EXPECT_EQ(Kxo({"list", "none.kxo"}).exitCode, 2);
  EXPECT_EQ(Kxo({"list", ""}).exitCode, 2);
  EXPECT_EQ(Kxo({"list"}).exitCode, 2);
}

TEST_F(List, AFolderWithoutDocumentsIsAnEmptyList) {
  const ProgramRun run = Kxo({"list", "."});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(KxoOnTerminal({"list", "."}).out, "");
  EXPECT_EQ(nlohmann::json::parse(Kxo({"list", ".", "--json"}).out)["documents"].size(), 0u);
}

TEST_F(List, StandardInputIsADocumentToo) {
  WriteTitled("a.kxo", L"A", L"Work", 1);
  options_.input = User("a.kxo");
  EXPECT_THAT(Kxo({"list", "-"}).out, StartsWith("A\tWork\t1\t"));
}

TEST_F(List, StandardInputIsReadOnce) {
  WriteTitled("a.kxo", L"A", L"Work", 1);
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"list", "-", "a.kxo", "-"}, {"search", "A", "-", "-"}}) {
    const ProgramRun run = Kxo(command);
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "kxo: standard input is named twice; it can be read once\n");
  }
}

}  // namespace
}  // namespace kxo_test
