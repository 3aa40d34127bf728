#include "EditTool.h"

#include <gmock/gmock.h>

#include <chrono>
#include <utility>

#include "KxFormat.h"

namespace kxo_test {

namespace fs = std::filesystem;
namespace format = kx_gen::format;

using kx_gen::_String;
using kx_gen::CFile;
using kx_gen::COutlineDB;
using kx_gen::COutlineRecord;

namespace {

const std::vector<std::pair<uint32_t, std::string>>& Fields() {
  static const std::vector<std::pair<uint32_t, std::string>> fields = {
      {format::kTagOutlineId, "id"},
      {format::kTagIndent, "indent"},
      {format::kStringTagBase + format::kStringText, "text"},
      {format::kStringTagBase + format::kStringNote, "note"},
      {format::kTagExpanded, "expanded"},
      {format::kTagChecked, "checked"},
      {format::kTagDrawing, "drawing"}};
  return fields;
}

}  // namespace

COutlineRecord& RowOf(COutlineDB& db, size_t row) {
  return static_cast<COutlineRecord&>(*db.getRecord(static_cast<unsigned long>(row)));
}

void EditTool::SetUp() {
  ToolTest::SetUp();
  WriteDocument("plan.kxo", [](COutlineDB& db) {
    db.SetOutlineTitle(L"Plan");
    AddRow(db, 0, L"house").SetId(1);
    AddRow(db, 1, L"roof").SetId(2);
    AddRow(db, 2, L"tiles").SetId(3);
    AddRow(db, 1, L"walls");
    COutlineRecord& garden = AddRow(db, 0, L"garden");
    garden.SetId(5);
    garden.SetNote(L"large");
    garden.SetChecked(true);
    for (size_t row = 0; row < 5; ++row) ClearMarks(RowOf(db, row));
    db.SetOutlineChanged(false);
    db.AddDeletedId(77);
  });
}

void EditTool::ClearMarks(COutlineRecord& row) {
  row.ClearChanges();
  for (const auto& [tag, name] : Fields()) row.getTaggedDataManager().setTagChanged(tag, false);
}

ProgramRun EditTool::Edited(const std::vector<std::string>& arguments) const {
  ProgramRun run = Kxo(arguments);
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(Kxo({"check", "plan.kxo"}).exitCode, 0);
  return run;
}

ProgramRun EditTool::Beside(const std::vector<std::string>& arguments,
                            const std::string& file) const {
  const std::string bytes = UserFile(file);
  const auto hourAgo = fs::file_time_type::clock::now() - std::chrono::hours(1);
  fs::last_write_time(User(file), hourAgo);
  const auto time = fs::last_write_time(User(file));
  ProgramRun run = Kxo(arguments);
  EXPECT_EQ(UserFile(file), bytes);
  EXPECT_EQ(fs::last_write_time(User(file)), time);
  return run;
}

void EditTool::ExpectRefused(const std::vector<std::string>& arguments, int exitCode,
                             const std::string& said) const {
  const ProgramRun run = Beside(arguments);
  EXPECT_EQ(run.exitCode, exitCode);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "kxo: " + said + "\n");
}

void EditTool::Look(const std::function<void(COutlineDB&)>& look) const {
  COutlineDB db;
  ASSERT_NE(db.Open(User("plan.kxo").wstring().c_str(), CFile::modeRead), 0);
  db.ReadSharedHeader();
  db.ReadPrivateHeader();
  db.ReadRows();
  look(db);
}

void EditTool::Change(const std::function<void(COutlineDB&)>& change) const {
  Look([&](COutlineDB& db) {
    change(db);
    db.Close();
    kx_gen::SaveDatabaseFile(db, User("plan.kxo").wstring().c_str());
  });
}

std::vector<std::string> EditTool::Tree() const {
  std::vector<std::string> tree;
  for (const StoredRow& row : ReadDocument("plan.kxo").rows) {
    tree.push_back(std::to_string(row.indent) + " " +
                   std::string(row.text.begin(), row.text.end()));
  }
  return tree;
}

RowMarks EditTool::MarksOf(size_t row) const {
  RowMarks marks;
  Look([&](COutlineDB& db) {
    COutlineRecord& record = RowOf(db, row);
    marks.changed = record.IsChanged();
    marks.sortChanged = record.IsSortChanged();
    for (const auto& [tag, name] : Fields()) {
      bool isMarked = false;
      record.getTaggedDataManager().getTagChanged(tag, &isMarked);
      if (isMarked) marks.fields.push_back(name);
    }
  });
  return marks;
}

bool EditTool::IsOutlineChanged() const {
  bool isChanged = false;
  Look([&](COutlineDB& db) { isChanged = db.GetOutlineChanged(); });
  return isChanged;
}

std::vector<unsigned long> EditTool::DeletedIds() const {
  std::vector<unsigned long> ids;
  Look([&](COutlineDB& db) {
    const kx_gen::CDeletedThoughts& deleted = db.GetDeletedThoughts();
    for (size_t i = 0; i < deleted.GetCount(); ++i) ids.push_back(deleted.GetId(i));
  });
  return ids;
}

}  // namespace kxo_test
