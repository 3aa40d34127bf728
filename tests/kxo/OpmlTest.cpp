#include <gmock/gmock.h>

#include "Kept.h"
#include "ToolTest.h"

namespace kxo_test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

using kx_gen::COutlineDB;

constexpr const char* kOurRoot = R"(<opml version="2.0" xmlns:k="urn:kx-fileio:outline">)";

class Opml : public ToolTest {
 protected:
  void WriteGoldenDocument(const std::string& name, const std::string& file) const {
    WriteGolden(name, User(file).string());
  }
  /// What an import of a file with our namespace, declared as k, makes of it.
  StoredDocument DocumentOf(const std::string& head, const std::string& body) {
    WriteUserFile("in.opml", kOurRoot + head + "<body>" + body + "</body></opml>");
    const ProgramRun run = Kxo({"import", "in.opml", "--force"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    err_ = run.err;
    return ReadDocument();
  }
  std::string err_;
};

TEST_F(Opml, OutAndInGivesTheSameBytes) {
  for (const char* name : {"outline-all-fields", "outline-deleted-ids", "outline-empty",
                           "outline-unknown", "outline-unknown-edited"}) {
    WriteGoldenDocument(name, "a.kxo");
    EXPECT_EQ(Kxo({"export", "a.kxo", "-o", "a.opml", "--force"}).exitCode, 0) << name;
    const ProgramRun run = Kxo({"import", "a.opml", "-o", "b.kxo", "--force"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(UserFile("b.kxo"), UserFile("a.kxo")) << name;
  }
}

TEST_F(Opml, FoldingComesBackHoweverDeep) {
  WriteDocument("a.kxo", [](COutlineDB& db) {
    // Folded and unfolded items, below folded ones too, and leaves that are folded.
    for (unsigned i = 0; i < 64; ++i) {
      AddRow(db, static_cast<unsigned char>(i % 7 % 5), L"x").SetExpanded((i & (i >> 2) & 1) == 0);
    }
  });
  EXPECT_EQ(Kxo({"export", "a.kxo", "-o", "a.opml"}).exitCode, 0);
  EXPECT_EQ(Kxo({"import", "a.opml", "-o", "b.kxo"}).exitCode, 0);
  EXPECT_EQ(ReadDocument("b.kxo").rows, ReadDocument("a.kxo").rows);
}

TEST_F(Opml, WhatXmlForbidsIsReplacedAndCounted) {
  WriteDocument("a.kxo", [](COutlineDB& db) {
    AddRow(db, 0, L"bell \x07 escape \x1B").SetNote(L"tab \t half \xD800 end \uFFFF");
  });
  const ProgramRun run = Kxo({"export", "a.kxo", "--to", "opml"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.out, HasSubstr("text=\"bell \uFFFD escape \uFFFD\""));
  EXPECT_THAT(run.out, HasSubstr("_note=\"tab &#09; half \uFFFD end \uFFFD\""));
  EXPECT_THAT(run.err, HasSubstr("not carried: 4 characters that such a file cannot hold"));
}

TEST_F(Opml, DrawingsStandBesideTheFile) {
  WriteGoldenDocument("outline-all-fields", "a.kxo");
  EXPECT_EQ(Kxo({"export", "a.kxo", "-o", "trip.opml"}).exitCode, 0);
  EXPECT_THAT(UserFiles(), ElementsAre("a.kxo", "trip-3.png", "trip.opml"));
  EXPECT_THAT(UserFile("trip-3.png"), ::testing::StartsWith("\x89PNG"));
  EXPECT_THAT(UserFile("trip.opml"), HasSubstr("kxo:drawing=\"trip-3.png\""));
  const ProgramRun again = Kxo({"export", "a.kxo", "-o", "trip.opml", "--force"});
  EXPECT_EQ(again.exitCode, 0) << again.err;
}

TEST_F(Opml, ADrawingDoesNotReplaceAFileWithoutForce) {
  WriteGoldenDocument("outline-all-fields", "a.kxo");
  WriteUserFile("trip-3.png", "precious");
  const ProgramRun run = Kxo({"export", "a.kxo", "-o", "trip.opml"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.err, HasSubstr("trip-3.png: this file exists"));
  EXPECT_EQ(UserFile("trip-3.png"), "precious");
  EXPECT_THAT(UserFiles(), ElementsAre("a.kxo", "trip-3.png"));
}

TEST_F(Opml, OnStandardOutputDrawingsAreLeftOutAndTold) {
  WriteGoldenDocument("outline-all-fields", "a.kxo");
  const ProgramRun run = Kxo({"export", "a.kxo", "--to", "opml"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.out, Not(HasSubstr("drawing")));
  EXPECT_THAT(run.err, HasSubstr("not carried: 1 drawing; name a file with -o"));
}

TEST_F(Opml, AMissingDrawingIsToldAndTheRestImported) {
  const StoredDocument document =
      DocumentOf("", R"(<outline text="a" k:drawing="gone.png"/><outline text="b"/>)");
  EXPECT_EQ(document.rows.size(), 2u);
  EXPECT_THAT(err_, HasSubstr("not carried: the drawing gone.png, which cannot be read"));
}

TEST_F(Opml, DrawingsAreTakenFromTheFilesFolderOnly) {
  WriteGoldenDocument("outline-all-fields", "a.kxo");
  EXPECT_EQ(Kxo({"export", "a.kxo", "-o", "trip.opml"}).exitCode, 0);
  const std::string beside = R"(<outline text="a" k:drawing="trip-3.png"/>)";
  DocumentOf("", beside);
  EXPECT_THAT(err_, Not(HasSubstr("not carried")));
  for (const char* name :
       {"../user/trip-3.png", "./trip-3.png", "..\\user\\trip-3.png", "C:trip-3.png", "..", "."}) {
    DocumentOf("", std::string(R"(<outline text="a" k:drawing=")") + name + "\"/>");
    EXPECT_THAT(err_, HasSubstr("not carried: the drawing")) << name;
  }
}

TEST_F(Opml, OurAttributesAreTakenUpUnderAnyPrefix) {
  const StoredDocument document =
      DocumentOf(R"(<head k:category="Work" k:deletedIds="3 4"/>)",
                 R"(<outline text="a" k:id="17" k:new="false" k:deleted="true" k:note="false"/>)");
  EXPECT_EQ(document.category, L"Work");
  EXPECT_EQ(document.deletedIds, 2u);
  ASSERT_EQ(document.rows.size(), 1u);
  EXPECT_EQ(document.rows[0].id, 17u);
  EXPECT_EQ(document.rows[0].flags, 0x40);
  EXPECT_FALSE(document.rows[0].hasNote);
  EXPECT_EQ(err_, "kxo: in.kxo: written, 1 item\n");
}

TEST_F(Opml, ValuesThatMakeNoSenseAreCountedAndNotTaken) {
  const StoredDocument document =
      DocumentOf(R"(<head k:numbering="1 2" k:slots="x" k:sharedStored="0g"/>)",
                 R"(<outline text="a" k:id="-1" k:new="maybe" k:level="x"/>)"
                 R"(<outline text="b" k:id="4294967296" k:level="256"/>)");
  EXPECT_THAT(document.rows, ElementsAre(Row(0, L"a"), Row(0, L"b")));
  EXPECT_THAT(err_, HasSubstr("not carried: attributes k:id (2), k:level (2), k:new (1), "
                              "k:numbering (1), k:sharedStored (1), k:slots (1)\n"));
}

TEST_F(Opml, LevelsNeverMakeAHeadlineAnothersChild) {
  const StoredDocument document = DocumentOf(
      "", R"(<outline text="a" k:level="2"><outline text="b" k:level="1"/></outline>)"
          R"(<outline text="c" k:level="7"/><outline text="d"/><outline text="e" k:level="9"/>)"
          R"(<outline text="f" k:level="300"/>)");
  EXPECT_THAT(document.rows, ElementsAre(Row(2, L"a"), Row(3, L"b"), Row(2, L"c"), Row(0, L"d"),
                                         Row(0, L"e"), Row(0, L"f")));
}

TEST_F(Opml, TitlesWithBlanksAroundComeBack) {
  WriteDocument("a.kxo", [](COutlineDB& db) { db.SetOutlineTitle(L" a \r\n b "); });
  EXPECT_EQ(Kxo({"export", "a.kxo", "-o", "a.opml"}).exitCode, 0);
  EXPECT_EQ(Kxo({"import", "a.opml", "-o", "b.kxo"}).exitCode, 0);
  EXPECT_EQ(ReadDocument("b.kxo").title, L" a \r\n b ");
}

TEST_F(Opml, AnEmptyTitleComesBack) {
  WriteDocument("a.kxo", [](COutlineDB& db) { db.SetOutlineTitle(L""); });
  EXPECT_EQ(Kxo({"export", "a.kxo", "-o", "a.opml"}).exitCode, 0);
  EXPECT_EQ(Kxo({"import", "a.opml", "-o", "b.kxo"}).exitCode, 0);
  EXPECT_EQ(UserFile("b.kxo"), UserFile("a.kxo"));
}

}  // namespace
}  // namespace kxo_test
