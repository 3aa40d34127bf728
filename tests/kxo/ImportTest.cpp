#include <gmock/gmock.h>

#include <chrono>
#include <vector>

#include "TestPlaces.h"
#include "ToolTest.h"

namespace kxo_test {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

class Import : public ToolTest {
 protected:
  /// The check marks of the rows that these headlines become.
  std::vector<bool> CheckMarks(const std::string& body) {
    const ProgramRun run = ToolTest::Import(OpmlText(body), {"--force"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    err_ = run.err;
    std::vector<bool> marks;
    for (const StoredRow& row : ReadDocument().rows) marks.push_back(row.checked);
    return marks;
  }

  /// For each row of a small tree whether it is unfolded, '+' or '-'. The tree:
  /// 1 a (2 b (3 c, 4 d), 5 e (6 f)), 7 g, 8 h (9 i (10 j)).
  std::string Unfolded(const std::string& head) {
    const std::string body =
        R"(<outline text="a"><outline text="b"><outline text="c"/><outline text="d"/></outline>)"
        R"(<outline text="e"><outline text="f"/></outline></outline><outline text="g"/>)"
        R"(<outline text="h"><outline text="i"><outline text="j"/></outline></outline>)";
    const ProgramRun run = ToolTest::Import(OpmlText(body, head), {"--force"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    err_ = run.err;
    std::string marks;
    for (const StoredRow& row : ReadDocument().rows) marks += row.expanded ? '+' : '-';
    return marks;
  }

  std::string err_;
};

std::string Expansion(const std::string& list) {
  return "<expansionState>" + list + "</expansionState>";
}

TEST_F(Import, TitleNestingTextsAndNotesBecomeHeaderAndRows) {
  const ProgramRun run = ToolTest::Import(OpmlText(
      R"(<outline text="One" _note="first note"><outline text="Two"><outline text="Three"/>)"
      R"(</outline><outline text="Four"/></outline><outline text="Five"/>)",
      "<title>Plans &amp; hopes</title>"));
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "kxo: in.kxo: written, 5 items\n");
  const StoredDocument document = ReadDocument();
  EXPECT_EQ(document.title, L"Plans & hopes");
  EXPECT_EQ(document.deletedIds, 0u);
  EXPECT_THAT(document.rows, ElementsAre(Row(0, L"One", L"first note"), Row(1, L"Two"),
                                         Row(2, L"Three"), Row(1, L"Four"), Row(0, L"Five")));
}

TEST_F(Import, NewItemsHaveIdZeroAndOnlyTheNewFlag) {
  ToolTest::Import(OpmlText(R"(<outline text="a" _complete="true"/>)"));
  const StoredDocument document = ReadDocument();
  ASSERT_EQ(document.rows.size(), 1u);
  EXPECT_EQ(document.rows[0].id, 0u);
  EXPECT_EQ(document.rows[0].flags, 0x80);
}

TEST_F(Import, TheCategoryIsNamedUnfiled) {
  ToolTest::Import(OpmlText(R"(<outline text="a"/>)"));
  EXPECT_EQ(ReadDocument().category, L"Unfiled");
}

TEST_F(Import, WithoutATitleTheDocumentIsUntitled) {
  ToolTest::Import(OpmlText(R"(<outline text="a"/>)", ""));
  EXPECT_EQ(ReadDocument().title, L"Untitled");
}

TEST_F(Import, TitlesMayBeCdataAndHaveBlanksAround) {
  ToolTest::Import(OpmlText("", "<title>\n  <![CDATA[Fish & chips]]> at six\n</title>"));
  EXPECT_EQ(ReadDocument().title, L"Fish & chips at six");
}

TEST_F(Import, AnEmptyBodyGivesADocumentWithoutItems) {
  const ProgramRun run = ToolTest::Import(OpmlText(""));
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.err, "kxo: in.kxo: written, 0 items\n");
  EXPECT_THAT(ReadDocument().rows, IsEmpty());
}

TEST_F(Import, LineBreaksInTextsAndNotesSurvive) {
  ToolTest::Import(OpmlText(R"(<outline text="a&#10;b" _note="1&#xD;&#xA;2&#9;3"/>)"));
  const StoredDocument document = ReadDocument();
  ASSERT_EQ(document.rows.size(), 1u);
  EXPECT_EQ(document.rows[0].text, L"a\nb");
  EXPECT_EQ(document.rows[0].note, L"1\r\n2\t3");
}

TEST_F(Import, ReferencesAndAllScriptsSurvive) {
  ToolTest::Import(OpmlText(
      "<outline text=\"&lt;&gt;&amp;&quot;&apos;&#65;&#x1F426; ağ ελ ру ‏עב 日本 "
      "😀\"/>"));
  const StoredDocument document = ReadDocument();
  ASSERT_EQ(document.rows.size(), 1u);
  EXPECT_EQ(document.rows[0].text,
            L"<>&\"'A\U0001F426 a\u011F \u03B5\u03BB \u0440\u0443 "
            L"\u200F\u05E2\u05D1 \u65E5\u672C \U0001F600");
}

TEST_F(Import, AHeadlineWithoutTextTakesItsTitle) {
  const ProgramRun run = ToolTest::Import(
      OpmlText(R"(<outline title="by title"/><outline text="by text" title="other"/><outline/>)"));
  EXPECT_THAT(ReadDocument().rows,
              ElementsAre(Row(0, L"by title"), Row(0, L"by text"), Row(0, L"")));
  EXPECT_THAT(run.err, HasSubstr("not carried: attributes title (1)\n"));
}

TEST_F(Import, EveryAttributeForCheckedItemsCounts) {
  EXPECT_THAT(
      CheckMarks(R"(<outline text="1" _status="checked"/><outline text="2" _complete="true"/>)"
                 R"(<outline text="3" complete="1"/><outline text="4" checked="yes"/>)"
                 R"(<outline text="5"/>)"),
      ElementsAre(true, true, true, true, false));
  EXPECT_EQ(err_, "kxo: in.kxo: written, 5 items\n");
}

TEST_F(Import, TruthIsUnderstoodInManyWords) {
  std::string body;
  for (const char* word : {"true", "checked", "1", "yes", "on", "x", "done", "complete",
                           "completed", "TRUE", " Yes "}) {
    body += std::string(R"(<outline text="t" checked=")") + word + "\"/>";
  }
  EXPECT_EQ(CheckMarks(body), std::vector<bool>(11, true));
  body.clear();
  for (const char* word : {"false", "unchecked", "0", "no", "off", "none", "todo", ""}) {
    body += std::string(R"(<outline text="t" checked=")") + word + "\"/>";
  }
  EXPECT_EQ(CheckMarks(body), std::vector<bool>(8, false));
  EXPECT_EQ(err_, "kxo: in.kxo: written, 8 items\n");
}

TEST_F(Import, CheckValuesThatSayNeitherAreToldAndCounted) {
  EXPECT_THAT(CheckMarks(R"(<outline text="1" _status="indeterminate"/>)"
                         R"(<outline text="2" _status="indeterminate"/>)"
                         R"(<outline text="3" _status="unchecked" _complete="true"/>)"),
              ElementsAre(false, false, true));
  EXPECT_THAT(err_, HasSubstr("in.opml: not carried: attributes _status=\"indeterminate\" (2), "
                              "_status=\"unchecked\" (1)\n"));
}

TEST_F(Import, WithoutExpansionStateAllIsUnfolded) { EXPECT_EQ(Unfolded(""), "++++++++++"); }

TEST_F(Import, AnEmptyExpansionStateFoldsAll) { EXPECT_EQ(Unfolded(Expansion("")), "--++-++--+"); }

TEST_F(Import, ExpansionStateNamesLinesFromOne) {
  EXPECT_EQ(Unfolded(Expansion("1")), "+-++-++--+");
  EXPECT_EQ(Unfolded(Expansion("1,2")), "++++-++--+");
  EXPECT_EQ(err_, "kxo: in.kxo: written, 10 items\n");
}

TEST_F(Import, ExpansionStateCountsOnlyVisibleLines) {
  // a, b, e, g and h are visible once a is unfolded, so line 3 is e and, e's child being visible
  // too by then, line 6 is h; h's child i follows in line 7.
  EXPECT_EQ(Unfolded(Expansion("1,3,6,7")), "+-++++++++");
}

TEST_F(Import, ExpansionStateIsTakenInItsOrder) {
  // h is line 3 while all is folded; unfolded afterwards, a does not change what h was.
  EXPECT_EQ(Unfolded(Expansion("3, 1")), "+-++-+++-+");
  EXPECT_EQ(Unfolded(Expansion("1,3")), "+-+++++--+");
}

TEST_F(Import, ExpansionStateWithAZeroWasCountedFromZero) {
  EXPECT_EQ(Unfolded(Expansion("0,1")), "++++-++--+");
  EXPECT_THAT(err_, HasSubstr("expansionState holds a 0"));
}

TEST_F(Import, ExpansionStateEntriesThatNameNoLineAreTold) {
  EXPECT_EQ(Unfolded(Expansion("1 two,99;")), "+-++-++--+");
  EXPECT_THAT(err_, HasSubstr("its expansionState: 2 of 3 entries name no visible line, ignored"));
}

TEST_F(Import, AttributesWithoutAPlaceAreToldAndCounted) {
  const ProgramRun run = ToolTest::Import(OpmlText(
      R"(<outline text="1" type="link" url="u"><outline text="2" type="link"/></outline>)"));
  EXPECT_EQ(run.err,
            "kxo: in.opml: not carried: attributes type (2), url (1)\n"
            "kxo: in.kxo: written, 2 items\n");
}

TEST_F(Import, ElementsAndTextsWithoutAPlaceAreToldAndCounted) {
  const ProgramRun run = ToolTest::Import(
      "<opml version=\"2.0\" xmlns:x=\"u\" mood=\"good\"><head><title>T</title><ownerName>N"
      "</ownerName></head><extra/><body>stray<outline text=\"1\"><x:icon/><x:icon/></outline>"
      "</body></opml>");
  EXPECT_EQ(run.err,
            "kxo: in.opml: not carried: attributes opml mood (1)\n"
            "kxo: in.opml: not carried: head elements ownerName (1)\n"
            "kxo: in.opml: not carried: elements extra (1), x:icon (2)\n"
            "kxo: in.opml: not carried: 1 text between elements\n"
            "kxo: in.kxo: written, 1 item\n");
}

TEST_F(Import, NamesFromTheFileReachTheTerminalEscaped) {
  const ProgramRun run =
      ToolTest::Import(OpmlText("<outline text=\"1\" _status=\"\xC2\x9B"
                                "31m\"/>"));
  EXPECT_THAT(run.err, HasSubstr("_status=\"\\u009b31m\" (1)"));
}

TEST_F(Import, ATitleThatJustFitsIsKeptWhole) {
  // Of the 512 bytes of its header, 290 are left for a title and the null behind it.
  const std::string longest(289, 'm');
  const ProgramRun run = ToolTest::Import(OpmlText("", "<title>" + longest + "</title>"));
  EXPECT_EQ(run.err, "kxo: in.kxo: written, 0 items\n");
  EXPECT_EQ(ReadDocument().title, std::wstring(289, L'm'));
}

TEST_F(Import, ALongerTitleIsCutAndTold) {
  const ProgramRun run =
      ToolTest::Import(OpmlText("", "<title>" + std::string(290, 'm') + "</title>"));
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.err,
              HasSubstr("kxo: in.opml: the title is longer than a .kxo document holds: "
                        "cut to \"" +
                        std::string(289, 'm') + "\" from \"" + std::string(290, 'm') + "\"\n"));
  EXPECT_EQ(ReadDocument().title, std::wstring(289, L'm'));
}

TEST_F(Import, ALongTitleIsCutBetweenCharacters) {
  const ProgramRun run =
      ToolTest::Import(OpmlText("", "<title>" + Repeated(1000, "\u65E5") + "</title>"));
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(ReadDocument().title, std::wstring(289 / 3, L'\u65E5'));
}

TEST_F(Import, TwoHundredAndFiftySixLevelsAreCarried) {
  const ProgramRun run = ToolTest::Import(
      OpmlText(Repeated(256, "<outline text=\"d\">") + Repeated(256, "</outline>")));
  EXPECT_EQ(run.exitCode, 0);
  const StoredDocument document = ReadDocument();
  ASSERT_EQ(document.rows.size(), 256u);
  for (unsigned i = 0; i < 256; ++i) EXPECT_EQ(document.rows[i].indent, i);
}

TEST_F(Import, DeeperHeadlinesAreRefusedAndNothingIsWritten) {
  const ProgramRun run = ToolTest::Import(
      OpmlText("\n" + Repeated(257, "<outline text=\"d\">\n") + Repeated(257, "</outline>")));
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_EQ(run.err,
            "kxo: in.opml: too deep at line 260, column 1: a headline of level 257, and a .kxo "
            "document holds 256 levels; move the deepest headlines up and import again\n");
  EXPECT_THAT(UserFiles(), ElementsAre("in.opml"));
}

TEST_F(Import, AHundredThousandLevelsAreRefusedToo) {
  const ProgramRun run = ToolTest::Import(
      OpmlText(Repeated(100000, "<outline text=\"d\">") + Repeated(100000, "</outline>")));
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_THAT(run.err, HasSubstr("too deep"));
}

TEST_F(Import, TenThousandItemsTakeTheirPlaces) {
  std::string body;
  std::string lines;
  for (int i = 0; i < 100; ++i) {
    body += "<outline text=\"part " + std::to_string(i) + "\">";
    for (int j = 0; j < 99; ++j) {
      body += "<outline text=\"item " + std::to_string(i) + "." + std::to_string(j) +
              R"(" _note="note"/>)";
    }
    body += "</outline>";
    lines += (i == 0 ? "" : ",") + std::to_string(i * 100 + 1);
  }
  const ProgramRun run = ToolTest::Import(OpmlText(body, Expansion(lines)));
  EXPECT_EQ(run.err, "kxo: in.kxo: written, 10000 items\n");
  const StoredDocument document = ReadDocument();
  ASSERT_EQ(document.rows.size(), 10000u);
  EXPECT_EQ(document.rows[9999], Row(1, L"item 99.98", L"note"));
  EXPECT_EQ(document.rows[9900], Row(0, L"part 99"));
  EXPECT_THAT(document.rows, ::testing::Each(::testing::Field(&StoredRow::expanded, true)));
}

TEST_F(Import, TheSameInputGivesTheSameBytes) {
  const std::string example = (kx_test::sourceFolder() / "examples" / "field-guide.opml").string();
  EXPECT_EQ(Kxo({"import", example, "-o", "a.kxo"}).exitCode, 0);
  EXPECT_EQ(Kxo({"import", example, "-o", "b.kxo"}).exitCode, 0);
  EXPECT_EQ(UserFile("a.kxo"), UserFile("b.kxo"));
  EXPECT_THAT(UserFile("a.kxo"), StartsWith("\x78\x56\x34\x12"));
}

TEST_F(Import, WithoutOutputTheDocumentStandsBesideItsSource) {
  fs::create_directory(User("sub"));
  WriteUserFile("sub/my.notes.opml", OpmlText(""));
  const ProgramRun run = Kxo({"import", "sub/my.notes.opml"});
  EXPECT_EQ(run.err, "kxo: sub/my.notes.kxo: written, 0 items\n");
  EXPECT_TRUE(fs::exists(User("sub/my.notes.kxo")));
  EXPECT_THAT(UserFiles(), ElementsAre("sub"));
}

TEST_F(Import, AnExistingTargetStaysWithoutForce) {
  WriteUserFile("in.kxo", "precious");
  const ProgramRun run = ToolTest::Import(OpmlText(""));
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.err,
            "kxo: in.kxo: this file exists; choose another with -o, or replace it with --force\n");
  EXPECT_EQ(UserFile("in.kxo"), "precious");
  EXPECT_THAT(UserFiles(), ElementsAre("in.kxo", "in.opml"));
}

TEST_F(Import, ForceReplacesTheTarget) {
  WriteUserFile("in.kxo", "old");
  EXPECT_EQ(ToolTest::Import(OpmlText("<outline text=\"new\"/>"), {"--force"}).exitCode, 0);
  EXPECT_EQ(ReadDocument().rows.size(), 1u);
  EXPECT_THAT(UserFiles(), ElementsAre("in.kxo", "in.opml"));
}

TEST_F(Import, ATargetThatIsInUseIsNotReplaced) {
  WriteDocument("in.kxo", [](kx_gen::COutlineDB& db) { AddRow(db, 0, L"open elsewhere"); });
  kx_gen::CFile other;
  other.Open(User("in.kxo").wstring().c_str(),
             kx_gen::CFile::modeRead | kx_gen::CFile::shareDenyNone);
  const ProgramRun run = ToolTest::Import(OpmlText(""), {"--force"});
  EXPECT_EQ(run.exitCode, 4);
  EXPECT_EQ(run.err,
            "kxo: in.kxo: the file is in use by another program; close it there and try again\n");
  other.Close();
  EXPECT_EQ(ReadDocument().rows.size(), 1u);
}

TEST_F(Import, ForceNeverReplacesAFolder) {
  fs::create_directory(User("in.kxo"));
  const ProgramRun run = ToolTest::Import(OpmlText(""), {"--force"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.err, "kxo: in.kxo: this is not a regular file; choose another with -o\n");
  EXPECT_TRUE(fs::is_directory(User("in.kxo")));
}

TEST_F(Import, ABadInputLeavesTheTargetAsItWas) {
  WriteUserFile("in.kxo", "precious");
  EXPECT_EQ(ToolTest::Import("<opml><body>", {"--force"}).exitCode, 3);
  EXPECT_EQ(UserFile("in.kxo"), "precious");
  EXPECT_THAT(UserFiles(), ElementsAre("in.kxo", "in.opml"));
}

TEST_F(Import, ATargetInAMissingFolderIsRefused) {
  const ProgramRun run = ToolTest::Import(OpmlText(""), {"-o", "no/such/out.kxo"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.err, StartsWith("kxo: no/such/out.kxo: its folder cannot be used ("));
  EXPECT_THAT(run.err, EndsWith("; make the folder first, or name another\n"));
}

TEST_F(Import, ATargetThatNamesAFolderIsRefused) {
  for (const char* target : {"sub/", ".", ".."}) {
    const ProgramRun run = ToolTest::Import(OpmlText(""), {"-o", target});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_THAT(run.err, HasSubstr("this names a folder; name a file in it")) << target;
  }
}

TEST_F(Import, TheSourceIsNeverItsOwnTarget) {
  const ProgramRun run = ToolTest::Import(OpmlText(""), {"-o", "../user/in.opml", "--force"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.err, "kxo: ../user/in.opml: this is the file to import; choose another with -o\n");
  EXPECT_EQ(UserFile("in.opml"), OpmlText(""));
}

TEST_F(Import, AGuessedFormatThatDoesNotFitIsToldAsAGuess) {
  WriteUserFile("notes", "no XML at all");
  const ProgramRun run = Kxo({"import", "notes"});
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_THAT(run.err, EndsWith("; if it is not OPML, name its format with --from\n"));
  EXPECT_THAT(ToolTest::Import("no XML at all").err, Not(HasSubstr("--from")));
}

TEST_F(Import, ADocumentNeedsNoImport) {
  ASSERT_EQ(ToolTest::Import(OpmlText("")).exitCode, 0);
  const ProgramRun run = Kxo({"import", "in.kxo", "-o", "out.kxo"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.err, "kxo: in.kxo: this is a .kxo file already; kxo check tells what is in it\n");
  EXPECT_THAT(UserFiles(), ElementsAre("in.kxo", "in.opml"));
}

TEST_F(Import, StandardOutputTakesTheDocument) {
  ASSERT_EQ(ToolTest::Import(OpmlText("<outline text=\"1\"/>")).exitCode, 0);
  WriteUserFile("in.json", Kxo({"export", "in.kxo", "--to", "json"}).out);
  for (const char* in : {"in.opml", "in.json"}) {
    const ProgramRun run = Kxo({"import", in, "-o", "-"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, UserFile("in.kxo")) << in;
    EXPECT_EQ(run.err, "kxo: standard output: written, 1 item\n");
  }
  EXPECT_THAT(UserFiles(), ElementsAre("in.json", "in.kxo", "in.opml"));
}

TEST_F(Import, AMissingSourceAndAFolderAreNamed) {
  const ProgramRun missing = Kxo({"import", "none.opml"});
  EXPECT_EQ(missing.exitCode, 2);
  EXPECT_EQ(missing.err, "kxo: none.opml: there is no such file; check the name\n");
  const ProgramRun folder = Kxo({"import", "."});
  EXPECT_EQ(folder.exitCode, 2);
  EXPECT_EQ(folder.err, "kxo: .: this is a folder; name a file in it\n");
}

TEST_F(Import, TheExampleBecomesADocument) {
  const std::string example = (kx_test::sourceFolder() / "examples" / "field-guide.opml").string();
  EXPECT_EQ(Kxo({"import", example, "-o", "guide.kxo"}).exitCode, 0);
  const StoredDocument document = ReadDocument("guide.kxo");
  EXPECT_GE(document.rows.size(), 60u);
  unsigned deepest = 0;
  for (const StoredRow& row : document.rows) deepest = std::max(deepest, row.indent);
  EXPECT_EQ(deepest, 4u);
  EXPECT_THAT(document.rows, ::testing::Contains(::testing::Field(&StoredRow::checked, true)));
  EXPECT_THAT(document.rows, ::testing::Contains(::testing::Field(&StoredRow::expanded, false)));
  EXPECT_THAT(document.rows, ::testing::Contains(::testing::Field(&StoredRow::note, Not(L""))));
}

struct RealFile {
  const char* name;
  size_t items;
  const char* told;
};

TEST_F(Import, RealFilesAreImportedAndShown) {
  const fs::path folder = kx_test::realInputsFolder() / "opml";
  if (kx_test::realInputsFolder().empty()) {
    std::cout << "There are no real inputs here; KX_TEST_DATA names their folder.\n";
  }
  for (const RealFile& file :
       {RealFile{"nba", 39, "description (1)"}, RealFile{"attributes", 5, "structure (5)"},
        RealFile{"news-2001-09", 1309, "attributes created (919), type (737)"}}) {
    const fs::path source = folder / (std::string(file.name) + ".opml");
    if (kx_test::realInputsFolder().empty()) break;
    const std::string out = std::string(file.name) + ".kxo";
    const ProgramRun run = Kxo({"import", source.string(), "-o", out});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.err, HasSubstr(file.told));
    EXPECT_EQ(ReadDocument(out).rows.size(), file.items);
    const ProgramRun shown = Kxo({"show", out, "--all"});
    EXPECT_EQ(LinesOf(shown.out).size(), file.items + 1);
  }
}

}  // namespace
}  // namespace kxo_test
