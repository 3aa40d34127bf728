#include "CommandLine.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <sstream>

#include "Failure.h"
#include "KxFormat.h"
#include "Output.h"

namespace kxo {
namespace {

constexpr const char* kDescription =
    "Makes, shows and examines outline documents (.kxo).\n\n"
    "Examples:\n"
    "  kxo import notes.opml        make notes.kxo of what another outliner wrote\n"
    "  kxo show notes.kxo --notes   print it as a tree\n"
    "  kxo info notes.kxo           tell its header fields, counts and sizes\n"
    "  kxo check *.kxo              tell everything that is wrong with documents\n"
    "  kxo recover bad.kxo -o good.kxo\n";

constexpr const char* kExitCodes =
    "Exit codes:\n"
    "  0  done\n"
    "  1  looked, and found something wrong (check)\n"
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
  return std::string("kxo ") + KXO_VERSION + "\nReads and writes .kxo documents of version " +
         std::to_string(kx_gen::format::kOutlineVersion) + "; imports OPML 1.0 and 2.0.";
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

std::string WhatIsWrong(const std::vector<std::string>& arguments, const CLI::App& app,
                        const CLI::ParseError& error) {
  if (arguments.empty()) return "a command is missing";
  if (!app.get_subcommands().empty()) return error.what();
  const bool isOption = arguments[0].substr(0, 1) == "-";
  return (isOption ? "there is no option " : "there is no command ") + arguments[0];
}

std::string HelpFor(const CLI::App& app) {
  const auto asked = app.get_subcommands();
  return asked.empty() ? "kxo --help" : "kxo " + asked.back()->get_name() + " --help";
}

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
  AddExport(app, chosen);
  AddImport(app, chosen);
  AddShow(app, chosen);
  AddInfo(app, chosen);
  AddCheck(app, chosen);
  AddRecover(app, chosen);
  app.footer(std::string(kExitCodes) + kMore);
  try {
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::Success& e) {
    std::ostringstream out;
    app.exit(e, out, out);
    WriteData(out.str());
    return {};
  } catch (const CLI::ParseError& e) {
    throw Failure(kExitSystem, WhatIsWrong(arguments, app, e) + "; try " + HelpFor(app));
  }
  return chosen;
}

}  // namespace kxo
