// The tool's commands on the files of a folder, which carry on past one that fails.
#include "ToolCommand.h"
#include "ToolFiles.h"

namespace kx_failing {
namespace {

constexpr int kItemsEach = 4;

/// Documents of two categories, one of them in a folder below.
Files documents() {
  return {{"in/a.kxo", documentOf(kItemsEach, "Home")},
          {"in/b.kxo", documentOf(kItemsEach, "Work")},
          {"in/below/c.kxo", documentOf(kItemsEach, "Home")},
          {"in/d.kxo", documentOf(1, "Home")}};
}

using Command = void (*)(CLI::App&, kxo::ChosenCommand&);

ToolTask ofMany(Command command, const std::vector<std::string>& words, Files files) {
  ToolTask task;
  task.add = command;
  task.words = words;
  task.files = std::move(files);
  task.isOfMany = true;
  return task;
}

ToolTask convert(const std::string& format) {
  return ofMany(kxo::AddConvert, {"convert", "in", "--to", format, "--out-dir", "out"},
                documents());
}

ToolTask convertPastADamagedOne() {
  ToolTask task = convert("markdown");
  task.files["in/b.kxo"] = {1, 2, 3};
  task.exitCode = 5;
  return task;
}

ToolTask search(const std::vector<std::string>& options, int exitCode) {
  std::vector<std::string> words = {"search"};
  words.insert(words.end(), options.begin(), options.end());
  words.emplace_back("in");
  ToolTask task = ofMany(kxo::AddSearch, words, documents());
  task.othersTalk = true;
  task.exitCode = exitCode;
  return task;
}

/// The category file is changed first, and a document only behind it.
ToolTask category(const std::vector<std::string>& words) {
  Files files = documents();
  files["categories.kxc"] = categoryFile();
  ToolTask task = ofMany(kxo::AddCategory, words, std::move(files));
  task.writtenFirst = "categories.kxc";
  return task;
}

void addReading(std::vector<Listed>& list) {
  addApart(list, "list a folder", 30, 100, [] {
    return ofMany(kxo::AddList, {"list", "in"}, documents());
  });
  addApart(list, "list a folder as JSON", 30, 100, [] {
    return ofMany(kxo::AddList, {"list", "in", "--json"}, documents());
  });
  addApart(list, "check several documents", 10, 50, [] {
    return ofMany(kxo::AddCheck, {"check", "in/a.kxo", "in/b.kxo", "--json"}, documents());
  });
}

/// Patterns that memory runs out for are not freed by those who make them.
void addSearches(std::vector<Listed>& list) {
  const size_t first = list.size();
  addApart(list, "search a folder", 30, 100, [] {
    return search({"--ignore-case", "NUMBER 2"}, 0);
  });
  addApart(list, "search a folder by a pattern", 30, 100, [] {
    return search({"--json", "--regex", "n[oa]te|2"}, 0);
  });
  addApart(list, "find nothing in a folder", 30, 100, [] { return search({"owl"}, 1); });
  for (size_t i = first; i < list.size(); ++i) list[i].mayLeak = true;
}

void addCategories(std::vector<Listed>& list) {
  addApart(list, "add a category", 30, 100, [] {
    return category({"category", "add", "categories.kxc", "Shed"});
  });
  addApart(list, "rename a category with its documents", 100, 300, [] {
    return category({"category", "rename", "categories.kxc", "Home", "House", "--outlines", "in"});
  });
  addApart(list, "remove a category with its documents", 100, 300, [] {
    return category({"category", "remove", "categories.kxc", "Home", "--outlines", "in"});
  });
  addApart(list, "undelete a category", 30, 100, [] {
    return category({"category", "undelete", "categories.kxc", "Garden"});
  });
}

}  // namespace

void addToolFolders(std::vector<Listed>& list) {
  addApart(list, "convert a folder to html", 30, 300, [] { return convert("html"); });
  addApart(list, "convert a folder to JSON", 30, 300, [] { return convert("json"); });
  addApart(list, "convert a folder with a damaged document", 30, 200, convertPastADamagedOne);
  addReading(list);
  addSearches(list);
  addCategories(list);
}

}  // namespace kx_failing
