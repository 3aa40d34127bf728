#include <gmock/gmock.h>

#include <chrono>
#include <fstream>

#include "Kept.h"
#include "TestPlaces.h"
#include "ToolTest.h"

namespace kxo_test {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::HasSubstr;

using kx_gen::CFile;
using kx_gen::COutlineDB;

class Show : public ToolTest {
 protected:
  void ImportExample() const {
    const fs::path example = kx_test::sourceFolder() / "examples" / "field-guide.opml";
    EXPECT_EQ(Kxo({"import", example.string(), "-o", "guide.kxo"}).exitCode, 0);
  }
};

/// A text with control characters of all kinds, and with what only looks like one.
constexpr const wchar_t* kWildText =
    L"a\x1B[31mred\x07\x7F\x85\x9B"
    L"2J\t|\n|\r|\u2028|\u202E|\u2066| caf\u00E9 \U0001F426\u200D";

TEST_F(Show, PrintsTheExampleAsItIsKept) {
  ImportExample();
  const ProgramRun run = Kxo({"show", "guide.kxo", "--notes"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out, Kept("field-guide.txt"));
}

TEST_F(Show, DrawsTheExampleOnATerminalAsItIsKept) {
  ImportExample();
  const ProgramRun run = KxoOnTerminal({"show", "guide.kxo", "--notes"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, Kept("field-guide-terminal.txt"));
}

TEST_F(Show, WithoutNotesEveryItemTakesOneLine) {
  ImportExample();
  const std::vector<std::string> lines = LinesOf(Kxo({"show", "guide.kxo"}).out);
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
  EXPECT_EQ(Kxo({"show", "a.kxo"}).out, "Untitled\n+ [x] folded\n  - (deleted) below\n- plain\n");
  EXPECT_EQ(KxoOnTerminal({"show", "a.kxo"}).out,
            "Untitled\n├─ ▸ [x] folded\n│  └─ (deleted) below\n└─ plain\n");
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
