// What the commands make of the kinds of files: outlines, memory outlines and category files.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "Kept.h"
#include "KxFormat.h"
#include "Pictures.h"
#include "ToolTest.h"

namespace kxo_test {
namespace {

namespace format = kx_gen::format;

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

using kx_gen::CLinkedOutlRec;
using kx_gen::CMemOutlDB;
using nlohmann::json;

constexpr const char* kMemory = "memory.kxo";
constexpr const char* kCategories = "names.kxc";
constexpr const char* kPlan = "plan.kxo";

/// A row of a memory outline: its own id, its parent's, and the level that is stored.
struct Link {
  uint32_t id;
  uint32_t parent;
  unsigned char level;
  const wchar_t* text;
};

class Kinds : public ToolTest {
 protected:
  void SetUp() override {
    ToolTest::SetUp();
    WriteGolden("memory-outline", User(kMemory).string());
    WriteGolden("category-v1", User(kCategories).string());
    WriteDocument(kPlan, [](kx_gen::COutlineDB& db) { AddRow(db, 0, L"One"); });
  }

  void WriteLinked(const std::vector<Link>& links) const {
    CMemOutlDB db;
    db.Open(User(kMemory).wstring().c_str(),
            kx_gen::CFile::modeCreate | kx_gen::CFile::modeReadWrite);
    db.InitNewDatabase();
    for (const Link& link : links) {
      auto& row = static_cast<CLinkedOutlRec&>(*db.GetRecordset()->Append());
      row.setInternalId(link.id);
      row.setParentId(link.parent);
      row.SetIndent(link.level);
      row.SetText(link.text);
    }
    db.WriteAllHeaders();
    db.WriteRows();
  }
  /// What a command prints, which is to be done without a word.
  std::string Printed(const std::vector<std::string>& arguments) const {
    const ProgramRun run = Kxo(arguments);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.err, "");
    return run.out;
  }
  /// The same, with standard input.
  std::string PrintedOf(const std::string& file, const std::vector<std::string>& arguments) {
    options_.input = User(file);
    std::string out = Printed(arguments);
    options_.input.clear();
    return out;
  }
  void ExpectRefused(const std::vector<std::string>& arguments, const std::string& said) const {
    const std::string memory = UserFile(kMemory);
    const std::string categories = UserFile(kCategories);
    const ProgramRun run = Kxo(arguments);
    EXPECT_EQ(run.exitCode, 2) << arguments.front();
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "kxo: " + said + "\n");
    EXPECT_EQ(UserFile(kMemory), memory);
    EXPECT_EQ(UserFile(kCategories), categories);
  }
  void Damage(const char* name, size_t offset, char value) const {
    std::string bytes = UserFile(name);
    bytes.at(offset) = value;
    WriteUserFile(name, bytes);
  }
};

// --- Memory outlines ---

TEST_F(Kinds, AMemoryOutlineIsShownAsATreeUnderItsFilesName) {
  EXPECT_EQ(Printed({"show", kMemory}), "memory.kxo\n- Trip\n  - Paris\n");
  EXPECT_EQ(Printed({"show", kMemory, "--numbers", "--depth", "1"}), "memory.kxo\n1  - Trip\n");
  const json shown = json::parse(Printed({"show", kMemory, "--json"}));
  EXPECT_EQ(shown["kind"], "memoryOutline");
  EXPECT_EQ(shown["title"], nullptr);
  EXPECT_EQ(shown["items"][1]["depth"], 2);
  EXPECT_EQ(json::parse(Printed({"show", kPlan, "--json"}))["kind"], "outline");
}

TEST_F(Kinds, ParentIdsMakeTheTreeOfAMemoryOutline) {
  WriteLinked({{5, 0, 0, L"first"},
               {9, 7, 0, L"below second"},
               {7, 0, 0, L"second"},
               {2, 5, 0, L"below first"},
               {3, 2, 0, L"deepest"},
               {4, 5, 0, L"last below first"}});
  EXPECT_EQ(Printed({"show", kMemory}),
            "memory.kxo\n- first\n  - below first\n    - deepest\n  - last below first\n- second\n"
            "  - below second\n");
  EXPECT_EQ(Printed({"search", "deepest", kMemory}),
            "memory.kxo:3: first > below first > deepest\n");
  EXPECT_THAT(Printed({"info", kMemory}),
              AllOf(HasSubstr("  levels                3\n"),
                    HasSubstr("  tree                  by parent ids\n")));
}

TEST_F(Kinds, LevelsMakeItWhereTheIdsMakeNone) {
  const std::string byLevels = "memory.kxo\n- a\n  - b\n- c\n";
  const std::vector<std::vector<Link>> files = {
      {{0, 0, 0, L"a"}, {0, 0, 1, L"b"}, {0, 0, 0, L"c"}},   // none
      {{0, 0, 0, L"a"}, {2, 0, 1, L"b"}, {3, 0, 0, L"c"}},   // one row without
      {{1, 0, 0, L"a"}, {1, 0, 1, L"b"}, {3, 0, 0, L"c"}},   // one twice
      {{1, 0, 0, L"a"}, {2, 77, 1, L"b"}, {3, 0, 0, L"c"}},  // one that leads nowhere
      {{1, 0, 0, L"a"}, {2, 3, 1, L"b"}, {3, 2, 0, L"c"}},   // a circle
      {{1, 1, 0, L"a"}, {2, 0, 1, L"b"}, {3, 0, 0, L"c"}}};  // to itself
  for (const std::vector<Link>& links : files) {
    WriteLinked(links);
    EXPECT_EQ(Printed({"show", kMemory}), byLevels) << links[0].id << links[1].parent;
    EXPECT_THAT(Printed({"info", kMemory}), HasSubstr("  tree                  by levels\n"));
  }
}

TEST_F(Kinds, ALongChainOfParentsIsNoTreeDeeperThanLevelsAre) {
  std::vector<Link> links;
  for (uint32_t id = 1; id <= 100000; ++id) links.push_back({id, id - 1, 0, L"x"});
  WriteLinked(links);
  EXPECT_THAT(Printed({"info", kMemory}), HasSubstr("  tree                  by levels\n"));
  WriteLinked({links.begin(), links.begin() + 256});
  EXPECT_THAT(Printed({"info", kMemory}),
              AllOf(HasSubstr("  levels                256\n"),
                    HasSubstr("  tree                  by parent ids\n")));
}

TEST_F(Kinds, InfoOfAMemoryOutlineIsAsItIsKept) {
  EXPECT_EQ(Printed({"info", kMemory}), Kept("info-memory.txt"));
  EXPECT_EQ(Printed({"info", kMemory, "--json"}), Kept("info-memory.json"));
}

TEST_F(Kinds, AMemoryOutlineWithoutRowsIsEmpty) {
  WriteLinked({});
  EXPECT_EQ(UserFile(kMemory).size(), format::kDbInfoSize);
  EXPECT_EQ(Printed({"show", kMemory}), "memory.kxo\n");
  EXPECT_THAT(Printed({"info", kMemory}), HasSubstr("  items                 0\n"));
  EXPECT_EQ(Kxo({"search", "x", kMemory}).exitCode, 1);
}

TEST_F(Kinds, MemoryOutlinesAreExportedInTheirTree) {
  EXPECT_EQ(Printed({"export", kMemory, "--to", "text"}), "\nTrip\n\tParis\n");
  EXPECT_THAT(Printed({"export", kMemory, "--to", "markdown"}), HasSubstr("- Trip\n  - Paris\n"));
  EXPECT_THAT(Printed({"export", kMemory, "--to", "html"}), HasSubstr("Paris"));
  EXPECT_EQ(Kxo({"export", kMemory, "-o", "out.opml"}).exitCode, 0);
  EXPECT_EQ(Kxo({"import", "out.opml"}).exitCode, 0);
  EXPECT_THAT(Printed({"show", "out.kxo"}), HasSubstr("- Trip\n  - Paris\n"));
}

TEST_F(Kinds, ADocumentHoldsWhatIsExportedOfAMemoryOutline) {
  WriteGolden("memory-outline-all-fields", User(kMemory).string());
  for (const char* name : {"out.opml", "out.md", "out.txt"}) {
    EXPECT_EQ(Kxo({"export", kMemory, "-o", name}).exitCode, 0) << name;
    const ProgramRun run = Kxo({"import", name, "--force"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(Kxo({"check", "out.kxo"}).exitCode, 0) << name;
    const StoredDocument document = ReadDocument("out.kxo");
    ASSERT_EQ(document.rows.size(), 4u) << name;
    EXPECT_EQ(document.rows[2].text, L"kept") << name;
  }
}

TEST_F(Kinds, EditsOfMemoryOutlinesAreRefusedWithAnotherWay) {
  const std::string said =
      "memory.kxo: this is a memory outline, not an outline document; kxo export memory.kxo --to "
      "json writes all of it, and kxo import what was edited";
  ExpectRefused({"add", kMemory, "x"}, said);
  ExpectRefused({"set", kMemory, "1", "--check"}, said);
  ExpectRefused({"move", kMemory, "2", "--before", "1"}, said);
  ExpectRefused({"remove", kMemory, "1", "--dry-run"}, said);
  ExpectRefused({"set-header", kMemory, "--title", "x"}, said);
  ExpectRefused({"drawing", "remove", kMemory, "1"}, said);
  ExpectRefused({"category", "list", kMemory},
                "memory.kxo: this is a memory outline, not a category file; kxo show memory.kxo "
                "prints it");
}

TEST_F(Kinds, DamageOfAMemoryOutlineIsToldWithItsPlace) {
  const std::string whole = UserFile(kMemory);
  WriteUserFile(kMemory, whole.substr(0, whole.size() - 2));
  for (const char* command : {"show", "info"}) {
    const ProgramRun run = Kxo({command, kMemory});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, StartsWith("kxo: memory.kxo: damaged at offset 195 (row 2 of 2): "));
  }
  EXPECT_EQ(Kxo({"search", "Trip", kMemory}).exitCode, 3);
  WriteUserFile(kMemory, whole);
  Damage(kMemory, format::kVersionOffset, 11);
  EXPECT_EQ(
      Kxo({"show", kMemory}).err,
      "kxo: memory.kxo: cannot be read at offset 4 (the version): The memory outline database "
      "version is not correct. Please contact Pellworth technical support; read it with a newer "
      "kxo\n");
  EXPECT_EQ(Kxo({"list", kMemory}).exitCode, 3);
}

// --- Category files ---

TEST_F(Kinds, ShowPrintsCategoriesAsTheirOwnCommandDoes) {
  EXPECT_EQ(Printed({"show", kCategories}),
            "  0  Unfiled  (new)\n129  Work  (new)\n"
            "131  Büro  (new)\n");
  for (const char* option : {"--all", "--json"}) {
    EXPECT_EQ(Printed({"show", kCategories, option}),
              Printed({"category", "list", kCategories, option}));
  }
  EXPECT_EQ(json::parse(Printed({"show", kCategories, "--json"}))["kind"], "category");
  WriteGolden("category-v0", User(kCategories).string());
  EXPECT_THAT(Printed({"show", kCategories}), StartsWith("  0  Unfiled"));
}

TEST_F(Kinds, InfoOfACategoryFileIsAsItIsKept) {
  EXPECT_EQ(Printed({"info", kCategories}), Kept("info-category.txt"));
  EXPECT_EQ(Printed({"info", kCategories, "--json"}), Kept("info-category.json"));
  WriteGolden("category-v0", User(kCategories).string());
  EXPECT_THAT(Printed({"info", kCategories}),
              AllOf(HasSubstr("  version               0\n"), Not(HasSubstr("new flag")),
                    HasSubstr("  last id and flag      4 bytes from offset 273\n")));
}

TEST_F(Kinds, NamesOfCategoriesAreSearched) {
  EXPECT_EQ(Printed({"search", "-i", "büro", kCategories}), "names.kxc:4: Büro\n");
  EXPECT_EQ(Printed({"search", "Home", kCategories}), "names.kxc:3: (deleted) Home\n");
  const json found = json::parse(Printed({"search", "Work", kCategories, "--json"}));
  EXPECT_EQ(found["matches"][0]["id"], 129);
  EXPECT_EQ(Kxo({"search", "Garden", kCategories}).exitCode, 1);
}

TEST_F(Kinds, WhatNeedsAnOutlineRefusesCategoryFiles) {
  const std::string said =
      "names.kxc: this is a category file, not an outline document; kxo category list names.kxc "
      "tells what is in it, kxo export names.kxc --to json all of it";
  WriteUserFile("in.bmp", "");
  ExpectRefused({"add", kCategories, "x"}, said);
  ExpectRefused({"set", kCategories, "1", "--check"}, said);
  ExpectRefused({"move", kCategories, "2", "--before", "1"}, said);
  ExpectRefused({"remove", kCategories, "1"}, said);
  ExpectRefused({"set-header", kCategories, "--title", "x"}, said);
  ExpectRefused({"drawing", "get", kCategories, "1", "-o", "out.png"}, said);
  ExpectRefused({"drawing", "remove", kCategories, "1"}, said);
  for (const char* to : {"opml", "markdown", "text", "html"}) {
    ExpectRefused({"export", kCategories, "--to", to}, said);
  }
  WriteGolden("category-v0", User(kCategories).string());
  ExpectRefused({"add", kCategories, "x"}, said);
}

TEST_F(Kinds, CategoryCommandsRefuseOutlines) {
  const std::string said =
      "plan.kxo: this is an outline document, not a category file; kxo show plan.kxo prints it";
  ExpectRefused({"category", "list", kPlan}, said);
  ExpectRefused({"category", "add", kPlan, "x"}, said);
  ExpectRefused({"category", "remove", kPlan, "x", "--dry-run"}, said);
}

TEST_F(Kinds, DamageOfACategoryFileIsToldWithItsPlace) {
  const std::string whole = UserFile(kCategories);
  WriteUserFile(kCategories, whole.substr(0, whole.size() - 2));
  for (const char* command : {"show", "info", "list"}) {
    const ProgramRun run = Kxo({command, kCategories});
    EXPECT_EQ(run.exitCode, 3) << command;
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, StartsWith("kxo: names.kxc: damaged at offset 587 (row 4 of 4): "));
  }
  EXPECT_EQ(Kxo({"search", "Work", kCategories}).exitCode, 3);
  WriteUserFile(kCategories, whole);
  Damage(kCategories, format::kVersionOffset, 2);
  EXPECT_THAT(Kxo({"show", kCategories}).err,
              StartsWith("kxo: names.kxc: cannot be read at offset 4 (the version): "));
  EXPECT_EQ(Kxo({"show", kCategories}).exitCode, 3);
}

TEST_F(Kinds, FilesOfOtherKindsHaveNoCategoryToBring) {
  EXPECT_EQ(Kxo({"category", "rename", kCategories, "Work", "Office", "--outlines", "."}).exitCode,
            0);
}

// --- All of them ---

TEST_F(Kinds, TheListNamesWhatHasNoTitle) {
  const std::vector<std::string> lines = LinesOf(Printed({"list", kMemory, kCategories, kPlan}));
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_THAT(lines[0], StartsWith("(memory outline)\t\t2\t"));
  EXPECT_THAT(lines[1], StartsWith("(category file)\t\t3\t"));
  EXPECT_THAT(lines[2], StartsWith("Untitled\t\t1\t"));
  const json documents =
      json::parse(Printed({"list", kMemory, kCategories, kPlan, "--json"}))["documents"];
  EXPECT_EQ(documents[0]["kind"], "memoryOutline");
  EXPECT_EQ(documents[0]["title"], nullptr);
  EXPECT_EQ(documents[0]["items"], 2);
  EXPECT_EQ(documents[1]["kind"], "category");
  EXPECT_EQ(documents[1]["category"], nullptr);
  EXPECT_EQ(documents[1]["items"], 3);
  EXPECT_EQ(documents[2]["kind"], "outline");
}

TEST_F(Kinds, EveryReadingCommandTakesStandardInput) {
  for (const char* file : {kPlan, kMemory, kCategories}) {
    EXPECT_NE(PrintedOf(file, {"show", "-"}), "") << file;
    EXPECT_THAT(PrintedOf(file, {"info", "-"}), StartsWith("standard input\n  kind ")) << file;
    EXPECT_NE(PrintedOf(file, {"list", "-"}), "") << file;
    EXPECT_THAT(PrintedOf(file, {"search", "--regex", "[a-z]", "-"}),
                StartsWith("standard input:1: "))
        << file;
    EXPECT_EQ(PrintedOf(file, {"export", "-", "--to", "json"}),
              Printed({"export", file, "--to", "json"}))
        << file;
  }
  EXPECT_EQ(PrintedOf(kCategories, {"category", "list", "-"}),
            Printed({"category", "list", kCategories}));
  options_.input = User(kPlan);
  EXPECT_EQ(Kxo({"category", "list", "-"}).err,
            "kxo: standard input: this is an outline document, not a category file; kxo show - "
            "prints it\n");
}

TEST_F(Kinds, WhatIsChangedNeedsAName) {
  const std::string said = "standard input: cannot be changed; name a file";
  ExpectRefused({"add", "-", "x"}, said);
  ExpectRefused({"set", "-", "1", "--check"}, said);
  ExpectRefused({"category", "add", "-", "x"}, said);
}

TEST_F(Kinds, DrawingsOfMemoryOutlinesComeOut) {
  const kx_test::Bytes dib = kx_test::picture(9, 5, 4);
  const kx_test::Bytes block = kx_test::drawingOf(dib);
  CMemOutlDB db;
  db.Open(User(kMemory).wstring().c_str(),
          kx_gen::CFile::modeCreate | kx_gen::CFile::modeReadWrite);
  db.InitNewDatabase();
  auto& row = static_cast<CLinkedOutlRec&>(*db.GetRecordset()->Append());
  row.getTaggedDataManager().setData(format::kTagDrawing, block.data(), block.size(), nullptr, 0);
  db.WriteAllHeaders();
  db.WriteRows();
  db.Close();
  EXPECT_EQ(Kxo({"drawing", "get", kMemory, "1", "-o", "out.bmp"}).err,
            "kxo: out.bmp: written, 9 by 5 pixels\n");
  const kx_test::Bytes bmp = kx_test::bmpFile(dib);
  EXPECT_EQ(UserFile("out.bmp"), std::string(bmp.begin(), bmp.end()));
  EXPECT_EQ(PrintedOf(kMemory, {"drawing", "get", "-", "1", "-o", "-", "--format", "bmp"}),
            UserFile("out.bmp"));
  EXPECT_THAT(PrintedOf(kMemory, {"drawing", "get", "-", "1", "-o", "-"}), StartsWith("\x89PNG"));
  EXPECT_EQ(Kxo({"drawing", "get", kMemory, "1", "-o", "out.txt", "--format", "bmp"}).exitCode, 0);
  EXPECT_EQ(UserFile("out.txt"), UserFile("out.bmp"));
  EXPECT_EQ(Kxo({"drawing", "get", kMemory, "1", "-o", "-", "--format", "gif"}).exitCode, 2);
}

}  // namespace
}  // namespace kxo_test
