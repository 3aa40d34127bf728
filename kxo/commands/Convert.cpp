#include <fmt/format.h>

#include <CLI/App.hpp>
#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "Document.h"
#include "Export.h"
#include "Failure.h"
#include "InputFile.h"
#include "JsonText.h"
#include "Output.h"
#include "Progress.h"
#include "System.h"
#include "Text.h"
#include "commands/CodePageOption.h"
#include "commands/Commands.h"
#include "commands/FormatOption.h"

namespace kxo {
namespace {

namespace fs = std::filesystem;

struct ConvertOptions {
  std::vector<std::string> paths;
  std::string format;
  std::string folder;
  bool force = false;
  bool json = false;
};

/// A document, and where in the folder of results its own goes.
struct Job {
  std::string name;  // as messages call it
  fs::path in;
  fs::path relative;
};

class Converting {
 public:
  Converting(const Session& session, const ConvertOptions& options)
      : session_(session),
        options_(options),
        format_(*FormatNamed(options.format)),
        outFolder_(session.Absolute(options.folder)) {}
  void Run();

 private:
  void Find(const std::string& path);
  void FindIn(const std::string& name, const fs::path& folder);
  void AddJob(const std::string& name, const fs::path& in, const fs::path& relative);
  void ConvertOne(const Job& job);
  void Convert(const Job& job, const fs::path& out);
  bool IsUpToDate(const Job& job, const fs::path& out) const;
  void Keep(const std::string& name, const Failure& failure);
  std::string NameOfResult(const Job& job) const;
  void AddResult(const Job& job, bool isUpToDate);
  std::string Counts() const;
  void PrintJson(bool isStopped) const;
  void End(bool isStopped);

  const Session& session_;
  const ConvertOptions& options_;
  const Format& format_;
  fs::path outFolder_;
  std::vector<Job> jobs_;
  std::map<fs::path, fs::path> taken_;  // results, and the documents that they are of
  Progress progress_;
  std::vector<Failure> failures_;
  std::vector<std::string> told_;
  Json results_ = Json::array();  // for programs, as the next
  Json jsonOfFailures_ = Json::array();
  size_t converted_ = 0;
  size_t upToDate_ = 0;
  size_t notFound_ = 0;
};

void Converting::Run() {
  for (const std::string& path : options_.paths) Find(path);
  if (jobs_.empty() && failures_.empty()) {
    throw Failure(kExitFindings, "there are no documents (.kxo) in what was named");
  }
  notFound_ = failures_.size();
  sys::CatchInterrupt();
  size_t done = 0;
  while (done < jobs_.size() && !sys::WasInterrupted()) {
    const Job& job = jobs_[done++];
    progress_.Show(done, jobs_.size(), job.name, failures_.size());
    ConvertOne(job);
  }
  progress_.Clear();
  End(done < jobs_.size());
}

void Converting::Find(const std::string& path) {
  try {
    if (path == kStandardStream) {
      throw FileFailure(kExitSystem, InputName(path), "has no name that a result could have",
                        "kxo export - writes one document");
    }
    const fs::path place = session_.Absolute(path);
    std::error_code error;
    if (fs::is_directory(place, error)) {
      FindIn(path, place);
    } else {
      const fs::path file = session_.ExistingFile(path);
      AddJob(path, file, PathOf(path).filename());
    }
  } catch (const Failure& failure) {
    Keep(path, failure);
  }
}

/// Everything below, in the order of names. Links to folders are not followed.
void Converting::FindIn(const std::string& name, const fs::path& folder) {
  std::vector<fs::path> found;
  std::error_code error;
  fs::recursive_directory_iterator entry(folder, error);
  for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
    std::error_code ignored;
    const bool isDocument = LowerCase(NameOf(entry->path().extension())) == ".kxo";
    if (isDocument && entry->is_regular_file(ignored)) found.push_back(entry->path());
  }
  if (error) {
    Keep(name, FileFailure(kExitSystem, name, "cannot be searched (" + error.message() + ")"));
  }
  std::sort(found.begin(), found.end());
  for (const fs::path& file : found) {
    const fs::path relative = file.lexically_relative(folder);
    AddJob(NameOf((PathOf(name) / relative).lexically_normal().make_preferred()), file, relative);
  }
}

/// A document that is named twice is written once.
void Converting::AddJob(const std::string& name, const fs::path& in, const fs::path& relative) {
  fs::path target = relative;
  target.replace_extension(PathOf(std::string(format_.extensions.front())));
  std::error_code error;
  const auto [place, isFree] = taken_.emplace(target, in);
  if (isFree) {
    jobs_.push_back({name, in, target});
  } else if (!fs::equivalent(place->second, in, error)) {
    Keep(name, FileFailure(kExitSystem, name, "another document gives " + NameOf(target) + ", too",
                           "convert it into another folder"));
  }
}

void Converting::ConvertOne(const Job& job) {
  try {
    const fs::path out = outFolder_ / job.relative;
    if (!options_.force && IsUpToDate(job, out)) {
      ++upToDate_;
      AddResult(job, true);
    } else {
      Convert(job, out);
      ++converted_;
      AddResult(job, false);
    }
  } catch (const Failure& failure) {
    Keep(job.name, failure);
  }
}

void Converting::Convert(const Job& job, const fs::path& out) {
  const Contents contents = ReadFor(format_, job.name, job.in);
  const std::string name = NameOfResult(job);
  std::error_code error;
  fs::create_directories(out.parent_path(), error);
  if (error) {
    throw FileFailure(kExitSystem, name, "its folder cannot be made (" + error.message() + ")",
                      "choose another with --out-dir");
  }
  const Exported exported = ExportTarget(name, out, true).Write(format_, contents);
  for (const std::string& line : exported.told) {
    told_.push_back(fmt::format("{}: {}", job.name, line));
  }
}

bool Converting::IsUpToDate(const Job& job, const fs::path& out) const {
  std::error_code inError;
  std::error_code outError;
  const auto inTime = fs::last_write_time(job.in, inError);
  const auto outTime = fs::last_write_time(out, outError);
  return !inError && !outError && outTime > inTime;
}

void Converting::Keep(const std::string& name, const Failure& failure) {
  failures_.push_back(failure);
  if (options_.json)
    jsonOfFailures_.push_back(ObjectOf({{"file", name}, {"failure", failure.what()}}));
}

void Converting::AddResult(const Job& job, bool isUpToDate) {
  if (!options_.json) return;
  results_.push_back(
      ObjectOf({{"file", job.name}, {"out", NameOfResult(job)}, {"upToDate", isUpToDate}}));
}

std::string Converting::NameOfResult(const Job& job) const {
  return NameOf(PathOf(options_.folder) / job.relative);
}

std::string Converting::Counts() const {
  std::string counts = fmt::format("{} converted", converted_);
  if (upToDate_ > 0) counts += fmt::format(", {} up to date", upToDate_);
  if (!failures_.empty()) counts += fmt::format(", {} failed", failures_.size());
  return counts;
}

void Converting::PrintJson(bool isStopped) const {
  Json json = Json::object();
  json["results"] = results_;
  json["failures"] = jsonOfFailures_;
  json["remarks"] = told_;
  json["stopped"] = isStopped;
  WriteData(DumpLines(json));
}

void Converting::End(bool isStopped) {
  if (options_.json) PrintJson(isStopped);
  for (const std::string& line : told_) Say(line);
  const bool isOnlyFailure = failures_.size() == 1 && jobs_.size() + notFound_ == 1;
  if (isOnlyFailure) throw failures_.front();
  for (const Failure& failure : failures_) Say(failure.what());
  const std::string all = Counted(jobs_.size() + notFound_, "document") + ": " + Counts();
  if (isStopped) throw Failure(kExitSystem, "stopped; of " + all);
  if (failures_.empty()) return Say(all);
  throw Failure(converted_ + upToDate_ > 0 ? kExitSomeFailed : failures_.front().GetExitCode(),
                all);
}

}  // namespace

void AddConvert(CLI::App& app, ChosenCommand& chosen) {
  auto options = std::make_shared<ConvertOptions>();
  CLI::App* command = app.add_subcommand("convert");
  command->group("Commands");
  command->description(
      "Writes many documents in another format.\n\n"
      "Examples:\n"
      "  kxo convert ~/outlines --to html --out-dir ~/pages\n"
      "  kxo convert a.kxo b.kxo --to markdown --out-dir notes\n"
      "  kxo convert . --to opml --out-dir out --json | jq '.failures[].file'\n\n"
      "Folders are searched for documents, and the folders in them come back in DIR. A result\n"
      "that is newer than its document is left alone, so that a second run does only what is\n"
      "new; results go by their names, so every collection needs a DIR of its own. A document\n"
      "that cannot be converted does not stop the others; all of them are named in the end.\n"
      "Ctrl-C stops between two documents.\n");
  command->add_option("PATH", options->paths, "Documents, and folders of them")->required();
  AddToOption(*command, options->format)->required();
  command->add_option("--out-dir", options->folder, "The folder for the results")
      ->type_name("DIR")
      ->required();
  command->add_flag("--force", options->force, "Convert what is up to date, too");
  command->add_flag("--json", options->json, "Print what became of each as JSON");
  AddCodePageOption(*command);
  command->callback([options, &chosen] {
    chosen = [options](const Session& session) { Converting(session, *options).Run(); };
  });
}

}  // namespace kxo
