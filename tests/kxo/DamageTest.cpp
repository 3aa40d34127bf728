#include <gmock/gmock.h>

#include "Kept.h"
#include "Pace.h"
#include "ToolTest.h"

namespace kxo_test {
namespace {

namespace format = kx_gen::format;

using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::Eq;
using ::testing::HasSubstr;
using ::testing::SizeIs;
using ::testing::StartsWith;

using kx_gen::COutlineDB;

class Damage : public ToolTest {
 protected:
  void SetUp() override {
    ToolTest::SetUp();
    WriteDocument("good.kxo", [](COutlineDB& db) {
      AddRow(db, 0, L"first");
      AddRow(db, 1, L"second").SetNote(L"n");
      db.AddDeletedId(7);
    });
    good_ = UserFile("good.kxo");
  }

  /// What is told of these bytes as bad.kxo, by `show` and `info` alike.
  std::string Told(const std::string& bytes) const {
    WriteUserFile("bad.kxo", bytes);
    const ProgramRun show = Kxo({"show", "bad.kxo"});
    const ProgramRun info = Kxo({"info", "bad.kxo"});
    EXPECT_EQ(show.exitCode, 3);
    EXPECT_EQ(info.exitCode, 3);
    EXPECT_EQ(show.out, "");
    EXPECT_EQ(info.out, "");
    EXPECT_EQ(info.err, show.err);
    EXPECT_THAT(LinesOf(show.err), SizeIs(1));
    return show.err;
  }

  std::string WithByte(size_t offset, char value) const {
    std::string bytes = good_;
    bytes[offset] = value;
    return bytes;
  }

  std::string good_;
};

constexpr const char* kAdvice = "; try an older copy of the file\n";
constexpr size_t kIdsOffset = 1309;
constexpr size_t kFirstRow = kIdsOffset + 8;

TEST_F(Damage, AnotherCheckCodeIsNotADocument) {
  const std::string told =
      "kxo: bad.kxo: cannot be read at offset 0 (the check code): The db check code is different. "
      "This is not a .kxo file. Perhaps you renamed it from a .kxo.pdb file? That won't work; name "
      "a .kxo "
      "document, or make one of this file with kxo import\n";
  EXPECT_EQ(Told("<opml/> and more bytes"), told);
  EXPECT_EQ(Told(""), told);
  EXPECT_EQ(Told(good_.substr(0, 9)), told);
}

TEST_F(Damage, AnotherVersionIsNamed) {
  EXPECT_EQ(Told(WithByte(format::kVersionOffset, 1)),
            "kxo: bad.kxo: cannot be read at offset 4 (the version): The db version is newer than "
            "your application. Please update your application; read it with a newer kxo\n");
}

TEST_F(Damage, ACutHeaderTableIsNamed) {
  EXPECT_EQ(Told(good_.substr(0, 11)),
            std::string("kxo: bad.kxo: damaged at offset 10 (the header table): the file ends too "
                        "early") +
                kAdvice);
}

TEST_F(Damage, ASlotTooSmallForItsHeaderIsNamed) {
  EXPECT_EQ(Told(WithByte(14, 1)),
            std::string("kxo: bad.kxo: damaged at offset 10 (the header table): The header size is "
                        "changed, but the db version not") +
                kAdvice);
}

TEST_F(Damage, AHeaderThatOutgrowsItsSlotIsNamed) {
  WriteUserFile("bad.kxo", WithByte(797 + 1, 2));
  for (const char* command : {"show", "info"}) {
    const ProgramRun run = Kxo({command, "bad.kxo"});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_EQ(run.err, std::string("kxo: bad.kxo: damaged at offset 797 (private header): The "
                                   "recorded header size is bigger than the default header size") +
                           kAdvice);
  }
}

TEST_F(Damage, CutDeletedIdsAreNamed) {
  EXPECT_EQ(Told(good_.substr(0, kIdsOffset + 5)),
            std::string("kxo: bad.kxo: damaged at offset 1309 (the deleted ids): the file ends too "
                        "early") +
                kAdvice);
}

TEST_F(Damage, ARowWithoutItsStartIsNamed) {
  EXPECT_EQ(Told(WithByte(kFirstRow, 'X')),
            std::string("kxo: bad.kxo: damaged at offset 1317 (row 1 of 2): Missing new record "
                        "identifier") +
                kAdvice);
}

TEST_F(Damage, ARowWithoutItsEndIsNamed) {
  EXPECT_THAT(Told(WithByte(good_.size() - 1, 'X')),
              HasSubstr("(row 2 of 2): Missing end record identifier"));
}

TEST_F(Damage, MoreRowsThanThereAreAreNamed) {
  EXPECT_THAT(
      Told(WithByte(format::kRowCountOffset, 3)),
      AllOf(HasSubstr("damaged at offset " + std::to_string(good_.size()) + " (row 3 of 3): "),
            HasSubstr("the file ends too early")));
}

TEST_F(Damage, AFieldWithoutItsCodeIsNamedWithItsRow) {
  // Inside the first row's third tag.
  const size_t code = kFirstRow + 8 + 2 * (format::kTagSize + 1);
  EXPECT_THAT(
      Told(WithByte(code, 'X')),
      StartsWith("kxo: bad.kxo: damaged at offset 1317 (row 1 of 2): Data corruption error"));
}

TEST_F(Damage, ALackingFieldIsNamedWithItsRow) {
  WriteDocument("bad.kxo", [](COutlineDB& db) {
    AddRow(db, 0, L"whole");
    AddRow(db, 0, L"to lose its text").DeleteText();
  });
  EXPECT_THAT(Told(UserFile("bad.kxo")), HasSubstr("(row 2 of 2): Data class not found error"));
}

/// How far it is from one place to the next: in the front and the rows they lie close together.
size_t StepAt(size_t place, size_t between) {
  return (place < 40 || place > 1300 ? 3 : between) * kx_test::kSweepStep;
}

TEST_F(Damage, EveryCutIsToldInOneLine) {
  for (size_t length = 0; length < good_.size(); length += StepAt(length, 97)) {
    WriteUserFile("bad.kxo", good_.substr(0, length));
    for (const char* command : {"show", "info"}) {
      const ProgramRun run = Kxo({command, "bad.kxo"});
      EXPECT_EQ(run.exitCode, 3) << length;
      EXPECT_THAT(LinesOf(run.err), ElementsAre(StartsWith("kxo: bad.kxo: "))) << length;
      EXPECT_EQ(run.out, "") << length;
    }
  }
}

TEST_F(Damage, EveryChangedByteIsShownOrTold) {
  for (size_t offset = 0; offset < good_.size(); offset += StepAt(offset, 61)) {
    WriteUserFile("bad.kxo", WithByte(offset, static_cast<char>(~good_[offset])));
    const ProgramRun run = Kxo({"info", "bad.kxo"});
    EXPECT_THAT(run.exitCode, AnyOf(Eq(0), Eq(3))) << offset << ": " << run.err;
    EXPECT_THAT(LinesOf(run.err), SizeIs(run.exitCode == 0 ? 0 : 1)) << offset;
  }
}

TEST_F(Damage, AMissingFileIsNamed) {
  for (const char* command : {"show", "info"}) {
    const ProgramRun run = Kxo({command, "none.kxo"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.err, "kxo: none.kxo: there is no such file; check the name\n");
  }
}

TEST_F(Damage, AFileUsedAsAFolderIsNamed) {
  const ProgramRun run = Kxo({"show", "good.kxo/x"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.err, "kxo: good.kxo/x: there is no such file; check the name\n");
}

TEST_F(Damage, AFolderIsNamed) {
  const ProgramRun run = Kxo({"show", "."});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.err, "kxo: .: this is a folder; name a file in it\n");
}

}  // namespace
}  // namespace kxo_test
