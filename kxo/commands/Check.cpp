#include <CLI/App.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "DataStream.h"
#include "Failure.h"
#include "InputFile.h"
#include "Output.h"
#include "Text.h"
#include "commands/CodePageOption.h"
#include "commands/Commands.h"
#include "commands/KindOption.h"
#include "salvage/Reader.h"
#include "salvage/Report.h"

namespace kxo {
namespace {

using salvage::Dump;
using salvage::Finding;
using salvage::Json;
using salvage::Overview;
using salvage::Totals;

struct CheckOptions {
  std::vector<std::string> files;
  std::string kind;
  bool json = false;
};

/// Prints a line for each finding.
class LinePrinter : public salvage::Reporter {
 public:
  LinePrinter(std::string name, DataStream& out) : name_(std::move(name)), out_(out) {}
  void OnStart(const Overview& overview) override { overview_ = overview; }
  void OnFinding(const Finding& finding) override {
    out_.Write(name_ + ": " + LineOf(finding, overview_) + "\n");
  }
  const Overview& GetOverview() const { return overview_; }

 private:
  std::string name_;
  DataStream& out_;
  Overview overview_;
};

/// Prints a file's object, with a line for each finding.
class JsonPrinter : public salvage::Reporter {
 public:
  JsonPrinter(const std::string& name, size_t size, DataStream& out) : size_(size), out_(out) {
    out_.Write("{\"file\":" + Dump(Json(name)) + ",\"findings\":[");
  }
  void OnStart(const Overview& overview) override { overview_ = overview; }
  void OnFinding(const Finding& finding) override {
    out_.Write((isFirst_ ? "\n" : ",\n") + Dump(JsonOf(finding, overview_)));
    isFirst_ = false;
  }
  void OnEnd(const Totals& totals) override;
  const Overview& GetOverview() const { return overview_; }

 private:
  size_t size_;
  DataStream& out_;
  Overview overview_;
  bool isFirst_ = true;
};

void JsonPrinter::OnEnd(const Totals& totals) {
  Json json = Json::object();
  json["errors"] = totals.errors;
  json["warnings"] = totals.warnings;
  json["sound"] = totals.errors + totals.warnings == 0;
  json["kind"] = NameOf(overview_.kind);
  json["version"] = overview_.version;
  json["size"] = size_;
  json["rowsDeclared"] = overview_.declaredRows;
  json["rowsFound"] = totals.rows;
  json["leftovers"] = totals.leftovers;
  out_.Write("]," + Dump(json).substr(1));
}

std::string Verdict(const Totals& totals, const Overview& overview, const std::string& name) {
  const std::string kind = NameOf(overview.kind) + ", " + Counted(totals.rows, "row");
  if (totals.errors + totals.warnings == 0) return "sound (" + kind + ")";
  std::string counts = totals.errors > 0 ? Counted(totals.errors, "error") : "";
  if (totals.warnings > 0) {
    counts += (counts.empty() ? "" : ", ") + Counted(totals.warnings, "warning");
  }
  if (!totals.isDocument) return counts + "; nothing of a document is in it";
  std::string advice = "it can be read as it is";
  if (totals.errors > 0) {
    advice = "kxo recover " + name + " -o OUT makes a document of what is left";
  } else if (totals.leftovers > 0) {
    advice = "kxo recover " + name + " -o OUT takes the rows behind the last one too";
  }
  return counts + " (" + kind + "); " + advice;
}

/// One run over several files.
class Checking {
 public:
  Checking(const Session& session, const CheckOptions& options)
      : session_(session), options_(options) {}
  void Run();

 private:
  void CheckOne(const std::string& name);
  void ReadOne(const std::string& name, const std::vector<unsigned char>& bytes);
  void Tell(const Failure& failure, const std::string& name);
  void End() const;

  const Session& session_;
  const CheckOptions& options_;
  DataStream out_;
  size_t failed_ = 0;
  ExitCode failure_ = kExitSystem;
  size_t unsound_ = 0;
  std::string lastVerdict_;
};

void Checking::Run() {
  if (options_.json) out_.Write("{\"files\":[");
  bool isFirst = true;
  for (const std::string& name : options_.files) {
    if (options_.json) out_.Write(isFirst ? "\n" : ",\n");
    isFirst = false;
    CheckOne(name);
    out_.Flush();
  }
  if (options_.json) out_.Write("\n]}\n");
  out_.Flush();
  End();
}

void Checking::CheckOne(const std::string& name) {
  try {
    ReadOne(name, ReadInput(session_, name));
  } catch (const Failure& failure) {
    Tell(failure, name);
  }
}

void Checking::ReadOne(const std::string& name, const std::vector<unsigned char>& bytes) {
  const auto kind = salvage::KindOf(options_.kind);
  const std::string shown = InputName(name);
  LinePrinter lines(WritesToTerminal() ? Escaped(shown) : OnOneLine(shown), out_);
  Totals totals;
  Overview overview;
  if (options_.json) {
    JsonPrinter json(shown, bytes.size(), out_);
    totals = ReadFile(bytes, kind, json);
    overview = json.GetOverview();
  } else {
    totals = ReadFile(bytes, kind, lines);
    overview = lines.GetOverview();
  }
  if (totals.errors + totals.warnings > 0) ++unsound_;
  lastVerdict_ = shown + ": " + Verdict(totals, overview, name);
  out_.Flush();
  const bool isToldByEnd = options_.files.size() == 1 && unsound_ > 0;
  if (!isToldByEnd) Say(lastVerdict_);
}

/// What cannot be read ends the run only when there is nothing else to read.
void Checking::Tell(const Failure& failure, const std::string& name) {
  if (options_.json) {
    Json json = Json::object();
    json["file"] = InputName(name);
    json["failure"] = failure.what();
    out_.Write(Dump(json));
  }
  const bool isFirst = failed_++ == 0;
  failure_ = isFirst || failure_ == failure.GetExitCode() ? failure.GetExitCode() : kExitSystem;
  lastVerdict_ = failure.what();
  if (options_.files.size() > 1) Say(failure.what());
}

void Checking::End() const {
  const size_t count = options_.files.size();
  if (failed_ > 0) {
    const ExitCode code = failed_ < count ? kExitSomeFailed : failure_;
    if (count == 1) throw Failure(code, lastVerdict_);
    throw Failure(code, std::to_string(failed_) + " of " + Counted(count, "file") +
                            " cannot be read, " + std::to_string(unsound_) + " not sound");
  }
  if (unsound_ == 0) return;
  if (count == 1) throw Failure(kExitFindings, lastVerdict_);
  throw Failure(kExitFindings,
                std::to_string(unsound_) + " of " + Counted(count, "file") + " not sound");
}

}  // namespace

void AddCheck(CLI::App& app, ChosenCommand& chosen) {
  auto options = std::make_shared<CheckOptions>();
  CLI::App* command = app.add_subcommand("check");
  command->group("Commands");
  command->description(
      "Tells everything that is wrong with documents, and changes nothing.\n\n"
      "Examples:\n"
      "  kxo check plan.kxo\n"
      "  kxo check *.kxo categories.db && echo all sound\n"
      "  kxo check --json plan.kxo | jq '.files[].findings[].code'\n"
      "  ssh host cat plan.kxo | kxo check -\n\n"
      "A line for each finding goes to standard output: offset, row or header and field, what\n"
      "was expected, what stands there, and a name for scripts. An error makes programs fail\n"
      "when they read it, a warning does not. Outlines, memory outlines and category files are\n"
      "told apart by what is in them.\n");
  command->add_option("FILE", options->files, "The documents; - is standard input")->required();
  command->add_flag("--json", options->json, "Print the findings as JSON");
  AddKindOption(*command, options->kind);
  AddCodePageOption(*command);
  command->callback([options, &chosen] {
    chosen = [options](const Session& session) { Checking(session, *options).Run(); };
  });
}

}  // namespace kxo
