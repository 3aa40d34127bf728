#include <CLI/App.hpp>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "DataStream.h"
#include "Failure.h"
#include "InputFile.h"
#include "LibraryErrors.h"
#include "Output.h"
#include "PipedDocument.h"
#include "SafeSave.h"
#include "System.h"
#include "Text.h"
#include "commands/CodePageOption.h"
#include "commands/Commands.h"
#include "commands/KindOption.h"
#include "salvage/Rebuilder.h"
#include "salvage/Report.h"

namespace kxo {
namespace {

namespace fs = std::filesystem;

using salvage::Dump;
using salvage::Json;
using salvage::Loss;
using salvage::Overview;
using salvage::Rebuilder;
using salvage::Totals;

struct RecoverOptions {
  std::string in;
  std::string out;
  std::string kind;
  bool noLeftovers = false;
  bool force = false;
  bool json = false;
};

std::string OutputName(const std::string& name) {
  return name == kStandardStream ? PipedDocument::GetName() : name;
}

/// Where the document goes.
class Destination {
 public:
  Destination(const Session& session, const RecoverOptions& options);
  void Save(Rebuilder& rebuilder);

 private:
  void Write(Rebuilder& rebuilder, const fs::path& path, bool mayReplace) const;
  void CheckWritten(const Rebuilder& rebuilder, const fs::path& path) const;

  const Session& session_;
  std::string name_;
  bool force_;
  std::optional<PipedDocument> piped_;  // for standard output
  fs::path path_;
};

Destination::Destination(const Session& session, const RecoverOptions& options)
    : session_(session), name_(options.out), force_(options.force) {
  if (name_ == kStandardStream) {
    if (options.json) {
      throw Failure(kExitSystem,
                    "the document and JSON cannot both go to standard output; name a file with -o");
    }
    path_ = piped_.emplace().GetPath();
    return;
  }
  path_ = session.PlaceForFile(name_);
  std::error_code error;
  const bool exists = fs::exists(fs::symlink_status(path_, error));
  const bool isInput = exists && options.in != kStandardStream &&
                       fs::equivalent(path_, session.ExistingFile(options.in), error);
  if (isInput) {
    throw FileFailure(kExitSystem, name_, "this is the damaged file, which stays as it is",
                      "choose another with -o");
  }
  if (exists && !force_) FailForExisting(name_);
}

void Destination::Save(Rebuilder& rebuilder) {
  Write(rebuilder, path_, force_);
  CheckWritten(rebuilder, path_);
  if (piped_) piped_->Send();
}

void Destination::Write(Rebuilder& rebuilder, const fs::path& path, bool mayReplace) const {
  const sys::LibraryName libraryName(path);
  WhileWriting(OutputName(name_), [&] {
    if (mayReplace) {
      kx_gen::SaveDatabaseFile(rebuilder.GetDatabase(), libraryName.get());
    } else {
      kx_gen::SaveNewDatabaseFile(rebuilder.GetDatabase(), libraryName.get());
    }
  });
}

/// What the disk gives back is a document without errors.
void Destination::CheckWritten(const Rebuilder& rebuilder, const fs::path& path) const {
  salvage::Reporter nobody;
  const std::vector<unsigned char> bytes = ReadInput(session_, NameOf(path));
  const Totals totals = ReadFile(bytes, rebuilder.GetKind(), nobody);
  const salvage::RebuiltRows& rows = rebuilder.GetRows();
  if (totals.errors == 0 && totals.rows == rows.Count()) return;
  throw FileFailure(kExitSystem, name_, "reads back otherwise than it was written",
                    "check the disk");
}

/// Tells of losses as they are found.
class LossTeller {
 public:
  explicit LossTeller(const RecoverOptions& options)
      : options_(options), name_(InputName(options.in)) {
    if (!options.json) return;
    out_.Write("{\"file\":" + Dump(Json(name_)) + ",\"out\":" + Dump(Json(options.out)) +
               ",\"losses\":[");
  }
  void Tell(const Loss& loss, const Overview& overview);
  size_t GetCount() const { return count_; }
  void End(const Json& summary);

 private:
  const RecoverOptions& options_;
  DataStream out_;
  std::string name_;
  size_t count_ = 0;
};

void LossTeller::Tell(const Loss& loss, const Overview& overview) {
  const bool isFirst = count_++ == 0;
  if (options_.json) {
    out_.Write((isFirst ? "\n" : ",\n") + Dump(JsonOf(loss, overview)));
  } else {
    Say(name_ + ": " + LineOf(loss, overview));
  }
}

void LossTeller::End(const Json& summary) {
  if (options_.json) out_.Write("]," + Dump(summary).substr(1) + "\n");
  out_.Flush();
}

Json SummaryOf(const Rebuilder& rebuilder, const Totals& totals, bool isWritten) {
  Json json = Json::object();
  json["written"] = isWritten;
  json["kind"] = NameOf(rebuilder.GetKind());
  json["rowsWhole"] = rebuilder.GetRows().whole;
  json["rowsMended"] = rebuilder.GetRows().mended;
  json["rowsInPart"] = rebuilder.GetRows().partial;
  json["rowsLeftOut"] = rebuilder.GetRows().leftBehind;
  json["deletedIds"] = rebuilder.GetDeletedIdCount();
  json["errors"] = totals.errors;
  return json;
}

std::string Verdict(const Rebuilder& rebuilder, const LossTeller& losses) {
  const salvage::RebuiltRows& rows = rebuilder.GetRows();
  std::string verdict = NameOf(rebuilder.GetKind()) + ", " + Counted(rows.Count(), "row");
  if (rows.mended > 0) verdict += ", " + std::to_string(rows.mended) + " of them mended";
  if (rows.partial > 0) verdict += ", " + std::to_string(rows.partial) + " of them in part";
  return verdict + (losses.GetCount() == 0 ? ", nothing lost" : "");
}

void RunRecover(const Session& session, const RecoverOptions& options) {
  Destination destination(session, options);
  const std::vector<unsigned char> bytes = ReadInput(session, options.in);
  LossTeller losses(options);
  Rebuilder rebuilder(bytes, {!options.noLeftovers},
                      [&](const Loss& loss) { losses.Tell(loss, rebuilder.GetOverview()); });
  const Totals totals = WhileWriting(OutputName(options.out), [&] {
    return ReadFile(bytes, salvage::KindOf(options.kind), rebuilder);
  });
  if (!totals.isDocument) {
    losses.End(SummaryOf(rebuilder, totals, false));
    throw FileFailure(kExitDamaged, InputName(options.in), "nothing of a document is in it",
                      "try an older copy of the file");
  }
  destination.Save(rebuilder);
  losses.End(SummaryOf(rebuilder, totals, true));
  Say(OutputName(options.out) + ": written, " + Verdict(rebuilder, losses));
}

}  // namespace

void AddRecover(CLI::App& app, ChosenCommand& chosen) {
  auto options = std::make_shared<RecoverOptions>();
  CLI::App* command = app.add_subcommand("recover");
  command->group("Commands");
  command->description(
      "Makes a document of what is left of a damaged one, which stays as it is.\n\n"
      "Examples:\n"
      "  kxo recover plan.kxo -o saved.kxo\n"
      "  kxo recover plan.kxo -o saved.kxo --json | jq '.losses[].what'\n"
      "  kxo recover - -o - < plan.kxo > saved.kxo\n\n"
      "Headers are kept where they can be read, and every row that can be found anywhere in the\n"
      "file; of a damaged row as much as its tags lead to. Each loss is told, in a line on\n"
      "standard error or as JSON on standard output; the exit code is 0 once OUT is written.\n"
      "What was deleted does not come back untold: deleted rows stay marked as deleted, ids in\n"
      "the list of deleted ones stay there, and rows behind the last one that the file declares,\n"
      "which a save that was interrupted may have left there, are told of; those whose ids are\n"
      "in the list are marked as deleted.\n");
  command->add_option("FILE", options->in, "The damaged document; - is standard input")->required();
  command->add_option("-o,--output", options->out, "The document to make; - is standard output")
      ->type_name("OUT")
      ->required();
  command->add_flag("--no-leftovers", options->noLeftovers,
                    "Leave out rows behind the last one that the file declares");
  command->add_flag("--force", options->force, "Replace OUT if it exists");
  command->add_flag("--json", options->json, "Print the losses as JSON");
  AddKindOption(*command, options->kind);
  AddCodePageOption(*command);
  command->callback([options, &chosen] {
    chosen = [options](const Session& session) { RunRecover(session, *options); };
  });
}

}  // namespace kxo
