// The trace log of whole documents' lives, line by line.

#include <gmock/gmock.h>

#include "CategoryDB.h"
#include "KxLayout.h"
#include "OutlineDB.h"

namespace {

using kx_gen::CCategoryDB;
using kx_gen::COutlineDB;
using kx_gen::COutlineRecord;
using kx_test::Bytes;
using kx_test::thrownBy;
using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class LogOrderTest : public kx_test::KxTest {
 protected:
  std::wstring file() const { return path(L"outline.kxo"); }
  std::string openLine(unsigned int mode, const std::string& name = "outline.kxo") const {
    return "COutlineDB::Open " + (folder() / name).string() + " " + std::to_string(mode);
  }
  static void save(kx_gen::CDatabase& db) {
    db.WriteAllHeaders();
    db.WriteRows();
    db.Close();
  }
  void make() {
    COutlineDB db;
    db.Open(file().c_str(), kx_test::kCreate);
    db.InitNewDatabase();
    auto* item = static_cast<COutlineRecord*>(db.GetRecordset()->Append());
    item->SetText(L"item");
    db.AddDeletedId(3);
    save(db);
  }
};

constexpr char kConstructed[] = "COutlineDB::COutlineDB";

TEST_F(LogOrderTest, CreatingAndSavingADocument) {
  make();
  EXPECT_THAT(kx_test::logLines(), ElementsAre(kConstructed, openLine(0x1002)));
}

TEST_F(LogOrderTest, OpeningEditingAndSavingADocument) {
  make();
  kx_test::clearLog();
  {
    COutlineDB db;
    EXPECT_EQ(db.Open(file().c_str(), kx_test::kReadWrite), 1);
    db.ReadConduitHeader();
    db.ReadSharedHeader();
    db.ReadPrivateHeader();
    db.ReadRows();
    static_cast<COutlineRecord*>(db.getRecord(0))->SetChecked(true);
    db.GetRecordset()->Append();
    db.SetOutlineTitle(L"Other");
    db.purgeDeletedRecs();
    save(db);
  }
  EXPECT_THAT(kx_test::logLines(), ElementsAre(kConstructed, openLine(2)));
}

TEST_F(LogOrderTest, EveryStepThatFailsOrAssertsInOneLife) {
  kx_test::writeFile("outline.kxo", kx_test::golden("outline-unknown"));
  {
    COutlineDB db;
    // Somewhere else first: the file is not there.
    EXPECT_EQ(db.Open(path(L"missing.kxo").c_str(), kx_test::kReadWrite), 0);
    EXPECT_EQ(db.Open(file().c_str(), kx_test::kReadWrite), 1);
    EXPECT_FALSE(db.ReadHeader(7));
    db.ReadSharedHeader();
    db.ReadPrivateHeader();
    db.ReadRows();
    db.Delete(nullptr);
    COutlineRecord fresh;
    EXPECT_EQ(thrownBy([&] { fresh.GetId(); }).number, 0xFFFFFFFFul);
    save(db);
    db.GetConduitHeader();
  }
  const auto headerAssertion =
      AllOf(StartsWith("Assertion Failed! File "), HasSubstr("HeaderManager Line "),
            EndsWith(" quiting application"));
  const std::vector<std::string> log = kx_test::logLines();
  EXPECT_THAT(
      log, ElementsAre(kConstructed, openLine(2, "missing.kxo"), kx_test::throwLine(".\\File", 399),
                       "ERROR_FILE_NOT_FOUND", "line 364 exception fileNotFound nm -1", openLine(2),
                       headerAssertion, kx_test::assertionLine("OutlineDB", 359),
                       StartsWith("Throw an exception FILE - "), headerAssertion, headerAssertion));
  EXPECT_NE(log[6], log[9]) << "reading and writing an unknown header are different checks";
  EXPECT_EQ(log[9], log[10]);
}

TEST_F(LogOrderTest, ARefusedDocument) {
  make();
  Bytes bytes = kx_test::readFile("outline.kxo");
  bytes[4] = 1;
  kx_test::writeFile("outline.kxo", bytes);
  kx_test::clearLog();
  {
    COutlineDB db;
    EXPECT_EQ(db.Open(file().c_str(), kx_test::kReadWrite), 0);
  }
  EXPECT_THAT(kx_test::logLines(),
              ElementsAre(kConstructed, openLine(2),
                          AnyOf(kx_test::throwLine("OutlineDB", 85),
                                kx_test::throwLine(".\\OutlineDB", 85)),
                          "line 364 exception The db version is newer than your application. "
                          "Please update your application! nm 3"));
}

TEST_F(LogOrderTest, ADocumentCutShortInARow) {
  make();
  const Bytes bytes = kx_test::readFile("outline.kxo");
  kx_test::writeFile("outline.kxo", kx_test::slice(bytes, 0, bytes.size() - 1));
  kx_test::clearLog();
  {
    COutlineDB db;
    db.Open(file().c_str(), kx_test::kReadWrite);
    db.ReadSharedHeader();
    EXPECT_EQ(thrownBy([&] { db.ReadRows(); }).number, 7u);
  }
  EXPECT_THAT(kx_test::logLines(),
              ElementsAre(kConstructed, openLine(2), kx_test::throwLine(".\\File", 433)));
}

TEST_F(LogOrderTest, RenamingACategoryInAFolder) {
  make();
  {
    COutlineDB other;
    other.Open(path(L"play.kxo").c_str(), kx_test::kCreate);
    other.InitNewDatabase();
    other.SetCategoryName(L"Play");
    save(other);
  }
  kx_test::clearLog();
  kx_gen::updateCategory(folder().wstring().c_str(), L"kxo", L"Play", L"Club");
  const std::vector<std::string> log = kx_test::logLines();
  ASSERT_EQ(log.size(), 4u) << "one object and one opening for each file, in order of their names";
  EXPECT_EQ(log[0], kConstructed);
  EXPECT_THAT(log[1], AllOf(StartsWith("COutlineDB::Open "), EndsWith("outline.kxo 2")));
  EXPECT_EQ(log[2], kConstructed);
  EXPECT_THAT(log[3], AllOf(StartsWith("COutlineDB::Open "), EndsWith("play.kxo 2")));
}

TEST_F(LogOrderTest, ACategoryFilesLifeIsSilent) {
  CCategoryDB db;
  db.Open(path(L"categories.db").c_str(), kx_test::kCreate);
  db.InitNewDatabase();
  unsigned long time = 1;
  db.AddNewCategory(L"Work", &time);
  save(db);
  db.Open(path(L"categories.db").c_str(), kx_test::kReadWrite);
  db.ReadConduitHeader();
  db.ReadRows();
  db.DeleteCategory(db.FindCategory(L"Work"), 2);
  save(db);
  EXPECT_THAT(kx_test::logLines(), ::testing::IsEmpty());
}

}  // namespace
