// Reading a whole outline from its file, and freeing it.

#include <filesystem>
#include <vector>

#include "Kx.h"
#include "Opml.h"
#include "Raw.h"
#include "Rows.h"
#include "Sizes.h"
#include "Sqlite.h"

namespace kx_bench {
namespace {

void readKx(benchmark::State& state) {
  const std::string file = kxFile(rowsOf(state));
  for (auto _ : state) {
    kx_gen::COutlineDB db;
    openWhole(db, file, kx_gen::CFile::modeRead);
    mustHave(state, rowsOf(state), static_cast<size_t>(db.GetRecordset()->getSize()));
  }
}

struct SqliteRow {
  size_t id = 0;
  size_t indent = 0;
  std::string text;
  std::string note;
  bool expanded = false;
  bool checked = false;
  size_t flags = 0;
  bool sortChanged = false;
};

void readRows(const Sqlite& db, std::vector<SqliteRow>& rows) {
  Statement select(db,
                   "SELECT id, indent, text, note, expanded, checked, flags, sort_changed"
                   " FROM outline ORDER BY row");
  while (select.step()) {
    SqliteRow& row = rows.emplace_back();
    row.id = select.number(0);
    row.indent = select.number(1);
    select.text(2, row.text);
    select.text(3, row.note);
    row.expanded = select.number(4) != 0;
    row.checked = select.number(5) != 0;
    row.flags = select.number(6);
    row.sortChanged = select.number(7) != 0;
  }
}

void readSqlite(benchmark::State& state) {
  const std::string file = sqliteFile(rowsOf(state));
  for (auto _ : state) {
    const Sqlite db(file);
    std::vector<SqliteRow> rows;
    readRows(db, rows);
    mustHave(state, rowsOf(state), rows.size());
  }
}

void readOpml(benchmark::State& state) {
  const std::string file = opmlFile(rowsOf(state));
  for (auto _ : state) {
    pugi::xml_document document;
    if (!document.load_file(file.c_str())) state.SkipWithError("no document");
  }
}

void readRaw(benchmark::State& state) {
  const std::string file = kxFile(rowsOf(state));
  for (auto _ : state) {
    const RawFile image(file);
    RawRows blocks(image);
    RawOutline rows(rowsOf(state));
    for (size_t i = 0; i < rowsOf(state); ++i) rows.append(blocks.next());
  }
}

BENCHMARK(readKx)->Name("OutlineRead/kx")->Apply(rowCounts);
BENCHMARK(readSqlite)->Name("OutlineRead/sqlite")->Apply(rowCounts);
BENCHMARK(readOpml)->Name("OutlineRead/opml")->Apply(rowCounts);
BENCHMARK(readRaw)->Name("OutlineRead/raw")->Apply(rowCounts);

}  // namespace
}  // namespace kx_bench
