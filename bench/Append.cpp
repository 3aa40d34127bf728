// Creating and filling rows in memory, and freeing them. `raw` allocates, touches and frees a block
// a row: what every operation in memory is compared with when its growth is judged.

#include "Kx.h"
#include "Opml.h"
#include "Raw.h"
#include "Rows.h"
#include "Sizes.h"
#include "Sqlite.h"

namespace kx_bench {
namespace {

constexpr size_t kDifferentRows = 1000;

void appendKx(benchmark::State& state) {
  for (auto _ : state) {
    kx_gen::COutlineDB db;
    appendRows(db, rowsOf(state));
  }
}

void appendSqlite(benchmark::State& state) {
  for (auto _ : state) {
    Sqlite db(kInMemory);
    insertRows(db, rowsOf(state));
  }
}

void appendOpml(benchmark::State& state) {
  for (auto _ : state) {
    pugi::xml_document document;
    appendRows(document, rowsOf(state));
  }
}

void appendRaw(benchmark::State& state) {
  const RawFile image(kxFile(kDifferentRows));
  RawRows read(image);
  std::vector<RawBlock> blocks;
  for (size_t i = 0; i < kDifferentRows; ++i) blocks.push_back(read.next());
  for (auto _ : state) {
    RawOutline rows(rowsOf(state));
    for (size_t i = 0; i < rowsOf(state); ++i) rows.append(blocks[i % kDifferentRows]);
  }
}

BENCHMARK(appendKx)->Name("Append/kx")->Apply(rowCounts);
BENCHMARK(appendSqlite)->Name("Append/sqlite")->Apply(rowCounts);
BENCHMARK(appendOpml)->Name("Append/opml")->Apply(rowCounts);
BENCHMARK(appendRaw)->Name("Append/raw")->Apply(rowCounts);

}  // namespace
}  // namespace kx_bench
