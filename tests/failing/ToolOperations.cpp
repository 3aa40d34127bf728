// The tool's commands, run in this program as its main function runs them.
#include <CLI/CLI.hpp>

#include "Document.h"
#include "Environment.h"
#include "Failure.h"
#include "KxLayout.h"
#include "Operation.h"
#include "OutlineDB.h"
#include "Pictures.h"
#include "RunAndTell.h"
#include "commands/Commands.h"
#include "formats/Opml.h"
#include "pictures/Png.h"

namespace kx_failing {
namespace {

namespace fs = std::filesystem;

using kx_test::Bytes;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

constexpr int kItems = 30;

std::string opmlText() {
  std::string text =
      R"(<opml version="2.0"><head><title>A title for the document</title></head><body>)";
  for (int i = 0; i < kItems; ++i) {
    text += R"(<outline text="Item number )" + std::to_string(i) + R"( of these" _note="A note">)";
    if (i % 3 != 0) text += "</outline>";
  }
  for (int i = 0; i < kItems; i += 3) text += "</outline>";
  return text + "</body></opml>";
}

struct Input {
  std::string name;
  Bytes bytes;
};

/// A command that makes the file `out` of the file `in`.
class Convert : public Operation {
 public:
  using AddCommand = void (*)(CLI::App&, kxo::ChosenCommand&);

  /// `arguments` in reverse order, as the parser takes them. Empty `old`: there is no such file.
  Convert(AddCommand add, std::vector<std::string> arguments, const Input& in,
          const std::string& out, const Bytes& old)
      : home_(fs::current_path()), in_(in), out_("out/" + out), old_(old) {
    setStateFolder(home_ / "state");
    fs::create_directory("out");
    add(app_, command_);
    app_.parse(std::move(arguments));
    Prepare();
    EXPECT_EQ(Run(), "");
    LeaveSession();
    new_ = bytesAt(out_);
  }

  void Prepare() override {
    putBytes(in_.name, in_.bytes);
    if (old_.empty()) {
      removeFile(out_);
    } else {
      putBytes(out_, old_);
    }
    CaptureStderr();
  }
  std::string Run() override {
    exitCode_ = kxo::RunAndTell([this] {
      const kxo::Session session;
      command_(session);
    });
    return exitCode_ == 0 ? "" : "it failed";
  }

  /// The whole old or the whole new document, and one line that says what is wrong.
  void CheckFiles(const Ending& ending, Cause cause, bool goesOn) override {
    const std::string told = LeaveSession();
    const Bytes bytes = bytesAt(out_);
    // When memory runs out for telling that it is written, it is written.
    const bool mayBeNew = ending.isDone || cause == Cause::kAllocation;
    EXPECT_TRUE((bytes == new_ && mayBeNew) || (bytes == old_ && !ending.isDone));
    const size_t expected = bytes.empty() ? 0 : 1;
    EXPECT_LE(namesIn("out").size(), expected + (goesOn ? 1 : 0));
    if (ending.isDone) return;
    EXPECT_EQ(told.rfind("kxo: ", 0), 0u) << told;
    EXPECT_EQ(told.find('\n'), told.size() - 1) << told;
    // A row that lacks a field for want of memory is refused as one that a document cannot hold.
    const bool isRefused = exitCode_ == kxo::kExitDamaged && cause == Cause::kAllocation;
    // What the system does not let be read is told as damage of the file, at its place.
    const bool isUnreadable = exitCode_ == kxo::kExitDamaged && cause == Cause::kFileCall &&
                              told.find(": damaged at ") != std::string::npos;
    // Where the system does not tell whether others have the file open, they may.
    const bool isLocked = exitCode_ == kxo::kExitLocked && cause == Cause::kFileCall;
    EXPECT_TRUE(exitCode_ == kxo::kExitSystem || isRefused || isUnreadable || isLocked) << told;
    const bool isOfMemory = told.find("memory") != std::string::npos;
    EXPECT_TRUE(!isOfMemory || cause == Cause::kAllocation) << told;
  }
  /// The tool catches everything itself.
  bool IsDocumented(const Ending& ending, Cause /*cause*/, long /*errorNumber*/) const override {
    return ending.isDone || !ending.answer.empty();
  }

 private:
  /// What the command said.
  std::string LeaveSession() {
    fs::current_path(home_);
    return GetCapturedStderr();
  }

  fs::path home_;
  Input in_;
  std::string out_;
  Bytes old_;
  Bytes new_;
  CLI::App app_;
  kxo::ChosenCommand command_;
  int exitCode_ = 0;
};

std::unique_ptr<Operation> import(const std::string& in, const std::string& text,
                                  const std::vector<std::string>& more, const Bytes& old) {
  std::vector<std::string> arguments = more;
  for (const std::string& word :
       {std::string("out/in.kxo"), std::string("-o"), in, std::string("import")}) {
    arguments.push_back(word);
  }
  return std::make_unique<Convert>(kxo::AddImport, std::move(arguments),
                                   Input{in, Bytes(text.begin(), text.end())}, "in.kxo", old);
}

std::string markdownText() {
  std::string text = "# A title for the document\n\n";
  for (int i = 0; i < kItems; ++i) {
    text += "- [x] Item number " + std::to_string(i) + "\n\n  A note of it\n\n  - below\n";
  }
  return text;
}

Bytes documentBytes() {
  kxo::ImportNotes notes;
  kxo::Document document("in.kxo");
  document.TakeWhole(kxo::ReadOpml({"in.opml", opmlText(), nullptr}, notes));
  document.Save(here(L"in.kxo"), true);
  return bytesAt("in.kxo");
}

std::unique_ptr<Operation> exportTo(const std::string& format) {
  const std::string out = "in." + format;
  const std::vector<std::string> arguments = {"out/" + out, "-o",     format,
                                              "--to",       "in.kxo", "export"};
  return std::make_unique<Convert>(kxo::AddExport, arguments, Input{"in.kxo", documentBytes()}, out,
                                   Bytes());
}

Bytes pngBytes() {
  const kx_test::Handle dib = kx_test::handleOf(kx_test::picture(40, 30, 8));
  const std::string png = kxo::EncodePng(dib.get());
  return {png.begin(), png.end()};
}

/// A command on out/plan.kxo; `arguments` are what follows that.
std::unique_ptr<Operation> edit(Convert::AddCommand add, const std::vector<std::string>& command,
                                const std::vector<std::string>& arguments) {
  std::vector<std::string> line(arguments.rbegin(), arguments.rend());
  line.emplace_back("out/plan.kxo");
  line.insert(line.end(), command.rbegin(), command.rend());
  return std::make_unique<Convert>(add, std::move(line), Input{"in.png", pngBytes()}, "plan.kxo",
                                   documentBytes());
}

void addEdits(std::vector<Listed>& list) {
  list.push_back({"let the tool add an item",
                  [] {
                    return edit(kxo::AddAdd, {"add"}, {"A new item", "--under", "2"});
                  },
                  40, 300});
  list.push_back({"let the tool change an item",
                  [] {
                    return edit(kxo::AddSet, {"set"}, {"2", "--note", "Another note", "--check"});
                  },
                  40, 300});
  list.push_back({"let the tool move items",
                  [] {
                    return edit(kxo::AddMove, {"move"}, {"2", "--under", "4"});
                  },
                  40, 300});
  list.push_back({"let the tool remove items",
                  [] { return edit(kxo::AddRemove, {"remove"}, {"1"}); }, 40, 300});
  list.push_back(
      {"let the tool read a PNG picture as a drawing",
       [] {
         return edit(kxo::AddDrawing, {"drawing", "set"}, {"2", "in.png", "--max", "20x20"});
       },
       40, 300});
}

}  // namespace

void addToolOperations(std::vector<Listed>& list) {
  list.push_back({"let the tool import a new document",
                  [] { return import("in.opml", opmlText(), {}, {}); }, 30, 300});
  list.push_back({"let the tool import over an old document",
                  [] {
                    return import("in.opml", opmlText(), {"--force"}, {1, 2, 3});
                  },
                  40, 300});
  list.push_back({"let the tool import Markdown",
                  [] { return import("in.md", markdownText(), {}, {}); }, 30, 300});
  for (const char* format : {"html", "markdown", "opml", "text"}) {
    list.push_back({std::string("let the tool export ") + format,
                    [format] { return exportTo(format); }, 10, 100});
  }
  addEdits(list);
}

}  // namespace kx_failing
