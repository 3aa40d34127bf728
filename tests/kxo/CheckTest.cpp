#include <gmock/gmock.h>

#include "SalvageTool.h"

namespace kxo_test {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

using Json = nlohmann::json;

using Check = SalvageTool;

// --- Sound files ---

TEST_F(Check, ASoundDocumentEndsWithNothingOnStandardOutput) {
  const ProgramRun run = KxoBeside({"good.kxo"}, {"check", "good.kxo"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "kxo: good.kxo: sound (outline, 3 rows)\n");
  EXPECT_THAT(UserFiles(), ElementsAre("good.kxo"));
}

TEST_F(Check, EveryKindOfDocumentIsToldApart) {
  WriteGolden("memory-outline", "memory.db");
  WriteGolden("category-v1", "categories.db");
  WriteGolden("category-v0", "old.db");
  const ProgramRun run = Kxo({"check", "good.kxo", "memory.db", "categories.db", "old.db"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err,
            "kxo: good.kxo: sound (outline, 3 rows)\n"
            "kxo: memory.db: sound (memory outline, 2 rows)\n"
            "kxo: categories.db: sound (category file, 4 rows)\n"
            "kxo: old.db: sound (category file, 2 rows)\n");
}

TEST_F(Check, TheKindThatIsNamedIsTaken) {
  WriteGolden("category-v1", "categories.db");
  EXPECT_EQ(Kxo({"check", "--kind", "category", "categories.db"}).exitCode, 0);
  const ProgramRun run = Kxo({"check", "--kind", "outline", "categories.db"});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(run.out, StartsWith("categories.db: offset 4: error: expected version 0 of an "
                                  "outline, found 1 [version]\n"));
  EXPECT_EQ(Kxo({"check", "--kind", "nonsense", "categories.db"}).exitCode, 2);
}

TEST_F(Check, ASoundDocumentAsJson) {
  const ProgramRun run = Kxo({"check", "--json", "good.kxo"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(JsonOf(run)["files"],
            Json::parse(R"([{"file": "good.kxo", "findings": [], "errors": 0, "warnings": 0,
                             "sound": true, "kind": "outline", "version": 0, "size": )" +
                        std::to_string(good_.size()) +
                        R"(, "rowsDeclared": 3, "rowsFound": 3, "leftovers": 0}])"));
}

// --- Findings ---

TEST_F(Check, AFindingTellsOffsetRowFieldWhatWasExpectedAndWhatStandsThere) {
  WriteWithByte(row2_ + kFront, 0xFF);
  const ProgramRun run = KxoBeside({"bad.kxo"}, {"check", "bad.kxo"});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.out, "bad.kxo: offset " + std::to_string(row2_ + kFront) +
                         " (row 2 of 3): error: expected the tag code 74 61, found FF 61; it hides "
                         "flags, sort changed, id, indent, expanded, checked, drawing, text, note "
                         "[tag-code]\n");
  EXPECT_EQ(run.err,
            "kxo: bad.kxo: 1 error (outline, 3 rows); kxo recover bad.kxo -o OUT makes a document "
            "of what is left\n");
}

TEST_F(Check, EverythingIsToldAndNotOnlyTheFirst) {
  std::string bytes = good_;
  bytes[0] = 0;                   // the check code
  bytes[kIdsOffset - 1] = 1;      // the rest of a slot
  bytes[kRow1] = 'X';             // a start tag
  bytes[row2_ + kFront] = 'X';    // a tag code
  bytes[bytes.size() - 1] = 'X';  // the last end tag
  WriteUserFile("bad.kxo", bytes);
  const ProgramRun run = Kxo({"check", "bad.kxo"});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(LinesOf(run.out),
              ElementsAre(EndsWith("[check-code]"), EndsWith("[slot-fill]"),
                          EndsWith("[row-start]"), EndsWith("[tag-code]"), EndsWith("[row-end]")));
  EXPECT_EQ(run.err,
            "kxo: bad.kxo: 4 errors, 1 warning (outline, 3 rows); kxo recover bad.kxo -o OUT makes "
            "a document of what is left\n");
}

TEST_F(Check, AFindingAsJsonHasCodeOffsetRowAndTag) {
  const size_t textEnd = row2_ - 5;
  WriteWithByte(textEnd, 'X');
  const ProgramRun run = KxoBeside({"bad.kxo"}, {"check", "--json", "bad.kxo"});
  EXPECT_EQ(run.exitCode, 1);
  const Json file = JsonOf(run)["files"][0];
  EXPECT_EQ(file["findings"],
            Json::parse(R"([{"code": "text-end", "severity": "error", "offset": )" +
                        std::to_string(textEnd) +
                        R"(, "row": 1, "tag": 65544, "field": "note", "expected":
                             "note that ends in 00", "found": "58", "message": 15}])"));
  EXPECT_EQ(file["sound"], false);
  EXPECT_EQ(file["errors"], 1);
}

TEST_F(Check, WarningsAreFindingsToo) {
  WriteUserFile("bad.kxo", good_ + "more");
  const ProgramRun run = Kxo({"check", "bad.kxo"});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.out,
            "bad.kxo: offset " + std::to_string(good_.size()) +
                ": warning: expected the end of the file behind 3 rows, found 4 bytes more "
                "[behind-rows]\n");
  EXPECT_EQ(run.err, "kxo: bad.kxo: 1 warning (outline, 3 rows); it can be read as it is\n");
}

TEST_F(Check, RowsBehindTheDeclaredOnesAreTold) {
  WriteWithByte(kx_gen::format::kRowCountOffset, 1);
  const ProgramRun run = Kxo({"check", "bad.kxo"});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(
      LinesOf(run.out),
      ElementsAre(EndsWith("[behind-rows]"),
                  StartsWith("bad.kxo: offset " + std::to_string(row2_) +
                             " (row 2): warning: expected no row outside the declared ones"),
                  EndsWith("[leftover]")));
  EXPECT_THAT(run.err, HasSubstr("takes the rows behind the last one too"));
}

TEST_F(Check, DamageToEveryKindIsTold) {
  WriteGolden("memory-outline", "memory.db");
  WriteGolden("category-v1", "categories.db");
  for (const char* name : {"memory.db", "categories.db"}) {
    std::string bytes = UserFile(name);
    bytes.back() = 'X';
    WriteUserFile(name, bytes);
    const ProgramRun run = KxoBeside({name}, {"check", name});
    EXPECT_EQ(run.exitCode, 1) << name;
    EXPECT_THAT(LinesOf(run.out), ElementsAre(EndsWith("[row-end]"))) << name;
  }
}

// --- What is no document ---

TEST_F(Check, AnEmptyFileIsToldAsAFinding) {
  WriteUserFile("empty.kxo", "");
  const ProgramRun run = KxoBeside({"empty.kxo"}, {"check", "empty.kxo"});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.out,
            "empty.kxo: offset 0: error: expected an information block of 10 bytes, found 0 bytes "
            "[too-short]\n");
  EXPECT_EQ(run.err, "kxo: empty.kxo: 1 error; nothing of a document is in it\n");
}

TEST_F(Check, AFileThatIsNoDocumentIsToldInFewLines) {
  WriteUserFile("letter.txt", Repeated(1000, "Dear aunt, this is no outline. "));
  const ProgramRun run = KxoBeside({"letter.txt"}, {"check", "letter.txt"});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(LinesOf(run.out), ElementsAre(EndsWith("[check-code]"), EndsWith("[version]")));
  EXPECT_THAT(run.err, EndsWith("; nothing of a document is in it\n"));
}

TEST_F(Check, WhatCannotBeReadIsTheSystemsMatter) {
  fs::create_directory(User("folder"));
  const ProgramRun folder = Kxo({"check", "folder"});
  EXPECT_EQ(folder.exitCode, 2);
  EXPECT_EQ(folder.out, "");
  EXPECT_EQ(folder.err, "kxo: folder: this is a folder; name a file in it\n");
  const ProgramRun missing = Kxo({"check", "none.kxo"});
  EXPECT_EQ(missing.exitCode, 2);
  EXPECT_EQ(missing.err, "kxo: none.kxo: there is no such file; check the name\n");
  EXPECT_EQ(Kxo({"check"}).exitCode, 2);
  EXPECT_EQ(Kxo({"check", "--jsno", "good.kxo"}).exitCode, 2);
}

TEST_F(Check, ALockedFileEndsWithItsOwnCode) {
  kx_gen::CFile other;
  other.Open(User("good.kxo").wstring().c_str(), kx_gen::CFile::modeReadWrite);
  const ProgramRun run = Kxo({"check", "good.kxo"});
  EXPECT_EQ(run.exitCode, 4);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err,
            "kxo: good.kxo: the file is in use by another program; close it there and try again\n");
  other.Close();
  EXPECT_EQ(Kxo({"check", "good.kxo"}).exitCode, 0);
}

TEST_F(Check, AFileThatOthersReadIsRead) {
  kx_gen::CFile other;
  other.Open(User("good.kxo").wstring().c_str(),
             kx_gen::CFile::modeRead | kx_gen::CFile::shareDenyWrite);
  EXPECT_EQ(Kxo({"check", "good.kxo"}).exitCode, 0);
}

TEST_F(Check, AFileThatNobodyMayWriteIsRead) {
  fs::permissions(User("good.kxo"), fs::perms::owner_read);
  EXPECT_EQ(Kxo({"check", "good.kxo"}).exitCode, 0);
  fs::permissions(User("good.kxo"), fs::perms::owner_all);
}

// --- Several files, and standard streams ---

TEST_F(Check, SeveralFilesAreEachTold) {
  WriteWithByte(kRow1, 'X');
  const ProgramRun run =
      KxoBeside({"good.kxo", "bad.kxo"}, {"check", "good.kxo", "bad.kxo", "good.kxo"});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(LinesOf(run.out), ElementsAre(StartsWith("bad.kxo: offset 1317 (row 1 of 3)")));
  EXPECT_THAT(LinesOf(run.err),
              ElementsAre("kxo: good.kxo: sound (outline, 3 rows)", StartsWith("kxo: bad.kxo: 1 "),
                          "kxo: good.kxo: sound (outline, 3 rows)", "kxo: 1 of 3 files not sound"));
}

TEST_F(Check, OneThatCannotBeReadKeepsTheOthersFromNothing) {
  const ProgramRun run = Kxo({"check", "none.kxo", "good.kxo"});
  EXPECT_EQ(run.exitCode, 5);
  EXPECT_EQ(run.err,
            "kxo: none.kxo: there is no such file; check the name\n"
            "kxo: good.kxo: sound (outline, 3 rows)\n"
            "kxo: 1 of 2 files cannot be read, 0 not sound\n");
  EXPECT_EQ(Kxo({"check", "none.kxo", "nor.kxo"}).exitCode, 2);
}

TEST_F(Check, SeveralFilesAsJsonAreOneObject) {
  WriteWithByte(kRow1, 'X');
  const ProgramRun run = Kxo({"check", "--json", "good.kxo", "none.kxo", "bad.kxo"});
  EXPECT_EQ(run.exitCode, 5);
  const Json files = JsonOf(run)["files"];
  ASSERT_THAT(files, SizeIs(3));
  EXPECT_EQ(files[0]["sound"], true);
  EXPECT_EQ(files[1], Json::parse(R"({"file": "none.kxo", "failure":
                                      "none.kxo: there is no such file; check the name"})"));
  EXPECT_EQ(files[2]["findings"][0]["code"], "row-start");
}

TEST_F(Check, ADashIsStandardInput) {
  options_.input = User("good.kxo");
  const ProgramRun sound = Kxo({"check", "-"});
  EXPECT_EQ(sound.exitCode, 0);
  EXPECT_EQ(sound.err, "kxo: standard input: sound (outline, 3 rows)\n");
  WriteWithByte(kRow1, 'X');
  options_.input = User("bad.kxo");
  const ProgramRun bad = Kxo({"check", "-"});
  EXPECT_EQ(bad.exitCode, 1);
  EXPECT_THAT(bad.out, StartsWith("standard input: offset 1317 (row 1 of 3): error: "));
  options_.input.clear();
  EXPECT_THAT(Kxo({"check", "-"}).out, EndsWith("found 0 bytes [too-short]\n"));
}

TEST_F(Check, AnOutputThatTakesNothingIsAFailure) {
  WriteWithByte(kRow1, 'X');
  options_.refusesOutput = true;
  EXPECT_EQ(Kxo({"check", "bad.kxo"}).exitCode, 2);
  EXPECT_EQ(Kxo({"check", "--json", "good.kxo"}).exitCode, 2);
}

TEST_F(Check, ATerminalGetsNoControlCharacters) {
  std::string bytes = good_;
  bytes[kRow1] = 'X';
  fs::create_directory(User("deep"));
  WriteUserFile("deep/bad.kxo", bytes);
  const ProgramRun run = KxoOnTerminal({"check", "deep/bad.kxo"});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(run.out, HasSubstr("deep/bad.kxo: offset 1317 (row 1 of 3): error: "));
  EXPECT_EQ(run.out.find('\x1B'), std::string::npos);
}

}  // namespace
}  // namespace kxo_test
