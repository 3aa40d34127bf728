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
#include "Text.h"
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

fs::path PlaceOfNew(const Session& session, const std::string& name) {
  fs::path place = session.PlaceForFile(name);
  std::error_code error;
  if (!fs::exists(fs::symlink_status(place, error))) return place;
  throw FileFailure(kExitSystem, name, "this file exists", "choose another name");
}

/// A title that does not fit is refused, as the user can still choose a shorter one.
void MakeDocument(const fs::path& place, const NewOptions& options) {
  Document document(options.file);
  document.InitNewDatabase();
  const std::string title = options.title ? *options.title : NameOf(PathOf(options.file).stem());
  WhileWriting(options.file, [&] {
    document.SetOutlineTitle(ToWide(title).c_str());
    if (options.category) document.SetCategoryName(ToWide(*options.category).c_str());
  });
  CheckHeadersFit(document);
  if (!options.dryRun) document.Save(place, false);
}

void MakeCategories(const fs::path& place, const NewOptions& options) {
  if (options.title || options.category) {
    throw Failure(kExitSystem, "a category file has no title and no category; leave them out");
  }
  CategoryDocument categories(options.file);
  WhileWriting(options.file, [&] { categories.InitNewDatabase(); });
  if (!options.dryRun) categories.Save(place, false);
}

void RunNew(const Session& session, const NewOptions& options) {
  const fs::path place = PlaceOfNew(session, options.file);
  const bool isOutline = options.kind == kOutline;
  if (isOutline) {
    MakeDocument(place, options);
  } else {
    MakeCategories(place, options);
  }
  SayDone(options.file, isOutline ? "made a document" : "made a category file", options.dryRun);
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
  command->add_option("FILE", options->file, "The file to make")->required();
  command->add_option("--title", options->title, "Its title")->type_name("TITLE");
  command->add_option("--category", options->category, "Its category")->type_name("NAME");
  command
      ->add_option("--kind", options->kind, "What to make: outline, which it is else, or category")
      ->type_name("KIND")
      ->check(CLI::IsMember({kOutline, kCategory}));
  command->add_flag("--dry-run", options->dryRun, "Tell what would be done, and write nothing");
  command->callback([options, &chosen] {
    chosen = [options](const Session& session) { RunNew(session, *options); };
  });
}

}  // namespace kxo
