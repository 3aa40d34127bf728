#include "ToolTest.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>

#include "NamePath.h"
#include "TestPlaces.h"

namespace kxo_test {

namespace fs = std::filesystem;

using kx_gen::_String;
using kx_gen::CFile;
using kx_gen::COutlineDB;
using kx_gen::COutlineRecord;

namespace {

fs::path Program() { return kx_test::programFolder() / "kxo"; }

StoredRow RowOf(COutlineRecord& record) {
  StoredRow row;
  _String text;
  record.GetText(text);
  row.text = text;
  row.hasNote = record.HasNote();
  _String note;
  if (row.hasNote) record.GetNote(note);
  row.note = note;
  row.indent = record.GetIndent();
  row.expanded = record.GetExpanded();
  row.checked = record.GetChecked();
  row.flags = record.GetFlag();
  row.id = static_cast<uint32_t>(record.GetId());
  return row;
}

std::string Printable(const std::wstring& text) {
  std::ostringstream out;
  for (const wchar_t c : text) {
    if (c >= 0x20 && c < 0x7F) {
      out << static_cast<char>(c);
    } else {
      out << "<" << std::hex << static_cast<unsigned long>(c) << ">";
    }
  }
  return out.str();
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const StoredRow& row) {
  return out << "[indent " << row.indent << " text \"" << Printable(row.text) << "\" note "
             << (row.hasNote ? "\"" + Printable(row.note) + "\"" : "none")
             << (row.expanded ? "" : " folded") << (row.checked ? " checked" : "") << " flags "
             << static_cast<unsigned>(row.flags) << " id " << row.id << "]";
}

StoredRow Row(unsigned indent, const std::wstring& text, const std::wstring& note) {
  StoredRow row;
  row.indent = indent;
  row.text = text;
  row.note = note;
  return row;
}

std::string OpmlText(const std::string& body, const std::string& head) {
  return "<?xml version=\"1.0\"?>\n<opml version=\"2.0\"><head>" + head + "</head>\n<body>" + body +
         "</body></opml>\n";
}

std::string Repeated(size_t count, const std::string& text) {
  std::string repeated;
  for (size_t i = 0; i < count; ++i) repeated += text;
  return repeated;
}

std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

void ToolTest::SetUp() {
  KxTest::SetUp();
  user_ = folder() / "user";
  fs::create_directory(user_);
  options_.folder = user_;
  options_.environment[kStateVariable] = NameOf(folder() / "state");
  options_.environment["NO_COLOR"] = "1";
}

ProgramRun ToolTest::Kxo(const std::vector<std::string>& arguments) const {
  return RunProgram(Program(), arguments, options_);
}

ProgramRun ToolTest::KxoOnTerminal(const std::vector<std::string>& arguments) const {
  return RunOnTerminal(Program(), arguments, options_);
}

ProgramRun ToolTest::Import(const std::string& bytes, const std::vector<std::string>& more) const {
  WriteUserFile("in.opml", bytes);
  std::vector<std::string> arguments = {"import", "in.opml"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return Kxo(arguments);
}

void ToolTest::RunAll() const {
  WriteUserFile("bad.kxo", "no document");
  EXPECT_EQ(Import(OpmlText("<outline text=\"1\"/>")).exitCode, 0);
  EXPECT_EQ(Kxo({"show", "in.kxo"}).exitCode, 0);
  EXPECT_EQ(Kxo({"info", "in.kxo"}).exitCode, 0);
  EXPECT_EQ(Kxo({"list", "."}).exitCode, 5);
  EXPECT_EQ(Kxo({"search", "1", "in.kxo"}).exitCode, 0);
  EXPECT_EQ(Kxo({"search", "2", "in.kxo"}).exitCode, 1);
  EXPECT_EQ(Kxo({"show", "bad.kxo"}).exitCode, 3);
  EXPECT_EQ(Kxo({"show", "none.kxo"}).exitCode, 2);
  EXPECT_EQ(UserFiles(), (std::vector<std::string>{"bad.kxo", "in.kxo", "in.opml"}));
}

fs::path ToolTest::MakeFolder(const std::string& name) const {
  fs::create_directory(folder() / name);
  return folder() / name;
}

void ToolTest::WriteUserFile(const fs::path& name, std::string_view bytes) const {
  std::ofstream out(User(name), std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string ToolTest::UserFile(const fs::path& name) const {
  std::ifstream in(User(name), std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::vector<std::string> ToolTest::UserFiles() const {
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : fs::directory_iterator(user_)) {
    names.push_back(NameOf(entry.path().filename()));
  }
  std::sort(names.begin(), names.end());
  return names;
}

StoredDocument ToolTest::ReadDocument(const fs::path& name) const {
  StoredDocument document;
  COutlineDB db;
  const int opened = db.Open(User(name).wstring().c_str(), CFile::modeRead | CFile::shareDenyWrite);
  EXPECT_NE(opened, 0) << name;
  if (opened == 0) return document;
  db.ReadSharedHeader();
  db.ReadPrivateHeader();
  db.ReadRows();
  _String text;
  db.GetOutlineTitle(text);
  document.title = text;
  db.GetCategoryName(text);
  document.category = text;
  document.deletedIds = db.GetDeletedThoughts().GetCount();
  for (kx_gen::CDBRecord* record : *db.GetRecordset()) {
    document.rows.push_back(RowOf(static_cast<COutlineRecord&>(*record)));
  }
  return document;
}

void ToolTest::WriteDocument(const fs::path& name,
                             const std::function<void(COutlineDB&)>& fill) const {
  COutlineDB db;
  ASSERT_NE(db.Open(User(name).wstring().c_str(), CFile::modeCreate | CFile::modeReadWrite), 0);
  db.InitNewDatabase();
  fill(db);
  db.WriteAllHeaders();
  db.WriteRows();
  db.Close();
}

COutlineRecord& ToolTest::AddRow(COutlineDB& db, unsigned char indent, const wchar_t* text) {
  auto& row = static_cast<COutlineRecord&>(*db.GetRecordset()->Append());
  row.SetIndent(indent);
  row.SetText(text);
  return row;
}

}  // namespace kxo_test
