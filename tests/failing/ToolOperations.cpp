// The tool's commands on one document: made, changed, exported and imported.
#include "KxLayout.h"
#include "Pictures.h"
#include "ToolCommand.h"
#include "ToolFiles.h"
#include "pictures/Png.h"

namespace kx_failing {
namespace {

using kx_test::Bytes;
using kx_test::bytesOf;

constexpr int kItemsWritten = 30;

/// With the files that there are in its folder, beside one in the folder `out`.
ToolTask taskOf(void (*command)(CLI::App&, kxo::ChosenCommand&),
                const std::vector<std::string>& words, const Files& files) {
  ToolTask task;
  task.add = command;
  task.words = words;
  task.files = files;
  task.files["out/other"] = {};
  return task;
}

// --- Import ---

Bytes opmlText() {
  std::string text =
      R"(<opml version="2.0"><head><title>A title for the document</title></head><body>)";
  for (int i = 0; i < kItemsWritten; ++i) {
    text += R"(<outline text="Item number )" + std::to_string(i) + R"( of these" _note="A note">)";
    if (i % 3 != 0) text += "</outline>";
  }
  for (int i = 0; i < kItemsWritten; i += 3) text += "</outline>";
  return bytesOf(text + "</body></opml>");
}

Bytes markdownText() {
  std::string text = "# A title for the document\n\n";
  for (int i = 0; i < kItemsWritten; ++i) {
    text += "- [x] Item number " + std::to_string(i) + "\n\n  A note of it\n\n  - below\n";
  }
  return bytesOf(text);
}

Bytes plainText() {
  std::string text;
  for (int i = 0; i < kItemsWritten; ++i)
    text += "Item number " + std::to_string(i) + "\n\tbelow\n";
  return bytesOf(text);
}

ToolTask import(const std::string& in, const Bytes& bytes) {
  return taskOf(kxo::AddImport, {"import", in, "-o", "out/in.kxo"}, {{in, bytes}});
}

ToolTask importOver() {
  ToolTask task = import("in.opml", opmlText());
  task.words.emplace_back("--force");
  task.files["out/in.kxo"] = {1, 2, 3};
  return task;
}

/// JSON of one of the files that are compared byte for byte.
ToolTask importJson(const std::string& golden) {
  return import("in.json", jsonOf(kx_test::golden(golden)));
}

void addImports(std::vector<Listed>& list) {
  add(list, "import a new document", 30, 300, [] { return import("in.opml", opmlText()); });
  add(list, "import over an old document", 40, 300, importOver);
  add(list, "import Markdown", 30, 300, [] { return import("in.md", markdownText()); });
  add(list, "import text", 30, 300, [] { return import("in.txt", plainText()); });
  addApart(list, "import JSON of an outline", 30, 300,
           [] { return importJson("outline-all-fields"); });
  addApart(list, "import JSON of an outline with unknown parts", 30, 300,
           [] { return importJson("outline-unknown"); });
  addApart(list, "import JSON of a memory outline", 30, 100,
           [] { return importJson("memory-outline-all-fields"); });
  addApart(list, "import JSON of a category file", 30, 100,
           [] { return importJson("category-v1"); });
}

// --- Export ---

ToolTask exportTo(const std::string& format, const Bytes& document) {
  return taskOf(kxo::AddExport, {"export", "in.kxo", "--to", format, "-o", "out/in." + format},
                {{"in.kxo", document}});
}

/// Pictures are written beside the file, and ahead of it.
ToolTask exportDrawings() {
  ToolTask task = exportTo("opml", kx_test::golden("outline-all-fields"));
  task.mayEndHalfway = true;
  return task;
}

/// What is exported goes to standard output.
ToolTask print(const std::string& format, const Bytes& document) {
  return taskOf(kxo::AddExport, {"export", "in.kxo", "--to", format}, {{"in.kxo", document}});
}

void addExports(std::vector<Listed>& list) {
  for (const char* format : {"html", "markdown", "opml", "text"}) {
    add(list, std::string("export ") + format, 10, 100,
        [format] { return exportTo(format, documentOf(kItemsWritten)); });
  }
  add(list, "export opml with drawings", 10, 50, exportDrawings);
  add(list, "print html with drawings", 10, 50,
      [] { return print("html", kx_test::golden("outline-all-fields")); });
  addApart(list, "export JSON of an outline", 10, 100,
           [] { return exportTo("json", documentOf(5)); });
  addApart(list, "export JSON of an outline with drawings", 10, 50,
           [] { return exportTo("json", kx_test::golden("outline-all-fields")); });
  addApart(list, "export JSON of an outline with unknown parts", 10, 50,
           [] { return exportTo("json", kx_test::golden("outline-unknown")); });
  addApart(list, "export JSON of a memory outline", 10, 50,
           [] { return exportTo("json", kx_test::golden("memory-outline-all-fields")); });
  addApart(list, "export JSON of a category file", 10, 50,
           [] { return exportTo("json", kx_test::golden("category-v1")); });
  addApart(list, "print JSON of a category file", 10, 50,
           [] { return print("json", kx_test::golden("category-v1")); });
}

// --- Edits ---

Bytes pngBytes() {
  const kx_test::Handle dib = kx_test::handleOf(kx_test::picture(40, 30, 8));
  return bytesOf(kxo::EncodePng(dib.get()));
}

/// A command on out/plan.kxo; `arguments` are what follows that.
ToolTask edit(void (*command)(CLI::App&, kxo::ChosenCommand&), std::vector<std::string> words,
              const std::vector<std::string>& arguments) {
  words.emplace_back("out/plan.kxo");
  words.insert(words.end(), arguments.begin(), arguments.end());
  return taskOf(command, words,
                {{"in.png", pngBytes()}, {"out/plan.kxo", documentOf(kItemsWritten)}});
}

ToolTask create(const std::string& name, const std::vector<std::string>& options) {
  std::vector<std::string> words = {"new", "out/" + name};
  words.insert(words.end(), options.begin(), options.end());
  return taskOf(kxo::AddNew, words, {});
}

void addEdits(std::vector<Listed>& list) {
  addApart(list, "make a new outline", 30, 50, [] {
    return create("new.kxo", {"--title", "A title for it", "--category", "Work"});
  });
  addApart(list, "make a new category file", 30, 30, [] {
    return create("new.kxc", {"--kind", "category"});
  });
  addApart(list, "add an item", 40, 300, [] {
    return edit(kxo::AddAdd, {"add"}, {"A new item", "--under", "2"});
  });
  addApart(list, "change an item", 40, 300, [] {
    return edit(kxo::AddSet, {"set"}, {"2", "--note", "Another note", "--check"});
  });
  addApart(list, "change headers", 40, 300, [] {
    return edit(kxo::AddSetHeader, {"set-header"}, {"--title", "Another title", "--private"});
  });
  addApart(list, "move items", 40, 300, [] {
    return edit(kxo::AddMove, {"move"}, {"2", "--under", "5"});
  });
  addApart(list, "remove items", 40, 300, [] { return edit(kxo::AddRemove, {"remove"}, {"1"}); });
  addApart(list, "tell what removing items would do", 10, 300, [] {
    return edit(kxo::AddRemove, {"remove"}, {"1", "--dry-run"});
  });
}

// --- Drawings ---

/// A command on the document with drawings, one of which is in its third item.
ToolTask draw(const std::vector<std::string>& words) {
  return taskOf(kxo::AddDrawing, words, {{"out/plan.kxo", kx_test::golden("outline-all-fields")}});
}

void addDrawings(std::vector<Listed>& list) {
  addApart(list, "read a PNG picture as a drawing", 40, 300, [] {
    return edit(kxo::AddDrawing, {"drawing", "set"}, {"2", "in.png", "--max", "20x20"});
  });
  for (const char* format : {"png", "bmp"}) {
    addApart(list, std::string("write a drawing as ") + format, 10, 30, [format] {
      const std::string out = std::string("out/picture.") + format;
      return draw({"drawing", "get", "out/plan.kxo", "3", "-o", out});
    });
  }
  addApart(list, "remove a drawing", 30, 50, [] {
    return draw({"drawing", "remove", "out/plan.kxo", "3"});
  });
}

}  // namespace

void addToolOperations(std::vector<Listed>& list) {
  addImports(list);
  addExports(list);
  addEdits(list);
  addDrawings(list);
  addToolReading(list);
  addToolFolders(list);
}

}  // namespace kx_failing
