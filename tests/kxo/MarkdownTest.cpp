#include <gmock/gmock.h>

#include "ToolTest.h"

namespace kxo_test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class Markdown : public ToolTest {
 protected:
  StoredDocument DocumentOf(const std::string& text) {
    WriteUserFile("in.md", text);
    const ProgramRun run = Kxo({"import", "in.md", "--force"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    err_ = run.err;
    return ReadDocument();
  }
  std::vector<StoredRow> RowsOf(const std::string& text) { return DocumentOf(text).rows; }
  static StoredRow Checked(unsigned indent, const std::wstring& text) {
    StoredRow row = Row(indent, text);
    row.checked = true;
    return row;
  }
  std::string err_;
};

TEST_F(Markdown, NestedListsBecomeLevels) {
  EXPECT_THAT(RowsOf("- a\n  - b\n    1. c\n* d\n"),
              ElementsAre(Row(0, L"a"), Row(1, L"b"), Row(2, L"c"), Row(0, L"d")));
  EXPECT_EQ(err_, "kxo: in.kxo: written, 4 items\n");
}

TEST_F(Markdown, TaskMarksBecomeCheckMarks) {
  EXPECT_THAT(RowsOf("- [x] a\n- [ ] b\n\n- [X] c\n"),
              ElementsAre(Checked(0, L"a"), Row(0, L"b"), Checked(0, L"c")));
}

TEST_F(Markdown, HeadingsBecomeLevels) {
  const StoredDocument document = DocumentOf("# Title\n\n## One\n\n- a\n\n### Deeper\n\n## Two\n");
  EXPECT_EQ(document.title, L"Title");
  EXPECT_THAT(document.rows,
              ElementsAre(Row(0, L"One"), Row(1, L"a"), Row(1, L"Deeper"), Row(0, L"Two")));
}

TEST_F(Markdown, SeveralHeadingsOfTheFirstRankAreItems) {
  const StoredDocument document = DocumentOf("# A\n- a\n\nB\n=\n\n- b\n");
  EXPECT_EQ(document.title, L"Untitled");
  EXPECT_THAT(document.rows, ElementsAre(Row(0, L"A"), Row(1, L"a"), Row(0, L"B"), Row(1, L"b")));
  EXPECT_THAT(RowsOf("## A\n\n# B\n"), ElementsAre(Row(1, L"A"), Row(0, L"B")));
}

TEST_F(Markdown, ParagraphsBelowAnItemAreItsNote) {
  EXPECT_THAT(RowsOf("- a\n\n  one\n  goes on\\\n  breaks\n\n  two\n- b\n"),
              ElementsAre(Row(0, L"a", L"one goes on\nbreaks\n\ntwo"), Row(0, L"b")));
  EXPECT_THAT(RowsOf("## A\n\none\n\ntwo\n\n- b\n\nthree\n"),
              ElementsAre(Row(1, L"A", L"one\n\ntwo"), Row(2, L"b"), Row(2, L"three")));
}

TEST_F(Markdown, ParagraphsWithoutAnItemAreItems) {
  EXPECT_THAT(RowsOf("one\n\ntwo\n"), ElementsAre(Row(0, L"one"), Row(0, L"two")));
  const StoredDocument document = DocumentOf("# T\n\nabout\n\n## A\n");
  EXPECT_EQ(document.title, L"T");
  EXPECT_THAT(document.rows, ElementsAre(Row(0, L"about"), Row(0, L"A")));
}

TEST_F(Markdown, CodeQuotesAndTablesAreKeptAsText) {
  EXPECT_THAT(RowsOf("- a\n\n      x = 1\n        y\n\n  > said\n\n  | h | i |\n  |---|---|\n"
                     "  | 1 | 2 |\n"),
              ElementsAre(Row(0, L"a", L"x = 1\n  y\n\nsaid\n\nh\ti\n1\t2")));
  EXPECT_THAT(err_, HasSubstr("not carried: markup quote (1)\n"));
}

TEST_F(Markdown, MarkupOfWordsIsCountedAndLinksKeepTheirAddresses) {
  EXPECT_THAT(RowsOf("- *a* **b** `c` [d](/e?f&amp;g) <http://h.i> ![](j.png) k<br>l\n"),
              ElementsAre(Row(0, L"a b c d </e?f&g> http://h.i <j.png> k<br>l")));
  EXPECT_THAT(err_, HasSubstr("not carried: markup code (1), emphasis (2)\n"));
}

TEST_F(Markdown, ReferencesBecomeCharacters) {
  EXPECT_THAT(RowsOf("- &amp;&lt;&#65;&#x42;&nbsp;&copy;&#0;&#xD800;\n"),
              ElementsAre(Row(0, L"&<AB\u00A0&copy;\uFFFD\uFFFD")));
}

TEST_F(Markdown, AListInAListIsALevelWithoutAnItem) {
  EXPECT_THAT(RowsOf("- - a\n  - b\n- <!-- -->\n  - c\n-\n"),
              ElementsAre(Row(1, L"a"), Row(1, L"b"), Row(0, L""), Row(1, L"c"), Row(0, L"")));
}

TEST_F(Markdown, AnEmptyFileIsAnEmptyDocument) {
  EXPECT_THAT(RowsOf(""), ElementsAre());
  EXPECT_THAT(RowsOf("<!-- nothing -->\n"), ElementsAre());
}

TEST_F(Markdown, WindowsLineBreaksAreSaidOnce) {
  WriteDocument("a.kxo", [](kx_gen::COutlineDB& db) {
    db.SetOutlineTitle(L"T");
    AddRow(db, 0, L"a").SetNote(L"b\r\nc\r\n\r\nd");
  });
  const ProgramRun run = Kxo({"export", "a.kxo", "--to", "markdown"});
  EXPECT_EQ(run.out, "<!-- line breaks: CRLF -->\n\n# T\n\n- a\n\n  b\\\n  c\n\n  d\n\n");
  EXPECT_THAT(RowsOf(run.out), ElementsAre(Row(0, L"a", L"b\r\nc\r\n\r\nd")));
}

TEST_F(Markdown, DeeperListsAreRefused) {
  std::string text = "- a\n";
  for (int level = 0; level < 258; ++level) text += std::string(2 * level, ' ') + "- a\n";
  WriteUserFile("in.md", text);
  const ProgramRun run = Kxo({"import", "in.md"});
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_THAT(run.err, HasSubstr("in.md: too deep at line 2"));
  EXPECT_THAT(UserFiles(), ElementsAre("in.md"));
}

}  // namespace
}  // namespace kxo_test
