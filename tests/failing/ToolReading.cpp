// The tool's commands that look at documents, and the one that makes a document of a damaged one.
#include <algorithm>

#include "KxLayout.h"
#include "ToolCommand.h"
#include "ToolFiles.h"

namespace kx_failing {
namespace {

using kx_test::Bytes;

constexpr int kItemsRead = 12;

using Command = void (*)(CLI::App&, kxo::ChosenCommand&);

ToolTask look(Command command, const std::vector<std::string>& words, const Bytes& file) {
  ToolTask task;
  task.add = command;
  task.words = words;
  task.files = {{"in.kxo", file}};
  return task;
}

/// Zeros stand in the midst of the rows, and the end is missing.
Bytes damaged() {
  Bytes bytes = documentOf(kItemsRead);
  std::fill_n(bytes.end() - 1000, 100, static_cast<unsigned char>(0));
  bytes.resize(bytes.size() - 30);
  return bytes;
}

ToolTask checkDamaged(const std::vector<std::string>& options) {
  std::vector<std::string> words = {"check", "in.kxo"};
  words.insert(words.end(), options.begin(), options.end());
  ToolTask task = look(kxo::AddCheck, words, damaged());
  task.exitCode = 1;
  task.isOfMany = true;  // as JSON what cannot be read stands among what is found
  return task;
}

/// Each loss is a line of its own, ahead of the one that says what failed.
ToolTask recover(const std::vector<std::string>& options, const Bytes& file) {
  std::vector<std::string> words = {"recover", "in.kxo", "-o", "out/saved.kxo", "--json"};
  words.insert(words.end(), options.begin(), options.end());
  ToolTask task = look(kxo::AddRecover, words, file);
  task.files["out/other"] = {};
  // What was written is read again.
  task.mayEndHalfway = true;
  return task;
}

ToolTask recoverOver() {
  ToolTask task = recover({"--force"}, damaged());
  task.files["out/saved.kxo"] = documentOf(1);
  return task;
}

void addLooks(std::vector<Listed>& list) {
  add(list, "show a document", 10, 50, [] {
    return look(kxo::AddShow, {"show", "in.kxo", "--notes"}, documentOf(kItemsRead));
  });
  addApart(list, "show a document as JSON", 10, 50, [] {
    return look(kxo::AddShow, {"show", "in.kxo", "--json"}, kx_test::golden("outline-all-fields"));
  });
  addApart(list, "tell the fields of a document", 10, 50, [] {
    return look(kxo::AddInfo, {"info", "in.kxo"}, kx_test::golden("outline-all-fields"));
  });
  addApart(list, "tell the fields of a document as JSON", 10, 50, [] {
    return look(kxo::AddInfo, {"info", "in.kxo", "--json"}, kx_test::golden("outline-unknown"));
  });
  addApart(list, "list categories", 10, 30, [] {
    return look(kxo::AddCategory, {"category", "list", "in.kxo"}, categoryFile());
  });
  addApart(list, "list categories as JSON", 10, 30, [] {
    return look(kxo::AddCategory, {"category", "list", "in.kxo", "--json"}, categoryFile());
  });
}

void addSalvage(std::vector<Listed>& list) {
  add(list, "check a sound document", 5, 20, [] {
    return look(kxo::AddCheck, {"check", "in.kxo"}, documentOf(kItemsRead));
  });
  add(list, "check a sound memory outline", 5, 20, [] {
    return look(kxo::AddCheck, {"check", "in.kxo"}, kx_test::golden("memory-outline"));
  });
  add(list, "check a damaged document", 5, 20, [] { return checkDamaged({}); });
  addApart(list, "check a damaged document as JSON", 5, 20,
           [] { return checkDamaged({"--json"}); });
  addApart(list, "recover a damaged document", 20, 100, [] { return recover({}, damaged()); });
  addApart(list, "recover a damaged document over another", 20, 100, recoverOver);
  addApart(list, "recover a category file", 20, 50, [] { return recover({}, categoryFile()); });
}

}  // namespace

void addToolReading(std::vector<Listed>& list) {
  addLooks(list);
  addSalvage(list);
}

}  // namespace kx_failing
