#include <CLI/App.hpp>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <system_error>

#include "Document.h"
#include "Failure.h"
#include "Output.h"
#include "System.h"
#include "Text.h"
#include "commands/Commands.h"
#include "formats/Opml.h"

namespace kxo {
namespace {

namespace fs = std::filesystem;

struct ImportOptions {
  std::string in;
  std::string out;
  bool force = false;
};

std::string ReadWhole(const std::string& name, const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (!in.is_open() || in.bad()) {
    throw FileFailure(kExitSystem, name, "cannot be read", "check its permissions");
  }
  return bytes;
}

/// The file to be.
class Target {
 public:
  Target(std::string name, const fs::path& path, bool force);

  const std::string& GetName() const { return name_; }
  void Save(Document& document) const { document.Save(path_, force_); }

 private:
  void CheckReplaceable() const;

  std::string name_;
  fs::path path_;
  bool force_;
};

/// What would be refused in the end is refused before the work.
Target::Target(std::string name, const fs::path& path, bool force)
    : name_(std::move(name)), path_(path), force_(force) {
  std::error_code error;
  if (!fs::exists(fs::symlink_status(path_, error))) return;
  if (!force_) FailForExisting(name_);
  if (fs::exists(path_, error)) CheckReplaceable();
}

/// Nobody may have the file open: what they save would be lost with the file.
void Target::CheckReplaceable() const {
  std::error_code error;
  if (!fs::is_regular_file(path_, error)) {
    throw FileFailure(kExitSystem, name_, "this is not a regular file", "choose another with -o");
  }
  const sys::LibraryName libraryName(path_);
  WhileWriting(name_, [&] {
    kx_gen::CFile file;
    file.Open(libraryName.get(), kx_gen::CFile::modeReadWrite | kx_gen::CFile::shareExclusive);
  });
}

void FillDocument(Document& document, const Outline& outline) {
  document.InitNewDatabase();
  // A document always has a title; one without a name gets the library's own.
  if (!outline.title.empty()) document.TakeTitle(outline.title);
  document.TakeItems(outline);
}

/// The document holds what was to be written: only then is it worth the target's place.
void CheckHeld(Document& document, Outline outline) {
  outline.title = document.GetTitle();
  if (document.GetOutline() == outline) return;
  throw FileFailure(kExitDamaged, document.GetName(), "a document cannot hold this as it is");
}

void TellOfTitle(const std::string& in, const std::string& whole, const std::string& kept) {
  if (whole.empty() || whole == kept) return;
  Say(in + ": the title is longer than a .kxo document holds: cut to \"" + kept + "\" from \"" +
      whole + "\"");
}

void RunImport(const Session& session, const ImportOptions& options) {
  const fs::path in = session.ExistingFile(options.in);
  const std::string outName =
      options.out.empty() ? NameOf(PathOf(options.in).replace_extension(".kxo")) : options.out;
  const fs::path out = session.PlaceForFile(outName);
  if (out == in) FailForExisting(outName);
  const Target target(outName, out, options.force);

  ImportNotes notes;
  const Outline outline = ReadOpml(options.in, ReadWhole(options.in, in), notes);
  for (const std::string& line : notes.Lines()) Say(options.in + ": " + line);

  Document document(target.GetName());
  FillDocument(document, outline);
  TellOfTitle(options.in, outline.title, document.GetTitle());
  CheckHeld(document, outline);
  target.Save(document);
  Say(outName + ": written, " + Counted(outline.GetNodes().size(), "item"));
}

}  // namespace

void AddImport(CLI::App& app, ChosenCommand& chosen) {
  auto options = std::make_shared<ImportOptions>();
  CLI::App* command = app.add_subcommand("import");
  command->group("Commands");
  command->description(
      "Makes a .kxo document of an OPML file.\n\n"
      "Examples:\n"
      "  kxo import notes.opml                 makes notes.kxo beside it\n"
      "  kxo import notes.opml -o plan.kxo --force\n\n"
      "Carried are the title, the headlines with their notes and check marks, and which\n"
      "of them are unfolded. What a document has no place for is told and counted.\n");
  command->add_option("IN", options->in, "The OPML file")->required();
  command->add_option("-o,--output", options->out, "The document to make; else IN as .kxo")
      ->type_name("OUT");
  command->add_flag("--force", options->force, "Replace the document if it exists");
  command->callback([options, &chosen] {
    chosen = [options](const Session& session) { RunImport(session, *options); };
  });
}

}  // namespace kxo
