#include <gmock/gmock.h>

#include "SalvageTool.h"

namespace kxo_test {
namespace {

namespace fs = std::filesystem;

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

using kx_gen::COutlineDB;

using Json = nlohmann::json;

class Recover : public SalvageTool {
 protected:
  /// Recovers bad.kxo as out.kxo, which is then sound, while bad.kxo stays as it is.
  ProgramRun RecoverBad(const std::vector<std::string>& more = {}) const {
    std::vector<std::string> arguments = {"recover", "bad.kxo", "-o", "out.kxo"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    ProgramRun run = KxoBeside({"bad.kxo"}, arguments);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    const ProgramRun check = Kxo({"check", "out.kxo"});
    EXPECT_THAT(check.out, ::testing::Not(HasSubstr("error")));
    return run;
  }
  std::vector<std::wstring> Texts(const std::string& name = "out.kxo") const {
    std::vector<std::wstring> texts;
    for (const StoredRow& row : ReadDocument(name).rows) texts.push_back(row.text);
    return texts;
  }
};

std::string At(size_t offset) { return "offset " + std::to_string(offset); }

// --- What is kept ---

TEST_F(Recover, ASoundDocumentComesBackByteForByte) {
  WriteGolden("outline-all-fields", "all.kxo");
  WriteGolden("outline-unknown", "unknown.kxo");
  WriteGolden("memory-outline", "memory.db");
  WriteGolden("category-v1", "categories.db");
  for (const std::string name :
       {"good.kxo", "all.kxo", "unknown.kxo", "memory.db", "categories.db"}) {
    const ProgramRun run = KxoBeside({name}, {"recover", name, "-o", "out"});
    EXPECT_EQ(run.exitCode, 0) << name;
    EXPECT_EQ(run.out, "") << name;
    EXPECT_THAT(run.err, AllOf(StartsWith("kxo: out: written, "), EndsWith(", nothing lost\n")));
    EXPECT_EQ(UserFile("out"), UserFile(name)) << name;
    fs::remove(User("out"));
  }
}

TEST_F(Recover, ADamagedRowComesBackAsFarAsItsTagsGo) {
  WriteWithByte(row2_ + kFront, 'X');  // the code of its first tag
  const ProgramRun run = RecoverBad();
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "kxo: out.kxo: written, outline, 3 rows, 1 of them mended, nothing lost\n");
  EXPECT_EQ(ReadDocument("out.kxo").rows, ReadDocument("good.kxo").rows);
}

TEST_F(Recover, WhatIsLostOfARowIsTold) {
  std::string bytes = good_;
  for (size_t i = 0; i < 40; ++i) bytes[row2_ + kFront + i] = '\0';
  WriteUserFile("bad.kxo", bytes);
  const ProgramRun run = RecoverBad();
  EXPECT_THAT(run.err,
              AllOf(HasSubstr(" (row 2 of 3, flags): lost; none now, though it may have been "
                              "deleted\n"),
                    HasSubstr(" (row 2 of 3, sort changed): lost; a new row's value now\n"),
                    EndsWith("kxo: out.kxo: written, outline, 3 rows, 1 of them in part\n")));
  EXPECT_THAT(Texts(), ElementsAre(L"first", L"second", L"third"));
  EXPECT_EQ(ReadDocument("out.kxo").rows[1].note, L"a note");
}

TEST_F(Recover, RowsBehindAnInsertedSectorAreFound) {
  WriteUserFile("bad.kxo", good_.substr(0, row2_) + std::string(512, 'P') + good_.substr(row2_));
  const ProgramRun run = RecoverBad();
  EXPECT_EQ(run.err, "kxo: bad.kxo: " + At(row2_) +
                         ": 512 bytes of which no row can be made\n"
                         "kxo: out.kxo: written, outline, 3 rows\n");
  EXPECT_EQ(UserFile("out.kxo"), good_);
}

TEST_F(Recover, AFileThatIsCutKeepsWhatItHas) {
  WriteUserFile("bad.kxo", good_.substr(0, row3_ - 3));
  const ProgramRun run = RecoverBad();
  EXPECT_THAT(run.err, HasSubstr("kxo: bad.kxo: " + At(row3_ - 3) +
                                 ": the file declares 3 rows, and 2 of them can be found\n"));
  EXPECT_THAT(Texts(), ElementsAre(L"first", L"second"));
}

TEST_F(Recover, RowsAreFoundWithoutAnythingAheadOfThem) {
  WriteUserFile("bad.kxo", good_.substr(kRow1 - 100));
  const ProgramRun run = RecoverBad();
  EXPECT_THAT(run.err, AllOf(HasSubstr("kxo: bad.kxo: the shared header lost"),
                             HasSubstr("kxo: bad.kxo: the private header lost"),
                             HasSubstr("the list of deleted ids lost; it is empty now")));
  EXPECT_THAT(Texts(), ElementsAre(L"first", L"second", L"third"));
}

TEST_F(Recover, HeadersAreKeptWhereTheyCanBeRead) {
  std::string bytes = good_;
  bytes[kx_gen::format::kHeaderTablePos] = 99;  // the number of headers
  WriteUserFile("bad.kxo", bytes);
  EXPECT_THAT(RecoverBad().err, HasSubstr("the header table cannot be used"));
  EXPECT_EQ(ReadDocument("out.kxo").title, L"Plan");
  EXPECT_EQ(ReadDocument("out.kxo").deletedIds, 1u);
}

TEST_F(Recover, AHeaderThatMovedIsFound) {
  WriteUserFile("bad.kxo", good_.substr(0, 200) + good_.substr(210));
  RecoverBad();
  EXPECT_EQ(ReadDocument("out.kxo").title, L"Plan");
  EXPECT_THAT(Texts(), ElementsAre(L"first", L"second", L"third"));
}

TEST_F(Recover, EveryKindIsRecovered) {
  WriteGolden("memory-outline", "memory.db");
  WriteGolden("category-v1", "categories.db");
  for (const char* name : {"memory.db", "categories.db"}) {
    std::string bytes = UserFile(name);
    bytes.back() = 'X';
    WriteUserFile("bad.db", bytes);
    EXPECT_EQ(KxoBeside({"bad.db"}, {"recover", "bad.db", "-o", "out.db", "--force"}).exitCode, 0);
    EXPECT_EQ(UserFile("out.db"), UserFile(name)) << name;
  }
}

// --- What was deleted ---

TEST_F(Recover, DeletedRowsStayMarkedAndDeletedIdsListed) {
  WriteWithByte(kRow1, 'X');
  RecoverBad();
  const StoredDocument document = ReadDocument("out.kxo");
  EXPECT_EQ(document.deletedIds, 1u);
  EXPECT_EQ(document.rows, ReadDocument("good.kxo").rows);
}

TEST_F(Recover, RowsBehindTheDeclaredOnesComeBackAndThisIsTold) {
  WriteWithByte(kx_gen::format::kRowCountOffset, 1);
  EXPECT_EQ(RecoverBad().err,
            "kxo: bad.kxo: " + At(row2_) +
                ": 2 rows behind the last one that the file declares taken too, although deleted "
                "ones may be among them; --no-leftovers leaves them out\n"
                "kxo: out.kxo: written, outline, 3 rows\n");
  EXPECT_EQ(ReadDocument("out.kxo").rows, ReadDocument("good.kxo").rows);
}

TEST_F(Recover, RowsBehindTheDeclaredOnesAreLeftOutOnRequest) {
  WriteWithByte(kx_gen::format::kRowCountOffset, 1);
  EXPECT_EQ(RecoverBad({"--no-leftovers"}).err,
            "kxo: bad.kxo: " + At(row2_) +
                ": 2 rows behind the last one that the file declares left out\n"
                "kxo: out.kxo: written, outline, 1 row\n");
  EXPECT_THAT(Texts(), ElementsAre(L"first"));
}

TEST_F(Recover, ARowThatASaveLeftTwiceComesBackOnce) {
  WriteUserFile("bad.kxo", good_ + good_.substr(row3_));
  EXPECT_THAT(
      RecoverBad().err,
      HasSubstr("1 row behind the last one that the file declares left out: the same stands "
                "ahead of it\n"));
  EXPECT_EQ(UserFile("out.kxo"), good_);
}

TEST_F(Recover, ARowBehindTheDeclaredOnesWhoseIdIsDeletedIsMarkedDeleted) {
  WriteDocument("bad.kxo", [](COutlineDB& db) {
    AddRow(db, 0, L"kept").SetId(1);
    AddRow(db, 0, L"gone").SetId(7);
    db.AddDeletedId(7);
  });
  std::string bytes = UserFile("bad.kxo");
  bytes[kx_gen::format::kRowCountOffset] = 1;
  WriteUserFile("bad.kxo", bytes);
  EXPECT_THAT(RecoverBad().err,
              HasSubstr("(row 2): its id is among the deleted ones; marked as deleted\n"));
  const StoredDocument document = ReadDocument("out.kxo");
  ASSERT_THAT(document.rows, SizeIs(2));
  EXPECT_EQ(document.rows[0].flags & 0x40, 0);
  EXPECT_NE(document.rows[1].flags & 0x40, 0);
}

// --- As JSON, and standard streams ---

TEST_F(Recover, LossesAsJson) {
  std::string bytes = good_.substr(0, row2_) + std::string(5, '?') + good_.substr(row2_);
  WriteUserFile("bad.kxo", bytes);
  const ProgramRun run = RecoverBad({"--json"});
  EXPECT_EQ(JsonOf(run),
            Json::parse(R"({"file": "bad.kxo", "out": "out.kxo", "losses": [{"code": "bytes",
                            "offset": )" +
                        std::to_string(row2_) +
                        R"(, "what": "5 bytes of which no row can be made"}], "written": true,
                            "kind": "outline", "rowsWhole": 3, "rowsMended": 0, "rowsInPart": 0,
                            "rowsLeftOut": 0, "deletedIds": 1, "errors": 2})"));
  EXPECT_EQ(run.err, "kxo: out.kxo: written, outline, 3 rows\n");
}

TEST_F(Recover, DashesAreTheStandardStreams) {
  WriteWithByte(kRow1, 'X');
  options_.input = User("bad.kxo");
  const ProgramRun run = Kxo({"recover", "-", "-o", "-"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, good_);
  EXPECT_EQ(run.err, "kxo: standard output: written, outline, 3 rows, nothing lost\n");
  EXPECT_THAT(UserFiles(), ElementsAre("bad.kxo", "good.kxo"));
}

TEST_F(Recover, DocumentAndJsonDoNotShareStandardOutput) {
  const ProgramRun run = Kxo({"recover", "good.kxo", "-o", "-", "--json"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err,
            "kxo: the document and JSON cannot both go to standard output; name a file with -o\n");
}

TEST_F(Recover, ADocumentDoesNotGoToATerminal) {
  const ProgramRun run = KxoOnTerminal({"recover", "good.kxo", "-o", "-"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.out, "kxo: standard output is a terminal; redirect it, or name a file\n");
}

TEST_F(Recover, AnOutputThatTakesNothingIsAFailure) {
  options_.refusesOutput = true;
  EXPECT_EQ(Kxo({"recover", "good.kxo", "-o", "-"}).exitCode, 2);
}

// --- What is refused ---

TEST_F(Recover, WhatIsNoDocumentMakesNone) {
  WriteUserFile("empty.kxo", "");
  WriteUserFile("letter.txt", Repeated(100, "Dear aunt, this is no outline. "));
  for (const std::string name : {"empty.kxo", "letter.txt"}) {
    const ProgramRun run = KxoBeside({name}, {"recover", name, "-o", "out.kxo"});
    EXPECT_EQ(run.exitCode, 3) << name;
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err,
              "kxo: " + name + ": nothing of a document is in it; try an older copy of the file\n");
    EXPECT_FALSE(fs::exists(User("out.kxo"))) << name;
  }
  const ProgramRun run = Kxo({"recover", "empty.kxo", "-o", "out.kxo", "--json"});
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_EQ(JsonOf(run)["written"], false);
}

TEST_F(Recover, TheDamagedFileItselfIsNeverReplaced) {
  WriteWithByte(kRow1, 'X');
  fs::create_hard_link(User("bad.kxo"), User("same.kxo"));
  for (const char* out : {"bad.kxo", "./bad.kxo", "same.kxo"}) {
    const ProgramRun run = KxoBeside({"bad.kxo"}, {"recover", "bad.kxo", "-o", out, "--force"});
    EXPECT_EQ(run.exitCode, 2) << out;
    EXPECT_EQ(run.err, std::string("kxo: ") + out +
                           ": this is the damaged file, which stays as it is; choose another with "
                           "-o\n");
  }
}

TEST_F(Recover, AnExistingFileIsReplacedOnlyOnRequest) {
  WriteUserFile("out.kxo", "precious");
  const ProgramRun refused = KxoBeside({"out.kxo"}, {"recover", "good.kxo", "-o", "out.kxo"});
  EXPECT_EQ(refused.exitCode, 2);
  EXPECT_EQ(refused.err,
            "kxo: out.kxo: this file exists; choose another with -o, or replace it with --force\n");
  EXPECT_EQ(Kxo({"recover", "good.kxo", "-o", "out.kxo", "--force"}).exitCode, 0);
  EXPECT_EQ(UserFile("out.kxo"), good_);
  EXPECT_THAT(UserFiles(), ElementsAre("good.kxo", "out.kxo"));
}

TEST_F(Recover, WhatCannotBeReadIsTheSystemsMatter) {
  fs::create_directory(User("folder"));
  EXPECT_EQ(Kxo({"recover", "folder", "-o", "out.kxo"}).err,
            "kxo: folder: this is a folder; name a file in it\n");
  const ProgramRun run = Kxo({"recover", "none.kxo", "-o", "out.kxo"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.err, "kxo: none.kxo: there is no such file; check the name\n");
  EXPECT_EQ(Kxo({"recover", "good.kxo"}).exitCode, 2);
  EXPECT_EQ(Kxo({"recover", "good.kxo", "-o", "folder"}).exitCode, 2);
  EXPECT_EQ(Kxo({"recover", "good.kxo", "-o", "nowhere/out.kxo"}).exitCode, 2);
  EXPECT_THAT(UserFiles(), ElementsAre("folder", "good.kxo"));
}

TEST_F(Recover, ALockedFileEndsWithItsOwnCode) {
  kx_gen::CFile other;
  other.Open(User("good.kxo").wstring().c_str(), kx_gen::CFile::modeReadWrite);
  const ProgramRun run = Kxo({"recover", "good.kxo", "-o", "out.kxo"});
  EXPECT_EQ(run.exitCode, 4);
  EXPECT_EQ(run.err,
            "kxo: good.kxo: the file is in use by another program; close it there and try again\n");
  EXPECT_THAT(UserFiles(), ElementsAre("good.kxo"));
}

TEST_F(Recover, AnOutputThatIsLockedEndsWithItsOwnCode) {
  WriteUserFile("out.kxo", "precious");
  kx_gen::CFile other;
  other.Open(User("out.kxo").wstring().c_str(), kx_gen::CFile::modeReadWrite);
  EXPECT_EQ(Kxo({"recover", "good.kxo", "-o", "out.kxo", "--force"}).exitCode, 4);
  other.Close();
  EXPECT_EQ(UserFile("out.kxo"), "precious");
}

}  // namespace
}  // namespace kxo_test
