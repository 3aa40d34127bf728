// Setting id, indent and text of all rows, which were read and are in memory.

#include "Kx.h"
#include "Opml.h"
#include "Raw.h"
#include "Rows.h"
#include "Sizes.h"
#include "Sqlite.h"

namespace kx_bench {
namespace {

// Every round sets other values than the one before.
struct Round {
  bool other = false;
  void next() { other = !other; }
  uint32_t id(size_t row) const { return rowId(row) + (other ? 1u << 30 : 0); }
  uint8_t indent(size_t row) const {
    return static_cast<uint8_t>(rowIndent(row) + (other ? 1 : 0));
  }
  const std::wstring& text(size_t row) const {
    return other ? rowText(row).otherText : rowText(row).text;
  }
  const std::string& narrowText(size_t row) const {
    return other ? rowText(row).narrowOtherText : rowText(row).narrowText;
  }
};

void setKx(benchmark::State& state) {
  kx_gen::COutlineDB db;
  openWhole(db, kxFile(rowsOf(state)), kx_gen::CFile::modeRead);
  Round round;
  for (auto _ : state) {
    round.next();
    for (size_t i = 0; i < rowsOf(state); ++i) {
      kx_gen::COutlineRecord* row = rowOf(db, i);
      row->SetId(round.id(i));
      row->SetIndent(round.indent(i));
      row->SetText(round.text(i).c_str());
    }
  }
}

void setSqlite(benchmark::State& state) {
  Sqlite db(kInMemory);
  insertRows(db, rowsOf(state));
  Statement update(db, "UPDATE outline SET id = ?, indent = ?, text = ? WHERE row = ?");
  Round round;
  for (auto _ : state) {
    round.next();
    db.run("BEGIN");
    for (size_t row = 0; row < rowsOf(state); ++row) {
      update.bind(1, round.id(row));
      update.bind(2, round.indent(row));
      update.bind(3, round.narrowText(row));
      update.bind(4, row);
      update.step();
      update.reset();
    }
    db.run("COMMIT");
  }
}

// The level of an element is where it stands, so that only id and text can be set.
void setOpml(benchmark::State& state) {
  pugi::xml_document document;
  appendRows(document, rowsOf(state));
  std::vector<pugi::xml_node> rows = rowsOf(document);
  Round round;
  for (auto _ : state) {
    round.next();
    for (size_t row = 0; row < rows.size(); ++row) {
      rows[row].attribute("id").set_value(round.id(row));
      rows[row].attribute("text").set_value(round.narrowText(row).c_str());
    }
  }
}

void setRaw(benchmark::State& state) {
  std::vector<PlainRow> rows = plainRows(rowsOf(state));
  Round round;
  for (auto _ : state) {
    round.next();
    for (size_t row = 0; row < rows.size(); ++row) {
      rows[row].id = round.id(row);
      rows[row].indent = round.indent(row);
      rows[row].text = round.text(row);
    }
    benchmark::ClobberMemory();
  }
}

BENCHMARK(setKx)->Name("FieldSet/kx")->Apply(rowCounts);
BENCHMARK(setSqlite)->Name("FieldSet/sqlite")->Apply(rowCounts);
BENCHMARK(setOpml)->Name("FieldSet/opml")->Apply(rowCounts);
BENCHMARK(setRaw)->Name("FieldSet/raw")->Apply(rowCounts);

}  // namespace
}  // namespace kx_bench
