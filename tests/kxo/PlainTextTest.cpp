#include <gmock/gmock.h>

#include "ToolTest.h"

namespace kxo_test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class PlainText : public ToolTest {
 protected:
  StoredDocument DocumentOf(const std::string& text) {
    WriteUserFile("in.txt", text);
    const ProgramRun run = Kxo({"import", "in.txt", "--force"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    err_ = run.err;
    return ReadDocument();
  }
  static StoredRow Checked(unsigned indent, const std::wstring& text) {
    StoredRow row = Row(indent, text);
    row.checked = true;
    return row;
  }
  std::string err_;
};

TEST_F(PlainText, TabsIndent) {
  const StoredDocument document = DocumentOf("\nmilk\n\toat\n\t\tone\n\nbread");
  EXPECT_THAT(document.rows,
              ElementsAre(Row(0, L"milk"), Row(1, L"oat"), Row(2, L"one"), Row(0, L"bread")));
  EXPECT_EQ(document.title, L"Untitled");
  EXPECT_EQ(err_, "kxo: in.kxo: written, 4 items\n");
}

TEST_F(PlainText, AFirstLineWithAnEmptyOneBehindItIsTheTitle) {
  EXPECT_EQ(DocumentOf("Shopping\n\nmilk\n").title, L"Shopping");
  EXPECT_THAT(DocumentOf("Shopping\n\nmilk\n").rows, ElementsAre(Row(0, L"milk")));
  EXPECT_EQ(DocumentOf("Shopping\nmilk\n").title, L"Untitled");
  EXPECT_THAT(DocumentOf("milk").rows, ElementsAre(Row(0, L"milk")));
  EXPECT_THAT(DocumentOf("milk\n").rows, ElementsAre(Row(0, L"milk")));
  EXPECT_THAT(DocumentOf("[x] milk\n\nbread\n").rows,
              ElementsAre(Checked(0, L"milk"), Row(0, L"bread")));
  EXPECT_THAT(DocumentOf("").rows, ElementsAre());
}

TEST_F(PlainText, BlanksIndentWhereNoTabDoes) {
  EXPECT_THAT(DocumentOf("a\n  b\n    c\n  d\n").rows,
              ElementsAre(Row(0, L"a"), Row(1, L"b"), Row(2, L"c"), Row(1, L"d")));
  EXPECT_THAT(DocumentOf("a\n    b\n").rows, ElementsAre(Row(0, L"a"), Row(1, L"b")));
  EXPECT_THAT(DocumentOf("a\n\tb\n  c\n").rows,
              ElementsAre(Row(0, L"a"), Row(1, L"b"), Row(0, L"  c")));
}

TEST_F(PlainText, MarksMakeNotesFurtherLinesAndCheckedItems) {
  EXPECT_THAT(DocumentOf("\na\n\t: n1\n\t:\n\t: n3\n[X] b\n[ ] c\n\t| d\n").rows,
              ElementsAre(Row(0, L"a", L"n1\n\nn3"), Checked(0, L"b"), Row(0, L"c\nd")));
}

TEST_F(PlainText, MarksElsewhereAreText) {
  EXPECT_THAT(DocumentOf("\n: a\n\t\t: b\n:c\n").rows,
              ElementsAre(Row(0, L": a"), Row(2, L": b"), Row(0, L":c")));
}

TEST_F(PlainText, EveryLineEndEndsALine) {
  EXPECT_THAT(DocumentOf("\r\na\r\n\t: n\r\n\t: m\r\nb\r\tc\n").rows,
              ElementsAre(Row(0, L"a", L"n\r\nm"), Row(0, L"b"), Row(1, L"c")));
}

TEST_F(PlainText, BackslashesElsewhereAreText) {
  EXPECT_THAT(DocumentOf("\n\\\\server\\share\n\\a\nb\\\n\\: c\n\\\n").rows,
              ElementsAre(Row(0, L"\\\\server\\share"), Row(0, L"\\a"), Row(0, L"b\\"),
                          Row(0, L": c"), Row(0, L"")));
}

TEST_F(PlainText, OtherEncodingsAreUnderstood) {
  EXPECT_THAT(DocumentOf("\xEF\xBB\xBF\ncaf\xC3\xA9").rows, ElementsAre(Row(0, L"caf\u00E9")));
  EXPECT_THAT(DocumentOf("\ncaf\xE9").rows, ElementsAre(Row(0, L"caf\u00E9")));
  EXPECT_THAT(err_, HasSubstr("read as Windows-1252"));
  EXPECT_THAT(DocumentOf(std::string("\xFF\xFE"
                                     "a\0\n\0b\0",
                                     8))
                  .rows,
              ElementsAre(Row(0, L"a"), Row(0, L"b")));
}

TEST_F(PlainText, WhatIsNoTextIsRefused) {
  WriteUserFile("in.txt", std::string("a\nb\0c", 5));
  const ProgramRun run = Kxo({"import", "in.txt"});
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_EQ(run.err, "kxo: in.txt: no text: a null character at line 2, column 2; remove it\n");
  WriteUserFile("in.txt", "\na\n" + std::string(256, '\t') + "b\n");
  const ProgramRun deep = Kxo({"import", "in.txt"});
  EXPECT_EQ(deep.exitCode, 3);
  EXPECT_EQ(deep.err,
            "kxo: in.txt: too deep at line 3: an item of level 257, and a .kxo document holds 256 "
            "levels; move the deepest items up and import again\n");
  EXPECT_THAT(UserFiles(), ElementsAre("in.txt"));
}

TEST_F(PlainText, StandardInputIsReadAsTheFormatThatIsNamed) {
  WriteUserFile("list", "\na\n\tb\n");
  options_.input = User("list");
  EXPECT_EQ(Kxo({"import", "-", "--from", "text", "-o", "in.kxo"}).exitCode, 0);
  EXPECT_THAT(ReadDocument().rows, ElementsAre(Row(0, L"a"), Row(1, L"b")));
  const ProgramRun unnamed = Kxo({"import", "-", "-o", "x.kxo"});
  EXPECT_EQ(unnamed.exitCode, 2);
  EXPECT_EQ(unnamed.err, "kxo: standard input tells no format; name one with --from\n");
  const ProgramRun nowhere = Kxo({"import", "-", "--from", "text"});
  EXPECT_EQ(nowhere.exitCode, 2);
  EXPECT_EQ(nowhere.err, "kxo: a name is missing for the document; give one with -o\n");
}

}  // namespace
}  // namespace kxo_test
