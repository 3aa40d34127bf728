#include "SalvageTool.h"

#include "KxLayout.h"
#include "KxLittleEndian.h"

namespace kxo_test {

namespace fs = std::filesystem;
namespace format = kx_gen::format;

namespace {

size_t EndOfRow(const std::string& file, size_t row) {
  const auto* length = reinterpret_cast<const unsigned char*>(file.data()) + row;
  return row + format::kRowFrameSize + kx_gen::getLe32(length + format::kRowTagSize);
}

}  // namespace

void SalvageTool::SetUp() {
  ToolTest::SetUp();
  WriteDocument("good.kxo", [](kx_gen::COutlineDB& db) {
    db.SetOutlineTitle(L"Plan");
    AddRow(db, 0, L"first").SetId(1);
    AddRow(db, 1, L"second").SetNote(L"a note");
    AddRow(db, 0, L"third").SetDeleted(true);
    db.AddDeletedId(7);
  });
  good_ = UserFile("good.kxo");
  row2_ = EndOfRow(good_, kRow1);
  row3_ = EndOfRow(good_, row2_);
}

ProgramRun SalvageTool::KxoBeside(const std::vector<std::string>& files,
                                  const std::vector<std::string>& arguments) const {
  const auto hourAgo = fs::file_time_type::clock::now() - std::chrono::hours(1);
  std::vector<std::string> bytes;
  std::vector<fs::file_time_type> times;
  for (const std::string& file : files) {
    fs::last_write_time(User(file), hourAgo);
    bytes.push_back(UserFile(file));
    times.push_back(fs::last_write_time(User(file)));
  }
  ProgramRun run = Kxo(arguments);
  for (size_t i = 0; i < files.size(); ++i) {
    EXPECT_EQ(UserFile(files[i]), bytes[i]) << files[i];
    EXPECT_EQ(fs::last_write_time(User(files[i])), times[i]) << files[i];
  }
  return run;
}

void SalvageTool::WriteGolden(const std::string& golden, const std::string& name) const {
  const kx_test::Bytes bytes = kx_test::golden(golden);
  WriteUserFile(name, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

void SalvageTool::WriteWithByte(size_t offset, unsigned char value) const {
  std::string bytes = good_;
  bytes[offset] = static_cast<char>(value);
  WriteUserFile("bad.kxo", bytes);
}

nlohmann::json SalvageTool::JsonOf(const ProgramRun& run) const {
  nlohmann::json json = nlohmann::json::parse(run.out, nullptr, false);
  EXPECT_FALSE(json.is_discarded()) << run.out;
  return json;
}

}  // namespace kxo_test
