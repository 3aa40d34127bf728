#include <CLI/CLI.hpp>
#include <exception>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "Document.h"
#include "Failure.h"
#include "Output.h"
#include "Session.h"
#include "System.h"
#include "commands/Commands.h"

namespace kxo {
namespace {

constexpr const char* kDescription =
    "Makes, shows and examines outline documents (.kxo).\n\n"
    "Examples:\n"
    "  kxo import notes.opml        make notes.kxo of what another outliner wrote\n"
    "  kxo show notes.kxo --notes   print it as a tree\n"
    "  kxo info notes.kxo           tell its header fields, counts and sizes\n";

constexpr const char* kFooter =
    "\nExit codes:\n"
    "  0  done\n"
    "  2  the command line is wrong, or the system refused (no such file, no permission,\n"
    "     file in use, disk full)\n"
    "  3  a file is damaged, or its contents cannot be read or carried\n\n"
    "kxo COMMAND --help tells more of a command. The log of the last run, FileIO.txt,\n"
    "is in the folder $XDG_STATE_HOME/kxo, else ~/.local/state/kxo (on Windows\n"
    "%LOCALAPPDATA%\\kxo).";

std::string VersionText() {
  return std::string("kxo ") + KXO_VERSION + "\nReads and writes .kxo documents of version " +
         std::to_string(kx_gen::format::kOutlineVersion) + "; imports OPML 1.0 and 2.0.";
}

/// Parses the command line. Nothing is chosen when it asked for help or the version, which then has
/// been printed.
ChosenCommand Choose(CLI::App& app, std::vector<std::string> arguments) {
  ChosenCommand chosen;
  app.require_subcommand(1);
  app.footer(kFooter);
  app.set_version_flag("--version", VersionText(), "Print the versions of tool and documents");
  AddImport(app, chosen);
  AddShow(app, chosen);
  AddInfo(app, chosen);
  try {
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::Success& e) {
    std::ostringstream out;
    app.exit(e, out, out);
    WriteData(out.str());
    return {};
  } catch (const CLI::ParseError& e) {
    const auto asked = app.get_subcommands();
    const std::string help = "kxo " + (asked.empty() ? "" : asked.back()->get_name() + " ");
    const bool none = arguments.empty();
    throw Failure(kExitSystem, (none ? "a command is missing" : std::string(e.what())) + "; try " +
                                   help + "--help");
  }
  return chosen;
}

void Run(int argc, char** argv) {
  sys::PrepareStreams();
  CLI::App app(kDescription, "kxo");
  const ChosenCommand chosen = Choose(app, sys::Arguments(argc, argv));
  if (!chosen) return;
  const Session session;
  kx_gen::CCategoryDB::setUnfiledCategoryName(kUnfiledName);
  chosen(session);
}

int RunAndTell(int argc, char** argv) {
  try {
    Run(argc, argv);
    return kExitDone;
  } catch (const Failure& e) {
    Say(e.what());
    return e.GetExitCode();
  } catch (const std::bad_alloc&) {
    Say("there is not enough memory for this");
  } catch (const std::exception& e) {
    Say(e.what());
  }
  return kExitSystem;
}

}  // namespace
}  // namespace kxo

int main(int argc, char** argv) { return kxo::RunAndTell(argc, argv); }
