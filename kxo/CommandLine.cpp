#include "CommandLine.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <sstream>

#include "Failure.h"
#include "KxFormat.h"
#include "Output.h"
#include "Text.h"

namespace kxo {

namespace format = kx_gen::format;

namespace {

constexpr const char* kDescription =
    "Sees, searches, checks, converts and edits outline documents (.kxo).\n\n"
    "Examples:\n"
    "  kxo import notes.opml        make notes.kxo of what another outliner wrote\n"
    "  kxo show notes.kxo --notes   print it as a tree\n"
    "  kxo list ~/outlines          tell of every document below a folder\n"
    "  kxo search owl ~/outlines    find a word in their texts and notes\n"
    "  kxo check *.kxo              tell everything that is wrong with documents\n"
    "  kxo recover bad.kxo -o good.kxo\n";

constexpr const char* kExitCodes =
    "Exit codes:\n"
    "  0  done\n"
    "  1  looked, and found something wrong (check) or nothing at all (search)\n"
    "  2  the command line is wrong, or the system refused (no such file, no permission,\n"
    "     disk full)\n"
    "  3  a file is damaged, or its contents cannot be read or carried\n"
    "  4  another program has the file open\n"
    "  5  some of several files failed";

constexpr const char* kMore =
    "\n\n"
    "kxo COMMAND --help tells more of a command. The log of the last run, FileIO.txt, is in\n"
    "the folder $XDG_STATE_HOME/kxo, else ~/.local/state/kxo (on Windows %LOCALAPPDATA%\\kxo).";

std::string VersionText() {
  const auto digits = [](unsigned version) { return std::to_string(version); };
  return std::string("kxo ") + KXO_VERSION + "\nReads and writes .kxo documents of version " +
         digits(format::kOutlineVersion) + ", memory outlines of version " +
         digits(format::kMemOutlineVersion) + "\nand category files of version " +
         digits(format::kCategoryVersion) + " (reads version 0 of them, too).";
}

/// Tells of each command only what the first line of its description says, and of each option only
/// what it takes.
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_subcommand(const CLI::App* command) const override {
    const std::string description = command->get_description();
    std::ostringstream out;
    CLI::detail::format_help(out, command->get_name(),
                             description.substr(0, description.find('\n')), get_column_width());
    return out.str();
  }
  std::string make_option_opts(const CLI::Option* option) const override {
    const bool takesValue = !option->get_positional() && option->get_type_size() != 0;
    return takesValue ? " " + option->get_type_name() : "";
  }
};

/// The command that the line has come to: kxo itself, one of its commands, or one of a command's.
const CLI::App& DeepestCommand(const CLI::App& app) {
  const CLI::App* command = &app;
  while (!command->get_subcommands().empty()) command = command->get_subcommands().back();
  return *command;
}

/// "kxo", "kxo show", "kxo category add".
std::string FullName(const CLI::App& command) {
  const CLI::App* parent = command.get_parent();
  return parent == nullptr ? command.get_name() : FullName(*parent) + " " + command.get_name();
}

std::vector<std::string> CommandsOf(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    names.push_back(command->get_name());
  }
  return names;
}

std::vector<std::string> OptionsOf(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

std::string Suggestion(const std::string& word, const std::vector<std::string>& known) {
  const std::string meant = MostLike(word, known);
  return meant.empty() ? "" : " (did you mean " + meant + "?)";
}

/// About a word that nothing takes.
std::string WhatIsUnknown(const std::string& word, const CLI::App& command) {
  if (word.size() > 1 && word[0] == '-') {
    const std::string name = word.substr(0, word.find('='));
    return "there is no option " + name + Suggestion(name, OptionsOf(command));
  }
  const std::vector<std::string> commands = CommandsOf(command);
  if (commands.empty()) return "there is no place for " + word;
  return "there is no command " + word + Suggestion(word, commands);
}

std::string WhatIsWrong(const CLI::App& app, const CLI::ParseError& error) {
  const CLI::App& command = DeepestCommand(app);
  const std::vector<std::string> rest = app.remaining(true);
  const bool lacksCommand = !CommandsOf(command).empty();
  const bool isExtra = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
  if (!rest.empty() && (lacksCommand || isExtra)) return WhatIsUnknown(rest.front(), command);
  if (lacksCommand) return "a command is missing";
  // What is lacking may have been taken for an option.
  if (!rest.empty() && rest.front().front() == '-') {
    return WhatIsUnknown(rest.front(), command) + " (a text goes behind --)";
  }
  return error.what();
}

std::string HelpFor(const CLI::App& app) { return FullName(DeepestCommand(app)) + " --help"; }

}  // namespace

ChosenCommand ReadCommandLine(const std::vector<std::string>& arguments) {
  ChosenCommand chosen;
  CLI::App app(kDescription, "kxo");
  const auto formatter = std::make_shared<HelpFormatter>();
  formatter->column_width(24);
  formatter->label("SUBCOMMAND", "COMMAND");
  app.formatter(formatter);
  app.require_subcommand(1);
  app.set_version_flag("--version", VersionText(), "Print the versions of tool and documents");
  app.footer(kExitCodes);  // commands take it over
  AddAdd(app, chosen);
  AddCategory(app, chosen);
  AddCheck(app, chosen);
  AddConvert(app, chosen);
  AddDrawing(app, chosen);
  AddExport(app, chosen);
  AddImport(app, chosen);
  AddInfo(app, chosen);
  AddList(app, chosen);
  AddMove(app, chosen);
  AddNew(app, chosen);
  AddRecover(app, chosen);
  AddRemove(app, chosen);
  AddSearch(app, chosen);
  AddSet(app, chosen);
  AddSetHeader(app, chosen);
  AddShow(app, chosen);
  app.footer(std::string(kExitCodes) + kMore);
  try {
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::Success& e) {
    std::ostringstream out;
    app.exit(e, out, out);
    WriteData(out.str());
    return {};
  } catch (const CLI::ParseError& e) {
    throw Failure(kExitSystem, WhatIsWrong(app, e) + "; try " + HelpFor(app));
  }
  return chosen;
}

}  // namespace kxo
