#include <gmock/gmock.h>

#include <array>

#include "Kept.h"
#include "TestPlaces.h"
#include "ToolTest.h"
#include "TrickyDocument.h"

namespace kxo_test {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::HasSubstr;

using kx_gen::COutlineDB;

constexpr std::array kGoldenOutlines = {"outline-all-fields", "outline-deleted-ids",
                                        "outline-empty", "outline-unknown-edited",
                                        "outline-unknown"};

class Export : public ToolTest {
 protected:
  void MakeDocument() const {
    WriteDocument("plan.kxo", [](COutlineDB& db) {
      db.SetOutlineTitle(L"Plan");
      AddRow(db, 0, L"One");
      AddRow(db, 1, L"Two");
    });
  }
  void ImportExample() const {
    const fs::path example = kx_test::sourceFolder() / "examples" / "field-guide.opml";
    EXPECT_EQ(Kxo({"import", example.string(), "-o", "guide.kxo"}).exitCode, 0);
  }
};

TEST_F(Export, WritesToStandardOutputUnlessAFileIsNamed) {
  MakeDocument();
  const ProgramRun run = Kxo({"export", "plan.kxo", "--to", "text"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, "Plan\n\nOne\n\tTwo\n");
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(Kxo({"export", "plan.kxo", "--to", "text", "-o", "-"}).out, run.out);
  EXPECT_THAT(UserFiles(), ElementsAre("plan.kxo"));
}

TEST_F(Export, TheNameOfTheFileTellsTheFormat) {
  MakeDocument();
  const ProgramRun run = Kxo({"export", "plan.kxo", "-o", "plan.MD"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "kxo: plan.MD: written, 2 items\n");
  EXPECT_EQ(UserFile("plan.MD"), "# Plan\n\n- One\n  - Two\n");
  EXPECT_EQ(Kxo({"export", "plan.kxo", "-o", "x.md", "--to", "text"}).exitCode, 0);
  EXPECT_EQ(UserFile("x.md"), "Plan\n\nOne\n\tTwo\n");
  EXPECT_THAT(UserFiles(), ElementsAre("plan.MD", "plan.kxo", "x.md"));
}

TEST_F(Export, AFormatThatNothingTellsIsAskedFor) {
  MakeDocument();
  const ProgramRun toOutput = Kxo({"export", "plan.kxo"});
  EXPECT_EQ(toOutput.exitCode, 2);
  EXPECT_EQ(toOutput.err, "kxo: no format; name one with --to\n");
  const ProgramRun toFile = Kxo({"export", "plan.kxo", "-o", "plan.doc"});
  EXPECT_EQ(toFile.exitCode, 2);
  EXPECT_EQ(toFile.err, "kxo: plan.doc: its name tells no format; name one with --to\n");
  const ProgramRun unknown = Kxo({"export", "plan.kxo", "--to", "runes"});
  EXPECT_EQ(unknown.exitCode, 2);
  EXPECT_THAT(unknown.err, HasSubstr("runes"));
  EXPECT_THAT(UserFiles(), ElementsAre("plan.kxo"));
}

TEST_F(Export, AnExistingFileStaysWithoutForce) {
  MakeDocument();
  WriteUserFile("plan.txt", "precious");
  const ProgramRun run = Kxo({"export", "plan.kxo", "-o", "plan.txt"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(
      run.err,
      "kxo: plan.txt: this file exists; choose another with -o, or replace it with --force\n");
  EXPECT_EQ(UserFile("plan.txt"), "precious");
  EXPECT_EQ(Kxo({"export", "plan.kxo", "-o", "plan.txt", "--force"}).exitCode, 0);
  EXPECT_EQ(UserFile("plan.txt"), "Plan\n\nOne\n\tTwo\n");
  EXPECT_THAT(UserFiles(), ElementsAre("plan.kxo", "plan.txt"));
}

TEST_F(Export, AFolderIsNeverReplaced) {
  MakeDocument();
  fs::create_directory(User("plan.txt"));
  const ProgramRun run = Kxo({"export", "plan.kxo", "-o", "plan.txt", "--force"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.err, "kxo: plan.txt: this is not a regular file; choose another with -o\n");
  const ProgramRun missing = Kxo({"export", "plan.kxo", "-o", "no/plan.txt"});
  EXPECT_EQ(missing.exitCode, 2);
  EXPECT_THAT(missing.err, HasSubstr("its folder cannot be used"));
}

TEST_F(Export, TheDocumentIsNeverReplacedByWhatIsMadeOfIt) {
  MakeDocument();
  const std::string bytes = UserFile("plan.kxo");
  for (const char* out : {"plan.kxo", "./plan.kxo"}) {
    const ProgramRun run = Kxo({"export", "plan.kxo", "--to", "json", "-o", out, "--force"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.err, std::string("kxo: ") + out +
                           ": this is the document itself; choose another with -o\n");
  }
  EXPECT_EQ(UserFile("plan.kxo"), bytes);
}

TEST_F(Export, ADamagedDocumentLeavesTheOldFile) {
  WriteUserFile("bad.kxo", "no document");
  WriteUserFile("old.txt", "old");
  EXPECT_EQ(Kxo({"export", "bad.kxo", "-o", "old.txt", "--force"}).exitCode, 3);
  EXPECT_EQ(UserFile("old.txt"), "old");
  EXPECT_EQ(Kxo({"export", "none.kxo", "--to", "text"}).exitCode, 2);
  EXPECT_THAT(UserFiles(), ElementsAre("bad.kxo", "old.txt"));
}

TEST_F(Export, AnOutputThatTakesNothingIsAFailure) {
  MakeDocument();
  options_.refusesOutput = true;
  const ProgramRun run = Kxo({"export", "plan.kxo", "--to", "text"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.err, HasSubstr("standard output: cannot be written"));
}

TEST_F(Export, ControlCharactersNeverReachATerminal) {
  WriteDocument("a.kxo", [](COutlineDB& db) {
    db.SetOutlineTitle(L"T");
    AddRow(db, 0, L"red \x1B[31m");
    AddRow(db, 1, L"below");
  });
  const ProgramRun shown = KxoOnTerminal({"export", "a.kxo", "--to", "text"});
  EXPECT_EQ(shown.exitCode, 0);
  EXPECT_THAT(shown.out, HasSubstr("red \\x1b[31m"));
  EXPECT_EQ(Kxo({"export", "a.kxo", "--to", "text"}).out, "T\n\nred \x1B[31m\n\tbelow\n");
}

TEST_F(Export, WhatIsNoCharacterIsReplacedAndCounted) {
  WriteDocument("a.kxo", [](COutlineDB& db) {
    AddRow(db, 0, L"half \xD83D, other half \xDE00!").SetNote(L"\xDC00");
  });
  const ProgramRun run = Kxo({"export", "a.kxo", "--to", "text"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.out, HasSubstr("half \uFFFD, other half \uFFFD!\n\t: \uFFFD\n"));
  EXPECT_EQ(run.err,
            "kxo: a.kxo: not carried: 3 characters that such a file cannot hold; U+FFFD stands "
            "there\n");
}

// --- Every format ---

struct FormatCase {
  const char* name;
  const char* extension;
  bool skipsLevels;  // holds items whose level is more than one above their parent's
};
std::ostream& operator<<(std::ostream& out, const FormatCase& format) { return out << format.name; }

class EveryFormat : public Export, public ::testing::WithParamInterface<FormatCase> {
 protected:
  static std::string In(const std::string& stem) { return stem + "." + GetParam().extension; }
  static std::string Name() { return GetParam().name; }

  std::string Exported(const std::string& document) const {
    const ProgramRun run = Kxo({"export", document, "--to", Name()});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    return run.out;
  }
  /// What comes back of a document.
  StoredDocument ThereAndBack(const std::string& document) const {
    EXPECT_EQ(Kxo({"export", document, "-o", In("way"), "--force"}).exitCode, 0);
    const ProgramRun run = Kxo({"import", In("way"), "-o", "back.kxo", "--force"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    return ReadDocument("back.kxo");
  }
};

TEST_P(EveryFormat, WritesTheExampleAsItIsKept) {
  ImportExample();
  EXPECT_EQ(Exported("guide.kxo"), Kept(In("field-guide-export")));
}

TEST_P(EveryFormat, TheExampleComesBackAsItWas) {
  ImportExample();
  const StoredDocument before = ReadDocument("guide.kxo");
  const StoredDocument after = ThereAndBack("guide.kxo");
  EXPECT_EQ(after.title, before.title);
  ASSERT_EQ(after.rows.size(), before.rows.size());
  for (size_t i = 0; i < before.rows.size(); ++i) {
    EXPECT_EQ(after.rows[i].text, before.rows[i].text);
    EXPECT_EQ(after.rows[i].note, before.rows[i].note);
    EXPECT_EQ(after.rows[i].indent, before.rows[i].indent);
    EXPECT_EQ(after.rows[i].checked, before.rows[i].checked);
  }
}

TEST_P(EveryFormat, TrickyTextsComeBackAsTheyWere) {
  WriteDocument("tricky.kxo", [](COutlineDB& db) { FillTricky(db, GetParam().skipsLevels); });
  const StoredDocument before = ReadDocument("tricky.kxo");
  const StoredDocument after = ThereAndBack("tricky.kxo");
  EXPECT_EQ(after.title, before.title);
  ASSERT_EQ(after.rows.size(), before.rows.size());
  for (size_t i = 0; i < before.rows.size(); ++i) {
    StoredRow row = after.rows[i];
    row.flags = before.rows[i].flags;
    EXPECT_EQ(row, before.rows[i]) << i;
  }
}

TEST_P(EveryFormat, EveryKeptDocumentIsWrittenTwiceAlikeAndReadAgain) {
  for (const char* name : kGoldenOutlines) {
    const std::string document = std::string(name) + ".kxo";
    WriteGolden(name, User(document).string());
    const std::string before = UserFile(document);
    const std::string once = Exported(document);
    EXPECT_EQ(Exported(document), once) << name;
    EXPECT_EQ(UserFile(document), before) << name;
    EXPECT_EQ(once, Kept(In(name))) << name;
    EXPECT_EQ(ThereAndBack(document).rows.size(), ReadDocument(document).rows.size()) << name;
  }
}

TEST_P(EveryFormat, TheDeepestLevelIsCarried) {
  WriteDocument("deep.kxo", [](COutlineDB& db) {
    for (unsigned level = 0; level < 256; ++level) {
      AddRow(db, static_cast<unsigned char>(level), L"x").SetNote(L"y");
    }
  });
  const StoredDocument after = ThereAndBack("deep.kxo");
  ASSERT_EQ(after.rows.size(), 256u);
  EXPECT_EQ(after.rows[255].indent, 255u);
  EXPECT_EQ(after.rows[255].note, L"y");
}

INSTANTIATE_TEST_SUITE_P(Formats, EveryFormat,
                         ::testing::Values(FormatCase{"markdown", "md", true},
                                           FormatCase{"opml", "opml", true},
                                           FormatCase{"text", "txt", true}),
                         ::testing::PrintToStringParamName());

}  // namespace
}  // namespace kxo_test
