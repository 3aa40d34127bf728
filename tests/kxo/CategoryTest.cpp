// The commands that change category files, and the documents that go along.
#include <gmock/gmock.h>

#include <chrono>
#include <nlohmann/json.hpp>

#include "ToolTest.h"

namespace kxo_test {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::HasSubstr;

using kx_gen::_String;
using kx_gen::CCategoryDB;
using kx_gen::CCategoryRecord;
using kx_gen::COutlineDB;

constexpr const char* kFile = "names.kxc";

/// Names.kxc has Unfiled, Home (129) and Work (130).
class Category : public ToolTest {
 protected:
  void SetUp() override {
    ToolTest::SetUp();
    ASSERT_EQ(Kxo({"new", kFile, "--kind", "category"}).exitCode, 0);
    ASSERT_EQ(Kxo({"category", "add", kFile, "Home"}).exitCode, 0);
    ASSERT_EQ(Kxo({"category", "add", kFile, "Work"}).exitCode, 0);
  }

  ProgramRun Edited(const std::vector<std::string>& arguments) const {
    ProgramRun run = Kxo(arguments);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(Kxo({"check", kFile}).exitCode, 0);
    return run;
  }
  void ExpectRefused(const std::vector<std::string>& arguments, int exitCode,
                     const std::string& said) const {
    const std::string bytes = UserFile(kFile);
    const ProgramRun run = Kxo(arguments);
    EXPECT_EQ(run.exitCode, exitCode);
    EXPECT_EQ(run.err, "kxo: " + said + "\n");
    EXPECT_EQ(UserFile(kFile), bytes);
  }
  std::string List(const std::string& option = "") const {
    std::vector<std::string> arguments = {"category", "list", kFile};
    if (!option.empty()) arguments.push_back(option);
    const ProgramRun run = Kxo(arguments);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    return run.out;
  }
  void Look(const std::function<void(CCategoryDB&)>& look) const {
    CCategoryDB db;
    db.Open(User(kFile).wstring().c_str(), kx_gen::CFile::modeRead);
    db.ReadRows();
    look(db);
  }
  /// A document of a category, without marks.
  void WriteOutline(const std::string& name, const wchar_t* category) const {
    WriteDocument(name, [category](COutlineDB& db) {
      db.SetCategoryName(category);
      db.SetCategoryChanged(false);
      db.SetOutlineChanged(false);
      AddRow(db, 0, L"an item").SetId(9);
    });
  }
  std::wstring CategoryOf(const std::string& name) const { return ReadDocument(name).category; }
};

TEST_F(Category, CategoriesAreListed) {
  EXPECT_EQ(List(), "  0  Unfiled  (new)\n129  Home  (new)\n130  Work  (new)\n");
  const nlohmann::json json = nlohmann::json::parse(List("--json"));
  EXPECT_EQ(json["file"], kFile);
  ASSERT_EQ(json["categories"].size(), 3u);
  EXPECT_EQ(json["categories"][1]["id"], 129);
  EXPECT_EQ(json["categories"][1]["name"], "Home");
  EXPECT_EQ(json["categories"][1]["new"], true);
  EXPECT_EQ(json["categories"][1]["deleted"], false);
  EXPECT_GT(json["categories"][1]["lastChanged"], 1500000000);
}

TEST_F(Category, ACategoryIsRenamed) {
  EXPECT_EQ(Edited({"category", "rename", kFile, "Home", "House"}).err,
            "kxo: names.kxc: renamed category \"Home\" to \"House\"\n");
  Look([](CCategoryDB& db) {
    CCategoryRecord* const house = db.FindCategory(L"House");
    ASSERT_NE(house, nullptr);
    EXPECT_EQ(house->GetCategoryId(), 129u);
    EXPECT_TRUE(house->IsChanged());
    EXPECT_EQ(db.FindCategory(L"Home"), nullptr);
  });
}

TEST_F(Category, ACategoryIsRemovedAndUndeleted) {
  EXPECT_EQ(Edited({"category", "remove", kFile, "Home"}).err,
            "kxo: names.kxc: removed category \"Home\"\n");
  EXPECT_EQ(List(), "  0  Unfiled  (new)\n130  Work  (new)\n");
  EXPECT_EQ(List("--all"), "  0  Unfiled  (new)\n129  Home  (deleted)\n130  Work  (new)\n");
  EXPECT_EQ(Edited({"category", "undelete", kFile, "Home"}).err,
            "kxo: names.kxc: undeleted category \"Home\"\n");
  Look([](CCategoryDB& db) {
    CCategoryRecord* const home = db.FindCategory(L"Home");
    ASSERT_NE(home, nullptr);
    EXPECT_EQ(home->GetCategoryId(), 131u) << "never the old one";
    EXPECT_FALSE(home->IsDeleted());
    EXPECT_FALSE(home->IsEmpty());
    EXPECT_TRUE(home->IsNew());
    EXPECT_TRUE(home->IsChanged());
  });
}

TEST_F(Category, ASlotOfADeletedOneIsUsedAgain) {
  Edited({"category", "remove", kFile, "Home"});
  Edited({"category", "add", kFile, "Garden"});
  EXPECT_EQ(List("--all"), "  0  Unfiled  (new)\n131  Garden  (new)\n130  Work  (new)\n");
  Look([](CCategoryDB& db) { EXPECT_FALSE(db.FindCategory(L"Garden")->IsDeleted()); });
}

TEST_F(Category, SixteenAreAllThereMayBe) {
  for (int i = 3; i < 16; ++i) {
    EXPECT_EQ(Kxo({"category", "add", kFile, "C" + std::to_string(i)}).exitCode, 0) << i;
  }
  ExpectRefused({"category", "add", kFile, "one more"}, 2,
                "names.kxc: there are 16 categories, and no room for another; remove one");
  Edited({"category", "remove", kFile, "Home"});
  Edited({"category", "add", kFile, "one more"});
  ExpectRefused({"category", "undelete", kFile, "Home"}, 2,
                "names.kxc: there is no deleted category \"Home\"; kxo category list --all tells "
                "which there are");
}

TEST_F(Category, WrongNamesAreTold) {
  ExpectRefused({"category", "add", kFile, "Home"}, 2,
                "names.kxc: there is a category \"Home\" already; choose another name");
  ExpectRefused({"category", "add", kFile, ""}, 2, "names.kxc: a category needs a name");
  ExpectRefused({"category", "rename", kFile, "Home", "Work"}, 2,
                "names.kxc: there is a category \"Work\" already; choose another name");
  ExpectRefused(
      {"category", "rename", kFile, "home", "House"}, 2,
      "names.kxc: there is no category \"home\"; kxo category list tells which there are");
  ExpectRefused({"category", "remove", kFile, "Garden"}, 2,
                "names.kxc: there is no category \"Garden\"; kxo category list tells which there "
                "are");
  ExpectRefused({"category", "remove", kFile, "Unfiled"}, 2,
                "names.kxc: \"Unfiled\" is for what has no category, and cannot be removed");
  ExpectRefused({"category", "rename", kFile, "Unfiled", "All"}, 2,
                "names.kxc: \"Unfiled\" is for what has no category, and cannot be renamed");
  ExpectRefused({"category", "undelete", kFile, "Work"}, 2,
                "names.kxc: there is a category \"Work\" already; choose another name");
  EXPECT_EQ(Kxo({"category", "rename", kFile, "Home", "Home"}).err,
            "kxo: names.kxc: nothing to change\n");
}

TEST_F(Category, ADryRunTellsAndWritesNothing) {
  const std::string bytes = UserFile(kFile);
  WriteOutline("plan.kxo", L"Home");
  const std::string plan = UserFile("plan.kxo");
  EXPECT_EQ(Kxo({"category", "add", kFile, "Garden", "--dry-run"}).err,
            "kxo: names.kxc: would have added category \"Garden\"; nothing is written\n");
  EXPECT_EQ(
      Kxo({"category", "rename", kFile, "Home", "House", "--outlines", ".", "--dry-run"}).err,
      "kxo: names.kxc: would have renamed category \"Home\" to \"House\"; nothing is written\n"
      "kxo: " +
          fs::path("./plan.kxo").make_preferred().string() +
          ": would have changed the category to \"House\"; nothing is written\n");
  EXPECT_EQ(Kxo({"category", "remove", kFile, "Home", "--dry-run"}).exitCode, 0);
  EXPECT_EQ(UserFile(kFile), bytes);
  EXPECT_EQ(UserFile("plan.kxo"), plan);
}

TEST_F(Category, DocumentsOfAFolderGoAlong) {
  fs::create_directory(User("docs"));
  fs::create_directory(User("docs/below.kxo"));
  WriteOutline("docs/a.kxo", L"Home");
  WriteOutline("docs/b.KXO", L"Home");
  WriteOutline("docs/c.kxo", L"home");
  WriteOutline("docs/d.kxob", L"Home");
  const std::string other = UserFile("docs/c.kxo");
  Edited({"category", "rename", kFile, "Home", "House", "--outlines", "docs"});
  EXPECT_EQ(CategoryOf("docs/a.kxo"), L"House");
  EXPECT_EQ(CategoryOf("docs/b.KXO"), L"House");
  EXPECT_EQ(UserFile("docs/c.kxo"), other);
  EXPECT_EQ(CategoryOf("docs/d.kxob"), L"Home") << "no document by its name";
  COutlineDB db;
  ASSERT_NE(db.Open(User("docs/a.kxo").wstring().c_str(), kx_gen::CFile::modeRead), 0);
  db.ReadSharedHeader();
  EXPECT_TRUE(db.GetCategoryChanged());
  EXPECT_TRUE(db.GetOutlineChanged());
  db.Close();

  Edited({"category", "remove", kFile, "House", "--outlines", "docs"});
  EXPECT_EQ(CategoryOf("docs/a.kxo"), L"Unfiled");
  EXPECT_EQ(ReadDocument("docs/a.kxo").rows.size(), 1u);
}

TEST_F(Category, LockedAndDamagedDocumentsAreNamedAtTheEnd) {
  fs::create_directory(User("docs"));
  for (const char* name : {"a", "b", "c", "d"}) {
    WriteOutline(std::string("docs/") + name + ".kxo", L"Home");
  }
  WriteUserFile("docs/b.kxo", "no document");
  kx_gen::CFile other;
  other.Open(User("docs/c.kxo").wstring().c_str(), kx_gen::CFile::modeReadWrite);
  const ProgramRun run = Kxo({"category", "rename", kFile, "Home", "House", "--outlines", "docs"});
  other.Close();
  EXPECT_EQ(run.exitCode, 5);
  const std::vector<std::string> lines = LinesOf(run.err);
  ASSERT_EQ(lines.size(), 6u) << run.err;
  EXPECT_THAT(lines[3], HasSubstr("b.kxo: cannot be read at offset 0"));
  EXPECT_THAT(lines[4], HasSubstr("c.kxo: the file is in use by another program"));
  EXPECT_EQ(lines[5],
            "kxo: 2 documents could not be looked at or changed; once that is mended, kxo "
            "set-header --category brings them along");
  EXPECT_EQ(CategoryOf("docs/a.kxo"), L"House");
  EXPECT_EQ(CategoryOf("docs/c.kxo"), L"Home");
  EXPECT_EQ(CategoryOf("docs/d.kxo"), L"House");
  EXPECT_THAT(List(), HasSubstr("House"));
}

TEST_F(Category, ProgramsAreToldWhatWasDone) {
  fs::create_directory(User("docs"));
  WriteOutline("docs/a.kxo", L"Home");
  WriteUserFile("docs/b.kxo", "no document");
  const auto told = [this](std::vector<std::string> arguments, int exitCode) {
    arguments.emplace_back("--json");
    const ProgramRun run = Kxo(arguments);
    EXPECT_EQ(run.exitCode, exitCode) << run.err;
    return nlohmann::json::parse(run.out);
  };
  const nlohmann::json added = told({"category", "add", kFile, "Garden"}, 0);
  EXPECT_EQ(added["done"], "added category \"Garden\"");
  EXPECT_EQ(added["id"], 131);
  const nlohmann::json renamed =
      told({"category", "rename", kFile, "Home", "House", "--outlines", "docs"}, 5);
  EXPECT_EQ(renamed["written"], true);
  ASSERT_EQ(renamed["documents"].size(), 1u);
  EXPECT_EQ(renamed["documents"][0]["done"], "changed the category to \"House\"");
  ASSERT_EQ(renamed["failures"].size(), 1u);
  EXPECT_THAT(renamed["failures"][0]["failure"].get<std::string>(), HasSubstr("b.kxo: cannot be"));
  EXPECT_EQ(told({"category", "rename", kFile, "House", "House"}, 0)["done"], nullptr);
  const nlohmann::json removed = told({"category", "remove", kFile, "House", "--dry-run"}, 0);
  EXPECT_EQ(removed["written"], false);
  EXPECT_EQ(removed["documents"].size(), 0u);
  EXPECT_EQ(Kxo({"category", "remove", kFile, "House"}).exitCode, 0);
  EXPECT_EQ(told({"category", "undelete", kFile, "House"}, 0)["id"], 132);
}

TEST_F(Category, AFolderThatIsNotThereChangesNothing) {
  ExpectRefused({"category", "rename", kFile, "Home", "House", "--outlines", "none"}, 2,
                "none: this is no folder; name the one with the documents");
}

TEST_F(Category, ALockedFileIsTold) {
  kx_gen::CFile other;
  other.Open(User(kFile).wstring().c_str(), kx_gen::CFile::modeReadWrite);
  for (const char* command : {"add", "remove", "undelete"}) {
    const ProgramRun run = Kxo({"category", command, kFile, "Home"});
    EXPECT_EQ(run.exitCode, 4) << command;
    EXPECT_EQ(run.err,
              "kxo: names.kxc: the file is in use by another program; close it there and try "
              "again\n");
  }
  EXPECT_EQ(Kxo({"category", "list", kFile}).exitCode, 4);
}

TEST_F(Category, DamageIsToldWithItsPlace) {
  const std::string bytes = UserFile(kFile);
  WriteUserFile(kFile, bytes.substr(0, bytes.size() - 3));
  const ProgramRun run = Kxo({"category", "add", kFile, "Garden"});
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_THAT(run.err, HasSubstr("names.kxc: damaged at offset "));
  EXPECT_THAT(run.err, HasSubstr("(row 3 of 3)"));
  EXPECT_EQ(UserFile(kFile), bytes.substr(0, bytes.size() - 3));
  WriteUserFile("plan.kxo", "no category file");
  EXPECT_EQ(Kxo({"category", "list", "plan.kxo"}).exitCode, 3);
  EXPECT_EQ(Kxo({"category", "list", "none.kxc"}).exitCode, 2);
}

}  // namespace
}  // namespace kxo_test
