#include <gmock/gmock.h>

#include <array>
#include <nlohmann/json.hpp>
#include <string>

#include "Kept.h"
#include "ToolTest.h"

namespace kxo_test {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

using kx_gen::COutlineDB;
using nlohmann::json;

class JsonCommand : public ToolTest {
 protected:
  void MakeDocument() const {
    WriteDocument("plan.kxo", [](COutlineDB& db) {
      db.SetOutlineTitle(L"Plan");
      AddRow(db, 0, L"One");
      AddRow(db, 1, L"Two").SetNote(L"n");
    });
  }
};

class JsonOfGolden : public JsonCommand, public testing::WithParamInterface<const char*> {};

TEST_P(JsonOfGolden, BringsTheFileBackByteForByte) {
  WriteGolden(GetParam(), User("in.db").string());
  EXPECT_EQ(Kxo({"export", "in.db", "-o", "all.json"}).exitCode, 0);
  EXPECT_EQ(Kxo({"import", "all.json", "-o", "out.db"}).exitCode, 0);
  EXPECT_EQ(UserFile("out.db"), UserFile("in.db"));
  EXPECT_EQ(Kxo({"export", "out.db", "--to", "json"}).out, UserFile("all.json"));
}

INSTANTIATE_TEST_SUITE_P(Files, JsonOfGolden,
                         testing::Values("outline-all-fields", "outline-deleted-ids",
                                         "outline-empty", "outline-unknown-edited",
                                         "outline-unknown", "memory-outline",
                                         "memory-outline-all-fields", "category-v1"));

TEST_F(JsonCommand, AnEditInTheTextIsTaken) {
  MakeDocument();
  json document = json::parse(Kxo({"export", "plan.kxo", "--to", "json"}).out);
  document["items"][1]["text"] = "Three";
  WriteUserFile("plan.json", document.dump());
  const ProgramRun run = Kxo({"import", "plan.json", "--force"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.err, "kxo: plan.kxo: written, 2 items\n");
  const StoredDocument read = ReadDocument("plan.kxo");
  EXPECT_EQ(read.rows[1].text, L"Three");
  EXPECT_EQ(read.rows[1].note, L"n");
}

TEST_F(JsonCommand, StandardInputAndOutputWillDo) {
  MakeDocument();
  options_.input = User("plan.kxo");
  const ProgramRun out = Kxo({"export", "-", "--to", "json"});
  EXPECT_EQ(out.out, Kxo({"export", "plan.kxo", "--to", "json"}).out);
  WriteUserFile("plan.json", out.out);
  options_.input = User("plan.json");
  EXPECT_EQ(Kxo({"import", "-", "--from", "json", "-o", "copy.kxo"}).exitCode, 0);
  EXPECT_EQ(UserFile("copy.kxo"), UserFile("plan.kxo"));
}

TEST_F(JsonCommand, WhatAShellSavedAsUtf16IsRead) {
  MakeDocument();
  const std::string text = Kxo({"export", "plan.kxo", "--to", "json"}).out;
  for (const bool isLittle : {true, false}) {
    std::string saved = isLittle ? "\xFF\xFE" : "\xFE\xFF";
    for (const char c : text) saved += isLittle ? std::string{c, '\0'} : std::string{'\0', c};
    WriteUserFile("plan.json", saved);
    EXPECT_EQ(Kxo({"import", "plan.json", "-o", "copy.kxo", "--force"}).exitCode, 0);
    EXPECT_EQ(UserFile("copy.kxo"), UserFile("plan.kxo"));
  }
}

TEST_F(JsonCommand, TextsOfOtherRegionsComeBackByteForByteInTheirCodePage) {
  kx_gen::setNarrowCodePage(1251);
  WriteDocument("plan.kxo", [](COutlineDB& db) {
    db.SetOutlineTitle(L"\u041F\u043B\u0430\u043D");
    AddRow(db, 0, L"\u0414\u0430").SetNote(L"\u041D\u0435\u0442");
  });
  kx_gen::setNarrowCodePage(0);
  for (const char* name : {"plan.json", "plan.opml"}) {
    EXPECT_EQ(Kxo({"export", "plan.kxo", "-o", name, "--codepage", "1251"}).exitCode, 0);
    EXPECT_THAT(UserFile(name), HasSubstr("\u0414\u0430"));
    EXPECT_EQ(Kxo({"import", name, "-o", "copy.kxo", "--force", "--codepage", "1251"}).exitCode, 0);
    EXPECT_EQ(UserFile("copy.kxo"), UserFile("plan.kxo")) << name;
  }
}

TEST_F(JsonCommand, WhatIsNoSuchFileIsToldWithItsPlace) {
  for (const char* text : {"", "{", "[]", R"({"kind":"outline","items":[{"text":5}]})"}) {
    WriteUserFile("bad.json", text);
    const ProgramRun run = Kxo({"import", "bad.json"});
    EXPECT_EQ(run.exitCode, 3) << text;
    EXPECT_THAT(run.err, StartsWith("kxo: bad.json: ")) << text;
    EXPECT_EQ(LinesOf(run.err).size(), 1u) << text;
    EXPECT_EQ(UserFiles(), std::vector<std::string>{"bad.json"}) << text;
  }
}

TEST_F(JsonCommand, AFileThatIsNoneIsNotExported) {
  WriteUserFile("text.kxo", "not a document");
  const ProgramRun run = Kxo({"export", "text.kxo", "--to", "json"});
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_THAT(run.out, IsEmpty());
  EXPECT_THAT(run.err, HasSubstr("text.kxo"));
}

TEST_F(JsonCommand, OtherFormatsDoNotHoldCategories) {
  WriteGolden("category-v1", User("categories.db").string());
  const ProgramRun run = Kxo({"export", "categories.db", "--to", "text"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.out, IsEmpty());
}

TEST_F(JsonCommand, ManyDocumentsAreConverted) {
  MakeDocument();
  EXPECT_EQ(Kxo({"convert", ".", "--to", "json", "--out-dir", "all"}).exitCode, 0);
  EXPECT_EQ(UserFile("all/plan.json"), Kxo({"export", "plan.kxo", "--to", "json"}).out);
}

}  // namespace
}  // namespace kxo_test
