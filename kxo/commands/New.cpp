#include <CLI/App.hpp>
#include <CLI/Validators.hpp>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

#include "CategoryDocument.h"
#include "Document.h"
#include "Editing.h"
#include "Failure.h"
#include "InputFile.h"
#include "PipedDocument.h"
#include "Text.h"
#include "commands/CodePageOption.h"
#include "commands/Commands.h"

namespace kxo {
namespace {

namespace fs = std::filesystem;

constexpr const char* kOutline = "outline";
constexpr const char* kCategory = "category";

struct NewOptions {
  std::string file;
  std::string kind = kOutline;
  std::optional<std::string> title;
  std::optional<std::string> category;
  bool dryRun = false;
};

/// Where the file is made.
class NewPlace {
 public:
  NewPlace(const Session& session, const NewOptions& options);

  const std::string& GetName() const { return name_; }
  template <class File>
  void Save(File& file) const;

 private:
  std::string name_;
  bool dryRun_;
  std::optional<PipedDocument> piped_;  // for standard output
  fs::path path_;
};

NewPlace::NewPlace(const Session& session, const NewOptions& options)
    : name_(options.file), dryRun_(options.dryRun) {
  if (name_ == kStandardStream) {
    name_ = PipedDocument::GetName();
    if (!dryRun_) path_ = piped_.emplace().GetPath();
    return;
  }
  path_ = session.PlaceForFile(name_);
  std::error_code error;
  if (!fs::exists(fs::symlink_status(path_, error))) return;
  throw FileFailure(kExitSystem, name_, "this file exists", "choose another name");
}

template <class File>
void NewPlace::Save(File& file) const {
  if (dryRun_) return;
  file.Save(path_, false);
  if (piped_) piped_->Send();
}

/// What a document is called that nobody gave a title.
std::optional<std::string> TitleOf(const NewOptions& options) {
  if (options.title || options.file == kStandardStream) return options.title;
  return NameOf(PathOf(options.file).stem());
}

/// A title that does not fit is refused, as the user can still choose a shorter one.
void MakeDocument(const NewPlace& place, const NewOptions& options) {
  Document document(place.GetName());
  document.InitNewDatabase();
  const std::optional<std::string> title = TitleOf(options);
  WhileWriting(place.GetName(), [&] {
    if (title) document.SetOutlineTitle(ToWide(*title).c_str());
    if (options.category) document.SetCategoryName(ToWide(*options.category).c_str());
  });
  CheckHeadersFit(document);
  place.Save(document);
}

void MakeCategories(const NewPlace& place, const NewOptions& options) {
  if (options.title || options.category) {
    throw Failure(kExitSystem, "a category file has no title and no category; leave them out");
  }
  CategoryDocument categories(place.GetName());
  WhileWriting(place.GetName(), [&] { categories.InitNewDatabase(); });
  place.Save(categories);
}

void RunNew(const Session& session, const NewOptions& options) {
  const NewPlace place(session, options);
  const bool isOutline = options.kind == kOutline;
  if (isOutline) {
    MakeDocument(place, options);
  } else {
    MakeCategories(place, options);
  }
  SayDone(place.GetName(), isOutline ? "made a document" : "made a category file", options.dryRun);
}

}  // namespace

void AddNew(CLI::App& app, ChosenCommand& chosen) {
  auto options = std::make_shared<NewOptions>();
  CLI::App* command = app.add_subcommand("new");
  command->group("Commands");
  command->description(
      "Makes a document without items, or a category file.\n\n"
      "Examples:\n"
      "  kxo new plan.kxo\n"
      "  kxo new plan.kxo --title \"Plan for spring\" --category Home\n"
      "  kxo new categories.kxc --kind category\n\n"
      "Without --title the title is the file's name. A file that exists is never replaced.\n");
  command->add_option("FILE", options->file, "The file to make; - is standard output")->required();
  command->add_option("--title", options->title, "Its title")->type_name("TITLE");
  command->add_option("--category", options->category, "Its category")->type_name("NAME");
  command
      ->add_option("--kind", options->kind, "What to make: outline, which it is else, or category")
      ->type_name("KIND")
      ->check(CLI::IsMember({kOutline, kCategory}));
  command->add_flag("--dry-run", options->dryRun, "Tell what would be done, and write nothing");
  AddCodePageOption(*command);
  command->callback([options, &chosen] {
    chosen = [options](const Session& session) { RunNew(session, *options); };
  });
}

}  // namespace kxo
