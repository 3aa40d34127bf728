#include <gmock/gmock.h>

#include <fstream>

#include "Kept.h"
#include "ToolTest.h"

namespace kxo_test {
namespace {

namespace format = kx_gen::format;

using ::testing::HasSubstr;
using ::testing::Not;

using kx_gen::COutlineDB;

class Info : public ToolTest {
 protected:
  std::string InfoOn(const std::string& golden) const {
    WriteGolden(golden, User("a.kxo").string());
    const ProgramRun run = Kxo({"info", "a.kxo"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.err, "");
    return run.out;
  }
};

TEST_F(Info, TellsEveryFieldAsItIsKept) {
  EXPECT_EQ(InfoOn("outline-all-fields"), Kept("info-all-fields.txt"));
}

TEST_F(Info, TellsUnknownHeadersAndTagsAsItIsKept) {
  EXPECT_EQ(InfoOn("outline-unknown"), Kept("info-unknown.txt"));
}

TEST_F(Info, TellsProgramsTheSameAsJson) {
  WriteGolden("outline-all-fields", User("a.kxo").string());
  EXPECT_EQ(Kxo({"info", "a.kxo", "--json"}).out, Kept("info-all-fields.json"));
  WriteGolden("outline-unknown", User("a.kxo").string());
  EXPECT_EQ(Kxo({"info", "a.kxo", "--json"}).out, Kept("info-unknown.json"));
}

TEST_F(Info, ListsTheDeletedIds) {
  EXPECT_THAT(InfoOn("outline-deleted-ids"),
              HasSubstr("  ids                   3: 3, 4294967295, 3\n"));
}

TEST_F(Info, IsTheSameOnATerminal) {
  WriteGolden("outline-all-fields", User("a.kxo").string());
  EXPECT_EQ(KxoOnTerminal({"info", "a.kxo"}).out, Kept("info-all-fields.txt"));
}

TEST_F(Info, CountsItemsByKind) {
  WriteDocument("a.kxo", [](COutlineDB& db) {
    AddRow(db, 0, L"1").SetNew(true);
    AddRow(db, 1, L"2").SetNote(L"n");
    AddRow(db, 2, L"3").DeleteNote();
    auto& row = AddRow(db, 2, L"4");
    row.SetChecked(true);
    row.SetExpanded(false);
    row.SetId(77);
    row.SetChanged(true);
    row.SetArchived(true);
    AddRow(db, 0, L"5").SetDeleted(true);
  });
  const std::string out = Kxo({"info", "a.kxo"}).out;
  for (const char* line :
       {"  items                 5\n", "  levels                3\n", "  notes                 1\n",
        "  empty notes           3\n", "  drawings              0\n", "  checked               1\n",
        "  folded                1\n", "  with an id            1\n", "  flagged new           1\n",
        "  flagged changed       1\n", "  flagged deleted       1\n", "  flagged empty         0\n",
        "  flagged archived      1\n", "  sort changed          0\n"}) {
    EXPECT_THAT(out, HasSubstr(line));
  }
}

TEST_F(Info, TellsOfBytesBehindTheLastRow) {
  EXPECT_THAT(InfoOn("outline-empty"), Not(HasSubstr("behind the last row")));
  std::ofstream(User("a.kxo"), std::ios::binary | std::ios::app) << "tail";
  EXPECT_THAT(Kxo({"info", "a.kxo"}).out, HasSubstr("  behind the last row   4 bytes\n"));
}

TEST_F(Info, TellsWhichHeadersTheFileLacks) {
  // Information block, a table that names the conduit header alone, its slot, no deleted ids.
  std::string bytes("\x78\x56\x34\x12\0\0\0\0\0\0\x01\0\x01\0\xFF\0\0\0", 18);
  bytes += std::string(255 + 4, '\0');
  WriteUserFile("a.kxo", bytes);
  const ProgramRun run = Kxo({"info", "a.kxo"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.out, HasSubstr("\nShared header (not in the file: defaults)\n"));
  EXPECT_THAT(run.out, HasSubstr("  category              \"Unfiled\"  (changed)\n"));
  EXPECT_THAT(run.out, HasSubstr("\nPrivate header (not in the file: defaults)\n"));
  EXPECT_THAT(run.out, HasSubstr("\nConduit header\n  fields                none\n"));
  EXPECT_EQ(Kxo({"show", "a.kxo"}).out, "Untitled\n");
}

TEST_F(Info, AFieldThatAHeaderLacksIsAbsent) {
  WriteDocument("a.kxo", [](COutlineDB& db) {
    auto* header = db.GetHeaderManager().GetHeaderPtr(format::kPrivateOutlineHeaderId);
    header->getTaggedDataManager().deleteData(format::kTagFontColor);
  });
  EXPECT_THAT(Kxo({"info", "a.kxo"}).out, HasSubstr("  font colour           absent\n"));
}

TEST_F(Info, TextsOfHeadersAreEscapedEverywhere) {
  WriteDocument("a.kxo", [](COutlineDB& db) { db.SetOutlineTitle(L"a\x1B[0m\nb"); });
  EXPECT_THAT(Kxo({"info", "a.kxo"}).out,
              HasSubstr("  title                 \"a\\x1b[0m\\nb\"  (changed)\n"));
}

}  // namespace
}  // namespace kxo_test
