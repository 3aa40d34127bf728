// Writing a whole outline, which was read and is in memory, into a new file.

#include <filesystem>

#include "Kx.h"
#include "Opml.h"
#include "Raw.h"
#include "Rows.h"
#include "Sizes.h"
#include "Sqlite.h"

namespace kx_bench {
namespace {

constexpr char kNewFile[] = "new.kxo";

// Removing what the last round wrote is no part of saving.
void removeNewFile(benchmark::State& state) {
  state.PauseTiming();
  std::filesystem::remove(kNewFile);
  state.ResumeTiming();
}

void saveKx(benchmark::State& state) {
  kx_gen::COutlineDB db;
  openWhole(db, kxFile(rowsOf(state)), kx_gen::CFile::modeRead);
  for (auto _ : state) {
    saveNew(db, kNewFile);
    removeNewFile(state);
  }
}

void saveSqlite(benchmark::State& state) {
  for (auto _ : state) {
    {
      Sqlite db(kNewFile);
      insertRows(db, rowsOf(state));
    }
    removeNewFile(state);
  }
}

void saveOpml(benchmark::State& state) {
  pugi::xml_document document;
  appendRows(document, rowsOf(state));
  for (auto _ : state) {
    writeOpml(document, kNewFile);
    removeNewFile(state);
  }
}

void saveRaw(benchmark::State& state) {
  const RawFile image(kxFile(rowsOf(state)));
  for (auto _ : state) {
    writeNew(image, kNewFile);
    removeNewFile(state);
  }
}

BENCHMARK(saveKx)->Name("OutlineSave/kx")->Apply(rowCounts);
BENCHMARK(saveSqlite)->Name("OutlineSave/sqlite")->Apply(rowCounts);
BENCHMARK(saveOpml)->Name("OutlineSave/opml")->Apply(rowCounts);
BENCHMARK(saveRaw)->Name("OutlineSave/raw")->Apply(rowCounts);

}  // namespace
}  // namespace kx_bench
