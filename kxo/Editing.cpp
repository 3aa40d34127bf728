#include "Editing.h"

#include <filesystem>

#include "Failure.h"
#include "InputFile.h"
#include "Output.h"
#include "RowChange.h"
#include "Text.h"
#include "commands/CodePageOption.h"

namespace kxo {

namespace fs = std::filesystem;

using kx_gen::COutlineRecord;

namespace {

std::unique_ptr<Document> OpenFor(const EditOptions& options, const fs::path& path) {
  if (options.dryRun) return OpenDocument(options.file, path);
  CheckIsDocument(options.file, path);
  auto document = std::make_unique<Document>(options.file);
  document->OpenToEdit(path);
  return document;
}

}  // namespace

fs::path FileToChange(const Session& session, const std::string& name) {
  if (name != kStandardStream) return session.ExistingFile(name);
  throw FileFailure(kExitSystem, InputName(name), "cannot be changed", "name a file");
}

void AddEditOptions(CLI::App& command, EditOptions& options) {
  command.add_option("FILE", options.file, "The document")->required();
  command.add_flag("--dry-run", options.dryRun, "Tell what would be done, and write nothing");
  command.add_flag("--json", options.json, "Print what was done as JSON");
  AddCodePageOption(command);
}

void AddPlaceOptions(CLI::App& command, PlaceOptions& options) {
  auto* under = command.add_option("--under", options.under, "As the last item below this one");
  auto* before = command.add_option("--before", options.before, "Ahead of this item, beside it");
  auto* after = command.add_option("--after", options.after, "Behind this item, beside it");
  for (CLI::Option* option : {under, before, after}) option->type_name("ITEM");
  under->excludes(before)->excludes(after);
  before->excludes(after);
}

void CheckHeadersFit(Document& document) {
  try {
    document.GetHeaderManager().CheckAllFit(document);
  } catch (kx_gen::CException* e) {
    if (e == nullptr || e->GetErrNumber() != kx_gen::kMsgHeaderTooBig - 1) throw;
    e->Delete();
    throw FileFailure(kExitSystem, document.GetName(),
                      "the title or the category is longer than a document holds", "shorten it");
  }
}

void SayDone(const std::string& name, const std::string& done, bool dryRun) {
  Say(name + ": " + (dryRun ? "would have " + done + "; nothing is written" : done));
}

void SayNothingToChange(const std::string& name) { Say(name + ": nothing to change"); }

Json JsonOfEdit(const EditOptions& options, const std::optional<std::string>& done) {
  Json json = Json::object();
  json["file"] = options.file;
  json["done"] = done ? Json(*done) : Json();
  json["written"] = done && !options.dryRun;
  return json;
}

Edit::Edit(const Session& session, const EditOptions& options)
    : options_(options), path_(FileToChange(session, options.file)) {
  document_ = OpenFor(options_, path_);
  document_->ReadHeaders();
  document_->ReadOutline();
}

COutlineRecord& Edit::Row(size_t row) const {
  return static_cast<COutlineRecord&>(*document_->getRecord(static_cast<unsigned long>(row)));
}

size_t Edit::Find(const std::string& item) const {
  const auto idOf = [this](size_t row) { return static_cast<uint32_t>(Row(row).GetId()); };
  return FindItem({GetName(), RowCount(), idOf}, item);
}

Edit::Rows Edit::SubtreeOf(size_t row) const {
  const unsigned level = Row(row).GetIndent();
  size_t end = row + 1;
  while (end < RowCount() && Row(end).GetIndent() > level) ++end;
  return {row, end};
}

Edit::Place Edit::PlaceFor(const PlaceOptions& options) const {
  if (!options.before.empty()) {
    const size_t row = Find(options.before);
    return {row, Row(row).GetIndent()};
  }
  if (!options.after.empty()) {
    const size_t row = Find(options.after);
    return {SubtreeOf(row).second, Row(row).GetIndent()};
  }
  if (options.under.empty()) return {RowCount(), 0};
  const size_t row = Find(options.under);
  return {SubtreeOf(row).second, Row(row).GetIndent() + 1u};
}

unsigned char Edit::StoredLevel(unsigned level) const {
  if (level <= Outline::kMaxLevel) return static_cast<unsigned char>(level);
  throw FileFailure(kExitSystem, GetName(),
                    "items cannot be deeper than level " + std::to_string(Outline::kMaxLevel),
                    "choose a place further up");
}

void Edit::ChangeRow(size_t row, const std::function<void(COutlineRecord&)>& change) {
  const Difference difference =
      WhileWriting(GetName(), [&] { return kxo::ChangeRow(Row(row), change); });
  if (difference != Difference::kNone) isChanged_ = true;
  if (difference == Difference::kContent) MarkChanged();
}

void Edit::MarkChanged() {
  isChanged_ = true;
  WhileWriting(GetName(), [&] { document_->SetOutlineChanged(true); });
}

void Edit::Finish(const std::string& done, std::initializer_list<Fact> facts) {
  if (isChanged_) {
    CheckHeadersFit(*document_);
    if (!options_.dryRun) document_->Save(path_, true);
    SayDone(GetName(), done, options_.dryRun);
  } else {
    SayNothingToChange(GetName());
  }
  if (!options_.json) return;
  Json json = JsonOfEdit(options_, isChanged_ ? std::optional(done) : std::nullopt);
  for (const Fact& fact : facts) json[fact.name] = fact.value;
  WriteData(DumpLines(json));
}

}  // namespace kxo
