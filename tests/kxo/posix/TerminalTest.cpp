// The tool on terminals of different widths and abilities.
#include <gmock/gmock.h>

#include "Kept.h"
#include "TestPlaces.h"
#include "ToolTest.h"

namespace kxo_test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class Terminal : public ToolTest {
 protected:
  void SetUp() override {
    ToolTest::SetUp();
    options_.environment.erase("NO_COLOR");
    options_.unset = {"NO_COLOR"};
    options_.environment["TERM"] = "xterm";
  }
  void ImportExample() const {
    const auto example = kx_test::sourceFolder() / "examples" / "field-guide.opml";
    EXPECT_EQ(Kxo({"import", example.string(), "-o", "guide.kxo"}).exitCode, 0);
  }
  void WriteMarked() const {
    WriteDocument("a.kxo", [](kx_gen::COutlineDB& db) {
      db.SetOutlineTitle(L"Marked");
      auto& checked = AddRow(db, 0, L"checked");
      checked.SetChecked(true);
      checked.SetNote(L"a note");
      AddRow(db, 1, L"deleted").SetDeleted(true);
      AddRow(db, 0, L"folded").SetExpanded(false);
    });
  }
};

constexpr const char* kColoured =
    "\x1B[1mMarked\x1B[0m\n"
    "\x1B[36m1  \x1B[0m\x1B[2m├─ \x1B[0m\x1B[32m[x] \x1B[0mchecked\n"
    "   \x1B[2m│  │  \x1B[0m\x1B[2m: \x1B[0m\x1B[2ma note\x1B[0m\n"
    "\x1B[36m2  \x1B[0m\x1B[2m│  └─ \x1B[0m\x1B[31m(deleted) \x1B[0mdeleted\n"
    "\x1B[36m3  \x1B[0m\x1B[2m└─ \x1B[0m\x1B[33m▸ \x1B[0mfolded\n";

TEST_F(Terminal, ShowsColours) {
  WriteMarked();
  EXPECT_EQ(KxoOnTerminal({"show", "a.kxo", "--notes", "--numbers"}).out, kColoured);
}

TEST_F(Terminal, ShowsNoColoursWhereTheUserOrTheTerminalWantsNone) {
  WriteMarked();
  options_.unset.clear();
  options_.environment["NO_COLOR"] = "1";
  EXPECT_THAT(KxoOnTerminal({"show", "a.kxo"}).out, Not(HasSubstr("\x1B")));
  options_.environment["NO_COLOR"] = "";
  EXPECT_THAT(KxoOnTerminal({"show", "a.kxo"}).out, HasSubstr("\x1B[1mMarked"));
  options_.environment["TERM"] = "dumb";
  EXPECT_THAT(KxoOnTerminal({"show", "a.kxo"}).out, Not(HasSubstr("\x1B")));
  options_.environment["TERM"] = "";
  EXPECT_THAT(KxoOnTerminal({"show", "a.kxo"}).out, Not(HasSubstr("\x1B")));
}

TEST_F(Terminal, APipeHasNoColours) {
  WriteMarked();
  EXPECT_THAT(Kxo({"show", "a.kxo"}).out, Not(HasSubstr("\x1B")));
}

TEST_F(Terminal, ANarrowOneBreaksLinesAsItIsKept) {
  ImportExample();
  options_.environment["NO_COLOR"] = "1";
  options_.unset.clear();
  options_.columns = 48;
  EXPECT_EQ(KxoOnTerminal({"show", "guide.kxo", "--notes", "--all", "--numbers"}).out,
            Kept("field-guide-narrow.txt"));
}

TEST_F(Terminal, AWideOneBreaksNone) {
  ImportExample();
  options_.environment["NO_COLOR"] = "1";
  options_.unset.clear();
  options_.columns = 200;
  EXPECT_EQ(KxoOnTerminal({"show", "guide.kxo", "--notes", "--all"}).out,
            Kept("field-guide-terminal.txt"));
}

TEST_F(Terminal, WideCharactersFillTwoColumnsAndCombiningOnesNone) {
  WriteDocument("a.kxo", [](kx_gen::COutlineDB& db) {
    AddRow(db, 0, L"カワガラスカワガラスカワガラス");
    AddRow(db, 0,
           L"e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301"
           L"e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301 end");
    AddRow(db, 0, L"\U0001F469\u200D\U0001F680 \u2764\uFE0F and some more words");
  });
  options_.environment["NO_COLOR"] = "1";
  options_.unset.clear();
  options_.columns = 23;
  EXPECT_EQ(KxoOnTerminal({"show", "a.kxo"}).out,
            "Untitled\n├─ カワガラスカワガラス\n│  カワガラス\n"
            "├─ e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301"
            "e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301e\u0301\n│  end\n"
            "└─ \U0001F469\u200D\U0001F680 \u2764\uFE0F and some more\n   words\n");
}

TEST_F(Terminal, ListsAlignWideCharacters) {
  const auto write = [this](const char* name, const wchar_t* title, const wchar_t* category) {
    WriteDocument(name, [&](kx_gen::COutlineDB& db) {
      db.SetOutlineTitle(title);
      db.SetCategoryName(category);
    });
  };
  write("a.kxo", L"鳥と道", L"Büro");
  write("b.kxo", L"Birds \U0001F426", L"e\u0301");
  const std::vector<std::string> lines = LinesOf(KxoOnTerminal({"list", "a.kxo", "b.kxo"}).out);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], "TITLE     CATEGORY  ITEMS  CHANGED               SIZE  FILE");
  EXPECT_THAT(lines[1], StartsWith("鳥と道    Büro          0  20"));
  EXPECT_THAT(lines[2], StartsWith("Birds \U0001F426  e\u0301             0  20"));
}

TEST_F(Terminal, OneTooNarrowForTheTreeBreaksLinesItself) {
  WriteMarked();
  options_.environment["NO_COLOR"] = "1";
  options_.unset.clear();
  options_.columns = 12;
  EXPECT_EQ(KxoOnTerminal({"show", "a.kxo"}).out,
            "Marked\n├─ [x] checked\n│  └─ (deleted) deleted\n└─ ▸ folded\n");
}

TEST_F(Terminal, ALineTellsHowFarAConversionIs) {
  std::filesystem::create_directory(User("in"));
  for (const char* name : {"in/a.kxo", "in/c.kxo"}) {
    WriteDocument(name, [](kx_gen::COutlineDB& db) { AddRow(db, 0, L"item"); });
  }
  WriteUserFile("in/b.kxo", "no document");
  const ProgramRun run = KxoOnTerminal({"convert", "in", "--to", "markdown", "--out-dir", "out"});
  EXPECT_EQ(run.exitCode, 5);
  EXPECT_THAT(run.out, HasSubstr("1 of 3"));
  EXPECT_THAT(run.out, HasSubstr("3 of 3"));
  EXPECT_THAT(run.out, HasSubstr("(1 failed)"));
}

}  // namespace
}  // namespace kxo_test
