#include <CLI/App.hpp>
#include <algorithm>
#include <filesystem>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "CategoryDocument.h"
#include "CategoryView.h"
#include "Editing.h"
#include "Failure.h"
#include "FileKind.h"
#include "InputDocument.h"
#include "JsonText.h"
#include "LibraryErrors.h"
#include "Output.h"
#include "Text.h"
#include "commands/CodePageOption.h"
#include "commands/Commands.h"

namespace kxo {
namespace {

namespace fs = std::filesystem;
namespace format = kx_gen::format;

using kx_gen::CCategoryRecord;

struct CategoryOptions {
  EditOptions edit;
  std::string name;
  std::string newName;
  std::string outlines;
  bool all = false;
};

unsigned long Now() { return kx_gen::CTime::GetCurrentTime().GetTime(); }

std::string InQuotes(const std::string& name) { return "\"" + name + "\""; }

// --- The category file ---

/// One change of one category file.
class CategoryEdit {
 public:
  CategoryEdit(const Session& session, const EditOptions& options)
      : options_(options), path_(FileToChange(session, options.file)), categories_(options.file) {
    categories_.OpenAndRead(path_, !options.dryRun);
  }
  CategoryDocument& Get() { return categories_; }

  /// The live category of this name.
  CCategoryRecord& Find(const std::string& name);
  /// The same, which is not to be the unfiled one.
  CCategoryRecord& FindOwn(const std::string& name, const std::string& what);
  void CheckIsFree(const std::string& name);
  void CheckHasRoom();
  /// Lets `change` edit the file, saves it and tells what was done; programs by the result.
  template <class Change>
  Json Do(const std::string& done, Change change);

 private:
  EditOptions options_;
  fs::path path_;
  CategoryDocument categories_;
};

CCategoryRecord& CategoryEdit::Find(const std::string& name) {
  CCategoryRecord* const found = categories_.FindCategory(ToWide(name).c_str());
  if (found != nullptr) return *found;
  throw FileFailure(kExitSystem, options_.file, "there is no category " + InQuotes(name),
                    "kxo category list tells which there are");
}

CCategoryRecord& CategoryEdit::FindOwn(const std::string& name, const std::string& what) {
  CCategoryRecord& found = Find(name);
  if (found.GetCategoryId() != format::kUnfiledCategoryId) return found;
  throw FileFailure(kExitSystem, options_.file,
                    InQuotes(name) + " is for what has no category, and cannot be " + what);
}

void CategoryEdit::CheckIsFree(const std::string& name) {
  if (name.empty()) throw FileFailure(kExitSystem, options_.file, "a category needs a name");
  if (categories_.FindCategory(ToWide(name).c_str()) == nullptr) return;
  throw FileFailure(kExitSystem, options_.file,
                    "there is a category " + InQuotes(name) + " already", "choose another name");
}

void CategoryEdit::CheckHasRoom() {
  if (!categories_.isFull()) return;
  throw FileFailure(kExitSystem, options_.file,
                    "there are " + std::to_string(categories_.GetCategoryCount()) +
                        " categories, and no room for another",
                    "remove one");
}

template <class Change>
Json CategoryEdit::Do(const std::string& done, Change change) {
  WhileWriting(options_.file, [&] { change(categories_); });
  if (!options_.dryRun) categories_.Save(path_, true);
  SayDone(options_.file, done, options_.dryRun);
  return options_.json ? JsonOfEdit(options_, done) : Json();
}

void Print(const CategoryOptions& options, const Json& report) {
  if (options.edit.json) WriteData(DumpLines(report));
}

// --- The documents that go along ---

/// The documents of a folder that have one category get another.
class Bringing {
 public:
  Bringing(const Session& session, const CategoryOptions& options);
  /// Carries on past documents that cannot be changed.
  void Run(const std::string& oldName, const std::string& newName);
  void AddTo(Json& report) const;
  /// Names those that could not be changed, and fails for them.
  void End() const;

 private:
  bool Has(const std::string& name, const std::string& category) const;
  void Bring(const std::string& name, const std::string& oldName, const std::string& newName);

  const Session& session_;
  bool dryRun_;
  bool json_;
  std::vector<std::string> names_;
  Json changed_ = Json::array();  // for programs
  std::vector<std::pair<std::string, Failure>> failures_;
};

std::string CategoryOf(Document& document) {
  return document.InHeader(format::kSharedHeaderId, [&] {
    kx_gen::_String category;
    document.GetCategoryName(category);
    return FromWide(category);
  });
}

Bringing::Bringing(const Session& session, const CategoryOptions& options)
    : session_(session), dryRun_(options.edit.dryRun), json_(options.edit.json) {
  if (options.outlines.empty()) return;
  const fs::path folder = session.Absolute(options.outlines);
  if (!fs::is_directory(folder)) {
    throw FileFailure(kExitSystem, options.outlines, "this is no folder",
                      "name the one with the documents");
  }
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    const fs::path name = entry.path().filename();
    if (LowerCase(NameOf(name.extension())) != ".kxo" || !entry.is_regular_file()) continue;
    names_.push_back(NameOf(PathOf(options.outlines) / name));
  }
  std::sort(names_.begin(), names_.end());
}

/// Files of other kinds have none.
bool Bringing::Has(const std::string& name, const std::string& category) const {
  const fs::path path = session_.ExistingFile(name);
  if (OtherKind(name, path, salvage::Kind::kOutline)) return false;
  const std::unique_ptr<Document> document = OpenDocument(name, path);
  document->ReadHeaders();
  return CategoryOf(*document) == category;
}

void Bringing::Bring(const std::string& name, const std::string& oldName,
                     const std::string& newName) {
  if (!Has(name, oldName)) return;
  const EditOptions options = {name, dryRun_, false};
  Edit edit(session_, options);
  Document& document = edit.GetDocument();
  if (CategoryOf(document) != oldName) return;
  WhileWriting(name, [&] {
    document.SetCategoryName(ToWide(newName).c_str());
    document.SetCategoryChanged(true);
  });
  edit.MarkChanged();
  const std::string done = "changed the category to " + InQuotes(newName);
  edit.Finish(done);
  if (json_) changed_.push_back(JsonOfEdit(options, done));
}

void Bringing::Run(const std::string& oldName, const std::string& newName) {
  for (const std::string& name : names_) {
    try {
      Bring(name, oldName, newName);
    } catch (const Failure& e) {
      failures_.emplace_back(name, e);
    }
  }
}

void Bringing::AddTo(Json& report) const {
  if (report.is_null()) return;
  report["documents"] = changed_;
  report["failures"] = Json::array();
  for (const auto& [name, failure] : failures_) {
    report["failures"].push_back(ObjectOf({{"file", name}, {"failure", failure.what()}}));
  }
}

void Bringing::End() const {
  if (failures_.empty()) return;
  for (const auto& [name, failure] : failures_) Say(failure.what());
  throw Failure(kExitSomeFailed, Counted(failures_.size(), "document") +
                                     " could not be looked at or changed; once that is mended, kxo "
                                     "set-header --category brings them along");
}

// --- list ---

void RunList(const Session& session, const CategoryOptions& options) {
  const InputPlace place(session, options.edit.file);
  PrintCategories(place.GetName(), place.GetPath(), options.all, options.edit.json);
}

// --- add, rename, remove, undelete ---

/// The library passes over exhausted memory when it sets a name.
void CheckHasName(CCategoryRecord& category, const std::string& name) {
  if (CategoryNameOf(category) != FromWide(ToWide(name))) throw std::bad_alloc();
}

void RunAdd(const Session& session, const CategoryOptions& options) {
  CategoryEdit edit(session, options.edit);
  edit.CheckIsFree(options.name);
  edit.CheckHasRoom();
  unsigned long id = 0;
  Json report =
      edit.Do("added category " + InQuotes(options.name), [&](CategoryDocument& categories) {
        CCategoryRecord* const added =
            categories.AddNewCategory(ToWide(options.name).c_str(), nullptr);
        CheckHasName(*added, options.name);
        added->SetDeleted(false);  // in a slot that a deleted one left, its mark would stay
        id = added->GetCategoryId();
      });
  if (options.edit.json) report["id"] = id;
  Print(options, report);
}

/// The file is closed again when the documents are brought along.
Json Rename(const Session& session, const CategoryOptions& options) {
  CategoryEdit edit(session, options.edit);
  CCategoryRecord& category = edit.FindOwn(options.name, "renamed");
  if (options.newName == options.name) {
    SayNothingToChange(options.edit.file);
    return options.edit.json ? JsonOfEdit(options.edit, std::nullopt) : Json();
  }
  edit.CheckIsFree(options.newName);
  return edit.Do("renamed category " + InQuotes(options.name) + " to " + InQuotes(options.newName),
                 [&](CategoryDocument& categories) {
                   categories.RenameCategory(&category, ToWide(options.newName).c_str(), Now());
                   CheckHasName(category, options.newName);
                 });
}

void RunRename(const Session& session, const CategoryOptions& options) {
  Bringing documents(session, options);
  Json report = Rename(session, options);
  if (options.newName != options.name) documents.Run(options.name, options.newName);
  documents.AddTo(report);
  Print(options, report);
  documents.End();
}

/// What becomes of the documents of a removed category.
std::string UnfiledNameIn(CategoryDocument& categories) {
  CCategoryRecord* const unfiled = categories.FindCategory(format::kUnfiledCategoryId);
  return unfiled == nullptr ? kUnfiledName : CategoryNameOf(*unfiled);
}

void RunRemove(const Session& session, const CategoryOptions& options) {
  Bringing documents(session, options);
  std::string unfiled;
  Json report = Json::object();
  {
    CategoryEdit edit(session, options.edit);
    CCategoryRecord& category = edit.FindOwn(options.name, "removed");
    unfiled = UnfiledNameIn(edit.Get());
    report =
        edit.Do("removed category " + InQuotes(options.name),
                [&](CategoryDocument& categories) { categories.DeleteCategory(&category, Now()); });
  }
  documents.Run(options.name, unfiled);
  documents.AddTo(report);
  Print(options, report);
  documents.End();
}

CCategoryRecord& FindDeleted(CategoryDocument& categories, const CategoryOptions& options) {
  for (size_t slot = 0; slot < categories.SlotCount(); ++slot) {
    CCategoryRecord& category = categories.Slot(slot);
    const bool isDeleted = category.IsEmpty() && category.IsDeleted();
    if (isDeleted && CategoryNameOf(category) == options.name) return category;
  }
  throw FileFailure(kExitSystem, options.edit.file,
                    "there is no deleted category " + InQuotes(options.name),
                    "kxo category list --all tells which there are");
}

void RunUndelete(const Session& session, const CategoryOptions& options) {
  CategoryEdit edit(session, options.edit);
  edit.CheckIsFree(options.name);
  CCategoryRecord& category = FindDeleted(edit.Get(), options);
  edit.CheckHasRoom();
  Json report =
      edit.Do("undeleted category " + InQuotes(options.name),
              [&](CategoryDocument& categories) { categories.UndeleteCategory(&category, Now()); });
  if (options.edit.json) report["id"] = category.GetCategoryId();
  Print(options, report);
}

// --- The command line ---

using Run = void (*)(const Session&, const CategoryOptions&);

struct Added {
  CLI::App& command;
  CategoryOptions& options;
};

Added AddOne(CLI::App& category, ChosenCommand& chosen, const std::string& name,
             const std::string& description, Run run) {
  auto options = std::make_shared<CategoryOptions>();
  CLI::App* command = category.add_subcommand(name);
  command->description(description);
  command->callback([options, run, &chosen] {
    chosen = [options, run](const Session& session) { run(session, *options); };
  });
  return {*command, *options};
}

void AddEditing(const Added& added, const std::string& which) {
  added.command.add_option("FILE", added.options.edit.file, "The category file")->required();
  added.command.add_option("NAME", added.options.name, which)->required();
  added.command.add_flag("--dry-run", added.options.edit.dryRun,
                         "Tell what would be done, and write nothing");
  added.command.add_flag("--json", added.options.edit.json, "Print what was done as JSON");
  AddCodePageOption(added.command);
}

void AddOutlinesOption(const Added& added) {
  added.command
      .add_option("--outlines", added.options.outlines, "Bring along the documents of this folder")
      ->type_name("DIR");
}

void AddListing(CLI::App& category, ChosenCommand& chosen) {
  const Added list = AddOne(category, chosen, "list",
                            "Prints the categories, with their ids.\n\n"
                            "Examples:\n"
                            "  kxo category list categories.kxc\n"
                            "  kxo category list categories.kxc --all --json\n"
                            "  ssh host cat categories.kxc | kxo category list -\n",
                            RunList);
  list.command.add_option("FILE", list.options.edit.file, "The category file; - is standard input")
      ->required();
  list.command.add_flag("--all", list.options.all, "Also those that were deleted");
  list.command.add_flag("--json", list.options.edit.json, "Print them as JSON");
  AddCodePageOption(list.command);
}

void AddRenaming(CLI::App& category, ChosenCommand& chosen) {
  const Added rename =
      AddOne(category, chosen, "rename",
             "Gives a category another name.\n\n"
             "Examples:\n"
             "  kxo category rename categories.kxc Home House\n"
             "  kxo category rename categories.kxc Home House --outlines Documents\n\n"
             "Documents name their category: with --outlines those of a folder get the new name.\n"
             "One that is locked or damaged is named at the end, and the exit code is 5.\n",
             RunRename);
  AddEditing(rename, "The category");
  rename.command.add_option("NEW", rename.options.newName, "Its new name")->required();
  AddOutlinesOption(rename);
}

void AddRemoval(CLI::App& category, ChosenCommand& chosen) {
  const Added remove =
      AddOne(category, chosen, "remove",
             "Removes a category.\n\n"
             "Examples:\n"
             "  kxo category remove categories.kxc Home --dry-run\n"
             "  kxo category remove categories.kxc Home --outlines Documents\n\n"
             "With --outlines the documents of a folder that have this category get the one for\n"
             "what has none. One that is locked or damaged is named at the end, and the exit code\n"
             "is 5.\n",
             RunRemove);
  AddEditing(remove, "The category");
  AddOutlinesOption(remove);
}

}  // namespace

void AddCategory(CLI::App& app, ChosenCommand& chosen) {
  CLI::App* category = app.add_subcommand("category");
  category->group("Commands");
  category->description(
      "Lists and changes the categories in a category file.\n\n"
      "Examples:\n"
      "  kxo new categories.kxc --kind category\n"
      "  kxo category add categories.kxc Home\n"
      "  kxo category rename categories.kxc Home House --outlines Documents\n"
      "  kxo category list categories.kxc\n");
  category->require_subcommand(1);
  AddListing(*category, chosen);
  AddEditing(AddOne(*category, chosen, "add",
                    "Adds a category, of which there may be 16.\n\n"
                    "Examples:\n"
                    "  kxo category add categories.kxc Home\n",
                    RunAdd),
             "Its name");
  AddRenaming(*category, chosen);
  AddRemoval(*category, chosen);
  AddEditing(AddOne(*category, chosen, "undelete",
                    "Brings a deleted category back, under a new id.\n\n"
                    "Examples:\n"
                    "  kxo category list categories.kxc --all\n"
                    "  kxo category undelete categories.kxc Home\n",
                    RunUndelete),
             "The category");
}

}  // namespace kxo
