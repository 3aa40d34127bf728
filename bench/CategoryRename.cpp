// Renaming the category of a folder of documents, 100 rows each.

#include <cstring>
#include <filesystem>
#include <functional>
#include <utility>
#include <vector>

#include "Kx.h"
#include "Opml.h"
#include "Raw.h"
#include "Rows.h"
#include "Sizes.h"
#include "Sqlite.h"

namespace kx_bench {
namespace {

constexpr size_t kRowsEach = 100;
constexpr char kCategory[] = "Work in hand";
constexpr char kOtherCategory[] = "Work put off";

using Folder = std::filesystem::path;

// A folder with as many copies of one file as the benchmark asks for.
Folder folderOf(const char* engine, const benchmark::State& state, const std::string& original) {
  const size_t files = rowsOf(state);
  const Folder folder = std::string("folder-") + engine + "-" + std::to_string(files);
  if (std::filesystem::create_directory(folder)) {
    for (size_t i = 0; i < files; ++i) {
      std::filesystem::copy_file(original, folder / (std::to_string(1000000 + i) + ".kxo"));
    }
  }
  return folder;
}

// What every engine but the library does to find the files.
void forEachFile(const Folder& folder, const std::function<void(const std::string&)>& visit) {
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() == ".kxo") visit(entry.path().string());
  }
}

void renameKx(benchmark::State& state) {
  const Folder folder = folderOf("kx", state, kxFile(kRowsEach));
  std::wstring from = wide(kCategory);
  std::wstring to = wide(kOtherCategory);
  forEachFile(folder, [&from](const std::string& file) {
    kx_gen::updateFileCategory(wide(file).c_str(), true, L"", from.c_str());
  });
  for (auto _ : state) {
    kx_gen::updateCategory(folder.wstring().c_str(), L"kxo", from.c_str(), to.c_str());
    std::swap(from, to);
  }
}

void renameInSqlite(const std::string& file, const std::string& from, const std::string& to) {
  const Sqlite db(file);
  Statement update(db, "UPDATE header SET category = ?, outline_changed = 1 WHERE category = ?");
  update.bind(1, to);
  update.bind(2, from);
  update.step();
}

void renameSqlite(benchmark::State& state) {
  const Folder folder = folderOf("sqlite", state, sqliteFile(kRowsEach));
  std::string from = kCategory;
  std::string to = kOtherCategory;
  forEachFile(folder, [](const std::string& file) {
    Sqlite(file).run("UPDATE header SET category = 'Work in hand'");
  });
  for (auto _ : state) {
    forEachFile(folder, [&](const std::string& file) { renameInSqlite(file, from, to); });
    std::swap(from, to);
  }
}

// From any category without `from`.
void renameInOpml(const std::string& file, const char* from, const char* to) {
  pugi::xml_document document;
  document.load_file(file.c_str());
  pugi::xml_text category = document.child("opml").child("head").child("category").text();
  if (from != nullptr && std::strcmp(category.get(), from) != 0) return;
  category.set(to);
  writeOpml(document, file);
}

void renameOpml(benchmark::State& state) {
  const Folder folder = folderOf("opml", state, opmlFile(kRowsEach));
  std::string from = kCategory;
  std::string to = kOtherCategory;
  forEachFile(folder, [](const std::string& file) { renameInOpml(file, nullptr, kCategory); });
  for (auto _ : state) {
    forEachFile(folder,
                [&](const std::string& file) { renameInOpml(file, from.c_str(), to.c_str()); });
    std::swap(from, to);
  }
}

void renameRaw(benchmark::State& state) {
  const Folder folder = folderOf("raw", state, kxFile(kRowsEach));
  for (auto _ : state) {
    forEachFile(folder, [](const std::string& file) {
      RawWriter writer(file);
      writer.rewriteSlot();
    });
  }
}

BENCHMARK(renameKx)->Name("CategoryRename/kx")->Apply(fileCounts);
BENCHMARK(renameSqlite)->Name("CategoryRename/sqlite")->Apply(fileCounts);
BENCHMARK(renameOpml)->Name("CategoryRename/opml")->Apply(fileCounts);
BENCHMARK(renameRaw)->Name("CategoryRename/raw")->Apply(fileCounts);

}  // namespace
}  // namespace kx_bench
