// Deleting all rows, purging every second one, and inserting each row behind the last: what would
// grow with the square of the rows if it searched from the front.

#include "Kx.h"
#include "Rows.h"
#include "Sizes.h"

namespace kx_bench {
namespace {

void deleteAll(benchmark::State& state) {
  kx_gen::COutlineDB db;
  for (auto _ : state) {
    state.PauseTiming();
    appendRows(db, rowsOf(state));
    state.ResumeTiming();
    db.DeleteAll(true);
  }
}

void purge(benchmark::State& state) {
  kx_gen::COutlineDB db;
  for (auto _ : state) {
    state.PauseTiming();
    db.GetRecordset()->Free();
    appendRows(db, rowsOf(state));
    for (size_t row = 0; row < rowsOf(state); row += 2) rowOf(db, row)->SetDeleted(true);
    state.ResumeTiming();
    db.purgeDeletedRecs();
  }
}

void insertAfterLast(benchmark::State& state) {
  for (auto _ : state) {
    kx_gen::COutlineDB db;
    kx_gen::CDBRecord* last = nullptr;
    for (size_t row = 0; row < rowsOf(state); ++row) last = db.GetRecordset()->InsertAfter(last);
  }
}

BENCHMARK(deleteAll)->Name("DeleteAll/kx")->Apply(rowCounts);
BENCHMARK(purge)->Name("Purge/kx")->Apply(rowCounts);
BENCHMARK(insertAfterLast)->Name("InsertAfterLast/kx")->Apply(rowCounts);

}  // namespace
}  // namespace kx_bench
