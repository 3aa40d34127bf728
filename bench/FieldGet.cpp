// Id, indent and text of all rows, which were read and are in memory.

#include "Kx.h"
#include "Opml.h"
#include "Raw.h"
#include "Rows.h"
#include "Sizes.h"
#include "Sqlite.h"

namespace kx_bench {
namespace {

void getKx(benchmark::State& state) {
  kx_gen::COutlineDB db;
  openWhole(db, kxFile(rowsOf(state)), kx_gen::CFile::modeRead);
  kx_gen::_String text;
  for (auto _ : state) {
    for (kx_gen::CDBRecord* record : *db.GetRecordset()) {
      auto* row = static_cast<kx_gen::COutlineRecord*>(record);
      benchmark::DoNotOptimize(row->GetId());
      benchmark::DoNotOptimize(row->GetIndent());
      row->GetText(text);
      benchmark::DoNotOptimize(text.data());
    }
  }
}

void getSqlite(benchmark::State& state) {
  Sqlite db(kInMemory);
  insertRows(db, rowsOf(state));
  Statement select(db, "SELECT id, indent, text FROM outline WHERE row = ?");
  std::string text;
  for (auto _ : state) {
    for (size_t row = 0; row < rowsOf(state); ++row) {
      select.bind(1, row);
      select.step();
      benchmark::DoNotOptimize(select.number(0));
      benchmark::DoNotOptimize(select.number(1));
      select.text(2, text);
      benchmark::DoNotOptimize(text.data());
      select.reset();
    }
  }
}

struct OpmlGetter : pugi::xml_tree_walker {
  std::string text;
  bool for_each(pugi::xml_node& row) override {
    benchmark::DoNotOptimize(row.attribute("id").as_uint());
    benchmark::DoNotOptimize(depth());
    text = row.attribute("text").value();
    benchmark::DoNotOptimize(text.data());
    return true;
  }
};

void getOpml(benchmark::State& state) {
  pugi::xml_document document;
  appendRows(document, rowsOf(state));
  OpmlGetter getter;
  for (auto _ : state) document.child("opml").child("body").traverse(getter);
}

void getRaw(benchmark::State& state) {
  const std::vector<PlainRow> rows = plainRows(rowsOf(state));
  std::wstring text;
  for (auto _ : state) {
    for (const PlainRow& row : rows) {
      benchmark::DoNotOptimize(row.id);
      benchmark::DoNotOptimize(row.indent);
      text = row.text;
      benchmark::DoNotOptimize(text.data());
    }
  }
}

BENCHMARK(getKx)->Name("FieldGet/kx")->Apply(rowCounts);
BENCHMARK(getSqlite)->Name("FieldGet/sqlite")->Apply(rowCounts);
BENCHMARK(getOpml)->Name("FieldGet/opml")->Apply(rowCounts);
BENCHMARK(getRaw)->Name("FieldGet/raw")->Apply(rowCounts);

}  // namespace
}  // namespace kx_bench
