#include <fmt/format.h>

#include <CLI/App.hpp>
#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "CategoryDocument.h"
#include "Columns.h"
#include "DatabaseFile.h"
#include "Document.h"
#include "InputDocument.h"
#include "JsonText.h"
#include "ManyFiles.h"
#include "Output.h"
#include "Text.h"
#include "UtcTime.h"
#include "commands/CodePageOption.h"
#include "commands/Commands.h"

namespace kxo {
namespace {

namespace fs = std::filesystem;

struct ListOptions {
  std::vector<std::string> paths;
  bool json = false;
};

using salvage::Kind;

/// What the list tells of a document.
struct Entry {
  Kind kind = Kind::kOutline;  ///< Only of an outline there are title, category and mark.
  std::string title;
  std::string category;
  unsigned long items = 0;
  std::string changed;
  bool outlineChanged = false;
  uint64_t sizeBytes = 0;
  std::string file;
};

/// When the file was last written, to the second, UTC.
std::string TimeOf(const fs::path& path) {
  const auto written = std::chrono::file_clock::to_sys(fs::last_write_time(path));
  return UtcTime(std::chrono::floor<std::chrono::seconds>(written));
}

void TellOutline(const InputPlace& place, Entry& entry) {
  Document document(place.GetName());
  document.OpenToRead(place.GetPath());
  document.ReadHeaders();
  entry.title = document.GetTitle();
  document.InHeader(kx_gen::format::kSharedHeaderId, [&] {
    kx_gen::_String category;
    document.Shared().GetCategoryName(category);
    entry.category = FromWide(category);
    entry.outlineChanged = document.Shared().GetOutlineChanged();
  });
  entry.items = document.GetRowCount();
}

/// Its rows are not read.
void TellMemoryOutline(const InputPlace& place, Entry& entry) {
  kx_gen::CMemOutlDB db;
  OpenToRead(db, place.GetName(), place.GetPath());
  entry.items = db.GetRowCount();
}

void TellCategories(const InputPlace& place, Entry& entry) {
  CategoryDocument categories(place.GetName());
  categories.OpenAndRead(place.GetPath(), false);
  entry.items = categories.GetCategoryCount();
}

Entry EntryOf(const InputPlace& place) {
  Entry entry;
  entry.kind = place.LookForKind();
  if (entry.kind == Kind::kOutline) {
    TellOutline(place, entry);
  } else if (entry.kind == Kind::kMemory) {
    TellMemoryOutline(place, entry);
  } else {
    TellCategories(place, entry);
  }
  entry.changed = TimeOf(place.GetPath());
  entry.sizeBytes = fs::file_size(place.GetPath());
  entry.file = place.GetName();
  return entry;
}

Json JsonOf(const Entry& entry) {
  Json json = Json::object();
  const bool isOutline = entry.kind == Kind::kOutline;
  json["file"] = entry.file;
  json["kind"] = KeyOf(entry.kind);
  json["title"] = isOutline ? Json(entry.title) : Json();
  json["category"] = isOutline ? Json(entry.category) : Json();
  json["items"] = entry.items;
  json["changed"] = entry.changed;
  json["outlineChanged"] = entry.outlineChanged;
  json["size"] = entry.sizeBytes;
  return json;
}

constexpr size_t kColumnCount = 6;
using Row = std::array<std::string, kColumnCount>;
constexpr std::array<bool, kColumnCount> kIsNumber = {false, false, true, false, true, false};

Row CellsOf(const Entry& entry) {
  const bool isOutline = entry.kind == Kind::kOutline;
  const std::string title = isOutline ? entry.title : "(" + salvage::NameOf(entry.kind) + ")";
  return {Escaped(title), Escaped(entry.category),         std::to_string(entry.items),
          entry.changed,  std::to_string(entry.sizeBytes), Escaped(entry.file)};
}

/// For people: columns, whatever takes how much room on the screen.
std::string Aligned(std::vector<Row> rows) {
  rows.insert(rows.begin(), {"TITLE", "CATEGORY", "ITEMS", "CHANGED", "SIZE", "FILE"});
  std::array<size_t, kColumnCount> widths{};
  for (const Row& row : rows) {
    for (size_t i = 0; i < kColumnCount; ++i) widths[i] = std::max(widths[i], WidthOf(row[i]));
  }
  std::string text;
  for (const Row& row : rows) {
    for (size_t i = 0; i + 1 < kColumnCount; ++i) {
      text += (kIsNumber[i] ? PaddedBefore(widths[i], row[i]) : PaddedTo(widths[i], row[i])) + "  ";
    }
    text += row.back() + "\n";
  }
  return text;
}

/// For programs: a tab between two cells, which hold none.
std::string Separated(const std::vector<Row>& rows) {
  std::string text;
  for (const Row& row : rows) text += fmt::format("{}\n", fmt::join(row, "\t"));
  return text;
}

void Print(const std::vector<Entry>& entries) {
  std::vector<Row> rows;
  std::transform(entries.begin(), entries.end(), std::back_inserter(rows), CellsOf);
  if (!WritesToTerminal()) {
    WriteData(Separated(rows));
  } else if (!rows.empty()) {
    WriteData(Aligned(rows));
  }
}

void PrintJson(const std::vector<Entry>& entries, const ManyFiles& files) {
  Json documents = Json::array();
  for (const Entry& entry : entries) documents.push_back(JsonOf(entry));
  Json json = Json::object();
  json["documents"] = std::move(documents);
  json["failures"] = files.JsonOfFailures();
  WriteData(DumpLines(json));
}

void RunList(const Session& session, const ListOptions& options) {
  ManyFiles files(session, options.paths);
  std::vector<Entry> entries;
  files.ForEach(
      [&](const std::string& name) { entries.push_back(EntryOf(InputPlace(session, name))); });
  if (options.json) {
    PrintJson(entries, files);
  } else {
    Print(entries);
  }
  files.End();
}

}  // namespace

void AddList(CLI::App& app, ChosenCommand& chosen) {
  auto options = std::make_shared<ListOptions>();
  CLI::App* command = app.add_subcommand("list");
  command->group("Commands");
  command->description(
      "Tells title, category, items, last change and size of documents, a line for each.\n\n"
      "Examples:\n"
      "  kxo list .                          every document below this folder\n"
      "  kxo list plan.kxo ~/outlines\n"
      "  kxo list . | sort -t '\\t' -k 3 -n   by their items\n"
      "  kxo list . --json | jq -r '.documents[] | select(.outlineChanged).file'\n\n"
      "Folders are searched for .kxo files, with the folders in them. On a terminal the columns\n"
      "have headings and are aligned; elsewhere tabs separate them. The time is that of the\n"
      "file, in UTC; JSON tells besides whether the outline waits to be synchronised. Memory\n"
      "outlines and category files say what they are where others have a title. Of outlines\n"
      "only the headers are read: kxo check tells whether the rows are sound. What cannot be\n"
      "read is named at the end.\n");
  command->add_option("PATH", options->paths, "Documents and folders; - is standard input")
      ->required();
  command->add_flag("--json", options->json, "Print the list as JSON");
  AddCodePageOption(*command);
  command->callback([options, &chosen] {
    chosen = [options](const Session& session) { RunList(session, *options); };
  });
}

}  // namespace kxo
