// The commands that change items and headers: what they do, what they mark for synchronisation, and
// what they leave as it is.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "EditTool.h"
#include "KxLayout.h"

namespace kxo_test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

using kx_gen::COutlineDB;

using Edit = EditTool;

using Strings = std::vector<std::string>;

// --- add ---

TEST_F(Edit, AnItemIsAddedAtTheEnd) {
  EXPECT_EQ(Edited({"add", "plan.kxo", "street"}).err, "kxo: plan.kxo: added item 6\n");
  EXPECT_THAT(Tree(),
              ElementsAre("0 house", "1 roof", "2 tiles", "1 walls", "0 garden", "0 street"));
  EXPECT_EQ(ReadDocument("plan.kxo").rows[5], Row(0, L"street")) << "as every new row";
  EXPECT_TRUE(IsOutlineChanged());
  EXPECT_THAT(DeletedIds(), ElementsAre(77));
}

TEST_F(Edit, AnItemIsAddedUnderAnotherAsTheLastOne) {
  EXPECT_EQ(Edited({"add", "plan.kxo", "cellar", "--under", "1"}).err,
            "kxo: plan.kxo: added item 5\n");
  EXPECT_THAT(Tree(),
              ElementsAre("0 house", "1 roof", "2 tiles", "1 walls", "1 cellar", "0 garden"));
  Edited({"add", "plan.kxo", "trees", "--under", "id:5"});
  EXPECT_EQ(Tree().back(), "1 trees");
}

TEST_F(Edit, AnItemIsAddedBeforeAndAfterAnotherBesideIt) {
  Edited({"add", "plan.kxo", "cellar", "--before", "2"});
  Edited({"add", "plan.kxo", "windows", "--after", "3"});
  EXPECT_THAT(Tree(), ElementsAre("0 house", "1 cellar", "1 roof", "2 tiles", "1 windows",
                                  "1 walls", "0 garden"));
}

TEST_F(Edit, AnAddedItemHasANoteAndACheckMarkWhenAskedFor) {
  Edited({"add", "plan.kxo", "street", "--note", "two\nlines \xC3\xA9", "--checked"});
  StoredRow expected = Row(0, L"street", L"two\nlines \u00E9");
  expected.checked = true;
  EXPECT_EQ(ReadDocument("plan.kxo").rows[5], expected);
}

TEST_F(Edit, ATextMayBeginWithADashOrBeEmpty) {
  Edited({"add", "plan.kxo", "--", "-10 %"});
  Edited({"add", "plan.kxo", ""});
  EXPECT_EQ(Tree()[5], "0 -10 %");
  EXPECT_EQ(Tree()[6], "0 ");
}

TEST_F(Edit, OtherRowsKeepTheirBytesWhenOneIsAdded) {
  std::vector<kx_test::Bytes> before;
  Look([&](COutlineDB& db) {
    for (unsigned long i = 0; i < 5; ++i) before.push_back(kx_test::blockOf(RowOf(db, i)));
  });
  Edited({"add", "plan.kxo", "first of all", "--before", "1"});
  Look([&](COutlineDB& db) {
    for (unsigned long i = 0; i < 5; ++i) {
      EXPECT_EQ(kx_test::blockOf(RowOf(db, i + 1)), before[i]) << i;
    }
  });
}

TEST_F(Edit, NoItemIsAddedBelowTheDeepestLevel) {
  Change([](COutlineDB& db) { RowOf(db, 4).SetIndent(255); });
  ExpectRefused({"add", "plan.kxo", "deeper", "--under", "5"}, 2,
                "plan.kxo: items cannot be deeper than level 255; choose a place further up");
  Edited({"add", "plan.kxo", "beside", "--after", "5"});
  EXPECT_EQ(Tree()[5], "255 beside");
}

// --- What programs are told ---

TEST_F(Edit, ProgramsAreToldWhatWasDone) {
  const auto told = [this](std::vector<std::string> arguments) {
    arguments.emplace_back("--json");
    const ProgramRun run = Kxo(arguments);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    return nlohmann::json::parse(run.out);
  };
  EXPECT_EQ(told({"add", "plan.kxo", "x", "--before", "2"}),
            nlohmann::json::parse(R"({"file": "plan.kxo", "done": "added item 2", "written": true,
                                      "row": 2})"));
  EXPECT_EQ(told({"move", "plan.kxo", "2", "--before", "1"})["row"], 1);
  EXPECT_EQ(told({"set", "plan.kxo", "1", "--check"})["row"], 1);
  const nlohmann::json same = told({"set", "plan.kxo", "1", "--check"});
  EXPECT_EQ(same["done"], nullptr);
  EXPECT_EQ(same["written"], false);
  const nlohmann::json dry = told({"remove", "plan.kxo", "1", "--dry-run"});
  EXPECT_EQ(dry["done"], "removed item 1");
  EXPECT_EQ(dry["items"], 1);
  EXPECT_EQ(dry["written"], false);
  EXPECT_EQ(told({"set-header", "plan.kxo", "--private"})["written"], true);
  EXPECT_EQ(Kxo({"set", "plan.kxo", "99", "--check", "--json"}).out, "");
}

// --- Naming items ---

TEST_F(Edit, AnItemThatIsNotThereIsTold) {
  const std::string ask = "give a row number, as kxo show --numbers prints it";
  ExpectRefused({"set", "plan.kxo", "6", "--check"}, 2,
                "plan.kxo: there is no item 6; the document has 5 items");
  ExpectRefused({"set", "plan.kxo", "0", "--check"}, 2,
                "plan.kxo: there is no item 0; the document has 5 items");
  ExpectRefused({"remove", "plan.kxo", "id:4"}, 2, "plan.kxo: no item has the id \"4\"; " + ask);
  ExpectRefused({"remove", "plan.kxo", "id:x"}, 2, "plan.kxo: no item has the id \"x\"; " + ask);
  for (const char* item : {"x", "1x", "+1", "4294967297", "1.0", ""}) {
    ExpectRefused({"remove", "plan.kxo", item}, 2,
                  std::string("plan.kxo: \"") + item +
                      "\" names no item; give its row number, as kxo show --numbers prints it, or "
                      "id:N");
  }
}

TEST_F(Edit, AnIdOfSeveralItemsNamesNone) {
  Change([](COutlineDB& db) { RowOf(db, 1).SetId(5); });
  ExpectRefused({"set", "plan.kxo", "id:5", "--check"}, 2,
                "plan.kxo: 2 items have the id 5; give a row number, as kxo show --numbers prints "
                "it");
}

// --- set ---

TEST_F(Edit, ATextIsSetAndMarked) {
  EXPECT_EQ(Edited({"set", "plan.kxo", "2", "--text", "green roof"}).err,
            "kxo: plan.kxo: changed item 2\n");
  EXPECT_EQ(Tree()[1], "1 green roof");
  EXPECT_TRUE(MarksOf(1).changed);
  EXPECT_FALSE(MarksOf(1).sortChanged);
  EXPECT_THAT(MarksOf(1).fields, ElementsAre("text"));
  EXPECT_TRUE(IsOutlineChanged());
}

TEST_F(Edit, EveryFieldIsSetAtOnce) {
  Edited({"set", "plan.kxo", "id:5", "--text", "park", "--note", "small", "--uncheck", "--fold"});
  StoredRow expected = Row(0, L"park", L"small");
  expected.id = 5;
  expected.expanded = false;
  expected.flags = 0x20;
  EXPECT_EQ(ReadDocument("plan.kxo").rows[4], expected);
  EXPECT_THAT(MarksOf(4).fields, ElementsAre("text", "note", "expanded", "checked"));
}

TEST_F(Edit, FoldingIsNoChangeForSynchronisation) {
  Edited({"set", "plan.kxo", "1", "--fold"});
  EXPECT_FALSE(ReadDocument("plan.kxo").rows[0].expanded);
  EXPECT_FALSE(MarksOf(0).changed);
  EXPECT_THAT(MarksOf(0).fields, ElementsAre("expanded"));
  EXPECT_FALSE(IsOutlineChanged());
  Edited({"set", "plan.kxo", "1", "--unfold"});
  EXPECT_TRUE(ReadDocument("plan.kxo").rows[0].expanded);
}

TEST_F(Edit, MarksThatWereNotSynchronisedYetStay) {
  Edited({"set", "plan.kxo", "2", "--text", "green roof"});
  Edited({"set", "plan.kxo", "2", "--check"});
  EXPECT_THAT(MarksOf(1).fields, ElementsAre("text", "checked"));
  Edited({"set", "plan.kxo", "2", "--fold"});
  EXPECT_THAT(MarksOf(1).fields, ElementsAre("text", "expanded", "checked"));
  EXPECT_TRUE(MarksOf(1).changed);
}

TEST_F(Edit, ANoteIsTakenAwayAndGiven) {
  Edited({"set", "plan.kxo", "5", "--no-note"});
  EXPECT_FALSE(ReadDocument("plan.kxo").rows[4].hasNote);
  EXPECT_TRUE(MarksOf(4).changed) << "though no field is left to be marked";
  Change([](COutlineDB& db) {
    ClearMarks(RowOf(db, 4));
    db.SetOutlineChanged(false);
  });
  EXPECT_EQ(Beside({"set", "plan.kxo", "5", "--no-note"}).err,
            "kxo: plan.kxo: nothing to change\n");

  Edited({"set", "plan.kxo", "5", "--fold"});
  EXPECT_FALSE(ReadDocument("plan.kxo").rows[4].hasNote) << "what is not edited stays";
  EXPECT_FALSE(MarksOf(4).changed);
  Edited({"set", "plan.kxo", "5", "--uncheck"});
  EXPECT_FALSE(ReadDocument("plan.kxo").rows[4].hasNote);
  EXPECT_TRUE(MarksOf(4).changed);
  EXPECT_THAT(MarksOf(4).fields, ElementsAre("expanded", "checked"));

  Edited({"set", "plan.kxo", "5", "--note", ""});
  EXPECT_TRUE(ReadDocument("plan.kxo").rows[4].hasNote);
  EXPECT_THAT(MarksOf(4).fields, ElementsAre("note", "expanded", "checked"));
}

TEST_F(Edit, WhatIsSoAlreadyChangesNoByte) {
  const std::vector<Strings> edits = {
      {"set", "plan.kxo", "5", "--text", "garden", "--note", "large", "--check", "--unfold"},
      {"set", "plan.kxo", "4", "--uncheck"},
      {"set", "plan.kxo", "4", "--note", ""},
      {"set-header", "plan.kxo", "--title", "Plan", "--no-private"},
      {"move", "plan.kxo", "4", "--under", "1"},
      {"move", "plan.kxo", "2", "--before", "4"},
      {"move", "plan.kxo", "5", "--after", "1"}};
  for (const Strings& edit : edits) {
    const ProgramRun run = Beside(edit);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.err, "kxo: plan.kxo: nothing to change\n") << edit[0];
  }
}

TEST_F(Edit, ADryRunTellsAndWritesNothing) {
  const std::vector<std::pair<Strings, std::string>> edits = {
      {{"add", "plan.kxo", "street"}, "added item 6"},
      {{"set", "plan.kxo", "2", "--check"}, "changed item 2"},
      {{"move", "plan.kxo", "2", "--after", "5"},
       "moved item 2 with the 1 item below it to item 4"},
      {{"remove", "plan.kxo", "1"}, "removed item 1 with the 3 items below it"},
      {{"set-header", "plan.kxo", "--private"}, "changed the header"}};
  for (auto [edit, done] : edits) {
    edit.emplace_back("--dry-run");
    const ProgramRun run = Beside(edit);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.err, "kxo: plan.kxo: would have " + done + "; nothing is written\n");
  }
  EXPECT_EQ(Beside({"set", "plan.kxo", "5", "--check", "--dry-run"}).err,
            "kxo: plan.kxo: nothing to change\n");
}

TEST_F(Edit, LinesThatAskForNothingOrForBothAreWrong) {
  ExpectRefused({"set", "plan.kxo", "1"}, 2, "nothing to set is given; try kxo set --help");
  ExpectRefused({"set-header", "plan.kxo"}, 2,
                "nothing to set is given; try kxo set-header --help");
  ExpectRefused({"move", "plan.kxo", "1"}, 2,
                "no place to move to is given; add --under, --before or --after");
  const std::vector<Strings> both = {{"set", "plan.kxo", "1", "--check", "--uncheck"},
                                     {"set", "plan.kxo", "1", "--fold", "--unfold"},
                                     {"set", "plan.kxo", "1", "--note", "a", "--no-note"},
                                     {"add", "plan.kxo", "a", "--under", "1", "--after", "1"},
                                     {"move", "plan.kxo", "1", "--before", "5", "--after", "5"},
                                     {"set-header", "plan.kxo", "--private", "--no-private"}};
  for (const Strings& line : both) {
    const ProgramRun run = Beside(line);
    EXPECT_EQ(run.exitCode, 2) << line[0];
    EXPECT_THAT(run.err, HasSubstr(" excludes ")) << line[0];
  }
}

// --- move ---

TEST_F(Edit, AnItemMovesWithAllBelowIt) {
  EXPECT_EQ(Edited({"move", "plan.kxo", "2", "--under", "5"}).err,
            "kxo: plan.kxo: moved item 2 with the 1 item below it to item 4\n");
  EXPECT_THAT(Tree(), ElementsAre("0 house", "1 walls", "0 garden", "1 roof", "2 tiles"));
  EXPECT_TRUE(MarksOf(3).sortChanged);
  EXPECT_TRUE(MarksOf(4).sortChanged);
  EXPECT_FALSE(MarksOf(2).sortChanged);
  EXPECT_FALSE(MarksOf(3).changed) << "the level is the same";
  EXPECT_TRUE(IsOutlineChanged());
  EXPECT_THAT(DeletedIds(), ElementsAre(77));
}

TEST_F(Edit, LevelsShiftWithTheItem) {
  EXPECT_EQ(Edited({"move", "plan.kxo", "2", "--after", "1"}).err,
            "kxo: plan.kxo: moved item 2 with the 1 item below it to item 3\n");
  EXPECT_THAT(Tree(), ElementsAre("0 house", "1 walls", "0 roof", "1 tiles", "0 garden"));
  for (const size_t row : {2u, 3u}) {
    EXPECT_TRUE(MarksOf(row).changed);
    EXPECT_THAT(MarksOf(row).fields, ElementsAre("indent"));
  }
  Edited({"move", "plan.kxo", "5", "--before", "2"});
  EXPECT_THAT(Tree(), ElementsAre("0 house", "1 garden", "1 walls", "0 roof", "1 tiles"));
  Edited({"move", "plan.kxo", "1", "--under", "5"});
  EXPECT_THAT(Tree(), ElementsAre("0 roof", "1 tiles", "2 house", "3 garden", "3 walls"));
}

TEST_F(Edit, AMoveMayChangeTheLevelAlone) {
  Edited({"move", "plan.kxo", "4", "--after", "1"});
  EXPECT_THAT(Tree(), ElementsAre("0 house", "1 roof", "2 tiles", "0 walls", "0 garden"));
  EXPECT_FALSE(MarksOf(3).sortChanged) << "it stands where it stood";
  EXPECT_TRUE(MarksOf(3).changed);
}

TEST_F(Edit, NoItemMovesIntoItselfOrBelow) {
  const std::string said =
      "plan.kxo: an item cannot be moved to itself or to what is below it; choose another place";
  for (const char* place : {"--under", "--before", "--after"}) {
    for (const char* target : {"1", "3", "4"}) {
      ExpectRefused({"move", "plan.kxo", "1", place, target}, 2, said);
    }
  }
}

TEST_F(Edit, NoItemMovesBelowTheDeepestLevel) {
  Change([](COutlineDB& db) {
    RowOf(db, 1).SetIndent(254);
    RowOf(db, 2).SetIndent(255);
    RowOf(db, 3).SetIndent(254);
  });
  ExpectRefused({"move", "plan.kxo", "2", "--under", "4"}, 2,
                "plan.kxo: items cannot be deeper than level 255; choose a place further up");
  Edited({"move", "plan.kxo", "5", "--under", "4"});
  EXPECT_EQ(Tree()[4], "255 garden");
}

TEST_F(Edit, LevelsThatSkipNumbersKeepTheirDistances) {
  Change([](COutlineDB& db) { RowOf(db, 2).SetIndent(7); });
  Edited({"move", "plan.kxo", "2", "--under", "5"});
  Edited({"move", "plan.kxo", "4", "--before", "1"});
  EXPECT_THAT(Tree(), ElementsAre("0 roof", "6 tiles", "0 house", "1 walls", "0 garden"));
}

// --- remove ---

TEST_F(Edit, AnItemGoesWithAllBelowItAndItsIdsAreRemembered) {
  EXPECT_EQ(Edited({"remove", "plan.kxo", "1"}).err,
            "kxo: plan.kxo: removed item 1 with the 3 items below it\n");
  EXPECT_THAT(Tree(), ElementsAre("0 garden"));
  EXPECT_THAT(DeletedIds(), ElementsAre(77, 1, 2, 3)) << "walls never had an id";
  EXPECT_TRUE(IsOutlineChanged());
  EXPECT_EQ(Edited({"remove", "plan.kxo", "id:5"}).err, "kxo: plan.kxo: removed item 1\n");
  EXPECT_THAT(Tree(), IsEmpty());
  EXPECT_THAT(DeletedIds(), ElementsAre(77, 1, 2, 3, 5));
}

TEST_F(Edit, AnItemThatWasNeverSynchronisedGoesWithoutATrace) {
  EXPECT_EQ(Edited({"remove", "plan.kxo", "4"}).err, "kxo: plan.kxo: removed item 4\n");
  EXPECT_THAT(DeletedIds(), ElementsAre(77));
}

// --- set-header ---

TEST_F(Edit, HeadersAreSetAndMarked) {
  EXPECT_EQ(
      Edited({"set-header", "plan.kxo", "--title", "Plan B", "--category", "Home", "--private"})
          .err,
      "kxo: plan.kxo: changed the header\n");
  Look([](COutlineDB& db) {
    kx_gen::_String text;
    db.GetOutlineTitle(text);
    EXPECT_STREQ(text, L"Plan B");
    db.GetCategoryName(text);
    EXPECT_STREQ(text, L"Home");
    EXPECT_TRUE(db.GetPrivate());
    EXPECT_TRUE(db.GetCategoryChanged());
    EXPECT_TRUE(db.GetPrivateTagChanged());
    EXPECT_TRUE(db.GetOutlineChanged());
  });
  Edited({"set-header", "plan.kxo", "--no-private"});
  Look([](COutlineDB& db) { EXPECT_FALSE(db.GetPrivate()); });
}

TEST_F(Edit, ATitleThatDoesNotFitIsRefused) {
  for (const char* option : {"--title", "--category"}) {
    ExpectRefused({"set-header", "plan.kxo", option, std::string(600, 'x')}, 2,
                  "plan.kxo: the title or the category is longer than a document holds; shorten "
                  "it");
    ExpectRefused({"set-header", "plan.kxo", option, std::string(600, 'x'), "--dry-run"}, 2,
                  "plan.kxo: the title or the category is longer than a document holds; shorten "
                  "it");
  }
}

// --- What stays, and what is refused ---

TEST_F(Edit, HeadersAndTagsThatNobodyKnowsStay) {
  const kx_test::Bytes unknown = kx_test::golden("outline-unknown");
  WriteUserFile("plan.kxo", {reinterpret_cast<const char*>(unknown.data()), unknown.size()});
  std::vector<kx_test::Bytes> before;
  const auto look = [&](COutlineDB& db) {
    std::vector<kx_test::Bytes> blocks;
    for (const kx_gen::THeaderInfo* info : db.GetHeaderManager().GetReadList()) {
      if (info->header == nullptr) blocks.push_back(info->slot);
    }
    for (kx_gen::CDBRecord* row : *db.GetRecordset()) blocks.push_back(kx_test::blockOf(*row));
    return blocks;
  };
  Look([&](COutlineDB& db) { before = look(db); });
  ASSERT_GE(before.size(), 2u);
  Edited({"add", "plan.kxo", "last"});
  Look([&](COutlineDB& db) {
    std::vector<kx_test::Bytes> after = look(db);
    after.pop_back();
    EXPECT_EQ(after, before);
  });
}

TEST_F(Edit, ALockedDocumentIsToldAndStaysAsItIs) {
  const std::vector<Strings> edits = {{"add", "plan.kxo", "x"},
                                      {"set", "plan.kxo", "1", "--check"},
                                      {"move", "plan.kxo", "1", "--after", "5"},
                                      {"remove", "plan.kxo", "1"},
                                      {"set-header", "plan.kxo", "--private"}};
  const std::string before = UserFile("plan.kxo");
  for (const unsigned int mode : {kx_gen::CFile::modeRead | kx_gen::CFile::shareDenyWrite,
                                  kx_gen::CFile::modeReadWrite | 0}) {
    kx_gen::CFile other;
    other.Open(User("plan.kxo").wstring().c_str(), mode);
    for (const Strings& edit : edits) {
      const ProgramRun run = Kxo(edit);
      EXPECT_EQ(run.exitCode, 4) << edit[0];
      EXPECT_EQ(run.err,
                "kxo: plan.kxo: the file is in use by another program; close it there and try "
                "again\n");
    }
  }
  EXPECT_EQ(UserFile("plan.kxo"), before);
}

TEST_F(Edit, ADamagedDocumentStaysAsItIs) {
  const std::string whole = UserFile("plan.kxo");
  WriteUserFile("plan.kxo", whole.substr(0, whole.size() - 5));
  const ProgramRun run = Beside({"set", "plan.kxo", "1", "--check"});
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_THAT(run.err, StartsWith("kxo: plan.kxo: damaged at offset "));
  EXPECT_EQ(Beside({"remove", "plan.kxo", "1", "--dry-run"}).exitCode, 3);
}

TEST_F(Edit, WhatIsNoDocumentIsTold) {
  EXPECT_EQ(Kxo({"add", "none.kxo", "x"}).exitCode, 2);
  EXPECT_EQ(Kxo({"add", ".", "x"}).exitCode, 2);
  WriteUserFile("text.kxo", "no document");
  EXPECT_EQ(Beside({"add", "text.kxo", "x"}, "text.kxo").exitCode, 3);
}

TEST_F(Edit, TextsOfOtherRegionsAreReadAndWrittenInTheirCodePage) {
  Change([](COutlineDB& db) {
    const unsigned char cyrillic[] = {0xE4, 0xEE, 0xEC, 0};  // in code page 1251
    RowOf(db, 0).getTaggedDataManager().setData(
        kx_gen::format::kStringTagBase + kx_gen::format::kStringText, cyrillic, 4, nullptr, 0);
  });
  Edited({"set", "plan.kxo", "1", "--note", "\xD1\x81\xD0\xB0\xD0\xB4", "--codepage", "1251"});
  Look([](COutlineDB& db) {
    kx_gen::CTaggedDataManager& tags = RowOf(db, 0).getTaggedDataManager();
    EXPECT_EQ(kx_test::valueOf(tags, kx_gen::format::kStringTagBase + kx_gen::format::kStringNote),
              (kx_test::Bytes{0xF1, 0xE0, 0xE4, 0}));
  });
}

}  // namespace
}  // namespace kxo_test
