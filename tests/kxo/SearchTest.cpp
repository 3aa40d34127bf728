#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "ToolTest.h"

namespace kxo_test {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

using kx_gen::COutlineDB;

class Search : public ToolTest {
 protected:
  void SetUp() override {
    ToolTest::SetUp();
    WriteDocument("a.kxo", [](COutlineDB& db) {
      AddRow(db, 0, L"Birds");
      auto& owl = AddRow(db, 1, L"Tawny owl");
      owl.SetNote(L"Heard in May.\r\nThe owl answers.\r\nNo owl in June.");
      owl.SetId(7);
      AddRow(db, 2, L"says ke-wick?").SetDeleted(true);
      AddRow(db, 0, L"ÄPFEL und Übel");
    });
  }
};

TEST_F(Search, PrintsThePathOfParentsAndTheLinesOfNotes) {
  const ProgramRun run = Kxo({"search", "owl", "a.kxo"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out, "a.kxo:2: Birds > Tawny owl\n  : The owl answers.\n  : No owl in June.\n");
  EXPECT_EQ(Kxo({"search", "ke-wick?", "a.kxo"}).out,
            "a.kxo:3: Birds > Tawny owl > (deleted) says ke-wick?\n");
}

TEST_F(Search, FindsNothingWithExitCodeOne) {
  const ProgramRun run = Kxo({"search", "OWL", "a.kxo"});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "kxo: nothing found in 1 document\n");
  EXPECT_EQ(Kxo({"search", "xyzzy", "a.kxo", "--json"}).exitCode, 1);
}

TEST_F(Search, CaseIsIgnoredInEveryScript) {
  EXPECT_EQ(Kxo({"search", "-i", "TAWNY OWL", "a.kxo"}).out, "a.kxo:2: Birds > Tawny owl\n");
  EXPECT_EQ(Kxo({"search", "--ignore-case", "äpfel UND übel", "a.kxo"}).out,
            "a.kxo:4: ÄPFEL und Übel\n");
}

TEST_F(Search, TextIsNoPatternUnlessItIsSaidToBe) {
  EXPECT_EQ(Kxo({"search", "T.*l$", "a.kxo"}).exitCode, 1);
  EXPECT_EQ(Kxo({"search", "--regex", "^T.*l$", "a.kxo"}).out, "a.kxo:2: Birds > Tawny owl\n");
  EXPECT_EQ(Kxo({"search", "--regex", "--ignore-case", "\\bMAY\\b", "a.kxo"}).out,
            "a.kxo:2: Birds > Tawny owl\n  : Heard in May.\n");
}

TEST_F(Search, PatternsThatCannotBeUsedAreAWrongCommandLine) {
  for (const char* pattern : {"(", "a{1001}", "\\", "(?=a)", "[z-a]"}) {
    const ProgramRun run = Kxo({"search", "--regex", pattern, "a.kxo"});
    EXPECT_EQ(run.exitCode, 2) << pattern;
    EXPECT_THAT(run.err, StartsWith("kxo: the pattern cannot be used: ")) << pattern;
  }
  EXPECT_EQ(Kxo({"search", "", "a.kxo"}).exitCode, 2);
  EXPECT_EQ(Kxo({"search", "owl"}).exitCode, 2);
}

/// A search that goes back over the text for these would not end within years.
TEST_F(Search, PatternsThatBranchEverywhereComeToAnEnd) {
  const std::wstring many(50000, L'a');
  WriteDocument("long.kxo", [&](COutlineDB& db) { AddRow(db, 0, many.c_str()); });
  for (const char* pattern : {"(a+)+$x", "(a|aa)+b", "(a*)*b", "((a?){30}){30}a{30}b"}) {
    EXPECT_EQ(Kxo({"search", "--regex", pattern, "long.kxo"}).exitCode, 1) << pattern;
  }
}

TEST_F(Search, TellsProgramsTheSameAsJson) {
  WriteUserFile("bad.kxo", "no document");
  const ProgramRun run = Kxo({"search", "owl", ".", "--json"});
  EXPECT_EQ(run.exitCode, 5);
  const auto json = nlohmann::json::parse(run.out);
  ASSERT_EQ(json["matches"].size(), 1u);
  const auto& match = json["matches"][0];
  EXPECT_THAT(match["file"].get<std::string>(), HasSubstr("a.kxo"));
  EXPECT_EQ(match["row"], 2);
  EXPECT_EQ(match["id"], 7);
  EXPECT_EQ(match["parents"], nlohmann::json({"Birds"}));
  EXPECT_EQ(match["text"], "Tawny owl");
  EXPECT_EQ(match["noteLines"], nlohmann::json({"The owl answers.", "No owl in June."}));
  EXPECT_EQ(json["failures"].size(), 1u);
}

TEST_F(Search, DocumentsThatCannotBeReadAreNamedAtTheEnd) {
  WriteUserFile("bad.kxo", "no document");
  const ProgramRun run = Kxo({"search", "owl", "bad.kxo", "a.kxo"});
  EXPECT_EQ(run.exitCode, 5);
  EXPECT_THAT(run.out, StartsWith("a.kxo:2: "));
  EXPECT_THAT(run.err, HasSubstr("kxo: 1 of 2 documents cannot be read\n"));
  EXPECT_EQ(Kxo({"search", "owl", "bad.kxo"}).exitCode, 3);
}

TEST_F(Search, StandardInputIsADocumentToo) {
  options_.input = User("a.kxo");
  EXPECT_THAT(Kxo({"search", "Tawny", "-"}).out, StartsWith("standard input:2: Birds > Tawny"));
}

}  // namespace
}  // namespace kxo_test
