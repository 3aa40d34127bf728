#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <nlohmann/json.hpp>

#include "NamePath.h"
#include "ToolTest.h"

namespace kxo_test {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

using kx_gen::COutlineDB;

class Convert : public ToolTest {
 protected:
  void MakeDocument(const fs::path& name, const wchar_t* text = L"item") const {
    fs::create_directories(User(name).parent_path());
    WriteDocument(name, [text](COutlineDB& db) {
      db.SetOutlineTitle(L"T");
      AddRow(db, 0, text);
    });
  }
  /// The files below a folder of the user's, with slashes, sorted.
  std::vector<std::string> FilesIn(const std::string& folder) const {
    std::vector<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(User(folder))) {
      if (!entry.is_regular_file()) continue;
      const std::u8string name = entry.path().lexically_relative(User(folder)).generic_u8string();
      names.emplace_back(name.begin(), name.end());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  /// Makes a file older than what is written now.
  void MakeOld(const fs::path& name) const {
    fs::last_write_time(User(name), fs::last_write_time(User(name)) - std::chrono::hours(1));
  }
  ProgramRun ToText(const std::vector<std::string>& paths,
                    const std::vector<std::string>& more = {}) const {
    std::vector<std::string> arguments = {"convert", "--to", "text", "--out-dir", "out"};
    arguments.insert(arguments.end(), paths.begin(), paths.end());
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Kxo(arguments);
  }
};

TEST_F(Convert, FoldersAreSearchedAndComeBackInTheResults) {
  for (int i = 0; i < 30; ++i) {
    MakeDocument(PathOf("in") / ("d" + std::to_string(i % 4)) / (std::to_string(i) + ".kxo"));
  }
  fs::copy_file(User("in/d0/0.kxo"), User(PathOf("in/caf\u00E9.KXO")));
  WriteUserFile(PathOf("in") / "other.txt", "no document");
  const ProgramRun run = ToText({"in"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "kxo: 31 documents: 31 converted\n");
  const std::vector<std::string> made = FilesIn("out");
  EXPECT_EQ(made.size(), 31u);
  EXPECT_THAT(made, ::testing::Contains("caf\u00E9.txt"));
  EXPECT_THAT(made, ::testing::Contains("d3/27.txt"));
  EXPECT_EQ(UserFile(PathOf("out") / "d3" / "27.txt"), "T\n\nitem\n");
}

TEST_F(Convert, DocumentsByNameGoIntoTheFolderItself) {
  MakeDocument(PathOf("a") / "b" / "one.kxo");
  MakeDocument("two.kxo");
  EXPECT_EQ(ToText({"a/b/one.kxo", "two.kxo"}).exitCode, 0);
  EXPECT_THAT(FilesIn("out"), ElementsAre("one.txt", "two.txt"));
}

TEST_F(Convert, TheFolderForResultsMayBeNamedByWayOfAnother) {
  MakeDocument(PathOf("in") / "deep" / "one.kxo");
  const ProgramRun run =
      Kxo({"convert", "in", "--to", "text", "--out-dir", NameOf(PathOf("in") / ".." / "out")});
  EXPECT_EQ(run.err, "kxo: 1 document: 1 converted\n");
  EXPECT_THAT(FilesIn("out"), ElementsAre("deep/one.txt"));
}

TEST_F(Convert, WhatIsUpToDateIsLeftAlone) {
  MakeDocument(PathOf("in") / "a.kxo");
  MakeDocument(PathOf("in") / "b.kxo");
  MakeOld(PathOf("in") / "a.kxo");
  MakeOld(PathOf("in") / "b.kxo");
  EXPECT_EQ(ToText({"in"}).err, "kxo: 2 documents: 2 converted\n");
  WriteUserFile(PathOf("out") / "a.txt", "mine");
  EXPECT_EQ(ToText({"in"}).err, "kxo: 2 documents: 0 converted, 2 up to date\n");
  EXPECT_EQ(UserFile(PathOf("out") / "a.txt"), "mine");
  MakeDocument(PathOf("in") / "b.kxo", L"changed");
  MakeOld(PathOf("out") / "b.txt");
  EXPECT_EQ(ToText({"in"}).err, "kxo: 2 documents: 1 converted, 1 up to date\n");
  EXPECT_EQ(UserFile(PathOf("out") / "b.txt"), "T\n\nchanged\n");
  EXPECT_EQ(ToText({"in"}, {"--force"}).err, "kxo: 2 documents: 2 converted\n");
  EXPECT_EQ(UserFile(PathOf("out") / "a.txt"), "T\n\nitem\n");
}

TEST_F(Convert, ABadFileDoesNotStopTheOthersAndIsNamedInTheEnd) {
  MakeDocument(PathOf("in") / "a.kxo");
  WriteUserFile(PathOf("in") / "b.kxo", "no document");
  MakeDocument(PathOf("in") / "c.kxo");
  const ProgramRun run = ToText({"in", "none.kxo"});
  EXPECT_EQ(run.exitCode, 5);
  const std::vector<std::string> lines = LinesOf(run.err);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], "kxo: none.kxo: there is no such file; check the name");
  EXPECT_THAT(lines[1], HasSubstr("b.kxo: cannot be read"));
  EXPECT_EQ(lines[2], "kxo: 4 documents: 2 converted, 2 failed");
  EXPECT_THAT(FilesIn("out"), ElementsAre("a.txt", "c.txt"));
}

TEST_F(Convert, ProgramsAreToldWhatBecameOfEach) {
  MakeDocument("a.kxo");
  WriteUserFile("bad.kxo", "no document");
  const ProgramRun run = Kxo(
      {"convert", "a.kxo", "bad.kxo", "none.kxo", "--to", "text", "--out-dir", "out", "--json"});
  EXPECT_EQ(run.exitCode, 5);
  const auto told = nlohmann::json::parse(run.out);
  ASSERT_EQ(told["results"].size(), 1u);
  EXPECT_EQ(told["results"][0]["file"], "a.kxo");
  EXPECT_EQ(told["results"][0]["out"], fs::path("out/a.txt").make_preferred().string());
  EXPECT_EQ(told["results"][0]["upToDate"], false);
  ASSERT_EQ(told["failures"].size(), 2u);
  EXPECT_EQ(told["failures"][0]["file"], "none.kxo");
  EXPECT_EQ(told["failures"][1]["file"], "bad.kxo");
  EXPECT_EQ(told["stopped"], false);
}

TEST_F(Convert, StandardInputHasNoNameForAResult) {
  const ProgramRun run = Kxo({"convert", "-", "--to", "text", "--out-dir", "out"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.err,
            "kxo: standard input: has no name that a result could have; kxo export - writes one "
            "document\n");
}

TEST_F(Convert, ASingleFailureIsTheRuns) {
  WriteUserFile("b.kxo", "no document");
  const ProgramRun run = ToText({"b.kxo"});
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_EQ(LinesOf(run.err).size(), 1u);
  EXPECT_EQ(ToText({"none.kxo"}).exitCode, 2);
}

TEST_F(Convert, TwoDocumentsNeverTakeTheSamePlace) {
  MakeDocument(PathOf("a") / "x.kxo", L"first");
  MakeDocument(PathOf("b") / "x.kxo", L"second");
  const ProgramRun run = ToText({"a", "b"});
  EXPECT_EQ(run.exitCode, 5);
  EXPECT_THAT(run.err, HasSubstr("another document gives x.txt, too"));
  EXPECT_EQ(UserFile(PathOf("out") / "x.txt"), "T\n\nfirst\n");
}

TEST_F(Convert, ADocumentThatIsNamedTwiceIsWrittenOnce) {
  MakeDocument(PathOf("a") / "x.kxo");
  const ProgramRun run = ToText({"a/x.kxo", "./a/x.kxo", "a"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.err, "kxo: 1 document: 1 converted\n");
}

TEST_F(Convert, WithoutDocumentsThereIsNothingToDo) {
  fs::create_directory(User("in"));
  const ProgramRun run = ToText({"in"});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.err, "kxo: there are no documents (.kxo) in what was named\n");
  EXPECT_FALSE(fs::exists(User("out")));
}

TEST_F(Convert, OnATerminalTheOutcomeIsWhatStays) {
  MakeDocument(PathOf("in") / "a.kxo");
  WriteUserFile(PathOf("in") / "b.kxo", "no document");
  MakeDocument(PathOf("in") / "c.kxo");
  const ProgramRun run = KxoOnTerminal({"convert", "in", "--to", "markdown", "--out-dir", "out"});
  EXPECT_EQ(run.exitCode, 5);
  EXPECT_THAT(run.out, HasSubstr("3 documents: 2 converted, 1 failed"));
  EXPECT_THAT(ToText({"in"}).err, Not(HasSubstr(" of 3 ")));
}

TEST_F(Convert, DrawingsGoBesideTheResultsAndAreReplacedWithThem) {
  MakeDocument(PathOf("in") / "a.kxo");
  for (int i = 0; i < 2; ++i) {
    const ProgramRun run = Kxo({"convert", "in", "--to", "opml", "--out-dir", "out", "--force"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
  }
  EXPECT_THAT(FilesIn("out"), ElementsAre("a.opml"));
}

}  // namespace
}  // namespace kxo_test
