#include <CLI/App.hpp>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "Document.h"
#include "Failure.h"
#include "InputFile.h"
#include "KxFormat.h"
#include "KxLittleEndian.h"
#include "Output.h"
#include "PipedDocument.h"
#include "System.h"
#include "Text.h"
#include "commands/CodePageOption.h"
#include "commands/Commands.h"
#include "commands/FormatOption.h"
#include "formats/Format.h"

namespace kxo {
namespace {

namespace fs = std::filesystem;

struct ImportOptions {
  std::string in;
  std::string format;
  std::string out;
  bool force = false;
};

bool NameTellsFormat(const ImportOptions& options) {
  const Format* const format = FormatOfFile(PathOf(options.in));
  return format != nullptr && format->canRead();
}

/// Files whose name tells nothing are read as OPML.
const Format& ChosenFormat(const ImportOptions& options) {
  if (!options.format.empty()) return *FormatNamed(options.format);
  if (options.in == kStandardStream) {
    throw Failure(kExitSystem, "standard input tells no format; name one with --from");
  }
  return NameTellsFormat(options) ? *FormatOfFile(PathOf(options.in)) : *FormatNamed("opml");
}

std::string OutNameOf(const ImportOptions& options) {
  if (!options.out.empty()) return options.out;
  if (options.in == kStandardStream) {
    throw Failure(kExitSystem, "a name is missing for the document; give one with -o");
  }
  return NameOf(PathOf(options.in).replace_extension(".kxo"));
}

bool IsSameFile(const fs::path& one, const fs::path& other) {
  std::error_code error;
  return fs::equivalent(one, other, error);
}

/// The document to be.
class Target {
 public:
  /// `in` is the file that is imported.
  Target(const Session& session, const std::string& name, const fs::path& in, bool force);

  const std::string& GetName() const { return name_; }
  void Save(Document& document) const;
  void Save(const Contents& contents) const;

 private:
  void CheckPlace(const fs::path& in) const;
  void CheckReplaceable() const;

  std::string name_;
  bool force_;
  std::optional<PipedDocument> piped_;  // for standard output
  fs::path path_;
};

Target::Target(const Session& session, const std::string& name, const fs::path& in, bool force)
    : name_(name), force_(force) {
  if (name == kStandardStream) {
    name_ = PipedDocument::GetName();
    path_ = piped_.emplace().GetPath();
  } else {
    path_ = session.PlaceForFile(name);
    CheckPlace(in);
  }
}

/// What would be refused in the end is refused before the work.
void Target::CheckPlace(const fs::path& in) const {
  if (IsSameFile(path_, in)) {
    throw FileFailure(kExitSystem, name_, "this is the file to import", "choose another with -o");
  }
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

void Target::Save(Document& document) const {
  document.Save(path_, force_);
  if (piped_) piped_->Send();
}

void Target::Save(const Contents& contents) const {
  SaveContents(name_, contents, path_, force_);
  if (piped_) piped_->Send();
}

/// Formats other than our own need not tell a title; a document gets the library's then.
std::string DefaultTitle() {
  Document document("");
  document.InitNewDatabase();
  return document.GetTitle();
}

/// As much of the title as its header holds is taken.
void FillDocument(Document& document, const Outline& outline) {
  document.TakeWhole(outline);
  if (!document.TitleFits()) document.TakeTitle(outline.title);
}

/// The document holds what was to be written: only then is it worth the target's place.
void CheckHeld(Document& document, Outline outline) {
  outline.title = document.GetTitle();
  if (document.GetWhole() == outline) return;
  throw FileFailure(kExitDamaged, document.GetName(), "a document cannot hold this as it is");
}

void TellOfTitle(const std::string& in, const std::string& whole, const std::string& kept) {
  if (whole.empty() || whole == kept) return;
  Say(in + ": the title is longer than a .kxo document holds: cut to \"" + kept + "\" from \"" +
      whole + "\"");
}

/// The place of a file that is read; empty for standard input.
fs::path PlaceOfInput(const Session& session, const std::string& name) {
  return name == kStandardStream ? fs::path() : session.ExistingFile(name);
}

/// Only of that folder: a file may come from anywhere, and name anything.
std::string PictureIn(const fs::path& folder, const std::string& picture) {
  const fs::path name = PathOf(picture);
  std::error_code error;
  const bool isPlain = name.has_filename() && name == name.filename() &&
                       picture.find_first_of("\\:") == std::string::npos;
  if (!isPlain || !fs::is_regular_file(folder / name, error)) return "";
  std::ifstream in(folder / name, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

ImportSource SourceOf(const Session& session, const ImportOptions& options, const fs::path& place) {
  const std::vector<unsigned char> bytes = ReadInput(session, options.in);
  ImportSource source;
  source.name = InputName(options.in);
  source.bytes.assign(bytes.begin(), bytes.end());
  if (!place.empty()) {
    source.picture = [folder = place.parent_path()](const std::string& picture) {
      return PictureIn(folder, picture);
    };
  }
  return source;
}

/// From a format for outlines. How many items there are.
size_t ImportOutline(const Format& format, const ImportSource& source, const Target& target) {
  ImportNotes notes;
  Outline outline = format.read(source, notes);
  if (outline.title.empty() && !notes.HasEmptyTitle()) outline.title = DefaultTitle();
  for (const std::string& line : notes.Lines()) Say(source.name + ": " + line);

  Document document(target.GetName());
  FillDocument(document, outline);
  TellOfTitle(source.name, outline.title, document.GetTitle());
  CheckHeld(document, outline);
  target.Save(document);
  return outline.GetNodes().size();
}

size_t ImportAll(const Format& format, const ImportSource& source, const Target& target) {
  const Contents contents = format.readAll(source.name, source.bytes);
  target.Save(contents);
  return contents.CountItems();
}

/// A document needs no import.
void CheckIsOther(const ImportSource& source) {
  constexpr size_t kSize = sizeof(uint32_t);
  if (source.bytes.size() < kSize) return;
  const auto* bytes = reinterpret_cast<const unsigned char*>(source.bytes.data());
  if (kx_gen::getLe32(bytes) != kx_gen::format::kCheckCode) return;
  throw FileFailure(kExitSystem, source.name, "this is a .kxo file already",
                    "kxo check tells what is in it");
}

void ImportFile(const Session& session, const ImportOptions& options) {
  const Format& format = ChosenFormat(options);
  const fs::path in = PlaceOfInput(session, options.in);
  const Target target(session, OutNameOf(options), in, options.force);
  const ImportSource source = SourceOf(session, options, in);
  CheckIsOther(source);
  const size_t count = format.readAll != nullptr ? ImportAll(format, source, target)
                                                 : ImportOutline(format, source, target);
  Say(target.GetName() + ": written, " + Counted(count, "item"));
}

/// A format that was only guessed may be the wrong one.
void RunImport(const Session& session, const ImportOptions& options) {
  try {
    ImportFile(session, options);
  } catch (const Failure& failure) {
    const bool isGuessed = options.format.empty() && !NameTellsFormat(options);
    if (!isGuessed || failure.GetExitCode() != kExitDamaged) throw;
    throw Failure(kExitDamaged,
                  std::string(failure.what()) + "; if it is not OPML, name its format with --from");
  }
}

}  // namespace

void AddImport(CLI::App& app, ChosenCommand& chosen) {
  auto options = std::make_shared<ImportOptions>();
  CLI::App* command = app.add_subcommand("import");
  command->group("Commands");
  command->description(
      "Makes a .kxo document of a file in another format.\n\n"
      "Examples:\n"
      "  kxo import notes.opml                 makes notes.kxo beside it\n"
      "  kxo import notes.md -o plan.kxo --force\n"
      "  curl -s https://example.org/list.txt | kxo import - --from text -o list.kxo\n\n"
      "Carried are the title, the items with their notes and check marks, and all else that\n"
      "`kxo export` writes into the format. What a document has no place for is told and\n"
      "counted. A file whose name tells no format is read as OPML. One that names no encoding\n"
      "and is not UTF-8 is read in the code page, else as Windows-1252.\n");
  command->add_option("IN", options->in, "The file; - is standard input")->required();
  AddFromOption(*command, options->format);
  command
      ->add_option("-o,--output", options->out,
                   "The document to make; else IN as .kxo; - is standard output")
      ->type_name("OUT");
  command->add_flag("--force", options->force, "Replace the document if it exists");
  AddCodePageOption(*command);
  command->callback([options, &chosen] {
    chosen = [options](const Session& session) { RunImport(session, *options); };
  });
}

}  // namespace kxo
