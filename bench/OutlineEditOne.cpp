// Changing the text of one row in the middle of an open outline, and saving.

#include <filesystem>

#include "Kx.h"
#include "Opml.h"
#include "Raw.h"
#include "Rows.h"
#include "Sizes.h"
#include "Sqlite.h"

namespace kx_bench {
namespace {

constexpr char kEdited[] = "edited.kxo";

void copyToEdit(const std::string& file) {
  std::filesystem::copy_file(file, kEdited, std::filesystem::copy_options::overwrite_existing);
}

size_t middleOf(const benchmark::State& state) { return rowsOf(state) / 2; }

void editKx(benchmark::State& state) {
  copyToEdit(kxFile(rowsOf(state)));
  kx_gen::COutlineDB db;
  openWhole(db, kEdited, kx_gen::CFile::modeReadWrite);
  const RowText& text = rowText(middleOf(state));
  bool other = false;
  for (auto _ : state) {
    other = !other;
    rowOf(db, middleOf(state))->SetText((other ? text.otherText : text.text).c_str());
    db.WriteAllHeaders();
    db.WriteRows();
  }
}

void editSqlite(benchmark::State& state) {
  copyToEdit(sqliteFile(rowsOf(state)));
  const Sqlite db(kEdited);
  Statement update(db, "UPDATE outline SET text = ? WHERE row = ?");
  const RowText& text = rowText(middleOf(state));
  bool other = false;
  for (auto _ : state) {
    other = !other;
    update.bind(1, other ? text.narrowOtherText : text.narrowText);
    update.bind(2, middleOf(state));
    update.step();
    update.reset();
  }
}

void editOpml(benchmark::State& state) {
  copyToEdit(opmlFile(rowsOf(state)));
  pugi::xml_document document;
  document.load_file(kEdited);
  pugi::xml_attribute attribute = rowsOf(document)[middleOf(state)].attribute("text");
  const RowText& text = rowText(middleOf(state));
  bool other = false;
  for (auto _ : state) {
    other = !other;
    attribute.set_value((other ? text.narrowOtherText : text.narrowText).c_str());
    writeOpml(document, kEdited);
  }
}

void editRaw(benchmark::State& state) {
  copyToEdit(kxFile(rowsOf(state)));
  const RawFile image(kEdited);
  RawWriter writer(kEdited);
  bool other = false;
  for (auto _ : state) {
    other = !other;
    image.bytes.get()[image.size / 2] = other ? 'a' : 'b';
    writer.overwrite(image);
  }
}

BENCHMARK(editKx)->Name("OutlineEditOne/kx")->Apply(rowCounts);
BENCHMARK(editSqlite)->Name("OutlineEditOne/sqlite")->Apply(rowCounts);
BENCHMARK(editOpml)->Name("OutlineEditOne/opml")->Apply(rowCounts);
BENCHMARK(editRaw)->Name("OutlineEditOne/raw")->Apply(rowCounts);

}  // namespace
}  // namespace kx_bench
