#include <gmock/gmock.h>

#include "ToolTest.h"

namespace kxo_test {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

using New = ToolTest;

TEST_F(New, ADocumentIsMadeWithoutItems) {
  const ProgramRun run = Kxo({"new", "plan.kxo"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "kxo: plan.kxo: made a document\n");
  const StoredDocument document = ReadDocument("plan.kxo");
  EXPECT_EQ(document.title, L"plan");
  EXPECT_EQ(document.category, L"Unfiled");
  EXPECT_THAT(document.rows, IsEmpty());
  EXPECT_EQ(Kxo({"check", "plan.kxo"}).exitCode, 0);
}

TEST_F(New, TitleAndCategoryAreTaken) {
  EXPECT_EQ(
      Kxo({"new", "plan.kxo", "--title", "Spring \xE2\x82\xAC", "--category", "Home"}).exitCode, 0);
  EXPECT_EQ(ReadDocument("plan.kxo").title, L"Spring \u20AC");
  EXPECT_EQ(ReadDocument("plan.kxo").category, L"Home");
}

TEST_F(New, ATitleThatDoesNotFitIsRefused) {
  const ProgramRun run = Kxo({"new", "plan.kxo", "--title", std::string(600, 'x')});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.err,
            "kxo: plan.kxo: the title or the category is longer than a document holds; shorten "
            "it\n");
  EXPECT_THAT(UserFiles(), IsEmpty());
}

TEST_F(New, ACategoryFileHoldsTheUnfiledCategory) {
  const ProgramRun run = Kxo({"new", "names.kxc", "--kind", "category"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.err, "kxo: names.kxc: made a category file\n");
  kx_gen::CCategoryDB db;
  db.Open(User("names.kxc").wstring().c_str(), kx_gen::CFile::modeRead);
  db.ReadRows();
  ASSERT_EQ(db.GetCategoryCount(), 1);
  kx_gen::_String name;
  db.GetCategoryName(db.GetByIndex(0), name);
  EXPECT_STREQ(name, L"Unfiled");
  EXPECT_EQ(db.GetCategoryID(db.GetByIndex(0)), 0u);
  EXPECT_TRUE(db.isNew());
  db.Close();
  EXPECT_EQ(Kxo({"check", "names.kxc"}).exitCode, 0);
}

TEST_F(New, ADryRunMakesNothing) {
  EXPECT_EQ(Kxo({"new", "plan.kxo", "--dry-run"}).err,
            "kxo: plan.kxo: would have made a document; nothing is written\n");
  EXPECT_EQ(Kxo({"new", "names.kxc", "--kind", "category", "--dry-run"}).exitCode, 0);
  EXPECT_THAT(UserFiles(), IsEmpty());
}

TEST_F(New, StandardOutputTakesIt) {
  const ProgramRun run = Kxo({"new", "-", "--category", "Home"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.err, "kxo: standard output: made a document\n");
  Kxo({"new", "Untitled.kxo", "--category", "Home"});
  EXPECT_EQ(run.out, UserFile("Untitled.kxo"));
  EXPECT_EQ(Kxo({"new", "-", "--dry-run"}).out, "");
  EXPECT_THAT(UserFiles(), ElementsAre("Untitled.kxo"));
}

TEST_F(New, ATerminalTakesNoDocument) {
  const ProgramRun run = KxoOnTerminal({"new", "-"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.out, HasSubstr("standard output is a terminal; redirect it, or name a file"));
}

TEST_F(New, AFileThatExistsStays) {
  WriteUserFile("plan.kxo", "precious");
  for (const char* kind : {"outline", "category"}) {
    const ProgramRun run = Kxo({"new", "plan.kxo", "--kind", kind});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.err, "kxo: plan.kxo: this file exists; choose another name\n");
  }
  EXPECT_EQ(UserFile("plan.kxo"), "precious");
}

TEST_F(New, WrongLinesAreTold) {
  EXPECT_EQ(Kxo({"new", "a.kxc", "--kind", "category", "--title", "x"}).err,
            "kxo: a category file has no title and no category; leave them out\n");
  EXPECT_EQ(Kxo({"new", "a.kxc", "--kind", "memory"}).exitCode, 2);
  EXPECT_THAT(Kxo({"new", "none/a.kxo"}).err,
              EndsWith("; make the folder first, or name another\n"));
  EXPECT_EQ(Kxo({"new"}).exitCode, 2);
  EXPECT_THAT(UserFiles(), IsEmpty());
}

}  // namespace
}  // namespace kxo_test
