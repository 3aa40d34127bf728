#include <fmt/format.h>

#include <CLI/App.hpp>
#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "Export.h"
#include "Failure.h"
#include "InputDocument.h"
#include "InputFile.h"
#include "Output.h"
#include "OutputFile.h"
#include "Text.h"
#include "commands/CodePageOption.h"
#include "commands/Commands.h"
#include "commands/FormatOption.h"

namespace kxo {
namespace {

struct ExportOptions {
  std::string file;
  std::string format;
  std::string out = kStandardStream;
  bool force = false;
};

const Format& ChosenFormat(const ExportOptions& options) {
  if (!options.format.empty()) return *FormatNamed(options.format);
  const bool hasName = options.out != kStandardStream;
  const Format* format = hasName ? FormatOfFile(PathOf(options.out)) : nullptr;
  if (format != nullptr && format->canWrite()) return *format;
  const std::string wrong = hasName ? options.out + ": its name tells no format" : "no format";
  throw Failure(kExitSystem, wrong + "; name one with --to");
}

/// Control characters never reach a terminal.
std::string ForTerminal(std::string_view text) {
  std::string shown;
  size_t start = 0;
  while (start < text.size()) {
    const size_t end = std::min(text.find_first_of("\n\t", start), text.size());
    shown += Escaped(text.substr(start, end - start));
    if (end < text.size()) shown += text[end];
    start = end + 1;
  }
  return shown;
}

void SayAll(const std::string& name, const std::vector<std::string>& lines) {
  for (const std::string& line : lines) Say(fmt::format("{}: {}", name, line));
}

void WriteToStandardOutput(const std::string& name, const Exported& exported) {
  WriteData(WritesToTerminal() ? ForTerminal(exported.bytes) : exported.bytes);
  SayAll(name, exported.told);
}

/// Whoever replaces a document by what is made of it, loses what the format does not carry.
void CheckIsOther(const std::string& name, const std::filesystem::path& out,
                  const std::filesystem::path& in) {
  std::error_code error;
  if (!std::filesystem::equivalent(out, in, error)) return;
  throw FileFailure(kExitSystem, name, "this is the document itself", "choose another with -o");
}

void RunExport(const Session& session, const ExportOptions& options) {
  const Format& format = ChosenFormat(options);
  const InputPlace in(session, options.file);
  if (options.out == kStandardStream) {
    return WriteToStandardOutput(in.GetName(),
                                 WriteAs(format, ReadFor(format, in.GetName(), in.GetPath()), {}));
  }
  const std::filesystem::path out = session.PlaceForFile(options.out);
  CheckIsOther(options.out, out, in.GetPath());
  const ExportTarget target(options.out, out, options.force);
  const Contents contents = ReadFor(format, in.GetName(), in.GetPath());
  const Exported exported = target.Write(format, contents);
  SayAll(in.GetName(), exported.told);
  Say(options.out + ": written, " + Counted(contents.CountItems(), "item"));
}

}  // namespace

void AddExport(CLI::App& app, ChosenCommand& chosen) {
  auto options = std::make_shared<ExportOptions>();
  CLI::App* command = app.add_subcommand("export");
  command->group("Commands");
  command->description(
      "Writes a document in another format.\n\n"
      "Examples:\n"
      "  kxo export plan.kxo --to markdown             prints it\n"
      "  kxo export plan.kxo -o plan.html              the format by the name\n"
      "  kxo export plan.kxo --to text | grep -n '\\[x\\]'\n"
      "  kxo export categories.db --to json | jq '.items[].name'\n\n"
      "What a format has no place for is left out: docs/formats.md tells what each carries.\n"
      "JSON carries everything, of memory outlines and category files too.\n"
      "The file appears whole or not at all.\n");
  command->add_option("FILE", options->file, "The document; - is standard input")->required();
  AddToOption(*command, options->format);
  command
      ->add_option("-o,--output", options->out, "The file to make; else, or for -, standard output")
      ->type_name("OUT");
  command->add_flag("--force", options->force, "Replace the file if it exists");
  AddCodePageOption(*command);
  command->callback([options, &chosen] {
    chosen = [options](const Session& session) { RunExport(session, *options); };
  });
}

}  // namespace kxo
