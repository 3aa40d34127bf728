#include <gmock/gmock.h>

#include <chrono>
#include <fstream>
#include <nlohmann/json.hpp>

#include "Kept.h"
#include "TestPlaces.h"
#include "ToolTest.h"

namespace kxo_test {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

using kx_gen::CFile;
using kx_gen::COutlineDB;

class Show : public ToolTest {
 protected:
  void ImportExample() const {
    const fs::path example = kx_test::sourceFolder() / "examples" / "field-guide.opml";
    EXPECT_EQ(Kxo({"import", example.string(), "-o", "guide.kxo"}).exitCode, 0);
  }
  /// Six rows, the third of them folded.
  void WriteTree() const {
    WriteDocument("a.kxo", [](COutlineDB& db) {
      db.SetOutlineTitle(L"Tree");
      AddRow(db, 0, L"1");
      AddRow(db, 1, L"1.1").SetId(17);
      auto& folded = AddRow(db, 1, L"1.2");
      folded.SetId(4);
      folded.SetNote(L"folded");
      folded.SetExpanded(false);
      AddRow(db, 2, L"1.2.1");
      AddRow(db, 3, L"deep");
      AddRow(db, 0, L"2");
    });
  }
};

/// A text with control characters of all kinds, and with what only looks like one.
constexpr const wchar_t* kWildText =
    L"a\x1B[31mred\x07\x7F\x85\x9B"
    L"2J\t|\n|\r|\u2028|\u202E|\u2066| caf\u00E9 \U0001F426\u200D";

TEST_F(Show, PrintsTheExampleAsItIsKept) {
  ImportExample();
  const ProgramRun run = Kxo({"show", "guide.kxo", "--notes", "--all"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out, Kept("field-guide.txt"));
}

TEST_F(Show, DrawsTheExampleOnATerminalAsItIsKept) {
  ImportExample();
  const ProgramRun run = KxoOnTerminal({"show", "guide.kxo", "--notes", "--all"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, Kept("field-guide-terminal.txt"));
}

TEST_F(Show, WithoutNotesEveryItemTakesOneLine) {
  ImportExample();
  const std::vector<std::string> lines = LinesOf(Kxo({"show", "guide.kxo", "--all"}).out);
  EXPECT_EQ(lines.size(), ReadDocument("guide.kxo").rows.size() + 1);
  EXPECT_EQ(lines[0], "A Field Guide to the Valley of Merrow — birds and paths");
  EXPECT_EQ(lines[1], "- Before you set out");
  EXPECT_EQ(lines[3], "    - [x] Boots that may get wet");
}

TEST_F(Show, ControlCharactersAreEscapesOnATerminal) {
  WriteDocument("a.kxo", [](COutlineDB& db) {
    db.SetOutlineTitle(L"t\x1B]0;gone\x07");
    AddRow(db, 0, kWildText).SetNote(L"n\x1B[2J\r\ntab\there");
  });
  const ProgramRun run = KxoOnTerminal({"show", "a.kxo", "--notes"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(LinesOf(run.out),
              ElementsAre("t\\x1b]0;gone\\x07",
                          "└─ a\\x1b[31mred\\x07\\x7f\\u0085\\u009b2J\\t|\\n|\\r|\\u2028|\\u202e|"
                          "\\u2066| café \U0001F426\u200D",
                          "      : n\\x1b[2J", "      : tab\\there"));
}

TEST_F(Show, ControlCharactersPassAPipeButLineBreaksDoNot) {
  WriteDocument("a.kxo", [](COutlineDB& db) { AddRow(db, 0, kWildText); });
  const ProgramRun run = Kxo({"show", "a.kxo"});
  EXPECT_EQ(run.out,
            "Untitled\n- a\x1B[31mred\x07\x7F\u0085\u009B"
            "2J\t|\\n|\\r|\u2028|\u202E|\u2066| café \U0001F426\u200D\n");
}

TEST_F(Show, LoneSurrogatesAreShownAsReplacementCharacters) {
  const wchar_t lone[] = {L'a', static_cast<wchar_t>(0xD800), L'b', 0};
  WriteDocument("a.kxo", [&](COutlineDB& db) { AddRow(db, 0, lone); });
  EXPECT_THAT(Kxo({"show", "a.kxo"}).out, HasSubstr("- a\uFFFDb\n"));
  EXPECT_THAT(KxoOnTerminal({"show", "a.kxo"}).out, HasSubstr("└─ a\uFFFDb\n"));
}

TEST_F(Show, FoldedCheckedAndDeletedItemsAreMarked) {
  WriteDocument("a.kxo", [](COutlineDB& db) {
    auto& folded = AddRow(db, 0, L"folded");
    folded.SetExpanded(false);
    folded.SetChecked(true);
    AddRow(db, 1, L"below").SetDeleted(true);
    AddRow(db, 0, L"plain");
  });
  EXPECT_EQ(Kxo({"show", "a.kxo", "--all"}).out,
            "Untitled\n+ [x] folded\n  - (deleted) below\n- plain\n");
  EXPECT_EQ(KxoOnTerminal({"show", "a.kxo", "--all"}).out,
            "Untitled\n├─ ▸ [x] folded\n│  └─ (deleted) below\n└─ plain\n");
}

TEST_F(Show, FoldedItemsHideWhatLiesBelowUnlessAllIsAskedFor) {
  WriteTree();
  EXPECT_EQ(Kxo({"show", "a.kxo"}).out, "Tree\n- 1\n  - 1.1\n  + 1.2\n- 2\n");
  EXPECT_EQ(Kxo({"show", "a.kxo", "--all"}).out,
            "Tree\n- 1\n  - 1.1\n  + 1.2\n    - 1.2.1\n      - deep\n- 2\n");
  EXPECT_EQ(KxoOnTerminal({"show", "a.kxo", "--notes"}).out,
            "Tree\n├─ 1\n│  ├─ 1.1\n│  └─ ▸ 1.2\n│        : folded\n└─ 2\n");
}

TEST_F(Show, DepthLimitsTheLevels) {
  WriteTree();
  EXPECT_EQ(Kxo({"show", "a.kxo", "--depth", "1"}).out, "Tree\n- 1\n- 2\n");
  EXPECT_EQ(Kxo({"show", "a.kxo", "--all", "--depth=3"}).out,
            "Tree\n- 1\n  - 1.1\n  + 1.2\n    - 1.2.1\n- 2\n");
  for (const char* depth : {"0", "-1", "257", "x"}) {
    EXPECT_EQ(Kxo({"show", "a.kxo", "--depth", depth}).exitCode, 2) << depth;
  }
}

TEST_F(Show, NumbersAndIdsStandInColumnsAndCountEveryRow) {
  WriteTree();
  EXPECT_EQ(Kxo({"show", "a.kxo", "--numbers"}).out,
            "Tree\n1  - 1\n2    - 1.1\n3    + 1.2\n6  - 2\n");
  EXPECT_EQ(Kxo({"show", "a.kxo", "--numbers", "--ids"}).out,
            "Tree\n1      -  - 1\n2  id:17    - 1.1\n3   id:4    + 1.2\n6      -  - 2\n");
  EXPECT_EQ(KxoOnTerminal({"show", "a.kxo", "--numbers", "--notes"}).out,
            "Tree\n1  ├─ 1\n2  │  ├─ 1.1\n3  │  └─ ▸ 1.2\n   │        : folded\n6  └─ 2\n");
}

TEST_F(Show, JsonHasTheRowsThatTheTreeShows) {
  WriteTree();
  const auto json = nlohmann::json::parse(Kxo({"show", "a.kxo", "--json"}).out);
  EXPECT_EQ(json["file"], "a.kxo");
  EXPECT_EQ(json["title"], "Tree");
  ASSERT_EQ(json["items"].size(), 4u);
  EXPECT_EQ(json["items"][2], nlohmann::json::parse(R"({"row": 3, "depth": 2, "id": 4,
      "text": "1.2", "note": "folded", "expanded": false, "checked": false, "deleted": false,
      "drawing": null})"));
  EXPECT_EQ(json["items"][3]["row"], 6);
  const auto all = nlohmann::json::parse(Kxo({"show", "a.kxo", "--json", "--all"}).out);
  EXPECT_EQ(all["items"].size(), 6u);
  WriteGolden("outline-empty", User("a.kxo").string());
  EXPECT_TRUE(nlohmann::json::parse(Kxo({"show", "a.kxo", "--json"}).out)["items"].empty());
}

TEST_F(Show, StandardInputIsADocumentToo) {
  WriteTree();
  options_.input = User("a.kxo");
  EXPECT_EQ(Kxo({"show", "-", "--depth", "1"}).out, "Tree\n- 1\n- 2\n");
  EXPECT_THAT(Kxo({"info", "-"}).out, StartsWith("standard input\n"));
  WriteUserFile("bad.kxo", "no document");
  options_.input = User("bad.kxo");
  const ProgramRun run = Kxo({"show", "-"});
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_THAT(run.err, StartsWith("kxo: standard input: "));
  EXPECT_EQ(UserFiles(), (std::vector<std::string>{"a.kxo", "bad.kxo"}));
}

TEST_F(Show, LevelsThatSkipNumbersStillMakeATree) {
  WriteDocument("a.kxo", [](COutlineDB& db) {
    AddRow(db, 3, L"three");
    AddRow(db, 5, L"five");
    AddRow(db, 4, L"four");
    AddRow(db, 0, L"zero");
    AddRow(db, 255, L"deep");
    AddRow(db, 1, L"one");
  });
  EXPECT_EQ(KxoOnTerminal({"show", "a.kxo"}).out,
            "Untitled\n├─ three\n│  ├─ five\n│  └─ four\n└─ zero\n   ├─ deep\n   └─ one\n");
  EXPECT_EQ(Kxo({"show", "a.kxo"}).out,
            "Untitled\n- three\n  - five\n  - four\n- zero\n  - deep\n  - one\n");
}

TEST_F(Show, NotesEndTheirLinesInAnyWay) {
  WriteDocument("a.kxo", [](COutlineDB& db) {
    AddRow(db, 0, L"a").SetNote(L"1\n2\r\n3\r4\n\n5\n");
    AddRow(db, 0, L"b").DeleteNote();
  });
  EXPECT_EQ(Kxo({"show", "a.kxo", "--notes"}).out,
            "Untitled\n- a\n  : 1\n  : 2\n  : 3\n  : 4\n  : \n  : 5\n- b\n");
  EXPECT_EQ(Kxo({"show", "a.kxo"}).out, "Untitled\n- a\n- b\n");
}

TEST_F(Show, ADocumentWithoutItemsIsItsTitle) {
  WriteGolden("outline-empty", User("a.kxo").string());
  EXPECT_EQ(Kxo({"show", "a.kxo"}).out, "Untitled\n");
}

TEST_F(Show, DocumentsWithUnknownHeadersAndTagsAreShown) {
  WriteGolden("outline-unknown", User("a.kxo").string());
  EXPECT_EQ(Kxo({"show", "a.kxo", "--notes"}).out,
            "From afar\n- Before\n  : kept\n- Before\n  : kept\n");
}

TEST_F(Show, NothingIsWrittenToTheDocument) {
  WriteGolden("outline-unknown", User("a.kxo").string());
  fs::last_write_time(User("a.kxo"), fs::file_time_type::clock::now() - std::chrono::hours(1));
  const auto hourAgo = fs::last_write_time(User("a.kxo"));
  const std::string before = UserFile("a.kxo");
  EXPECT_EQ(Kxo({"show", "a.kxo"}).exitCode, 0);
  EXPECT_EQ(Kxo({"info", "a.kxo"}).exitCode, 0);
  EXPECT_EQ(Kxo({"list", "a.kxo"}).exitCode, 0);
  EXPECT_EQ(Kxo({"search", "Before", "."}).exitCode, 0);
  EXPECT_EQ(UserFile("a.kxo"), before);
  EXPECT_EQ(fs::last_write_time(User("a.kxo")), hourAgo);
}

TEST_F(Show, ReadOnlyDocumentsAreShown) {
  WriteGolden("outline-empty", User("a.kxo").string());
  fs::permissions(User("a.kxo"), fs::perms::owner_read);
  EXPECT_EQ(Kxo({"show", "a.kxo"}).exitCode, 0);
}

TEST_F(Show, OthersMayReadMeanwhileButNotWrite) {
  WriteGolden("outline-empty", User("a.kxo").string());
  CFile other;
  other.Open(User("a.kxo").wstring().c_str(), CFile::modeRead | CFile::shareDenyWrite);
  EXPECT_EQ(Kxo({"show", "a.kxo"}).exitCode, 0);
  other.Open(User("a.kxo").wstring().c_str(), CFile::modeReadWrite | CFile::shareDenyNone);
  const ProgramRun run = Kxo({"show", "a.kxo"});
  EXPECT_EQ(run.exitCode, 4);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err,
            "kxo: a.kxo: the file is in use by another program; close it there and try again\n");
}

TEST_F(Show, OutputThatCannotBeWrittenIsAFailure) {
  WriteGolden("outline-empty", User("a.kxo").string());
  options_.refusesOutput = true;
  const ProgramRun run = Kxo({"show", "a.kxo"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.err,
            std::string("kxo: standard output: cannot be written (") + kRefusedOutput + ")\n");
}

}  // namespace
}  // namespace kxo_test
