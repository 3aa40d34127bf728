#include <CLI/App.hpp>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
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

[[noreturn]] void FailForExisting(const std::string& name) {
  throw FileFailure(kExitSystem, name, "this file exists",
                    "choose another with -o, or replace it with --force");
}

/// The file to be, and a file beside it that takes its name once it is complete. Unless that
/// happens, the latter goes away again.
class Target {
 public:
  Target(std::string name, const fs::path& path, bool force);
  Target(const Target&) = delete;
  Target& operator=(const Target&) = delete;
  ~Target();

  const std::string& GetName() const { return name_; }
  const fs::path& GetPath() const { return path_; }
  const fs::path& GetTemporary() const { return temporary_; }
  void PutInPlace();

 private:
  bool Exists() const;
  void CheckReplaceable() const;

  std::string name_;
  fs::path path_;
  fs::path temporary_;
  bool force_;
};

fs::path TemporaryBeside(const fs::path& path) {
  constexpr const char* kDigits = "0123456789abcdef";
  std::random_device random;
  std::string name = ".kxo-";
  for (int i = 0; i < 16; ++i) name += kDigits[random() & 0xF];
  return path.parent_path() / (name + ".tmp");
}

Target::Target(std::string name, const fs::path& path, bool force)
    : name_(std::move(name)), path_(path), force_(force) {
  if (Exists() && !force_) FailForExisting(name_);
  std::error_code error;
  // Through a link the file that it leads to is replaced, not the link.
  if (fs::path real = fs::canonical(path_, error); !error) path_ = std::move(real);
  if (Exists()) CheckReplaceable();
  temporary_ = TemporaryBeside(path_);
}

bool Target::Exists() const {
  std::error_code error;
  return fs::exists(fs::symlink_status(path_, error));
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
    file.Open(libraryName.get(), kx_gen::CFile::modeRead | kx_gen::CFile::shareExclusive);
  });
}

Target::~Target() {
  std::error_code ignored;
  if (!temporary_.empty()) fs::remove(temporary_, ignored);
}

void Target::PutInPlace() {
  try {
    if (Exists()) fs::permissions(temporary_, fs::status(path_).permissions());
    sys::FlushToDisk(temporary_);
    sys::PutInPlace(temporary_, path_, force_);
  } catch (const fs::filesystem_error& e) {
    if (e.code() == std::errc::file_exists) FailForExisting(name_);
    throw FileFailure(kExitSystem, name_, "cannot be put in place (" + e.code().message() + ")");
  }
  temporary_.clear();
}

void WriteDocument(const Target& target, const Outline& outline, std::string& keptTitle) {
  Document document(target.GetName());
  document.CreateNew(target.GetTemporary());
  // A document always has a title; one without a name gets the library's own.
  if (!outline.title.empty()) document.TakeTitle(outline.title);
  keptTitle = document.GetTitle();
  document.TakeItems(outline);
  document.WriteAll();
}

/// What the disk gives back is what was to be written: only then is it worth the target's place.
void CheckWritten(const Target& target, const Outline& outline) {
  const std::unique_ptr<Document> document = OpenDocument(target.GetName(), target.GetTemporary());
  if (document->ReadOutline() != outline) {
    throw FileFailure(kExitSystem, target.GetName(), "reads back otherwise than it was written",
                      "check the disk");
  }
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
  Target target(outName, out, options.force);

  ImportNotes notes;
  Outline outline = ReadOpml(options.in, ReadWhole(options.in, in), notes);
  for (const std::string& line : notes.Lines()) Say(options.in + ": " + line);

  std::string keptTitle;
  WriteDocument(target, outline, keptTitle);
  TellOfTitle(options.in, outline.title, keptTitle);
  outline.title = keptTitle;
  CheckWritten(target, outline);
  target.PutInPlace();
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
